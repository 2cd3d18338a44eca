// Text and FormattedText. The characters come from Corvid_strdup, so that a text which is never destroyed
// shows as a live block. A text has no block if it is empty, or if memory was refused.

#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "frame/corvid.h"
#include "host/format.h"
#include "host/memory.h"
#include "host/platform.h"

static_assert(sizeof(Text) == 2 * sizeof(void*), "hosts and library pass a Text as two machine words");

Text::Text() : characters_(nullptr), length_(0) {}

Text::Text(const char* characters) : Text() {
  if (!characters || *characters == '\0') return;
  characters_ = Corvid_strdup(characters);
  if (characters_) length_ = std::strlen(characters_);
}

Text::Text(const Text& other) : Text(other.characters_) {}

Text& Text::operator=(const Text& other) {
  Text copy(other);
  std::swap(characters_, copy.characters_);
  std::swap(length_, copy.length_);
  return *this;
}

Text::~Text() { Corvid_free(characters_); }

const char* Text::Characters() const { return characters_ ? characters_ : ""; }

std::size_t Text::Length() const { return length_; }

Text FormattedText(const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  const corvid_host::FilledFormat filled(format, arguments);
  va_end(arguments);
  return Text(filled.Characters());
}

namespace corvid_host {

FilledFormat::FilledFormat(const char* format, std::va_list arguments) : characters_(nullptr) {
  if (!format) return;
  std::va_list again;
  va_copy(again, arguments);
  const int length = print_plainly(nullptr, 0, format, arguments);
  const std::size_t room = static_cast<std::size_t>(length) + 1;
  if (length >= 0) characters_ = static_cast<char*>(std::malloc(room));
  if (characters_) {
    print_plainly(characters_, room, format, again);
  } else if (length >= 0) {
    count_refusal();
  }
  va_end(again);
}

FilledFormat::~FilledFormat() { std::free(characters_); }

}  // namespace corvid_host

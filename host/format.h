#pragma once

// Texts filled from a printf format.

#include <cstdarg>

namespace corvid_host {

/// A text made from a printf format, of any length, in memory of the C library.
class FilledFormat {
 public:
  /// Fills the format. If it is null, memory is exhausted or a conversion fails, there are no characters.
  FilledFormat(const char* format, std::va_list arguments);
  FilledFormat(const FilledFormat&) = delete;
  FilledFormat& operator=(const FilledFormat&) = delete;
  ~FilledFormat();

  /// Returns the characters, which end with a zero; null if there are none.
  const char* Characters() const { return characters_; }

 private:
  char* characters_;
};

}  // namespace corvid_host

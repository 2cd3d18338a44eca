// The string table: message texts by key, with those of the library's own keys at first.

#include <cstring>
#include <forward_list>
#include <mutex>
#include <new>
#include <string>

#include "host/corvid_host.h"
#include "host/memory.h"

namespace corvid_host {
namespace {

struct Message {
  const char* key;
  int arguments;  // number of ints that the library passes with the key
  const char* text;
};

constexpr Message kLibraryMessages[] = {
    {"ma48_MSS", 2,
     "Sparse solver: the matrix of order %d is structurally singular; its structural rank is %d."},
    {"ma48_PSF", 1, "Sparse solver: the choice of the pivot order failed with status %d."},
    {"ma48_PSI", 1,
     "Sparse solver: after more storage was given, choosing the pivot order anew failed with status %d."},
    {"ma48_MFF", 1, "Sparse solver: the factorisation failed with status %d."},
    {"ma48_FSE", 1, "Sparse solver: the solution with the factors failed with status %d."},
    {"CompWithNoBond", 0, "Counting free links: every node needs between 1 and 10 links."},
    {"StackOverflow", 0,
     "Counting free links: the search was given up, it made more links than it can remember."},
};

/// Returns whether the format needs at most `count` arguments, all of type int.
bool asks_for_whole_numbers(const char* format, int count) {
  for (const char* p = std::strchr(format, '%'); p; p = std::strchr(p + 1, '%')) {
    ++p;
    if (*p == '%') continue;
    p += std::strspn(p, "-+ #0");
    p += std::strspn(p, "0123456789.");
    if ((*p != 'd' && *p != 'i') || --count < 0) return false;
  }
  return true;
}

/// Returns whether a text can be filled with the arguments that the library passes with the key.
bool suits_the_library(const char* key, const char* text) {
  for (const Message& message : kLibraryMessages) {
    if (std::strcmp(key, message.key) == 0) return asks_for_whole_numbers(text, message.arguments);
  }
  return true;  // a key of the host's own
}

/// Returns a format that prints the key itself.
std::string key_as_format(const char* key) {
  std::string format;
  for (; *key; ++key) format.append(*key == '%' ? 2 : 1, *key);
  return format;
}

/// A list of keys and texts, the newest first; the first entry of a key counts. Entries are never changed or
/// removed, so that a text returned once stays valid as long as the host library is loaded.
class StringTable {
 public:
  StringTable() {
    for (const Message& message : kLibraryMessages) Add(message.key, message.text);
  }

  const Text& Add(const char* key, const char* text) {
    const OwnMemory scope;
    entries_.push_front({key, text});
    return entries_.front().text;
  }

  /// Returns the text of a key. An unknown key is added with itself as text.
  const Text& Find(const char* key) {
    for (const Entry& entry : entries_) {
      if (entry.key == key) return entry.text;
    }
    return Add(key, key_as_format(key).c_str());
  }

 private:
  struct Entry {
    std::string key;
    Text text;
  };
  std::forward_list<Entry> entries_;
};

std::mutex table_mutex;
StringTable* table = nullptr;

/// Returns the table, created at the first use. Requires table_mutex.
StringTable& the_table() {
  if (!table) table = new StringTable;
  return *table;
}

// Frees the table at unload. The destructor of a static object would run earlier, before the destructors of
// the libraries that use this one.
__attribute__((destructor)) void drop_table() {
  delete table;
  table = nullptr;
}

}  // namespace

bool SetString(const char* key, const char* text) try {
  if (!key || !text || !suits_the_library(key, text)) return false;
  const std::lock_guard<std::mutex> lock(table_mutex);
  the_table().Add(key, text);
  return true;
} catch (const std::bad_alloc&) {
  return false;
}

}  // namespace corvid_host

const Text& FindString(const char* key) try {
  const std::lock_guard<std::mutex> lock(corvid_host::table_mutex);
  return corvid_host::the_table().Find(key ? key : "");
} catch (const std::bad_alloc&) {
  static const Text nothing;
  return nothing;
}

#pragma once

#include <cstdarg>

namespace corvid_host {

/// A filled printf format of any length, in memory of the C library.
class FilledFormat {
 public:
  /// Null as format, exhausted memory or a conversion error leave it without characters.
  FilledFormat(const char* format, std::va_list arguments);
  FilledFormat(const FilledFormat&) = delete;
  FilledFormat& operator=(const FilledFormat&) = delete;
  ~FilledFormat();

  /// Null if there are none.
  const char* Characters() const { return characters_; }

 private:
  char* characters_;
};

}  // namespace corvid_host

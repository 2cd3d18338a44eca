#pragma once

// Reads numbers from text in the same way under every locale.

#include <cstdint>
#include <string_view>

namespace apps {

enum class NumberFault {
  kNone,
  kNotANumber,
  kOutOfRange,  // infinite, NaN, or too large for the type
};

/// Reads a word that is a decimal number and nothing else. A sign of plus may stand in front, the exponent
/// may have the D of Fortran, and what is too small for a double is read as zero.
/// @param value  out: set if there is no fault
NumberFault read_number(std::string_view word, double& value);

/// Reads a word that is an integer and nothing else; a sign of plus may stand in front.
/// @param value  out: set if there is no fault
NumberFault read_integer(std::string_view word, std::int64_t& value);

}  // namespace apps

// Reads numbers with std::from_chars, which knows no locale, and adds what it does not take: the sign of
// plus, the exponent D of Fortran, and numbers that are too small for a double.

#include "apps/common/number.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <string>
#include <system_error>

namespace apps {
namespace {

std::string_view without_plus(std::string_view word) {
  const bool plus = word.size() > 1 && word[0] == '+' && word[1] != '-';
  return plus ? word.substr(1) : word;
}

template <class Number>
std::errc parse(std::string_view digits, Number& value) {
  const char* const last = digits.data() + digits.size();
  const auto [end, error] = std::from_chars(digits.data(), last, value);
  return error != std::errc::invalid_argument && end != last ? std::errc::invalid_argument : error;
}

/// Returns whether a number that is out of range is so because it is too small. from_chars does not tell.
/// Such a number is beyond 1e300 or below 1e-300, so the decimal exponent of its first digit other than zero
/// decides. Zeros with any exponent count as too small.
/// @param digits  a number that from_chars takes
bool is_too_small(std::string_view digits) {
  const std::size_t mark = std::min(digits.find_first_of("eE"), digits.size());
  const std::string_view mantissa = digits.substr(0, mark);
  if (mantissa.find_first_of("123456789") == mantissa.npos) return true;
  const auto place = [](std::size_t at) { return static_cast<std::int64_t>(at); };
  const std::int64_t point = place(std::min(mantissa.find('.'), mantissa.size()));
  const std::int64_t first = place(mantissa.find_first_of("123456789"));
  if (mark == digits.size()) return first > point;
  std::int64_t exponent = 0;
  const bool is_negative = digits[mark + 1] == '-';
  // An exponent that no integer holds is more than any count of digits in memory makes up for.
  if (parse(without_plus(digits.substr(mark + 1)), exponent) != std::errc()) return is_negative;
  return exponent < first - point;
}

}  // namespace

NumberFault read_number(std::string_view word, double& value) {
  std::string by_e;  // a copy, only where a D must become an E
  std::string_view digits = without_plus(word);
  if (digits.find_first_of("dD") != digits.npos) {
    by_e = digits;
    std::replace_if(
        by_e.begin(), by_e.end(), [](char ch) { return ch == 'd' || ch == 'D'; }, 'e');
    digits = by_e;
  }
  double read = 0;
  const std::errc error = parse(digits, read);
  if (error == std::errc::invalid_argument) return NumberFault::kNotANumber;
  if (error != std::errc()) {
    if (!is_too_small(digits)) return NumberFault::kOutOfRange;
    read = 0;
  }
  if (!std::isfinite(read)) return NumberFault::kOutOfRange;
  value = read;
  return NumberFault::kNone;
}

NumberFault read_integer(std::string_view word, std::int64_t& value) {
  const std::errc error = parse(without_plus(word), value);
  if (error == std::errc::invalid_argument) return NumberFault::kNotANumber;
  return error == std::errc() ? NumberFault::kNone : NumberFault::kOutOfRange;
}

}  // namespace apps

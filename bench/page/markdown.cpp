// Writes numbers as they stand in the tables.

#include "bench/page/markdown.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace page {
namespace {

std::string formatted(const char* format, double value) {
  char text[64];
  std::snprintf(text, sizeof text, format, value);
  return text;
}

}  // namespace

std::string code(const std::string& text) { return '`' + text + '`'; }

std::string whole(Value value) { return value ? formatted("%.0f", *value) : kNone; }

std::string digits(Value value, int significant) {
  if (!value) return kNone;
  if (!std::isfinite(*value)) return "not finite";
  // The exponent is that of the rounded value: two digits of 9.96 are those of 10.
  const std::string scientific = formatted(("%." + std::to_string(significant - 1) + "e").c_str(), *value);
  const int magnitude = std::stoi(scientific.substr(scientific.find('e') + 1));
  const int decimals = std::max(0, significant - 1 - magnitude);
  return formatted(("%." + std::to_string(decimals) + "f").c_str(), *value);
}

std::string two_digits(Value value) { return digits(value, 2); }

std::string milliseconds(Value value) { return digits(value ? Value(*value * 1e3) : value, 3); }

std::string duration(Value value) {
  if (!value) return kNone;
  if (*value < 1e-6) return digits(*value * 1e9, 3) + " ns";
  if (*value < 1e-3) return digits(*value * 1e6, 3) + " µs";
  return digits(*value * 1e3, 3) + " ms";
}

std::string large_count(Value value) {
  if (!value) return kNone;
  const std::string text = formatted("%.1e", *value);
  const std::size_t e = text.find('e');
  return text.substr(0, e + 1) + std::to_string(std::stoi(text.substr(e + 1)));
}

std::string order_text(const std::string& order) {
  if (order.size() < 4 || order.find_first_not_of('0', 1) != std::string::npos) return order;
  return order.substr(0, 1) + 'e' + std::to_string(order.size() - 1);
}

}  // namespace page

#pragma once

// Tables whose fields can be seen.

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>
#include <utility>
#include <vector>

/// XYTable::ChunkSize, which a host knows by its symbol only.
extern int table_chunk_size __asm__("_ZN7XYTable9ChunkSizeE");

namespace test_support {

using Values = std::vector<double>;
using Rows = std::vector<std::pair<double, double>>;
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

/// Equal bit for bit, so that a NaN equals itself and the zeros differ.
inline std::uint64_t bits(double value) {
  std::uint64_t pattern;
  std::memcpy(&pattern, &value, sizeof pattern);
  return pattern;
}
inline bool same(double a, double b) { return bits(a) == bits(b); }
template <class List>
bool same(const List& a, const List& b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](double x, double y) { return same(x, y); });
}

/// Opens the fields of a table.
template <class Base>
struct Open : Base {
  Open() = default;
  Open(const Open&) = default;
  Open& operator=(const Open&) = default;
  explicit Open(const Rows& rows) {
    for (const auto& [x, y] : rows) this->AddPoint(x, y);
  }
  using Base::capacity, Base::cursor, Base::nPoints, Base::xValues, Base::yValues;

  /// Counts and points.
  Values Content() const {
    Values values{double(nPoints), double(capacity)};
    for (int i = 0; i < nPoints; ++i) values.insert(values.end(), {xValues[i], yValues[i]});
    return values;
  }
  /// Whether the slots begin with `rows`, be they points or not.
  bool Holds(const Rows& rows) const {
    const double* x = xValues;
    const double* y = yValues;
    for (const auto& row : rows) {
      if (!same(*x++, row.first) || !same(*y++, row.second)) return false;
    }
    return true;
  }
};

}  // namespace test_support

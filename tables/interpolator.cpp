// Fills the gaps of a row by piecewise linear interpolation, with extrapolation at the two ends.
//
// InterpLinear:
//  1. Find the first and the last known entry.
//  2. Fill an unknown end entry from the two known entries nearest to it, if extrapolation is asked for.
//  3. Fill each gap between consecutive anchors with the line through them. Anchors are the known entries and
//     the end entries filled in step 2.
// InterpTwoPoint fills all inner entries, known or not, with the line through the two end entries.

#include "tables/interpolator.h"

#include <algorithm>
#include <cmath>
#include <numeric>

#include "frame/module.h"

using namespace corvidnum;

namespace {

constexpr double kSameValue = 1e-12;    // values that differ by less give a horizontal line
constexpr double kSamePosition = 1e-8;  // abscissae that differ by less give no line
constexpr int kNoEntry = -1;

/// The line through two entries of a row. The abscissae are the positions or, without any, the indices.
class Line {
 public:
  Line(const double* values, const double* positions, int first, int second)
      : positions_(positions), first_(first), y_(values[first]) {
    const double rise = values[second] - y_;
    flat_ = std::fabs(rise) < kSameValue;
    const double run = x(second) - x(first);
    exists_ = flat_ || !positions || !(std::fabs(run) < kSamePosition);
    if (!flat_ && exists_) slope_ = rise / run;
  }

  /// Returns false if two different values have the same abscissa.
  bool exists() const { return exists_; }
  /// Returns the line's value at the abscissa of entry i.
  double at(int i) const { return flat_ ? y_ : slope_ * (x(i) - x(first_)) + y_; }
  /// Sets values[i] to at(i) for begin < i < end.
  void fill(double* values, int begin, int end) const {
    if (flat_) {
      std::fill(values + begin + 1, values + end, y_);
    } else {
      for (int i = begin + 1; i < end; ++i) values[i] = slope_ * (x(i) - x(first_)) + y_;
    }
  }

 private:
  double x(int i) const { return positions_ ? positions_[i] : static_cast<double>(i); }

  const double* const positions_;
  const int first_;
  const double y_;
  bool flat_, exists_;
  double slope_ = 0.0;
};

/// Finds the known entries of a row.
class KnownEntries {
 public:
  KnownEntries(const InterpStatusEnum* status, int count) : status_(status), count_(count) {}

  bool known(int i) const { return status_[i] == InterpKnown; }
  /// Returns the nearest known entry after (before) entry `i`; kNoEntry if there is none.
  int behind(int i) const {
    const int found = next(i + 1, count_);
    return found < count_ ? found : kNoEntry;
  }
  int before(int i) const {
    do {
      --i;
    } while (i >= 0 && !known(i));
    return i >= 0 ? i : kNoEntry;
  }
  /// Returns the first known entry among i .. end - 1, or `end` if there is none. After a short stretch it
  /// looks at kStretch entries at a time, which compilers vectorise.
  int next(int i, int end) const {
    for (int steps = 0; steps < kStretch; ++steps, ++i) {
      if (i >= end || known(i)) return std::min(i, end);
    }
    while (end - i >= kStretch && !any_known(i)) i += kStretch;  // a long gap
    while (i < end && !known(i)) ++i;
    return i;
  }

 private:
  static constexpr int kStretch = 16;

  bool any_known(int from) const {
    int any = 0;
    for (int i = 0; i < kStretch; ++i) any |= status_[from + i] == InterpKnown;
    return any != 0;
  }

  const InterpStatusEnum* const status_;
  const int count_;
};

/// Fills the gaps between consecutive anchors, which are `first`, `last` and the known entries between them.
/// @return false if two anchors with a gap between them have the same abscissa and different values; the gaps
///         before that one are filled
bool fill_gaps(const KnownEntries& entries, int first, int last, double* values, const double* positions) {
  for (int a = first, b; a < last; a = b) {
    b = entries.next(a + 1, last);
    if (b == a + 1) continue;
    const Line line(values, positions, a, b);
    if (!line.exists()) return false;
    line.fill(values, a, b);
  }
  return true;
}

}  // namespace

Interpolator::Interpolator() : values(nullptr), positions(nullptr), count(0), status(nullptr) {
  enter_library();
}

Interpolator::Interpolator(const Interpolator& other)
    : values(other.values), positions(other.positions), count(other.count), status(other.status) {
  enter_library();
}

Interpolator& Interpolator::operator=(const Interpolator& other) {
  enter_library();
  values = other.values;
  positions = other.positions;
  count = other.count;
  status = other.status;
  return *this;
}

Interpolator::~Interpolator() {
  enter_library();
  Corvid_delete(values);
  Corvid_delete(positions);
  values = positions = nullptr;
  status = nullptr;
}

unsigned char Interpolator::MainInterpolator(double* row, InterpStatusEnum* rowStatus, int rowCount,
                                             InterpMethodEnum method, InterpExtrapEnum extrapolation,
                                             int minPoints, double* spacing) {
  enter_library();
  unsigned char filled = 0;
  if (ConstructDataElements(row, rowStatus, rowCount, spacing)) {
    if (method == InterpLinear) filled = LinearInterpolator(extrapolation, minPoints);
    if (method == InterpTwoPoint) filled = TwoPointInterpolator();
  }
  ResetDataElements(row, rowCount);  // also after a failure: the caller gets what was filled in by then
  return filled;
}

unsigned char Interpolator::MainInterpolator(double* row, InterpStatusEnum* rowStatus, int rowCount,
                                             InterpMethodEnum method, InterpExtrapEnum extrapolation,
                                             int minPoints) {
  enter_library();
  return MainInterpolator(row, rowStatus, rowCount, method, extrapolation, minPoints, nullptr);
}

unsigned char Interpolator::MainInterpolator(double* row, InterpStatusEnum* rowStatus, int rowCount,
                                             InterpMethodEnum method, InterpExtrapEnum extrapolation) {
  enter_library();
  return MainInterpolator(row, rowStatus, rowCount, method, extrapolation, 0, nullptr);
}

unsigned char Interpolator::MainInterpolator(double* row, InterpStatusEnum* rowStatus, int rowCount,
                                             InterpMethodEnum method, InterpExtrapEnum extrapolation,
                                             double* spacing) {
  enter_library();
  return MainInterpolator(row, rowStatus, rowCount, method, extrapolation, 0, spacing);
}

/// Copies the row and turns the spacing into abscissae, its running sums. Returns 0 if the row is null or
/// memory is refused, else 1.
unsigned char Interpolator::ConstructDataElements(double* row, InterpStatusEnum* rowStatus, int rowCount,
                                                  double* spacing) {
  enter_library();
  status = rowStatus;
  count = std::max(rowCount, 0);
  if (!row && count > 0) return 0;
  if (spacing) {
    positions = allocate_array<double>(count);
    if (!positions) return 0;
    std::partial_sum(spacing, spacing + count, positions);
  }
  values = allocate_array<double>(count);
  if (!values) return 0;
  std::copy(row, row + count, values);
  return 1;
}

unsigned char Interpolator::ResetDataElements(double* row, int rowCount) {
  enter_library();
  if (values) std::copy(values, values + std::max(rowCount, 0), row);
  Corvid_delete(values);
  Corvid_delete(positions);
  values = positions = nullptr;
  count = 0;
  status = nullptr;
  return 1;
}

/// Sets values[target] from the line through two other entries, or with ExtrapConstant from the first of
/// them. Returns 0 and writes nothing if there is no line.
unsigned char Interpolator::Lin2PtInterpolator(int first, int second, int target,
                                               InterpExtrapEnum extrapolation) {
  enter_library();
  if (extrapolation == ExtrapConstant) {  // `second` need not exist
    values[target] = values[first];
    return 1;
  }
  const Line line(values, positions, first, second);
  if (line.exists()) values[target] = line.at(target);
  return line.exists();
}

unsigned char Interpolator::TwoPointInterpolator() {
  enter_library();
  for (int i = 1; i < count - 1; ++i) {
    if (!Lin2PtInterpolator(0, count - 1, i, ExtrapLinear)) return 0;
  }
  return 1;
}

// The contract compares the number of anchors with minPoints plus the number of ends to fill. An end to fill
// counts on both sides, so it is enough to compare the number of known entries with minPoints.
unsigned char Interpolator::LinearInterpolator(InterpExtrapEnum extrapolation, int minPoints) {
  enter_library();
  if (!status || count < 1) return 0;
  const KnownEntries entries(status, count);
  const int needed = minPoints == 1 ? 1 : 2;
  const int first = entries.behind(-1), last = entries.before(count);
  const bool single = first == last;
  if (first == kNoEntry || (single && needed == 2)) return 0;
  const bool fill_first = extrapolation != ExtrapNone && first != 0;
  const bool fill_last = extrapolation != ExtrapNone && last != count - 1;
  if (single) {  // no line goes through one point, so an end that is filled repeats it
    if (extrapolation == ExtrapNone) return 0;
    extrapolation = ExtrapConstant;
  }
  if (fill_first && !Lin2PtInterpolator(first, entries.behind(first), 0, extrapolation)) return 0;
  if (fill_last && !Lin2PtInterpolator(last, entries.before(last), count - 1, extrapolation)) return 0;
  return fill_gaps(entries, fill_first ? 0 : first, fill_last ? count - 1 : last, values, positions);
}

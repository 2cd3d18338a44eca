#pragma once

// An axis of a plot: which values it covers, where a value lies, and where the ticks are.

#include <optional>
#include <string>
#include <vector>

namespace report {

enum class Scale { kLinear, kLog };

struct Axis {
  std::string title;  // with the unit
  Scale scale = Scale::kLinear;
  bool whole = false;                           // the values are counts: ticks only at whole numbers
  bool reversed = false;                        // of a vertical axis: the smallest value is at the top
  std::optional<double> least = {}, most = {};  // values that the axis covers even if no point has them
};

struct Tick {
  double at;
  std::string label;
};

/// Fits an axis to values. What has no place on it, a NaN, an infinity, or on a log scale a number that is
/// not positive, is left out; so are magnitudes near the ends of the range of double.
class FittedAxis {
 public:
  /// @param values  of all that is drawn along the axis. If none has a place, the axis covers some space
  /// around 0 or, on
  ///                a log scale, around 1. If all are equal, it covers some space around them.
  FittedAxis(const Axis& axis, const std::vector<double>& values);

  /// Returns whether a value has a place on the scale.
  bool has_place(double value) const;
  /// Returns where a value lies: 0 is the low end, 1 the high end.
  double place(double value) const;
  double low() const;
  double high() const;

  /// Returns ticks at round numbers within the axis, in ascending order.
  /// @param most  about so many, at least 2
  std::vector<Tick> ticks(int most) const;

 private:
  void cover_one_value(double value, double magnitude);
  double scaled(double value) const;
  std::vector<Tick> linear_ticks(double low, double high, int most) const;
  std::vector<Tick> decades(int most) const;
  std::vector<Tick> parts_of_decades() const;

  bool log_, whole_;
  double low_ = 0, high_ = 1;  // of the scale: logarithms on a log scale
};

/// Returns the width of a text in units of the font size, rounded up: the font is not known here.
double text_width(const std::string& text);

}  // namespace report

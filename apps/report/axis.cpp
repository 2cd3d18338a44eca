// Fits axes to data and chooses ticks. Steps are 1, 2 or 5 times a power of ten, the smallest that gives not
// more ticks than asked for. A log scale has ticks at powers of ten, at every second or third one if there
// are many; if it covers too few of them, at 1, 2 and 5 times powers of ten, or at linear steps.

#include "apps/report/axis.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

namespace report {
namespace {

constexpr double kMargin = 0.04;         // of the covered range, at each end
constexpr double kLargest = 1e300;       // differences of larger values may overflow
constexpr double kSmallest = 1e-290;     // smaller differences have no room for steps
constexpr double kEqual = 1e-9;          // values within this part of their magnitude are drawn as equal
constexpr double kSlack = 1e-9;          // of a step, so that rounding loses no tick at an end
constexpr double kMarginOfCounts = 0.5;  // so that the first and the last count stand off the frame

/// Returns the smallest round number that is not below `least`.
double round_step(double least) {
  const double power = std::pow(10.0, std::floor(std::log10(least)));
  for (const double part : {1.0, 2.0, 5.0})
    if (part * power >= least * (1 - kSlack)) return part * power;
  return 10 * power;
}

std::string superscript(int number) {
  static const char* const kDigits[] = {"⁰", "¹", "²", "³", "⁴", "⁵", "⁶", "⁷", "⁸", "⁹"};
  std::string text;
  for (const char ch : std::to_string(number)) text += ch == '-' ? "⁻" : kDigits[ch - '0'];
  return text;
}

std::string with_minus_sign(std::string text) {
  if (!text.empty() && text.front() == '-') text.replace(0, 1, "−");
  return text;
}

/// Returns whether plain decimals are short enough for labels of this magnitude.
bool is_plain(double smallest, double largest) { return smallest >= 1e-4 && largest < 1e6; }

/// Returns labels of multiples of `step`.
std::string linear_label(double value, double step, double largest) {
  const bool plain = is_plain(std::max(step, 1e-4 * largest), largest);
  const int exponent = plain ? 0 : static_cast<int>(std::floor(std::log10(largest)));
  const double unit = std::pow(10.0, exponent);
  const int decimals = std::max(0, -static_cast<int>(std::floor(std::log10(step / unit) + kSlack)));
  const bool is_zero = std::fabs(value) < 0.5 * step;
  const std::string number = with_minus_sign(fmt::format("{:.{}f}", is_zero ? 0.0 : value / unit, decimals));
  return plain || is_zero ? number : number + "·10" + superscript(exponent);
}

std::string log_label(int part, int exponent, bool plain) {
  if (plain) return fmt::format("{:.6g}", part * std::pow(10.0, exponent));
  return (part == 1 ? "" : fmt::format("{}·", part)) + "10" + superscript(exponent);
}

}  // namespace

FittedAxis::FittedAxis(const Axis& axis, const std::vector<double>& values)
    : log_(axis.scale == Scale::kLog), whole_(axis.whole) {
  double low = HUGE_VAL, high = -HUGE_VAL;
  for (const double v : values) {
    if (!has_place(v)) continue;
    low = std::min(low, scaled(v));
    high = std::max(high, scaled(v));
  }
  const bool is_low_given = axis.least && has_place(*axis.least) && !(low < scaled(*axis.least));
  const bool is_high_given = axis.most && has_place(*axis.most) && !(high > scaled(*axis.most));
  if (is_low_given) low = scaled(*axis.least);
  if (is_high_given) high = scaled(*axis.most);
  if (!std::isfinite(low)) low = std::isfinite(high) ? high : 0;
  if (!(high > low)) high = low;
  const double magnitude = std::max(std::fabs(low), std::fabs(high));
  const double equal = log_ ? kEqual : std::max(kEqual * magnitude, kSmallest);
  if (high - low <= equal) {
    cover_one_value(low, magnitude);
    return;
  }
  const double margin = whole_ ? kMarginOfCounts : kMargin * (high - low);
  low_ = is_low_given ? low : low - margin;
  high_ = is_high_given ? high : high + margin;
}

void FittedAxis::cover_one_value(double value, double magnitude) {
  constexpr double kOfMagnitude = 0.05;
  const bool is_zero = magnitude < kSmallest;
  const double margin = log_ || whole_ || is_zero ? 0.5 : kOfMagnitude * magnitude;
  if (is_zero) value = 0;
  low_ = value - margin;
  high_ = value + margin;
}

bool FittedAxis::has_place(double value) const {
  return std::fabs(value) <= kLargest && (!log_ || value >= kSmallest);
}

double FittedAxis::scaled(double value) const { return log_ ? std::log10(value) : value; }

double FittedAxis::place(double value) const { return (scaled(value) - low_) / (high_ - low_); }

double FittedAxis::low() const { return log_ ? std::pow(10.0, low_) : low_; }
double FittedAxis::high() const { return log_ ? std::pow(10.0, high_) : high_; }

std::vector<Tick> FittedAxis::ticks(int most) const {
  constexpr double kFewDecades = 2;
  most = std::max(most, 2);
  if (!log_) return linear_ticks(low_, high_, most);
  if (std::floor(high_) - std::ceil(low_) >= kFewDecades) return decades(most);
  const std::vector<Tick> ticks = parts_of_decades();
  const bool suit = ticks.size() >= 2 && ticks.size() <= static_cast<std::size_t>(std::max(most, 7));
  return suit ? ticks : linear_ticks(low(), high(), most);
}

std::vector<Tick> FittedAxis::linear_ticks(double low, double high, int most) const {
  double step = round_step((high - low) / most);
  if (whole_) step = std::max(step, 1.0);
  const double largest = std::max(std::fabs(low), std::fabs(high));
  std::vector<Tick> ticks;
  const double first = std::ceil(low / step - kSlack), last = std::floor(high / step + kSlack);
  for (double k = first; k <= last; ++k) ticks.push_back({k * step, linear_label(k * step, step, largest)});
  if (!whole_ || ticks.empty()) return ticks;
  // Stages and passes count from 1, which is no multiple of 5 or 10.
  constexpr double kApart = 0.7;
  const double begin = std::ceil(low);
  if (ticks.front().at - begin >= kApart * step)
    ticks.insert(ticks.begin(), {begin, linear_label(begin, 1, largest)});
  return ticks;
}

std::vector<Tick> FittedAxis::decades(int most) const {
  const int first = static_cast<int>(std::ceil(low_)), last = static_cast<int>(std::floor(high_));
  const int every = (last - first) / most + 1;
  const bool plain = is_plain(std::pow(10.0, first), std::pow(10.0, last));
  std::vector<Tick> ticks;
  for (int e = first; e <= last; ++e)
    if (e % every == 0) ticks.push_back({std::pow(10.0, e), log_label(1, e, plain)});
  return ticks;
}

std::vector<Tick> FittedAxis::parts_of_decades() const {
  const int first = static_cast<int>(std::floor(low_)), last = static_cast<int>(std::floor(high_));
  const bool plain = is_plain(std::pow(10.0, first), std::pow(10.0, last + 1));
  std::vector<Tick> ticks;
  for (int e = first; e <= last; ++e) {
    for (const int part : {1, 2, 5}) {
      const double at = part * std::pow(10.0, e);
      if (place(at) >= 0 && place(at) <= 1) ticks.push_back({at, log_label(part, e, plain)});
    }
  }
  return ticks;
}

double text_width(const std::string& text) {
  constexpr double kWidest = 0.64;  // a digit of the wider common fonts, in font sizes
  const auto begins = [](char ch) { return (static_cast<unsigned char>(ch) & 0xC0) != 0x80; };
  return kWidest * static_cast<double>(std::count_if(text.begin(), text.end(), begins));
}

}  // namespace report

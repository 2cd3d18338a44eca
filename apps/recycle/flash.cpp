#include "apps/recycle/flash.h"

#include <algorithm>
#include <limits>

namespace recycle {
namespace {

constexpr int kMostSteps = 2000;  // bisection alone reaches the smallest positive number in fewer

struct Excess {
  double value, slope;
};

/// Evaluates the equation and its derivative by t, the fraction of the feed that is in the smaller phase. It
/// is zero at the solution and falls with t.
/// @param ratio  [component] mole fraction in the smaller phase over that in the other
Excess excess(const Rates& feed, const std::vector<double>& ratio, double t) {
  Excess e{0, 0};
  for (std::size_t i = 0; i < feed.size(); ++i) {
    const double enrichment = ratio[i] - 1;
    const double term = enrichment / (1 + t * enrichment);
    e.value += feed[i] * term;
    e.slope -= feed[i] * term * term;
  }
  return e;
}

/// Finds the root in 0 .. 0.5 by Newton's method, with bisection where a step would leave the bracket.
double fraction_of_smaller_phase(const Rates& feed, const std::vector<double>& ratio) {
  constexpr double kRounding = std::numeric_limits<double>::epsilon();
  double low = 0, high = 0.5, t = 0.25;
  for (int step = 0; step < kMostSteps; ++step) {
    const Excess e = excess(feed, ratio, t);
    (e.value > 0 ? low : high) = t;
    double next = t - e.value / e.slope;
    if (!(next > low && next < high)) next = 0.5 * (low + high);
    const bool settled = std::abs(next - t) <= kRounding * t || high - low <= kRounding * high;
    t = next;
    if (settled) break;
  }
  return t;
}

struct Shares {
  Rates smaller, other;  // of the smaller phase, of the other
};

Shares split_feed(const Rates& feed, const std::vector<double>& ratio) {
  const double t = fraction_of_smaller_phase(feed, ratio);
  Shares s{feed, feed};
  for (std::size_t i = 0; i < feed.size(); ++i) {
    const double per_part = feed[i] / (1 + t * (ratio[i] - 1));
    const double in_smaller = std::min(feed[i], per_part * t * ratio[i]);
    const double in_other = std::min(feed[i], per_part * (1 - t));
    if (in_smaller <= in_other) {
      s.smaller[i] = in_smaller;
      s.other[i] = feed[i] - in_smaller;
    } else {
      s.smaller[i] = feed[i] - in_other;
      s.other[i] = in_other;
    }
  }
  return s;
}

std::vector<double> inverse(std::vector<double> k) {
  for (double& value : k) value = 1 / value;
  return k;
}

}  // namespace

Phases flash(const Rates& feed, const std::vector<double>& k) {
  const Rates nothing(feed.size(), 0.0);
  if (excess(feed, k, 0).value <= 0) return {nothing, feed};
  const std::vector<double> per_k = inverse(k);
  if (excess(feed, per_k, 0).value <= 0) return {feed, nothing};
  if (excess(feed, k, 0.5).value <= 0) {
    Shares s = split_feed(feed, k);
    return {std::move(s.smaller), std::move(s.other)};
  }
  Shares s = split_feed(feed, per_k);
  return {std::move(s.other), std::move(s.smaller)};
}

}  // namespace recycle

#include "apps/recycle/flash.h"

#include <algorithm>
#include <limits>

namespace recycle {
namespace {

constexpr int kMostSteps = 2000;  // halving alone reaches the smallest positive number in fewer

struct Excess {
  double value, slope;
};

/// The equation at the share t that the scarcer phase has of all: zero at the solution, falling in t.
/// @param ratio  fraction in the scarcer phase over fraction in the other
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

/// Finds the root by Newton steps between bounds that close in on it; bisects where a step leaves them.
double share_of_scarcer_phase(const Rates& feed, const std::vector<double>& ratio) {
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
  Rates scarcer, other;
};

Shares share_out(const Rates& feed, const std::vector<double>& ratio) {
  const double t = share_of_scarcer_phase(feed, ratio);
  Shares s{feed, feed};
  for (std::size_t i = 0; i < feed.size(); ++i) {
    const double per_part = feed[i] / (1 + t * (ratio[i] - 1));
    const double in_scarcer = std::min(feed[i], per_part * t * ratio[i]);
    const double in_other = std::min(feed[i], per_part * (1 - t));
    if (in_scarcer <= in_other) {
      s.scarcer[i] = in_scarcer;
      s.other[i] = feed[i] - in_scarcer;
    } else {
      s.scarcer[i] = feed[i] - in_other;
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
    Shares s = share_out(feed, k);
    return {std::move(s.scarcer), std::move(s.other)};
  }
  Shares s = share_out(feed, per_k);
  return {std::move(s.other), std::move(s.scarcer)};
}

}  // namespace recycle

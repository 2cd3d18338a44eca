// The flash against bisection, and what its two phases have to fulfil.

#include "apps/recycle/flash.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numeric>
#include <random>

namespace recycle {
namespace {

double sum(const Rates& rates) { return std::accumulate(rates.begin(), rates.end(), 0.0); }

/// The vapour fraction in long double, by halving alone.
long double bisected_fraction(const Rates& feed, const std::vector<double>& k) {
  long double low = 0, high = 1;
  for (int step = 0; step < 200; ++step) {
    const long double middle = (low + high) / 2;
    long double excess = 0;
    for (std::size_t i = 0; i < feed.size(); ++i)
      excess += feed[i] * (static_cast<long double>(k[i]) - 1) / (1 + middle * (k[i] - 1.0L));
    (excess > 0 ? low : high) = middle;
  }
  return (low + high) / 2;
}

TEST(Flash, IsOnePhaseOutsideBubbleAndDewPoint) {
  const struct {
    Rates feed;
    std::vector<double> k;
    bool vapour;
  } rows[] = {
      {{1, 1}, {0.9, 0.2}, false}, {{1, 1}, {1.5, 0.5}, false},  // at the bubble point
      {{1, 1}, {3, 1.01}, true},   {{2, 1}, {2, 0.5}, true},     // at the dew point
      {{0, 0}, {2, 0.5}, false},   {{3, 0}, {1.1, 0.1}, true},  {{1, 1}, {1, 1}, false},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.k[0]);
    const Phases phases = flash(row.feed, row.k);
    EXPECT_EQ(row.vapour ? phases.vapour : phases.liquid, row.feed);
    EXPECT_EQ(sum(row.vapour ? phases.liquid : phases.vapour), 0);
  }
}

TEST(Flash, AgreesWithBisectionAndClosesWhateverTheKValues) {
  std::mt19937 random(20);
  std::uniform_real_distribution<double> decades(-1, 1), amount(0, 1);
  int two_phases = 0;
  for (int trial = 0; trial < 3000; ++trial) {
    SCOPED_TRACE(trial);
    const double spread = trial % 12 + 0.01;  // decades either way
    Rates feed(2 + static_cast<std::size_t>(trial) % 9);
    std::vector<double> k(feed.size());
    for (std::size_t i = 0; i < feed.size(); ++i) {
      feed[i] = 1000 * std::pow(amount(random), 4);
      k[i] = std::pow(10, spread * decades(random));
    }
    const Phases phases = flash(feed, k);
    const bool split = sum(phases.vapour) > 0 && sum(phases.liquid) > 0;
    const long double t = bisected_fraction(feed, k);
    if (!split) {
      EXPECT_TRUE(t < 1e-12L || t > 1 - 1e-12L) << static_cast<double>(t);
      continue;
    }
    ++two_phases;
    for (std::size_t i = 0; i < feed.size(); ++i) {
      const long double parts = 1 + t * (k[i] - 1.0L);
      const double vapour = static_cast<double>(feed[i] * t * k[i] / parts);
      EXPECT_NEAR(phases.vapour[i], vapour, 2e-13 * feed[i]) << i;
      EXPECT_NEAR(phases.vapour[i] + phases.liquid[i], feed[i], 2.3e-16 * feed[i]) << i;
    }
    // The traces too are good to rounding: y/x is K, whatever the phase.
    const double v = sum(phases.vapour), l = sum(phases.liquid);
    for (std::size_t i = 0; i < feed.size(); ++i)
      EXPECT_NEAR(phases.vapour[i] * l, k[i] * phases.liquid[i] * v, 1e-11 * phases.vapour[i] * l) << i;
  }
  EXPECT_GT(two_phases, 1500);
}

}  // namespace
}  // namespace recycle

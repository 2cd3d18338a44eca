#include "examples/column/equilibrium.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace column {
namespace {

constexpr double kLn10 = 2.302585092994045684;
constexpr double kRankinePerKelvin = 1.8;
constexpr double kCelsiusZero = 273.15;

double as_is(double t) { return t; }
double celsius_of_rankine(double t) { return t / kRankinePerKelvin - kCelsiusZero; }
double reference_k(double t) { return std::exp(t); }

/// ln(sum K x) of a normalised liquid and its derivative, by the largest term first so that no K overflows.
LnK ln_vapour_sum(const EquilibriumModel& model, const std::vector<double>& x, double t, double pressure) {
  double largest = -HUGE_VAL;
  std::vector<LnK> terms;
  for (int i = 0; i < model.components(); ++i) {
    terms.push_back(model.ln_k(i, t, pressure));
    if (x[i] > 0) largest = std::max(largest, terms.back().value);
  }
  double sum = 0, slope_sum = 0;
  for (std::size_t i = 0; i < terms.size(); ++i) {
    const double term = x[i] > 0 ? x[i] * std::exp(terms[i].value - largest) : 0;
    sum += term;
    slope_sum += term * terms[i].slope;
  }
  return {largest + std::log(sum), slope_sum / sum};
}

}  // namespace

RelativeVolatility::RelativeVolatility(const std::vector<double>& volatilities) {
  for (const double alpha : volatilities) ln_volatility_.push_back(std::log(alpha));
}

LnK RelativeVolatility::ln_k(int component, double temperature, double) const {
  return {ln_volatility_[component] + temperature, 1.0};
}

TemperatureScale RelativeVolatility::scale() const {
  return {"in ln K", "K(alpha=1)", -100.0, 100.0, reference_k, 1.0, "ln K"};
}

LnK DePriester::ln_k(int component, double t, double p) const {
  const Constants& c = constants_[component];
  return {c.a1 / (t * t) + c.a2 / t + c.a6 + c.b1 * std::log(p) + c.b2 / (p * p) + c.b3 / p,
          -2 * c.a1 / (t * t * t) - c.a2 / (t * t)};
}

TemperatureScale DePriester::scale() const {
  return {"deg R", "T/C", 100.0, 3000.0, celsius_of_rankine, 1 / kRankinePerKelvin, "K"};
}

LnK Antoine::ln_k(int component, double t, double p) const {
  const Constants& c = constants_[component];
  return {kLn10 * (c.a - c.b / (t + c.c)) - std::log(p), kLn10 * c.b / ((t + c.c) * (t + c.c))};
}

TemperatureScale Antoine::scale() const {
  // Below -C of any component its vapour pressure jumps to infinity.
  double lowest = -kCelsiusZero;
  for (const Constants& c : constants_) lowest = std::max(lowest, 1.0 - c.c);
  return {"deg C", "T/C", lowest, 1500.0, as_is, 1.0, "K"};
}

std::optional<double> bubble_temperature(const EquilibriumModel& model, const std::vector<double>& liquid,
                                         double pressure, double guess) {
  constexpr int kMaxSteps = 200;
  constexpr double kLastStep = 1e-10;  // Newton doubles the digits: what is left after it is rounding
  const double total = std::accumulate(liquid.begin(), liquid.end(), 0.0);
  if (!(std::isfinite(total) && total > 0)) return std::nullopt;
  std::vector<double> x = liquid;
  for (double& fraction : x) fraction /= total;

  const TemperatureScale scale = model.scale();
  double low = scale.lowest, high = scale.highest;
  if (!(ln_vapour_sum(model, x, low, pressure).value < 0)) return std::nullopt;
  if (!(ln_vapour_sum(model, x, high, pressure).value > 0)) return std::nullopt;
  double t = guess > low && guess < high ? guess : 0.5 * (low + high);
  for (int step = 0; step < kMaxSteps; ++step) {
    const LnK f = ln_vapour_sum(model, x, t, pressure);
    if (!std::isfinite(f.value)) return std::nullopt;
    (f.value < 0 ? low : high) = t;
    const double change = -f.value / f.slope;
    if (std::fabs(change) <= kLastStep * std::max(1.0, std::fabs(t))) return t + change;
    const double next = t + change;
    t = next > low && next < high ? next : 0.5 * (low + high);
  }
  return std::nullopt;
}

}  // namespace column

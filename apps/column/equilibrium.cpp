#include "apps/column/equilibrium.h"

#include <algorithm>
#include <cmath>
#include <numeric>

#include "tables/bounded_secant.h"

namespace column {
namespace {

constexpr double kLn10 = 2.302585092994045684;
constexpr double kRankinePerKelvin = 1.8;
constexpr double kCelsiusZero = 273.15;

double as_is(double t) { return t; }
double celsius_of_rankine(double t) { return t / kRankinePerKelvin - kCelsiusZero; }
double reference_k(double t) { return std::exp(t); }

/// Returns ln(sum K x) of a normalised liquid and its derivative by the temperature. The largest term is
/// taken out of the sum, so that no K overflows.
/// @param terms  [component] scratch: a search evaluates the sum often, and allocates once
LnK ln_vapour_sum(const EquilibriumModel& model, const std::vector<double>& x, double t, double pressure,
                  std::vector<LnK>& terms) {
  double largest = -HUGE_VAL;
  for (std::size_t i = 0; i < terms.size(); ++i) {
    terms[i] = model.ln_k(static_cast<int>(i), t, pressure);
    if (x[i] > 0) largest = std::max(largest, terms[i].value);
  }
  double sum = 0, slope_sum = 0;
  for (std::size_t i = 0; i < terms.size(); ++i) {
    const double term = x[i] > 0 ? x[i] * std::exp(terms[i].value - largest) : 0;
    sum += term;
    slope_sum += term * terms[i].slope;
  }
  return {largest + std::log(sum), slope_sum / sum};
}

// ---- The zero of an ascending function within a bracket.

constexpr int kMaxSteps = 200;

/// Returns whether a step is so small that the search can end with it. Both methods converge superlinearly,
/// so the error that is left is far below the step.
bool is_last(double step, double t) { return std::fabs(step) <= 1e-10 * std::max(1.0, std::fabs(t)); }

struct Point {
  double t, f;
};

template <class Function>
std::optional<double> newton_root(const Function& function, double low, double high, double t) {
  for (int step = 0; step < kMaxSteps; ++step) {
    const LnK f = function(t);
    if (!std::isfinite(f.value)) return std::nullopt;
    (f.value < 0 ? low : high) = t;
    const double change = -f.value / f.slope;
    if (is_last(change, t)) return t + change;
    const double next = t + change;
    t = next > low && next < high ? next : 0.5 * (low + high);
  }
  return std::nullopt;
}

/// Finds the zero between `low` and `high`. The first secant goes through `t` and a point close to it.
template <class Function>
std::optional<double> secant_root(const Function& function, Point low, Point high, double t) {
  constexpr double kFirstStep = 1e-4;
  BoundedSecant secant;
  for (const Point end : {low, high}) secant.AddIEPoints(end.t, end.f);
  secant.AddIEPoints(t, function(t).value);
  t += kFirstStep * (high.t - low.t) * (t < 0.5 * (low.t + high.t) ? 1 : -1);
  for (int step = 0; step < kMaxSteps; ++step) {
    const double f = function(t).value;
    if (!std::isfinite(f)) return std::nullopt;
    if (f == 0) return t;
    secant.AddIEPoints(t, f);
    const double next = secant.GetGuess();
    if (is_last(next - t, t)) return next;
    t = next;
  }
  return std::nullopt;
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
  return {c.ln_k(t, p), c.slope(t)};
}

TemperatureScale DePriester::scale() const {
  return {"deg R", "T/C", 100.0, 3000.0, celsius_of_rankine, 1 / kRankinePerKelvin, "K"};
}

LnK AntoineConstants::ln_pressure(double t) const {
  return {kLn10 * (a - b / (t + c)), kLn10 * b / ((t + c) * (t + c))};
}

TemperatureScale antoine_scale(const std::vector<AntoineConstants>& constants) {
  // The Antoine form has a pole at t = -C, below which it means nothing.
  double lowest = -kCelsiusZero;
  for (const AntoineConstants& c : constants) lowest = std::max(lowest, 1.0 - c.c);
  return {"deg C", "T/C", lowest, 1500.0, as_is, 1.0, "K"};
}

LnK Antoine::ln_k(int component, double t, double p) const {
  const LnK pressure = constants_[component].ln_pressure(t);
  return {pressure.value - std::log(p), pressure.slope};
}

TemperatureScale Antoine::scale() const { return antoine_scale(constants_); }

std::optional<double> bubble_temperature(const EquilibriumModel& model, const std::vector<double>& liquid,
                                         double pressure, double guess) {
  const double total = std::accumulate(liquid.begin(), liquid.end(), 0.0);
  if (!(std::isfinite(total) && total > 0)) return std::nullopt;
  std::vector<double> x = liquid;
  for (double& fraction : x) fraction /= total;

  std::vector<LnK> terms(static_cast<std::size_t>(model.components()));
  const auto f = [&](double t) { return ln_vapour_sum(model, x, t, pressure, terms); };
  const TemperatureScale scale = model.scale();
  const Point low{scale.lowest, f(scale.lowest).value}, high{scale.highest, f(scale.highest).value};
  if (!(low.f < 0 && high.f > 0)) return std::nullopt;
  const double start = guess > low.t && guess < high.t ? guess : 0.5 * (low.t + high.t);
  return model.root_search() == RootSearch::kNewton ? newton_root(f, low.t, high.t, start)
                                                    : secant_root(f, low, high, start);
}

}  // namespace column

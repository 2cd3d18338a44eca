// Shortcut limits of a column with constant relative volatilities: the least stages at total reflux (Fenske)
// and the least reflux with infinitely many stages (Underwood, whose root is found by bisection).

#include "apps/column/shortcut.h"

#include <cmath>
#include <numeric>

namespace column {
namespace {

bool keys_are_neighbours(const ShortcutTask& task) {
  const double light = task.volatilities[task.light_key], heavy = task.volatilities[task.heavy_key];
  if (!(light > heavy)) return false;
  for (int i = 0; i < static_cast<int>(task.volatilities.size()); ++i) {
    const double alpha = task.volatilities[i];
    if (i != task.light_key && i != task.heavy_key && alpha >= heavy && alpha <= light) return false;
  }
  return true;
}

bool splits(double distilled, double fed) { return distilled > 0 && distilled < fed; }

double fenske_stages(const ShortcutTask& task, const std::vector<double>& feed) {
  const double light = task.light_in_distillate / (feed[task.light_key] - task.light_in_distillate);
  const double heavy = task.heavy_in_distillate / (feed[task.heavy_key] - task.heavy_in_distillate);
  const double alpha = task.volatilities[task.light_key] / task.volatilities[task.heavy_key];
  return std::log(light / heavy) / std::log(alpha);
}

/// Returns the sum of alpha n / (alpha - theta) over all components.
double underwood_sum(const std::vector<double>& alpha, const std::vector<double>& n, double theta) {
  double sum = 0;
  for (std::size_t i = 0; i < n.size(); ++i) sum += alpha[i] * n[i] / (alpha[i] - theta);
  return sum;
}

/// Finds the Underwood root between the volatilities of the keys, by bisection: the sum rises there from
/// minus to plus infinity.
double underwood_root(const ShortcutTask& task, const std::vector<double>& feed, double liquid_fraction) {
  const double wanted = (1 - liquid_fraction) * std::accumulate(feed.begin(), feed.end(), 0.0);
  double low = task.volatilities[task.heavy_key], high = task.volatilities[task.light_key];
  for (;;) {
    const double theta = 0.5 * (low + high);
    if (!(theta > low && theta < high)) return theta;
    (underwood_sum(task.volatilities, feed, theta) < wanted ? low : high) = theta;
  }
}

std::vector<double> ideal_distillate(const ShortcutTask& task, const std::vector<double>& feed) {
  std::vector<double> rates = feed;
  for (std::size_t i = 0; i < rates.size(); ++i)
    if (task.volatilities[i] < task.volatilities[task.heavy_key]) rates[i] = 0;
  rates[task.light_key] = task.light_in_distillate;
  rates[task.heavy_key] = task.heavy_in_distillate;
  return rates;
}

}  // namespace

double underwood_reflux(const ShortcutTask& task, const std::vector<double>& feed, double root) {
  const std::vector<double> distillate = ideal_distillate(task, feed);
  const double total = std::accumulate(distillate.begin(), distillate.end(), 0.0);
  return underwood_sum(task.volatilities, distillate, root) / total - 1;
}

std::optional<ShortcutResult> shortcut(const ShortcutTask& task, const std::vector<double>& feed,
                                       double liquid_fraction) {
  if (!keys_are_neighbours(task) || !splits(task.light_in_distillate, feed[task.light_key]) ||
      !splits(task.heavy_in_distillate, feed[task.heavy_key]))
    return std::nullopt;
  const double theta = underwood_root(task, feed, liquid_fraction);
  return ShortcutResult{fenske_stages(task, feed), underwood_reflux(task, feed, theta), theta};
}

std::optional<ShortcutResult> shortcut(const ColumnCase& c) {
  if (!c.shortcut) return std::nullopt;
  return shortcut(*c.shortcut, total_feed(c), c.feeds.front().liquid_fraction);
}

}  // namespace column

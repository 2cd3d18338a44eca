// Collects the best time of each solver, and prints ratios and powers of growth.

#include "bench/support/ratio_report.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <numeric>
#include <optional>
#include <sstream>
#include <tuple>
#include <utility>

#include "bench/page/measures.h"

namespace bench {

bool RatioReport::Key::operator<(const Key& other) const {
  return std::tie(what, family, order) < std::tie(other.what, other.family, other.order);
}

void RatioReport::ReportRuns(const std::vector<Run>& runs) {
  ConsoleReporter::ReportRuns(runs);
  for (const Run& run : runs) {
    const auto counter = run.counters.find("best");
    if (run.error_occurred || run.run_type != Run::RT_Iteration || counter == run.counters.end()) continue;
    std::istringstream name(run.run_name.function_name);
    Key key;
    std::string order, solver;
    std::getline(name, key.what, '/');
    std::getline(name, key.family, '/');
    std::getline(name, order, '/');
    std::getline(name, solver, '/');
    key.order = std::stoi(order);
    const auto [time, is_new] = best_[key].emplace(solver, counter->second.value);
    if (!is_new) time->second = std::min(time->second, counter->second.value);
  }
}

void RatioReport::Finalize() {
  ConsoleReporter::Finalize();
  for (const std::string& solver : ours_) print_ratios(solver);
  print_growth();
}

void RatioReport::print_ratios(const std::string& solver) const {
  const std::string to_reference = reference_.empty() ? "" : "to " + reference_;
  std::printf("\n%-12s %-10s %7s %12s  %-10s %6s %12s\n", "what", "family", "order", solver.c_str(), "peer",
              "ratio", to_reference.c_str());
  std::map<std::string, std::vector<double>> logarithms;  // of the ratios, by what was timed
  for (const auto& [key, times] : best_) {
    const auto ours = times.find(solver), reference = times.find(reference_);
    auto fastest = times.end();
    for (const std::string& peer : peers_) {
      const auto t = times.find(peer);
      if (t != times.end() && (fastest == times.end() || t->second < fastest->second)) fastest = t;
    }
    if (ours == times.end() || fastest == times.end()) continue;
    logarithms[key.what].push_back(std::log(ours->second / fastest->second));
    std::printf("%-12s %-10s %7d %10.2fms  %-10s %6.2f", key.what.c_str(), key.family.c_str(), key.order,
                1e3 * ours->second, fastest->first.c_str(), ours->second / fastest->second);
    if (reference != times.end()) std::printf(" %12.2f", ours->second / reference->second);
    std::printf("\n");
  }
  for (const auto& [what, list] : logarithms) {
    const double sum = std::accumulate(list.begin(), list.end(), 0.0);
    std::printf("%-12s geometric mean of %zu matrices %36.2f\n", what.c_str(), list.size(),
                std::exp(sum / static_cast<double>(list.size())));
  }
}

void RatioReport::print_growth() const {
  using Line = std::tuple<std::string, std::string, std::string>;
  std::map<Line, std::vector<page::Point>> points;
  for (const auto& [key, times] : best_) {
    for (const auto& [solver, time] : times)
      points[{key.what, key.family, solver}].push_back({static_cast<double>(key.order), time});
  }
  std::printf("\n%-12s %-10s %-10s %s\n", "what", "family", "solver", "time grows with order to the power");
  for (const auto& [line, list] : points) {
    const std::optional<double> power = page::growth(list);
    if (!power) continue;
    std::printf("%-12s %-10s %-10s %.2f\n", std::get<0>(line).c_str(), std::get<1>(line).c_str(),
                std::get<2>(line).c_str(), *power);
  }
}

}  // namespace bench

#pragma once

// Ratios of the best times, from runs named what/family/order/solver.

#include <benchmark/benchmark.h>

#include <map>
#include <string>
#include <utility>
#include <vector>

namespace bench {

/// The console's report, with a table behind it that sets `ours` against the fastest other solver.
class RatioReport : public benchmark::ConsoleReporter {
 public:
  explicit RatioReport(std::string ours) : ours_(std::move(ours)) {}

  void ReportRuns(const std::vector<Run>& runs) override;
  void Finalize() override;

 private:
  struct Key {
    std::string what, family;
    int order;
    bool operator<(const Key& other) const;
  };
  using Times = std::map<std::string, double>;  // by solver, in seconds

  void print_ratios() const;
  /// p of time = c order^p by least squares over all orders of a family.
  void print_growth() const;

  std::string ours_;
  std::map<Key, Times> best_;
};

}  // namespace bench

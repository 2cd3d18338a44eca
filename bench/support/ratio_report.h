#pragma once

// A report of ratios of best times, for runs that are named what/family/order/solver.

#include <benchmark/benchmark.h>

#include <map>
#include <string>
#include <utility>
#include <vector>

namespace bench {

/// Prints the console's report, then tables of ratios: each of `ours` over the fastest of the peers, and over
/// the one named `reference` if there is one.
class RatioReport : public benchmark::ConsoleReporter {
 public:
  RatioReport(std::vector<std::string> ours, std::vector<std::string> peers, std::string reference = {})
      : ours_(std::move(ours)), peers_(std::move(peers)), reference_(std::move(reference)) {}

  void ReportRuns(const std::vector<Run>& runs) override;
  void Finalize() override;

 private:
  struct Key {
    std::string what, family;
    int order;
    bool operator<(const Key& other) const;
  };
  using Times = std::map<std::string, double>;  // by solver, in seconds

  void print_ratios(const std::string& solver) const;
  /// Prints the p of time = c order^p, fitted by least squares over all orders of a family.
  void print_growth() const;

  const std::vector<std::string> ours_, peers_;
  const std::string reference_;
  std::map<Key, Times> best_;
};

}  // namespace bench

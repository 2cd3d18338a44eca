#pragma once

// Files of results, from which the tables of docs/performance.md are made.
//
// A file holds lines of fields that a tab separates. Lines of conditions come first: a '#', the name of a
// condition, its value. Then each line is a result: the name of the run, what was measured, the value.

#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <ostream>
#include <string>
#include <utility>

namespace bench {

/// Collects results, of several repetitions the least. Beside times only counts and failures are collected,
/// which are the same in every repetition.
class ResultLines {
 public:
  void add(const std::string& run, const std::string& measure, double value);
  /// Writes the conditions of this program except the path of the BLAS, then the results in the order of
  /// their names.
  void write(std::ostream& out) const;

 private:
  std::map<std::pair<std::string, std::string>, double> values_;
};

/// Writes the result lines of a Google Benchmark program to the file of its option --benchmark_out. Of the
/// counters these are results: `best`, `ours` and `peer`, which are seconds, the counts `operations`, `n` and
/// `entries`, and `level3`, a share. A run that failed leaves its message, "wrong solution" for one, with the
/// value 1.
class ResultReporter : public benchmark::BenchmarkReporter {
 public:
  bool ReportContext(const Context&) override { return true; }
  void ReportRuns(const std::vector<Run>& runs) override;
  void Finalize() override;

  /// Returns whether the file has taken all lines.
  bool is_written() const { return is_written_; }

 private:
  ResultLines lines_;
  bool is_written_ = false;
};

}  // namespace bench

#pragma once

// What the benchmarks have measured, read from their files of results (bench/support/result_lines.h).

#include <istream>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace page {

/// Conditions of one file of results, by name: processor, BLAS, date and so on.
using Conditions = std::map<std::string, std::string>;

/// The results of all programs, by the name of the run and what was measured. Names are paths: the runs of
/// the solvers are what/family/order/solver.
class Results {
 public:
  /// Adds the lines of a file.
  /// @param program a name for it, under which its conditions are kept
  /// @throws std::runtime_error a line is not a result; the message names the program and the line
  void read(const std::string& program, std::istream& in);

  /// Returns a value; none if it was not measured.
  std::optional<double> value(const std::string& run, const std::string& measure) const;
  /// Returns value(ours) / value(peer), if both were measured.
  std::optional<double> ratio(const std::string& run) const;

  /// Returns the names that continue a path, in ascending order; numbers by size.
  std::vector<std::string> below(const std::string& path) const;

  const std::map<std::string, Conditions>& conditions() const { return conditions_; }

 private:
  void read_line(const std::string& program, const std::string& line);

  std::map<std::string, std::map<std::string, double>> values_;  // by run, then by measure
  std::map<std::string, Conditions> conditions_;                 // by program
};

/// Reads all files *.tsv of a folder.
/// @throws std::runtime_error there is none, or one cannot be read
Results read_results(const std::string& folder);

}  // namespace page

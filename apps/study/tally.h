#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "apps/study/study.h"

namespace study {

/// Sums up the rows of a study for its report, in memory that does not grow with the number of cases.
class Tally {
 public:
  explicit Tally(const Study& study);

  /// Takes further rows, in order, as rows_of_chunk() makes them.
  void add(std::string_view rows);

  struct Extent {
    std::int64_t count = 0;
    double least = 0, most = 0, mean = 0;
  };
  /// A case that is drawn; only one in every() is kept.
  struct Point {
    std::int64_t number;          // of the case, from 1
    std::vector<double> values;   // [parameter]
    std::vector<double> results;  // [result]; NaN where there is none
    bool solved;
  };
  struct Failure {
    Point point;
    std::string reason;
  };

  std::int64_t cases() const { return cases_; }
  std::int64_t failed() const { return failed_; }
  const std::vector<Extent>& extents() const { return extents_; }  // [result] over all solved cases
  const std::vector<Point>& points() const { return points_; }
  std::int64_t every() const { return every_; }
  const std::vector<Failure>& failures() const { return failures_; }  // the first ones

 private:
  void add_row(std::string_view row);
  void add_results(const std::vector<double>& results);

  const std::size_t parameters_;
  const std::int64_t every_;
  std::int64_t cases_ = 0, failed_ = 0;
  std::vector<Extent> extents_;
  std::vector<Point> points_;
  std::vector<Failure> failures_;
};

}  // namespace study

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
  /// A case that is drawn.
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
  /// The first case, and on average one in every() of all. Numbers drawn from those of the cases choose them:
  /// every so many cases of a grid may all have one value of a parameter.
  const std::vector<Point>& points() const { return points_; }
  std::int64_t every() const { return every_; }
  /// Of the cases without an answer on average one in failed_every(), which is 1 for as long as they are few.
  const std::vector<Point>& failed_points() const { return failed_points_; }
  std::int64_t failed_every() const { return failed_every_; }
  const std::vector<Failure>& failures() const { return failures_; }  // the first ones

 private:
  void add_row(std::string_view row);
  void add_results(const std::vector<double>& results);
  void add_failure(const Point& point, std::string reason);

  const std::size_t parameters_;
  const std::int64_t every_;
  std::int64_t cases_ = 0, failed_ = 0, failed_every_ = 1;
  std::vector<Extent> extents_;
  std::vector<Point> points_, failed_points_;
  std::vector<Failure> failures_;
};

}  // namespace study

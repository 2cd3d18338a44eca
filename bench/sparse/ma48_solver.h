#pragma once

// The library's sparse direct solver, in the form that the benchmark times.

#include <algorithm>
#include <cstddef>
#include <limits>
#include <memory>
#include <utility>

#include "bench/sparse/problem.h"
#include "sparse/ma48/ma48_codes.h"
#include "sparse/ma48/ma48_routines.h"

namespace bench {

/// Calls the routines of ma48. A, IRN and JCN are long from the start, since a part of a new array that is
/// never touched costs no time; if they are still too short, they grow to what the routine asks for, and at
/// least to twice their length, because an analysis knows its need only as far as it got.
class Ma48Solver {
 public:
  static constexpr const char* kName = "ma48";

  explicit Ma48Solver(const Problem& problem) : problem_(problem) { ma48id_(cntl_, icntl_); }

  bool analyse_factorise() {
    const int n = problem_.n;
    keep_.reset(new int[static_cast<std::size_t>(ma48_keep_length(n, n))]);
    iw_.reset(new int[static_cast<std::size_t>(ma48_iw_length(n, n))]);
    w_.reset(new double[static_cast<std::size_t>(ma48_w_length(n, n))]);
    lengthen(clipped(kRoom * problem_.entries));
    load();
    while (!analyse()) {
      if (status() != MA48_STATUS_TOO_SHORT || la_ == kLongest) return false;
      lengthen(clipped(std::max<long long>(analysis_length(), 2LL * la_)));
      load();
    }
    lengthen(std::max(la_, factor_length()));
    while (!factorise(MA48_FACTOR_FREELY, 0)) {
      if (status() != MA48_STATUS_TOO_SHORT) return false;
      lengthen(factor_length());
    }
    return true;
  }

  bool refactorise(int step) { return factorise(MA48_FACTOR_SAME_PIVOTS, step); }

  bool solve(const Vector& b, Vector& x) {
    const int trans = 0, job = MA48_SOLVE_ONLY;
    double error[MA48_ERROR_LENGTH];
    rhs_ = b;
    ma48cd_(&problem_.n, &problem_.n, &trans, &job, &la_, a_.get(), irn_.get(), keep_.get(), cntl_, icntl_,
            rhs_.data(), x.data(), error, w_.get(), iw_.get(), info_);
    return status() == MA48_STATUS_OK;
  }

 private:
  static constexpr long long kRoom = 64;                                // elements an entry
  static constexpr int kLongest = std::numeric_limits<int>::max() - 1;  // that the routines can count

  static int clipped(long long length) { return static_cast<int>(std::min<long long>(length, kLongest)); }
  int status() const { return ma48_info(info_, MA48_INFO_STATUS); }
  int analysis_length() const { return ma48_info(info_, MA48_INFO_ANALYSIS_LENGTH); }
  int factor_length() const { return ma48_info(info_, MA48_INFO_FACTOR_LENGTH); }

  /// Lengthens A, IRN and JCN to la, or shortens them. Their first elements, the entries, stay.
  void lengthen(int la) {
    if (la == la_) return;
    lengthen(a_, la);
    lengthen(irn_, la);
    lengthen(jcn_, la);
    la_ = la;
  }
  template <class T>
  void lengthen(std::unique_ptr<T[]>& array, int la) {
    std::unique_ptr<T[]> longer(new T[static_cast<std::size_t>(la)]);
    if (array) std::copy_n(array.get(), problem_.entries, longer.get());
    array = std::move(longer);
  }

  void load() {
    const reference::Coordinates& matrix = problem_.coordinates[0];
    std::copy(matrix.values.begin(), matrix.values.end(), a_.get());
    std::copy(matrix.rows.begin(), matrix.rows.end(), irn_.get());
    std::copy(matrix.columns.begin(), matrix.columns.end(), jcn_.get());
  }

  bool analyse() {
    const int job = MA48_ANALYSE_FREELY;
    double operations;
    ma48ad_(&problem_.n, &problem_.n, &problem_.entries, &job, &la_, a_.get(), irn_.get(), jcn_.get(),
            keep_.get(), cntl_, icntl_, iw_.get(), info_, &operations);
    return status() == MA48_STATUS_OK;
  }

  bool factorise(int job, int step) {
    const Vector& values = problem_.coordinates[step].values;
    double operations;
    std::copy(values.begin(), values.end(), a_.get());
    ma48bd_(&problem_.n, &problem_.n, &problem_.entries, &job, &la_, a_.get(), irn_.get(), jcn_.get(),
            keep_.get(), cntl_, icntl_, w_.get(), iw_.get(), info_, &operations);
    return status() == MA48_STATUS_OK;
  }

  const Problem& problem_;
  double cntl_[MA48_CNTL_LENGTH];
  int icntl_[MA48_ICNTL_LENGTH], info_[MA48_INFO_LENGTH] = {};
  int la_ = 0;
  std::unique_ptr<double[]> a_, w_;
  std::unique_ptr<int[]> irn_, jcn_, keep_, iw_;
  Vector rhs_;
};

}  // namespace bench

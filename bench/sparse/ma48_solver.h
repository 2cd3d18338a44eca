#pragma once

#include <algorithm>
#include <cstddef>
#include <memory>
#include <utility>

#include "bench/sparse/problem.h"
#include "sparse/ma48/ma48_routines.h"

namespace bench {

/// The routines of the sparse direct solver. The store is at first as long as that of the class ma48, and
/// then as the analysis asks for.
class Ma48Solver {
 public:
  static constexpr const char* kName = "ma48";

  explicit Ma48Solver(const Problem& problem) : problem_(problem) { ma48id_(cntl_, icntl_); }

  bool analyse_factorise() {
    const auto n = static_cast<std::size_t>(problem_.n);
    keep_.reset(new int[10 * n + 7]);
    iw_.reset(new int[9 * n]);
    w_.reset(new double[4 * n]);
    lengthen(4 * problem_.entries);
    load();
    while (!analyse()) {
      if (info_[0] != kTooShort) return false;
      lengthen(la_ + problem_.entries);
      load();
    }
    lengthen(std::max(la_, info_[kFactorLength]));
    while (!factorise(1, 0)) {
      if (info_[0] != kTooShort) return false;
      lengthen(info_[kFactorLength]);
    }
    return true;
  }

  bool refactorise(int step) { return factorise(2, step); }

  bool solve(const Vector& b, Vector& x) {
    const int trans = 0, job = 1;
    double error[3];
    rhs_ = b;
    ma48cd_(&problem_.n, &problem_.n, &trans, &job, &la_, a_.get(), irn_.get(), keep_.get(), cntl_, icntl_,
            rhs_.data(), x.data(), error, w_.get(), iw_.get(), info_);
    return info_[0] == 0;
  }

 private:
  static constexpr int kFactorLength = 3, kTooShort = -3;

  /// Keeps what is analysed.
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
    const int job = 1;
    double operations;
    ma48ad_(&problem_.n, &problem_.n, &problem_.entries, &job, &la_, a_.get(), irn_.get(), jcn_.get(),
            keep_.get(), cntl_, icntl_, iw_.get(), info_, &operations);
    return info_[0] == 0;
  }

  bool factorise(int job, int step) {
    const Vector& values = problem_.coordinates[step].values;
    double operations;
    std::copy(values.begin(), values.end(), a_.get());
    ma48bd_(&problem_.n, &problem_.n, &problem_.entries, &job, &la_, a_.get(), irn_.get(), jcn_.get(),
            keep_.get(), cntl_, icntl_, w_.get(), iw_.get(), info_, &operations);
    return info_[0] == 0;
  }

  const Problem& problem_;
  double cntl_[5];
  int icntl_[9], info_[12] = {};
  int la_ = 0;
  std::unique_ptr<double[]> a_, w_;
  std::unique_ptr<int[]> irn_, jcn_, keep_, iw_;
  Vector rhs_;
};

}  // namespace bench

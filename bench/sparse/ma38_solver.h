#pragma once

// The library's multifrontal solver, in the form that the benchmark times.

#include <algorithm>
#include <cstddef>
#include <memory>

#include "bench/sparse/problem.h"
#include "sparse/ma38/ma38_codes.h"
#include "sparse/ma38/ma38_routines.h"

namespace bench {

/// Calls the routines of ma38. Where the diagonal is heavy, as on grids, it lets them prefer pivots there and
/// grow fronts less, which saves most of the operations; Ma38With sets these two controls itself. VALUE and
/// INDEX are long from the start, since a part of a new array that is never touched costs no time; if they
/// are still too short, they grow to what the routine asks for.
class Ma38Solver {
 public:
  static constexpr const char* kName = "ma38";

  explicit Ma38Solver(const Problem& problem)
      : problem_(problem), work_(2 * static_cast<std::size_t>(problem.n)) {
    ma38id_(keep_, cntl_, icntl_);
    if (problem.heavy_diagonal) choose(true, 1.2);
  }

  bool analyse_factorise() {
    lvalue_ = room(kValueRoom);
    lindex_ = room(kIndexRoom);
    for (;;) {
      value_.reset(new double[static_cast<std::size_t>(lvalue_)]);
      index_.reset(new int[static_cast<std::size_t>(lindex_)]);
      load(0);
      ma38ad_(&problem_.n, &problem_.entries, &kJob, &kPlain, &lvalue_, &lindex_, value_.get(), index_.get(),
              keep_, cntl_, icntl_, info_, rinfo_);
      if (status() == MA38_STATUS_OK) return reserve_for_refactorisation();
      if (!too_short()) return false;
      lvalue_ = longer(lvalue_, info(MA38_INFO_VALUE_NEEDED));
      lindex_ = longer(lindex_, info(MA38_INFO_INDEX_NEEDED));
    }
  }

  bool refactorise(int step) {
    load(step);
    ma38bd_(&problem_.n, &problem_.entries, &kJob, &kPlain, &lvalue_, &lindex_, value_.get(), index_.get(),
            keep_, cntl_, icntl_, info_, rinfo_);
    return status() == MA38_STATUS_OK;
  }

  bool solve(const Vector& b, Vector& x) {
    ma38cd_(&problem_.n, &kWhole, &kPlain, &lvalue_, &lindex_, value_.get(), index_.get(), keep_, b.data(),
            x.data(), work_.data(), cntl_, icntl_, info_, rinfo_);
    return status() == MA38_STATUS_OK;
  }

  double operations() const { return ma38_rinfo(rinfo_, MA38_RINFO_BLAS_FLOPS); }
  /// Returns the share of the operations of the last factorisation that ran in matrix-matrix kernels.
  double level3_share() const { return ma38_rinfo(rinfo_, MA38_RINFO_LEVEL3_FLOPS) / operations(); }

 protected:
  Ma38Solver(const Problem& problem, bool prefer_diagonal, double growth) : Ma38Solver(problem) {
    choose(prefer_diagonal, growth);
  }

 private:
  static constexpr int kJob = MA38_FACTOR_ONLY, kPlain = 0, kWhole = MA38_SOLVE_WHOLE;
  static constexpr long long kValueRoom = 512, kIndexRoom = 64, kMostRoom = 1 << 28;  // an entry; in all

  int info(MA38_Info position) const { return ma38_info(info_, position); }
  int status() const { return info(MA38_INFO_STATUS); }
  bool too_short() const {
    return MA38_STATUS_BOTH_TOO_SHORT <= status() && status() <= MA38_STATUS_INDEX_TOO_SHORT;
  }
  void choose(bool prefer_diagonal, double growth) {
    ma38_set_icntl(icntl_, MA38_ICNTL_PREFER_DIAGONAL, prefer_diagonal);
    ma38_set_cntl(cntl_, MA38_CNTL_GROWTH, growth);
  }
  int room(long long words_an_entry) const {
    return static_cast<int>(std::min(words_an_entry * problem_.entries, kMostRoom));
  }
  static int longer(int length, int needed) {
    return needed > length ? static_cast<int>(std::min<long long>(needed + needed / 4LL, 2147483647))
                           : length;
  }

  void load(int step) {
    const reference::Coordinates& matrix = problem_.coordinates[step];
    std::copy(matrix.values.begin(), matrix.values.end(), value_.get());
    std::copy(matrix.rows.begin(), matrix.rows.end(), index_.get());
    std::copy(matrix.columns.begin(), matrix.columns.end(), index_.get() + problem_.entries);
  }

  /// Lengthens the arrays for ma38bd_. The factors keep their positions.
  bool reserve_for_refactorisation() {
    lengthen(value_, lvalue_, info(MA38_INFO_VALUE_FOR_REFACTOR));
    lengthen(index_, lindex_, info(MA38_INFO_INDEX_FOR_REFACTOR));
    return true;
  }
  template <class T>
  static void lengthen(std::unique_ptr<T[]>& array, int& length, int needed) {
    if (needed <= length) return;
    std::unique_ptr<T[]> copy(new T[static_cast<std::size_t>(needed)]);
    std::copy_n(array.get(), length, copy.get());
    array = std::move(copy);
    length = needed;
  }

  const Problem& problem_;
  int keep_[MA38_KEEP_LENGTH], icntl_[MA38_ICNTL_LENGTH], info_[MA38_INFO_LENGTH] = {};
  double cntl_[MA38_CNTL_LENGTH], rinfo_[MA38_RINFO_LENGTH] = {};
  int lvalue_ = 0, lindex_ = 0;
  std::unique_ptr<double[]> value_;
  std::unique_ptr<int[]> index_;
  Vector work_;
};

/// Fixes both controls: pivots from the diagonal or anywhere, growth of fronts in percent.
template <bool kDiagonal, int kGrowthPercent>
class Ma38With : public Ma38Solver {
 public:
  static constexpr const char* kName = kDiagonal ? (kGrowthPercent == 200 ? "ma38_diagonal" : "ma38_both")
                                                 : (kGrowthPercent == 200 ? "ma38_default" : "ma38_growth");
  explicit Ma38With(const Problem& problem) : Ma38Solver(problem, kDiagonal, kGrowthPercent / 100.0) {}
};

}  // namespace bench

#pragma once

#include <algorithm>
#include <cstddef>
#include <memory>

#include "bench/sparse/problem.h"
#include "sparse/ma38/ma38_routines.h"

namespace bench {

/// The routines of the multifrontal solver. Where the diagonal has good pivots, as on grids, they are told
/// so, and to grow fronts less, which there saves most of the operations; Ma38With sets these two by itself.
/// The two arrays are long from the start, since a part of a new array that is never touched costs no time;
/// where even that is short, the figures of the routine tell more.
class Ma38Solver {
 public:
  static constexpr const char* kName = "ma38";

  explicit Ma38Solver(const Problem& problem)
      : problem_(problem), work_(2 * static_cast<std::size_t>(problem.n)) {
    ma38id_(keep_, cntl_, icntl_);
    if (!problem.heavy_diagonal) return;
    icntl_[kPreferDiagonal] = 1;
    cntl_[kGrowth] = 1.2;
  }

  bool analyse_factorise() {
    lvalue_ = room(kValueRoom);
    lindex_ = room(kIndexRoom);
    for (;;) {
      value_.reset(new double[static_cast<std::size_t>(lvalue_)]);
      index_.reset(new int[static_cast<std::size_t>(lindex_)]);
      load(0);
      ma38ad_(&problem_.n, &problem_.entries, &kNotPreserved, &kPlain, &lvalue_, &lindex_, value_.get(),
              index_.get(), keep_, cntl_, icntl_, info_, rinfo_);
      if (info_[0] == 0) return reserve_for_refactorisation();
      if (!is_shortage(info_[0])) return false;
      lvalue_ = longer(lvalue_, info_[kValueNeeded]);
      lindex_ = longer(lindex_, info_[kIndexNeeded]);
    }
  }

  bool refactorise(int step) {
    load(step);
    ma38bd_(&problem_.n, &problem_.entries, &kNotPreserved, &kPlain, &lvalue_, &lindex_, value_.get(),
            index_.get(), keep_, cntl_, icntl_, info_, rinfo_);
    return info_[0] == 0;
  }

  bool solve(const Vector& b, Vector& x) {
    ma38cd_(&problem_.n, &kWhole, &kPlain, &lvalue_, &lindex_, value_.get(), index_.get(), keep_, b.data(),
            x.data(), work_.data(), cntl_, icntl_, info_, rinfo_);
    return info_[0] == 0;
  }

  double operations() const { return rinfo_[kAllBlas]; }
  /// Of the operations of the last factorisation, those in matrix-matrix kernels.
  double level3_share() const { return rinfo_[kLevel3] / rinfo_[kAllBlas]; }

 protected:
  Ma38Solver(const Problem& problem, bool prefer_diagonal, double growth) : Ma38Solver(problem) {
    icntl_[kPreferDiagonal] = prefer_diagonal;
    cntl_[kGrowth] = growth;
  }

 private:
  static constexpr int kNotPreserved = 0, kPlain = 0, kWhole = 0;
  static constexpr long long kValueRoom = 512, kIndexRoom = 64, kMostRoom = 1 << 28;  // an entry; in all
  static constexpr int kIndexNeeded = 18, kValueNeeded = 20, kIndexForRefactor = 21, kValueForRefactor = 22;
  static constexpr int kPreferDiagonal = 5, kGrowth = 1;
  static constexpr int kAllBlas = 0, kLevel3 = 5;

  int room(long long words_an_entry) const {
    return static_cast<int>(std::min(words_an_entry * problem_.entries, kMostRoom));
  }
  static bool is_shortage(int status) { return -5 <= status && status <= -3; }
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

  /// The factors stay where they are: longer arrays are good at the same positions.
  bool reserve_for_refactorisation() {
    lengthen(value_, lvalue_, info_[kValueForRefactor]);
    lengthen(index_, lindex_, info_[kIndexForRefactor]);
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
  int keep_[20], icntl_[20], info_[40] = {};
  double cntl_[10], rinfo_[20] = {};
  int lvalue_ = 0, lindex_ = 0;
  std::unique_ptr<double[]> value_;
  std::unique_ptr<int[]> index_;
  Vector work_;
};

/// Settings for grids: pivots from the diagonal or anywhere, growth of fronts in percent.
template <bool kDiagonal, int kGrowthPercent>
class Ma38With : public Ma38Solver {
 public:
  static constexpr const char* kName = kDiagonal ? (kGrowthPercent == 200 ? "ma38_diagonal" : "ma38_both")
                                                 : (kGrowthPercent == 200 ? "ma38_default" : "ma38_growth");
  explicit Ma38With(const Problem& problem) : Ma38Solver(problem, kDiagonal, kGrowthPercent / 100.0) {}
};

}  // namespace bench

#pragma once

// The routines of the multifrontal solver with the arrays that they need, which grow when a routine asks.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace apps {

struct MultifrontalSettings {
  bool block_form = true;
  bool keep_matrix = false;         // a copy of it with the factors, as refinement needs
  std::optional<double> threshold;  // least pivot, as part of the largest element of its column
  bool prefer_diagonal = false;     // for pivots
};

/// One square matrix, factorised as often as its values change.
class Multifrontal {
 public:
  using Settings = MultifrontalSettings;
  enum Status { kPivotsFailed = -6, kNoRoomForBoth = -5, kNoRoomForReals = -4, kNoRoomForIndices = -3 };
  /// Bits of a status that is not negative.
  enum Warning { kOutside = 1, kSummed = 2, kSingular = 4 };
  /// Elements of info() and rinfo(), from 1.
  enum Info { kDuplicates = 2, kSingletons = 8, kBlocks = 9, kFactorEntries = 12, kPivots = 17 };
  enum Rinfo { kOperations = 1, kLevel3Operations = 6 };

  struct Answer {
    std::vector<double> x;  // need not be finite
    int status = 0;
    int refinements = 0;                // steps taken
    double backward_error[2] = {0, 0};  // omega1 and omega2, if refinement was asked for
  };

  /// @param rows, columns  of the entries, from 1; both outlive the object
  Multifrontal(int order, const std::vector<int>& rows, const std::vector<int>& columns,
               const Settings& settings);

  /// Chooses pivots by the size of `values`, which stand in the order of the entries.
  /// @return the status of the routine; what is not negative left factors
  int factorise(const std::vector<double>& values);
  /// On the pivots of the last call of factorise(), which must have been a success.
  int refactorise(const std::vector<double>& values);
  /// @param most_refinements  above 0 only where the matrix was kept
  Answer solve(const std::vector<double>& b, bool transposed, int most_refinements);

  int info(Info which) const { return info_[which - 1]; }
  double rinfo(Rinfo which) const { return rinfo_[which - 1]; }
  /// What must stay from a factorisation to its solutions: reals and integers.
  std::int64_t kept_reals() const { return std::int64_t{keep_[1]} - keep_[0] + 1; }
  std::int64_t kept_indices() const { return std::int64_t{keep_[4]} - keep_[2] + 1; }

 private:
  template <class Routine>
  int run(Routine routine, const std::vector<double>& values);
  void load(const std::vector<double>& values);
  bool grow(int status);

  const int n_, ne_, job_;
  const std::vector<int>&rows_, &columns_;
  double cntl_[10], rinfo_[20] = {};
  int icntl_[20], keep_[20] = {}, info_[40] = {};
  std::vector<double> value_, w_;
  std::vector<int> index_;
  std::vector<int> pattern_;  // that of the factors, once a refactorisation has taken it from index_
};

}  // namespace apps

#pragma once

// Owns the arrays of the ma38 routines and lengthens them when a routine asks for more.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "sparse/ma38/ma38_codes.h"

namespace apps {

struct MultifrontalSettings {
  bool block_form = true;
  bool keep_matrix = false;         // keep a copy of the matrix with the factors, as refinement needs
  std::optional<double> threshold;  // of the pivot test, relative to the largest element of the column
  bool prefer_diagonal = false;     // take pivots from the diagonal where they pass the test
};

/// Factorises a square matrix as often as its values change, and solves with the factors.
class Multifrontal {
 public:
  using Settings = MultifrontalSettings;

  struct Answer {
    std::vector<double> x;          // may hold infinities and NaN
    int status = 0;                 // INFO(1) of the routine
    int refinements = 0;            // steps taken
    double omega1 = 0, omega2 = 0;  // componentwise backward errors, if refinement was asked for
  };

  /// @param rows, columns  of the entries, from 1; both outlive the object
  Multifrontal(int order, const std::vector<int>& rows, const std::vector<int>& columns,
               const Settings& settings);

  /// Factorises with pivots chosen for `values`, which are in the order of the entries.
  /// @return INFO(1) of the routine; unless it is negative there are factors
  int factorise(const std::vector<double>& values);
  /// Factorises with the pivots of the last call of factorise(), which must have been a success.
  /// @return INFO(1) of the routine
  int refactorise(const std::vector<double>& values);
  /// Solves with the factors, with the transpose if `transposed`.
  /// @param most_refinements  above 0 only where the matrix was kept
  Answer solve(const std::vector<double>& b, bool transposed, int most_refinements);

  int info(MA38_Info position) const { return ma38_info(info_, position); }
  double rinfo(MA38_Rinfo position) const { return ma38_rinfo(rinfo_, position); }
  bool warned(MA38_Warning warning) const { return ma38_warned(info_, warning) != 0; }
  /// Return the number of doubles, and that of integers, which must be kept from a factorisation to its
  /// solutions.
  std::int64_t kept_reals() const { return words(MA38_KEEP_VALUE_BEGIN, MA38_KEEP_VALUE_END); }
  std::int64_t kept_indices() const { return words(MA38_KEEP_INDEX_BEGIN, MA38_KEEP_INDEX_END); }

 private:
  template <class Routine>
  int run(Routine routine, const std::vector<double>& values);
  void load(const std::vector<double>& values);
  bool grow();
  /// Returns the words from one position that KEEP tells to another, both included.
  std::int64_t words(MA38_Keep first, MA38_Keep last) const {
    return std::int64_t{ma38_keep(keep_, last)} - ma38_keep(keep_, first) + 1;
  }

  const int n_, ne_, job_;
  const std::vector<int>&rows_, &columns_;
  double cntl_[MA38_CNTL_LENGTH], rinfo_[MA38_RINFO_LENGTH] = {};
  int icntl_[MA38_ICNTL_LENGTH], keep_[MA38_KEEP_LENGTH] = {}, info_[MA38_INFO_LENGTH] = {};
  std::vector<double> value_, w_;
  std::vector<int> index_;
  std::vector<int> pattern_;  // what ma38bd_ needs of index_; taken from there by the first refactorise()
};

}  // namespace apps

#pragma once

// Where things stand in the arrays of the ma38 routines.

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "frame/clamp.h"
#include "frame/one_based.h"

namespace corvidnum {
namespace ma38 {

using Index = std::ptrdiff_t;
using Wide = std::int64_t;

// ---- Controls and results, elements counted from 1

enum Icntl {
  kErrorUnit = 1,
  kDumpUnit = 2,
  kPrintLevel = 3,
  kUseBlocks = 4,
  kSearchWidth = 5,
  kPreferDiagonal = 6,
  kBlockSize = 7,
  kMostRefinements = 8
};
enum Cntl { kPivotTolerance = 1, kGrowth = 2, kEpsilon = 3 };
enum Keep {
  kValueBegin = 1,
  kValueEnd = 2,
  kIndexBegin = 3,
  kPatternBegin = 4,
  kIndexEnd = 5,
  kDense1 = 7,
  kDense2 = 8
};
enum Info {
  kStatus = 1,
  kDuplicates = 2,
  kInvalid = 3,
  kNotInPattern = 4,
  kEntries = 5,
  kDiagonalEntries = 6,
  kOffDiagonalEntries = 7,
  kSingletons = 8,
  kBlocks = 9,
  kEntriesInL = 10,  // and U: crossed by intent, see add_factor_entries
  kEntriesInU = 11,
  kEntriesInFactors = 12,
  kFronts = 13,
  kIndexCollections = 14,
  kValueCollections = 15,
  kDiagonalPivots = 16,
  kPivots = 17,
  kIndexUsed = 18,
  kIndexNeeded = 19,
  kValueUsed = 20,
  kValueNeeded = 21,
  kIndexForRefactor = 22,
  kValueForRefactor = 23,
  kRefinements = 24
};
enum Rinfo {
  kBlasFlops = 1,
  kAssemblyFlops = 2,
  kSearchFlops = 3,
  kLevel1Flops = 4,
  kLevel2Flops = 5,
  kLevel3Flops = 6,
  kOmega1 = 7,
  kOmega2 = 8
};
constexpr int kIcntlLength = 20, kCntlLength = 10, kKeepLength = 20, kInfoLength = 40, kRinfoLength = 20;

using corvidnum::clamped;

/// INFO and RINFO of a running call. Sums and needs are taken in 64 bits and clamped.
class Results {
 public:
  Results(int* info, double* rinfo) : info_(info, kInfoLength), rinfo_(rinfo, kRinfoLength) {}
  int& operator()(Info which) const { return info_(which); }
  double& operator()(Rinfo which) const { return rinfo_(which); }
  void add(Info which, Wide amount) const { info_(which) = clamped(info_(which) + amount); }
  void raise(Info which, Wide value) const { info_(which) = std::max(info_(which), clamped(value)); }
  /// An LU element of `pivots` pivots. L and U are crossed here on purpose: only their sum is used.
  void add_factor_entries(Wide pivots, Wide l_length, Wide u_length) const {
    add(kEntriesInL, pivots * (pivots - 1) / 2 + pivots * u_length);
    add(kEntriesInU, pivots * (pivots - 1) / 2 + pivots * l_length);
  }

 private:
  OneBased<int> info_;
  OneBased<double> rinfo_;
};

/// The two arrays of a factorisation: heads grow up from the bottom, tails grow down from the top, and the
/// words between are free. Positions count from 1 in the views; places below them belong to the caller's
/// arrays too and are in the needs.
///   |  used by the head  | free: ihead .. itail-1 | used by the tail |
struct Space {
  OneBased<int> ints;
  OneBased<double> reals;
  Index ihead, itail, xhead, xtail;
  Wide ints_below, reals_below;  // words of the caller's arrays in front of the views
  Wide ineed, xneed;             // words of the caller's arrays in use, without garbage
  bool ints_short = false, reals_short = false;

  Index free_ints() const { return itail - ihead; }
  Index free_reals() const { return xtail - xhead; }
  /// Called after each growth of a head, a tail or a need.
  void note_use(const Results& results) const {
    results.raise(kIndexUsed, ints_below + (ihead - 1) + (ints.size() - itail + 1));
    results.raise(kValueUsed, reals_below + (xhead - 1) + (reals.size() - xtail + 1));
    results.raise(kIndexNeeded, ineed);
    results.raise(kValueNeeded, xneed);
  }
  /// A shortage: the need is reported as more than there is, by so much that a few retries are enough.
  bool lack_ints(const Results& results, Wide missing) {
    ints_short = true;
    results.raise(kIndexNeeded, std::max(ineed, enlarged(ints_below + ints.size(), missing)));
    return false;
  }
  bool lack_reals(const Results& results, Wide missing) {
    reals_short = true;
    results.raise(kValueNeeded, std::max(xneed, enlarged(reals_below + reals.size(), missing)));
    return false;
  }

 private:
  static Wide enlarged(Wide length, Wide missing) { return length + std::max(missing, length / 8 + 1); }
};

// ---- The kept factors

/// The words at the top of INDEX that all factors end with, read from KEEP(5) down:
///   | block pointers | block starts | row starts of the  | column | row   | TRANSA, NZOFF, NBLKS, |
///   | NBLKS (LUblkp) | NBLKS+1      | off-diagonal part  | perm.  | perm. | JOB, NZ, N, NE        |
///   |                | (Blkp)       | N+1 (Offp)         | N      | N     |                       |
///   |       only if NBLKS > 1                            |                                        |
/// Int is `int` or `const int`.
template <class Int>
class FactorTop {
 public:
  /// @param end KEEP(5), in positions of `index`
  FactorTop(OneBased<Int> index, Index end, Index n) : index_(index), end_(end), n_(n) {}

  Int& ne() const { return index_(end_); }
  Int& order() const { return index_(end_ - 1); }
  Int& nz() const { return index_(end_ - 2); }
  Int& preserved() const { return index_(end_ - 3); }  // JOB: 1 or 0
  Int& nblks() const { return index_(end_ - 4); }
  Int& nzoff() const { return index_(end_ - 5); }
  Int& transa() const { return index_(end_ - 6); }
  OneBased<Int> rperm() const { return index_.part(end_ - n_ - 6, n_); }
  OneBased<Int> cperm() const { return index_.part(end_ - 2 * n_ - 6, n_); }
  OneBased<Int> offp() const { return index_.part(end_ - 3 * n_ - 7, n_ + 1); }
  OneBased<Int> blkp(Index nblks) const { return index_.part(end_ - 3 * n_ - 8 - nblks, nblks + 1); }
  OneBased<Int> lublkp(Index nblks) const { return index_.part(end_ - 3 * n_ - 8 - 2 * nblks, nblks); }
  /// Words up to `end` that these parts take.
  static Wide length(Wide n, Wide nblks) { return nblks > 1 ? 3 * n + 9 + 2 * nblks : 2 * n + 7; }
  Index first(Index nblks) const { return end_ + 1 - static_cast<Index>(length(n_, nblks)); }

 private:
  OneBased<Int> index_;
  Index end_, n_;
};

/// The header of a factorised block and its LU elements, `h` being the position of its first word:
///   | reals | NLU | NPIV | longest L list | longest U list | NLU pointers | LU elements |
/// Pointers count from the word after the list, the first being 1; `reals` counts from the start of the LU
/// part of VALUE, the first being 1.
enum BlockWord {
  kBlockReals = 0,
  kBlockElements = 1,
  kBlockPivots = 2,
  kBlockMaxL = 3,
  kBlockMaxU = 4,
  kBlockPointers = 5
};

/// An LU element:
///   | reals | K | U length | L length | children | front columns | front rows | L list | U list | children |
/// `reals` counts from the block's reals, the first being 1. Front columns and rows are 0 but in the first
/// element of a chain. Reals: K columns of K + L length (pivot block over L), then U length groups of K.
enum ElementWord {
  kElementReals = 0,
  kElementPivots = 1,
  kElementU = 2,
  kElementL = 3,
  kElementChildren = 4,
  kFrontColumns = 5,
  kFrontRows = 6,
  kElementLists = 7
};
inline Wide element_reals(Wide pivots, Wide l_length, Wide u_length) {
  return (pivots + l_length + u_length) * pivots;
}

/// How a child was assembled; `order` is that of the block. Words of an LU element: 1 .. order whole (LUson),
/// up to 2 order by rows complete (Uson), above by columns complete (Lson).
enum ChildKind { kWhole = 0, kRowsComplete = 1, kColumnsComplete = 2 };

}  // namespace ma38
}  // namespace corvidnum

#pragma once

// The two arrays of a factorisation.

#include "sparse/ma38/report/results.h"

namespace corvidnum {
namespace ma38 {

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

}  // namespace ma38
}  // namespace corvidnum

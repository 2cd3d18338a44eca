#pragma once

// The two arrays of a factorisation, and the accounts of their words.

#include <cassert>

#include "sparse/ma38/report/results.h"

namespace corvidnum {
namespace ma38 {

/// Holds INDEX (`ints`) and VALUE (`reals`) of one factorisation, the ends of what is in use, and the needs.
/// In each, a head grows up from the bottom, a tail grows down from the top, and the words between are free:
///
///   |  head ->  | free: ihead .. itail-1 |  <- tail |
///
/// Positions count from 1 in the views. The places below the views belong to the caller's arrays too and
/// count as used and as needed. Everybody may read the ends and the needs; only the operations below change
/// them.
///
/// Always true:
///  1. 1 <= ihead <= itail <= ints.size() + 1, and likewise for the reals;
///  2. no need is negative.
/// A need is the length that would suffice without garbage; it may exceed the array's length: a shortage is
/// reported with the need of the operation that has failed.
class Space {
 public:
  /// A value that everybody reads and only the space sets.
  template <class T>
  class Reading {
   public:
    operator T() const { return value_; }  // NOLINT: reads like the value

   private:
    friend class Space;
    explicit Reading(T value) : value_(value) {}
    T value_;
  };
  struct Words {
    Wide ints, reals;
  };

  /// Begins with empty heads and tails.
  /// @param below  words of the caller's arrays in front of the views
  /// @param needed words that are in use already, those below included
  Space(OneBased<int> index, OneBased<double> value, Words below, Words needed)
      : ints(index),
        reals(value),
        ihead(1),
        itail(index.size() + 1),
        xhead(1),
        xtail(value.size() + 1),
        ints_below(below.ints),
        reals_below(below.reals),
        ineed(needed.ints),
        xneed(needed.reals),
        ints_short(false),
        reals_short(false) {}

  const OneBased<int> ints;
  const OneBased<double> reals;
  Reading<Index> ihead, itail, xhead, xtail;
  const Wide ints_below, reals_below;
  Reading<Wide> ineed, xneed;
  Reading<bool> ints_short, reals_short;  // whether a shortage was flagged

  Index free_ints() const { return itail - ihead; }
  Index free_reals() const { return xtail - xhead; }
  /// Returns whether the invariants hold.
  bool consistent() const {
    return 1 <= ihead && ihead <= itail && itail <= ints.size() + 1 && 1 <= xhead && xhead <= xtail &&
           xtail <= reals.size() + 1 && ineed >= 0 && xneed >= 0;
  }

  // ---- Needs

  /// Adds to both needs, or takes from them.
  void need(Wide more_ints, Wide more_reals) {
    ineed.value_ += more_ints;
    xneed.value_ += more_reals;
  }
  void release(Wide fewer_ints, Wide fewer_reals) {
    ineed.value_ -= fewer_ints;
    xneed.value_ -= fewer_reals;
    assert(consistent());
  }
  /// Raises the results to what is in use and needed now, and `work` reals behind the head. Called after each
  /// growth of an end or a need.
  void note_use(const Results& results, Wide work = 0) const {
    results.raise(MA38_INFO_INDEX_USED, ints_below + (ihead - 1) + (ints.size() - itail + 1));
    results.raise(MA38_INFO_VALUE_USED, reals_below + (xhead - 1) + (reals.size() - xtail + 1) + work);
    results.raise(MA38_INFO_INDEX_NEEDED, ineed);
    results.raise(MA38_INFO_VALUE_NEEDED, xneed + work);
  }

  // ---- Shortages. Each returns false if it has flagged one.

  bool has_ints(const Results& results, Wide count) {
    return free_ints() >= count || lack_ints(results, count - free_ints());
  }
  bool has_reals(const Results& results, Wide count) {
    return free_reals() >= count || lack_reals(results, count - free_reals());
  }
  /// Flags a shortage of integers. The reported need is the present length plus the larger of `missing` and
  /// an eighth of it, so that a caller who retries with just that needs few rounds.
  bool lack_ints(const Results& results, Wide missing) {
    ints_short.value_ = true;
    results.raise(MA38_INFO_INDEX_NEEDED, std::max<Wide>(ineed, enlarged(ints_below + ints.size(), missing)));
    return false;
  }
  bool lack_reals(const Results& results, Wide missing) {
    reals_short.value_ = true;
    results.raise(MA38_INFO_VALUE_NEEDED,
                  std::max<Wide>(xneed, enlarged(reals_below + reals.size(), missing)));
    return false;
  }

  // ---- Heads. There must be room, but for reserve_head_ints().

  /// Adds `count` words to the need of integers and then, if there is room, to their head. Sets `begin` to
  /// the position of the first of them. Returns false after a shortage, which is flagged.
  bool reserve_head_ints(const Results& results, Wide count, Index& begin) {
    need(count, 0);
    if (!has_ints(results, count)) return false;
    begin = push_ints(static_cast<Index>(count));
    return true;
  }

  /// Add `count` words to a head, whose need is counted already. Return the position of the first of them.
  Index push_ints(Index count) {
    const Index begin = ihead;
    set_int_head(begin + count);
    return begin;
  }
  Index push_reals(Index count) {
    const Index begin = xhead;
    set_real_head(begin + count);
    return begin;
  }
  /// Move the end of a head to `position`, the first free word. The needs stay.
  void set_int_head(Index position) {
    ihead.value_ = position;
    assert(consistent());
  }
  void set_real_head(Index position) {
    xhead.value_ = position;
    assert(consistent());
  }
  void set_heads(Index position) {
    set_int_head(position);
    set_real_head(position);
  }
  /// Adds `count` words to both heads and both needs.
  void grow_heads(Index count) {
    push_ints(count);
    push_reals(count);
    need(count, count);
  }
  /// Takes `count` words off both heads and both needs.
  void shrink_heads(Index count) {
    set_int_head(ihead - count);
    set_real_head(xhead - count);
    release(count, count);
  }

  // ---- Tails

  /// Adds words to the tail, whose need is counted already. There must be room.
  void push_tail_ints(Index count) {
    itail.value_ -= count;
    assert(consistent());
  }
  void push_tail_reals(Index count) {
    xtail.value_ -= count;
    assert(consistent());
  }
  /// Reserves words at the tail: adds `count` to the need and then, if there is room, to the tail. Returns
  /// false after a shortage, which is flagged.
  bool reserve_tail_ints(const Results& results, Wide count) {
    need(count, 0);
    if (!has_ints(results, count)) return false;
    push_tail_ints(static_cast<Index>(count));
    return true;
  }
  bool reserve_tail_reals(const Results& results, Wide count) {
    need(0, count);
    if (!has_reals(results, count)) return false;
    push_tail_reals(static_cast<Index>(count));
    return true;
  }
  /// Takes `count` words off the tail and the need.
  void release_tail_ints(Index count) {
    itail.value_ += count;
    release(count, 0);
  }

 private:
  static Wide enlarged(Wide length, Wide missing) { return length + std::max(missing, length / 8 + 1); }
};

}  // namespace ma38
}  // namespace corvidnum

// Refuses a damaged KEEP or INDEX: checks that the host's arrays hold what a factorisation leaves. They may
// have been damaged or mixed up. ma38bd_ (calls/refactor.cpp), ma38cd_ (calls/solve.cpp) and the query of the
// blocks (calls/queries.cpp) call these checks and return MA38_STATUS_CORRUPTED, -7; the dump of the
// arguments (print/factors.cpp) then leaves the factors out.
//
// Invariant: no word is read before it is known to lie inside its array, and no sum of words is formed in
// int. The checks of lists have no early exit inside their loops, so that the compiler can vectorise them.

#include "sparse/ma38/factors/factors.h"

namespace corvidnum {
namespace ma38 {
namespace {

/// Returns whether the pattern lies inside INDEX, as KEEP tells; its scalars are 7 words.
bool pattern_is_inside(const OneBased<const int>& keep, Wide lindex) {
  return keep(MA38_KEEP_PATTERN_BEGIN) >= 1 &&
         Wide{keep(MA38_KEEP_INDEX_END)} - 6 >= keep(MA38_KEEP_PATTERN_BEGIN) &&
         keep(MA38_KEEP_INDEX_END) <= lindex;
}

/// Returns whether the other parts lie inside INDEX and VALUE, if the pattern does.
bool rest_is_inside(const OneBased<const int>& keep, Wide lvalue) {
  return keep(MA38_KEEP_VALUE_BEGIN) > 0 && keep(MA38_KEEP_VALUE_BEGIN) <= keep(MA38_KEEP_VALUE_END) &&
         keep(MA38_KEEP_VALUE_END) <= lvalue && keep(MA38_KEEP_INDEX_BEGIN) > 0 &&
         keep(MA38_KEEP_PATTERN_BEGIN) >= keep(MA38_KEEP_INDEX_BEGIN);
}

/// Reads the scalars. Returns whether they are those of factors of order n, and the other parts of the top
/// lie above the first LU element.
bool read_scalars(const FactorTop<const int>& top, int n, KeptFactors& kept) {
  kept.n = n;
  kept.nz = top.nz();
  kept.nblks = top.nblks();
  kept.nzoff = top.nzoff();
  kept.preserved = top.preserved() != 0;
  kept.transposed = top.transa() != 0;
  if (top.order() != n || kept.nz <= 0) return false;
  if (kept.lu_ints > Wide{kept.top_end} + 1 - FactorTop<const int>::length(n, kept.nblks)) return false;
  return kept.nblks >= 1 && kept.nblks <= n;
}

/// Returns whether all members lie in 1..n.
bool members_are_inside(const int* list, Index count, Index n) {
  const int last = static_cast<int>(n);
  int outside = 0;
  for (Index k = 0; k < count; ++k) outside |= (list[k] < 1) | (list[k] > last);
  return outside == 0;
}

/// Returns whether a list of starts begins with 1, never falls and ends with count + 1.
bool starts_are_sound(const OneBased<const int>& starts, Index count) {
  if (starts(1) != 1 || starts(starts.size()) != count + 1) return false;
  int falls = 0;
  for (Index k = 1; k < starts.size(); ++k) falls |= starts(k + 1) < starts(k);
  return falls == 0;
}

/// Checks the header and the LU elements of one block.
class BlockCheck {
 public:
  /// @param ints  the LU elements of all blocks
  /// @param reals length of the LU part of VALUE; below 0: not checked
  BlockCheck(OneBased<const int> ints, Index order, Wide reals) : ints_(ints), order_(order), reals_(reals) {}

  /// Returns whether the block whose header is at `header` is sound.
  bool sound(Wide header) {
    if (header < 1 || header + kBlockPointers - 1 > ints_.size()) return false;
    const OneBased<const int> words = ints_.from(static_cast<Index>(header));
    const Index count = words(kBlockElements + 1);
    if (count < 0 || count > order_ || kBlockPointers + count > words.size()) return false;
    first_real_ = words(kBlockReals + 1);
    if (reals_ >= 0 && (first_real_ < 1 || first_real_ > reals_)) return false;
    longest_l_ = words(kBlockMaxL + 1);
    longest_u_ = words(kBlockMaxU + 1);
    if (longest_l_ < 0 || longest_l_ > order_ || longest_u_ < 0 || longest_u_ > order_) return false;
    return elements_are_sound(words, count);
  }

 private:
  bool elements_are_sound(const OneBased<const int>& words, Index count) {
    const OneBased<const int> elements = words.from(kBlockPointers + count + 1);
    Wide pivots = 0;
    front_columns_ = front_rows_ = 0;
    for (Index e = 1; e <= count; ++e) {
      const int pointer = words(kBlockPointers + e);
      if (pointer < 1 || Wide{pointer} + kElementLists - 1 > elements.size()) return false;
      const OneBased<const int> element = elements.from(pointer);
      if (!counts_are_sound(element) || !lists_are_sound(element, e)) return false;
      pivots += element(kElementPivots + 1);
    }
    return pivots == words(kBlockPivots + 1) && pivots <= order_;
  }

  bool counts_are_sound(const OneBased<const int>& element) {
    const Wide k = element(kElementPivots + 1), u = element(kElementU + 1), l = element(kElementL + 1);
    if (k < 1 || u < 0 || u > longest_u_ || l < 0 || l > longest_l_ || k + u > order_ || k + l > order_)
      return false;
    if (element(kFrontColumns + 1) != 0 || element(kFrontRows + 1) != 0) {
      front_columns_ = element(kFrontColumns + 1);
      front_rows_ = element(kFrontRows + 1);
    }
    if (k + u > front_columns_ || front_columns_ > order_ || k + l > front_rows_ || front_rows_ > order_)
      return false;
    if (reals_ < 0) return true;
    const Wide begin = element(kElementReals + 1);
    return begin >= 1 && (first_real_ - 1) + (begin - 1) + element_reals(k, l, u) <= reals_;
  }

  bool lists_are_sound(const OneBased<const int>& element, Index ordinal) const {
    const Wide members = Wide{element(kElementU + 1)} + element(kElementL + 1);
    const Wide children = element(kElementChildren + 1);
    if (children < 0 || kElementLists + members + children > element.size()) return false;
    const int* list = element.data() + kElementLists;
    if (!members_are_inside(list, static_cast<Index>(members), order_)) return false;
    for (Index k = 0; k < children; ++k) {
      Wide child = list[members + k];
      for (int kind = kWhole; kind < kColumnsComplete && child > order_; ++kind) child -= order_;
      if (child < 1 || child >= ordinal) return false;
    }
    return true;
  }

  OneBased<const int> ints_;
  Index order_;
  Wide reals_;
  Wide first_real_ = 1;
  Index longest_l_ = 0, longest_u_ = 0;
  Index front_columns_ = 0, front_rows_ = 0;  // of the chain that the element is in
};

}  // namespace

KeptFactors locate_factors(int n, int lvalue, int lindex, OneBased<const int> index, const int* keep_in) {
  const OneBased<const int> keep(keep_in, MA38_KEEP_LENGTH);
  KeptFactors kept = {};
  if (!pattern_is_inside(keep, lindex) || !rest_is_inside(keep, lvalue)) return kept;

  kept.top_end = keep(MA38_KEEP_INDEX_END);
  kept.lu_ints = keep(MA38_KEEP_PATTERN_BEGIN);
  if (!read_scalars(FactorTop<const int>(index, kept.top_end, n), n, kept)) return kept;

  Wide real = keep(MA38_KEEP_VALUE_BEGIN), word = keep(MA38_KEEP_INDEX_BEGIN);
  if (kept.preserved) {
    kept.ap = static_cast<Index>(word);
    kept.ai = static_cast<Index>(word + n + 1);
    kept.ax = static_cast<Index>(real);
    word += Wide{n} + 1 + kept.nz;
    real += kept.nz;
  }
  if (kept.nblks > 1) {
    kept.offi = static_cast<Index>(word);
    kept.offx = static_cast<Index>(real);
    word += kept.nzoff;
    real += kept.nzoff;
  }
  kept.lu_reals = static_cast<Index>(real);
  kept.good = real <= keep(MA38_KEEP_VALUE_END) && kept.nzoff >= 0 && word == kept.lu_ints;
  return kept;
}

KeptFactors locate_pattern(int n, int lindex, OneBased<const int> index, const int* keep_in) {
  const OneBased<const int> keep(keep_in, MA38_KEEP_LENGTH);
  KeptFactors kept = {};
  if (!pattern_is_inside(keep, lindex)) return kept;
  kept.top_end = keep(MA38_KEEP_INDEX_END);
  kept.lu_ints = keep(MA38_KEEP_PATTERN_BEGIN);
  const FactorTop<const int> top(index, kept.top_end, n);
  kept.good = read_scalars(top, n, kept) && kept.lu_ints < top.first(kept.nblks);
  return kept;
}

bool elements_are_sound(OneBased<const int> index, Index lu_ints, Index top_end, int n, int nblks,
                        Wide reals) {
  const FactorTop<const int> top(index, top_end, n);
  const OneBased<const int> ints = index.part(lu_ints, top.first(nblks) - lu_ints);
  if (nblks == 1) return BlockCheck(ints, n, reals).sound(1);

  const OneBased<const int> blkp = top.blkp(nblks), lublkp = top.lublkp(nblks);
  if (!starts_are_sound(blkp, n)) return false;
  for (Index b = 1; b <= nblks; ++b) {
    const Index order = blkp(b + 1) - blkp(b);
    if (order < 1) return false;
    const bool sound = order > 1 ? BlockCheck(ints, order, reals).sound(lublkp(b))
                                 : lublkp(b) >= 1 && (reals < 0 || lublkp(b) <= reals);
    if (!sound) return false;
  }
  return true;
}

bool elements_are_apart(OneBased<const int> index, Index lu_ints, Index top_end, int n, int nblks) {
  const FactorTop<const int> top(index, top_end, n);
  const OneBased<const int> ints = index.part(lu_ints, top.first(nblks) - lu_ints);
  Index limit = ints.size() + 1;  // the words from here on belong to what was checked before
  for (Index b = nblks; b >= 1; --b) {
    if (nblks > 1 && top.blkp(nblks)(b + 1) - top.blkp(nblks)(b) == 1) continue;
    const Index header = nblks > 1 ? Index{top.lublkp(nblks)(b)} : 1;
    const OneBased<const int> words = ints.from(header);
    const Index elements = header + kBlockPointers + words(kBlockElements + 1);
    for (Index e = 1; e <= words(kBlockElements + 1); ++e) {
      const Index begin = elements + words(kBlockPointers + e) - 1;
      const OneBased<const int> element = ints.from(begin);
      const Wide length = kElementLists + Wide{element(kElementL + 1)} + element(kElementU + 1) +
                          element(kElementChildren + 1);
      if (begin + length > limit) return false;
      limit = begin;
    }
    if (elements > limit) return false;
    limit = header;
  }
  return true;
}

bool vectors_are_sound(OneBased<const int> index, const KeptFactors& kept) {
  const FactorTop<const int> top(index, kept.top_end, kept.n);
  if (!members_are_inside(top.rperm().data(), kept.n, kept.n)) return false;
  if (!members_are_inside(top.cperm().data(), kept.n, kept.n)) return false;
  if (kept.nblks > 1 &&
      !(starts_are_sound(top.blkp(kept.nblks), kept.n) && starts_are_sound(top.offp(), kept.nzoff) &&
        members_are_inside(index.part(kept.offi, kept.nzoff).data(), kept.nzoff, kept.n)))
    return false;
  return !kept.preserved || (starts_are_sound(index.part(kept.ap, kept.n + 1), kept.nz) &&
                             members_are_inside(index.part(kept.ai, kept.nz).data(), kept.nz, kept.n));
}

}  // namespace ma38
}  // namespace corvidnum

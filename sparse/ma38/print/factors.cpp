// The dump of factors: where they are, how they are laid out, what they contain. Nothing of the LU elements
// is read before elements_are_sound() has passed them.

#include "sparse/ma38/print/lines.h"

namespace corvidnum {
namespace ma38 {
namespace {

using namespace print_texts;

/// Views an LU element; `begin` is the position of its first word in INDEX, `reals` of its first real in
/// VALUE.
struct Element {
  OneBased<const int> words;
  Index reals;

  Element(OneBased<const int> index, Index begin, Index block_reals)
      : words(index.from(begin)), reals(block_reals + word(kElementReals) - 1) {}

  Index word(ElementWord which) const { return words(which + 1); }
  Index pivots() const { return word(kElementPivots); }
  Index l_length() const { return word(kElementL); }
  Index u_length() const { return word(kElementU); }
  Index children() const { return word(kElementChildren); }
  int l_row(Index k) const { return words(kElementLists + k); }
  int u_column(Index k) const { return words(kElementLists + l_length() + k); }
  int child(Index k) const { return words(kElementLists + l_length() + u_length() + k); }
  Index length() const { return kElementLists + l_length() + u_length() + children(); }
  Index reals_end() const {
    return reals + static_cast<Index>(element_reals(pivots(), l_length(), u_length())) - 1;
  }
  /// Return the position in VALUE of row i <= K + L length in pivot column j, and of pivot row i in column j
  /// of U, where columns 1 .. K are those of the pivots.
  Index of_lower(Index i, Index j) const { return reals + (j - 1) * (pivots() + l_length()) + i - 1; }
  Index of_upper(Index i, Index j) const {
    return j <= pivots() ? of_lower(i, j)
                         : reals + (pivots() + l_length()) * pivots() + (j - pivots() - 1) * pivots() + i - 1;
  }
};

/// Dumps the factors of one call.
class FactorDump {
 public:
  FactorDump(const Dump& dump, const PrintArguments& a, const KeptFactors& factors)
      : dump_(dump),
        factors_(factors),
        pattern_only_(a.who == kRefactor && !a.output),
        keep_(a.keep, MA38_KEEP_LENGTH),
        index_(a.index, a.lindex),
        value_(a.value, a.lvalue),
        top_(index_, factors.top_end, factors.n) {}

  void run() const;

 private:
  bool several() const { return factors_.nblks > 1; }
  bool sound() const;
  void locations() const;
  void layout() const;
  void layout_of_lower_parts() const;
  void layout_of_block_data() const;
  void layout_of_scalars() const;
  void copy() const;
  void off_diagonal() const;
  void compressed(const char* label, OneBased<const int> pointers, Index entries, Index indices,
                  Index values) const;
  void blocks() const;
  void block(Index b) const;
  void singleton(Index position, Index real) const;
  void elements(Index header, Index order, Index first_element) const;
  void block_places(Index header, Index first_element) const;
  void element(const Element& e, Index pivots_before, Index order) const;
  void member(Index position, Index real) const;
  void permutation(const char* heading, OneBased<const int> vector) const;
  Element at(Index header, Index first_element, Index e) const {
    return Element(index_, first_element + index_(header + kBlockPointers + e - 1) - 1,
                   factors_.lu_reals + index_(header + kBlockReals) - 1);
  }
  void ints(Index begin, Index count, const char* label) const {
    dump_.line(kIndexRange, begin, begin + count - 1, label);
  }
  void reals(Index begin, Index count, const char* label) const {
    dump_.line(kValueRange, begin, begin + count - 1, label);
  }

  const Dump& dump_;
  const KeptFactors& factors_;
  const bool pattern_only_;
  const OneBased<const int> keep_, index_;
  const OneBased<const double> value_;
  const FactorTop<const int> top_;
};

void FactorDump::run() const {
  if (!sound()) {
    dump_.line(kFactorsCorrupted);
    return;
  }
  locations();
  if (dump_.shows_layout()) layout();
  if (!pattern_only_) {
    if (factors_.preserved) copy();
    if (several()) off_diagonal();
  }
  blocks();
  permutation(kColumnPermutations, top_.cperm());
  permutation(kRowPermutations, top_.rperm());
}

bool FactorDump::sound() const {
  const Wide reals = pattern_only_ ? -1 : keep_(MA38_KEEP_VALUE_END) - factors_.lu_reals + 1;
  return elements_are_sound(index_, factors_.lu_ints, factors_.top_end, factors_.n, factors_.nblks, reals);
}

void FactorDump::locations() const {
  if (pattern_only_) {
    dump_.line(kLocationForRefactor);
  } else {
    dump_.line(kLocationForSolve);
    dump_.line(kLocationInValue, keep_(MA38_KEEP_VALUE_BEGIN), keep_(MA38_KEEP_VALUE_END));
    dump_.line(kLocationInIndex, keep_(MA38_KEEP_INDEX_BEGIN), keep_(MA38_KEEP_INDEX_END));
    dump_.line(kAndForRefactor);
  }
  dump_.line(kPatternInIndex, keep_(MA38_KEEP_PATTERN_BEGIN), keep_(MA38_KEEP_INDEX_END));
}

// ---- Layout

void FactorDump::layout() const {
  dump_.line(pattern_only_ ? kLayoutOfPattern : kLayout);
  if (!pattern_only_) layout_of_lower_parts();
  dump_.line(several() ? kLayoutBlockElements : kLayoutElements);
  ints(factors_.lu_ints, top_.first(factors_.nblks) - factors_.lu_ints, "LU elements");
  if (!pattern_only_)
    reals(factors_.lu_reals, keep_(MA38_KEEP_VALUE_END) - factors_.lu_reals + 1, "LU elements");
  if (several()) layout_of_block_data();
  const Index n = factors_.n;
  dump_.line(kLayoutPermutations);
  ints(factors_.top_end - 2 * n - 6, n, "column permutations");
  ints(factors_.top_end - n - 6, n, "row permutations");
  layout_of_scalars();
}

void FactorDump::layout_of_lower_parts() const {
  if (factors_.preserved) {
    dump_.line(kLayoutCopy);
    ints(factors_.ap, Index{factors_.n} + 1, "column pointers");
    ints(factors_.ai, factors_.nz, "row indices");
    reals(factors_.ax, factors_.nz, "numerical values");
  } else {
    dump_.line(kLayoutNoCopy);
  }
  if (!several()) return;
  dump_.line(kLayoutBlocks);
  dump_.line(kLayoutOffDiagonal);
  ints(factors_.offi, factors_.nzoff, "column indices");
  reals(factors_.offx, factors_.nzoff, "numerical values");
}

void FactorDump::layout_of_block_data() const {
  const Index n = factors_.n, nblks = factors_.nblks;
  const Index factors = top_.first(nblks);
  const Index ranges = factors + nblks;
  const Index rows = ranges + nblks + 1;
  dump_.line(kLayoutBlockData);
  ints(factors, nblks, "pointers to block factors");
  ints(ranges, nblks + 1, "index range of blocks");
  ints(rows, n + 1, "off-diagonal row pointers");
}

void FactorDump::layout_of_scalars() const {
  static constexpr const char* kLabels[] = {"TRANSA MA38AD/MA38BD argument", "entries in off-diagonal part",
                                            "number of diagonal blocks",     "JOB MA38AD/MA38BD argument",
                                            "entries in original matrix",    "N MA38AD/MA38BD argument",
                                            "NE MA38AD/MA38BD argument"};
  dump_.line(kLayoutScalars);
  Index position = factors_.top_end - 6;
  for (const char* label : kLabels) {
    dump_.line(kScalarAt, position, index_(position), label);
    ++position;
  }
}

// ---- Contents

void FactorDump::copy() const {
  dump_.line(kCopy);
  compressed(kColumnLine, index_.part(factors_.ap, Index{factors_.n} + 1), factors_.nz, factors_.ai,
             factors_.ax);
}

void FactorDump::off_diagonal() const {
  dump_.line(kOffDiagonal);
  if (factors_.nzoff == 0) {
    dump_.line(kNone);
    return;
  }
  compressed(kRowLine, top_.offp(), factors_.nzoff, factors_.offi, factors_.offx);
}

/// Dumps compressed rows or columns: `entries` indices and values, which `pointers` divides. A damaged
/// pointer is cut to the range of the entries.
void FactorDump::compressed(const char* label, OneBased<const int> pointers, Index entries, Index indices,
                            Index values) const {
  dump_.list(pointers.size() - 1, [&](Index j) {
    dump_.line(label, j);
    const Index begin = std::max(pointers(j), 1), end = std::min<Index>(pointers(j + 1), entries + 1);
    dump_.list(end - begin, [&](Index k) {
      const Index offset = begin + k - 2;
      dump_.line(kIndexAndValue, index_(indices + offset), value_(values + offset));
    });
  });
}

void FactorDump::blocks() const {
  dump_.line(pattern_only_ ? kPatternContents : kFactorContents);
  dump_.list(factors_.nblks, [&](Index b) { block(b); });
}

void FactorDump::block(Index b) const {
  Index first = 1, last = factors_.n, header = factors_.lu_ints;
  if (several()) {
    const Index nblks = factors_.nblks;
    const Index pointer = top_.lublkp(nblks)(b);
    first = top_.blkp(nblks)(b), last = top_.blkp(nblks)(b + 1) - 1;
    if (first == last) return singleton(first, factors_.lu_reals + pointer - 1);
    header += pointer - 1;
  }
  dump_.line(kBlock, b, first, last);
  elements(header, last - first + 1, header + kBlockPointers + index_(header + kBlockElements));
}

void FactorDump::singleton(Index position, Index real) const {
  if (pattern_only_) {
    dump_.line(kSingleton, position);
  } else {
    dump_.line(kSingletonValue, position, value_(real), real);
  }
}

void FactorDump::elements(Index header, Index order, Index first_element) const {
  dump_.line(kBlockFigures, index_(header + kBlockElements), index_(header + kBlockPivots),
             index_(header + kBlockMaxL), index_(header + kBlockMaxU));
  block_places(header, first_element);
  Index pivots_before = 0;
  dump_.list(index_(header + kBlockElements), [&](Index number) {
    const Element e = at(header, first_element, number);
    dump_.line(kElement, number, e.pivots(), e.children(), e.word(kFrontColumns), e.word(kFrontRows));
    element(e, pivots_before, order);
    pivots_before += e.pivots();
  });
}

void FactorDump::block_places(Index header, Index first_element) const {
  const Index block_reals = factors_.lu_reals + index_(header + kBlockReals) - 1;
  Index words_end = first_element - 1, reals_end = block_reals;  // without an element there is one real
  for (Index number = 1; number <= index_(header + kBlockElements); ++number) {
    const Element e = at(header, first_element, number);
    const Index begin = first_element + index_(header + kBlockPointers + number - 1) - 1;
    words_end = std::max(words_end, begin + e.length() - 1);
    reals_end = std::max(reals_end, e.reals_end());
  }
  dump_.line(kBlockInIndex, header, words_end);
  if (!pattern_only_) dump_.line(kBlockInValue, block_reals, reals_end);
}

void FactorDump::element(const Element& e, Index pivots_before, Index order) const {
  const Index k = e.pivots();
  for (Index p = 1; p <= k; ++p) {
    dump_.line(kLowerColumn, pivots_before + p);
    dump_.list(k - p + e.l_length(), [&](Index m) {
      const Index i = p + m;
      member(i <= k ? pivots_before + i : e.l_row(i - k), e.of_lower(i, p));
    });
    dump_.line(kUpperRow, pivots_before + p);
    dump_.list(k - p + 1 + e.u_length(), [&](Index m) {
      const Index j = p + m - 1;
      member(j <= k ? pivots_before + j : e.u_column(j - k), e.of_upper(p, j));
    });
  }
  dump_.list(e.children(), [&](Index m) {
    const Index code = Index{e.child(m)} - 1;
    const Index kind = std::min<Index>(code / order, kColumnsComplete);
    dump_.line(kChild[kind], code - kind * order + 1);
  });
}

void FactorDump::member(Index position, Index real) const {
  if (pattern_only_) {
    dump_.line(kIndexAlone, position);
  } else {
    dump_.line(kIndexAndValue, position, value_(real));
  }
}

void FactorDump::permutation(const char* heading, OneBased<const int> vector) const {
  dump_.line(heading);
  dump_.list(vector.size(), [&](Index k) { dump_.line(kIndexAlone, vector(k)); });
}

}  // namespace

void dump_factors(const Dump& dump, const PrintArguments& arguments, const KeptFactors& factors) {
  FactorDump(dump, arguments, factors).run();
}

}  // namespace ma38
}  // namespace corvidnum

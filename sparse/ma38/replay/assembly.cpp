// Assembly into the front of a replay: matrix entries, as arrows (an arrow holds the entries in the row and
// the column of one pivot), and contribution blocks of children.

#include "sparse/ma38/factors/layout.h"
#include "sparse/ma38/replay/steps.h"

namespace corvidnum {
namespace ma38 {
namespace {

void restore_list(int* list, Index length) {
  for (Index k = 0; k < length; ++k) {
    if (list[k] < 0) list[k] = -list[k];
  }
}

}  // namespace

void restore_signs(const Element& element) {
  if (element.words[kElementU] < 0) restore_list(element.u_list(), element.u);
  if (element.words[kElementL] < 0) restore_list(element.l_list(), element.l);
  element.words[kElementU] = static_cast<int>(element.u);
  element.words[kElementL] = static_cast<int>(element.l);
}

/// Adds the arrows of the element's pivots and releases them. An entry whose other position is not in the
/// front is outside the pattern: it is counted, reported and dropped.
void add_arrows(Replay& f, const Element& element) {
  const Arrows& arrows = f.block.arrows;
  const OneBased<const int> rows = f.front.row_place, columns = f.front.column_offset, words = f.space.ints;
  const OneBased<const double> reals = f.space.reals;
  double* const front = f.front.at(0, 0);
  for (Index k = f.pivots + 1; k <= f.pivots + element.pivots; ++k) {
    const Index pivot_row = rows(k), pivot_column = columns(k), end = arrows.end_of(k);
    for (Index p = arrows.begin(k); p < end; ++p) {
      const int word = words(p);
      const Index row = word > 0 ? rows(word) : pivot_row, column = word > 0 ? pivot_column : columns(-word);
      if (row >= 0 && column >= 0) {
        front[row + column] += reals(p);
      } else {
        ++f.invalid;
        report_entry(f, kEntryOutsidePattern, k, word, reals(p));
      }
    }
  }
  release_arrows(f, arrows.begin(f.pivots + element.pivots));
}

namespace {

/// Lists the rows of a child that are to be added: row offsets[k] of the child goes to row places[k] of the
/// front.
struct ChildRows {
  int *places, *offsets;  // [count] both from 0
  Index count = 0;
  bool all = false;      // all rows of the child are added, in order
  bool gapless = false;  // and their places in the front are neighbours
};

/// Chooses the child's rows that have not been assembled before. With in_part, rows outside the front stay,
/// and those chosen get a negative sign; without, all must be inside, else it returns false.
bool choose_rows(const Replay& f, const Element& child, bool in_part, ChildRows& rows) {
  int* const list = child.l_list();
  const OneBased<const int> map = f.front.row_place;
  bool neighbours = true;
  for (Index i = 0; i < child.l; ++i) {
    const int row = list[i];
    if (row < 0) continue;
    const int place = map(row);
    if (place < 0) {
      if (!in_part) return false;
      continue;
    }
    neighbours = neighbours && (rows.count == 0 || place == rows.places[rows.count - 1] + 1);
    rows.places[rows.count] = place;
    rows.offsets[rows.count++] = static_cast<int>(i);
    if (in_part) list[i] = -row;
  }
  rows.all = rows.count == child.l;
  rows.gapless = rows.all && neighbours;
  return true;
}

void add_column(const ChildRows& rows, const double* from, double* to) {
  if (rows.gapless) {
    to += rows.places[0];
    for (Index i = 0; i < rows.count; ++i) to[i] += from[i];
  } else if (rows.all) {
    for (Index i = 0; i < rows.count; ++i) to[rows.places[i]] += from[i];
  } else {
    for (Index i = 0; i < rows.count; ++i) to[rows.places[i]] += from[rows.offsets[i]];
  }
}

/// Adds the chosen rows of the child's columns, which are chosen in the same way.
bool add_columns(const Replay& f, Index e, const Element& child, bool in_part, const ChildRows& rows) {
  int* const list = child.u_list();
  const OneBased<const int> map = f.front.column_offset;
  const Index leading = f.waiting.nodes().leading(e);
  const double* from = f.space.reals.data() + (f.waiting.nodes().begin(e) - 1);
  for (Index j = 0; j < child.u; ++j, from += leading) {
    const int column = list[j];
    if (column < 0) continue;
    if (map(column) < 0) {
      if (!in_part) return false;
      continue;
    }
    if (rows.count > 0) add_column(rows, from, f.front.at(0, 0) + map(column));
    if (in_part) list[j] = -column;
  }
  return true;
}

/// Makes the length of the list negative whose members an assembly of this kind makes negative.
void mark(const Element& child, ChildKind kind) {
  if (kind == kRowsComplete) child.words[kElementU] = -static_cast<int>(child.u);
  if (kind == kColumnsComplete) child.words[kElementL] = -static_cast<int>(child.l);
}

bool add_child(Replay& f, Index e, ChildKind kind) {
  if (f.waiting.nodes().is_hole(e)) return true;  // it left no block, as it was the one before in a chain
  const Element child = element_of(f, e);
  mark(child, kind);
  ChildRows rows{f.work1, f.work2};
  if (!choose_rows(f, child, kind == kColumnsComplete, rows) ||
      !add_columns(f, e, child, kind == kRowsComplete, rows)) {
    return false;
  }
  if (kind == kWhole) {
    restore_signs(child);
    release_block(f, e, child.l * child.u);
  }
  return true;
}

}  // namespace

int add_children(Replay& f, const Element& element) {
  const int* const children = element.child_list();
  for (Index c = 0; c < element.children; ++c) {
    Index child = children[c];
    int kind = kWhole;
    for (; child > f.n; child -= f.n) ++kind;
    if (!add_child(f, child, static_cast<ChildKind>(kind))) return MA38_STATUS_CORRUPTED;
  }
  return kGood;
}

}  // namespace ma38
}  // namespace corvidnum

// Makes the columns of a block objects of the kernel's store:
//
//   | permutations of the block | cp | row_map | col_map | scratch | heads | rp | rt | ro | columns |  free
//   |  n, n: several blocks     |  n each                                | n + dn each  |
//
// If the matrix is a single block, the kernel writes the matrix's permutations directly; otherwise it gets
// two vectors of its own, which block_setup.cpp composes with the block's slices.

#include <algorithm>
#include <cmath>
#include <cstring>

#include "sparse/ma38/front/frontal.h"

namespace corvidnum {
namespace ma38 {
namespace {

/// Bounds a column of the matrix as it was given, places begin .. end-1: original rows if the matrix is
/// preserved, else rows of the block.
struct Source {
  Index begin, end;
};

Source source_of(const Block& block, Index k) {
  const Index column = block.preserved && block.several ? block.cperm(k) : k;
  return {block.matrix.ap(column), block.matrix.ap(column + 1)};
}

/// Returns the row of the entry at place p, numbered within the block; below 1: it is of an earlier block.
Index local_row(const Block& block, Index p) {
  const Index row = block.matrix.ai(p);
  return block.preserved && block.several ? block.row_position(row) - block.first + 1 : row;
}

template <class T>
Index position_in(const OneBased<T>& space, const OneBased<T>& part, Index p) {
  return part.data() - space.data() + p;
}

/// Writes the header of a column object. Returns the end of the object.
Index write_header(Frontal& f, Index object, Index entries, Index values) {
  std::fill_n(&f.word(object, 0), kColumnHeader, 0);
  f.word(object, kLength) = to_int(kColumnHeader + entries);
  f.word(object, kDegree) = to_int(entries);
  f.word(object, kValues) = to_int(values);
  f.word(object, kOwned) = to_int(entries);
  return object + kColumnHeader + entries;
}

/// Makes objects of the columns in place: moves each up by the vectors and the headers in front of it, from
/// the last column to the first. The vectors take the place of the entries, so they are written when all is
/// moved.
void shift_columns(Frontal& f, const Block& block, Index begin) {
  Space& space = f.space;
  const Index shift = f.store.objects_begin() - begin;
  for (Index k = f.n; k >= 1; --k) {
    const Source column = source_of(block, k);
    const Index entries = column.end - column.begin;
    const Index from = position_in(space.ints, block.matrix.ai, column.begin);
    const Index object = from + shift + kColumnHeader * (k - 1);
    if (entries > 0) {
      std::memmove(&f.word(object, 0) + kColumnHeader, &space.ints(from),
                   sizeof(int) * static_cast<std::size_t>(entries));
    }
    write_header(f, object, entries, position_in(space.reals, block.matrix.ax, column.begin));
  }
  Index object = f.store.objects_begin();
  for (Index k = 1; k <= f.n; ++k) {
    f.cp(k) = to_int(object);
    object += f.word(object, kLength);
  }
  f.store.end_objects(object);
}

/// Makes objects of the columns behind the heads, as copies; the matrix is preserved.
void copy_columns(Frontal& f, const Block& block) {
  Space& space = f.space;
  Index object = f.store.objects_begin(), value = space.xhead;
  for (Index k = 1; k <= f.n; ++k) {
    const Index values = value;
    const Source column = source_of(block, k);
    Index end = object + kColumnHeader;
    for (Index p = column.begin; p < column.end; ++p) {
      const Index row = local_row(block, p);
      if (row < 1) continue;
      space.ints(end++) = to_int(row);
      space.reals(value++) = block.matrix.ax(p);
    }
    f.cp(k) = to_int(object);
    object = write_header(f, object, end - object - kColumnHeader, values);
  }
  f.store.end_objects(object);
  f.store.end_reals(value);
}

KernelVectors lay_out_vectors(const Block& block, Index dn, const Space& space, Index at) {
  const Index n = block.order, nd = n + dn;
  const auto take = [&](Index count) {
    at += count;
    return space.ints.part(at - count, count);
  };
  const OneBased<int> rows = block.several ? take(n) : block.rperm;
  const OneBased<int> columns = block.several ? take(n) : block.cperm;
  const OneBased<int> cp = take(n), row_map = take(n), col_map = take(n), scratch = take(n), heads = take(n);
  const OneBased<int> rp = take(nd), rt = take(nd), ro = take(nd);
  return {rows, columns, row_map, col_map, scratch, heads, {cp, rp, rt, ro}};
}

/// Return where the block's words and reals begin: at the heads, or at the columns that are consumed.
Index first_int(const Block& block, const Space& space) {
  return block.preserved ? Index{space.ihead} : position_in(space.ints, block.matrix.ai, block.matrix.ap(1));
}
Index first_real(const Block& block, const Space& space) {
  return block.preserved ? Index{space.xhead} : position_in(space.reals, block.matrix.ax, block.matrix.ap(1));
}

/// Returns what is needed already by neither the block's columns nor the tails.
Space::Words needed_elsewhere(const Block& block, const BlockCounts& counts, const Space& space) {
  return {space.ineed - kColumnHeader * block.order - counts.entries - (space.ints.size() - space.itail + 1),
          space.xneed - counts.entries - (space.reals.size() - space.xtail + 1)};
}

}  // namespace

Index dense_limit(const Block& block, const FrontControls& controls) {
  const Wide root = static_cast<Wide>(std::sqrt(static_cast<double>(block.order)));
  return static_cast<Index>(std::max<Wide>({0, controls.dense1, root * controls.dense2}));
}

BlockCounts count_block(const Block& block, Index limit) {
  BlockCounts counts;
  for (Index k = 1; k <= block.order; ++k) {
    const Source column = source_of(block, k);
    Index entries = column.end - column.begin;
    if (block.preserved && block.several) {
      for (Index p = column.begin; p < column.end; ++p) {
        if (local_row(block, p) < 1) --entries;
      }
    }
    counts.entries += entries;
    counts.above += column.end - column.begin - entries;
    if (entries > limit) ++counts.dense;
  }
  return counts;
}

Wide vector_words(const Block& block, Index dense) {
  return 3 * Wide{dense} + (block.several ? 10 : 8) * Wide{block.order};
}

bool room_for_block(const Block& block, const BlockCounts& counts, Space& space, const Results& results) {
  const Wide copied = block.preserved ? counts.entries : 0;
  const Wide words = vector_words(block, counts.dense) + kColumnHeader * block.order + copied;
  space.need(words, copied);
  space.note_use(results);
  const bool ints = space.has_ints(results, words), reals = space.has_reals(results, copied);
  return ints && reals;
}

void release_vectors(const Block& block, const BlockCounts& counts, Space& space) {
  space.release(vector_words(block, counts.dense), 0);
}

Frontal::Frontal(const KernelVectors& v, Index limit, Space& space_of_call,
                 const FrontControls& controls_of_call, FactorTotals& totals_of_call,
                 const Results& results_of_call, Index first, const Space::Words& elsewhere)
    : n(v.pointers.cp.size()),
      dn(v.pointers.rp.size() - n),
      nd(v.pointers.rp.size()),
      dense_limit(limit),
      space(space_of_call),
      results(results_of_call),
      controls(controls_of_call),
      totals(totals_of_call),
      cp(v.pointers.cp),
      rp(v.pointers.rp),
      rt(v.pointers.rt),
      ro(v.pointers.ro),
      store(space, results, v.pointers, first, elsewhere),
      degree_lists(v.heads, cp, space.ints),
      front(store, space.reals, v.rows, v.columns, v.row_map, v.col_map),
      chain(v.row_map),
      candidate_rows(v.scratch),
      row_marks(v.scratch),
      element_ordinals(v.scratch),
      candidate_places(v.row_map),
      row_positions(v.row_map),
      column_positions(v.col_map) {}

Frontal::Frontal(const Block& block, const BlockCounts& counts, Index limit, Space& space_of_call,
                 const FrontControls& controls_of_call, FactorTotals& totals_of_call,
                 const Results& results_of_call)
    : Frontal(lay_out_vectors(block, counts.dense, space_of_call, first_int(block, space_of_call)), limit,
              space_of_call, controls_of_call, totals_of_call, results_of_call,
              first_real(block, space_of_call), needed_elsewhere(block, counts, space_of_call)) {
  if (block.preserved) {
    copy_columns(*this, block);
  } else {
    shift_columns(*this, block, first_int(block, space));
  }
  space.note_use(results);
}

}  // namespace ma38
}  // namespace corvidnum

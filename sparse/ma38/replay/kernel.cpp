// Replays the eliminations of one diagonal block on new values: the pivot order and the pattern of the LU
// elements are those of the factorisation before, so that there is neither search nor degree.
//
// For each LU element, in the order of their storing:
//   1. begin_front() if it opens a chain, else continue_front(): its rows and columns get their places;
//   2. add_arrows(): the matrix entries in its pivot rows and columns;
//   3. add_children(): the contribution blocks that were assembled for it, whole or in part;
//   4. eliminate(): its pivots; a pivot that is not usable ends the replay;
//   5. store_element(): its factors, at the tail.
// When a chain ends, what is left of the front waits as the contribution block of its last element.
//
// Between two elements the reals hold, from the bottom up: arrows that are left, contribution blocks and
// holes (a MemoryList), the front, free words, factors. INDEX holds the arrows' indices and the work vectors.
//
// Literature: as front/kernel.cpp.

#include "sparse/ma38/replay/kernel.h"

#include <algorithm>
#include <cassert>

#include "sparse/ma38/factors/layout.h"
#include "sparse/ma38/replay/steps.h"

namespace corvidnum {
namespace ma38 {
namespace {

// ---- Setup

Wide work_words(const Replay& f) {
  return f.longest_u + 3 * Wide{f.longest_l} + 2 * Wide{f.n} + waiting_block_words(f.elements);
}

Replay make_replay(const ReplayBlock& block, Space& space, FactorTotals& totals, const Results& results) {
  const OneBased<int> none(nullptr, 0);
  Replay f = {block,   space,  totals, results, block.order, 0, 0, 0, {space.reals, none, none, none, none},
              nullptr, nullptr};
  const int* const header = block.pattern.data();
  f.elements = header[kBlockElements];
  f.longest_l = header[kBlockMaxL];
  f.longest_u = header[kBlockMaxU];
  f.arrows_end = block.arrows.end;
  return f;
}

/// Lays the front's vectors, the work vectors and the words of the memory list out in INDEX, behind the
/// arrows. Returns false after a shortage, which is flagged.
bool lay_out_work(Replay& f) {
  Index at = 0;
  if (!reserve_work(f, work_words(f), at)) return false;
  const auto next = [&](Index count) {
    const OneBased<int> vector = f.space.ints.part(at, count);
    at += count;
    return vector;
  };
  f.front.row_place = next(f.n);
  f.front.column_offset = next(f.n);
  f.front.rows = next(f.longest_l);
  f.front.columns = next(f.longest_u);
  f.work1 = next(f.longest_l).data();
  f.work2 = next(f.longest_l).data();
  f.waiting = MemoryList<WaitingBlocks>(clear_waiting_blocks(f.space.ints.data() + (at - 1), f.elements));
  std::fill_n(f.front.row_place.data(), f.n, kOutside);
  std::fill_n(f.front.column_offset.data(), f.n, kOutside);
  return true;
}

// ---- Elements

/// Returns whether, between two elements, the blocks that wait lie apart above the arrows and below the
/// front, the front is consistent, and the accounts of the reals are right. Debug builds look after each
/// element of a small block, of a large one after some.
[[maybe_unused]] bool is_consistent(const Replay& f) {
  constexpr Index kElementsPerCheck = 64;
  if (f.open % (f.elements / kElementsPerCheck + 1) != 0) return true;
  Wide reals = 0;
  const MemoryList<WaitingBlocks>& waiting = f.waiting;
  for (Index e = waiting.first(); e != 0; e = waiting.nodes().next(e)) {
    const Element element = element_of(f, e);
    if (waiting.is_hole(e)) continue;
    const Index leading = waiting.nodes().leading(e);
    if (leading < element.l || waiting.extent(e, waiting_end(f)) < leading * (element.u - 1) + element.l) {
      return false;
    }
    reals += element.l * element.u;
  }
  const bool begins_in_place = waiting.first() == 0 || waiting.nodes().begin(waiting.first()) >= f.arrows_end;
  return begins_in_place && reals == f.waiting_reals && f.space.consistent() && f.front.consistent() &&
         waiting.find_fault(waiting.first() == 0 ? 0 : waiting.nodes().begin(waiting.first()),
                            waiting_end(f)) == nullptr;
}

int replay_element(Replay& f, Index e) {
  const Element element = element_of(f, e);
  int failure = kGood;
  if (element.words[kFrontRows] != 0) {
    end_front(f);
    failure = begin_front(f, element);
  } else {
    failure = continue_front(f, element);
  }
  if (failure != kGood) return failure;
  add_arrows(f, element);
  failure = add_children(f, element);
  if (failure == kGood) failure = eliminate(f, element);
  if (failure == kGood) failure = store_element(f, element);
  if (failure == kGood) f.open = e;
  assert(failure != kGood || is_consistent(f));
  return failure;
}

int replay_elements(Replay& f) {
  for (Index e = 1; e <= f.elements; ++e) {
    const int failure = replay_element(f, e);
    if (failure != kGood) return failure;
  }
  end_front(f);
  return kGood;
}

// ---- End of the block

/// Counts and reports the entries of a singular block that have no pivot, which are dropped.
void report_dead_part(Replay& f) {
  const Arrows& arrows = f.block.arrows;
  for (Index k = f.pivots + 1; k <= f.n; ++k) {
    for (Index p = arrows.begin(k); p < arrows.end_of(k); ++p) {
      report_entry(f, kEntryOfDeadPart, k, f.space.ints(p), f.space.reals(p));
    }
    f.invalid += arrows.end_of(k) - arrows.begin(k);
  }
}

/// Tells in the header and the elements where the reals are. A block without elements keeps one real, so that
/// the factors have some.
int store_header(Replay& f) {
  if (f.elements == 0) {
    if (!reserve_factors(f, 1)) return MA38_STATUS_VALUE_TOO_SHORT;
    f.space.reals(f.space.xtail) = 0.0;
    ++f.totals.factor_reals;
  }
  const int begin = static_cast<int>(f.space.xtail);
  f.block.pattern.data()[kBlockReals] = begin;
  for (Index e = 1; e <= f.elements; ++e) element_of(f, e).words[kElementReals] -= begin - 1;
  return kGood;
}

void add_to_totals(Replay& f) {
  f.totals.maxl = std::max<Wide>(f.totals.maxl, f.longest_l);
  f.totals.maxu = std::max<Wide>(f.totals.maxu, f.longest_u);
  f.totals.elements += f.elements;
}

/// Removes the marks of elements that still wait, so that the pattern can be replayed again.
void restore_all_signs(const Replay& f) {
  const MemoryList<WaitingBlocks>& waiting = f.waiting;
  for (Index e = waiting.first(); e != 0; e = waiting.nodes().next(e)) {
    if (!waiting.is_hole(e)) restore_signs(element_of(f, e));
  }
}

}  // namespace

void report_entry(const Replay& f, Detail code, Index arrow, int word, double value) {
  const Index row = word > 0 ? word : arrow, column = word > 0 ? arrow : -word;
  report_dropped(kRefactor, f.block.icntl, code, f.block.rperm(row), f.block.cperm(column), value);
}

ReplayOutcome ma38_refactor_kernel(const ReplayBlock& block, Space& space, FactorTotals& totals,
                                   const Results& results) {
  Replay f = make_replay(block, space, totals, results);
  const Index arrows_begin = block.arrows.begin(block.order);
  results(MA38_RINFO_ASSEMBLY_FLOPS) += static_cast<double>(block.arrows.end - arrows_begin);
  if (!lay_out_work(f)) return {MA38_STATUS_INDEX_TOO_SHORT, 0};
  int failure = replay_elements(f);
  restore_all_signs(f);
  if (failure == kGood) {
    report_dead_part(f);
    release_replay(f, work_words(f));
    failure = store_header(f);
  }
  if (failure == kGood) add_to_totals(f);
  return {failure, f.invalid};
}

}  // namespace ma38
}  // namespace corvidnum

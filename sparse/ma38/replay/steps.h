#pragma once

// State and steps of the replay of one block. Rows and columns are told by their pivot positions in the
// block; an LU element by its number, and the pivots before it have left.
//
// The front is dr x dc by columns; its live rows and columns fill it from the top left, and the pivots of the
// present element, backwards, follow them:
//
//            0      fncols
//       0    | live |  L    |
//     fnrows |______|_______|
//            |  U   | pivot |
//            |      | block |   the first pivot last

#include <cstring>

#include "sparse/ma38/factors/layout.h"
#include "sparse/ma38/replay/kernel.h"
#include "sparse/ma38/store/memory_list.h"

namespace corvidnum {
namespace ma38 {

/// The words of the memory list of a replay: nodes 1 .. NLU are the contribution blocks that wait, by their
/// LU elements.
struct WaitingBlocks {
  int *next_words, *previous_words, *begin_words;  // all counted from 0
  int* leading_words;                              // 0: no block waits, or it was assembled and is a hole

  int& begin(Index e) const { return begin_words[e]; }
  int& next(Index e) const { return next_words[e]; }
  int& previous(Index e) const { return previous_words[e]; }
  int& leading(Index e) const { return leading_words[e]; }
  bool is_hole(Index e) const { return leading_words[e] == 0; }
  void make_hole(Index e) const { leading_words[e] = 0; }
};
/// Returns the length of its words. Nodes 0 and NLU + 1 are not used; their words are in the needs that a
/// caller is told.
inline Wide waiting_block_words(Wide elements) { return 4 * (elements + 2); }
WaitingBlocks clear_waiting_blocks(int* words, Index elements);

struct Replay {
  const ReplayBlock& block;
  Space& space;
  FactorTotals& totals;
  const Results& results;
  const Index n;
  Index elements, longest_l, longest_u;  // of the header

  OneBased<int> row_map, col_map;  // [n] row, or column times leading dimension in the front; -1: outside
  OneBased<int> frows, fcols;      // live rows and columns of the front [longest_l], [longest_u]
  int *work1, *work2;              // [longest_l]
  MemoryList<WaitingBlocks> waiting{WaitingBlocks{}};

  Index arrows_end = 0;  // those not taken end before it
  Index pivots = 0;      // eliminated so far
  Index open = 0;        // the element that the front is of: the last one stored; 0: there is none
  Index front = 0;       // place in the reals; 0: there is no front
  Index dr = 0, dc = 0, fnrows = 0, fncols = 0;
  Wide waiting_reals = 0;  // of blocks that wait
  Wide invalid = 0;

  double* at(Index row, Index column) const { return space.reals.data() + (front - 1) + row + column * dr; }
};

/// An LU element of the pattern. The words that tell lengths can be negative while it waits.
struct Element {
  int* words;
  Index pivots, u, l, children;
  int* l_list() const { return words + kElementLists; }
  int* u_list() const { return l_list() + l; }
  int* child_list() const { return u_list() + u; }
};
inline Index magnitude(int word) { return word < 0 ? -word : word; }
inline Element element_of(const Replay& f, Index e) {
  int* const pointers = f.block.pattern.data() + kBlockPointers;
  int* const words = pointers + f.elements + (pointers[e - 1] - 1);
  return {words, words[kElementPivots], magnitude(words[kElementU]), magnitude(words[kElementL]),
          words[kElementChildren]};
}

constexpr int kOutside = -1;
constexpr int kGood = 0;

// ---- Memory of the reals (memory.cpp, compaction.cpp)

/// Raises the peak of the reals: factors, waiting blocks and the front.
void note_peak(Replay& f);
/// Makes sure of at least `count` free reals, after a compaction if need be, which is counted; false: a
/// shortage, flagged.
bool room_for_reals(Replay& f, Index count);
/// Slides blocks and the front down on the arrows that are left.
void ma38_refactor_compact(Replay& f);
/// Returns where the reals of waiting blocks end.
inline Index waiting_end(const Replay& f) { return f.front != 0 ? f.front : Index{f.space.xhead}; }
/// Gives a hole at the end of the list, and arrows taken, back to the head.
void lower_head(Replay& f);

// ---- Steps (front.cpp, assembly.cpp, numeric.cpp). Each returns kGood or a
// failure.

int begin_front(Replay& f, const Element& element);
int continue_front(Replay& f, const Element& element);
/// Leaves what is not eliminated as the contribution block of the front's last element.
void end_front(Replay& f);
void add_arrows(Replay& f, const Element& element);
int add_children(Replay& f, const Element& element);
int eliminate(Replay& f, const Element& element);
int store_element(Replay& f, const Element& element);

/// Removes the negative signs, which mark what has been assembled, from the element's lists and their
/// lengths.
void restore_signs(const Element& element);
/// Reports an entry that is dropped: its arrow, and the word there.
void report_entry(const Replay& f, Detail code, Index arrow, int word, double value);

}  // namespace ma38
}  // namespace corvidnum

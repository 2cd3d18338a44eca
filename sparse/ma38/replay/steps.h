#pragma once

// State and steps of the replay of one block. Rows and columns are told by their pivot positions in the
// block, and an LU element by its number, from 1 in the order of storing. When an element is begun, the
// pivots of those before it are no longer in the front.

#include <cstring>

#include "sparse/ma38/factors/layout.h"
#include "sparse/ma38/replay/front.h"
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

  ReplayFront front;
  int *work1, *work2;  // [longest_l] work of one step
  MemoryList<WaitingBlocks> waiting{WaitingBlocks{}};

  Index arrows_end = 0;    // the arrows that have not been added yet end before this position
  Index pivots = 0;        // eliminated so far
  Index open = 0;          // the element that was stored last, whose front is open; 0: there is none
  Wide waiting_reals = 0;  // reals of the contribution blocks that wait
  Wide invalid = 0;        // entries dropped, see ReplayOutcome
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
inline Index waiting_end(const Replay& f) { return f.front.is_open() ? f.front.begin : Index{f.space.xhead}; }
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

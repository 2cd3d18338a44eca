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

/// Holds the words of the memory list of a replay (the Nodes of MemoryList). Nodes 1 .. NLU are the
/// contribution blocks that wait for their assembly, by the numbers of their LU elements.
struct WaitingBlocks {
  int *next_words, *previous_words, *begin_words;  // all counted from 0
  int* leading_words;  // leading dimension; 0: no block waits, or it was assembled and is a hole

  int& begin(Index e) const { return begin_words[e]; }
  int& next(Index e) const { return next_words[e]; }
  int& previous(Index e) const { return previous_words[e]; }
  int& leading(Index e) const { return leading_words[e]; }
  bool is_hole(Index e) const { return leading_words[e] == 0; }
  void make_hole(Index e) const { leading_words[e] = 0; }
};
/// Returns the length of the words of WaitingBlocks. Nodes 0 and NLU + 1 are not used, but their words count
/// in the lengths that hosts are told, which must not change.
inline Wide waiting_block_words(Wide elements) { return 4 * (elements + 2); }
/// Lays out and clears the words. @param words [waiting_block_words(elements)]
WaitingBlocks clear_waiting_blocks(int* words, Index elements);

/// Holds the state of one replay.
struct Replay {
  const ReplayBlock& block;
  Space& space;
  FactorTotals& totals;
  const Results& results;
  const Index n;
  Index elements, longest_l, longest_u;  // as the header tells

  ReplayFront front;
  int *work1, *work2;  // [longest_l] work of one step
  MemoryList<WaitingBlocks> waiting{WaitingBlocks{}};

  Index arrows_end = 0;    // the arrows that have not been added yet end before this position
  Index pivots = 0;        // eliminated so far
  Index open = 0;          // the element that was stored last, whose front is open; 0: there is none
  Wide waiting_reals = 0;  // reals of the contribution blocks that wait
  Wide invalid = 0;        // entries dropped, see ReplayOutcome
};

/// Views an LU element of the pattern (see ElementWord). While its contribution block waits, the length of
/// its L or U list can be negative: this says that members of the list which have been assembled are
/// negative.
struct Element {
  int* words;
  Index pivots, u, l, children;  // lengths of its parts
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

// ---- Memory of the reals (memory.cpp, garbage_collection.cpp)

//
// Only these operations change the heads, tails and needs of the space during a replay.

/// Reserves the vectors of a replay, `words` integers, behind the arrows. Sets `begin` to their position.
/// Returns false after a shortage, which is flagged.
bool reserve_work(Replay& f, Wide words, Index& begin);
/// Drops the arrows from position `begin` on.
void release_arrows(Replay& f, Index begin);
/// Reserves the reals of a front of this size and opens it, with no row or column. Returns false after a
/// shortage, which is flagged.
bool open_front(Replay& f, Index rows, Index columns);
/// Closes the front and ends the head behind its first `kept` reals.
void close_front(Replay& f, Index kept);
/// Counts, and releases, the reals of the contribution block of element e, `size` of them without slack.
void add_block(Replay& f, Index size);
void release_block(Replay& f, Index e, Index size);
/// Reserves reals of factors at the tail. Returns false after a shortage, which is flagged.
bool reserve_factors(Replay& f, Index reals);
/// Releases all that the replay holds beside its factors: arrows, waiting blocks, and the `words` of its
/// vectors. Both heads end where the arrows began.
void release_replay(Replay& f, Wide words);
/// Raises totals.peak_reals to what factors, waiting blocks and the front take now.
void note_peak(Replay& f);
/// Makes sure of at least `count` free reals, after a garbage collection if need be, which INFO(15) counts.
/// Returns false after a shortage, which is flagged.
bool room_for_reals(Replay& f, Index count);
/// Moves the waiting blocks and the front down, directly behind the arrows that are left.
void collect_garbage(Replay& f);
/// Returns where the reals of waiting blocks end.
inline Index waiting_end(const Replay& f) { return f.front.is_open() ? f.front.begin : Index{f.space.xhead}; }
/// Lowers the head of the reals over a hole at the end of the list and, if no block waits, over the arrows
/// that have been added.
void lower_head(Replay& f);

// ---- Steps (front.cpp, assembly.cpp, numeric.cpp). Each returns kGood or a
// failure.

/// Opens a front with the element's rows, columns and pivots, all zero.
int begin_front(Replay& f, const Element& element);
/// Moves the element's pivots to the end of the front and adds the rows and columns that are new.
int continue_front(Replay& f, const Element& element);
/// Leaves what is not eliminated as the contribution block of the front's last element. Does nothing if no
/// front is open.
void end_front(Replay& f);
/// Adds the matrix entries in the element's pivot rows and columns.
void add_arrows(Replay& f, const Element& element);
/// Adds the contribution blocks of the element's children, whole or in part.
int add_children(Replay& f, const Element& element);
/// Eliminates the element's pivots and updates the front.
int eliminate(Replay& f, const Element& element);
/// Writes the element's reals at the tail.
int store_element(Replay& f, const Element& element);

/// Removes the negative signs, which mark what has been assembled, from the element's lists and their
/// lengths.
void restore_signs(const Element& element);
/// Reports an entry that is dropped. @param word what stands for it in its arrow, see Arrows
void report_entry(const Replay& f, Detail code, Index arrow, int word, double value);

}  // namespace ma38
}  // namespace corvidnum

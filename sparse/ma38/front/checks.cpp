// Inspects the store between two steps of the frontal kernel: the invariants of ObjectStore, MemoryList,
// DegreeLists, Front and ElementChain, and what one says about another.

#include <atomic>
#include <cstdio>
#include <cstdlib>

#include "sparse/ma38/factors/layout.h"
#include "sparse/ma38/front/frontal.h"

namespace corvidnum {
namespace ma38 {
namespace {

/// Members of an element's list, or tuples, or entries of an object.
struct Words {
  const int* first;
  Index count;
};

class Inspection {
 public:
  explicit Inspection(const Frontal& f) : f_(f) {}

  const char* run() {
    using Check = const char* (Inspection::*)();
    constexpr Check kChecks[] = {&Inspection::objects_fill_their_room,
                                 &Inspection::columns,
                                 &Inspection::rows,
                                 &Inspection::elements,
                                 &Inspection::memory_list,
                                 &Inspection::owners,
                                 &Inspection::degree_lists,
                                 &Inspection::front,
                                 &Inspection::accounts};
    for (const Check check : kChecks) {
      if (const char* text = (this->*check)()) return text;
    }
    return nullptr;
  }

 private:
  // -- views
  bool is_element(Index i) const {
    return kind_of(f_, i) == kContribution || kind_of(f_, i) == kDenseElement;
  }
  bool is_object(Index at) const { return f_.store.objects_begin() <= at && at < f_.space.ihead; }
  Words tuples_of_column(Index col) const {
    return {&f_.word(f_.cp(col), 0) + kColumnTuples, f_.word(f_.cp(col), kTuples)};
  }
  Words entries_of_column(Index col) const { return tail(f_.cp(col), f_.word(f_.cp(col), kOwned)); }
  Words tuples_of_row(Index row) const { return {&f_.word(f_.rp(row), 0) + kRowHeader, f_.rt(row)}; }
  Words entries_of_row(Index row) const { return tail(f_.rp(row), f_.ro(row)); }
  Words tail(Index at, Index count) const { return {&f_.word(at, 0) + f_.word(at, kLength) - count, count}; }
  Words rows_of_element(Index e) const {
    if (e > f_.n) return {&f_.word(f_.rp(e), 0) + kColumnHeader, f_.word(f_.rp(e), kDegree)};
    const Index lu = f_.word(f_.rp(e), kLuElement);
    return {&f_.word(lu, 0) + kElementLists, f_.word(lu, kElementL)};
  }
  Words columns_of_element(Index e) const {
    if (e > f_.n) return {&f_.word(f_.rp(e), kDenseColumn), 1};
    const Words rows = rows_of_element(e);
    return {rows.first + rows.count, f_.word(f_.word(f_.rp(e), kLuElement), kElementU)};
  }
  static bool contains(Words words, Index value) {
    for (Index i = 0; i < words.count; ++i) {
      if (words.first[i] == value) return true;
    }
    return false;
  }
  static bool has_tuple(Words tuples, Index e, Index offset) {
    for (Index t = 0; t < tuples.count; ++t) {
      if (tuples.first[2 * t] == e && tuples.first[2 * t + 1] == offset) return true;
    }
    return false;
  }
  /// Each tuple of what lives names the place of `member` in a list of its element.
  template <class ListOf>
  const char* tuples_point_back(Words tuples, Index member, ListOf list_of) const {
    for (Index t = 0; t < tuples.count; ++t) {
      const Index e = tuples.first[2 * t], offset = tuples.first[2 * t + 1];
      if (e < 1 || e > f_.nd) return "tuple of no element";
      if (f_.rt(e) < 0) continue;
      if (!is_element(e)) return "tuple of a row";
      const Words list = list_of(e);
      if (offset < 1 || offset > list.count || list.first[offset - 1] != member) return "tuple is wrong";
    }
    return nullptr;
  }

  // -- checks
  const char* objects_fill_their_room() {
    Index used = 0, at = f_.store.objects_begin();
    while (at < f_.space.ihead) {
      const Index first = f_.word(at, kLength);
      const Index length = first >= f_.space.itail ? kContributionWords : first;
      if (length < kRowHeader || length > f_.space.ihead - at) return "length of an object";
      if (f_.word(at, kDegree) != kGone) ++used;
      at += length;
    }
    Index pointed = 0;
    for (Index col = 1; col <= f_.n; ++col) {
      if (f_.cp(col) == 0) continue;
      if (!is_object(f_.cp(col))) return "column outside the store";
      ++pointed;
    }
    for (Index i = 1; i <= f_.nd; ++i) {
      if (kind_of(f_, i) == kNoObject) continue;
      if (!is_object(f_.rp(i))) return "row or element outside the store";
      ++pointed;
    }
    return used == pointed ? nullptr : "objects and pointers do not match";
  }

  const char* columns() {
    for (Index col = 1; col <= f_.n; ++col) {
      if (f_.cp(col) == 0) continue;
      const Words tuples = tuples_of_column(col), entries = entries_of_column(col);
      const Index needed = kColumnHeader + 2 * tuples.count + entries.count;
      if (f_.word(f_.cp(col), kLength) < needed) return "column too long for its object";
      const auto list_of = [this](Index e) { return columns_of_element(e); };
      if (const char* text = tuples_point_back(tuples, col, list_of)) return text;
      for (Index i = 0; i < entries.count; ++i) {
        const Index row = entries.first[i];
        if (row < 1 || row > f_.n || kind_of(f_, row) != kRow) return "column with an entry in no row";
        if (!contains(entries_of_row(row), col)) return "row misses an entry of its column";
      }
      ints_ += needed;
      if (entries.count > 0) count_owner(entries.count);
    }
    return nullptr;
  }

  const char* rows() {
    for (Index row = 1; row <= f_.n; ++row) {
      if (kind_of(f_, row) != kRow) continue;
      const Words tuples = tuples_of_row(row), entries = entries_of_row(row);
      const Index needed = kRowHeader + 2 * tuples.count + entries.count;
      if (f_.word(f_.rp(row), kLength) < needed) return "row too long for its object";
      const auto list_of = [this](Index e) { return rows_of_element(e); };
      if (const char* text = tuples_point_back(tuples, row, list_of)) return text;
      for (Index i = 0; i < entries.count; ++i) {
        if (entries.first[i] < 1 || entries.first[i] > f_.n) return "row with an entry in no column";
      }
      ints_ += needed;
    }
    return nullptr;
  }

  const char* elements() {
    for (Index e = 1; e <= f_.nd; ++e) {
      if (!is_element(e)) continue;
      const Index at = f_.rp(e);
      const Words rows = rows_of_element(e), columns = columns_of_element(e);
      Index live_rows = 0, live_columns = 0;
      for (Index i = 0; i < rows.count; ++i) {
        const Index row = rows.first[i];
        if (row < 0) continue;
        ++live_rows;
        if (kind_of(f_, row) != kRow || !has_tuple(tuples_of_row(row), e, i + 1)) return "row misses a tuple";
      }
      for (Index j = 0; j < columns.count; ++j) {
        const Index col = columns.first[j];
        if (col < 0) continue;
        ++live_columns;
        if (f_.cp(col) == 0 || !has_tuple(tuples_of_column(col), e, j + 1)) return "column misses a tuple";
      }
      if (f_.word(at, kLiveRows) != live_rows) return "live rows of an element";
      if (f_.word(at, kLiveColumns) != live_columns) return "live columns of an element";
      if (e <= f_.n && f_.word(at, kLeading) < rows.count) return "leading dimension of an element";
      ints_ += e > f_.n ? kColumnHeader + rows.count : kContributionWords;
      count_owner(rows.count * columns.count);
    }
    return nullptr;
  }

  void count_owner(Index reals) {
    ++owners_;
    reals_ += reals;
  }

  const char* memory_list() {
    const MemoryList<OwnerWords>& list = f_.store.owners();
    if (const char* text = list.find_fault(f_.store.first_real(), f_.store.owners_end())) return text;
    Index filled = 0;
    for (Index at = list.first(); at != 0; at = f_.word(at, kNext)) {
      if (!is_object(at)) return "owner outside the store";
      if (!list.is_hole(at)) ++filled;
    }
    return filled == owners_ ? nullptr : "owners and the memory list do not match";
  }

  const char* owners() {
    for (Index col = 1; col <= f_.n; ++col) {
      if (f_.cp(col) == 0 || f_.word(f_.cp(col), kOwned) == 0) continue;
      if (const char* text = owner(f_.cp(col), f_.word(f_.cp(col), kOwned))) return text;
    }
    for (Index e = 1; e <= f_.nd; ++e) {
      if (!is_element(e)) continue;
      const Index rows = rows_of_element(e).count, columns = columns_of_element(e).count;
      const Index leading = e > f_.n ? rows : f_.word(f_.rp(e), kLeading);
      if (const char* text = owner(f_.rp(e), leading * (columns - 1) + rows)) return text;
    }
    return nullptr;
  }

  const char* owner(Index at, Index reals) const {
    const Index next = f_.word(at, kNext), previous = f_.word(at, kPrevious);
    if ((next != 0 ? f_.word(next, kPrevious) : f_.store.owners().last()) != at)
      return "owner not in the memory list";
    if ((previous != 0 ? f_.word(previous, kNext) : f_.store.owners().first()) != at)
      return "owner not in the memory list";
    return reals <= f_.store.owners().extent(at, f_.store.owners_end()) ? nullptr
                                                                        : "owner over its neighbour";
  }

  const char* degree_lists() {
    Index entered = 0, waiting = 0;
    if (!f_.degree_lists.consistent()) return "degree lists";
    bool listed_in_front = false;
    f_.degree_lists.each([&](Index col) {
      ++entered;
      listed_in_front |= in_front(col);
    });
    if (listed_in_front) return "degree list with a column of the front";
    for (Index col = 1; col <= f_.n; ++col) {
      if (f_.cp(col) == 0) continue;
      const Index degree = f_.word(f_.cp(col), kDegree);
      if (degree < 0 && degree != -2 - f_.n) return "degree of a column";
      if (degree > 0 && !in_front(col)) ++waiting;
    }
    return entered == waiting ? nullptr : "column in no degree list";
  }

  bool in_front(Index col) const { return f_.front.column_offset(col) >= 0; }

  const char* front() {
    const bool open = f_.front.is_open();
    if (!f_.chain.consistent()) return "children of the next element";
    if (f_.store.front_reals() != (open ? f_.front.max_rows * f_.front.max_columns + f_.front.max_rows : 0))
      return "reals of the front";
    if (open && f_.store.front() + f_.store.front_reals() != f_.space.xhead) return "front not at the head";
    const Index rows = open ? f_.front.row_count : 0, columns = open ? f_.front.column_count : 0;
    const Front& front = f_.front;
    if (open && (front.row_count + front.batch > front.max_rows ||
                 front.column_count + front.batch > front.max_columns || front.updated > front.batch))
      return "front over its limits";
    for (Index i = 1; i <= rows; ++i) {
      if (f_.front.row_place(f_.front.rows(i)) != i - 1) return "place of a row of the front";
    }
    for (Index j = 1; j <= columns; ++j) {
      if (f_.front.column_offset(f_.front.columns(j)) != (j - 1) * f_.front.max_rows)
        return "place of a column of the front";
    }
    // One more of each: the pivot to come, which has left the lists.
    Index mapped_rows = 0, mapped_columns = 0;
    for (Index i = 1; i <= f_.n; ++i) {
      if (kind_of(f_, i) == kRow && f_.front.row_place(i) != kOutsideRow) ++mapped_rows;
      if (f_.cp(i) != 0 && f_.front.column_offset(i) != kOutsideColumn) ++mapped_columns;
    }
    const Index pivot = open ? 1 : 0;
    if (mapped_rows < rows || mapped_rows > rows + pivot) return "row mapped outside the front";
    if (mapped_columns < columns || mapped_columns > columns + pivot)
      return "column mapped outside the front";
    return nullptr;
  }

  const char* accounts() {
    const Space& space = f_.space;
    if (!space.consistent()) return "ends of the arrays";
    ints_ += f_.store.elsewhere().ints + (space.ints.size() - space.itail + 1);
    reals_ += f_.store.elsewhere().reals + f_.store.front_reals() + (space.reals.size() - space.xtail + 1);
    if (ints_ != space.ineed) return "words in use of the integers";
    return reals_ == space.xneed ? nullptr : "words in use of the reals";
  }

  const Frontal& f_;
  Wide ints_ = 0, reals_ = 0;  // what objects need
  Index owners_ = 0;
};

#ifndef NDEBUG
std::atomic<bool> every_step_is_checked{false};

/// An inspection reads the whole store. Blocks of an order up to this are inspected after each step, larger
/// ones about this often.
constexpr Index kInspections = 64;

bool is_due(const Frontal& f) { return every_step_is_checked || f.pivots % (f.n / kInspections + 1) == 0; }
#endif

}  // namespace

const char* find_inconsistency(const Frontal& f) { return Inspection(f).run(); }

#ifndef NDEBUG
void set_frontal_checks(bool on) { every_step_is_checked = on; }

void after_step(const Frontal& f) {
  if (!is_due(f)) return;
  const char* text = find_inconsistency(f);
  if (text == nullptr) return;
  std::fprintf(stderr, "ma38 store: %s\n", text);
  std::abort();
}
#else
void set_frontal_checks(bool) {}
void after_step(const Frontal&) {}
#endif

}  // namespace ma38
}  // namespace corvidnum

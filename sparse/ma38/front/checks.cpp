// Inspects the structures of the frontal kernel between two of its steps: first each by itself (ObjectStore
// with its MemoryList and Space, DegreeLists, Front, ElementChain), then what one says about another:
//
//   columns, rows  each tuple names the member's place in a list of its element, and each entry of a column
//                  is one of its row, too;
//   elements       the counts of live rows and columns are right, and each live member has its tuple;
//   degree lists   they hold exactly the columns outside the front that may become pivotal;
//   front          its size is that of the store's front, and only its members are mapped.

#include <atomic>
#include <cstdio>
#include <cstdlib>

#include "sparse/ma38/factors/layout.h"
#include "sparse/ma38/front/frontal.h"

namespace corvidnum {
namespace ma38 {
namespace {

/// Views members of an element's list, or tuples, or entries of an object.
struct Words {
  const int* first;
  Index count;
};

class Inspection {
 public:
  explicit Inspection(const Frontal& f) : f_(f) {}

  const char* run() {
    using Check = const char* (Inspection::*)();
    constexpr Check kChecks[] = {&Inspection::store,    &Inspection::columns,      &Inspection::rows,
                                 &Inspection::elements, &Inspection::degree_lists, &Inspection::front};
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
  const char* store() { return f_.store.find_fault(); }

  const char* columns() {
    for (Index col = 1; col <= f_.n; ++col) {
      if (f_.cp(col) == 0) continue;
      const Words tuples = tuples_of_column(col), entries = entries_of_column(col);
      const auto list_of = [this](Index e) { return columns_of_element(e); };
      if (const char* text = tuples_point_back(tuples, col, list_of)) return text;
      for (Index i = 0; i < entries.count; ++i) {
        const Index row = entries.first[i];
        if (row < 1 || row > f_.n || kind_of(f_, row) != kRow) return "column with an entry in no row";
        if (!contains(entries_of_row(row), col)) return "row misses an entry of its column";
      }
    }
    return nullptr;
  }

  const char* rows() {
    for (Index row = 1; row <= f_.n; ++row) {
      if (kind_of(f_, row) != kRow) continue;
      const Words tuples = tuples_of_row(row), entries = entries_of_row(row);
      const auto list_of = [this](Index e) { return rows_of_element(e); };
      if (const char* text = tuples_point_back(tuples, row, list_of)) return text;
      for (Index i = 0; i < entries.count; ++i) {
        if (entries.first[i] < 1 || entries.first[i] > f_.n) return "row with an entry in no column";
      }
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
    }
    return nullptr;
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

  const Frontal& f_;
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

// Finds a maximum transversal: matches rows to columns so that as many diagonal entries as possible are not
// null.
//
//   For each row: try a cheap assignment (the next column of the row that is free); otherwise search depth
//   first for an augmenting path, looking ahead for a free column at each row of it; match along the path.
//   Rows that stay unmatched fill the columns that are left, marked by a negative sign.
//
// Each entry is tried at most once by the cheap assignments (cheap_left only falls) and once per search.
// Source: I. S. Duff, On algorithms for obtaining a maximum transversal, ACM Trans. Math. Softw. 7 (1981).

#include "frame/one_based.h"
#include "sparse/ma48/kernels.h"

namespace corvidnum {
namespace {

constexpr int kNoParent = -1;
constexpr int kExhausted = -1;

struct Matching {
  const int n;
  const OneBased<const int> starts, lengths;  // IP, LENR
  const int* const columns;                   // ICN, from element 1
  const OneBased<int> row_of;                 // IPERM: the row matched to a column; 0: none
  // Per row; a place in a row is stored as the number of entries behind it, -1 at the end.
  const OneBased<int> parent;      // PR: the row before it on the path
  const OneBased<int> cheap_left;  // ARP: entries not yet tried by the cheap assignment, less one
  const OneBased<int> seen_in;     // CV, per column: the last search that met it
  const OneBased<int> path_left;   // OUT: entries not yet tried by this search, less one
  int matched = 0;                 // NUMNZ

  void clear();                       // unmatches all columns
  void match(int root);               // matches `root` if there is an augmenting path from it
  int free_column(int row);           // returns the next column of the row that is not matched, or 0
  int next_row(int row, int root);    // returns the row to go on with, its parent set, or kNoParent
  void augment(int row, int column);  // matches this pair and all pairs of the path that led to it
  void complete();                    // gives the columns left over the rows left over, with a negative sign
};

void Matching::clear() {
  for (int j = 1; j <= n; ++j) {
    cheap_left(j) = lengths(j) - 1;
    seen_in(j) = 0;
    row_of(j) = 0;
  }
}

int Matching::free_column(int row) {
  if (cheap_left(row) == kExhausted) return 0;
  const int end = starts(row) + lengths(row);
  for (int k = end - 1 - cheap_left(row); k < end; ++k) {
    if (row_of(columns[k - 1]) == 0) {
      cheap_left(row) = end - 2 - k;
      return columns[k - 1];
    }
  }
  cheap_left(row) = kExhausted;
  return 0;
}

int Matching::next_row(int row, int root) {
  for (;;) {
    const int end = starts(row) + lengths(row);
    for (int k = end - 1 - path_left(row); k < end; ++k) {
      const int column = columns[k - 1];
      if (seen_in(column) == root) continue;
      const int next = row_of(column);
      seen_in(column) = root;
      parent(next) = row;
      path_left(row) = end - 2 - k;
      return next;
    }
    path_left(row) = kExhausted;
    row = parent(row);
    if (row == kNoParent) return kNoParent;
  }
}

void Matching::match(int root) {
  parent(root) = kNoParent;
  for (int row = root; row != kNoParent; row = next_row(row, root)) {
    const int column = free_column(row);
    if (column != 0) return augment(row, column);
    path_left(row) = lengths(row) - 1;
  }
}

void Matching::augment(int row, int column) {
  row_of(column) = row;
  ++matched;
  for (int j = parent(row); j != kNoParent; j = parent(j)) {
    const int k = starts(j) + lengths(j) - path_left(j) - 2;  // the entry that the search took last
    row_of(columns[k - 1]) = j;
  }
}

void Matching::complete() {
  const OneBased<int>& column_of = cheap_left;
  const OneBased<int>& left_over = path_left;
  for (int j = 1; j <= n; ++j) column_of(j) = 0;
  int count = 0;
  for (int i = 1; i <= n; ++i) {
    if (row_of(i) == 0) {
      left_over(++count) = i;
    } else {
      column_of(row_of(i)) = i;
    }
  }
  int k = 0;
  for (int row = 1; row <= n; ++row) {
    if (column_of(row) == 0) row_of(left_over(++k)) = -row;
  }
}

}  // namespace

int ma48_matching(const int* n, const int* icn, const int* /*licn*/, const int* ip, const int* lenr,
                  int* iperm, int* numnz, int* pr, int* arp, int* cv, int* out) {
  const int order = *n;
  Matching matching{order,       {ip, order},  {lenr, order}, icn,         {iperm, order},
                    {pr, order}, {arp, order}, {cv, order},   {out, order}};
  matching.clear();
  for (int row = 1; row <= order; ++row) matching.match(row);
  if (matching.matched < order) matching.complete();
  *numnz = matching.matched;
  return 0;
}

int ma48_matching_entry(const int* n, const int* icn, const int* licn, const int* ip, const int* lenr,
                        int* iperm, int* numnz, int* iw) {
  const std::ptrdiff_t order = *n;
  return ma48_matching(n, icn, licn, ip, lenr, iperm, numnz, iw, iw + order, iw + 2 * order, iw + 3 * order);
}

}  // namespace corvidnum

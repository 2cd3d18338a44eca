// Analyses a matrix given by coordinates (ma48ad_): permutes it to block upper triangular form, stores it by
// columns and chooses a pivot sequence for each block that is not triangular.
//
//   1. link the entries of each column; entries out of range are left out, repeated ones are summed later;
//   2. if the matrix is square and JOB = 1: maximum transversal, then strongly connected components, which
//      are the diagonal blocks. Neighbouring blocks of order 1 merge into a triangular block, small ones with
//      the next;
//   3. if wanted, move the columns whose values will change to the end of their blocks;
//   4. copy the permuted matrix behind the entries given, which stay as they are;
//   5. choose pivots block by block, last block first (pivot_selection.cpp);
//   6. bring KEEP, IRN and the map in JCN from entries to places into the final order.

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>

#include "frame/module.h"
#include "sparse/ma48/diagnostics.h"
#include "sparse/ma48/finite.h"
#include "sparse/ma48/kernel_codes.h"
#include "sparse/ma48/kernels.h"
#include "sparse/ma48/layout.h"
#include "sparse/ma48/ma48_routines.h"

namespace corvidnum {
namespace {

using Index = std::ptrdiff_t;

constexpr int kReportedEntries = 10;  // of each kind of fault

/// The parts of IW, which is carved anew for each phase:
///   checking    |            | marks max(M,N) |
///   linking     | IW(1:N) of | list heads N   |
///   block form  | the caller | list heads N   | matches N | work 4N | starts N | lengths N |
///     (M = N)   |            |                |           | node starts N | lengths N | components 3N |
///   copying     |            | list heads N   | last column in row M | place in row M |
///   pivots      | row orders M | 5 of M | 3 of N |   column orders and one more N in KEEP (IPTRL, IPTRU)
///   reordering  | row orders M | old starts N+1 | old starts off the blocks N+1 | old columns N |
struct AnalysisWork {
  const OneBased<int> iw;
  const Index m, n;

  OneBased<int> permutation_marks() const { return iw.from(n + 1); }
  OneBased<int> list_heads() const { return iw.part(n + 1, n); }  // of the entries of each column

  OneBased<int> column_in_row() const { return iw.part(2 * n + 1, m); }  // the last column that had this row
  OneBased<int> place_in_row() const { return iw.part(2 * n + m + 1, m); }

  OneBased<int> matches() const { return iw.part(2 * n + 1, n); }  // the column matched to each row
  OneBased<int> matching_work() const { return iw.part(3 * n + 1, 4 * n); }
  OneBased<int> pattern_starts() const { return iw.part(7 * n + 1, n); }
  OneBased<int> pattern_lengths() const { return iw.part(8 * n + 1, n); }
  OneBased<int> node_starts() const { return iw.part(3 * n + 1, n); }
  OneBased<int> node_lengths() const { return iw.part(4 * n + 1, n); }
  OneBased<int> component_sizes() const { return iw.part(5 * n + 1, n); }
  OneBased<int> component_work() const { return iw.part(6 * n + 1, 3 * n); }

  OneBased<int> row_orders() const { return iw.part(1, m); }
  int* kernel_rows(Index array) const { return &iw(array * m + 1); }             // array 1 .. 5, [m]
  int* kernel_columns(Index array) const { return &iw(6 * m + array * n + 1); }  // array 0 .. 2, [n]

  OneBased<int> old_starts() const { return iw.part(m + 1, n + 1); }
  OneBased<int> old_off_starts() const { return iw.part(m + n + 2, n + 1); }
  OneBased<int> old_columns() const { return iw.part(m + 2 * n + 3, n); }
};

/// One analysis, in the steps above.
/// The space behind the entries, A(NE+1:LA) and IRN(NE+1:LA), holds a copy of the pattern, then the permuted
/// matrix, and at last the workspace of each block.
class Analysis {
 public:
  Analysis(int m, int n, int ne, int job, int la, double* a, int* irn, int* jcn, int* keep,
           const double* cntl, const int* icntl, int* iw, int* info, double* rinfo);

  /// Checks the arguments; if it returns false, INFO(1) tells why.
  bool accept_arguments();
  /// Runs the steps above; INFO(1) tells how they ended.
  void run();

 private:
  struct Range {
    int first, last;  // positions of a block
    int size() const { return last - first + 1; }
    bool contains(int i) const { return first <= i && i <= last; }
  };

  bool permutations_are_valid();  // checks those in KEEP(1:M+N)
  void reset_results();           // sets INFO and RINFO as for a matrix without entries
  void link_columns();            // links the entries of each column through JCN, the last entry first
  bool form_blocks();             // fills KEEP with permutations and blocks; false: structurally singular
  void form_single_block();       // makes the whole matrix block 1
  void copy_pattern(OneBased<int> starts,
                    OneBased<int> lengths);  // writes the distinct rows by column behind NE
  void find_components(OneBased<int> matches, OneBased<int> starts, OneBased<int> lengths);
  int merge_blocks(OneBased<int> sizes,
                   int count);  // sizes are negative for triangular blocks; returns the new count
  void move_columns_last();     // moves the columns marked 0 to the end of their blocks
  void count_columns_last_in_sequence();
  void count_columns_last(int block, Range range);
  void copy_permuted();  // blocks from the front, the rest from the back, behind NE; JCN gets the places
  void copy_column(int position, Range range, OneBased<int> column_in_row, OneBased<int> place_in_row);
  void copy_rows_back();                       // copies the row numbers of the permuted matrix to IRN(1:NE)
  void analyse_blocks();                       // gives each block its orders and adds its part to INFO
  void count_triangular(Range range);          // adds its acceptable diagonal entries to the rank
  void choose_pivots(int block, Range range);  // sets its orders and NP by the kernel
  int run_kernel(int block, Range range, int entries, int before, int* info5, double& rinfo5);
  void merge_status(int kernel_status);
  void size_factorisation();  // sets INFO(4), the LA that ma48bd_ will need
  void reorder();             // brings IRN and KEEP into the pivot order
  void reorder_columns(OneBased<const int> old_starts, OneBased<const int> old_off_starts);
  void finish_map();  // makes JCN lead from each entry to its final place
  void add_warnings();
  void report_faults() const;

  Range block_range(int block, int first) const { return {first, first + keep_.block_order(block) - 1}; }
  int rows_of(Range range) const { return blocks_ == 1 ? m_ : range.size(); }
  OneBased<int> column_orders() const { return {keep_.at(keep_.iptrl() + 1), n_}; }  // IPTRL's part

  const int m_, n_, ne_, job_, la_;
  const OneBased<double> a_;
  const OneBased<int> irn_, jcn_;
  int* const keep_array_;
  const KeepView<int> keep_;
  const OneBased<const double> cntl_;
  const OneBased<const int> icntl_;
  const OneBased<int> iw_, info_;
  const AnalysisWork work_;
  double* const rinfo_;
  const Diagnostics diagnostics_;
  int blocks_ = 1;                   // NB
  bool duplicates_counted_ = false;  // the block form has counted them, so the copy must not
};

Analysis::Analysis(int m, int n, int ne, int job, int la, double* a, int* irn, int* jcn, int* keep,
                   const double* cntl, const int* icntl, int* iw, int* info, double* rinfo)
    : m_(m),
      n_(n),
      ne_(ne),
      job_(job),
      la_(la),
      a_(a, la),
      irn_(irn, la),
      jcn_(jcn, la),
      keep_array_(keep),
      keep_(keep, m, n),
      cntl_(cntl, MA48_CNTL_LENGTH),
      icntl_(icntl, MA48_ICNTL_LENGTH),
      iw_(iw, ma48_iw_length(m, n)),
      info_(info, MA48_INFO_LENGTH),
      work_{iw_, m, n},
      rinfo_(rinfo),
      diagnostics_(icntl) {}

bool Analysis::accept_arguments() {
  const std::int64_t least = 2 * std::int64_t{ne_};
  if (m_ < 1 || n_ < 1) {
    info_(MA48_INFO_STATUS) = MA48_STATUS_BAD_ORDER;
    diagnostics_.error(texts::kAnalysisSizes, {m_, n_});
  } else if (ne_ < 1) {
    info_(MA48_INFO_STATUS) = MA48_STATUS_BAD_ENTRY_COUNT;
    diagnostics_.error(texts::kAnalysisEntries, {ne_});
  } else if (la_ < least) {
    info_(MA48_INFO_STATUS) = MA48_STATUS_TOO_SHORT;
    info_(MA48_INFO_ANALYSIS_LENGTH) = clamped_length(least);
    diagnostics_.error(texts::kAnalysisLength, {la_, clamped_length(least)});
  } else if (job_ < MA48_ANALYSE_FREELY || job_ > MA48_ANALYSE_DIAGONAL_PIVOTS) {
    info_(MA48_INFO_STATUS) = MA48_STATUS_BAD_JOB;
    diagnostics_.error(texts::kAnalysisJob, {job_});
  } else if (job_ == MA48_ANALYSE_GIVEN_ORDER && !permutations_are_valid()) {
    info_(MA48_INFO_STATUS) = MA48_STATUS_BAD_PERMUTATION;
    diagnostics_.error(texts::kAnalysisPermutation);
  } else {
    return true;
  }
  return false;
}

bool is_permutation(OneBased<const int> values, OneBased<int> marks) {
  const Index size = values.size();
  for (Index i = 1; i <= size; ++i) marks(i) = 0;
  for (Index i = 1; i <= size; ++i) {
    const int value = values(i);
    if (value < 1 || value > size || marks(value) != 0) return false;
    marks(value) = 1;
  }
  return true;
}

bool Analysis::permutations_are_valid() {
  const OneBased<int> marks = work_.permutation_marks();
  return is_permutation({keep_.at(1), m_}, marks) && is_permutation({keep_.at(m_ + 1), n_}, marks);
}

void Analysis::reset_results() {
  for (Index i = 1; i <= MA48_INFO_LENGTH; ++i) info_(i) = 0;
  info_(MA48_INFO_ANALYSIS_LENGTH) = 2 * ne_;
  info_(MA48_INFO_FACTOR_LENGTH) = ne_;
  info_(MA48_INFO_STRUCTURAL_RANK) = std::min(m_, n_);
  *rinfo_ = 0.0;
}

void Analysis::run() {
  reset_results();
  link_columns();
  const bool wants_blocks =
      std::max(1, icntl_(MA48_ICNTL_SMALLEST_BLOCK)) < n_ && m_ == n_ && job_ == MA48_ANALYSE_FREELY;
  if (!wants_blocks) {
    form_single_block();
  } else if (!form_blocks()) {
    info_(MA48_INFO_STATUS) = MA48_STATUS_STRUCTURALLY_SINGULAR;
    keep_.block_count() = 0;  // what is not analysed cannot be factorised
    diagnostics_.error(texts::kAnalysisSingular, {n_, info_(MA48_INFO_STRUCTURAL_RANK)});
    return;
  }
  if (icntl_(MA48_ICNTL_COLUMNS_LAST) != 0) move_columns_last();
  copy_permuted();
  copy_rows_back();
  analyse_blocks();
  size_factorisation();
  if (info_(MA48_INFO_STATUS) == MA48_STATUS_TOO_SHORT) {
    keep_.block_count() = 0;
    diagnostics_.error(texts::kAnalysisLength, {la_, info_(MA48_INFO_ANALYSIS_LENGTH)});
    return;
  }
  reorder();
  finish_map();
  add_warnings();
  report_faults();
  diagnostics_.dump(texts::kMap, jcn_.data(), ne_);
  dump_analysis(diagnostics_, {keep_array_, m_, n_}, m_, n_, icntl_(MA48_ICNTL_COLUMNS_LAST) != 0);
}

void Analysis::link_columns() {
  const OneBased<int> heads = work_.list_heads();
  for (int j = 1; j <= n_; ++j) heads(j) = 0;
  for (int k = 1; k <= ne_; ++k) {
    const int i = irn_(k), j = jcn_(k);
    if (i < 1 || i > m_ || j < 1 || j > n_) {
      jcn_(k) = 0;
      if (++info_(MA48_INFO_OUT_OF_RANGE) <= kReportedEntries)
        diagnostics_.warning(texts::kAnalysisOutOfRange, {k, i, j});
    } else {
      jcn_(k) = heads(j);
      heads(j) = k;
    }
  }
}

// ---- Blocks

void Analysis::form_single_block() {
  blocks_ = 1;
  if (job_ != MA48_ANALYSE_GIVEN_ORDER) {
    for (int i = 1; i <= m_; ++i) keep_.row_place(i) = i;
    for (int j = 1; j <= n_; ++j) keep_.column_at(j) = j;
  }
  keep_.block_order(1) = n_;
  keep_.block_kind(1) = 0;
}

void Analysis::copy_pattern(OneBased<int> starts, OneBased<int> lengths) {
  const OneBased<int> heads = work_.list_heads(), column_in_row = work_.column_in_row();
  const OneBased<int> rows = irn_.from(Index{ne_} + 1);
  for (int i = 1; i <= m_; ++i) column_in_row(i) = 0;
  int end = 1;
  for (int j = 1; j <= n_; ++j) {
    starts(j) = end;
    for (int k = heads(j); k != 0; k = jcn_(k)) {
      const int i = irn_(k);
      if (column_in_row(i) != j) {
        column_in_row(i) = j;
        rows(end++) = i;
      } else if (++info_(MA48_INFO_DUPLICATES) <= kReportedEntries) {
        diagnostics_.warning(texts::kAnalysisDuplicate, {k, i, j});
      }
    }
    lengths(j) = end - starts(j);
  }
  duplicates_counted_ = true;
}

bool Analysis::form_blocks() {
  const OneBased<int> matches = work_.matches(), work = work_.matching_work();
  const OneBased<int> starts = work_.pattern_starts(), lengths = work_.pattern_lengths();
  copy_pattern(starts, lengths);
  int room = la_ - ne_;
  // Columns play the part of the kernel's rows.
  ma48_matching_entry(&n_, irn_.from(Index{ne_} + 1).data(), &room, starts.data(), lengths.data(),
                      matches.data(), &info_(MA48_INFO_STRUCTURAL_RANK), work.data());
  if (info_(MA48_INFO_STRUCTURAL_RANK) < n_) {
    if (icntl_(MA48_ICNTL_SINGULAR_IS_ERROR) != 0) return false;
    form_single_block();
    return true;
  }
  find_components(matches, starts, lengths);
  for (int j = 1; j <= n_; ++j) keep_.row_place(keep_.column_at(j)) = j;
  for (int j = 1; j <= n_; ++j) keep_.column_at(j) = matches(keep_.column_at(j));
  return true;
}

/// Finds the strongly connected components. Node i is the column matched to row i; on return the columns in
/// KEEP are the nodes in the order of their components.
void Analysis::find_components(OneBased<int> matches, OneBased<int> starts, OneBased<int> lengths) {
  const OneBased<int> node_starts = work_.node_starts(), node_lengths = work_.node_lengths();
  const OneBased<int> sizes = work_.component_sizes(), work = work_.component_work();
  for (int i = 1; i <= n_; ++i) {
    node_starts(i) = starts(matches(i));
    node_lengths(i) = lengths(matches(i));
  }
  int room = la_ - ne_, count = 0;
  ma48_strong_components_entry(&n_, irn_.from(Index{ne_} + 1).data(), &room, node_starts.data(),
                               node_lengths.data(), &keep_.column_at(1), sizes.data(), &count, work.data());
  for (int c = 1; c < count; ++c) sizes(c) = sizes(c + 1) - sizes(c);
  sizes(count) = n_ - sizes(count) + 1;
  blocks_ = merge_blocks(sizes, count);
  for (int block = 1; block <= blocks_; ++block) {
    keep_.block_order(block) = std::abs(sizes(block));
    keep_.block_kind(block) = sizes(block);
  }
}

int Analysis::merge_blocks(OneBased<int> sizes, int count) {
  int runs = 0;
  for (int c = 1; c <= count; ++c) {
    if (sizes(c) == 1 && runs > 0 && sizes(runs) < 0) {
      --sizes(runs);  // one more of a triangular block
    } else {
      sizes(++runs) = sizes(c) == 1 ? -1 : sizes(c);
    }
  }
  const int smallest = std::max(1, icntl_(MA48_ICNTL_SMALLEST_BLOCK));
  int last = 1;
  for (int c = 2; c <= runs; ++c) {
    if (std::abs(sizes(last)) < smallest) {
      sizes(last) = std::abs(sizes(last)) + std::abs(sizes(c));  // positive: no longer triangular
    } else {
      sizes(++last) = sizes(c);
    }
  }
  return last;
}

// ---- Columns left to last

void Analysis::move_columns_last() {
  for (int block = 1; block <= blocks_; ++block) keep_.left_to_last(blocks_, block) = 0;
  if (job_ == MA48_ANALYSE_GIVEN_ORDER) return count_columns_last_in_sequence();
  int first = 1;
  for (int block = 1; block <= blocks_; ++block) {
    const Range range = block_range(block, first);
    if (keep_.block_kind(block) >= 0) count_columns_last(block, range);
    first = range.last + 1;
  }
}

/// Counts the columns left to last if the sequence is given: all from the first named one on.
void Analysis::count_columns_last_in_sequence() {
  int j = 1;
  while (j <= n_ && iw_(keep_.column_at(j)) != 0) ++j;
  keep_.left_to_last(1, 1) = n_ - j + 1;
}

/// Swaps the named columns of a block to its end, by two pointers that meet. The column where they meet is
/// not tested and counts as not named: the contract of IW says so, and hosts rely on the same order.
void Analysis::count_columns_last(int block, Range range) {
  int j = range.first, k = range.last;
  while (j != k) {
    if (iw_(keep_.column_at(j)) != 0) {
      ++j;
    } else {
      ++keep_.left_to_last(blocks_, block);
      std::swap(keep_.column_at(j), keep_.column_at(k));
      --k;
    }
  }
}

// ---- The permuted store

void Analysis::copy_permuted() {
  const OneBased<int> column_in_row = work_.column_in_row(), place_in_row = work_.place_in_row();
  for (int i = 1; i <= m_; ++i) column_in_row(i) = 0;
  keep_.diagonal_start(1) = 1;
  keep_.off_diagonal_start(1) = ne_;
  int first = 1;
  for (int block = 1; block <= blocks_; ++block) {
    const Range range = block_range(block, first);
    for (int position = range.first; position <= range.last; ++position) {
      int& front = keep_.diagonal_start(position + 1) = keep_.diagonal_start(position);
      keep_.off_diagonal_start(position + 1) = keep_.off_diagonal_start(position);
      if (keep_.block_kind(block) < 0) {  // the diagonal stands first in a triangular block's column
        column_in_row(position) = position;
        place_in_row(position) = front;
        a_(Index{ne_} + front) = 0.0;
        irn_(Index{ne_} + front) = position;
        ++front;
      }
      copy_column(position, range, column_in_row, place_in_row);
    }
    first = range.last + 1;
  }
  for (int block = 2; block <= blocks_; ++block) keep_.block_start(block) = 0;
  keep_.block_count() = blocks_;
}

void Analysis::copy_column(int position, Range range, OneBased<int> column_in_row,
                           OneBased<int> place_in_row) {
  const Index ne = ne_;
  const int column = keep_.column_at(position);
  int front = keep_.diagonal_start(position + 1), back = keep_.off_diagonal_start(position + 1);
  int next = 0;
  for (int k = work_.list_heads()(column); k != 0; k = next) {
    next = jcn_(k);
    const int row = keep_.row_place(irn_(k));
    if (column_in_row(row) == position) {
      jcn_(k) = place_in_row(row);
      a_(ne + place_in_row(row)) += a_(k);
      if (!duplicates_counted_ && ++info_(MA48_INFO_DUPLICATES) <= kReportedEntries)
        diagnostics_.warning(texts::kAnalysisDuplicate, {k, irn_(k), column});
      continue;
    }
    column_in_row(row) = position;
    const int place = m_ == n_ && !range.contains(row) ? back-- : front++;
    place_in_row(row) = place;
    a_(ne + place) = a_(k);
    irn_(ne + place) = row;
    jcn_(k) = place;
  }
  keep_.diagonal_start(position + 1) = front;
  keep_.off_diagonal_start(position + 1) = back;
}

void Analysis::copy_rows_back() {
  const int front = keep_.diagonal_start(Index{n_} + 1), back = keep_.off_diagonal_start(Index{n_} + 1);
  const int* const source = irn_.data() + ne_;
  int* const target = irn_.data();
  std::copy(source, source + (front - 1), target);
  std::fill(target + (front - 1), target + back, 0);
  std::copy(source + back, source + ne_, target + back);
}

// ---- Pivots

/// Analyses the last block first: the workspace of a block covers the copies of the blocks behind it.
void Analysis::analyse_blocks() {
  int last = n_;
  for (int block = blocks_; block >= 1; --block) {
    const Range range{last - keep_.block_order(block) + 1, last};
    const OneBased<int> rows = work_.row_orders(), columns = column_orders();
    for (int i = 0; i < rows_of(range); ++i) rows(range.first + i) = i + 1;
    for (int j = 0; j < range.size(); ++j) columns(range.first + j) = j + 1;
    if (keep_.block_kind(block) < 0) {
      count_triangular(range);
    } else {
      choose_pivots(block, range);
    }
    const int before = range.first - 1;
    for (int i = 0; i < rows_of(range); ++i) rows(range.first + i) += before;
    for (int j = 0; j < range.size(); ++j) columns(range.first + j) += before;
    last = before;
  }
}

void Analysis::count_triangular(Range range) {
  const double limit = std::max(cntl_(MA48_CNTL_PIVOT_TOLERANCE), 0.0);
  for (int j = range.first; j <= range.last; ++j) {
    const double magnitude = std::fabs(a_(Index{ne_} + keep_.diagonal_start(j)));
    if (magnitude > limit && has_reciprocal(magnitude)) ++info_(MA48_INFO_RANK);
  }
}

void Analysis::choose_pivots(int block, Range range) {
  const int before = keep_.diagonal_start(range.first) - 1;
  const int entries = keep_.diagonal_start(range.last + 1) - 1 - before;
  const int rows = rows_of(range);
  info_(MA48_INFO_LARGEST_BLOCK) = std::max(info_(MA48_INFO_LARGEST_BLOCK), rows);
  info_(MA48_INFO_GENERAL_ORDER) += range.size();
  info_(MA48_INFO_GENERAL_ENTRIES) += entries;

  int info5[kMa50InfoLength] = {};
  double rinfo5 = 0.0;
  keep_.block_kind(block) = run_kernel(block, range, entries, before, info5, rinfo5);
  const OneBased<const int> result(info5, kMa50InfoLength);
  merge_status(result(kStatus));
  info_(MA48_INFO_COMPRESSIONS) += result(kCompressions);
  std::int64_t length = std::int64_t{ne_} + result(kAnalysisLength) + before;
  if (result(kStatus) == kStoreTooShort) length = std::max(length, std::int64_t{la_} + 1);
  info_(MA48_INFO_ANALYSIS_LENGTH) = std::max(info_(MA48_INFO_ANALYSIS_LENGTH), clamped_length(length));
  info_(MA48_INFO_RANK) += result(kRank);
  info_(MA48_INFO_DROPPED) += result(kDropped);
  *rinfo_ += rinfo5;
  keep_.upper_end(range.first) = result(kFactorLength);  // kept here for size_factorisation()
}

/// Calls MA50AD for the block, whose orders become those of the kernel. @return NP
int Analysis::run_kernel(int block, Range range, int entries, int before, int* info5, double& rinfo5) {
  const int rows = rows_of(range), columns = range.size();
  if (entries == 0) {  // nothing to choose from: all of it is the full part, and the orders stay
    info5[kStatus - 1] = kRankDeficient;
    info5[kFactorLength - 1] = clamped_length(
        std::max(std::int64_t{rows} * columns, std::int64_t{rows} + columns) + 2 * std::int64_t{rows} + 2);
    return 0;
  }
  const Index offset = Index{ne_} + before;
  const int shift = range.first - 1;
  for (int k = 1; k <= entries; ++k) irn_(offset + k) -= shift;
  int* const starts = &keep_.lower_end(range.first);  // IQ, later the order of the columns
  for (int j = 0; j < columns; ++j) starts[j] = keep_.diagonal_start(range.first + j) - before;

  const double cntl5[kMa50CntlLength] = {cntl_(MA48_CNTL_DENSITY), cntl_(MA48_CNTL_THRESHOLD),
                                         cntl_(MA48_CNTL_DROP_TOLERANCE), cntl_(MA48_CNTL_PIVOT_TOLERANCE)};
  const bool given = job_ == MA48_ANALYSE_GIVEN_ORDER;
  const int icntl5[kMa50IcntlLength] = {
      icntl_(MA48_ICNTL_ERROR_STREAM),
      icntl_(MA48_ICNTL_WARNING_STREAM),
      0,
      given ? 1 : icntl_(MA48_ICNTL_SEARCH_LIMIT),
      icntl_(MA48_ICNTL_DENSE_BLOCK_SIZE),
      icntl_(MA48_ICNTL_COLUMNS_LAST) != 0 ? keep_.left_to_last(blocks_, block) : 0,
      given ? kGivenSequence : (job_ == MA48_ANALYSE_DIAGONAL_PIVOTS ? kDiagonalPivots : kFreePivots)};

  int* const sequence = work_.kernel_columns(0);  // IFIRST
  for (int j = 1; j <= columns; ++j) sequence[j - 1] = j;
  const int room = static_cast<int>(la_ - offset);
  int np = 0;
  MA50AD(&rows, &columns, &entries, &room, &a_(offset + 1), &irn_(offset + 1), &jcn_(Index{ne_} + 1), starts,
         cntl5, icntl5, &iw_(range.first), &np, work_.kernel_rows(1), work_.kernel_rows(2),
         work_.kernel_rows(3), work_.kernel_rows(4), work_.kernel_rows(5), sequence,
         &keep_.upper_end(range.first), work_.kernel_columns(1), work_.kernel_columns(2), info5, &rinfo5);
  return np;
}

void Analysis::merge_status(int kernel_status) {
  int& status = info_(MA48_INFO_STATUS);
  if (kernel_status == kStoreTooShort) status = MA48_STATUS_TOO_SHORT;
  if (status < 0 || kernel_status < 0) return;
  if ((kernel_status & kRankDeficient) != 0) status |= MA48_WARNING_RANK_DEFICIENT;
  if ((kernel_status & kNoPivotLeft) != 0) status |= MA48_WARNING_NO_DIAGONAL_PIVOT;
}

void Analysis::size_factorisation() {
  std::int64_t length = ne_, before = ne_;
  int first = 1;
  for (int block = 1; block <= blocks_; ++block) {
    const Range range = block_range(block, first);
    if (keep_.block_kind(block) >= 0) {
      const std::int64_t needed = keep_.upper_end(first);
      length = std::max(length, before + needed);
      before += needed - 2 * std::int64_t{rows_of(range)};
    }
    first = range.last + 1;
  }
  info_(MA48_INFO_FACTOR_LENGTH) = clamped_length(length);
}

// ---- The final order

void Analysis::reorder() {
  const Index m = m_, n = n_;
  const OneBased<int> rows = work_.row_orders(), columns = column_orders();
  const OneBased<int> old_starts = work_.old_starts(), old_off_starts = work_.old_off_starts();
  const OneBased<int> old_columns = work_.old_columns();
  for (Index j = 1; j <= n + 1; ++j) {
    old_starts(j) = keep_.diagonal_start(j);
    old_off_starts(j) = keep_.off_diagonal_start(j);
  }
  reorder_columns(old_starts, old_off_starts);
  for (Index i = 1; i <= m; ++i) keep_.row_place(i) = rows(keep_.row_place(i));
  for (Index j = 1; j <= n; ++j) old_columns(j) = keep_.column_at(j);
  for (Index j = 1; j <= n; ++j) keep_.column_at(j) = old_columns(columns(j));
  for (Index j = 1; j <= n; ++j) keep_.lower_end(j) = keep_.upper_end(j) = 0;  // no factors yet
}

/// Writes the columns of the blocks and directly behind them the parts off the blocks. IRN(NE + old place)
/// becomes the new place.
void Analysis::reorder_columns(OneBased<const int> old_starts, OneBased<const int> old_off_starts) {
  const OneBased<int> rows = work_.row_orders(), columns = column_orders();
  const OneBased<int> new_place = irn_.from(Index{ne_} + 1);
  std::copy(irn_.data(), irn_.data() + ne_, new_place.data());
  int end = 1;
  const auto move = [&](int from, int to) {
    for (int k = from; k < to; ++k) {
      irn_(end) = rows(new_place(k));
      new_place(k) = end++;
    }
  };
  for (int j = 1; j <= n_; ++j) {
    keep_.diagonal_start(j) = end;
    move(old_starts(columns(j)), old_starts(columns(j) + 1));
  }
  keep_.diagonal_start(Index{n_} + 1) = end;
  for (int j = 1; j <= n_; ++j) {
    keep_.off_diagonal_start(j) = end;
    move(old_off_starts(columns(j) + 1) + 1, old_off_starts(columns(j)) + 1);
  }
  keep_.off_diagonal_start(Index{n_} + 1) = end;
  for (; end <= ne_; ++end) irn_(end) = 0;
}

/// Replaces the old place of each entry by its new one. Entries out of range, whose place is 0 so far, get
/// place NE: IRN(NE + 0) is set to that meanwhile.
void Analysis::finish_map() {
  const int row_at_end = irn_(ne_);
  irn_(ne_) = ne_;
  for (int k = 1; k <= ne_; ++k) jcn_(k) = irn_(Index{ne_} + jcn_(k));
  irn_(ne_) = row_at_end;
}

void Analysis::add_warnings() {
  int& status = info_(MA48_INFO_STATUS);
  if (info_(MA48_INFO_DUPLICATES) > 0 || info_(MA48_INFO_OUT_OF_RANGE) > 0) {
    status |= MA48_WARNING_ENTRIES;
    if (info_(MA48_INFO_DUPLICATES) > 0) jcn_(1) = -jcn_(1);  // ma48bd_ has to sum
  }
  if (info_(MA48_INFO_STRUCTURAL_RANK) < info_(MA48_INFO_RANK)) {
    info_(MA48_INFO_RANK) = info_(MA48_INFO_STRUCTURAL_RANK);
    status |= MA48_WARNING_RANK_DEFICIENT;
  }
}

void Analysis::report_faults() const {
  if (info_(MA48_INFO_DUPLICATES) > 0 || info_(MA48_INFO_OUT_OF_RANGE) > 0) {
    diagnostics_.warning(texts::kAnalysisFaultyEntries,
                         {info_(MA48_INFO_DUPLICATES), info_(MA48_INFO_OUT_OF_RANGE)});
  }
}

}  // namespace
}  // namespace corvidnum

extern "C" int ma48ad_(const int* m, const int* n, const int* ne, const int* job, const int* la, double* a,
                       int* irn, int* jcn, int* keep, const double* cntl, const int* icntl, int* iw,
                       int* info, double* rinfo) {
  corvidnum::enter_library();
  corvidnum::Analysis analysis(*m, *n, *ne, *job, *la, a, irn, jcn, keep, cntl, icntl, iw, info, rinfo);
  if (analysis.accept_arguments()) analysis.run();
  return 0;
}

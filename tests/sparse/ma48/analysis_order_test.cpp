// The analysis picks one of many good orders by fixed rules: hosts rely on getting the same one again.

#include <array>
#include <set>
#include <sstream>

#include "tests/sparse/ma48/routines.h"

namespace {

using namespace reference;
const double kNaN = std::nan("");

/// Numbers 0 .. bound - 1 by a rule of its own, the same with every standard library.
struct Sequence {
  std::uint32_t state;
  int below(int bound) {
    state = state * 1664525u + 1013904223u;
    return static_cast<int>((state >> 8) % static_cast<std::uint32_t>(bound));
  }
};

std::string outcome(Solver& solver) {
  std::ostringstream text;
  const auto keep = solver.view();
  for (int i = 1; i <= solver.matrix.m; ++i) text << keep.row_place(i) << ' ';
  text << '|';
  for (int j = 1; j <= solver.matrix.n; ++j) text << ' ' << keep.column_at(j);
  text << " |";
  const int blocks = keep.block_count();
  for (int block = 1; block <= blocks; ++block) {
    text << ' ' << keep.block_order(block) << ':' << keep.block_kind(block);
    if (solver.ICNTL(MA48_ICNTL_COLUMNS_LAST)) text << ':' << keep.left_to_last(blocks, block);
  }
  text << " |";
  for (const int value : solver.info) text << ' ' << value;
  text << " | " << solver.rinfo;
  return text.str();
}

/// Up to 18 x 18, with entries in any density.
Coordinates small_matrix(Sequence& sequence, bool odd) {
  Coordinates a{1 + sequence.below(18), 1 + sequence.below(18), {}, {}, {}};
  if (sequence.below(2) == 0) a.n = a.m;
  const int density = 5 + sequence.below(30), values = sequence.below(4), rotation = sequence.below(a.m);
  const bool upper = sequence.below(2) == 0;  // but for blocks of order 4 on the diagonal
  const double strange[] = {kNaN, HUGE_VAL, -HUGE_VAL};
  for (int j = 1; j <= a.n; ++j) {
    for (int i = 1; i <= a.m; ++i) {
      if (upper && i > j && (i - 1) / 4 != (j - 1) / 4) continue;
      if (sequence.below(100) >= density && (i != j || sequence.below(4) == 0)) continue;
      // Few values make many ties, and zeros that are stored.
      const double tied = sequence.below(2 * values + 1) - values;
      const int mantissa = 1 + sequence.below(1000), exponent = sequence.below(12) - 6;
      const double any = std::ldexp(mantissa, exponent);
      const int which = sequence.below(9);
      a.add((i + rotation) % a.m + 1, j, odd && which < 3 ? strange[which] : values == 0 ? any : tied);
    }
  }
  if (a.entries() == 0) a.add(1, 1, 1.0);
  return a;
}

/// A matrix with controls at random.
Solver small_solver(Sequence& sequence, int job, int search_limit, bool odd) {
  Solver solver(small_matrix(sequence, odd));
  const auto any = [&](auto... choice) { return std::array{choice...}[sequence.below(sizeof...(choice))]; };
  solver.job = job;
  solver.ICNTL(MA48_ICNTL_SEARCH_LIMIT) = search_limit;
  solver.ICNTL(MA48_ICNTL_SMALLEST_BLOCK) = any(1, 3, 1000000, 1000000);
  solver.ICNTL(MA48_ICNTL_SINGULAR_IS_ERROR) = 0;
  solver.ICNTL(MA48_ICNTL_COLUMNS_LAST) = sequence.below(2);
  solver.CNTL(MA48_CNTL_DENSITY) = any(0.5, 1.0, 2.0, 1.0);
  solver.CNTL(MA48_CNTL_THRESHOLD) = any(0.1, 0.5, 1.0, 0.0, odd ? kNaN : -1.0);
  solver.CNTL(MA48_CNTL_DROP_TOLERANCE) = any(0.0, 0.0, 0.7, odd ? kNaN : 1.0);
  solver.CNTL(MA48_CNTL_PIVOT_TOLERANCE) = any(0.0, 0.0, 0.9, odd ? kNaN : -1.0);
  const int m = solver.matrix.m, n = solver.matrix.n;
  for (int j = 0; j < n; ++j) solver.marks.push_back(sequence.below(2));
  const int row_shift = sequence.below(m), column_shift = sequence.below(n);
  for (int i = 0; i < m; ++i) solver.order.push_back(1 + (i + row_shift) % m);
  for (int j = 0; j < n; ++j) solver.order.push_back(1 + (n - j + column_shift) % n);
  return solver;
}

/// All that an analysis decided, or only INFO where it failed; what it decided are permutations.
std::string checked_outcome(Solver& solver) {
  if (solver.analyse() < 0) {
    return std::to_string(solver.INFO(MA48_INFO_STATUS)) + ' ' +
           std::to_string(solver.INFO(MA48_INFO_ANALYSIS_LENGTH));
  }
  const auto keep = solver.view();
  std::set<int> rows, columns;
  for (int i = 1; i <= solver.matrix.m; ++i) rows.insert(std::abs(keep.row_place(i)));
  for (int j = 1; j <= solver.matrix.n; ++j) columns.insert(std::abs(keep.column_at(j)));
  EXPECT_EQ(solver.matrix.m, *rows.rbegin());
  EXPECT_EQ(rows.size(), solver.matrix.m);
  EXPECT_EQ(solver.matrix.n, *columns.rbegin());
  EXPECT_EQ(columns.size(), solver.matrix.n);
  return outcome(solver);
}

/// Continues a digest by the bytes of a text (FNV-1a).
void digest(std::uint64_t& sum, const std::string& text) {
  for (const char c : text) sum = (sum ^ static_cast<unsigned char>(c)) * 0x100000001b3;
}

/// The digests, recorded once, stand for the outcomes of many small problems, a tenth of them in every length
/// of the arrays from the least to one that is enough, where lists are moved and compressed.
TEST(Ma48AnalysisOrder, StaysTheSameWhateverTheControlsAndTheRoom) {
  constexpr int kProblems = 1000;
  const struct {
    const char* name;
    int job, search_limit;
    bool odd;  // values and controls that are not finite
    std::uint64_t expected;
  } rows[] = {
      {"one column", 1, 1, false, 0x509309de65ddbdde},
      {"three columns", 1, 3, false, 0x5a11b519d4e31740},
      {"rows too", 1, 0, false, 0x257846368725e6e0},
      {"rows too, no limit", 1, -1, false, 0xfdf1c0501276271d},
      {"given order", 2, 3, false, 0x1326910332482e58},
      {"diagonal by columns", 3, 3, false, 0x32c4e4f2cc217358},
      {"diagonal by rows too", 3, 0, false, 0xd481736dd904ec8d},
      {"odd numbers", 1, 3, true, 0x3ed3d2f8836c6201},
      {"odd numbers by rows too", 1, 0, true, 0x1b9e57198ceb7b0c},
      {"odd numbers in given order", 2, 3, true, 0x78ba02c4b2041ca4},
  };
  int compressed = 0, short_ones = 0;
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    Sequence sequence{48};
    std::uint64_t sum = 0xcbf29ce484222325;
    for (int problem = 0; problem < kProblems; ++problem) {
      Solver solver = small_solver(sequence, row.job, row.search_limit, row.odd);
      digest(sum, checked_outcome(solver));
      const int enough = solver.INFO(MA48_INFO_ANALYSIS_LENGTH);
      for (int la = 2 * solver.matrix.entries(); problem % 10 == 0 && la < enough; ++la) {
        solver.resize(la);
        digest(sum, checked_outcome(solver));
        if (solver.INFO(MA48_INFO_STATUS) == MA48_STATUS_TOO_SHORT) {
          EXPECT_GT(solver.INFO(MA48_INFO_ANALYSIS_LENGTH), la);
          ++short_ones;
        } else {
          compressed += solver.INFO(MA48_INFO_COMPRESSIONS);
        }
      }
    }
    EXPECT_EQ(sum, row.expected) << std::hex << sum;
  }
  EXPECT_GT(compressed, 100);
  EXPECT_GT(short_ones, 100);
}

}  // namespace

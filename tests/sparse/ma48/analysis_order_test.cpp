// The analysis picks one of many good orders by fixed rules: hosts rely on getting the same one again.

#include <sstream>

#include "tests/sparse/ma48/routines.h"

namespace {

using namespace reference;

/// Numbers 0 .. bound - 1 by a rule of its own, the same with every standard library.
struct Sequence {
  std::uint32_t state;
  int below(int bound) {
    state = state * 1664525u + 1013904223u;
    return static_cast<int>((state >> 8) % static_cast<std::uint32_t>(bound));
  }
};

struct Case {
  const char* name;
  std::uint32_t seed;
  int order, entries;  // beside a full diagonal of the shuffled matrix
  bool upper;          // block triangular before the shuffle, some blocks being of order 4
  int job, smallest_block, columns_last;
  double drop, pivot;
  int length;            // LA; 0: ample
  const char* expected;  // places of rows, columns in order, orders and kinds of blocks, INFO, operations
};

Coordinates scrambled(const Case& given) {
  Sequence sequence{given.seed};
  const int n = given.order;
  Ints rows(n), columns(n);
  std::iota(rows.begin(), rows.end(), 1);
  std::iota(columns.begin(), columns.end(), 1);
  for (int k = n - 1; k > 0; --k) {
    std::swap(rows[k], rows[sequence.below(k + 1)]);
    std::swap(columns[k], columns[sequence.below(k + 1)]);
  }
  Coordinates a{n, n, {}, {}, {}};
  for (int k = 0; k < n; ++k) a.add(rows[k], columns[k], (1 + sequence.below(9)) / 4.0);
  for (int k = 0; given.upper && k < n - n % 4; ++k) {
    const int in_cycle = k - k % 4 + (k + 1) % 4;
    if (k % 8 < 4) a.add(rows[k], columns[in_cycle], (1 + sequence.below(9)) / 4.0);
  }
  for (int k = 0; k < given.entries; ++k) {
    int i = sequence.below(n), j = sequence.below(n);
    if (given.upper && i > j) std::swap(i, j);
    a.add(rows[i], columns[j], (1 + sequence.below(9)) / 4.0);
  }
  return a;
}

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

TEST(Ma48AnalysisOrder, IsThatOfTheRules) {
  const Case cases[] = {
      {"blocks", 11, 12, 14, true, 1, 1, 0, 0.0, 0.0, 0,
       "8 10 6 11 12 4 5 3 9 7 1 2 | 12 4 6 10 11 2 5 8 7 1 3 9 | 4:2 2:-2 4:2 2:-2 | 1 0 68 66 12 0 4 8 18 "
       "12 1 0 | 26"},
      {"blocks of three at least", 12, 12, 8, true, 1, 3, 0, 0.0, 0.0, 0,
       "1 11 4 7 2 5 10 12 3 8 6 9 | 4 3 1 8 10 7 9 6 5 2 12 11 | 5:3 6:4 1:-1 | 1 0 56 69 12 0 6 11 21 12 1 "
       "0 | 31"},
      {"blocks of five at least", 20, 12, 4, true, 1, 5, 0, 0.0, 0.0, 0,
       "3 12 11 6 1 7 9 8 4 10 2 5 | 4 5 12 9 3 11 1 6 2 10 7 8 | 5:3 7:5 | 1 0 48 68 12 0 7 12 22 12 1 0 | "
       "31"},
      {"little room", 203, 16, 54, false, 1, 1, 0, 0.0, 0.0, 140,
       "16 1 11 8 12 2 9 14 6 3 7 10 5 4 15 13 | 8 6 9 7 2 14 10 5 4 16 13 3 11 15 12 1 | 2:0 14:11 | "
       "1 3 140 185 16 0 14 16 60 16 5 0 | 217"},
      {"changing columns", 13, 12, 16, true, 1, 1, 1, 0.0, 0.0, 0,
       "4 1 5 11 9 12 2 10 6 3 8 7 | 1 10 9 4 7 12 8 2 3 6 11 5 | 4:2:2 3:-3:0 4:2:2 1:-1:0 | 1 0 72 68 12 0 "
       "4 8 17 12 6 0 | 26"},
      {"given places, changing columns", 14, 8, 14, false, 2, 1, 1, 0.0, 0.0, 0,
       "3 8 6 2 4 7 1 5 | 2 5 8 3 6 1 4 7 | 8:7:8 | 1 0 44 68 8 0 8 8 18 8 4 0 | 44"},
      {"diagonal pivots", 15, 8, 10, false, 3, 1, 0, 0.0, 0.0, 0,
       "1 4 5 6 3 2 7 8 | 1 6 5 2 3 4 7 8 | 8:3 | 5 0 36 71 8 0 8 8 13 8 5 0 | 87"},
      {"small diagonals", 16, 9, 4, true, 1, 1, 0, 0.0, 1.0, 0,
       "5 6 1 7 4 3 2 8 9 | 2 1 9 3 5 8 7 4 6 | 4:2 5:-5 | 0 0 34 37 8 0 4 4 8 9 0 0 | 13"},
      {"dropping", 17, 16, 30, true, 1, 1, 0, 0.6, 0.0, 0,
       "4 5 13 14 3 10 9 15 6 1 16 8 12 7 11 2 | 2 15 14 10 8 5 11 4 12 6 16 9 7 3 13 1 | 4:3 4:-4 4:3 4:-4 "
       "| 1 0 108 82 16 2 4 8 16 16 7 0 | 14"},
  };
  for (const Case& given : cases) {
    SCOPED_TRACE(given.name);
    Solver solver(scrambled(given), given.length);
    solver.job = given.job;
    solver.ICNTL(MA48_ICNTL_SMALLEST_BLOCK) = given.smallest_block;
    solver.ICNTL(MA48_ICNTL_COLUMNS_LAST) = given.columns_last;
    solver.CNTL(MA48_CNTL_DROP_TOLERANCE) = given.drop;
    solver.CNTL(MA48_CNTL_PIVOT_TOLERANCE) = given.pivot;
    solver.CNTL(MA48_CNTL_DENSITY) = 1.0;
    Sequence sequence{given.seed + 100};
    for (int j = 0; j < given.order; ++j) solver.marks.push_back(sequence.below(2));
    for (int k = 0; k < 2 * given.order; ++k) solver.order.push_back(1 + (k * 3 + 1) % given.order);
    solver.analyse();
    EXPECT_EQ(outcome(solver), given.expected);
  }
}

}  // namespace

// What ma48bd_ and ma48cd_ make of indices that the analysis or the factorisation did not leave: status -7,
// or a wrong solution, but no step outside of the arrays, which the address sanitizer sees.

#include <array>
#include <climits>
#include <functional>

#include "tests/sparse/ma48/routines.h"

namespace {

using namespace reference;

/// Two general blocks with a triangular one between them and entries above all of them; all columns sparse.
Solver several_blocks(Random& random) {
  Solver solver(block_triangular_matrix({6, 1, 1, 7, 5}, random));
  solver.CNTL(MA48_CNTL_DENSITY) = 2.0;
  EXPECT_EQ(solver.analyse(), 0);
  EXPECT_EQ(solver.factor(), MA48_STATUS_OK);
  return solver;
}
/// One block, whose leading columns jobs 2 and 3 keep.
Solver kept_columns(Random& random) {
  Solver solver(banded_matrix(8, 2, 2, random));
  solver.CNTL(MA48_CNTL_DENSITY) = 2.0;
  solver.ICNTL(MA48_ICNTL_COLUMNS_LAST) = 1;
  solver.marks = {1, 1, 1, 1, 1, 1, 0, 0};
  EXPECT_EQ(solver.analyse(), 0);
  EXPECT_EQ(solver.factor(), MA48_STATUS_OK);
  EXPECT_GT(solver.view().left_to_last(1, 1), 0);
  return solver;
}
/// One full block of rank 1, whose last two columns have no pivot.
Solver refused_columns(Random&) {
  Solver solver({3, 3, {1, 2, 3, 1, 2, 3, 1, 2, 3}, {1, 1, 1, 2, 2, 2, 3, 3, 3}, Vector(9, 1.0)});
  EXPECT_EQ(solver.analyse(), 0);
  EXPECT_EQ(solver.factor(), MA48_WARNING_RANK_DEFICIENT);
  return solver;
}
int kept(Solver& s) { return s.view().off_diagonal_start(s.matrix.n + 1) - 1; }
/// The row of the pivot of column j of the first block.
int& pivot_row(Solver& s, int j) { return s.irn[kept(s) + s.view().upper_end(j)]; }
/// Any column of the first block that has an L part behind its pivot, or an U part.
int with_lower_part(Solver& s) {
  int j = 1;
  while (s.view().lower_end(j) < s.view().upper_end(j) + 2) ++j;
  return j;
}
int with_upper_part(Solver& s) {
  int j = 2;
  while (s.view().upper_end(j) == s.view().lower_end(j - 1)) ++j;
  return j;
}

TEST(Ma48StrayIndices, HaveTheirStatus) {
  enum Calls { kEveryJob, kOldFactors, kJob2, kJob3 };
  const struct {
    const char* what;
    Solver (*sound)(Random&);
    std::function<void(Solver&)> spoil;
    Calls refused;
    bool solutionRefused;
  } cases[] = {
      {"map 0", several_blocks, [](Solver& s) { s.jcn[0] = 0; }, kEveryJob, false},
      {"map INT_MIN", several_blocks, [](Solver& s) { s.jcn[0] = INT_MIN; }, kEveryJob, false},
      {"map behind NE", several_blocks, [](Solver& s) { s.jcn[3] = s.matrix.entries() + 1; }, kEveryJob,
       false},
      {"map negative", several_blocks, [](Solver& s) { s.jcn[3] = -s.jcn[3]; }, kEveryJob, false},
      {"row before its block", several_blocks,
       [](Solver& s) { s.irn[s.view().diagonal_start(s.matrix.n) - 1] = 1; }, kEveryJob, true},
      {"row behind its block", several_blocks, [](Solver& s) { s.irn[0] = s.matrix.n; }, kEveryJob, true},
      {"row of its own block off the blocks", several_blocks,
       [](Solver& s) { s.irn[kept(s) - 1] = s.matrix.n; }, kEveryJob, true},
      {"row 0 off the blocks", several_blocks, [](Solver& s) { s.irn[kept(s) - 1] = 0; }, kEveryJob, true},
      {"more entries in one block", kept_columns,
       [](Solver& s) { ++s.view().off_diagonal_start(s.matrix.n + 1); }, kEveryJob, true},
      {"entries off the first block", several_blocks,
       [](Solver& s) {
         for (int j = 2; j <= s.view().block_order(1) + 1; ++j) ++s.view().off_diagonal_start(j);
       },
       kEveryJob, true},
      {"row in an L part", several_blocks,
       [](Solver& s) { s.irn[kept(s) + s.view().lower_end(with_lower_part(s)) - 1] = s.matrix.n; },
       kOldFactors, true},
      {"row of a pivot", several_blocks, [](Solver& s) { pivot_row(s, 2) = 0; }, kOldFactors, true},
      {"column in an U part", several_blocks,
       [](Solver& s) { s.irn[kept(s) + s.view().upper_end(with_upper_part(s)) - 1] = INT_MAX; }, kOldFactors,
       true},
      {"place of a refused column", refused_columns,
       [](Solver& s) { s.irn[kept(s) + s.view().lower_end(3) + 3 + 1] = -4; }, kOldFactors, true},
      {"place INT_MIN of a refused column", refused_columns,
       [](Solver& s) { s.irn[kept(s) + s.view().lower_end(3) + 3 + 2] = INT_MIN; }, kOldFactors, true},
      {"pivot that is none", several_blocks,
       [](Solver& s) {  // the last place of the factors is then that of a row which is not there
         const int n = s.view().block_order(1), j = with_upper_part(s);
         s.irn[kept(s) + s.view().upper_end(j) - 1] = n;
         s.view().upper_end(n) = s.view().lower_end(n);
       },
       kJob2, false},
      {"row pivotal twice", kept_columns, [](Solver& s) { pivot_row(s, 2) = pivot_row(s, 1); }, kJob3, false},
      {"row pivotal already", kept_columns,
       [](Solver& s) {
         const int j = with_lower_part(s);
         s.irn[kept(s) + s.view().upper_end(j) + 1] = pivot_row(s, j);
       },
       kJob3, false},
  };
  Random random(41);
  for (const auto& c : cases) {
    for (const int job : {1, 2, 3}) {
      SCOPED_TRACE(testing::Message() << c.what << ", job " << job);
      Solver solver = c.sound(random);
      c.spoil(solver);
      const Vector b(solver.matrix.n, 1.0), untouched(solver.matrix.n, 77.0);
      const Vector x = solver.solve(b, job % 2);
      EXPECT_EQ(solver.INFO(MA48_INFO_STATUS), c.solutionRefused ? MA48_STATUS_INCOMPATIBLE : MA48_STATUS_OK);
      EXPECT_EQ(x == untouched, c.solutionRefused);
      const bool refused = c.refused == kEveryJob || (c.refused == kOldFactors && job != 1) ||
                           (c.refused == kJob2 && job == 2) || (c.refused == kJob3 && job == 3);
      EXPECT_EQ(solver.factor(job) == MA48_STATUS_INCOMPATIBLE, refused) << solver.INFO(MA48_INFO_STATUS);
    }
  }
}

/// Each element of KEEP in turn far off.
TEST(Ma48StrayIndices, OfKeepLeadNowhere) {
  Random random(24);
  const Solver sound = several_blocks(random);
  const Vector b(sound.matrix.n, 1.0), untouched(sound.matrix.n, 77.0);
  for (std::size_t k = 0; k < sound.keep.size(); ++k) {
    for (const int value : {INT_MIN, 0, INT_MAX}) {
      for (const int job : {1, 2, 3}) {
        Solver solver = sound;
        solver.keep[k] = value;
        for (const int transposed : {0, 1}) {
          const bool refused = solver.solve(b, transposed, 3) == untouched;
          EXPECT_EQ(refused, solver.INFO(MA48_INFO_STATUS) == MA48_STATUS_INCOMPATIBLE) << k;
        }
        solver.factor(job);
      }
    }
  }
  // A place of a row, a column, an end of L and U, a start of a column off the blocks, and two of the blocks.
  const int n = sound.matrix.n;
  for (const int k : {0, n, 2 * n, 4 * n + 1, 6 * n + 2, 6 * n + 4}) {
    Solver solver = sound;
    solver.keep[k] = INT_MAX;
    EXPECT_EQ(solver.solve(b, 1), untouched) << k;
  }
}

Coordinates any_matrix(Random& random, int kind) {
  Coordinates a = kind == 0   ? block_triangular_matrix({6, 1, 1, 7, 5}, random)
                  : kind == 1 ? shuffled(flowsheet_matrix(6, 4, random), random)
                  : kind == 2 ? random_matrix(number(random, 1, 20), number(random, 1, 20), 0.3, random)
                              : random_matrix(20, 20, 0.15, random);
  if (a.entries() == 0) a.add(1, 1, 1.0);
  return kind == 1 ? with_faulty_entries(a, 4, 3, random) : a;
}

/// Coordinates where the permuted matrix should be, the analysis of another matrix, single words altered.
void spoil(Solver& s, Random& random) {
  const auto alter = [&](Ints& words, int count) {
    for (int k = number(random, 1, 3); k > 0; --k) {
      int& word = words[number(random, 0, count - 1)];
      const int others[] = {INT_MIN, 0, -1, number(random, 1, 40), INT_MAX, word + (word < 9), words[0]};
      word = others[number(random, 0, 6)];
    }
  };
  const int ne = s.matrix.entries(), kind = number(random, 0, 4);
  if (kind == 0) {
    std::copy(s.matrix.rows.begin(), s.matrix.rows.end(), s.irn.begin());
    std::copy(s.matrix.columns.begin(), s.matrix.columns.end(), s.jcn.begin());
  } else if (kind == 1) {
    Solver other(any_matrix(random, number(random, 0, 3)));
    if (other.analyse() >= 0) other.factor();
    other.keep.resize(s.keep.size());
    other.keep.shrink_to_fit();
    s.keep = other.keep;
  } else {
    kind == 2 ? alter(s.jcn, ne)
              : alter(kind == 3 ? s.irn : s.keep, kind == 3 ? s.la / 3 : int(s.keep.size()));
  }
}

TEST(Ma48StrayIndices, LeadNowhere) {
  Random random(42);
  int accepted = 0, refused = 0;
  for (int trial = 0; trial < 1500; ++trial) {
    Solver solver(any_matrix(random, trial % 4));
    solver.use(kSettings[trial % 9], random);
    solver.ICNTL(MA48_ICNTL_SINGULAR_IS_ERROR) = 0;
    solver.CNTL(MA48_CNTL_DENSITY) = std::array{0.5, 0.0, 2.0}[trial / 3 % 3];
    if (solver.analyse() < 0 || solver.factor() < 0) continue;
    solver.resize(std::max(2 * solver.matrix.entries(), solver.INFO(MA48_INFO_FACTOR_LENGTH)));
    for (int round = 0; round < 2; ++round) {
      if (number(random, 0, 1)) spoil(solver, random);
      (solver.factor(number(random, 1, 3)) < 0 ? refused : accepted) += 1;
      if (number(random, 0, 1)) spoil(solver, random);
      for (const int transposed : {0, 1}) {
        solver.solve(Vector(transposed ? solver.matrix.n : solver.matrix.m, 1.0), transposed, 1 + trial % 4);
      }
    }
  }
  EXPECT_GT(accepted, 500);
  EXPECT_GT(refused, 500);
}

}  // namespace

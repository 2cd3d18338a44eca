// The solve on factors of many shapes, which are read from the stored layout: solutions are judged by
// multiplying out L, U and the off-diagonal part, or the matrix that was kept.

#include <utility>

#include "sparse/ma38/factors/factors.h"
#include "tests/sparse/ma38/routines.h"

namespace corvidnum {
namespace ma38 {
namespace {

using namespace reference;

constexpr FactorSettings kNarrow = {"narrow fronts", 0, 0, 0, 64, 1, 0, 4, 16, 1.0, 0.5};

Coordinates dead_columns(Random& random) {
  Coordinates a = block_triangular_matrix({1, 4, 2, 1, 6}, random);
  for (std::size_t k = 0; k < a.values.size(); ++k)
    if (a.columns[k] % 5 == 1) a.values[k] = 0.0;
  return a;
}
/// Elements of all sizes, among them those whose updates go to the BLAS; and matrices that are singular.
std::vector<MatrixCase> cases(Random& random) {
  std::vector<MatrixCase> all = regular_cases(random);
  all.push_back({"half full", dominated(random_matrix(18, 18, 0.4, random), random)});
  all.push_back({"many pivots", bordered_blocks(34, 7, random)});
  all.push_back({"long lists", bordered_blocks(6, 66, random)});
  all.push_back({"dead columns", dead_columns(random)});
  all.push_back({"nothing but zeros", Coordinates{3, 3, {1}, {1}, {0.0}}});
  return all;
}
std::vector<FactorSettings> solve_settings() {
  std::vector<FactorSettings> all = few_settings();
  all.push_back(kNarrow);
  return all;
}

/// The factors of a matrix, with arrays of exactly their length. P A Q = L U, and what lies off the blocks.
struct Stored : Factoring {
  int n;
  StoredFactors factors;
  Dense l{0, 0}, permuted{0, 0}, a{0, 0}, kept{0, 0};

  /// @param blur factors are stored with this relative error
  Stored(const Coordinates& matrix_of_order_n, const FactorSettings& settings, double blur = 0.0)
      : Factoring(matrix_of_order_n, settings), n(matrix.n), factors(factored()) {
    Random random(5);
    Dense u(n, n);
    factors.triangles(l, u);
    permuted = dense(factors.off_diagonal), a = Dense(n, n), kept = dense(factors.copy);
    for (int k = 0; k < n; ++k) {
      if (u(k, k) == 0.0) u(k, k) = 1.0;  // what has no pivot passes
      for (int i = k; i < n; ++i)
        for (int j = k; j < n; ++j) permuted(i, j) += l(i, k) * u(k, j);
    }
    for (int i = 0; i < n; ++i)
      for (int j = 0; j < n; ++j) a(factors.rperm[i] - 1, factors.cperm[j] - 1) = permuted(i, j);
    const int lower = factors.nzoff + (factors.preserved ? factors.nz : 0);
    for (int k = lower; k < lvalue; ++k) value[k] *= 1.0 + blur * uniform(random);
  }
  bool regular() const { return INFO(MA38_INFO_PIVOTS) == n; }

 private:
  StoredFactors factored() {
    EXPECT_GE(factor(), 0);
    shrink();
    return StoredFactors(keep, index, value);
  }
};

Vector times(const Dense& a, const Vector& x, bool transposed) {
  Vector y(x.size());
  for (int j = 0; j < a.cols; ++j)
    for (int i = 0; i < a.rows; ++i) (transposed ? y[j] : y[i]) += a(i, j) * (transposed ? x[i] : x[j]);
  return y;
}

constexpr int kUntouched = -77;

struct Answer {
  Ints info = Ints(MA38_INFO_LENGTH, kUntouched);
  Vector rinfo = Vector(MA38_RINFO_LENGTH, kUntouched), x;

  int status() const { return info[MA38_INFO_STATUS - 1]; }
  int steps() const { return info[MA38_INFO_REFINEMENTS - 1]; }
  double omega1() const { return rinfo[MA38_RINFO_OMEGA1 - 1]; }
  double omega2() const { return rinfo[MA38_RINFO_OMEGA2 - 1]; }
  double omega() const { return omega1() + omega2(); }
};

/// @param longer by how much the arrays have grown since the factorisation
Answer solve(const Stored& stored, int job, bool transposed, const Vector& b, int refinements = 0,
             double epsilon = 2.2e-16, std::size_t longer = 0) {
  Answer answer;
  Ints icntl(MA38_ICNTL_LENGTH, 0), index(stored.index);
  Vector cntl(MA38_CNTL_LENGTH, 0.0), value(stored.value), w(b.size() * (refinements > 0 ? 4 : 2));
  icntl[MA38_ICNTL_PRINT_LEVEL - 1] = 3, icntl[MA38_ICNTL_MOST_REFINEMENTS - 1] = refinements,
                                 cntl[MA38_CNTL_EPSILON - 1] = epsilon;
  index.resize(index.size() + longer, kUntouched), value.resize(value.size() + longer, kUntouched);
  answer.x = Vector(b.size(), kUntouched);
  const int transc = transposed, lvalue = int(value.size()), lindex = int(index.size());
  ma38cd_(&stored.matrix.n, &job, &transc, &lvalue, &lindex, value.data(), index.data(), stored.keep.data(),
          b.data(), answer.x.data(), w.data(), cntl.data(), icntl.data(), answer.info.data(),
          answer.rinfo.data());
  return answer;
}

Vector right_side(int n) {
  Vector b;
  for (int k = 1; k <= n; ++k) b.push_back(std::sin(3.0 * k) + 0.1);
  return b;
}
double distance(const Vector& a, const Vector& b) {
  double largest = 0.0;
  for (std::size_t k = 0; k < a.size(); ++k) {
    if (std::isnan(a[k])) return a[k];
    largest = std::max(largest, std::fabs(a[k] - b[k]));
  }
  return largest;
}
double size(const Vector& a) { return distance(a, Vector(a.size(), 0.0)); }
/// y(i) = x(order(i)), or the other way round.
Vector picked(const Vector& x, const Ints& order) {
  Vector y;
  for (const int k : order) y.push_back(x[std::size_t(k - 1)]);
  return y;
}
Vector placed(const Vector& x, const Ints& order) {
  Vector y(x.size());
  for (std::size_t k = 0; k < x.size(); ++k) y[std::size_t(order[k] - 1)] = x[k];
  return y;
}
/// y with L' y = x.
Vector back_substituted(const Dense& l, Vector y) {
  for (int i = l.rows - 1; i >= 0; --i)
    for (int k = i + 1; k < l.rows; ++k) y[i] -= l(k, i) * y[k];
  return y;
}

/// The right-hand side that belongs to x.
Vector of_solution(const Stored& s, int job, bool transposed, const Vector& x) {
  if (job == 1 && !transposed) return placed(times(s.l, x, false), s.factors.rperm);
  if (job == 1) return times(s.l, picked(x, s.factors.rperm), true);
  if (job == 2 && transposed)
    return placed(times(s.permuted, back_substituted(s.l, x), true), s.factors.cperm);
  if (job == 2) return times(s.permuted, picked(x, s.factors.cperm), false);  // L times it
  return times(s.a, x, transposed);
}

/// What a call says that may or may not refine, in arrays that have grown since the factorisation.
void expect_status_and_figures(const Stored& stored, int job, bool transposed, const Vector& b,
                               const Vector& plain) {
  const bool refinable = stored.factors.preserved && job != 1 && job != 2;
  for (const int refinements : {-1, 0, 2}) {
    const Answer answer = solve(stored, job, transposed, b, refinements, 2.2e-16, 5);
    EXPECT_EQ(answer.status(), refinements > 0 && !refinable ? 8 : 0);
    EXPECT_EQ(answer.info[1], kUntouched);
    EXPECT_EQ(answer.rinfo[0], kUntouched);
    if (refinements > 0 && refinable) continue;
    EXPECT_EQ(answer.x, plain);
    EXPECT_EQ(answer.steps(), 0);
    EXPECT_EQ(answer.omega(), 0.0);
  }
}

TEST(Solve, EveryFormOfEveryShape) {
  Random random(1);
  int sizes[5] = {};                    // of elements with both lists that have 1, 2, 3, 4, more pivots
  int many_pivots = 0, long_lists = 0;  // those that go to the BLAS
  for (const MatrixCase& one : cases(random)) {
    for (const FactorSettings& settings : solve_settings()) {
      const Stored stored(one.matrix, settings);
      const Vector b = right_side(stored.n);
      for (const LuBlock& block : stored.factors.blocks) {
        for (const LuElement& e : block.elements) {
          if (e.l.empty() || e.u.empty()) continue;
          ++sizes[std::min(e.pivots, 5) - 1];
          many_pivots += e.pivots > 32;
          long_lists += e.pivots > 4 && e.pivots <= 32 && e.l.size() > 64 && e.u.size() > 64;
        }
      }
      for (const int job : {-1, 0, 1, 2, 3}) {
        for (const bool transposed : {false, true}) {
          SCOPED_TRACE(testing::Message() << one.name << ", " << settings.name << ", job " << job
                                          << ", transposed " << transposed);
          const Vector plain = solve(stored, job, transposed, b).x;
          const Vector expected = job == 2 && !transposed ? times(stored.l, b, false) : b;
          const double error = distance(of_solution(stored, job, transposed, plain), expected);
          // backward stable solves with factors of modest growth
          EXPECT_LE(error, 1e-13 * stored.n * (1.0 + size(plain)));
          expect_status_and_figures(stored, job, transposed, b, plain);
          if (HasFailure()) return;
        }
      }
    }
  }
  for (const int count : {sizes[0], sizes[1], sizes[2], sizes[3], sizes[4], many_pivots, long_lists})
    EXPECT_GT(count, 0);
}

/// Backward errors of x by their definition.
std::pair<double, double> backward_errors(const Stored& s, bool transposed, const Vector& b, const Vector& x,
                                          double epsilon = 2.2e-16) {
  long double omega1 = 0.0L, omega2 = 0.0L;
  const long double norm = size(x);
  for (int i = 0; i < s.n; ++i) {
    long double residual = b[i], products = 0.0L, sum = 0.0L;
    for (int j = 0; j < s.n; ++j) {
      const long double entry = transposed ? s.kept(j, i) : s.kept(i, j);
      residual -= entry * x[j];
      products += std::fabs(entry * x[j]);
      sum += std::fabs(entry);
    }
    const long double tau = (norm * sum + std::fabs(b[i])) * s.n * epsilon * 1000;
    if (std::fabs(b[i]) + products > tau)
      omega1 = std::max(omega1, std::fabs(residual) / (std::fabs(b[i]) + products));
    else
      omega2 = std::max(omega2, std::fabs(residual) / (norm * sum + products));
  }
  return {double(omega1), double(omega2)};
}
void expect_omegas(const Stored& s, bool transposed, const Vector& b, const Answer& answer, double epsilon) {
  const auto [omega1, omega2] = backward_errors(s, transposed, b, answer.x, epsilon);
  EXPECT_NEAR(answer.omega1(), omega1, 1e-4 * omega1 + 1e-15);
  EXPECT_NEAR(answer.omega2(), omega2, 1e-4 * omega2 + 1e-15);
}

TEST(Solve, RefinementReachesTheMatrixThatWasKept) {
  const double kLargest = std::ldexp(1.0, -15);
  Random random(5);
  for (const MatrixCase& one : cases(random)) {
    for (const FactorSettings& settings : solve_settings()) {
      const Stored stored(one.matrix, settings, 1e-4);
      if (!stored.regular() || !stored.factors.preserved) continue;
      const Vector b = right_side(stored.n);
      for (const bool transposed : {false, true}) {
        SCOPED_TRACE(testing::Message()
                     << one.name << ", " << settings.name << ", transposed " << transposed);
        const Vector plain = solve(stored, 0, transposed, b).x;
        const Answer single = solve(stored, 0, transposed, b, 1), many = solve(stored, 0, transposed, b, 20);
        EXPECT_EQ(single.steps(), 1);
        EXPECT_LT(distance(times(stored.kept, single.x, transposed), b),
                  0.1 * distance(times(stored.kept, plain, transposed), b));
        expect_omegas(stored, transposed, b, single, 2.2e-16);
        EXPECT_GT(many.steps(), 1);
        EXPECT_LT(many.steps(), 20);
        EXPECT_LE(many.omega(), 1e-15);
        for (const double epsilon : {-1.0, 0.0, 1.0, std::nan("")})
          expect_omegas(stored, transposed, b, solve(stored, 0, transposed, b, 1, epsilon), kLargest);
      }
    }
  }
}

TEST(Solve, StepsThatGainTooLittleEndTheRefinement) {
  int worse = 0, slow = 0;
  for (unsigned seed = 1; seed <= 400; ++seed) {
    Random random(seed);
    const Stored stored(random_matrix(9, 9, 1.1, random), kSettings[7], 1.0);
    const Vector b = right_side(stored.n), plain = solve(stored, 0, false, b).x;
    Vector residual = times(stored.kept, plain, false), next = plain;
    for (std::size_t k = 0; k < b.size(); ++k) residual[k] = b[k] - residual[k];
    const Vector step = solve(stored, 0, false, residual).x;
    for (std::size_t k = 0; k < b.size(); ++k) next[k] += step[k];

    const Answer answer = solve(stored, 0, false, b, 9);
    const auto [first1, first2] = backward_errors(stored, false, b, plain);
    const auto [next1, next2] = backward_errors(stored, false, b, next);
    const double gain = (next1 + next2) / (first1 + first2);
    if (gain > 1.0001) {  // the step is taken back
      ++worse;
      EXPECT_EQ(answer.x, plain) << seed;
      EXPECT_EQ(answer.steps(), 0) << seed;
      EXPECT_NEAR(answer.omega(), first1 + first2, 1e-9) << seed;
    } else if (gain > 0.5001 && gain < 0.9999) {  // it stays, but is not counted
      ++slow;
      EXPECT_LE(distance(answer.x, next), 1e-9 * size(next)) << seed;
      EXPECT_EQ(answer.steps(), 0) << seed;
      EXPECT_NEAR(answer.omega(), next1 + next2, 1e-9) << seed;
    }
  }
  EXPECT_GT(worse, 5);
  EXPECT_GT(slow, 5);
}

TEST(Solve, WhatHasNoScaleHasNoError) {
  // Long enough that a right-hand side lies within tau. The kept matrix is emptied.
  Random random(3);
  Stored empty(block_triangular_matrix(Ints(40, 1), random), kSettings[1]);
  std::fill_n(empty.value.begin(), empty.factors.nz, 0.0);
  const Answer none = solve(empty, 0, false, right_side(empty.n), 2, -1.0);
  EXPECT_EQ(none.omega(), 0.0);
  EXPECT_EQ(none.steps(), 0);
}

TEST(Solve, AnErrorThatIsNaNNeverLooksConverged) {
  Random random(3);
  Stored stored(block_triangular_matrix({1, 1}, random), kSettings[1]);
  for (const Vector& b : {Vector{HUGE_VAL, 1.0}, Vector{1.0, std::nan("")}, Vector{HUGE_VAL, -HUGE_VAL}}) {
    const Answer undefined = solve(stored, 0, false, b, 2);
    EXPECT_TRUE(std::isnan(undefined.omega()));
    EXPECT_EQ(undefined.steps(), 0);
  }
  // Of another matrix: the step ends in infinities and is taken back.
  std::fill_n(stored.value.end() - 2, 2, 1e-120);
  const Vector b{1.0, 2.0};
  const Answer plain = solve(stored, 0, false, b), refined = solve(stored, 0, false, b, 2);
  EXPECT_EQ(refined.x, plain.x);
  EXPECT_EQ(refined.steps(), 0);
  EXPECT_NEAR(refined.omega(), 1.0, 1e-9);
}

TEST(Solve, DamagedFactorsAreRefusedOrHarmless) {
  Random random(7);
  for (const Coordinates& given : damaged_matrices(random)) {
    for (const FactorSettings& settings : {kSettings[0], kSettings[1], kNarrow}) {
      SCOPED_TRACE(settings.name);
      Stored stored(given, settings);
      for (int k = 0; k < 5; ++k) {
        const int kept = std::exchange(stored.keep[k], 0);
        EXPECT_EQ(solve(stored, 0, false, Vector(stored.n)).status(), -7) << "KEEP " << k + 1;
        stored.keep[k] = kept;
      }
      const Ints sound = stored.index;
      // The word that counts the pivots of a block, if there is one only, which nothing but this one tells.
      const std::size_t pivots =
          stored.factors.nblks == 1 ? stored.KEEP(MA38_KEEP_PATTERN_BEGIN) + 1 : sound.size();
      const Vector b = right_side(stored.n);
      int refused = 0;
      const auto solve_all = [&](std::size_t k) {
        for (const int job : {0, 1, 2}) {
          for (const bool transposed : {false, true}) {
            const Answer answer = solve(stored, job, transposed, b, 1);  // asserts and the sanitizer judge
            EXPECT_TRUE(answer.status() < 0 || k != pivots || stored.index == sound);
            if (answer.status() >= 0) continue;
            ++refused;
            ASSERT_EQ(answer.status(), -7);
            ASSERT_EQ(answer.x, Vector(b.size(), kUntouched));
          }
        }
      };
      for_each_damage(stored.index, stored.n, solve_all);
      for_each_damage(stored.keep, stored.n, [&](std::size_t) { solve_all(sound.size()); });
      EXPECT_GT(refused, 100);
      EXPECT_EQ(solve(stored, 0, false, b).status(), 0);
    }
  }
}

}  // namespace
}  // namespace ma38
}  // namespace corvidnum

#pragma once

// Square sparse systems that are hard to solve or to judge, of many kinds, and a judge of their solutions
// that shares nothing with the library.

#include <map>
#include <set>
#include <utility>

#include "tests/support/sparse_matrices.h"

namespace reference {

using Real = long double;  // more digits than the solutions that it judges, and a wider range

enum class Rank { kRegular, kNearlySingular, kDeficient };

struct HardMatrix {
  Coordinates a;          // from 1; entries may repeat, and are summed in their order
  Rank rank;              // regular: a condition below kHardCondition but for the scales of rows and columns
  Vector earlier_values;  // to be factorised before those of `a`; empty: there are none
};

constexpr double kHardCondition = 1e14;

/// Sums the entries in the same place, in their order and in double.
inline std::map<std::pair<int, int>, double> summed(const Coordinates& a) {
  std::map<std::pair<int, int>, double> sums;
  for (std::size_t k = 0; k < a.values.size(); ++k) sums[{a.rows[k], a.columns[k]}] += a.values[k];
  return sums;
}

inline Coordinates transpose(Coordinates a) {
  std::swap(a.rows, a.columns);
  return a;
}

/// Returns A x, rounded once.
inline Vector product(const Coordinates& a, const Vector& x) {
  std::vector<Real> sum(x.size());
  for (const auto& [place, value] : summed(a)) sum[place.first - 1] += Real{value} * x[place.second - 1];
  return Vector(sum.begin(), sum.end());
}

/// Returns the componentwise backward error of x, the larger of omega1 and omega2 (M. Arioli, J. W. Demmel
/// and I. S. Duff, SIAM J. Matrix Anal. Appl. 10, 165 (1989)), in the units of `a`. Not finite: infinity.
inline double componentwise_error(const Coordinates& a, const double* x, const double* b) {
  std::vector<Real> residual(b, b + a.n), terms(a.n), sizes(a.n);
  Real largest = 0, omega = 0;
  for (int j = 0; j < a.n; ++j) {
    if (!std::isfinite(x[j])) return std::numeric_limits<double>::infinity();
    largest = std::max(largest, std::fabs(Real{x[j]}));
  }
  for (const auto& [place, value] : summed(a)) {
    const int i = place.first - 1;
    const Real term = Real{value} * x[place.second - 1];
    residual[i] -= term;
    terms[i] += std::fabs(term);
    sizes[i] += std::fabs(Real{value});
  }
  for (int i = 0; i < a.n; ++i) {
    const Real left = std::fabs(residual[i]), right = std::fabs(Real{b[i]}), possible = sizes[i] * largest;
    if (left == 0) continue;
    const bool significant = terms[i] + right > 1000 * Real{kEpsilon} * a.n * (possible + right);
    omega = std::max(omega, left / (significant ? terms[i] + right : terms[i] + possible));
  }
  return static_cast<double>(omega);
}

/// Returns the condition number in the 1-norm, by Gauss-Jordan with complete pivoting; infinity if a pivot
/// vanishes.
inline double dense_condition(const Dense& a) {
  const int n = a.rows;
  // The inverse replaces the matrix, its rows and columns in another order, which keeps the 1-norm.
  std::vector<std::vector<Real>> m(n, std::vector<Real>(n));
  for (int i = 0; i < n; ++i)
    for (int j = 0; j < n; ++j) m[i][j] = a(i, j);
  std::vector<bool> used_row(n), used_column(n);
  for (int step = 0; step < n; ++step) {
    int row = 0, column = 0;
    Real most = 0;
    for (int i = 0; i < n; ++i)
      for (int j = 0; j < n; ++j)
        if (!used_row[i] && !used_column[j] && std::fabs(m[i][j]) > most)
          most = std::fabs(m[i][j]), row = i, column = j;
    if (most == 0) return std::numeric_limits<double>::infinity();
    used_row[row] = used_column[column] = true;
    const Real pivot = std::exchange(m[row][column], 1);
    for (Real& value : m[row]) value /= pivot;
    for (int i = 0; i < n; ++i) {
      if (i == row) continue;
      const Real factor = std::exchange(m[i][column], 0);
      for (int j = 0; j < n; ++j) m[i][j] -= factor * m[row][j];
    }
  }
  Real most = 0;
  for (int j = 0; j < n; ++j) {
    Real sum = 0;
    for (int i = 0; i < n; ++i) sum += std::fabs(m[i][j]);
    most = std::max(most, sum);
  }
  return static_cast<double>(most) * norm1(a);
}

inline Rank rank_by_condition(const Coordinates& a) {
  return dense_condition(dense(a)) < kHardCondition ? Rank::kRegular : Rank::kNearlySingular;
}

inline double power_of_ten(double decades, Random& random) {
  return std::pow(10.0, decades * uniform(random));
}

/// About `per_row` entries in a row, and one more in each row and column, so that the rank is full but by
/// chance.
inline Coordinates random_square(int n, double per_row, Random& random) {
  Coordinates a = random_matrix(n, n, std::min(1.0, per_row / n), random);
  std::vector<int> partner(n);
  std::iota(partner.begin(), partner.end(), 1);
  std::shuffle(partner.begin(), partner.end(), random);
  for (int i = 1; i <= n; ++i)
    a.add(i, partner[i - 1], (number(random, 0, 1) ? 1 : -1) * (1 + uniform(random) / 2));
  return shuffled(a, random);
}

inline Coordinates from_dense(const Dense& a) {
  Coordinates result{a.rows, a.cols, {}, {}, {}};
  for (int j = 0; j < a.cols; ++j)
    for (int i = 0; i < a.rows; ++i)
      if (a(i, j) != 0) result.add(i + 1, j + 1, a(i, j));
  return result;
}

namespace kinds {

inline HardMatrix regular(Random& random) {
  const Coordinates a = random_square(number(random, 3, 40), 1 + 3 * std::fabs(uniform(random)), random);
  return {a, rank_by_condition(a), {}};
}

inline HardMatrix scaled_badly(Random& random) {
  HardMatrix made = regular(random);
  made.a = badly_scaled(made.a, 24, random);
  return made;
}

/// Replaces 1 to 3 rows by combinations of others.
inline Dense with_dependent_rows(Dense a, bool whole_numbers, Random& random) {
  const int n = a.rows, missing = number(random, 1, std::min(3, n - 2));
  for (int i = 0; i < missing; ++i) {  // of two rows that remain
    const int one = number(random, missing, n - 1), other = number(random, missing, n - 1);
    const double f = whole_numbers ? number(random, -2, 2) : uniform(random);
    const double g = whole_numbers ? number(random, 1, 3) : uniform(random);
    for (int j = 0; j < n; ++j) a(i, j) = f * a(one, j) + g * a(other, j);
  }
  return a;
}

inline HardMatrix dependent_rows(Random& random) {
  const Dense a = with_dependent_rows(dense(random_square(number(random, 3, 30), 3, random)), false, random);
  return {badly_scaled(shuffled(from_dense(a), random), number(random, 0, 1) ? 12 : 0, random),
          Rank::kDeficient,
          {}};
}

inline HardMatrix equal_columns(Random& random) {
  Dense a = dense(random_square(number(random, 3, 30), 3, random));
  const int n = a.cols;
  for (int copy = number(random, 1, std::min(3, n - 1)); copy > 0; --copy) {
    const int from = number(random, copy, n - 1);
    std::copy(a.column(from), a.column(from) + n, a.column(copy - 1));
  }
  return {shuffled(from_dense(a), random), Rank::kDeficient, {}};
}

inline HardMatrix whole_numbers(Random& random) {
  Dense a = dense(random_square(number(random, 3, 25), 3, random));
  for (double& value : a.values)
    if (value != 0) value = (value > 0 ? 1 : -1) * number(random, 1, 4);
  return {shuffled(from_dense(with_dependent_rows(a, true, random)), random), Rank::kDeficient, {}};
}

/// k rows have entries in k - 1 columns only.
inline HardMatrix structurally_singular(Random& random) {
  const int n = number(random, 3, 30), k = number(random, 1, std::min(n, 5));
  const Coordinates base = random_square(n, 3, random);
  Coordinates a{n, n, {}, {}, {}};
  for (std::size_t p = 0; p < base.values.size(); ++p)
    if (base.rows[p] > k || base.columns[p] < k) a.add(base.rows[p], base.columns[p], base.values[p]);
  if (number(random, 0, 1)) a = transpose(a);
  return {shuffled(a, random), Rank::kDeficient, {}};
}

inline HardMatrix with_repeated_entries(Random& random) {
  HardMatrix made = regular(random);
  made.a = with_faulty_entries(made.a, number(random, 1, 20), 0, random);
  for (int k = 0; k < 5; ++k) made.a.add(number(random, 1, made.a.n), number(random, 1, made.a.n), 0.0);
  return made;
}

/// Entries that are taken back at once, far larger than all others.
inline HardMatrix with_cancelled_entries(Random& random) {
  HardMatrix made = regular(random);
  std::set<std::pair<int, int>> taken;
  for (std::size_t k = 0; k < made.a.values.size(); ++k) taken.insert({made.a.rows[k], made.a.columns[k]});
  for (int k = 0; k < made.a.n; ++k) {
    const int i = number(random, 1, made.a.n), j = number(random, 1, made.a.n);
    const double value = uniform(random) * power_of_ten(20, random);
    if (!taken.insert({i, j}).second) continue;
    made.a.add(i, j, value);
    made.a.add(i, j, -value);
  }
  return made;
}

/// Central differences on a square whose convection is up to a thousand times the diffusion.
inline HardMatrix convection(Random& random) {
  const int side = number(random, 2, 7), n = side * side;
  const double peclet = power_of_ten(3, random), angle = 3 * uniform(random);
  const double drift[] = {peclet * std::cos(angle), peclet * std::sin(angle)};
  Coordinates a{n, n, {}, {}, {}};
  for (int k = 0; k < n; ++k) {
    a.add(k + 1, k + 1, 4);
    for (int axis = 0, stride = 1; axis < 2; ++axis, stride = side) {
      const int place = k / stride % side;
      if (place > 0) a.add(k + 1, k + 1 - stride, -1 - drift[axis]);
      if (place < side - 1) a.add(k + 1, k + 1 + stride, -1 + drift[axis]);
    }
  }
  return {a, rank_by_condition(a), {}};
}

inline HardMatrix one_or_two(Random& random) {
  const int n = number(random, 1, 2);
  Coordinates a{n, n, {}, {}, {}};
  for (int i = 1; i <= n; ++i)
    for (int j = 1; j <= n; ++j)
      if (number(random, 0, 4) > 0) a.add(i, j, number(random, -2, 2));
  const double condition = dense_condition(dense(a));
  return {a, std::isinf(condition) ? Rank::kDeficient : Rank::kRegular, {}};
}

/// Multiplies all values by a power of ten.
inline Vector shifted(Vector values, double decades) {
  for (double& value : values) value *= std::pow(10.0, decades);
  return values;
}

/// Entries near the end of the range of double, all alike or with rows and columns of different units; or
/// rows and columns in units so far apart that a condition means little.
inline HardMatrix tiny_and_huge(Random& random) {
  HardMatrix made = regular(random);
  const int way = number(random, 0, 4);
  if (way >= 2) made.a = badly_scaled(made.a, way == 4 ? 280 : 12, random);
  if (way < 4) made.a.values = shifted(made.a.values, (way % 2 ? -1 : 1) * (way < 2 ? 300 : 290));
  if (way == 4) made.rank = Rank::kNearlySingular;
  return made;
}

/// Values that drift by decades, line by line or entry by entry, once pivots have been chosen; or all
/// together, from one end of the range of double.
inline HardMatrix drifted(Random& random) {
  HardMatrix made = regular(random);
  made.earlier_values = made.a.values;
  switch (number(random, 0, 4)) {
    case 0:
      made.a = badly_scaled(made.a, 24, random);
      break;
    case 1:
      made.a = badly_scaled(made.a, 280, random);
      made.rank = Rank::kNearlySingular;
      break;
    case 2:
      for (double& value : made.a.values) value *= power_of_ten(number(random, 0, 1) ? 2 : 6, random);
      made.rank = rank_by_condition(made.a);
      break;
    default: {
      const double from = number(random, 0, 1) ? 300 : -300, to = -15 + 15 * uniform(random);
      const bool half =
          number(random, 0, 1) != 0;  // of the rows; the others then vanish in a transposed product
      if (half) made.rank = Rank::kNearlySingular;
      made.earlier_values = shifted(made.earlier_values, from);
      for (std::size_t k = 0; k < made.a.values.size(); ++k)
        made.a.values[k] *= std::pow(10.0, half && made.a.rows[k] % 2 ? from : to);
    }
  }
  return made;
}

inline HardMatrix turned_singular(Random& random) {
  HardMatrix made = whole_numbers(random);
  made.earlier_values = made.a.values;
  for (double& value : made.earlier_values) value += uniform(random) / 2;
  return made;
}

/// Triangular matrices with pivots of 1 whose condition doubles with each row, and the matrices of Wilkinson
/// whose factors grow likewise.
inline HardMatrix growing(Random& random) {
  const int n = number(random, 3, 60);
  const bool factors_grow = number(random, 0, 1) != 0;
  Coordinates a{n, n, {}, {}, {}};
  for (int i = 1; i <= n; ++i) {
    a.add(i, i, 1);
    if (factors_grow)
      for (int j = 1; j < i; ++j) a.add(i, j, -1);
    if (factors_grow && i < n) a.add(i, n, 1);
    if (!factors_grow && i < n) a.add(i, i + 1, -2);
  }
  return {shuffled(a, random), rank_by_condition(a), {}};
}

/// A full matrix of a given condition, or a sparse one a small step away from a deficient one.
inline HardMatrix nearly_singular(Random& random) {
  const double distance = std::pow(10.0, -10.5 + 4.5 * uniform(random));  // 1e-15 .. 1e-6
  Coordinates a;
  if (number(random, 0, 1)) {
    a = from_dense(of_condition(number(random, 3, 20), 1 / distance, random));
  } else {
    a = dependent_rows(random).a;
    const int n = a.n;
    for (int k = 0; k < 3; ++k) a.add(number(random, 1, n), number(random, 1, n), distance);
  }
  return {a, rank_by_condition(a), {}};
}

}  // namespace kinds

struct HardKind {
  const char* name;
  HardMatrix (*make)(Random& random);
};
inline constexpr HardKind kHardKinds[] = {
    {"regular", kinds::regular},
    {"scaled over 24 decades", kinds::scaled_badly},
    {"nearly singular", kinds::nearly_singular},
    {"dependent rows", kinds::dependent_rows},
    {"equal columns", kinds::equal_columns},
    {"deficient whole numbers", kinds::whole_numbers},
    {"structurally singular", kinds::structurally_singular},
    {"repeated entries and zeros", kinds::with_repeated_entries},
    {"cancelled entries", kinds::with_cancelled_entries},
    {"convection", kinds::convection},
    {"order 1 or 2", kinds::one_or_two},
    {"tiny and huge", kinds::tiny_and_huge},
    {"drifted", kinds::drifted},
    {"turned singular", kinds::turned_singular},
    {"growing", kinds::growing},
};

/// Right-hand sides of a system.
struct HardRightHandSide {
  Vector b;
  Vector solution;  // empty: not known
};

/// Makes a right-hand side of one of five kinds: of a known solution, plain or spread over decades; zero;
/// random and half of it zero; random.
inline HardRightHandSide hard_right_hand_side(const Coordinates& a, Random& random) {
  const int kind = number(random, 0, 4);
  Vector x = random_vector(a.n, random);
  if (kind == 0) return {product(a, x), x};
  if (kind == 1) {
    for (double& value : x) value *= power_of_ten(4, random);
    return {product(a, x), x};
  }
  for (double& value : x)
    if (kind == 2 || (kind == 3 && number(random, 0, 1))) value = 0;
  return {x, {}};
}

}  // namespace reference

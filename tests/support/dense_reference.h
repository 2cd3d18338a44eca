#pragma once

// Plain dense matrices for tests: the textbook LU, norms and residuals; and a walk through a matrix class.

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <utility>
#include <vector>

namespace reference {

using Vector = std::vector<double>;
using Random = std::mt19937_64;

constexpr double kEpsilon = std::numeric_limits<double>::epsilon();
constexpr double kRatioLimit = 30.0;  // what rounding may cost, in units of the error bound

inline double uniform(Random& random) { return std::uniform_real_distribution<double>(-1.0, 1.0)(random); }
inline int number(Random& random, int first, int last) {
  return std::uniform_int_distribution<int>(first, last)(random);
}
inline Vector random_vector(int size, Random& random) {
  Vector x(static_cast<std::size_t>(size));
  for (double& value : x) value = uniform(random);
  return x;
}

/// A rows x cols matrix in column order.
struct Dense {
  int rows, cols;
  Vector values;

  Dense(int r, int c) : rows(r), cols(c), values(static_cast<std::size_t>(r) * static_cast<std::size_t>(c)) {}
  double* column(int j) { return values.data() + static_cast<std::ptrdiff_t>(j) * rows; }
  double& operator()(int i, int j) { return column(j)[i]; }
  double operator()(int i, int j) const { return const_cast<Dense&>(*this)(i, j); }
};

inline Dense random_dense(int rows, int cols, Random& random) {
  Dense a(rows, cols);
  a.values = random_vector(rows * cols, random);
  return a;
}

/// Rank `rank` at most, exactly that for almost all draws: a product of two thin factors.
inline Dense of_rank(int rank, int m, int n, Random& random) {
  const Dense left = random_dense(m, rank, random), right = random_dense(rank, n, random);
  Dense a(m, n);
  for (int j = 0; j < n; ++j) {
    for (int i = 0; i < m; ++i) {
      for (int k = 0; k < rank; ++k) a(i, j) += left(i, k) * right(k, j);
    }
  }
  return a;
}

inline double norm1(const Vector& x) {
  double sum = 0.0;
  for (const double value : x) sum += std::fabs(value);
  return sum;
}
inline double norm1(const Dense& a) {
  double largest = 0.0;
  for (int j = 0; j < a.cols; ++j) {
    largest =
        std::max(largest, norm1(Vector(a.values.begin() + j * a.rows, a.values.begin() + (j + 1) * a.rows)));
  }
  return largest;
}

/// ||b - A x|| / (||A|| ||x|| eps) in the 1-norm; 0 for an exact solution.
inline double solve_ratio(const Dense& a, const Vector& x, const Vector& b) {
  Vector residual = b;
  for (int j = 0; j < a.cols; ++j) {
    for (int i = 0; i < a.rows; ++i)
      residual[static_cast<std::size_t>(i)] -= a(i, j) * x[static_cast<std::size_t>(j)];
  }
  const double error = norm1(residual);
  return error == 0.0 ? 0.0 : error / norm1(a) / norm1(x) / kEpsilon;
}

/// The textbook right-looking LU, one pivot at a time: what fast code has to equal to the last bit.
/// Returns the first failing column, 1-based, or 0.
inline int textbook_lu(Dense& a, std::vector<int>& pivots, double limit) {
  int failure = 0;
  for (int j = 0; j < std::min(a.rows, a.cols); ++j) {
    int p = j;
    for (int i = j + 1; i < a.rows; ++i) {
      const bool better =
          std::isnan(a(p, j)) ? !std::isnan(a(i, j)) : std::fabs(a(i, j)) > std::fabs(a(p, j));
      if (better) p = i;
    }
    pivots[static_cast<std::size_t>(j)] = p + 1;
    if (std::fabs(a(p, j)) > limit) {
      for (int c = 0; c < a.cols; ++c) std::swap(a(j, c), a(p, c));
      const double reciprocal = 1.0 / a(j, j);
      for (int i = j + 1; i < a.rows; ++i) a(i, j) *= reciprocal;
    } else if (failure == 0) {
      failure = j + 1;
    }
    for (int c = j + 1; c < a.cols; ++c) {
      for (int i = j + 1; i < a.rows; ++i) a(i, c) -= a(i, j) * a(j, c);
    }
  }
  return failure;
}

/// Condition `condition` in the 2-norm, whose value is 1: a graded diagonal between random reflections.
inline Dense of_condition(int n, double condition, Random& random) {
  Dense a(n, n);
  for (int i = 0; i < n; ++i) a(i, i) = std::pow(condition, n > 1 ? -double(i) / (n - 1) : 0.0);
  for (int reflection = 0; reflection < 6; ++reflection) {
    Vector v = random_vector(n, random);
    double square = 0.0;
    for (const double value : v) square += value * value;
    for (int line = 0; line < n; ++line) {
      const auto element = [&](int i) -> double& { return reflection % 2 ? a(line, i) : a(i, line); };
      double product = 0.0;
      for (int i = 0; i < n; ++i) product += v[static_cast<std::size_t>(i)] * element(i);
      for (int i = 0; i < n; ++i) element(i) -= 2.0 * product / square * v[static_cast<std::size_t>(i)];
    }
  }
  return a;
}

inline Dense with_zero_columns(Dense a, int first, int last) {
  for (int j = std::max(first, 0); j <= std::min(last, a.cols - 1); ++j) {
    std::fill(a.column(j), a.column(j) + a.rows, 0.0);
  }
  return a;
}

inline Dense scaled(Dense a, double factor) {
  for (double& value : a.values) value *= factor;
  return a;
}

/// Calls everything that a matrix class has at places of all kinds. @return the code of the solution
template <class AnyMatrix>
auto use_everything(AnyMatrix& matrix) {
  Vector x(16, 1.0), b(16, 1.0);
  int info = 0;
  for (const int i : {-1, 0, 1, 2, 5, 1 << 30}) {
    for (const int j : {-1, 0, 1, 2, 5, 1 << 30}) *matrix.Address(i, j) = i == j ? 2.0 : 0.0;
    matrix.PermutationInfo(i);
  }
  matrix.FactorLU(info);
  matrix.BackSub(x.data(), b.data());
  matrix.ZeroElements();
  return matrix.Solve(x.data(), b.data(), info);
}

}  // namespace reference

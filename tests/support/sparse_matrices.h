#pragma once

// Sparse matrices by coordinates, of many kinds, for tests and benchmarks; dense truth beside them.

#include <algorithm>
#include <cmath>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include "tests/support/dense_reference.h"

namespace reference {

/// An m x n matrix by coordinates, numbered from 1. Entries may repeat (they count together) or lie outside
/// the matrix (they do not count).
struct Coordinates {
  int m = 0, n = 0;
  std::vector<int> rows, columns;
  Vector values;

  int entries() const { return static_cast<int>(values.size()); }
  void add(int row, int column, double value) {
    rows.push_back(row);
    columns.push_back(column);
    values.push_back(value);
  }
  bool counts(std::size_t k) const {
    return 1 <= rows[k] && rows[k] <= m && 1 <= columns[k] && columns[k] <= n;
  }
};

inline Dense dense(const Coordinates& a) {
  Dense result(a.m, a.n);
  for (std::size_t k = 0; k < a.values.size(); ++k) {
    if (a.counts(k)) result(a.rows[k] - 1, a.columns[k] - 1) += a.values[k];
  }
  return result;
}

/// A x, or x times A if transposed.
inline Vector multiply(const Coordinates& a, const Vector& x, bool transposed = false) {
  Vector y(static_cast<std::size_t>(transposed ? a.n : a.m));
  for (std::size_t k = 0; k < a.values.size(); ++k) {
    if (!a.counts(k)) continue;
    const auto i = static_cast<std::size_t>(a.rows[k] - 1), j = static_cast<std::size_t>(a.columns[k] - 1);
    y[transposed ? j : i] += a.values[k] * x[transposed ? i : j];
  }
  return y;
}

/// max |b - A x| / (|A||x| + |b|), row by row; 0/0 does not count.
inline double scaled_residual(const Coordinates& a, const Vector& x, const Vector& b,
                              bool transposed = false) {
  Coordinates magnitudes = a;
  for (double& value : magnitudes.values) value = std::fabs(value);
  Vector size = x;
  for (double& value : size) value = std::fabs(value);
  const Vector product = multiply(a, x, transposed), scale = multiply(magnitudes, size, transposed);
  double worst = 0.0;
  for (std::size_t i = 0; i < b.size(); ++i) {
    const double quotient = std::fabs(b[i] - product[i]) / (scale[i] + std::fabs(b[i]));
    if (scale[i] + std::fabs(b[i]) > 0.0 && !(quotient <= worst)) worst = quotient;
  }
  return worst;
}

/// Solves a square dense system by complete pivoting. @return its numerical rank, relative to 1e-11
inline int dense_solve(Dense a, Vector b, Vector& x) {
  const int n = a.rows;
  std::vector<int> order(static_cast<std::size_t>(a.cols));
  std::iota(order.begin(), order.end(), 0);
  double first = 0.0;
  int rank = 0;
  for (; rank < std::min(n, a.cols); ++rank) {
    int row = rank, column = rank;
    for (int j = rank; j < a.cols; ++j) {
      for (int i = rank; i < n; ++i) {
        if (std::fabs(a(i, j)) > std::fabs(a(row, column))) row = i, column = j;
      }
    }
    const double pivot = a(row, column);
    if (rank == 0) first = std::fabs(pivot);
    if (!(std::fabs(pivot) > 1e-11 * first)) break;
    for (int j = 0; j < a.cols; ++j) std::swap(a(rank, j), a(row, j));
    std::swap(b[static_cast<std::size_t>(rank)], b[static_cast<std::size_t>(row)]);
    for (int i = 0; i < n; ++i) std::swap(a(i, rank), a(i, column));
    std::swap(order[static_cast<std::size_t>(rank)], order[static_cast<std::size_t>(column)]);
    for (int i = rank + 1; i < n; ++i) {
      const double factor = a(i, rank) / a(rank, rank);
      for (int j = rank; j < a.cols; ++j) a(i, j) -= factor * a(rank, j);
      b[static_cast<std::size_t>(i)] -= factor * b[static_cast<std::size_t>(rank)];
    }
  }
  x.assign(static_cast<std::size_t>(a.cols), 0.0);
  for (int i = rank - 1; i >= 0; --i) {
    double sum = b[static_cast<std::size_t>(i)];
    for (int j = i + 1; j < rank; ++j)
      sum -= a(i, j) * x[static_cast<std::size_t>(order[static_cast<std::size_t>(j)])];
    x[static_cast<std::size_t>(order[static_cast<std::size_t>(i)])] = sum / a(i, i);
  }
  return rank;
}

/// Returns the rank of a dense matrix, relative to 1e-11.
inline int dense_rank(const Dense& a) {
  Vector x;
  return dense_solve(a, Vector(static_cast<std::size_t>(a.rows)), x);
}

// ---- Kinds of matrices

/// Each place filled with probability `density`, each entry once.
inline Coordinates random_matrix(int m, int n, double density, Random& random) {
  Coordinates a{m, n, {}, {}, {}};
  for (int j = 1; j <= n; ++j) {
    for (int i = 1; i <= m; ++i) {
      if (0.5 * (uniform(random) + 1.0) < density) a.add(i, j, uniform(random));
    }
  }
  return a;
}

inline Coordinates banded_matrix(int n, int below, int above, Random& random) {
  Coordinates a{n, n, {}, {}, {}};
  for (int j = 1; j <= n; ++j) {
    for (int i = std::max(1, j - above); i <= std::min(n, j + below); ++i)
      a.add(i, j, uniform(random) + (i == j ? 2.0 : 0.0));
  }
  return a;
}

/// Rows and columns in random order, entries too.
inline Coordinates shuffled(const Coordinates& a, Random& random) {
  std::vector<int> row(static_cast<std::size_t>(a.m)), column(static_cast<std::size_t>(a.n));
  std::vector<std::size_t> order(a.values.size());
  std::iota(row.begin(), row.end(), 1);
  std::iota(column.begin(), column.end(), 1);
  std::iota(order.begin(), order.end(), std::size_t{0});
  std::shuffle(row.begin(), row.end(), random);
  std::shuffle(column.begin(), column.end(), random);
  std::shuffle(order.begin(), order.end(), random);
  Coordinates result{a.m, a.n, {}, {}, {}};
  for (const std::size_t k : order) {
    result.add(a.counts(k) ? row[static_cast<std::size_t>(a.rows[k] - 1)] : a.rows[k],
               a.counts(k) ? column[static_cast<std::size_t>(a.columns[k] - 1)] : a.columns[k], a.values[k]);
  }
  return result;
}

/// Diagonal blocks of the given orders, with entries above them, all shuffled. A block above order 1 has a
/// cycle through all of its nodes, so it is a strong component.
inline Coordinates block_triangular_matrix(const std::vector<int>& orders, Random& random) {
  const int n = std::accumulate(orders.begin(), orders.end(), 0);
  Coordinates a{n, n, {}, {}, {}};
  int first = 1;
  for (const int order : orders) {
    for (int k = 0; k < order; ++k) {
      a.add(first + k, first + k, 2.0 + uniform(random));
      if (order > 1) a.add(first + k, first + (k + 1) % order, uniform(random));
      if (first > 1) a.add(number(random, 1, first - 1), first + k, uniform(random));
    }
    first += order;
  }
  return shuffled(a, random);
}

/// A column of `stages` stages: balances of `components` components and one sum on each stage, coupled to the
/// neighbouring stages.
inline Coordinates column_matrix(int stages, int components, Random& random) {
  const int width = components + 1;
  Coordinates a{stages * width, stages * width, {}, {}, {}};
  for (int stage = 0; stage < stages; ++stage) {
    const int base = stage * width;
    for (int c = 1; c <= components; ++c) {
      a.add(base + c, base + c, 3.0 + uniform(random));
      a.add(base + c, base + width, uniform(random));
      if (stage > 0) a.add(base + c, base - width + c, -1.0 + 0.2 * uniform(random));
      if (stage + 1 < stages) {
        a.add(base + c, base + width + c, -1.0 + 0.2 * uniform(random));
        a.add(base + c, base + 2 * width, 0.3 * uniform(random));
      }
      a.add(base + width, base + c, 1.0 + 0.1 * uniform(random));
    }
  }
  return a;
}

/// `units` units of `size` equations each: a full-ish unit, fed by the one before; some recycles lead back.
inline Coordinates flowsheet_matrix(int units, int size, Random& random) {
  Coordinates a{units * size, units * size, {}, {}, {}};
  for (int unit = 0; unit < units; ++unit) {
    const int base = unit * size;
    for (int i = 1; i <= size; ++i) {
      a.add(base + i, base + i, 4.0 + uniform(random));
      for (int e = 1; e <= std::min(3, size - 1); ++e)
        a.add(base + i, base + (i - 1 + e) % size + 1, 0.4 * uniform(random));
      if (unit > 0) a.add(base + i, base - size + i, uniform(random));
    }
    if (unit % 5 == 4) a.add(base - 4 * size + 1, base + size, uniform(random));  // a recycle
  }
  return a;
}

inline Coordinates coordinates(const Dense& a) {
  Coordinates result{a.rows, a.cols, {}, {}, {}};
  for (int j = 0; j < a.cols; ++j) {
    for (int i = 0; i < a.rows; ++i) result.add(i + 1, j + 1, a(i, j));
  }
  return result;
}
inline Coordinates low_rank_matrix(int m, int n, int rank, Random& random) {
  return coordinates(of_rank(rank, m, n, random));
}

/// Rows and columns scaled by powers of ten, `decades` apart at most on each side.
inline Coordinates badly_scaled(Coordinates a, double decades, Random& random) {
  const Vector row = random_vector(a.m, random), column = random_vector(a.n, random);
  for (std::size_t k = 0; k < a.values.size(); ++k) {
    if (!a.counts(k)) continue;
    const double power =
        row[static_cast<std::size_t>(a.rows[k] - 1)] + column[static_cast<std::size_t>(a.columns[k] - 1)];
    a.values[k] *= std::pow(10.0, 0.5 * decades * power);
  }
  return a;
}

/// The same matrix, some entries given in two parts, and `strays` entries that lie outside.
inline Coordinates with_faulty_entries(const Coordinates& a, int twins, int strays, Random& random) {
  Coordinates result = a;
  for (int k = 0; k < twins; ++k) {
    const auto which = static_cast<std::size_t>(number(random, 0, a.entries() - 1));
    const double part = uniform(random);
    result.values[which] -= part;
    result.add(result.rows[which], result.columns[which], part);
  }
  for (int k = 0; k < strays; ++k) {
    const int outside[] = {0, -1, -2147483647 - 1, 2147483647, a.m + 1};
    if (k % 2 == 0) {
      result.add(outside[k % 5], number(random, 1, a.n), 1.0);
    } else {
      result.add(number(random, 1, a.m), outside[k % 4], 1.0);
    }
  }
  return shuffled(result, random);
}

}  // namespace reference

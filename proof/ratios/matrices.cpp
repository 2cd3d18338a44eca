// Draws the matrices: singular values on a diagonal, multiplied from both sides by random orthogonal matrices
// (G. W. Stewart, SIAM J. Numer. Anal. 17, 403 (1980)); reflections of rows and columns then make a triangle
// or a band, and change no singular value.

#include "proof/ratios/matrices.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace ratios {
namespace {

constexpr double kRounding = reference::kEpsilon / 2;  // LAPACK's eps

/// The least number whose products with rounding errors are still normal, with a margin of 4; and the
/// largest.
constexpr int kLeastExponent = -971, kLargestExponent = 971;

using RealVector = std::vector<Real>;

double condition(Kind kind) {
  switch (kind) {
    case Kind::kIllConditioned:
      return std::sqrt(0.1 / kRounding);
    case Kind::kNearlySingular:
      return 0.1 / kRounding;
    default:
      return 2.0;
  }
}

/// Applies the reflection I - 2 v v' / v'v to the rows from `first` on.
void reflect_rows(RealMatrix& a, int first, const RealVector& v) {
  const Real square = std::inner_product(v.begin(), v.end(), v.begin(), Real{0});
  const int count = static_cast<int>(v.size());
  for (int j = 0; j < a.order && square > 0; ++j) {
    Real product = 0;
    for (int i = 0; i < count; ++i) product += v[i] * a(first + i, j);
    for (int i = 0; i < count; ++i) a(first + i, j) -= 2 * product / square * v[i];
  }
}

/// Applies it to the columns from `first` on.
void reflect_columns(RealMatrix& a, int first, const RealVector& v) {
  const Real square = std::inner_product(v.begin(), v.end(), v.begin(), Real{0});
  const int count = static_cast<int>(v.size());
  for (int i = 0; i < a.order && square > 0; ++i) {
    Real product = 0;
    for (int j = 0; j < count; ++j) product += v[j] * a(i, first + j);
    for (int j = 0; j < count; ++j) a(i, first + j) -= 2 * product / square * v[j];
  }
}

void multiply_by_random_orthogonal_matrices(RealMatrix& a, Random& random) {
  std::normal_distribution<double> normal;
  const auto draw_vector = [&](int size) {
    RealVector v(size);
    for (Real& value : v) value = normal(random);
    return v;
  };
  for (int first = a.order - 1; first >= 0; --first) {
    reflect_rows(a, first, draw_vector(a.order - first));
    reflect_columns(a, first, draw_vector(a.order - first));
  }
}

/// Turns x into the vector whose reflection takes x to a multiple of the first unit vector.
RealVector reflector(RealVector x) {
  const Real length = std::sqrt(std::inner_product(x.begin(), x.end(), x.begin(), Real{0}));
  x[0] += x[0] < 0 ? -length : length;
  return x;
}

/// Zeroes column j of the leading block below row `top`.
void clear_column(RealMatrix& a, int j, int top, int leading) {
  if (top >= leading - 1) return;
  RealVector x;
  for (int i = top; i < leading; ++i) x.push_back(a(i, j));
  reflect_rows(a, top, reflector(x));
  for (int i = top + 1; i < leading; ++i) a(i, j) = 0;
}

/// Zeroes row i of the leading block to the right of column `left`.
void clear_row(RealMatrix& a, int i, int left, int leading) {
  if (left >= leading - 1) return;
  RealVector x;
  for (int j = left; j < leading; ++j) x.push_back(a(i, j));
  reflect_columns(a, left, reflector(x));
  for (int j = left + 1; j < leading; ++j) a(i, j) = 0;
}

/// Makes a band of the leading block. Not both widths may be 0.
void reduce_to_band(RealMatrix& a, int leading, int below, int above) {
  for (int k = 0; k < leading; ++k) {
    if (below <= above) clear_column(a, k, k + below, leading);
    clear_row(a, k, k + above, leading);
    if (below > above) clear_column(a, k, k + below, leading);
  }
}

/// Orders rows and columns as complete pivoting takes them.
void order_by_pivots(RealMatrix& a) {
  RealMatrix left = a;
  for (int k = 0; k < a.order; ++k) {
    int row = k, column = k;
    for (int j = k; j < a.order; ++j)
      for (int i = k; i < a.order; ++i)
        if (std::fabs(left(i, j)) > std::fabs(left(row, column))) row = i, column = j;
    for (RealMatrix* matrix : {&a, &left}) {
      matrix->swap_rows(k, row);
      matrix->swap_columns(k, column);
    }
    for (int i = k + 1; i < a.order; ++i) {
      const Real factor = left(i, k) / left(k, k);
      for (int j = k; j < a.order; ++j) left(i, j) -= factor * left(k, j);
    }
  }
}

void shuffle(RealMatrix& a, Random& random) {
  for (int k = a.order - 1; k > 0; --k) {
    a.swap_rows(k, reference::number(random, 0, k));
    a.swap_columns(k, reference::number(random, 0, k));
  }
}

/// Gives a full matrix the shape, but for the shuffling.
void form(RealMatrix& a, Kind kind, Shape shape) {
  if (kind == Kind::kUpperTriangular) return reduce_to_band(a, a.order, 0, a.order);
  if (kind == Kind::kLowerTriangular) return reduce_to_band(a, a.order, a.order, 0);
  if (shape == Shape::kBand || shape == Shape::kBandWithBorder) order_by_pivots(a);
  if (shape != Shape::kFull) reduce_to_band(a, a.order - border(shape, a.order), kBelow, kAbove);
}

}  // namespace

const char* const kKindNames[kKinds] = {
    "diagonal",          "upper triangular",      "lower triangular",      "random, condition 2",
    "first column zero", "last column zero",      "last n/2 columns zero", "condition sqrt(0.1/eps)",
    "condition 0.1/eps", "scaled near underflow", "scaled near overflow",
};

int border(Shape shape, int order) {
  return shape == Shape::kBandWithBorder ? std::min(order, std::max(1, order / 5)) : 0;
}

int first_zero_column(Kind kind, int order) {
  switch (kind) {
    case Kind::kFirstColumnZero:
      return 0;
    case Kind::kLastColumnZero:
      return std::max(order - 1, 0);
    case Kind::kLastHalfZero:
      return order / 2;
    default:
      return order;
  }
}

int rank(Kind kind, int order) {
  const int first = first_zero_column(kind, order);
  return kind == Kind::kFirstColumnZero ? std::max(order - 1, 0) : first;
}

Dense draw_matrix(Kind kind, Shape shape, int order, Random& random) {
  RealMatrix a(order);
  const double ratio = 1.0 / condition(kind);
  for (int i = 0; i < order; ++i) a(i, i) = order > 1 ? std::pow(ratio, double(i) / (order - 1)) : 1.0;
  if (kind != Kind::kDiagonal) {
    multiply_by_random_orthogonal_matrices(a, random);
    form(a, kind, shape);
  }
  const int first_zero = first_zero_column(kind, order);
  const int end_of_zeros = kind == Kind::kFirstColumnZero ? std::min(order, 1) : order;
  std::fill(a.values.begin() + first_zero * order, a.values.begin() + end_of_zeros * order, 0.0);
  if (shape == Shape::kShuffledBand) shuffle(a, random);

  Dense result(order, order);
  const int exponent = kind == Kind::kNearUnderflow  ? kLeastExponent
                       : kind == Kind::kNearOverflow ? kLargestExponent
                                                     : 0;
  std::transform(a.values.begin(), a.values.end(), result.values.begin(),
                 [=](Real value) { return std::ldexp(static_cast<double>(value), exponent); });
  return result;
}

}  // namespace ratios

// All eigenvalues of a general real matrix of order up to ten.
//
//  1. Reduction to upper Hessenberg form by Householder reflections.
//  2. QR iteration with implicit double shifts (Francis), bottom block first: where a subdiagonal element is
//     negligible the matrix splits; blocks of order 1 and 2 give their eigenvalues directly.
// Source: Golub and Van Loan, Matrix Computations, algorithms 7.4.2 and 7.5.2.

#include "accel/small_eigenvalues.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace corvidnum {
namespace {

constexpr int kMost = kMostEigenvaluesSeen;
constexpr int kMostSweeps = 60;        // for one eigenvalue
constexpr int kExceptionalSweep = 10;  // every so many sweeps an unusual shift breaks cycles
constexpr double kEpsilon = std::numeric_limits<double>::epsilon();

/// The reflection I - beta v v^T that maps x to a multiple of the first unit vector; v[0] = 1.
struct Reflection {
  double v[kMost];
  double beta;

  Reflection(int length, const double* x) : beta(0) {
    double tail = 0;
    for (int i = 1; i < length; ++i) tail += x[i] * x[i];
    v[0] = 1;
    for (int i = 1; i < length; ++i) v[i] = x[i];
    if (tail == 0) return;
    const double norm = std::sqrt(x[0] * x[0] + tail);
    const double first = x[0] <= 0 ? x[0] - norm : -tail / (x[0] + norm);
    beta = 2 * first * first / (tail + first * first);
    for (int i = 1; i < length; ++i) v[i] /= first;
  }
};

class HessenbergQr {
 public:
  HessenbergQr(int order, double (*a)[kMost], SmallSpectrum& spectrum)
      : order_(order), a_(a), spectrum_(spectrum) {}

  bool run() {
    reduce();
    int end = order_;  // rows and columns from `end` on are done
    for (int sweeps = 0; end > 0;) {
      const int begin = block_begin(end);
      if (end - begin <= 2) {
        append_block(begin, end);
        end = begin;
        sweeps = 0;
      } else {
        if (++sweeps > kMostSweeps) return false;
        sweep(begin, end, sweeps % kExceptionalSweep == 0);
      }
    }
    return true;
  }

 private:
  void from_left(const Reflection& r, int row, int length, int first_column, int last_column) {
    for (int j = first_column; j < last_column; ++j) {
      double sum = 0;
      for (int i = 0; i < length; ++i) sum += r.v[i] * a_[row + i][j];
      for (int i = 0; i < length; ++i) a_[row + i][j] -= r.beta * sum * r.v[i];
    }
  }

  void from_right(const Reflection& r, int column, int length, int first_row, int last_row) {
    for (int i = first_row; i < last_row; ++i) {
      double sum = 0;
      for (int j = 0; j < length; ++j) sum += a_[i][column + j] * r.v[j];
      for (int j = 0; j < length; ++j) a_[i][column + j] -= r.beta * sum * r.v[j];
    }
  }

  void reduce() {
    for (int k = 0; k + 2 < order_; ++k) {
      const int length = order_ - k - 1;
      double x[kMost];
      for (int i = 0; i < length; ++i) x[i] = a_[k + 1 + i][k];
      const Reflection r(length, x);
      from_left(r, k + 1, length, k, order_);
      from_right(r, k + 1, length, 0, order_);
      for (int i = k + 2; i < order_; ++i) a_[i][k] = 0;
    }
  }

  /// Returns where the last block that does not split begins.
  int block_begin(int end) {
    for (int k = end - 1; k > 0; --k) {
      const double beside = std::fabs(a_[k - 1][k - 1]) + std::fabs(a_[k][k]);
      if (std::fabs(a_[k][k - 1]) <= kEpsilon * beside) {
        a_[k][k - 1] = 0;
        return k;
      }
    }
    return 0;
  }

  /// Chases the bulge of one double shift through the block begin .. end - 1.
  void sweep(int begin, int end, bool exceptional) {
    const double p = a_[end - 2][end - 2], q = a_[end - 2][end - 1], r = a_[end - 1][end - 2],
                 s = a_[end - 1][end - 1];
    double trace = p + s, determinant = p * s - q * r;
    if (exceptional) {
      const double size = std::fabs(r) + std::fabs(a_[end - 2][end - 3]);
      trace = 1.5 * size;
      determinant = size * size;
    }
    const int b = begin;
    double x[3] = {a_[b][b] * a_[b][b] + a_[b][b + 1] * a_[b + 1][b] - trace * a_[b][b] + determinant,
                   a_[b + 1][b] * (a_[b][b] + a_[b + 1][b + 1] - trace), a_[b + 1][b] * a_[b + 2][b + 1]};
    for (int k = begin; k + 1 < end; ++k) {
      const int length = std::min(3, end - k);
      const Reflection reflection(length, x);
      from_left(reflection, k, length, std::max(begin, k - 1), end);
      from_right(reflection, k, length, begin, std::min(k + 4, end));
      for (int i = 0; i < 3 && k + 1 + i < end; ++i) x[i] = a_[k + 1 + i][k];
    }
    for (int k = begin + 2; k < end; ++k) {
      for (int j = begin; j + 1 < k; ++j) a_[k][j] = 0;
    }
  }

  void append(double real, double imaginary) {
    spectrum_.real[spectrum_.count] = real;
    spectrum_.imaginary[spectrum_.count++] = imaginary;
  }

  /// Appends the eigenvalues of a block of order 1 or 2.
  void append_block(int begin, int end) {
    if (end - begin == 1) return append(a_[begin][begin], 0);
    const double a = a_[begin][begin], d = a_[begin + 1][begin + 1];
    const double half = (a - d) / 2, product = a_[begin][begin + 1] * a_[begin + 1][begin];
    const double square = half * half + product;
    if (square < 0) {
      append((a + d) / 2, std::sqrt(-square));
      append((a + d) / 2, -std::sqrt(-square));
    } else {
      const double away = half + std::copysign(std::sqrt(square), half);
      append(d + away, 0);
      append(away == 0 ? d : d - product / away, 0);
    }
  }

  const int order_;
  double (*const a_)[kMost];
  SmallSpectrum& spectrum_;
};

void sort_by_magnitude(SmallSpectrum& s) {
  const auto magnitude = [&s](int i) { return std::hypot(s.real[i], s.imaginary[i]); };
  for (int i = 1; i < s.count; ++i) {
    for (int j = i; j > 0 && magnitude(j) > magnitude(j - 1); --j) {
      std::swap(s.real[j], s.real[j - 1]);
      std::swap(s.imaginary[j], s.imaginary[j - 1]);
    }
  }
}

}  // namespace

bool small_eigenvalues(int order, double (*a)[kMost], SmallSpectrum& spectrum) {
  spectrum.count = 0;
  for (int i = 0; i < order; ++i) {
    for (int j = 0; j < order; ++j) {
      if (!std::isfinite(a[i][j])) return false;
    }
  }
  if (!HessenbergQr(order, a, spectrum).run()) {
    spectrum.count = 0;
    return false;
  }
  sort_by_magnitude(spectrum);
  return true;
}

}  // namespace corvidnum

#pragma once

// The accelerators as one would write them down at first: all differences are kept, every step is one plain
// loop. Sums of products come from ddot_, so the library has to agree to the last bit.

#include <cmath>
#include <cstddef>
#include <deque>
#include <utility>
#include <vector>

#include "frame/numeric_runtime.h"
#include "tests/support/dense_reference.h"

namespace plain {

using Vector = std::vector<double>;

inline double dot(const Vector& a, const Vector& b) {
  const int n = static_cast<int>(a.size()), one = 1;
  return ddot_(&n, a.data(), &one, b.data(), &one);
}
inline Vector times(double factor, Vector v) {
  for (double& value : v) value *= factor;
  return v;
}
inline Vector plus(Vector a, const Vector& b) {
  for (std::size_t i = 0; i < a.size(); ++i) a[i] += b[i];
  return a;
}
inline Vector minus(Vector a, const Vector& b) {
  for (std::size_t i = 0; i < a.size(); ++i) a[i] -= b[i];
  return a;
}

class Base {
 public:
  int start = 3, frequency = 1;

  void undo(Vector& x) {
    if (!input.empty()) x = input;
    since = 0;
  }
  void reset() { iter = 0; }

 protected:
  /// Takes the vector in; whether this pass may try.
  bool receive(const Vector& x) {
    if (++iter > 1) d.push_front(minus(x, before));
    before = x;
    return ++since >= frequency && iter >= start;
  }
  bool louder_than_noise() const {
    double sum = 0.0;
    for (const double value : d[0]) sum += value * value;
    return !(sum < 1e-8 * 1e-8);
  }
  bool agrees(bool compare, const Vector& projection, Vector& last) const {
    const Vector apart = compare ? minus(minus(last, d[0]), projection) : projection;
    last = projection;
    return compare && !(std::sqrt(dot(projection, projection)) * 0.1 < std::sqrt(dot(apart, apart)));
  }
  void finish(bool accept, const Vector& correction, Vector& x) {
    input = x;
    if (!accept) return;
    before = x = plus(x, correction);
    since = 0;
  }

  int iter = 0, since = 0;
  Vector before, input;
  std::deque<Vector> d;  // the newest difference first
};

class Dominant : public Base {
 public:
  bool values, pred, conservative;

  Dominant(bool v, bool p, bool c) : values(v), pred(p), conservative(c) {}

  bool accelerate(Vector& x) {
    if (!receive(x)) return false;
    last.resize(x.size());
    Vector correction(x.size(), 0.0);
    bool accept = louder_than_noise();
    if (accept) {
      correction = times(factor(), d[0]);
      if (values) {
        accept = iter > start && !(lambda > 0.999) && !((old_lambda - 1) * (lambda - 1) < 0) &&
                 !(std::fabs(1 - lambda) < 2 * std::fabs(lambda - old_lambda));
      }
    }
    if (pred) {
      const bool agreed = agrees(iter > start + 1, correction, last);
      accept = accept && agreed;
    }
    finish(accept, correction, x);
    return accept;
  }

 private:
  double factor() {
    const double sxx = dot(d[1], d[1]), sxy = dot(d[1], d[0]), syy = dot(d[0], d[0]);
    old_lambda = lambda;
    lambda = std::fabs(sxx) < 1e-30 ? 0.0 : sxy / sxx;
    const double n = static_cast<double>(d[0].size());
    double s2 = n > 1 ? (syy - sxy * lambda) / (n - 1) : 0.0;
    if (!conservative) s2 = 0.0;
    if (std::fabs(lambda - 1) < 1e-30) return 0.0;
    return lambda / (1 - (lambda <= 1 ? lambda - 2 * s2 : lambda + 2 * s2));
  }

  double lambda = 0.0, old_lambda = 0.0;
  Vector last;
};

class Multiple : public Base {
 public:
  Multiple(int eigenvalues, int length)
      : count(eigenvalues),
        last(static_cast<std::size_t>(eigenvalues), zeros(length)),
        correction(zeros(length)) {}

  bool accelerate(Vector& x) {
    if (!receive(x)) return false;
    bool accept = true;
    for (int m = count; m >= 1; --m) {
      const bool compare = iter > m + 2 && iter > start;
      if (!compare) correction = zeros(static_cast<int>(x.size()));
      if (compare) project(m);
      const bool agreed = agrees(compare, correction, last[static_cast<std::size_t>(m - 1)]);
      accept = accept && agreed && louder_than_noise();
      finish(accept, correction, x);
      if (accept) break;
    }
    return accept;
  }

 private:
  static Vector zeros(int length) { return Vector(static_cast<std::size_t>(length), 0.0); }
  const Vector& difference(int i) const { return d[static_cast<std::size_t>(i)]; }

  void project(int m) {
    reference::Dense gram(m, m);
    Vector c = zeros(m);
    for (int j = 0; j < m; ++j) {
      c[static_cast<std::size_t>(j)] = dot(difference(j + 1), d[0]);
      for (int i = 0; i < m; ++i) gram(i, j) = dot(difference(i + 1), difference(j + 1));
    }
    std::vector<int> pivots(static_cast<std::size_t>(m));
    if (reference::textbook_lu(gram, pivots, 1e-8) != 0) return;  // the former correction stays
    substitute(gram, pivots, c);
    const auto tail = [&](int j) {
      double sum = 0.0;
      for (int i = j; i < m; ++i) sum += c[static_cast<std::size_t>(i)];
      return sum;
    };
    const double scale = 1 / (1 - tail(0));
    correction = times(tail(0) * scale, d[0]);
    for (int j = 1; j < m; ++j) correction = plus(correction, times(tail(j) * scale, difference(j)));
  }

  static void substitute(const reference::Dense& lu, const std::vector<int>& pivots, Vector& c) {
    const int m = lu.rows;
    const auto at = [&](int i) -> double& { return c[static_cast<std::size_t>(i)]; };
    for (int i = 0; i < m; ++i) std::swap(at(i), at(pivots[static_cast<std::size_t>(i)] - 1));
    for (int i = 0; i < m; ++i) {
      for (int j = 0; j < i; ++j) at(i) -= lu(i, j) * at(j);
    }
    for (int i = m - 1; i >= 0; --i) {
      for (int j = m - 1; j > i; --j) at(i) -= lu(i, j) * at(j);
      at(i) /= lu(i, i);
    }
  }

  int count;
  std::vector<Vector> last;
  Vector correction;
};

}  // namespace plain

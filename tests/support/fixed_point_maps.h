#pragma once

// Seeded iterations with known fixed points and spectra, to judge FixedPoint by. Each is
//
//   x = s * y,   y := y* + A (y - y*) + curvature + drift + noise, clipped to the bounds
//
// with sizes s over six decades, A = V B V^-1, B block diagonal with the eigenvalues of its kind, and the
// condition of V given.

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstdint>
#include <limits>
#include <random>
#include <vector>

namespace maps {

using Vector = std::vector<double>;

enum class Kind {
  kOneDominant,
  kTwoClose,
  kComplexPair,
  kNegative,
  kSpread,
  kEightSlow,
  kFast,
  kNonlinear,
  kNoise,
  kBounds,
  kOneOrTwoUnknowns,
  kNonNormal,
  kDiverging,
  kDrift,
  kLoud,
};
constexpr int kKinds = 15;

inline const char* name_of(Kind kind) {
  static const char* const names[kKinds] = {"one dominant", "two close",  "complex pair", "negative",
                                            "spread",       "eight slow", "fast",         "nonlinear",
                                            "noise 1e-10",  "bounds",     "n = 1, 2",     "non-normal",
                                            "diverging",    "drift",      "noise above"};
  return names[static_cast<int>(kind)];
}

inline bool converges(Kind kind) { return kind < Kind::kDiverging; }

class Map {
 public:
  Map(Kind kind, int number)
      : kind_(kind), random_(1000u * static_cast<unsigned>(kind) + static_cast<unsigned>(number) + 1) {
    choose_spectrum();
    choose_matrix();
    choose_points();
  }

  int n() const { return static_cast<int>(eigenvalues_.size()); }
  double radius() const { return radius_; }
  double kappa() const { return kappa_; }
  double noise() const { return noise_; }
  /// Linear without bounds, so that the fixed point is known.
  bool has_known_fixed_point() const { return curvature_ == 0 && lower.empty() && drift_ == 0; }

  /// Returns the start in units that are `unit` times smaller, and begins the noise anew.
  Vector start(double unit = 1) {
    noise_source_.seed(77);
    Vector x = start_;
    for (double& value : x) value *= unit;
    return x;
  }

  /// Replaces x by the outcome of a pass.
  void pass(Vector& x, double unit = 1) {
    const std::size_t n = x.size();
    Vector e(n);
    for (std::size_t i = 0; i < n; ++i) e[i] = x[i] / unit / size[i] - fixed_[i];
    for (std::size_t i = 0; i < n; ++i) {
      double y = fixed_[i] + drift_ * drift_direction_[i] + curvature_ * e[i] * e[(i + 1) % n];
      for (std::size_t j = 0; j < n; ++j) y += a_[i][j] * e[j];
      if (noise_ > 0) y += noise_ * std::uniform_real_distribution<double>(-1, 1)(noise_source_);
      x[i] = y * size[i] * unit;
      if (!lower.empty()) x[i] = std::clamp(x[i], lower[i] * unit, upper[i] * unit);
    }
  }

  /// Returns the largest distance from the fixed point, relative to the sizes.
  double error(const Vector& x, double unit = 1) const {
    double top = 0;
    for (std::size_t i = 0; i < x.size(); ++i)
      top = std::max(top, std::fabs(x[i] / unit / size[i] - fixed_[i]));
    return top;
  }

  Vector size;          // of each unknown
  Vector lower, upper;  // empty: none

 private:
  using Matrix = std::vector<Vector>;

  double uniform(double low, double high) {
    return std::uniform_real_distribution<double>(low, high)(random_);
  }
  double log_uniform(double low, double high) { return std::exp(uniform(std::log(low), std::log(high))); }
  int whole(int low, int high) { return std::uniform_int_distribution<int>(low, high)(random_); }
  double sign() { return whole(0, 1) == 0 ? -1.0 : 1.0; }

  void add(std::complex<double> value) { eigenvalues_.push_back(value); }
  void add_pair(double magnitude, double angle) {
    add(std::polar(magnitude, angle));
    add(std::polar(magnitude, -angle));
  }
  /// Fills up with real eigenvalues of either sign.
  void fill(int n, double largest) {
    while (static_cast<int>(eigenvalues_.size()) < n) add(uniform(-largest, largest));
  }

  void add_dominant(double value, int n, double largest_other) {
    add(value);
    fill(n, largest_other);
  }

  void choose_spectrum() {
    radius_ = 1 - log_uniform(0.001, 0.5);
    kappa_ = log_uniform(1, 30);
    const double r = radius_;
    const int n = whole(5, 20);
    switch (kind_) {
      case Kind::kTwoClose:
        add(r);
        add(1 - (1 - r) * uniform(1.05, 1.5));
        return fill(n, 0.5 * r);
      case Kind::kComplexPair:
        add_pair(r, uniform(0.1, 3.0));
        return fill(n, 0.5 * r);
      case Kind::kSpread:
        add(r);
        while (static_cast<int>(eigenvalues_.size()) < std::max(10, n)) add(uniform(0, r));
        return;
      case Kind::kEightSlow:
        radius_ = 1 - log_uniform(0.001, 0.05);
        add(radius_);
        while (eigenvalues_.size() < 8) add(1 - (1 - radius_) * log_uniform(1, 10));
        return fill(std::max(10, n), 0.3);
      case Kind::kFast:
        radius_ = uniform(0.02, 0.5);
        return add_dominant(sign() * radius_, n, radius_);
      case Kind::kNonlinear:
        curvature_ = 0.1 * (1 - r);
        return add_dominant(r, n, 0.7 * r);
      case Kind::kNoise:
        noise_ = 1e-10;
        return add_dominant(r, n, 0.7 * r);
      case Kind::kBounds:
        add(r);
        return add_dominant(uniform(0.5, 1) * r, n, 0.6 * r);
      case Kind::kOneOrTwoUnknowns:
        add(sign() * r);
        if (whole(0, 1) == 1) add(uniform(-r, r));
        return;
      case Kind::kNonNormal:
        kappa_ = 100;
        return add_dominant(r, n, 0.8 * r);
      case Kind::kDiverging:
        radius_ = 1 + log_uniform(0.001, 2);
        if (whole(0, 2) > 0) return add_dominant(sign() * radius_, n, 0.9);
        add_pair(radius_, uniform(0.1, 3.0));
        return fill(n, 0.9);
      case Kind::kDrift:
        radius_ = 1;
        drift_ = log_uniform(1e-6, 1e-2);
        return add_dominant(1, n, 0.9);
      case Kind::kLoud:
        noise_ = log_uniform(1e-7, 1e-4);
        return add_dominant(sign() * r, n, 0.9 * r);
      default:
        return add_dominant(kind_ == Kind::kNegative ? -r : r, n, 0.5 * r);
    }
  }

  Matrix random_orthogonal(std::size_t n) {
    Matrix q(n, Vector(n));
    std::normal_distribution<double> normal;
    for (std::size_t i = 0; i < n; ++i) {
      for (double& value : q[i]) value = normal(random_);
      for (int round = 0; round < 2; ++round) {
        for (std::size_t k = 0; k < i; ++k) {
          double along = 0;
          for (std::size_t j = 0; j < n; ++j) along += q[i][j] * q[k][j];
          for (std::size_t j = 0; j < n; ++j) q[i][j] -= along * q[k][j];
        }
      }
      double square = 0;
      for (const double value : q[i]) square += value * value;
      for (double& value : q[i]) value /= std::sqrt(square);
    }
    return q;
  }

  static Matrix product(const Matrix& a, const Matrix& b, bool transposed_a = false) {
    Matrix c(a.size(), Vector(b.size()));
    for (std::size_t i = 0; i < a.size(); ++i)
      for (std::size_t k = 0; k < b.size(); ++k)
        for (std::size_t j = 0; j < b.size(); ++j) c[i][j] += (transposed_a ? a[k][i] : a[i][k]) * b[k][j];
    return c;
  }

  /// V = P D Q with orthogonal P, Q and D from 1 to kappa.
  void choose_matrix() {
    const std::size_t n = eigenvalues_.size();
    const Matrix p = random_orthogonal(n), q = random_orthogonal(n);
    if (n == 1) kappa_ = 1;
    Matrix left = p, right = p;
    for (std::size_t k = 0; k < n; ++k) {
      const double d = n == 1 ? 1 : std::pow(kappa_, static_cast<double>(k) / static_cast<double>(n - 1));
      for (std::size_t i = 0; i < n; ++i) {
        left[i][k] = p[i][k] * d;
        right[k][i] = p[i][k] / d;
      }
    }
    left = product(left, q);
    right = product(q, right, true);
    Matrix b(n, Vector(n, 0.0));
    for (std::size_t i = 0; i < n; ++i) {
      b[i][i] = eigenvalues_[i].real();
      const double imaginary = eigenvalues_[i].imag();
      if (imaginary > 0) b[i][i + 1] = -imaginary;
      if (imaginary < 0) b[i][i - 1] = -imaginary;
    }
    a_ = product(product(left, b), right);
    for (const Vector& row : left) drift_direction_.push_back(row[0]);
  }

  void choose_points() {
    const std::size_t n = eigenvalues_.size();
    for (std::size_t i = 0; i < n; ++i) {
      size.push_back(log_uniform(1e-3, 1e3));
      fixed_.push_back(sign() * uniform(0.5, 1));
      start_.push_back(size[i] * (fixed_[i] + uniform(-0.5, 0.5)));
    }
    if (kind_ != Kind::kBounds) return;
    for (std::size_t i = 0; i < n; ++i) {
      // The range keeps the start; in a third of the unknowns the fixed point is beyond, or nearly so.
      const double y = start_[i] / size[i], low = std::min(y, fixed_[i]), high = std::max(y, fixed_[i]);
      const double margin = whole(0, 2) == 0 ? uniform(-0.3, 0) * (high - low) : uniform(0, 1);
      lower.push_back(size[i] * (fixed_[i] < y ? fixed_[i] - margin : low - 1));
      upper.push_back(size[i] * (fixed_[i] < y ? high + 1 : fixed_[i] + margin));
    }
  }

  Kind kind_;
  std::mt19937_64 random_, noise_source_;
  std::vector<std::complex<double>> eigenvalues_;
  double radius_ = 0, kappa_ = 1, curvature_ = 0, noise_ = 0, drift_ = 0;
  Matrix a_;
  Vector fixed_, start_, drift_direction_;
};

}  // namespace maps

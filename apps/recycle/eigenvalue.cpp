#include "apps/recycle/eigenvalue.h"

#include <algorithm>
#include <cmath>

namespace recycle {
namespace {

using Vector = std::vector<double>;
using Matrix = std::vector<Vector>;  // square, by rows

constexpr std::size_t kDirections = 10;  // differences of guesses that span the space
/// Below this part of a difference, what is new in it is mostly rounding and curvature.
constexpr double kNewDirection = 1e-3;
constexpr int kSquarings = 30;
/// Two estimates agree if the passes that they foretell, which go as 1 / log, differ by no larger part.
constexpr double kAgreement = 0.03;
/// So near to 1, where the logarithm vanishes, all estimates agree.
constexpr double kAtOne = 1e-6;
/// Before they are settled, two estimates in a row agree by chance; three hardly do.
constexpr std::size_t kEarlierEstimates = 2;

bool agree(double a, double b) {
  const double log_a = std::log(a), log_b = std::log(b);
  return std::fabs(log_a - log_b) <= std::max(kAgreement * std::fabs(log_a), kAtOne);
}

double dot(const Vector& a, const Vector& b) {
  double sum = 0;
  for (std::size_t i = 0; i < a.size(); ++i) sum += a[i] * b[i];
  return sum;
}

void subtract(Vector& a, double factor, const Vector& b) {
  for (std::size_t i = 0; i < a.size(); ++i) a[i] -= factor * b[i];
}

Vector difference(const Vector& a, const Vector& b) {
  Vector d = a;
  subtract(d, 1.0, b);
  return d;
}

void divide(Vector& a, double divisor) {
  for (double& value : a) value /= divisor;
}

/// Orthonormal directions, and what J makes of each.
struct Images {
  std::vector<Vector> direction, image;

  /// Adds what is new in dx; J being linear, its image takes the same steps (Gram-Schmidt).
  void add(Vector dx, Vector image_of_dx) {
    const double length = std::sqrt(dot(dx, dx));
    for (std::size_t k = 0; k < direction.size(); ++k) {
      const double along = dot(dx, direction[k]);
      subtract(dx, along, direction[k]);
      subtract(image_of_dx, along, image[k]);
    }
    const double fresh = std::sqrt(dot(dx, dx));
    if (!(fresh > kNewDirection * length)) return;
    divide(dx, fresh);
    divide(image_of_dx, fresh);
    direction.push_back(std::move(dx));
    image.push_back(std::move(image_of_dx));
  }

  Matrix projected() const {
    Matrix a;
    for (const Vector& row : direction) {
      a.emplace_back();
      for (const Vector& column : image) a.back().push_back(dot(row, column));
    }
    return a;
  }
};

double largest(const Matrix& a) {
  double top = 0;
  for (const Vector& row : a)
    for (const double value : row) top = std::max(top, std::fabs(value));
  return top;
}

Matrix squared(const Matrix& a) {
  Matrix s(a.size(), Vector(a.size(), 0.0));
  for (std::size_t i = 0; i < a.size(); ++i)
    for (std::size_t k = 0; k < a.size(); ++k)
      for (std::size_t j = 0; j < a.size(); ++j) s[i][j] += a[i][k] * a[k][j];
  return s;
}

/// Returns the spectral radius as the limit of |A^n|^(1/n) (Gelfand), by squaring; complex pairs need no
/// care.
double spectral_radius(Matrix a) {
  double log_radius = 0, weight = 1;
  for (int step = 0; step < kSquarings; ++step, weight /= 2) {
    const double size = largest(a);
    if (!(size > 0)) return 0;
    log_radius += weight * std::log(size);
    for (Vector& row : a) divide(row, size);
    a = squared(a);
  }
  return std::exp(log_radius);
}

}  // namespace

void EigenvalueEstimate::note(const Vector& guess, const Vector& outcome) {
  passes_.push_back({guess, outcome});
  if (passes_.size() > kDirections + 1) passes_.pop_front();
}

std::optional<double> EigenvalueEstimate::settled_magnitude() const {
  const std::optional<double> now = magnitude();
  if (!now || !(*now > 0) || passes_.size() <= kEarlierEstimates) return std::nullopt;
  for (std::size_t ago = 1; ago <= kEarlierEstimates; ++ago) {
    const std::optional<double> then = magnitude_of(passes_.size() - ago);
    if (!then || !agree(*now, *then)) return std::nullopt;
  }
  return now;
}

std::optional<double> EigenvalueEstimate::magnitude_of(std::size_t count) const {
  Images images;
  for (std::size_t p = count; p > 1; --p) {  // the newest first: nearest to the solution
    const Pass &newer = passes_[p - 1], &older = passes_[p - 2];
    images.add(difference(newer.guess, older.guess), difference(newer.outcome, older.outcome));
  }
  if (images.direction.empty()) return std::nullopt;
  const double radius = spectral_radius(images.projected());
  if (!std::isfinite(radius)) return std::nullopt;
  return radius;
}

}  // namespace recycle

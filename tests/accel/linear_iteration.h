#pragma once

// Iterations x <- x* + A (x - x*) with known spectra, and the accelerators on them beside the plain model.

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstddef>
#include <string>
#include <vector>

#include "accel/accel.h"
#include "tests/accel/plain_model.h"

namespace linear_iteration {

using plain::Vector;

constexpr int kLength = 9;

/// One eigenvalue for each pair of elements: it turns and scales them as a complex number does. A real one
/// moves the first of them only; what has no eigenvalue is at the fixed point after one pass.
using Spectrum = std::vector<std::complex<double>>;

class LinearIteration {
 public:
  explicit LinearIteration(const Spectrum& spectrum) : spectrum_(spectrum) {
    reference::Random random(7);
    x = fixed_point = reference::random_vector(kLength, random);
    for (std::size_t i = 0; i < 2 * spectrum.size(); ++i) {
      if (i % 2 == 0 || spectrum[i / 2].imag() != 0.0) x[i] += 1e3 * (1.0 + 0.3 * static_cast<double>(i));
    }
  }

  void advance() {
    const Vector z = plain::minus(x, fixed_point);
    x = fixed_point;
    for (std::size_t i = 0; i < spectrum_.size(); ++i) {
      const std::complex<double> next = spectrum_[i] * std::complex<double>(z[2 * i], z[2 * i + 1]);
      x[2 * i] += next.real();
      x[2 * i + 1] += next.imag();
    }
  }
  double distance() const {
    const Vector apart = plain::minus(x, fixed_point);
    return std::sqrt(plain::dot(apart, apart));
  }

  Vector x, fixed_point;

 private:
  Spectrum spectrum_;
};

/// Tells whether two vectors are equal; a NaN equals any NaN.
inline bool same(const Vector& x, const Vector& y) {
  return std::equal(x.begin(), x.end(), y.begin(), y.end(),
                    [](double a, double b) { return a == b || (std::isnan(a) && std::isnan(b)); });
}

/// Runs both through up to 40 passes, accepted or not, and says where their answers or bits differ; empty if
/// nowhere.
/// @param undo_at on which passes the host undoes, whatever the answer was
template <class Model>
std::string difference_from_model(Accel& accel, Model& model, LinearIteration iteration, int undo_at) {
  Vector expected = iteration.x;
  const auto differs = [](const char* what, int pass) {
    return std::string(what) + " in pass " + std::to_string(pass);
  };
  for (int pass = 1; pass <= 40; ++pass) {
    const bool accepted = accel.Accelerate(iteration.x.data()) != 0;
    if (accepted != model.accelerate(expected)) return differs(accepted ? "accepted" : "not accepted", pass);
    if (!same(iteration.x, expected)) return differs("another vector", pass);
    if (pass % 7 == undo_at) {
      accel.UndoAndReset(iteration.x.data());
      model.undo(expected);
      if (!same(iteration.x, expected)) return differs("another vector is restored", pass);
    }
    if (pass == 25) {
      accel.Reset();
      model.reset();
    }
    iteration.advance();
    expected = iteration.x;
    // Rounding is all that is left of some differences.
    if (!(iteration.distance() < 1e100)) break;
  }
  return {};
}

}  // namespace linear_iteration

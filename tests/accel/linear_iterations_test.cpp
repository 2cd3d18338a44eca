// Iterations x <- x* + A (x - x*) with known spectra.

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <memory>
#include <vector>

#include "accel/dom_eigen_accel.h"
#include "accel/mul_dom_eigen_accel.h"
#include "tests/accel/plain_model.h"

namespace {

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

TEST(MultipleOnLinearIteration, FirstStepLandsOnTheFixedPointWithTheRightCount) {
  const struct {
    const char* what;
    int count;
    Spectrum spectrum;
  } cases[] = {
      {"one", 1, {0.9}},
      {"one negative", 1, {-0.8}},
      {"one above 1", 1, {1.5}},
      {"two close", 2, {0.9, 0.8}},
      {"a complex pair", 2, {std::polar(0.9, 1.0)}},
      {"three close", 3, {0.95, 0.85, 0.7}},
      {"a pair and one", 3, {std::polar(0.9, 2.0), 0.8}},
      {"four", 4, {std::polar(0.9, 0.7), std::polar(0.95, 2.0)}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    LinearIteration iteration(c.spectrum);
    const double start = iteration.distance();
    MulDomEigenAccel accel(kLength, c.count, 0, 0, 0);
    int pass = 1;
    for (; pass < 30 && !accel.Accelerate(iteration.x.data()); ++pass) iteration.advance();
    EXPECT_EQ(pass, c.count + 4);
    EXPECT_LT(iteration.distance(), 1e-8 * start);  // the normal equations square the condition
  }
}

// ---- Every pass, accepted or not, against the plain model: same answers, same bits.

const Spectrum kSpectra[] = {
    {0.5, 0.1},
    {0.9, 0.5, 0.2},
    {0.99, 0.3},
    {-0.9, 0.4},
    {std::polar(0.9, 0.6), 0.3},
    {0.95, 0.9, 0.1},
    {0.95, 0.93, 0.9, 0.2},
    {1.05, 0.5},
    {1.0, 0.5},
    {0.95, -0.9, std::polar(0.9, 0.6), std::polar(0.8, 1.8)},  // full rank for six
};

/// `undo_at` tells on which passes the host undoes, whatever the answer was.
template <class Model>
void expect_the_same(Accel& accel, Model& model, LinearIteration iteration, int undo_at) {
  Vector expected = iteration.x;
  for (int pass = 1; pass <= 40; ++pass) {
    SCOPED_TRACE(pass);
    const bool accepted = accel.Accelerate(iteration.x.data()) != 0;
    ASSERT_EQ(accepted, model.accelerate(expected));
    ASSERT_EQ(iteration.x, expected);
    if (pass % 7 == undo_at) {
      accel.UndoAndReset(iteration.x.data());
      model.undo(expected);
      ASSERT_EQ(iteration.x, expected);
    }
    if (pass == 25) {
      accel.Reset();
      model.reset();
    }
    iteration.advance();
    expected = iteration.x;
    // Rounding is all that is left of some differences; NaN has no equal.
    if (!(iteration.distance() < 1e100)) return;
  }
}

TEST(DominantOnLinearIteration, FollowsThePlainModel) {
  for (const auto& spectrum : kSpectra) {
    for (int setting = 0; setting < 64; ++setting) {
      SCOPED_TRACE(testing::Message() << "spectrum " << &spectrum - kSpectra << " setting " << setting);
      const bool values = setting & 1, pred = setting & 2, conservative = setting & 4;
      DomEigenAccel accel(kLength, setting & 8 ? 2 : 5, values, pred, conservative, 0);
      plain::Dominant model(values, pred, conservative);
      accel.StartingIteration(model.start = setting & 16 ? 6 : 3);
      accel.MaxAccelFrequency(model.frequency = setting & 32 ? 4 : 1);
      expect_the_same(accel, model, LinearIteration(spectrum), setting % 9);
    }
  }
}

TEST(MultipleOnLinearIteration, FollowsThePlainModel) {
  for (const auto& spectrum : kSpectra) {
    for (int setting = 0; setting < 24; ++setting) {
      SCOPED_TRACE(testing::Message() << "spectrum " << &spectrum - kSpectra << " setting " << setting);
      const int eigenvalues = 1 + setting % 6;  // more than four differences are multiplied in groups
      MulDomEigenAccel accel(kLength, eigenvalues, 1, 1, 1);
      plain::Multiple model(eigenvalues, kLength);
      accel.StartingIteration(model.start = setting & 8 ? 8 : 3);
      accel.MaxAccelFrequency(model.frequency = setting & 16 ? 3 : 1);
      expect_the_same(accel, model, LinearIteration(spectrum), setting % 9);
    }
  }
}

}  // namespace

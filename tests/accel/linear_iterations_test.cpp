// Iterations x <- x* + A (x - x*) with known spectra.

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <memory>
#include <vector>

#include "accel/dom_eigen_accel.h"
#include "accel/mul_dom_eigen_accel.h"
#include "tests/accel/linear_iteration.h"

namespace {

using namespace linear_iteration;

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

template <class Model>
void expect_the_same(Accel& accel, Model& model, const LinearIteration& iteration, int undo_at) {
  EXPECT_EQ(difference_from_model(accel, model, iteration, undo_at), "");
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

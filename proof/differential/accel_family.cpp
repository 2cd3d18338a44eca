// The accelerators on linear iterations with random spectra: every answer, and every vector to the bit.

#include "accel/dom_eigen_accel.h"
#include "accel/mul_dom_eigen_accel.h"
#include "proof/differential/comparison.h"
#include "proof/differential/families.h"
#include "tests/accel/linear_iteration.h"

namespace {

using differential::Draw;
using linear_iteration::LinearIteration;
using linear_iteration::Spectrum;

Spectrum draw_spectrum(Draw& draw) {
  Spectrum spectrum;
  for (int k = 1 + draw.below(linear_iteration::kLength / 2); k > 0; --k) {
    const double size = draw.one_in(3) ? 0.9 + 0.15 * draw.uniform() : draw.uniform();
    spectrum.push_back(draw.one_in(3) ? std::polar(size, 3.0 * draw.uniform()) : size);
  }
  return spectrum;
}

}  // namespace

std::string dominant_difference(std::uint64_t seed) {
  Draw draw(seed);
  const LinearIteration iteration(draw_spectrum(draw));
  const bool values = draw.one_in(2), pred = draw.one_in(2), conservative = draw.one_in(2);
  DomEigenAccel accel(linear_iteration::kLength, 2 + draw.below(4), values, pred, conservative, 0);
  plain::Dominant model(values, pred, conservative);
  accel.StartingIteration(model.start = 3 + draw.below(5));
  accel.MaxAccelFrequency(model.frequency = 1 + draw.below(5));
  return linear_iteration::difference_from_model(accel, model, iteration, draw.below(9));
}

std::string multiple_difference(std::uint64_t seed) {
  Draw draw(seed);
  const LinearIteration iteration(draw_spectrum(draw));
  const int eigenvalues = 1 + draw.below(6);
  MulDomEigenAccel accel(linear_iteration::kLength, eigenvalues, 1, 1, 1);
  plain::Multiple model(eigenvalues, linear_iteration::kLength);
  accel.StartingIteration(model.start = 3 + draw.below(6));
  accel.MaxAccelFrequency(model.frequency = 1 + draw.below(4));
  return linear_iteration::difference_from_model(accel, model, iteration, draw.below(9));
}

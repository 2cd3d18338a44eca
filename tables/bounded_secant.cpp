// The secant method, safeguarded by bisection of the bracket.

#include "tables/bounded_secant.h"

#include <algorithm>
#include <cmath>

#include "frame/empty_value.h"
#include "frame/module.h"

using namespace corvidnum;

namespace {

constexpr double kSameE = 1e-30;  // two E that differ by less have no secant

}  // namespace

BoundedSecant::BoundedSecant() : prevI(EmptyValue), lastI(EmptyValue), prevE(1.0), lastE(1.0) {
  enter_library();
  ClearBounds();
}

BoundedSecant& BoundedSecant::operator=(const BoundedSecant& other) {
  enter_library();
  prevI = other.prevI;
  lastI = other.lastI;
  prevE = other.prevE;
  lastE = other.lastE;
  negI = other.negI;
  posI = other.posI;
  negE = other.negE;
  posE = other.posE;
  return *this;
}

void BoundedSecant::AddIEPoints(double I, double E) {
  enter_library();
  prevI = lastI;
  prevE = lastE;
  lastI = I;
  lastE = E;
  if (E > 0.0 && (posE == EmptyValue || E <= posE)) {
    posI = I;
    posE = E;
  }
  if (E < 0.0 && (negE == EmptyValue || E >= negE)) {
    negI = I;
    negE = E;
  }
}

void BoundedSecant::ClearBounds() {
  enter_library();
  negI = posI = negE = posE = EmptyValue;
}

double BoundedSecant::GetGuess() {
  enter_library();
  if (prevI == EmptyValue) return EmptyValue;
  const double midpoint = (negI + posI) * 0.5;
  // Without bounds the midpoint is EmptyValue; with only one it is no useful guess. The contract does not ask
  // whether they exist here.
  if (std::fabs(lastE - prevE) < kSameE) return midpoint;
  const double guess = lastI - (lastI - prevI) / (lastE - prevE) * lastE;
  if (negI == EmptyValue || posI == EmptyValue) return guess;
  // Both comparisons are false for a NaN, which is returned so that the caller sees it.
  return guess <= std::min(negI, posI) || guess >= std::max(negI, posI) ? midpoint : guess;
}

#include "tables/bounded_secant.h"

#include <algorithm>
#include <cmath>

#include "frame/empty_value.h"
#include "frame/module.h"

using namespace corvidnum;

namespace {

constexpr double kSameE = 1e-30;

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
  if (std::fabs(lastE - prevE) < kSameE) return midpoint;  // of EmptyValue itself while there are no bounds
  const double guess = lastI - (lastI - prevI) / (lastE - prevE) * lastE;
  if (negI == EmptyValue || posI == EmptyValue) return guess;
  // A NaN is not refused.
  return guess <= std::min(negI, posI) || guess >= std::max(negI, posI) ? midpoint : guess;
}

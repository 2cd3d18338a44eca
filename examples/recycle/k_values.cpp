#include "examples/recycle/k_values.h"

#include <cmath>

namespace recycle {

double DePriester::k(double t, double p) const {
  return std::exp(a1 / (t * t) + a2 / t + a6 + b1 * std::log(p) + b2 / (p * p) + b3 / p);
}

double Wilson::k(double t, double p) const {
  return critical_pressure / p * std::exp(5.373 * (1 + acentric_factor) * (1 - critical_temperature / t));
}

}  // namespace recycle

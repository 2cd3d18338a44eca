#include "apps/recycle/k_values.h"

#include <cmath>

namespace recycle {

double Wilson::k(double t, double p) const {
  return critical_pressure / p * std::exp(5.373 * (1 + acentric_factor) * (1 - critical_temperature / t));
}

}  // namespace recycle

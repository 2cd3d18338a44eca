#include "apps/common/depriester.h"

#include <cmath>

namespace apps {

double DePriester::ln_k(double t, double p) const {
  return a1 / (t * t) + a2 / t + a6 + b1 * std::log(p) + b2 / (p * p) + b3 / p;
}

double DePriester::slope(double t) const { return -2 * a1 / (t * t * t) - a2 / (t * t); }

}  // namespace apps

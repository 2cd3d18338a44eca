#pragma once

#include <vector>

namespace recycle {

/// McWilliams' fit of the DePriester chart (Chem. Eng. 80 (25), 138, 1973), T in degrees Rankine, P in psia:
/// ln K = a1/T^2 + a2/T + a6 + b1 ln P + b2/P^2 + b3/P.
struct DePriester {
  double a1, a2, a6, b1, b2, b3;
  double k(double temperature, double pressure) const;
};

/// Wilson's estimate (AIChE 65th National Meeting, 1969): ln K = ln(Pc/P) + 5.373 (1 + omega) (1 - Tc/T),
/// T in the absolute unit of Tc, P in the unit of Pc.
struct Wilson {
  double critical_temperature, critical_pressure, acentric_factor;
  double k(double temperature, double pressure) const;
};

}  // namespace recycle

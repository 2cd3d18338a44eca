#pragma once

namespace recycle {

/// Estimates K by Wilson's correlation (AIChE 65th National Meeting, 1969): ln K = ln(Pc/P) + 5.373 (1 +
/// omega) (1 - Tc/T), T in the absolute unit of Tc, P in the unit of Pc.
struct Wilson {
  double critical_temperature, critical_pressure, acentric_factor;
  double k(double temperature, double pressure) const;
};

}  // namespace recycle

#pragma once

namespace apps {

/// McWilliams' fit of the DePriester chart (Chem. Eng. 80 (25), 138, 1973), T in degrees Rankine, P in psia:
/// ln K = a1/T^2 + a2/T + a6 + b1 ln P + b2/P^2 + b3/P.
struct DePriester {
  double a1, a2, a6, b1, b2, b3;
  double ln_k(double temperature, double pressure) const;
  /// Returns the derivative of ln K by the temperature.
  double slope(double temperature) const;
};

}  // namespace apps

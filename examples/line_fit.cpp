// Fits a straight line to measured points and tells how well its coefficients are known.
//
// Without standard deviations of the points (the null), those of the coefficients follow from the scatter of
// the points about the line. With all x equal the results are not finite.

#include <tables/line_fit.h>

#include <cmath>
#include <cstdio>

int main() {
  double x[] = {0, 1, 2, 3}, y[] = {1.1, 2.9, 5.1, 6.9};

  //! [sample]
  double a, b, sigma_a, sigma_b, chi_square;  // y = a + b x, their standard deviations, sum of squares
  if (!LineFit(x, y, 4, nullptr, &a, &b, &sigma_a, &sigma_b, &chi_square)) return 1;
  //! [sample]

  std::printf("y = %.3f +- %.3f + (%.3f +- %.3f) x\n", a, sigma_a, b, sigma_b);
  return std::abs(a - 1.06) < 1e-12 && std::abs(b - 1.96) < 1e-12 && std::abs(chi_square - 0.032) < 1e-12 ? 0
                                                                                                          : 1;
}

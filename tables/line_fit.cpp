// Weighted linear regression: the normal equations of y = a + b x, with x taken from its weighted mean so
// that they decouple and cancellation is small. Two passes over the points give the sums and the slope, a
// third one the residuals.

#include "tables/line_fit.h"

#include <cmath>

#include "frame/module.h"

using namespace corvidnum;

namespace {

double square(double x) { return x * x; }

/// The points with their standard deviations, all 1 if `sigma` is null; the weight is 1 / sigma^2.
struct Points {
  const double* x;
  const double* y;
  const double* sigma;
  unsigned count;

  double weight(unsigned i) const { return sigma ? 1.0 / square(sigma[i]) : 1.0; }
  double in_deviations(double value, unsigned i) const { return sigma ? value / sigma[i] : value; }
};

struct Sums {
  double s = 0.0, x = 0.0, y = 0.0;
};

Sums weighted_sums(const Points& points) {
  Sums sums;
  for (unsigned i = 0; i < points.count; ++i) {
    const double w = points.weight(i);
    sums.s += w;
    sums.x += w * points.x[i];
    sums.y += w * points.y[i];
  }
  return sums;
}

double sum_of_squared_residuals(const Points& points, double a, double b) {
  double sum = 0.0;
  for (unsigned i = 0; i < points.count; ++i) {
    sum += square(points.in_deviations(points.y[i] - a - b * points.x[i], i));
  }
  return sum;
}

}  // namespace

unsigned char LineFit(double* x, double* y, unsigned int count, double* sigma, double* a, double* b,
                      double* sigmaA, double* sigmaB, double* chiSquare) {
  enter_library();
  if (count < 2 || !x || !y || !a || !b || !sigmaA || !sigmaB || !chiSquare) return 0;
  const Points points{x, y, sigma, count};
  const Sums sums = weighted_sums(points);
  const double mean = 1.0 / sums.s * sums.x;

  double scatter = 0.0, slope = 0.0;
  for (unsigned i = 0; i < count; ++i) {
    const double t = points.in_deviations(x[i] - mean, i);
    scatter += square(t);
    slope += points.in_deviations(t * y[i], i);
  }
  slope *= 1.0 / scatter;
  *b = slope;
  *a = (sums.y - sums.x * slope) / sums.s;
  *sigmaA = std::sqrt((1.0 + square(sums.x) / (sums.s * scatter)) / sums.s);
  *sigmaB = std::sqrt(1.0 / scatter);
  *chiSquare = sum_of_squared_residuals(points, *a, slope);

  if (!sigma && count > 2) {
    const double s = std::sqrt(*chiSquare / (count - 2));
    *sigmaA *= s;
    *sigmaB *= s;
  }
  return 1;
}

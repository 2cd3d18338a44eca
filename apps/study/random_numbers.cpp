#include "apps/study/random_numbers.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace study {
namespace {

constexpr std::uint64_t kGolden = 0x9e3779b97f4a7c15;  // 2^64 divided by the golden ratio, odd

std::uint64_t mixed(std::uint64_t z) {
  z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9;
  z = (z ^ (z >> 27)) * 0x94d049bb133111eb;
  return z ^ (z >> 31);
}

/// Encrypts a number of 2 * `half` bits: in each round, one half is changed by a function of the other.
std::uint64_t encrypted(std::uint64_t number, int half, std::uint64_t seed, std::uint64_t stream) {
  constexpr std::uint64_t kRounds = 8;
  const std::uint64_t mask = (std::uint64_t{1} << half) - 1;
  std::uint64_t left = number >> half, right = number & mask;
  for (std::uint64_t round = 0; round < kRounds; ++round) {
    const std::uint64_t changed = left ^ (random_bits(seed, stream, right * kRounds + round) & mask);
    left = right;
    right = changed;
  }
  return left << half | right;
}

using Coefficients = std::array<double, 8>;  // from the constant one up

double polynomial(const Coefficients& c, double x) {
  double value = 0;
  for (auto each = c.rbegin(); each != c.rend(); ++each) value = value * x + *each;
  return value;
}

/// The quotient of two polynomials.
struct Rational {
  Coefficients above, below;
  double operator()(double x) const { return polynomial(above, x) / polynomial(below, x); }
};

constexpr Rational kCentre{
    {3.3871328727963666080e0, 1.3314166789178437745e+2, 1.9715909503065514427e+3, 1.3731693765509461125e+4,
     4.5921953931549871457e+4, 6.7265770927008700853e+4, 3.3430575583588128105e+4, 2.5090809287301226727e+3},
    {1.0, 4.2313330701600911252e+1, 6.8718700749205790830e+2, 5.3941960214247511077e+3,
     2.1213794301586595867e+4, 3.9307895800092710610e+4, 2.8729085735721942674e+4, 5.2264952788528545610e+3}};
constexpr Rational kTail{{1.42343711074968357734e0, 4.63033784615654529590e0, 5.76949722146069140550e0,
                          3.64784832476320460504e0, 1.27045825245236838258e0, 2.41780725177450611770e-1,
                          2.27238449892691845833e-2, 7.74545014278341407640e-4},
                         {1.0, 2.05319162663775882187e0, 1.67638483018380384940e0, 6.89767334985100004550e-1,
                          1.48103976427480074590e-1, 1.51986665636164571966e-2, 5.47593808499534494600e-4,
                          1.05075007164441684324e-9}};
constexpr Rational kFarTail{{6.65790464350110377720e0, 5.46378491116411436990e0, 1.78482653991729133580e0,
                             2.96560571828504891230e-1, 2.65321895265761230930e-2, 1.24266094738807843860e-3,
                             2.71155556874348757815e-5, 2.01033439929228813265e-7},
                            {1.0, 5.99832206555887937690e-1, 1.36929880922735805310e-1,
                             1.48753612908506148525e-2, 7.86869131145613259100e-4, 1.84631831751005468180e-5,
                             1.42151175831644588870e-7, 2.04426310338993978564e-15}};

}  // namespace

std::uint64_t random_bits(std::uint64_t seed, std::uint64_t stream, std::uint64_t index) {
  return mixed(mixed(mixed(seed + kGolden) + kGolden * (stream + 1)) + kGolden * (index + 1));
}

double unit_interval(std::uint64_t bits) {
  constexpr double kPart = 1.0 / 4503599627370496;  // 2^-52: a half more needs the 53rd bit of a double
  return (static_cast<double>(bits >> 12) + 0.5) * kPart;
}

std::uint64_t permuted(std::uint64_t index, std::uint64_t count, std::uint64_t seed, std::uint64_t stream) {
  int half = 1;
  while (std::uint64_t{1} << (2 * half) < count) ++half;
  do {
    index = encrypted(index, half, seed, stream);
  } while (index >= count);
  return index;
}

double normal_quantile(double probability) {
  constexpr double kCentreReach = 0.425, kTailReach = 5, kTailShift = 1.6;
  const double q = probability - 0.5;
  if (std::fabs(q) <= kCentreReach) return q * kCentre(kCentreReach * kCentreReach - q * q);
  const double r = std::sqrt(-std::log(std::min(probability, 1 - probability)));
  const double size = r <= kTailReach ? kTail(r - kTailShift) : kFarTail(r - kTailReach);
  return std::copysign(size, q);
}

}  // namespace study

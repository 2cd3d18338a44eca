// Extrapolation of a vector sequence by several dominant eigenvalues.
//
// For m eigenvalues, with d(i) the i-th newest difference:
//  1. Fit d(0) = c(0) d(1) + ... + c(m-1) d(m) by least squares: normal equations with the Gram matrix of
//     d(1) .. d(m), solved by LU with an absolute pivot limit.
//  2. Take c as the coefficients of a linear recurrence and sum all of its further differences. With
//     S(j) = c(j) + ... + c(m-1) the sum is (S(0) d(0) + ... + S(m-1) d(m-1)) / (1 - S(0)).
//  3. Compare the correction with the one of the previous try for the same m, and test for noise.
// The inner products for one m contain those for every smaller m, so they are formed once per try. Each sum
// keeps its order of terms and each element its order of roundings, whatever the blocking.
// Source: the general dominant eigenvalue method, Crowe and Nishio, AIChE J. 21, 528 (1975); minimal
// polynomial extrapolation is a close relative.

#include "accel/mul_dom_eigen_accel.h"

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <utility>

#include "accel/debug_line.h"
#include "accel/vectors.h"
#include "dense/lu.h"
#include "frame/corvid.h"
#include "frame/module.h"

using namespace corvidnum;

/// Writes the log lines of MulDomEigenAccel.
class MulDomEigenPrinter : public HostAllocated {
 public:
  explicit MulDomEigenPrinter(const MulDomEigenAccel* accel) : owner(accel) {}

  void Eigenvalues(int m) const {
    if (log()) write_line(log(), FormattedText("Try to accelerate with %d eigenvalues\n", m));
  }
  void Outcome(unsigned char accept, const double* x) const {
    if (log()) write_outcome(log(), accept, owner->numVar, owner->correction, x);
  }

 private:
  DebugOut* log() const { return owner->debugOut; }

  const MulDomEigenAccel* owner;
};

namespace {

/// Returns the length of the ring: what was asked for, but at least nEigen + 2, for a fit of nEigen
/// eigenvalues reads nEigen + 1 differences.
int ring_length(int asked, int nEigen) {
  const std::int64_t needed = std::min(std::int64_t{nEigen} + 2, std::int64_t{INT_MAX});
  return std::max(asked, static_cast<int>(needed));
}

/// Calls work(m); for m up to 4 the argument is a compile-time constant, so that the compiler unrolls the
/// loops. In so small a fit mispredicted loop ends would cost more than the arithmetic.
template <class Work>
void with_order(int m, Work&& work) {
  switch (m) {
    case 1:
      return work(std::integral_constant<int, 1>());
    case 2:
      return work(std::integral_constant<int, 2>());
    case 3:
      return work(std::integral_constant<int, 3>());
    case 4:
      return work(std::integral_constant<int, 4>());
    default:
      return work(m);
  }
}

/// Solves P L U x = b in place with the factors of dgetrf_tol, n x n with leading dimension n. Rounds as the
/// reference LAPACK's dgetrs does; at these sizes a call of dgetrs would cost more than the arithmetic.
/// @param x [n] in: b; out: x
template <class Order>
void solve_with_factors(Order n, const double* factors, const int* pivots, double* __restrict x) {
  const auto factor = [=](int i, int j) { return factors[std::ptrdiff_t{j} * n + i]; };
  for (int i = 0; i < n; ++i) std::swap(x[i], x[pivots[i] - 1]);
  // A zero of x is skipped, as in the BLAS, because zero times an infinite factor would be NaN.
  for (int i = 1; i < n; ++i) {
    for (int j = 0; j < i; ++j) {
      if (x[j] != 0) x[i] -= x[j] * factor(i, j);
    }
  }
  for (int i = n - 1; i >= 0; --i) {
    for (int j = n - 1; j > i; --j) {
      if (x[j] != 0) x[i] -= x[j] * factor(i, j);
    }
    if (x[i] != 0) x[i] /= factor(i, i);
  }
}

std::int64_t at_least_none(int count) { return std::max(count, 0); }

}  // namespace

// ---- Life

MulDomEigenAccel::MulDomEigenAccel(int variables, int eigenvalues, int ringLength, unsigned char,
                                   unsigned char)
    : Accel(variables, ring_length(ringLength, eigenvalues), 0),
      spareOld(0.0),
      spareNew(0.0),
      nEigen(eigenvalues) {
  AllocateArrays();
  const bool complete = correction && oldProjects && gram && spareVector && rhs && pivots;
  if (!complete) ReleaseArrays();
}

void MulDomEigenAccel::AllocateArrays() {
  const std::int64_t blocks = at_least_none(nEigen);
  correction = allocate_zeros(numVar);
  printer3 = new MulDomEigenPrinter(this);
  oldProjects = allocate_zeros(blocks * at_least_none(numVar));
  gram = allocate_zeros(blocks * blocks + blocks * (blocks + 1));
  spareVector = allocate_zeros(blocks);
  rhs = allocate_zeros(blocks);
  pivots = allocate_array<int>(blocks);
}

/// Frees all arrays. The constructor calls it if one could not be allocated, so there are all or none.
void MulDomEigenAccel::ReleaseArrays() {
  free_array(correction);
  free_array(oldProjects);
  free_array(gram);
  free_array(spareVector);
  free_array(rhs);
  free_array(pivots);
}

MulDomEigenAccel::~MulDomEigenAccel() {
  enter_library();
  delete printer3;
  ReleaseArrays();
}

// ---- Acceleration

unsigned char MulDomEigenAccel::Accelerate(double* x) {
  enter_library();
  NewVector(x);
  if (!OKToAccelerate()) return 0;
  return TryToAccelerate(x);
}

unsigned char MulDomEigenAccel::TryToAccelerate(double* x) {
  enter_library();
  if (!Ready(x) || !correction) return 0;
  // The contract has one flag for the whole walk and never sets it back: after a refusal no smaller m is
  // accepted, so only the correction for nEigen is ever taken. The walk goes on to store the corrections that
  // the next try compares with.
  unsigned char accept = 1;
  bool multiplied = false;
  for (int m = nEigen; m >= 1; --m) {
    if (Logging() && printer3) printer3->Eigenvalues(m);
    const bool compare = iter > std::int64_t{m} + 2 && iter > startIteration && Difference(m);
    if (compare && !multiplied) MultiplyDifferences(m);  // includes the products for every smaller m
    multiplied = compare;
    accept = TryWith(m, compare, accept, x);
    if (accept) break;
  }
  return accept;
}

unsigned char MulDomEigenAccel::TryWith(int m, bool compare, unsigned char accept, double* x) {
  if (compare) {
    // A singular fit leaves `correction` as it was. The contract does not look at the outcome of the fit: the
    // tests below judge the older vector, and the projection test is the guard against it.
    ProjectFromProducts(m);
  } else {
    clear(numVar, correction);
  }
  double* const oldProject = oldProjects + std::ptrdiff_t{m - 1} * std::max(numVar, 0);
  const unsigned char agrees = CheckProjectedPoint(compare, correction, oldProject);
  accept = accept && agrees;
  if (accept) accept = CheckNoise();
  if (accept || m == 1) WorkVector(x);  // at the end of the walk only: before it nothing reads the copy
  if (accept) {
    add_multiple(numVar, 1.0, correction, x);
    PerformedAcceleration(x);
  }
  if (Logging() && printer3) printer3->Outcome(accept, x);
  return accept;
}

unsigned char MulDomEigenAccel::Project(int m) {
  enter_library();
  const bool possible = correction && m >= 1 && m <= nEigen && Difference(m);
  if (!possible) return 0;
  MultiplyDifferences(m);
  return ProjectFromProducts(m);
}

bool MulDomEigenAccel::ProjectFromProducts(int m) {
  const bool fits = Fit(m);
  if (fits) Extrapolate(m);
  return fits;
}

/// Returns the place of the inner product of d(i) and d(j), d(i) being the i-th newest difference. The
/// products for i = 0, 1 <= j <= nEigen and for 1 <= j <= i <= nEigen are stored, behind the Gram matrix of
/// the fit.
double& MulDomEigenAccel::ProductOf(int i, int j) const {
  const std::ptrdiff_t order = nEigen;
  return gram[order * order + (j - 1) * (order + 1) + i];
}

/// Forms the inner products that fits of up to m eigenvalues need, up to kDotsAtOnce of them in one pass.
void MulDomEigenAccel::MultiplyDifferences(int m) {
  for (int j = 1; j <= m; ++j) {
    for (int i = 0; i <= m;) {
      int partners[kDotsAtOnce], count = 0;
      const double* differences[kDotsAtOnce];
      for (; i <= m && count < kDotsAtOnce; i = std::max(i + 1, j)) {
        partners[count] = i;
        differences[count++] = Newest(i);
      }
      const Products products = dot_with_each(numVar, Newest(j), differences, count);
      for (int k = 0; k < count; ++k) ProductOf(partners[k], j) = products.with[k];
    }
  }
}

/// Solves the normal equations of the fit d(0) = c(0) d(1) + ... + c(m-1) d(m); rhs receives c.
/// @return false if a pivot is at or below the limit of the LU
bool MulDomEigenAccel::Fit(int m) {
  with_order(m, [this](auto order) {
    for (int j = 0; j < order; ++j) {
      double* const column = gram + std::ptrdiff_t{j} * order;
      for (int i = 0; i < order; ++i) column[i] = i < j ? ProductOf(j + 1, i + 1) : ProductOf(i + 1, j + 1);
      rhs[j] = ProductOf(0, j + 1);
    }
  });
  int info = 0;
  dgetrf_tol(&m, &m, gram, &m, pivots, &info);
  if (info != 0) return false;
  with_order(m, [this](auto order) { solve_with_factors(order, gram, pivots, rhs); });
  return true;
}

/// Sets `correction` to the sum of all further differences of the recurrence with the coefficients in rhs:
/// (S(0) d(0) + ... + S(m-1) d(m-1)) / (1 - S(0)) with S(j) = c(j) + ... + c(m-1).
void MulDomEigenAccel::Extrapolate(int m) {
  double* const factors = gram;  // reuses the place of the LU factors, which are not needed any more
  with_order(m, [this, factors](auto order) {
    for (int j = 0; j < order; ++j) {
      double sum = 0.0;
      for (int i = j; i < order; ++i) sum += rhs[i];
      factors[j] = sum;
    }
    const double scale = 1.0 / (1.0 - factors[0]);  // infinite if c sums to 1: left to the projection test
    for (int j = 0; j < order; ++j) factors[j] *= scale;
  });
  double terms[kTermsAtOnce];
  const double* differences[kTermsAtOnce];
  int count = 0;
  bool anew = true;
  for (int j = 0; j < m; ++j) {
    if (j > 0 && factors[j] == 0) continue;  // skipped as daxpy skips it: 0 times infinity would be NaN
    terms[count] = factors[j];
    differences[count++] = Newest(j);
    if (count < kTermsAtOnce) continue;
    sum_multiples(numVar, terms, differences, count, anew, correction);
    count = 0;
    anew = false;
  }
  if (count > 0) sum_multiples(numVar, terms, differences, count, anew, correction);
}

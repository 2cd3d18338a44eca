#include "accel/mul_dom_eigen_accel.h"

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <utility>

#include "accel/debug_line.h"
#include "accel/vectors.h"
#include "dense/lu.h"
#include "frame/corvid.h"
#include "frame/module.h"

using namespace corvidnum;

/// Writes the lines of MulDomEigenAccel. Private to it.
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

/// A fit of nEigen eigenvalues reads nEigen + 1 differences.
int ring_length(int asked, int nEigen) {
  const std::int64_t needed = std::min(std::int64_t{nEigen} + 2, std::int64_t{INT_MAX});
  return std::max(asked, static_cast<int>(needed));
}

/// x := inverse(P L U) x with the factors of dgetrf_tol, m x m without gaps. Rounds as the reference LAPACK's
/// dgetrs does; at these sizes a call of that costs more than its work.
void solve_with_factors(int m, const double* factors, const int* pivots, double* x) {
  const auto column = [=](int k) { return factors + std::ptrdiff_t{k} * m; };
  for (int k = 0; k < m; ++k) std::swap(x[k], x[pivots[k] - 1]);
  for (int k = 0; k < m; ++k) {
    for (int i = k + 1; i < m; ++i) x[i] -= x[k] * column(k)[i];
  }
  for (int k = m - 1; k >= 0; --k) {
    x[k] /= column(k)[k];
    for (int i = 0; i < k; ++i) x[i] -= x[k] * column(k)[i];
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
  gram = allocate_zeros(blocks * blocks);
  spareVector = allocate_zeros(blocks);
  rhs = allocate_zeros(blocks);
  pivots = allocate_array<int>(blocks);
}

/// An object that lacks one array keeps none.
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
  // One flag for the whole walk, by intent: a refusal holds for all smaller m too. The walk still goes on,
  // to bring their old projections up to date.
  unsigned char accept = 1;
  for (int m = nEigen; m >= 1; --m) {
    if (Logging() && printer3) printer3->Eigenvalues(m);
    accept = TryWith(m, accept, x);
    if (accept) break;
  }
  return accept;
}

unsigned char MulDomEigenAccel::TryWith(int m, unsigned char accept, double* x) {
  const bool compare = iter > std::int64_t{m} + 2 && iter > startIteration;
  if (compare) {
    Project(m);  // after a singular fit the stale correction is judged, by intent
  } else {
    clear(numVar, correction);
  }
  double* const oldProject = oldProjects + std::ptrdiff_t{m - 1} * std::max(numVar, 0);
  const unsigned char agrees = CheckProjectedPoint(compare, correction, oldProject);
  accept = accept && agrees;
  if (accept) accept = CheckNoise();
  WorkVector(x);
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
  if (!possible || !Fit(m)) return 0;
  Extrapolate(m);
  return 1;
}

/// Row and column j of the Gram matrix of d(1) ... d(m), behind the diagonal, and rhs(j).
void MulDomEigenAccel::FillColumn(int j, int m) {
  const auto difference = [this](int i) { return history[current - i]; };
  const auto gram_at = [this, m](int i, int k) -> double& { return gram[std::ptrdiff_t{k} * m + i]; };
  // d(j + 1) is multiplied with d(0), for rhs, and with d(j + 1) ... d(m).
  const int last = m - j;
  for (int first = 0; first <= last; first += kDotsAtOnce) {
    const int count = std::min(kDotsAtOnce, last - first + 1);
    const double* others[kDotsAtOnce];
    for (int k = 0; k < count; ++k) others[k] = difference(first + k == 0 ? 0 : j + first + k);
    const Products products = dot_with_each(numVar, difference(j + 1), others, count);
    for (int k = 0; k < count; ++k) {
      const int i = j + first + k - 1;
      if (first + k == 0) {
        rhs[j] = products.with[k];
      } else {
        gram_at(i, j) = gram_at(j, i) = products.with[k];
      }
    }
  }
}

/// rhs := the coefficients c of the fit d(0) = c(0) d(1) + ... + c(m-1) d(m), d(i) being the i-th newest
/// difference. False: the fit is singular.
bool MulDomEigenAccel::Fit(int m) {
  for (int j = 0; j < m; ++j) FillColumn(j, m);
  int info = 0;
  dgetrf_tol(&m, &m, gram, &m, pivots, &info);
  if (info != 0) return false;
  solve_with_factors(m, gram, pivots, rhs);
  return true;
}

/// correction := the sum of all further differences of the recurrence with the coefficients in rhs. With
/// S(j) = c(j) + ... + c(m-1) it is (S(0) d(0) + ... + S(m-1) d(m-1)) / (1 - S(0)).
void MulDomEigenAccel::Extrapolate(int m) {
  const auto tail = [this, m](int j) {
    double sum = 0.0;
    for (int i = j; i < m; ++i) sum += rhs[i];
    return sum;
  };
  const double factor = 1.0 / (1.0 - tail(0));  // infinite if they sum to 1; the caller's tests judge it
  scale(numVar, tail(0) * factor, Difference(0), correction);
  for (int j = 1; j < m; ++j) add_multiple(numVar, tail(j) * factor, Difference(j), correction);
}

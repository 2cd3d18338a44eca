// Fused level 1 operations. Each kernel reads its vectors once and keeps the order of the roundings:
// element-wise results are rounded as by the separate operations, and inner products add as corvidnum::dot
// does,
//
//   parts[j] = sum of x[i] * y[i] over i = 4k + j, the last n mod 4 elements all in parts[0]
//   x . y    = (parts[0] + parts[1]) + (parts[2] + parts[3])
//
// so that four products at a time fill one vector register without a change of the result. Every public
// function runs its kernel in one of two versions, for AVX2 and for any processor of the target (see run); as
// products and sums are never contracted to fused multiply-adds, both give the same bits.

#include "accel/vectors.h"

#include <cstddef>
#include <cstring>

#include "frame/host_memory.h"

namespace corvidnum {
namespace {

// run<kernel> calls the kernel, on x86-64 in the version compiled for AVX2 if the processor has it: registers
// of four doubles halve the time. The kernels are always inlined, so that each version is compiled for its
// target.
#define CORVIDNUM_INLINED __attribute__((always_inline)) inline
#if defined(__x86_64__)
template <auto kernel, class... Args>
__attribute__((target("avx2"))) auto run_wide(Args... args) {
  return kernel(args...);
}
template <auto kernel, class... Args>
auto run(Args... args) {
  return __builtin_cpu_supports("avx2") ? run_wide<kernel>(args...) : kernel(args...);
}
#else
template <auto kernel, class... Args>
auto run(Args... args) {
  return kernel(args...);
}
#endif

/// Four consecutive elements of a vector, in one register.
using Four = double __attribute__((vector_size(4 * sizeof(double))));

// A vector of the host need not be aligned as a Four is, so elements are copied by memcpy, which compiles to
// an unaligned load or store. A Four is never passed or returned by value, because the calling convention for
// it depends on whether AVX is enabled.
CORVIDNUM_INLINED void load(const double* from, Four& to) { std::memcpy(&to, from, sizeof to); }
CORVIDNUM_INLINED void store(const Four& from, double* to) { std::memcpy(to, &from, sizeof from); }

/// An inner product in the order of corvidnum::dot: four partial sums, the first of which also gets the last
/// one to three elements.
struct Sum {
  Four parts = {0.0, 0.0, 0.0, 0.0};

  double total() const { return (parts[0] + parts[1]) + (parts[2] + parts[3]); }
};

/// Returns the inner products of x with the first `count` of `others`.
template <int count>
CORVIDNUM_INLINED Products dot_with(int n, const double* x, const double* const* others) {
  const double* y[count];
  for (int d = 0; d < count; ++d) y[d] = others[d];
  Sum sums[count];
  int i = 0;
  for (; n - i >= 4; i += 4) {
    Four xs, ys;
    load(x + i, xs);
    for (int d = 0; d < count; ++d) {
      load(y[d] + i, ys);
      sums[d].parts += xs * ys;
    }
  }
  for (; i < n; ++i) {
    for (int d = 0; d < count; ++d) sums[d].parts[0] += x[i] * y[d][i];
  }
  Products products = {};
  for (int d = 0; d < count; ++d) products.with[d] = sums[d].total();
  return products;
}

CORVIDNUM_INLINED void difference_kernel(int n, const double* x, double* difference, double* previous) {
  for (int i = 0; i < n; ++i) {
    const double value = x[i];
    difference[i] = value - previous[i];
    previous[i] = value;
  }
}

CORVIDNUM_INLINED void scale_kernel(int n, double factor, const double* from, double* to) {
  for (int i = 0; i < n; ++i) to[i] = factor * from[i];
}

CORVIDNUM_INLINED void add_kernel(int n, double factor, const double* from, double* to) {
  for (int i = 0; i < n; ++i) to[i] += factor * from[i];
}

CORVIDNUM_INLINED Moments moments_kernel(int n, const double* x, const double* y) {
  Sum xx, xy, yy;
  int i = 0;
  for (; n - i >= 4; i += 4) {
    Four xs, ys;
    load(x + i, xs);
    load(y + i, ys);
    xx.parts += xs * xs;
    xy.parts += xs * ys;
    yy.parts += ys * ys;
  }
  for (; i < n; ++i) {
    xx.parts[0] += x[i] * x[i];
    xy.parts[0] += x[i] * y[i];
    yy.parts[0] += y[i] * y[i];
  }
  return Moments{xx.total(), xy.total(), yy.total()};
}

CORVIDNUM_INLINED Products dots_kernel(int n, const double* x, const double* const* y, int count) {
  switch (count) {
    case 1:
      return dot_with<1>(n, x, y);
    case 2:
      return dot_with<2>(n, x, y);
    case 3:
      return dot_with<3>(n, x, y);
    case 4:
      return dot_with<4>(n, x, y);
    default:
      return dot_with<kDotsAtOnce>(n, x, y);
  }
}

/// to := (anew ? 0 : to) + the first `count` terms factors[k] * others[k], added in this order. With `anew`
/// the first term is stored, not added to 0.
template <int count>
CORVIDNUM_INLINED void sum_of(int n, const double* factors, const double* const* others, bool anew,
                              double* to) {
  double f[count];
  const double* y[count];
  for (int k = 0; k < count; ++k) {
    f[k] = factors[k];
    y[k] = others[k];
  }
  for (int i = 0; i < n; ++i) {
    double sum = f[0] * y[0][i];
    if (!anew) sum = to[i] + sum;
    for (int k = 1; k < count; ++k) sum += f[k] * y[k][i];
    to[i] = sum;
  }
}

CORVIDNUM_INLINED void sum_kernel(int n, const double* factors, const double* const* y, int count, bool anew,
                                  double* to) {
  switch (count) {
    case 1:
      return sum_of<1>(n, factors, y, anew, to);
    case 2:
      return sum_of<2>(n, factors, y, anew, to);
    case 3:
      return sum_of<3>(n, factors, y, anew, to);
    default:
      return sum_of<kTermsAtOnce>(n, factors, y, anew, to);
  }
}

/// The kernel of compare_projections.
template <bool replaceOld>
CORVIDNUM_INLINED ProjectionSquares compare(int n, double* oldProject, const double* difference,
                                            const double* newProject, double* work) {
  Sum correction, disagreement;
  int i = 0;
  for (; n - i >= 4; i += 4) {
    Four old, step, ahead;
    load(oldProject + i, old);
    load(difference + i, step);
    load(newProject + i, ahead);
    const Four apart = (old - step) - ahead;
    store(apart, work + i);
    if (replaceOld) store(ahead, oldProject + i);
    correction.parts += ahead * ahead;
    disagreement.parts += apart * apart;
  }
  for (; i < n; ++i) {
    const double ahead = newProject[i];
    const double apart = (oldProject[i] - difference[i]) - ahead;
    work[i] = apart;
    if (replaceOld) oldProject[i] = ahead;
    correction.parts[0] += ahead * ahead;
    disagreement.parts[0] += apart * apart;
  }
  return ProjectionSquares{correction.total(), disagreement.total()};
}

}  // namespace

double* allocate_zeros(std::int64_t count) {
  double* const array = allocate_array<double>(count);
  if (array && count > 0) std::memset(array, 0, static_cast<std::size_t>(count) * sizeof *array);
  return array;
}

void clear(int n, double* to) {
  if (n > 0) std::memset(to, 0, static_cast<std::size_t>(n) * sizeof *to);
}

void copy(int n, const double* from, double* to) {
  if (n > 0) std::memmove(to, from, static_cast<std::size_t>(n) * sizeof *to);
}

void take_difference(int n, const double* x, double* difference, double* previous) {
  return run<difference_kernel>(n, x, difference, previous);
}

void scale(int n, double factor, const double* from, double* to) {
  return run<scale_kernel>(n, factor, from, to);
}

void add_multiple(int n, double factor, const double* from, double* to) {
  return run<add_kernel>(n, factor, from, to);
}

Moments moments(int n, const double* x, const double* y) { return run<moments_kernel>(n, x, y); }

Products dot_with_each(int n, const double* x, const double* const* y, int count) {
  return run<dots_kernel>(n, x, y, count);
}

void sum_multiples(int n, const double* factors, const double* const* y, int count, bool anew, double* to) {
  return run<sum_kernel>(n, factors, y, count, anew, to);
}

ProjectionSquares compare_projections(int n, double* oldProject, const double* difference,
                                      const double* newProject, double* work, bool replaceOld) {
  return replaceOld ? run<compare<true>>(n, oldProject, difference, newProject, work)
                    : run<compare<false>>(n, oldProject, difference, newProject, work);
}

bool squares_stay_below(int n, const double* x, double limit) {
  double sum = 0.0;
  if (!(sum < limit)) return false;
  // The sum never decreases: once it has reached the limit, or is NaN, it stays there.
  for (int i = 0; i < n; ++i) {
    sum += x[i] * x[i];
    if (!(sum < limit)) return false;
  }
  return true;
}

}  // namespace corvidnum

#pragma once

// Vector operations of the accelerators, fused so that each vector is read as few times as possible. Each
// element is rounded as by a sequence of level 1 BLAS calls, and each sum is added in the order of
// corvidnum::dot unless stated otherwise. Vectors have n elements; n of 0 or less reads and writes nothing.

#include <cmath>
#include <cstdint>

#include "frame/corvid.h"

namespace corvidnum {

/// Allocates `count` zeros by allocate_array; null if memory is refused.
double* allocate_zeros(std::int64_t count);

/// Frees an array of allocate_array and sets its pointer to null.
template <class T>
void free_array(T*& array) {
  Corvid_delete(array);
  array = nullptr;
}

/// to := 0
void clear(int n, double* to);

/// to := from
void copy(int n, const double* from, double* to);

/// difference := x - previous, then previous := x
void take_difference(int n, const double* x, double* difference, double* previous);

/// to := factor * from
void scale(int n, double factor, const double* from, double* to);

/// to := to + factor * from
void add_multiple(int n, double factor, const double* from, double* to);

/// The inner products of two vectors with themselves and each other.
struct Moments {
  double xx, xy, yy;
};
/// Returns x . x, x . y and y . y.
Moments moments(int n, const double* x, const double* y);

/// The most inner products that dot_with_each computes.
constexpr int kDotsAtOnce = 5;
/// The inner products of one vector with up to kDotsAtOnce others.
struct Products {
  double with[kDotsAtOnce];
};
/// Returns with[k] = x . y[k] for k from 0 to count - 1.
/// @param count 1 .. kDotsAtOnce
Products dot_with_each(int n, const double* x, const double* const* y, int count);

/// The most terms that sum_multiples takes.
constexpr int kTermsAtOnce = 4;
/// to := factors[0] * y[0] + ... + factors[count-1] * y[count-1], added in this order.
/// @param count 1 .. kTermsAtOnce
/// @param anew  false: the terms are added to the contents of `to`
void sum_multiples(int n, const double* factors, const double* const* y, int count, bool anew, double* to);

/// The squared Euclidean norms that CheckProjectedPoint compares.
struct ProjectionSquares {
  double correction;    // newProject . newProject
  double disagreement;  // work . work
};
/// work := (oldProject - difference) - newProject, then, with `replaceOld`, oldProject := newProject.
/// Returns the squared norms of newProject and work.
ProjectionSquares compare_projections(int n, double* oldProject, const double* difference,
                                      const double* newProject, double* work, bool replaceOld);

/// Returns whether the sum of squares of x, added in index order, is below the limit.
bool squares_stay_below(int n, const double* x, double limit);

/// Returns the square root of a sum of squares, 0 if it is negative. A NaN stays a NaN.
inline double root(double d) { return d < 0 ? 0 : std::sqrt(d); }

}  // namespace corvidnum

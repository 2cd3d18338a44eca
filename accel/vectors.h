#pragma once

// Vector operations of the accelerators, fused so that each vector is read as seldom as possible. Every
// element is rounded as by the level 1 routines one after the other, and every sum as by corvidnum::dot.
// With n of 0 or less nothing is read or written.

#include <cmath>
#include <cstdint>

#include "frame/corvid.h"

namespace corvidnum {

/// `count` zeros, as allocate_array gives them.
double* allocate_zeros(std::int64_t count);

/// Frees an array of Corvid_new and forgets it.
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

/// The products of two vectors with themselves and each other.
struct Moments {
  double xx, xy, yy;
};
Moments moments(int n, const double* x, const double* y);

/// The products of one vector with up to five others.
constexpr int kDotsAtOnce = 5;
struct Products {
  double with[kDotsAtOnce];
};
/// with[k] = x . y[k] for k from 0 to count - 1.
/// @param count 1 .. kDotsAtOnce
Products dot_with_each(int n, const double* x, const double* const* y, int count);

/// to := factors[0] * y[0] + ..., one term after the other.
/// @param count 1 .. kTermsAtOnce
/// @param anew  false: the terms are added to what `to` holds
constexpr int kTermsAtOnce = 4;
void sum_multiples(int n, const double* factors, const double* const* y, int count, bool anew, double* to);

/// What CheckProjectedPoint compares.
struct ProjectionSquares {
  double correction;    // newProject . newProject
  double disagreement;  // work . work
};
/// work := (oldProject - difference) - newProject, then, if asked for, oldProject := newProject
ProjectionSquares compare_projections(int n, double* oldProject, const double* difference,
                                      const double* newProject, double* work, bool replaceOld);

/// Whether the sum of squares, added in plain order, is below the limit.
bool squares_stay_below(int n, const double* x, double limit);

/// The square root of what should be a sum of squares. A NaN stays a NaN.
inline double root(double d) { return d < 0 ? 0 : std::sqrt(d); }

}  // namespace corvidnum

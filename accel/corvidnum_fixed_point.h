#pragma once

/// @file
/// FixedPoint for C, and for Fortran through bind(C); accel/fixed_point.h tells what each call does. Vectors
/// have `unknowns` elements. A null handle gives NO_MEMORY, or 0.
///
/// @code
/// corvidnum_fixed_point* iteration = corvidnum_fixed_point_create(n);
/// corvidnum_fixed_point_set(iteration, "tolerance", 1e-9);
/// int verdict = corvidnum_fixed_point_start(iteration, x);
/// while (verdict == CORVIDNUM_FIXED_POINT_CONTINUE) {
///   model(x);
///   verdict = corvidnum_fixed_point_pass(iteration, x);
/// }
/// corvidnum_fixed_point_destroy(iteration);
/// @endcode

#include <stdint.h>

#include "frame/export.h"

#ifdef __cplusplus
extern "C" {
#endif

/// A handle. Fortran's type(c_ptr) can stand for no other type.
typedef void corvidnum_fixed_point;

/// Verdicts; the numbers never change.
enum {
  CORVIDNUM_FIXED_POINT_CONTINUE = 0,    ///< evaluate the vector that was handed out
  CORVIDNUM_FIXED_POINT_CONVERGED = 1,   ///< a pass changed nothing beyond the tolerance
  CORVIDNUM_FIXED_POINT_DIVERGING = 2,   ///< plain passes grow
  CORVIDNUM_FIXED_POINT_STALLED = 3,     ///< plain passes do not get smaller
  CORVIDNUM_FIXED_POINT_PASS_LIMIT = 4,  ///< as many passes as allowed were made
  CORVIDNUM_FIXED_POINT_NOT_FINITE = 5,  ///< nothing near the last point can be evaluated
  CORVIDNUM_FIXED_POINT_NO_MEMORY = 6,   ///< memory was refused
  CORVIDNUM_FIXED_POINT_BAD_INPUT = 7    ///< an argument or option is out of its range, or no start was made
};

/// Values of the option "method".
enum {
  CORVIDNUM_FIXED_POINT_METHOD_NONE = 0,      ///< plain passes, judged
  CORVIDNUM_FIXED_POINT_METHOD_DOMINANT = 1,  ///< the dominant eigenvalue
  CORVIDNUM_FIXED_POINT_METHOD_MULTIPLE = 2,  ///< as many as the option "eigenvalues" says
  CORVIDNUM_FIXED_POINT_METHOD_AUTOMATIC = 3  ///< as many as pay
};

/// What became of a step on a pass.
enum {
  CORVIDNUM_FIXED_POINT_STEP_NOT_TRIED = 0,  ///< no step was due
  CORVIDNUM_FIXED_POINT_STEP_REFUSED = 1,    ///< a step was tried and not taken
  CORVIDNUM_FIXED_POINT_STEP_TAKEN = 2,      ///< the vector handed out is an extrapolated one
  CORVIDNUM_FIXED_POINT_STEP_TAKEN_BACK = 3  ///< the step judged by this pass was undone
};

/// Returns a new iteration, which the caller destroys; null if memory is refused.
CORVIDNUM_API corvidnum_fixed_point* corvidnum_fixed_point_create(int unknowns);
/// Frees an iteration; null is allowed.
CORVIDNUM_API void corvidnum_fixed_point_destroy(corvidnum_fixed_point* iteration);

// Settings hold from the next start or restore on.

/// Sets an option by its name. @return 1, or 0 if there is no such option or the value is not in its range
CORVIDNUM_API int corvidnum_fixed_point_set(corvidnum_fixed_point* iteration, const char* name, double value);
/// Returns the value of an option; NaN if there is none of that name.
CORVIDNUM_API double corvidnum_fixed_point_get(corvidnum_fixed_point* iteration, const char* name);
/// Copies nominal sizes; null: none. @return 1; or 0, and the former ones hold, if memory is refused
CORVIDNUM_API int corvidnum_fixed_point_set_nominal(corvidnum_fixed_point* iteration, const double* nominal);
/// Copies bounds; null: none. @return 1; or 0, and both former ones hold, if memory is refused
CORVIDNUM_API int corvidnum_fixed_point_set_bounds(corvidnum_fixed_point* iteration, const double* lower,
                                                   const double* upper);
/// Tells name and range of the i-th option, from 0.
/// @param i    place of the option
/// @param name [capacity] out: ends with a zero character, cut if it is too long
/// @param capacity length of `name`
/// @param lowest, standard, highest out: the range, and the default
/// @return the number of options, also for an i outside, which writes nothing
CORVIDNUM_API int corvidnum_fixed_point_option(int i, char* name, int capacity, double* lowest,
                                               double* standard, double* highest);

/// Allocates, and begins an iteration at x. @return the verdict, as for the next two
CORVIDNUM_API int corvidnum_fixed_point_start(corvidnum_fixed_point* iteration, double* x);
/// Receives the outcome of a pass in x, and puts there what to evaluate next.
CORVIDNUM_API int corvidnum_fixed_point_pass(corvidnum_fixed_point* iteration, double* x);
/// Tells that x cannot be evaluated, and receives what to evaluate instead.
CORVIDNUM_API int corvidnum_fixed_point_discard(corvidnum_fixed_point* iteration, double* x);
/// Copies the vector to evaluate next, as is needed behind a restore. @return 1, or 0 if the iteration has
/// ended
CORVIDNUM_API int corvidnum_fixed_point_next(corvidnum_fixed_point* iteration, double* x);
/// Writes the text of a verdict, cut to [capacity] characters with the zero at its end.
CORVIDNUM_API void corvidnum_fixed_point_text(int verdict, char* text, int capacity);

/// Writes how many passes were made, and steps taken, refused and taken back; null: not wanted.
CORVIDNUM_API void corvidnum_fixed_point_counts(corvidnum_fixed_point* iteration, int64_t* passes,
                                                int64_t* taken, int64_t* refused, int64_t* taken_back);
/// Writes the record of one pass; age 0 is the newest. @return 1, or 0 if there is none
CORVIDNUM_API int corvidnum_fixed_point_record(corvidnum_fixed_point* iteration, int age, int64_t* pass,
                                               double* change, int* step, int* reason, int* eigenvalues,
                                               double* radius, double* passes_ahead);
/// Copies up to `capacity` eigenvalues, the largest magnitude first. @return how many are known
CORVIDNUM_API int corvidnum_fixed_point_eigenvalues(corvidnum_fixed_point* iteration, double* real,
                                                    double* imaginary, int capacity);

/// Returns the bytes of a saved state; 0 before the first start.
CORVIDNUM_API int64_t corvidnum_fixed_point_state_size(corvidnum_fixed_point* iteration);
/// Writes the state. @return 1, or 0 if `bytes` is too small
CORVIDNUM_API int corvidnum_fixed_point_save(corvidnum_fixed_point* iteration, char* state, int64_t bytes);
/// Continues from a saved state with the present settings; unknowns, method, eigenvalues and account_length
/// must be as before. @return 1; or 0, and the iteration is as it was, if the record or memory is refused
CORVIDNUM_API int corvidnum_fixed_point_restore(corvidnum_fixed_point* iteration, const char* state,
                                                int64_t bytes);

#ifdef __cplusplus
}
#endif

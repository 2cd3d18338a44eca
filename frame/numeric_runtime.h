#pragma once

// Small runtime under the numeric routines. Every argument goes by address; the exported functions
// are callable from C and Fortran as they stand.

#include <stddef.h>

#include "frame/export.h"

#ifdef __cplusplus
extern "C" {
#endif

/// Machine constants of the 64-bit double.
/// @param selector 1: smallest positive normal number; 2: largest finite number; 3: 2^-53; 4: 2^-52;
///                 5: log10(2)
/// @return the constant; for any other selector -1e30, after a line on the standard error stream
CORVIDNUM_API double d1mach_(const int* selector);

/// The dot product of two vectors.
/// @param n          elements; 0 or less gives 0
/// @param x, y       the vectors; only read
/// @param incx, incy steps between elements; a negative one walks its vector from the far end
CORVIDNUM_API double ddot_(const int* n, const double* x, const int* incx, const double* y, const int* incy);

/// Error hook of the dense kernels: prints the line and returns, so the kernel goes on to report.
/// @param name   of the routine, not ended by zero
/// @param number of the illegal parameter, 1-based
/// @param length of `name`
/// @return 0
CORVIDNUM_API int xerbla_(const char* name, const int* number, size_t length);

#ifdef __cplusplus
}
#endif

#ifdef __cplusplus

namespace corvidnum {

/// Machine constants as stored decimal approximations; the bit patterns never change.
/// @param selector 1: smallest x with 1 + x > 1; 2: smallest x with 1 - x < 1; 3: smallest positive
///                 number; 4: smallest positive number of full precision; 5: largest finite number.
///                 Any other ends the process with exit status 0.
double FD05AD(const int* selector);
/// The same in single precision, where 3 is a normal number as 4 is.
float FD05A(const int* selector);

/// Nearest integer, halves away from zero. A NaN and what does not fit 32 bits give INT_MIN.
int round_to_nearest(const double* value);

/// One diagnostic line of the print protocol.
struct PrintControl {
  int errorReturn;
  int unit;
  int endOfFileReturn;
  const char* format;  // parenthesised, each literal bracketed by the byte 0x02
  int record;
};

// The print protocol: write_begin, a write_item for each value shown, write_end. It is silent by intent:
// the numeric routines keep their diagnostics, and no line is printed.
inline int write_begin(const PrintControl*) { return 0; }
inline int write_item(const int* /*count*/, const void* /*value*/, int /*bytes*/) { return 0; }
inline int write_end() { return 0; }

/// Ends the process with exit status 0 and normal exit processing; with `length` above 0 it first writes
/// the text to the standard error stream as that of a stop statement.
[[noreturn]] void stop_run(const char* text, int length);

/// Error hook of the dense kernels: prints name and parameter number, returns 0.
/// @param name ended by zero
int xerbla(const char* name, const int* number);

/// Compares two texts as if the shorter one were extended with blanks; negative lengths are empty.
/// @return the difference of the first bytes that differ, or 0
int compare_blank_padded(const char* a, const char* b, int lengthOfA, int lengthOfB);

/// Fills `target` with `source`, cut or extended with blanks to the target's length. Copies bytes forward,
/// which overlapping texts may rely on. No ending zero is written; negative lengths are empty.
void copy_blank_padded(char* target, const char* source, int lengthOfTarget, int lengthOfSource);

/// The dot product behind ddot_. The library calls this one, so that a host's ddot_ never serves it.
double dot(int n, const double* x, int incx, const double* y, int incy);

}  // namespace corvidnum

#endif

#pragma once

/// @file
/// The runtime that the numeric routines share. The exported functions take every argument by address, so C
/// and Fortran can call them as they are.

#include <stddef.h>

#include "frame/export.h"

#ifdef __cplusplus
extern "C" {
#endif

/// Returns a machine constant of the 64-bit double.
/// @param selector 1: smallest positive normal number; 2: largest finite number; 3: 2^-53; 4: 2^-52;
///                 5: log10(2)
/// @return the constant; for any other selector -1e30, after a line on the standard error stream
CORVIDNUM_API double d1mach_(const int* selector);

/// Returns the dot product of two vectors, with the arguments of the BLAS routine.
/// @param n          number of elements; 0 or less returns 0
/// @param x, y       the vectors; only read
/// @param incx, incy steps between elements; a negative step starts at the vector's far end
CORVIDNUM_API double ddot_(const int* n, const double* x, const int* incx, const double* y, const int* incy);

/// Prints which parameter of a dense kernel was illegal, on the standard output stream, and returns. It
/// replaces LAPACK's routine of this name, which ends the process: here the kernel returns its error code.
/// @param name   name of the kernel, without an ending zero
/// @param number number of the illegal parameter, 1-based
/// @param length length of `name`; only the first 63 characters are used
/// @return 0
CORVIDNUM_API int xerbla_(const char* name, const int* number, size_t length);

#ifdef __cplusplus
}
#endif

#ifdef __cplusplus

namespace corvidnum {

/// Returns a machine constant of the 64-bit double as a stored decimal approximation, whose bit pattern never
/// changes.
/// @param selector 1: smallest x with 1 + x > 1; 2: smallest x with 1 - x < 1; 3: smallest positive
///                 number; 4: smallest positive number of full precision; 5: largest finite number.
///                 Any other selector ends the process with exit status 0.
double FD05AD(const int* selector);
/// Returns the constant of single precision. Selector 3 gives the smallest normal number, as selector 4 does,
/// where FD05AD gives the smallest denormal one.
float FD05A(const int* selector);

/// Returns the nearest integer, with halves rounded away from zero. A NaN and values that do not fit 32 bits
/// give INT_MIN.
int round_to_nearest(const double* value);

/// Describes one diagnostic line of the print protocol.
struct PrintControl {
  int errorReturn;      ///< not 0: an error returns to the caller
  int unit;             ///< unit of the output
  int endOfFileReturn;  ///< not 0: the end of the file returns to the caller
  const char* format;   ///< parenthesised, each literal bracketed by the byte 0x02
  int record;           ///< number of the record of a direct-access file
};

/// Begins a line of the print protocol: write_begin, a write_item for each value, write_end. The three do
/// nothing, because a library must not write into its host's output: callers learn of errors and warnings by
/// the status arguments. The calls stay in the numeric routines to say what each diagnostic line would show.
inline int write_begin(const PrintControl*) { return 0; }
/// Passes a value of the line; does nothing, see write_begin.
inline int write_item(const int* /*count*/, const void* /*value*/, int /*bytes*/) { return 0; }
/// Ends the line; does nothing, see write_begin.
inline int write_end() { return 0; }

/// Ends the process with exit status 0, running the normal exit processing. With `length` above 0 it first
/// writes "STOP <text> statement executed" to the standard error stream.
/// @param text   what to write
/// @param length length of `text`, which need not end with a zero
[[noreturn]] void stop_run(const char* text, int length);

/// Prints which parameter of a dense kernel was illegal, on the standard output stream, and returns 0.
/// @param name   name of the kernel, ended by a zero
/// @param number number of the illegal parameter, 1-based
int xerbla(const char* name, const int* number);

/// Compares two texts as if the shorter one were extended with blanks; a negative length counts as 0.
/// @return the first differing byte of `a` minus that of `b`, both unsigned; 0 if the texts are equal
int compare_blank_padded(const char* a, const char* b, int lengthOfA, int lengthOfB);

/// Copies `source` to `target`, cut or extended with blanks to the target's length. Bytes are copied from the
/// first to the last, an order that callers with overlapping texts may rely on. No ending zero is written; a
/// negative length counts as 0.
void copy_blank_padded(char* target, const char* source, int lengthOfTarget, int lengthOfSource);

/// Returns the dot product, as ddot_ does. The library calls this function and not ddot_, whose name a host
/// or a BLAS may define as well.
double dot(int n, const double* x, int incx, const double* y, int incy);

}  // namespace corvidnum

#endif

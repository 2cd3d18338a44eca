// What the numeric routines stand on, in this order:
//
//   FD05AD, FD05A             machine constants by a selector 1 .. 5; another one ends the process;
//   round_to_nearest()        rounds halves away from zero; INT_MIN for what is no int;
//   stop_run(), xerbla()      the end of a run, and the complaint of a dense kernel about an argument;
//   compare_blank_padded(), copy_blank_padded()  texts that blanks fill up to their length;
//   dot()                     the dot product; contiguous vectors in four partial sums, an order that the
//                             accelerators' kernels share;
//   d1mach_, ddot_, xerbla_   the same for callers from outside the library.

#include "frame/numeric_runtime.h"

#include <climits>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>

#include "frame/module.h"

namespace corvidnum {
namespace {

constexpr int kConstants = 5;

// Tables indexed by selector - 1. The doubles are decimal approximations, not exact powers of two: their bit
// patterns are part of the contract, and these literals give them. In single precision, constant 3 is a
// normal number, in double precision the smallest denormal one; that difference is part of the contract too.
constexpr double kDoubleConstants[kConstants] = {2.2204460492504e-16, 1.1102230246253e-16,
                                                 4.9406564584124654e-324, 2.2250738585073e-308,
                                                 1.7976931348622e+308};
constexpr std::uint32_t kFloatConstants[kConstants] = {0x34000001, 0x33800000, 0x00800001, 0x00800001,
                                                       0x7F7FFFFF};

/// Ends the process with exit status 0: a selector outside the table is a programming error that has no error
/// return. The message goes through the print protocol, which prints nothing.
[[noreturn]] void refuse_selector(const char* format, const int* selector) {
  const PrintControl line = {0, 6, 0, format, 0};
  const int one = 1;
  write_begin(&line);
  write_item(&one, selector, sizeof *selector);
  write_end();
  stop_run("", 0);
}

bool in_table(int selector) { return selector >= 1 && selector <= kConstants; }

/// Returns the address of the first element of a BLAS vector; a negative step starts at the far end.
const double* first_element(const double* x, int n, int inc) {
  return inc < 0 ? x + (1 - static_cast<std::ptrdiff_t>(n)) * inc : x;
}

double contiguous_dot(std::ptrdiff_t n, const double* x, const double* y) {
  // Four independent partial sums, so that the additions overlap in the pipeline. The order of the summation
  // is fixed: the accelerators' kernels add in the same order and get the same bits.
  double sums[4] = {0.0, 0.0, 0.0, 0.0};
  std::ptrdiff_t i = 0;
  for (; i + 4 <= n; i += 4) {
    for (std::ptrdiff_t k = 0; k < 4; ++k) sums[k] += x[i + k] * y[i + k];
  }
  for (; i < n; ++i) sums[0] += x[i] * y[i];
  return (sums[0] + sums[1]) + (sums[2] + sums[3]);
}

unsigned byte_at(const char* text, int i) { return static_cast<unsigned char>(text[i]); }

/// Returns the first byte at or after `from` that is not a blank, or a blank if there is none.
unsigned first_non_blank(const char* text, int from, int length) {
  for (int i = from; i < length; ++i) {
    if (text[i] != ' ') return byte_at(text, i);
  }
  return ' ';
}

}  // namespace

double FD05AD(const int* selector) {
  if (in_table(*selector)) return kDoubleConstants[*selector - 1];
  refuse_selector("(\002 INUM =\002,i3,\002 OUT OF RANGE IN FD05AD.\002,\002 EXECUTION TERMINATED.\002)",
                  selector);
}

float FD05A(const int* selector) {
  if (!in_table(*selector)) {
    refuse_selector("(\002 INUM =\002,i3,\002 OUT OF RANGE IN FD05A.\002,\002 EXECUTION TERMINATED.\002)",
                    selector);
  }
  float value;
  std::memcpy(&value, &kFloatConstants[*selector - 1], sizeof value);
  return value;
}

int round_to_nearest(const double* value) {
  const double x = *value;
  const double rounded = x >= 0 ? std::floor(x + 0.5) : -std::floor(0.5 - x);
  const bool fits = rounded >= INT_MIN && rounded <= INT_MAX;
  return fits ? static_cast<int>(rounded) : INT_MIN;
}

void stop_run(const char* text, int length) {
  if (length > 0) {
    std::fputs("STOP ", stderr);
    std::fwrite(text, 1, static_cast<std::size_t>(length), stderr);
    std::fputs(" statement executed\n", stderr);
  }
  std::exit(0);
}

int xerbla(const char* name, const int* number) {
  std::printf("** On entry to %6s, parameter number %2i had an illegal value\n", name, *number);
  return 0;
}

int compare_blank_padded(const char* a, const char* b, int lengthOfA, int lengthOfB) {
  const int common = lengthOfA < lengthOfB ? lengthOfA : lengthOfB;
  for (int i = 0; i < common; ++i) {
    if (a[i] != b[i]) return static_cast<int>(byte_at(a, i)) - static_cast<int>(byte_at(b, i));
  }
  const int tail = common > 0 ? common : 0;
  if (lengthOfA > lengthOfB) return static_cast<int>(first_non_blank(a, tail, lengthOfA)) - ' ';
  return ' ' - static_cast<int>(first_non_blank(b, tail, lengthOfB));
}

void copy_blank_padded(char* target, const char* source, int lengthOfTarget, int lengthOfSource) {
  int i = 0;
  for (; i < lengthOfTarget && i < lengthOfSource; ++i) target[i] = source[i];
  for (; i < lengthOfTarget; ++i) target[i] = ' ';
}

double dot(int n, const double* x, int incx, const double* y, int incy) {
  if (n <= 0) return 0.0;
  if (incx == 1 && incy == 1) return contiguous_dot(n, x, y);
  const double* px = first_element(x, n, incx);
  const double* py = first_element(y, n, incy);
  double sum = 0.0;
  for (std::ptrdiff_t i = 0; i < n; ++i) sum += px[i * incx] * py[i * incy];
  return sum;
}

}  // namespace corvidnum

extern "C" {

double d1mach_(const int* selector) {
  corvidnum::enter_library();
  using Double = std::numeric_limits<double>;
  switch (*selector) {
    case 1:
      return Double::min();
    case 2:
      return Double::max();
    case 3:
      return Double::epsilon() / 2;
    case 4:
      return Double::epsilon();
    case 5:
      return std::log10(2.0);
    default:
      std::fprintf(stderr, "invalid argument: d1mach(%ld)\n", static_cast<long>(*selector));
      return -1e30;
  }
}

double ddot_(const int* n, const double* x, const int* incx, const double* y, const int* incy) {
  corvidnum::enter_library();
  return corvidnum::dot(*n, x, *incx, y, *incy);
}

int xerbla_(const char* name, const int* number, size_t length) {
  corvidnum::enter_library();
  char ended[64] = {};  // callers pass blank-padded names without an ending zero
  const std::size_t most = sizeof ended - 1;
  std::strncpy(ended, name, length < most ? length : most);
  return corvidnum::xerbla(ended, number);
}
}

#pragma once

// Dumps of the arguments of a routine, on entry and on return, for ICNTL(3) of at least 3.

#include "sparse/ma38/report/messages.h"

namespace corvidnum {
namespace ma38 {

/// Holds the arguments of the routine that dumps: 0 or null where it has no such argument.
struct PrintArguments {
  Who who;
  bool output;  // on return, when INFO and RINFO are set
  int n, ne, job, trans, lvalue, lindex, lw;
  const double* value;
  const int* index;
  const int* keep;
  const double* b;
  const double* x;
  const double* w;
  const double* cntl;
  const int* icntl;
  const int* info;
  const double* rinfo;
};
/// Dumps the arguments, the factors among them, if ICNTL(2) and ICNTL(3) ask for it.
void ma38_print(const PrintArguments& arguments);

}  // namespace ma38
}  // namespace corvidnum

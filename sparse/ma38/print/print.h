#pragma once

// The dump of the arguments.

#include "sparse/ma38/report/messages.h"

namespace corvidnum {
namespace ma38 {

/// Arguments of the routine that dumps; null where it has none.
struct PrintArguments {
  Who who;
  bool output;
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
void ma38_print(const PrintArguments& arguments);

}  // namespace ma38
}  // namespace corvidnum

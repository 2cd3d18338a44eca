#include <float.h>
#include <frame/numeric_runtime.h>
#include <stdio.h>

int main(void) {
  const double x[3] = {1.0, 2.0, 3.0};
  const int n = 3, forward = 1, backward = -1, epsilon = 4;
  const double squares = ddot_(&n, x, &forward, x, &forward);
  const double mirrored = ddot_(&n, x, &forward, x, &backward);
  printf("ddot_ %g and %g, d1mach_ %g\n", squares, mirrored, d1mach_(&epsilon));
  return squares == 14.0 && mirrored == 10.0 && d1mach_(&epsilon) == DBL_EPSILON ? 0 : 1;
}

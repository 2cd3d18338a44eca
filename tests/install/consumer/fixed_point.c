#include <accel/corvidnum_fixed_point.h>
#include <math.h>
#include <stdio.h>

/* x := 10 + A (x - 10) with eigenvalues 0.95 and 0.6; 1 if it converges there in few passes. */
int main(void) {
  double x[2] = {0, 0};
  corvidnum_fixed_point* const iteration = corvidnum_fixed_point_create(2);
  const int set = corvidnum_fixed_point_set(iteration, "tolerance", 1e-10);
  int verdict = corvidnum_fixed_point_start(iteration, x);
  while (verdict == CORVIDNUM_FIXED_POINT_CONTINUE) {
    const double a = x[0] - 10, b = x[1] - 10;
    x[0] = 10 + 0.95 * a;
    x[1] = 10 + 0.35 * a + 0.6 * b;
    verdict = corvidnum_fixed_point_pass(iteration, x);
  }
  int64_t passes, taken, refused, taken_back;
  corvidnum_fixed_point_counts(iteration, &passes, &taken, &refused, &taken_back);
  corvidnum_fixed_point_destroy(iteration);
  char text[20];
  corvidnum_fixed_point_text(verdict, text, 20);
  printf("%s at %.12g %.12g after %ld passes\n", text, x[0], x[1], (long)passes);
  const int good = set && verdict == CORVIDNUM_FIXED_POINT_CONVERGED && passes < 40;
  return good && fabs(x[0] - 10) + fabs(x[1] - 10) < 1e-6 ? 0 : 1;
}

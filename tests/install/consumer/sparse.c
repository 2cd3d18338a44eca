#include <math.h>
#include <sparse/ma48/ma48_routines.h>
#include <stdio.h>
#include <string.h>

enum { kOrder = 3, kEntries = 5, kLength = 40 };

/* Solves for 1, 2, 3 with the values given; 1 if that is what comes out. */
static int solves(int job, const double* values, const double* b) {
  static const int n = kOrder, ne = kEntries, la = kLength, plain = 0, one = 1;
  static int irn[kLength] = {1, 1, 2, 3, 3}, jcn[kLength] = {1, 3, 2, 1, 3};
  static int keep[10 * kOrder + 7], iw[9 * kOrder], icntl[9], info[12];
  static double a[kLength], cntl[5], w[4 * kOrder];
  double rhs[kOrder], x[kOrder], error[3], rinfo;
  memcpy(a, values, kEntries * sizeof *a);
  memcpy(rhs, b, sizeof rhs);
  if (job == 1) {
    ma48id_(cntl, icntl);
    ma48ad_(&n, &n, &ne, &one, &la, a, irn, jcn, keep, cntl, icntl, iw, info, &rinfo);
    if (info[0] != 0) return 0;
  }
  ma48bd_(&n, &n, &ne, &job, &la, a, irn, jcn, keep, cntl, icntl, w, iw, info, &rinfo);
  if (info[0] != 0) return 0;
  ma48cd_(&n, &n, &plain, &one, &la, a, irn, keep, cntl, icntl, rhs, x, error, w, iw, info);
  printf("job %d: %.15g %.15g %.15g, status %d\n", job, x[0], x[1], x[2], info[0]);
  return info[0] == 0 && fabs(x[0] - 1) + fabs(x[1] - 2) + fabs(x[2] - 3) < 1e-14;
}

int main(void) {
  const double first[] = {2, 1, 4, 1, 3}, first_b[] = {5, 8, 10};
  const double second[] = {3, 1, 5, 1, 2}, second_b[] = {6, 10, 7};
  return solves(1, first, first_b) && solves(2, second, second_b) ? 0 : 1;
}

#include <math.h>
#include <sparse/ma48/ma48_routines.h>
#include <stdio.h>
#include <string.h>

enum { kOrder = 3, kEntries = 5, kLength = 40 };

/* Solves for 1, 2, 3 with the values given; 1 if that is what comes out. */
static int solves(int job, const double* values, const double* b) {
  static const int n = kOrder, ne = kEntries, la = kLength, plain = 0;
  static const int analyse = MA48_ANALYSE_FREELY, solve = MA48_SOLVE_ONLY;
  static int irn[kLength] = {1, 1, 2, 3, 3}, jcn[kLength] = {1, 3, 2, 1, 3};
  static int keep[10 * kOrder + 7], iw[9 * kOrder], icntl[MA48_ICNTL_LENGTH], info[MA48_INFO_LENGTH];
  static double a[kLength], cntl[MA48_CNTL_LENGTH], w[4 * kOrder];
  double rhs[kOrder], x[kOrder], error[MA48_ERROR_LENGTH], rinfo;
  memcpy(a, values, kEntries * sizeof *a);
  memcpy(rhs, b, sizeof rhs);
  if (job == MA48_FACTOR_FREELY) {
    ma48id_(cntl, icntl);
    ma48ad_(&n, &n, &ne, &analyse, &la, a, irn, jcn, keep, cntl, icntl, iw, info, &rinfo);
    if (ma48_info(info, MA48_INFO_STATUS) != MA48_STATUS_OK) return 0;
  }
  ma48bd_(&n, &n, &ne, &job, &la, a, irn, jcn, keep, cntl, icntl, w, iw, info, &rinfo);
  if (ma48_info(info, MA48_INFO_STATUS) != MA48_STATUS_OK) return 0;
  ma48cd_(&n, &n, &plain, &solve, &la, a, irn, keep, cntl, icntl, rhs, x, error, w, iw, info);
  const int status = ma48_info(info, MA48_INFO_STATUS);
  printf("job %d: %.15g %.15g %.15g, status %d\n", job, x[0], x[1], x[2], status);
  return status == MA48_STATUS_OK && fabs(x[0] - 1) + fabs(x[1] - 2) + fabs(x[2] - 3) < 1e-14;
}

int main(void) {
  const double first[] = {2, 1, 4, 1, 3}, first_b[] = {5, 8, 10};
  const double second[] = {3, 1, 5, 1, 2}, second_b[] = {6, 10, 7};
  const int solved = solves(MA48_FACTOR_FREELY, first, first_b);
  return solved && solves(MA48_FACTOR_SAME_PIVOTS, second, second_b) ? 0 : 1;
}

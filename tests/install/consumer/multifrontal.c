#include <math.h>
#include <sparse/ma38/ma38_routines.h>
#include <stdio.h>
#include <string.h>

enum { kOrder = 3, kEntries = 5, kReals = 100, kIndices = 300 };
typedef int Factorise(const int*, const int*, const int*, const int*, const int*, const int*, double*, int*,
                      int*, const double*, const int*, int*, double*);

static const int n = kOrder, ne = kEntries, plain = 0, lvalue = kReals, lindex = kIndices;
static const int factor = MA38_FACTOR_ONLY, solve = MA38_SOLVE_WHOLE;
static int index_array[kIndices], keep[MA38_KEEP_LENGTH], icntl[MA38_ICNTL_LENGTH], info[MA38_INFO_LENGTH];
static double value[kReals], cntl[MA38_CNTL_LENGTH], rinfo[MA38_RINFO_LENGTH], w[2 * kOrder];

/* Solves for 1, 2, 3 with the values given; 1 if that is what comes out. */
static int solves(Factorise* factorise, const double* values, const double* b) {
  static const int places[2 * kEntries] = {1, 1, 2, 3, 3, 1, 3, 2, 1, 3};
  double x[kOrder];
  memcpy(value, values, kEntries * sizeof *values);
  memcpy(index_array, places, sizeof places);
  factorise(&n, &ne, &factor, &plain, &lvalue, &lindex, value, index_array, keep, cntl, icntl, info, rinfo);
  if (ma38_info(info, MA38_INFO_STATUS) != MA38_STATUS_OK) return 0;
  ma38cd_(&n, &solve, &plain, &lvalue, &lindex, value, index_array, keep, b, x, w, cntl, icntl, info, rinfo);
  const int status = ma38_info(info, MA38_INFO_STATUS);
  printf("%.15g %.15g %.15g, status %d\n", x[0], x[1], x[2], status);
  return status == MA38_STATUS_OK && fabs(x[0] - 1) + fabs(x[1] - 2) + fabs(x[2] - 3) < 1e-14;
}

int main(void) {
  const double first[] = {2, 1, 4, 1, 3}, first_b[] = {5, 8, 10};
  const double second[] = {3, 1, 5, 1, 2}, second_b[] = {6, 10, 7};
  ma38id_(keep, cntl, icntl);
  return solves(ma38ad_, first, first_b) && solves(ma38bd_, second, second_b) ? 0 : 1;
}

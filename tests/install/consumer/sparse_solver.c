#include <math.h>
#include <sparse/corvidnum_sparse.h>
#include <stdio.h>

enum { kOrder = 3, kEntries = 5 };

/* Solves for 1, 2, 3 in place; 1 if that is what comes out. */
static int solves(corvidnum_sparse* solver, const double* b) {
  double x[kOrder] = {b[0], b[1], b[2]};
  const int status = corvidnum_sparse_solve(solver, x, x, 1);
  printf("%s by %s: %.15g %.15g %.15g, backward error %.1e\n", corvidnum_sparse_status_text(status),
         corvidnum_sparse_method_name((int)corvidnum_sparse_report(solver, CORVIDNUM_SPARSE_REPORT_METHOD)),
         x[0], x[1], x[2], corvidnum_sparse_report(solver, CORVIDNUM_SPARSE_REPORT_BACKWARD_ERROR));
  return status == CORVIDNUM_SPARSE_SOLVED && fabs(x[0] - 1) + fabs(x[1] - 2) + fabs(x[2] - 3) < 1e-14;
}

int main(void) {
  static const int rows[kEntries] = {0, 0, 1, 2, 2}, columns[kEntries] = {0, 2, 1, 0, 2};
  const double first[] = {2, 1, 4, 1, 3}, first_b[] = {5, 8, 10};
  const double second[] = {3, 1, 5, 1, 2}, second_b[] = {6, 10, 7};
  const double dependent[] = {2, 1, 4, 4, 2}; /* the last equation is twice the first */
  int equation = -1;
  corvidnum_sparse* const solver = corvidnum_sparse_create(kOrder, kEntries, rows, columns, 0);
  int good =
      corvidnum_sparse_set_option(solver, "bound", 1e-14) == CORVIDNUM_SPARSE_NOT_FACTORISED &&
      corvidnum_sparse_factorise(solver, first) == CORVIDNUM_SPARSE_FACTORISED && solves(solver, first_b) &&
      corvidnum_sparse_refactorise(solver, second) == CORVIDNUM_SPARSE_FACTORISED && solves(solver, second_b);
  good = good && corvidnum_sparse_factorise(solver, dependent) == CORVIDNUM_SPARSE_SINGULAR &&
         corvidnum_sparse_diagnose(solver, NULL, NULL) == CORVIDNUM_SPARSE_SINGULAR &&
         corvidnum_sparse_indices(solver, CORVIDNUM_SPARSE_DEPENDENT_EQUATIONS, &equation, 1) == 1 &&
         equation != 1;
  corvidnum_sparse_destroy(solver);
  return good ? 0 : 1;
}

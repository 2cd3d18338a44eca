program sparse_solver
  use corvidnum
  implicit none
  integer(c_int), parameter :: n = 3, ne = 5
  integer(c_int), parameter :: rows(ne) = [1, 1, 2, 3, 3], columns(ne) = [1, 3, 2, 1, 3]
  type(c_ptr) :: solver, name
  integer(c_int) :: blocks, begin(n + 1), row(n), equations(n), found, rank, status
  real(c_double) :: bound, highest

  solver = corvidnum_sparse_create(n, ne, rows, columns, 1)
  if (corvidnum_sparse_set_option(solver, 'method ', 1d0*CORVIDNUM_SPARSE_MA48) /= &
      CORVIDNUM_SPARSE_NOT_FACTORISED .or. corvidnum_sparse_option(solver, 'method') /= CORVIDNUM_SPARSE_MA48 &
      .or. corvidnum_sparse_set_option(solver, 'metho', 0d0) /= CORVIDNUM_SPARSE_BAD_INPUT) &
    error stop 'options by name are wrong'
  if (corvidnum_sparse_option_table(0, name, highest=highest) /= 1) error stop 'no table of options'
  if (corvidnum_text(name) /= 'method' .or. highest /= CORVIDNUM_SPARSE_MA38) error stop 'its table is wrong'

  if (corvidnum_sparse_factorise(solver, [2d0, 1d0, 4d0, 1d0, 3d0]) /= CORVIDNUM_SPARSE_FACTORISED) &
    error stop 'corvidnum_sparse_factorise failed'
  call solve([5d0, 8d0, 10d0])
  if (corvidnum_sparse_forward_error(solver, [5d0, 8d0, 10d0], [1d0, 2d0, 3d0], 0, bound) /= &
      CORVIDNUM_SPARSE_FACTORISED .or. bound > 1d-13) error stop 'corvidnum_sparse_forward_error is wrong'
  if (corvidnum_sparse_refactorise(solver, [3d0, 1d0, 5d0, 1d0, 2d0]) /= CORVIDNUM_SPARSE_FACTORISED) &
    error stop 'corvidnum_sparse_refactorise failed'
  call solve([6d0, 10d0, 7d0])

  if (corvidnum_sparse_blocks(solver, blocks, begin, row) /= CORVIDNUM_SPARSE_FACTORISED .or. blocks /= 2) &
    error stop 'corvidnum_sparse_blocks failed'
  if (count(row(begin(1) + 1:begin(2)) == 2) + count(row(begin(2) + 1:begin(3)) == 2) /= 1 .or. &
      begin(3) /= n) error stop 'corvidnum_sparse_blocks is wrong'

  ! The third equation twice the first
  if (corvidnum_sparse_factorise(solver, [2d0, 1d0, 4d0, 4d0, 2d0]) /= CORVIDNUM_SPARSE_SINGULAR) &
    error stop 'a singular matrix was factorised'
  status = corvidnum_sparse_diagnose(solver, numerical_rank=rank)
  found = corvidnum_sparse_indices(solver, CORVIDNUM_SPARSE_DEPENDENT_EQUATIONS, equations, n)
  if (status /= CORVIDNUM_SPARSE_SINGULAR .or. rank /= 2 .or. found /= 1 .or. all(equations(1) /= [1, 3])) &
    error stop 'corvidnum_sparse_diagnose is wrong'
  call corvidnum_sparse_destroy(solver)

contains
  subroutine solve(b)
    real(c_double), intent(in) :: b(n)
    real(c_double) :: x(n)
    status = corvidnum_sparse_solve(solver, b, x, 1)
    print *, corvidnum_text(corvidnum_sparse_status_text(status)), x, ', backward error', &
      corvidnum_sparse_report(solver, CORVIDNUM_SPARSE_REPORT_BACKWARD_ERROR)
    if (status /= CORVIDNUM_SPARSE_SOLVED .or. any(abs(x - [1d0, 2d0, 3d0]) > 1d-14)) &
      error stop 'corvidnum_sparse_solve is wrong'
  end subroutine
end program

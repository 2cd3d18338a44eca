program multifrontal
  use corvidnum
  implicit none
  integer(c_int), parameter :: n = 3, ne = 5, lvalue = 100, lindex = 300
  integer(c_int), parameter :: rows(ne) = [1, 1, 2, 3, 3], columns(ne) = [1, 3, 2, 1, 3]
  integer(c_int) :: index(lindex) = 0, keep(MA38_KEEP_LENGTH) = 0, icntl(MA38_ICNTL_LENGTH)
  integer(c_int) :: info(MA38_INFO_LENGTH), orders(n), returned
  real(c_double) :: value(lvalue) = 0, cntl(MA38_CNTL_LENGTH), rinfo(MA38_RINFO_LENGTH), w(2*n)

  returned = ma38id(keep, cntl, icntl)
  call load([2d0, 1d0, 4d0, 1d0, 3d0])
  returned = ma38ad(n, ne, MA38_FACTOR_ONLY, 0, lvalue, lindex, value, index, keep, cntl, icntl, info, rinfo)
  if (info(MA38_INFO_STATUS) /= MA38_STATUS_OK) error stop 'ma38ad failed'
  if (info(MA38_INFO_BLOCKS) /= 2 .or. ma38blocks(n, lindex, index, keep, orders) /= 2) &
    error stop 'ma38blocks is wrong'
  if (sum(orders(:2)) /= n) error stop 'orders of blocks are wrong'
  call solve([5d0, 8d0, 10d0])
  call load([3d0, 1d0, 5d0, 1d0, 2d0])
  returned = ma38bd(n, ne, MA38_FACTOR_ONLY, 0, lvalue, lindex, value, index, keep, cntl, icntl, info, rinfo)
  if (info(MA38_INFO_STATUS) /= MA38_STATUS_OK) error stop 'ma38bd failed'
  call solve([6d0, 10d0, 7d0])

contains
  subroutine load(values)
    real(c_double), intent(in) :: values(ne)
    value(:ne) = values
    index(:2*ne) = [rows, columns]
  end subroutine

  subroutine solve(b)
    real(c_double), intent(in) :: b(n)
    real(c_double) :: x(n)
    returned = ma38cd(n, MA38_SOLVE_WHOLE, 0, lvalue, lindex, value, index, keep, b, x, w, cntl, icntl, info, &
                      rinfo)
    print *, 'solution', x, ', status', info(MA38_INFO_STATUS)
    if (info(MA38_INFO_STATUS) /= MA38_STATUS_OK .or. any(abs(x - [1d0, 2d0, 3d0]) > 1d-14)) &
      error stop 'ma38cd is wrong'
  end subroutine
end program

program multifrontal
  implicit none
  integer, external :: ma38id, ma38ad, ma38bd, ma38cd
  integer, parameter :: n = 3, ne = 5, lvalue = 100, lindex = 300
  integer, parameter :: rows(ne) = [1, 1, 2, 3, 3], columns(ne) = [1, 3, 2, 1, 3]
  integer :: index(lindex) = 0, keep(20) = 0, icntl(20), info(40), returned
  double precision :: value(lvalue) = 0, cntl(10), rinfo(20), w(2*n)

  returned = ma38id(keep, cntl, icntl)
  call load([2d0, 1d0, 4d0, 1d0, 3d0])
  returned = ma38ad(n, ne, 0, 0, lvalue, lindex, value, index, keep, cntl, icntl, info, rinfo)
  if (info(1) /= 0) error stop 'ma38ad failed'
  call solve([5d0, 8d0, 10d0])
  call load([3d0, 1d0, 5d0, 1d0, 2d0])
  returned = ma38bd(n, ne, 0, 0, lvalue, lindex, value, index, keep, cntl, icntl, info, rinfo)
  if (info(1) /= 0) error stop 'ma38bd failed'
  call solve([6d0, 10d0, 7d0])

contains
  subroutine load(values)
    double precision, intent(in) :: values(ne)
    value(:ne) = values
    index(:2*ne) = [rows, columns]
  end subroutine

  subroutine solve(b)
    double precision, intent(in) :: b(n)
    double precision :: x(n)
    returned = ma38cd(n, 0, 0, lvalue, lindex, value, index, keep, b, x, w, cntl, icntl, info, rinfo)
    print *, 'solution', x, ', status', info(1)
    if (info(1) /= 0 .or. any(abs(x - [1d0, 2d0, 3d0]) > 1d-14)) error stop 'ma38cd is wrong'
  end subroutine
end program

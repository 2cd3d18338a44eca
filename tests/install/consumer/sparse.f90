program sparse
  implicit none
  integer, external :: ma48id, ma48ad, ma48bd, ma48cd
  integer, parameter :: n = 3, ne = 5, la = 40
  integer :: irn(la) = 0, jcn(la) = 0, keep(10*n + 7), iw(9*n), icntl(9), info(12), returned
  double precision :: a(la), cntl(5), w(4*n), rhs(n) = [5d0, 8d0, 10d0], x(n), error(3), rinfo
  double precision, parameter :: values(ne) = [2d0, 1d0, 4d0, 1d0, 3d0]

  irn(:ne) = [1, 1, 2, 3, 3]
  jcn(:ne) = [1, 3, 2, 1, 3]
  a(:ne) = values
  returned = ma48id(cntl, icntl)
  returned = ma48ad(n, n, ne, 1, la, a, irn, jcn, keep, cntl, icntl, iw, info, rinfo)
  if (info(1) /= 0) error stop 'ma48ad failed'
  a(:ne) = values
  returned = ma48bd(n, n, ne, 1, la, a, irn, jcn, keep, cntl, icntl, w, iw, info, rinfo)
  if (info(1) /= 0) error stop 'ma48bd failed'
  returned = ma48cd(n, n, 0, 1, la, a, irn, keep, cntl, icntl, rhs, x, error, w, iw, info)
  print *, 'solution', x, ', status', info(1)
  if (info(1) /= 0 .or. any(abs(x - [1d0, 2d0, 3d0]) > 1d-14)) error stop 'ma48cd is wrong'
end program

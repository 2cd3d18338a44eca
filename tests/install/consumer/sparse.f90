program sparse
  use corvidnum
  implicit none
  integer(c_int), parameter :: n = 3, ne = 5, la = 40
  integer(c_int) :: irn(la) = 0, jcn(la) = 0
  integer(c_int), allocatable :: keep(:), iw(:)
  real(c_double), allocatable :: w(:)
  integer(c_int) :: icntl(MA48_ICNTL_LENGTH), info(MA48_INFO_LENGTH), orders(n), returned
  real(c_double) :: a(la), cntl(MA48_CNTL_LENGTH), error(MA48_ERROR_LENGTH), rinfo
  real(c_double) :: rhs(n) = [5d0, 8d0, 10d0], x(n)
  real(c_double), parameter :: values(ne) = [2d0, 1d0, 4d0, 1d0, 3d0]

  allocate(keep(ma48_keep_length(n, n)), iw(ma48_iw_length(n, n)), w(ma48_w_length(n, n)))
  irn(:ne) = [1, 1, 2, 3, 3]
  jcn(:ne) = [1, 3, 2, 1, 3]
  a(:ne) = values
  returned = ma48id(cntl, icntl)
  returned = ma48ad(n, n, ne, MA48_ANALYSE_FREELY, la, a, irn, jcn, keep, cntl, icntl, iw, info, rinfo)
  if (info(MA48_INFO_STATUS) /= MA48_STATUS_OK) error stop 'ma48ad failed'
  if (ma48blocks(n, n, keep, orders) /= 2) error stop 'ma48blocks is wrong'
  if (sum(orders(:2)) /= n) error stop 'orders of blocks are wrong'
  a(:ne) = values
  returned = ma48bd(n, n, ne, MA48_FACTOR_FREELY, la, a, irn, jcn, keep, cntl, icntl, w, iw, info, rinfo)
  if (info(MA48_INFO_STATUS) /= MA48_STATUS_OK) error stop 'ma48bd failed'
  if (ma48entries(n, n, la, irn, keep) /= ne) error stop 'ma48entries is wrong'
  returned = ma48cd(n, n, 0, MA48_SOLVE_ONLY, la, a, irn, keep, cntl, icntl, rhs, x, error, w, iw, info)
  print *, 'solution', x, ', status', info(MA48_INFO_STATUS)
  if (info(MA48_INFO_STATUS) /= MA48_STATUS_OK .or. any(abs(x - [1d0, 2d0, 3d0]) > 1d-14)) &
    error stop 'ma48cd is wrong'
end program

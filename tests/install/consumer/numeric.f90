program numeric
  implicit none
  double precision, external :: d1mach, ddot
  double precision :: x(3) = [1d0, 2d0, 3d0]
  double precision :: squares, mirrored
  squares = ddot(3, x, 1, x, 1)
  mirrored = ddot(3, x, 1, x, -1)
  print *, 'ddot', squares, 'and', mirrored, ', d1mach', d1mach(4)
  if (squares /= 14d0 .or. mirrored /= 10d0) error stop 'ddot is wrong'
  if (d1mach(4) /= epsilon(1d0)) error stop 'd1mach is wrong'
end program

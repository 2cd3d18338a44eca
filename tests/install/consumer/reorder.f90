program reorder
  use corvidnum
  implicit none
  integer(c_int), parameter :: n = 5, length = 6*n + 3
  integer(c_int) :: degree(n) = [2, 2, 1, 1, 2], permutation(n) = [1, 2, 3, 4, 5], work(length)
  integer(c_int) :: bandwidth, profile, error, space, returned

  ! A path 3 - 1 - 5 - 2 - 4, which has bandwidth 1 along its nodes.
  returned = gpskca(n, degree, [1, 3, 5, 6, 7], [3, 5, 5, 4, 1, 2, 1, 2], 1, length, permutation, work, &
                    bandwidth, profile, error, space)
  print *, 'bandwidth', bandwidth, ', profile', profile, ', error', error
  if (error /= 0 .or. bandwidth /= 1 .or. profile /= 4) error stop 'gpskca is wrong'
end program

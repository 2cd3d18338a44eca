program reorder
  use, intrinsic :: iso_c_binding, only: c_int
  implicit none
  interface  ! its name has no underscore, so that Fortran needs to be told
    integer(c_int) function gpskca(n, degree, row_start, connect, optimize_profile, work_length, permutation, &
                                   work, bandwidth, profile, error, space) bind(C, name='gpskca')
      import :: c_int
      integer(c_int), intent(in) :: n, row_start(*), connect(*), optimize_profile, work_length
      integer(c_int), intent(inout) :: degree(*), permutation(*), work(*)
      integer(c_int), intent(out) :: bandwidth, profile, error, space
    end function
  end interface
  integer(c_int), parameter :: n = 5, length = 6*n + 3
  integer(c_int) :: degree(n) = [2, 2, 1, 1, 2], permutation(n) = [1, 2, 3, 4, 5], work(length)
  integer(c_int) :: bandwidth, profile, error, space, returned

  ! A path 3 - 1 - 5 - 2 - 4, which has bandwidth 1 along its nodes.
  returned = gpskca(n, degree, [1, 3, 5, 6, 7], [3, 5, 5, 4, 1, 2, 1, 2], 1, length, permutation, work, &
                    bandwidth, profile, error, space)
  print *, 'bandwidth', bandwidth, ', profile', profile, ', error', error
  if (error /= 0 .or. bandwidth /= 1 .or. profile /= 4) error stop 'gpskca is wrong'
end program

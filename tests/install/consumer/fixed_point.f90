program fixed_point
  use corvidnum
  use, intrinsic :: iso_c_binding, only: c_ptr, c_null_char
  implicit none
  type(c_ptr) :: iteration
  real(c_double) :: x(2) = 0, away(2)
  integer(c_int) :: verdict
  integer(c_int64_t) :: passes, taken, refused, taken_back

  ! x := 10 + A (x - 10) with eigenvalues 0.95 and 0.6
  iteration = corvidnum_fixed_point_create(2)
  if (corvidnum_fixed_point_set(iteration, 'tolerance'//c_null_char, 1d-10) /= 1) error stop 'no such option'
  verdict = corvidnum_fixed_point_start(iteration, x)
  do while (verdict == CORVIDNUM_FIXED_POINT_CONTINUE)
    away = x - 10
    x = 10 + [0.95d0*away(1), 0.35d0*away(1) + 0.6d0*away(2)]
    verdict = corvidnum_fixed_point_pass(iteration, x)
  end do
  call corvidnum_fixed_point_counts(iteration, passes, taken, refused, taken_back)
  call corvidnum_fixed_point_destroy(iteration)
  print *, 'verdict', verdict, 'at', x, 'after', passes
  if (verdict /= CORVIDNUM_FIXED_POINT_CONVERGED .or. passes >= 40 .or. any(abs(x - 10) > 1d-6)) &
    error stop 'the fixed point is wrong'
end program

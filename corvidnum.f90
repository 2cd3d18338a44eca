! The numeric routines of the library for Fortran: the names of corvidnum_sparse.h, corvidnum_fixed_point.h,
! ma48_codes.h and ma38_codes.h, which tell what each means, and interfaces by which a compiler checks calls. The
! arguments are explained in these two, in ma48_routines.h, ma38_routines.h, gpskca.h and numeric_runtime.h.
! Positions count from 1, as the arrays do:
!
!   use corvidnum
!   integer(c_int) :: icntl(MA48_ICNTL_LENGTH), info(MA48_INFO_LENGTH)
!   icntl(MA48_ICNTL_MOST_REFINEMENTS) = 5
!   if (info(MA48_INFO_STATUS) == MA48_STATUS_TOO_SHORT) call lengthen(info(MA48_INFO_ANALYSIS_LENGTH))
!
! A sparse solver is a type(c_ptr). Texts that C functions return become Fortran's by corvidnum_text:
!
!   solver = corvidnum_sparse_create(n, ne, rows, columns, 1)
!   status = corvidnum_sparse_set_option(solver, 'bound', 1d-10)
!   status = corvidnum_sparse_factorise(solver, values)
!   status = corvidnum_sparse_solve(solver, b, x, 1)
!   print *, corvidnum_text(corvidnum_sparse_status_text(status))
!   call corvidnum_sparse_destroy(solver)
!
! corvidnum_text(corvidnum_version()) is the version of the library that was loaded, such as '1.2.3'.
!
! The host compiles the installed file with its own sources, in front of those that use it, because the module
! files of different compilers do not match. A CMake project finds it in corvidnum_FORTRAN_MODULE; else:
!
!   module=$(pkg-config --variable=includedir corvidnum)/corvidnum.f90
!   gfortran -o host "$module" host.f90 $(pkg-config --libs corvidnum)
module corvidnum
  use, intrinsic :: iso_c_binding, only: c_int, c_int64_t, c_double, c_char, c_ptr, c_null_char, &
    c_associated, c_f_pointer
  implicit none
  private :: wide

  ! ---- The sparse solver that chooses its method

  ! Statuses
  integer(c_int), parameter :: CORVIDNUM_SPARSE_SOLVED = 0
  integer(c_int), parameter :: CORVIDNUM_SPARSE_UNJUDGED = 1
  integer(c_int), parameter :: CORVIDNUM_SPARSE_FACTORISED = 2
  integer(c_int), parameter :: CORVIDNUM_SPARSE_INEXACT = 3
  integer(c_int), parameter :: CORVIDNUM_SPARSE_SINGULAR = 4
  integer(c_int), parameter :: CORVIDNUM_SPARSE_NOT_FACTORISED = 5
  integer(c_int), parameter :: CORVIDNUM_SPARSE_NOT_FINITE = 6
  integer(c_int), parameter :: CORVIDNUM_SPARSE_NO_MEMORY = 7
  integer(c_int), parameter :: CORVIDNUM_SPARSE_BAD_INPUT = 8

  ! Values of the option method
  integer(c_int), parameter :: CORVIDNUM_SPARSE_AUTOMATIC = 0
  integer(c_int), parameter :: CORVIDNUM_SPARSE_MA48 = 1
  integer(c_int), parameter :: CORVIDNUM_SPARSE_MA38 = 2

  ! Items of the report
  integer(c_int), parameter :: CORVIDNUM_SPARSE_REPORT_ORDER = 1
  integer(c_int), parameter :: CORVIDNUM_SPARSE_REPORT_ENTRIES = 2
  integer(c_int), parameter :: CORVIDNUM_SPARSE_REPORT_DUPLICATES = 3
  integer(c_int), parameter :: CORVIDNUM_SPARSE_REPORT_FIRST_FAULT = 4
  integer(c_int), parameter :: CORVIDNUM_SPARSE_REPORT_METHOD = 5
  integer(c_int), parameter :: CORVIDNUM_SPARSE_REPORT_PREFERS_DIAGONAL = 6
  integer(c_int), parameter :: CORVIDNUM_SPARSE_REPORT_THRESHOLD = 7
  integer(c_int), parameter :: CORVIDNUM_SPARSE_REPORT_PATTERN_SYMMETRY = 8
  integer(c_int), parameter :: CORVIDNUM_SPARSE_REPORT_DIAGONAL_ENTRIES = 9
  integer(c_int), parameter :: CORVIDNUM_SPARSE_REPORT_STRUCTURAL_RANK = 10
  integer(c_int), parameter :: CORVIDNUM_SPARSE_REPORT_RANK = 11
  integer(c_int), parameter :: CORVIDNUM_SPARSE_REPORT_BLOCKS = 12
  integer(c_int), parameter :: CORVIDNUM_SPARSE_REPORT_FACTOR_ENTRIES = 13
  integer(c_int), parameter :: CORVIDNUM_SPARSE_REPORT_OPERATIONS = 14
  integer(c_int), parameter :: CORVIDNUM_SPARSE_REPORT_CONDITION = 15
  integer(c_int), parameter :: CORVIDNUM_SPARSE_REPORT_FACTORISATIONS = 16
  integer(c_int), parameter :: CORVIDNUM_SPARSE_REPORT_REFACTORISATIONS = 17
  integer(c_int), parameter :: CORVIDNUM_SPARSE_REPORT_ARRAY_GROWTHS = 18
  integer(c_int), parameter :: CORVIDNUM_SPARSE_REPORT_NEW_PIVOTS = 19
  integer(c_int), parameter :: CORVIDNUM_SPARSE_REPORT_RAISED_THRESHOLDS = 20
  integer(c_int), parameter :: CORVIDNUM_SPARSE_REPORT_CHANGED_METHODS = 21
  integer(c_int), parameter :: CORVIDNUM_SPARSE_REPORT_BACKWARD_ERROR = 22
  integer(c_int), parameter :: CORVIDNUM_SPARSE_REPORT_FIRST_BACKWARD_ERROR = 23
  integer(c_int), parameter :: CORVIDNUM_SPARSE_REPORT_CORRECTIONS = 24
  integer(c_int), parameter :: CORVIDNUM_SPARSE_REPORT_GROWTH = 25

  ! Lists of a diagnosis
  integer(c_int), parameter :: CORVIDNUM_SPARSE_UNMATCHED_EQUATIONS = 1
  integer(c_int), parameter :: CORVIDNUM_SPARSE_UNMATCHED_UNKNOWNS = 2
  integer(c_int), parameter :: CORVIDNUM_SPARSE_OVERDETERMINED_EQUATIONS = 3
  integer(c_int), parameter :: CORVIDNUM_SPARSE_OVERDETERMINED_UNKNOWNS = 4
  integer(c_int), parameter :: CORVIDNUM_SPARSE_UNDERDETERMINED_EQUATIONS = 5
  integer(c_int), parameter :: CORVIDNUM_SPARSE_UNDERDETERMINED_UNKNOWNS = 6
  integer(c_int), parameter :: CORVIDNUM_SPARSE_DEPENDENT_EQUATIONS = 7
  integer(c_int), parameter :: CORVIDNUM_SPARSE_DEPENDENT_UNKNOWNS = 8

  ! ---- ma48, the sparse direct solver

  ! Positions in CNTL
  integer(c_int), parameter :: MA48_CNTL_DENSITY = 1
  integer(c_int), parameter :: MA48_CNTL_THRESHOLD = 2
  integer(c_int), parameter :: MA48_CNTL_DROP_TOLERANCE = 3
  integer(c_int), parameter :: MA48_CNTL_PIVOT_TOLERANCE = 4
  integer(c_int), parameter :: MA48_CNTL_REFINEMENT_FACTOR = 5

  ! Positions in ICNTL
  integer(c_int), parameter :: MA48_ICNTL_ERROR_STREAM = 1
  integer(c_int), parameter :: MA48_ICNTL_WARNING_STREAM = 2
  integer(c_int), parameter :: MA48_ICNTL_PRINT_LEVEL = 3
  integer(c_int), parameter :: MA48_ICNTL_SEARCH_LIMIT = 4
  integer(c_int), parameter :: MA48_ICNTL_DENSE_BLOCK_SIZE = 5
  integer(c_int), parameter :: MA48_ICNTL_SMALLEST_BLOCK = 6
  integer(c_int), parameter :: MA48_ICNTL_SINGULAR_IS_ERROR = 7
  integer(c_int), parameter :: MA48_ICNTL_COLUMNS_LAST = 8
  integer(c_int), parameter :: MA48_ICNTL_MOST_REFINEMENTS = 9

  ! JOB of ma48ad
  integer(c_int), parameter :: MA48_ANALYSE_FREELY = 1
  integer(c_int), parameter :: MA48_ANALYSE_GIVEN_ORDER = 2
  integer(c_int), parameter :: MA48_ANALYSE_DIAGONAL_PIVOTS = 3

  ! JOB of ma48bd
  integer(c_int), parameter :: MA48_FACTOR_FREELY = 1
  integer(c_int), parameter :: MA48_FACTOR_SAME_PIVOTS = 2
  integer(c_int), parameter :: MA48_FACTOR_SAME_ORDER = 3

  ! JOB of ma48cd
  integer(c_int), parameter :: MA48_SOLVE_ONLY = 1
  integer(c_int), parameter :: MA48_SOLVE_BACKWARD_ERRORS = 2
  integer(c_int), parameter :: MA48_SOLVE_REFINE = 3
  integer(c_int), parameter :: MA48_SOLVE_FORWARD_ERROR = 4

  ! Positions in INFO
  integer(c_int), parameter :: MA48_INFO_STATUS = 1
  integer(c_int), parameter :: MA48_INFO_COMPRESSIONS = 2
  integer(c_int), parameter :: MA48_INFO_ANALYSIS_LENGTH = 3
  integer(c_int), parameter :: MA48_INFO_FACTOR_LENGTH = 4
  integer(c_int), parameter :: MA48_INFO_RANK = 5
  integer(c_int), parameter :: MA48_INFO_DROPPED = 6
  integer(c_int), parameter :: MA48_INFO_LARGEST_BLOCK = 7
  integer(c_int), parameter :: MA48_INFO_GENERAL_ORDER = 8
  integer(c_int), parameter :: MA48_INFO_GENERAL_ENTRIES = 9
  integer(c_int), parameter :: MA48_INFO_STRUCTURAL_RANK = 10
  integer(c_int), parameter :: MA48_INFO_DUPLICATES = 11
  integer(c_int), parameter :: MA48_INFO_OUT_OF_RANGE = 12

  ! Positions in ERROR of ma48cd
  integer(c_int), parameter :: MA48_ERROR_OMEGA1 = 1
  integer(c_int), parameter :: MA48_ERROR_OMEGA2 = 2
  integer(c_int), parameter :: MA48_ERROR_FORWARD = 3

  ! INFO(1) where it is not above 0
  integer(c_int), parameter :: MA48_STATUS_OK = 0
  integer(c_int), parameter :: MA48_STATUS_BAD_ORDER = -1
  integer(c_int), parameter :: MA48_STATUS_BAD_ENTRY_COUNT = -2
  integer(c_int), parameter :: MA48_STATUS_TOO_SHORT = -3
  integer(c_int), parameter :: MA48_STATUS_STRUCTURALLY_SINGULAR = -4
  integer(c_int), parameter :: MA48_STATUS_BAD_PERMUTATION = -5
  integer(c_int), parameter :: MA48_STATUS_BAD_JOB = -6
  integer(c_int), parameter :: MA48_STATUS_INCOMPATIBLE = -7
  integer(c_int), parameter :: MA48_STATUS_NOT_CONVERGED = -8
  integer(c_int), parameter :: MA48_STATUS_NO_FORWARD_ERROR = -9

  ! Summed in INFO(1) where it is not below 0
  integer(c_int), parameter :: MA48_WARNING_ENTRIES = 1
  integer(c_int), parameter :: MA48_WARNING_RANK_DEFICIENT = 2
  integer(c_int), parameter :: MA48_WARNING_NO_DIAGONAL_PIVOT = 4

  ! Lengths of the arrays that do not depend on the matrix
  integer(c_int), parameter :: MA48_CNTL_LENGTH = 5
  integer(c_int), parameter :: MA48_ICNTL_LENGTH = 9
  integer(c_int), parameter :: MA48_INFO_LENGTH = 12
  integer(c_int), parameter :: MA48_ERROR_LENGTH = 3

  ! ---- ma38, the multifrontal solver

  ! Positions in CNTL
  integer(c_int), parameter :: MA38_CNTL_THRESHOLD = 1
  integer(c_int), parameter :: MA38_CNTL_GROWTH = 2
  integer(c_int), parameter :: MA38_CNTL_EPSILON = 3

  ! Positions in ICNTL
  integer(c_int), parameter :: MA38_ICNTL_ERROR_UNIT = 1
  integer(c_int), parameter :: MA38_ICNTL_DUMP_UNIT = 2
  integer(c_int), parameter :: MA38_ICNTL_PRINT_LEVEL = 3
  integer(c_int), parameter :: MA38_ICNTL_USE_BLOCKS = 4
  integer(c_int), parameter :: MA38_ICNTL_SEARCH_WIDTH = 5
  integer(c_int), parameter :: MA38_ICNTL_PREFER_DIAGONAL = 6
  integer(c_int), parameter :: MA38_ICNTL_BLOCK_SIZE = 7
  integer(c_int), parameter :: MA38_ICNTL_MOST_REFINEMENTS = 8

  ! Positions in KEEP
  integer(c_int), parameter :: MA38_KEEP_VALUE_BEGIN = 1
  integer(c_int), parameter :: MA38_KEEP_VALUE_END = 2
  integer(c_int), parameter :: MA38_KEEP_INDEX_BEGIN = 3
  integer(c_int), parameter :: MA38_KEEP_PATTERN_BEGIN = 4
  integer(c_int), parameter :: MA38_KEEP_INDEX_END = 5
  integer(c_int), parameter :: MA38_KEEP_DENSE1 = 7
  integer(c_int), parameter :: MA38_KEEP_DENSE2 = 8

  ! JOB of ma38ad and ma38bd
  integer(c_int), parameter :: MA38_FACTOR_ONLY = 0
  integer(c_int), parameter :: MA38_FACTOR_KEEP_MATRIX = 1

  ! JOB of ma38cd
  integer(c_int), parameter :: MA38_SOLVE_WHOLE = 0
  integer(c_int), parameter :: MA38_SOLVE_LOWER = 1
  integer(c_int), parameter :: MA38_SOLVE_UPPER = 2

  ! Positions in INFO
  integer(c_int), parameter :: MA38_INFO_STATUS = 1
  integer(c_int), parameter :: MA38_INFO_DUPLICATES = 2
  integer(c_int), parameter :: MA38_INFO_INVALID = 3
  integer(c_int), parameter :: MA38_INFO_NOT_IN_PATTERN = 4
  integer(c_int), parameter :: MA38_INFO_ENTRIES = 5
  integer(c_int), parameter :: MA38_INFO_DIAGONAL_ENTRIES = 6
  integer(c_int), parameter :: MA38_INFO_OFF_DIAGONAL_ENTRIES = 7
  integer(c_int), parameter :: MA38_INFO_SINGLETONS = 8
  integer(c_int), parameter :: MA38_INFO_BLOCKS = 9
  integer(c_int), parameter :: MA38_INFO_ENTRIES_IN_L = 10
  integer(c_int), parameter :: MA38_INFO_ENTRIES_IN_U = 11
  integer(c_int), parameter :: MA38_INFO_FACTOR_ENTRIES = 12
  integer(c_int), parameter :: MA38_INFO_FRONTS = 13
  integer(c_int), parameter :: MA38_INFO_INDEX_COLLECTIONS = 14
  integer(c_int), parameter :: MA38_INFO_VALUE_COLLECTIONS = 15
  integer(c_int), parameter :: MA38_INFO_DIAGONAL_PIVOTS = 16
  integer(c_int), parameter :: MA38_INFO_PIVOTS = 17
  integer(c_int), parameter :: MA38_INFO_INDEX_USED = 18
  integer(c_int), parameter :: MA38_INFO_INDEX_NEEDED = 19
  integer(c_int), parameter :: MA38_INFO_VALUE_USED = 20
  integer(c_int), parameter :: MA38_INFO_VALUE_NEEDED = 21
  integer(c_int), parameter :: MA38_INFO_INDEX_FOR_REFACTOR = 22
  integer(c_int), parameter :: MA38_INFO_VALUE_FOR_REFACTOR = 23
  integer(c_int), parameter :: MA38_INFO_REFINEMENTS = 24

  ! Positions in RINFO
  integer(c_int), parameter :: MA38_RINFO_BLAS_FLOPS = 1
  integer(c_int), parameter :: MA38_RINFO_ASSEMBLY_FLOPS = 2
  integer(c_int), parameter :: MA38_RINFO_SEARCH_FLOPS = 3
  integer(c_int), parameter :: MA38_RINFO_LEVEL1_FLOPS = 4
  integer(c_int), parameter :: MA38_RINFO_LEVEL2_FLOPS = 5
  integer(c_int), parameter :: MA38_RINFO_LEVEL3_FLOPS = 6
  integer(c_int), parameter :: MA38_RINFO_OMEGA1 = 7
  integer(c_int), parameter :: MA38_RINFO_OMEGA2 = 8

  ! INFO(1) where it is not above 0
  integer(c_int), parameter :: MA38_STATUS_OK = 0
  integer(c_int), parameter :: MA38_STATUS_BAD_ORDER = -1
  integer(c_int), parameter :: MA38_STATUS_BAD_ENTRY_COUNT = -2
  integer(c_int), parameter :: MA38_STATUS_INDEX_TOO_SHORT = -3
  integer(c_int), parameter :: MA38_STATUS_VALUE_TOO_SHORT = -4
  integer(c_int), parameter :: MA38_STATUS_BOTH_TOO_SHORT = -5
  integer(c_int), parameter :: MA38_STATUS_PIVOT_ORDER_FAILED = -6
  integer(c_int), parameter :: MA38_STATUS_CORRUPTED = -7

  ! Summed in INFO(1) where it is not below 0
  integer(c_int), parameter :: MA38_WARNING_ENTRIES = 1
  integer(c_int), parameter :: MA38_WARNING_DUPLICATES = 2
  integer(c_int), parameter :: MA38_WARNING_SINGULAR = 4
  integer(c_int), parameter :: MA38_WARNING_NO_REFINEMENT = 8

  ! Lengths of the arrays that do not depend on the matrix
  integer(c_int), parameter :: MA38_CNTL_LENGTH = 10
  integer(c_int), parameter :: MA38_ICNTL_LENGTH = 20
  integer(c_int), parameter :: MA38_KEEP_LENGTH = 20
  integer(c_int), parameter :: MA38_INFO_LENGTH = 40
  integer(c_int), parameter :: MA38_RINFO_LENGTH = 20

  ! ---- FixedPoint, iterations brought to their fixed point

  integer(c_int), parameter :: CORVIDNUM_FIXED_POINT_CONTINUE = 0
  integer(c_int), parameter :: CORVIDNUM_FIXED_POINT_CONVERGED = 1
  integer(c_int), parameter :: CORVIDNUM_FIXED_POINT_DIVERGING = 2
  integer(c_int), parameter :: CORVIDNUM_FIXED_POINT_STALLED = 3
  integer(c_int), parameter :: CORVIDNUM_FIXED_POINT_PASS_LIMIT = 4
  integer(c_int), parameter :: CORVIDNUM_FIXED_POINT_NOT_FINITE = 5
  integer(c_int), parameter :: CORVIDNUM_FIXED_POINT_NO_MEMORY = 6
  integer(c_int), parameter :: CORVIDNUM_FIXED_POINT_BAD_INPUT = 7
  integer(c_int), parameter :: CORVIDNUM_FIXED_POINT_METHOD_NONE = 0
  integer(c_int), parameter :: CORVIDNUM_FIXED_POINT_METHOD_DOMINANT = 1
  integer(c_int), parameter :: CORVIDNUM_FIXED_POINT_METHOD_MULTIPLE = 2
  integer(c_int), parameter :: CORVIDNUM_FIXED_POINT_METHOD_AUTOMATIC = 3
  integer(c_int), parameter :: CORVIDNUM_FIXED_POINT_STEP_NOT_TRIED = 0
  integer(c_int), parameter :: CORVIDNUM_FIXED_POINT_STEP_REFUSED = 1
  integer(c_int), parameter :: CORVIDNUM_FIXED_POINT_STEP_TAKEN = 2
  integer(c_int), parameter :: CORVIDNUM_FIXED_POINT_STEP_TAKEN_BACK = 3

  interface
    type(c_ptr) function corvidnum_version() bind(C, name='corvidnum_version')
      import :: c_ptr
    end function

    type(c_ptr) function corvidnum_sparse_create(order, entries, rows, columns, index_base) &
        bind(C, name='corvidnum_sparse_create')
      import :: c_int, c_ptr
      integer(c_int), value :: order, entries, index_base
      integer(c_int), intent(in) :: rows(*), columns(*)
    end function

    subroutine corvidnum_sparse_destroy(solver) bind(C, name='corvidnum_sparse_destroy')
      import :: c_ptr
      type(c_ptr), value :: solver
    end subroutine

    integer(c_int) function corvidnum_sparse_state(solver) bind(C, name='corvidnum_sparse_state')
      import :: c_int, c_ptr
      type(c_ptr), value :: solver
    end function

    integer(c_int) function corvidnum_sparse_set_option_c(solver, name, value) &
        bind(C, name='corvidnum_sparse_set_option')
      import :: c_int, c_double, c_char, c_ptr
      type(c_ptr), value :: solver
      character(kind=c_char), intent(in) :: name(*)
      real(c_double), value :: value
    end function

    real(c_double) function corvidnum_sparse_option_c(solver, name) bind(C, name='corvidnum_sparse_option')
      import :: c_double, c_char, c_ptr
      type(c_ptr), value :: solver
      character(kind=c_char), intent(in) :: name(*)
    end function

    integer(c_int) function corvidnum_sparse_option_table(place, name, meaning, lowest, standard, highest) &
        bind(C, name='corvidnum_sparse_option_table')
      import :: c_int, c_double, c_ptr
      integer(c_int), value :: place
      type(c_ptr), intent(inout), optional :: name, meaning
      real(c_double), intent(inout), optional :: lowest, standard, highest
    end function

    integer(c_int) function corvidnum_sparse_factorise(solver, values) &
        bind(C, name='corvidnum_sparse_factorise')
      import :: c_int, c_double, c_ptr
      type(c_ptr), value :: solver
      real(c_double), intent(in) :: values(*)
    end function

    integer(c_int) function corvidnum_sparse_refactorise(solver, values) &
        bind(C, name='corvidnum_sparse_refactorise')
      import :: c_int, c_double, c_ptr
      type(c_ptr), value :: solver
      real(c_double), intent(in) :: values(*)
    end function

    ! In place: corvidnum_sparse_solve(solver, (x), x, 1), since Fortran does not let arguments share memory.
    integer(c_int) function corvidnum_sparse_solve(solver, b, x, count) bind(C, name='corvidnum_sparse_solve')
      import :: c_int, c_double, c_ptr
      type(c_ptr), value :: solver
      real(c_double), intent(in) :: b(*)
      real(c_double), intent(inout) :: x(*)
      integer(c_int), value :: count
    end function

    integer(c_int) function corvidnum_sparse_solve_transposed(solver, b, x, count) &
        bind(C, name='corvidnum_sparse_solve_transposed')
      import :: c_int, c_double, c_ptr
      type(c_ptr), value :: solver
      real(c_double), intent(in) :: b(*)
      real(c_double), intent(inout) :: x(*)
      integer(c_int), value :: count
    end function

    integer(c_int) function corvidnum_sparse_condition(solver, raw, equilibrated) &
        bind(C, name='corvidnum_sparse_condition')
      import :: c_int, c_double, c_ptr
      type(c_ptr), value :: solver
      real(c_double), intent(inout), optional :: raw, equilibrated
    end function

    integer(c_int) function corvidnum_sparse_forward_error(solver, b, x, transposed, bound) &
        bind(C, name='corvidnum_sparse_forward_error')
      import :: c_int, c_double, c_ptr
      type(c_ptr), value :: solver
      real(c_double), intent(in) :: b(*), x(*)
      integer(c_int), value :: transposed
      real(c_double), intent(inout) :: bound
    end function

    real(c_double) function corvidnum_sparse_report(solver, item) bind(C, name='corvidnum_sparse_report')
      import :: c_int, c_double, c_ptr
      type(c_ptr), value :: solver
      integer(c_int), value :: item
    end function

    type(c_ptr) function corvidnum_sparse_reason(solver) bind(C, name='corvidnum_sparse_reason')
      import :: c_ptr
      type(c_ptr), value :: solver
    end function

    integer(c_int) function corvidnum_sparse_diagnose(solver, structural_rank, numerical_rank) &
        bind(C, name='corvidnum_sparse_diagnose')
      import :: c_int, c_ptr
      type(c_ptr), value :: solver
      integer(c_int), intent(inout), optional :: structural_rank, numerical_rank
    end function

    integer(c_int) function corvidnum_sparse_indices(solver, list, indices, length) &
        bind(C, name='corvidnum_sparse_indices')
      import :: c_int, c_ptr
      type(c_ptr), value :: solver
      integer(c_int), value :: list, length
      integer(c_int), intent(inout), optional :: indices(*)
    end function

    integer(c_int) function corvidnum_sparse_blocks(solver, count, begin, row, column) &
        bind(C, name='corvidnum_sparse_blocks')
      import :: c_int, c_ptr
      type(c_ptr), value :: solver
      integer(c_int), intent(inout), optional :: count, begin(*), row(*), column(*)
    end function

    type(c_ptr) function corvidnum_sparse_status_text(status) bind(C, name='corvidnum_sparse_status_text')
      import :: c_int, c_ptr
      integer(c_int), value :: status
    end function

    type(c_ptr) function corvidnum_sparse_method_name(method) bind(C, name='corvidnum_sparse_method_name')
      import :: c_int, c_ptr
      integer(c_int), value :: method
    end function

    integer(c_int) function ma48id(cntl, icntl) bind(C, name='ma48id_')
      import :: c_int, c_double
      real(c_double), intent(out) :: cntl(*)
      integer(c_int), intent(out) :: icntl(*)
    end function

    integer(c_int) function ma48ad(m, n, ne, job, la, a, irn, jcn, keep, cntl, icntl, iw, info, rinfo) &
        bind(C, name='ma48ad_')
      import :: c_int, c_double
      integer(c_int), intent(in) :: m, n, ne, job, la, icntl(*)
      real(c_double), intent(in) :: cntl(*)
      real(c_double), intent(inout) :: a(*)
      integer(c_int), intent(inout) :: irn(*), jcn(*), keep(*), iw(*), info(*)
      real(c_double), intent(inout) :: rinfo
    end function

    integer(c_int) function ma48bd(m, n, ne, job, la, a, irn, jcn, keep, cntl, icntl, w, iw, info, rinfo) &
        bind(C, name='ma48bd_')
      import :: c_int, c_double
      integer(c_int), intent(in) :: m, n, ne, job, la, jcn(*), icntl(*)
      real(c_double), intent(in) :: cntl(*)
      real(c_double), intent(inout) :: a(*), w(*)
      integer(c_int), intent(inout) :: irn(*), keep(*), iw(*), info(*)
      real(c_double), intent(inout) :: rinfo
    end function

    integer(c_int) function ma48cd(m, n, trans, job, la, a, irn, keep, cntl, icntl, rhs, x, error, w, iw, &
                                   info) bind(C, name='ma48cd_')
      import :: c_int, c_double
      integer(c_int), intent(in) :: m, n, trans, job, la, irn(*), keep(*), icntl(*)
      real(c_double), intent(in) :: a(*), cntl(*)
      real(c_double), intent(inout) :: rhs(*), x(*), error(*), w(*)
      integer(c_int), intent(inout) :: iw(*), info(*)
    end function

    integer(c_int) function ma48blocks(m, n, keep, orders, sparse_columns) bind(C, name='ma48blocks_')
      import :: c_int
      integer(c_int), intent(in) :: m, n, keep(*)
      integer(c_int), intent(inout), optional :: orders(*), sparse_columns(*)
    end function

    integer(c_int64_t) function ma48entries(m, n, la, irn, keep) bind(C, name='ma48entries_')
      import :: c_int, c_int64_t
      integer(c_int), intent(in) :: m, n, la, irn(*), keep(*)
    end function

    integer(c_int) function ma38id(keep, cntl, icntl) bind(C, name='ma38id_')
      import :: c_int, c_double
      integer(c_int), intent(inout) :: keep(*)
      real(c_double), intent(out) :: cntl(*)
      integer(c_int), intent(out) :: icntl(*)
    end function

    integer(c_int) function ma38ad(n, ne, job, transa, lvalue, lindex, value, index, keep, cntl, icntl, info, &
                                   rinfo) bind(C, name='ma38ad_')
      import :: c_int, c_double
      integer(c_int), intent(in) :: n, ne, job, transa, lvalue, lindex, icntl(*)
      real(c_double), intent(in) :: cntl(*)
      real(c_double), intent(inout) :: value(*), rinfo(*)
      integer(c_int), intent(inout) :: index(*), keep(*), info(*)
    end function

    integer(c_int) function ma38bd(n, ne, job, transa, lvalue, lindex, value, index, keep, cntl, icntl, info, &
                                   rinfo) bind(C, name='ma38bd_')
      import :: c_int, c_double
      integer(c_int), intent(in) :: n, ne, job, transa, lvalue, lindex, icntl(*)
      real(c_double), intent(in) :: cntl(*)
      real(c_double), intent(inout) :: value(*), rinfo(*)
      integer(c_int), intent(inout) :: index(*), keep(*), info(*)
    end function

    integer(c_int) function ma38cd(n, job, transc, lvalue, lindex, value, index, keep, b, x, w, cntl, icntl, &
                                   info, rinfo) bind(C, name='ma38cd_')
      import :: c_int, c_double
      integer(c_int), intent(in) :: n, job, transc, lvalue, lindex, index(*), keep(*), icntl(*)
      real(c_double), intent(in) :: value(*), b(*), cntl(*)
      real(c_double), intent(inout) :: x(*), w(*), rinfo(*)
      integer(c_int), intent(inout) :: info(*)
    end function

    integer(c_int) function ma38blocks(n, lindex, index, keep, orders) bind(C, name='ma38blocks_')
      import :: c_int
      integer(c_int), intent(in) :: n, lindex, index(*), keep(*)
      integer(c_int), intent(inout), optional :: orders(*)
    end function

    integer(c_int) function gpskca(n, degree, row_start, connect, optimize_profile, work_length, permutation, &
                                   work, bandwidth, profile, error_code, space) bind(C, name='gpskca')
      import :: c_int
      integer(c_int), intent(in) :: n, row_start(*), connect(*), optimize_profile, work_length
      integer(c_int), intent(inout) :: degree(*), permutation(*), work(*)
      integer(c_int), intent(out) :: bandwidth, profile, error_code, space
    end function

    type(c_ptr) function corvidnum_fixed_point_create(unknowns) bind(C)
      import :: c_int, c_ptr
      integer(c_int), value :: unknowns
    end function

    subroutine corvidnum_fixed_point_destroy(iteration) bind(C)
      import :: c_ptr
      type(c_ptr), value :: iteration
    end subroutine

    integer(c_int) function corvidnum_fixed_point_set(iteration, name, number) bind(C)
      import :: c_int, c_double, c_char, c_ptr
      type(c_ptr), value :: iteration
      character(kind=c_char), intent(in) :: name(*)
      real(c_double), value :: number
    end function

    real(c_double) function corvidnum_fixed_point_get(iteration, name) bind(C)
      import :: c_double, c_char, c_ptr
      type(c_ptr), value :: iteration
      character(kind=c_char), intent(in) :: name(*)
    end function

    integer(c_int) function corvidnum_fixed_point_set_nominal(iteration, nominal) bind(C)
      import :: c_int, c_double, c_ptr
      type(c_ptr), value :: iteration
      real(c_double), intent(in) :: nominal(*)
    end function

    integer(c_int) function corvidnum_fixed_point_set_bounds(iteration, lower, upper) bind(C)
      import :: c_int, c_double, c_ptr
      type(c_ptr), value :: iteration
      real(c_double), intent(in), optional :: lower(*), upper(*)
    end function

    integer(c_int) function corvidnum_fixed_point_option(i, name, capacity, lowest, standard, highest) bind(C)
      import :: c_int, c_double, c_char
      integer(c_int), value :: i
      character(kind=c_char), intent(inout) :: name(*)
      integer(c_int), value :: capacity
      real(c_double), intent(inout) :: lowest, standard, highest
    end function

    integer(c_int) function corvidnum_fixed_point_start(iteration, x) bind(C)
      import :: c_int, c_double, c_ptr
      type(c_ptr), value :: iteration
      real(c_double), intent(inout) :: x(*)
    end function

    integer(c_int) function corvidnum_fixed_point_pass(iteration, x) bind(C)
      import :: c_int, c_double, c_ptr
      type(c_ptr), value :: iteration
      real(c_double), intent(inout) :: x(*)
    end function

    integer(c_int) function corvidnum_fixed_point_discard(iteration, x) bind(C)
      import :: c_int, c_double, c_ptr
      type(c_ptr), value :: iteration
      real(c_double), intent(inout) :: x(*)
    end function

    integer(c_int) function corvidnum_fixed_point_next(iteration, x) bind(C)
      import :: c_int, c_double, c_ptr
      type(c_ptr), value :: iteration
      real(c_double), intent(inout) :: x(*)
    end function

    subroutine corvidnum_fixed_point_text(verdict, text, capacity) bind(C)
      import :: c_int, c_char
      integer(c_int), value :: verdict
      character(kind=c_char), intent(inout) :: text(*)
      integer(c_int), value :: capacity
    end subroutine

    subroutine corvidnum_fixed_point_counts(iteration, passes, taken, refused, taken_back) bind(C)
      import :: c_int64_t, c_ptr
      type(c_ptr), value :: iteration
      integer(c_int64_t), intent(out) :: passes, taken, refused, taken_back
    end subroutine

    integer(c_int) function corvidnum_fixed_point_record(iteration, age, pass, change, step, reason, &
                                                         eigenvalues, radius, passes_ahead) bind(C)
      import :: c_int, c_int64_t, c_double, c_ptr
      type(c_ptr), value :: iteration
      integer(c_int), value :: age
      integer(c_int64_t), intent(inout) :: pass
      real(c_double), intent(inout) :: change
      integer(c_int), intent(inout) :: step, reason, eigenvalues
      real(c_double), intent(inout) :: radius, passes_ahead
    end function

    integer(c_int) function corvidnum_fixed_point_eigenvalues(iteration, real, imaginary, capacity) bind(C)
      import :: c_int, c_double, c_ptr
      type(c_ptr), value :: iteration
      real(c_double), intent(inout) :: real(*), imaginary(*)
      integer(c_int), value :: capacity
    end function

    integer(c_int64_t) function corvidnum_fixed_point_state_size(iteration) bind(C)
      import :: c_int64_t, c_ptr
      type(c_ptr), value :: iteration
    end function

    integer(c_int) function corvidnum_fixed_point_save(iteration, state, bytes) bind(C)
      import :: c_int, c_int64_t, c_char, c_ptr
      type(c_ptr), value :: iteration
      character(kind=c_char), intent(inout) :: state(*)
      integer(c_int64_t), value :: bytes
    end function

    integer(c_int) function corvidnum_fixed_point_restore(iteration, state, bytes) bind(C)
      import :: c_int, c_int64_t, c_char, c_ptr
      type(c_ptr), value :: iteration
      character(kind=c_char), intent(in) :: state(*)
      integer(c_int64_t), value :: bytes
    end function

    real(c_double) function d1mach(selector) bind(C, name='d1mach_')
      import :: c_int, c_double
      integer(c_int), intent(in) :: selector
    end function

    real(c_double) function ddot(n, x, incx, y, incy) bind(C, name='ddot_')
      import :: c_int, c_double
      integer(c_int), intent(in) :: n, incx, incy
      real(c_double), intent(in) :: x(*), y(*)
    end function
  end interface

contains
  pure integer(c_int64_t) function wide(number)
    integer(c_int), intent(in) :: number
    wide = int(number, c_int64_t)
  end function

  !> Sets the option of a name; blanks at its end do not count.
  integer(c_int) function corvidnum_sparse_set_option(solver, name, value)
    type(c_ptr), intent(in) :: solver
    character(*), intent(in) :: name
    real(c_double), intent(in) :: value
    corvidnum_sparse_set_option = corvidnum_sparse_set_option_c(solver, trim(name)//c_null_char, value)
  end function

  !> Returns the option of a name; blanks at its end do not count.
  real(c_double) function corvidnum_sparse_option(solver, name)
    type(c_ptr), intent(in) :: solver
    character(*), intent(in) :: name
    corvidnum_sparse_option = corvidnum_sparse_option_c(solver, trim(name)//c_null_char)
  end function

  !> Returns a copy of a text that a function of the library returned; a null pointer gives an empty one.
  function corvidnum_text(pointer) result(text)
    type(c_ptr), intent(in) :: pointer
    character(:), allocatable :: text
    character(kind=c_char), pointer :: letters(:)
    integer :: length
    text = ''
    if (.not. c_associated(pointer)) return
    call c_f_pointer(pointer, letters, [huge(length)])  ! the zero at the end tells the true length
    length = 0
    do while (letters(length + 1) /= c_null_char)
      length = length + 1
      text = text//letters(length)
    end do
  end function

  !> Length of KEEP.
  pure integer(c_int64_t) function ma48_keep_length(m, n)
    integer(c_int), intent(in) :: m, n
    ma48_keep_length = wide(m) + 5*wide(n) + 4*wide(min(m, n)) + 7
  end function

  !> Length of IW of ma48ad and ma48bd, which is enough for ma48cd.
  pure integer(c_int64_t) function ma48_iw_length(m, n)
    integer(c_int), intent(in) :: m, n
    ma48_iw_length = 6*wide(m) + 3*wide(n)
  end function

  !> Length of W of ma48bd and ma48cd.
  pure integer(c_int64_t) function ma48_w_length(m, n)
    integer(c_int), intent(in) :: m, n
    ma48_w_length = 4*wide(max(m, n))
  end function

  !> Whether INFO(1) is a sum with this warning; an error has none.
  pure logical function ma48_warned(info, warning)
    integer(c_int), intent(in) :: info(*), warning
    ma48_warned = info(MA48_INFO_STATUS) > 0 .and. iand(info(MA48_INFO_STATUS), warning) /= 0
  end function

  !> Least LINDEX of ma38ad. A factorisation needs more: 10 ne + 40 n + 100 is a good start.
  pure integer(c_int64_t) function ma38_least_index_length(n, ne)
    integer(c_int), intent(in) :: n, ne
    ma38_least_index_length = max(2*wide(ne), wide(n) + 1) + 2*wide(n) + wide(ne) + 1
  end function

  !> Least LVALUE of ma38ad. A factorisation needs more: 6 ne + n is a good start.
  pure integer(c_int64_t) function ma38_least_value_length(ne)
    integer(c_int), intent(in) :: ne
    ma38_least_value_length = 2*wide(ne)
  end function

  !> Length of W of ma38cd, of which half is enough if ICNTL(8) is not above 0.
  pure integer(c_int64_t) function ma38_w_length(n)
    integer(c_int), intent(in) :: n
    ma38_w_length = 4*wide(n)
  end function

  !> Whether INFO(1) is a sum with this warning; an error has none.
  pure logical function ma38_warned(info, warning)
    integer(c_int), intent(in) :: info(*), warning
    ma38_warned = info(MA38_INFO_STATUS) > 0 .and. iand(info(MA38_INFO_STATUS), warning) /= 0
  end function
end module

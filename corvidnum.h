#pragma once

/// @file
/// All public headers of the library.

/// @namespace corvidnum
/// Holds the newer classes and functions of the library, such as SparseSolver and FixedPoint. The classes
/// that hosts have long been compiled against and the routines that C and Fortran call stand in the global
/// namespace.

#include "accel/accel.h"
#include "accel/corvidnum_fixed_point.h"
#include "accel/dom_eigen_accel.h"
#include "accel/fixed_point.h"
#include "accel/mul_dom_eigen_accel.h"
#include "corvidnum_version.h"
#include "dense/arrow_matrix.h"
#include "dense/matrix.h"
#include "dense/regular_matrix.h"
#include "dense/singular_value_decomposition.h"
#include "frame/corvid.h"
#include "frame/debug_out.h"
#include "frame/empty_value.h"
#include "frame/export.h"
#include "frame/numeric_runtime.h"
#include "reorder/gpskca.h"
#include "sparse/corvidnum_sparse.h"
#include "sparse/ma38/ma38_codes.h"
#include "sparse/ma38/ma38_routines.h"
#include "sparse/ma48/ma48.h"
#include "sparse/ma48/ma48_codes.h"
#include "sparse/ma48/ma48_routines.h"
#include "sparse/sparse_solver.h"
#include "tables/bounded_secant.h"
#include "tables/interpolator.h"
#include "tables/line_fit.h"
#include "tables/regress_table.h"
#include "tables/xy_table.h"
#include "util/bitmap.h"
#include "util/data_graph.h"

#pragma once

// All public headers of the library.

#include "accel/accel.h"
#include "accel/dom_eigen_accel.h"
#include "accel/mul_dom_eigen_accel.h"
#include "dense/arrow_matrix.h"
#include "dense/matrix.h"
#include "dense/regular_matrix.h"
#include "dense/singular_value_decomposition.h"
#include "frame/corvid.h"
#include "frame/debug_out.h"
#include "frame/empty_value.h"
#include "frame/export.h"
#include "frame/numeric_runtime.h"
#include "tables/bounded_secant.h"
#include "tables/interpolator.h"
#include "tables/line_fit.h"
#include "tables/regress_table.h"
#include "tables/xy_table.h"
#include "util/bitmap.h"
#include "util/data_graph.h"

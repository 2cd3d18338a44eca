#pragma once

// All public headers of the library.

#include "dense/arrow_matrix.h"
#include "dense/matrix.h"
#include "dense/regular_matrix.h"
#include "frame/corvid.h"
#include "frame/empty_value.h"
#include "frame/export.h"
#include "frame/numeric_runtime.h"

#pragma once

// Math functions that send their errors to the host, which may change the result. On valid input they are
// the plain functions; a NaN argument is no error.

#include "frame/corvid.h"

namespace corvidnum {

/// Hands a filled record to the host with the path of the library, empty if there is no module record.
/// @return the host's answer; non-zero: the error is dealt with
int _matherr(_exception* e);

/// Below 0: domain error, NaN unless the host decides otherwise.
double checked_sqrt(double x);
/// At 0: singularity, minus infinity; below: domain error, NaN; unless the host decides otherwise.
double checked_log10(double x);

}  // namespace corvidnum

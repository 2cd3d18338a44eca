#pragma once

// What the printers of the accelerators share.

#include "frame/corvid.h"

class DebugOut;

namespace corvidnum {

/// Writes one text to the log, which is not null.
void write_line(DebugOut* log, const Text& line);

/// The end of a try: the flag, and beside each other the correction and the vector, [n] each.
void write_outcome(DebugOut* log, unsigned char accept, int n, const double* correction, const double* x);

}  // namespace corvidnum

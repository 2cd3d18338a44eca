#pragma once

// The log lines that the printers of both accelerators share.

#include "frame/corvid.h"

class DebugOut;

namespace corvidnum {

/// Writes one text to the log, which must not be null.
void write_line(DebugOut* log, const Text& line);

/// Writes how a try ended: the accept flag, then a line for each element of correction and x, [n] each. The
/// line begins with "DomEigenAccel" for both accelerators; the contract fixes it so.
void write_outcome(DebugOut* log, unsigned char accept, int n, const double* correction, const double* x);

}  // namespace corvidnum

// Writes texts and columns of numbers to the log of an accelerator.

#include "accel/debug_line.h"

#include "frame/debug_out.h"

namespace corvidnum {

void write_line(DebugOut* log, const Text& line) { log->file.Write(line, 0); }

void write_outcome(DebugOut* log, unsigned char accept, int n, const double* correction, const double* x) {
  write_line(log, FormattedText("DomEigenAccel - accept flag = %d\n    correction, result=\n", accept));
  for (int i = 0; i < n; ++i) write_line(log, FormattedText("     %g     %g\n", correction[i], x[i]));
}

}  // namespace corvidnum

#pragma once

// How the parts of the host support library write lines.

#include "host/corvid_host.h"

namespace corvid_host {

/// Passes a line to the sink. Lines of several threads are passed one at a time.
void emit_line(LineKind kind, const char* line);

}  // namespace corvid_host

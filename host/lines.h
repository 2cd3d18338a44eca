#pragma once

#include "host/corvid_host.h"

namespace corvid_host {

/// Hands a line to the sink.
void emit_line(LineKind kind, const char* line);

}  // namespace corvid_host

// Trace and error lines, and the sink that receives them.

#include "host/lines.h"

#include <cstdarg>
#include <cstdio>
#include <mutex>

#include "host/format.h"

namespace corvid_host {
namespace {

void write_to_standard_error(void*, LineKind kind, const char* line) {
  std::fprintf(stderr, "%s%s\n", kind == LineKind::kError ? "error: " : "", line);
}

// Held while a sink runs. Recursive, because a sink may itself trace or choose another sink.
std::recursive_mutex sink_mutex;
LineSink current_sink = write_to_standard_error;
void* current_context = nullptr;

}  // namespace

void SetLineSink(LineSink sink, void* context) {
  const std::lock_guard<std::recursive_mutex> lock(sink_mutex);
  current_sink = sink ? sink : write_to_standard_error;
  current_context = context;
}

void emit_line(LineKind kind, const char* line) {
  const std::lock_guard<std::recursive_mutex> lock(sink_mutex);
  current_sink(current_context, kind, line);
}

}  // namespace corvid_host

using corvid_host::LineKind;

void Trace(const Text& line, unsigned char, ColourResource*) {
  corvid_host::emit_line(LineKind::kTrace, line.Characters());
}

void ErrorMsg(const char* key, ...) {
  const char* const format = FindString(key).Characters();
  std::va_list arguments;
  va_start(arguments, key);
  const corvid_host::FilledFormat filled(format, arguments);
  va_end(arguments);
  // If memory is refused, the format itself still says what happened.
  corvid_host::emit_line(LineKind::kError, filled.Characters() ? filled.Characters() : format);
}

// Writes numbers in columns through the host's TextFile. This file is not part of the library: a host that
// wants a log compiles it into its own program.

#include "frame/debug_out.h"

#include <cmath>
#include <ctime>

#include "frame/empty_value.h"

namespace {

constexpr int kColumnsInLine = 5;

Text column(double value) {
  if (value == EmptyValue) return FormattedText("        EMPTY");
  // Twelve characters where all others have thirteen, so what follows a zero shifts by one. The format of the
  // log is part of the contract, and existing logs have it.
  if (value == 0.0) return FormattedText("         0.0");
  const double magnitude = std::fabs(value);
  const bool needs_exponent = magnitude < 1e-4 || magnitude > 1e7;
  return needs_exponent ? FormattedText("%13.5e", value) : FormattedText("%13.5f", value);
}

Text column(int value) {
  if (value == EmptyValueInt) return FormattedText("        EMPTY");
  return FormattedText("%13d", value);
}

template <class Number>
void write_vector(DebugOut& log, const Text& header, const Number* values, int first, int last) {
  if (!values) return;
  log.file.Write(header, 0);
  const long long count = static_cast<long long>(last) - first;
  if (count > kColumnsInLine) log.file.Write('\n');
  for (long long i = 0; i < count; ++i) {
    if (i != 0 && i % kColumnsInLine == 0) log.file.Write('\n');
    log.Write(values[first + i]);
  }
}

}  // namespace

DebugOut::DebugOut(Text name, int logLevel, unsigned char keepContents)
    : level(logLevel), append(keepContents), file(name, "LOG") {}

DebugOut::~DebugOut() { file.Close(); }

void DebugOut::Open() {
  if (append && file.Exists(0)) {
    file.Open(1);
  } else {
    file.Create();
  }
}

void DebugOut::Reopen() {
  file.Close();
  file.Open(1);
}

void DebugOut::Write(double value) { file.Write(column(value), 0); }

void DebugOut::Write(int value) { file.Write(column(value), 0); }

void DebugOut::WriteTime() {
  const std::time_t now = std::time(nullptr);
  file.Write(FormattedText("\nThe current time is: %s \n", std::ctime(&now)), 0);
}

void DebugOut::WriteVector(Text header, const double* values, int first, int last) {
  write_vector(*this, header, values, first, last);
}

void DebugOut::WriteVector(Text header, const int* values, int first, int last) {
  write_vector(*this, header, values, first, last);
}

void DebugOut::WriteMatrix(Text header, double** rows, int nRows, int nCols) {
  if (!rows) return;
  file.Write(header, 0);
  for (int r = 0; r < nRows; ++r) {
    for (int c = 0; rows[r] && c < nCols; ++c) {
      if (c % kColumnsInLine == 0) file.Write("\n     ", 0);
      Write(rows[r][c]);
    }
  }
}

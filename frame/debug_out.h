#pragma once

// The log that Accel::StartBasicDebug takes. Neither of the two libraries defines it: a host that wants one
// compiles frame/debug_out.cpp, which lies beside this header, into its own program.

#include "frame/corvid.h"

/// A text log in columns: thirteen characters for a number, five numbers to a line, and "EMPTY" for
/// EmptyValue and EmptyValueInt. Write errors are the file's affair; on a log that is not open nothing is
/// written. One thread at a time.
class DebugOut {
 public:
  /// Does not open the file.
  /// @param name   of the file; its extension is LOG
  /// @param level  kept, and read by nobody
  /// @param append 1: keep what an existing file holds
  DebugOut(Text name, int level, unsigned char append);
  DebugOut(const DebugOut&) = delete;
  DebugOut& operator=(const DebugOut&) = delete;
  /// Closes the file.
  virtual ~DebugOut();

  /// Opens the file to append if that was asked for and it is there; otherwise makes it anew.
  void Open();
  /// Closes the file and goes on behind its end: all that was written so far is on disk.
  void Reopen();

  /// One column. Zero takes twelve characters; a magnitude below 1e-4 or above 1e7 is written with an
  /// exponent. NaN and infinities are as printf writes them.
  void Write(double value);
  /// One column.
  void Write(int value);
  /// The local time on a line of its own, after and before a line end.
  void WriteTime();

  /// The header, then the values first .. last - 1; more than five begin on the line after the header.
  /// Null writes nothing; with `last` not above `first` there is the header alone.
  void WriteVector(Text header, const double* values, int first, int last);
  void WriteVector(Text header, const int* values, int first, int last);
  /// The header, then each row on lines of its own with a margin of five blanks. Null writes nothing.
  /// @param rows [nRows] each of nCols values
  void WriteMatrix(Text header, double** rows, int nRows, int nCols);

  int level;
  unsigned char append;  // non-zero: keep the contents of an existing file
  TextFile file;         // everything goes through it; the accelerators write their lines to it
};

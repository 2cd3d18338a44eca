#pragma once

/// @file
/// The log that Accel::StartBasicDebug takes. Neither libcorvidnum.so nor the host support library defines
/// the class: a host that wants a log compiles frame/debug_out.cpp, installed beside this header, into its
/// program.

#include "frame/corvid.h"

/// A text log in columns: thirteen characters per number, five numbers per line, and "EMPTY" for EmptyValue
/// and EmptyValueInt. Nothing is written before Open, and write errors are not reported. One thread at a
/// time may use a log.
class DebugOut {
 public:
  /// Stores the arguments; does not open the file.
  /// @param name   name of the file without its extension, which is LOG
  /// @param level  stored for the host; nothing in the library reads it
  /// @param append 1: keep the contents of an existing file; 0: start it anew
  DebugOut(Text name, int level, unsigned char append);
  DebugOut(const DebugOut&) = delete;
  DebugOut& operator=(const DebugOut&) = delete;
  /// Closes the file.
  virtual ~DebugOut();

  /// Opens the file for appending if the constructor's `append` is set and the file exists; otherwise creates
  /// it or empties it.
  void Open();
  /// Closes the file and opens it again for appending, so that everything written so far is on disk.
  void Reopen();

  /// Writes one column. Zero takes only twelve characters; a magnitude below 1e-4 or above 1e7 is written
  /// with an exponent. NaN and infinities look as printf writes them.
  void Write(double value);
  /// Writes one column.
  void Write(int value);
  /// Writes the local time between a line end before it and one after it.
  void WriteTime();

  /// Writes the header, then values[first] to values[last - 1], indices from 0. More than five values begin
  /// on the line after the header. Null writes nothing; `last` not above `first` writes the header alone.
  void WriteVector(Text header, const double* values, int first, int last);
  /// Writes the header, then values[first] to values[last - 1], in the same way.
  void WriteVector(Text header, const int* values, int first, int last);
  /// Writes the header, then each row on lines of its own, with a margin of five blanks. Null writes nothing.
  /// @param header       written first
  /// @param rows         [nRows][nCols] a null row is left out
  /// @param nRows, nCols sizes of the matrix
  void WriteMatrix(Text header, double** rows, int nRows, int nCols);

  int level;             ///< as it came; nothing in the library reads it
  unsigned char append;  ///< non-zero: keep the contents of an existing file
  TextFile file;         ///< everything goes through it; the accelerators write their lines to it
};

#pragma once

/// @file
/// A table of points that a user edits row by row.

#include "frame/export.h"
#include "frame/host_memory.h"

class BinaryFile;

/// An ordered list of points (x, y) that a user edits row by row. A coordinate equal to EmptyValue was not
/// given. Indices count from 0; flags are 1 for true and 0 for false.
///
/// If memory is refused, a constructor leaves an empty table without capacity, and an edit that has to grow
/// the arrays leaves the table unchanged. Walks move a cursor, so even for reading only one thread at a time
/// may use a table. Separate tables may be used by separate threads.
class CORVIDNUM_API XYTable : public HostAllocated {
 public:
  /// Makes a table without points, with a capacity of ChunkSize.
  XYTable();
  /// Copies the points; the capacity is just theirs. Begin a walk over the copy with GetFirstPoint.
  XYTable(const XYTable& other);
  /// Frees the points.
  virtual ~XYTable();
  /// Shares the arrays of `other` and leaks its own. Both tables then own the same arrays, and the caller
  /// must make sure that they are freed once.
  XYTable& operator=(const XYTable& other);

  /// Fills the table in a derived class. Here it does nothing and returns 0.
  virtual unsigned char InitFromDefaults();
  /// Removes all points and keeps the capacity. Returns 1.
  virtual unsigned char ClearData();

  /// Returns the number of points; below 0 only after Recall of a file that says so, and then there are none.
  int NDataPoints();
  /// Returns the number of rows that an editor of the x column shows: one more than there are points, so that
  /// NewXi can start a new row, unless the last row is half entered. At least 1.
  int XDim();
  /// Returns the number of rows that an editor of the y column shows: NDataPoints().
  int YDim();

  /// Reads a point.
  /// @param index number of the point, from 0
  /// @param x, y out: the point, or EmptyValue both if there is no such point
  /// @return 1; 0 if there is no such point
  unsigned char GetPoint(int index, double& x, double& y);
  /// Begins a walk over the points and reads the first one; arguments and result as in GetPoint. A table has
  /// one cursor, so walks cannot be nested.
  unsigned char GetFirstPoint(double& x, double& y);
  /// Reads the next point of the walk; arguments and result as in GetPoint, also after the last point.
  unsigned char GetNextPoint(double& x, double& y);

  /// Appends a point. Coordinates may be EmptyValue.
  /// @return always 0, also on success
  unsigned char AddPoint(double x, double y);
  /// Removes a point and moves the later ones down by one index. The cursor does not move.
  /// @return 1; 0 if there is no such point
  unsigned char RemovePoint(int index);
  /// Sets the x of a row. At index NDataPoints() an x other than EmptyValue starts a new row without a y. A
  /// row whose coordinates are both EmptyValue after the call is removed.
  /// @return 1; 0 if there is no such row or no memory for a new one
  unsigned char NewXi(int index, double x);
  /// Sets the y of a row; cannot start a row. A row whose coordinates are both EmptyValue after the call is
  /// removed.
  /// @return 1; 0 if there is no such row
  unsigned char NewYi(int index, double y);
  /// Exchanges two points; does nothing if an index has no point. Returns 1.
  unsigned char Swap(int i, int j);

  /// Returns 1 if all coordinates of all points were given, else 0.
  unsigned char AllDataIsNonEmpty();
  /// Sorts the points by ascending x, stably. EmptyValue counts as the number it is. A NaN in x keeps its
  /// place, and each stretch between NaNs is sorted by itself. Returns 1.
  unsigned char Sort();

  /// Writes the table as one chunk of a file that is being written.
  /// @return 1; 0 if the file failed, with the chunk left open
  unsigned char Store(BinaryFile& file);
  /// Reads the table from the next chunk of a file. The cursor does not move.
  /// @return 1; 0 with the chunk left open. If the file failed before the points, the table keeps its old
  ///         points under the count that was read, if any; if it failed later, the table holds what was read,
  ///         then EmptyValue. If memory was refused, the table is empty.
  unsigned char Recall(BinaryFile& file);

 protected:
  double* xValues;  ///< [capacity]
  double* yValues;  ///< [capacity]
  int nPoints;      ///< number of points; below 0: none, see NDataPoints
  int capacity;     ///< length of the arrays
  int cursor;       ///< index of the point that the walk read last

  /// Returns the number of points, 0 if nPoints is negative.
  CORVIDNUM_HIDDEN int Points() const { return nPoints > 0 ? nPoints : 0; }
  /// Reads a point; both coordinates are EmptyValue and the result is false if there is none.
  CORVIDNUM_HIDDEN bool PointAt(int index, double& x, double& y) const;
  /// Reads a point as PointAt does and moves the cursor to it. Loops of the library count with an index of
  /// their own, since a host's Func may walk the table, and leave the cursor where GetNextPoint would.
  CORVIDNUM_HIDDEN bool VisitPoint(int index, double& x, double& y);

 private:
  /// Elements by which the arrays grow, and the room of a new table; read at each use. The host may change it
  /// through its symbol. 0 or less: a new table has no room, and arrays grow by 1. It is 10 in the beginning.
  /// Each growth copies all points, so that the time of n AddPoint is in proportion to n * n / ChunkSize:
  /// 100,000 of them take 1.4 s by 10, and 6 ms by 1000, which a host with long tables chooses.
  static int ChunkSize;

  CORVIDNUM_HIDDEN bool Replace(int newCapacity);
  CORVIDNUM_HIDDEN bool Enlarge(int newCapacity, int kept);
  CORVIDNUM_HIDDEN bool GiveUp();
  CORVIDNUM_HIDDEN bool Append(double x, double y);
  CORVIDNUM_HIDDEN void SetEmptyFrom(int first);
  CORVIDNUM_HIDDEN bool ReadCounts(BinaryFile& file);
};

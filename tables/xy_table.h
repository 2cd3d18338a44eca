#pragma once

#include "frame/export.h"
#include "frame/host_memory.h"

class BinaryFile;

/// An ordered list of (x, y) pairs that a user edits row by row. A coordinate equal to EmptyValue was not
/// given. Indices count from 0; flags are 1 for true and 0 for false.
///
/// What memory refuses: a constructor leaves an empty table without room, an edit that has to grow
/// leaves the table as it was. A table uses a cursor also to read: one thread at a time. Separate tables may
/// be used by separate threads.
class CORVIDNUM_API XYTable : public HostAllocated {
 public:
  /// Without points, with room for ChunkSize.
  XYTable();
  /// Copies the points, with no room for more. The copy has no place in a walk before GetFirstPoint.
  XYTable(const XYTable& other);
  virtual ~XYTable();
  /// Shares the arrays of `other` and abandons its own, which stay allocated: afterwards both tables own the
  /// same arrays, and the caller must see to it that they are freed once.
  XYTable& operator=(const XYTable& other);

  /// For a derived class to fill the table. Here it does nothing and returns 0.
  virtual unsigned char InitFromDefaults();
  /// Removes all points and keeps the room for them. Always 1.
  virtual unsigned char ClearData();

  /// Points held; below 0 only after Recall of a file that says so, and then there are none.
  int NDataPoints();
  /// Rows that an editor of the x column shows: one to spare behind complete rows, in which NewXi can start
  /// a new one, but none behind a half-entered last row. At least 1.
  int XDim();
  /// Rows that an editor of the y column shows: NDataPoints().
  int YDim();

  /// @param x, y out: the point, or EmptyValue both
  /// @return 0: there is no such point
  unsigned char GetPoint(int index, double& x, double& y);
  /// Begins a walk over the points. There is one walk in a table at a time.
  unsigned char GetFirstPoint(double& x, double& y);
  /// The next point of the walk; behind the last one 0, again and again.
  unsigned char GetNextPoint(double& x, double& y);

  /// Appends a point, EmptyValue or not.
  /// @return always 0; it says nothing about success
  unsigned char AddPoint(double x, double y);
  /// Later points move down. The cursor of a walk stays.
  /// @return 0: there is no such point
  unsigned char RemovePoint(int index);
  /// Edits the x of a row; at index NDataPoints() a given x starts a new row, without a y. A row that loses
  /// its last coordinate is removed.
  /// @return 0: no such row, or no memory for a new one
  unsigned char NewXi(int index, double x);
  /// Edits the y of a row; cannot start one. A row that loses its last coordinate is removed.
  /// @return 0: no such row
  unsigned char NewYi(int index, double y);
  /// Exchanges two points; an index without a point changes nothing. Always 1.
  unsigned char Swap(int i, int j);

  /// 0: a coordinate of a point was not given.
  unsigned char AllDataIsNonEmpty();
  /// Orders the points by ascending x; those of equal x keep their order. EmptyValue is a number like others.
  /// A NaN keeps its place, and the points before and behind it are ordered each for themselves. Always 1.
  unsigned char Sort();

  /// Writes the table as one chunk of a file that is being written.
  /// @return 0: the file failed; the chunk is then left open
  unsigned char Store(BinaryFile& file);
  /// Reads the next chunk of a file. The cursor stays.
  /// @return 0, and the chunk is left open. If the file failed before the points, the table holds its old
  /// ones,
  ///         under the count that was read, if any; if it failed later, what was read, with EmptyValue
  ///         behind. If memory was refused, the table is empty.
  unsigned char Recall(BinaryFile& file);

 protected:
  double* xValues;  // [capacity]
  double* yValues;  // [capacity]
  int nPoints;
  int capacity;
  int cursor;  // index of the point that a walk delivered last

  /// The points that are there: none also where nPoints is negative.
  CORVIDNUM_HIDDEN int Points() const { return nPoints > 0 ? nPoints : 0; }
  /// Delivers a point, or EmptyValue both and false.
  CORVIDNUM_HIDDEN bool PointAt(int index, double& x, double& y) const;
  /// PointAt with the cursor put there. A walk by an index of its own, so that what is called for a point may
  /// walk too, leaves the cursor where GetNextPoint does.
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

// Storage, editing, walking and file format of a table of points.
//
// Invariants: xValues and yValues both have `capacity` elements; the points are the indices 0 .. Points() - 1
// and Points() <= capacity. Elements behind the points have no meaning. nPoints may be negative after Recall
// of a file that says so; Points() is then 0.

#include "tables/xy_table.h"

#include <algorithm>
#include <climits>
#include <cstdint>

#include "frame/corvid.h"
#include "frame/empty_value.h"
#include "frame/module.h"
#include "tables/point_sort.h"

using namespace corvidnum;

namespace {

constexpr short kChunkVersion = 1;

}  // namespace

int XYTable::ChunkSize = 10;

// ---- Life and memory

XYTable::XYTable() : xValues(nullptr), yValues(nullptr), nPoints(0), capacity(0), cursor(0) {
  enter_library();
  Replace(std::max(ChunkSize, 0));
}

XYTable::XYTable(const XYTable& other)
    : HostAllocated(other),
      xValues(nullptr),
      yValues(nullptr),
      nPoints(other.nPoints),
      capacity(0),
      cursor(EmptyValueInt) {
  enter_library();
  if (!Replace(Points())) return;
  std::copy(other.xValues, other.xValues + Points(), xValues);
  std::copy(other.yValues, other.yValues + Points(), yValues);
}

XYTable::~XYTable() {
  enter_library();
  Corvid_delete(xValues);
  Corvid_delete(yValues);
}

// Copies the pointers, not the arrays: the contract has it share them, and the host decides which table frees
// them.
// NOLINTNEXTLINE(bugprone-unhandled-self-assignment): nothing is freed
XYTable& XYTable::operator=(const XYTable& other) {
  enter_library();
  xValues = other.xValues;
  yValues = other.yValues;
  nPoints = other.nPoints;
  capacity = other.capacity;
  cursor = other.cursor;
  return *this;
}

/// Frees the arrays and allocates new ones without initialising them. Returns false if memory is refused; the
/// table then has neither points nor capacity.
bool XYTable::Replace(int newCapacity) {
  Corvid_delete(xValues);
  Corvid_delete(yValues);
  xValues = allocate_array<double>(newCapacity);
  yValues = allocate_array<double>(newCapacity);
  capacity = newCapacity;
  return (xValues && yValues) || GiveUp();
}

/// Frees the arrays and makes the table empty, without capacity. Returns false, for the caller to pass on.
bool XYTable::GiveUp() {
  Corvid_delete(xValues);
  Corvid_delete(yValues);
  xValues = yValues = nullptr;
  nPoints = capacity = 0;
  return false;
}

/// Moves the first `kept` points to larger arrays, whose rest is not initialised. Returns false, with the
/// table unchanged, if memory is refused.
bool XYTable::Enlarge(int newCapacity, int kept) {
  double* x = allocate_array<double>(newCapacity);
  double* y = allocate_array<double>(newCapacity);
  if (!x || !y) {
    Corvid_delete(x);
    Corvid_delete(y);
    return false;
  }
  std::copy(xValues, xValues + kept, x);
  std::copy(yValues, yValues + kept, y);
  Corvid_delete(xValues);
  Corvid_delete(yValues);
  xValues = x;
  yValues = y;
  capacity = newCapacity;
  return true;
}

void XYTable::SetEmptyFrom(int first) {
  if (first >= capacity) return;
  std::fill(xValues + first, xValues + capacity, EmptyValue);
  std::fill(yValues + first, yValues + capacity, EmptyValue);
}

unsigned char XYTable::InitFromDefaults() {
  enter_library();
  return 0;
}

unsigned char XYTable::ClearData() {
  enter_library();
  SetEmptyFrom(0);
  nPoints = 0;
  return 1;
}

// ---- Reading

int XYTable::NDataPoints() {
  enter_library();
  return nPoints;
}

int XYTable::XDim() {
  enter_library();
  const int points = Points();
  if (points == 0) return 1;
  const bool half_entered = xValues[points - 1] == EmptyValue || yValues[points - 1] == EmptyValue;
  return half_entered || points == INT_MAX ? points : points + 1;
}

int XYTable::YDim() {
  enter_library();
  return nPoints;
}

bool XYTable::PointAt(int index, double& x, double& y) const {
  const bool there = index >= 0 && index < Points();
  x = there ? xValues[index] : EmptyValue;
  y = there ? yValues[index] : EmptyValue;
  return there;
}

bool XYTable::VisitPoint(int index, double& x, double& y) {
  cursor = index;
  return PointAt(index, x, y);
}

unsigned char XYTable::GetPoint(int index, double& x, double& y) {
  enter_library();
  return PointAt(index, x, y);
}

unsigned char XYTable::GetFirstPoint(double& x, double& y) {
  enter_library();
  return VisitPoint(0, x, y);
}

unsigned char XYTable::GetNextPoint(double& x, double& y) {
  enter_library();
  return VisitPoint(cursor < INT_MAX ? cursor + 1 : INT_MAX, x, y);
}

unsigned char XYTable::AllDataIsNonEmpty() {
  enter_library();
  for (int i = 0; i < Points(); ++i) {
    if (xValues[i] == EmptyValue || yValues[i] == EmptyValue) return 0;
  }
  return 1;
}

// ---- Editing

bool XYTable::Append(double x, double y) {
  const int points = Points();
  if (points >= capacity) {
    const std::int64_t grown = std::int64_t{capacity} + std::max(ChunkSize, 1);
    if (capacity == INT_MAX || !Enlarge(static_cast<int>(std::min<std::int64_t>(grown, INT_MAX)), points)) {
      return false;
    }
  }
  xValues[points] = x;
  yValues[points] = y;
  nPoints = points + 1;
  return true;
}

unsigned char XYTable::AddPoint(double x, double y) {
  enter_library();
  Append(x, y);
  return 0;  // by contract also on success; NDataPoints() tells whether the point was added
}

unsigned char XYTable::RemovePoint(int index) {
  enter_library();
  if (index >= Points() || index < 0) return 0;
  std::copy(xValues + index + 1, xValues + nPoints, xValues + index);
  std::copy(yValues + index + 1, yValues + nPoints, yValues + index);
  --nPoints;
  xValues[nPoints] = yValues[nPoints] = EmptyValue;
  return 1;
}

unsigned char XYTable::NewXi(int index, double x) {
  enter_library();
  const int points = Points();
  if (index < 0 || index > points) return 0;
  if (index == points) {
    if (x != EmptyValue) return Append(x, EmptyValue);
    if (points < capacity) xValues[points] = EmptyValue;
    return 1;
  }
  if (x == EmptyValue && yValues[index] == EmptyValue) return RemovePoint(index);
  xValues[index] = x;
  return 1;
}

unsigned char XYTable::NewYi(int index, double y) {
  enter_library();
  if (index < 0 || index >= Points()) return 0;
  if (y == EmptyValue && xValues[index] == EmptyValue) return RemovePoint(index);
  yValues[index] = y;
  return 1;
}

unsigned char XYTable::Swap(int i, int j) {
  enter_library();
  const auto is_point = [this](int index) { return index >= 0 && index < Points(); };
  if (!is_point(i) || !is_point(j)) return 1;
  std::swap(xValues[i], xValues[j]);
  std::swap(yValues[i], yValues[j]);
  return 1;
}

unsigned char XYTable::Sort() {
  enter_library();
  sort_points(xValues, yValues, Points());
  return 1;
}

// ---- File. A table is one chunk of
//   int count, int capacity, then for each point: double x, double y

unsigned char XYTable::Store(BinaryFile& file) {
  enter_library();
  ChunkHeader header{};
  if (!header.Create(file, kChunkVersion)) return 0;
  if (!file.WriteInt(nPoints) || !file.WriteInt(capacity)) return 0;
  for (int i = 0; i < Points(); ++i) {
    if (!file.WriteDouble(xValues[i]) || !file.WriteDouble(yValues[i])) return 0;
  }
  return header.Close(file);
}

unsigned char XYTable::Recall(BinaryFile& file) {
  enter_library();
  ChunkHeader header{};
  if (!header.Open(file)) return 0;  // the version is not looked at: every version has this layout
  if (!ReadCounts(file)) return 0;
  for (int i = 0; i < Points(); ++i) {
    if (!file.ReadDouble(&xValues[i]) || !file.ReadDouble(&yValues[i])) return 0;
  }
  return header.Close(file);
}

/// Reads count and capacity, and makes the arrays large enough for both, filled with EmptyValue. nPoints
/// takes the count as it was read, even if it is negative. If the capacity cannot be read, the old points
/// stay and the count read holds, with EmptyValue behind the old points.
/// @return false if the file failed or memory was refused
bool XYTable::ReadCounts(BinaryFile& file) {
  const int former_points = Points();
  int count = nPoints, room = capacity;
  if (!file.ReadInt(&count)) return false;
  nPoints = count;
  if (!file.ReadInt(&room)) {
    if (Points() > capacity && !Enlarge(Points(), former_points)) return GiveUp();
    SetEmptyFrom(former_points);
    return false;
  }
  if (!Replace(std::max({count, room, 0}))) return false;
  SetEmptyFrom(0);
  return true;
}

#include "tables/point_sort.h"

#include <algorithm>
#include <cmath>

#include "frame/host_memory.h"

namespace corvidnum {

namespace {

constexpr int kShort = 16;  // up to here insertion is faster than merging

struct Point {
  double x, y;
};

/// A merge sort of points that are free of NaN.
class PointSort {
 public:
  PointSort(double* x, double* y, int n) : x_(x), y_(y), n_(n) {}
  PointSort(const PointSort&) = delete;
  PointSort& operator=(const PointSort&) = delete;
  ~PointSort() { Corvid_delete(buffer_); }

  void sort(int begin, int end);

 private:
  void insert_each(int begin, int end);
  void merge_by_copy(int begin, int middle, int end);
  void merge_in_place(int begin, int middle, int end);
  bool borrow_buffer();

  double* x_;
  double* y_;
  int n_;
  Point* buffer_ = nullptr;  // for the first half of any stretch
  bool asked_ = false;
};

void PointSort::sort(int begin, int end) {
  if (end - begin <= kShort) return insert_each(begin, end);
  const int middle = begin + (end - begin) / 2;
  sort(begin, middle);
  sort(middle, end);
  if (!(x_[middle] < x_[middle - 1])) return;
  if (borrow_buffer()) {
    merge_by_copy(begin, middle, end);
  } else {
    merge_in_place(begin, middle, end);
  }
}

bool PointSort::borrow_buffer() {
  if (!asked_) buffer_ = allocate_array<Point>(n_ / 2);
  asked_ = true;
  return buffer_ != nullptr;
}

void PointSort::insert_each(int begin, int end) {
  for (int i = begin + 1; i < end; ++i) {
    const Point point{x_[i], y_[i]};
    int place = i;
    for (; place > begin && point.x < x_[place - 1]; --place) {
      x_[place] = x_[place - 1];
      y_[place] = y_[place - 1];
    }
    x_[place] = point.x;
    y_[place] = point.y;
  }
}

void PointSort::merge_by_copy(int begin, int middle, int end) {
  const int lefts = middle - begin;
  for (int i = 0; i < lefts; ++i) buffer_[i] = {x_[begin + i], y_[begin + i]};
  int left = 0, right = middle, place = begin;
  for (; left < lefts && right < end; ++place) {
    const bool take_right = x_[right] < buffer_[left].x;  // of equals the left one goes first
    const Point point = take_right ? Point{x_[right], y_[right]} : buffer_[left];
    x_[place] = point.x;
    y_[place] = point.y;
    right += take_right;
    left += !take_right;
  }
  for (; left < lefts; ++left, ++place) {
    x_[place] = buffer_[left].x;
    y_[place] = buffer_[left].y;
  }
}

/// Cuts the longer half in the middle and the other where it belongs, exchanges the inner parts, and goes on
/// with the two pairs of parts.
void PointSort::merge_in_place(int begin, int middle, int end) {
  if (begin == middle || middle == end || !(x_[middle] < x_[middle - 1])) return;
  int left_cut, right_cut;
  if (middle - begin > end - middle) {
    left_cut = begin + (middle - begin) / 2;
    right_cut = static_cast<int>(std::lower_bound(x_ + middle, x_ + end, x_[left_cut]) - x_);
  } else {
    right_cut = middle + (end - middle + 1) / 2;
    left_cut = static_cast<int>(std::upper_bound(x_ + begin, x_ + middle, x_[right_cut - 1]) - x_);
  }
  std::rotate(x_ + left_cut, x_ + middle, x_ + right_cut);
  std::rotate(y_ + left_cut, y_ + middle, y_ + right_cut);
  const int seam = left_cut + (right_cut - middle);
  merge_in_place(begin, left_cut, seam);
  merge_in_place(seam, right_cut, end);
}

}  // namespace

void sort_points(double* x, double* y, int n) {
  PointSort points(x, y, n);
  for (int begin = 0, end; begin < n; begin = end + 1) {
    for (end = begin; end < n && !std::isnan(x[end]);) ++end;
    points.sort(begin, end);
  }
}

}  // namespace corvidnum

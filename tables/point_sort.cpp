// A stable merge sort of points by x, with insertion sort of short stretches. Merging copies the left half to
// a buffer of n / 2 points. If memory for that is refused, it merges in place by rotations instead, with the
// same result. Stretches between NaNs are sorted one by one, so that no comparison meets a NaN.
// Source: Knuth, The Art of Computer Programming, volume 3; for merging in place, Dudzinski and Dydek, Inf.
// Process. Lett. 12, 5 (1981).

#include "tables/point_sort.h"

#include <algorithm>
#include <cmath>

#include "frame/host_memory.h"

namespace corvidnum {

namespace {

constexpr int kShort = 16;  // up to this length insertion is faster than merging

struct Point {
  double x, y;
};

/// Sorts points whose x are free of NaN, indices from 0.
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
  Point* buffer_ = nullptr;  // [n_ / 2] the left half of a merge; null: not allocated yet, or refused
  bool asked_ = false;       // whether memory for the buffer was asked for
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
    const bool take_right = x_[right] < buffer_[left].x;  // among equals the left one goes first: stable
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

/// Merges two sorted neighbours in place: cuts the longer one in the middle and the other where the element
/// at that cut belongs, exchanges the inner parts by a rotation, and merges the two pairs of parts.
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

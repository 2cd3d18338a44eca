#pragma once

// Where things stand in the arrays of the ma48 routines.

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "frame/clamp.h"
#include "frame/one_based.h"
#include "sparse/ma48/ma48_codes.h"

namespace corvidnum {

/// Views KEEP of an m x n matrix. Where a part begins is written in one place only: in the function that
/// returns its element.
///   | m places | n columns | n ends  | n ends  | n+1 starts | n+1 starts | 3 per block | 1 per block |
///   | of rows  | in order  | of U+L  | of U    | in blocks  | off blocks | order, kind,| left to     |
///   |          |           | (IPTRL) | (IPTRU) | (IPTRD)    | (IPTRO)    | start       | last        |
/// Int is `int` or `const int`.
template <class Int>
class KeepView {
 public:
  static constexpr int kBlockStride = 3;

  KeepView(Int* keep, int m, int n) : keep_(keep, ma48_keep_length(m, n)), m_(m), n_(n) {}

  Int& row_place(std::ptrdiff_t i) const { return keep_(i); }                 // of original row i
  Int& column_at(std::ptrdiff_t j) const { return keep_(m_ + j); }            // original column at place j
  Int& lower_end(std::ptrdiff_t j) const { return keep_(iptrl() + j); }       // IPTRL, relative to the block
  Int& upper_end(std::ptrdiff_t j) const { return keep_(iptru() + j); }       // IPTRU, relative to the block
  Int& diagonal_start(std::ptrdiff_t j) const { return keep_(iptrd() + j); }  // IPTRD, j = n+1: the end
  Int& off_diagonal_start(std::ptrdiff_t j) const { return keep_(iptro() + j); }  // IPTRO, j = n+1: the end
  Int& block_order(std::ptrdiff_t block) const { return keep_(of_block(0, block)); }  // NBLOCK
  Int& block_kind(std::ptrdiff_t block) const { return keep_(of_block(1, block)); }   // MBLOCK
  Int& block_start(std::ptrdiff_t block) const { return keep_(of_block(2, block)); }  // KBLOCK
  /// Returns the number of blocks, NB. Between the calls it is kept in the place of the start of block 1,
  /// which is always 1.
  Int& block_count() const { return block_start(1); }
  Int& left_to_last(std::ptrdiff_t blocks, std::ptrdiff_t block) const {  // LBLOCK
    return keep_(of_block(2, blocks) + block);
  }

  std::ptrdiff_t iptrl() const { return m_ + n_; }
  std::ptrdiff_t iptru() const { return m_ + 2 * n_; }
  std::ptrdiff_t iptrd() const { return m_ + 3 * n_; }
  std::ptrdiff_t iptro() const { return m_ + 4 * n_ + 1; }
  /// Returns the address of element `begin`, as the kernels take arrays.
  Int* at(std::ptrdiff_t begin) const { return keep_.from(begin).data(); }

 private:
  std::ptrdiff_t of_block(int which, std::ptrdiff_t block) const {
    return m_ + 5 * n_ + which + kBlockStride * block;
  }

  OneBased<Int> keep_;
  std::ptrdiff_t m_, n_;
};

/// Largest length of the arrays of entries that INFO asks for: the place behind the array is still an int.
constexpr int kMostPlaces = 0x7ffffffe;

/// Returns a length as INFO reports it.
inline int clamped_length(std::int64_t length) { return clamped(length, kMostPlaces); }

}  // namespace corvidnum

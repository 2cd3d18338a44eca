#pragma once

// Reads the factors that the ma38 routines leave in VALUE and INDEX, from the layout alone and with nothing
// of the library but the names of positions, and multiplies them out. Whatever is not as documented is named
// in `fault`.

#include <set>
#include <stdexcept>
#include <string>

#include "sparse/ma38/ma38_codes.h"
#include "tests/support/sparse_matrices.h"

namespace reference {

using Ints = std::vector<int>;

/// K pivots eliminated together. Positions are those of the block, from 1.
struct LuElement {
  int first = 0, pivots = 0;  // positions first + 1 .. first + pivots
  Ints l, u, children;
  int front_columns = 0, front_rows = 0;  // 0 but for the first element of a front
  Vector reals;                           // K columns of K + |l|, then |u| groups of K

  double lower(int row, int k) const { return reals[k * (pivots + l.size()) + row]; }  // pivots over l
  double upper(int k, int column) const { return reals[pivots * (pivots + l.size()) + column * pivots + k]; }
};

struct LuBlock {
  int first = 0, order = 0, pivots = 0;  // positions first + 1 .. first + order
  bool singleton = false;
  double pivot = 0.0;  // of a singleton
  std::vector<LuElement> elements;
};

class StoredFactors {
 public:
  std::string fault;
  int ne = 0, n = 0, nz = 0, nblks = 0, nzoff = 0, preserved = 0, transposed = 0;
  Ints rperm, cperm;
  std::vector<LuBlock> blocks;
  Coordinates copy, off_diagonal;  // the kept matrix; entries off the blocks, by pivot positions

  StoredFactors(const Ints& keep, const Ints& index, const Vector& value) : index_(index), value_(value) {
    try {
      read(keep);
    } catch (const std::runtime_error& error) {
      fault = error.what();
    }
  }

  /// Unit lower L and upper U of the blocks. U has zeros where there is no pivot.
  void triangles(Dense& lower, Dense& upper) const {
    lower = upper = Dense(n, n);
    for (int k = 0; k < n; ++k) lower(k, k) = 1.0;
    for (const LuBlock& block : blocks) {
      if (block.singleton) upper(block.first, block.first) = block.pivot;
      for (const LuElement& e : block.elements) {
        const int first = block.first + e.first, last = block.first - 1;
        for (int k = 0; k < e.pivots; ++k) {
          for (int r = 0; r < e.pivots; ++r) (r > k ? lower : upper)(first + r, first + k) = e.lower(r, k);
          for (std::size_t r = 0; r < e.l.size(); ++r)
            lower(last + e.l[r], first + k) = e.lower(e.pivots + int(r), k);
          for (std::size_t c = 0; c < e.u.size(); ++c) upper(first + k, last + e.u[c]) = e.upper(k, int(c));
        }
      }
    }
  }
  /// P A Q as the factors give it; `magnitude` has |L||U|, which bounds the rounding.
  Dense product(Dense& magnitude) const {
    Dense lower(n, n), upper(n, n), result = dense(off_diagonal);
    triangles(lower, upper);
    magnitude = result;
    for (double& entry : magnitude.values) entry = std::fabs(entry);
    for (int k = 0; k < n; ++k) {
      for (int i = k; i < n; ++i) {
        for (int j = k; lower(i, k) != 0.0 && j < n; ++j) {
          result(i, j) += lower(i, k) * upper(k, j);
          magnitude(i, j) += std::fabs(lower(i, k) * upper(k, j));
        }
      }
    }
    return result;
  }

 private:
  const Ints& index_;
  const Vector& value_;
  long long index_begin_ = 1, index_end_ = 0, value_begin_ = 1, value_end_ = 0;
  long long lu_reals_ = 0, lu_words_ = 0;                    // where the LU parts begin
  std::set<std::pair<long long, long long>> words_, reals_;  // what the LU parts consist of: begin, length

  static void expect(bool condition, const std::string& what) {
    if (!condition) throw std::runtime_error(what);
  }
  int word(long long at) const {
    expect(index_begin_ <= at && at <= index_end_, "a position outside the kept words");
    return index_[static_cast<std::size_t>(at - 1)];
  }
  Ints words(long long at, long long count) const {
    Ints result;
    for (long long k = 0; k < count; ++k) result.push_back(word(at + k));
    return result;
  }
  Vector reals(long long at, long long count) const {
    expect(value_begin_ <= at && at + count - 1 <= value_end_, "a position outside the kept reals");
    return Vector(value_.begin() + (at - 1), value_.begin() + (at - 1 + count));
  }
  /// Parts that are all there is between `begin` and `end`, without gap or overlap.
  static void expect_tiled(const std::set<std::pair<long long, long long>>& parts, long long begin,
                           long long end, const char* what) {
    for (const auto& part : parts) {
      expect(part.first == begin, std::string(what) + " do not follow each other");
      begin += part.second;
    }
    expect(begin == end, std::string(what) + " do not fill their part");
  }
  /// Members of first .. last, each once.
  static void expect_list(const Ints& list, int first, int last, const char* what) {
    std::set<int> seen;
    for (const int member : list)
      expect(first <= member && member <= last && seen.insert(member).second, what);
  }

  void read(const Ints& keep) {
    const int pattern_begin = ma38_keep(keep.data(), MA38_KEEP_PATTERN_BEGIN);
    value_begin_ = ma38_keep(keep.data(), MA38_KEEP_VALUE_BEGIN);
    value_end_ = ma38_keep(keep.data(), MA38_KEEP_VALUE_END);
    index_begin_ = ma38_keep(keep.data(), MA38_KEEP_INDEX_BEGIN);
    index_end_ = ma38_keep(keep.data(), MA38_KEEP_INDEX_END);
    expect(1 <= value_begin_ && value_end_ <= static_cast<long long>(value_.size()), "KEEP(1), KEEP(2)");
    expect(1 <= index_begin_ && index_begin_ <= pattern_begin, "KEEP(3), KEEP(4)");
    expect(pattern_begin <= index_end_ - 6 && index_end_ <= static_cast<long long>(index_.size()),
           "KEEP(4), KEEP(5)");
    read_top(pattern_begin);
    read_blocks();
    expect_tiled(words_, lu_words_, top_, "LU elements");
    expect_tiled(reals_, lu_reals_, value_end_ + 1, "reals of LU elements");
  }

  long long top_ = 0;  // the lowest of the words that all factors end with
  Ints offp_, blkp_, lublkp_;

  void read_top(int keep4) {
    const long long end = index_end_;
    ne = word(end), n = word(end - 1), nz = word(end - 2), preserved = word(end - 3);
    nblks = word(end - 4), nzoff = word(end - 5), transposed = word(end - 6);
    expect(n >= 1 && nz >= 1 && 1 <= nblks && nblks <= n && nzoff >= 0, "the scalars");
    rperm = words(end - n - 6, n), cperm = words(end - 2 * n - 6, n);
    expect_list(rperm, 1, n, "the row permutation");
    expect_list(cperm, 1, n, "the column permutation");
    top_ = end - 2 * n - 6;
    blkp_ = {1, n + 1};
    if (nblks > 1) {
      offp_ = words(top_ -= n + 1, n + 1);
      blkp_ = words(top_ -= nblks + 1, nblks + 1);
      lublkp_ = words(top_ -= nblks, nblks);
    }
    lu_words_ = keep4;
    expect(lu_words_ <= top_, "no room for the LU elements");
    expect(blkp_.front() == 1 && blkp_.back() == n + 1, "the ends of the blocks");
    for (int b = 0; b < nblks; ++b) expect(blkp_[b] < blkp_[b + 1], "an empty block");

    copy.m = copy.n = off_diagonal.m = off_diagonal.n = n;
    long long at = index_begin_, reals_at = value_begin_;
    if (preserved) {
      const Ints pointers = words(at, n + 1), rows = words(at + n + 1, nz);
      const Vector values = reals(reals_at, nz);
      at += n + 1 + nz, reals_at += nz;
      expect(pointers[0] == 1 && pointers[n] == nz + 1, "the column pointers of the copy");
      for (int j = 0; j < n; ++j) {
        for (int p = pointers[j]; p < pointers[j + 1]; ++p) {
          expect(1 <= p && p <= nz && 1 <= rows[p - 1] && rows[p - 1] <= n, "an entry of the copy");
          copy.add(rows[p - 1], j + 1, values[p - 1]);
        }
      }
    }
    if (nblks > 1) {
      read_off_diagonal(words(at, nzoff), reals(reals_at, nzoff));
      at += nzoff, reals_at += nzoff;
    } else {
      expect(nzoff == 0, "entries off a single block");
    }
    expect(at == keep4, "KEEP(4) does not follow from KEEP(3)");
    lu_reals_ = reals_at;
  }

  void read_off_diagonal(const Ints& columns, const Vector& values) {
    expect(offp_[0] == 1 && offp_[n] == nzoff + 1, "the row pointers of the off-diagonal part");
    for (int b = 0; b < nblks; ++b) {
      for (int i = blkp_[b]; i < blkp_[b + 1]; ++i) {
        for (int p = offp_[i - 1], last = blkp_[b + 1] - 1; p < offp_[i]; ++p) {
          expect(1 <= p && p <= nzoff && columns[p - 1] > last && columns[p - 1] <= n,
                 "an off-diagonal entry: inside its block, or not in ascending order");
          last = columns[p - 1];
          off_diagonal.add(i, last, values[p - 1]);
        }
      }
    }
  }

  void read_blocks() {
    bool all_singletons = nblks > 1;
    for (int b = 0; b < nblks; ++b) {
      LuBlock block;
      block.first = blkp_[b] - 1, block.order = blkp_[b + 1] - blkp_[b];
      block.singleton = nblks > 1 && block.order == 1;
      const int pointer = nblks > 1 ? lublkp_[b] : 1;
      expect(pointer >= 1, "a pointer to a block");
      if (block.singleton) {
        block.pivot = reals(lu_reals_ + pointer - 1, 1)[0];
        reals_.insert({lu_reals_ + pointer - 1, 1});
      } else {
        read_block(block, lu_words_ + pointer - 1);
        all_singletons = false;
      }
      blocks.push_back(block);
    }
    if (all_singletons) {
      expect(word(lu_words_) == 0, "the word that stands for no LU element");
      words_.insert({lu_words_, 1});
    }
  }

  void read_block(LuBlock& block, long long at) {
    const int reals_at = word(at), elements = word(at + 1);
    block.pivots = word(at + 2);
    expect(0 <= elements && elements <= block.pivots && block.pivots <= block.order, "a block's counts");
    const Ints pointers = words(at + 5, elements);
    words_.insert({at, 5 + elements});
    int pivots = 0, longest_l = 0, longest_u = 0;
    for (const int pointer : pointers) {
      LuElement element =
          read_element(block, at + 5 + elements + pointer - 1, lu_reals_ + reals_at - 1, pivots);
      pivots += element.pivots;
      longest_l = std::max(longest_l, int(element.l.size()));
      longest_u = std::max(longest_u, int(element.u.size()));
      block.elements.push_back(element);
    }
    expect(pivots == block.pivots, "the pivots of a block's elements");
    expect(word(at + 3) == longest_l && word(at + 4) == longest_u, "the longest lists of a block");
    if (elements == 0) {
      expect(reals(lu_reals_ + reals_at - 1, 1)[0] == 0.0, "the real that stands for no LU element");
      reals_.insert({lu_reals_ + reals_at - 1, 1});
    }
  }

  LuElement read_element(const LuBlock& block, long long at, long long block_reals, int pivots_before) {
    LuElement e;
    e.first = pivots_before, e.pivots = word(at + 1);
    const int u = word(at + 2), l = word(at + 3), children = word(at + 4);
    expect(e.pivots >= 1 && e.pivots <= block.order && 0 <= u && u <= block.order && 0 <= l &&
               l <= block.order && children >= 0,
           "the counts of an LU element");
    e.front_columns = word(at + 5), e.front_rows = word(at + 6);
    e.l = words(at + 7, l), e.u = words(at + 7 + l, u), e.children = words(at + 7 + l + u, children);
    expect_list(e.l, e.first + e.pivots + 1, block.order, "an L list");
    expect_list(e.u, e.first + e.pivots + 1, block.order, "a U list");
    const bool starts_front = e.front_rows != 0;
    expect(starts_front || (e.front_columns == 0 && !block.elements.empty()), "no front of an LU element");
    expect(!starts_front || (e.front_columns >= e.pivots + u && e.front_rows >= e.pivots + l),
           "an LU element longer than its front");
    const int number = static_cast<int>(block.elements.size()) + 1;
    Ints sons;
    for (const int child : e.children) sons.push_back((child - 1) % block.order + 1);
    for (const int child : e.children) expect(1 <= child && child <= 3 * block.order, "the code of a child");
    expect_list(sons, 1, number - 1, "a child that does not come before, or comes twice");
    expect(starts_front || (!e.children.empty() && e.children[0] == number - 1),
           "the first child in a chain is not the element before");
    const long long count = static_cast<long long>(e.pivots + l + u) * e.pivots;
    const long long begin = block_reals + word(at) - 1;
    e.reals = reals(begin, count);
    words_.insert({at, 7 + l + u + children});
    reals_.insert({begin, count});
    return e;
  }
};

}  // namespace reference

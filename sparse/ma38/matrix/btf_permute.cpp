// Block upper triangular form of a square matrix.
//
//   1. Find a maximum transversal: match each row to a column (augmenting paths, depth first).
//   2. Find the strongly connected components of the graph whose nodes are the rows and whose edges lead from
//      a row to the rows of its column. They are the blocks, ordered so that no entry lies below them.
//   3. Compose the two permutations.
//   4. Unless the matrix is preserved, gather the entries of each block and pack the others in front of them.
//
// The two graph algorithms are those of sparse/ma48/. Sources: Duff, ACM Trans. Math. Softw. 7, 315 (1981);
// Tarjan, SIAM J. Comput. 1, 146 (1972).

#include "sparse/ma38/matrix/btf_permute.h"

#include <algorithm>
#include <cstdlib>

#include "sparse/ma48/kernels.h"

namespace corvidnum {
namespace ma38 {
namespace {

/// Finds the form; the members are the steps in their order. Work vectors have a name where they are used.
class BlockTriangular {
 public:
  BlockTriangular(const Columns& matrix, Index n, Index nz, OneBased<int> rperm, OneBased<int> cperm,
                  OneBased<int> starts, OneBased<int> work)
      : m_(matrix),
        n_(n),
        nz_(nz),
        rperm_(rperm),
        cperm_(cperm),
        starts_(starts),
        w1_(work.part(1, n)),
        w2_(work.part(n + 1, n)),
        w3_(work.part(2 * n + 1, n)),
        w4_(work.part(3 * n + 1, n)),
        blkp_(work.part(4 * n + 1, n + 1)) {}

  void match_rows();
  Index find_blocks();
  void compose(Index nblks);
  void invert_rows(OneBased<int> position) const {
    for (Index k = 1; k <= n_; ++k) position(rperm_(k)) = static_cast<int>(k);
  }
  /// Moves the entries to their places; returns how many lie off the blocks.
  Index permute(Index nblks);
  void move_block_starts(Index nblks) {
    for (Index b = nblks + 1; b >= 1; --b) blkp_(n_ - nblks + b) = blkp_(b);
  }

 private:
  Index append_diagonal_part();
  Index pack_off_diagonal_part();
  void pull_down_diagonal_part(Index nzdia, Index nzoff);

  const Columns& m_;
  const Index n_, nz_;
  const OneBased<int> rperm_, cperm_, starts_, w1_, w2_, w3_, w4_, blkp_;
};

/// Writes the column that row i is matched to in cperm(i). In a structurally singular matrix the matching
/// fills up the rows left over with columns left over and marks them by a minus sign. They serve as well: the
/// blocks then only lack some diagonal entries, and the kernel finds the rank.
void BlockTriangular::match_rows() {
  const OneBased<int> lengths = w2_;
  for (Index j = 1; j <= n_; ++j) lengths(j) = m_.ap(j + 1) - m_.ap(j);
  const int n = static_cast<int>(n_), places = static_cast<int>(nz_);
  int matched = 0;
  ma48_matching(&n, m_.ai.data(), &places, m_.ap.data(), lengths.data(), cperm_.data(), &matched, w1_.data(),
                w3_.data(), w4_.data(), starts_.data());
  for (Index i = 1; i <= n_; ++i) cperm_(i) = std::abs(cperm_(i));
}

/// Returns the number of blocks. Node i is row i; its edges lead to the rows of the column that it is matched
/// to.
Index BlockTriangular::find_blocks() {
  const OneBased<int> node_starts = w1_, node_lengths = w2_;
  for (Index i = 1; i <= n_; ++i) {
    const Index j = cperm_(i);
    node_starts(i) = m_.ap(j);
    node_lengths(i) = m_.ap(j + 1) - m_.ap(j);
  }
  const int n = static_cast<int>(n_), places = static_cast<int>(nz_);
  int count = 0;
  ma48_strong_components(&n, m_.ai.data(), &places, node_starts.data(), node_lengths.data(), rperm_.data(),
                         blkp_.data(), &count, w3_.data(), w4_.data(), starts_.data());
  return count;
}

void BlockTriangular::compose(Index nblks) {
  blkp_(nblks + 1) = static_cast<int>(n_ + 1);
  std::copy_n(cperm_.data(), n_, w1_.data());
  for (Index k = 1; k <= n_; ++k) cperm_(k) = w1_(rperm_(k));
}

Index BlockTriangular::permute(Index nblks) {
  const OneBased<int> row_position = w1_, first_of_position = w2_, column_first = w3_;
  invert_rows(row_position);
  for (Index b = 1; b <= nblks; ++b) {
    for (Index k = blkp_(b); k < blkp_(b + 1); ++k) {
      first_of_position(k) = blkp_(b);
      column_first(cperm_(k)) = blkp_(b);
    }
  }
  const Index nzdia = append_diagonal_part();
  const Index nzoff = pack_off_diagonal_part();
  pull_down_diagonal_part(nzdia, nzoff);
  return nzoff;
}

/// Copies the entries of the blocks to the places behind the matrix, position by position, rows counted from
/// the block's first. Returns their number.
Index BlockTriangular::append_diagonal_part() {
  const OneBased<int> row_position = w1_, first_of_position = w2_;
  Index place = nz_ + 1;
  for (Index k = 1; k <= n_; ++k) {
    const Index j = cperm_(k);
    const int first = first_of_position(k);
    starts_(k) = static_cast<int>(place - nz_);  // relative to nz, because 2 nz may be above the largest int
    for (Index p = m_.ap(j); p < m_.ap(j + 1); ++p) {
      const int row = row_position(m_.ai(p));
      if (row < first) continue;  // off the blocks; no entry lies below its block
      m_.ai(place) = row - first + 1;
      m_.ax(place) = m_.ax(p);
      ++place;
    }
  }
  starts_(n_ + 1) = static_cast<int>(place - nz_);
  return place - 1 - nz_;
}

/// Moves the other entries to the front, in storage order, so that none is overwritten before it is read.
/// Returns their number.
Index BlockTriangular::pack_off_diagonal_part() {
  const OneBased<int> row_position = w1_, column_first = w3_;
  Index place = 1, begin = 1;
  for (Index j = 1; j <= n_; ++j) {
    const Index end = m_.ap(j + 1);
    const int first = column_first(j);
    m_.ap(j) = static_cast<int>(place);
    for (Index p = begin; p < end; ++p) {
      if (row_position(m_.ai(p)) >= first) continue;
      m_.ai(place) = m_.ai(p);
      m_.ax(place) = m_.ax(p);
      ++place;
    }
    begin = end;
  }
  m_.ap(n_ + 1) = static_cast<int>(place);
  return place - 1;
}

void BlockTriangular::pull_down_diagonal_part(Index nzdia, Index nzoff) {
  std::copy_n(m_.ai.data() + nz_, nzdia, m_.ai.data() + nzoff);
  std::copy_n(m_.ax.data() + nz_, nzdia, m_.ax.data() + nzoff);
  for (Index k = 1; k <= n_ + 1; ++k) starts_(k) += static_cast<int>(nzoff);
}

}  // namespace

BlockForm ma38_btf_permute(const Columns& matrix, Index n, Index nz, bool preserved, OneBased<int> rperm,
                           OneBased<int> cperm, OneBased<int> starts, OneBased<int> work) {
  BlockTriangular form(matrix, n, nz, rperm, cperm, starts, work);
  form.match_rows();
  const Index nblks = form.find_blocks();
  if (nblks == 1) return {1, 0};
  form.compose(nblks);
  Index nzoff = 0;
  if (preserved) {
    form.invert_rows(starts);
  } else {
    nzoff = form.permute(nblks);
  }
  form.move_block_starts(nblks);
  return {nblks, nzoff};
}

}  // namespace ma38
}  // namespace corvidnum

// Block substitution with a block upper triangular matrix: back from the last block to the first for A x = b,
// forward from the first to the last for the transposed system. The diagonal entries of a triangular block
// are divided by here; column_solve.cpp solves with the factors of every other block.

#include <cstddef>

#include "frame/one_based.h"
#include "sparse/ma48/kernel_codes.h"
#include "sparse/ma48/kernels.h"
#include "sparse/ma48/layout.h"

namespace corvidnum {
namespace {

using Index = std::ptrdiff_t;

/// Substitutes over the blocks of the block upper triangular form: the entries of a block that are off the
/// diagonal blocks stand in the rows of the blocks before it. So A x = b goes from the last block to the
/// first, and the transposed system from the first to the last.
class BlockSolve {
 public:
  BlockSolve(int la, const double* fact, const int* irnf, const double* a, const int* irn, const int* iptrd,
             const int* iptro, const int* blocks, const int* iptrl, const int* iptru, double* rhs, double* x,
             int trans, const int* icntl5, double* w)
      : la_(la),
        fact_(fact),
        irnf_(irnf),
        a_(a),
        irn_(irn),
        iptrd_(iptrd),
        iptro_(iptro),
        blocks_(blocks),
        iptrl_(iptrl),
        iptru_(iptru),
        rhs_(rhs),
        x_(x),
        trans_(trans),
        icntl5_(icntl5),
        w_(w) {}

  void backward(int n);  // solves A x = b
  void forward();        // solves the transposed system

 private:
  // Block jb in BLOCKS: order, kind and start; the start of block 1 is that of all, its place holds the
  // count.
  int count() const { return blocks_[2]; }
  int order(Index jb) const { return blocks_[3 * jb - 3]; }
  int kind(Index jb) const { return blocks_[3 * jb - 2]; }
  int start(Index jb) const { return jb == 1 ? 1 : blocks_[3 * jb - 1]; }
  bool triangular(Index jb) const { return kind(jb) < 0; }

  void solve_general(Index jb, Index j1);
  void solve_upper(Index j1, Index j2);
  void solve_upper_transposed(Index j1, Index j2);
  /// Subtracts xj times the entries begin .. end - 1 from RHS.
  void subtract_entries(Index begin, Index end, double xj) {
    for (Index k = begin; k < end; ++k) rhs_[irn_[k - 1] - 1] -= a_[k - 1] * xj;
  }
  /// Returns `value` less the products of these entries with X.
  double less_products(double value, Index begin, Index end) const {
    for (Index k = begin; k < end; ++k) value -= a_[k - 1] * x_[irn_[k - 1] - 1];
    return value;
  }

  const int la_;
  const double* const fact_;
  const int* const irnf_;
  const double* const a_;
  const int* const irn_;
  const int* const iptrd_;
  const int* const iptro_;
  const int* const blocks_;
  const int* const iptrl_;
  const int* const iptru_;
  double* const rhs_;
  double* const x_;
  const int trans_;
  const int* const icntl5_;
  double* const w_;
};

void BlockSolve::forward() {
  Index j1 = 1;
  for (Index jb = 1; jb <= count(); ++jb) {
    const Index j2 = j1 + order(jb) - 1;
    if (jb > 1) {
      for (Index j = j1; j <= j2; ++j) rhs_[j - 1] = less_products(rhs_[j - 1], iptro_[j - 1], iptro_[j]);
    }
    triangular(jb) ? solve_upper_transposed(j1, j2) : solve_general(jb, j1);
    j1 = j2 + 1;
  }
}

void BlockSolve::backward(int n) {
  Index j2 = n;
  for (Index jb = count(); jb >= 1; --jb) {
    const Index j1 = j2 - order(jb) + 1;
    triangular(jb) ? solve_upper(j1, j2) : solve_general(jb, j1);
    if (jb > 1) {
      for (Index j = j1; j <= j2; ++j) subtract_entries(iptro_[j - 1], iptro_[j], x_[j - 1]);
    }
    j2 = j1 - 1;
  }
}

void BlockSolve::solve_upper(Index j1, Index j2) {
  for (Index j = j2; j >= j1; --j) {
    const Index diagonal = iptrd_[j - 1];
    x_[j - 1] = rhs_[j - 1] / a_[diagonal - 1];
    subtract_entries(diagonal + 1, iptrd_[j], x_[j - 1]);
  }
}

void BlockSolve::solve_upper_transposed(Index j1, Index j2) {
  for (Index j = j1; j <= j2; ++j) {
    const Index diagonal = iptrd_[j - 1];
    rhs_[j - 1] = less_products(rhs_[j - 1], diagonal + 1, iptrd_[j]);
    x_[j - 1] = rhs_[j - 1] / a_[diagonal - 1];
  }
}

void BlockSolve::solve_general(Index jb, Index j1) {
  const int size = order(jb), np = kind(jb), first = start(jb), lfact = la_ - first + 1;
  const int naturalOrder = 0;
  int unusedStatus[kMa50InfoLength];
  MA50CD(&size, &size, icntl5_, &naturalOrder, &np, &trans_, &lfact, fact_ + (first - 1), irnf_ + (first - 1),
         iptrl_ + (j1 - 1), iptru_ + (j1 - 1), rhs_ + (j1 - 1), x_ + (j1 - 1), w_, unusedStatus);
}

}  // namespace

int ma48_block_solve(const int* n, const int* /*newne*/, const int* la, const double* fact, const double* a,
                     const int* irnf, const int* irn, const int* iptrd, const int* iptro, const int* /*nb*/,
                     const int* blocks, const int* iptrl, const int* iptru, double* rhs, double* x,
                     const int* trans, const int* icntl5, double* w) {
  BlockSolve run(*la, fact, irnf, a, irn, iptrd, iptro, blocks, iptrl, iptru, rhs, x, *trans, icntl5, w);
  *trans != 0 ? run.forward() : run.backward(*n);
  return 0;
}

}  // namespace corvidnum

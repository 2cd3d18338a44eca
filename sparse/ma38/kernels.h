#pragma once

// The internal routines of the multifrontal solver.

#include "sparse/ma38/layout.h"

namespace corvidnum {
namespace ma38 {

enum Who { kFactor = 1, kRefactor = 2, kSolve = 3 };
enum Status {
  kBadOrder = -1,
  kBadEntryCount = -2,
  kIndexTooShort = -3,
  kValueTooShort = -4,
  kBothTooShort = -5,
  kPivotOrderFailed = -6,
  kCorrupted = -7,
  kInvalidEntries = 1,
  kDuplicateEntries = 2,
  kSingular = 4,
  kNoRefinement = 8
};
/// Codes of the lines that tell single entries.
enum Detail {
  kEntryOutOfRange = 99,
  kEntryRepeated = 98,
  kEntryOutsidePattern = 97,
  kEntryBelowBlocks = 96,
  kEntryOfDeadPart = 95
};

// ---- Messages (messages.cpp)

void ma38_report(Who who, int code, int detail1, int detail2, double value, int unit);
/// Tells an entry that is dropped, if the print level asks for that.
void report_dropped(Who who, const int* icntl, Detail code, int row, int column, double value);
/// Sets INFO(1) and issues the message.
void ma38_set_info(Who who, const int* icntl, int& status, int code, int detail);

// ---- Input (convert.cpp, btf_permute.cpp, offdiag_rows.cpp)

/// A matrix by compressed columns: column j is at ap(j) .. ap(j+1)-1 of ai and ax.
struct Columns {
  OneBased<int> ap, ai;
  OneBased<double> ax;
};

/// Triplets to columns in INDEX(1..) and VALUE(1..). nz: in, the entries given; out, those kept.
/// w [n] and ap [n+1] lie in `index` above the triplets. False: error -2 is set.
bool ma38_convert(Who who, int n, int& nz, bool transa, OneBased<double> value, OneBased<int> index,
                  OneBased<int> w, OneBased<int> ap, const int* icntl, const Results& results);

/// Reads a matrix preserved (by blocks), or what of it lies outside the diagonal blocks.
struct OffDiagonalInput {
  Who who;
  int n, nblks;
  bool preserved;
  Columns matrix;  // not preserved: the off-diagonal entries alone, ap by ORIGINAL column, rows original
  OneBased<const int> rperm, cperm, blkp;
  const int* icntl;
};
/// Fills the off-diagonal part by rows. work [n]. Returns the entries below the diagonal blocks, each
/// reported by code 96 (who = kRefactor only).
Wide ma38_offdiag_rows(const OffDiagonalInput& input, OneBased<int> offp, OneBased<int> offi,
                       OneBased<double> offx, OneBased<int> work);

// ---- Factorisation (factor_driver.cpp, block_setup.cpp, frontal_*.cpp, compaction.cpp)

/// Figures over all blocks that ma38bd_'s needs come from.
struct FactorTotals {
  Wide maxl = 0, maxu = 0, elements = 0;
  Wide peak_reals = 0;  // for a refactorisation
  /// What that holds beside fronts: the entries, the copy to be preserved, the factors stored so far.
  Wide factor_reals = 0;
};

struct FrontControls {
  Index search_width, block_size;
  bool prefer_diagonal;
  double threshold, growth;
  Wide dense1, dense2;  // KEEP(7), KEEP(8)
  FrontControls(const int* keep, const double* cntl, const int* icntl);
};

/// A diagonal block to factorise.
struct Block {
  Index order;     // n of the block
  Index first;     // k1, its first position in the matrix
  bool preserved;  // else it lies at the head of the space and is consumed
  bool several;    // of several blocks: only row positions from `first` on belong to it
  Columns matrix;  // preserved: the whole matrix, of several blocks column k being cperm(k) of it. Not
                   // preserved: the block's own columns, rows local
  OneBased<int> rperm,
      cperm;  // the block's slices of the permutations: in, and composed with the pivot order on return
  OneBased<const int> row_position;  // [n of the matrix] inverse of RPERM; used if preserved and several
};

/// Makes column objects of the block at the heads and runs the kernel. On success the tails have the header
/// (space.itail) and the reals (space.xtail) of the block; header word 0 holds the position space.xtail; the
/// heads are the caller's to reset. nzoff grows by the entries above the block (preserved, several).
/// False: a shortage, flagged in `space`.
bool ma38_block_setup(const Block& block, Space& space, const FrontControls& controls, FactorTotals& totals,
                      Wide& nzoff, const Results& results);

// ---- Kept factors (kept_factors.cpp)

/// The factors as KEEP, INDEX and VALUE tell, if they are consistent.
struct KeptFactors {
  bool good;
  int n, nz, nblks, nzoff;
  bool preserved, transposed;
  Index ap, ai, offi;        // positions in INDEX; 0: not there
  Index ax, offx, lu_reals;  // positions in VALUE
  Index lu_ints;             // KEEP(4)
  Index top_end;             // KEEP(5)
};
/// The checks of a solve: KEEP and the scalars, in the contract's order.
KeptFactors locate_factors(int n, int lvalue, int lindex, OneBased<const int> index, const int* keep);
/// What of it a refactorisation reads: KEEP(4), KEEP(5) and what lies between, which has one word of LU
/// elements at the least. The rest of KEEP is not looked at, nor are places outside the pattern filled in.
KeptFactors locate_pattern(int n, int lindex, OneBased<const int> index, const int* keep);
/// Whether pointers, counts, list members and children of the LU collection stay inside: O(length).
/// `reals` is the length of the LU part of VALUE; below 0: not checked (pattern alone, for a
/// refactorisation).
bool elements_are_sound(OneBased<const int> index, Index lu_ints, Index top_end, int n, int nblks,
                        Wide reals);
/// Whether LU elements that have passed stand apart, in the order of their storing: those eliminated last
/// have the lowest words. Then none is changed with another.
bool elements_are_apart(OneBased<const int> index, Index lu_ints, Index top_end, int n, int nblks);
/// Whether the permutations, the blocks' range, the off-diagonal part and the preserved columns stay inside:
/// O(length).
bool vectors_are_sound(OneBased<const int> index, const KeptFactors& kept);

// ---- Solution (solve_kernels.cpp, solve_driver.cpp)

/// LU elements of one block as the solve kernels take them.
struct BlockFactors {
  OneBased<const int> ints;      // the collection of LU elements, from the block's header on
  OneBased<const double> reals;  // the LU part of VALUE
};
/// Solve with L, U, U' and L' in place, x being that of the block and `work` as long. Nothing need have been
/// checked: false if an element does not stay inside, x is spoilt then.
bool ma38_solve_l(const BlockFactors& block, OneBased<double> x, OneBased<double> work);
bool ma38_solve_u(const BlockFactors& block, OneBased<double> x, OneBased<double> work);
bool ma38_solve_ut(const BlockFactors& block, OneBased<double> x, OneBased<double> work);
bool ma38_solve_lt(const BlockFactors& block, OneBased<double> x, OneBased<double> work);

// ---- Dump (print.cpp)

/// Arguments of the routine that dumps; null where it has none.
struct PrintArguments {
  Who who;
  bool output;
  int n, ne, job, trans, lvalue, lindex, lw;
  const double* value;
  const int* index;
  const int* keep;
  const double* b;
  const double* x;
  const double* w;
  const double* cntl;
  const int* icntl;
  const int* info;
  const double* rinfo;
};
void ma38_print(const PrintArguments& arguments);

}  // namespace ma38
}  // namespace corvidnum

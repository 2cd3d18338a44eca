#pragma once

/// @file
/// Band systems with dense borders.

#include "dense/matrix.h"

/// A bordered band matrix of order n + m:
///
///            n        m
///       [  A11  |   A12  ]  n    A11: band with kl sub-diagonals and ku super-diagonals
///       [  A21  |   A22  ]  m    A12, A21, A22: dense
///
/// It is solved by block elimination: band LU of A11 with row interchanges, then dense LU of the Schur
/// complement A22 - A21 inverse(A11) A12. A pivot of the Schur complement must exceed 1e-8 in magnitude; in
/// the band only an exact zero is a failure. Rows are not interchanged between band and border, so an
/// ill-conditioned A11 costs digits even if the whole matrix is well-conditioned.
///
/// Order of use: fill the elements; FactorLU, in place; BackSub any number of times, with A12 and A21
/// unchanged; ZeroElements to fill anew. Separate objects may be used by separate threads, but for accesses
/// outside the matrix.
class CORVIDNUM_API ArrowMatrix : public Matrix {
 public:
  /// Where the list of the non-zeros of A21 comes from. Any value other than 0 and 1 means TrackProvided.
  enum TrackNZType : int {
    TrackNone = 0,      ///< there is no list: A21 is used as a dense block
    TrackInternal = 1,  ///< the object lists each element of A21 that is accessed, for reading or writing
    TrackProvided = 2,  ///< the caller passes the list to ProvideNZ
  };

  /// Allocates the blocks and sets all elements to 0.
  /// @param n      order of A11
  /// @param kl, ku number of sub-diagonals and super-diagonals of A11
  /// @param m      width of the border
  /// @param track  where the list of the non-zeros of A21 comes from
  ArrowMatrix(int n, int kl, int ku, int m, TrackNZType track);
  ~ArrowMatrix() override;

  /// Factorises, then solves. On a matrix of order 0 returns MatrixOK and writes nothing.
  /// @param x    out: [n + m] the solution
  /// @param b    [n + m] the right-hand side; destroyed if m is above 0; may be `x`
  /// @param info as in FactorLU
  ErrorCode Solve(double* x, double* b, int& info) override;
  /// Sets every element to 0 and, with TrackInternal, empties the list.
  void ZeroElements() override;
  double* Address(int row, int col) override;
  /// Returns a reference to the element. An element of A11 outside the band reads as 0, and a write to it is
  /// dropped.
  double& operator()(int row, int col) override;

  /// Factorises the matrix in place.
  /// @param info out: 0; or the column, 1-based, where the band has a zero pivot; or below 0 if the sizes are
  ///             illegal or memory was refused. It stays 0 if the Schur complement is singular or the list of
  ///             A21 is missing: then only the result tells. On a matrix of order 0 it is not written.
  /// @return MatrixFailed if a factorisation fails, or the list of A21 or memory is missing
  ErrorCode FactorLU(int& info);

  /// Solves with the factors of FactorLU; arguments as in Solve.
  ErrorCode BackSub(double* x, double* b);

  /// Passes the list of the non-zeros of A21 by rows. The caller owns the arrays and keeps them as long as
  /// the object factorises and solves. With TrackInternal they replace the object's own list.
  /// @param rowStart [m] index in `colIndex`, from 0, where border row r begins; below 0: the row is empty
  /// @param rowCount [m] number of columns of border row r
  /// @param colIndex column numbers, from 0; a column outside 0 .. n - 1 is ignored
  void ProvideNZ(int* rowStart, int* rowCount, int* colIndex);

  /// Returns which input row stands in row `i` (from 0) after the row interchanges of columns 0 to i of the
  /// band.
  /// @return the row, 1-based; -1 if `i` is not a row or memory was refused. For i >= n the result has no
  ///         meaning: the contract looks up `i`, not `i` - n, among the m rows of the border.
  int PermutationInfo(int i);

 protected:
  int n;              ///< order of A11
  int kl;             ///< sub-diagonals of A11
  int ku;             ///< super-diagonals of A11
  int m;              ///< width of the border
  TrackNZType track;  ///< where the list of the non-zeros of A21 comes from
  double* band;     ///< A11 in band storage: (i, j) at j * ldab + kl + ku + i - j, with ldab = 2 kl + ku + 1
  double* a12;      ///< n x m, by columns
  double* a21;      ///< m x n, by columns
  double* a22;      ///< m x m, by columns; after FactorLU the LU factors of the Schur complement
  int* bandPivots;  ///< [n] row interchanges of the band LU, 1-based
  int* cornerPivots;  ///< [m] row interchanges of the LU of the Schur complement, 1-based
  double* work;       ///< [n] inverse(A11) times one vector
  double outOfBand;   ///< target of accesses to A11 outside the band
  // The list of non-zeros that the elimination uses; null with TrackNone. See ProvideNZ.
  int* rowStart;  ///< [m] where each border row begins in colIndex
  int* rowCount;  ///< [m] number of columns of each border row
  int* colIndex;  ///< the columns of a row are contiguous
  int capacity;   ///< capacity asked for the object's own colIndex; raised even if the growth fails

 private:
  // The steps of block elimination, run in the order of their numbers. b1, b2 and x1, x2 are the first n and
  // the last m elements of b and x.
  CORVIDNUM_HIDDEN ErrorCode Step1(int& info);               // A11 := its band LU
  CORVIDNUM_HIDDEN ErrorCode Step2();                        // A22 := Schur complement
  CORVIDNUM_HIDDEN ErrorCode Step3();                        // A22 := its LU
  CORVIDNUM_HIDDEN ErrorCode Step4_1(double* b);             // work := inverse(A11) b1
  CORVIDNUM_HIDDEN ErrorCode Step4_2(double* b);             // b2 := b2 - A21 work
  CORVIDNUM_HIDDEN ErrorCode Step4_3(double* x, double* b);  // x2 := inverse(Schur complement) b2
  CORVIDNUM_HIDDEN ErrorCode Step5(double* x, double* b);    // b1 := b1 - A12 x2
  CORVIDNUM_HIDDEN ErrorCode Step6(double* x, double* b);    // x1 := inverse(A11) b1

  CORVIDNUM_HIDDEN void AllocateList();
  CORVIDNUM_HIDDEN void MarkA21NonZero(int row, int col);
  CORVIDNUM_HIDDEN bool ListedIn(int row, int col) const;
  CORVIDNUM_HIDDEN bool GrowList(int total);
  CORVIDNUM_HIDDEN void InsertInStretch(int row, int col, int total);

  CORVIDNUM_HIDDEN int BandRows() const;
  CORVIDNUM_HIDDEN bool ArrayMissing() const;
  CORVIDNUM_HIDDEN bool ListMissing() const;
  CORVIDNUM_HIDDEN int SolveBand(double* vector) const;
  CORVIDNUM_HIDDEN void SubtractA21Product(const double* vector, double* target) const;

  // The object's own list, which element accesses extend; null unless TrackInternal.
  int* ownRowStart;
  int* ownRowCount;
  int* ownColIndex;
  int ownLength;  // allocated length of ownColIndex

  static double outside;  // target of accesses outside the matrix
};

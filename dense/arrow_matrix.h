#pragma once

#include "dense/matrix.h"

/// A band with dense borders, of order n + m:
///
///            n        m
///       [  A11  |   A12  ]  n    A11: band with kl sub-diagonals and ku super-diagonals
///       [  A21  |   A22  ]  m    A12, A21, A22: dense
///
/// The band is factorised as a band; the border is eliminated through the Schur complement
/// A22 - A21 inverse(A11) A12, whose pivots must have a magnitude above 1e-8. In the band only an exact
/// zero is a failure. No row changes place between band and border, so the solution loses as many digits as
/// A11 by itself is ill-conditioned, even if the whole matrix is not. Filled, then factorised in place by
/// FactorLU, then solved any number of times by BackSub, which needs A12 and A21 as they were; ZeroElements
/// begins anew. Separate objects may be used by separate threads.
class CORVIDNUM_API ArrowMatrix : public Matrix {
 public:
  /// How the non-zeros of A21 are known. Any value other than 0 and 1 means TrackProvided.
  enum TrackNZType : int {
    TrackNone = 0,      // no list: A21 is used densely
    TrackInternal = 1,  // the object lists each element of A21 that was ever accessed, be it for reading
    TrackProvided = 2,  // the caller lists them by ProvideNZ
  };

  /// All elements are 0.
  ArrowMatrix(int n, int kl, int ku, int m, TrackNZType track);
  ~ArrowMatrix() override;

  /// FactorLU, then BackSub. Without rows it is MatrixOK, and nothing is written.
  /// @param x    out: [n + m] the solution
  /// @param b    [n + m] the right-hand side; destroyed if m is above 0; may be `x`
  /// @param info as of FactorLU
  ErrorCode Solve(double* x, double* b, int& info) override;
  /// With TrackInternal it also empties the list.
  void ZeroElements() override;
  double* Address(int row, int col) override;
  /// An element of A11 outside the band reads as 0, and a write to it is dropped.
  double& operator()(int row, int col) override;

  /// @param info out: 0; or the column, 1-based, where the band has a zero pivot; or below 0 if the object
  ///             has no legal sizes or no memory. It is 0 also if only the border fails, or lacks its list.
  ///             Without rows it is not written.
  ErrorCode FactorLU(int& info);

  /// Solves with the factors that FactorLU left; arguments as in Solve.
  ErrorCode BackSub(double* x, double* b);

  /// Lists the non-zeros of A21 for the elimination. The arrays stay the caller's and must last as long as
  /// the object solves. With TrackInternal the elimination uses them instead of the object's own list.
  /// @param rowStart [m] where border row r begins in `colIndex`
  /// @param rowCount [m] how many columns it holds
  /// @param colIndex column numbers, 0-based; one that is not below n is ignored
  void ProvideNZ(int* rowStart, int* rowCount, int* colIndex);

  /// Which input row stands at place `i` (0-based) after the band interchanges of columns 0 .. i.
  /// @return the row, 1-based; -1 if `i` is no row or memory is exhausted. For i >= n the answer is of no
  ///         use: it is looked up by `i`, not by the place within the border.
  int PermutationInfo(int i);

 protected:
  int n;
  int kl;
  int ku;
  int m;
  TrackNZType track;
  double* band;     // A11 as LAPACK factorises it: (i, j) at j * ldab + kl + ku + i - j, ldab = 2 kl + ku + 1
  double* a12;      // n x m, column order
  double* a21;      // m x n, column order
  double* a22;      // m x m, column order; then the factors of the Schur complement
  int* bandPivots;  // [n]
  int* cornerPivots;  // [m]
  double* work;       // [n]
  double outOfBand;   // target of accesses to A11 outside the band
  // The list that the elimination uses; null with TrackNone.
  int* rowStart;  // [m]
  int* rowCount;  // [m]
  int* colIndex;  // the columns of a row are contiguous
  int capacity;   // of the object's own colIndex, as asked for; raised even if the growth then fails

 private:
  // The steps of the elimination; their order is that of their numbers.
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

  // The object's own list, which the marks go to; null unless TrackInternal.
  int* ownRowStart;
  int* ownRowCount;
  int* ownColIndex;
  int ownLength;  // entries that ownColIndex has room for

  static double outside;  // target of accesses outside the matrix
};

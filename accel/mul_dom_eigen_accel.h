#pragma once

/// @file
/// Acceleration by several dominant eigenvalues.

#include "accel/accel.h"
#include "frame/export.h"

class MulDomEigenPrinter;

/// Dominant-eigenvalue extrapolation for several eigenvalues. The newest difference is fitted by least
/// squares as a linear combination of the m differences before it, and x moves by the sum of all further
/// differences of that linear recurrence. Corrections for m = nEigen, nEigen - 1, ..., 1 are each compared
/// with the one of the previous try; only the correction for nEigen is ever taken.
///
/// On a linear iteration with exactly nEigen dominant eigenvalues the first step is taken on vector
/// nEigen + 4.
///
/// The host must guard against two cases that the tests here do not catch:
/// - Coefficients that sum to 1, as for a constant drift, give an infinite correction. It passes the
///   projection test, the step counts as taken, and x is no longer finite. Undo a step that is not finite, or
///   that makes the residual worse, with UndoAndReset.
/// - The fit fails on pivots of 1e-8 or less, an absolute limit on the inner products of differences: every
///   fit fails once the differences fall below about 1e-4, and the correction of an earlier try is tested in
///   its place. Scale x so that its differences stay large until it has converged.
class CORVIDNUM_API MulDomEigenAccel : public Accel {
 public:
  /// Allocates all arrays. The last two arguments are ignored.
  /// @param numVar   length of every vector
  /// @param nEigen   number of eigenvalues; below 1 each Accelerate that may try returns 1 and keeps x
  /// @param nHistory length of the ring buffer, in differences; raised to nEigen + 2 if it is less
  MulDomEigenAccel(int numVar, int nEigen, int nHistory, unsigned char, unsigned char);
  ~MulDomEigenAccel() override;

  /// Receives the vector of this iteration and tries to accelerate it; see Accel.
  /// @return 1 if a step was taken, else 0
  unsigned char Accelerate(double* x) override;

 protected:
  /// Walks m from nEigen down to 1 and adds the correction for nEigen to x if it passes. Returns 1 if it did.
  unsigned char TryToAccelerate(double* x);
  /// Computes the correction for m eigenvalues.
  /// @return 1; 0 if the fit is singular, with the correction unchanged
  unsigned char Project(int m);

  double* correction;            ///< [numVar] of the present try
  double spareOld;               ///< not used
  double spareNew;               ///< not used
  MulDomEigenPrinter* printer3;  ///< owned
  double*
      oldProjects;  ///< [nEigen x numVar] block m - 1: the correction for m eigenvalues of the previous try
  int nEigen;       ///< number of eigenvalues
  double* gram;     ///< [nEigen x nEigen] the m x m Gram matrix of a fit, then its LU factors; behind it
                    ///< [nEigen x (nEigen + 1)] the inner products of the differences, for every m
  double* spareVector;  ///< [nEigen] not used
  double* rhs;          ///< [nEigen] right-hand side; then the coefficients
  int* pivots;          ///< [nEigen] row interchanges of the LU factors

 private:
  CORVIDNUM_HIDDEN void AllocateArrays();
  CORVIDNUM_HIDDEN void ReleaseArrays();
  CORVIDNUM_HIDDEN unsigned char TryWith(int m, bool compare, unsigned char accept, double* x);
  CORVIDNUM_HIDDEN double* Newest(int i) const { return history[current - i]; }
  CORVIDNUM_HIDDEN double& ProductOf(int i, int j) const;
  CORVIDNUM_HIDDEN void MultiplyDifferences(int m);
  CORVIDNUM_HIDDEN bool ProjectFromProducts(int m);
  CORVIDNUM_HIDDEN bool Fit(int m);
  CORVIDNUM_HIDDEN void Extrapolate(int m);

  friend class MulDomEigenPrinter;
};

#pragma once

#include "accel/accel.h"
#include "frame/export.h"

class MulDomEigenPrinter;

/// Accelerates an iteration that several eigenvalues dominate. The newest difference is fitted by least
/// squares as a combination of the m before it, and x moves by the sum of all further steps of that linear
/// recurrence. Corrections for nEigen, nEigen - 1, ..., 1 eigenvalues are compared with those of the try
/// before; only that for nEigen is ever taken.
///
/// On a linear iteration with just nEigen dominant eigenvalues the first step is taken on vector nEigen + 4.
///
/// What a host has to see to, because the tests here do not:
/// - Coefficients that sum to 1, as for a constant drift, give an infinite correction. It passes the
///   projection test, the step counts as taken, and x is not finite any more. Look at the result, and take
///   a step that is not finite, or that makes the residual worse, back with UndoAndReset.
/// - The fit gives up at an absolute pivot limit of 1e-8 on sums of products of differences: every fit fails
///   once differences fall below about 1e-4, and the correction of an earlier try is judged in its place.
///   Scale x so that its differences stay large until it has converged.
class CORVIDNUM_API MulDomEigenAccel : public Accel {
 public:
  /// @param numVar   length of every vector
  /// @param nEigen   eigenvalues; with less than 1 each admitted Accelerate returns 1 and leaves x as it is
  /// @param nHistory differences that are kept; at least nEigen + 2 are
  /// The last two arguments are ignored.
  MulDomEigenAccel(int numVar, int nEigen, int nHistory, unsigned char, unsigned char);
  ~MulDomEigenAccel() override;

  /// @return 1 if a step was taken
  unsigned char Accelerate(double* x) override;

 protected:
  unsigned char TryToAccelerate(double* x);
  /// Computes the correction for m eigenvalues.
  /// @return 0 if the fit is singular; the correction then stays what it was
  unsigned char Project(int m);

  double* correction;  // of the present try
  double spareOld;     // not used
  double spareNew;     // not used
  MulDomEigenPrinter* printer3;
  double* oldProjects;  // nEigen blocks of numVar: block m - 1 is the last correction for m eigenvalues
  int nEigen;
  double* gram;         // [nEigen x nEigen] used as m x m, then its LU factors; behind it
                        // [nEigen x (nEigen + 1)] products of the differences, which serve each m
  double* spareVector;  // [nEigen] not used
  double* rhs;          // [nEigen] right-hand side; then the coefficients
  int* pivots;          // [nEigen]

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

#pragma once

/// @file
/// Acceleration by one dominant eigenvalue.

#include "accel/accel.h"
#include "frame/export.h"

class DomEigenPrinter;

/// Dominant-eigenvalue extrapolation, the vector form of Aitken's delta-squared process. Near the solution of
/// an iteration that one real eigenvalue lambda dominates, each difference d(k) is lambda d(k-1), so the sum
/// of all further differences is lambda / (1 - lambda) times the newest one. Lambda is estimated by least
/// squares from the two newest differences.
///
/// On a linear iteration with one dominant eigenvalue the first step is taken on vector 3; with `checkValues`
/// on vector 4, with `checkPred` on vector 5.
class CORVIDNUM_API DomEigenAccel : public Accel {
 public:
  /// Stores the settings and, unless `cached`, allocates the vectors.
  /// @param numVar       length of every vector
  /// @param nHistory     length of the ring buffer, in differences; below 2 no step is ever taken
  /// @param checkValues  1: refuse the first try and any lambda that is above 0.999, has crossed 1 since the
  ///                     previous estimate, or has moved by more than half its distance from 1
  /// @param checkPred    1: refuse a correction that disagrees with the one of the previous try
  /// @param conservative 1: shorten the step, the more so the larger the residual variance of the fit
  /// @param cached       as in Accel
  DomEigenAccel(int numVar, int nHistory, unsigned char checkValues, unsigned char checkPred,
                unsigned char conservative, unsigned char cached);
  ~DomEigenAccel() override;

  /// Takes the working vectors as Accel does, from a list that ends with two more and so holds at least the
  /// length of the ring + 4:
  ///   ..., work, previous, newest place of the ring, ..., oldest place of the ring, last correction,
  ///   correction
  void UseCachedArrays(double** arrays, int count, int ignored) override;
  void StopUsingCachedArrays() override;
  /// Receives the vector of this iteration and tries to accelerate it; see Accel.
  /// @return 1 if a step was taken, which may have length 0; else 0
  unsigned char Accelerate(double* x) override;

  /// Switches the test of the eigenvalue on or off; see the constructor.
  void SetCheckValues(unsigned char on);
  /// Switches the comparison with the previous correction on or off; see the constructor.
  void SetCheckPred(unsigned char on);
  /// Switches the shortening of the step on or off; see the constructor.
  void SetConservative(unsigned char on);

 protected:
  /// Estimates lambda and the correction from the two newest differences, which must exist.
  void Project();
  /// Estimates, tests and, if all tests pass, adds the correction to x. Returns 1 if it did.
  unsigned char TryToAccelerate(double* x);

  unsigned char cachedCorrection;  ///< the caller owns `correction` and `oldProject`
  double* correction;              ///< [numVar] of the present try
  unsigned char checkValues;       ///< 1: test the eigenvalue
  unsigned char checkPred;         ///< 1: compare with the previous correction
  unsigned char conservative;      ///< 1: shorten the step
  double oldLambda;                ///< the previous estimate
  double lambda;                   ///< the newest estimate
  DomEigenPrinter* printer2;       ///< owned
  double* oldProject;              ///< [numVar] the correction of the previous try

 private:
  /// Clears oldLambda only; tolerances and counters of the base keep their values.
  void ResetAll();
  CORVIDNUM_HIDDEN void ReleaseCorrections();
  CORVIDNUM_HIDDEN bool LambdaIsTrusted() const;
  CORVIDNUM_HIDDEN double ExtrapolationFactor(double variance) const;

  friend class DomEigenPrinter;
};

#pragma once

#include "accel/accel.h"
#include "frame/export.h"

class DomEigenPrinter;

/// Accelerates an iteration that one real eigenvalue dominates. Near the solution each difference is lambda
/// times the one before; the rest of the way is then lambda / (1 - lambda) times the newest difference.
/// Lambda is estimated by least squares from the two newest differences.
///
/// On a linear iteration with one dominant eigenvalue the first step is taken on vector 3, with the gates on
/// the values on vector 4, with the projection test on vector 5.
class CORVIDNUM_API DomEigenAccel : public Accel {
 public:
  /// @param numVar       length of every vector
  /// @param nHistory     differences that are kept; with less than 2 no step is ever taken
  /// @param checkValues  1: refuse the first try, a lambda above 0.999, one that has crossed 1 since the try
  /// before, and one
  ///                     that has moved by more than half its distance from 1
  /// @param checkPred    1: refuse a correction that disagrees with that of the try before
  /// @param conservative 1: take shorter steps where the two differences are less parallel
  /// @param cached       as in Accel
  DomEigenAccel(int numVar, int nHistory, unsigned char checkValues, unsigned char checkPred,
                unsigned char conservative, unsigned char cached);
  ~DomEigenAccel() override;

  /// The list ends with two vectors more than that of Accel, so it holds at least the length of the ring + 4:
  ///   ..., work, previous, newest place of the ring, ..., oldest place of the ring, last correction,
  ///   correction
  void UseCachedArrays(double** arrays, int count, int ignored) override;
  void StopUsingCachedArrays() override;
  /// @return 1 if a step was taken; it may be of length 0
  unsigned char Accelerate(double* x) override;

  void SetCheckValues(unsigned char on);
  void SetCheckPred(unsigned char on);
  void SetConservative(unsigned char on);

 protected:
  /// Estimates lambda and the correction from the two newest differences, which have to be there.
  void Project();
  unsigned char TryToAccelerate(double* x);

  unsigned char cachedCorrection;
  double* correction;  // of the present try
  unsigned char checkValues;
  unsigned char checkPred;
  unsigned char conservative;
  double oldLambda;
  double lambda;
  DomEigenPrinter* printer2;
  double* oldProject;  // correction of the last try

 private:
  /// Clears oldLambda alone; the counters of the base keep their values.
  void ResetAll();
  CORVIDNUM_HIDDEN void ReleaseCorrections();
  CORVIDNUM_HIDDEN bool LambdaIsTrusted() const;
  CORVIDNUM_HIDDEN double ExtrapolationFactor(double variance) const;

  friend class DomEigenPrinter;
};

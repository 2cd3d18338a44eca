#pragma once

#include "frame/export.h"
#include "frame/host_memory.h"

/// How the gaps of a row are filled.
enum InterpMethodEnum : int {
  InterpLinear = 0,    // on straight lines between known neighbours
  InterpTwoPoint = 1,  // on one straight line through the two ends of the row, known or not
};

/// What happens to an unknown first or last entry with InterpLinear. Any other value acts as ExtrapLinear.
enum InterpExtrapEnum : int {
  ExtrapLinear = 0,    // it lies on the line through the two nearest known points
  ExtrapConstant = 1,  // it repeats the nearest known point
  ExtrapNone = 2,      // it stays as it is, and so does what lies outside the known points
};

/// Any other value means unknown too.
enum InterpStatusEnum : int {
  InterpKnown = 0,
  InterpUnknown = 1,
};

/// Fills the unknown entries of a row in place. Objects hold nothing between calls; separate ones may be used
/// by separate threads.
class CORVIDNUM_API Interpolator : public HostAllocated {
 public:
  Interpolator();
  Interpolator(const Interpolator& other);
  Interpolator& operator=(const Interpolator& other);
  virtual ~Interpolator();

  /// @param row       [count] in: the known values; out: what could be filled in, after a failure too
  /// @param status    [count] which entries are known; only read. Not used by InterpTwoPoint
  /// @param minPoints InterpLinear needs so many known points, 1 or 2; any other number means 2. With a
  ///                  single one, an end that is filled repeats it
  /// @param spacing   [count] the distance of each entry from the one before, the first being the origin, in
  ///                  any unit; null: the index is the abscissa. Only read
  /// @return 1; 0: fewer known points than needed, two points of the same abscissa (to 1e-8) with different
  ///         values (by 1e-12), an unknown method, or refused memory, which leaves the row as it was
  unsigned char MainInterpolator(double* row, InterpStatusEnum* status, int count, InterpMethodEnum method,
                                 InterpExtrapEnum extrapolation, int minPoints, double* spacing);
  /// Without spacing.
  unsigned char MainInterpolator(double* row, InterpStatusEnum* status, int count, InterpMethodEnum method,
                                 InterpExtrapEnum extrapolation, int minPoints);
  /// Without spacing, with at least two known points.
  unsigned char MainInterpolator(double* row, InterpStatusEnum* status, int count, InterpMethodEnum method,
                                 InterpExtrapEnum extrapolation);
  /// With at least two known points.
  unsigned char MainInterpolator(double* row, InterpStatusEnum* status, int count, InterpMethodEnum method,
                                 InterpExtrapEnum extrapolation, double* spacing);

 private:
  unsigned char ConstructDataElements(double* row, InterpStatusEnum* rowStatus, int rowCount,
                                      double* spacing);
  unsigned char ResetDataElements(double* row, int rowCount);
  unsigned char LinearInterpolator(InterpExtrapEnum extrapolation, int minPoints);
  unsigned char Lin2PtInterpolator(int first, int second, int target, InterpExtrapEnum extrapolation);
  unsigned char TwoPointInterpolator();

  double* values;     // [count] working copy of the row
  double* positions;  // [count] abscissae; null: the index is the abscissa
  int count;
  InterpStatusEnum* status;  // the caller's
};

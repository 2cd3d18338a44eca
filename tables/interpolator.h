#pragma once

/// @file
/// Filling the gaps of a row.

#include "frame/export.h"
#include "frame/host_memory.h"

/// How the gaps of a row are filled. Any other value makes the call fail.
enum InterpMethodEnum : int {
  InterpLinear = 0,    ///< piecewise linear between known neighbours
  InterpTwoPoint = 1,  ///< one straight line through the first and the last entry, be they known or not
};

/// How InterpLinear treats an unknown first or last entry. Any other value acts as ExtrapLinear.
enum InterpExtrapEnum : int {
  ExtrapLinear = 0,    ///< puts it on the line through the two nearest known points
  ExtrapConstant = 1,  ///< repeats the nearest known point
  ExtrapNone = 2,      ///< leaves it and all entries outside the known points unchanged
};

/// Whether an entry is known. Any value other than 0 means unknown.
enum InterpStatusEnum : int {
  InterpKnown = 0,    ///< the entry is known
  InterpUnknown = 1,  ///< the entry is to be filled
};

/// Fills the unknown entries of a row in place by linear interpolation. Objects hold nothing between calls;
/// separate objects may be used by separate threads.
class CORVIDNUM_API Interpolator : public HostAllocated {
 public:
  /// Makes an object that holds nothing.
  Interpolator();
  /// Copies handles, which between calls are null.
  Interpolator(const Interpolator& other);
  /// Copies handles, which between calls are null.
  Interpolator& operator=(const Interpolator& other);
  /// Frees nothing: between calls there is nothing.
  virtual ~Interpolator();

  /// Fills the unknown entries of a row.
  /// @param row       [count] in: the known values; out: filled in, after a failure as far as it went
  /// @param status    [count] which entries are known; only read. Not used by InterpTwoPoint
  /// @param count     number of entries
  /// @param method    how to fill the gaps
  /// @param extrapolation how InterpLinear treats an unknown first or last entry
  /// @param minPoints least number of known points for InterpLinear, 1 or 2; any other number means 2. With
  ///                  one known point, an end that is filled repeats it
  /// @param spacing   [count] distance of each entry from the one before, in any unit; the first element is
  ///                  the abscissa of the first entry. Null: the index is the abscissa. Only read
  /// @return 1; 0 if there are too few known points, two points have the same abscissa (to 1e-8) and values
  ///         that differ by 1e-12 or more, the method is unknown, or memory is refused, which leaves the row
  ///         as it was
  unsigned char MainInterpolator(double* row, InterpStatusEnum* status, int count, InterpMethodEnum method,
                                 InterpExtrapEnum extrapolation, int minPoints, double* spacing);
  /// Fills the row without spacing.
  unsigned char MainInterpolator(double* row, InterpStatusEnum* status, int count, InterpMethodEnum method,
                                 InterpExtrapEnum extrapolation, int minPoints);
  /// Fills the row without spacing, from at least two known points.
  unsigned char MainInterpolator(double* row, InterpStatusEnum* status, int count, InterpMethodEnum method,
                                 InterpExtrapEnum extrapolation);
  /// Fills the row from at least two known points.
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
  InterpStatusEnum* status;  // [count] not owned
};

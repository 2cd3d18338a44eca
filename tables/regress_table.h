#pragma once

/// @file
/// A table of points to which a correlation is fitted.

#include <cstdint>

#include "frame/corvid.h"
#include "frame/export.h"
#include "tables/xy_table.h"

/// A table of temperatures in kelvin (x) and values of a property (y), to which a derived class fits a
/// correlation by supplying Regress and Func. The base has limits that select the points that count, the
/// goodness of the fit, the fitted values, and the file format. Edit the points, then call Regress, Stats and
/// UpdateYFit, then read the results; these do not follow later changes of the points.
///
/// A point is active if its x lies within the limits, both included, or is NaN. A limit of EmptyValue is no
/// limit.
class CORVIDNUM_API RegressTable : public XYTable {
 public:
  /// Makes a table without points, limits, statistics and fitted values.
  RegressTable();
  /// Copies points, limits and statistics; the copy has no fitted values.
  RegressTable(const RegressTable& other);
  /// Frees points and fitted values.
  ~RegressTable() override;
  /// Shares all four arrays of `other`; see XYTable.
  RegressTable& operator=(const RegressTable& other);

  /// Removes the points and clears limits and statistics; the fitted values stay. Returns 1.
  unsigned char ClearData() override;

  // A derived class overrides the operations that follow.

  /// Fits the correlation. The default does nothing and returns 0.
  virtual unsigned char Regress();
  /// Returns the correlation's value at `x`; the default is EmptyValue. It may walk the table.
  virtual double Func(double x);
  /// Computes the statistics of Func over the active points, each taken as it is, even if y is EmptyValue or
  /// 0. R2 is the coefficient of determination 1 - (sum of squared residuals) / (sum of squared distances of
  /// y from its mean); if the latter sum is 0, R2 is 1 for an exact fit and EmptyValue otherwise. An error is
  /// 100 (y - Func(x)) / y, in per cent.
  /// @return 1; 0 if no point is active, with MaxError 0, MinError 1e30 and the others EmptyValue
  virtual unsigned char Stats();
  /// Returns the number of components to which the property belongs; the default is EmptyValueInt.
  virtual int NComps();
  /// Returns a number of a component, whose meaning the derived class defines; the default is EmptyValueInt.
  virtual int CompID(int index);
  /// Returns a value of a component, whose meaning the derived class defines; the default is EmptyValue.
  virtual double CompSt(int index);
  /// Returns the name of a component; the default is empty.
  virtual Text CompName(int index);

  /// Sets the statistics to EmptyValue. Returns 1.
  unsigned char ClearStats();
  /// Sets the arrays of fitted values to null without freeing them; only for initialising a raw object.
  void InitData();

  /// Sets the highest x that counts, in kelvin; EmptyValue: no limit.
  void UpperRegressionLimit(double limit);
  /// Returns the highest x that counts, in kelvin; EmptyValue: no limit.
  double UpperRegressionLimit();
  /// Sets the lowest x that counts, in kelvin; EmptyValue: no limit.
  void LowerRegressionLimit(double limit);
  /// Returns the lowest x that counts, in kelvin; EmptyValue: no limit.
  double LowerRegressionLimit();

  /// Returns the coefficient of determination of the last Stats.
  double R2();
  /// Returns the percentage error of largest magnitude of the last Stats, with its sign.
  double MaxError();
  /// Returns the percentage error of smallest magnitude of the last Stats, with its sign.
  double MinError();
  /// Returns the temperature, in kelvin, of MaxError; among equal errors that of the first point. EmptyValue
  /// if no error exceeds 0 in magnitude.
  double MaxErrorTk();
  /// Returns the temperature, in kelvin, of MinError; among equal errors that of the first point.
  double MinErrorTk();

  /// Returns 1 if a point at temperature `t`, in kelvin, would be active, else 0.
  unsigned char TempInRange(double t) const;
  /// Reads the index-th active point, from 0. Moves the cursor, so a walk must begin anew.
  /// @param index number of the active point, from 0
  /// @param x, y out: the point, or EmptyValue both if there is none
  /// @return 1; 0 if there are not so many active points
  unsigned char GetActivePoint(int index, double& x, double& y);

  /// Evaluates Func at each point, active or not. Moves the cursor.
  /// @return 1; 0 if memory was refused, and there are no fitted values
  unsigned char UpdateYFit();
  /// Returns the fitted value of point `index` (from 0) as of the last UpdateYFit. EmptyValue if there is
  /// none; for an index that has no point any more it may be an old value.
  double YFit(int index);
  /// Returns the percentage error 100 (y - fit) / y of the point; EmptyValue also if y or fit is EmptyValue
  /// or y is 0.
  double PctError(int index);

  /// Writes the table as one chunk, which contains the chunk of XYTable; results as there. A derived class
  /// stores its own data itself.
  unsigned char Store(BinaryFile& file);
  /// Reads the table as XYTable does. If the file has no fitted values, those of the table cannot be read
  /// until the next UpdateYFit.
  unsigned char Recall(BinaryFile& file);

 protected:
  double upperLimit;   ///< highest x that counts, in kelvin; EmptyValue: no limit
  double lowerLimit;   ///< lowest x that counts, in kelvin; EmptyValue: no limit
  double r2;           ///< coefficient of determination of the last Stats
  double maxError;     ///< its percentage error of largest magnitude
  double minError;     ///< its percentage error of smallest magnitude
  double maxErrorTk;   ///< temperature of maxError, in kelvin
  double minErrorTk;   ///< temperature of minError, in kelvin
  double* yFitValues;  ///< [fitSize] values of Func, or null
  double* pctErrors;   ///< [fitSize] percentage errors, or null
  int fitSize;         ///< EmptyValueInt: there are no arrays

 private:
  struct ActiveSums;
  struct ScalarList {
    double* fields[7];
  };

  CORVIDNUM_HIDDEN bool Active(double x) const;
  CORVIDNUM_HIDDEN void SetStatsEmpty();
  CORVIDNUM_HIDDEN ActiveSums CompareWithFunc();
  CORVIDNUM_HIDDEN double SquaresAbout(double mean);
  CORVIDNUM_HIDDEN void ForgetFit();
  CORVIDNUM_HIDDEN void FreeFit();
  CORVIDNUM_HIDDEN bool ReplaceFit(std::int64_t size);
  CORVIDNUM_HIDDEN double FitElement(const double* values, int index) const;
  CORVIDNUM_HIDDEN ScalarList Scalars();
  CORVIDNUM_HIDDEN bool ReadFit(BinaryFile& file);
};

#pragma once

#include <cstdint>

#include "frame/corvid.h"
#include "frame/export.h"
#include "tables/xy_table.h"

/// Temperatures in kelvin (x) against values of a property (y), to which a derived class fits a correlation:
/// it supplies Regress and Func. Here are the limits that choose the points that count, the statistics of the
/// fit, the fitted values, and the file. Edit the points, then Regress, Stats and UpdateYFit, then read the
/// results: none of them follows later changes by itself.
///
/// A point is active if its x is within the limits, both included; a NaN is, too. EmptyValue is no limit.
class CORVIDNUM_API RegressTable : public XYTable {
 public:
  /// No points, no limits, no statistics, no fitted values.
  RegressTable();
  /// Copies points, limits and statistics; the copy has no fitted values.
  RegressTable(const RegressTable& other);
  ~RegressTable() override;
  /// Shares all four arrays; see XYTable.
  RegressTable& operator=(const RegressTable& other);

  /// Clears the limits and statistics too; the fitted values stay. Always 1.
  unsigned char ClearData() override;

  // What a derived class supplies.

  /// Fits the correlation. Here 0.
  virtual unsigned char Regress();
  /// The correlation's value at `x`. Here EmptyValue. It may walk the table.
  virtual double Func(double x);
  /// Compares Func with the active points; each enters as it is, a y of EmptyValue or 0 too.
  /// R2 is 1 - (sum of squared residuals) / (sum of squared distances from the mean of y); if the latter is 0
  /// it is 1 for an exact fit and EmptyValue otherwise. Errors are 100 (y - Func(x)) / y.
  /// @return 0: no point is active; MaxError is then 0, MinError 1e30, and the others are EmptyValue
  virtual unsigned char Stats();
  /// The components that the property belongs to; here -32767, and EmptyValue or no text.
  virtual int NComps();
  virtual int CompID(int index);
  virtual double CompSt(int index);
  virtual Text CompName(int index);

  /// Sets the statistics to EmptyValue. Always 1.
  unsigned char ClearStats();
  /// Forgets the arrays of fitted values without freeing them: for raw initialisation only.
  void InitData();

  void UpperRegressionLimit(double limit);
  double UpperRegressionLimit();
  void LowerRegressionLimit(double limit);
  double LowerRegressionLimit();

  double R2();
  /// The percentage errors of largest and of smallest magnitude, with their sign, and where they are. Of
  /// equal ones the first counts; without an error above 0 in magnitude MaxErrorTk is EmptyValue.
  double MaxError();
  double MinError();
  double MaxErrorTk();
  double MinErrorTk();

  /// Whether a point at `t` is active.
  unsigned char TempInRange(double t) const;
  /// The active point number `index`, counted from 0. Moves the cursor; a walk must begin anew.
  /// @param x, y out: the point, or EmptyValue both
  unsigned char GetActivePoint(int index, double& x, double& y);

  /// Evaluates Func at each point, active or not.
  /// @return 0: memory was refused, and there are no fitted values
  unsigned char UpdateYFit();
  /// The value of Func at point `index` when UpdateYFit ran. EmptyValue where there was none; behind the
  /// points of now it may be an old one.
  double YFit(int index);
  /// The percentage error 100 (y - fit) / y of that point; EmptyValue also if y or fit is, or y is 0.
  double PctError(int index);

  /// As of XYTable, whose chunk lies within that of this table. A derived class stores its data elsewhere.
  unsigned char Store(BinaryFile& file);
  /// Without fitted values in the file those of the table are out of reach until the next UpdateYFit.
  unsigned char Recall(BinaryFile& file);

 protected:
  double upperLimit;
  double lowerLimit;
  double r2;
  double maxError;
  double minError;
  double maxErrorTk;
  double minErrorTk;
  double* yFitValues;  // [fitSize] or null
  double* pctErrors;   // [fitSize] or null
  int fitSize;         // -32767: there are no arrays

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

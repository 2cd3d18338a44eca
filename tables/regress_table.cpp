// Limits, goodness of fit, fitted values and file format of a table with a fitted correlation.
//
// Invariant: yFitValues and pctErrors are both null or have the same length. That length is fitSize, but
// after Recall of a file without fitted values fitSize is the file's number, and nothing reads the arrays.

#include "tables/regress_table.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdint>

#include "frame/empty_value.h"
#include "frame/module.h"

using namespace corvidnum;

namespace {

constexpr short kChunkVersion = 1;
constexpr int kSpareFitElements = 10;      // so that a few more points need no new arrays
constexpr double kLargestMinError = 1e30;  // MinError() before any error was smaller

}  // namespace

// ---- Life and memory

RegressTable::RegressTable() : upperLimit(EmptyValue), lowerLimit(EmptyValue) {
  enter_library();
  SetStatsEmpty();
  ForgetFit();
}

RegressTable::RegressTable(const RegressTable& other)
    : XYTable(other),
      upperLimit(other.upperLimit),
      lowerLimit(other.lowerLimit),
      r2(other.r2),
      maxError(other.maxError),
      minError(other.minError),
      maxErrorTk(other.maxErrorTk),
      minErrorTk(other.minErrorTk) {
  enter_library();
  ForgetFit();
}

RegressTable::~RegressTable() {
  enter_library();
  FreeFit();
}

// Copies the pointers, not the arrays, as XYTable does: the contract has it share them.
// NOLINTNEXTLINE(bugprone-unhandled-self-assignment): nothing is freed
RegressTable& RegressTable::operator=(const RegressTable& other) {
  enter_library();
  XYTable::operator=(other);
  upperLimit = other.upperLimit;
  lowerLimit = other.lowerLimit;
  r2 = other.r2;
  maxError = other.maxError;
  minError = other.minError;
  maxErrorTk = other.maxErrorTk;
  minErrorTk = other.minErrorTk;
  yFitValues = other.yFitValues;
  pctErrors = other.pctErrors;
  fitSize = other.fitSize;
  return *this;
}

void RegressTable::ForgetFit() {
  yFitValues = pctErrors = nullptr;
  fitSize = EmptyValueInt;
}

void RegressTable::FreeFit() {
  Corvid_delete(yFitValues);
  Corvid_delete(pctErrors);
  ForgetFit();
}

/// Replaces the arrays of fitted values by new ones of this length, filled with EmptyValue. Returns false,
/// with no arrays left, if memory is refused.
bool RegressTable::ReplaceFit(std::int64_t size) {
  FreeFit();
  if (size > INT_MAX) return false;
  yFitValues = allocate_array<double>(size);
  pctErrors = allocate_array<double>(size);
  if (!yFitValues || !pctErrors) {
    FreeFit();
    return false;
  }
  fitSize = static_cast<int>(size);
  std::fill(yFitValues, yFitValues + fitSize, EmptyValue);
  std::fill(pctErrors, pctErrors + fitSize, EmptyValue);
  return true;
}

void RegressTable::InitData() {
  enter_library();
  ForgetFit();  // without freeing: the pointers of a raw object, for which this call is, have no meaning
}

unsigned char RegressTable::ClearData() {
  enter_library();
  XYTable::ClearData();
  SetStatsEmpty();
  upperLimit = lowerLimit = EmptyValue;
  return 1;
}

unsigned char RegressTable::ClearStats() {
  enter_library();
  SetStatsEmpty();
  return 1;
}

void RegressTable::SetStatsEmpty() { r2 = maxError = minError = maxErrorTk = minErrorTk = EmptyValue; }

// ---- What a derived class supplies

unsigned char RegressTable::Regress() {
  enter_library();
  return 0;
}

double RegressTable::Func(double) {
  enter_library();
  return EmptyValue;
}

int RegressTable::NComps() {
  enter_library();
  return EmptyValueInt;
}

int RegressTable::CompID(int) {
  enter_library();
  return EmptyValueInt;
}

double RegressTable::CompSt(int) {
  enter_library();
  return EmptyValue;
}

Text RegressTable::CompName(int) {
  enter_library();
  return Text();
}

// ---- The active points

void RegressTable::UpperRegressionLimit(double limit) {
  enter_library();
  upperLimit = limit;
}

double RegressTable::UpperRegressionLimit() {
  enter_library();
  return upperLimit;
}

void RegressTable::LowerRegressionLimit(double limit) {
  enter_library();
  lowerLimit = limit;
}

double RegressTable::LowerRegressionLimit() {
  enter_library();
  return lowerLimit;
}

bool RegressTable::Active(double x) const {
  if (upperLimit != EmptyValue && x > upperLimit) return false;
  if (lowerLimit != EmptyValue && x < lowerLimit) return false;
  return true;  // a NaN is neither above nor below
}

unsigned char RegressTable::TempInRange(double t) const {
  enter_library();
  return Active(t);
}

unsigned char RegressTable::GetActivePoint(int index, double& x, double& y) {
  enter_library();
  double pointX, pointY;
  int active = 0;
  x = y = EmptyValue;
  for (int i = 0; VisitPoint(i, pointX, pointY); ++i) {
    if (!Active(pointX) || active++ != index) continue;
    x = pointX;
    y = pointY;
    return 1;
  }
  return 0;
}

// ---- Statistics

struct RegressTable::ActiveSums {
  int count;
  double y;
  double squaredResiduals;
};

unsigned char RegressTable::Stats() {
  enter_library();
  maxErrorTk = minErrorTk = r2 = EmptyValue;
  maxError = 0.0;
  minError = kLargestMinError;
  const ActiveSums sums = CompareWithFunc();
  if (sums.count == 0) return 0;
  const double total = SquaresAbout(sums.y / sums.count);
  if (total > 0.0) {
    r2 = 1.0 - sums.squaredResiduals / total;
  } else {
    r2 = sums.squaredResiduals == 0.0 ? 1.0 : EmptyValue;
  }
  return 1;
}

/// Sums over the active points and sets the largest and smallest error. Unlike UpdateYFit, the contract has
/// each y and Func(x) enter as the number it is, EmptyValue too; a y of 0 gives an infinite or NaN error.
RegressTable::ActiveSums RegressTable::CompareWithFunc() {
  ActiveSums sums = {0, 0.0, 0.0};
  double x, y;
  for (int i = 0; VisitPoint(i, x, y); ++i) {
    if (!Active(x)) continue;
    const double residual = y - Func(x);
    const double error = residual / y * 100.0;
    sums.squaredResiduals += residual * residual;
    sums.y += y;
    ++sums.count;
    if (std::fabs(error) > std::fabs(maxError)) {
      maxError = error;
      maxErrorTk = x;
    }
    if (std::fabs(error) < std::fabs(minError)) {
      minError = error;
      minErrorTk = x;
    }
  }
  return sums;
}

/// Returns the sum of the squared distances of the active y from `mean`.
double RegressTable::SquaresAbout(double mean) {
  double total = 0.0, x, y;
  for (int i = 0; VisitPoint(i, x, y); ++i) {
    if (Active(x)) total += (y - mean) * (y - mean);
  }
  return total;
}

double RegressTable::R2() {
  enter_library();
  return r2;
}

double RegressTable::MaxError() {
  enter_library();
  return maxError;
}

double RegressTable::MinError() {
  enter_library();
  return minError;
}

double RegressTable::MaxErrorTk() {
  enter_library();
  return maxErrorTk;
}

double RegressTable::MinErrorTk() {
  enter_library();
  return minErrorTk;
}

// ---- Fitted values

unsigned char RegressTable::UpdateYFit() {
  enter_library();
  const bool fits = yFitValues && Points() <= fitSize;
  if (!fits && !ReplaceFit(std::int64_t{Points()} + kSpareFitElements)) return 0;
  double x, y;
  for (int i = 0; VisitPoint(i, x, y); ++i) {
    const double fit = Func(x);
    if (!yFitValues || i >= fitSize) return 1;  // Func has changed the table
    const bool no_error = y == EmptyValue || fit == EmptyValue || y == 0.0;
    pctErrors[i] = no_error ? EmptyValue : (y - fit) / y * 100.0;
    yFitValues[i] = fit;
  }
  return 1;
}

double RegressTable::FitElement(const double* values, int index) const {
  return values && index >= 0 && index < fitSize ? values[index] : EmptyValue;
}

double RegressTable::YFit(int index) {
  enter_library();
  return FitElement(yFitValues, index);
}

double RegressTable::PctError(int index) {
  enter_library();
  return FitElement(pctErrors, index);
}

// ---- File. A table is one chunk of
//   the chunk of the XYTable, the seven doubles of Scalars(), int fitSize, then for each element of the fit
//   arrays: double fitted y, double percentage error

RegressTable::ScalarList RegressTable::Scalars() {
  return {{&upperLimit, &lowerLimit, &r2, &maxError, &minError, &maxErrorTk, &minErrorTk}};
}

unsigned char RegressTable::Store(BinaryFile& file) {
  enter_library();
  ChunkHeader header{};
  if (!header.Create(file, kChunkVersion) || !XYTable::Store(file)) return 0;
  for (const double* scalar : Scalars().fields) {
    if (!file.WriteDouble(*scalar)) return 0;
  }
  if (!file.WriteInt(fitSize)) return 0;
  for (int i = 0; i < fitSize; ++i) {
    if (!file.WriteDouble(yFitValues[i]) || !file.WriteDouble(pctErrors[i])) return 0;
  }
  return header.Close(file);
}

unsigned char RegressTable::Recall(BinaryFile& file) {
  enter_library();
  ChunkHeader header{};
  // The version is not looked at: every version has this layout.
  if (!header.Open(file) || !XYTable::Recall(file)) return 0;
  for (double* scalar : Scalars().fields) {
    if (!file.ReadDouble(scalar)) return 0;
  }
  if (!ReadFit(file)) return 0;
  return header.Close(file);
}

/// Reads fitSize and, if it is positive, new arrays of that length. Otherwise the contract keeps the old
/// arrays; with the size just read they are out of reach until UpdateYFit replaces them.
/// @return false if the file failed or memory was refused
bool RegressTable::ReadFit(BinaryFile& file) {
  int size = fitSize;
  if (!file.ReadInt(&size)) return false;
  if (size <= 0) {
    fitSize = size;
    return true;
  }
  if (!ReplaceFit(size)) return false;
  for (int i = 0; i < fitSize; ++i) {
    if (!file.ReadDouble(&yFitValues[i]) || !file.ReadDouble(&pctErrors[i])) return false;
  }
  return true;
}

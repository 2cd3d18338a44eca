#include "apps/column/vapour_pressure_table.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>

#include "dense/singular_value_decomposition.h"
#include "frame/empty_value.h"
#include "tables/line_fit.h"

namespace column {
namespace {

constexpr double kLn10 = 2.302585092994045684;
constexpr double kCelsiusZero = 273.15;
constexpr double kGasConstant = 8.314462618e-3;  // kJ/(mol K), CODATA 2018
constexpr int kUnknowns = 3;                     // A, A C - B, C

std::uint64_t bits(double value) {
  std::uint64_t pattern;
  std::memcpy(&pattern, &value, sizeof pattern);
  return pattern;
}

/// Compares bit patterns, so that a NaN equals itself.
bool same_bits(double a, double b) { return bits(a) == bits(b); }

bool same(const std::optional<AntoineConstants>& a, const std::optional<AntoineConstants>& b) {
  if (!a || !b) return !a && !b;
  return same_bits(a->a, b->a) && same_bits(a->b, b->b) && same_bits(a->c, b->c);
}

bool same(const std::optional<PressureLine>& a, const std::optional<PressureLine>& b) {
  if (!a || !b) return !a && !b;
  return same_bits(a->a, b->a) && same_bits(a->b, b->b);
}

bool same(const std::optional<AntoineFit>& a, const std::optional<AntoineFit>& b) {
  if (!a || !b) return !a && !b;
  return same(std::optional(a->constants), std::optional(b->constants)) &&
         same_bits(a->standard_error, b->standard_error) && same_bits(a->condition, b->condition);
}

bool same(const ComponentInfo& a, const ComponentInfo& b) {
  return a.name == b.name && a.formula == b.formula && a.source == b.source && same(a.antoine, b.antoine) &&
         same(a.line, b.line);
}

}  // namespace

struct VapourPressureTable::Points {
  std::vector<double> celsius, log10_pressure;
  int size() const { return static_cast<int>(celsius.size()); }
};

void VapourPressureTable::add(double kelvin, double mmhg, bool filled) {
  AddPoint(kelvin, mmhg);
  filled_.push_back(filled ? 1 : 0);
}

VapourPressureTable::Points VapourPressureTable::points(bool all) {
  Points found;
  double t = 0, p = 0;
  for (bool more = GetFirstPoint(t, p) != 0; more; more = GetNextPoint(t, p) != 0) {
    if (!all && TempInRange(t) == 0) continue;
    found.celsius.push_back(t - kCelsiusZero);
    found.log10_pressure.push_back(std::log10(p));
  }
  return found;
}

int VapourPressureTable::active_points() { return points(false).size(); }

TemperatureRange VapourPressureTable::active_range() {
  const Points active = points(false);
  return {active.celsius.front(), active.celsius.back()};
}

bool VapourPressureTable::fit_all() { return Regress() != 0 && Stats() != 0 && UpdateYFit() != 0; }

void VapourPressureTable::restore(std::vector<unsigned char> filled, std::optional<AntoineFit> fit) {
  filled_ = std::move(filled);
  fit_ = fit;
}

std::optional<AntoineFit> VapourPressureTable::solve(const Points& points, std::vector<double>* sigma) {
  const int m = points.size();
  std::vector<std::array<double, kUnknowns>> system(static_cast<std::size_t>(m));
  std::vector<double*> rows;
  std::vector<double> right_side;
  for (std::size_t i = 0; i < system.size(); ++i) {
    const double kelvin =
        points.celsius[i] + kCelsiusZero;  // the fit is made in kelvin, where sums of t cannot cancel to 0
    system[i] = {kelvin, 1, -points.log10_pressure[i]};
    rows.push_back(system[i].data());
    right_side.push_back(kelvin * points.log10_pressure[i]);
  }
  SingularValueDecomposition least_squares(m, kUnknowns);
  double x[kUnknowns];
  if (least_squares.LinearLeastSquare(m, kUnknowns, x, right_side.data(), rows.data(),
                                      sigma ? sigma->data() : nullptr) == EmptyValue ||
      least_squares.Rank(kUnknowns) < kUnknowns)
    return std::nullopt;
  const AntoineConstants constants{x[0], x[0] * x[2] - x[1], x[2] + kCelsiusZero};
  double squares = 0;
  for (std::size_t i = 0; i < system.size(); ++i) {
    const double above = points.celsius[i] + constants.c;
    if (!(above > 0)) return std::nullopt;
    squares += std::pow(points.log10_pressure[i] - (constants.a - constants.b / above), 2);
  }
  if (!(constants.b > 0 && std::isfinite(squares))) return std::nullopt;
  const double free = m - kUnknowns;
  return AntoineFit{constants,
                    free > 0 ? std::sqrt(squares / free) : std::numeric_limits<double>::quiet_NaN(),
                    least_squares.ConditionNum(kUnknowns)};
}

unsigned char VapourPressureTable::Regress() {
  constexpr int kMostPasses = 50;
  constexpr double kSettled = 1e-9;  // degrees
  fit_.reset();
  const Points active = points(false);
  if (active.size() < kUnknowns) return 0;
  std::optional<AntoineFit> fit = solve(active, nullptr);
  for (int pass = 0; fit && pass < kMostPasses; ++pass) {
    const double before = fit->constants.c;
    std::vector<double> sigma;
    for (const double t : active.celsius) sigma.push_back(t + before);
    fit = solve(active, &sigma);
    if (fit && std::fabs(fit->constants.c - before) < kSettled) break;
  }
  fit_ = fit;
  return fit_ ? 1 : 0;
}

double VapourPressureTable::Func(double kelvin) {
  return fit_ ? std::exp(fit_->constants.ln_pressure(kelvin - kCelsiusZero).value) : EmptyValue;
}

Text VapourPressureTable::CompName(int index) { return index == 0 ? Text(info_.name.c_str()) : Text(); }

ClapeyronLine VapourPressureTable::clapeyron(bool all_points) {
  const Points chosen = points(all_points);
  std::vector<double> inverse, ln_pressure;
  for (std::size_t i = 0; i < chosen.celsius.size(); ++i) {
    inverse.push_back(1 / (chosen.celsius[i] + kCelsiusZero));
    ln_pressure.push_back(kLn10 * chosen.log10_pressure[i]);
  }
  constexpr double kNone = std::numeric_limits<double>::quiet_NaN();
  double a = kNone, b = kNone, sigma_a = kNone, sigma_b = kNone, chi_square = kNone;
  LineFit(inverse.data(), ln_pressure.data(), static_cast<unsigned>(inverse.size()), nullptr, &a, &b,
          &sigma_a, &sigma_b, &chi_square);
  return {{a / kLn10, -b / kLn10},
          -kGasConstant * b,
          chosen.size() > 2 ? kGasConstant * sigma_b : kNone,
          chosen.size()};
}

bool VapourPressureTable::same_as(VapourPressureTable& other) {
  if (!same(info_, other.info_) || filled_ != other.filled_ || !same(fit_, other.fit_)) return false;
  const auto numbers = [](VapourPressureTable& t) {
    std::vector<double> all{t.UpperRegressionLimit(),
                            t.LowerRegressionLimit(),
                            t.R2(),
                            t.MaxError(),
                            t.MinError(),
                            t.MaxErrorTk(),
                            t.MinErrorTk(),
                            double(t.NDataPoints())};
    for (int i = 0; i < t.NDataPoints(); ++i) {
      double x = 0, y = 0;
      t.GetPoint(i, x, y);
      all.insert(all.end(), {x, y, t.YFit(i), t.PctError(i)});
    }
    return all;
  };
  const std::vector<double> mine = numbers(*this), theirs = numbers(other);
  return std::equal(mine.begin(), mine.end(), theirs.begin(), theirs.end(), same_bits);
}

Measured::Measured(Tables tables) : tables_(std::move(tables)) {
  for (const auto& table : tables_) ranges_.push_back(table->active_range());
}

LnK Measured::ln_k(int component, double t, double p) const {
  const LnK pressure = tables_[static_cast<std::size_t>(component)]->fit()->constants.ln_pressure(t);
  return {pressure.value - std::log(p), pressure.slope};
}

TemperatureScale Measured::scale() const {
  std::vector<AntoineConstants> constants;
  constants.reserve(tables_.size());
  for (const auto& table : tables_) constants.push_back(table->fit()->constants);
  return antoine_scale(constants);
}

}  // namespace column

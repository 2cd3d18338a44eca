#pragma once

// Measured vapour pressures of one component, their fits, and the equilibrium model made of these.

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "apps/column/equilibrium.h"
#include "tables/regress_table.h"

namespace column {

/// Holds the constants of log10 p = a - b/T, T in kelvin, p in mmHg.
struct PressureLine {
  double a, b;
};

/// Holds what a file tells about a component besides its points.
struct ComponentInfo {
  std::string name, formula, source;
  std::optional<AntoineConstants> antoine;  // published ones, to compare with
  std::optional<PressureLine> line;         // a published line through all points
};

/// Holds the straight line of ln p against 1/T, and the heat of vaporisation that follows from its slope.
struct ClapeyronLine {
  PressureLine log10_line;
  double heat;            // of vaporisation, kJ/mol
  double heat_deviation;  // its standard deviation, kJ/mol; NaN if the line goes through only two points
  int points;             // that the line was fitted to
};

/// Holds an Antoine fit and its quality.
struct AntoineFit {
  AntoineConstants constants;
  double standard_error;  // of log10 p; NaN with three points, which the curve goes through
  double condition;       // reciprocal condition number of the last least-squares system, its columns scaled
};

/// Holds temperatures in kelvin (x) and vapour pressures in mmHg (y), and fits the Antoine form to them.
class VapourPressureTable final : public RegressTable {
 public:
  explicit VapourPressureTable(ComponentInfo info) : info_(std::move(info)) {}
  VapourPressureTable(const VapourPressureTable&) = delete;
  VapourPressureTable& operator=(const VapourPressureTable&) = delete;

  const ComponentInfo& info() const { return info_; }
  /// Appends a point. Points must come in ascending order of their temperatures.
  /// @param filled  whether the point was interpolated, not measured
  void add(double kelvin, double mmhg, bool filled);
  bool filled(int index) const { return filled_[static_cast<std::size_t>(index)] != 0; }

  /// Returns the number of points between the regression limits.
  int active_points();
  /// Returns the range of their temperatures, in degrees C. There must be such points.
  TemperatureRange active_range();

  /// Calls Regress(), Stats() and UpdateYFit(). Returns whether all of them succeed.
  bool fit_all();
  /// Returns the fit of the last call of Regress(), or nothing if that failed.
  const std::optional<AntoineFit>& fit() const { return fit_; }
  /// Restores what Store() does not write, after Recall().
  void restore(std::vector<unsigned char> filled, std::optional<AntoineFit> fit);

  /// Fits the straight line of ln p against 1/T to the active points, or to all.
  ClapeyronLine clapeyron(bool all_points);

  /// Fits the Antoine form to the active points by least squares. t log10 p = A t + (A C - B) - C log10 p is
  /// linear in A, A C - B and C. An error of log10 p enters this equation multiplied by t + C, so each fit
  /// weights the rows by 1/(t + C) with the C of the fit before, until C no longer changes.
  /// @return 0: fewer than 3 active points, or they lie on no such curve with B > 0 and t + C > 0
  unsigned char Regress() override;
  /// Returns the fitted pressure; EmptyValue before a fit.
  double Func(double kelvin) override;
  int NComps() override { return 1; }
  Text CompName(int index) override;

  /// Returns whether the two tables are equal bit for bit, fitted values and statistics included.
  bool same_as(VapourPressureTable& other);

 private:
  struct Points;  // point i has index i in each of its arrays
  Points points(bool all);
  static std::optional<AntoineFit> solve(const Points& points, std::vector<double>* sigma);

  ComponentInfo info_;
  std::vector<unsigned char> filled_;  // by point
  std::optional<AntoineFit> fit_;
};

using Tables = std::vector<std::shared_ptr<VapourPressureTable>>;

/// Computes K-values by Raoult's law with the fits of tables, which must have one, in degrees C and mmHg.
/// Bubble points are found without derivatives.
class Measured final : public EquilibriumModel {
 public:
  explicit Measured(Tables tables);
  int components() const override { return static_cast<int>(tables_.size()); }
  LnK ln_k(int component, double temperature, double pressure) const override;
  TemperatureScale scale() const override;
  RootSearch root_search() const override { return RootSearch::kBoundedSecant; }
  std::optional<TemperatureRange> measured_range(int component) const override {
    return ranges_[static_cast<std::size_t>(component)];
  }

 private:
  Tables tables_;
  std::vector<TemperatureRange> ranges_;
};

}  // namespace column

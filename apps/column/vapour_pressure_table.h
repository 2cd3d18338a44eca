#pragma once

// Measured vapour pressures of one component, and what is made of them.

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "apps/column/equilibrium.h"
#include "tables/regress_table.h"

namespace column {

/// log10 p = a - b/T, T in kelvin, p in mmHg.
struct PressureLine {
  double a, b;
};

/// What is told of a component besides its points.
struct ComponentInfo {
  std::string name, formula, source;
  std::optional<AntoineConstants> antoine;  // published ones, to compare with
  std::optional<PressureLine> line;         // a published line through all points
};

/// ln p = a + b/T, and what it means.
struct ClapeyronLine {
  PressureLine log10_line;
  double heat,
      heat_deviation;  // of vaporisation, kJ/mol; NaN for the deviation of two points, which have none
  int points;
};

struct AntoineFit {
  AntoineConstants constants;
  double standard_error;  // of log10 p; NaN if three points were all
  double condition;       // reciprocal, of the last system solved, its columns scaled
};

/// Temperatures in kelvin (x) and vapour pressures in mmHg (y). The fit is the Antoine form.
class VapourPressureTable final : public RegressTable {
 public:
  explicit VapourPressureTable(ComponentInfo info) : info_(std::move(info)) {}
  VapourPressureTable(const VapourPressureTable&) = delete;
  VapourPressureTable& operator=(const VapourPressureTable&) = delete;

  const ComponentInfo& info() const { return info_; }
  /// Appends a point. Points are to come in the order of their temperatures.
  /// @param filled  it was not measured, but interpolated
  void add(double kelvin, double mmhg, bool filled);
  bool filled(int index) const { return filled_[static_cast<std::size_t>(index)] != 0; }

  int active_points();
  TemperatureRange active_range();  // in degrees C; there must be active points

  /// Regress, Stats and UpdateYFit.
  bool fit_all();
  /// Returns what Regress made of the active points; nothing before it succeeded.
  const std::optional<AntoineFit>& fit() const { return fit_; }
  /// Puts back what Store does not keep.
  void restore(std::vector<unsigned char> filled, std::optional<AntoineFit> fit);

  /// A straight line through the active points, or all.
  ClapeyronLine clapeyron(bool all_points);

  /// Fits the Antoine form by least squares. t log10 p = A t + (A C - B) - C log10 p is linear in A, A C - B
  /// and C; an error of log10 p stands there multiplied by t + C, so the rows are weighed by 1/(t + C) of the
  /// fit before, until C settles.
  /// @return 0: fewer than 3 active points, or they lie on no such curve with B > 0 and t + C > 0
  unsigned char Regress() override;
  /// Returns the fitted pressure; EmptyValue before a fit.
  double Func(double kelvin) override;
  int NComps() override { return 1; }
  Text CompName(int index) override;

  /// Bit for bit, fitted values and statistics included.
  bool same_as(VapourPressureTable& other);

 private:
  struct Points;  // of the same row in all arrays
  Points points(bool all);
  static std::optional<AntoineFit> solve(const Points& points, std::vector<double>* sigma);

  ComponentInfo info_;
  std::vector<unsigned char> filled_;  // by point
  std::optional<AntoineFit> fit_;
};

using Tables = std::vector<std::shared_ptr<VapourPressureTable>>;

/// Raoult's law with the vapour pressures of tables that have a fit, in degrees C and mmHg. Bubble points are
/// found from values alone.
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

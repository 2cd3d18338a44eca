#pragma once

// Vapour-liquid equilibrium: what a column needs to know of its components.

#include <array>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "apps/common/depriester.h"

namespace column {

/// ln K of a component and its derivative by the temperature.
struct LnK {
  double value;
  double slope;
};

/// How a model counts temperatures, and how a report shows them.
struct TemperatureScale {
  const char* unit;         // of the model's temperatures and of tolerances on them
  const char* shown_as;     // heading of what shown() gives
  double lowest, highest;   // bubble points are looked for between these
  double (*shown)(double);  // the model's temperature as reports show it
  double common_degrees;    // in one degree of the model: what tells temperatures of all models apart alike
  const char* common_unit;  // of these
};

struct TemperatureRange {
  double lowest, highest;
};

/// How a bubble point is sought.
enum class RootSearch {
  kNewton,        // by the derivative of ln K
  kBoundedSecant  // by values alone
};

/// K-values of a set of components, numbered from 0, as functions of temperature and pressure.
class EquilibriumModel {
 public:
  virtual ~EquilibriumModel() = default;
  virtual int components() const = 0;
  virtual LnK ln_k(int component, double temperature, double pressure) const = 0;
  virtual TemperatureScale scale() const = 0;
  virtual RootSearch root_search() const { return RootSearch::kNewton; }
  /// Returns where the K-values of a component rest on measurements, if the model knows; beyond it
  /// extrapolates.
  virtual std::optional<TemperatureRange> measured_range(int) const { return std::nullopt; }
};

/// Constant relative volatilities: ln K = ln alpha + t. The only thing that changes from stage to stage
/// is t, ln K of a component of volatility 1; it takes the place of the temperature. Knows no pressure.
class RelativeVolatility final : public EquilibriumModel {
 public:
  explicit RelativeVolatility(const std::vector<double>& volatilities);
  int components() const override { return static_cast<int>(ln_volatility_.size()); }
  LnK ln_k(int component, double temperature, double pressure) const override;
  TemperatureScale scale() const override;

 private:
  std::vector<double> ln_volatility_;
};

/// The fit of the DePriester chart, in degrees Rankine and psia.
class DePriester final : public EquilibriumModel {
 public:
  using Constants = apps::DePriester;
  explicit DePriester(std::vector<Constants> constants) : constants_(std::move(constants)) {}
  int components() const override { return static_cast<int>(constants_.size()); }
  LnK ln_k(int component, double temperature, double pressure) const override;
  TemperatureScale scale() const override;

 private:
  std::vector<Constants> constants_;
};

/// log10 p = A - B/(t + C), t in degrees C, p in mmHg. Source: C. Antoine, C. R. Acad. Sci. 107, 681 (1888).
struct AntoineConstants {
  double a, b, c;
  /// ln p and its derivative by the temperature.
  LnK ln_pressure(double celsius) const;
};

/// Where Raoult's law with these constants looks for bubble points.
TemperatureScale antoine_scale(const std::vector<AntoineConstants>& constants);

/// Raoult's law with given Antoine constants.
class Antoine final : public EquilibriumModel {
 public:
  using Constants = AntoineConstants;
  explicit Antoine(std::vector<Constants> constants) : constants_(std::move(constants)) {}
  int components() const override { return static_cast<int>(constants_.size()); }
  LnK ln_k(int component, double temperature, double pressure) const override;
  TemperatureScale scale() const override;

 private:
  std::vector<Constants> constants_;
};

/// Finds the temperature at which a liquid's vapour fractions K x sum up to one. It is the zero of
/// ln(sum K x), found within a bracket by the search that the model wants.
/// @param liquid  amounts of the components, in any unit; none negative, their sum positive
/// @param guess   where to start; any number
/// @return nothing if there is no such temperature within the model's limits
std::optional<double> bubble_temperature(const EquilibriumModel& model, const std::vector<double>& liquid,
                                         double pressure, double guess);

}  // namespace column

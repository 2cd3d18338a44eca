#pragma once

// Vapour-liquid equilibrium: K-values of the components of a column, and bubble points.

#include <array>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "apps/common/depriester.h"

namespace column {

/// Holds ln K of a component and its derivative by the temperature, per degree of the model.
struct LnK {
  double value;
  double slope;
};

/// Tells how a model counts temperatures, and how a report shows them.
struct TemperatureScale {
  const char* unit;         // of the model's temperatures and of tolerances on them
  const char* shown_as;     // heading of the column of a report that has the values of shown()
  double lowest, highest;   // bubble points are looked for between these
  double (*shown)(double);  // converts a temperature of the model to what reports show
  double common_degrees;    // common units in one degree of the model, for limits that serve all models
  const char* common_unit;  // K, or ln K where the model has no temperature
};

struct TemperatureRange {
  double lowest, highest;
};

/// Names the methods that search for a bubble point.
enum class RootSearch {
  kNewton,        // uses the derivative of ln K
  kBoundedSecant  // uses values only
};

/// Computes the K-values of a set of components, numbered from 0, as functions of temperature and pressure.
class EquilibriumModel {
 public:
  virtual ~EquilibriumModel() = default;
  virtual int components() const = 0;
  virtual LnK ln_k(int component, double temperature, double pressure) const = 0;
  virtual TemperatureScale scale() const = 0;
  virtual RootSearch root_search() const { return RootSearch::kNewton; }
  /// Returns the range of the measurements that the K-values of a component are fitted to, if the model knows
  /// it. Outside of this range the model extrapolates.
  virtual std::optional<TemperatureRange> measured_range(int) const { return std::nullopt; }
};

/// Computes K-values by constant relative volatilities: ln K = ln alpha + t. Here t, which is ln K of a
/// component of volatility 1, takes the place of the temperature, and the pressure has no effect.
class RelativeVolatility final : public EquilibriumModel {
 public:
  explicit RelativeVolatility(const std::vector<double>& volatilities);
  int components() const override { return static_cast<int>(ln_volatility_.size()); }
  LnK ln_k(int component, double temperature, double pressure) const override;
  TemperatureScale scale() const override;

 private:
  std::vector<double> ln_volatility_;
};

/// Computes K-values by the fit of the DePriester chart, in degrees Rankine and psia.
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

/// Holds the constants of log10 p = A - B/(t + C), t in degrees C, p in mmHg. Source: C. Antoine, C. R. Acad.
/// Sci. 107, 681 (1888).
struct AntoineConstants {
  double a, b, c;
  /// Returns ln p, p in mmHg, and its derivative by the temperature.
  LnK ln_pressure(double celsius) const;
};

/// Returns the temperature scale of Raoult's law with these constants, in degrees C.
TemperatureScale antoine_scale(const std::vector<AntoineConstants>& constants);

/// Computes K-values by Raoult's law with given Antoine constants, in degrees C and mmHg.
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

/// Finds the temperature at which a liquid's vapour fractions K x sum up to one, the zero of ln(sum K x). It
/// is bracketed by the limits of the model's scale and found by the model's root_search().
/// @param liquid  [component] amounts, in any unit; none negative, their sum positive
/// @param guess   temperature to start from; ignored if it is outside the bracket
/// @return nothing if there is no such temperature within the model's limits
std::optional<double> bubble_temperature(const EquilibriumModel& model, const std::vector<double>& liquid,
                                         double pressure, double guess);

}  // namespace column

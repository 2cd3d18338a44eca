#pragma once

// Vapour-liquid equilibrium: what a column needs to know of its components.

#include <array>
#include <memory>
#include <optional>
#include <string>
#include <vector>

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

/// K-values of a set of components, numbered from 0, as functions of temperature and pressure.
class EquilibriumModel {
 public:
  virtual ~EquilibriumModel() = default;
  virtual int components() const = 0;
  virtual LnK ln_k(int component, double temperature, double pressure) const = 0;
  virtual TemperatureScale scale() const = 0;
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

/// The fit of the DePriester chart, ln K = a1/T^2 + a2/T + a6 + b1 ln P + b2/P^2 + b3/P, T in degrees
/// Rankine, P in psia. Source: M. L. McWilliams, Chem. Eng. 80 (25), 138 (1973).
class DePriester final : public EquilibriumModel {
 public:
  struct Constants {
    double a1, a2, a6, b1, b2, b3;
  };
  explicit DePriester(std::vector<Constants> constants) : constants_(std::move(constants)) {}
  int components() const override { return static_cast<int>(constants_.size()); }
  LnK ln_k(int component, double temperature, double pressure) const override;
  TemperatureScale scale() const override;

 private:
  std::vector<Constants> constants_;
};

/// Raoult's law with Antoine vapour pressures, log10 p = A - B/(t + C), t in degrees C, p in mmHg.
class Antoine final : public EquilibriumModel {
 public:
  struct Constants {
    double a, b, c;
  };
  explicit Antoine(std::vector<Constants> constants) : constants_(std::move(constants)) {}
  int components() const override { return static_cast<int>(constants_.size()); }
  LnK ln_k(int component, double temperature, double pressure) const override;
  TemperatureScale scale() const override;

 private:
  std::vector<Constants> constants_;
};

/// The temperature at which a liquid's vapour fractions K x sum up to one. By Newton steps on
/// ln(sum K x), kept inside a bracket.
/// @param liquid  amounts of the components, in any unit; none negative, their sum positive
/// @param guess   where to start; any number
/// @return nothing if there is no such temperature within the model's limits
std::optional<double> bubble_temperature(const EquilibriumModel& model, const std::vector<double>& liquid,
                                         double pressure, double guess);

}  // namespace column

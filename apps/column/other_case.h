#pragma once

#include <optional>
#include <string>
#include <vector>

#include "apps/column/bubble_point.h"
#include "apps/column/column_case.h"

namespace column {

/// Holds the answer of the other case that a case names, and how far the two are apart.
struct OtherCase {
  std::string title;
  Profile profile;
  struct Fraction {
    std::string product, component;
    double own, other;  // mole fractions
  };
  std::vector<Fraction> fractions;  // of all components in all products
  double temperatures_apart;        // largest difference of a stage temperature, in degrees of the model
  double fractions_apart;           // largest difference of a mole fraction in a product
};

/// Reads the other case that `c` names; returns nothing if it names none. Throws apps::BadCase if the other
/// case cannot be read or compared, because its stages, components, products or unit of temperature differ.
/// The message gives the line of `c`, in the file at `path`, that names it.
std::optional<ColumnCase> read_other_case(const ColumnCase& c, const std::string& path);
/// Solves the other case and compares. Throws apps::BadCase, as above, if it does not converge.
OtherCase compare_with_other(const ColumnCase& c, const std::string& path, const Solution& solution,
                             const ColumnCase& other);
/// Returns what a run prints of the comparison: temperatures stage by stage, mole fractions of the products.
std::string report(const ColumnCase& c, const Solution& solution, const OtherCase& other);

}  // namespace column

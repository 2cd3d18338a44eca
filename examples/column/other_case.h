#pragma once

#include <string>
#include <vector>

#include "examples/column/bubble_point.h"
#include "examples/column/column_case.h"

namespace column {

/// The answer of a case beside that of the other case that it names.
struct OtherCase {
  std::string title;
  Profile profile;
  struct Fraction {
    std::string product, component;
    double own, other;  // mole fractions
  };
  std::vector<Fraction> fractions;  // of all components in all products
  double temperatures_apart;        // the largest differences
  double fractions_apart;
};

/// Solves the other case too. Throws examples::BadCase if it cannot be used: another number of stages, other
/// components, products or temperatures, not converged.
OtherCase compare_with_other(const ColumnCase& c, const Solution& solution);
std::string report(const ColumnCase& c, const Solution& solution, const OtherCase& other);

}  // namespace column

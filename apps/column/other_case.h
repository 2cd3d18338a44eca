#pragma once

#include <optional>
#include <string>
#include <vector>

#include "apps/column/bubble_point.h"
#include "apps/column/column_case.h"

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

/// Reads the other case that `c` names; without one there is none. Throws apps::BadCase, which names the
/// line of `c` in the file at `path`, if it cannot be read or compared: another number of stages, other
/// components, products or temperatures.
std::optional<ColumnCase> read_other_case(const ColumnCase& c, const std::string& path);
/// Solves the other case too. Throws apps::BadCase, as above, if it does not converge.
OtherCase compare_with_other(const ColumnCase& c, const std::string& path, const Solution& solution,
                             const ColumnCase& other);
std::string report(const ColumnCase& c, const Solution& solution, const OtherCase& other);

}  // namespace column

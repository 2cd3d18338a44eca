#pragma once

#include <optional>
#include <vector>

#include "apps/column/column_case.h"

namespace column {

/// Limits of a split between two adjacent key components at constant relative volatility.
struct ShortcutResult {
  double minimum_stages;  // at total reflux, the reboiler counted
  double minimum_reflux;  // reflux ratio with infinitely many stages
  double underwood_root;
};

/// Components lighter than the light key are taken as going wholly to the distillate, heavier ones than the
/// heavy key to the bottoms.
/// @param feed             rates by component
/// @param liquid_fraction  of the feed
/// @return nothing if the keys are not neighbours in volatility, light above heavy, or their split is not one
/// Sources: M. R. Fenske, Ind. Eng. Chem. 24, 482 (1932); A. J. V. Underwood, Chem. Eng. Prog. 44, 603
/// (1948).
std::optional<ShortcutResult> shortcut(const ShortcutTask& task, const std::vector<double>& feed,
                                       double liquid_fraction);

/// Returns the minimum reflux ratio that follows from a value of the Underwood root.
double underwood_reflux(const ShortcutTask& task, const std::vector<double>& feed, double root);

}  // namespace column

#pragma once

#include <optional>
#include <vector>

#include "apps/column/column_case.h"

namespace column {

/// Holds the limits of a split between two adjacent key components at constant relative volatility.
struct ShortcutResult {
  double minimum_stages;  // at total reflux, including the reboiler
  double minimum_reflux;  // reflux ratio with infinitely many stages
  double underwood_root;  // between the volatilities of the keys
};

/// Computes the minimum stages by Fenske's equation and the minimum reflux by Underwood's. Components lighter
/// than the light key go wholly to the distillate, those heavier than the heavy key to the bottoms.
/// @param feed             [component] rates
/// @param liquid_fraction  of the feed
/// @return nothing if the keys are not neighbours in volatility, light above heavy, or their split is not one
/// Sources: M. R. Fenske, Ind. Eng. Chem. 24, 482 (1932); A. J. V. Underwood, Chem. Eng. Prog. 44, 603
/// (1948).
std::optional<ShortcutResult> shortcut(const ShortcutTask& task, const std::vector<double>& feed,
                                       double liquid_fraction);

/// Computes the short-cut figures of a case; returns nothing if it does not ask for them.
std::optional<ShortcutResult> shortcut(const ColumnCase& c);

/// Returns the minimum reflux ratio that follows from a value of the Underwood root. @param feed [component]
double underwood_reflux(const ShortcutTask& task, const std::vector<double>& feed, double root);

}  // namespace column

#pragma once

// Jacobians of process models as they are a few steps before Newton's method converges. The numbers are
// random, with fixed seeds.

#include "tests/support/sparse_matrices.h"

namespace bench {

/// Returns the Jacobian of a distillation column with a partial condenser above, a reboiler below and a main
/// feed in the middle; every tenth stage has a side feed, and another one a side product.
///
/// Unknowns, stage by stage: the liquid fractions of all components, the temperature, the vapour flow.
/// Equations in the same places: component balances, sum(K x) = 1, energy balance; at both ends the vapour
/// flow is given instead. A stage is coupled to the two next to it.
/// @param step another step has the same pattern and values that differ by some percent
/// @return order stages (components + 2); no place is given twice
reference::Coordinates column_jacobian(int components, int stages, int step);

/// Returns the Jacobian of a random net of mixers, splitters, reactors and flashes. A unit is fed by one of
/// the last units before it; one inlet in ten is a feed, and one mixer in three takes a recycle, from a
/// splitter at least 3 to 60 units on.
///
/// Unknowns, unit by unit: component flows and temperature of the outlets, and what the unit has inside: the
/// extent of a reaction, the total flows and the duty of a flash. Equations in the same places.
/// @param step another step has the same pattern and values that differ by some percent
/// @return order about 17 units for 10 components; no place is given twice
reference::Coordinates flowsheet_jacobian(int components, int units, int step);

}  // namespace bench

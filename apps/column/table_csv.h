#pragma once

// Vapour pressures of a component as comma-separated text:
//
//   component,benzene
//   formula,C6H6
//   source,"D. R. Stull, ..."           may be left out, as may the next three
//   antoine,6.90565,1211.033,220.790    published constants, to compare with: degrees C, mmHg
//   line,8.75201,2035.33                published log10 p = a - b/T through all points: K, mmHg
//   limits,5.5,                         temperatures between which points count, in the unit below; either
//                                       may be blank
//   units,degC,mmHg                     degC, K or degF; mmHg, Pa, kPa, bar, psia or atm
//   temperature,pressure
//   -36.7,1                             either may be blank
//
// Empty lines, and lines that begin with #, say nothing.

#include <memory>
#include <string>

#include "apps/column/vapour_pressure_table.h"

namespace column {

/// Reads a table, orders its points by temperature and fills its gaps: a blank pressure lies on the straight
/// line of ln p against 1/T between the measured points next to it, and so does a blank temperature. Points
/// beyond the measured ones stay out. Then fits it. Throws apps::BadCase, also for a formula that
/// cannot be one molecule and for points that have no fit.
/// @param name  of the file, for messages
std::shared_ptr<VapourPressureTable> parse_table_csv(const std::string& text, const std::string& name);
std::shared_ptr<VapourPressureTable> read_table_csv(const std::string& path);

}  // namespace column

#pragma once

// Reads vapour pressures of a component from comma-separated text:
//
//   component,benzene
//   formula,C6H6                        may be left out, as may the next four; if given, it is checked
//   source,"D. R. Stull, ..."
//   antoine,6.90565,1211.033,220.790    published constants, to compare with: degrees C, mmHg
//   line,8.75201,2035.33                published log10 p = a - b/T through all points: K, mmHg
//   limits,5.5,                         temperatures between which points count, in the unit below; either
//                                       may be blank
//   units,degC,mmHg                     degC, K or degF; mmHg, Pa, kPa, bar, psia or atm
//   temperature,pressure
//   -36.7,1                             either may be blank
//
// Empty lines, and lines that begin with #, are ignored.

#include <memory>
#include <string>

#include "apps/column/vapour_pressure_table.h"

namespace column {

/// Reads a table, orders its points by temperature, fills its gaps and fits it. A blank pressure or
/// temperature is interpolated on the straight line of ln p against 1/T between the measured points next to
/// it; blanks outside the measured points are left out. Throws apps::BadCase, also for a formula that cannot
/// be that of one molecule and for points that have no fit.
/// @param text  of the file
/// @param name  of the file, for messages
std::shared_ptr<VapourPressureTable> parse_table_csv(const std::string& text, const std::string& name);
std::shared_ptr<VapourPressureTable> read_table_csv(const std::string& path);

}  // namespace column

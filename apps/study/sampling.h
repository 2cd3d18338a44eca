#pragma once

#include <cstdint>
#include <vector>

#include "apps/study/study.h"

namespace study {

/// Returns the number of cases: all combinations of the values that are listed, as many samples of each.
/// Counts no further than just above kMostCases.
std::int64_t case_count(const Study& study);

/// Returns the values of the parameters [parameter] in a case. The values that are listed go like the digits
/// of a counter, those of the last parameter fastest; before them all go the samples, which are the same for
/// each combination, so that combinations can be compared.
/// @param number  of the case, from 0
std::vector<double> values_of_case(const Study& study, std::int64_t number);

/// Returns how far a parameter goes: its unit of distance between cases. Above 0.
double span(const Parameter& parameter);

}  // namespace study

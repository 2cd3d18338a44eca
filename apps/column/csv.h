#pragma once

#include <string>

#include "apps/column/bubble_point.h"
#include "apps/column/column_case.h"
#include "apps/column/flows.h"

namespace column {

/// Returns the profile as comma-separated text: a heading, then one line for each
/// stage, with all digits.
std::string profile_csv(const ColumnCase& c, const InternalFlows& flows, const Profile& profile);

}  // namespace column

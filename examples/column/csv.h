#pragma once

#include <string>

#include "examples/column/bubble_point.h"
#include "examples/column/column_case.h"
#include "examples/column/flows.h"

namespace column {

/// The profile as comma-separated text: a heading, then one line a stage with all digits.
std::string profile_csv(const ColumnCase& c, const InternalFlows& flows, const Profile& profile);

}  // namespace column

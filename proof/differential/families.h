#pragma once

// The families of the differential runs. Each function draws one case from its seed, gives it to the library
// and to a plain model, and returns what differs in a line or a few, or an empty string if all agrees. The
// same seed always draws the same case, whatever ran before. A case that the model cannot decide, or not
// wholly, counts as agreement, but is noted as undecided.

#include <cstdint>
#include <string>

std::string gpskca_difference(std::uint64_t seed);
std::string pivots_difference(std::uint64_t seed);
std::string ma48_difference(std::uint64_t seed);
std::string ma38_difference(std::uint64_t seed);
std::string lu_difference(std::uint64_t seed);
std::string dominant_difference(std::uint64_t seed);
std::string multiple_difference(std::uint64_t seed);
std::string xy_table_difference(std::uint64_t seed);
std::string free_links_difference(std::uint64_t seed);

/// Notes that the case that runs is undecided; once for a case.
void note_undecided();

struct Family {
  const char* name;
  std::string (*difference)(std::uint64_t seed);
  double most_undecided = 0;  // share of the cases
};

constexpr Family kFamilies[] = {
    {"gpskca", gpskca_difference},
    {"pivots", pivots_difference},
    {"ma48", ma48_difference},
    {"ma38", ma38_difference, 0.1},
    {"lu", lu_difference},
    {"dominant", dominant_difference},
    {"multiple", multiple_difference},
    {"xy_table", xy_table_difference},
    {"free_links", free_links_difference, 0.5},
};

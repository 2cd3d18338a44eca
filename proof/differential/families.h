#pragma once

// The families of the differential runs. Each function draws one case from its seed, gives it to the library
// and to a plain model, and returns what differs in a line or a few, or an empty string if all agrees. The
// same seed always draws the same case, whatever ran before.

#include <cstdint>
#include <string>

std::string gpskca_difference(std::uint64_t seed);
std::string ma38_difference(std::uint64_t seed);

struct Family {
  const char* name;
  std::string (*difference)(std::uint64_t seed);
};

constexpr Family kFamilies[] = {
    {"gpskca", gpskca_difference},
    {"ma38", ma38_difference},
};

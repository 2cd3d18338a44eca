#pragma once

#include <string>
#include <vector>

#include "apps/common/toml_reader.h"
#include "apps/recycle/flowsheet.h"

namespace recycle {

/// Holds a flowsheet as its case file describes it, and how to converge it.
struct RecycleCase {
  std::string title, source;
  std::string rate_unit;  // of all rates, for reports; empty if the case does not state it
  Flowsheet flowsheet;
  std::vector<std::string> tears;  // names of the streams to tear; empty: find the smallest tear set
  double tolerance = 0;  // on the largest change of a torn rate in a pass, relative to the total feed
  int max_passes = 1000;
};

/// Reads and checks a case. Each of its streams leaves one unit or is a feed, and enters at most one unit;
/// its tears cut every recycle. Throws apps::BadCase.
/// @param text  of the case file (TOML)
/// @param name  of the file, for messages
RecycleCase parse_case(const std::string& text, const std::string& name);
RecycleCase read_case(const std::string& path);
/// Does the same with a file that is parsed already.
/// @throws apps::CaseError
RecycleCase case_of_table(const toml::table& file);

}  // namespace recycle

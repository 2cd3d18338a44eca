#pragma once

#include <cstdint>
#include <string>

namespace solve_mtx {

/// What a run found out.
struct Report {
  std::string file, refactored_file;  // the second empty if there was none
  bool transposed = false, new_pivots = false;
  int order = 0, entries = 0, duplicates = 0, blocks = 0, largest_block = 0;
  int structural_rank = 0, rank = 0;
  std::int64_t factor_entries = 0;
  double operations = 0;
  double read_time = 0, analyse_time = 0, factorise_time = 0, refactorise_time = 0, solve_time = 0;  // s
  double residual = 0, backward_error[2] = {0, 0};
  bool refine = false, refined = true;
  bool estimate = false, estimated = true;
  double forward_error = 0;
};

std::string report_text(const Report& report);
std::string report_json(const Report& report);

}  // namespace solve_mtx

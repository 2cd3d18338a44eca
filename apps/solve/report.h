#pragma once

#include <string>

#include "apps/solve/direct_solver.h"
#include "apps/solve/pattern.h"

namespace solve {

/// What a run found out, for printing.
struct Report {
  Method method = Method::kMa48;
  std::string file, refactored_file;  // the second empty if there was none
  bool solved = false;                // without, only what the file and its pattern tell is known
  bool transposed = false, new_pivots = false;
  bool analysed = false;  // apart from factorising
  int order = 0, entries = 0;
  PatternFacts pattern;
  Facts facts;
  double read_time = 0, analyse_time = 0, factorise_time = 0, refactorise_time = 0;  // s
  double solve_time = 0, check_time = 0;
  double residual = 0;
  bool refine = false, estimate = false;  // asked for
  Solution solution;
};

std::string report_text(const Report& report);
std::string report_json(const Report& report);

}  // namespace solve

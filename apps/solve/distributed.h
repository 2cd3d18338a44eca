#pragma once

// Systems whose entries are spread over the processes of a run, solved by the parallel MUMPS.

#include "apps/solve/report.h"
#include "apps/solve/solving.h"
#include "apps/support/processes.h"

namespace solve {

/// Returns whether this build has MUMPS.
bool has_mumps();

/// Does what run() does, for a task by MUMPS. All ranks call it, and each of them reads its part of the
/// entries. Rank 0 reads the right-hand side, judges the solution, and alone writes and reports.
/// @param report  out: at rank 0
/// @return false if another rank has told why there is no solution
/// @throws as run() does, at one rank
bool run_distributed(const Task& task, apps::Processes& ranks, Report& report);

}  // namespace solve

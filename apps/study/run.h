#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "apps/study/chunk.h"
#include "apps/study/ranks.h"

namespace study {

/// Solves all chunks from `first` on, on the threads of this process or, if there are several ranks, on those
/// of all.
/// @param ranks  all call this
/// @param sink   of rank 0: gets the rows of each chunk, in order, one call at a time
/// @throws what a chunk or the sink throws, at the rank where it happens; the other ranks go on
void run_study(const StudyFile& file, Start start, int threads, std::int64_t first, Ranks& ranks,
               const std::function<void(const std::string& rows)>& sink);

/// Returns how many threads this process should have: the processors that it may use, divided among the ranks
/// of the machine that may use the same ones.
int usual_threads(const Ranks& ranks);

}  // namespace study

#pragma once

// The cases of a study by chunks. The study alone tells which cases a chunk has. They are solved in order,
// and only from answers of the chunk itself, so that a chunk gives the same rows whoever solves it, and when.

#include <cstdint>
#include <string>

#include "apps/study/study_file.h"

namespace study {

/// Whether each case starts as its file says, or from the answer of the nearest case before it in its chunk.
enum class Start { kCold, kWarm };

std::int64_t chunk_count(const Study& study);

/// Returns the number of cases in the chunks before this one.
std::int64_t cases_before(const Study& study, std::int64_t chunk);

/// Returns the heading of the rows, as comma-separated text.
std::string heading(const Study& study);

/// Solves a chunk and returns its rows: the number of the case from 1, its parameters, its results with all
/// digits, and "ok" or what went wrong. A case without an answer has empty fields for results.
/// @throws std::exception  where not a case is at fault: no memory, a file that the base case names and that
/// has changed
std::string rows_of_chunk(const StudyFile& file, std::int64_t chunk, Start start);

}  // namespace study

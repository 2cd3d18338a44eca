#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "apps/study/chunk.h"

namespace study {

/// Where a worker gets its chunks from, and where their rows go. Any thread may call.
struct ChunkStore {
  /// Returns a chunk that nobody else has; none if there is no further one.
  std::function<std::int64_t()> next;
  std::function<void(std::int64_t chunk, std::string rows)> deliver;
  /// Is called when a worker fails: the others need not go on.
  std::function<void()> stop;
};

constexpr std::int64_t kNoChunk = -1;

/// Solves chunks until there is none left, on as many threads of oneTBB. Each worker solves one chunk at a
/// time and holds no other, so that it may wait in next().
/// @throws what a chunk, or a function of the store, throws
void solve_chunks(const StudyFile& file, Start start, int threads, const ChunkStore& store);

}  // namespace study

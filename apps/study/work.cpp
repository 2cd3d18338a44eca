#include "apps/study/work.h"

#include <tbb/blocked_range.h>
#include <tbb/global_control.h>
#include <tbb/parallel_for.h>
#include <tbb/partitioner.h>
#include <tbb/task_arena.h>

namespace study {

void solve_chunks(const StudyFile& file, Start start, int threads, const ChunkStore& store) {
  const auto work = [&] {
    try {
      for (std::int64_t chunk = store.next(); chunk != kNoChunk; chunk = store.next())
        store.deliver(chunk, rows_of_chunk(file, chunk, start));
    } catch (...) {
      store.stop();
      throw;
    }
  };
  // oneTBB may have fewer threads than asked for: then a worker begins when another has ended, and finds
  // nothing.
  const tbb::global_control limit(tbb::global_control::max_allowed_parallelism,
                                  static_cast<std::size_t>(threads));
  tbb::task_arena arena(threads);
  arena.execute([&] {
    tbb::parallel_for(
        tbb::blocked_range<int>(0, threads, 1), [&](const tbb::blocked_range<int>&) { work(); },
        tbb::simple_partitioner());
  });
}

}  // namespace study

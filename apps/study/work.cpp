#include "apps/study/work.h"

#include <tbb/global_control.h>
#include <tbb/parallel_for.h>
#include <tbb/partitioner.h>
#include <tbb/task_arena.h>

#include <new>

namespace study {
namespace {

/// Has the threads of oneTBB end with the call, as other libraries do. What they have done is then done.
class ThreadsOfThisCall {
 public:
  ThreadsOfThisCall() : handle_(tbb::attach()) {}
  ~ThreadsOfThisCall() { tbb::finalize(handle_, std::nothrow); }
  ThreadsOfThisCall(const ThreadsOfThisCall&) = delete;
  ThreadsOfThisCall& operator=(const ThreadsOfThisCall&) = delete;

 private:
  tbb::task_scheduler_handle handle_;
};

}  // namespace

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
  const ThreadsOfThisCall joined;
  tbb::task_arena arena(threads);
  arena.execute([&] {
    tbb::parallel_for(
        0, threads, [&](int) { work(); }, tbb::simple_partitioner());
  });
}

}  // namespace study

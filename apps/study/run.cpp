// Runs a study. One process: its workers count the chunks by an atomic counter and put rows in order
// themselves. Several ranks: all workers take chunks from the counter at rank 0. The workers of rank 0 run
// beside a collector, which receives rows and thereby lets the one-sided calls of other ranks go on.

#include "apps/study/run.h"

#include <tbb/info.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <exception>
#include <thread>

#include "apps/study/ordered_rows.h"
#include "apps/study/work.h"

namespace study {
namespace {

/// Short beside a chunk, long beside looking whether something is there.
constexpr std::chrono::milliseconds kNap(1);

void run_alone(const StudyFile& file, Start start, int threads, std::int64_t first,
               const std::function<void(const std::string&)>& sink) {
  const std::int64_t count = chunk_count(file.study);
  std::atomic<std::int64_t> counter(first);
  OrderedRows ordered(first, sink);
  ChunkStore store;
  store.next = [&] {
    const std::int64_t chunk = counter++;
    return chunk < count && ordered.wait_for_room(chunk) ? chunk : kNoChunk;
  };
  store.deliver = [&](std::int64_t chunk, std::string rows) { ordered.take(chunk, std::move(rows)); };
  store.stop = [&] { ordered.stop(); };
  solve_chunks(file, start, threads, store);
}

/// A worker's store at any rank but 0.
void run_follower(const StudyFile& file, Start start, int threads, Ranks& ranks) {
  const std::int64_t count = chunk_count(file.study);
  std::atomic<bool> stopped(false);
  ChunkStore store;
  store.next = [&] {
    const std::int64_t chunk = stopped ? kNoChunk : ranks.take_chunk();
    if (chunk >= count) return kNoChunk;
    // After a failure the chunk that is missing never comes: only the end of all workers lets the rank tell.
    while (!stopped && chunk >= ranks.chunks_written() + kWindow) std::this_thread::sleep_for(kNap);
    return stopped ? kNoChunk : chunk;
  };
  store.deliver = [&](std::int64_t chunk, const std::string& rows) { ranks.send(chunk, rows); };
  store.stop = [&] { stopped = true; };
  solve_chunks(file, start, threads, store);
}

/// Receives the rows of all other ranks until all are written, or this rank's workers have failed.
void collect(Ranks& ranks, OrderedRows& ordered, std::int64_t count, const std::atomic<bool>& failed) {
  std::int64_t chunk = 0;
  std::string rows;
  while (ordered.next() < count && !failed) {
    if (ranks.receive(chunk, rows))
      ordered.take(chunk, std::move(rows));
    else
      std::this_thread::sleep_for(kNap);
  }
}

void run_first(const StudyFile& file, Start start, int threads, std::int64_t first, Ranks& ranks,
               const std::function<void(const std::string&)>& sink) {
  const std::int64_t count = chunk_count(file.study);
  std::int64_t written = first;
  OrderedRows ordered(first, [&](const std::string& rows) {
    sink(rows);
    ranks.set_chunks_written(++written);
  });
  ChunkStore store;
  store.next = [&] {
    const std::int64_t chunk = ranks.take_chunk();
    return chunk < count && ordered.wait_for_room(chunk) ? chunk : kNoChunk;
  };
  store.deliver = [&](std::int64_t chunk, std::string rows) { ordered.take(chunk, std::move(rows)); };
  store.stop = [&] { ordered.stop(); };
  std::atomic<bool> failed(false);
  std::exception_ptr failure;
  std::thread workers([&] {
    try {
      solve_chunks(file, start, threads, store);
    } catch (...) {
      failure = std::current_exception();
      failed = true;
    }
  });
  try {
    collect(ranks, ordered, count, failed);
  } catch (...) {
    ordered.stop();
    workers.join();
    throw;
  }
  workers.join();
  if (failure) std::rethrow_exception(failure);
}

}  // namespace

void run_study(const StudyFile& file, Start start, int threads, std::int64_t first, Ranks& ranks,
               const std::function<void(const std::string&)>& sink) {
  if (ranks.size() == 1) return run_alone(file, start, threads, first, sink);
  ranks.begin(first);
  if (ranks.rank() == 0)
    run_first(file, start, threads, first, ranks, sink);
  else
    run_follower(file, start, threads, ranks);
  ranks.end();
}

int usual_threads(const Ranks& ranks) {
  return ranks.processors().value_or(tbb::info::default_concurrency());
}

}  // namespace study

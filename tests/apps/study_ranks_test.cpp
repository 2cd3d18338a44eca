// A study over several ranks, each of which is a thread of this process instead of a process, so that the
// thread sanitizer sees what they do. What MPI does for them is done here with a lock.

#include <gtest/gtest.h>

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <string>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

#include "apps/study/run.h"

namespace {

constexpr int kRanks = 3;

thread_local int rank_of_thread = 0;

/// What all ranks reach. The counters are behind the lock.
struct Meeting {
  std::mutex mutex;
  std::condition_variable all_came;
  int came = 0;
  std::int64_t next = 0, written = 0;
  std::deque<std::pair<std::int64_t, std::string>> sent;

  void wait_for_all() {
    std::unique_lock<std::mutex> lock(mutex);
    const int due = came / kRanks * kRanks + kRanks;
    ++came;
    all_came.notify_all();
    all_came.wait(lock, [&] { return came >= due; });
  }
};

Meeting* meeting = nullptr;

}  // namespace

// These take the place of the ones in the program's library.

apps::Processes::Processes(int&, char**&) : rank_(rank_of_thread), size_(kRanks) {}
apps::Processes::~Processes() = default;

namespace study {

struct Ranks::Members {};

Ranks::Ranks(int& argc, char**& argv) : Processes(argc, argv) {}
Ranks::~Ranks() = default;

void Ranks::begin(std::int64_t first_chunk) {
  if (rank() == 0) meeting->next = meeting->written = first_chunk;
  meeting->wait_for_all();
}

std::int64_t Ranks::take_chunk() {
  const std::lock_guard<std::mutex> lock(meeting->mutex);
  return meeting->next++;
}

std::int64_t Ranks::chunks_written() {
  const std::lock_guard<std::mutex> lock(meeting->mutex);
  return meeting->written;
}

void Ranks::set_chunks_written(std::int64_t chunks) {
  const std::lock_guard<std::mutex> lock(meeting->mutex);
  meeting->written = chunks;
}

void Ranks::send(std::int64_t chunk, const std::string& rows) {
  const std::lock_guard<std::mutex> lock(meeting->mutex);
  meeting->sent.emplace_back(chunk, rows);
}

bool Ranks::receive(std::int64_t& chunk, std::string& rows) {
  const std::lock_guard<std::mutex> lock(meeting->mutex);
  if (meeting->sent.empty()) return false;
  std::tie(chunk, rows) = std::move(meeting->sent.front());
  meeting->sent.pop_front();
  return true;
}

void Ranks::end() { meeting->wait_for_all(); }

}  // namespace study

namespace {

// Has 75 chunks.
const std::string kStudy = R"(title = "t"
column = ")" COLUMN_CASES R"(/binary32.toml"
results = ["distillate.fraction[light]", "passes"]
chunk = 2
[[parameter]]
place = "column.reflux_ratio"
range = { from = -0.1, to = 4.0, count = 50 }
[[parameter]]
place = "feed[1].stage"
values = [12, 17, 22]
)";

/// Runs one rank from a chunk on. Only one of them has a second thread: oneTBB hands its threads on from one
/// call to another in ways that the thread sanitizer does not see.
/// @return the rows that it gets: all, at rank 0
std::string run_rank(int rank, std::int64_t first) {
  rank_of_thread = rank;
  char* no_arguments = nullptr;
  char** argv = &no_arguments;
  int argc = 0;
  study::Ranks ranks(argc, argv);
  const study::StudyFile file = study::parse_study(kStudy, "t.toml");
  std::string rows;
  const auto sink = [&rows](const std::string& more) { rows += more; };
  run_study(file, study::Start::kWarm, rank == 1 ? 2 : 1, first, ranks, sink);
  return rows;
}

TEST(StudyRanks, AsThreadsGiveAllRowsInOrder) {
  const study::StudyFile file = study::parse_study(kStudy, "t.toml");
  for (const std::int64_t first : {0, 60}) {
    std::string expected;
    for (std::int64_t chunk = first; chunk < chunk_count(file.study); ++chunk)
      expected += rows_of_chunk(file, chunk, study::Start::kWarm);
    Meeting here;
    meeting = &here;
    std::vector<std::string> rows(kRanks);
    std::vector<std::thread> ranks;
    for (int rank = 0; rank < kRanks; ++rank)
      ranks.emplace_back(
          [&rows, rank, first] { rows[static_cast<std::size_t>(rank)] = run_rank(rank, first); });
    for (std::thread& rank : ranks) rank.join();
    EXPECT_EQ(rows, (std::vector<std::string>{expected, "", ""}));
  }
}

}  // namespace

#include <mpi.h>
#include <sched.h>

#include <algorithm>
#include <cstdlib>
#include <thread>

#include "apps/support/processes.h"

namespace apps {
namespace {

/// Returns whether this process was started as one of several. MPI would start a server of its own for a
/// process that stands alone, which takes longer than many a run.
bool started_by_launcher() {
  for (const char* name : {"OMPI_COMM_WORLD_SIZE", "PMIX_RANK", "PMI_RANK", "PMI_SIZE"})
    if (std::getenv(name) != nullptr) return true;
  return false;
}

/// Several threads may call MPI, one at a time.
void start(int* argc, char*** argv) {
  int provided = MPI_THREAD_SINGLE;
  MPI_Init_thread(argc, argv, MPI_THREAD_SERIALIZED, &provided);
  if (provided < MPI_THREAD_SERIALIZED) MPI_Abort(MPI_COMM_WORLD, EXIT_FAILURE);
}

/// Returns what processors() tells.
int count_processors() {
  MPI_Comm machine = MPI_COMM_NULL;
  MPI_Comm_split_type(MPI_COMM_WORLD, MPI_COMM_TYPE_SHARED, 0, MPI_INFO_NULL, &machine);
  int ranks = 0;
  MPI_Comm_size(machine, &ranks);
  cpu_set_t mine;
  // The system tells no set where there are more processors than one holds: then all ranks share all of them.
  const bool known = sched_getaffinity(0, sizeof mine, &mine) == 0;
  if (!known) CPU_ZERO(&mine);
  std::vector<cpu_set_t> sets(static_cast<std::size_t>(ranks));
  MPI_Allgather(&mine, sizeof mine, MPI_BYTE, sets.data(), sizeof mine, MPI_BYTE, machine);
  MPI_Comm_free(&machine);
  const auto sharing = std::count_if(sets.begin(), sets.end(),
                                     [&mine](const cpu_set_t& set) { return CPU_EQUAL(&set, &mine); });
  const int usable = known ? CPU_COUNT(&mine) : static_cast<int>(std::thread::hardware_concurrency());
  return std::max(1, usable / static_cast<int>(sharing));
}

/// Calls `act` for parts of a vector that MPI can count.
template <class Act>
void by_parts(std::vector<double>& values, Act act) {
  constexpr std::size_t kMost = std::size_t{1} << 30;
  for (std::size_t at = 0; at < values.size(); at += kMost)
    act(values.data() + at, static_cast<int>(std::min(kMost, values.size() - at)));
}

}  // namespace

Processes::Processes(int& argc, char**& argv) {
  if (!started_by_launcher()) return;
  start(&argc, &argv);
  started_ = true;
  MPI_Comm_rank(MPI_COMM_WORLD, &rank_);
  MPI_Comm_size(MPI_COMM_WORLD, &size_);
  processors_ = count_processors();
}

Processes::~Processes() {
  if (started_) MPI_Finalize();
}

void Processes::start_alone() {
  if (started_) return;
  start(nullptr, nullptr);
  started_ = true;
}

int Processes::lowest_failed(bool failed) const {
  int mine = failed ? rank_ : size_, lowest = mine;
  if (size_ > 1) MPI_Allreduce(&mine, &lowest, 1, MPI_INT, MPI_MIN, MPI_COMM_WORLD);
  return lowest;
}

std::int64_t Processes::from_first(std::int64_t number) const {
  if (size_ > 1) MPI_Bcast(&number, 1, MPI_INT64_T, 0, MPI_COMM_WORLD);
  return number;
}

double Processes::from_first(double number) const {
  if (size_ > 1) MPI_Bcast(&number, 1, MPI_DOUBLE, 0, MPI_COMM_WORLD);
  return number;
}

void Processes::spread(std::vector<double>& values) const {
  if (size_ == 1) return;
  by_parts(values, [](double* part, int count) { MPI_Bcast(part, count, MPI_DOUBLE, 0, MPI_COMM_WORLD); });
}

std::int64_t Processes::sum(std::int64_t number) const {
  std::int64_t all = number;
  if (size_ > 1) MPI_Allreduce(&number, &all, 1, MPI_INT64_T, MPI_SUM, MPI_COMM_WORLD);
  return all;
}

void Processes::add_up(std::vector<double>& values) const {
  if (size_ == 1) return;
  const bool first = rank_ == 0;
  by_parts(values, [first](double* part, int count) {
    const void* const mine = first ? MPI_IN_PLACE : part;
    MPI_Reduce(mine, part, count, MPI_DOUBLE, MPI_SUM, 0, MPI_COMM_WORLD);
  });
}

void Processes::abort(int code) const {
  if (size_ > 1) MPI_Abort(MPI_COMM_WORLD, code);
  std::exit(code);
}

}  // namespace apps

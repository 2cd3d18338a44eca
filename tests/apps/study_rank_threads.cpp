// Prints, at rank 0, how many threads each rank would take by itself, if it may use the processors that its
// arguments tell:
//   study_rank_threads FIRST COUNT
// The function of the system that tells them is replaced for the whole program, its libraries included.

#include <sched.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "apps/study/run.h"

namespace {

int first = 0, count = 0;

}  // namespace

extern "C" int sched_getaffinity(pid_t, std::size_t bytes, cpu_set_t* set) noexcept {
  CPU_ZERO_S(bytes, set);
  for (int i = first; i < first + count; ++i) CPU_SET_S(static_cast<std::size_t>(i), bytes, set);
  return 0;
}

int main(int argc, char** argv) {
  if (argc != 3) return EXIT_FAILURE;
  first = std::atoi(argv[1]);
  count = std::atoi(argv[2]);
  const study::Ranks ranks(argc, argv);
  std::vector<double> threads(static_cast<std::size_t>(ranks.size()));
  threads[static_cast<std::size_t>(ranks.rank())] = study::usual_threads(ranks);
  ranks.add_up(threads);
  if (ranks.rank() != 0) return EXIT_SUCCESS;
  for (const double each : threads) std::printf("%g\n", each);
  return EXIT_SUCCESS;
}

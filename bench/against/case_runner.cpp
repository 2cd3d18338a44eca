// Runs one case of the library, for comparisons between two builds of it: the loader takes the library from
// LD_LIBRARY_PATH.
//
//   case_runner list counted|timed
//
// prints the names of the cases;
//
//   case_runner count CASE
//
// works twice, of which callgrind counts the second time by --toggle-collect=measured_work;
//
//   case_runner time CASE
//
// works several times.
//
// The last two print a hash of the results, and `time` in front of it the least processor time in seconds.

#include <time.h>

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "bench/against/cases.h"

/// What callgrind looks for by its name, so that only the work is counted.
extern "C" __attribute__((noinline)) void measured_work(against::Case& one) { one.work(); }

namespace {

using against::Case;
using against::Hash;
using against::NamedCase;
using against::Size;

std::vector<NamedCase> all_cases() {
  std::vector<NamedCase> cases;
  against::add_dense_cases(cases);
  against::add_sparse_cases(cases);
  return cases;
}

double processor_seconds() {
  timespec now;
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

void print_hash(Case& one) {
  Hash hash;
  one.add_results(hash);
  std::printf("%016" PRIx64 "\n", hash.value());
}

/// Works once before it counts, which lets the loader find the symbols and the BLAS its kernels.
void count(Case& one) {
  one.prepare();
  one.work();
  one.prepare();
  measured_work(one);
  print_hash(one);
}

void time(Case& one) {
  constexpr int kLeast = 3;
  constexpr double kEnough = 0.1;  // seconds
  double best = std::numeric_limits<double>::infinity(), spent = 0;
  for (int round = 0; round < kLeast || spent < kEnough; ++round) {
    one.prepare();
    const double begin = processor_seconds();
    measured_work(one);
    const double seconds = processor_seconds() - begin;
    best = std::min(best, seconds);
    spent += seconds;
  }
  std::printf("%.4g ", best);
  print_hash(one);
}

/// Returns whether a case belongs to a list, which is "counted" or "timed".
bool is_listed(const NamedCase& one, const std::string& list) {
  return (list == "counted" && one.size != Size::kLarge) || (list == "timed" && one.size != Size::kSmall);
}

int usage(const char* program) {
  std::fprintf(stderr, "usage: %s list counted|timed | count CASE | time CASE\n", program);
  return EXIT_FAILURE;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) return usage(argv[0]);
  const std::string command = argv[1], name = argv[2];
  for (const NamedCase& one : all_cases()) {
    if (command == "list" && is_listed(one, name)) {
      std::puts(one.name.c_str());
    } else if (name == one.name && (command == "count" || command == "time")) {
      const std::unique_ptr<Case> made = one.make();
      command == "count" ? count(*made) : time(*made);
      return EXIT_SUCCESS;
    }
  }
  return command == "list" ? EXIT_SUCCESS : usage(argv[0]);
}

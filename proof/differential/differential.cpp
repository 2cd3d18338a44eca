// Runs plain models against the library.
//
//   corvidnum_differential [FAMILY|all] [SEEDS]     seeds 1 to SEEDS of one family, or of all of them
//   corvidnum_differential FAMILY --seed SEED       that seed alone
//
// The seeds of a family are shared out between two processes. A worker that crashes or hangs is a difference,
// too: it notes each seed before it begins, in memory that it shares with its parent, which goes on behind
// that seed.

#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <charconv>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>

#include "proof/differential/families.h"

namespace {

constexpr std::uint64_t kSeedsOfCI = 20000;
constexpr int kWorkers = 2;
constexpr int kMostShown = 10;               // differences of one family that are told in full
constexpr std::uint64_t kFewUndecided = 20;  // of which no share can be told
constexpr unsigned kMostSeconds = 60;        // that one seed may take

/// What a worker tells its parent.
struct Progress {
  std::atomic<std::uint64_t> seed{0};  // the one that is running
  std::atomic<std::uint64_t> differences{0}, undecided{0};
};

/// What the workers of one family share.
struct Shared {
  Progress of_worker[kWorkers];
  std::atomic<int> shown{0};
};

void show(const Family& family, std::uint64_t seed, const std::string& what, Shared& shared) {
  if (shared.shown++ >= kMostShown) return;
  std::printf("%s, seed %llu: %s\n  alone: scripts/differential %s --seed %llu\n", family.name,
              static_cast<unsigned long long>(seed), what.c_str(), family.name,
              static_cast<unsigned long long>(seed));
  std::fflush(stdout);
}

Progress* at_work = nullptr;  // that of this process, if it is a worker

/// Runs every kWorkers-th seed from `first` on.
void work(const Family& family, std::uint64_t first, std::uint64_t last, Shared& shared, Progress& progress) {
  at_work = &progress;
  for (std::uint64_t seed = first; seed <= last; seed += kWorkers) {
    progress.seed = seed;
    alarm(kMostSeconds);
    const std::string what = family.difference(seed);
    if (what.empty()) continue;
    ++progress.differences;
    show(family, seed, what, shared);
  }
}

pid_t begin_worker(const Family& family, std::uint64_t first, std::uint64_t last, Shared& shared,
                   Progress& progress) {
  progress.seed = first;
  std::fflush(stdout);
  const pid_t worker = fork();
  if (worker < 0) {
    std::perror("fork");
    std::exit(2);
  }
  if (worker > 0) return worker;
  work(family, first, last, shared, progress);
  std::fflush(stdout);
  _exit(0);
}

std::string describe_end(int status) {
  if (WIFSIGNALED(status)) {
    return WTERMSIG(status) == SIGALRM ? "did not end within " + std::to_string(kMostSeconds) + " s"
                                       : std::string("ended by signal: ") + strsignal(WTERMSIG(status));
  }
  return "ended the process with status " + std::to_string(WEXITSTATUS(status));
}

/// Runs the seeds 1 to `seeds`; returns the number of those with a difference.
std::uint64_t run_family(const Family& family, std::uint64_t seeds) {
  void* page = mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (page == MAP_FAILED) {
    std::perror("mmap");
    std::exit(2);
  }
  Shared& shared = *new (page) Shared;
  const auto begin = std::chrono::steady_clock::now();
  pid_t workers[kWorkers];
  for (int w = 0; w < kWorkers; ++w) {
    workers[w] = begin_worker(family, static_cast<std::uint64_t>(w) + 1, seeds, shared, shared.of_worker[w]);
  }
  for (int left = kWorkers; left > 0;) {
    int status = 0;
    const pid_t ended = wait(&status);
    int w = 0;
    while (w < kWorkers && workers[w] != ended) ++w;
    if (w == kWorkers) continue;
    if (WIFEXITED(status) && WEXITSTATUS(status) == 0) {
      --left;
      continue;
    }
    Progress& progress = shared.of_worker[w];
    ++progress.differences;
    show(family, progress.seed, describe_end(status), shared);
    workers[w] = begin_worker(family, progress.seed + kWorkers, seeds, shared, progress);
  }
  std::uint64_t differences = 0, undecided = 0;
  for (const Progress& progress : shared.of_worker) {
    differences += progress.differences;
    undecided += progress.undecided;
  }
  munmap(page, sizeof(Shared));
  const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - begin;
  const double share = static_cast<double>(undecided) / static_cast<double>(seeds);
  if (share > family.most_undecided && undecided > kFewUndecided) {
    std::printf("%s: too many cases are undecided\n", family.name);
    ++differences;
  }
  std::printf("differential: cases of %s in %.0f s (undecided %.1f %%), %llu, found %llu\n", family.name,
              seconds.count(), 100 * share, static_cast<unsigned long long>(seeds),
              static_cast<unsigned long long>(differences));
  return differences;
}

int run_seed(const Family& family, std::uint64_t seed) {
  const std::string what = family.difference(seed);
  std::printf("%s, seed %llu: %s\n", family.name, static_cast<unsigned long long>(seed),
              what.empty() ? "no difference" : what.c_str());
  return what.empty() ? 0 : 1;
}

bool read_number(const char* text, std::uint64_t& number) {
  const char* end = text + std::strlen(text);
  const auto read = std::from_chars(text, end, number);
  return read.ec == std::errc() && read.ptr == end && number > 0;
}

int usage() {
  std::fputs("usage: differential [FAMILY|all] [SEEDS]\n       differential FAMILY --seed SEED\nfamilies:",
             stderr);
  for (const Family& family : kFamilies) std::fprintf(stderr, " %s", family.name);
  std::fputs("\n", stderr);
  return 2;
}

}  // namespace

void note_undecided() {
  if (at_work) ++at_work->undecided;
}

int main(int count, char** arguments) {
  const std::string wanted = count > 1 ? arguments[1] : "all";
  const bool alone = count == 4 && std::strcmp(arguments[2], "--seed") == 0;
  std::uint64_t number = kSeedsOfCI;
  if (count > (alone ? 4 : 3) || (count > 2 && !read_number(arguments[alone ? 3 : 2], number)))
    return usage();
  bool known = false;
  std::uint64_t differences = 0;
  for (const Family& family : kFamilies) {
    if (wanted != family.name && (alone || wanted != "all")) continue;
    known = true;
    if (alone) return run_seed(family, number);
    differences += run_family(family, number);
  }
  return known ? differences > 0 : usage();
}

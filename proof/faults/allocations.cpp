// Refuses memory to the library: runs each scenario once for each of its allocations, which is refused alone,
// and once more with all that follow it refused, too.
//
//   corvidnum_allocation_faults [SCENARIO]    those whose names contain this text; without it all
//
// A run is at fault if it crashes, leaves a block behind, gives other numbers than the run without refusals
// although no operation said that it failed, or cannot use its objects again where the contract says so.

#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <string>

#include "proof/faults/trial.h"

namespace {

using faults::Scenario;
using faults::Trial;

constexpr int kMostRefusals = 100000;   // of one scenario: a guard against one without an end
constexpr unsigned kMostSeconds = 300;  // that the refusals of one scenario may take
constexpr int kMostShown = 5;           // faults of one scenario that are told

using Fail = void (*)(std::int64_t);
struct Mode {
  const char* name;
  Fail begin;
};
constexpr Mode kModes[] = {{"alone", corvid_host::FailAllocation},
                           {"and all that follow", corvid_host::FailAllocationsFrom}};

/// What a child process, in which a scenario runs, tells its parent.
struct Account {
  int refusals = 0, found = 0;
};

/// Runs a scenario with the n-th request refused.
/// @return what is at fault, or an empty text
std::string fault_of(const Scenario& scenario, const Mode& mode, int n, const Trial& unharmed, bool& ended) {
  const auto refused = corvid_host::RefusedAllocations(), blocks = corvid_host::LiveBlocks();
  mode.begin(n);
  Trial trial;
  scenario.run(trial);
  corvid_host::StopFailing();
  ended = corvid_host::RefusedAllocations() == refused;
  if (!trial.complaint().empty()) return trial.complaint();
  if (corvid_host::LiveBlocks() != blocks)
    return std::to_string(corvid_host::LiveBlocks() - blocks) + " blocks are left";
  if (!trial.told() && trial.digest() != unharmed.digest()) return "other results, and no failure was told";
  if (ended && trial.told()) return "a failure was told although nothing was refused";
  return {};
}

/// Refuses every allocation of one scenario.
Account refuse_all(const Scenario& scenario) {
  Account account;
  const auto blocks = corvid_host::LiveBlocks();
  Trial unharmed;
  scenario.run(unharmed);
  if (unharmed.told() || !unharmed.complaint().empty() || corvid_host::LiveBlocks() != blocks) {
    std::printf("%s: at fault although nothing is refused: %s\n", scenario.name,
                unharmed.complaint().c_str());
    ++account.found;
    return account;
  }
  for (const Mode& mode : kModes) {
    bool ended = false;
    for (int n = 1; !ended && n < kMostRefusals; ++n) {
      std::fflush(stdout);
      const std::string fault = fault_of(scenario, mode, n, unharmed, ended);
      account.refusals += !ended;
      if (fault.empty()) continue;
      if (++account.found <= kMostShown)
        std::printf("%s, allocation %d %s: %s\n", scenario.name, n, mode.name, fault.c_str());
    }
  }
  return account;
}

/// Does so in a child process, whose crash is a fault, too.
Account refuse_all_apart(const Scenario& scenario) {
  int ends[2];
  Account account;
  std::fflush(stdout);
  if (pipe(ends) != 0) return {0, 1};
  const pid_t child = fork();
  if (child == 0) {
    alarm(kMostSeconds);
    account = refuse_all(scenario);
    std::fflush(stdout);
    _exit(write(ends[1], &account, sizeof account) == sizeof account ? 0 : 1);
  }
  close(ends[1]);
  int status = 0;
  const bool told = child > 0 && read(ends[0], &account, sizeof account) == sizeof account;
  close(ends[0]);
  if (child > 0) waitpid(child, &status, 0);
  if (told && status == 0) return account;
  std::printf("%s: ended by %s %d\n", scenario.name, WIFSIGNALED(status) ? "signal" : "status",
              WIFSIGNALED(status) ? WTERMSIG(status) : WEXITSTATUS(status));
  return {0, account.found + 1};
}

}  // namespace

int main(int count, char** arguments) {
  if (count > 2) {
    std::fputs("usage: corvidnum_allocation_faults [SCENARIO]\n", stderr);
    return 2;
  }
  corvid_host::SetLineSink([](void*, corvid_host::LineKind, const char*) {});  // the library tells failures
  Account sum;
  int scenarios = 0;
  for (const auto& room : {faults::dense_scenarios(), faults::sparse_scenarios(),
                           faults::accelerator_scenarios(), faults::table_scenarios()}) {
    for (const Scenario& scenario : room) {
      if (count == 2 && !std::strstr(scenario.name, arguments[1])) continue;
      const Account account = refuse_all_apart(scenario);
      std::printf("%-48s %6d refusals, found %d\n", scenario.name, account.refusals, account.found);
      sum.refusals += account.refusals;
      sum.found += account.found;
      ++scenarios;
    }
  }
  std::printf("faults: allocations refused in %d scenarios, %d, found %d\n", scenarios, sum.refusals,
              sum.found);
  return sum.found > 0 || scenarios == 0;
}

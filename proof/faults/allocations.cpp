// Refuses memory to the library: runs each scenario once for each of its allocations, which is refused alone,
// and once more with all that follow it refused, too.
//
//   corvidnum_allocation_faults [SCENARIO]    those whose names contain this text; without it all
//
// A run is at fault if it crashes or hangs, leaves a block behind, gives other numbers than the run without
// refusals although no operation said that it failed, or cannot use its objects again where the contract says
// so. So is a scenario that allocates, of which nothing was refused.

#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
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

constexpr int kModeCount = static_cast<int>(sizeof kModes / sizeof *kModes);

/// What a child process, in which a scenario runs, tells its parent, in memory that both have.
struct Account {
  int refusals, found;
  int mode, n;  // the refusal that runs; n = 0: the run without one
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

void tell(const Scenario& scenario, const Account& account, const std::string& fault) {
  if (account.found > kMostShown) return;
  if (account.n == 0)
    std::printf("%s, nothing refused: %s\n", scenario.name, fault.c_str());
  else
    std::printf("%s, allocation %d %s: %s\n", scenario.name, account.n, kModes[account.mode].name,
                fault.c_str());
  std::fflush(stdout);
}

/// Refuses the allocations of one scenario, from the one behind that of `account` on.
void refuse_all(const Scenario& scenario, Account& account) {
  const auto blocks = corvid_host::LiveBlocks();
  Trial unharmed;
  alarm(kMostSeconds);
  scenario.run(unharmed);
  if (unharmed.told() || !unharmed.complaint().empty() || corvid_host::LiveBlocks() != blocks) {
    ++account.found;
    tell(scenario, account, "at fault: " + unharmed.complaint());
    return;
  }
  for (; account.mode < kModeCount; ++account.mode, account.n = 0) {
    bool ended = false;
    while (!ended && account.n < kMostRefusals) {
      ++account.n;
      const std::string fault = fault_of(scenario, kModes[account.mode], account.n, unharmed, ended);
      account.refusals += !ended;
      if (fault.empty()) continue;
      ++account.found;
      tell(scenario, account, fault);
    }
  }
}

/// Does so in a child process, whose crash is a fault, too. Then another child goes on behind it.
void refuse_all_apart(const Scenario& scenario, Account& account) {
  for (;;) {
    std::fflush(stdout);
    const pid_t child = fork();
    if (child < 0) {
      std::perror("fork");
      std::exit(2);
    }
    if (child == 0) {
      refuse_all(scenario, account);
      _exit(0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    if (status == 0) break;
    ++account.refusals;
    ++account.found;
    tell(scenario, account,
         WIFSIGNALED(status) ? "ended by signal " + std::to_string(WTERMSIG(status))
                             : "ended the process with status " + std::to_string(WEXITSTATUS(status)));
    if (account.n == 0 || (WIFSIGNALED(status) && WTERMSIG(status) == SIGALRM)) return;
  }
  if (account.refusals > 0 || account.found > 0 || !scenario.allocates) return;
  ++account.found;
  std::printf("%s: nothing was refused\n", scenario.name);
}

/// Returns memory that this process shares with its children.
Account& shared_account() {
  void* const page =
      mmap(nullptr, sizeof(Account), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (page == MAP_FAILED) {
    std::perror("mmap");
    std::exit(2);
  }
  return *static_cast<Account*>(page);
}

}  // namespace

int main(int count, char** arguments) {
  if (count > 2) {
    std::fputs("usage: corvidnum_allocation_faults [SCENARIO]\n", stderr);
    return 2;
  }
  corvid_host::SetLineSink([](void*, corvid_host::LineKind, const char*) {});  // the library tells failures
  Account& account = shared_account();
  int scenarios = 0, refusals = 0, found = 0;
  for (const auto& room : {faults::dense_scenarios(), faults::sparse_scenarios(),
                           faults::accelerator_scenarios(), faults::table_scenarios()}) {
    for (const Scenario& scenario : room) {
      if (count == 2 && !std::strstr(scenario.name, arguments[1])) continue;
      account = {};
      refuse_all_apart(scenario, account);
      std::printf("%-48s %6d refusals, found %d\n", scenario.name, account.refusals, account.found);
      refusals += account.refusals;
      found += account.found;
      ++scenarios;
    }
  }
  std::printf("faults: allocations refused in %d scenarios, %d, found %d\n", scenarios, refusals, found);
  return found > 0 || scenarios == 0;
}

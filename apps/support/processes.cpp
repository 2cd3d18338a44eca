#include "apps/support/processes.h"

#include <fmt/format.h>

#include <iostream>

#include "apps/common/output.h"
#include "apps/common/program.h"

namespace apps {

void Processes::let_first_speak() const {
  if (rank_ == 0) return;
  std::cout.rdbuf(nullptr);
  std::cerr.rdbuf(nullptr);
}

bool agree_on_options(const Processes& ranks, bool good) {
  const int failed = ranks.lowest_failed(!good);
  if (failed == ranks.rank() && failed > 0)  // rank 0 has told by itself, the others are silent
    complain(kBadUsage, fmt::format("the options of rank {} cannot be used", failed));
  return failed == ranks.size();
}

}  // namespace apps

#include <stdexcept>

#include "apps/solve/distributed.h"

namespace solve {

bool has_mumps() { return false; }

bool run_distributed(const Task&, apps::Processes&, Report&) {
  throw std::runtime_error("this build has no MUMPS");
}

}  // namespace solve

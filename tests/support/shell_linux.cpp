#include <sys/wait.h>

#include <cstdlib>

#include "tests/support/shell.h"

namespace test_support {

int run_in_shell(const std::string& command) {
  const int status = std::system(command.c_str());
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

bool system_is_posix() { return true; }

}  // namespace test_support

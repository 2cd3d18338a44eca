#include <dlfcn.h>
#include <fenv.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>

#include "tests/support/platform.h"

namespace test_support {

int enabled_traps() { return fegetexcept(); }
void enable_traps(int exceptions) { feenableexcept(exceptions); }

void* load_library(const std::string& file, bool forAll) {
  void* const library = dlopen(file.c_str(), RTLD_NOW | (forAll ? RTLD_GLOBAL : RTLD_LOCAL));
  if (!library) std::fprintf(stderr, "%s\n", dlerror());
  return library;
}

void unload_library(void* library) { dlclose(library); }

void* find_symbol(void* library, const char* symbol) { return dlsym(library, symbol); }

bool is_loaded(const std::string& file) {
  void* const library = dlopen(file.c_str(), RTLD_NOW | RTLD_NOLOAD);
  if (library) dlclose(library);
  return library != nullptr;
}

bool attach_sets_float_state() { return true; }

bool system_forks() { return true; }

bool child_ends_well() {
  const pid_t child = fork();
  if (child == 0) _exit(0);
  int status = -1;
  return waitpid(child, &status, 0) == child && status == 0;
}

}  // namespace test_support

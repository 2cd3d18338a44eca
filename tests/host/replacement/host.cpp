// A host program that takes the host support library that the loader finds: host_replaceable EXPECTED_FILE
// It links libcorvidnum.so only, and looks the host's own functions up by name.

#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <thread>

#include "dense/regular_matrix.h"

namespace {

void require(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "host_replaceable: does not hold: %s\n", what);
  std::exit(1);
}

/// What the replacement counts; -1 from another library.
long count(const char* symbol) {
  void* const address = dlsym(RTLD_DEFAULT, symbol);
  return address ? reinterpret_cast<long (*)()>(address)() : -1;
}

}  // namespace

int main(int argc, char** argv) {
  Dl_info info = {};
  void* const served = dlsym(RTLD_DEFAULT, "Corvid_new");
  require(argc == 2 && served && dladdr(served, &info) != 0 &&
              std::filesystem::equivalent(info.dli_fname, argv[1]),
          "memory comes from the expected file");
  const long blocks = count("Corvid_replacement_blocks"), words = count("Corvid_replacement_control_words");
  require(blocks != 0, "the load itself took memory of the host");
  std::thread([] {
    RegularMatrix matrix(1, 1);
    matrix(0, 0) = 2;
    double x = 0, b = 6;
    int code = 0;
    require(matrix.Solve(&x, &b, code) == Matrix::MatrixOK && x == 3, "a system is solved");
  }).join();
  if (blocks < 0) return 0;
  require(count("Corvid_replacement_blocks") > blocks, "a matrix lives in memory of the host");
  require(count("Corvid_replacement_control_words") == words + 1, "a thread gets the host's control word");
  return 0;
}

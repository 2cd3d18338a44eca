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

/// The last of the two unknowns of a system.
double solve_a_system() {
  RegularMatrix matrix(2, 2);
  require(matrix.Valid() != 0, "the matrix has its memory");
  for (int i = 0; i < 4; ++i) matrix(i / 2, i % 2) = i + 1;
  double x[2] = {}, b[2] = {5, 11};
  int info = 0;
  require(matrix.Solve(x, b, info) == Matrix::MatrixOK, "the system is solved");
  return x[1];
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
  const long bytes = count("Corvid_replacement_bytes"), words = count("Corvid_replacement_control_words");
  require(bytes != 0, "the load itself took memory of the host");
  RegularMatrix kept(10, 10);
  std::thread([] { require(solve_a_system() == 2, "the answer is 1, 2"); }).join();
  if (bytes < 0) return 0;
  require(count("Corvid_replacement_bytes") >= bytes + 800, "a matrix lives in memory of the host");
  require(count("Corvid_replacement_control_words") == words + 1, "a thread gets the host's control word");
  return 0;
}

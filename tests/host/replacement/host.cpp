// A host program that takes the host support library that the loader finds: host_replaceable EXPECTED_FILE
// It links libcorvidnum.so only, and looks the host's own functions up by name.

#include <dlfcn.h>
#include <stdlib.h>

#include <cstdint>
#include <cstdio>
#include <string>
#include <thread>

#include "dense/regular_matrix.h"

namespace {

void require(bool holds, const std::string& what) {
  if (holds) return;
  std::fprintf(stderr, "host_replaceable: does not hold: %s\n", what.c_str());
  std::exit(1);
}

std::string real_path(const char* file) {
  char* const path = realpath(file, nullptr);
  const std::string copy = path ? path : "";
  std::free(path);
  return copy;
}

template <class Function>
Function* find(const char* symbol) {
  return reinterpret_cast<Function*>(dlsym(RTLD_DEFAULT, symbol));
}

/// The file that serves a symbol to this process.
std::string file_of(const char* symbol) {
  Dl_info info;
  void* const address = dlsym(RTLD_DEFAULT, symbol);
  return address && dladdr(address, &info) != 0 ? real_path(info.dli_fname) : "";
}

double solve_a_system() {
  RegularMatrix matrix(2, 2);
  require(matrix.Valid() != 0, "the matrix has its memory");
  matrix(0, 0) = 1;
  matrix(0, 1) = 2;
  matrix(1, 0) = 3;
  matrix(1, 1) = 4;
  double x[2] = {}, b[2] = {5, 11};
  int info = 0;
  require(matrix.Solve(x, b, info) == Matrix::MatrixOK, "the system is solved");
  return 10 * x[0] + x[1];
}

/// What the open library and the replacement count: bytes that live or were used, control words applied.
struct Counts {
  long bytes;
  long controlWords;
};

Counts counts() {
  if (const auto bytes = find<std::size_t()>("Corvid_replacement_bytes")) {
    return {static_cast<long>(bytes()), find<long()>("Corvid_replacement_control_words")()};
  }
  const auto bytes = find<std::int64_t()>("_ZN11corvid_host9LiveBytesEv");
  const auto words = find<long()>("_ZN11corvid_host23ControlWordApplicationsEv");
  require(bytes && words, "the host library counts");
  return {bytes(), words()};
}

}  // namespace

int main(int count, char** arguments) {
  require(count == 2, "usage: host_replaceable EXPECTED_FILE");
  const std::string served_by = file_of("Corvid_new");
  require(served_by == real_path(arguments[1]), "memory comes from the expected file, not " + served_by);

  const Counts before = counts();
  require(before.bytes > 0, "the load itself took memory of the host");
  RegularMatrix kept(10, 10);
  require(counts().bytes >= before.bytes + 800, "a matrix lives in memory of the host");
  std::thread([] { require(solve_a_system() == 12, "the answer is 1, 2"); }).join();
  require(counts().controlWords == before.controlWords + 1, "a thread gets the control word of the host");
  std::printf("served by %s\n", served_by.c_str());
  return 0;
}

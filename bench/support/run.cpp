// Finds out the conditions of a measurement from the processor's description, the loader and the BLAS.

#include "bench/support/run.h"

#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <thread>

namespace bench {
namespace {

std::string processor() {
  std::ifstream file("/proc/cpuinfo");
  std::string model = "unknown";
  for (std::string line; std::getline(file, line);) {
    const std::size_t colon = line.find(": ");
    if (line.rfind("model name", 0) != 0 || colon == std::string::npos) continue;
    model = line.substr(colon + 2);
    break;
  }
  return model + ", " + std::to_string(std::thread::hardware_concurrency()) + " logical processors";
}

/// Returns the path of the library that the loader chose for dgemm_, with symbolic links resolved: several
/// libraries go by the name libblas.so.3.
std::string blas() {
  Dl_info info;
  void* const symbol = dlsym(RTLD_DEFAULT, "dgemm_");
  if (!symbol || dladdr(symbol, &info) == 0 || !info.dli_fname) return "unknown";
  const std::unique_ptr<char, decltype(&std::free)> path(realpath(info.dli_fname, nullptr), &std::free);
  return path ? path.get() : info.dli_fname;
}

/// Asks OpenBLAS for its threads; the reference BLAS has no such question, and one thread.
std::string blas_threads() {
  void* const question = dlsym(RTLD_DEFAULT, "openblas_get_num_threads");
  return question ? std::to_string(reinterpret_cast<int (*)()>(question)()) : "not told by this BLAS";
}

}  // namespace

std::vector<std::pair<std::string, std::string>> conditions() {
  return {{"processor", processor()},
          {"BLAS", blas()},
          {"BLAS threads", blas_threads()},
          {"build type", CORVIDNUM_BENCH_BUILD_TYPE}};
}

bool build_is_optimised() {
#if defined(NDEBUG) && defined(__OPTIMIZE__)
  return true;
#else
  std::fprintf(
      stderr,
      "This is a build of type \"%s\", whose times mean nothing: configure with the preset release.\n",
      CORVIDNUM_BENCH_BUILD_TYPE);
  return false;
#endif
}

int run(int argc, char** argv, benchmark::BenchmarkReporter* report) {
  if (!build_is_optimised()) return EXIT_FAILURE;
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return EXIT_FAILURE;
  for (const auto& [name, value] : conditions()) benchmark::AddCustomContext(name, value);
  benchmark::RunSpecifiedBenchmarks(report);
  benchmark::Shutdown();
  return EXIT_SUCCESS;
}

}  // namespace bench

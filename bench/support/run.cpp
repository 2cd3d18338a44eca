// Finds out the conditions of a measurement from the processor's description, the loader and the BLAS.

#include "bench/support/run.h"

#include <dlfcn.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <thread>

#include "bench/support/result_lines.h"

namespace bench {
namespace {

bool begins_with(const std::string& text, const std::string& beginning) {
  return text.compare(0, beginning.size(), beginning) == 0;
}

std::string processor() {
  std::ifstream file("/proc/cpuinfo");
  std::string model = "unknown";
  for (std::string line; std::getline(file, line);) {
    const std::size_t colon = line.find(": ");
    if (!begins_with(line, "model name") || colon == std::string::npos) continue;
    model = line.substr(colon + 2);
    break;
  }
  return model + ", " + std::to_string(std::thread::hardware_concurrency()) + " logical processors";
}

std::string compiler() {
#ifdef __clang__
  return "clang " __clang_version__;
#else
  return "GCC " __VERSION__;
#endif
}

/// Returns the path of the library that the loader chose for dgemm_, with symbolic links resolved: several
/// libraries go by the name libblas.so.3.
std::string blas_file() {
  Dl_info info;
  void* const symbol = dlsym(RTLD_DEFAULT, "dgemm_");
  if (!symbol || dladdr(symbol, &info) == 0 || !info.dli_fname) return "unknown";
  const std::unique_ptr<char, decltype(&std::free)> path(realpath(info.dli_fname, nullptr), &std::free);
  return path ? path.get() : info.dli_fname;
}

/// Asks OpenBLAS for its version and the processor that it was chosen for.
std::string blas() {
  void* const question = dlsym(RTLD_DEFAULT, "openblas_get_config");
  return question ? reinterpret_cast<const char* (*)()>(question)() : "not told by this BLAS";
}

/// Asks OpenBLAS for its threads; the reference BLAS has no such question, and one thread.
std::string blas_threads() {
  void* const question = dlsym(RTLD_DEFAULT, "openblas_get_num_threads");
  return question ? std::to_string(reinterpret_cast<int (*)()>(question)()) : "not told by this BLAS";
}

/// Returns whether the arguments name a file for the results, and no format of Google Benchmark for it.
bool asks_for_results(int argc, char** argv) {
  const auto has = [&](const char* option) {
    return std::any_of(argv + 1, argv + argc, [&](const char* a) { return begins_with(a, option); });
  };
  return has("--benchmark_out=") && !has("--benchmark_out_format=");
}

}  // namespace

std::vector<std::pair<std::string, std::string>> conditions() {
  return {{"processor", processor()},       {"compiler", compiler()},
          {kBlasFile, blas_file()},         {"BLAS", blas()},
          {"BLAS threads", blas_threads()}, {"build type", CORVIDNUM_BENCH_BUILD_TYPE}};
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
  const bool writes_results = asks_for_results(argc, argv);
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return EXIT_FAILURE;
  for (const auto& [name, value] : conditions()) benchmark::AddCustomContext(name, value);
  ResultReporter results;
  const std::size_t count = benchmark::RunSpecifiedBenchmarks(report, writes_results ? &results : nullptr);
  benchmark::Shutdown();
  if (count == 0) return EXIT_FAILURE;  // it has said that the filter matches nothing
  if (!writes_results || results.is_written()) return EXIT_SUCCESS;
  std::fprintf(stderr, "cannot write the results\n");
  return EXIT_FAILURE;
}

}  // namespace bench

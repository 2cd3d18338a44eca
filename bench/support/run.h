#pragma once

// What every benchmark program does first: it says on what it measures, and refuses to measure a debug build.

#include <benchmark/benchmark.h>

#include <string>
#include <utility>
#include <vector>

namespace bench {

/// The condition that is a path on this machine.
constexpr const char* kBlasFile = "BLAS file";

/// Returns the facts on which a time depends, by name: processor, compiler, BLAS, its threads, build type.
std::vector<std::pair<std::string, std::string>> conditions();

/// Returns whether this program was compiled with optimisation and without assertions. If not, it says so on
/// the standard error stream.
bool build_is_optimised();

/// Runs the benchmarks that are registered, with the conditions in the context of the report. The option
/// --benchmark_out=FILE writes result lines (see result_lines.h), unless --benchmark_out_format asks for
/// another form.
/// @param report null: the console's report
/// @return the exit code of the program: 1 for a debug build, a bad option, a filter that matches nothing, or
///         results that cannot be written, else 0
int run(int argc, char** argv, benchmark::BenchmarkReporter* report = nullptr);

}  // namespace bench

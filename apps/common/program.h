#pragma once

// The frame of the programs: parse the options, check them, run, and turn whatever was thrown into one line
// on the error stream and an exit code.

#include <CLI/CLI.hpp>
#include <algorithm>
#include <clocale>
#include <cstdlib>
#include <exception>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "apps/common/input.h"
#include "apps/common/output.h"
#include "apps/common/platform.h"
#include "corvidnum_version.h"

namespace apps {

/// Exit codes that mean the same in all programs. Each program has codes of its own from 3 on.
enum ExitCode {
  kSolved = 0,
  kBadInput = 1,  // a file cannot be read or written, or there is no memory
  kBadUsage = 2,  // bad options
};

template <class Options>
struct Program {
  const char* name;
  const char* description;
  const char* footer;                                // of the help
  void (*declare)(CLI::App& app, Options& options);  // adds the options to the parser
  /// Checks what the parser cannot tell; throws CLI::ParseError.
  void (*check)(const CLI::App& app, const Options& options);
  int (*run)(const CLI::App& app, const Options& options);  // returns an exit code; may throw both kinds
  const std::string& (*file)(const Options& options);       // that the program works on, or empty
};

/// Ends the process as a program does that lacks memory, if memory was refused in a function that is declared
/// not to throw, as the parsers of options and of TOML have some.
[[noreturn]] inline void end_without_memory() noexcept {
  try {
    if (const std::exception_ptr thrown = std::current_exception()) std::rethrow_exception(thrown);
  } catch (const std::bad_alloc&) {
    std::_Exit(complain(kBadInput, kMemoryRefused));
  } catch (...) {
  }
  std::abort();
}

/// Runs a program.
/// @return its exit code: that of `run`; kSolved after --help; kBadUsage after CLI::ParseError; kBadInput
///         after any other exception
template <class Options>
int run_program(const Program<Options>& program, int argc, char** argv) {
  const platform::StandardStreams streams;
  std::set_terminate(end_without_memory);
  // A library that the process loads may have taken the user's locale; the parser of options reads numbers by
  // it.
  std::setlocale(LC_NUMERIC, "C");
  try {
    CLI::App app{program.description, program.name};
    app.allow_windows_style_options(false);  // a path may begin with a slash
    app.footer(program.footer);
    app.set_version_flag("--version", fmt::format("{} {}", program.name, corvidnum_version()),
                         "print name and version, and exit");
    Options options;
    program.declare(app, options);
    try {
      std::vector<std::string> words = platform::arguments(argc, argv);
      std::reverse(words.begin(), words.end());  // the parser takes the first one from the end
      app.parse(std::move(words));
      program.check(app, options);
      return program.run(app, options);
    } catch (const CLI::ParseError& error) {
      return app.exit(error) == 0 ? kSolved : kBadUsage;
    } catch (const std::bad_alloc&) {
      return complain(kBadInput, input_name(program.file(options)), kMemoryRefused);
    }
  } catch (const std::bad_alloc&) {
    return complain(kBadInput, kMemoryRefused);
  } catch (const std::exception& error) {
    return complain(kBadInput, error.what());
  }
}

}  // namespace apps

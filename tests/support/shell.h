#pragma once

// The shell of the system on which the tests run.

#include <string>

namespace test_support {

/// Runs a command. Plain words, words in double quotes, `<`, `>` and `2>` mean the same to all shells.
/// @return its exit code; -1 if it did not get as far as that
int run_in_shell(const std::string& command);

/// Returns whether the shell and the system are POSIX's.
bool system_is_posix();

inline constexpr char kNeedsLimits[] = "the shell cannot limit a process",
                      kNeedsLinks[] = "no links to devices";
inline constexpr char kNeedsTerminal[] = "the shell has no program `script` that plays a terminal";

}  // namespace test_support

#pragma once

// What tests ask of the system.

#include <string>

namespace test_support {

/// Returns the floating-point exceptions that trap in the calling thread.
int enabled_traps();
/// Lets these floating-point exceptions trap in the calling thread too.
void enable_traps(int exceptions);

/// Loads a library, with all it needs.
/// @param forAll  whether what is loaded later finds its symbols, where the system has that
/// @return its handle, or null after a line that says why
void* load_library(const std::string& file, bool forAll = false);
void unload_library(void* library);
/// Returns null if the library does not have the symbol.
void* find_symbol(void* library, const char* symbol);
bool is_loaded(const std::string& file);

/// Returns whether a thread keeps the floating-point state that a notification of its begin sets. Windows
/// gives it the state of a new thread after the notifications.
bool attach_sets_float_state();

/// Returns whether a process can fork.
bool system_forks();
/// Begins a child of this process by a fork, and waits for its end.
/// @return false if something went wrong
bool child_ends_well();

}  // namespace test_support

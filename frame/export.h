#pragma once

/// @file
/// The visibility of what the library exports.

/// Exports what a host may call or derive from; everything else in the library has hidden visibility.
#define CORVIDNUM_API __attribute__((visibility("default")))

/// Hides an operation of an exported class that only the library itself calls.
#define CORVIDNUM_HIDDEN __attribute__((visibility("hidden")))

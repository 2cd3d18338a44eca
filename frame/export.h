#pragma once

/// @file
/// What is exported. On Windows the module definition file cmake/corvidnum.def decides that for the library.
/// What else depends on the system is in pairs of files.

#if defined(_WIN32)

#define CORVIDNUM_PLATFORM_HEADER "frame/platform_windows.h"
#define CORVIDNUM_API
#define CORVIDNUM_HIDDEN

#if defined(corvid_EXPORTS)
#define CORVID_API __declspec(dllexport)
#else
#define CORVID_API
#endif

#else

/// Names the header with what the library's own sources have inline for the system; it is not installed.
#define CORVIDNUM_PLATFORM_HEADER "frame/platform_linux.h"

/// Exports what a host may call or derive from; everything else in the library has hidden visibility.
#define CORVIDNUM_API __attribute__((visibility("default")))

/// Hides an operation of an exported class that only the library itself calls.
#define CORVIDNUM_HIDDEN __attribute__((visibility("hidden")))

/// Marks what the host support library exports.
#define CORVID_API __attribute__((visibility("default")))

#endif

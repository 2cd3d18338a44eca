#pragma once

// The version of the library. It stands in these three numbers alone: CMake, the package files and the manual
// pages take it from here.

#include "frame/export.h"

#define CORVIDNUM_VERSION_MAJOR 1
#define CORVIDNUM_VERSION_MINOR 0
#define CORVIDNUM_VERSION_PATCH 0

/// The version of the headers as an integer that grows with it, for `#if CORVIDNUM_VERSION >= 10200`.
#define CORVIDNUM_VERSION \
  (10000 * CORVIDNUM_VERSION_MAJOR + 100 * CORVIDNUM_VERSION_MINOR + CORVIDNUM_VERSION_PATCH)

// The inner macro makes a text of its arguments as they stand; the outer one has them replaced by their
// values.
#define CORVIDNUM_JOIN_VERSION_AS_WRITTEN(major, minor, patch) #major "." #minor "." #patch
#define CORVIDNUM_JOIN_VERSION(major, minor, patch) CORVIDNUM_JOIN_VERSION_AS_WRITTEN(major, minor, patch)

/// The version of the headers as a text such as "1.2.3".
#define CORVIDNUM_VERSION_TEXT \
  CORVIDNUM_JOIN_VERSION(CORVIDNUM_VERSION_MAJOR, CORVIDNUM_VERSION_MINOR, CORVIDNUM_VERSION_PATCH)

#ifdef __cplusplus
extern "C" {
#endif

/// Returns the version of the library that was loaded, which can be a later one than CORVIDNUM_VERSION_TEXT
/// of the headers that the caller was compiled with. The text is zero-terminated and stays the library's.
CORVIDNUM_API const char* corvidnum_version(void);

#ifdef __cplusplus
}
#endif

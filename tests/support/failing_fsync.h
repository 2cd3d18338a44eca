#pragma once

// An fsync that fails if a test wants it to. Included by one file of a test program, it takes the place of
// the system's in the program and its libraries.

#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>

inline bool fsync_fails = false;

extern "C" __attribute__((visibility("default"))) int fsync(int file) {
  if (!fsync_fails) return static_cast<int>(syscall(SYS_fsync, file));
  errno = EIO;
  return -1;
}

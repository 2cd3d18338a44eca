#pragma once

// A module record with a hook that takes notes. The library's objects are part of the test program: Linux has
// attached it before main, Windows tells a program nothing.

#include <gtest/gtest.h>

#include <vector>

#include "frame/module.h"
#include "frame/numeric_runtime.h"
#include "host/corvid_host.h"

using Reasons = std::vector<unsigned>;

inline void enter() {
  const int selector = 1;
  d1mach_(&selector);
}

struct Notice {
  ModuleHandle instance;
  void* reserved;
  long controlWordsApplied;  // before the hook ran
};
inline std::vector<Notice> notices;
inline Reasons reasons;

inline int note(ModuleHandle instance, unsigned reason, void* reserved) {
  enter();  // a hook may
  notices.push_back({instance, reserved, corvid_host::ControlWordApplications()});
  reasons.push_back(reason);
  return 0;
}

class ModuleTest : public testing::Test {
 protected:
  void SetUp() override {
    notices.clear();
    reasons.clear();
    if (!corvidnum::theModule) corvidnum::ModuleEntry(original_, corvidnum::kProcessAttach, nullptr);
    corvidnum::SetModuleHook(note);
  }
  void TearDown() override {
    while (corvidnum::theModule) corvidnum::ModuleEntry(nullptr, corvidnum::kProcessDetach, nullptr);
    corvidnum::ModuleEntry(original_, corvidnum::kProcessAttach, nullptr);
  }
  const ModuleHandle original_ = corvidnum::ModuleInstance();
};

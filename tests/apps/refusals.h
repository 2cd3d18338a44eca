#pragma once

// Memory that is refused to the library, request by request over a whole run.

#include <gtest/gtest.h>

#include <exception>
#include <string>

#include "host/corvid_host.h"

/// Repeats a run, and refuses the next request each time (alone, then with all that follow it) until there
/// is none left to refuse. Each run must come out as ever or tell of the memory, and leave no block behind.
/// @param run    returns what it has to tell; may throw instead
/// @param dense  request from which on not each is refused, but one in nine or so
/// @return how many were refused
template <class Run>
int expect_refusals_told(Run run, int dense) {
  const std::string good = run();
  int refusals = 0;
  for (const auto& fail : {corvid_host::FailAllocation, corvid_host::FailAllocationsFrom}) {
    bool refused = true;
    for (int request = 1; refused; request = request < dense ? request + 1 : request * 9 / 8) {
      const auto before = corvid_host::RefusedAllocations(), blocks = corvid_host::LiveBlocks();
      fail(request);
      std::string said;
      try {
        said = run();
      } catch (const std::bad_alloc&) {
        said = "no memory";  // as the programs say
      } catch (const std::exception& error) {
        said = error.what();
      }
      corvid_host::StopFailing();
      refused = corvid_host::RefusedAllocations() != before;
      refusals += refused;
      EXPECT_EQ(corvid_host::LiveBlocks(), blocks) << request;
      EXPECT_TRUE(refused ? said.find("memory") != std::string::npos : said == good) << request << said;
      if (testing::Test::HasFailure()) return refusals;
    }
  }
  return refusals;
}

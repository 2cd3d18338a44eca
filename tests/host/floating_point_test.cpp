#include <gtest/gtest.h>

#include <cfenv>
#include <thread>

#include "host/corvid_host.h"
#include "tests/support/platform.h"

namespace {

using namespace corvid_host;

constexpr FloatControl kInTheBeginning = {FE_TONEAREST, 0};

TEST(FloatingPoint, TheControlWordIsAppliedToTheCallingThreadOnly) {
  EXPECT_FALSE(SetFloatControl({-1, 0}));
  EXPECT_FALSE(SetFloatControl({FE_TONEAREST, ~FE_ALL_EXCEPT}));
  for (const FloatControl& control :
       {FloatControl{FE_TOWARDZERO, FE_INVALID | FE_OVERFLOW}, {FE_UPWARD, FE_DIVBYZERO}, kInTheBeginning}) {
    ASSERT_TRUE(SetFloatControl(control));
    std::thread([&] {
      std::fesetround(FE_DOWNWARD);
      test_support::enable_traps(FE_INEXACT);
      const long applied = ControlWordApplications();
      pFPEnv()->SetControlWord();
      EXPECT_EQ(ControlWordApplications(), applied + 1);
      EXPECT_EQ(std::fegetround(), control.rounding);
      EXPECT_EQ(test_support::enabled_traps(), control.traps);
    }).join();
    EXPECT_EQ(std::fegetround(), FE_TONEAREST);
    EXPECT_EQ(test_support::enabled_traps(), 0);
  }
}

TEST(FloatingPoint, AnExceptionOfThePastDoesNotTrap) {
  ASSERT_TRUE(SetFloatControl({FE_TONEAREST, FE_DIVBYZERO}));
  std::thread([] {
    volatile long double zero = 0, quotient = 1 / zero;  // the x87 unit traps late, on its next instruction
    pFPEnv()->SetControlWord();
    volatile long double sum = quotient + 1;
    EXPECT_GT(sum, 0);
  }).join();
  SetFloatControl(kInTheBeginning);
}

}  // namespace

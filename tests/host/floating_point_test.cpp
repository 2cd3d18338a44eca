#include <gtest/gtest.h>

#include <cfenv>
#include <thread>

#include "host/corvid_host.h"

namespace {

using namespace corvid_host;

constexpr FloatControl kInTheBeginning = {FE_TONEAREST, 0};

TEST(FloatingPoint, TheControlWordIsAppliedToTheCallingThreadOnly) {
  const FloatControl controls[] = {kInTheBeginning,
                                   {FE_UPWARD, FE_DIVBYZERO},
                                   {FE_TOWARDZERO, FE_INVALID | FE_OVERFLOW},
                                   {FE_DOWNWARD, 0}};
  const int rounding = std::fegetround(), traps = fegetexcept();
  for (const FloatControl& control : controls) {
    ASSERT_TRUE(SetFloatControl(control));
    std::thread([&] {
      std::fesetround(control.rounding == FE_UPWARD ? FE_DOWNWARD : FE_UPWARD);
      feenableexcept(FE_INEXACT);
      std::feraiseexcept(FE_DIVBYZERO & ~control.traps);
      const long applied = ControlWordApplications();
      pFPEnv()->SetControlWord();
      EXPECT_EQ(ControlWordApplications(), applied + 1);
      EXPECT_EQ(std::fegetround(), control.rounding);
      EXPECT_EQ(fegetexcept(), control.traps);
      EXPECT_EQ(std::fetestexcept(control.traps), 0);
    }).join();
    EXPECT_EQ(std::fegetround(), rounding);
    EXPECT_EQ(fegetexcept(), traps);
  }
  SetFloatControl(kInTheBeginning);
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

TEST(FloatingPoint, UnknownControlsAreRefused) {
  EXPECT_FALSE(SetFloatControl({-1, 0}));
  EXPECT_FALSE(SetFloatControl({FE_TONEAREST, ~FE_ALL_EXCEPT}));
  std::thread([] {
    std::fesetround(FE_UPWARD);
    pFPEnv()->SetControlWord();
    EXPECT_EQ(std::fegetround(), FE_TONEAREST);
  }).join();
}

}  // namespace

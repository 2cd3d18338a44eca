#include "frame/numeric_runtime.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

namespace {

using corvidnum::copy_blank_padded;

/// Whether a number consists of these bits.
template <class Real, class Bits>
bool has_bits(Real value, Bits bits) {
  return std::memcmp(&value, &bits, sizeof value) == 0;
}

TEST(MachineConstants, OfEveryTable) {
  const double exported[] = {2.2250738585072014e-308, 1.7976931348623157e+308, 1.1102230246251565e-16,
                             2.220446049250313e-16, 0.3010299956639812};
  const std::uint64_t doubles[] = {0x3CB00000000000B0, 0x3CA0000000000246, 0x0000000000000001,
                                   0x00100000000000C8, 0x7FEFFFFFFFFFFDBB};
  const std::uint32_t floats[] = {0x34000001, 0x33800000, 0x00800001, 0x00800001, 0x7F7FFFFF};
  for (int s = 1; s <= 5; ++s) {
    EXPECT_EQ(d1mach_(&s), exported[s - 1]);
    EXPECT_TRUE(has_bits(corvidnum::FD05AD(&s), doubles[s - 1])) << s;
    EXPECT_TRUE(has_bits(corvidnum::FD05A(&s), floats[s - 1])) << s;
  }
}

TEST(MachineConstantsDeathTest, ABadSelectorIsReportedOrEndsTheProcessSilently) {
  for (const int selector : {0, 6}) {
    testing::internal::CaptureStderr();
    EXPECT_EQ(d1mach_(&selector), -1e30);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "invalid argument: d1mach(" + std::to_string(selector) + ")\n");
    EXPECT_EXIT(corvidnum::FD05AD(&selector), testing::ExitedWithCode(0), "^$");
    EXPECT_EXIT(corvidnum::FD05A(&selector), testing::ExitedWithCode(0), "^$");
  }
}

TEST(StopRunDeathTest, WritesItsTextAndEndsWithStatusZero) {
  EXPECT_EXIT(corvidnum::stop_run("HERE and more", 4), testing::ExitedWithCode(0),
              "^STOP HERE statement executed\n$");
}

TEST(RoundToNearest, HalvesGoAwayFromZero) {
  const std::pair<double, int> cases[] = {
      {2.5, 3},           {-2.5, -3},     {-0.49999, 0},       {INT_MAX, INT_MAX},  {2147483647.5, INT_MIN},
      {INT_MIN, INT_MIN}, {NAN, INT_MIN}, {HUGE_VAL, INT_MIN}, {-HUGE_VAL, INT_MIN}};
  for (const auto& [value, rounded] : cases) EXPECT_EQ(corvidnum::round_to_nearest(&value), rounded) << value;
}

TEST(BlankPaddedTexts, Compare) {
  const struct {
    const char *a, *b;
    int la, lb, result;
  } cases[] = {{"AB ", "AB", 3, 2, 0},           {"AB", "ABC", 2, 3, ' ' - 'C'},
               {"AB  C", "AB", 5, 2, 'C' - ' '}, {"AX", "AB", 2, 2, 'X' - 'B'},
               {"A", "A", -1, 1, ' ' - 'A'},     {"\xff", "A", 1, 1, 255 - 'A'}};
  for (const auto& c : cases) {
    EXPECT_EQ(corvidnum::compare_blank_padded(c.a, c.b, c.la, c.lb), c.result) << c.a << ", " << c.b;
  }
}

TEST(BlankPaddedTexts, CopyCutsOrFillsAndRunsForward) {
  char text[] = "......";
  copy_blank_padded(text, "AB", 4, 2);
  EXPECT_STREQ(text, "AB  ..");
  copy_blank_padded(text, "WXYZ", 2, 4);
  copy_blank_padded(text, "Q", -3, 1);
  EXPECT_STREQ(text, "WX  ..");
  copy_blank_padded(text, "Q", 3, -5);
  EXPECT_STREQ(text, "    ..");
  char overlapping[] = "abcd";
  copy_blank_padded(overlapping + 1, overlapping, 3, 3);
  EXPECT_STREQ(overlapping, "aaaa");
}

TEST(DotProduct, OfAnyLengthAndStep) {
  std::vector<double> x(64), y(64);
  for (std::size_t i = 0; i < x.size(); ++i) {
    x[i] = static_cast<double>(i) - 20;  // small integers: every order of summation is exact
    y[i] = static_cast<double>(i * i % 17) - 8;
  }
  const auto place = [](int i, int n, int step) {
    return static_cast<std::size_t>(step >= 0 ? i * step : (i - n + 1) * step);
  };
  for (int n = -1; n <= 16; ++n) {
    for (const int incx : {-3, -1, 0, 1, 2}) {
      for (const int incy : {-2, 1, 3}) {
        double expected = 0;
        for (int i = 0; i < n; ++i) expected += x[place(i, n, incx)] * y[place(i, n, incy)];
        EXPECT_EQ(ddot_(&n, x.data(), &incx, y.data(), &incy), expected) << n << ' ' << incx << ' ' << incy;
      }
    }
  }
}

TEST(ErrorHook, PrintsItsLineAndReturns) {
  testing::internal::CaptureStdout();
  const int number = 4;
  const std::string longest(100, 'X');
  EXPECT_EQ(corvidnum::xerbla("DGETF2", &number), 0);
  EXPECT_EQ(xerbla_("AB and more", &number, 2), 0);
  EXPECT_EQ(xerbla_(longest.data(), &number, longest.size()), 0);
  std::string expected;
  for (const std::string& name : {std::string("DGETF2"), std::string("    AB"), std::string(63, 'X')}) {
    expected += "** On entry to " + name + ", parameter number  4 had an illegal value\n";
  }
  EXPECT_EQ(testing::internal::GetCapturedStdout(), expected);
}

}  // namespace

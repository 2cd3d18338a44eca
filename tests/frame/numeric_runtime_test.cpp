#include "frame/numeric_runtime.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

namespace {

using corvidnum::compare_blank_padded;
using corvidnum::copy_blank_padded;
using corvidnum::round_to_nearest;

template <class Bits, class Real>
Bits bits_of(Real value) {
  static_assert(sizeof(Bits) == sizeof(Real));
  Bits bits;
  std::memcpy(&bits, &value, sizeof bits);
  return bits;
}

TEST(MachineConstants, OfTheExportedTable) {
  const double expected[] = {2.2250738585072014e-308, 1.7976931348623157e+308, 1.1102230246251565e-16,
                             2.220446049250313e-16, 0.3010299956639812};
  for (int selector = 1; selector <= 5; ++selector) EXPECT_EQ(d1mach_(&selector), expected[selector - 1]);
}

TEST(MachineConstants, ABadSelectorIsReportedAndSurvived) {
  for (const int selector : {0, 6, INT_MIN}) {
    testing::internal::CaptureStderr();
    EXPECT_EQ(d1mach_(&selector), -1e30);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "invalid argument: d1mach(" + std::to_string(selector) + ")\n");
  }
}

TEST(MachineConstants, StoredTablesKeepTheirBits) {
  const std::uint64_t doubles[] = {0x3CB00000000000B0, 0x3CA0000000000246, 0x0000000000000001,
                                   0x00100000000000C8, 0x7FEFFFFFFFFFFDBB};
  const std::uint32_t floats[] = {0x34000001, 0x33800000, 0x00800001, 0x00800001, 0x7F7FFFFF};
  for (int s = 1; s <= 5; ++s) {
    EXPECT_EQ(bits_of<std::uint64_t>(corvidnum::FD05AD(&s)), doubles[s - 1]);
    EXPECT_EQ(bits_of<std::uint32_t>(corvidnum::FD05A(&s)), floats[s - 1]);
  }
}

TEST(MachineConstantsDeathTest, ABadSelectorOfAStoredTableEndsTheProcessSilently) {
  for (const int selector : {0, 6}) {
    EXPECT_EXIT(corvidnum::FD05AD(&selector), testing::ExitedWithCode(0), "^$");
    EXPECT_EXIT(corvidnum::FD05A(&selector), testing::ExitedWithCode(0), "^$");
  }
}

TEST(StopRunDeathTest, WritesItsTextAndEndsWithStatusZero) {
  EXPECT_EXIT(corvidnum::stop_run("HERE and more", 4), testing::ExitedWithCode(0),
              "^STOP HERE statement executed\n$");
}

TEST(RoundToNearest, HalvesGoAwayFromZero) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double infinity = std::numeric_limits<double>::infinity();
  const struct {
    double value;
    int rounded;
  } cases[] = {{2.5, 3},
               {-2.5, -3},
               {0.49999, 0},
               {-0.49999, 0},
               {-0.5, -1},
               {0.0, 0},
               {2147483647.0, INT_MAX},
               {2147483647.5, INT_MIN},
               {-2147483648.0, INT_MIN},
               {nan, INT_MIN},
               {infinity, INT_MIN},
               {-infinity, INT_MIN}};
  for (const auto& c : cases) EXPECT_EQ(round_to_nearest(&c.value), c.rounded) << c.value;
}

TEST(BlankPaddedTexts, Compare) {
  const struct {
    const char *a, *b;
    int la, lb, result;
  } cases[] = {{"AB ", "AB", 3, 2, 0},         {"AB", "ABC", 2, 3, 32 - 67},  {"ABC", "AB", 3, 2, 67 - 32},
               {"AB  C", "AB", 5, 2, 67 - 32}, {"AX", "AB", 2, 2, 'X' - 'B'}, {"", "", 0, 0, 0},
               {"A", "A", -1, 1, 32 - 65},     {"\xff", "A", 1, 1, 255 - 65}, {"A", "AB", 1, 1, 0}};
  for (const auto& c : cases) EXPECT_EQ(compare_blank_padded(c.a, c.b, c.la, c.lb), c.result) << c.a << c.b;
}

TEST(BlankPaddedTexts, CopyCutsOrFillsAndRunsForward) {
  char text[] = "......";
  copy_blank_padded(text, "AB", 4, 2);
  EXPECT_STREQ(text, "AB  ..");
  copy_blank_padded(text, "WXYZ", 2, 4);
  EXPECT_STREQ(text, "WX  ..");
  copy_blank_padded(text, "Q", 3, -5);
  EXPECT_STREQ(text, "    ..");
  copy_blank_padded(text, "Q", -3, 1);
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
  for (int n = -1; n <= 16; ++n) {
    for (const int incx : {-3, -1, 0, 1, 2}) {
      for (const int incy : {-2, 1, 3}) {
        double expected = 0;
        for (int i = 0; i < n; ++i) {
          const int at_x = incx >= 0 ? i * incx : (i - n + 1) * incx;
          const int at_y = incy >= 0 ? i * incy : (i - n + 1) * incy;
          expected += x[static_cast<std::size_t>(at_x)] * y[static_cast<std::size_t>(at_y)];
        }
        EXPECT_EQ(ddot_(&n, x.data(), &incx, y.data(), &incy), expected) << n << ' ' << incx << ' ' << incy;
      }
    }
  }
}

TEST(ErrorHook, PrintsItsLineAndReturns) {
  testing::internal::CaptureStdout();
  const int number = 4;
  EXPECT_EQ(corvidnum::xerbla("DGETF2", &number), 0);
  EXPECT_EQ(xerbla_("DGER  and more", &number, 6), 0);
  EXPECT_EQ(xerbla_("AB", &number, 2), 0);
  const std::string longest(100, 'X');
  EXPECT_EQ(xerbla_(longest.data(), &number, longest.size()), 0);
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "** On entry to DGETF2, parameter number  4 had an illegal value\n"
            "** On entry to DGER  , parameter number  4 had an illegal value\n"
            "** On entry to     AB, parameter number  4 had an illegal value\n"
            "** On entry to " +
                std::string(63, 'X') + ", parameter number  4 had an illegal value\n");
}

}  // namespace

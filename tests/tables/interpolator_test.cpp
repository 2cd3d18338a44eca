#include "tables/interpolator.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "host/corvid_host.h"

namespace {

using Vector = std::vector<double>;

std::vector<InterpStatusEnum> statuses(const std::string& pattern) {  // of '.' unknown, '!' neither
  std::vector<InterpStatusEnum> result;
  for (const char c : pattern) {
    result.push_back(c == 'k' ? InterpKnown : c == '.' ? InterpUnknown : static_cast<InterpStatusEnum>(-7));
  }
  return result;
}

/// The call; no memory may be left.
int interpolate(Vector& row, const std::string& pattern, int method, int extrapolation, int min_points,
                Vector spacing = {}) {
  auto status = statuses(pattern);
  const auto blocks = corvid_host::LiveBlocks();
  Interpolator interpolator;
  const int result = interpolator.MainInterpolator(
      row.data(), status.data(), static_cast<int>(row.size()), static_cast<InterpMethodEnum>(method),
      static_cast<InterpExtrapEnum>(extrapolation), min_points, spacing.empty() ? nullptr : spacing.data());
  EXPECT_EQ(corvid_host::LiveBlocks(), blocks);
  EXPECT_EQ(status, statuses(pattern));
  return result;
}

TEST(Interpolator, FillsRows) {
  const struct {
    const char* what;
    const char* pattern;
    int method, extrapolation, min_points;
    Vector spacing, row;
    int result;
    Vector filled;
  } kRows[] = {
      {"gaps inside", "k.!k.k", 0, 2, 2, {}, {0, 9, 9, 6, 9, 2}, 1, {0, 2, 4, 6, 4, 2}},
      {"gaps by spacing", "k..k", 0, 0, 2, {0, 1, 1, 2}, {0, 9, 9, 8}, 1, {0, 2, 4, 8}},
      {"origin away from 0", "k.k", 0, 0, 2, {100, 1, 3}, {0, 9, 8}, 1, {0, 2, 8}},
      {"ends on the line", "..k.k.", 0, 0, 2, {}, {9, 9, 4, 9, 8, 9}, 1, {0, 2, 4, 6, 8, 10}},
      {"ends by near ones", ".kk.kk.", 0, 0, 2, {}, {9, 1, 2, 9, 5, 9, 8}, 1, {0, 1, 2, 3.5, 5, 9, 13}},
      {"ends repeated", ".k.k..", 0, 1, 2, {}, {9, 2, 9, 6, 9, 9}, 1, {2, 2, 4, 6, 6, 6}},
      {"ends left", "..k.k.", 0, 2, 2, {}, {9, 9, 4, 9, 8, 9}, 1, {9, 9, 4, 6, 8, 9}},
      {"unknown extrapolation is linear", ".kk", 0, 77, 2, {}, {9, 2, 3}, 1, {1, 2, 3}},
      {"end by spacing", ".kk", 0, 0, 2, {0, 2, 1}, {9, 2, 3}, 1, {0, 2, 3}},
      {"one point of two", ".k.", 0, 0, 2, {}, {9, 2, 9}, 0, {9, 2, 9}},
      {"one point of one", ".k..", 0, 0, 1, {}, {9, 2, 9, 9}, 1, {2, 2, 2, 2}},
      {"one point and no extrapolation", ".k.", 0, 2, 1, {}, {9, 2, 9}, 0, {9, 2, 9}},
      {"two points of one are a line", ".kk.", 0, 0, 1, {}, {9, 2, 3, 9}, 1, {1, 2, 3, 4}},
      {"two points and none at the ends", ".k.k.", 0, 2, 1, {}, {9, 2, 9, 4, 9}, 1, {9, 2, 3, 4, 9}},
      {"two unknown entries", "..", 0, 1, 1, {}, {9, 9}, 0, {9, 9}},
      {"minPoints 0 is 2", ".k", 0, 0, 0, {}, {9, 2}, 0, {9, 2}},
      {"minPoints 3 is 2", "k.k", 0, 0, 3, {}, {1, 9, 3}, 1, {1, 2, 3}},
      {"no entries", "", 0, 0, 1, {}, {}, 0, {}},
      {"one place, two values", "k.k", 0, 0, 2, {0, 0, 0}, {1, 9, 2}, 0, {1, 9, 2}},
      {"the same behind others", ".kk.k", 0, 0, 2, {0, 1, 1, 0, 0}, {9, 1, 2, 9, 3}, 0, {0, 1, 2, 9, 3}},
      {"one place, one value", "k.k", 0, 0, 2, {0, 0, 0}, {1, 9, 1 + 1e-13}, 1, {1, 1, 1 + 1e-13}},
      {"one place at an end", ".kk", 0, 0, 2, {0, 1, 0}, {9, 2, 3}, 0, {9, 2, 3}},
      {"one place at an end, constant", ".kk", 0, 1, 2, {0, 1, 0}, {9, 2, 3}, 1, {2, 2, 3}},
      {"just not apart", "k.k", 0, 0, 2, {0, 5e-9, 4.9e-9}, {0, 9, 99}, 0, {0, 9, 99}},
      {"just apart", "k.k", 0, 0, 2, {0, 5e-9, 5.1e-9}, {0, 9, 101}, 1, {0, 50, 101}},
      {"two-point over known and unknown", ".k.k.", 1, 2, 2, {}, {0, 9, 9, 9, 4}, 1, {0, 1, 2, 3, 4}},
      {"two-point by spacing", "kkkk", 1, 1, 9, {0, 1, 1, 2}, {0, 9, 9, 8}, 1, {0, 2, 4, 8}},
      {"two-point, one place", "kkk", 1, 0, 0, {0, 1, -1}, {3, 9, 4}, 0, {3, 9, 4}},
      {"two-point, no entries", "", 1, 0, 0, {}, {}, 1, {}},
      {"unknown method", "k.k", 7, 0, 2, {}, {1, 9, 3}, 0, {1, 9, 3}},
  };
  for (const auto& c : kRows) {
    SCOPED_TRACE(c.what);
    Vector row = c.row;
    EXPECT_EQ(interpolate(row, c.pattern, c.method, c.extrapolation, c.min_points, c.spacing), c.result);
    ASSERT_EQ(row.size(), c.filled.size());
    for (std::size_t i = 0; i < row.size(); ++i) EXPECT_NEAR(row[i], c.filled[i], 1e-12) << i;
  }
}

TEST(Interpolator, ShorterCallsAndWhatIsMissing) {
  auto status = statuses(".k.k"), single = statuses(".k");
  double spacing[] = {0, 1, 3, 1};
  Interpolator interpolator;
  Vector row = {9, 0, 9, 4};
  EXPECT_EQ(interpolator.MainInterpolator(row.data(), status.data(), 4, InterpLinear, ExtrapConstant), 1);
  EXPECT_EQ(row, (Vector{0, 0, 2, 4}));
  EXPECT_EQ(interpolator.MainInterpolator(row.data(), status.data(), 4, InterpLinear, ExtrapNone, spacing),
            1);
  EXPECT_EQ(row, (Vector{0, 0, 3, 4}));
  EXPECT_EQ(interpolator.MainInterpolator(row.data(), single.data(), 2, InterpLinear, ExtrapLinear), 0);
  EXPECT_EQ(interpolator.MainInterpolator(row.data(), single.data(), 2, InterpLinear, ExtrapLinear, 1), 1);
  EXPECT_EQ(interpolator.MainInterpolator(row.data(), nullptr, 4, InterpLinear, ExtrapLinear), 0);
  EXPECT_EQ(interpolator.MainInterpolator(nullptr, status.data(), 4, InterpLinear, ExtrapLinear), 0);
  EXPECT_EQ(interpolator.MainInterpolator(row.data(), status.data(), -5, InterpTwoPoint, ExtrapNone), 1);
  const auto blocks = corvid_host::LiveBlocks();
  const Vector before = row;
  for (int n = 1; n <= 2; ++n) {  // the abscissae, the copy
    corvid_host::FailAllocation(n);
    EXPECT_EQ(
        interpolator.MainInterpolator(row.data(), status.data(), 4, InterpLinear, ExtrapLinear, spacing), 0);
    corvid_host::StopFailing();
    EXPECT_EQ(row, before);
  }
  EXPECT_EQ(corvid_host::LiveBlocks(), blocks);
}

}  // namespace

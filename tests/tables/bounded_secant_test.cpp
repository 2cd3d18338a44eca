#include "tables/bounded_secant.h"

#include <gtest/gtest.h>

#include <cmath>
#include <utility>
#include <vector>

#include "frame/empty_value.h"

namespace {

TEST(BoundedSecant, GuessAfterPoints) {
  const double nan = std::nan("");
  constexpr double kClear = 1e99;  // as I: ClearBounds is called here
  const struct {
    const char* what;
    std::vector<std::pair<double, double>> points;  // I, E
    double guess;
  } kRows[] = {
      {"nothing given", {}, EmptyValue},
      {"secant within the bracket", {{1, -1}, {3, 1}}, 2},
      {"the bracket the other way round", {{3, -1}, {1, 1}}, 2},
      {"no positive bound", {{1, -1}, {3, -0.5}}, 5},
      {"secant outside the bracket", {{0, -1}, {4, 8}, {3, 7}}, 1.5},
      {"secant on the upper bound", {{0, -1}, {8, 2}, {5, 6}, {6, 4}}, 4},
      {"secant on the lower bound", {{0, -1}, {8, 2}, {3, 6}, {2, 4}}, 4},
      {"equal E and a bracket", {{0, -1}, {8, 1}, {6, 1}}, 3},
      {"equal E and no bracket", {{0, 2}, {8, 2}}, (EmptyValue + 8) / 2},
      {"nearly equal E", {{0, 1e-31}, {8, 2e-31}}, EmptyValue / 2},
      {"a nearer point becomes the bound", {{0, -4}, {9, 4}, {8, 2}, {7, 2}}, 3.5},
      {"the same below zero", {{0, 4}, {9, -4}, {8, -2}, {7, -2}}, 3.5},
      {"a farther one does not", {{0, -4}, {8, 2}, {9, 3}, {10, 3}}, 4},
      {"bounds forgotten, secant kept", {{1, -1}, {3, 1}, {kClear, 0}, {4, 3}}, 2.5},
      {"an I of EmptyValue is not given", {{EmptyValue, -1}, {3, 1}}, EmptyValue},
      {"a bound's E of EmptyValue gives way", {{1, EmptyValue}, {2, -40000}, {4, 40000}}, 3},
      {"NaN is returned", {{1, -1}, {2, 1}, {nan, 3}}, nan},
  };
  for (const auto& row : kRows) {
    SCOPED_TRACE(row.what);
    BoundedSecant secant;
    for (const auto& [i, e] : row.points) i == kClear ? secant.ClearBounds() : secant.AddIEPoints(i, e);
    BoundedSecant copy;
    copy.AddIEPoints(7, 7);
    EXPECT_EQ(&(copy = secant), &copy);
    for (BoundedSecant* object : {&secant, &copy}) {
      const double guess = object->GetGuess();
      EXPECT_TRUE(std::isnan(row.guess) ? std::isnan(guess) : guess == row.guess) << guess;
    }
  }
}

}  // namespace

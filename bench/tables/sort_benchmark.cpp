// Compares XYTable::Sort with std::stable_sort of pairs, on 100000 points. The memory of both is in use
// before, and only the sorting is timed.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <random>
#include <utility>
#include <vector>

#include "bench/dense/compare.h"
#include "bench/support/run.h"
#include "tables/xy_table.h"

namespace {

constexpr int kPoints = 100000;

using Pairs = std::vector<std::pair<double, double>>;

/// A table whose points can all be set by one call.
struct Table : XYTable {
  void Set(const Pairs& points) {
    ClearData();
    for (const auto& [x, y] : points) AddPoint(x, y);
  }
  void Refill(const Pairs& points) {
    for (std::size_t i = 0; i < points.size(); ++i) {
      xValues[i] = points[i].first;
      yValues[i] = points[i].second;
    }
  }
  bool Holds(const Pairs& points) const {
    for (std::size_t i = 0; i < points.size(); ++i) {
      // y is the number of the point, so that two points with NaN can be told apart.
      if (!(xValues[i] == points[i].first || std::isnan(xValues[i])) || yValues[i] != points[i].second) {
        return false;
      }
    }
    return nPoints == static_cast<int>(points.size());
  }
};

double random_x(int) {
  static std::mt19937_64 random(1);
  return std::uniform_real_distribution<double>(0.0, 1.0)(random);
}
double few_values(int i) { return std::floor(20.0 * random_x(i)); }
double ascending(int i) { return i; }
double descending(int i) { return -i; }
double some_nan(int i) { return i % 1000 == 500 ? std::numeric_limits<double>::quiet_NaN() : random_x(i); }

/// Sorts each stretch between NaNs separately, as XYTable does.
void stable_sort(Pairs& points) {
  const auto is_nan = [](const auto& point) { return std::isnan(point.first); };
  const auto by_x = [](const auto& a, const auto& b) { return a.first < b.first; };
  for (auto begin = points.begin();;) {
    const auto end = std::find_if(begin, points.end(), is_nan);
    std::stable_sort(begin, end, by_x);
    if (end == points.end()) return;
    begin = end + 1;
  }
}

void BM_Sort(benchmark::State& state, double (*x_of)(int)) {
  Pairs original, work;
  for (int i = 0; i < kPoints; ++i) original.emplace_back(x_of(i), i);
  Table table;
  table.Set(original);
  work = original;
  stable_sort(work);
  table.Sort();
  if (!table.Holds(work)) return state.SkipWithError("orders differ");
  const auto prepare = [&] {
    work = original;
    table.Refill(original);
  };
  bench::compare(
      state, 1.0, 1.0, prepare, [&] { table.Sort(); }, [&] { stable_sort(work); });
}
BENCHMARK_CAPTURE(BM_Sort, random, random_x)->UseManualTime();
BENCHMARK_CAPTURE(BM_Sort, few_values, few_values)->UseManualTime();
BENCHMARK_CAPTURE(BM_Sort, ascending, ascending)->UseManualTime();
BENCHMARK_CAPTURE(BM_Sort, descending, descending)->UseManualTime();
BENCHMARK_CAPTURE(BM_Sort, with_nan, some_nan)->UseManualTime();

}  // namespace

int main(int argc, char** argv) { return bench::run(argc, argv); }

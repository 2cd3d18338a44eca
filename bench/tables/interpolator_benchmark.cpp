// Compares filling the gaps in a row of a million entries with copying the row.

#include <benchmark/benchmark.h>
#include <malloc.h>

#include <cmath>
#include <cstddef>
#include <cstring>
#include <random>
#include <vector>

#include "bench/dense/compare.h"
#include "bench/support/run.h"
#include "tables/interpolator.h"

namespace {

constexpr std::size_t kEntries = 1000000;

enum Pattern { kAllKnown, kEverySecond, kEveryTenth, kRandomHalf, kOnlyEnds };

bool known(Pattern pattern, std::size_t i, std::mt19937& random) {
  if (i == 0 || i == kEntries - 1) return true;
  switch (pattern) {
    case kAllKnown:
      return true;
    case kEverySecond:
      return i % 2 == 0;
    case kEveryTenth:
      return i % 10 == 0;
    case kRandomHalf:
      return random() % 2 == 0;
    default:
      return false;
  }
}

void BM_LinearInterpolator(benchmark::State& state) {
  std::mt19937 random(1);
  std::vector<double> row(kEntries), copy(kEntries), spacing(kEntries, 1.0);
  std::vector<InterpStatusEnum> status(kEntries);
  for (std::size_t i = 0; i < kEntries; ++i) {
    const bool given = known(static_cast<Pattern>(state.range(0)), i, random);
    status[i] = given ? InterpKnown : InterpUnknown;
    row[i] = given ? 3.0 + 0.5 * static_cast<double>(i) : 0.0;
  }
  Interpolator interpolator;
  bool filled = true;
  const auto fill = [&] {
    filled = filled && interpolator.MainInterpolator(row.data(), status.data(), static_cast<int>(kEntries),
                                                     InterpLinear, ExtrapNone, 2,
                                                     state.range(1) ? spacing.data() : nullptr) == 1;
  };
  bench::compare(
      state, 1.0, 1.0, [] {}, fill,
      [&] {
        std::memcpy(copy.data(), row.data(), kEntries * sizeof(double));
        benchmark::ClobberMemory();
      });
  for (std::size_t i = 0; i < kEntries; ++i) {
    const double expected = 3.0 + 0.5 * static_cast<double>(i);
    filled = filled && std::fabs(row[i] - expected) <= 1e-9 * expected;
  }
  if (!filled) state.SkipWithError("the row is not filled as it should be");
}
BENCHMARK(BM_LinearInterpolator)
    ->ArgNames({"pattern", "spacing"})
    ->ArgsProduct({{kAllKnown, kEverySecond, kEveryTenth, kRandomHalf, kOnlyEnds}, {0, 1}})
    ->UseManualTime();

}  // namespace

int main(int argc, char** argv) {
  // The allocator keeps freed pages, so that the times do not contain page faults.
  mallopt(M_MMAP_MAX, 0);
  mallopt(M_TRIM_THRESHOLD, 1 << 30);
  return bench::run(argc, argv);
}

// Runs FixedPoint over seeded iterations of fifteen kinds and prints a line for each: passes without and with
// steps, their ratio, the verdicts, and how the errors compare with their bound.
//
//   fixed_point_maps [--each COUNT] [--method 1|2|3] [--kind 0..14] [--list]

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "accel/fixed_point.h"
#include "tests/support/fixed_point_maps.h"

namespace {

using namespace corvidnum;
using maps::Kind;
using maps::Map;
using maps::Vector;

constexpr double kTolerance = 1e-8;

struct Outcome {
  FixedPointVerdict verdict;
  std::int64_t passes, steps, taken_back;
  double error;
};

Outcome run(Map& map, bool give_sizes, FixedPointMethod method, int limit, double unit) {
  FixedPointOptions options;
  options.method = method;
  options.tolerance = kTolerance;
  options.pass_limit = limit;
  Vector sizes = map.size, lower = map.lower, upper = map.upper;
  for (Vector* v : {&sizes, &lower, &upper})
    for (double& value : *v) value *= unit;
  if (give_sizes) options.nominal = sizes.data();
  if (!lower.empty()) {
    options.lower = lower.data();
    options.upper = upper.data();
  }
  FixedPoint iteration(map.n(), options);
  Vector x = map.start(unit);
  FixedPointVerdict verdict = iteration.Start(x.data());
  while (verdict == FixedPointVerdict::Continue) {
    map.pass(x, unit);
    verdict = iteration.Pass(x.data());
  }
  const FixedPointCounts counts = iteration.Counts();
  return {verdict, counts.passes, counts.steps_taken, counts.steps_taken_back, map.error(x, unit)};
}

struct Line {
  int count = 0, too_slow = 0, other_units = 0, beyond_bound = 0;
  int verdicts[8] = {}, plain_verdicts[8] = {};
  double log_ratio = 0, worst = 0, plain = 0, taken = 0, worst_error = 0, steps = 0, taken_back = 0;
  std::int64_t most = 0;
};

Line run_kind(Kind kind, int each, FixedPointMethod method, bool list) {
  Line line;
  for (int number = 0; number < each; ++number) {
    Map map(kind, number);
    const bool give_sizes = number % 2 == 0;
    const int limit = converges(kind) ? 200000 : 3000;
    const Outcome plain = run(map, give_sizes, FixedPointMethod::None, limit, 1);
    const Outcome fast = run(map, give_sizes, method, limit, 1);
    const Outcome large = run(map, give_sizes, method, limit, 0x1p20);
    const Outcome small = run(map, give_sizes, method, limit, 0x1p-20);
    const double ratio = static_cast<double>(fast.passes) / static_cast<double>(plain.passes);
    ++line.count;
    ++line.verdicts[static_cast<int>(fast.verdict)];
    ++line.plain_verdicts[static_cast<int>(plain.verdict)];
    line.log_ratio += std::log(ratio);
    line.worst = std::fmax(line.worst, ratio);
    line.plain += static_cast<double>(plain.passes);
    line.taken += static_cast<double>(fast.passes);
    line.steps += static_cast<double>(fast.steps);
    line.taken_back += static_cast<double>(fast.taken_back);
    line.most = std::max(line.most, fast.passes);
    const bool slow = static_cast<double>(fast.passes) > 1.1 * static_cast<double>(plain.passes) + 5;
    if (converges(kind) && slow) ++line.too_slow;
    if (large.passes != fast.passes || small.passes != fast.passes) ++line.other_units;
    if (fast.verdict == FixedPointVerdict::Converged && map.has_known_fixed_point()) {
      const double bound = 2 * map.kappa() * (kTolerance + map.noise()) / std::fabs(1 - map.radius());
      line.worst_error = std::fmax(line.worst_error, fast.error / bound);
      if (fast.error > bound) ++line.beyond_bound;
    }
    if (list)
      std::printf("%-13s %3d n %2d radius %.5f kappa %5.1f: plain %6ld %-10s fast %6ld %-10s steps %ld-%ld\n",
                  name_of(kind), number, map.n(), map.radius(), map.kappa(), static_cast<long>(plain.passes),
                  TextOf(plain.verdict), static_cast<long>(fast.passes), TextOf(fast.verdict),
                  static_cast<long>(fast.steps), static_cast<long>(fast.taken_back));
  }
  return line;
}

}  // namespace

int main(int argc, char** argv) {
  int each = 100;
  bool list = false;
  FixedPointMethod method = FixedPointMethod::Automatic;
  int only = -1;
  for (int i = 1; i < argc; ++i) {
    if (std::strcmp(argv[i], "--list") == 0) list = true;
    if (i + 1 < argc && std::strcmp(argv[i], "--each") == 0) each = std::atoi(argv[++i]);
    if (i + 1 < argc && std::strcmp(argv[i], "--method") == 0)
      method = static_cast<FixedPointMethod>(std::atoi(argv[++i]));
    if (i + 1 < argc && std::strcmp(argv[i], "--kind") == 0) only = std::atoi(argv[++i]);
  }
  std::printf("tolerance %g, %d iterations of a kind, method %s\n", kTolerance, each, TextOf(method));
  std::printf("%-13s %8s %8s %6s %6s %5s %5s %6s %5s %5s  %s\n", "kind", "plain", "taken", "geom.", "worst",
              "steps", "back", "most", "slow", "units",
              "converged/diverging/stalled/limit/other (plain) beyond, worst error");
  double all = 0;
  int count = 0;
  for (int k = 0; k < maps::kKinds; ++k) {
    if (only >= 0 && k != only) continue;
    const Kind kind = static_cast<Kind>(k);
    const Line l = run_kind(kind, each, method, list);
    const auto v = [](const int* counts, FixedPointVerdict verdict) {
      return counts[static_cast<int>(verdict)];
    };
    const auto print = [&v](const int* c) {
      const int good = v(c, FixedPointVerdict::Converged), away = v(c, FixedPointVerdict::Diverging),
                flat = v(c, FixedPointVerdict::Stalled), limit = v(c, FixedPointVerdict::PassLimit);
      std::printf(" %d/%d/%d/%d", good, away, flat, limit);
    };
    std::printf("%-13s %8.1f %8.1f %6.3f %6.2f %5.1f %5.1f %6ld %5d %5d ", name_of(kind), l.plain / l.count,
                l.taken / l.count, std::exp(l.log_ratio / l.count), l.worst, l.steps / l.count,
                l.taken_back / l.count, static_cast<long>(l.most), l.too_slow, l.other_units);
    print(l.verdicts);
    std::printf(" (");
    print(l.plain_verdicts);
    std::printf(")  %d %.3g\n", l.beyond_bound, l.worst_error);
    if (converges(kind)) {
      all += l.log_ratio;
      count += l.count;
    }
  }
  if (count > 0) std::printf("geometric mean over all that converge: %.3f\n", std::exp(all / count));
  return 0;
}

#include "apps/recycle/convergence.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <stdexcept>

#include "apps/recycle/wording.h"
#include "host/corvid_host.h"

namespace recycle {
namespace {

using corvidnum::FixedPoint;
using corvidnum::FixedPointRecord;
using corvidnum::FixedPointVerdict;

/// Eigenvalues from here up are 1 in the six digits that are told: nothing dies out.
constexpr double kNotBelowOne = 1 - 4e-7;

/// Returns the largest difference of two numbers; not finite if any is.
double largest_change(const std::vector<double>& a, const std::vector<double>& b) {
  double top = 0;
  for (std::size_t i = 0; i < a.size(); ++i) {
    const double change = std::fabs(a[i] - b[i]);
    if (!std::isfinite(change)) return change;
    top = std::max(top, change);
  }
  return top;
}

/// A log without memory lacks lines, in silence. This tells.
class RefusalWatch {
 public:
  void check() const {
    if (corvid_host::RefusedAllocations() != before_)
      throw std::runtime_error("memory ran out for the accelerator or its log");
  }

 private:
  const std::int64_t before_ = corvid_host::RefusedAllocations();
};

/// Makes the iteration of the torn rates, which are relative to the total feed and never negative.
FixedPoint make_iteration(const RunSettings& settings, std::size_t rates, double feed) {
  const std::vector<double> nominal(rates, feed), lower(rates, 0.0);
  corvidnum::FixedPointOptions options;
  options.method = settings.acceleration.method;
  options.eigenvalues = settings.acceleration.eigenvalues;
  options.least_between = settings.acceleration.frequency;
  options.tolerance = settings.tolerance;
  options.pass_limit = settings.max_passes;
  options.nominal = nominal.data();
  options.lower = lower.data();
  return FixedPoint(static_cast<int>(rates), options);
}

/// Returns whether the last four passes show the same eigenvalue, so that the passes which follow from it,
/// going as 1 / log, differ by few in a hundred. Fewer agree by chance; near 1, where the logarithm vanishes,
/// all do.
bool is_settled(const std::vector<FixedPointRecord>& passes) {
  constexpr std::size_t kAgreeing = 4;
  constexpr double kAgreement = 0.03, kAtOne = 1e-6;
  if (passes.size() < kAgreeing) return false;
  const double log_last = std::log(passes.back().radius);  // NaN where no eigenvalue is known: not settled
  const double apart = std::max(kAgreement * std::fabs(log_last), kAtOne);
  return std::all_of(passes.end() - kAgreeing, passes.end(), [&](const FixedPointRecord& pass) {
    return std::fabs(std::log(pass.radius) - log_last) <= apart;
  });
}

/// Says how many passes an unaccelerated run would still take, or that none would do.
std::string forecast(const std::vector<FixedPointRecord>& passes) {
  if (!is_settled(passes)) return "";
  const FixedPointRecord& last = passes.back();
  if (last.radius >= kNotBelowOne)
    return fmt::format("; the recycles do not settle: the dominant eigenvalue is about {:.6g}, not below 1",
                       last.radius);
  if (last.passes_ahead < 0) return "";
  const std::string more =
      last.passes_ahead > kMostPasses
          ? fmt::format("more than {} passes", kMostPasses)
          : fmt::format("some {:.0f} {} more", last.passes_ahead, last.passes_ahead == 1 ? "pass" : "passes");
  return fmt::format("; at a dominant eigenvalue of about {:.6g} direct substitution takes {}", last.radius,
                     more);
}

/// Says why an iteration ended without having converged.
std::string complaint_about(FixedPointVerdict verdict, const std::vector<FixedPointRecord>& records,
                            double tolerance) {
  if (records.empty()) return TextOf(verdict);
  const FixedPointRecord& last = records.back();
  const std::string passes = counted(static_cast<std::size_t>(last.pass), "pass");
  switch (verdict) {
    case FixedPointVerdict::PassLimit:
      return fmt::format("after {} the largest change is {:.1e} of the feed, not below {:g}{}", passes,
                         last.change, tolerance, forecast(records));
    case FixedPointVerdict::Diverging:
      return fmt::format(
          "after {} the changes grow, the last to {:.1e} of the feed; the recycles do not settle: the "
          "dominant eigenvalue is about {:.6g}, not below 1",
          passes, last.change, last.radius);
    case FixedPointVerdict::Stalled:
      return fmt::format(
          "after {} the changes have stopped getting smaller, the last being {:.1e} of the feed, not below "
          "{:g}; the dominant eigenvalue is about {:.6g}: the recycles do not settle, or rounding is in the "
          "way",
          passes, last.change, tolerance, last.radius);
    case FixedPointVerdict::NotFinite:
      return fmt::format("pass {} gives rates that are not finite", last.pass);
    default:
      return TextOf(verdict);
  }
}

/// Repeats passes until the iteration ends.
FixedPointVerdict iterate(FixedPoint& iteration, const Flowsheet& flowsheet, const Plan& plan,
                          RunResult& run) {
  TearVector tears = start_vector(flowsheet, plan);
  FixedPointVerdict verdict = iteration.Start(tears.data());
  while (verdict == FixedPointVerdict::Continue) {
    PassResult result = run_pass(flowsheet, plan, tears);
    run.streams = std::move(result.streams);
    tears = std::move(result.tears);
    verdict = iteration.Pass(tears.data());
    run.passes.emplace_back();
    iteration.Record(0, run.passes.back());
  }
  return verdict;
}

/// Without a torn stream one pass is the answer.
void compute_once(const Flowsheet& flowsheet, const Plan& plan, RunResult& run) {
  run.streams = run_pass(flowsheet, plan, {}).streams;
  run.passes.push_back(
      {1, 0, corvidnum::FixedPointStep::NotTried, corvidnum::FixedPointReason::None, 0, -1, -1});
  run.converged = true;
}

void iterate_and_judge(const Flowsheet& flowsheet, const Plan& plan, const RunSettings& settings,
                       RunResult& run) {
  const RefusalWatch watch;
  FixedPoint iteration =
      make_iteration(settings, plan.tears.size() * flowsheet.components.size(), flowsheet.total_feed());
  iteration.StartBasicDebug(settings.acceleration.log);
  const FixedPointVerdict verdict = iterate(iteration, flowsheet, plan, run);
  watch.check();
  run.converged = verdict == FixedPointVerdict::Converged;
  run.counts = iteration.Counts();
  if (!run.converged) run.complaint = complaint_about(verdict, run.passes, settings.tolerance);
  if (!run.passes.empty() && run.passes.back().radius >= 0) run.eigenvalue = run.passes.back().radius;
}

}  // namespace

const char* name_of(Method method) { return method == Method::None ? "direct" : TextOf(method); }

RunResult converge(const Flowsheet& flowsheet, const Plan& plan, const RunSettings& settings) {
  RunResult run;
  run.method = settings.acceleration.method;
  if (plan.tears.empty()) {
    compute_once(flowsheet, plan, run);
  } else {
    iterate_and_judge(flowsheet, plan, settings, run);
  }
  run.flashes = static_cast<int>(run.passes.size()) * flash_count(flowsheet);
  return run;
}

double promised_imbalance(const Flowsheet& flowsheet, const Plan& plan, double tolerance) {
  const double rounding = std::numeric_limits<double>::epsilon() *
                          static_cast<double>(flowsheet.units.size() + flowsheet.streams.size());
  return static_cast<double>(plan.tears.size()) * tolerance + rounding;
}

std::optional<Reference> find_reference(const Flowsheet& flowsheet, const Plan& plan,
                                        const RunSettings& settings, const std::vector<RunResult>& runs) {
  constexpr double kTightening = 1e-3;
  constexpr int kMorePasses = 50;
  const RunResult* fastest = nullptr;
  for (const RunResult& run : runs)
    if (run.converged && (!fastest || run.passes.size() < fastest->passes.size())) fastest = &run;
  if (!fastest) return std::nullopt;
  RunSettings tight = settings;
  tight.tolerance *= kTightening;
  if (tight.tolerance < kSmallestTolerance) return std::nullopt;
  tight.max_passes = 3 * static_cast<int>(fastest->passes.size()) + kMorePasses;
  tight.acceleration.method = fastest->method;
  tight.acceleration.log = nullptr;
  Reference reference{tight.tolerance, converge(flowsheet, plan, tight)};
  if (!reference.run.converged) return std::nullopt;
  return reference;
}

double largest_difference(const Flowsheet& flowsheet, const RunResult& a, const RunResult& b) {
  double top = 0;
  for (std::size_t s = 0; s < a.streams.size(); ++s)
    top = std::max(top, largest_change(a.streams[s], b.streams[s]));
  return top / flowsheet.total_feed();
}

}  // namespace recycle

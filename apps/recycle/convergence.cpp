#include "apps/recycle/convergence.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <memory>
#include <stdexcept>

#include "apps/recycle/eigenvalue.h"
#include "apps/recycle/wording.h"
#include "host/corvid_host.h"

namespace recycle {
namespace {

/// Changes below this part of the feed tell more of rounding than of eigenvalues.
constexpr double kRoundingChange = 1e-9;
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

bool usable(const TearVector& tears) {
  return std::all_of(tears.begin(), tears.end(),
                     [](double rate) { return rate >= 0 && std::isfinite(rate); });
}

/// Accelerators and logs without memory do nothing, in silence. This tells.
class RefusalWatch {
 public:
  void check() const {
    if (corvid_host::RefusedAllocations() != before_)
      throw std::runtime_error("memory ran out for the accelerator or its log");
  }

 private:
  const std::int64_t before_ = corvid_host::RefusedAllocations();
};

class Iteration {
 public:
  Iteration(const Flowsheet& flowsheet, const Plan& plan, const RunSettings& settings)
      : flowsheet_(flowsheet),
        plan_(plan),
        settings_(settings),
        feed_(flowsheet.total_feed()),
        guess_(start_vector(flowsheet, plan)) {
    run_.method = settings.acceleration.method;
    if (plan.tears.empty()) return;
    accelerator_ =
        make_accelerator(settings.acceleration, static_cast<int>(guess_.size()), settings.tolerance * feed_);
    if (accelerator_) accelerator_->improve(guess_);  // the start is the first vector: no step is due yet
  }

  RunResult run() {
    while (!run_.converged && run_.complaint.empty()) {
      if (static_cast<int>(run_.passes.size()) == settings_.max_passes) {
        run_.complaint = too_many_passes();
      } else {
        pass();
      }
    }
    run_.eigenvalue = estimate_.magnitude();
    run_.flashes = static_cast<int>(run_.passes.size()) * flash_count(flowsheet_);
    return std::move(run_);
  }

 private:
  void pass() {
    PassResult result = run_pass(flowsheet_, plan_, guess_);
    const double change = largest_change(result.tears, guess_) / feed_;
    run_.passes.push_back({change, StepOutcome::kNone});
    run_.streams = std::move(result.streams);
    if (change < settings_.tolerance) {
      run_.converged = true;
    } else if (step_made_it_worse(change)) {
      accelerator_->take_back(guess_);
      change_before_step_.reset();
      run_.passes.back().step = StepOutcome::kUndoneWorse;
    } else if (!std::isfinite(change)) {
      run_.complaint = fmt::format("pass {} gives rates that are not finite", run_.passes.size());
    } else {
      go_on_from(std::move(result.tears));
    }
    watch_.check();
  }

  bool step_made_it_worse(double change) const {
    if (!change_before_step_) return false;
    return !(change <= kTolerableGrowth * *change_before_step_);
  }

  /// Chooses the next guess.
  void go_on_from(TearVector outcome) {
    PassRecord& pass = run_.passes.back();
    if (pass.change > kRoundingChange || run_.passes.size() < 3) estimate_.note(guess_, outcome);
    guess_ = std::move(outcome);
    change_before_step_.reset();
    if (accelerator_) pass.step = try_to_accelerate(pass.change);
  }

  StepOutcome try_to_accelerate(double change) {
    const Verdict verdict = accelerator_->improve(guess_);
    if (verdict == Verdict::kNotTried) return StepOutcome::kNone;
    if (verdict == Verdict::kRefused) return StepOutcome::kRefused;
    if (!usable(guess_)) {
      accelerator_->take_back(guess_);
      return StepOutcome::kUndoneNegative;
    }
    change_before_step_ = change;
    return StepOutcome::kTaken;
  }

  std::string too_many_passes() const {
    const double change = run_.passes.back().change;
    std::string text = fmt::format("after {} the largest change is {:.1e} of the feed, not below {:g}",
                                   counted(run_.passes.size(), "pass"), change, settings_.tolerance);
    const std::optional<double> eigenvalue = estimate_.settled_magnitude();
    if (!eigenvalue) return text;
    if (*eigenvalue >= kNotBelowOne)
      return text + fmt::format(
                        "; the recycles do not settle: the dominant eigenvalue is about {:.6g}, not "
                        "below 1",
                        *eigenvalue);
    const double more = std::ceil(std::log(settings_.tolerance / change) / std::log(*eigenvalue));
    const std::string passes = more > kMostPasses
                                   ? fmt::format("more than {} passes", kMostPasses)
                                   : fmt::format("some {:.0f} {} more", more, more == 1 ? "pass" : "passes");
    return text + fmt::format("; at a dominant eigenvalue of about {:.6g} direct substitution takes {}",
                              *eigenvalue, passes);
  }

  const Flowsheet& flowsheet_;
  const Plan& plan_;
  const RunSettings& settings_;
  const RefusalWatch watch_;
  const double feed_;
  TearVector guess_;
  std::unique_ptr<TearAccelerator> accelerator_;
  std::optional<double> change_before_step_;  // there from a step to the next pass
  EigenvalueEstimate estimate_;
  RunResult run_;
};

}  // namespace

int RunResult::count(StepOutcome outcome) const {
  return static_cast<int>(std::count_if(passes.begin(), passes.end(),
                                        [=](const PassRecord& pass) { return pass.step == outcome; }));
}

int RunResult::accepted() const { return count(StepOutcome::kTaken) - count(StepOutcome::kUndoneWorse); }

int RunResult::undone() const {
  return count(StepOutcome::kUndoneNegative) + count(StepOutcome::kUndoneWorse);
}

RunResult converge(const Flowsheet& flowsheet, const Plan& plan, const RunSettings& settings) {
  return Iteration(flowsheet, plan, settings).run();
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

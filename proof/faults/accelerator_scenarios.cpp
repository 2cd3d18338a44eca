// The accelerators, with and without a log, and FixedPoint with its saved state and its C interface.

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>

#include "accel/corvidnum_fixed_point.h"
#include "accel/dom_eigen_accel.h"
#include "accel/fixed_point.h"
#include "accel/mul_dom_eigen_accel.h"
#include "frame/debug_out.h"
#include "proof/faults/trial.h"
#include "tests/support/fixed_point_maps.h"

namespace faults {
namespace {

using corvidnum::FixedPoint;
using corvidnum::FixedPointOptions;
using corvidnum::FixedPointVerdict;
using maps::Kind;
using maps::Map;
using maps::Vector;

constexpr int kPasses = 40, kLoggedPasses = 12;

/// An accelerator that lacks memory takes no step and tells nothing, so each pass is a plain one then.
void iterate(Trial& trial, Accel& accelerator, Map& map, int passes = kPasses) {
  Vector x = map.start(), plain = x;
  bool any_step = false;
  for (int pass = 0; pass < passes; ++pass) {
    map.pass(x);
    map.pass(plain);
    any_step = accelerator.Accelerate(x.data()) != 0 || any_step;
  }
  accelerator.UndoAndReset(x.data());
  if (!any_step) {
    trial.may_differ();
    trial.require(x == plain, "an accelerator without memory changed its vector");
  }
  trial.results(x);
}

Map slow_map() { return {Kind::kOneDominant, 3}; }

void dominant(Trial& trial) {
  Map map = slow_map();
  const std::unique_ptr<Accel> accelerator(new DomEigenAccel(map.n(), 3, 1, 1, 1, 0));
  if (trial.said(accelerator != nullptr)) iterate(trial, *accelerator, map);
}
void multiple(Trial& trial) {
  Map map = slow_map();
  const std::unique_ptr<Accel> accelerator(new MulDomEigenAccel(map.n(), 2, 5, 0, 0));
  if (trial.said(accelerator != nullptr)) iterate(trial, *accelerator, map);
}

/// A name, in a folder of its own, for the log of a run.
class LogPlace {
 public:
  LogPlace() {
    std::string folder = (std::filesystem::temp_directory_path() / "corvidnum-log-XXXXXX").string();
    if (mkdtemp(folder.data())) folder_ = folder;
  }
  ~LogPlace() { std::filesystem::remove_all(folder_); }
  std::string name() const { return (folder_ / "log").string(); }

 private:
  std::filesystem::path folder_;
};

/// The log lacks the lines for which memory is refused, and tells nothing; the steps are the same.
void logged(Trial& trial) {
  const LogPlace place;
  Map map = slow_map();
  DebugOut log(Text(place.name().c_str()), 0, 0);
  log.Open();
  MulDomEigenAccel accelerator(map.n(), 2, 5, 0, 0);
  accelerator.StartBasicDebug(&log);
  iterate(trial, accelerator, map, kLoggedPasses);
}

FixedPointVerdict run(FixedPoint& iteration, Map& map, Vector& x) {
  FixedPointVerdict verdict = iteration.Verdict();
  while (verdict == FixedPointVerdict::Continue) {
    map.pass(x);
    verdict = iteration.Pass(x.data());
  }
  return verdict;
}

/// Iterates half of the way, saves, and lets another object go on.
void saved_and_restored(Trial& trial) {
  Map map(Kind::kEightSlow, 2);
  FixedPointOptions options, half;
  half.pass_limit = kPasses;
  Vector x = map.start();
  const std::unique_ptr<FixedPoint> first(new FixedPoint(map.n(), half));
  const std::unique_ptr<FixedPoint> second(new FixedPoint(map.n(), options));
  if (!trial.said(first && second)) return;
  if (!trial.said(first->Start(x.data()) != FixedPointVerdict::NoMemory)) {
    trial.require(first->StateSize() == 0, "a state is offered without memory");
    return;
  }
  run(*first, map, x);
  std::vector<char> state(static_cast<std::size_t>(first->StateSize()));
  trial.require(first->Save(state.data(), first->StateSize()), "a state cannot be saved");
  if (!trial.said(second->Restore(state.data(), first->StateSize()))) return;
  trial.require(second->Next(x.data()), "a restored iteration does not go on");
  trial.require(run(*second, map, x) == FixedPointVerdict::Converged, "it does not converge");
  trial.results(x);
}

void fixed_point_in_c(Trial& trial) {
  Map map(Kind::kBounds, 1);
  Vector x = map.start();
  using Handle = std::unique_ptr<corvidnum_fixed_point, void (*)(corvidnum_fixed_point*)>;
  const Handle handle(corvidnum_fixed_point_create(map.n()), corvidnum_fixed_point_destroy);
  const Handle other(corvidnum_fixed_point_create(map.n()), corvidnum_fixed_point_destroy);
  trial.said(corvidnum_fixed_point_set_nominal(handle.get(), map.size.data()) != 0);
  trial.said(corvidnum_fixed_point_set_bounds(handle.get(), map.lower.data(), map.upper.data()) != 0);
  corvidnum_fixed_point_set(handle.get(), "tolerance", 1e-9);
  const auto iterate_in_c = [&](Trial& of) {
    x = map.start();
    int verdict = corvidnum_fixed_point_start(handle.get(), x.data());
    while (verdict == CORVIDNUM_FIXED_POINT_CONTINUE) {
      map.pass(x);
      verdict = corvidnum_fixed_point_pass(handle.get(), x.data());
    }
    of.said(verdict != CORVIDNUM_FIXED_POINT_NO_MEMORY);
    return verdict;
  };
  if (iterate_in_c(trial) == CORVIDNUM_FIXED_POINT_CONVERGED) trial.results(x);
  std::vector<char> state(static_cast<std::size_t>(corvidnum_fixed_point_state_size(handle.get())));
  const auto bytes = static_cast<std::int64_t>(state.size());
  trial.said(corvidnum_fixed_point_save(handle.get(), state.data(), bytes) != 0);
  trial.said(corvidnum_fixed_point_restore(other.get(), state.data(), bytes) != 0);
  trial.memory_is_back();
  if (!handle) return;
  Trial again;
  trial.require(iterate_in_c(again) == CORVIDNUM_FIXED_POINT_CONVERGED, "after the refusal: not converged");
}

}  // namespace

std::vector<Scenario> accelerator_scenarios() {
  return {{"accel: DomEigenAccel", dominant},
          {"accel: MulDomEigenAccel", multiple},
          {"accel: MulDomEigenAccel with a log", logged},
          {"accel: FixedPoint, saved and restored", saved_and_restored},
          {"accel: FixedPoint in C", fixed_point_in_c}};
}

}  // namespace faults

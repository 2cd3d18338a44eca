// The loop of FixedPoint. For each pass:
//
//  1. The outcome is clipped to the bounds, and its change measured relative to the nominal sizes.
//  2. Converged, if the change is at most the tolerance, also relative to what the unknowns are now: learned
//     sizes that are much larger shrink first.
//  3. If the vector came from a step: the step is taken back if the change grew too much.
//  4. The pair of vector and outcome goes to the eigenvalue estimate, the change to the judge of progress,
//     which may say Diverging or Stalled.
//  5. The accelerators see the outcome. If one offers a step and nothing hinders it, the extrapolated
//     vector is handed out, clipped to the bounds; else the outcome.
//
// The account begins anew (accelerators, eigenvalues, progress) where vectors of before say nothing of those
// to come: other bounds are active, a learned nominal size is another one, or a vector was discarded. With
// other bounds the judge of progress goes on, or an iteration that wanders between bounds would never be seen
// to stall.

#include "accel/fixed_point.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "accel/fixed_point_core.h"
#include "accel/vectors.h"
#include "frame/module.h"

namespace corvidnum {
namespace {

/// While so many passes are made, learned nominal sizes may grow and shrink freely.
constexpr int kLearningPasses = 10;
/// No step is taken while the spectral radius seen is so large.
constexpr double kLargestRadius = 0.9999;
constexpr int kMostHalvings = 30;
/// So few plain passes are not worth a step.
constexpr double kFewPasses = 2;
/// Automatic goes over to more eigenvalues above so many passes to expect.
constexpr double kPassesForFew = 10, kPassesForMany = 30;
/// A step by one eigenvalue that leaves more of the newest difference unexplained is not worth the passes for
/// which it delays one by several.
constexpr double kGoodFit = 2e-3;
constexpr int kFewEigenvalues = 4, kManyEigenvalues = 8;

}  // namespace

// ---- Life

FixedPointCore::~FixedPointCore() {
  delete one_;
  delete few_;
  delete many_;
  free_array(point_);
  free_array(next_);
  free_array(before_);
  free_array(best_);
  free_array(scaled_);
  free_array(scaled_point_);
  free_array(offers_);
  free_array(account_);
}

FixedPointVerdict FixedPointCore::prepare(const FixedPointOptions& options) {
  if (!options_are_good(n_, options)) return s_.verdict = FixedPointVerdict::BadInput;
  method_ = options.method;
  eigenvalues_ = options.eigenvalues;
  beyond_one_ = options.beyond_one != 0;
  tolerance_ = options.tolerance;
  undo_factor_ = options.undo_factor;
  pass_limit_ = options.pass_limit;
  account_length_ = options.account_length;
  ready_ = allocate(options) && make_accelerators(options);
  return s_.verdict = ready_ ? FixedPointVerdict::BadInput : FixedPointVerdict::NoMemory;
}

bool FixedPointCore::allocate(const FixedPointOptions& options) {
  point_ = allocate_zeros(n_);
  next_ = allocate_zeros(n_);
  before_ = allocate_zeros(n_);
  best_ = allocate_zeros(n_);
  scaled_ = allocate_zeros(n_);
  scaled_point_ = allocate_zeros(n_);
  offers_ = allocate_zeros(std::int64_t{kSources} * n_);
  account_ = allocate_array<FixedPointRecord>(account_length_);
  const bool complete =
      point_ && next_ && before_ && best_ && scaled_ && scaled_point_ && offers_ && account_;
  return complete &&
         scaling_.allocate(n_, options.tolerance, options.nominal, options.lower, options.upper) &&
         spectrum_.allocate(n_);
}

bool FixedPointCore::make_accelerators(const FixedPointOptions& options) {
  const int least = options.least_between;
  const bool automatic = method_ == FixedPointMethod::Automatic;
  if (automatic || method_ == FixedPointMethod::Dominant) {
    one_ = new DominantSteps(n_, least, beyond_one_);
    if (!one_ || !one_->complete()) return false;
  }
  // More eigenvalues than unknowns leave the fit singular.
  const auto make = [&](int eigenvalues) { return new MultipleSteps(n_, std::min(n_, eigenvalues), least); };
  if (automatic || method_ == FixedPointMethod::Multiple) {
    few_ = make(automatic ? kFewEigenvalues : eigenvalues_);
    if (!few_ || !few_->complete()) return false;
  }
  if (automatic && n_ > kFewEigenvalues) {
    many_ = make(kManyEigenvalues);
    if (!many_ || !many_->complete()) return false;
  }
  return true;
}

// ---- The loop

FixedPointVerdict FixedPointCore::start(double* x) {
  if (!ready_) return s_.verdict;
  s_ = State();
  scaling_.begin();
  progress_.begin();
  if (!all_finite(n_, x)) return end(FixedPointVerdict::NotFinite);
  scaling_.clip(x);
  scaling_.learn(x, x, true);
  copy(n_, x, next_);
  begin_account();
  scaling_.scale(x, scaled_);
  receive();
  s_.verdict = FixedPointVerdict::Continue;
  return s_.verdict;
}

FixedPointVerdict FixedPointCore::pass(double* x) {
  if (s_.verdict != FixedPointVerdict::Continue) return s_.verdict;
  ++s_.counts.passes;
  newest() = {s_.counts.passes, 0, FixedPointStep::NotTried, FixedPointReason::None, 0, -1, -1};
  if (!all_finite(n_, x)) {
    newest().change = std::numeric_limits<double>::quiet_NaN();
    if (!s_.stepped) {
      copy(n_, s_.evaluated ? point_ : next_, x);
      return end(FixedPointVerdict::NotFinite);
    }
    take_back_step(x, FixedPointReason::NotFinite);
    return hand_out(x);
  }
  scaling_.clip(x);
  watch_bounds_and_sizes(x);
  const double change = newest().change = measure_change(x);
  newest().radius = spectrum_.radius();
  const bool too_early = in_first_passes() && scaling_.is_moving(next_, x);
  if (change <= tolerance_ && !too_early) return end(FixedPointVerdict::Converged);
  if (s_.stepped && !(change <= undo_factor_ * s_.change_before)) {
    take_back_step(x, FixedPointReason::Worse);
    return hand_out(x);
  }
  s_.stepped = false;
  copy(n_, next_, point_);
  s_.evaluated = true;
  const FixedPointVerdict verdict = judge_pass(x);
  if (verdict != FixedPointVerdict::Continue) return end(verdict);
  if (progress_.is_best()) copy(n_, x, best_);
  if (progress_.steps_did_harm()) {
    take_back_steps(x);
  } else {
    choose_step(x);
  }
  return hand_out(x);
}

/// Returns the change of the pass from next_ to x. Learned sizes that would hide it shrink.
double FixedPointCore::measure_change(const double* x) {
  const double change = scaling_.largest_change(x, next_);
  if (!(change <= tolerance_) || !scaling_.shrink(next_, x)) return change;
  note_other_sizes();
  return scaling_.largest_change(x, next_);
}

bool FixedPointCore::in_first_passes() const { return s_.counts.passes <= kLearningPasses; }

/// Hands the pass from point_ to x to the estimates.
FixedPointVerdict FixedPointCore::judge_pass(const double* x) {
  scaling_.scale(point_, scaled_point_);
  scaling_.scale(x, scaled_);
  spectrum_.note(scaled_point_, scaled_);
  FixedPointRecord& record = newest();
  record.radius = spectrum_.radius();
  record.passes_ahead = passes_ahead();
  progress_.note(record.change, spectrum_.unexplained(), record.radius);
  if (progress_.diverging() && !scaling_.is_bounded()) return FixedPointVerdict::Diverging;
  if (progress_.stalled()) return FixedPointVerdict::Stalled;
  return FixedPointVerdict::Continue;
}

FixedPointVerdict FixedPointCore::discard(double* x) {
  if (s_.verdict != FixedPointVerdict::Continue) return s_.verdict;
  ++s_.counts.discarded;
  if (s_.stepped) {
    take_back_step(x, FixedPointReason::Discarded);
  } else {
    if (!s_.evaluated || s_.halvings == kMostHalvings) {
      copy(n_, s_.evaluated ? point_ : next_, x);
      return end(FixedPointVerdict::NotFinite);
    }
    ++s_.halvings;
    for (int i = 0; i < n_; ++i) x[i] = 0.5 * point_[i] + 0.5 * next_[i];
    scaling_.clip(x);  // halves of denormal numbers may underflow and leave the bounds
    begin_account();
    scaling_.scale(x, scaled_);
    receive();
  }
  copy(n_, x, next_);
  return s_.verdict;
}

bool FixedPointCore::next(double* x) const {
  if (s_.verdict != FixedPointVerdict::Continue && s_.verdict != FixedPointVerdict::PassLimit) return false;
  copy(n_, next_, x);
  return true;
}

FixedPointVerdict FixedPointCore::end(FixedPointVerdict verdict) { return s_.verdict = verdict; }

/// Remembers x as what is evaluated next, unless the passes are used up.
FixedPointVerdict FixedPointCore::hand_out(double* x) {
  copy(n_, x, next_);
  s_.halvings = 0;
  if (s_.counts.passes >= pass_limit_) return end(FixedPointVerdict::PassLimit);
  return FixedPointVerdict::Continue;
}

/// x becomes the outcome that the last step replaced.
void FixedPointCore::take_back_step(double* x, FixedPointReason reason) {
  ++s_.counts.steps_taken_back;
  go_back(before_, x, reason);
}

/// x becomes the best outcome so far, and steps are switched off.
void FixedPointCore::take_back_steps(double* x) {
  ++s_.counts.returns;
  progress_.switch_off();
  go_back(best_, x, FixedPointReason::SwitchedOff);
}

/// x becomes a former outcome, and the accelerators begin anew with it.
void FixedPointCore::go_back(const double* to, double* x, FixedPointReason reason) {
  copy(n_, to, x);
  s_.stepped = false;
  FixedPointRecord& record = newest();
  record.step = FixedPointStep::TakenBack;
  record.reason = reason;
  begin_accelerators();
  scaling_.scale(x, scaled_);
  receive();
}

/// Drops all that depends on the iteration being the same one as before.
void FixedPointCore::begin_account() {
  spectrum_.begin();
  begin_accelerators();
}

void FixedPointCore::begin_accelerators() {
  if (one_) one_->begin_anew(offer(kOne));
  if (few_) few_->begin_anew(offer(kFew));
  if (many_) many_->begin_anew(offer(kMany));
}

/// Begins the account anew where the outcome shows another iteration than the passes before.
void FixedPointCore::watch_bounds_and_sizes(const double* outcome) {
  const bool other_sizes = scaling_.learn(next_, outcome, in_first_passes());
  const bool other_bounds = scaling_.note_active(outcome);
  if (other_sizes) return note_other_sizes();
  if (!other_bounds || !s_.evaluated) return;
  newest().reason = FixedPointReason::BoundsChanged;
  begin_account();
}

/// Begins the account anew where what was scaled and measured before is not comparable.
void FixedPointCore::note_other_sizes() {
  newest().reason = FixedPointReason::Rescaled;
  begin_account();
  progress_.measure_anew();
  s_.change_before = std::numeric_limits<double>::infinity();  // it was measured in another size
}

// ---- Steps

/// Offers scaled_ to all accelerators.
void FixedPointCore::receive() {
  offered_[kOne] = one_ && one_->offer(scaled_, offer(kOne));
  offered_[kFew] = few_ && few_->offer(scaled_, offer(kFew));
  offered_[kMany] = many_ && many_->offer(scaled_, offer(kMany));
}

/// Tells the accelerators whose offers were not taken that the iteration goes on from scaled_.
void FixedPointCore::withdraw_offers() {
  if (offered_[kOne]) one_->withdraw(scaled_);
  if (offered_[kFew]) few_->withdraw(scaled_);
  if (offered_[kMany]) many_->withdraw(scaled_);
}

/// Tells all accelerators that a step led to scaled_.
void FixedPointCore::announce_step() {
  if (one_) one_->go_on_from_step(scaled_);
  if (few_) few_->go_on_from_step(scaled_);
  if (many_) many_->go_on_from_step(scaled_);
}

double FixedPointCore::passes_ahead() const {
  const double radius = spectrum_.radius(), change = newest().change;
  if (radius < 0) return -1;
  if (radius >= 1) return std::numeric_limits<double>::infinity();
  if (radius == 0) return 1;
  return std::max(1.0, std::ceil(std::log(tolerance_ / change) / std::log(radius)));
}

/// Replaces x, the outcome of the pass, by a step if there is one to take.
void FixedPointCore::choose_step(double* x) {
  receive();
  FixedPointRecord& record = newest();
  const Source source = best_offer();
  const FixedPointReason reason = hindrance(source);
  if (reason == FixedPointReason::None && take(source, x)) return;
  withdraw_offers();
  if (record.step == FixedPointStep::Refused) return;
  if (record.reason == FixedPointReason::None) record.reason = reason;
  const bool tried = reason != FixedPointReason::NotDue && reason != FixedPointReason::MethodHasNoSteps;
  if (!tried) return;
  record.step = FixedPointStep::Refused;
  ++s_.counts.steps_refused;
}

/// Returns the accelerator whose offer is to be taken.
FixedPointCore::Source FixedPointCore::best_offer() const {
  const double ahead = newest().passes_ahead;
  const bool wants_many = many_ && ahead > kPassesForMany;
  const bool wants_few = few_ && (!one_ || ahead > kPassesForFew);
  if (offered_[kMany] && wants_many) return kMany;
  // While eight eigenvalues are wanted, four take their turn only where eight were tried in vain.
  if (offered_[kFew] && wants_few && (!wants_many || many_->was_due())) return kFew;
  if (offered_[kOne] && (!wants_few || one_->misfit() < kGoodFit)) return kOne;
  return kNone;
}

/// Returns why no step is taken; None if one is.
FixedPointReason FixedPointCore::hindrance(Source source) const {
  if (method_ == FixedPointMethod::None) return FixedPointReason::MethodHasNoSteps;
  const bool due = (one_ && one_->was_due()) || (few_ && few_->was_due()) || (many_ && many_->was_due());
  if (!due) return FixedPointReason::NotDue;
  if (!progress_.steps_allowed()) return FixedPointReason::SwitchedOff;
  if (!beyond_one_ && spectrum_.radius() >= kLargestRadius) return FixedPointReason::RadiusTooLarge;
  if (source == kNone) return FixedPointReason::Disagreement;
  if (newest().passes_ahead >= 0 && newest().passes_ahead <= kFewPasses)
    return FixedPointReason::LittleToGain;
  return FixedPointReason::None;
}

/// Takes the step that an accelerator offers.
/// @return false, with x unchanged, if it leads to a vector that is not finite
bool FixedPointCore::take(Source source, double* x) {
  FixedPointRecord& record = newest();
  record.eigenvalues = source == kOne ? 1 : (source == kFew ? few_ : many_)->eigenvalues();
  copy(n_, x, before_);
  scaling_.unscale(offer(source), x);
  if (!all_finite(n_, x)) {
    copy(n_, before_, x);
    record.step = FixedPointStep::Refused;
    record.reason = FixedPointReason::NotFinite;
    ++s_.counts.steps_refused;
    return false;
  }
  record.step = FixedPointStep::Taken;
  ++s_.counts.steps_taken;
  s_.stepped = true;
  s_.change_before = record.change;
  progress_.note_step();
  if (scaling_.clip(x)) {
    record.reason = FixedPointReason::Clipped;
    begin_accelerators();
    scaling_.scale(x, scaled_);
    receive();
  } else {
    copy(n_, offer(source), scaled_);
    announce_step();
  }
  return true;
}

// ---- Account

FixedPointRecord& FixedPointCore::newest() const {
  return account_[(s_.counts.passes - 1) % account_length_];
}

int FixedPointCore::records() const {
  return account_ ? static_cast<int>(std::min<std::int64_t>(s_.counts.passes, account_length_)) : 0;
}

const FixedPointRecord& FixedPointCore::record(int age) const {
  return account_[(s_.counts.passes - 1 - age) % account_length_];
}

void FixedPointCore::log_to(DebugOut* log) {
  Accel* const accelerators[] = {one_, few_, many_};
  for (Accel* const accelerator : accelerators) {
    if (!accelerator) continue;
    accelerator->EndBasicDebug();
    if (log) accelerator->StartBasicDebug(log);
  }
}

// ---- The class

FixedPoint::FixedPoint(int unknowns, const FixedPointOptions& options) : core(new FixedPointCore(unknowns)) {
  enter_library();
  if (core) core->prepare(options);
}

FixedPoint::~FixedPoint() {
  enter_library();
  delete core;
}

FixedPointVerdict FixedPoint::Start(double* x) {
  enter_library();
  if (!core) return FixedPointVerdict::NoMemory;
  return x ? core->start(x) : FixedPointVerdict::BadInput;
}

FixedPointVerdict FixedPoint::Pass(double* x) {
  enter_library();
  if (!core) return FixedPointVerdict::NoMemory;
  return x ? core->pass(x) : FixedPointVerdict::BadInput;
}

FixedPointVerdict FixedPoint::Discard(double* x) {
  enter_library();
  if (!core) return FixedPointVerdict::NoMemory;
  return x ? core->discard(x) : FixedPointVerdict::BadInput;
}

bool FixedPoint::Next(double* x) const { return core && x && core->next(x); }

FixedPointVerdict FixedPoint::Verdict() const { return core ? core->verdict() : FixedPointVerdict::NoMemory; }

int FixedPoint::Unknowns() const { return core ? core->unknowns() : 0; }

FixedPointCounts FixedPoint::Counts() const { return core ? core->counts() : FixedPointCounts(); }

int FixedPoint::Records() const { return core ? core->records() : 0; }

bool FixedPoint::Record(int age, FixedPointRecord& record) const {
  if (age < 0 || age >= Records()) return false;
  record = core->record(age);
  return true;
}

int FixedPoint::Eigenvalues(double* real, double* imaginary, int capacity) const {
  if (!core) return 0;
  const SmallSpectrum& s = core->eigenvalues();
  for (int i = 0; i < std::min(s.count, capacity); ++i) {
    if (real) real[i] = s.real[i];
    if (imaginary) imaginary[i] = s.imaginary[i];
  }
  return s.count;
}

bool FixedPoint::NominalSizes(double* sizes) const {
  if (!core || !core->nominal() || !sizes) return false;
  copy(core->unknowns(), core->nominal(), sizes);
  return true;
}

void FixedPoint::StartBasicDebug(DebugOut* log) {
  enter_library();
  if (core) core->log_to(log);
}

void FixedPoint::EndBasicDebug() {
  enter_library();
  if (core) core->log_to(nullptr);
}

}  // namespace corvidnum

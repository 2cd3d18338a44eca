#pragma once

// The parts of a FixedPoint and its loop.

#include "accel/fixed_point.h"
#include "accel/fixed_point_parts.h"
#include "accel/fixed_point_progress.h"
#include "accel/fixed_point_scaling.h"
#include "accel/fixed_point_spectrum.h"
#include "accel/fixed_point_steps.h"

namespace corvidnum {

constexpr int kMostEigenvalues = 20;

/// Returns whether unknowns, options and the arrays in them can be used.
bool options_are_good(int n, const FixedPointOptions& options);

class FixedPointCore : public HostAllocated {
 public:
  explicit FixedPointCore(int n) : n_(n) {}
  FixedPointCore(const FixedPointCore&) = delete;
  FixedPointCore& operator=(const FixedPointCore&) = delete;
  ~FixedPointCore();

  /// Allocates everything.
  /// @return Continue, BadInput or NoMemory
  FixedPointVerdict prepare(const FixedPointOptions& options);

  FixedPointVerdict start(double* x);
  FixedPointVerdict pass(double* x);
  FixedPointVerdict discard(double* x);
  bool next(double* x) const;

  /// Returns whether the options were good and all memory was given.
  bool ready() const { return ready_; }
  int unknowns() const { return n_; }
  FixedPointVerdict verdict() const { return s_.verdict; }
  const FixedPointCounts& counts() const { return s_.counts; }
  int records() const;
  const FixedPointRecord& record(int age) const;
  const SmallSpectrum& eigenvalues() const { return spectrum_.eigenvalues(); }
  const double* nominal() const { return scaling_.nominal(); }

  /// Starts the log of every accelerator; null ends it.
  void log_to(DebugOut* log);

  std::int64_t state_size();
  void save(void* state);
  bool restore(const void* state, std::int64_t size);

 private:
  /// An accelerator's offer, in the order of their eigenvalues.
  enum Source { kNone = -1, kOne = 0, kFew = 1, kMany = 2, kSources = 3 };

  struct State {
    FixedPointVerdict verdict;
    bool evaluated;        // point_ has been evaluated once: a plain step back is possible
    bool stepped;          // next_ was made by a step
    int halvings;          // by discard, since the last pass
    double change_before;  // of the pass before the step
    FixedPointCounts counts;
  };

  bool allocate(const FixedPointOptions& options);
  bool make_accelerators(const FixedPointOptions& options);

  double measure_change(const double* x);
  bool in_first_passes() const;
  FixedPointVerdict judge_pass(const double* x);
  FixedPointVerdict end(FixedPointVerdict verdict);
  FixedPointVerdict hand_out(double* x);
  void take_back_step(double* x, FixedPointReason reason);
  void take_back_steps(double* x);
  void go_back(const double* to, double* x, FixedPointReason reason);
  void begin_account();
  void begin_accelerators();
  void watch_bounds_and_sizes(const double* outcome);
  void note_other_sizes();

  void receive();
  void withdraw_offers();
  void announce_step();
  double passes_ahead() const;
  void choose_step(double* x);
  Source best_offer() const;
  FixedPointReason hindrance(Source source) const;
  bool take(Source source, double* x);

  double* offer(int source) const { return offers_ + std::int64_t{source} * n_; }
  FixedPointRecord& newest() const;

  template <class Visitor>
  void each_part(Visitor& visit);

  const int n_;
  FixedPointMethod method_ = FixedPointMethod::None;
  int eigenvalues_ = 0;
  bool beyond_one_ = false;
  double tolerance_ = 0, undo_factor_ = 0;
  std::int64_t pass_limit_ = 0;
  int account_length_ = 0;

  Scaling scaling_;
  PairSpectrum spectrum_;
  Progress progress_;
  DominantSteps* one_ = nullptr;  // null: the method has no such steps
  MultipleSteps* few_ = nullptr;
  MultipleSteps* many_ = nullptr;
  bool ready_ = false;
  bool offered_[kSources] = {};  // by the accelerators, for the present pass

  double* point_ = nullptr;              // [n] evaluated in the last pass
  double* next_ = nullptr;               // [n] handed out
  double* before_ = nullptr;             // [n] the plain outcome that a step replaced
  double* best_ = nullptr;               // [n] outcome of the pass with the smallest change
  double* scaled_ = nullptr;             // [n]
  double* scaled_point_ = nullptr;       // [n]
  double* offers_ = nullptr;             // [kSources x n] scaled
  FixedPointRecord* account_ = nullptr;  // [account_length] a ring
  State s_ = {};
};

}  // namespace corvidnum

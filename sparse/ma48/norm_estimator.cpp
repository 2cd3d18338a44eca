// Estimates the 1-norm of a matrix of which only products are known (reverse communication): the caller
// applies the matrix or its transpose to X on request.
//
//   1. Start from x = (1/n, ..., 1/n); the transposed product of the signs of A x is a subgradient of the
//      norm.
//   2. Move to the unit vector of its largest component; its product gives a lower bound. Repeat until the
//      signs do not change, the largest component does not move, or iteration 5 is done.
//   3. Try an alternating vector too, against cancellation, and return the larger bound.
//
// Sources: W. W. Hager, SIAM J. Sci. Stat. Comput. 5 (1984); N. J. Higham, ACM Trans. Math. Softw. 14 (1988).

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>

#include "frame/idamax.h"
#include "frame/numeric_runtime.h"
#include "frame/platform.h"
#include "sparse/ma48/kernels.h"

namespace corvidnum {
namespace {

/// Tells which product the estimator waits for.
enum Awaited { kFirst = 1, kFirstTransposed = 2, kColumn = 3, kTransposed = 4, kAlternating = 5 };

constexpr int kMostColumns = 5;

/// Holds what one estimate needs between its calls. It is kept in the thread's word, so that threads estimate
/// separately.
struct EstimatorState {
  std::int32_t column;     // J
  std::int16_t awaited;    // JUMP
  std::int16_t iteration;  // ITER
};

EstimatorState load_state() {
  const std::uint64_t word = thread_word();
  EstimatorState state;
  static_assert(sizeof state == sizeof word, "the state fills the thread's word");
  std::memcpy(&state, &word, sizeof state);
  return state;
}

void store_state(const EstimatorState& state) {
  std::uint64_t word;
  std::memcpy(&word, &state, sizeof word);
  set_thread_word(word);
}

double sign_of(double value) { return value >= 0.0 ? 1.0 : -1.0; }

/// Handles one call of the estimator.
class NormEstimator {
 public:
  NormEstimator(int n, int* kase, double* x, double* est, double* w, int* isgn)
      : n_(n), kase_(*kase), x_(x), est_(*est), w_(w), isgn_(isgn), state_(load_state()) {}
  NormEstimator(const NormEstimator&) = delete;
  NormEstimator& operator=(const NormEstimator&) = delete;
  ~NormEstimator() { store_state(state_); }

  void start() {
    std::fill(x_, x_ + n_, 1.0 / n_);
    request(1, kFirst);
  }
  void resume();

 private:
  void request(int kase, Awaited awaited) {
    kase_ = kase;
    state_.awaited = awaited;
  }
  void take_first();
  void take_column();
  void take_transposed();
  void take_alternating();
  void ask_for_signs(Awaited awaited);  // X and ISGN are the signs of X
  void ask_for_column();                // X is unit vector J
  void ask_for_alternating();           // X alternates and grows
  bool signs_are_as_before() const;
  double sum_of_magnitudes() const;

  const int n_;
  int& kase_;
  double* const x_;
  double& est_;
  double* const w_;
  int* const isgn_;
  EstimatorState state_;
};

void NormEstimator::resume() {
  switch (state_.awaited) {
    case kFirst:
      return take_first();
    case kFirstTransposed:
      state_.column = idamax(n_, x_);
      state_.iteration = 2;
      return ask_for_column();
    case kColumn:
      return take_column();
    case kTransposed:
      return take_transposed();
    case kAlternating:
      return take_alternating();
    default:  // the state was lost: the system had no memory for it in this thread, so the norm is unknown
      est_ = std::numeric_limits<double>::infinity();
      kase_ = 0;
  }
}

void NormEstimator::take_first() {
  if (n_ > 1) return ask_for_signs(kFirstTransposed);
  w_[0] = x_[0];
  est_ = std::fabs(x_[0]);
  kase_ = 0;
}

void NormEstimator::take_column() {
  std::copy(x_, x_ + n_, w_);
  est_ = sum_of_magnitudes();  // now, since a caller may use W until it calls again
  signs_are_as_before() ? ask_for_alternating() : ask_for_signs(kTransposed);
}

void NormEstimator::take_transposed() {
  const int before = state_.column;
  state_.column = idamax(n_, x_);
  const bool moved = std::fabs(x_[before - 1]) != std::fabs(x_[state_.column - 1]);
  if (!moved || state_.iteration >= kMostColumns) return ask_for_alternating();
  ++state_.iteration;
  ask_for_column();
}

void NormEstimator::take_alternating() {
  const double bound = 2.0 * (sum_of_magnitudes() / (3.0 * n_));
  if (bound > est_) {
    std::copy(x_, x_ + n_, w_);
    est_ = bound;
  }
  kase_ = 0;
}

void NormEstimator::ask_for_signs(Awaited awaited) {
  for (int i = 0; i < n_; ++i) {
    x_[i] = sign_of(x_[i]);
    isgn_[i] = round_to_nearest(&x_[i]);
  }
  request(2, awaited);
}

void NormEstimator::ask_for_column() {
  std::fill(x_, x_ + n_, 0.0);
  x_[state_.column - 1] = 1.0;
  request(1, kColumn);
}

void NormEstimator::ask_for_alternating() {
  double sign = 1.0;
  for (int i = 0; i < n_; ++i, sign = -sign) x_[i] = sign * (1.0 + static_cast<double>(i) / (n_ - 1));
  request(1, kAlternating);
}

bool NormEstimator::signs_are_as_before() const {
  for (int i = 0; i < n_; ++i) {
    const double sign = sign_of(x_[i]);
    if (round_to_nearest(&sign) != isgn_[i]) return false;
  }
  return true;
}

double NormEstimator::sum_of_magnitudes() const {
  double sum = 0.0;
  for (int i = 0; i < n_; ++i) sum += std::fabs(x_[i]);
  return sum;
}

}  // namespace

int MC41AD(const int* n, int* kase, double* x, double* est, double* w, int* isgn) {
  if (*n < 1) {
    *kase = -1;
    return 0;
  }
  NormEstimator estimator(*n, kase, x, est, w, isgn);
  *kase == 0 ? estimator.start() : estimator.resume();
  return 0;
}

}  // namespace corvidnum

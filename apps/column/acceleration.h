#pragma once

// Convergence acceleration of an iteration that maps a vector to the next one. The accelerators of the
// library watch the vectors go by and now and then replace one by a better estimate; the host keeps watch
// over them here, and takes a step back that did not help.
//
// What a host has to see to:
//
// - Scale. The accelerators hold differences between successive vectors against absolute limits: a noise
//   tolerance, and a pivot limit of 1e-8 on products of differences, below which a fit of several
//   eigenvalues fails. So vectors are handed over in units of their own rounding, and any difference that
//   means something is a large number. The unit is a power of two, so that scaling rounds nothing.
//   (The damping called conservative weighs a squared difference against 1 and goes with no such scale: off.)
// - The outcome. A step may be infinite or lead away. It is judged by the pass that follows: if the vector
//   changes more there than in the pass before the step, or if the pass fails, the iteration goes back to
//   the vector before the step. The accelerator then starts counting anew: its last vector lies on the path
//   that was left, and the difference from it is not one of the iteration.

#include <memory>
#include <vector>

class Accel;
class DebugOut;

namespace column {

enum class Acceleration { kNone, kDominant, kMultiple };

/// The defaults suit the columns that ship: see --compare.
struct AccelerationSettings {
  Acceleration kind = Acceleration::kNone;
  int eigenvalues = 4;  // that kMultiple fits
  int frequency = 4;    // passes from one step to the next, at least
};

struct StepCounts {
  int accepted = 0;    // changed the vector, whether or not that was taken back
  int refused = 0;     // due, and turned down by the accelerator's own tests
  int taken_back = 0;  // made it worse
};

class Accelerator {
 public:
  /// @param unit       of the vectors' rounding, a power of two
  /// @param frequency  set on `accel` too
  Accelerator(std::unique_ptr<Accel> accel, int frequency, double unit);
  ~Accelerator();

  /// Hands the result of a pass to the accelerator, which may replace it.
  /// @param change  the largest change in this pass
  void step(std::vector<double>& vector, double change);

  /// Judges the step that was made before this pass, if there was one.
  /// @param change  the largest change in this pass; HUGE_VAL if it failed
  /// @param vector  out: the vector before the step; untouched unless the result is true
  /// @return whether the step was taken back, and the pass has to be repeated from there
  bool take_back(double change, std::vector<double>& vector);

  const StepCounts& counts() const { return counts_; }

 private:
  bool is_due();
  void undo(std::vector<double>& vector);
  void hand_back(std::vector<double>& vector) const;

  std::unique_ptr<Accel> accel_;
  int frequency_;
  double unit_;
  std::vector<double> scaled_;
  int received_ = 0, since_step_ = 0;  // vectors, as the accelerator counts them
  bool stepped_ = false;               // in the last call of step()
  double change_before_ = 0;           // of the pass before that step
  StepCounts counts_;
};

/// An accelerator for vectors of `length` elements, the largest of about `size`. Null for kNone.
/// @param log  open, for the accelerator's account in units of rounding; may be null; outlives the result
/// @throws std::bad_alloc
std::unique_ptr<Accelerator> make_accelerator(const AccelerationSettings& settings, int length, double size,
                                              DebugOut* log);

}  // namespace column

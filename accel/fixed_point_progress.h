#pragma once

#include <cstdint>

#include "accel/fixed_point_parts.h"

namespace corvidnum {

/// Watches the changes of the passes: whether steps bring progress, and whether passes that no step has
/// disturbed grow or have stopped getting smaller.
class Progress {
 public:
  /// Forgets everything.
  void begin();
  /// Forgets what is measured in former nominal sizes, or on another set of active bounds.
  void measure_anew();
  /// Tells that a step was taken: what follows is disturbed.
  void note_step();
  /// Takes in a pass.
  /// @param unexplained, radius as PairSpectrum tells them
  void note(double change, double unexplained, double radius);

  /// Returns whether the last pass made the smallest change so far.
  bool is_best() const { return s_.new_best; }
  /// Returns whether the last steps have led away from the best outcome.
  bool steps_did_harm() const;
  /// Switches steps off until plain passes have made progress.
  void switch_off();
  /// Returns whether steps may be tried.
  bool steps_allowed() const { return !s_.off; }
  bool diverging() const { return s_.diverging; }
  bool stalled() const { return s_.stalled; }

  template <class Visitor>
  void each_part(Visitor& visit) {
    visit_object(visit, s_);
  }

 private:
  /// A run of successive undisturbed passes.
  struct Run {
    int length;
    double largest, least;  // change
    double least_radius, largest_radius;
    double most_unexplained;
    int unsound;  // passes that no eigenvalue explains but one near 1
  };

  static Run empty_run();
  static void extend(Run& run, double change, double unexplained, double radius);
  void begin_runs();
  void watch_for_progress(double change);
  static bool runs_away(const Run& run);
  void end_short_run();
  void end_short_rest(double largest);
  void end_long_run();

  struct State {
    double best;           // smallest change so far
    bool new_best;         // in the last pass
    double before_steps;   // best before the steps since it
    int steps_since_best;  // taken
    int undisturbed;       // passes since the last step
    bool off;              // steps
    int rest;              // passes for which steps are switched off the next time
    int off_passes;        // since they were
    double off_from;       // largest change of the first short run since then; 0: not known yet
    bool diverging, stalled;
    Run short_run, long_run;
    double last_least;  // least change of the short run before
    double last_short;  // largest change of the short run before; 0: none
    int rises;          // short runs in a row that grew as diverging ones do
    double last_long;   // largest change of the long run before; 0: none
    double least_long;  // smallest of the largest changes of long runs; 0: none
    int flat;           // long runs since then
  } s_ = {};
};

}  // namespace corvidnum

// The judging of progress in FixedPoint.
//
//  1. Steps have to lead to smaller changes than any before. Two that do not, or one that has not after many
//     passes, did harm, though each may have passed its own test: the host goes back to the best outcome, and
//     steps are switched off. Where many plain passes grow by themselves, the smallest change starts anew.
//  2. Undisturbed passes are divided into short and long runs, of which the largest changes are compared.
//     Diverging: the short runs grow several times in a row, or a long one once, while in all passes the
//     spectral radius is above one and steady, and the older pairs explain the newest one. The long runs are
//     for complex eigenvalues, whose changes swing with periods longer than a short run.
//     Stalled: several long runs in a row did not fall by what an eigenvalue of 0.99995 makes of them, and
//     noise or an eigenvalue at least so large is seen in half of the passes.
//     Where plain passes make progress, steps are tried again; each time they fail they rest four times as
//     long.

#include "accel/fixed_point_progress.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace corvidnum {
namespace {

constexpr int kUselessSteps = 2;  // without a smaller change behind them
constexpr double kGain = 0.8;     // what is not smaller by this factor is not better
constexpr int kSoon = 2;          // passes behind the last of them
constexpr int kSettled = 20;      // passes behind which a single step is judged
constexpr int kFirstRest = 20;    // passes without steps
constexpr int kRestGrowth = 4;
constexpr int kLongestRest = 10000;
constexpr double kProgress = 0.5;  // plain passes that shrink so far make steps worth another try

constexpr int kShortRun = 10;
constexpr int kRises = 5;
constexpr double kSlowest = 0.99995;  // eigenvalue; what is slower counts as stalled
constexpr double kFastest = 1.00005;  // eigenvalue; what is slower does not count as diverging
constexpr double kSteady = 2;         // factor by which radius - 1 may vary within a run
constexpr double kExplained = 1e-2;   // part of a pair; noise leaves more unexplained

constexpr int kLongRun = 100;
constexpr double kFlat = 0.995;  // kSlowest to the power kLongRun
constexpr int kFlatRuns = 3;

}  // namespace

Progress::Run Progress::empty_run() {
  return {0, 0, std::numeric_limits<double>::infinity(), std::numeric_limits<double>::infinity(), 0, 0, 0};
}

void Progress::extend(Run& run, double change, double unexplained, double radius) {
  ++run.length;
  run.largest = std::max(run.largest, change);
  run.least = std::min(run.least, change);
  run.least_radius = std::min(run.least_radius, radius);
  run.largest_radius = std::max(run.largest_radius, radius);
  run.most_unexplained = std::max(run.most_unexplained, unexplained);
  const bool crawls = radius > kSlowest && radius < kFastest;
  const bool sound = unexplained < kExplained && radius >= 0 && !crawls;
  if (!sound) ++run.unsound;
}

void Progress::begin() {
  s_ = State();
  s_.rest = kFirstRest;
  measure_anew();
}

void Progress::measure_anew() {
  s_.best = std::numeric_limits<double>::infinity();
  s_.steps_since_best = s_.undisturbed = 0;
  s_.off_from = 0;
  begin_runs();
}

void Progress::begin_runs() {
  s_.short_run = s_.long_run = empty_run();
  s_.last_short = s_.last_long = s_.least_long = 0;
  s_.last_least = std::numeric_limits<double>::infinity();
  s_.rises = s_.flat = 0;
}

void Progress::note_step() {
  if (s_.steps_since_best++ == 0) s_.before_steps = s_.best;
  s_.undisturbed = 0;
  begin_runs();
}

void Progress::note(double change, double unexplained, double radius) {
  watch_for_progress(change);
  extend(s_.short_run, change, unexplained, radius);
  extend(s_.long_run, change, unexplained, radius);
  if (s_.short_run.length == kShortRun) end_short_run();
  if (s_.long_run.length == kLongRun) end_long_run();
}

void Progress::watch_for_progress(double change) {
  ++s_.undisturbed;
  const bool smaller = change < s_.best, settled = s_.undisturbed >= kSettled && !steps_did_harm();
  s_.new_best = smaller || settled;
  if (smaller) s_.best = change;
  // The least of the last two short runs: a single change may be large or small by noise.
  if (settled) s_.best = std::min({change, s_.short_run.least, s_.last_least});
  if (settled || change < kGain * s_.before_steps) s_.steps_since_best = 0;
  if (s_.off) ++s_.off_passes;
}

bool Progress::steps_did_harm() const {
  const bool settled = s_.undisturbed >= kSettled && s_.steps_since_best >= 1;
  return settled || (s_.undisturbed >= kSoon && s_.steps_since_best >= kUselessSteps);
}

void Progress::switch_off() {
  s_.off = true;
  s_.off_passes = 0;
  s_.off_from = 0;
  s_.steps_since_best = 0;
  s_.undisturbed = 0;
  begin_runs();
}

/// Returns whether a steady eigenvalue above one explains all passes of a run.
bool Progress::runs_away(const Run& run) {
  return run.most_unexplained < kExplained && run.least_radius > kFastest &&
         run.largest_radius - 1 < kSteady * (run.least_radius - 1);
}

void Progress::end_short_run() {
  const Run& run = s_.short_run;
  const bool grows = s_.last_short > 0 && run.largest > s_.last_short;
  s_.rises = grows && runs_away(run) ? s_.rises + 1 : 0;
  if (s_.rises >= kRises) s_.diverging = true;
  s_.last_short = run.largest;
  s_.last_least = run.least;
  if (s_.off) end_short_rest(run.largest);
  s_.short_run = empty_run();
}

/// Switches steps on again if plain passes have made progress for long enough.
void Progress::end_short_rest(double largest) {
  if (s_.off_from == 0) s_.off_from = largest;
  if (s_.off_passes < s_.rest || largest >= kProgress * s_.off_from) return;
  s_.off = false;
  s_.rest = std::min(kRestGrowth * s_.rest, kLongestRest);
}

void Progress::end_long_run() {
  const Run& run = s_.long_run;
  const bool grows = s_.last_long > 0 && run.largest > s_.last_long;
  if (grows && runs_away(run)) s_.diverging = true;
  const bool falls = s_.least_long == 0 || run.largest < kFlat * s_.least_long;
  const bool unsound = 2 * run.unsound >= kLongRun;
  s_.flat = falls || !unsound ? 0 : s_.flat + 1;
  s_.stalled = s_.flat >= kFlatRuns;
  if (falls) s_.least_long = run.largest;
  s_.last_long = run.largest;
  s_.long_run = empty_run();
}

}  // namespace corvidnum

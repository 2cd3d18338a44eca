#pragma once

/// @file
/// Brings a host's fixed-point iteration x := G(x) to its end. The host keeps its loop and its model:
///
/// @code
/// FixedPoint iteration(n, options);
/// FixedPointVerdict verdict = iteration.Start(x);      // x: the start; out: what to evaluate first
/// while (verdict == FixedPointVerdict::Continue) {
///   model(x);                                          // x := G(x)
///   verdict = iteration.Pass(x);                       // out: what to evaluate next
/// }
/// @endcode

#include <cstdint>

#include "frame/export.h"
#include "frame/host_memory.h"

class DebugOut;

namespace corvidnum {

class FixedPointCore;

/// How an iteration stands. The numbers are public and never change.
enum class FixedPointVerdict : int {
  Continue = 0,   ///< evaluate the vector that was handed out
  Converged = 1,  ///< a pass changed nothing beyond the tolerance
  Diverging = 2,  ///< undisturbed passes grow, and an eigenvalue above 1 explains it
  Stalled = 3,    ///< undisturbed passes do not get smaller: noise, drift, or an eigenvalue from 0.99995 on
  PassLimit = 4,  ///< as many passes as the option `pass_limit` allows were made
  NotFinite = 5,  ///< a plain pass gave NaN or infinity, or nothing near the last point can be evaluated
  NoMemory = 6,   ///< the constructor was refused memory
  BadInput = 7,   ///< unknowns below 1, an option out of its range, bounds that cross, or no Start yet
};

/// By which eigenvalues an iteration is accelerated. The numbers are public and never change.
enum class FixedPointMethod : int {
  None = 0,       ///< plain passes, judged
  Dominant = 1,   ///< DomEigenAccel
  Multiple = 2,   ///< MulDomEigenAccel with the option `eigenvalues`
  Automatic = 3,  ///< begins with the dominant eigenvalue, goes over to 4 or 8 where many passes are expected
};

/// What became of a step on a pass.
enum class FixedPointStep : int {
  NotTried = 0,   ///< no step was due
  Refused = 1,    ///< a step was tried and not taken
  Taken = 2,      ///< the vector handed out is an extrapolated one; the next pass judges it
  TakenBack = 3,  ///< the step judged by this pass was undone, or all steps since the best outcome
};

/// Why a step was not tried, refused, taken short or taken back.
enum class FixedPointReason : int {
  None = 0,               ///< there is nothing to say
  NotDue = 1,             ///< too few undisturbed passes yet
  Disagreement = 2,       ///< the accelerator refused: its corrections do not agree yet
  RadiusTooLarge = 3,     ///< the spectral radius seen is 0.9999 or more
  NotFinite = 4,          ///< the step led to NaN or infinity, or the pass behind it did
  Worse = 5,              ///< the pass behind the step changed more than the option `undo_factor` allows
  Discarded = 6,          ///< the host could not evaluate the vector
  Clipped = 7,            ///< the step ran into bounds; taken up to them
  SwitchedOff = 8,        ///< steps had brought no progress
  LittleToGain = 9,       ///< too few passes are expected, or the step would remove too little
  BoundsChanged = 10,     ///< a plain pass met or left bounds: the iteration there is another one
  Rescaled = 11,          ///< a learned nominal size had to grow or to shrink
  MethodHasNoSteps = 12,  ///< FixedPointMethod::None
};

/// Returns a text of a few words for a verdict, never null; it stays the library's.
CORVIDNUM_API const char* TextOf(FixedPointVerdict verdict);
/// Returns a text of a few words for a method, never null; it stays the library's.
CORVIDNUM_API const char* TextOf(FixedPointMethod method);
/// Returns a text of a few words for a step, never null; it stays the library's.
CORVIDNUM_API const char* TextOf(FixedPointStep step);
/// Returns a text of a few words for a reason, never null; it stays the library's.
CORVIDNUM_API const char* TextOf(FixedPointReason reason);

/// One option, as a table tells it.
struct FixedPointOption {
  const char* name;     ///< as SetOption takes it
  const char* meaning;  ///< a line of text
  double lowest,        ///< lowest value allowed
      standard,         ///< the default
      highest;          ///< highest value allowed
  bool whole;           ///< the option is a whole number
};

/// The options by name; FixedPoint::Option(i) tells their meaning and range.
struct FixedPointOptions {
  FixedPointMethod method = FixedPointMethod::Automatic;  ///< by which eigenvalues to accelerate
  int beyond_one = 0;        ///< 1: steps may lead to fixed points that plain passes run away from
  int eigenvalues = 4;       ///< of the method Multiple, 1 to 20
  double tolerance = 1e-8;   ///< largest change of a converged pass, relative to the nominal sizes
  int pass_limit = 1000;     ///< passes after which the verdict is PassLimit
  int least_between = 0;     ///< least passes between steps; 0: the method's own, 1 or eigenvalues + 3
  double undo_factor = 2;    ///< a step is taken back if the next pass changes more by this factor
  int account_length = 200;  ///< passes of which the account holds a record
  // Arrays with an element for each unknown, copied by the constructor; null: none.
  const double* nominal = nullptr;  ///< nominal sizes, above 0; null: learned
  const double* lower = nullptr;    ///< lower bounds; an element of -infinity: none
  const double* upper = nullptr;    ///< upper bounds; an element of infinity: none
};

/// What one pass told.
struct FixedPointRecord {
  std::int64_t pass;        ///< number of the pass, from 1
  double change;            ///< largest |G(x) - x| / nominal; NaN or infinite if the outcome was
  FixedPointStep step;      ///< what became of a step on this pass
  FixedPointReason reason;  ///< and why
  int eigenvalues;          ///< number of eigenvalues by which a step was tried; 0: none
  double radius;            ///< largest magnitude of the eigenvalues seen; -1: not known yet
  double passes_ahead;      ///< plain passes still needed by it; infinite from 1 on, -1: not known
};

/// What all passes told.
struct FixedPointCounts {
  std::int64_t passes,            ///< passes made
      steps_taken,                ///< steps taken
      steps_refused;              ///< steps tried and refused
  std::int64_t steps_taken_back;  ///< steps taken back by the pass behind them, or because it failed
  std::int64_t returns;           ///< returns to the best outcome, behind steps that led away from it
  std::int64_t discarded;         ///< vectors that the host could not evaluate, see FixedPoint::Discard
};

/// Accelerates and judges a fixed-point iteration.
///
/// - A pass evaluates x and hands in what came out. `Converged` is said where the largest change of a pass,
///   relative to the nominal sizes, is at most the tolerance. Sizes that are not given are learned: they
///   follow the unknowns in the first 10 passes, in which nothing converges that changes by half of its
///   value, and shrink where `Converged` would else be said by sizes more than 4 times too large. A change
///   below 2^-48 of an unknown's size in those passes counts as none, so that unknowns can go to 0; it is too
///   much where the start is 1e6 times too large and the passes are slow. An unknown that is rounding noise
///   around 0 from the start is measured against itself and never converges. Give nominal sizes in both
///   cases. On a linear iteration whose eigenvectors have condition kappa, the error is then at most about
///   kappa * tolerance / (1 - spectral radius).
/// - Steps extrapolate by DomEigenAccel or MulDomEigenAccel, which see the vector scaled by powers of two, so
///   that nothing is rounded and no absolute limit is met. A step that makes the next pass change more than
///   `undo_factor` times as much is taken back. Where steps bring no progress they are switched off.
/// - With bounds, the iteration is that of G clipped to them, and no vector beyond them is ever handed out.
/// - Where steps pass that test, but lead to no smaller change, the iteration goes back to its best outcome.
/// - `Diverging` and `Stalled` are only said of at least 60 and 400 successive passes without a step. An
///   iteration whose spectral radius is between 0.99995 and 1.00005 counts as stalled. Noise above the
///   tolerance is not always seen as such: where slow passes still get smaller in it, or steps are tried
///   again and again, neither is said, and the iteration ends at its pass limit.
///
/// All memory is allocated in the constructor: about 100 vectors for the method automatic, 65 for dominant
/// and 60 + 2 m for m eigenvalues, and 48 bytes for each pass of the account. One thread at a time may use an
/// object; separate objects may be used by separate threads. Sources: Orbach and Crowe (1971), Crowe and
/// Nishio (1975) for the steps, see the accelerators; Saad, Numerical Methods for Large Eigenvalue Problems,
/// ch. 4, for the eigenvalues seen.
class CORVIDNUM_API FixedPoint : public HostAllocated {
 public:
  /// Copies the options and allocates. Start tells whether that went well.
  FixedPoint(int unknowns, const FixedPointOptions& options);
  FixedPoint(const FixedPoint&) = delete;
  FixedPoint& operator=(const FixedPoint&) = delete;
  /// Frees all memory of the object.
  ~FixedPoint();

  /// Begins an iteration and forgets any former one.
  /// @param x [unknowns] in: where to start; out: the same within the bounds, to be evaluated first
  /// @return Continue, NoMemory, BadInput, or NotFinite with x unchanged
  FixedPointVerdict Start(double* x);
  /// Receives the outcome of a pass.
  /// @param x [unknowns] in: G of the vector handed out last; out: with Continue and PassLimit what to
  ///          evaluate next, with NotFinite the last vector that could be evaluated, else the outcome
  ///          within the bounds
  /// @return the verdict; once it is not Continue, further calls return it and leave x unchanged
  FixedPointVerdict Pass(double* x);
  /// Tells that the vector handed out last cannot be evaluated. A step is taken back; a plain outcome is
  /// halved towards the last vector that could be evaluated. Does not count as a pass.
  /// @param x [unknowns] out: what to evaluate instead
  /// @return Continue; NotFinite if x is the start, or after 30 halvings without a pass between
  FixedPointVerdict Discard(double* x);

  /// Copies the vector to evaluate next, which a host needs behind Restore.
  /// @param x [unknowns] out
  /// @return false, and nothing is copied, unless the verdict is Continue or PassLimit
  bool Next(double* x) const;
  /// Returns how the iteration stands.
  FixedPointVerdict Verdict() const;
  /// Returns the length of the vectors.
  int Unknowns() const;
  /// Returns what all passes since Start told.
  FixedPointCounts Counts() const;
  /// Returns how many of the newest passes the account still holds, at most the option `account_length`.
  int Records() const;
  /// Copies the record of one pass.
  /// @param age 0: the newest
  /// @param record out
  /// @return false, and `record` unchanged, unless 0 <= age < Records()
  bool Record(int age, FixedPointRecord& record) const;
  /// Copies the eigenvalues seen in the last passes, the largest magnitude first.
  /// @param real, imaginary [capacity] out
  /// @param capacity length of both arrays
  /// @return how many are known, which may be more than `capacity`
  int Eigenvalues(double* real, double* imaginary, int capacity) const;
  /// Copies the nominal sizes in use, [unknowns]; zeros for those not learned yet.
  /// @return false, and nothing is copied, without memory
  bool NominalSizes(double* sizes) const;

  /// Starts the log of the accelerators, as Accel::StartBasicDebug does. Its vectors are scaled; with the
  /// method automatic all accelerators write to it, and FixedPoint decides whose offer is taken. A saved
  /// state has no log.
  /// @param log the caller owns it and keeps it until EndBasicDebug or the end of the object. Null: nothing
  ///            is written
  void StartBasicDebug(DebugOut* log);
  /// Ends the log.
  void EndBasicDebug();

  /// Returns the bytes of a saved state; 0 without memory.
  std::int64_t StateSize() const;
  /// Writes the state of the iteration, from which another object goes on to the same bits. The record is
  /// plain bytes in the order of this machine.
  /// @return false if size is below StateSize()
  bool Save(void* state, std::int64_t size) const;
  /// Continues a saved iteration. Unknowns and the options `method`, `eigenvalues` and `account_length` must
  /// be those of the object that saved; the others may differ, so that a run that met its pass limit goes on
  /// with a higher one. Next tells the vector to evaluate.
  /// @return false, and the object is as it was, if the record is damaged, cut, or of another kind
  bool Restore(const void* state, std::int64_t size);

  /// Returns the number of options.
  static int OptionCount();
  /// Returns the i-th option, from 0; null outside.
  static const FixedPointOption* Option(int i);
  /// Sets an option by its name.
  /// @return false, and nothing is set, if there is none of that name or the value is not in its range
  static bool SetOption(FixedPointOptions& options, const char* name, double value);
  /// Returns the value of an option; NaN if there is none of that name.
  static double GetOption(const FixedPointOptions& options, const char* name);

 private:
  FixedPointCore* core;  // owned; null if memory was refused
};

}  // namespace corvidnum

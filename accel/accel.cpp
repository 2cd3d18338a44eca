// What the accelerators share: the ring buffer of differences, the choice of the iterations on which a step
// is tried, the noise and projection tests, and the log.
//
// Invariants: history[0 .. current] are the differences in order of age, so history[current - i] is the i-th
// newest; a full ring rotates its row pointers instead of computing indices modulo its length. `previous` is
// the last vector received, or the accelerated one if a step was taken since.

#include "accel/accel.h"

#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "accel/debug_line.h"
#include "accel/vectors.h"
#include "frame/corvid.h"
#include "frame/module.h"

using namespace corvidnum;

/// Writes the log lines of the base class.
class AccelPrinter : public HostAllocated {
 public:
  AccelPrinter(const Accel* accel, const Text& /*ignored*/) : owner(accel) {}

  void ReceivedVector() const;
  void StartingIterationSet() const;
  void MaxAccelFrequencySet() const;
  void OKFlag(unsigned char ok) const;
  void FinishedAcceleration() const;
  void NextVectorStored() const;
  void Projections(const double* newProject, const double* oldProject) const;
  void IterationCounterReset() const;

 private:
  DebugOut* log() const { return owner->debugOut; }

  const Accel* owner;
};

void AccelPrinter::ReceivedVector() const {
  if (!log()) return;
  // The number is the index in the ring and not that of the iteration: the log lines are part of the
  // contract, and the line "next vector to be stored" shows the same index.
  write_line(log(),
             FormattedText("Accel - Received new vector from client - vector number is %d, vector is\n",
                           owner->current));
  for (int i = 0; i < owner->numVar; ++i) write_line(log(), FormattedText("     %g\n", owner->previous[i]));
}

void AccelPrinter::StartingIterationSet() const {
  if (!log()) return;
  write_line(log(), FormattedText("Accel - Starting iteration set to %d\n", owner->startIteration));
}

void AccelPrinter::MaxAccelFrequencySet() const {
  if (!log()) return;
  write_line(log(),
             FormattedText("Accel - Maximum acceleration frequency set to %d\n", owner->maxAccelFrequency));
}

void AccelPrinter::OKFlag(unsigned char ok) const {
  if (!log()) return;
  write_line(log(), FormattedText("Accel - The value of the OK to accelerate flag is %d\n", ok));
}

void AccelPrinter::FinishedAcceleration() const {
  if (!log()) return;
  write_line(log(), FormattedText("Accel - finished performing an acceleration step\n"));
}

void AccelPrinter::NextVectorStored() const {
  if (!log()) return;
  write_line(log(), FormattedText("Accel - next vector to be stored is %d\n", owner->current));
}

void AccelPrinter::Projections(const double* newProject, const double* oldProject) const {
  if (!log()) return;
  write_line(log(), FormattedText("DomEigenAccel - Old project, New project, Difference\n"));
  for (int i = 0; i < owner->numVar; ++i) {
    write_line(log(), FormattedText("%g  %g  %g\n", oldProject[i], newProject[i], owner->work[i]));
  }
}

/// Has no caller: the line is one of the contract's log lines, but Reset does not log.
void AccelPrinter::IterationCounterReset() const {
  if (!log()) return;
  write_line(log(), FormattedText("Accel - Iteration counter reset to %d\n", owner->current));
}

namespace {

/// Counts up to the largest int and stays there.
void count_up(int& counter) {
  if (counter < INT_MAX) ++counter;
}

}  // namespace

// ---- Life and vectors

Accel::Accel(int variables, int ringLength, unsigned char cached)
    : debugOut(nullptr),
      cachedArrays(cached),
      workHoldsInput(false),
      debugBit(Bitmap::Bit0),
      numVar(variables),
      work(nullptr),
      previous(nullptr),
      nHistory(ringLength) {
  enter_library();
  ResetAll();
  printer = new AccelPrinter(this, Text());
  history = allocate_array<double*>(nHistory);
  if (!history) return;
  for (int i = 0; i < nHistory; ++i) history[i] = nullptr;
  if (!cachedArrays && !AllocateVectors()) ReleaseVectors();
}

Accel::~Accel() {
  enter_library();
  if (!cachedArrays) ReleaseVectors();
  Corvid_delete(history);
  delete printer;
}

bool Accel::AllocateVectors() {
  for (int i = 0; i < nHistory; ++i) {
    history[i] = allocate_zeros(numVar);
    if (!history[i]) return false;
  }
  previous = allocate_zeros(numVar);
  work = allocate_zeros(numVar);
  return previous && work;
}

void Accel::ReleaseVectors() {
  if (history) {
    for (int i = 0; i < nHistory; ++i) Corvid_delete(history[i]);
  }
  Corvid_delete(previous);
  Corvid_delete(work);
  ForgetVectors();
}

void Accel::ForgetVectors() {
  if (history) {
    for (int i = 0; i < nHistory; ++i) history[i] = nullptr;
  }
  previous = nullptr;
  work = nullptr;
  workHoldsInput = false;
}

void Accel::UseCachedArrays(double** arrays, int count, int /*ignored*/) {
  enter_library();
  ForgetVectors();
  const std::int64_t needed = (nHistory > 0 ? std::int64_t{nHistory} : 0) + 2;
  if (history && arrays && count >= needed) TakeVectors(arrays + count);
  ResetAll();
}

/// Takes the vectors that stand right before `end`, or none if one of them is null.
void Accel::TakeVectors(double** end) {
  bool complete = true;
  const auto take = [&] {
    double* const vector = *--end;
    complete = complete && vector;
    return vector;
  };
  for (int i = 0; i < nHistory; ++i) history[i] = take();
  previous = take();
  work = take();
  if (!complete) ForgetVectors();
}

void Accel::StopUsingCachedArrays() {
  enter_library();
  ForgetVectors();
}

// ---- Settings

int Accel::NumVar() const {
  enter_library();
  return numVar;
}

int Accel::StartingIteration() {
  enter_library();
  return startIteration;
}

void Accel::StartingIteration(int iteration) {
  enter_library();
  startIteration = iteration;
  if (DebugBitIsSet() && printer) printer->StartingIterationSet();
}

void Accel::MaxAccelFrequency(int frequency) {
  enter_library();
  maxAccelFrequency = frequency < 1 ? 1 : frequency;
  if (Logging() && printer) printer->MaxAccelFrequencySet();
}

void Accel::Reset() {
  enter_library();
  iter = 0;
}

void Accel::ResetAll() {
  enter_library();
  projectTol = 0.1;
  startIteration = 3;
  iter = 0;
  noiseTol = 1e-8;
  maxAccelFrequency = 1;
  sinceAccel = 0;
  current = -1;
}

void Accel::setProjectTol(double tolerance) {
  enter_library();
  projectTol = tolerance;
}

void Accel::SetNoiseTolerance(double tolerance) {
  enter_library();
  noiseTol = tolerance;
}

void Accel::StartBasicDebug(DebugOut* log) {
  enter_library();
  debugOut = log;
  debugBits.set(debugBit);
}

void Accel::EndBasicDebug() {
  enter_library();
  debugBits.clear(debugBit);
}

unsigned char Accel::BasicDebug() const {
  enter_library();
  return Logging();
}

// ---- The steps of a pass

double* Accel::History(int i) const {
  enter_library();
  return i >= 0 ? Difference(i) : nullptr;
}

int Accel::Iter() const {
  enter_library();
  return iter;
}

void Accel::NewVector(const double* x) {
  enter_library();
  count_up(iter);
  if (!Ready(x)) return;
  if (iter == 1 || nHistory < 1) {
    copy(numVar, x, previous);
  } else {
    NextVector();
    take_difference(numVar, x, history[current], previous);
  }
  if (DebugBitIsSet() && printer) printer->ReceivedVector();
}

/// Makes `current` the index of the next difference. In a full ring the oldest difference moves to the end,
/// where the next one overwrites it.
void Accel::NextVector() {
  enter_library();
  ++current;
  if (current == nHistory) {
    current = nHistory - 1;
    double* const oldest = history[0];
    std::memmove(history, history + 1, static_cast<std::size_t>(current) * sizeof *history);
    history[current] = oldest;
  }
  if (Logging() && printer) printer->NextVectorStored();
}

unsigned char Accel::OKToAccelerate() {
  enter_library();
  bool ok = true;
  if (iter < startIteration) ok = false;
  count_up(sinceAccel);  // on refused iterations too, so the waiting time does not delay the first try
  if (sinceAccel < maxAccelFrequency) ok = false;
  if (Logging() && printer) printer->OKFlag(ok);
  return ok;
}

unsigned char Accel::CheckNoise() {
  enter_library();
  const double* const newest = Difference(0);
  return newest && !squares_stay_below(numVar, newest, noiseTol * noiseTol);
}

unsigned char Accel::CheckProjectedPoint(unsigned char doCheck, const double* newProject,
                                         double* oldProject) {
  enter_library();
  if (!Ready(newProject) || !Ready(oldProject)) return 0;
  const double* const newest = Difference(0);
  if (!doCheck || !newest) {
    copy(numVar, newProject, oldProject);
    return 0;
  }
  const bool show = Logging() && printer;
  const ProjectionSquares squares = compare_projections(numVar, oldProject, newest, newProject, work, !show);
  const double newNorm = root(squares.correction);
  const double diffNorm = root(squares.disagreement);
  if (show) {  // the log shows oldProject, so it is replaced only now
    printer->Projections(newProject, oldProject);
    copy(numVar, newProject, oldProject);
  }
  return !(newNorm * projectTol < diffNorm);  // a NaN accepts
}

void Accel::WorkVector(const double* x) {
  enter_library();
  if (!Ready(x)) return;
  copy(numVar, x, work);
  workHoldsInput = true;
}

void Accel::PerformedAcceleration(const double* x) {
  enter_library();
  if (Ready(x)) copy(numVar, x, previous);
  sinceAccel = 0;
  if (Logging() && printer) printer->FinishedAcceleration();
}

void Accel::UndoAndReset(double* x) {
  enter_library();
  if (workHoldsInput && Ready(x)) copy(numVar, work, x);
  sinceAccel = 0;
}

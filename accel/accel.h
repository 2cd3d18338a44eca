#pragma once

#include "frame/export.h"
#include "frame/host_memory.h"
#include "util/bitmap.h"

class AccelPrinter;
class DebugOut;

/// Base of the accelerators of a fixed-point iteration. The host hands in the vector of each pass in turn;
/// Accelerate may overwrite it with a better estimate, which the host can take back with UndoAndReset.
///
/// The base keeps a ring of the last differences between successive vectors, admits tries by pass numbers,
/// tests steps for noise and against the projection of the try before, and keeps an account in a log.
/// It allocates only in its constructor, but for the texts of the log. If the host's memory ran out there,
/// Accelerate leaves its vector alone and returns 0. One thread at a time uses an object; separate objects
/// may be used by separate threads.
class CORVIDNUM_API Accel : public HostAllocated {
 public:
  /// @param numVar   length of every vector
  /// @param nHistory differences that are kept; with less than 1 there are none
  /// @param cached   1: the vectors are the caller's, see UseCachedArrays; 0: allocated here
  Accel(int numVar, int nHistory, unsigned char cached);
  Accel(const Accel&) = delete;
  Accel& operator=(const Accel&) = delete;
  virtual ~Accel();

  /// Takes the vectors to work on from the end of a list, and sets tolerances and counters to their defaults:
  ///   ..., work, previous, newest place of the ring, ..., oldest place of the ring
  /// For objects built with `cached` 1. On others the vectors of the object are lost, and its destructor
  /// frees the caller's. A list that is too short, or has a null among these, leaves the object without
  /// vectors.
  /// @param arrays [count] vectors of NumVar() doubles; they stay the caller's and must last while in use
  /// @param count  at least the length of the ring + 2
  virtual void UseCachedArrays(double** arrays, int count, int ignored);
  /// Forgets the vectors. Until the next UseCachedArrays the object does nothing.
  virtual void StopUsingCachedArrays();

  /// Receives the vector of this pass and tries to improve it.
  /// @param x [NumVar()] in: the new vector of the iteration; out: the accelerated one if 1 is returned
  virtual unsigned char Accelerate(double* x) = 0;

  int NumVar() const;
  int StartingIteration();
  /// The first vector, counted from 1, on which a step may be tried. Default and, for an estimate from fresh
  /// differences, least value: 3.
  void StartingIteration(int iteration);
  /// Least count of vectors from one step to the next. Default 1; less than 1 becomes 1.
  void MaxAccelFrequency(int frequency);
  /// The next vector counts as the first. Differences, tolerances and the other counters stay.
  void Reset();
  /// How far, relative to its own length, a correction may lie from that of the try before. Default 0.1.
  void setProjectTol(double tolerance);
  /// Differences of a Euclidean length below this, in the unit of x, are noise. Default 1e-8.
  void SetNoiseTolerance(double tolerance);

  /// Keeps an account from now on.
  /// @param log stays the caller's; must be there until EndBasicDebug. Null: nothing is written
  void StartBasicDebug(DebugOut* log);
  void EndBasicDebug();

  /// Takes the last step back: x becomes the vector that the last try received, and the count to the next
  /// step begins anew. The next difference is still measured from the accelerated vector. Before the first
  /// try, x is left alone.
  /// @param x [NumVar()] out
  void UndoAndReset(double* x);

 protected:
  /// The i-th newest difference, 0 being the newest; null if there is none.
  double* History(int i) const;
  /// Vectors received since the last Reset.
  int Iter() const;
  unsigned char BasicDebug() const;
  /// Tolerances and counters get their defaults, the ring becomes empty.
  void ResetAll();

  // How a derived class builds Accelerate: NewVector; return 0 unless OKToAccelerate; then try. A try ends
  // with WorkVector and, if it changes x, with PerformedAcceleration behind that change.

  /// Stores the difference of `x` from the vector before.
  void NewVector(const double* x);
  /// Whether this pass may try. Counts the passes; to be asked once in each.
  unsigned char OKToAccelerate();
  /// Keeps `x` for UndoAndReset.
  void WorkVector(const double* x);
  /// The next difference is measured from the accelerated `x`; the count to the next step begins anew.
  void PerformedAcceleration(const double* x);
  /// Whether a correction agrees with that of the try before, moved on by the newest difference. Uses the
  /// vector of UndoAndReset as scratch, so WorkVector has to follow.
  /// @param doCheck    0: there is nothing to compare with; the answer is 0
  /// @param newProject [NumVar()] the correction of the present vector
  /// @param oldProject [NumVar()] in: that of the try before; out: newProject
  unsigned char CheckProjectedPoint(unsigned char doCheck, const double* newProject, double* oldProject);
  /// Whether the newest difference is larger than noise. A NaN in it counts as larger.
  unsigned char CheckNoise();

  DebugOut* debugOut;  // not owned
  unsigned char cachedArrays;
  bool workHoldsInput;  // false before the first try; here, it moves no field
  double projectTol;
  double noiseTol;
  int iter;
  Bitmap debugBits;
  Bitmap::BitIndex debugBit;  // which of them is the basic debug switch
  int numVar;
  double* work;      // input of the last try; scratch of CheckProjectedPoint
  double* previous;  // what the next difference is measured from
  int current;       // place of the newest difference; -1: none
  double** history;  // [nHistory] differences, the oldest first
  int nHistory;
  int startIteration;
  int maxAccelFrequency;
  int sinceAccel;  // passes since the last step or undo
  AccelPrinter* printer;

  /// Whether `x` and the vectors of the object are there; of the latter there are all or none.
  CORVIDNUM_HIDDEN bool Ready(const double* x) const { return previous && work && (x || numVar <= 0); }
  // History and BasicDebug for the library's own use, where a call would count.
  CORVIDNUM_HIDDEN double* Difference(int i) const {
    return history && i <= current && current < nHistory ? history[current - i] : nullptr;
  }
  CORVIDNUM_HIDDEN bool Logging() const { return debugOut && DebugBitIsSet(); }

 private:
  void NextVector();
  CORVIDNUM_HIDDEN bool DebugBitIsSet() const { return (debugBits.bits & Bitmap::bitMask[debugBit]) != 0; }
  CORVIDNUM_HIDDEN bool AllocateVectors();
  CORVIDNUM_HIDDEN void ReleaseVectors();
  CORVIDNUM_HIDDEN void TakeVectors(double** end);
  CORVIDNUM_HIDDEN void ForgetVectors();

  friend class AccelPrinter;
};

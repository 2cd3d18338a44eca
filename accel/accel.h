#pragma once

/// @file
/// The base of the accelerators of fixed-point iterations.

#include "frame/export.h"
#include "frame/host_memory.h"
#include "util/bitmap.h"

class AccelPrinter;
class DebugOut;

/// Base of the accelerators of a fixed-point iteration x := G(x). The host passes in the vector of each
/// iteration; Accelerate may overwrite it with an extrapolated one, a step that the host can undo with
/// UndoAndReset.
///
/// The base keeps a ring buffer of the newest differences between successive vectors, decides on which
/// iterations an acceleration is tried, and offers two tests: is the newest difference above noise, and does
/// the correction agree with the one of the previous try. It can log what happens.
/// It allocates only in its constructor, except for the texts of the log. If memory was refused there,
/// Accelerate leaves its vector unchanged and returns 0. One thread at a time may use an object; separate
/// objects may be used by separate threads.
class CORVIDNUM_API Accel : public HostAllocated {
 public:
  /// Sets the defaults and, unless `cached`, allocates the vectors.
  /// @param numVar   length of every vector
  /// @param nHistory length of the ring buffer, in differences; below 1 none is kept
  /// @param cached   1: the caller owns the vectors and passes them to UseCachedArrays; 0: the object
  ///                 allocates them
  Accel(int numVar, int nHistory, unsigned char cached);
  Accel(const Accel&) = delete;
  Accel& operator=(const Accel&) = delete;
  /// Frees the object's own vectors; the caller's stay.
  virtual ~Accel();

  /// Takes the working vectors from the end of a list, in this order,
  ///   ..., work, previous, newest place of the ring, ..., oldest place of the ring
  /// and sets tolerances and counters to their defaults. Call it only on objects built with `cached` 1: on
  /// others the object's own vectors leak, and its destructor frees the caller's. A list that is too short,
  /// or has a null among the vectors taken, leaves the object without vectors.
  /// @param arrays [count] vectors of NumVar() doubles each; the caller owns them and keeps them while the
  ///               object uses them
  /// @param count  at least the length of the ring + 2
  /// @param ignored not read
  virtual void UseCachedArrays(double** arrays, int count, int ignored);
  /// Drops the vectors. Until the next UseCachedArrays the object does nothing.
  virtual void StopUsingCachedArrays();

  /// Receives the vector of this iteration and tries to accelerate it.
  /// @param x [NumVar()] in: the new vector of the iteration; out: the accelerated one if 1 is returned
  /// @return 1 if a step was taken, else 0
  virtual unsigned char Accelerate(double* x) = 0;

  /// Returns the length of the vectors.
  int NumVar() const;
  /// Returns the first vector, counted from 1, on which a step may be tried.
  int StartingIteration();
  /// Sets the first vector, counted from 1, on which a step may be tried. The default is 3; below that an
  /// estimate would use differences from before the last Reset, or none.
  void StartingIteration(int iteration);
  /// Sets the least number of vectors from one step to the next. The default is 1; less than 1 becomes 1.
  void MaxAccelFrequency(int frequency);
  /// Makes the next vector count as the first. Differences, tolerances and the other counters stay.
  void Reset();
  /// Sets how far a correction may lie from the one of the previous try, relative to its own Euclidean norm.
  /// The default is 0.1.
  void setProjectTol(double tolerance);
  /// Sets the Euclidean norm, in the unit of x, below which a difference is noise. The default is 1e-8.
  void SetNoiseTolerance(double tolerance);

  /// Starts logging.
  /// @param log the caller owns it and keeps it until EndBasicDebug. Null: nothing is written
  void StartBasicDebug(DebugOut* log);
  /// Ends logging.
  void EndBasicDebug();

  /// Undoes the last step: x becomes the vector that the last try received, and the count of vectors to the
  /// next step restarts. The next difference is still measured from the accelerated vector. Before the first
  /// try, x is left unchanged.
  /// @param x [NumVar()] out
  void UndoAndReset(double* x);

 protected:
  /// Returns the i-th newest difference, 0 being the newest; null if there is none.
  double* History(int i) const;
  /// Returns the number of vectors received since the last Reset.
  int Iter() const;
  /// Returns whether the object logs.
  unsigned char BasicDebug() const;
  /// Sets tolerances and counters to their defaults and empties the ring.
  void ResetAll();

  // A derived class builds Accelerate so: call NewVector; return 0 unless OKToAccelerate; then try. A try
  // ends with WorkVector and, if it changes x, with PerformedAcceleration after the change.

  /// Stores the difference of `x` from the previous vector in the ring; the first vector has none.
  void NewVector(const double* x);
  /// Returns whether this iteration may try a step. Counts iterations, so call it once for each.
  unsigned char OKToAccelerate();
  /// Saves `x` for UndoAndReset.
  void WorkVector(const double* x);
  /// Records that a step led to `x`: the next difference is measured from it, and the count of vectors to
  /// the next step restarts.
  void PerformedAcceleration(const double* x);
  /// Returns whether two corrections predict the same limit: the Euclidean norm of
  /// (oldProject - newest difference) - newProject is at most projectTol times that of newProject. A NaN
  /// counts as agreement. Uses `work`, the vector of UndoAndReset, as scratch, so WorkVector must follow.
  /// @param doCheck    0: there is nothing to compare with, and the result is 0
  /// @param newProject [NumVar()] the correction of the present vector
  /// @param oldProject [NumVar()] in: the correction of the previous try; out: newProject
  unsigned char CheckProjectedPoint(unsigned char doCheck, const double* newProject, double* oldProject);
  /// Returns whether the newest difference is at least as large as the noise tolerance. A NaN in it counts
  /// as larger.
  unsigned char CheckNoise();

  DebugOut* debugOut;          ///< not owned
  unsigned char cachedArrays;  ///< 1: the caller owns the vectors
  bool workHoldsInput;  ///< false before the first try; lies in what was padding, so no other field moves
  double projectTol;    ///< see setProjectTol
  double noiseTol;      ///< see SetNoiseTolerance
  int iter;             ///< vectors received since the last Reset
  Bitmap debugBits;     ///< flags of the log
  Bitmap::BitIndex debugBit;  ///< the bit of debugBits that switches the log
  int numVar;                 ///< length of the vectors
  double* work;               ///< [numVar] input of the last try; scratch of CheckProjectedPoint
  double* previous;           ///< [numVar] the vector from which the next difference is measured
  int current;                ///< index in history of the newest difference, from 0; -1: none
  double** history;           ///< [nHistory] the ring: differences of numVar elements, the oldest first
  int nHistory;               ///< length of the ring
  int startIteration;         ///< first value of iter at which a step may be tried
  int maxAccelFrequency;      ///< least number of iterations from one step to the next
  int sinceAccel;             ///< calls of OKToAccelerate since the last step or undo
  AccelPrinter* printer;      ///< owned

  /// Returns whether `x` and the object's vectors exist; of the latter there are always all or none.
  CORVIDNUM_HIDDEN bool Ready(const double* x) const { return previous && work && (x || numVar <= 0); }
  // History and BasicDebug inlined, for the library's own inner code.
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

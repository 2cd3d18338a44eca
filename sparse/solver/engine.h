#pragma once

// The two direct solvers behind one interface: each owns the arrays of its routines and lengthens them.

#include "frame/host_memory.h"
#include "sparse/solver/system.h"

namespace corvidnum::solver {

/// How to factorise.
struct EngineSettings {
  double threshold;        // of the pivot test, 0..1
  bool blocks;             // permute to block triangular form
  bool prefer_diagonal;    // ma38 only
  double growth;           // of a front, ma38 only
  bool is_mesh;            // the factors may need much memory, ma38 only
  double pivot_tolerance;  // magnitude that a pivot must exceed, ma48 only
};

/// What a factorisation tells.
struct EngineFacts {
  int rank = -1;  // -1: not known
  int blocks = 0;
  std::int64_t factor_entries = 0;
  double operations = 0;
};

/// Factorises the scaled matrix of a system and solves with the factors.
class Engine : public HostAllocated {
 public:
  /// @param system outlives the engine
  /// @param growths counts the calls that were repeated because an array was too short; outlives the engine
  Engine(const System& system, int& growths) : system_(system), growths_(growths) {}
  virtual ~Engine() = default;
  Engine(const Engine&) = delete;
  Engine& operator=(const Engine&) = delete;

  /// Chooses pivots and factorises. @return `Factorised`, `Singular` (structurally or without enough pivots)
  /// or `NoMemory`
  virtual SparseStatus factorise(const EngineSettings& settings) = 0;
  /// Factorises with the pivots of the last success of factorise().
  /// @return `Factorised`; `Singular`: new pivots are needed, or the matrix is singular; `NoMemory`. After
  /// the
  ///         last two there are no factors
  virtual SparseStatus refactorise() = 0;
  /// Solves S y = b or S' y = b. The factors must be there.
  /// @param b, y [order] not the same
  /// @return false: the factors were refused
  virtual bool solve(bool transposed, const double* b, double* y) = 0;
  /// Returns what the last factorise() found; of a failed one the rank at most.
  const EngineFacts& facts() const { return facts_; }

 protected:
  const System& system() const { return system_; }
  void count_growth() { ++growths_; }
  EngineFacts facts_;

 private:
  const System& system_;
  int& growths_;
};

/// Make an engine; null if memory was refused.
Engine* make_ma48_engine(const System& system, int& growths);
Engine* make_ma38_engine(const System& system, int& growths);

}  // namespace corvidnum::solver

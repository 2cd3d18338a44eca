#pragma once

// The factors of a system, and the ways to better ones.

#include "sparse/solver/choice.h"
#include "sparse/solver/engine.h"
#include "sparse/solver/system.h"

namespace corvidnum::solver {

/// Factorises a system by a plan, a method with its settings. Where the factors do not serve, improve() tries
/// the next plan: the highest threshold (partial pivoting), then the other method. Each method keeps factors
/// of its own, so that the caller can go back to the better ones.
class Factors {
 public:
  /// @param system, report outlive the object; the report is kept up to date
  Factors(const System& system, SparseReport& report) : system_(system), report_(report) {}
  ~Factors();
  Factors(const Factors&) = delete;
  Factors& operator=(const Factors&) = delete;

  /// Chooses a plan by the options and factorises.
  /// @return `Factorised`; `Singular`, where the method found too few pivots; `NoMemory`
  SparseStatus factorise(const SparseOptions& options);
  /// Factorises anew, by the plan at hand, after the scales have changed; returns as factorise() does.
  /// Factors of the other method, which are those of other scales, are freed.
  SparseStatus repeat();
  /// Factorises with the pivots of the factors at hand; returns as factorise() does. `Singular` may mean that
  /// the values need other pivots.
  SparseStatus refactorise();
  /// Goes on to the next plan that `repair` of the options allows.
  /// @return `Factorised` and `Singular` as above; `NotFactorised`: there is no other plan, and the factors
  /// at
  ///         hand are the same as before; `NoMemory`: there are no factors
  SparseStatus improve(const SparseOptions& options);
  /// Returns whether there are factors, or there were before the last call failed.
  bool used() const { return engine(plan_.method) != nullptr; }
  /// Goes back to the factors of a method, if they are still there, and frees those of the other one.
  void keep(SparseMethod method);

  SparseMethod method() const { return plan_.method; }
  /// Returns the factors at hand, which must be there.
  Engine& engine() { return *engine(plan_.method); }
  /// Solves S y = b or S' y = b with the factors at hand.
  /// @return false: the factors were refused
  bool solve(bool transposed, const double* b, double* y);

 private:
  static int place(SparseMethod method) { return method == SparseMethod::ma38 ? 1 : 0; }
  Engine*& engine(SparseMethod method) { return engines_[place(method)]; }
  Engine* engine(SparseMethod method) const { return engines_[place(method)]; }
  SparseStatus run();
  SparseStatus run_other_method(const SparseOptions& options);
  void describe();
  void drop(SparseMethod method);

  const System& system_;
  SparseReport& report_;
  Engine* engines_[2] = {};
  Plan plan_{};
  PatternFacts facts_{};
  bool studied_ = false;         // facts_ are known
  bool changed_method_ = false;  // since factorise()
};

}  // namespace corvidnum::solver

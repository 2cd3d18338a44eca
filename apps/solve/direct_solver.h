#pragma once

// What the program asks of a direct solver of sparse systems, whichever it is.

#include <cstdint>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "apps/solve/matrix_market.h"

namespace solve {

/// Thrown where the factors lead to no solution.
struct NoSolution : std::runtime_error {
  using std::runtime_error::runtime_error;
};
/// Thrown if the matrix is singular, exactly or to working precision.
struct Singular : NoSolution {
  using NoSolution::NoSolution;
};
/// Thrown if the factors are too inexact because of the pivots that were chosen.
struct Inexact : NoSolution {
  using NoSolution::NoSolution;
};

enum class Method { kMa48, kMa38 };

/// Returns "ma48" or "ma38".
const char* name_of(Method method);

struct SolverSettings {
  Method method = Method::kMa48;
  bool block_form = true;
  bool keep_matrix = false;         // keep a copy of A with the factors; kMa38 refines only with it
  std::optional<double> threshold;  // of the pivot test, relative to the largest element of the column
  bool prefer_diagonal = true;      // take pivots of kMa38 from the diagonal where they pass the test
};

/// What a solution comes with. Each includes those before it, as far as the solver can compute them.
enum class Effort { kPlain = 1, kBackwardErrors = 2, kRefine = 3 };

/// Componentwise backward errors: omega1 is the largest over the rows whose |A||x| + |b| is significant,
/// omega2 the largest over the others.
struct BackwardErrors {
  double omega1 = 0, omega2 = 0;
};

struct Solution {
  std::vector<double> x;  // may hold infinities and NaN
  std::optional<BackwardErrors> backward_errors;
  std::optional<int> refinements;  // steps taken; nothing if the solver does not refine
  double forward_error = 0;        // estimate, relative to the largest of x; not finite: there is none
  bool refined = true;             // false: refinement ended at its step limit
};

/// What the solver found out about the matrix and its factors.
struct Facts {
  int blocks = 0;
  std::optional<int> largest_block;  // among the blocks that are not triangular; 0 if all are
  std::optional<int> singletons;     // blocks of order 1
  int duplicates = 0;                // entries that were summed to others
  std::optional<int> structural_rank;
  int rank = 0;
  std::int64_t factor_entries = 0;                       // of L and U and off the diagonal blocks
  double operations = 0;                                 // of the last factorisation or refactorisation
  std::optional<double> level3_operations;               // of these
  std::optional<std::int64_t> kept_reals, kept_indices;  // must be kept to solve
};

/// Factorises a square matrix as often as its values change, and solves with the factors. Throws Singular;
/// std::runtime_error where the routines refuse for another reason.
class DirectSolver {
 public:
  virtual ~DirectSolver() = default;

  /// Analyses the matrix once for all factorisations.
  /// @return false, and nothing is done, if the solver analyses as a part of factorise()
  virtual bool analyse() = 0;
  /// Factorises with pivots chosen for `values`, which are in the order of the entries of the matrix.
  /// @param name  of the file that they come from, for messages
  virtual void factorise(const std::vector<double>& values, const std::string& name) = 0;
  /// Factorises with the pivots of the last factorise().
  /// @return false if these pivots fail for `values`; call factorise() then
  virtual bool refactorise(const std::vector<double>& values) = 0;
  virtual Solution solve(const std::vector<double>& b, bool transposed, Effort effort) = 0;
  virtual Facts facts() const = 0;
};

/// Makes the solver that `settings` names.
/// @param matrix  square, not empty; outlives the solver. Throws Singular if it has fewer entries than rows:
///                a short file may announce an order that is too large for any array
std::unique_ptr<DirectSolver> make_solver(const Matrix& matrix, const SolverSettings& settings);

/// Returns the error to throw where a routine ended with a status that has no better message.
std::runtime_error refusal(const Matrix& matrix, const char* phase, bool no_room, int status);

}  // namespace solve

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

/// Factors that lead to no solution.
struct NoSolution : std::runtime_error {
  using std::runtime_error::runtime_error;
};
/// Since the matrix has none that is unique.
struct Singular : NoSolution {
  using NoSolution::NoSolution;
};
/// Since the pivots were badly chosen.
struct Inexact : NoSolution {
  using NoSolution::NoSolution;
};

enum class Method { kMa48, kMa38 };

/// "ma48" or "ma38".
const char* name_of(Method method);

struct SolverSettings {
  Method method = Method::kMa48;
  bool block_form = true;
  bool keep_matrix = false;         // with the factors of kMa38; it cannot refine without
  std::optional<double> threshold;  // least pivot, as part of the largest element of its column
  bool prefer_diagonal = true;      // for the pivots of kMa38
};

/// With each comes all that comes with those before, as far as the solver has it.
enum class Effort { kPlain = 1, kBackwardErrors = 2, kRefine = 3 };

struct BackwardErrors {
  double judged_by_terms = 0, nearly_without_terms = 0;  // the largest of rows of each kind
};

struct Solution {
  std::vector<double> x;  // need not be finite
  std::optional<BackwardErrors> backward_errors;
  std::optional<int> refinements;  // steps taken; nothing if the solver does not refine
  double forward_error = 0;        // estimate, relative to the largest of x; not finite: there is none
  bool refined = true;             // false: refinement did not settle
};

/// What the work found out about the matrix and its factors.
struct Facts {
  int blocks = 0;
  std::optional<int> largest_block;  // of those that need elimination; 0 if none does
  std::optional<int> singletons;     // blocks of order 1
  int duplicates = 0;                // entries that were summed to others
  std::optional<int> structural_rank;
  int rank = 0;
  std::int64_t factor_entries = 0;          // what a solution goes through, with entries outside the blocks
  double operations = 0;                    // of the last factorisation or refactorisation
  std::optional<double> level3_operations;  // of these
  std::optional<std::int64_t> kept_reals, kept_indices;  // from the factorisation to the solutions
};

/// One square matrix, factorised as often as its values change.
/// Throws Singular; std::runtime_error where the routines refuse for another reason.
class DirectSolver {
 public:
  virtual ~DirectSolver() = default;

  /// @return false if the solver analyses whenever it factorises, and only then
  virtual bool analyse() = 0;
  /// Chooses pivots by the size of `values`, which stand in the order of the entries of the matrix.
  /// @param name  of the file that they come from, for messages
  virtual void factorise(const std::vector<double>& values, const std::string& name) = 0;
  /// On the pivots of the last factorisation.
  /// @return false if they do not suit `values`; factorise() then chooses others
  virtual bool refactorise(const std::vector<double>& values) = 0;
  virtual Solution solve(const std::vector<double>& b, bool transposed, Effort effort) = 0;
  virtual Facts facts() const = 0;
};

/// @param matrix  square, not empty; outlives the solver. Throws Singular if it has fewer entries than rows:
///                a short file may announce an order that is too large for any array
std::unique_ptr<DirectSolver> make_solver(const Matrix& matrix, const SolverSettings& settings);

/// A routine ended with a code that is none of those expected.
std::runtime_error refusal(const Matrix& matrix, const char* phase, bool no_room, int status);

}  // namespace solve

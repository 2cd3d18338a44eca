#pragma once

/// @file
/// A sparse linear solver that is right by default: it chooses between the two direct solvers of the library,
/// drives their arrays, judges every solution, and repairs what can be repaired before it gives an answer.
///
/// The statuses and options have the same names and numbers in C and Fortran, see corvidnum_sparse.h.

#include <cstdint>

#include "frame/export.h"
#include "frame/host_memory.h"

namespace corvidnum {

/// How an operation ended. The numbers are part of the interface and never change.
enum class SparseStatus : int {
  Solved = 0,      ///< the solution's componentwise backward error is at most the bound
  Unjudged = 1,    ///< solved, but `judge` is off
  Factorised = 2,  ///< the factors are ready
  Inexact = 3,     ///< the bound was missed; x is the best solution found, Report() tells its error
  Singular = 4,    ///< the matrix is singular, structurally or to working precision; Diagnose() tells where
  NotFactorised = 5,  ///< there are no factors: Factorise was not called, or failed
  NotFinite = 6,      ///< a value or a right-hand side is infinite or NaN; nothing was computed
  NoMemory = 7,       ///< memory was refused, or a matrix is too large for the solvers to count in an int
  BadInput = 8        ///< an argument is out of range; Report().first_fault tells the place
};

/// Returns a text in English for a status; it stays the library's.
CORVIDNUM_API const char* StatusText(SparseStatus status);

/// The direct solvers to choose from. The numbers are part of the interface and never change.
enum class SparseMethod : int {
  automatic = 0,  ///< by the pattern
  ma48 = 1,       ///< Markowitz threshold LU with a driving class: matrices whose factors stay sparse
  ma38 = 2        ///< unsymmetric multifrontal LU: matrices whose factors fill in
};

/// Returns the name of a method; it stays the library's.
CORVIDNUM_API const char* MethodName(SparseMethod method);

/// What a caller may choose. SparseOptionTable() tells the meaning and the range of each.
struct SparseOptions {
  SparseMethod method = SparseMethod::automatic;  ///< the method, or automatic
  int factorisations = 1;  ///< how many of this pattern to expect; guides the automatic choice
  int judge = 1;           ///< 0: solutions are Unjudged, and singularity is not tested
  double bound = 1e-12;    ///< componentwise backward error that a solution may have to count as Solved
  int corrections = 10;    ///< most steps of iterative refinement for a solution that misses the bound
  int repair = 2;     ///< 0: refinement only; 1: also new pivots, higher threshold; 2: also the other method
  int blocks = 1;     ///< 1: permute to block triangular form; 0: not
  int diagonal = -1;  ///< 1: ma38 prefers pivots on the diagonal; 0: it does not; -1: automatic
  double threshold = 0;  ///< of the pivot test, larger is safer and fills in more; 0: the method's own
  double growth = 0;     ///< limit of the growth of fronts in ma38; 0: automatic
};

/// Describes one option.
struct SparseOption {
  const char* name;     ///< as SetOption takes it
  const char* meaning;  ///< a line of text
  double lowest,        ///< lowest value allowed
      standard,         ///< the default
      highest;          ///< highest value allowed
};

/// Returns the descriptions of all options, in the order of the fields of SparseOptions.
/// @param count out: their number; may be null
CORVIDNUM_API const SparseOption* SparseOptionTable(int* count);
/// Sets the option of a name.
/// @return false, with nothing changed: no option has that name, the value is out of its range, or it is a
///         fraction for an option that counts or chooses
CORVIDNUM_API bool SetOption(SparseOptions* options, const char* name, double value);
/// Returns the option of a name; NaN if there is none.
CORVIDNUM_API double GetOption(const SparseOptions& options, const char* name);

/// What is known of a matrix and of the work done on it. Numbers that are not known are 0, or -1 where 0
/// would be an answer.
struct SparseReport {
  int order = 0;                  ///< rows, and columns, of the matrix
  int entries = 0;                ///< entries of the pattern, duplicates summed
  int duplicates = 0;             ///< entries summed with another in their place
  std::int64_t first_fault = -1;  ///< after BadInput: the first wrong entry, counted from 0, or -1 if another
                                  ///< argument is at fault; after NotFinite: the value or element
  // The choice of the method.
  SparseMethod method = SparseMethod::automatic;  ///< method of the factors, or of those tried last
  const char* reason = "";                        ///< why `automatic` chose it; the library's own text
  int prefers_diagonal = 0;                       ///< 1: ma38 prefers pivots on the diagonal
  double threshold = 0;                           ///< threshold of the pivot test of these factors
  double growth = 0;                              ///< limit of the growth of the fronts of ma38; 0 with ma48
  double pattern_symmetry = 0;  ///< share of the off-diagonal entries whose transposed place holds one, too
  int diagonal_entries = 0;     ///< entries on the diagonal
  int structural_rank = -1;     ///< most entries of which no two share a row or column; -1: not known
  // The factors.
  int rank = -1;                    ///< pivots found; -1: not known
  int blocks = 0;                   ///< diagonal blocks of the block triangular form
  std::int64_t factor_entries = 0;  ///< entries of L and U
  double operations = 0;            ///< floating-point operations of the factorisation
  double condition = 0;  ///< estimate in the 1-norm, of the matrix as it was scaled; 0: not estimated, as
                         ///< after Refactorise
  // The work since the object was made.
  int factorisations = 0;     ///< with pivots chosen for the values
  int refactorisations = 0;   ///< with the pivots of an earlier factorisation
  int array_growths = 0;      ///< calls repeated because an array was too short
  int new_pivots = 0;         ///< repairs: pivots chosen anew because the old ones missed the bound
  int raised_thresholds = 0;  ///< repairs: thresholds raised
  int changed_methods = 0;    ///< repairs: changes to the other method
  // The last call of Solve or SolveTransposed; of several right-hand sides the worst.
  double backward_error = -1;        ///< componentwise, the larger of omega1 and omega2; -1: not judged
  double first_backward_error = -1;  ///< the same before any correction
  int corrections = 0;               ///< steps of iterative refinement
};

/// Indices of equations (rows) or unknowns (columns), in ascending order and counted from the index base that
/// the matrix was given with. The array belongs to the solver.
struct SparseIndices {
  const int* index = nullptr;  ///< [count]
  int count = 0;               ///< length of the list
};

/// Says where a singular matrix lacks rank.
struct SparseDiagnosis {
  int structural_rank = 0;  ///< most entries of which no two share a row or column
  int numerical_rank = -1;  ///< pivots found; -1 if the matrix is structurally singular
  // Of a structurally singular matrix, by the coarse Dulmage-Mendelsohn decomposition:
  SparseIndices unmatched_equations,        ///< equations that a maximum matching leaves without an unknown
      unmatched_unknowns;                   ///< unknowns that it leaves without an equation
  SparseIndices overdetermined_equations,   ///< equations of the part with more equations than unknowns
      overdetermined_unknowns;              ///< unknowns of that part
  SparseIndices underdetermined_equations,  ///< equations of the part with more unknowns than equations
      underdetermined_unknowns;             ///< unknowns of that part
  // Of a numerically singular one: those left without a pivot.
  SparseIndices dependent_equations,  ///< equations without a pivot: others determine them
      dependent_unknowns;             ///< unknowns without a pivot
};

/// Gives the block triangular form: row[k] and column[k] stand at place k, block b holds the places
/// begin[b] to begin[b + 1] - 1, and all entries stand in or above the diagonal blocks.
struct SparseBlocks {
  int count = 0;                ///< number of blocks
  const int* begin = nullptr;   ///< [count + 1], places from 0
  const int* row = nullptr;     ///< [order] rows by place; counted from the index base
  const int* column = nullptr;  ///< [order] columns by place; counted from the index base
};

/// Solves square sparse systems A x = b whose matrices share one pattern.
///
/// Every solution is judged by its componentwise backward error (M. Arioli, J. W. Demmel and I. S. Duff, SIAM
/// J. Matrix Anal. Appl. 10, 165 (1989)): the smallest relative change of the entries of A and b that makes x
/// exact. Where it is above `bound`, x is refined; then pivots are chosen anew, the threshold of the pivot
/// test is raised, and the other method is tried, each for all that follow until the next Factorise. Nothing
/// is `Solved` that misses the bound, is not finite, or belongs to a matrix that is singular to working
/// precision.
///
/// Factorise tests for singularity by the condition number of the matrix with its rows and columns scaled to
/// a common size, so a bad choice of units does not count. It takes up to 11 solutions, and more
/// only where the matrix looks singular. Refactorise does not:
/// a matrix that has become singular is noticed if a pivot fails, the bound is missed or the solution is so
/// large that it proves the matrix to be nearly singular; else ask ConditionEstimate or ForwardErrorBound.
///
/// No operation throws. All memory is the host's; where it is refused the status is `NoMemory`, and the
/// object can be used again. One thread at a time uses an object; separate objects may be used by separate
/// threads.
class CORVIDNUM_API SparseSolver : public HostAllocated {
 public:
  /// Takes a pattern, which is copied.
  /// @param order   rows, and columns, of the matrix; at least 1
  /// @param entries coordinates given; 0 is allowed, and such a matrix is `Singular`
  /// @param rows, columns [entries] in any order; entries in the same place are summed
  /// @param index_base 0 or 1: where indices begin
  /// @param options of the factorisations to come
  ///
  /// State() tells whether the object can be used.
  SparseSolver(int order, int entries, const int* rows, const int* columns, int index_base,
               const SparseOptions& options = SparseOptions());
  /// Frees all memory of the object.
  ~SparseSolver();
  SparseSolver(const SparseSolver&) = delete;
  SparseSolver& operator=(const SparseSolver&) = delete;

  /// Returns `Factorised` if there are factors, else why not: `NotFactorised`, `Singular`, `NoMemory`,
  /// `BadInput` (of the constructor, for good).
  SparseStatus State() const;
  /// Changes the options from the next operation on; those of the factorisation from the next Factorise.
  /// @return `BadInput` with nothing changed if one is out of its range; else State()
  SparseStatus SetOptions(const SparseOptions& options);
  /// Returns the options; they stay the object's.
  const SparseOptions& Options() const;

  /// Factorises the matrix with pivots chosen for its values, and tests whether it is singular.
  /// @param values [entries] in the order of the coordinates
  /// @return `Factorised`, `Singular`, `NotFinite`, `NoMemory` or `BadInput`. Earlier factors stand
  ///         after `NotFinite` and `BadInput`; after the others there are none
  SparseStatus Factorise(const double* values);
  /// Factorises the matrix with the pivots of the last Factorise; chooses pivots where there are none or
  /// where they fail. Returns as Factorise does. Singularity is then tested only where a solution gives
  /// cause.
  SparseStatus Refactorise(const double* values);

  /// Solves A x = b for several right-hand sides.
  /// @param b     [order x count] column after column
  /// @param x     [order x count] out; may be `b` itself. With other statuses than `Solved`, `Unjudged` and
  ///              `Inexact` the column that failed and those behind it are unchanged
  /// @param count at least 1
  /// @return the worst of the statuses of all right-hand sides: `Solved` (`Unjudged` without judging),
  ///         `Inexact`, `Singular`, `NotFinite`, `NoMemory`, `NotFactorised` or `BadInput`. Where the
  ///         solution is too large for numbers, x holds infinities: `Inexact` if judged, else `Unjudged`
  SparseStatus Solve(const double* b, double* x, int count = 1);
  /// Solves A' x = b for several right-hand sides; arguments and result as in Solve.
  SparseStatus SolveTransposed(const double* b, double* x, int count = 1);

  /// Returns what is known of the matrix and of the work done; it stays the object's and follows later
  /// operations.
  const SparseReport& Report() const;

  /// Estimates the condition number in the 1-norm, from below, by solutions with both transposes.
  /// Source: N. J. Higham, ACM Trans. Math. Softw. 14, 381 (1988).
  /// @param raw, equilibrated out: of the matrix as it is, and of the matrix with rows and columns scaled;
  ///                          either may be null
  /// @return `Factorised`, `NotFactorised`, `Singular` (both infinite) or `NoMemory`
  SparseStatus ConditionEstimate(double* raw, double* equilibrated);
  /// Bounds the error of a solution: the largest error of an element relative to the largest element.
  /// @param b, x       [order] right-hand side and solution
  /// @param transposed whether it is a solution of A' x = b
  /// @param bound      out: an estimate, which counts the residual and its rounding
  /// @return `Factorised`, `NotFactorised`, `Singular`, `NotFinite`, `NoMemory` or `BadInput`
  SparseStatus ForwardErrorBound(const double* b, const double* x, bool transposed, double* bound);

  /// Finds where the matrix given last lacks rank. The lists stay until the next call of Diagnose or the end
  /// of the object.
  /// Factorises and tests the values given last, if that was not done or was refused memory.
  /// @return `Singular`: the lists tell where; `Factorised`: it is regular and they are empty;
  ///         `NotFactorised`: regular by its pattern, and no values were given; `NoMemory`; `BadInput`
  SparseStatus Diagnose(SparseDiagnosis* diagnosis);
  /// Finds the block triangular form of the pattern. The arrays stay until the next call of Blocks or the end
  /// of the object.
  /// @return `Factorised`: found (factors or not); `Singular`: structurally, and there is none; `NoMemory`;
  ///         `BadInput`
  SparseStatus Blocks(SparseBlocks* blocks);

 private:
  struct Parts;
  Parts* parts_;  // null: memory was refused
};

}  // namespace corvidnum

#pragma once

/// @file
/// The sparse solver of sparse_solver.h for C, and by corvidnum.f90 for Fortran: a solver that chooses its
/// method, judges every solution, and repairs what can be repaired. Compiles as C and C++.
///
/// Each function does what the member of corvidnum::SparseSolver with its name does; sparse_solver.h tells
/// the meaning of statuses, options, results and array arguments in full. What C adds is told here. Functions
/// that return an int without further word return an enum corvidnum_sparse_status.
///
/// Only corvidnum_sparse_create gives out a handle. It returns null if memory was refused; so all functions
/// take a null handle, answer CORVIDNUM_SPARSE_NO_MEMORY to it, and write nothing.

#include "frame/export.h"

#ifdef __cplusplus
extern "C" {
#endif

/// A sparse solver. One thread at a time uses a handle; separate handles may be used by separate threads.
typedef struct corvidnum_sparse corvidnum_sparse;

/// How an operation ended. The numbers never change.
enum corvidnum_sparse_status {
  CORVIDNUM_SPARSE_SOLVED = 0,          ///< the solution's backward error is at most the bound
  CORVIDNUM_SPARSE_UNJUDGED = 1,        ///< solved, but the option `judge` is 0
  CORVIDNUM_SPARSE_FACTORISED = 2,      ///< the factors are ready
  CORVIDNUM_SPARSE_INEXACT = 3,         ///< the bound was missed; x is the best solution found
  CORVIDNUM_SPARSE_SINGULAR = 4,        ///< the matrix is singular, structurally or to working precision
  CORVIDNUM_SPARSE_NOT_FACTORISED = 5,  ///< there are no factors
  CORVIDNUM_SPARSE_NOT_FINITE = 6,      ///< a number given is infinite or NaN; nothing was computed
  CORVIDNUM_SPARSE_NO_MEMORY = 7,       ///< memory was refused
  CORVIDNUM_SPARSE_BAD_INPUT = 8        ///< an argument is out of its range
};

/// Values of the option `method`, and of the report's item.
enum corvidnum_sparse_method {
  CORVIDNUM_SPARSE_AUTOMATIC = 0,  ///< by the pattern
  CORVIDNUM_SPARSE_MA48 = 1,       ///< Markowitz threshold LU
  CORVIDNUM_SPARSE_MA38 = 2        ///< unsymmetric multifrontal LU
};

/// Items of the report: the fields of corvidnum::SparseReport. Items may be added, and no number changes.
enum corvidnum_sparse_item {
  CORVIDNUM_SPARSE_REPORT_ORDER = 1,             ///< rows of the matrix
  CORVIDNUM_SPARSE_REPORT_ENTRIES = 2,           ///< entries of the pattern, duplicates summed
  CORVIDNUM_SPARSE_REPORT_DUPLICATES = 3,        ///< entries summed with another
  CORVIDNUM_SPARSE_REPORT_FIRST_FAULT = 4,       ///< counted from 0, in Fortran too
  CORVIDNUM_SPARSE_REPORT_METHOD = 5,            ///< an enum corvidnum_sparse_method
  CORVIDNUM_SPARSE_REPORT_PREFERS_DIAGONAL = 6,  ///< 1: ma38 prefers pivots on the diagonal
  CORVIDNUM_SPARSE_REPORT_THRESHOLD = 7,         ///< of the pivot test
  CORVIDNUM_SPARSE_REPORT_PATTERN_SYMMETRY =
      8,  ///< share of the off-diagonal entries that have a transposed one
  CORVIDNUM_SPARSE_REPORT_DIAGONAL_ENTRIES = 9,       ///< entries on the diagonal
  CORVIDNUM_SPARSE_REPORT_STRUCTURAL_RANK = 10,       ///< -1: not known
  CORVIDNUM_SPARSE_REPORT_RANK = 11,                  ///< pivots found; -1: not known
  CORVIDNUM_SPARSE_REPORT_BLOCKS = 12,                ///< of the block triangular form
  CORVIDNUM_SPARSE_REPORT_FACTOR_ENTRIES = 13,        ///< entries of L and U
  CORVIDNUM_SPARSE_REPORT_OPERATIONS = 14,            ///< of the factorisation
  CORVIDNUM_SPARSE_REPORT_CONDITION = 15,             ///< estimate; 0: not estimated
  CORVIDNUM_SPARSE_REPORT_FACTORISATIONS = 16,        ///< with pivots chosen for the values
  CORVIDNUM_SPARSE_REPORT_REFACTORISATIONS = 17,      ///< with earlier pivots
  CORVIDNUM_SPARSE_REPORT_ARRAY_GROWTHS = 18,         ///< calls repeated because an array was too short
  CORVIDNUM_SPARSE_REPORT_NEW_PIVOTS = 19,            ///< pivots chosen anew to meet the bound
  CORVIDNUM_SPARSE_REPORT_RAISED_THRESHOLDS = 20,     ///< thresholds raised to meet the bound
  CORVIDNUM_SPARSE_REPORT_CHANGED_METHODS = 21,       ///< changes to the other method
  CORVIDNUM_SPARSE_REPORT_BACKWARD_ERROR = 22,        ///< of the last solution; -1: not judged
  CORVIDNUM_SPARSE_REPORT_FIRST_BACKWARD_ERROR = 23,  ///< the same before any correction
  CORVIDNUM_SPARSE_REPORT_CORRECTIONS = 24,           ///< steps of refinement of the last solution
  CORVIDNUM_SPARSE_REPORT_GROWTH = 25                 ///< limit of the growth of the fronts of ma38
};

/// Lists of a diagnosis: those of corvidnum::SparseDiagnosis. The numbers never change.
enum corvidnum_sparse_list {
  CORVIDNUM_SPARSE_UNMATCHED_EQUATIONS = 1,  ///< equations that a maximum matching leaves without an unknown
  CORVIDNUM_SPARSE_UNMATCHED_UNKNOWNS = 2,   ///< unknowns that it leaves without an equation
  CORVIDNUM_SPARSE_OVERDETERMINED_EQUATIONS = 3,  ///< equations of the part with more equations than unknowns
  CORVIDNUM_SPARSE_OVERDETERMINED_UNKNOWNS = 4,   ///< unknowns of that part
  CORVIDNUM_SPARSE_UNDERDETERMINED_EQUATIONS = 5,  ///< equations of the part with more unknowns
  CORVIDNUM_SPARSE_UNDERDETERMINED_UNKNOWNS = 6,   ///< unknowns of that part
  CORVIDNUM_SPARSE_DEPENDENT_EQUATIONS = 7,        ///< equations without a pivot
  CORVIDNUM_SPARSE_DEPENDENT_UNKNOWNS = 8          ///< unknowns without a pivot
};

// ---- The object

/// Makes a solver for a pattern, which is copied, with the default options.
/// @param order         of the matrix, at least 1
/// @param entries       coordinates given
/// @param rows, columns [entries] in any order; entries in the same place are summed
/// @param index_base    0 or 1: where indices begin, here and in all lists of indices
/// @return a handle, which the caller gives to corvidnum_sparse_destroy, also where its state is
///         CORVIDNUM_SPARSE_BAD_INPUT or CORVIDNUM_SPARSE_NO_MEMORY; or null: memory was refused
CORVIDNUM_API corvidnum_sparse* corvidnum_sparse_create(int order, int entries, const int* rows,
                                                        const int* columns, int index_base);
/// Frees a solver and all that it owns; a null handle is let pass.
CORVIDNUM_API void corvidnum_sparse_destroy(corvidnum_sparse* solver);

/// Returns CORVIDNUM_SPARSE_FACTORISED if there are factors, else why not.
CORVIDNUM_API int corvidnum_sparse_state(const corvidnum_sparse* solver);

// ---- Options

/// Sets the option of a name, from the next operation on.
/// @param solver the handle
/// @param name   ended by a zero; see corvidnum_sparse_option_table
/// @param value  what to set
/// @return CORVIDNUM_SPARSE_BAD_INPUT with nothing changed if no option has that name or the value is out of
///         its range; else the state
CORVIDNUM_API int corvidnum_sparse_set_option(corvidnum_sparse* solver, const char* name, double value);
/// Returns the option of a name; NaN if there is none, or for a null handle.
CORVIDNUM_API double corvidnum_sparse_option(const corvidnum_sparse* solver, const char* name);
/// Describes one option.
/// @param place         of the option, from 0 on
/// @param name, meaning out: texts ended by a zero, which stay the library's
/// @param lowest, standard, highest out: values allowed, of which `standard` is the default
///
/// Each of the pointers may be null.
/// @return 1; or 0, with nothing written, if there is no such place
CORVIDNUM_API int corvidnum_sparse_option_table(int place, const char** name, const char** meaning,
                                                double* lowest, double* standard, double* highest);

// ---- Factors and solutions. The arrays are the caller's; those that are const are only read.

/// Factorises the matrix, with pivots chosen for its values.
/// @param solver the handle
/// @param values [entries] in the order of the coordinates
CORVIDNUM_API int corvidnum_sparse_factorise(corvidnum_sparse* solver, const double* values);
/// Factorises the matrix with the pivots that corvidnum_sparse_factorise chose last.
CORVIDNUM_API int corvidnum_sparse_refactorise(corvidnum_sparse* solver, const double* values);

/// Solves A x = b for several right-hand sides.
/// @param solver the handle
/// @param b     [order x count] column after column
/// @param x     [order x count] out; may be `b` itself
/// @param count right-hand sides, at least 1
CORVIDNUM_API int corvidnum_sparse_solve(corvidnum_sparse* solver, const double* b, double* x, int count);
/// Solves A' x = b for several right-hand sides; arguments as in corvidnum_sparse_solve.
CORVIDNUM_API int corvidnum_sparse_solve_transposed(corvidnum_sparse* solver, const double* b, double* x,
                                                    int count);

/// Estimates the condition number in the 1-norm, as corvidnum::SparseSolver::ConditionEstimate does.
/// @param solver the handle
/// @param raw, equilibrated out: of the matrix as it is, and with rows and columns scaled; may be null
CORVIDNUM_API int corvidnum_sparse_condition(corvidnum_sparse* solver, double* raw, double* equilibrated);
/// Bounds the error of a solution relative to its largest element, as
/// corvidnum::SparseSolver::ForwardErrorBound does.
/// @param solver the handle
/// @param b, x       [order] right-hand side and solution
/// @param transposed not 0: it is a solution of A' x = b
/// @param bound      out
CORVIDNUM_API int corvidnum_sparse_forward_error(corvidnum_sparse* solver, const double* b, const double* x,
                                                 int transposed, double* bound);

// ---- What is known

/// Returns an item of the report.
/// @param solver the handle
/// @param item   an enum corvidnum_sparse_item
/// @return its number, exact where it is a count; for a null handle as of an object that has done nothing;
///         NaN if there is no such item
CORVIDNUM_API double corvidnum_sparse_report(const corvidnum_sparse* solver, int item);
/// Returns why the automatic choice chose its method; the text, ended by a zero, stays the library's and is
/// empty before the first factorisation and for a null handle.
CORVIDNUM_API const char* corvidnum_sparse_reason(const corvidnum_sparse* solver);

/// Finds where the matrix given last lacks rank.
/// @param solver the handle
/// @param structural_rank, numerical_rank out: the latter -1 if not known; may be null
/// @return CORVIDNUM_SPARSE_SINGULAR: corvidnum_sparse_indices tells where; else as
///         corvidnum::SparseSolver::Diagnose
CORVIDNUM_API int corvidnum_sparse_diagnose(corvidnum_sparse* solver, int* structural_rank,
                                            int* numerical_rank);
/// Copies a list of the last diagnosis.
/// @param solver the handle
/// @param list    an enum corvidnum_sparse_list
/// @param indices [length] out: the first of them, ascending, counted from the index base; null if only their
///                number is asked for
/// @param length  room in `indices`; the order of the matrix is always enough
/// @return the number of indices in the whole list; 0 if there is no such list, no diagnosis or no solver
CORVIDNUM_API int corvidnum_sparse_indices(const corvidnum_sparse* solver, int list, int* indices,
                                           int length);

/// Finds the block triangular form of the pattern, and copies it; sets `count` to 0 if there is none.
/// @param solver the handle
/// @param count         out: the number of blocks
/// @param begin         [order + 1] out: block b, from 0, holds the places begin[b] to begin[b + 1] - 1, from
///                      0; in Fortran block b, from 1, has the rows row(begin(b) + 1 : begin(b + 1))
/// @param row, column   [order] out, by place; counted from the index base
///
/// Each of the pointers may be null.
/// @return CORVIDNUM_SPARSE_FACTORISED: found, with or without factors; CORVIDNUM_SPARSE_SINGULAR:
///         structurally, and there is none; or another status
CORVIDNUM_API int corvidnum_sparse_blocks(corvidnum_sparse* solver, int* count, int* begin, int* row,
                                          int* column);

/// Returns a text in English for a status; it ends with a zero and stays the library's.
CORVIDNUM_API const char* corvidnum_sparse_status_text(int status);
/// Returns the name of a method; it ends with a zero and stays the library's.
CORVIDNUM_API const char* corvidnum_sparse_method_name(int method);

#ifdef __cplusplus
}
#endif

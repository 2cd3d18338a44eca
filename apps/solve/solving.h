#pragma once

// Runs the program, from the files that it reads to the report.

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include "apps/report/index.h"
#include "apps/solve/pattern.h"
#include "apps/solve/report.h"
#include "sparse/sparse_solver.h"

namespace solve {

/// Thrown if the matrix is singular, exactly or to working precision.
struct Singular : std::runtime_error {
  using std::runtime_error::runtime_error;
};
/// Thrown if no solution meets the bound of the backward error.
struct Inexact : std::runtime_error {
  using std::runtime_error::runtime_error;
};

struct Task {
  std::string matrix_path;
  std::string out_path;     // of the solution; empty: it is not written
  std::string rhs_path;     // empty: the right-hand side is A times ones
  std::string second_path;  // of values for a refactorisation, with which the system is solved; empty: none
  corvidnum::SparseOptions solver;
  PatternOptions pattern;
  bool transpose = false, refine = false, estimate = false;
  bool try_all = false;               // solve by the method that is not chosen, too
  bool by_mumps = false;              // which run_distributed() does
  report::Folder* reports = nullptr;  // gets a page about the system; null: none is written
};

/// Reads all files and checks all outputs before the work begins. The pattern is studied, and its pictures
/// are written, even if there is no solution; `report` tells then what is known, and so does the page. A file
/// without values that is reordered is solved only if a part of the task asks for it.
/// @throws Singular, Inexact, apps::BadCase; std::runtime_error where a file cannot be written, or where
///         there is no room
void run(const Task& task, Report& report);

// Parts of it, for run_distributed().

/// @throws apps::BadCase if the matrix is not square, or empty
void expect_square(const Matrix& matrix);
/// Refuses a matrix most of whose rows are empty: a short file may announce an order that is too large for
/// any array.
/// @param entries  of the whole matrix
/// @throws Singular
void expect_enough_entries(const Matrix& matrix, std::int64_t entries);
/// @throws std::runtime_error if A times ones, as the right-hand side b, is not finite
void expect_finite(const std::vector<double>& b, const std::string& name);
/// @throws Singular, Inexact, std::runtime_error  if the attempt led to no solution
void expect_solution(const Attempt& found);

}  // namespace solve

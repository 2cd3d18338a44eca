// The class ma48, the solver in front of both methods, and its C interface. The routines of ma38 and gpskca
// allocate nothing: the solver's arrays serve ma38.

#include <algorithm>
#include <memory>

#include "proof/faults/trial.h"
#include "proof/support/loader.h"
#include "proof/support/ring.h"
#include "sparse/corvidnum_sparse.h"
#include "sparse/ma48/ma48.h"
#include "sparse/sparse_solver.h"
#include "tests/support/hard_systems.h"

namespace faults {
namespace {

using corvidnum::SparseMethod;
using corvidnum::SparseOptions;
using corvidnum::SparseSolver;
using corvidnum::SparseStatus;
using reference::Coordinates;
using reference::Random;
using reference::Vector;

constexpr double kRounding = 1e-10;  // componentwise backward error that these systems stay below

void class_ma48_with(Trial& trial, const Coordinates& a, int first_length) {
  proof::Loader loader(a);
  const std::unique_ptr<ma48> solver(
      new ma48(a.n, a.entries(), a.rows.data(), a.columns.data(), a.values.data(), &loader, 0));
  if (!trial.said(solver != nullptr)) return;
  if (first_length > 0) trial.said(solver->SetLa(first_length) != 0);
  Vector b(static_cast<std::size_t>(a.n), 1.0), x = b, other = b;
  if (trial.said(solver->Solve(b.data(), x.data()) != 0)) trial.results(x);
  double* vectors[] = {x.data(), other.data()};
  unsigned char flags[] = {1, 1};
  if (trial.said(solver->Solve(2, vectors, flags, 2, nullptr) != 0)) trial.results(other);
  trial.said(solver->SetLa2(0) != 0);
  trial.memory_is_back();
  solver->SetNeedPivotOrder(1);
  trial.require(solver->Solve(b.data(), x.data()) != 0, "after the refusal: the class does not solve");
  trial.require(reference::componentwise_error(a, x.data(), b.data()) < kRounding,
                "after the refusal: the class solves wrongly");
}

void class_ma48(Trial& trial) {
  Random random(1);
  class_ma48_with(trial, reference::flowsheet_matrix(8, 4, random), 0);
}
void class_ma48_that_grows(Trial& trial) {
  Random random(2);
  class_ma48_with(trial, reference::random_matrix(30, 30, 1.1, random), 1800);
}

/// Goes through all operations of the solver.
/// @param report adds the results of each
void use_solver(Trial& trial, SparseSolver& solver, const Coordinates& a) {
  const std::size_t n = static_cast<std::size_t>(a.n);
  Vector b(n, 1.0), x = b;
  double number = 0, other = 0;
  corvidnum::SparseDiagnosis diagnosis;
  corvidnum::SparseBlocks blocks;
  const auto done = [&](SparseStatus status) {
    trial.require(status != SparseStatus::BadInput && status != SparseStatus::NotFinite,
                  "a refusal is told as bad input");
    return trial.said(status != SparseStatus::NoMemory && status != SparseStatus::NotFactorised);
  };
  if (done(solver.Factorise(a.values.data()))) trial.result(solver.Report().rank);
  if (done(solver.Blocks(&blocks))) trial.result(blocks.count);
  if (done(solver.Diagnose(&diagnosis))) trial.result(diagnosis.structural_rank);
  if (solver.State() == SparseStatus::Singular) return;
  if (done(solver.Solve(b.data(), x.data()))) trial.results(x);
  if (done(solver.Refactorise(a.values.data()))) trial.result(solver.Report().rank);
  if (done(solver.SolveTransposed(b.data(), x.data()))) trial.results(x);
  if (done(solver.ConditionEstimate(&number, &other))) trial.result(number);
  if (done(solver.ForwardErrorBound(b.data(), b.data(), false, &number))) trial.result(number);
}

void front(Trial& trial, const Coordinates& a, SparseMethod method, bool regular) {
  SparseOptions options;
  options.method = method;
  const std::unique_ptr<SparseSolver> solver(
      new SparseSolver(a.n, a.entries(), a.rows.data(), a.columns.data(), 1, options));
  if (!trial.said(solver != nullptr)) return;
  use_solver(trial, *solver, a);
  trial.memory_is_back();
  if (solver->State() == SparseStatus::NoMemory &&
      solver->Factorise(a.values.data()) == SparseStatus::NoMemory)
    return;  // it could not take the pattern
  const SparseStatus status = solver->Factorise(a.values.data());
  trial.require(status == (regular ? SparseStatus::Factorised : SparseStatus::Singular),
                "after the refusal: another status");
  if (!regular) return;
  const Vector b(static_cast<std::size_t>(a.n), 1.0);
  Vector x = b;
  trial.require(solver->Solve(b.data(), x.data()) == SparseStatus::Solved, "after the refusal: not solved");
  trial.require(reference::componentwise_error(a, x.data(), b.data()) < kRounding,
                "after the refusal: solved wrongly");
}

template <SparseMethod kMethod>
void front_small(Trial& trial) {
  Random random(3);
  front(trial, reference::random_square(12, 2, random), kMethod, true);
}
/// With so much fill that arrays have to grow.
template <SparseMethod kMethod>
void front_that_grows(Trial& trial) {
  Random random(4);
  front(trial, reference::random_square(300, 8, random), kMethod, true);
}
template <SparseMethod kMethod>
void front_in_blocks(Trial& trial) {
  Random random(5);
  front(trial, reference::block_triangular_matrix({1, 5, 1, 12, 2, 7}, random), kMethod, true);
}
template <SparseMethod kMethod>
void front_structurally_singular(Trial& trial) {
  Random random(6);
  Coordinates a = reference::banded_matrix(12, 1, 1, random);
  for (int& row : a.rows) row = row == 7 ? 6 : row;
  front(trial, a, kMethod, false);
}
template <SparseMethod kMethod>
void front_numerically_singular(Trial& trial) {
  Random random(7);
  front(trial, reference::low_rank_matrix(12, 12, 9, random), kMethod, false);
}

using Handle = std::unique_ptr<corvidnum_sparse, void (*)(corvidnum_sparse*)>;

void c_interface(Trial& trial) {
  Random random(8);
  const Coordinates a = reference::flowsheet_matrix(6, 4, random);
  const std::size_t n = static_cast<std::size_t>(a.n);
  const Handle solver(corvidnum_sparse_create(a.n, a.entries(), a.rows.data(), a.columns.data(), 1),
                      corvidnum_sparse_destroy);
  Vector b(n, 1.0), x = b;
  std::vector<int> begin(n + 1), row(n), column(n);
  int count = 0, rank = 0;
  double number = 0;
  const auto done = [&](int status) {
    return trial.said(status != CORVIDNUM_SPARSE_NO_MEMORY && status != CORVIDNUM_SPARSE_NOT_FACTORISED);
  };
  done(corvidnum_sparse_factorise(solver.get(), a.values.data()));
  if (done(corvidnum_sparse_solve(solver.get(), b.data(), x.data(), 1))) trial.results(x);
  if (done(corvidnum_sparse_refactorise(solver.get(), a.values.data())) &&
      done(corvidnum_sparse_solve_transposed(solver.get(), b.data(), x.data(), 1)))
    trial.results(x);
  if (done(corvidnum_sparse_blocks(solver.get(), &count, begin.data(), row.data(), column.data())))
    trial.result(count);
  if (done(corvidnum_sparse_diagnose(solver.get(), &rank, nullptr))) trial.result(rank);
  if (done(corvidnum_sparse_condition(solver.get(), &number, nullptr))) trial.result(number);
  if (done(corvidnum_sparse_forward_error(solver.get(), b.data(), x.data(), 0, &number)))
    trial.result(number);
  trial.memory_is_back();
  if (!solver || corvidnum_sparse_factorise(solver.get(), a.values.data()) == CORVIDNUM_SPARSE_NO_MEMORY)
    return;  // it could not take the pattern
  trial.require(corvidnum_sparse_solve(solver.get(), b.data(), x.data(), 1) == CORVIDNUM_SPARSE_SOLVED,
                "after the refusal: not solved");
}

/// Documented to allocate nothing.
void reordering(Trial& trial) {
  proof::Ring<6> ring(1);
  const auto requests = corvid_host::TotalAllocations() + corvid_host::RefusedAllocations();
  trial.require(ring.reorder() == 0, "the reordering failed");
  trial.require(corvid_host::TotalAllocations() + corvid_host::RefusedAllocations() == requests,
                "the reordering allocates");
  trial.result(ring.profile);
}

constexpr SparseMethod kMa48 = SparseMethod::ma48, kMa38 = SparseMethod::ma38;

}  // namespace

std::vector<Scenario> sparse_scenarios() {
  return {{"sparse: class ma48", class_ma48},
          {"sparse: class ma48, growing", class_ma48_that_grows},
          {"sparse: front by ma48, small", front_small<kMa48>},
          {"sparse: front by ma38, small", front_small<kMa38>},
          {"sparse: front by ma48, growing", front_that_grows<kMa48>},
          {"sparse: front by ma38, growing", front_that_grows<kMa38>},
          {"sparse: front by ma48, blocks", front_in_blocks<kMa48>},
          {"sparse: front by ma38, blocks", front_in_blocks<kMa38>},
          {"sparse: front by ma48, structurally singular", front_structurally_singular<kMa48>},
          {"sparse: front by ma38, structurally singular", front_structurally_singular<kMa38>},
          {"sparse: front by ma48, numerically singular", front_numerically_singular<kMa48>},
          {"sparse: front by ma38, numerically singular", front_numerically_singular<kMa38>},
          {"sparse: C interface", c_interface},
          {"reorder: gpskca", reordering, false}};
}

}  // namespace faults

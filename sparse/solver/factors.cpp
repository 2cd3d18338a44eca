// The factors of a sparse system: which method makes them, and what to try where they do not serve.

#include "sparse/solver/factors.h"

namespace corvidnum::solver {
namespace {

constexpr double kHighestThreshold = 1;  // the pivot is the largest of its column

SparseMethod other(SparseMethod method) {
  return method == SparseMethod::ma48 ? SparseMethod::ma38 : SparseMethod::ma48;
}

}  // namespace

Factors::~Factors() {
  drop(SparseMethod::ma48);
  drop(SparseMethod::ma38);
}

void Factors::drop(SparseMethod method) {
  delete engine(method);
  engine(method) = nullptr;
}

SparseStatus Factors::factorise(const SparseOptions& options) {
  if (!studied_) facts_ = study(system_.pattern());
  studied_ = true;
  plan_ = choose_plan(facts_, options);
  changed_method_ = false;
  drop(other(plan_.method));
  report_.reason = plan_.reason;
  report_.pattern_symmetry = facts_.symmetry;
  report_.diagonal_entries = facts_.diagonal_entries;
  return run();
}

/// Factorises by the plan.
SparseStatus Factors::run() {
  Engine*& used = engine(plan_.method);
  if (!used) {
    const auto make = plan_.method == SparseMethod::ma48 ? make_ma48_engine : make_ma38_engine;
    used = make(system_, report_.array_growths);
  }
  if (!used) return SparseStatus::NoMemory;
  const SparseStatus status = used->factorise(plan_.settings);
  ++report_.factorisations;
  describe();
  if (status == SparseStatus::NoMemory) drop(plan_.method);
  return status;
}

void Factors::describe() {
  const EngineFacts facts = engine(plan_.method)->facts();
  report_.method = plan_.method;
  report_.prefers_diagonal = plan_.method == SparseMethod::ma38 && plan_.settings.prefer_diagonal;
  report_.threshold = plan_.settings.threshold;
  report_.growth = plan_.method == SparseMethod::ma38 ? plan_.settings.growth : 0;
  report_.rank = facts.rank;
  report_.blocks = facts.blocks;
  report_.factor_entries = facts.factor_entries;
  report_.operations = facts.operations;
}

SparseStatus Factors::refactorise() {
  const SparseStatus status = engine(plan_.method)->refactorise();
  ++report_.refactorisations;
  if (status == SparseStatus::NoMemory) drop(plan_.method);
  return status;
}

SparseStatus Factors::improve(const SparseOptions& options) {
  constexpr int kHigherThreshold = 1, kOtherMethod = 2;
  if (options.repair >= kHigherThreshold && plan_.settings.threshold < kHighestThreshold) {
    plan_.settings.threshold = kHighestThreshold;
    ++report_.raised_thresholds;
    return run();
  }
  if (options.repair >= kOtherMethod && !changed_method_) return run_other_method(options);
  return SparseStatus::NotFactorised;
}

SparseStatus Factors::run_other_method(const SparseOptions& options) {
  const Plan before = plan_;
  changed_method_ = true;
  plan_ = plan_for(other(before.method), facts_, options, before.reason);
  ++report_.changed_methods;
  const SparseStatus status = run();
  if (status != SparseStatus::NoMemory) return status;
  plan_ = before;  // its factors stand
  describe();
  return SparseStatus::NotFactorised;
}

SparseStatus Factors::repeat() {
  drop(other(plan_.method));
  return run();
}

void Factors::keep(SparseMethod method) {
  if (!engine(method)) return;
  drop(other(method));
  if (plan_.method == method) return;
  plan_.method = method;
  describe();
}

bool Factors::solve(bool transposed, const double* b, double* y) {
  return engine(plan_.method)->solve(transposed, b, y);
}

}  // namespace corvidnum::solver

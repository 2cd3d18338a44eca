// Solves and iterates for long, and watches whether memory and time stay flat.
//
//   corvidnum_soak CYCLES    refactorisations of each solver, 1 in 1000 singular, and ten times as many
//   passes
//                            of each accelerator; at least 1000
//
// Each solution is judged by its backward error, each singular matrix must be told as such, and what an
// accelerator comes to is judged by its distance from the fixed point. A loop is at fault once for each wrong
// answer, and once for each of blocks, bytes, resident memory and time that grew.

#include <cstdlib>
#include <memory>

#include "accel/dom_eigen_accel.h"
#include "accel/fixed_point.h"
#include "accel/mul_dom_eigen_accel.h"
#include "proof/soak/flatness.h"
#include "proof/support/loader.h"
#include "sparse/ma38/ma38_routines.h"
#include "sparse/ma48/ma48.h"
#include "sparse/sparse_solver.h"
#include "tests/support/fixed_point_maps.h"
#include "tests/support/sparse_matrices.h"

namespace {

using reference::Coordinates;
using reference::Random;
using reference::Vector;
using soak::Flatness;

constexpr std::int64_t kLeastCycles = 1000;
constexpr int kOneSingularIn = 1000;
constexpr int kPassesPerCycle = 10;
// Distances from the fixed point that the accelerators come to. Without them it is 1.4e-4.
constexpr double kErrorOfDominant = 1e-9, kErrorOfMultiple = 1e-5, kErrorOfFixedPoint = 1e-6;
constexpr double kRounding = 1e-9;  // scaled residual that the well-conditioned systems stay below

/// A matrix of one pattern whose values drift from cycle to cycle.
class Drifting {
 public:
  explicit Drifting(unsigned seed)
      : random_(seed), matrix_(reference::flowsheet_matrix(6, 5, random_)), start_(matrix_.values) {}

  /// Chooses the values of a cycle; of the singular ones a row is zero.
  void next(std::int64_t cycle) {
    singular_ = cycle % kOneSingularIn == kOneSingularIn - 1;
    for (std::size_t k = 0; k < start_.size(); ++k) {
      matrix_.values[k] = start_[k] * (1 + 0.05 * reference::uniform(random_));
      if (singular_ && matrix_.rows[k] == kEmptyRow) matrix_.values[k] = 0;
    }
  }
  bool singular() const { return singular_; }
  const Coordinates& matrix() const { return matrix_; }
  bool solves(const Vector& x, const Vector& b) const {
    return reference::scaled_residual(matrix_, x, b) < kRounding;
  }

 private:
  static constexpr int kEmptyRow = 7;
  Random random_;
  Coordinates matrix_;
  Vector start_;
  bool singular_ = false;
};

int count_wrong(bool right, int wrong) { return right ? wrong : wrong + 1; }

int soak_class_ma48(std::int64_t cycles) {
  Drifting drifting(1);
  const Coordinates& a = drifting.matrix();
  proof::Loader loader(a);
  ma48 solver(a.n, a.entries(), a.rows.data(), a.columns.data(), a.values.data(), &loader, 0);
  Vector b(static_cast<std::size_t>(a.n), 1.0), x = b;
  int wrong = 0;
  Flatness flatness(cycles);
  for (std::int64_t cycle = 0; cycle < cycles; ++cycle) {
    drifting.next(cycle);
    std::copy(a.values.begin(), a.values.end(), solver.Values());
    const bool solved = solver.Solve(b.data(), x.data()) != 0;
    wrong = count_wrong(drifting.singular() ? !solved : solved && drifting.solves(x, b), wrong);
    flatness.cycle_ends();
  }
  return wrong + flatness.tell("class ma48");
}

/// The arrays of the ma38 routines, and the pivots of the first matrix for all that follow.
class Ma38 {
 public:
  explicit Ma38(const Coordinates& a)
      : a_(a), value_(static_cast<std::size_t>(kRoom)), index_(static_cast<std::size_t>(kRoom)) {
    ma38id_(keep_, cntl_, icntl_);
    enter_values();
    enter_indices(index_);
    ma38ad_(&a_.n, &ne(), &kPlain, &kPlain, &kRoom, &kRoom, value_.data(), index_.data(), keep_, cntl_,
            icntl_, info_, rinfo_);
    std::copy(keep_, keep_ + MA38_KEEP_LENGTH, first_keep_);
    pattern_ = index_;
    enter_indices(pattern_);
  }
  bool is_ready() const { return ma38_info(info_, MA38_INFO_STATUS) == 0; }
  /// @return whether the values have these pivots
  bool refactorise() {
    enter_values();
    std::copy(pattern_.begin(), pattern_.end(), index_.begin());
    std::copy(first_keep_, first_keep_ + MA38_KEEP_LENGTH, keep_);
    ma38bd_(&a_.n, &ne(), &kPlain, &kPlain, &kRoom, &kRoom, value_.data(), index_.data(), keep_, cntl_,
            icntl_, info_, rinfo_);
    return is_ready();
  }
  bool solve(const Vector& b, Vector& x) {
    Vector& w = work_;
    w.resize(static_cast<std::size_t>(ma38_w_length(a_.n)));
    ma38cd_(&a_.n, &kPlain, &kPlain, &kRoom, &kRoom, value_.data(), index_.data(), keep_, b.data(), x.data(),
            w.data(), cntl_, icntl_, info_, rinfo_);
    return is_ready();
  }

 private:
  static constexpr int kPlain = 0, kRoom = 20000;
  const int& ne() {
    entries_ = a_.entries();
    return entries_;
  }
  void enter_values() { std::copy(a_.values.begin(), a_.values.end(), value_.begin()); }
  void enter_indices(std::vector<int>& index) const {
    std::copy(a_.rows.begin(), a_.rows.end(), index.begin());
    std::copy(a_.columns.begin(), a_.columns.end(), index.begin() + a_.entries());
  }

  const Coordinates& a_;
  int entries_ = 0;
  Vector value_, work_;
  std::vector<int> index_, pattern_;
  int keep_[MA38_KEEP_LENGTH], first_keep_[MA38_KEEP_LENGTH], icntl_[MA38_ICNTL_LENGTH],
      info_[MA38_INFO_LENGTH];
  double cntl_[MA38_CNTL_LENGTH], rinfo_[MA38_RINFO_LENGTH];
};

int soak_ma38(std::int64_t cycles) {
  Drifting drifting(2);
  Ma38 solver(drifting.matrix());
  Vector b(static_cast<std::size_t>(drifting.matrix().n), 1.0), x = b;
  int wrong = solver.is_ready() ? 0 : 1;
  Flatness flatness(cycles);
  for (std::int64_t cycle = 0; cycle < cycles; ++cycle) {
    drifting.next(cycle);
    const bool solved = solver.refactorise() && solver.solve(b, x);
    wrong = count_wrong(drifting.singular() ? !solved : solved && drifting.solves(x, b), wrong);
    flatness.cycle_ends();
  }
  return wrong + flatness.tell("routines of ma38");
}

int soak_front(std::int64_t cycles, corvidnum::SparseMethod method, const char* name) {
  using corvidnum::SparseStatus;
  Drifting drifting(3);
  corvidnum::SparseOptions options;
  options.method = method;
  options.repair = 1;  // not by the other method: it is this one that is to last
  const Coordinates& a = drifting.matrix();
  corvidnum::SparseSolver solver(a.n, a.entries(), a.rows.data(), a.columns.data(), 1, options);
  Vector b(static_cast<std::size_t>(a.n), 1.0), x = b;
  int wrong = 0;
  Flatness flatness(cycles);
  for (std::int64_t cycle = 0; cycle < cycles; ++cycle) {
    drifting.next(cycle);
    const SparseStatus factorised = solver.Refactorise(a.values.data());
    const SparseStatus solved = solver.Solve(b.data(), x.data());
    wrong = count_wrong(drifting.singular()
                            ? factorised == SparseStatus::Singular || solved == SparseStatus::Singular
                            : solved == SparseStatus::Solved && drifting.solves(x, b),
                        wrong);
    flatness.cycle_ends();
  }
  return wrong + flatness.tell(name);
}

/// The iteration begins anew now and then, as it would converge. Before that it is judged.
/// @param most  distance from the fixed point that is right then
int soak_accelerator(std::int64_t passes, Accel& accelerator, maps::Map map, double most, const char* name) {
  constexpr int kPassesOfOne = 50;
  maps::Vector x;
  int wrong = 0;
  Flatness flatness(passes);
  for (std::int64_t pass = 0; pass < passes; ++pass) {
    if (pass % kPassesOfOne == 0) {
      x = map.start();
      accelerator.Reset();
    }
    map.pass(x);
    accelerator.Accelerate(x.data());
    if (pass % kPassesOfOne == kPassesOfOne - 1) wrong = count_wrong(map.error(x) < most, wrong);
    flatness.cycle_ends();
  }
  return wrong + flatness.tell(name);
}

/// Half of each iteration is done by one object, the rest by another one that gets its saved state.
int soak_fixed_point(std::int64_t passes) {
  using corvidnum::FixedPoint;
  using corvidnum::FixedPointVerdict;
  maps::Map map(maps::Kind::kEightSlow, 2);
  const corvidnum::FixedPointOptions options;
  FixedPoint first(map.n(), options), second(map.n(), options);
  std::vector<char> state(static_cast<std::size_t>(first.StateSize()));
  constexpr int kSavedAt = 20;
  std::int64_t saved = 0;
  int wrong = 0;
  Flatness flatness(passes);
  for (std::int64_t pass = 0; pass < passes;) {
    maps::Vector x = map.start();
    FixedPoint* iteration = &first;
    FixedPointVerdict verdict = first.Start(x.data());
    for (int own = 1; pass < passes && verdict == FixedPointVerdict::Continue; ++pass, ++own) {
      map.pass(x);
      verdict = iteration->Pass(x.data());
      if (own == kSavedAt) {
        const bool goes_on = first.Save(state.data(), first.StateSize()) &&
                             second.Restore(state.data(), first.StateSize()) && second.Next(x.data());
        wrong = count_wrong(goes_on, wrong);
        ++saved;
        iteration = &second;
      }
      flatness.cycle_ends();
    }
    const bool converged = verdict == FixedPointVerdict::Converged && map.error(x) < kErrorOfFixedPoint;
    wrong = count_wrong(converged || pass == passes, wrong);
  }
  return wrong + (saved == 0) + flatness.tell("FixedPoint");
}

}  // namespace

int main(int count, char** arguments) {
  const std::int64_t cycles = count == 2 ? std::atoll(arguments[1]) : 0;
  if (cycles < kLeastCycles) {
    std::fputs("usage: corvidnum_soak CYCLES (1000 or more)\n", stderr);
    return 2;
  }
  corvid_host::SetLineSink([](void*, corvid_host::LineKind, const char*) {});  // singular matrices are told
  const std::int64_t passes = kPassesPerCycle * cycles;
  maps::Map slow(maps::Kind::kOneDominant, 3);
  DomEigenAccel dominant(slow.n(), 3, 1, 1, 0, 0);
  MulDomEigenAccel multiple(slow.n(), 2, 5, 0, 0);
  int found = soak_class_ma48(cycles);
  found += soak_ma38(cycles);
  found += soak_front(cycles, corvidnum::SparseMethod::ma48, "front by ma48");
  found += soak_front(cycles, corvidnum::SparseMethod::ma38, "front by ma38");
  found += soak_accelerator(passes, dominant, slow, kErrorOfDominant, "DomEigenAccel");
  found += soak_accelerator(passes, multiple, slow, kErrorOfMultiple, "MulDomEigenAccel");
  found += soak_fixed_point(passes);
  std::printf("soak: cycles of 4 solvers and passes of 3 accelerators, %lld, found %d\n",
              static_cast<long long>(4 * cycles + 3 * passes), found);
  return found > 0;
}

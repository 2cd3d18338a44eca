#pragma once

// What the runs find: for each family and kind of matrix the largest ratios, and each thing that is not as it
// must be.

#include <string>

#include "proof/ratios/problem.h"

namespace ratios {

/// The solvers and how they are set. The first five have LAPACK's limit; the others are the sparse solvers
/// with their defaults, which take smaller pivots or a larger residual for less work.
enum class Family {
  kDense,
  kBordered,
  kMa48Partial,
  kMa38Partial,
  kFrontTight,
  kMa48,
  kMa38,
  kMa38Refined,
  kFront,
  kFrontUnjudged
};
constexpr int kFamilies = 10, kFamiliesWithLapacksLimit = 5;

/// Why a family refuses a matrix that is not singular.
enum class Refusal { kPivotLimit, kOrderZero };
constexpr int kRefusals = 2;

enum Ratio { kFactors, kResidual, kError };
constexpr int kRatios = 3;
constexpr double kLimit = 30.0;  // that of LAPACK's tests

struct Cell {
  double largest[kRatios] = {-1.0, -1.0, -1.0};  // below 0: none taken
  double growth = 0.0;                           // largest of factors that may grow
  long systems = 0;                              // right-hand sides that were solved
  long refusals[kRefusals] = {};
};

class Findings {
 public:
  /// Begins a way of solving a problem; what is recorded from now on belongs to it, and has LAPACK's limit.
  void begin(Family family, const Problem& problem, const std::string& way);
  /// Multiplies LAPACK's limit for the solutions that follow.
  void allow_solutions(double multiple) { limits_[kResidual] = limits_[kError] = multiple * kLimit; }

  void factors(const Problem& problem, const RealMatrix& factors_multiplied) {
    record(kFactors, problem.factor_ratio(factors_multiplied));
  }
  /// @param may_grow  the pivots may let elements grow; then this growth multiplies LAPACK's limit, here and
  ///                  for the solutions that follow
  void factors(const Problem& problem, const Product& factors_multiplied, bool may_grow);
  void solutions(const Problem& problem, bool transposed, const Vector& x, int count);
  void refused(Refusal refusal) { ++cell_->refusals[static_cast<int>(refusal)]; }
  /// Records a fault unless the condition holds.
  void expect(bool condition, const std::string& what);

  const Cell& cell(Family family, Kind kind) const {
    return cells_[static_cast<int>(family)][static_cast<int>(kind)];
  }
  long faults() const { return faults_; }
  /// Right-hand sides that were solved.
  long systems() const;

 private:
  void record(Ratio ratio, double value);

  Cell cells_[kFamilies][kKinds];
  Cell* cell_ = nullptr;
  double limits_[kRatios];
  std::string where_;
  long faults_ = 0;
};

/// Prints the tables: as text, or as Markdown.
void print_tables(const Findings& findings, bool markdown);

}  // namespace ratios

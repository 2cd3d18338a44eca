// The automatic choice of a method.
//
// ma48 works on scalars and is fastest where factors stay sparse, as on flowsheets; ma38 works on dense
// fronts and is fastest where they fill in. Fill-in is not known before a factorisation. Flowsheets and
// networks of pipes or power lines, which hardly fill in at any size, have many equations in two unknowns;
// discretised equations and the stages of columns, which do fill in, have hardly one, in whatever order their
// rows and columns come. Of the others, those that are mostly symmetric fill in, and so do most large ones.
// A large matrix that fills in takes ma48 many times the time of ma38, so that it must be clear of both
// signs. bench/solver and bench/sparse measure the rule.

#include "sparse/solver/choice.h"

#include <algorithm>

#include "sparse/solver/structure.h"

namespace corvidnum::solver {
namespace {

// On most matrices that are more symmetric or larger than this, ma38 is the faster one.
constexpr double kSymmetric = 0.5;
constexpr int kLarge = 50000;  // entries

constexpr int kSmall = 3000;            // entries below which ma48 is the faster one whatever the pattern
constexpr int kLargeIfRepeated = 8000;  // entries of a symmetric pattern that is factorised often
constexpr int kOften = 5;               // factorisations of one pattern

// What stays sparse: few entries a row, and a share of rows or columns with two. (Those with one tell
// nothing: they are eliminated before all others, and the rest may be a mesh.)
constexpr int kShort = 2, kMostEntriesARowOfSparse = 6;
constexpr double kManyShortLines = 0.12;

// What a grid looks like, and what growth of the fronts suits it.
constexpr double kMostlySymmetric = 0.9;
constexpr int kMostEntriesARow = 12;
constexpr double kGrowth = 2, kGrowthOnGrids = 1.2;
constexpr int kLargeGrid = 20000;  // entries; smaller ones take no less time for fewer operations

constexpr double kThresholdOfMa48 = 0.1;
constexpr double kThresholdOfMa38 = 0.5;  // costs hardly any fill-in if the diagonal is preferred

/// Counts the rows or the columns that have kShort entries.
/// @param begin [order + 1]
int count_short_lines(int order, const int* begin) {
  int count = 0;
  for (int i = 0; i < order; ++i) count += begin[i + 1] - begin[i] == kShort;
  return count;
}

/// Tells whether a pattern looks like that of a flowsheet or a network. Large symmetric ones do not count:
/// equations of flows between the cells of a mesh have two unknowns, too.
bool stays_sparse(const PatternFacts& facts) {
  return facts.short_lines >= kManyShortLines * facts.order &&
         facts.entries <= std::int64_t{kMostEntriesARowOfSparse} * facts.order &&
         (facts.entries < kLarge || facts.symmetry < kSymmetric);
}

/// Tells whether a pattern looks like that of a discretised equation, whose factors fill in without limit.
bool is_mesh(const PatternFacts& facts) {
  return facts.symmetry >= kMostlySymmetric && facts.diagonal_entries == facts.order;
}

bool suits_small_growth(const PatternFacts& facts, const SparseOptions& options) {
  const bool is_grid = is_mesh(facts) && facts.entries <= std::int64_t{kMostEntriesARow} * facts.order;
  return is_grid && (facts.entries >= kLargeGrid || options.factorisations >= kOften);
}

}  // namespace

PatternFacts study(const Pattern& pattern) {
  const int diagonal = diagonal_entries(pattern);
  const int short_lines = std::max(count_short_lines(pattern.order, pattern.row_begin),
                                   count_short_lines(pattern.order, pattern.column_begin));
  return {pattern.order, pattern.entries(), pattern_symmetry(pattern, diagonal), diagonal, short_lines};
}

Plan plan_for(SparseMethod method, const PatternFacts& facts, const SparseOptions& options,
              const char* reason) {
  const double own = method == SparseMethod::ma48 ? kThresholdOfMa48 : kThresholdOfMa38;
  EngineSettings settings{};
  settings.threshold = options.threshold > 0 ? options.threshold : own;
  settings.blocks = options.blocks != 0;
  settings.prefer_diagonal = options.diagonal < 0 ? facts.diagonal_entries > 0 : options.diagonal != 0;
  settings.is_mesh = is_mesh(facts);
  settings.growth = options.growth > 0                   ? options.growth
                    : suits_small_growth(facts, options) ? kGrowthOnGrids
                                                         : kGrowth;
  return {method, settings, reason};
}

Plan choose_plan(const PatternFacts& facts, const SparseOptions& options) {
  const auto plan = [&](SparseMethod method, const char* reason) {
    return plan_for(method, facts, options, reason);
  };
  if (options.method != SparseMethod::automatic) return plan(options.method, "asked for");
  if (facts.entries < kSmall) return plan(SparseMethod::ma48, "the matrix is small");
  if (stays_sparse(facts))
    return plan(SparseMethod::ma48, "many equations have two unknowns, or many unknowns two equations");
  const bool often = options.factorisations >= kOften;
  if (facts.entries >= kLarge) return plan(SparseMethod::ma38, "the matrix is large");
  if (facts.symmetry < kSymmetric)
    return plan(SparseMethod::ma48, "the pattern is not symmetric and not large");
  if (often && facts.entries < kLargeIfRepeated)
    return plan(SparseMethod::ma48, "the pattern is small and factorised often");
  return plan(SparseMethod::ma38, "the pattern is mostly symmetric");
}

}  // namespace corvidnum::solver

// Options of SparseSolver by name, their ranges, and the texts of statuses and methods.

#include <set>
#include <string>

#include "tests/sparse/solver/solving.h"

namespace solver_tests {
namespace {

using corvidnum::GetOption;
using corvidnum::SetOption;

TEST(SparseOptions, TableRecordAndRangesAgree) {
  int count = 0;
  const corvidnum::SparseOption* table = corvidnum::SparseOptionTable(&count);
  EXPECT_EQ(corvidnum::SparseOptionTable(nullptr), table);
  ASSERT_EQ(count, 10);
  const Coordinates one{1, 1, {1}, {1}, {2.0}};
  for (int k = 0; k < count; ++k) {
    const corvidnum::SparseOption& option = table[k];
    SCOPED_TRACE(option.name);
    EXPECT_EQ(GetOption(SparseOptions(), option.name), option.standard);
    for (const double value : {option.lowest, option.highest}) {
      SparseOptions options;
      EXPECT_TRUE(SetOption(&options, option.name, value));
      for (int other = 0; other < count; ++other)  // no field and no name is shared
        EXPECT_EQ(GetOption(options, table[other].name), other == k ? value : table[other].standard);
      Solver solver(one, options);
      EXPECT_EQ(solver.State(), SparseStatus::NotFactorised);
      EXPECT_EQ(GetOption(solver.Options(), option.name), value);
    }
    for (const double value : {option.lowest - 1, option.highest + 1, std::nan("")}) {
      SparseOptions options;
      EXPECT_FALSE(SetOption(&options, option.name, value));
      EXPECT_EQ(GetOption(options, option.name), option.standard);
    }
  }
  SparseOptions options;
  EXPECT_FALSE(SetOption(&options, "no such option", 1));
  EXPECT_FALSE(SetOption(&options, nullptr, 1));
  EXPECT_FALSE(SetOption(nullptr, "judge", 1));
  EXPECT_TRUE(std::isnan(GetOption(options, "no such option")));
  EXPECT_FALSE(SetOption(&options, "corrections", 3.9));
  EXPECT_EQ(options.corrections, SparseOptions().corrections);
}

TEST(SparseOptions, RecordsOutOfRangeAreRefused) {
  void (*const spoil[])(SparseOptions&) = {[](SparseOptions& o) { o.method = static_cast<SparseMethod>(3); },
                                           [](SparseOptions& o) { o.bound = 0; },
                                           [](SparseOptions& o) { o.repair = 3; },
                                           [](SparseOptions& o) { o.threshold = std::nan(""); }};
  const Coordinates one{1, 1, {1}, {1}, {2.0}};
  for (const auto& spoiled : spoil) {
    SparseOptions options;
    options.corrections = 5;
    spoiled(options);
    EXPECT_EQ(Solver(one, options).State(), SparseStatus::BadInput);
    Solver solver(one);
    solver.Factorise(one.values.data());
    EXPECT_EQ(solver.SetOptions(options), SparseStatus::BadInput);
    EXPECT_EQ(solver.Options().corrections, SparseOptions().corrections);
    EXPECT_EQ(solver.State(), SparseStatus::Factorised);
  }
}

TEST(SparseOptions, EveryStatusHasANumberAndAText) {
  std::set<std::string> texts;
  for (int status = 0; status <= 9; ++status)
    EXPECT_TRUE(texts.insert(StatusText(static_cast<SparseStatus>(status))).second);
  EXPECT_EQ(static_cast<int>(SparseStatus::Inexact), 3);
  EXPECT_EQ(static_cast<int>(SparseStatus::BadInput), 8);
  EXPECT_STREQ(MethodName(SparseMethod::automatic), "automatic");
  EXPECT_STREQ(MethodName(SparseMethod::ma38), "ma38");
}

TEST(SparseOptions, AreUsedByTheNextOperation) {
  Random random(51);
  const Coordinates a = reference::random_square(30, 3, random);
  Solver solver(a, by(SparseMethod::ma48));
  const SparseReport& report = solver.Report();
  solver.Factorise(a.values.data());
  SparseOptions options = by(SparseMethod::ma38);
  options.blocks = 0;
  options.threshold = 0.25;
  options.diagonal = 0;
  EXPECT_EQ(solver.SetOptions(options), SparseStatus::Factorised);
  EXPECT_EQ(report.method, SparseMethod::ma48);
  solver.Factorise(a.values.data());
  EXPECT_EQ(report.method, SparseMethod::ma38);
  EXPECT_EQ(report.threshold, 0.25);
  EXPECT_EQ(report.prefers_diagonal, 0);
  EXPECT_EQ(report.blocks, 1);
  EXPECT_EQ(report.rank, a.n);
  EXPECT_GE(report.factor_entries, report.entries);
}

/// A band matrix: row i has a dominant diagonal element and one element in each of these columns beyond it,
/// round the end.
Coordinates band(int order, std::initializer_list<int> distances) {
  Coordinates a{order, order, {}, {}, {}};
  for (int i = 0; i < order; ++i) {
    a.add(i + 1, i + 1, 10.0);
    for (const int distance : distances) a.add(i + 1, (i + order + distance) % order + 1, -1.0);
  }
  return a;
}

/// Adds rows with nothing but their diagonal.
Coordinates with_lonely_entries(Coordinates a, int rows) {
  for (int i = a.n + 1; i <= a.n + rows; ++i) a.add(i, i, 1);
  return {a.n + rows, a.n + rows, a.rows, a.columns, a.values};
}

/// A symmetric matrix of blocks of order 2.
Coordinates pairs(int blocks) {
  Coordinates a{2 * blocks, 2 * blocks, {}, {}, {}};
  for (int i = 1; i <= a.n; i += 2) {
    for (const int row : {i, i + 1}) {
      for (const int column : {i, i + 1}) a.add(row, column, row == column ? 10.0 : -1.0);
    }
  }
  return a;
}

/// Replaces the first rows by rows of two entries, on the diagonal and in the last column. Few of the columns
/// then have two.
Coordinates with_short_rows(const Coordinates& a, int rows) {
  Coordinates shorter{a.n, a.n, {}, {}, {}};
  for (std::size_t k = 0; k < a.values.size(); ++k) {
    if (a.rows[k] > rows) shorter.add(a.rows[k], a.columns[k], a.values[k]);
  }
  for (int i = 1; i <= rows; ++i) {
    shorter.add(i, i, 10.0);
    shorter.add(i, a.n, -1.0);
  }
  return shorter;
}

Coordinates transposed(const Coordinates& a) { return {a.n, a.n, a.columns, a.rows, a.values}; }

TEST(SparseOptions, AutomaticChoosesByThePattern) {
  const char* const many_short = "many equations have two unknowns, or many unknowns two equations";
  const struct {
    Coordinates a;
    int factorisations;
    SparseMethod method;
    const char* reason;
    double growth, threshold;
  } rows[] = {
      {band(900, {1, -1}), 1, SparseMethod::ma48, "the matrix is small", 0, 0.1},
      {band(1000, {1, -1}), 1, SparseMethod::ma38, "the pattern is mostly symmetric", 2, 0.5},
      {band(1000, {1, -1}), 5, SparseMethod::ma48, "the pattern is small and factorised often", 0, 0.1},
      {band(2700, {1, -1}), 5, SparseMethod::ma38, "the pattern is mostly symmetric", 1.2, 0.5},
      {band(7000, {1, -1}), 1, SparseMethod::ma38, "the pattern is mostly symmetric", 1.2, 0.5},
      {band(2000, {1, 7}), 1, SparseMethod::ma48, "the pattern is not symmetric and not large", 0, 0.1},
      {band(17000, {1, 7}), 1, SparseMethod::ma38, "the matrix is large", 2, 0.5},
      {with_lonely_entries(band(1000, {1, -1}), 300), 1, SparseMethod::ma38,
       "the pattern is mostly symmetric", 2, 0.5},
      {band(26000, {1}), 1, SparseMethod::ma48, many_short, 0, 0.1},
      {with_short_rows(band(3000, {1, -1}), 370), 1, SparseMethod::ma48, many_short, 0, 0.1},
      {transposed(with_short_rows(band(3000, {1, -1}), 370)), 1, SparseMethod::ma48, many_short, 0, 0.1},
      {with_short_rows(band(3000, {1, -1}), 350), 1, SparseMethod::ma38, "the pattern is mostly symmetric", 2,
       0.5},
      {with_short_rows(band(3000, {1, -1, 2, -2, 3, -3, 4}), 370), 1, SparseMethod::ma38,
       "the pattern is mostly symmetric", 2, 0.5},
      {band(1400, {1}), 1, SparseMethod::ma48, "the matrix is small", 0, 0.1},
      {pairs(13000), 1, SparseMethod::ma38, "the matrix is large", 1.2, 0.5},
      {pairs(2000), 1, SparseMethod::ma48, many_short, 0, 0.1},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.a.n);
    SparseOptions options;
    options.factorisations = row.factorisations;
    Solver solver(row.a, options);
    EXPECT_EQ(solver.Factorise(row.a.values.data()), SparseStatus::Factorised);
    EXPECT_EQ(solver.Report().method, row.method);
    EXPECT_STREQ(solver.Report().reason, row.reason);
    EXPECT_EQ(solver.Report().growth, row.growth);
    EXPECT_EQ(solver.Report().threshold, row.threshold);
  }
}

}  // namespace
}  // namespace solver_tests

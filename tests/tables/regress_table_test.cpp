#include "tables/regress_table.h"

#include <climits>
#include <cmath>

#include "frame/empty_value.h"
#include "tests/tables/table_file.h"

namespace {

using test_support::kNaN, test_support::Rows, test_support::same, test_support::Values;
class RegressTableTest : public test_support::TableFile {};

/// Fits nothing: its correlation is a straight line, before which `meddle` may use the table.
struct Line : test_support::Open<RegressTable> {
  Line() = default;
  explicit Line(const Rows& rows, double from = 0.0, double by = 1.0) : Open(rows), start(from), slope(by) {}
  double Func(double x) override {
    if (meddle) meddle(*this);
    return start + slope * x;
  }
  using RegressTable::fitSize, RegressTable::pctErrors, RegressTable::yFitValues;

  Values Scalars() const { return {upperLimit, lowerLimit, r2, maxError, minError, maxErrorTk, minErrorTk}; }
  Values Content() const {
    Values values = Open::Content();
    for (const double scalar : Scalars()) values.push_back(scalar);
    values.push_back(fitSize);
    for (int i = 0; i < fitSize; ++i) values.insert(values.end(), {yFitValues[i], pctErrors[i]});
    return values;
  }

  double start = 0.0, slope = 1.0;
  void (*meddle)(Line&) = nullptr;
};

TEST_F(RegressTableTest, StatisticsOfSmallTables) {
  constexpr double E = EmptyValue;
  const struct {
    const char* what;
    Rows rows;
    double start, slope, lower, upper;
    bool result;
    double r2, max_error, min_error, max_at, min_at;
  } cases[] = {
      {"no points", {}, 0, 1, E, E, false, E, 0, 1e30, E, E},
      {"none active", {{1, 1}, {2, 2}}, 0, 1, 3, E, false, E, 0, 1e30, E, E},
      {"limits crossed", {{1, 1}, {2, 2}}, 0, 1, 2, 1, false, E, 0, 1e30, E, E},
      {"exact", {{1, 1}, {2, 2}, {4, 4}}, 0, 1, E, E, true, 1, 0, 0, E, 1},
      {"off and level", {{1, 8}, {2, 8}}, 6, 0, E, E, true, E, 25, 25, 1, 1},
      {"by hand", {{1, 2}, {2, 2}, {4, 8}}, 0, 1, E, E, true, 1 - 17.0 / 24, 50, 0, 1, 2},
      {"opposite errors", {{5, 2}, {6, -2}}, 1, 0, E, E, true, 1 - 10.0 / 8, 150, 50, 6, 5},
      {"points on the limits", {{1, 9}, {2, 4}, {4, 2}, {5, 9}}, 0, 1, 2, 4, true, -3, -100, 50, 4, 2},
      {"upper limit alone", {{1, 2}, {5, 9}}, 0, 1, E, 1, true, E, 50, 50, 1, 1},
      {"zero y", {{1, 0}, {2, 4}}, 0, 1, E, E, true, 1 - 5.0 / 8, -HUGE_VAL, 50, 1, 2},
      {"zero by zero", {{0, 0}, {2, 4}}, 0, 1, E, E, true, 0.5, 50, 50, 2, 2},
      {"empty y is a number", {{1, E}, {3, E}}, E, 0, E, E, true, 1, 0, 0, E, 1},
      {"nan x passes the limits", {{kNaN, 4}, {9, 8}}, 0, 1, 1, 8, true, E, 0, 1e30, E, E}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    Line table(c.rows, c.start + 1, c.slope);
    table.Stats();  // of another line; nothing of it may stay
    table.start = c.start;
    table.LowerRegressionLimit(c.lower);
    table.UpperRegressionLimit(c.upper);
    EXPECT_EQ(table.Stats(), c.result);
    EXPECT_EQ(
        Values({table.R2(), table.MaxError(), table.MinError(), table.MaxErrorTk(), table.MinErrorTk()}),
        Values({c.r2, c.max_error, c.min_error, c.max_at, c.min_at}));
    table.ClearStats();
    EXPECT_EQ(table.Scalars(), Values({c.upper, c.lower, E, E, E, E, E}));
    EXPECT_EQ(table.ClearData(), 1);
    EXPECT_EQ(table.Scalars(), Values(7, E));
  }
}

TEST_F(RegressTableTest, ActivePointsLieWithinTheLimits) {
  Line table({{5, 50}, {1, 10}, {kNaN, 7}, {3, 30}, {EmptyValue, 2}});
  EXPECT_TRUE(table.TempInRange(EmptyValue) && table.TempInRange(-HUGE_VAL) && table.TempInRange(kNaN));
  table.LowerRegressionLimit(1);
  table.UpperRegressionLimit(3);
  EXPECT_TRUE(table.TempInRange(1) && table.TempInRange(3) && table.TempInRange(kNaN));
  EXPECT_FALSE(table.TempInRange(std::nextafter(1, 0)) || table.TempInRange(std::nextafter(3, 4)));
  for (const int index : {0, 1, 2, 3, -1, INT_MAX}) {
    double x = 0.0, y = 0.0, expectedX = EmptyValue, expectedY = EmptyValue;
    const bool there = index >= 0 && index < 3;
    EXPECT_EQ(table.GetActivePoint(index, x, y), there);
    EXPECT_EQ(table.cursor, there ? index + 1 : 5);
    if (there) table.GetPoint(index + 1, expectedX, expectedY);
    EXPECT_TRUE(same(x, expectedX) && same(y, expectedY)) << index;
  }
}

TEST_F(RegressTableTest, FittedValuesFollowTheirOwnRules) {
  Line table({{1, 2}, {EmptyValue, 5}, {2, 0}, {3, EmptyValue}, {4, -8}});
  table.UpperRegressionLimit(1);  // fitted values are for all
  EXPECT_EQ(table.YFit(0), EmptyValue);
  EXPECT_EQ(table.UpdateYFit(), 1);
  const double fits[] = {1, EmptyValue, 2, 3, 4}, errors[] = {50, EmptyValue, EmptyValue, EmptyValue, 150};
  for (int i = 0; i < 5; ++i) EXPECT_TRUE(table.YFit(i) == fits[i] && table.PctError(i) == errors[i]) << i;
  for (const int i : {-1, 5, 14, 15, INT_MAX}) EXPECT_TRUE(table.YFit(i) == EmptyValue) << i;
  EXPECT_EQ(table.cursor, 5);
  while (table.nPoints < 16) {
    table.AddPoint(7, 7);
    table.UpdateYFit();
    EXPECT_EQ(table.fitSize, table.nPoints <= 15 ? 15 : 26);
  }
  table.RemovePoint(15);
  EXPECT_EQ(table.YFit(15), 7);  // of a point that was
  table.ClearData();
  EXPECT_EQ(table.UpdateYFit(), 1);
  EXPECT_TRUE(table.YFit(0) == 1 && table.cursor == 0);  // nothing to replace the old ones
}

TEST_F(RegressTableTest, ACorrelationMayUseItsTable) {
  const auto shorten = [](Line& line) { line.RemovePoint(0); };
  const auto empty = [](Line& line) { line.ClearData(); };
  const auto lengthen = [](Line& line) { line.nPoints < 99 ? line.AddPoint(5, 5) : 0; };
  for (void (*const meddle)(Line&) : {+shorten, +empty, +lengthen}) {
    Line compared({{1, 1}, {2, 2}, {3, 3}}), fitted({{1, 1}, {2, 2}, {3, 3}});
    compared.meddle = fitted.meddle = meddle;
    EXPECT_TRUE(compared.Stats() && fitted.UpdateYFit());
  }
}

TEST_F(RegressTableTest, DefaultsCopiesAndAssignment) {
  RegressTable plain;
  plain.AddPoint(1.0, 2.0);
  EXPECT_TRUE(plain.Stats() && plain.MaxError() == (2.0 - EmptyValue) / 2.0 * 100.0);
  Line source({{1, 2}, {2, 3}});
  source.LowerRegressionLimit(1);
  source.Stats();
  source.UpdateYFit();
  Line copy(source), target(source);
  EXPECT_EQ(copy.Scalars(), source.Scalars());
  EXPECT_TRUE(copy.nPoints == 2 && copy.fitSize == EmptyValueInt && !copy.yFitValues && !copy.pctErrors);
  target.AddPoint(3, 4);
  double* abandoned[] = {target.xValues, target.yValues};
  source.cursor = 5;
  target = source;
  EXPECT_TRUE(target.Content() == source.Content() && target.cursor == 5);
  EXPECT_TRUE(target.xValues == source.xValues && target.yValues == source.yValues &&
              target.yFitValues == source.yFitValues && target.pctErrors == source.pctErrors);
  for (double* array : abandoned) Corvid_delete(array);
  target.xValues = target.yValues = nullptr;
  target.InitData();  // abandons what `source` owns
  EXPECT_TRUE(target.fitSize == EmptyValueInt && source.YFit(1) == 2);
}

// ---- Files and refused memory

TEST_F(RegressTableTest, FilesGiveBackEachBit) {
  Line stored({{300.5, kNaN}, {-0.0, 4}});
  expect_round_trip(stored, 2 + 4 + 7 + 1);
  stored.UpperRegressionLimit(1e-310);
  stored.Stats();
  stored.UpdateYFit();
  expect_round_trip(stored, 2 + 4 + 7 + 1 + 24);
}

TEST_F(RegressTableTest, RecallTreatsEachFitSize) {
  constexpr double E = EmptyValue;
  const struct {
    int size, pairs;  // in the file
    int refused;      // which allocation; there are two for the points and two for the fit
    bool result;
    int points, fit_size;
    double first, last;  // fitted values then; the last is that of element 11
  } cases[] = {{0, 0, 0, true, 2, 0, E, E},
               {-5, 0, 0, true, 2, -5, E, E},
               {12, 12, 0, true, 2, 12, 0, 11},
               {12, 2, 0, false, 2, 12, 0, E},
               {12, 12, 2, false, 0, 11, 5, E},
               {12, 12, 3, false, 2, EmptyValueInt, E, E},
               {12, 12, 4, false, 2, EmptyValueInt, E, E},
               {INT_MAX, 2, 0, false, 2, EmptyValueInt, E, E}};
  Line points({{1, 2}, {3, 4}});
  corvid_host::LimitBlockBytes(1 << 20);
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << c.size << ", refused " << c.refused);
    write([&](BinaryFile& file) {
      ChunkHeader header{};
      header.Create(file, 7);
      points.XYTable::Store(file);
      for (int i = 0; i < 7; ++i) file.WriteDouble(i);
      file.WriteInt(c.size);
      for (int i = 0; i < c.pairs; ++i) file.WriteDouble(i), file.WriteDouble(-i);
      header.Close(file);
    });
    Line table(Rows{{5, 6}});
    table.UpdateYFit();
    EXPECT_EQ(recall(table, -1, c.refused), c.result);
    EXPECT_EQ(table.nPoints, c.points);
    EXPECT_EQ(table.Scalars(), c.points ? Values({0, 1, 2, 3, 4, 5, 6}) : Values(7, E));
    EXPECT_EQ(table.fitSize, c.fit_size);
    EXPECT_TRUE(table.YFit(0) == c.first && table.YFit(11) == c.last);
    EXPECT_EQ(table.UpdateYFit(), 1);
    EXPECT_EQ(table.YFit(1), c.points ? 3 : E);
  }
  for (const int n : {1, 2}) {
    corvid_host::FailAllocation(n);
    EXPECT_EQ(points.UpdateYFit(), 0);
    EXPECT_TRUE(points.fitSize == EmptyValueInt && points.PctError(0) == EmptyValue);
  }
}

}  // namespace

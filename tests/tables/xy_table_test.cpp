#include <algorithm>
#include <climits>
#include <cmath>
#include <memory>
#include <random>
#include <utility>

#include "tests/tables/table_file.h"
#include "tests/tables/table_model.h"

namespace {

using test_support::exchange_sort;
using test_support::kNaN, test_support::Rows, test_support::same;
using Table = test_support::OpenXYTable;
using Model = test_support::TableModel;
class XYTableTest : public test_support::TableFile {};

// ---- Editing and walking

TEST_F(XYTableTest, EditingFollowsAModelOfRows) {
  std::mt19937 random(7);
  for (const int chunk : {10, 3, 1, 0, -4}) {
    table_chunk_size = chunk;
    auto table = std::make_unique<Table>();
    Model model{{}, std::max(chunk, 0), 0};
    for (int step = 0; step < 20000; ++step) {
      ASSERT_EQ(act(table, model, random), "") << "chunk " << chunk << ", step " << step;
    }
  }
}

TEST_F(XYTableTest, FreedSlotsBecomeEmpty) {
  Table table(Rows{{1, 2}, {3, 4}, {5, 6}});
  table.RemovePoint(1);
  EXPECT_TRUE(table.Holds({{1, 2}, {5, 6}, {EmptyValue, EmptyValue}}));
  table.ClearData();
  EXPECT_TRUE(table.Holds(Rows(10, {EmptyValue, EmptyValue})));
}

// ---- Sorting

void expect_sorted_as_by_exchange(const Rows& rows) {
  Rows expected = rows;
  exchange_sort(expected);
  for (const bool refused : {false, true}) {
    Table table(rows);
    if (refused) corvid_host::FailAllocationsFrom(1);
    EXPECT_EQ(table.Sort(), 1);
    corvid_host::StopFailing();
    ASSERT_TRUE(table.Holds(expected)) << rows.size() << " rows" << (refused ? ", no memory" : "");
  }
}

TEST_F(XYTableTest, SortEqualsTheExchangeRule) {
  const double few[] = {1.0, EmptyValue, kNaN, 2.0};
  const double odd[] = {0.0, -0.0, HUGE_VAL, -HUGE_VAL, kNaN, EmptyValue, 1.0, 2.0};
  for (int n = 1; n <= 6; ++n) {
    for (int code = 0; code < 1 << 2 * n; ++code) {  // all that four values make
      Rows rows;
      for (int i = 0; i < n; ++i) rows.emplace_back(few[code >> 2 * i & 3], i);
      expect_sorted_as_by_exchange(rows);
    }
  }
  std::mt19937 random(1);
  for (const int n : {0, 16, 17, 33, 100, 700}) {
    for (int kind = 0; kind < 5; ++kind) {
      Rows rows;
      for (int i = 0; i < n; ++i) {
        const double any = std::uniform_real_distribution<>(-1e5, 1e5)(random);
        const double x[] = {any, odd[random() % 8], std::floor(any / 1e4), double(i), double(-i)};
        rows.emplace_back(kind != 1 && random() % 80 == 0 ? kNaN : x[kind], i);
      }
      expect_sorted_as_by_exchange(rows);
    }
  }
}

// ---- Files

TEST_F(XYTableTest, FilesGiveBackEachBit) {
  Rows rows{{kNaN, -0.0}, {EmptyValue, 1e-310}, {-HUGE_VAL, EmptyValue}};
  Table none, stored(rows), back;
  expect_round_trip(none, 2);
  expect_round_trip(stored, 8);
  back.cursor = 7;
  EXPECT_TRUE(recall(back) && back.cursor == 7);
  rows.resize(10, {EmptyValue, EmptyValue});
  EXPECT_TRUE(back.Holds(rows));
}

TEST_F(XYTableTest, RecallTreatsEachPairOfCounts) {
  constexpr double E = EmptyValue;
  const struct {
    int count, room, numbers;  // in the file; without numbers (-1) the room is missing too
    bool result;
    int points, capacity;
    Rows slots;
  } cases[] = {{2, 4, 4, true, 2, 4, {{0, 1}, {2, 3}, {E, E}, {E, E}}},
               {2, 1, 4, true, 2, 2, {{0, 1}, {2, 3}}},
               {1, -9, 2, true, 1, 1, {{0, 1}}},
               {-3, 2, 0, true, -3, 2, {{E, E}, {E, E}}},
               {INT_MIN, INT_MIN, 0, true, INT_MIN, 0, {}},
               {3, 4, 3, false, 3, 4, {{0, 1}, {2, E}, {E, E}, {E, E}}},
               {INT_MAX, 1, 9, false, 0, 0, {}},
               {1, INT_MAX, 2, false, 0, 0, {}},
               {5, 0, -1, false, 5, 5, {{80, 81}, {90, 91}, {E, E}, {E, E}, {E, E}}},
               {-7, 0, -1, false, -7, 3, {{80, 81}, {90, 91}, {E, E}}},
               {INT_MAX, 0, -1, false, 0, 0, {}}};
  table_chunk_size = 3;
  corvid_host::LimitBlockBytes(1 << 20);
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << c.count << ", " << c.room);
    write([&](BinaryFile& file) {
      ChunkHeader header{};
      header.Create(file, 99);
      file.WriteInt(c.count);
      if (c.numbers >= 0) file.WriteInt(c.room);
      for (int i = 0; i < c.numbers; ++i) file.WriteDouble(i);
      header.Close(file);
    });
    Table table(Rows{{80, 81}, {90, 91}});
    EXPECT_EQ(recall(table), c.result);
    EXPECT_EQ(table.NDataPoints(), c.points);
    EXPECT_EQ(table.capacity, c.capacity);
    EXPECT_TRUE(table.Holds(c.slots));
    if (c.points > 0) continue;
    double x = 0.0, y = 0.0;  // works on as an empty one
    EXPECT_FALSE(table.GetFirstPoint(x, y) || table.GetPoint(0, x, y) || table.RemovePoint(0));
    EXPECT_TRUE(Table(table).NDataPoints() == c.points && table.XDim() == 1 && table.Sort());
    EXPECT_TRUE(table.NewXi(0, 6.0) && table.nPoints == 1 && table.Holds({{6.0, EmptyValue}}));
  }
}

TEST_F(XYTableTest, RefusedMemoryDoesNoHarm) {
  const Rows rows{{1, 2}, {3, 4}};
  table_chunk_size = 2;
  Table full(rows);
  double x = 0.0, y = 0.0;
  for (const int n : {1, 2}) {
    corvid_host::FailAllocation(n);
    Table fresh;
    corvid_host::FailAllocation(n);
    Table copy(full);
    EXPECT_TRUE(copy.nPoints == 0 && copy.capacity == 0 && !copy.GetPoint(0, x, y) && copy.ClearData());
    corvid_host::FailAllocation(n);
    full.AddPoint(8, 9);
    corvid_host::FailAllocation(n);
    EXPECT_EQ(full.NewXi(2, 8), 0);
    EXPECT_EQ(full.NewXi(2, EmptyValue), 1);  // no room, no write
    EXPECT_TRUE(full.nPoints == 2 && full.capacity == 2 && full.Holds(rows));
    EXPECT_EQ(fresh.capacity, 0);
    fresh.AddPoint(8, 9);
    EXPECT_TRUE(fresh.Holds({{8, 9}}) && fresh.capacity == 2);
  }
}

}  // namespace

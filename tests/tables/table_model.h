#pragma once

// A table of points as a list of rows, and random edits of both.

#include <algorithm>
#include <memory>
#include <random>
#include <string>
#include <utility>

#include "frame/empty_value.h"
#include "tables/xy_table.h"
#include "tests/tables/open_table.h"

namespace test_support {

using OpenXYTable = Open<XYTable>;

/// The exchange rule to the letter: what Sort must equal.
inline void exchange_sort(Rows& rows) {
  for (bool exchanged = rows.size() > 1; exchanged;) {
    exchanged = false;
    for (std::size_t i = rows.size() - 1; i >= 1; --i) {
      if (rows[i].first < rows[i - 1].first) std::swap(rows[i], rows[i - 1]), exchanged = true;
    }
    if (!exchanged) return;
    for (std::size_t i = 1; i < rows.size(); ++i) {
      if (rows[i - 1].first > rows[i].first) std::swap(rows[i - 1], rows[i]);
    }
  }
}

/// Rows as a user sees them, with the room and the cursor that a table must have.
struct TableModel {
  Rows rows;
  int capacity, cursor;

  int size() const { return static_cast<int>(rows.size()); }
  bool has(int i) const { return i >= 0 && i < size(); }
  void add(double x, double y) {
    if (size() == capacity) capacity += std::max(table_chunk_size, 1);
    rows.emplace_back(x, y);
  }
  void edit(int i, double value, double Rows::value_type::*side) {
    auto& row = rows.begin()[i];
    row.*side = value;
    if (value == EmptyValue && row.first == row.second) rows.erase(rows.begin() + i);
  }
};

/// Tells whether a table is what its model says; @return what it is not, or an empty string
inline std::string difference(OpenXYTable& table, const TableModel& model) {
  const auto empty = [](double v) { return v == EmptyValue; };
  const auto half = [&](const auto& row) { return empty(row.first) || empty(row.second); };
  const bool spare = model.rows.empty() || !half(model.rows.back());
  if (table.NDataPoints() != model.size() || table.YDim() != model.size()) return "the number of points";
  if (table.XDim() != model.size() + spare) return "the number of rows to edit";
  if (table.capacity != model.capacity || table.cursor != model.cursor) return "the room or the cursor";
  if (table.AllDataIsNonEmpty() != std::none_of(model.rows.begin(), model.rows.end(), half))
    return "what is empty";
  return table.Holds(model.rows) ? "" : "the points";
}

/// One random operation on both. @return what differs: the operation's answer, or the table after it
inline std::string act(std::unique_ptr<OpenXYTable>& table, TableModel& model, std::mt19937& random) {
  const auto draw = [&](int first, int last) {
    return first + static_cast<int>(random() % static_cast<unsigned>(last - first + 1));
  };
  const double values[] = {EmptyValue, EmptyValue, EmptyValue, 1.0, 2.0, -0.0, kNaN, -1e300};
  const int i = draw(-2, model.size() + 2), j = draw(-1, model.size()), action = draw(0, 16);
  const double v = values[draw(0, 7)], w = values[draw(0, 7)];
  bool answered = true;
  if (action == 0) {
    answered = table->AddPoint(v, w) == 0;
    model.add(v, w);
  } else if (action == 1) {
    answered = table->RemovePoint(i) == model.has(i);
    if (model.has(i)) model.rows.erase(model.rows.begin() + i);
  } else if (action <= 5) {
    answered = table->NewXi(i, v) == (i >= 0 && i <= model.size());
    if (model.has(i)) {
      model.edit(i, v, &Rows::value_type::first);
    } else if (i == model.size() && v != EmptyValue) {
      model.add(v, EmptyValue);
    }
  } else if (action <= 9) {
    answered = table->NewYi(i, v) == model.has(i);
    if (model.has(i)) model.edit(i, v, &Rows::value_type::second);
  } else if (action == 10) {
    answered = table->Swap(i, j) == 1;
    if (model.has(i) && model.has(j)) std::swap(model.rows.begin()[i], model.rows.begin()[j]);
  } else if (action == 11) {
    answered = table->Sort() == 1;
    exchange_sort(model.rows);
  } else if (action <= 14) {
    double x = 0.0, y = 0.0;
    const auto there = action == 12   ? table->GetPoint(i, x, y)
                       : action == 13 ? table->GetFirstPoint(x, y)
                                      : table->GetNextPoint(x, y);
    if (action > 12) model.cursor = action == 13 ? 0 : model.cursor + 1;
    const int at = action == 12 ? i : model.cursor;
    const auto point = model.has(at) ? model.rows.begin()[at] : std::make_pair(EmptyValue, EmptyValue);
    answered = there == model.has(at) && same(x, point.first) && same(y, point.second);
  } else if (action == 15 && draw(0, 9) == 0) {
    answered = table->ClearData() == 1;
    model.rows.clear();
  } else if (action == 16 && draw(0, 3) == 0) {
    table = std::make_unique<OpenXYTable>(*table);
    model = {model.rows, model.size(), EmptyValueInt};
  }
  const std::string what = answered ? difference(*table, model) : "the answer";
  return what.empty() ? what : what + ", after operation " + std::to_string(action);
}

}  // namespace test_support

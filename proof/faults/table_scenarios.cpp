// Tables: edits, fits, copies, store and recall; filling of gaps. The file's own memory is refused, too.

#include <unistd.h>

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <utility>

#include "frame/empty_value.h"
#include "proof/faults/trial.h"
#include "tables/interpolator.h"
#include "tables/regress_table.h"
#include "tables/xy_table.h"

namespace faults {
namespace {

using corvid_host::ChunkFile;

constexpr int kPoints = 35;  // the arrays grow three times

/// A file for one process, gone at the end.
class TableFile {
 public:
  TableFile() {
    name_ = (std::filesystem::temp_directory_path() / "corvidnum-table-XXXXXX").string();
    const int file = mkstemp(name_.data());
    if (file >= 0) close(file);
  }
  TableFile(const TableFile&) = delete;
  TableFile& operator=(const TableFile&) = delete;
  ~TableFile() { std::filesystem::remove(name_); }
  const char* name() const { return name_.c_str(); }

 private:
  std::string name_;
};

class LogTable : public RegressTable {
 public:
  double Func(double x) override { return std::log(x); }
};

/// AddPoint tells nothing; the number of points does.
bool add(XYTable& table, double x) {
  const int before = table.NDataPoints();
  table.AddPoint(x, std::log(x) + 0.01 * std::sin(x));
  return table.NDataPoints() == before + 1;
}

template <class Table>
bool store(Table& table, const TableFile& file) {
  ChunkFile chunks;
  return chunks.Create(file.name()) && table.Store(chunks) != 0 && chunks.Commit();
}
template <class Table>
bool recall(Table& table, const TableFile& file) {
  ChunkFile chunks;
  return chunks.Open(file.name()) && table.Recall(chunks) != 0;
}

void tell_points(Trial& trial, XYTable& table) {
  double x = 0, y = 0;
  trial.result(table.NDataPoints());
  for (unsigned char is = table.GetFirstPoint(x, y); is; is = table.GetNextPoint(x, y)) {
    trial.result(x);
    trial.result(y);
  }
}

void edits(Trial& trial) {
  XYTable table;
  for (int i = 0; i < kPoints; ++i) trial.said(add(table, kPoints - i));
  trial.said(table.NewXi(table.NDataPoints(), 0.5) != 0);
  if (table.NDataPoints() > 0) table.NewYi(table.NDataPoints() - 1, 1.0);
  table.Sort();
  const XYTable copy(table);
  XYTable other(copy);
  trial.said(other.NDataPoints() == table.NDataPoints());
  tell_points(trial, other);
  trial.memory_is_back();
  trial.require(add(table, 77.0) && add(other, 77.0), "after the refusal: a table takes no point");
}

void round_trip(Trial& trial) {
  const TableFile file;
  LogTable table;
  for (int i = 0; i < kPoints; ++i) trial.said(add(table, 1.0 + i));
  table.Stats();
  if (trial.said(table.UpdateYFit() != 0)) trial.result(table.PctError(3));
  const bool stored = trial.said(store(table, file));
  LogTable back;
  if (stored && trial.said(recall(back, file))) {
    trial.result(back.R2());
    trial.result(back.YFit(5));
    tell_points(trial, back);
  }
  trial.memory_is_back();
  trial.require(table.UpdateYFit() != 0 && store(table, file), "after the refusal: not stored");
  trial.require(recall(back, file) && back.NDataPoints() == table.NDataPoints(),
                "after the refusal: not recalled");
}

void fit_copies(Trial& trial) {
  LogTable table;
  for (int i = 0; i < kPoints; ++i) trial.said(add(table, 1.0 + i));
  LogTable copy(table);
  trial.said(copy.NDataPoints() == table.NDataPoints());
  trial.said(copy.UpdateYFit() != 0);
  copy.ClearData();
  for (int i = 0; i < 2 * kPoints; ++i) trial.said(add(copy, 2.0 + i));
  if (trial.said(copy.UpdateYFit() != 0)) trial.result(copy.YFit(kPoints));
  tell_points(trial, copy);
  trial.memory_is_back();
  trial.require(copy.UpdateYFit() != 0, "after the refusal: no fitted values");
}

void gaps(Trial& trial) {
  constexpr int kRow = 6;
  InterpStatusEnum status[kRow] = {InterpUnknown, InterpKnown, InterpUnknown,
                                   InterpKnown,   InterpKnown, InterpUnknown};
  double spacing[kRow] = {0, 1, 2, 1, 0.5, 3};
  const auto fill = [&](double* row, double* distances) {
    return Interpolator().MainInterpolator(row, status, kRow, InterpLinear, ExtrapLinear, 2, distances) != 0;
  };
  for (double* distances : {spacing, static_cast<double*>(nullptr)}) {
    double row[kRow] = {0, 1, 0, 4, 2, 0};
    if (trial.said(fill(row, distances))) trial.results(row);
  }
  trial.memory_is_back();
  double row[kRow] = {0, 1, 0, 4, 2, 0};
  trial.require(fill(row, spacing), "after the refusal: not filled");
}

}  // namespace

std::vector<Scenario> table_scenarios() {
  return {{"tables: XYTable", edits},
          {"tables: RegressTable, stored and recalled", round_trip},
          {"tables: RegressTable, copied", fit_copies},
          {"tables: Interpolator", gaps}};
}

}  // namespace faults

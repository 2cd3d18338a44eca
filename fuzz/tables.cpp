// Tables by random edits, which a plain list of points must follow, stored and recalled; files of any
// contents recalled as tables; Interpolator, LineFit and BoundedSecant on any numbers.

#include <algorithm>
#include <cmath>
#include <string>
#include <utility>
#include <vector>

#include "frame/empty_value.h"
#include "fuzz/bytes.h"
#include "fuzz/guarded_array.h"
#include "fuzz/new_folder.h"
#include "host/corvid_host.h"
#include "tables/bounded_secant.h"
#include "tables/interpolator.h"
#include "tables/line_fit.h"
#include "tables/regress_table.h"

namespace {

using fuzz::Bytes, fuzz::Doubles, fuzz::require, fuzz::same_bits;

std::size_t length(int count) { return static_cast<std::size_t>(std::max(count, 0)); }

using Points = std::vector<std::pair<double, double>>;

/// A table whose correlation is the line y = 2 x + 1.
class Line final : public RegressTable {
 public:
  double Func(double x) override { return 2 * x + 1; }
};

// ---- Edits, and the list that follows them.

void sort_between_nans(Points& points) {
  const auto is_nan = [](const auto& point) { return std::isnan(point.first); };
  for (auto begin = points.begin(); begin != points.end();) {
    const auto end = std::find_if(begin, points.end(), is_nan);
    std::stable_sort(begin, end, [](const auto& a, const auto& b) { return a.first < b.first; });
    begin = end == points.end() ? end : end + 1;
  }
}

void drop_if_empty(Points& points, int index) {
  const auto& [x, y] = points[length(index)];
  if (x == EmptyValue && y == EmptyValue) points.erase(points.begin() + index);
}

void edit(Bytes& bytes, XYTable& table, Points& points) {
  const int count = static_cast<int>(points.size());
  const int index = bytes.below(8) == 0 ? bytes.integer() : bytes.below(count + 2);
  const bool there = index >= 0 && index < count;
  const double x = bytes.number(), y = bytes.number();
  switch (bytes.below(8)) {
    case 0:
      require((table.RemovePoint(index) != 0) == there, "RemovePoint tells whether there was the point");
      if (there) points.erase(points.begin() + index);
      break;
    case 1:
      table.NewXi(index, x);
      if (there) {
        points[length(index)].first = x;
        drop_if_empty(points, index);
      } else if (index == count && x != EmptyValue) {
        points.emplace_back(x, EmptyValue);
      }
      break;
    case 2:
      require((table.NewYi(index, y) != 0) == there, "NewYi tells whether there was the row");
      if (!there) break;
      points[length(index)].second = y;
      drop_if_empty(points, index);
      break;
    case 3: {
      const int other = bytes.below(count + 2);
      table.Swap(index, other);
      if (there && other < count) std::swap(points[length(index)], points[length(other)]);
      break;
    }
    case 4:
      table.Sort();
      sort_between_nans(points);
      break;
    default:
      table.AddPoint(x, y);
      points.emplace_back(x, y);
  }
}

void expect_points(XYTable& table, const Points& points) {
  require(table.NDataPoints() == static_cast<int>(points.size()), "the table has as many points as the list");
  double x = 0, y = 0;
  for (std::size_t i = 0; i < points.size(); ++i) {
    require(table.GetPoint(static_cast<int>(i), x, y) != 0, "a point of the list is there");
    require(same_bits(x, points[i].first) && same_bits(y, points[i].second),
            "a point has the coordinates of the list");
  }
  require(table.GetPoint(static_cast<int>(points.size()), x, y) == 0 && x == EmptyValue,
          "there is no point beyond");
}

// ---- Store and recall.

std::string file_path() { return fuzz::own_folder() + "/table"; }

template <class Table>
void store_and_recall(Table& table, const Points& points) {
  corvid_host::ChunkFile out;
  require(out.Create(file_path().c_str()) && table.Store(out) != 0 && out.Commit(), "a table is stored");
  corvid_host::ChunkFile in;
  Table other;
  require(in.Open(file_path().c_str()) && other.Recall(in) != 0, "a stored table is recalled");
  expect_points(other, points);
}

void attack_edits(Bytes& bytes) {
  Line table;
  Points points;
  for (int steps = 0; bytes.left() && steps < 60; ++steps) {
    const int kind = bytes.below(16);
    if (kind == 0) {
      table.LowerRegressionLimit(bytes.number());
      table.UpperRegressionLimit(bytes.number());
      table.Stats();
    } else if (kind == 1) {
      require(table.UpdateYFit() != 0, "there is memory for the fitted values");
    } else if (kind == 2) {
      const int index = bytes.integer();
      double x = 0, y = 0;
      table.YFit(index), table.PctError(index), table.GetActivePoint(index, x, y);
    } else {
      edit(bytes, table, points);
    }
  }
  expect_points(table, points);
  const Line copy(table);
  if (bytes.flag()) store_and_recall(table, points);
}

/// Writes chunks of any version and numbers of any kind, some of which may look like those of a table.
void write_chunk(Bytes& bytes, corvid_host::ChunkFile& file, int depth) {
  constexpr int kDeepest = 4;
  ChunkHeader chunk;
  chunk.Create(file, static_cast<short>(bytes.below(4) == 0 ? bytes.integer() : bytes.below(4)));
  for (int items = bytes.below(24); items > 0; --items) {
    const int kind = bytes.below(8);
    if (kind == 0 && depth < kDeepest)
      write_chunk(bytes, file, depth + 1);
    else if (kind < 4)
      file.WriteInt(bytes.integer());
    else
      file.WriteDouble(bytes.number());
  }
  chunk.Close(file);
}

template <class Table>
void recall_anything() {
  corvid_host::ChunkFile in;
  require(in.Open(file_path().c_str()), "what was committed opens");
  Table table;
  table.AddPoint(1, 2);
  table.UpdateYFit();
  const bool recalled = table.Recall(in) != 0;
  const int count = table.NDataPoints();
  double x = 0, y = 0;
  for (int index = -1; index <= std::min(count, 100); ++index) table.GetPoint(index, x, y);
  table.YFit(std::max(count, 0) - 1), table.PctError(0), table.GetActivePoint(0, x, y);
  table.Stats(), table.UpdateYFit(), table.Sort();
  table.AddPoint(3, 4);
  require(!recalled || count < 0 || table.NDataPoints() == count + 1, "a recalled table takes another point");
}

void attack_recall(Bytes& bytes) {
  corvid_host::ChunkFile out;
  require(out.Create(file_path().c_str()), "a file is begun");
  write_chunk(bytes, out, 1);
  require(out.Commit(), "a file is committed");
  constexpr std::int64_t kRoom = 1 << 24;
  corvid_host::LimitLiveBytes(corvid_host::LiveBytes() + kRoom);
  recall_anything<Line>();
  corvid_host::LimitLiveBytes(0);
}

// ---- What stands beside the tables.

void attack_interpolator(Bytes& bytes) {
  const int count = bytes.between(-1, 12);
  Doubles row(length(count)), spacing(length(count));
  fuzz::GuardedArray<InterpStatusEnum> status(length(count));
  for (std::size_t i = 0; i < row.size(); ++i) {
    row[i] = bytes.number(), spacing[i] = bytes.number();
    status[i] = static_cast<InterpStatusEnum>(bytes.below(3));
  }
  const auto method = static_cast<InterpMethodEnum>(bytes.below(3));
  const auto extrapolation = static_cast<InterpExtrapEnum>(bytes.below(4));
  const std::vector<double> before = row.copy();
  const int least = bytes.integer();
  const bool done = Interpolator().MainInterpolator(row.data(), status.data(), count, method, extrapolation,
                                                    least, bytes.flag() ? spacing.data() : nullptr) != 0;
  for (std::size_t i = 0; done && method == InterpLinear && i < row.size(); ++i)
    require(status[i] != InterpKnown || same_bits(row[i], before[i]), "known entries stay");
}

void attack_line_fit(Bytes& bytes) {
  const auto count = static_cast<unsigned int>(bytes.below(10));
  Doubles x(count), y(count), sigma(count);
  for (std::size_t i = 0; i < count; ++i)
    x[i] = bytes.number(), y[i] = bytes.number(), sigma[i] = bytes.number();
  double a, b, sigma_a, sigma_b, chi;
  const bool done = LineFit(x.data(), y.data(), count, bytes.flag() ? sigma.data() : nullptr, &a, &b,
                            &sigma_a, &sigma_b, &chi) != 0;
  require(done == (count >= 2), "a line goes through two points or more");
}

void attack_secant(Bytes& bytes) {
  BoundedSecant secant;
  for (int steps = 0; bytes.left() && steps < 40; ++steps) {
    const double i = bytes.number(), e = bytes.number();
    if (bytes.below(8) == 0)
      secant.ClearBounds();
    else
      secant.AddIEPoints(i, e);
    secant.GetGuess();
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::int64_t blocks = corvid_host::LiveBlocks();
  Bytes bytes(data, size);
  switch (bytes.below(8)) {
    case 0:
      attack_interpolator(bytes);
      break;
    case 1:
      attack_line_fit(bytes);
      break;
    case 2:
      attack_secant(bytes);
      break;
    case 3:
    case 4:
      attack_recall(bytes);
      break;
    default:
      attack_edits(bytes);
  }
  require(corvid_host::LiveBlocks() == blocks, "all memory is given back");
  return 0;
}

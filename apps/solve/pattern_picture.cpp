// Draws the pattern of a matrix. Entries are counted in the cells of a raster; each row of cells of one shade
// becomes a few horizontal strokes of one path, so that the text stays short. If it does not, the raster is
// made coarser.

#include "apps/solve/pattern_picture.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <numeric>
#include <utility>

#include "apps/common/output.h"
#include "apps/report/page.h"

namespace solve {
namespace {

using apps::Page;

constexpr int kMostCells = 160, kFewestCells = 20;
constexpr int kMostDots = 80;  // orders up to this one have a separate dot for each entry
constexpr std::size_t kMostText = 90'000;
constexpr int kShades = 5;
constexpr double kMargin = 14, kSide = 332;  // of the picture, which is 360 wide

/// Counts the entries in the cells of a raster.
class Raster {
 public:
  Raster(const Matrix& matrix, const Arrangement& arrangement, int cells)
      : order_(matrix.rows), cells_(cells), count_(index(cells, 0), 0) {
    for (std::size_t k = 0; k < matrix.row.size(); ++k) {
      const int row = place(arrangement.row_place, matrix.row[k]);
      const int column = place(arrangement.column_place, matrix.column[k]);
      top_ = std::max(top_, ++count_[index(cell(row), cell(column))]);
    }
  }

  int cells() const { return cells_; }

  /// Returns 0 for an empty cell, and 1 to kShades for one with entries.
  int shade(int row, int column) const {
    const int count = count_[index(row, column)];
    if (count == 0) return 0;
    if (cells_ == order_ || top_ == 1) return kShades;
    return 1 + static_cast<int>((kShades - 1) * std::log(count) / std::log(top_));
  }

 private:
  static int place(const std::vector<int>& places, int number) {
    return places.empty() ? number - 1 : places[static_cast<std::size_t>(number - 1)];
  }
  int cell(int place) const { return static_cast<int>(std::int64_t{place} * cells_ / order_); }
  std::size_t index(int row, int column) const {
    return static_cast<std::size_t>(row) * static_cast<std::size_t>(cells_) +
           static_cast<std::size_t>(column);
  }

  int order_, cells_;
  std::vector<int> count_;
  int top_ = 0;  // the largest count
};

/// Returns strokes for the cells of each shade: a unit is a cell, and rows of cells are strokes of width 1.
/// @param separate  each cell is a stroke of its own, which leaves some room to the next
std::array<std::string, kShades + 1> strokes(const Raster& raster, bool separate) {
  constexpr double kDot = 0.84;
  std::array<std::string, kShades + 1> paths;
  const int cells = raster.cells();
  for (int i = 0; i < cells; ++i)
    for (int j = 0, end = 0; j < cells; j = end) {
      const int shade = raster.shade(i, j);
      for (end = j + 1; end < cells && raster.shade(i, end) == shade && !separate;) ++end;
      if (shade == 0) continue;
      std::string& path = paths[static_cast<std::size_t>(shade)];
      path += separate ? fmt::format("M{:.2f} {}h{}", j + (1 - kDot) / 2, i, kDot)
                       : fmt::format("M{} {}h{}", j, i, end - j);
    }
  return paths;
}

std::size_t length(const std::array<std::string, kShades + 1>& paths) {
  return std::accumulate(paths.begin(), paths.end(), std::size_t{0},
                         [](std::size_t sum, const std::string& path) { return sum + path.size(); });
}

void add_cells(Page& page, const std::array<std::string, kShades + 1>& paths, int cells, bool separate) {
  page.add("<g transform=\"translate({0} {0}) scale({1:.6f}) translate(0 .5)\" class=\"cells{2}\">\n",
           kMargin, kSide / cells, separate ? " dots" : "");
  for (std::size_t shade = 1; shade < paths.size(); ++shade)
    if (!paths[shade].empty())
      page.add("<path d=\"{}\" stroke-opacity=\"{:.2f}\"/>\n", paths[shade],
               0.2 + 0.8 * static_cast<double>(shade) / kShades);
  page.add("</g>\n");
}

/// Outlines the parts that are large enough to be seen.
void add_parts(Page& page, const std::vector<Part>& parts, double scale) {
  constexpr double kLeastSide = 3;  // pixels
  std::string path;
  for (const Part& part : parts)
    if (std::max(part.rows, part.columns) * scale >= kLeastSide && (part.rows > 1 || part.columns > 1))
      path += fmt::format("M{:.1f} {:.1f}h{:.1f}v{:.1f}h{:.1f}z", kMargin + part.column * scale,
                          kMargin + part.row * scale, part.columns * scale, part.rows * scale,
                          -part.columns * scale);
  if (!path.empty()) page.add("<path class=\"part\" d=\"{}\"/>\n", path);
}

/// Returns the middles of the marked lines in pixels, each once to a half.
std::vector<double> marks(const std::vector<int>& numbers, const std::vector<int>& places, double scale) {
  std::vector<double> at;
  for (const int number : numbers) {
    const int place = places.empty() ? number - 1 : places[static_cast<std::size_t>(number - 1)];
    at.push_back(std::round(2 * (kMargin + (place + 0.5) * scale)) / 2);
  }
  std::sort(at.begin(), at.end());
  at.erase(std::unique(at.begin(), at.end()), at.end());
  return at;
}

/// Marks rows at the left edge and columns at the upper one, each by an arrow head.
void add_marks(Page& page, const Arrangement& a, double scale) {
  std::string path;
  for (const double y : marks(a.marked_rows, a.row_place, scale))
    path += fmt::format("M{} {}l-8 -3.5v7z", kMargin - 1, y);
  for (const double x : marks(a.marked_columns, a.column_place, scale))
    path += fmt::format("M{} {}l-3.5 -8h7z", x, kMargin - 1);
  if (!path.empty()) page.add("<path class=\"mark\" d=\"{}\"/>\n", path);
}

constexpr const char* kStyle =
    ".pattern{max-width:480px}.pattern .cells path{fill:none;stroke:var(--s0);stroke-width:1}"
    ".pattern .dots path{stroke-width:.84}"
    ".pattern .part{fill:none;stroke:var(--s1);stroke-width:1.4}.pattern .mark{fill:var(--bad)}";

}  // namespace

Arrangement by_blocks(const BlockForm& form) {
  Arrangement a;
  a.row_place.resize(form.row.size());
  a.column_place.resize(form.column.size());
  for (std::size_t k = 0; k < form.row.size(); ++k) {
    a.row_place[static_cast<std::size_t>(form.row[k] - 1)] = static_cast<int>(k);
    a.column_place[static_cast<std::size_t>(form.column[k] - 1)] = static_cast<int>(k);
  }
  for (std::size_t b = 0; b + 1 < form.begin.size(); ++b) {
    const int begin = form.begin[b], size = form.begin[b + 1] - begin;
    a.parts.push_back({begin, begin, size, size});
  }
  return a;
}

Arrangement by_deficit(const Deficit& deficit, int order) {
  const auto places = [order](const std::vector<int>& first, const std::vector<int>& last) {
    enum { kFirst = -1, kMiddle = 0, kLast = 1 };
    std::vector<int> group(static_cast<std::size_t>(order), kMiddle), place(group.size());
    for (const int number : first) group[static_cast<std::size_t>(number - 1)] = kFirst;
    for (const int number : last) group[static_cast<std::size_t>(number - 1)] = kLast;
    int next = 0;
    for (const int which : {static_cast<int>(kFirst), static_cast<int>(kMiddle), static_cast<int>(kLast)})
      for (std::size_t i = 0; i < group.size(); ++i)
        if (group[i] == which) place[i] = next++;
    return place;
  };
  const RowsAndColumns &under = deficit.underdetermined, &over = deficit.overdetermined;
  Arrangement a;
  a.row_place = places(under.rows, over.rows);
  a.column_place = places(under.columns, over.columns);
  const auto size = [](const std::vector<int>& numbers) { return static_cast<int>(numbers.size()); };
  const int rows1 = size(under.rows), columns1 = size(under.columns);
  const int rows3 = size(over.rows), columns3 = size(over.columns);
  a.parts = {{0, 0, rows1, columns1},
             {rows1, columns1, order - rows1 - rows3, order - columns1 - columns3},
             {order - rows3, order - columns3, rows3, columns3}};
  return a;
}

PatternPicture pattern_picture(const Matrix& matrix, const Arrangement& arrangement, const std::string& title,
                               const std::string& id) {
  constexpr double kCoarser = 0.8;
  const bool separate = matrix.rows <= kMostDots;
  PatternPicture picture;
  picture.cells = std::min(matrix.rows, kMostCells);
  auto paths = strokes({matrix, arrangement, picture.cells}, separate);
  while (length(paths) > kMostText && picture.cells > kFewestCells) {
    picture.cells = static_cast<int>(kCoarser * picture.cells);
    paths = strokes({matrix, arrangement, picture.cells}, separate);
  }
  const double width = kSide + 2 * kMargin, scale = kSide / matrix.rows;
  Page page;
  page.add(
      "<svg class=\"plot pattern\" role=\"img\" aria-labelledby=\"{0}t {0}d\" viewBox=\"0 0 {1} {1}\">\n"
      "<title id=\"{0}t\">{2}</title><desc id=\"{0}d\">Rows run down, columns to the right, {3} of "
      "each.</desc>"
      "<style>{4}</style>\n",
      id, width, report::escaped(title), matrix.rows, kStyle);
  page.add("<rect class=\"box\" x=\"{0}\" y=\"{0}\" width=\"{1}\" height=\"{1}\"/>\n", kMargin - 1,
           kSide + 2);
  add_cells(page, paths, picture.cells, separate);
  add_parts(page, arrangement.parts, scale);
  add_marks(page, arrangement, scale);
  page.add("</svg>\n");
  picture.svg = page.take();
  return picture;
}

}  // namespace solve

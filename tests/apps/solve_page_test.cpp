// Pictures of patterns, and the pages of systems, with a solution or without.

#include <gtest/gtest.h>

#include <random>
#include <regex>
#include <set>
#include <string>
#include <utility>

#include "apps/solve/pattern_picture.h"
#include "tests/support/program.h"

namespace solve {
namespace {

Matrix make_matrix(int order, const std::set<std::pair<int, int>>& places) {
  Matrix matrix;
  matrix.rows = matrix.columns = order;
  for (const auto& [row, column] : places) {
    matrix.row.push_back(row);
    matrix.column.push_back(column);
    matrix.value.push_back(1 + 0.1 * (row % 7) + 0.01 * (column % 5));
  }
  return matrix;
}

Matrix random_matrix(int order, int entries, bool with_diagonal, unsigned seed = 1) {
  std::mt19937 random(seed);
  const auto any = [&] { return 1 + static_cast<int>(random() % static_cast<unsigned>(order)); };
  std::set<std::pair<int, int>> places;
  for (int i = 1; with_diagonal && i <= order; ++i) places.emplace(i, order + 1 - i);
  while (static_cast<int>(places.size()) < entries) places.emplace(any(), any());
  return make_matrix(order, places);
}

corvidnum::SparseSolver solver_of(const Matrix& matrix) {
  return {matrix.rows, static_cast<int>(matrix.row.size()), matrix.row.data(), matrix.column.data(),
          1,           corvidnum::SparseOptions()};
}

/// Expects that each entry stands in an outlined part, or right of one and above the next.
void expect_none_below(const Matrix& matrix, const Arrangement& a) {
  for (std::size_t k = 0; k < matrix.row.size(); ++k) {
    const int row = a.row_place.at(static_cast<std::size_t>(matrix.row[k] - 1));
    const int column = a.column_place.at(static_cast<std::size_t>(matrix.column[k] - 1));
    for (const Part& part : a.parts) {
      const bool in_columns = part.column <= column && column < part.column + part.columns;
      EXPECT_FALSE(in_columns && row >= part.row + part.rows) << matrix.row[k] << ' ' << matrix.column[k];
    }
  }
}

std::set<int> as_set(const std::vector<int>& places) { return {places.begin(), places.end()}; }

TEST(PatternArrangement, HasNoEntryBelowItsParts) {
  for (unsigned seed = 1; seed <= 5; ++seed) {
    const Matrix regular = random_matrix(60, 110, true, seed), singular = random_matrix(60, 110, false, seed);
    auto solver = solver_of(regular);
    const Arrangement blocks = by_blocks(block_form(solver));
    EXPECT_GT(blocks.parts.size(), 1u);
    expect_none_below(regular, blocks);
    auto other = solver_of(singular);
    const std::optional<Deficit> found = deficit(other);
    ASSERT_TRUE(found);
    EXPECT_LT(found->structural_rank, 60);
    const Arrangement parts = by_deficit(*found, 60);
    expect_none_below(singular, parts);
    EXPECT_GT(parts.parts[0].columns, parts.parts[0].rows);
    EXPECT_LT(parts.parts[2].columns, parts.parts[2].rows);
    for (const Arrangement& a : {blocks, parts})
      for (const auto& places : {a.row_place, a.column_place}) EXPECT_EQ(as_set(places).size(), 60u);
  }
}

/// Returns the cells that strokes of any shade fill.
int filled_cells(const std::string& svg) {
  int cells = 0;
  const std::regex stroke("M[0-9]+ [0-9]+h([0-9]+)(?=[M\"])");
  for (std::sregex_iterator at(svg.begin(), svg.end(), stroke), end; at != end; ++at)
    cells += std::stoi((*at)[1]);
  return cells;
}

TEST(PatternPicture, FillsTheCellsWithEntries) {
  const Matrix matrix = random_matrix(150, 3000, true);
  const PatternPicture picture = pattern_picture(matrix, {}, "t", "p");
  EXPECT_EQ(picture.cells, 150);
  EXPECT_EQ(filled_cells(picture.svg), 3000);
  // Of 1600 rows ten share a cell: four entries in one and one in another make two cells of two shades.
  const PatternPicture coarse =
      pattern_picture(make_matrix(1600, {{1, 1}, {3, 4}, {10, 10}, {9, 1}, {1600, 11}}), {}, "t", "p");
  EXPECT_EQ(coarse.cells, 160);
  EXPECT_NE(coarse.svg.find("d=\"M0 0h1\" stroke-opacity=\"1.00\""), std::string::npos);
  EXPECT_NE(coarse.svg.find("d=\"M1 159h1\" stroke-opacity=\"0.36\""), std::string::npos);
}

TEST(PatternPicture, HasABoundedSize) {
  const PatternPicture picture = pattern_picture(random_matrix(3000, 100'000, true), {}, "t", "p");
  EXPECT_LT(picture.svg.size(), 100'000u);
  EXPECT_LT(picture.cells, 160);
  Arrangement marked;
  for (int i = 1; i <= 3000; ++i) {
    marked.marked_rows.push_back(i);
    marked.parts.push_back({i - 1, i - 1, 1, 1});
  }
  EXPECT_LT(pattern_picture(random_matrix(3000, 3001, true), marked, "t", "p").svg.size(), 60'000u);
}

class SolvePage : public ProgramTest {
 protected:
  SolvePage() : ProgramTest(SOLVE_PROGRAM) {
    write("singular.mtx",
          "%%MatrixMarket matrix coordinate real general\n4 4 5\n1 1 1\n2 1 2\n3 1 3\n4 2 1\n4 3 1\n");
  }
  void expect_shown(const std::string& arguments, int code, std::initializer_list<const char*> words) {
    SCOPED_TRACE(arguments);
    EXPECT_EQ(run(arguments + " --report pages"), code) << err_;
    const std::string stem = fs::path(arguments.substr(0, arguments.find(' '))).stem().string();
    const std::string page = contents(folder_ / "pages" / ("solve-" + stem + ".html"));
    for (const char* each : words) EXPECT_NE(page.find(each), std::string::npos) << each;
  }
};

TEST_F(SolvePage, IsWrittenWithASolutionOrWithout) {
  const std::string plate = SOLVE_MATRICES "/plate.mtx";
  expect_shown(plate + " --try-all", 0, {"irreducible", "ma48, solution", "ma38, solution", "Both methods"});
  expect_shown(plate + " --reorder profile", 0, {"Reordered for profile", "Bandwidth 3, profile"});
  expect_shown("singular.mtx", 3,
               {"structurally singular", "Over-determined part, equations (3): 1, 2, 3.",
                "By determined parts", "Under-determined part, unknowns (3): 2, 3, 4.", "class=\"mark\""});
  expect_shown("singular.mtx --transpose", 3, {"Under-determined part, unknowns (3): 1, 2, 3."});
  const std::string index = contents(folder_ / "pages" / "index.tsv");
  EXPECT_TRUE(std::regex_search(
      index, std::regex("solve-plate.html\tcorvidnum-solve\tplate.mtx\torder 9\t[-.e0-9]+\tbackward error ")))
      << index;
  EXPECT_NE(index.find("\tsingular\t-\n"), std::string::npos) << index;
  expect_runs({{plate + " --report \"\"", 2, "the name is empty"},
               {plate + " --report singular.mtx", 1, "singular.mtx"},
               {"missing.mtx --report new", 1, "missing.mtx"},
               {plate + " --report pages --out pages/solve-plate.html", 2, "is written by --report too"}});
  EXPECT_FALSE(fs::exists(folder_ / "new"));
}

}  // namespace
}  // namespace solve

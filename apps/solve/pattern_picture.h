#pragma once

// Pictures of where a matrix has entries, for the pages of reports.

#include <string>
#include <vector>

#include "apps/solve/matrix_market.h"
#include "apps/solve/structure.h"

namespace solve {

/// A rectangle of places, counted from 0.
struct Part {
  int row, column, rows, columns;
};

/// An order of rows and columns, and what is drawn over the pattern in it.
struct Arrangement {
  std::vector<int> row_place, column_place;      // [row - 1], [column - 1] places from 0; empty: as numbered
  std::vector<Part> parts;                       // to be outlined
  std::vector<int> marked_rows, marked_columns;  // numbers from 1, marked in the margins
};

/// Returns the order of the block triangular form, with its diagonal blocks.
Arrangement by_blocks(const BlockForm& form);

/// Returns the order of the coarse decomposition by Dulmage and Mendelsohn of a structurally singular matrix:
/// the part with too few equations, the square rest, the part with too many.
Arrangement by_deficit(const Deficit& deficit, int order);

struct PatternPicture {
  std::string svg;  // for a report::Page
  int cells = 0;    // across and down; a cell of a large matrix stands for many places
};

/// Draws a pattern. A place, or cell of places, with entries is filled, the darker the more entries there
/// are, on a scale of logarithms. The picture has at most 100 kB, whatever the matrix.
/// @param id  different for each picture of a page; letters and digits
PatternPicture pattern_picture(const Matrix& matrix, const Arrangement& arrangement, const std::string& title,
                               const std::string& id);

}  // namespace solve

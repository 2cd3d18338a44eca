#pragma once

// Reads and writes Matrix Market files (Boisvert, Pozo and Remington, NISTIR 5935, 1996): matrices and
// vectors in the coordinate and the array format. Vectors may also be plain numbers, one a line.

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace solve {

/// A sparse matrix by coordinates, in the order of its file. Both halves of a symmetric one are there: an
/// entry off the diagonal is followed by its mirror image.
struct Matrix {
  std::string name;  // of the file
  int rows = 0, columns = 0;
  bool has_values = true;        // false: the file holds a pattern
  int size_line = 0;             // where the file tells its sizes
  std::int64_t announced = 0;    // entries, of an array numbers, that it tells there
  std::vector<int> row, column;  // from 1
  std::vector<double> value;     // 1 in a pattern
  std::vector<int> line;         // of each entry in the file
};

/// Reads a file that is real, integer or, by coordinates, a pattern; general, symmetric or skew-symmetric. Of
/// an array the zeros make no entries.
/// @throws apps::BadCase
Matrix parse_matrix(const std::string& text, const std::string& name);
Matrix read_matrix(const std::string& path);

/// Which entries of a file are kept: of the lines that it announces, equal parts in their order.
struct Share {
  int part = 0, parts = 1;  // part from 0
};

/// Reads a part of a matrix from text that comes piece by piece, so that neither the text nor the other
/// entries are ever in memory. Faults are found in the part that is kept; those of form in all of the file.
/// @param more  appends a piece to the text; false: there is none
/// @throws apps::BadCase, and what `more` throws
Matrix read_share(const std::function<bool(std::string&)>& more, const std::string& name, const Share& share);

/// Reads a right-hand side: a file with one column, real or integer, or numbers, one a line, without the
/// first lines of Matrix Market, among comments behind % or #.
/// @param order  how many numbers it must hold; nothing: any
/// @throws apps::BadCase
std::vector<double> parse_vector(const std::string& text, const std::string& name,
                                 std::optional<int> order = std::nullopt);
std::vector<double> read_vector(const std::string& path, std::optional<int> order = std::nullopt);

/// An array file with one column, each number with as many digits as give it back.
std::string vector_text(const std::vector<double>& value);

/// Returns the values of `other` in the order of the entries of `matrix`. Both are square.
/// @throws apps::BadCase if their entries do not stand in the same places
std::vector<double> values_in_order_of(const Matrix& matrix, const Matrix& other);

}  // namespace solve

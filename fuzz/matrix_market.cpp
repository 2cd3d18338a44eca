// The reader of Matrix Market files: matrices and right-hand sides from any text.

#include "apps/solve/matrix_market.h"

#include <algorithm>
#include <cmath>

#include "fuzz/reader.h"

namespace {

using fuzz::require;

const char* const kName = "a.mtx";

void expect_entries(const solve::Matrix& matrix) {
  require(matrix.rows >= 0 && matrix.columns >= 0, "a matrix has sizes");
  require(matrix.row.size() == matrix.value.size() && matrix.column.size() == matrix.value.size() &&
              matrix.line.size() == matrix.value.size(),
          "each entry has a row, a column, a value and a line");
  for (std::size_t k = 0; k < matrix.value.size(); ++k) {
    require(matrix.row[k] >= 1 && matrix.row[k] <= matrix.rows, "an entry lies in a row of the matrix");
    require(matrix.column[k] >= 1 && matrix.column[k] <= matrix.columns,
            "an entry lies in a column of the matrix");
    require(std::isfinite(matrix.value[k]), "a value is finite");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  if (const auto matrix = fuzz::read_or_complaint(kName, [&] { return solve::parse_matrix(text, kName); })) {
    expect_entries(*matrix);
    if (matrix->rows == matrix->columns) {
      const auto values =
          fuzz::read_or_complaint(kName, [&] { return solve::values_in_order_of(*matrix, *matrix); });
      require(!values || values->size() == matrix->value.size(),
              "a matrix has the places of its own entries");
    }
  }
  if (const auto vector = fuzz::read_or_complaint(kName, [&] { return solve::parse_vector(text, kName); })) {
    require(std::all_of(vector->begin(), vector->end(), [](double v) { return std::isfinite(v); }),
            "a right-hand side is finite");
    if (!vector->empty())
      require(solve::parse_vector(solve::vector_text(*vector), kName) == *vector,
              "a vector is read as it was written");
  }
  return 0;
}

// The dense LU with a pivot limit, to the bit, of matrices with up to 40 rows and columns.

#include <limits>

#include "proof/differential/comparison.h"
#include "proof/differential/families.h"
#include "tests/dense/textbook.h"

std::string lu_difference(std::uint64_t seed) {
  differential::Draw draw(seed);
  const int most = draw.one_in(20) ? 41 : 12;
  const int rows = draw.below(most), columns = draw.below(most);
  reference::Dense a(rows, columns);
  const bool ties = draw.one_in(3);
  for (double& value : a.values) value = ties ? draw.below(5) - 2 : draw.uniform();
  if (a.values.empty()) return reference::difference_from_textbook(a);
  const double factors[] = {1e-9, 1e-8, 0.0};
  for (int k = draw.below(3); k > 0; --k) {
    const int column = draw.below(a.cols), factor = draw.below(3);
    for (int i = 0; i < a.rows; ++i) a(i, column) *= factors[factor];
  }
  const double odd[] = {std::numeric_limits<double>::infinity(), std::nan(""), 1e-8,
                        std::nextafter(1e-8, 1.0)};
  for (int k = draw.one_in(4) ? 1 + draw.below(3) : 0; k > 0; --k) {
    const int row = draw.below(a.rows), column = draw.below(a.cols);
    a(row, column) = odd[draw.below(4)];
  }
  return reference::difference_from_textbook(a);
}

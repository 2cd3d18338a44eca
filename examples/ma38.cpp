// Solves a sparse system that fills in, as grids do, by the multifrontal routines of ma38.
//
// The caller owns two arrays, value and index, which hold the matrix and then its factors. They grow until
// the factorisation fits. ma38bd_ factorises other values with the same pivots. It only refuses a pivot that
// is zero or not finite: judge its solutions by their residuals, or take the class SparseSolver, which does.

#include <sparse/ma38/ma38_routines.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <vector>

int main() {
  const int n = 500, ne = 5 * n, offset[] = {0, 1, 29, 71, 173};  // of the entries of a row, round the end
  const double coefficient[] = {5, -1, -0.5, -1, -0.5};
  std::vector<int> rows_then_columns(2 * ne), index;
  std::vector<double> values(ne), value, w(ma38_w_length(n)), b(n, 2.0), x(n);  // x will be 1 everywhere
  for (int k = 0; k < ne; ++k) {
    rows_then_columns[k] = k / 5 + 1;  // indices count from 1
    rows_then_columns[ne + k] = (k / 5 + offset[k % 5]) % n + 1;
    values[k] = coefficient[k % 5];
  }
  double cntl[MA38_CNTL_LENGTH], rinfo[MA38_RINFO_LENGTH];
  int keep[MA38_KEEP_LENGTH], icntl[MA38_ICNTL_LENGTH], info[MA38_INFO_LENGTH];
  ma38id_(keep, cntl, icntl);                            // the defaults
  ma38_set_icntl(icntl, MA38_ICNTL_PREFER_DIAGONAL, 1);  // keeps digits where the diagonal is large
  const int job = MA38_FACTOR_ONLY, whole = MA38_SOLVE_WHOLE, plain = 0;
  int lvalue = static_cast<int>(ma38_least_value_length(ne));
  int lindex = static_cast<int>(ma38_least_index_length(n, ne));
  const auto load = [&] {
    value.resize(lvalue), std::copy(values.begin(), values.end(), value.begin());
    index.resize(lindex), std::copy(rows_then_columns.begin(), rows_then_columns.end(), index.begin());
  };
  const auto too_short = [&] {  // lengthens both if that was the error
    const int status = ma38_info(info, MA38_INFO_STATUS);
    if (status > MA38_STATUS_INDEX_TOO_SHORT || status < MA38_STATUS_BOTH_TOO_SHORT) return false;
    lvalue = std::max(2 * lvalue, ma38_info(info, MA38_INFO_VALUE_NEEDED));
    lindex = std::max(2 * lindex, ma38_info(info, MA38_INFO_INDEX_NEEDED));
    return true;
  };

  //! [sample]
  do {
    load();  // the entries to value; their rows, then their columns, to index
    ma38ad_(&n, &ne, &job, &plain, &lvalue, &lindex, value.data(), index.data(), keep, cntl, icntl, info,
            rinfo);
  } while (too_short());
  if (ma38_info(info, MA38_INFO_STATUS) != MA38_STATUS_OK) return 1;  // an error, or a singular matrix
  ma38cd_(&n, &whole, &plain, &lvalue, &lindex, value.data(), index.data(), keep, b.data(), x.data(),
          w.data(), cntl, icntl, info, rinfo);
  //! [sample]
  if (ma38_info(info, MA38_INFO_STATUS) != MA38_STATUS_OK) return 1;

  double error = 0;
  for (const double element : x) error = std::fmax(error, std::abs(element - 1));
  std::printf("value %d and index %d long, error %.1e\n", lvalue, lindex, error);
  return error < 1e-12 ? 0 : 1;
}

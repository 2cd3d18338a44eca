// Solves a sparse system by the routines of ma48, with arrays that grow where a routine asks for more.
//
// ma48ad_ chooses permutations and pivots, ma48bd_ computes the factors, ma48cd_ solves. For new values in
// the same places call ma48bd_ again: MA48_FACTOR_SAME_PIVOTS is the fastest, and MA48_FACTOR_FREELY is there
// if it fails. Positions in the arrays and statuses have names in ma48_codes.h.

#include <sparse/ma48/ma48_routines.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <vector>

int main() {
  const int n = 500, ne = 5 * n, offset[] = {0, 1, 29, 71, 173};  // of the entries of a row, round the end
  const double coefficient[] = {5, -1, -0.5, -1, -0.5};
  std::vector<int> rows(ne), columns(ne), irn, jcn, keep(ma48_keep_length(n, n)), iw(ma48_iw_length(n, n));
  std::vector<double> values(ne), a, w(ma48_w_length(n, n)), b(n, 2.0), x(n);  // x will be 1 everywhere
  for (int k = 0; k < ne; ++k) {
    rows[k] = k / 5 + 1;  // indices count from 1
    columns[k] = (k / 5 + offset[k % 5]) % n + 1;
    values[k] = coefficient[k % 5];
  }
  const int choose = MA48_ANALYSE_FREELY, freely = MA48_FACTOR_FREELY;
  double cntl[MA48_CNTL_LENGTH], error[MA48_ERROR_LENGTH], operations;
  int icntl[MA48_ICNTL_LENGTH], info[MA48_INFO_LENGTH], la = 2 * ne;
  ma48id_(cntl, icntl);  // the defaults
  const auto load_values = [&] { a.resize(la), std::copy(values.begin(), values.end(), a.begin()); };
  const auto load_matrix = [&] { load_values(), irn = rows, jcn = columns, irn.resize(la), jcn.resize(la); };
  const auto too_short = [&](MA48_Info needed) {  // lengthens la, irn and jcn if that was the error
    if (ma48_info(info, MA48_INFO_STATUS) != MA48_STATUS_TOO_SHORT) return false;
    la = std::max(ma48_info(info, needed), la + ne), irn.resize(la), jcn.resize(la);
    return true;
  };

  //! [sample]
  do {
    load_matrix();  // the entries come first in a, irn and jcn, which are la long
    ma48ad_(&n, &n, &ne, &choose, &la, a.data(), irn.data(), jcn.data(), keep.data(), cntl, icntl, iw.data(),
            info, &operations);
  } while (too_short(MA48_INFO_ANALYSIS_LENGTH));
  do {
    load_values();
    ma48bd_(&n, &n, &ne, &freely, &la, a.data(), irn.data(), jcn.data(), keep.data(), cntl, icntl, w.data(),
            iw.data(), info, &operations);
  } while (too_short(MA48_INFO_FACTOR_LENGTH));
  //! [sample]
  if (ma48_info(info, MA48_INFO_STATUS) != MA48_STATUS_OK) return 1;  // an error, or a singular matrix
  const int plain = 0, job = MA48_SOLVE_BACKWARD_ERRORS;
  ma48cd_(&n, &n, &plain, &job, &la, a.data(), irn.data(), keep.data(), cntl, icntl, b.data(), x.data(),
          error, w.data(), iw.data(), info);
  if (ma48_info(info, MA48_INFO_STATUS) != MA48_STATUS_OK) return 1;
  double worst = 0;
  for (const double value : x) worst = std::fmax(worst, std::abs(value - 1));
  std::printf("%d entries in the factors, error %.1e, backward error %.1e\n",
              static_cast<int>(ma48entries_(&n, &n, &la, irn.data(), keep.data())), worst,
              ma48_error(error, MA48_ERROR_OMEGA1));
  return worst < 1e-12 ? 0 : 1;
}

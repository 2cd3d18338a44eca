// Shows how ma38 stores the factors of a small matrix in its two arrays: the worked example of
// docs/multifrontal-store.md.
//
//   stored_factors [LINDEX]
//
// With LINDEX = 25 or 70 the factorisation stops for lack of words and leaves an earlier stage of INDEX
// behind. The default, 94, is enough; the program then checks what the page says of the factors.

#include <sparse/ma38/ma38_routines.h>

#include <cmath>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <vector>

int main(int count, char** argument) {
  const int n = 3, ne = 6, job = 0, transposed = 0, lvalue = 20, enough = 94;
  const int lindex = count > 1 ? std::atoi(argument[1]) : enough;
  if (lindex < 2 * ne) return 2;
  std::vector<int> keep(MA38_KEEP_LENGTH), icntl(MA38_ICNTL_LENGTH), info(MA38_INFO_LENGTH);
  std::vector<double> cntl(MA38_CNTL_LENGTH), rinfo(MA38_RINFO_LENGTH), value = {2, 4, 5, 1, 3, 8};
  std::vector<int> index = {1, 2, 3, 1, 2, 3, 1, 1, 1, 2, 2, 3};  // rows, then columns
  value.resize(lvalue), index.resize(static_cast<std::size_t>(lindex));
  ma38id_(keep.data(), cntl.data(), icntl.data());
  ma38ad_(&n, &ne, &job, &transposed, &lvalue, &lindex, value.data(), index.data(), keep.data(), cntl.data(),
          icntl.data(), info.data(), rinfo.data());
  const int status = ma38_info(info.data(), MA38_INFO_STATUS);
  std::printf("status %d\nKEEP", status);
  for (std::size_t k = 0; k < 5; ++k) std::printf(" %d", keep[k]);
  std::printf("\nINDEX");
  for (std::size_t k = 0; k < index.size(); ++k) std::printf(" %zu:%d", k + 1, index[k]);
  std::printf("\nVALUE");
  for (std::size_t k = 0; k < value.size(); ++k) std::printf(" %zu:%.3g", k + 1, value[k]);
  std::puts("");
  if (lindex != enough) return 0;

  const int begin = 59, words[] = {3, 2, 1, 2, 0, 0, 1, 1, 2, 0, 0, 0, 2, 2, 1, 1, 1, 2,
                                   4, 1, 2, 2, 2, 3, 2, 1, 3, 2, 1, 0, 1, 2, 0, 6, 3, 6};
  bool right = status == MA38_STATUS_OK && keep[2] == begin && keep[4] == enough;
  for (std::size_t k = 0; right && k < 36; ++k) right = index[begin - 1 + k] == words[k];
  const double numbers[] = {5, 8, 3, 1.0 / 3, 4, 2.0 / 3};  // from KEEP(1) = 15 on
  for (std::size_t k = 0; right && k < 6; ++k) right = std::abs(value[14 + k] - numbers[k]) < 1e-15;
  return right ? 0 : 1;
}

// Renumbers the nodes of a symmetric structure for a small profile by gpskca.
//
// Nodes and positions count from 1. Each edge is listed with both of its nodes, and no node lists itself. The
// numbering that comes in, here the identity, is kept if it is better than what the routine finds.

#include <reorder/gpskca.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <numeric>
#include <vector>

int main() {
  const int n = 101;  // a ring in disorder: its neighbours are numbered 37 apart, round the end
  std::vector<int> degree(n, 2), row_start, connect;
  for (int i = 0; i < n; ++i) {
    row_start.push_back(2 * i + 1);
    connect.insert(connect.end(), {(i + 37) % n + 1, (i + n - 37) % n + 1});
  }

  //! [sample]
  std::vector<int> permutation(n), work(6 * n + 3);  // work that long always suffices
  std::iota(permutation.begin(), permutation.end(), 1);
  const int by_profile = 1, length = 6 * n + 3;
  int bandwidth, profile, error, space;
  gpskca(&n, degree.data(), row_start.data(), connect.data(), &by_profile, &length, permutation.data(),
         work.data(), &bandwidth, &profile, &error, &space);
  if (error != 0) return 1;  // else node i + 1 has the new number permutation[i]
  //! [sample]

  std::printf("bandwidth %d, profile %d\n", bandwidth, profile);
  int widest = 0;
  for (int i = 0; i < n; ++i)
    widest = std::max(widest, std::abs(permutation[i] - permutation[connect[2 * i] - 1]));
  return widest == bandwidth && profile == 2 * n - 3 ? 0 : 1;  // no ring has a smaller one
}

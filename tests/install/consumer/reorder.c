#include <reorder/gpskca.h>
#include <stdio.h>

enum { kNodes = 5, kLength = 6 * kNodes + 3 };

/* A path 3 - 1 - 5 - 2 - 4, which has bandwidth 1 along its nodes; 1 if that is what comes out. */
static int finds_the_path(int optimize_profile) {
  static const int n = kNodes, length = kLength;
  static const int row_start[kNodes] = {1, 3, 5, 6, 7}, connect[] = {3, 5, 5, 4, 1, 2, 1, 2};
  int degree[kNodes] = {2, 2, 1, 1, 2}, permutation[kNodes] = {1, 2, 3, 4, 5};
  int work[kLength], bandwidth, profile, error, space;
  gpskca(&n, degree, row_start, connect, &optimize_profile, &length, permutation, work, &bandwidth, &profile,
         &error, &space);
  printf("bandwidth %d, profile %d, error %d, space %d\n", bandwidth, profile, error, space);
  return error == 0 && bandwidth == 1 && profile == 4 && permutation[4] == 3 && space <= length;
}

int main(void) { return finds_the_path(0) && finds_the_path(1) ? 0 : 1; }

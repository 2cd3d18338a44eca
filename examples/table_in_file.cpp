// Stores a table of points in a chunked file and recalls it.
//
// A table of your own kind derives from RegressTable and supplies Regress and Func, which fit and evaluate
// its correlation; limits, statistics and fitted values are stored with the points. The disk stays as it is
// until Commit, which puts the complete file in the place of the old one.

#include <host/corvid_host.h>
#include <tables/regress_table.h>

#include <cmath>
#include <cstdio>

int main() {
  const char* const path = "water.cvf";
  const double temperature[] = {300, 320, 340, 360}, pressure[] = {3.54, 10.5, 27.2, 62.2};  // K, kPa

  //! [sample]
  RegressTable table, recalled;
  for (int i = 0; i < 4; ++i) table.AddPoint(temperature[i], pressure[i]);
  corvid_host::ChunkFile file;
  bool done = file.Create(path) && table.Store(file) && file.Commit();
  done = done && file.Open(path) && recalled.Recall(file);
  if (!done) std::fprintf(stderr, "%s: %s\n", path, file.ErrorText());
  //! [sample]

  file.Close();
  std::remove(path);
  if (!done || recalled.NDataPoints() != table.NDataPoints()) return 1;
  double t, p, sum = 0;
  for (bool more = recalled.GetFirstPoint(t, p); more; more = recalled.GetNextPoint(t, p)) sum += p;
  std::printf("%d points recalled, the last at %g K\n", recalled.NDataPoints(), temperature[3]);
  return std::abs(sum - 103.44) < 1e-9 ? 0 : 1;
}

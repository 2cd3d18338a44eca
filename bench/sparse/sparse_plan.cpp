// sparse_plan FAMILY ORDER [FILE]: generates a matrix of about this order, has MUMPS analyse its pattern, and
// prints what a factorisation without delayed pivots would take: entries of the factors, operations, memory.
// With FILE it writes the matrix instead (Matrix Market), for corvidnum-solve.

#include <dmumps_c.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "bench/sparse/grids.h"
#include "bench/sparse/process_matrices.h"

namespace {

enum Job { kBegin = -1, kEnd = -2, kAnalyse = 1 };
constexpr int kWorld = -987654, kPord = 4;

reference::Coordinates generate(const char* family, double order) {
  constexpr int kComponents = 8;
  if (std::strcmp(family, "square") == 0) return bench::grid_matrix(2, static_cast<int>(std::sqrt(order)), 0);
  if (std::strcmp(family, "cube") == 0)
    return bench::grid_matrix(3, static_cast<int>(std::lround(std::cbrt(order))), 0);
  if (std::strcmp(family, "column") == 0)
    return bench::column_jacobian(kComponents, static_cast<int>(order) / (kComponents + 2), 0);
  std::fprintf(stderr, "the family is square, cube or column\n");
  std::exit(EXIT_FAILURE);
}

int write(const reference::Coordinates& a, const char* path) {
  std::FILE* const file = std::fopen(path, "w");
  if (!file) {
    std::perror(path);
    return EXIT_FAILURE;
  }
  std::fprintf(file, "%%%%MatrixMarket matrix coordinate real general\n%d %d %d\n", a.n, a.n, a.entries());
  for (std::size_t k = 0; k < a.values.size(); ++k)
    std::fprintf(file, "%d %d %.17g\n", a.rows[k], a.columns[k], a.values[k]);
  if (std::fclose(file) == 0) return EXIT_SUCCESS;
  std::perror(path);
  return EXIT_FAILURE;
}

/// Large counts come as numbers of millions, with a sign.
double count(int told) { return told < 0 ? -1e6 * told : told; }

int plan(const char* family, reference::Coordinates& a) {
  DMUMPS_STRUC_C mumps = {};
  const auto call = [&mumps](Job job) {
    mumps.job = job;
    dmumps_c(&mumps);
  };
  const auto control = [&mumps](int number) -> int& { return mumps.icntl[number - 1]; };
  mumps.par = 1;
  mumps.comm_fortran = kWorld;
  call(kBegin);
  for (const int stream : {1, 2, 3}) control(stream) = -1;
  control(4) = 0;
  control(6) = 0;      // no permutation by values, as with entries that are spread over processes
  control(7) = kPord;  // as corvidnum-solve has it
  mumps.n = a.n;
  mumps.nnz = a.entries();
  mumps.irn = a.rows.data();
  mumps.jcn = a.columns.data();
  mumps.a = a.values.data();
  call(kAnalyse);
  const bool done = mumps.infog[0] >= 0;
  if (done)
    std::printf("%-7s order %9d  entries %9d  of the factors %.3g  operations %.3g  memory %d MB\n", family,
                a.n, a.entries(), count(mumps.infog[2]), mumps.rinfog[0], mumps.infog[16]);
  else
    std::fprintf(stderr, "MUMPS fails with error %d, %d\n", mumps.infog[0], mumps.infog[1]);
  call(kEnd);
  return done ? EXIT_SUCCESS : EXIT_FAILURE;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3 || argc > 4) {
    std::fprintf(stderr, "sparse_plan FAMILY ORDER [FILE]\n");
    return EXIT_FAILURE;
  }
  reference::Coordinates a = generate(argv[1], std::atof(argv[2]));
  return argc == 4 ? write(a, argv[3]) : plan(argv[1], a);
}

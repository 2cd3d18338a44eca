#pragma once

// The routines of the sparse solver with all that they need; every array has exactly the documented length,
// so that a sanitizer sees the ends.

#include <gtest/gtest.h>

#include "sparse/ma48/layout.h"
#include "sparse/ma48/ma48_routines.h"
#include "tests/support/sparse_matrices.h"

namespace reference {

using Ints = std::vector<int>;

/// Ways to have a matrix analysed.
struct Settings {
  const char* name;
  int job, smallest_block, singular_is_error, columns_last, search_limit;
};
constexpr Settings kSettings[] = {
    {"defaults", 1, 1, 1, 0, 3},
    {"no block form", 1, 1000000, 1, 0, 3},
    {"blocks of 4", 1, 4, 0, 0, 3},
    {"singular allowed", 1, 1, 0, 0, 0},
    {"columns last", 1, 1, 0, 1, 3},
    {"given permutations", 2, 1, 1, 0, 3},
    {"given, columns last", 2, 1, 1, 1, 3},
    {"diagonal pivots", 3, 1, 1, 0, -1},
    {"diagonal, columns last", 3, 1, 1, 1, 1},
};

struct Solver {
  Coordinates matrix;  // its values may change between the calls
  int la = 0, job = 1;
  Vector a, w, cntl = Vector(5), error = Vector(3, -1.0);
  Ints irn, jcn, keep, iw, icntl = Ints(9), info = Ints(12, 77);
  Ints marks, order;  // what IW and KEEP begin with before an analysis
  double rinfo = -1.0;

  explicit Solver(const Coordinates& given, int length = 0)
      : matrix(given),
        w(4 * std::max(given.m, given.n)),
        keep(corvidnum::keep_length(given.m, given.n), -9),
        iw(6 * given.m + 3 * given.n, 1) {
    ma48id_(cntl.data(), icntl.data());
    resize(length > 0 ? length : 20 * given.entries() + 4 * given.m * given.n + 100);
  }
  /// Marks and permutations are random.
  void use(const Settings& settings, Random& random) {
    job = settings.job;
    icntl[corvidnum::kSmallestBlock - 1] = settings.smallest_block;
    icntl[corvidnum::kSingularIsError - 1] = settings.singular_is_error;
    icntl[corvidnum::kColumnsLast - 1] = settings.columns_last;
    icntl[corvidnum::kSearchLimit - 1] = settings.search_limit;
    marks.resize(matrix.n);
    for (int& mark : marks) mark = number(random, 0, 3);
    order.resize(matrix.m + matrix.n);
    std::iota(order.begin(), order.begin() + matrix.m, 1);
    std::iota(order.begin() + matrix.m, order.end(), 1);
    std::shuffle(order.begin(), order.begin() + matrix.m, random);
    std::shuffle(order.begin() + matrix.m, order.end(), random);
  }
  void resize(int length) {
    la = length;
    a.resize(la), irn.resize(la), jcn.resize(la);
    a.shrink_to_fit(), irn.shrink_to_fit(), jcn.shrink_to_fit();
  }
  int analyse() {
    const int ne = matrix.entries();
    std::copy(matrix.values.begin(), matrix.values.end(), a.begin());
    std::copy(matrix.rows.begin(), matrix.rows.begin() + ne, irn.begin());
    std::copy(matrix.columns.begin(), matrix.columns.begin() + ne, jcn.begin());
    std::copy(marks.begin(), marks.end(), iw.begin());
    std::copy(order.begin(), order.end(), keep.begin());
    ma48ad_(&matrix.m, &matrix.n, &ne, &job, &la, a.data(), irn.data(), jcn.data(), keep.data(), cntl.data(),
            icntl.data(), iw.data(), info.data(), &rinfo);
    return info[0];
  }
  int factor(int factorJob = 1) {
    const int ne = matrix.entries();
    std::copy(matrix.values.begin(), matrix.values.end(), a.begin());
    ma48bd_(&matrix.m, &matrix.n, &ne, &factorJob, &la, a.data(), irn.data(), jcn.data(), keep.data(),
            cntl.data(), icntl.data(), w.data(), iw.data(), info.data(), &rinfo);
    return info[0];
  }
  /// Runs `step` with the length that it asks for in INFO(`figure`), as often as it asks.
  template <class Step>
  int with_room(int figure, Step step) {
    for (int tries = 0; step() == -3; ++tries) {
      EXPECT_GT(info[figure - 1], la);
      if (info[figure - 1] <= la || tries == 40) return -3;
      resize(info[figure - 1]);
    }
    return info[0];
  }
  int analyse_with_room() {
    return with_room(corvidnum::kAnalysisLength, [&] { return analyse(); });
  }
  Vector solve(Vector b, int transposed = 0, int solveJob = 1) {
    Vector x(transposed ? matrix.m : matrix.n, 77.0);
    Ints work(std::max(matrix.m, 0));
    ma48cd_(&matrix.m, &matrix.n, &transposed, &solveJob, &la, a.data(), irn.data(), keep.data(), cntl.data(),
            icntl.data(), b.data(), x.data(), error.data(), w.data(), work.data(), info.data());
    return x;
  }
  corvidnum::KeepView<int> view() { return {keep.data(), matrix.m, matrix.n}; }
};

}  // namespace reference

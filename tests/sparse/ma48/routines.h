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
  int la = 0, job = MA48_ANALYSE_FREELY;
  Vector a, w, cntl = Vector(MA48_CNTL_LENGTH), error = Vector(MA48_ERROR_LENGTH, -1.0);
  Ints irn, jcn, keep, iw, icntl = Ints(MA48_ICNTL_LENGTH), info = Ints(MA48_INFO_LENGTH, 77);
  Ints marks, order;  // what IW and KEEP begin with before an analysis
  double rinfo = -1.0;

  explicit Solver(const Coordinates& given, int length = 0)
      : matrix(given),
        w(ma48_w_length(given.m, given.n)),
        keep(ma48_keep_length(given.m, given.n), -9),
        iw(ma48_iw_length(given.m, given.n), 1) {
    ma48id_(cntl.data(), icntl.data());
    resize(length > 0 ? length : 20 * given.entries() + 4 * given.m * given.n + 100);
  }
  /// Marks and permutations are random.
  void use(const Settings& settings, Random& random) {
    job = settings.job;
    ICNTL(MA48_ICNTL_SMALLEST_BLOCK) = settings.smallest_block;
    ICNTL(MA48_ICNTL_SINGULAR_IS_ERROR) = settings.singular_is_error;
    ICNTL(MA48_ICNTL_COLUMNS_LAST) = settings.columns_last;
    ICNTL(MA48_ICNTL_SEARCH_LIMIT) = settings.search_limit;
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
  double& CNTL(MA48_Cntl position) { return cntl[position - 1]; }
  int& ICNTL(MA48_Icntl position) { return icntl[position - 1]; }
  int INFO(MA48_Info position) const { return ma48_info(info.data(), position); }
  double ERROR(MA48_Error position) const { return ma48_error(error.data(), position); }
  int analyse() {
    const int ne = matrix.entries();
    std::copy(matrix.values.begin(), matrix.values.end(), a.begin());
    std::copy(matrix.rows.begin(), matrix.rows.begin() + ne, irn.begin());
    std::copy(matrix.columns.begin(), matrix.columns.begin() + ne, jcn.begin());
    std::copy(marks.begin(), marks.end(), iw.begin());
    std::copy(order.begin(), order.end(), keep.begin());
    ma48ad_(&matrix.m, &matrix.n, &ne, &job, &la, a.data(), irn.data(), jcn.data(), keep.data(), cntl.data(),
            icntl.data(), iw.data(), info.data(), &rinfo);
    return INFO(MA48_INFO_STATUS);
  }
  int factor(int factorJob = MA48_FACTOR_FREELY) {
    const int ne = matrix.entries();
    std::copy(matrix.values.begin(), matrix.values.end(), a.begin());
    ma48bd_(&matrix.m, &matrix.n, &ne, &factorJob, &la, a.data(), irn.data(), jcn.data(), keep.data(),
            cntl.data(), icntl.data(), w.data(), iw.data(), info.data(), &rinfo);
    return INFO(MA48_INFO_STATUS);
  }
  /// Runs `step` with the length that it asks for in INFO(`length`), as often as it asks.
  template <class Step>
  int with_room(MA48_Info length, Step step) {
    for (int tries = 0; step() == MA48_STATUS_TOO_SHORT; ++tries) {
      EXPECT_GT(INFO(length), la);
      if (INFO(length) <= la || tries == 40) return MA48_STATUS_TOO_SHORT;
      resize(INFO(length));
    }
    return INFO(MA48_INFO_STATUS);
  }
  int analyse_with_room() {
    return with_room(MA48_INFO_ANALYSIS_LENGTH, [&] { return analyse(); });
  }
  Vector solve(Vector b, int transposed = 0, int solveJob = MA48_SOLVE_ONLY) {
    Vector x(transposed ? matrix.m : matrix.n, 77.0);
    Ints work(std::max(matrix.m, 0));
    ma48cd_(&matrix.m, &matrix.n, &transposed, &solveJob, &la, a.data(), irn.data(), keep.data(), cntl.data(),
            icntl.data(), b.data(), x.data(), error.data(), w.data(), work.data(), info.data());
    return x;
  }
  corvidnum::KeepView<int> view() { return {keep.data(), matrix.m, matrix.n}; }
};

}  // namespace reference

// The sparse solver ma48: analysis, several factorisations, and solutions with each, of systems of up to 30
// unknowns.
//
// Compared to the bit, but for the sign of zero: the block form, all permutations, the stored pattern,
// statuses and counts, the sparse columns of the factors, and backward errors. BLAS may sum in other orders
// and fuse operations: full parts and solutions are compared to the bit where nothing is rounded in them,
// whatever the order; elsewhere a full part has to give back the matrix, and a solution to differ by no more
// than small errors in the operations with full parts make.

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <numeric>

#include "proof/differential/comparison.h"
#include "proof/differential/families.h"
#include "proof/differential/ma48_model.h"
#include "sparse/ma48/ma48_routines.h"

namespace {

using differential::Comparison;
using differential::Draw;
using ma48_model::Block;
using ma48_model::FullPart;
using ma48_model::Given;
using ma48_model::Ints;
using ma48_model::Model;
using ma48_model::Vector;

// ---- Systems at random

double draw_value(int kind, Draw& draw) {
  switch (kind) {
    case 0:
      return draw.uniform();
    case 1:
      return draw.below(7) - 3;  // many ties, and zeros that are stored
    case 2:
      return std::ldexp(draw.one_in(2) ? 1.0 : -1.0, draw.below(4) - 2);  // most factors are exact
    default:
      return std::ldexp(1 + draw.below(1000), draw.below(12) - 6);
  }
}

void add_entry(Given& given, int i, int j, double value) {
  given.rows.push_back(i), given.columns.push_back(j), given.values.push_back(value);
}

void draw_entries(Given& given, int values, Draw& draw) {
  const int m = given.m, n = given.n, density = draw.one_in(4) ? 30 + draw.below(60) : 3 + draw.below(25);
  const int width =
      draw.one_in(2) ? 1 + draw.below(6) : 0;  // of diagonal blocks with entries only above them
  const bool with_diagonal = !draw.one_in(3);
  Ints row(static_cast<std::size_t>(std::max(m, 0) + 1)),
      column(static_cast<std::size_t>(std::max(n, 0) + 1));
  std::iota(row.begin(), row.end(), 0);
  std::iota(column.begin(), column.end(), 0);
  if (!draw.one_in(4)) draw.shuffle(row, 1);
  if (!draw.one_in(4)) draw.shuffle(column, 1);
  for (int j = 1; j <= n; ++j) {
    for (int i = 1; i <= m; ++i) {
      if (width > 0 && i > j && (i - 1) / width != (j - 1) / width) continue;
      const bool kept = i == j ? with_diagonal && !draw.one_in(20) : false;
      if (!kept && draw.below(100) >= density) continue;
      add_entry(given, row[i], column[j], draw_value(values, draw));
    }
  }
  const int kept = given.entries();
  for (int k = draw.one_in(4) && kept > 0 ? 1 + draw.below(4) : 0; k > 0; --k) {
    const int which = 1 + draw.below(kept);
    add_entry(given, given.rows[which], given.columns[which], draw_value(values, draw));
  }
  for (int k = draw.one_in(4) ? 1 + draw.below(3) : 0; k > 0; --k) {
    const int outside[] = {0, -1, m + 1, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()};
    const bool in_row = draw.one_in(2);
    add_entry(given, in_row ? outside[draw.below(5)] : 1,
              in_row ? 1 : std::max(outside[draw.below(5)], n + 1), 1.0);
  }
  for (int k = given.entries(); k > 1; --k) {
    const int other = 1 + draw.below(k);
    std::swap(given.rows[k], given.rows[other]);
    std::swap(given.columns[k], given.columns[other]);
    std::swap(given.values[k], given.values[other]);
  }
}

void draw_controls(Given& given, Draw& draw) {
  const auto any = [&](auto... choice) { return std::array{choice...}[draw.below(sizeof...(choice))]; };
  const int n = given.n;
  given.cntl = {0,
                any(0.5, 1.0, 1.0, 2.0, 0.3, 0.0),
                any(0.1, 0.1, 0.5, 1.0, 0.0, -1.0),
                any(0.0, 0.0, 0.0, 0.0, 1e-3, 0.3),
                any(0.0, 0.0, 0.0, 1e-3, 0.3, -1.0),
                any(0.5, 0.5, 1.5)};
  given.icntl = {0,
                 6,
                 6,
                 2,
                 any(3, 3, 1, 0, -1),
                 any(32, 0, 0, 1, 2, -1),
                 any(1, 1, 1, 3, 8, n, 0),
                 draw.below(2),
                 any(0, 0, 1),
                 any(10, 10, 10, 3, 1, 0)};
  given.job = any(1, 1, 1, 1, 1, 1, 2, 3);
  if (draw.one_in(200)) given.job = any(0, 4);
}

Given draw_system(int values, Draw& draw) {
  Given given;
  given.n = draw.one_in(3) ? draw.below(31) : draw.below(13);
  given.m = draw.one_in(6) ? draw.below(20) : given.n;
  given.rows = given.columns = {0};
  given.values = {0.0};
  draw_entries(given, values, draw);
  draw_controls(given, draw);
  const int ne = given.entries();
  given.la = draw.one_in(4) ? 2 * ne - draw.below(2) + draw.below(10) : 20 * ne + 4 * given.m * given.n + 200;
  const int rows = given.m + 1, columns = given.n + 1;
  given.marks.resize(columns);
  for (int& mark : given.marks) mark = draw.below(2);
  given.row_places.resize(rows), given.column_order.resize(columns);
  std::iota(given.row_places.begin(), given.row_places.end(), 0);
  std::iota(given.column_order.begin(), given.column_order.end(), 0);
  draw.shuffle(given.row_places, 1);
  draw.shuffle(given.column_order, 1);
  if (draw.one_in(40) && given.n > 1) given.column_order[1] = given.column_order[2];
  return given;
}

// ---- The library

/// The routines with arrays of exactly the lengths that they state.
struct Library {
  const Given& given;
  int la;
  Vector a, w, error = Vector(MA48_ERROR_LENGTH);
  Ints irn, jcn, keep, iw, info = Ints(MA48_INFO_LENGTH);
  double rinfo = 0.0;

  explicit Library(const Given& system)
      : given(system),
        la(system.la),
        w(ma48_w_length(given.m, given.n)),
        keep(ma48_keep_length(given.m, given.n), -9),
        iw(ma48_iw_length(given.m, given.n), 1) {}
  void resize(int length) {
    la = length;
    a.assign(std::max(la, 0), 7.0);
    irn.assign(std::max(la, 0), 7);
    jcn.assign(std::max(la, 0), 7);
  }
  int INFO(int position) const { return info[position - 1]; }
  int KEEP(int position) const { return keep[position - 1]; }
  void put_values(const Vector& values) { std::copy(values.begin() + 1, values.end(), a.begin()); }
  int analyse() {
    resize(std::max(la, given.entries()));
    put_values(given.values);
    std::copy(given.rows.begin() + 1, given.rows.end(), irn.begin());
    std::copy(given.columns.begin() + 1, given.columns.end(), jcn.begin());
    std::copy(given.marks.begin() + 1, given.marks.end(), iw.begin());
    std::copy(given.row_places.begin() + 1, given.row_places.end(), keep.begin());
    std::copy(given.column_order.begin() + 1, given.column_order.end(), keep.begin() + given.m);
    const int ne = given.entries(), length = given.la;
    std::fill(info.begin(), info.end(), 0);
    ma48ad_(&given.m, &given.n, &ne, &given.job, &length, a.data(), irn.data(), jcn.data(), keep.data(),
            &given.cntl[1], &given.icntl[1], iw.data(), info.data(), &rinfo);
    return INFO(1);
  }
  int factorise(int job, const Vector& values) {
    put_values(values);
    const int ne = given.entries();
    std::fill(info.begin(), info.end(), 0);
    ma48bd_(&given.m, &given.n, &ne, &job, &la, a.data(), irn.data(), jcn.data(), keep.data(), &given.cntl[1],
            &given.icntl[1], w.data(), iw.data(), info.data(), &rinfo);
    return INFO(1);
  }
  /// Lengthens the arrays after a factorisation that found them too short.
  void lengthen(int length) {
    la = length;
    a.resize(la), irn.resize(la), jcn.resize(la);
  }
  Vector solve(bool transposed, int job, Vector& right) {
    const int trans = transposed;
    Vector x(transposed ? given.m : given.n, 77.0);
    Ints categories(std::max(given.m, given.n));
    ma48cd_(&given.m, &given.n, &trans, &job, &la, a.data(), irn.data(), keep.data(), &given.cntl[1],
            &given.icntl[1], right.data(), x.data(), error.data(), w.data(), categories.data(), info.data());
    return x;
  }
};

// ---- Comparisons

void compare_info(const Library& library, const Model& model, std::initializer_list<int> positions,
                  Comparison& comparison) {
  for (const int k : positions)
    comparison.equal("INFO(" + std::to_string(k) + ')', library.INFO(k), model.info[k]);
}

void compare_blocks(const Library& library, const Model& model, bool factors, Comparison& comparison) {
  const int m = library.given.m, n = library.given.n, base = m + 5 * n;
  const int count = static_cast<int>(model.blocks.size()) - 1;
  comparison.equal("the number of blocks", library.KEEP(base + 2 + 3), count);
  for (int b = 1; b <= count && comparison.agrees(); ++b) {
    const Block& block = model.blocks[b];
    const std::string name = " of block " + std::to_string(b);
    comparison.equal("the order" + name, library.KEEP(base + 3 * b), block.order);
    const int kind = library.KEEP(base + 1 + 3 * b);
    comparison.equal("the kind" + name, block.kind < 0 ? std::min(kind, 0) : kind,
                     block.kind < 0 ? -block.order : block.kind);
    if (library.given.icntl[8] != 0)
      comparison.equal("the columns left to last" + name, library.KEEP(base + 2 + 3 * count + b),
                       block.left_to_last);
    if (factors && b > 1) comparison.equal("the start" + name, library.KEEP(base + 2 + 3 * b), block.start);
  }
}

void compare_analysis(const Library& library, const Model& model, Comparison& comparison) {
  const Given& given = library.given;
  const int m = given.m, n = given.n;
  compare_info(library, model, {1, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12}, comparison);
  comparison.equal("RINFO", library.rinfo, model.operations);
  comparison.all_equal("the place of row", library.keep.data() - 1, model.row_place, 1, m + 1);
  comparison.all_equal("the column at place", library.keep.data() + m - 1, model.column_at, 1, n + 1);
  compare_blocks(library, model, false, comparison);
  comparison.all_equal("IPTRD", library.keep.data() + m + 3 * n - 1, model.diagonal_start, 1, n + 2);
  comparison.all_equal("IPTRO", library.keep.data() + m + 4 * n, model.off_diagonal_start, 1, n + 2);
  comparison.all_equal("IRN", library.irn.data() - 1, model.index, 1, model.index.size());
  comparison.all_equal("JCN", library.jcn.data() - 1, model.place, 1, model.place.size());
  comparison.all_equal("A", library.a.data() - 1, given.values, 1, given.values.size());
}

/// Checks that the library's factors of a full part give back its elements.
void compare_product(const FullPart& library, double pivot_tolerance, Comparison& comparison) {
  const int m = library.rows, n = library.columns, rank = library.rank;
  FullPart matrix = library;
  matrix.elements = library.before;
  for (int j = n; j > rank; --j) {
    for (int i = 1; i <= m; ++i) std::swap(matrix(i, j), matrix(i, -library.pivots[j]));
  }
  for (int k = 1; k <= rank; ++k) {
    for (int j = 1; j <= n; ++j) std::swap(matrix(k, j), matrix(library.pivots[k], j));
  }
  double largest = 0.0;
  for (const double x : library.elements) largest = std::max(largest, std::fabs(x));
  for (const double x : library.before) largest = std::max(largest, std::fabs(x));
  for (int j = 1; j <= n; ++j) {
    for (int i = 1; i <= m; ++i) {
      double sum = 0.0;
      for (int k = 1; k <= std::min({i, j, rank}); ++k) sum += (k == i ? 1.0 : library(i, k)) * library(k, j);
      const double limit = 1e-13 * largest + (j > rank ? m * std::max(pivot_tolerance, 0.0) : 0.0);
      if (!(std::fabs(sum - matrix(i, j)) <= limit))
        comparison.equal(
            "the product of the full factors at (" + std::to_string(i) + ", " + std::to_string(j) + ')', sum,
            matrix(i, j));
      if (i > j && j <= rank && !(std::fabs(library(i, j)) <= 1.0 + 1e-13))
        comparison.equal("a multiplier of the full part", library(i, j), 1.0);
    }
  }
}

/// Compares the full part that begins at place `begin` behind the matrix, and gives it to the model.
void compare_full_part(const Library& library, Block& block, int begin, Model& model,
                       Comparison& comparison) {
  FullPart& full = block.full;
  const int mf = full.rows, nf = full.columns;
  if (mf == 0 || nf == 0) return;
  const double* values = library.a.data() + begin - 1;
  const int* pivots = library.irn.data() + begin + mf - 2;
  comparison.all_equal("the row of the full part", library.irn.data() + begin - 2, block.full_rows, 1,
                       mf + 1);
  if (full.exact) {
    comparison.all_equal("the full part", values, full.elements, 0, full.elements.size());
    comparison.all_equal("the pivot of the full part", pivots, full.pivots, 1, nf + 1);
    return;
  }
  for (int k = 1; k <= nf; ++k) {
    const int pivot = pivots[k];
    if (pivot > mf || pivot < -nf || pivot == 0)
      comparison.equal("a pivot of the full part", pivot, full.pivots[k]);
  }
  if (!comparison.agrees()) return;
  model.info[5] -= full.rank;
  full.elements.assign(values, values + full.elements.size());
  std::copy_n(pivots + 1, nf, full.pivots.begin() + 1);
  full.rank = std::min(mf, nf);
  while (full.rank > 0 && full.pivots[full.rank] <= 0) --full.rank;
  model.info[5] += full.rank;
  compare_product(full, library.given.cntl[4], comparison);
}

void compare_block_factors(const Library& library, Model& model, Block& block, Comparison& comparison) {
  const int m = library.given.m, n = library.given.n, kept = model.off_diagonal_start[n + 1] - 1;
  const int base = kept + (block.kind < 0 ? 0 : block.start) - 1;  // FACT(k) is A(base + k)
  int end = 2;
  for (int j = 1; j <= block.order && comparison.agrees(); ++j) {
    const std::string name = " of column " + std::to_string(block.first - 1 + j);
    const int upper_end = library.KEEP(m + 2 * n + block.first - 1 + j);
    const int lower_end = library.KEEP(m + n + block.first - 1 + j);
    if (block.kind < 0) {
      comparison.equal("IPTRU" + name, upper_end, 0);
      comparison.equal("IPTRL" + name, lower_end, 0);
      continue;
    }
    for (const ma48_model::Column* part : {&block.columns[j].upper, &block.columns[j].lower}) {
      for (const ma48_model::Element& e : *part) {
        ++end;
        comparison.equal("the index at place " + std::to_string(end) + name, library.irn[base + end - 1],
                         e.index);
        comparison.equal("the element at place " + std::to_string(end) + name, library.a[base + end - 1],
                         e.value);
      }
      if (part == &block.columns[j].upper) comparison.equal("IPTRU" + name, upper_end, end);
    }
    comparison.equal("IPTRL" + name, lower_end, end);
  }
  if (block.kind >= 0 && comparison.agrees())
    compare_full_part(library, block, base + end + 1, model, comparison);
}

void compare_factors(const Library& library, Model& model, Comparison& comparison) {
  const Given& given = library.given;
  compare_blocks(library, model, true, comparison);
  comparison.all_equal("A", library.a.data() - 1, model.store, 1, model.index.size());
  comparison.all_equal("IRN", library.irn.data() - 1, model.index, 1, model.index.size());
  for (std::size_t b = 1; b < model.blocks.size() && comparison.agrees(); ++b) {
    compare_block_factors(library, model, model.blocks[b], comparison);
  }
  if (model.info[1] >= 0) model.info[1] = model.info[5] < std::min(given.m, given.n) ? 2 : 0;
  compare_info(library, model, {1, 4, 5, 6}, comparison);
  comparison.equal("RINFO", library.rinfo, model.operations);
}

/// Whether a pivot of a full part is no larger than the rounding errors in it, as happens where the matrix is
/// singular. The quotients by such a pivot have no correct digit, even those that are exactly 0 in the model.
bool has_pivot_of_rounding_errors(const Model& model) {
  return std::any_of(model.blocks.begin(), model.blocks.end(), [](const Block& block) {
    const FullPart& full = block.full;
    if (full.exact) return false;
    double largest = 0.0, smallest_pivot = std::numeric_limits<double>::infinity();
    for (const double x : full.elements) largest = std::max(largest, std::fabs(x));
    for (int k = 1; k <= full.rank; ++k) smallest_pivot = std::min(smallest_pivot, std::fabs(full(k, k)));
    return smallest_pivot < 1e-14 * largest;
  });
}

void compare_solution(Library& library, Model& model, int values, Draw& draw, Comparison& comparison) {
  const Given& given = library.given;
  const bool transposed = draw.one_in(2);
  const int job = draw.one_in(100) ? 5 : 1 + draw.below(4);
  Vector right(1);
  for (int i = transposed ? given.n : given.m; i > 0; --i)
    right.push_back(draw.one_in(4) ? 0.0 : draw_value(values, draw));
  comparison.within("solution with job " + std::to_string(job) + (transposed ? ", transposed" : ""));
  const ma48_model::Solution wanted = model.solve(transposed, job, right);
  Vector changed(right.begin() + 1, right.end());
  const Vector found = library.solve(transposed, job, changed);
  if (wanted.status == -6) return comparison.equal("INFO(1)", library.INFO(1), -6);
  if (wanted.exact) {
    comparison.equal("INFO(1)", library.INFO(1), wanted.status);
    comparison.all_equal("x", found.data() - 1, wanted.x, 1, wanted.x.size());
    if (job > 1) comparison.all_equal("ERROR", library.error.data() - 1, wanted.error, 1, 4);
  } else {
    const bool fails =
        library.INFO(1) != 0 && (library.INFO(1) != -8 || job < 3) && (library.INFO(1) != -9 || job < 4);
    if (fails) comparison.equal("INFO(1)", library.INFO(1), wanted.status);
    // Sparse columns may have such pivots, too, and then the solution has large elements.
    const bool meaningful =
        !has_pivot_of_rounding_errors(model) &&
        std::all_of(wanted.x.begin(), wanted.x.end(), [](double x) { return std::fabs(x) < 1e12; });
    for (std::size_t i = 1; i < wanted.x.size() && job < 3 && meaningful; ++i) {
      if (!(std::fabs(found[i - 1] - wanted.x[i]) <= wanted.uncertainty))
        comparison.equal(
            "x(" + std::to_string(i) + ") with uncertainty " + std::to_string(wanted.uncertainty),
            found[i - 1], wanted.x[i]);
    }
  }
  if (job == 1) comparison.all_equal("the right-hand side", changed.data() - 1, right, 1, right.size());
  if (job == 1 || given.icntl[9] < 1) return;
  Vector x(found);
  x.insert(x.begin(), 0.0);
  const std::array<double, 2> errors = model.backward_errors(transposed, right, x);
  comparison.equal("the first backward error of x", library.error[0], errors[0]);
  comparison.equal("the second backward error of x", library.error[1], errors[1]);
}

/// Draws values for the next factorisation. Columns that it takes as they are keep theirs.
void draw_next_values(const Model& model, const Given& given, int kind, int job, Vector& next, Draw& draw) {
  const std::vector<bool> kept = model.kept_columns(job);
  const bool drift = draw.one_in(2);
  for (int k = 1; k <= given.entries(); ++k) {
    const int j = given.columns[k];
    if (j >= 1 && j <= given.n && kept[j]) continue;
    next[k] = drift ? next[k] * (draw.one_in(3) ? 2.0 : 1.0) : draw_value(kind, draw);
  }
}

std::string describe(const Given& given) {
  return std::to_string(given.m) + " x " + std::to_string(given.n) + ", " + std::to_string(given.entries()) +
         " entries, job " + std::to_string(given.job);
}

}  // namespace

std::string ma48_difference(std::uint64_t seed) {
  Draw draw(seed);
  const int values = draw.below(4);
  Given given = draw_system(values, draw);
  Comparison comparison;
  Library library(given);
  comparison.within(describe(given) + ", analysis");
  for (int tries = 0; library.analyse() == -3 && given.la >= 2 * given.entries(); ++tries) {
    if (library.INFO(3) <= given.la || tries == 40) {
      comparison.equal("the length asked for", library.INFO(3), given.la);
      return comparison.text();
    }
    given.la = library.la = library.INFO(3);
  }
  Model model(given);
  if (model.analyse() < 0) {
    compare_info(library, model, {1}, comparison);
    return comparison.text();
  }
  compare_analysis(library, model, comparison);

  Vector next = given.values;
  int job = 1;
  const bool only_first_job = draw.one_in(3);  // in little room: what else stays depends on it
  if (!only_first_job)
    library.lengthen(std::max(library.la, 20 * given.entries() + 4 * given.m * given.n + 200));
  for (int round = draw.below(4); round >= 0 && comparison.agrees(); --round) {
    comparison.within(describe(given) + ", factorisation with job " + std::to_string(job));
    library.factorise(job, next);
    for (int tries = 0; library.INFO(1) == -3; ++tries) {
      if (library.INFO(4) <= library.la || tries == 40) {
        comparison.equal("the length asked for", library.INFO(4), library.la);
        return comparison.text();
      }
      library.lengthen(library.INFO(4));
      library.factorise(job, next);
    }
    const int status = model.factorise(job, next, library.la);
    if (status >= 0) {
      compare_factors(library, model, comparison);
      for (int k = 1 + draw.below(2); k > 0 && comparison.agrees(); --k)
        compare_solution(library, model, values, draw, comparison);
    } else {
      compare_info(library, model, {1}, comparison);
    }
    job = status < 0 || only_first_job ? 1 : 1 + draw.below(given.cntl[3] > 0 ? 2 : 3);
    draw_next_values(model, given, values, job, next, draw);
  }
  return comparison.text();
}

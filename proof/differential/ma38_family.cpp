// The multifrontal routines: matrices of order 0 to 25, now and then 60, and controls of all kinds,
// factorised, factorised again with other values, and solved, with ample arrays and with arrays of just the
// lengths that the routines ask for. Compared are the pivot order, the lists and numbers of every LU element,
// the entries off the blocks, the kept matrix, the figures that do not depend on storage, and the solutions.

#include <algorithm>
#include <cmath>
#include <random>
#include <sstream>
#include <utility>

#include "proof/differential/families.h"
#include "proof/differential/ma38_model.h"
#include "sparse/ma38/ma38_routines.h"
#include "tests/support/ma38_factors.h"

namespace {

using ma38_model::Controls;
using ma38_model::Factors;
using ma38_model::Matrix;
using ma38_model::Real;
using ma38_model::Reals;
using reference::Ints;
using reference::StoredFactors;
using reference::Vector;

/// Thrown with what differs.
struct Different {
  std::string what;
};

template <class... Parts>
std::string text(const Parts&... parts) {
  std::ostringstream stream;
  stream.precision(17);
  (stream << ... << parts);
  return stream.str();
}
std::string listed(const Ints& list) {
  std::string result;
  for (const int member : list) result += " " + std::to_string(member);
  return result;
}
void expect_equal(const std::string& what, long long got, long long expected) {
  if (got != expected) throw Different{text(what, " is ", got, ", expected ", expected)};
}
void expect_equal(const std::string& what, const Ints& got, const Ints& expected) {
  if (got != expected) throw Different{text(what, " is", listed(got), ", expected", listed(expected))};
}
void expect_close(const std::string& what, double got, const Real& expected) {
  if (std::fabs(got - expected.value) <= expected.error || !std::isfinite(expected.error)) return;
  throw Different{text(what, " is ", got, ", expected ", expected.value, " to within ", expected.error)};
}

// ---- Cases

class Draw {
 public:
  explicit Draw(std::uint64_t seed) : random_(seed) {}
  /// A number of first .. last.
  int number(int first, int last) {
    return first + static_cast<int>(random_() % static_cast<std::uint64_t>(last - first + 1));
  }
  bool one_in(int count) { return number(1, count) == 1; }
  template <class T, std::size_t count>
  T of(const T (&choices)[count]) {
    return choices[number(0, static_cast<int>(count) - 1)];
  }
  double uniform() { return std::ldexp(static_cast<double>(random_() >> 11U), -52) - 1.0; }

 private:
  std::mt19937_64 random_;
};

enum class Values { kSigns, kShort, kAny };

double draw_value(Values kind, Draw& draw) {
  switch (kind) {
    case Values::kSigns:
      return draw.one_in(2) ? 1.0 : -1.0;
    case Values::kShort:
      return draw.of({0.5, 1.0, 2.0, 4.0, 3.0, -0.5, -1.0, -2.0, -1.0, 1.0});
    case Values::kAny:
      break;
  }
  return draw.uniform();
}

/// Entries at random, along the diagonal, in some full rows and columns, or in blocks.
Matrix draw_matrix(int order, Draw& draw) {
  Matrix matrix;
  matrix.order = order;
  const Values kind = draw.of({Values::kSigns, Values::kShort, Values::kShort, Values::kAny, Values::kAny});
  const int percent = draw.of({0, 5, 10, 15, 20, 30, 50, 100}), shape = draw.number(0, 4);
  const int zeros = draw.of({0, 0, 0, 5, 3}), full = draw.number(1, std::max(1, order));
  for (int j = 1; j <= order; ++j) {
    for (int i = 1; i <= order; ++i) {
      const bool structured = (shape == 1 && i == j) || (shape == 2 && std::abs(i - j) < 2) ||
                              (shape == 3 && (i == full || j == full || i == j)) ||
                              (shape == 4 && i / 4 == j / 4 && draw.one_in(2));
      if (!structured && draw.number(1, 100) > percent) continue;
      matrix.rows.push_back(i);
      matrix.columns.push_back(j);
      matrix.values.push_back(zeros > 0 && draw.one_in(zeros) ? 0.0 : draw_value(kind, draw));
    }
  }
  return matrix;
}

/// Repeats some entries, puts some outside, and changes the order of all.
void spoil(Matrix& matrix, Draw& draw) {
  const int entries = static_cast<int>(matrix.values.size());
  const int repeated = draw.of({0, 0, 1, 3}), outside = draw.of({0, 0, 1, 3});
  for (int k = 0; k < repeated && entries > 0; ++k) {
    const int which = draw.number(0, entries - 1);
    matrix.rows.push_back(matrix.rows[which]);
    matrix.columns.push_back(matrix.columns[which]);
    matrix.values.push_back(draw.one_in(3) ? -matrix.values[which] : 1.0);
  }
  for (int k = 0; k < outside; ++k) {
    const int bad = draw.of({0, -1, matrix.order + 1, 2147483647});
    const bool row = draw.one_in(2);
    matrix.rows.push_back(row ? bad : 1);
    matrix.columns.push_back(row ? 1 : bad);
    matrix.values.push_back(1.0);
  }
  for (int k = static_cast<int>(matrix.values.size()) - 1; k > 0; --k) {
    const int other = draw.number(0, k);
    std::swap(matrix.rows[k], matrix.rows[other]);
    std::swap(matrix.columns[k], matrix.columns[other]);
    std::swap(matrix.values[k], matrix.values[other]);
  }
}

Controls draw_controls(Draw& draw) {
  Controls controls{};
  controls.threshold = draw.of({0.125, 0.125, 0.1, 0.0, 0.25, 0.5, 1.0, -3.0, 7.0});
  controls.growth = draw.of({2.0, 2.0, 1.0, 1.25, 1.5, 3.0, 4.0, -1.0});
  controls.blocks = draw.of({1, 1, 0, 7});
  controls.width = draw.of({4, 1, 2, 3, 8, 0});
  controls.prefer_diagonal = draw.of({0, 0, 1, -1});
  controls.batch = draw.of({16, 1, 2, 3, 4, 0});
  controls.dense1 = draw.of({64, 64, 0, 1, 2, 3, 4, 6, -5});
  controls.dense2 = draw.of({1, 1, 0, 2, -2});
  controls.refinement = draw.number(1, 4);
  return controls;
}

/// The matrix of a second factorisation: other values, some entries gone, and if allowed some in other
/// places.
Matrix changed(const Matrix& matrix, bool may_move, Draw& draw) {
  Matrix result;
  result.order = matrix.order;
  const Values kind = draw.of({Values::kSigns, Values::kShort, Values::kAny});
  const bool same = draw.one_in(4);
  const int fewer = draw.of({0, 0, 4, 10}), moved = may_move ? draw.of({0, 0, 10}) : 0;
  for (std::size_t k = 0; k < matrix.values.size(); ++k) {
    if (fewer > 0 && draw.one_in(fewer)) continue;
    const bool move = moved > 0 && draw.one_in(moved);
    result.rows.push_back(move ? draw.number(1, matrix.order) : matrix.rows[k]);
    result.columns.push_back(matrix.columns[k]);
    result.values.push_back(same ? matrix.values[k] : draw_value(kind, draw));
  }
  return result;
}

// ---- Calls

struct Call {
  Matrix matrix;
  int job = 0, transposed = 0, lvalue = 0, lindex = 0;
  Ints index, keep = Ints(MA38_KEEP_LENGTH), icntl = Ints(MA38_ICNTL_LENGTH), info = Ints(MA38_INFO_LENGTH);
  Vector value, cntl = Vector(MA38_CNTL_LENGTH), rinfo = Vector(MA38_RINFO_LENGTH);

  void set(const Controls& controls) {
    ma38id_(keep.data(), cntl.data(), icntl.data());
    ma38_set_cntl(cntl.data(), MA38_CNTL_THRESHOLD, controls.threshold);
    ma38_set_cntl(cntl.data(), MA38_CNTL_GROWTH, controls.growth);
    ma38_set_icntl(icntl.data(), MA38_ICNTL_USE_BLOCKS, controls.blocks);
    ma38_set_icntl(icntl.data(), MA38_ICNTL_SEARCH_WIDTH, controls.width);
    ma38_set_icntl(icntl.data(), MA38_ICNTL_PREFER_DIAGONAL, controls.prefer_diagonal);
    ma38_set_icntl(icntl.data(), MA38_ICNTL_BLOCK_SIZE, controls.batch);
    ma38_set_keep(keep.data(), MA38_KEEP_DENSE1, controls.dense1);
    ma38_set_keep(keep.data(), MA38_KEEP_DENSE2, controls.dense2);
  }
  int status() const { return ma38_info(info.data(), MA38_INFO_STATUS); }

  /// Analyses and factorises in arrays of these lengths.
  void factorise(int reals, int words) {
    lvalue = reals;
    lindex = words;
    value.assign(reals, 77.0);
    index.assign(words, 77);
    write_triplets();
    const int ne = static_cast<int>(matrix.values.size());
    ma38ad_(&matrix.order, &ne, &job, &transposed, &lvalue, &lindex, value.data(), index.data(), keep.data(),
            cntl.data(), icntl.data(), info.data(), rinfo.data());
  }
  /// With more than any factorisation of the order needs.
  void factorise_amply() {
    const int n = std::max(0, matrix.order), ne = static_cast<int>(matrix.values.size());
    factorise(40 * n * n + 10 * ne + 1000, 40 * n * n + 100 * n + 20 * ne + 1000);
  }
  /// In the shortest arrays that are allowed, then in those that the routine asks for.
  void factorise_tightly() {
    const int ne = static_cast<int>(matrix.values.size());
    const auto fewest_words = static_cast<int>(ma38_least_index_length(matrix.order, ne));
    factorise(static_cast<int>(ma38_least_value_length(ne)), fewest_words);
    for (int tries = 0; - 5 <= status() && status() <= -3; ++tries) {
      if (tries == kMostTries) throw Different{"there is no end of requests for longer arrays"};
      const int words = ma38_info(info.data(), MA38_INFO_INDEX_NEEDED);
      const int reals = ma38_info(info.data(), MA38_INFO_VALUE_NEEDED);
      factorise(std::max(lvalue, reals), std::max(lindex, words));
    }
  }
  int keep_of(MA38_Keep position) const { return ma38_keep(keep.data(), position); }
  /// Brings the pattern of the factors to the end of an INDEX of this length.
  void move_pattern(int words) {
    const Ints pattern(index.begin() + keep_of(MA38_KEEP_PATTERN_BEGIN) - 1,
                       index.begin() + keep_of(MA38_KEEP_INDEX_END));
    lindex = words;
    index.assign(words, 77);
    std::copy_backward(pattern.begin(), pattern.end(), index.end());
    ma38_set_keep(keep.data(), MA38_KEEP_PATTERN_BEGIN, words + 1 - static_cast<int>(pattern.size()));
    ma38_set_keep(keep.data(), MA38_KEEP_INDEX_END, words);
  }
  /// Factorises `matrix` with the pattern of the factors, in arrays of these lengths.
  void refactorise(int reals, int words) {
    lvalue = reals;
    lindex = words;
    index.resize(words, 77);
    value.assign(reals, 77.0);
    write_triplets();
    const int ne = static_cast<int>(matrix.values.size());
    ma38bd_(&matrix.order, &ne, &job, &transposed, &lvalue, &lindex, value.data(), index.data(), keep.data(),
            cntl.data(), icntl.data(), info.data(), rinfo.data());
  }
  Vector solve(int solve_job, int transposed_system, int refinement, const Vector& b) {
    ma38_set_icntl(icntl.data(), MA38_ICNTL_MOST_REFINEMENTS, refinement);
    Vector x(b.size(), 77.0), w(4 * b.size(), 77.0);
    ma38cd_(&matrix.order, &solve_job, &transposed_system, &lvalue, &lindex, value.data(), index.data(),
            keep.data(), b.data(), x.data(), w.data(), cntl.data(), icntl.data(), info.data(), rinfo.data());
    return x;
  }

 private:
  static constexpr int kMostTries = 1000;

  void write_triplets() {
    std::copy(matrix.values.begin(), matrix.values.end(), value.begin());
    std::copy(matrix.rows.begin(), matrix.rows.end(), index.begin());
    std::copy(matrix.columns.begin(), matrix.columns.end(), index.begin() + matrix.rows.size());
  }
};

// ---- Comparison of factors

/// Puts the lists of an LU element in the order of another, with their numbers. ma38bd_ leaves the lists in
/// the order in which its fronts hold them at the end.
void reorder_lists(reference::LuElement& element, const Ints& l, const Ints& u) {
  if (!std::is_permutation(l.begin(), l.end(), element.l.begin(), element.l.end()) ||
      !std::is_permutation(u.begin(), u.end(), element.u.begin(), element.u.end())) {
    return;
  }
  const auto place = [](const Ints& list, int member) {
    return static_cast<int>(std::find(list.begin(), list.end(), member) - list.begin());
  };
  Vector reals;
  for (int k = 0; k < element.pivots; ++k) {
    for (int i = 0; i < element.pivots; ++i) reals.push_back(element.lower(i, k));
    for (const int row : l) reals.push_back(element.lower(element.pivots + place(element.l, row), k));
  }
  for (const int column : u) {
    for (int k = 0; k < element.pivots; ++k) reals.push_back(element.upper(k, place(element.u, column)));
  }
  element.l = l;
  element.u = u;
  element.reals = reals;
}

void expect_element(const std::string& where, const reference::LuElement& got,
                    const ma38_model::LuElement& expected) {
  expect_equal(where + ", pivots", got.pivots, expected.pivots);
  expect_equal(where + ", columns of the front", got.front_columns, expected.front_columns);
  expect_equal(where + ", rows of the front", got.front_rows, expected.front_rows);
  expect_equal(where + ", L list", got.l, expected.l);
  expect_equal(where + ", U list", got.u, expected.u);
  expect_equal(where + ", children", got.children, expected.children);
  for (int k = 0; k < got.pivots; ++k) {
    for (int i = 0; i < static_cast<int>(expected.columns[k].size()); ++i)
      expect_close(text(where, ", real ", i, " of pivot ", k), got.lower(i, k), expected.columns[k][i]);
    for (int j = 0; j < static_cast<int>(expected.u.size()); ++j)
      expect_close(text(where, ", U of pivot ", k, " at ", j), got.upper(k, j), expected.upper[j][k]);
  }
}

void expect_block(const std::string& where, reference::LuBlock got, const ma38_model::Block& expected,
                  bool again) {
  expect_equal(where + ", first position", got.first, expected.first);
  expect_equal(where + ", order", got.order, expected.order);
  if (expected.singleton) return expect_close(where + ", pivot", got.pivot, expected.pivot);
  expect_equal(where + ", pivots", got.pivots, expected.pivots);
  expect_equal(where + ", elements", static_cast<int>(got.elements.size()),
               static_cast<int>(expected.elements.size()));
  for (std::size_t e = 0; e < got.elements.size(); ++e) {
    const ma38_model::LuElement& element = expected.elements[e];
    if (again) reorder_lists(got.elements[e], element.l, element.u);
    expect_element(text(where, ", element ", e + 1), got.elements[e], element);
  }
}

void expect_entries(const StoredFactors& got, const Factors& expected, bool preserved) {
  const reference::Coordinates& off = got.off_diagonal;
  expect_equal("entries off the blocks", off.entries(), static_cast<int>(expected.off_diagonal.size()));
  for (int k = 0; k < off.entries(); ++k) {
    const ma38_model::OffDiagonal& entry = expected.off_diagonal[k];
    expect_equal("row off the blocks", off.rows[k], entry.row);
    expect_equal("column off the blocks", off.columns[k], entry.column);
    expect_close("value off the blocks", off.values[k], entry.value);
  }
  expect_equal("matrix kept", got.preserved, preserved);
  if (!preserved) return;
  int k = 0;
  for (std::size_t j = 1; j < expected.columns.size(); ++j) {
    for (const ma38_model::Entry& entry : expected.columns[j]) {
      expect_equal("row of the kept matrix", got.copy.rows[k], entry.row);
      expect_equal("column of the kept matrix", got.copy.columns[k], static_cast<int>(j));
      expect_close("value of the kept matrix", got.copy.values[k++], entry.value);
    }
  }
}

/// The length of INDEX that ma38bd_ needs, from the lists.
int words_for_refactoring(const Call& call, const Factors& f) {
  const int n = call.matrix.order, ne = static_cast<int>(call.matrix.values.size()), nz = f.entries;
  const int kept = call.lindex - ma38_keep(call.keep.data(), MA38_KEEP_PATTERN_BEGIN) + 1;
  const int both = std::max(3 * ne + 2 * n + 1, ne + 3 * n + 2);
  const int replay = call.job == 1 ? f.longest_u + 3 * f.longest_l + 2 * nz + 4 * (n + f.elements) + 10
                                   : nz + 3 * (n + f.longest_l + 3) + 4 * f.elements + f.longest_u;
  return kept + std::max({both, replay, call.job == 1 ? 0 : 3 * n + 2 * nz + 2});
}

void expect_figures(const Call& call, const Factors& f, bool again) {
  const int off = static_cast<int>(f.off_diagonal.size());
  const std::pair<MA38_Info, int> figures[] = {
      {MA38_INFO_DUPLICATES, f.duplicates},
      {MA38_INFO_INVALID, f.invalid},
      {MA38_INFO_NOT_IN_PATTERN, f.dropped},
      {MA38_INFO_ENTRIES, f.entries},
      {MA38_INFO_DIAGONAL_ENTRIES, f.diagonal_entries},
      {MA38_INFO_OFF_DIAGONAL_ENTRIES, off},
      {MA38_INFO_SINGLETONS, f.singletons},
      {MA38_INFO_BLOCKS, static_cast<int>(f.blocks.size())},
      {MA38_INFO_ENTRIES_IN_L, f.entries_l},
      {MA38_INFO_ENTRIES_IN_U, f.entries_u},
      {MA38_INFO_FACTOR_ENTRIES, f.entries_l + f.entries_u + f.order() + off},
      {MA38_INFO_FRONTS, f.fronts},
      {MA38_INFO_DIAGONAL_PIVOTS, f.diagonal_pivots},
      {MA38_INFO_PIVOTS, f.pivots},
      {MA38_INFO_REFINEMENTS, 0},
  };
  for (const auto& figure : figures)
    expect_equal(text("INFO(", figure.first, ")"), ma38_info(call.info.data(), figure.first), figure.second);
  if (again) return;
  expect_equal("INFO(22)", ma38_info(call.info.data(), MA38_INFO_INDEX_FOR_REFACTOR),
               words_for_refactoring(call, f));
  const double blas = f.flops1 + f.flops2 + f.flops3;
  const double flops[] = {blas, f.assembly_flops, f.search_flops, f.flops1, f.flops2, f.flops3};
  for (int k = 0; k < 6; ++k) expect_close(text("RINFO(", k + 1, ")"), call.rinfo[k], {flops[k], 0.0});
}

/// @param again whether ma38bd_ was called
void expect_factors(const Call& call, const Factors& expected, bool again) {
  expect_equal("INFO(1)", call.status(), expected.status);
  if (expected.status < 0) {
    for (int k = 0; k < 5; ++k) expect_equal("a word of KEEP after an error", call.keep[k], 0);
    return;
  }
  const StoredFactors stored(call.keep, call.index, call.value);
  if (!stored.fault.empty()) throw Different{"stored factors: " + stored.fault};
  expect_equal("row order", stored.rperm, expected.row_order);
  expect_equal("column order", stored.cperm, expected.column_order);
  expect_equal("blocks", stored.nblks, static_cast<int>(expected.blocks.size()));
  expect_equal("stored TRANSA", stored.transposed, call.transposed != 0);
  for (std::size_t b = 0; b < expected.blocks.size(); ++b)
    expect_block(text("block ", b + 1), stored.blocks[b], expected.blocks[b], again);
  expect_entries(stored, expected, call.job == 1);
  expect_figures(call, expected, again);
}

// ---- Comparison of solutions

/// The refinement of ma38cd_ in plain numbers, with the unrefined routine for its corrections.
class Refinement {
 public:
  Vector x;
  int steps = 0;
  double omega1 = 0.0, omega2 = 0.0;

  Refinement(Call& call, const Factors& factors, bool transposed, int most, const Vector& b)
      : factors_(factors), transposed_(transposed), b_(b) {
    x = call.solve(0, transposed, 0, b);
    for (int step = 0;; ++step) {
      const double last1 = omega1, last2 = omega2, last = last1 + last2;
      judge();
      steps = step;
      const double omega = omega1 + omega2;
      if (!(omega + 1.0 > 1.0)) return;
      if (step > 0 && omega > 0.5 * last) {
        steps = step - 1;
        if (omega > last) x = best_, omega1 = last1, omega2 = last2;
        return;
      }
      best_ = x;
      if (step == most) return;
      const Vector correction = call.solve(0, transposed, 0, residual_);
      for (std::size_t i = 0; i < x.size(); ++i) x[i] += correction[i];
    }
  }

 private:
  /// Sets the residual and the two errors.
  void judge() {
    const std::size_t n = x.size();
    residual_ = b_;
    Vector products(n), sums(n);
    for (std::size_t i = 0; i < n; ++i) {
      for (const ma38_model::Entry& entry : factors_.columns[i + 1]) {
        const auto r = static_cast<std::size_t>(entry.row - 1);
        const std::size_t equation = transposed_ ? i : r, unknown = transposed_ ? r : i;
        const double product = x[unknown] * entry.value.value;
        residual_[equation] -= product;
        products[equation] += std::fabs(product);
        sums[equation] += std::fabs(entry.value.value);
      }
    }
    double xnorm = 0.0;
    for (const double one : x) xnorm = std::max(xnorm, std::fabs(one));
    const double nctau = static_cast<double>(n) * kEpsilonOfControls * 1000.0;
    omega1 = omega2 = 0.0;
    for (std::size_t i = 0; i < n; ++i) {
      const double b = std::fabs(b_[i]), tau = (xnorm * sums[i] + b) * nctau, d1 = b + products[i];
      if (d1 > tau) {
        omega1 = std::max(omega1, std::fabs(residual_[i]) / d1);
      } else if (tau > 0.0) {
        omega2 = std::max(omega2, std::fabs(residual_[i]) / (xnorm * sums[i] + products[i]));
      }
    }
  }

  static constexpr double kEpsilonOfControls = 2.2204460492504e-16;  // CNTL(3) by default
  const Factors& factors_;
  bool transposed_;
  const Vector& b_;
  Vector residual_, best_;
};

bool all_finite(const Vector& x) {
  return std::all_of(x.begin(), x.end(), [](double one) { return std::fabs(one) < 1e100; });
}

void expect_refined(Call& call, const Factors& factors, bool transposed, int most, const Vector& b) {
  if (!all_finite(call.solve(0, transposed, 0, b))) return;
  const Refinement expected(call, factors, transposed, most, b);
  if (!all_finite(expected.x)) return;
  const Vector x = call.solve(0, transposed, most, b);
  expect_equal("INFO(24)", ma38_info(call.info.data(), MA38_INFO_REFINEMENTS), expected.steps);
  expect_close("RINFO(7)", ma38_rinfo(call.rinfo.data(), MA38_RINFO_OMEGA1), {expected.omega1, 0.0});
  expect_close("RINFO(8)", ma38_rinfo(call.rinfo.data(), MA38_RINFO_OMEGA2), {expected.omega2, 0.0});
  for (std::size_t i = 0; i < x.size(); ++i)
    expect_close(text("refined X(", i + 1, ")"), x[i], {expected.x[i], 0.0});
}

void expect_solutions(Call& call, const Factors& factors, const Controls& controls, Draw& draw) {
  Vector b(factors.order());
  for (double& one : b) one = draw.number(-4, 4);
  for (const int job : {0, 1, 2}) {
    for (const int transposed : {0, 1}) {
      Reals expected;
      try {
        expected = ma38_model::solve(factors, job, transposed != 0, b);
      } catch (const ma38_model::Undecided&) {
        continue;
      }
      const int asked = job > 0 || call.job != 1 ? draw.number(0, 1) : 0;  // refinement that cannot be
      const Vector x = call.solve(job, transposed, asked, b);
      expect_equal("INFO(1) of a solution", call.status(), asked > 0 ? MA38_WARNING_NO_REFINEMENT : 0);
      for (std::size_t i = 0; i < x.size(); ++i)
        expect_close(text("X(", i + 1, ") of job ", job, transposed ? ", transposed" : ""), x[i],
                     expected[i]);
      if (job == 0 && call.job == 1) expect_refined(call, factors, transposed != 0, controls.refinement, b);
    }
  }
}

// ---- New values

/// Factorises another matrix on the same pivots: in the lengths that the factorisation named, or in more.
void expect_refactored(Call& call, const Factors& factors, const Controls& controls, Draw& draw) {
  const int n = call.matrix.order;
  int words = call.lindex + 60 * n * n + 2000, reals = call.lvalue + 60 * n * n + 2000;
  const bool tight = draw.one_in(3);
  call.matrix = changed(call.matrix, !tight, draw);  // the lengths that were named are for the pattern
  Factors again = ma38_model::refactorise(call.matrix, call.transposed != 0, factors);
  if (tight) {
    words = ma38_info(call.info.data(), MA38_INFO_INDEX_FOR_REFACTOR);
    reals = ma38_info(call.info.data(), MA38_INFO_VALUE_FOR_REFACTOR);
    call.move_pattern(words);
  } else {
    call.job = draw.of({0, 1, 1, 2});
  }
  const bool overlaps = 2 * call.matrix.values.size() > std::size_t(call.keep_of(MA38_KEEP_PATTERN_BEGIN));
  if (overlaps) again.status = MA38_STATUS_BAD_ENTRY_COUNT;
  call.refactorise(reals, words);
  expect_factors(call, again, true);
  if (again.status >= 0) expect_solutions(call, again, controls, draw);
}

}  // namespace

std::string ma38_difference(std::uint64_t seed) {
  Draw draw(seed);
  Call call;
  const int largest = draw.one_in(300) ? 60 : draw.of({6, 12, 25});
  call.matrix = draw_matrix(draw.one_in(100) ? 0 : draw.number(1, largest), draw);
  spoil(call.matrix, draw);
  const Controls controls = draw_controls(draw);
  call.set(controls);
  call.job = draw.of({0, 1, 1, 2});
  call.transposed = draw.of({0, 0, 1, -1});
  try {
    const Factors factors = ma38_model::factorise(call.matrix, call.transposed != 0, controls);
    call.factorise_amply();
    expect_factors(call, factors, false);
    if (factors.status < 0) return "";
    if (draw.one_in(3)) {
      call.factorise_tightly();
      expect_factors(call, factors, false);
    }
    expect_solutions(call, factors, controls, draw);
    expect_refactored(call, factors, controls, draw);
  } catch (const ma38_model::Undecided&) {
    note_undecided();
    return "";
  } catch (const Different& difference) {
    return text(difference.what, " (order ", call.matrix.order, ", ", call.matrix.values.size(), " entries)");
  }
  return "";
}

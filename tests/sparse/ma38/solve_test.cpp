// The solve on factors that the test writes itself: random L and U of sparse elements, whose product with the
// off-diagonal part is the matrix. Solutions are judged by multiplying out.

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <random>
#include <utility>
#include <vector>

#include "sparse/ma38/kernels.h"
#include "sparse/ma38/ma38_routines.h"

namespace corvidnum {
namespace ma38 {
namespace {

using Vector = std::vector<double>;
using Ints = std::vector<int>;

struct Dense {
  int n;
  Vector values;
  explicit Dense(int order) : n(order), values(std::size_t(order) * order, 0.0) {}
  double& operator()(int i, int j) { return values[std::size_t(i) + std::size_t(j) * n]; }
  double operator()(int i, int j) const { return values[std::size_t(i) + std::size_t(j) * n]; }
  Vector times(const Vector& x, bool transposed) const {
    Vector y(n, 0.0);
    for (int j = 0; j < n; ++j)
      for (int i = 0; i < n; ++i) (transposed ? y[j] : y[i]) += (*this)(i, j) * (transposed ? x[i] : x[j]);
    return y;
  }
};

struct Shape {
  const char* name;
  std::vector<Ints> blocks;  // pivots of the elements of each; below 0: that many places without pivot
  bool preserved;
};
const std::vector<Shape> kShapes = {
    {"single places", {{1, 1, 1, 1, 1, 1}}, true},
    {"large elements", {{3, 4, 2}}, true},
    {"one element", {{5}}, false},
    {"order one", {{1}}, true},
    {"mixed", {{1, 3, 1, 1, 2}}, false},
    {"blocks", {{1}, {2, 1}, {1, 1, 1, 3}, {1}, {1, 1}}, true},
    {"blocks, matrix not kept", {{2}, {1}, {3, 1}}, false},
    {"singletons", {{1}, {1}, {1}, {1}}, true},
    {"places without pivot", {{1, 2, -2}}, false},
    {"no pivot at all", {{-3}}, false},
    {"a block with a place without pivot", {{1}, {2, 1, -1}, {1, -1}, {1}}, true},
    {"many pivots", {{5, 2}, {6, 4, 7, 3}}, true},
};

/// Factors in the stored layout, the arrays of exactly their length.
class Stored {
 public:
  int n = 0;
  Dense l{0}, permuted{0}, a{0};  // P A Q = permuted
  Ints keep = Ints(kKeepLength, 0), index;
  Vector value;
  Ints rperm, cperm;

  /// @param blur factors are stored with this relative error
  Stored(const Shape& shape, unsigned seed, double blur = 0.0) : random_(seed), blur_(blur) {
    Ints blkp = {1}, lublkp;
    for (const Ints& block : shape.blocks) {
      for (const int pivots : block) n += std::abs(pivots);
      blkp.push_back(n + 1);
    }
    l = permuted = a = u_ = Dense(n);
    for (int k = 0; k < n; ++k) l(k, k) = u_(k, k) = 1.0;
    const int nblks = int(shape.blocks.size());
    for (int b = 0; b < nblks; ++b)
      lublkp.push_back(write_block(shape.blocks[b], blkp[b], blkp[b + 1], nblks));
    multiply_out();
    finish(shape.preserved, nblks, blkp, lublkp);
  }

 private:
  double some() { return std::uniform_real_distribution<double>(-1.0, 1.0)(random_); }
  double blurred(double exact) { return exact * (1.0 + blur_ * some()); }
  Ints shuffled() {
    Ints order(n);
    for (int k = 0; k < n; ++k) order[k] = k + 1;
    std::shuffle(order.begin(), order.end(), random_);
    return order;
  }
  Ints some_of(int begin, int end) {
    Ints members;
    for (int k = begin; k <= end; ++k)
      if (random_() % 4 != 0) members.push_back(k);
    std::shuffle(members.begin(), members.end(), random_);
    return members;
  }

  int write_block(const Ints& elements, int first, int next, int nblks) {
    const int order = next - first;
    if (order == 1 && nblks > 1) {
      const double pivot = u_(first - 1, first - 1) = 3.0 + some();
      reals_.push_back(blurred(pivot));
      return int(reals_.size());
    }
    const int start = int(reals_.size()) + 1, header = int(ints_.size()) + 1;
    Ints words, pointers;
    int done = 0, longest_l = 0, longest_u = 0;
    for (const int k : elements) {
      if (k < 0) continue;
      const Ints rows = some_of(done + k + 1, order), columns = some_of(done + k + 1, order);
      const int ordinal = int(pointers.size()) + 1;
      pointers.push_back(int(words.size()) + 1);
      words.insert(words.end(), {int(reals_.size()) - start + 2, k, int(columns.size()), int(rows.size()),
                                 ordinal > 1, k + int(columns.size()), k + int(rows.size())});
      words.insert(words.end(), rows.begin(), rows.end());
      words.insert(words.end(), columns.begin(), columns.end());
      if (ordinal > 1) words.push_back(ordinal - 1 + order * (ordinal % 3));
      write_reals(first - 1, done, k, rows, columns);
      longest_l = std::max(longest_l, int(rows.size()));
      longest_u = std::max(longest_u, int(columns.size()));
      done += k;
    }
    if (pointers.empty()) reals_.push_back(0.0);
    ints_.insert(ints_.end(), {start, int(pointers.size()), done, longest_l, longest_u});
    ints_.insert(ints_.end(), pointers.begin(), pointers.end());
    ints_.insert(ints_.end(), words.begin(), words.end());
    return header;
  }
  void write_reals(int base, int done, int pivots, const Ints& rows, const Ints& columns) {
    const int first = base + done;
    for (int k = first; k < first + pivots; ++k) {
      for (int i = first; i < first + pivots; ++i) {
        double& entry = i > k ? l(i, k) : u_(i, k);
        entry = i == k ? 3.0 + some() : some();
        reals_.push_back(blurred(entry));
      }
      for (const int i : rows) reals_.push_back(blurred(l(base + i - 1, k) = some()));
    }
    for (const int j : columns)
      for (int k = first; k < first + pivots; ++k) reals_.push_back(blurred(u_(k, base + j - 1) = some()));
  }
  void multiply_out() {
    for (int i = 0; i < n; ++i)
      for (int j = 0; j < n; ++j)
        for (int k = 0; k < n; ++k) permuted(i, j) += l(i, k) * u_(k, j);
  }
  void finish(bool preserved, int nblks, const Ints& blkp, const Ints& lublkp) {
    Ints offp = {1}, offi;
    Vector offx;
    for (int b = 0; b < nblks && nblks > 1; ++b) {
      for (int i = blkp[b] - 1; i < blkp[b + 1] - 1; ++i) {
        for (const int j : some_of(blkp[b + 1], n)) {
          offi.push_back(j);
          offx.push_back(permuted(i, j - 1) = some());
        }
        offp.push_back(int(offi.size()) + 1);
      }
    }
    rperm = shuffled();
    cperm = shuffled();
    for (int i = 0; i < n; ++i)
      for (int j = 0; j < n; ++j) a(rperm[i] - 1, cperm[j] - 1) = permuted(i, j);
    if (ints_.empty()) ints_ = {0};
    Ints ap = {1}, ai;
    for (int j = 0; j < n; ++j) {
      for (int i = 0; i < n; ++i) {
        if (a(i, j) == 0.0) continue;
        ai.push_back(i + 1);
        if (preserved) value.push_back(a(i, j));
      }
      ap.push_back(int(ai.size()) + 1);
    }
    const auto append = [this](const Ints& words) { index.insert(index.end(), words.begin(), words.end()); };
    if (preserved) append(ap), append(ai);
    append(offi);
    keep[kPatternBegin - 1] = int(index.size()) + 1;
    append(ints_);
    if (nblks > 1) append(lublkp), append(blkp), append(offp);
    append(cperm), append(rperm);
    append({0, int(offi.size()), nblks, preserved, int(ai.size()), n, int(ai.size())});
    value.insert(value.end(), offx.begin(), offx.end());
    value.insert(value.end(), reals_.begin(), reals_.end());
    keep[kValueBegin - 1] = keep[kIndexBegin - 1] = 1;
    keep[kValueEnd - 1] = int(value.size());
    keep[kIndexEnd - 1] = int(index.size());
  }

  std::mt19937 random_;
  double blur_;
  Dense u_{0};
  Ints ints_;
  Vector reals_;
};

constexpr int kUntouched = -77;

struct Answer {
  Ints info = Ints(kInfoLength, kUntouched);
  Vector rinfo = Vector(kRinfoLength, kUntouched), x;

  int status() const { return info[kStatus - 1]; }
  int steps() const { return info[kRefinements - 1]; }
  double omega1() const { return rinfo[kOmega1 - 1]; }
  double omega2() const { return rinfo[kOmega2 - 1]; }
  double omega() const { return omega1() + omega2(); }
};

/// @param longer by how much the arrays have grown since the factorisation
Answer solve(const Stored& stored, int job, bool transposed, const Vector& b, int refinements = 0,
             double epsilon = 2.2e-16, std::size_t longer = 0) {
  Answer answer;
  Ints icntl(kIcntlLength, 0), index(stored.index);
  Vector cntl(kCntlLength, 0.0), value(stored.value), w(b.size() * (refinements > 0 ? 4 : 2));
  icntl[kPrintLevel - 1] = 3, icntl[kMostRefinements - 1] = refinements, cntl[kEpsilon - 1] = epsilon;
  index.resize(index.size() + longer, kUntouched), value.resize(value.size() + longer, kUntouched);
  answer.x = Vector(b.size(), kUntouched);
  const int transc = transposed, lvalue = int(value.size()), lindex = int(index.size());
  ma38cd_(&stored.n, &job, &transc, &lvalue, &lindex, value.data(), index.data(), stored.keep.data(),
          b.data(), answer.x.data(), w.data(), cntl.data(), icntl.data(), answer.info.data(),
          answer.rinfo.data());
  return answer;
}

Vector right_side(int n) {
  Vector b;
  for (int k = 1; k <= n; ++k) b.push_back(std::sin(3.0 * k) + 0.1);
  return b;
}
double distance(const Vector& a, const Vector& b) {
  double largest = 0.0;
  for (std::size_t k = 0; k < a.size(); ++k) {
    if (std::isnan(a[k])) return a[k];
    largest = std::max(largest, std::fabs(a[k] - b[k]));
  }
  return largest;
}
double size(const Vector& a) { return distance(a, Vector(a.size(), 0.0)); }
/// y(i) = x(order(i)), or the other way round.
Vector picked(const Vector& x, const Ints& order) {
  Vector y;
  for (const int k : order) y.push_back(x[std::size_t(k - 1)]);
  return y;
}
Vector placed(const Vector& x, const Ints& order) {
  Vector y(x.size());
  for (std::size_t k = 0; k < x.size(); ++k) y[std::size_t(order[k] - 1)] = x[k];
  return y;
}
/// y with L' y = x.
Vector back_substituted(const Dense& l, Vector y) {
  for (int i = l.n - 1; i >= 0; --i)
    for (int k = i + 1; k < l.n; ++k) y[i] -= l(k, i) * y[k];
  return y;
}

/// The right-hand side that belongs to x.
Vector of_solution(const Stored& s, int job, bool transposed, const Vector& x) {
  if (job == 1 && !transposed) return placed(s.l.times(x, false), s.rperm);
  if (job == 1) return s.l.times(picked(x, s.rperm), true);
  if (job == 2 && transposed) return placed(s.permuted.times(back_substituted(s.l, x), true), s.cperm);
  if (job == 2) return s.permuted.times(picked(x, s.cperm), false);  // L times it
  return s.a.times(x, transposed);
}

TEST(Solve, EveryFormOfEveryShape) {
  for (const Shape& shape : kShapes) {
    for (unsigned seed = 1; seed <= 20; ++seed) {
      const Stored stored(shape, seed);
      const Vector b = right_side(stored.n);
      for (const int job : {0, 1, 2, 3}) {
        for (const bool transposed : {false, true}) {
          const Answer answer = solve(stored, job, transposed, b);
          ASSERT_EQ(answer.status(), 0) << shape.name;
          const Vector expected = job == 2 && !transposed ? stored.l.times(b, false) : b;
          const double error = distance(of_solution(stored, job, transposed, answer.x), expected);
          // backward stable solves with factors of modest growth
          EXPECT_LE(error, 1e-13 * stored.n * (1.0 + size(answer.x)))
              << shape.name << ", seed " << seed << ", job " << job << ", transposed " << transposed;
        }
      }
    }
  }
}

/// Backward errors of x by their definition.
std::pair<double, double> backward_errors(const Stored& s, bool transposed, const Vector& b, const Vector& x,
                                          double epsilon = 2.2e-16) {
  long double omega1 = 0.0L, omega2 = 0.0L;
  const long double norm = size(x);
  for (int i = 0; i < s.n; ++i) {
    long double residual = b[i], products = 0.0L, sum = 0.0L;
    for (int j = 0; j < s.n; ++j) {
      const long double entry = transposed ? s.a(j, i) : s.a(i, j);
      residual -= entry * x[j];
      products += std::fabs(entry * x[j]);
      sum += std::fabs(entry);
    }
    const long double tau = (norm * sum + std::fabs(b[i])) * s.n * epsilon * 1000;
    if (std::fabs(b[i]) + products > tau)
      omega1 = std::max(omega1, std::fabs(residual) / (std::fabs(b[i]) + products));
    else
      omega2 = std::max(omega2, std::fabs(residual) / (norm * sum + products));
  }
  return {double(omega1), double(omega2)};
}
void expect_omegas(const Stored& s, bool transposed, const Vector& b, const Answer& answer, double epsilon) {
  const auto [omega1, omega2] = backward_errors(s, transposed, b, answer.x, epsilon);
  EXPECT_NEAR(answer.omega1(), omega1, 1e-4 * omega1 + 1e-15);
  EXPECT_NEAR(answer.omega2(), omega2, 1e-4 * omega2 + 1e-15);
}

TEST(Solve, RefinementReachesTheMatrixThatWasKept) {
  const double kLargest = std::ldexp(1.0, -15);
  for (const Shape& shape : kShapes) {
    const Stored stored(shape, 5, 1e-4);
    const Vector b = right_side(stored.n);
    for (const bool transposed : {false, true}) {
      SCOPED_TRACE(shape.name);
      const Vector plain = solve(stored, 0, transposed, b).x;
      const Answer one = solve(stored, 0, transposed, b, 1), many = solve(stored, 0, transposed, b, 20);
      if (!shape.preserved) {
        EXPECT_EQ(one.x, plain);
        continue;
      }
      EXPECT_EQ(one.steps(), 1);
      EXPECT_LT(distance(stored.a.times(one.x, transposed), b),
                0.1 * distance(stored.a.times(plain, transposed), b));
      expect_omegas(stored, transposed, b, one, 2.2e-16);
      EXPECT_GT(many.steps(), 1);
      EXPECT_LT(many.steps(), 20);
      EXPECT_LE(many.omega(), 1e-15);
      for (const double epsilon : {-1.0, 0.0, 1.0, std::nan("")})
        expect_omegas(stored, transposed, b, solve(stored, 0, transposed, b, 1, epsilon), kLargest);
    }
  }
}

TEST(Solve, StepsThatGainTooLittleEndTheRefinement) {
  int worse = 0, slow = 0;
  for (unsigned seed = 1; seed <= 400; ++seed) {
    const Stored stored(kShapes[1], seed, 1.0);
    const Vector b = right_side(stored.n), plain = solve(stored, 0, false, b).x;
    Vector residual = stored.a.times(plain, false), next = plain;
    for (std::size_t k = 0; k < b.size(); ++k) residual[k] = b[k] - residual[k];
    const Vector step = solve(stored, 0, false, residual).x;
    for (std::size_t k = 0; k < b.size(); ++k) next[k] += step[k];

    const Answer answer = solve(stored, 0, false, b, 9);
    const auto [first1, first2] = backward_errors(stored, false, b, plain);
    const auto [next1, next2] = backward_errors(stored, false, b, next);
    const double gain = (next1 + next2) / (first1 + first2);
    if (gain > 1.0001) {  // the step is taken back
      ++worse;
      EXPECT_EQ(answer.x, plain) << seed;
      EXPECT_EQ(answer.steps(), 0) << seed;
      EXPECT_NEAR(answer.omega(), first1 + first2, 1e-9) << seed;
    } else if (gain > 0.5001 && gain < 0.9999) {  // it stays, but is not counted
      ++slow;
      EXPECT_LE(distance(answer.x, next), 1e-9 * size(next)) << seed;
      EXPECT_EQ(answer.steps(), 0) << seed;
      EXPECT_NEAR(answer.omega(), next1 + next2, 1e-9) << seed;
    }
  }
  EXPECT_GT(worse, 5);
  EXPECT_GT(slow, 5);
}

TEST(Solve, WhatHasNoScaleHasNoError) {
  Stored empty({"empty", {Ints(40, 1)}, true}, 3);  // long enough that a right-hand side lies within tau
  std::fill_n(empty.value.begin(), empty.index[std::size_t(empty.n)] - 1, 0.0);  // the copy of the matrix
  const Answer none = solve(empty, 0, false, right_side(empty.n), 2, -1.0);
  EXPECT_EQ(none.omega(), 0.0);
  EXPECT_EQ(none.steps(), 0);

  const Answer undefined = solve(Stored({"order one", {{1}}, true}, 3), 0, false, {HUGE_VAL}, 2);
  EXPECT_TRUE(std::isnan(undefined.omega()));
  EXPECT_EQ(undefined.steps(), 0);
}

TEST(Solve, StatusOfEveryForm) {
  for (const Shape& shape : kShapes) {
    Stored stored(shape, 3);
    const Vector b = right_side(stored.n);
    for (const int job : {-1, 0, 1, 2, 3}) {
      for (const bool transposed : {false, true}) {
        const Vector plain = solve(stored, job, transposed, b).x;
        const bool refinable = shape.preserved && job != 1 && job != 2;
        for (const int refinements : {-1, 0, 2}) {
          SCOPED_TRACE(shape.name);
          const Answer answer = solve(stored, job, transposed, b, refinements, 2.2e-16, 5);
          EXPECT_EQ(answer.status(), refinements > 0 && !refinable ? 8 : 0);
          EXPECT_EQ(answer.info[1], kUntouched);
          EXPECT_EQ(answer.rinfo[0], kUntouched);
          if (refinements > 0 && refinable) continue;
          EXPECT_EQ(answer.x, plain);
          EXPECT_EQ(answer.steps(), 0);
          EXPECT_EQ(answer.omega1(), 0.0);
          EXPECT_EQ(answer.omega2(), 0.0);
        }
      }
    }
    for (int k = 0; k < 5; ++k) {
      const int kept = std::exchange(stored.keep[k], 0);
      EXPECT_EQ(solve(stored, 0, false, b).status(), -7) << shape.name << ", KEEP " << k + 1;
      stored.keep[k] = kept;
    }
  }
}

/// The words that are tried in place of one.
Ints damages(int word) { return {INT_MIN, -1, 0, 1, word - 1, word + 1, INT_MAX}; }

TEST(Solve, KernelsStayInsideOfDamagedElements) {
  for (const Shape& shape : kShapes) {
    if (shape.blocks.size() > 1) continue;
    const Stored stored(shape, 7);
    const OneBased<const int> index(stored.index.data(), std::ptrdiff_t(stored.index.size()));
    const KeptFactors kept =
        locate_factors(stored.n, int(stored.value.size()), int(index.size()), index, stored.keep.data());
    Ints words(stored.index.begin() + kept.lu_ints - 1, stored.index.end() - (2 * stored.n + 7));
    const Vector reals(stored.value.begin() + kept.lu_reals - 1, stored.value.end());
    const auto solves = [&](auto kernel) {
      Vector x = right_side(stored.n), work(x.size());
      return kernel(
          {{words.data(), std::ptrdiff_t(words.size())}, {reals.data(), std::ptrdiff_t(reals.size())}},
          {x.data(), stored.n}, {work.data(), stored.n});
    };
    for (const auto kernel : {ma38_solve_l, ma38_solve_u, ma38_solve_ut, ma38_solve_lt}) {
      EXPECT_TRUE(solves(kernel)) << shape.name;
      for (int& word : words) {
        const int right = word;
        for (const int wrong : damages(right)) {
          word = wrong;
          const bool pivots_differ = &word == &words[kBlockPivots] && wrong != right;
          EXPECT_FALSE(solves(kernel) && pivots_differ) << shape.name;  // the sanitizer judges the rest
        }
        word = right;
      }
    }
  }
}

TEST(Solve, DamagedFactorsAreRefusedOrHarmless) {
  for (const Shape& shape : kShapes) {
    Stored stored(shape, 7);
    const Vector b = right_side(stored.n);
    int refused = 0;
    const auto damage = [&](int& word) {
      const int kept = word;
      for (const int wrong : damages(kept)) {
        word = wrong;
        for (const int job : {0, 1, 2}) {
          for (const bool transposed : {false, true}) {
            const Answer answer = solve(stored, job, transposed, b, 1);  // asserts and the sanitizer judge
            if (answer.status() >= 0) continue;
            ++refused;
            ASSERT_EQ(answer.status(), -7);
            ASSERT_EQ(answer.x, Vector(b.size(), kUntouched));
          }
        }
      }
      word = kept;
    };
    for (int& word : stored.index) damage(word);
    for (int& word : stored.keep) damage(word);
    EXPECT_GT(refused, 100) << shape.name;
    EXPECT_EQ(solve(stored, 0, false, b).status(), 0) << shape.name;
  }
}

}  // namespace
}  // namespace ma38
}  // namespace corvidnum

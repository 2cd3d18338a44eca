// The triangular solves with the LU elements of one block, in place.
//
//   L y = x and U' y = x, forward over the elements: solve with the element's triangle, then subtract the L
//   rows (the U columns) times the result from the x of their members (scatter). U y = x and L' y = x,
//   backward: subtract the U columns (the L rows) times the x of their members from the x of the pivots
//   (gather), then solve with the triangle.
//
// The pivots of an element follow those of the element before it. Most elements have few pivots and short
// lists, for which a call of the BLAS costs more than the arithmetic: loops do these, the BLAS the others.
//
// Invariant: an element's counts and list members are checked when it is reached, before they are used.

#include <algorithm>

#include "frame/blas.h"
#include "sparse/ma38/factors/factors.h"

namespace corvidnum {
namespace ma38 {
namespace {

enum class Solve { kL, kU, kUt, kLt };
constexpr bool runs_forward(Solve solve) { return solve == Solve::kL || solve == Solve::kUt; }
constexpr bool is_lower(Solve solve) { return solve == Solve::kL || solve == Solve::kLt; }
constexpr bool is_transposed(Solve solve) { return solve == Solve::kUt || solve == Solve::kLt; }

/// The L rows or the U columns of an element. `list` has their pivot positions in the block; the value of a
/// member and a pivot is at values[member * member_step + pivot * pivot_step], both counted from 0.
struct Border {
  const int* list;
  int count, pivots;
  const double* values;
  Index member_step, pivot_step;
};

/// One LU element.
struct Element {
  int pivots, leading;  // K, and the rows of `block`: K + L length
  const double* block;  // the K x K pivot block above the L rows, by columns
  Border l, u;
};

struct Vectors {
  double* x;
  double* work;
  unsigned order;

  /// Finds the place, from 0, of a member of a list. Returns false if it is outside of the block.
  bool find(int member, unsigned& place) const {
    place = static_cast<unsigned>(member) - 1u;
    return place < order;
  }
};

/// Loops solve with elements of at most this many pivots and members of each list, the BLAS with larger ones.
constexpr int kMostByHand = 32, kLongestByHand = 64;

/// Solves with small elements by loops. K is the number of pivots, so that the compiler unrolls the loops
/// over them; kAny: the number is not known at compile time.
constexpr int kAny = 0;
template <int K>
struct ByHand {
  template <Solve solve>
  static void solve_triangle(const Element& element, double* x) {
    const int pivots = count(element.pivots);
    for (int step = 0; step < pivots; ++step) {
      const int j = runs_forward(solve) ? step : pivots - 1 - step;
      const double* column = element.block + Index{element.leading} * j;
      const int first = is_lower(solve) ? j + 1 : 0, end = is_lower(solve) ? pivots : j;
      if (solve == Solve::kU) x[j] /= column[j];
      double value = x[j];
      for (int i = first; i < end; ++i) {
        if (is_transposed(solve))
          value -= column[i] * x[i];
        else
          x[i] -= column[i] * value;
      }
      x[j] = solve == Solve::kUt ? value / column[j] : value;
    }
  }

  /// Subtracts values * x of the pivots from the x of the members.
  static bool take_from_members(const Border& border, const double* pivot_x, const Vectors& v) {
    const int pivots = count(border.pivots);
    double factors[kRoom];
    std::copy_n(pivot_x, pivots, factors);
    const double* values = border.values;
    for (int i = 0; i < border.count; ++i, values += border.member_step) {
      unsigned place;
      if (!v.find(border.list[i], place)) return false;
      double sum = values[0] * factors[0];
      for (int j = 1; j < pivots; ++j) sum += values[j * border.pivot_step] * factors[j];
      v.x[place] -= sum;
    }
    return true;
  }

  /// Subtracts values * x of the members from the x of the pivots.
  static bool take_members(const Border& border, const Vectors& v, double* pivot_x) {
    const int pivots = count(border.pivots);
    double sums[kRoom];
    std::fill_n(sums, pivots, 0.0);
    const double* values = border.values;
    for (int i = 0; i < border.count; ++i, values += border.member_step) {
      unsigned place;
      if (!v.find(border.list[i], place)) return false;
      const double x = v.x[place];
      for (int j = 0; j < pivots; ++j) sums[j] += values[j * border.pivot_step] * x;
    }
    for (int j = 0; j < pivots; ++j) pivot_x[j] -= sums[j];
    return true;
  }

 private:
  static constexpr int kRoom = K == kAny ? kMostByHand : K;
  static constexpr int count(int pivots) { return K == kAny ? pivots : K; }
};

/// Solves with large elements by the BLAS.
struct Large {
  template <Solve solve>
  static void solve_triangle(const Element& element, double* x) {
    dtrsv_(is_lower(solve) ? "L" : "U", is_transposed(solve) ? "T" : "N", is_lower(solve) ? "U" : "N",
           &element.pivots, element.block, &element.leading, x, &kStep, 1, 1, 1);
  }
  static bool take_from_members(const Border& border, const double* pivot_x, const Vectors& v) {
    if (!gather(border, v)) return false;
    multiply(border, stored_by_members(border) ? "T" : "N", pivot_x, v.work);
    for (int i = 0; i < border.count; ++i) v.x[border.list[i] - 1] = v.work[i];
    return true;
  }
  static bool take_members(const Border& border, const Vectors& v, double* pivot_x) {
    if (!gather(border, v)) return false;
    multiply(border, stored_by_members(border) ? "N" : "T", v.work, pivot_x);
    return true;
  }

 private:
  static constexpr int kStep = 1;
  static constexpr double kOne = 1.0, kMinusOne = -1.0;

  static bool gather(const Border& border, const Vectors& v) {
    for (int i = 0; i < border.count; ++i) {
      unsigned place;
      if (!v.find(border.list[i], place)) return false;
      v.work[i] = v.x[place];
    }
    return true;
  }
  /// Returns whether each column belongs to a member, as in U, and not to a pivot, as in L.
  static bool stored_by_members(const Border& border) { return border.pivot_step == 1; }
  /// Subtracts the product of the border as it is stored, or of its transpose, with x from y.
  static void multiply(const Border& border, const char* trans, const double* x, double* y) {
    if (border.count == 0) return;
    const bool by_members = stored_by_members(border);
    const int rows = by_members ? border.pivots : border.count;
    const int columns = by_members ? border.count : border.pivots;
    const int lda = static_cast<int>(by_members ? border.member_step : border.pivot_step);
    dgemv_(trans, &rows, &columns, &kMinusOne, border.values, &lda, x, &kStep, &kOne, y, &kStep, 1);
  }
};

/// Reads the LU elements of a block.
class Elements {
 public:
  Elements(const BlockFactors& block, Index order)
      : ints_(block.ints), reals_(block.reals), order_(static_cast<unsigned>(order)) {}

  /// Returns whether the header is sound; only then may another member be called.
  bool sound() const {
    if (order_ < 1 || ints_.size() < kBlockPointers) return false;
    if (is_beyond_order(ints_(kBlockElements + 1)) || is_beyond_order(ints_(kBlockPivots + 1))) return false;
    const Index first_real = ints_(kBlockReals + 1);
    return kBlockPointers + count() <= ints_.size() && 1 <= first_real && first_real <= reals_.size();
  }
  Index count() const { return ints_(kBlockElements + 1); }
  Index pivots() const { return ints_(kBlockPivots + 1); }

  /// Reads element e, from 0. Returns false if it does not lie inside the factors. Does not check the members
  /// of its lists.
  bool get(Index e, Element& element) const {
    const Index first = kBlockPointers + count(), begin = first + ints_.data()[kBlockPointers + e] - 1;
    if (begin < first || begin + kElementLists > ints_.size()) return false;
    const int* words = ints_.data() + begin;
    const int k = words[kElementPivots], u = words[kElementU], l = words[kElementL];
    if (k < 1 || is_beyond_order(k) || is_beyond_order(u) || is_beyond_order(l)) return false;
    if (begin + kElementLists + l + u > ints_.size()) return false;
    const Index real = Index{ints_.data()[kBlockReals]} - 1 + words[kElementReals] - 1;
    if (words[kElementReals] < 1 || real + element_reals(k, l, u) > reals_.size()) return false;

    element.pivots = k;
    element.leading = k + l;
    element.block = reals_.data() + real;
    element.l = {words + kElementLists, l, k, element.block + k, 1, element.leading};
    element.u = {element.l.list + l, u, k, element.block + Index{element.leading} * k, k, 1};
    return true;
  }

  /// Reads element e as get() does, and prefetches the reals that this solve needs, or as many as are worth
  /// while.
  template <Solve solve>
  bool fetch(Index e, Element& element) const {
    if (!get(e, element)) return false;
    const Index pivots = element.pivots, leading = element.leading;
    if (is_lower(solve)) {
      fetch_reals(element.block, pivots * leading);
    } else {
      fetch_reals(element.u.values, pivots * element.u.count);
      for (Index j = 0; j < std::min<Index>(pivots, kMostByHand); ++j)
        fetch_reals(element.block + j * leading, 1);
    }
    return true;
  }

 private:
  static void fetch_reals(const double* begin, Index count) {
    constexpr Index kOfLine = 8, kMost = 1024;
    for (Index k = 0; k < std::min(count, kMost); k += kOfLine) __builtin_prefetch(begin + k);
  }
  /// Returns whether a count is above the block's order, or negative.
  bool is_beyond_order(int count) const { return static_cast<unsigned>(count) > order_; }

  OneBased<const int> ints_;
  OneBased<const double> reals_;
  unsigned order_;
};

template <Solve solve, class Size>
bool solve_element(const Element& element, double* pivot_x, const Vectors& v) {
  const Border& border = is_lower(solve) ? element.l : element.u;
  if constexpr (runs_forward(solve)) {
    Size::template solve_triangle<solve>(element, pivot_x);
    return Size::take_from_members(border, pivot_x, v);
  } else {
    if (!Size::take_members(border, v, pivot_x)) return false;
    Size::template solve_triangle<solve>(element, pivot_x);
    return true;
  }
}

template <Solve solve>
bool solve_any_element(const Element& element, double* pivot_x, const Vectors& v) {
  switch (element.pivots) {
    case 1:
      return solve_element<solve, ByHand<1>>(element, pivot_x, v);
    case 2:
      return solve_element<solve, ByHand<2>>(element, pivot_x, v);
    case 3:
      return solve_element<solve, ByHand<3>>(element, pivot_x, v);
    case 4:
      return solve_element<solve, ByHand<4>>(element, pivot_x, v);
    default:
      return element.pivots <= kMostByHand && element.l.count <= kLongestByHand &&
                     element.u.count <= kLongestByHand
                 ? solve_element<solve, ByHand<kAny>>(element, pivot_x, v)
                 : solve_element<solve, Large>(element, pivot_x, v);
  }
}

template <Solve solve>
bool solve_block(const BlockFactors& block, const OneBased<double>& x, const OneBased<double>& work) {
  const Elements elements(block, x.size());
  if (!elements.sound()) return false;
  const Vectors v = {x.data(), work.data(), static_cast<unsigned>(x.size())};
  const Index count = elements.count(), pivots = elements.pivots();
  constexpr Index kAhead =
      4;  // elements read in advance, the present one included: their reals come from memory
  Element at_hand[kAhead];
  Index done = 0;
  for (Index step = 0, next = 0; step < count; ++step) {
    for (; next < std::min(count, step + kAhead); ++next) {
      const Index e = runs_forward(solve) ? next : count - 1 - next;
      if (!elements.fetch<solve>(e, at_hand[next % kAhead])) return false;
    }
    const Element& element = at_hand[step % kAhead];
    if (element.pivots > pivots - done) return false;
    const Index first = runs_forward(solve) ? done : pivots - done - element.pivots;
    if (!solve_any_element<solve>(element, v.x + first, v)) return false;
    done += element.pivots;
  }
  return done == pivots;
}

}  // namespace

bool ma38_solve_l(const BlockFactors& block, OneBased<double> x, OneBased<double> work) {
  return solve_block<Solve::kL>(block, x, work);
}
bool ma38_solve_u(const BlockFactors& block, OneBased<double> x, OneBased<double> work) {
  return solve_block<Solve::kU>(block, x, work);
}
bool ma38_solve_ut(const BlockFactors& block, OneBased<double> x, OneBased<double> work) {
  return solve_block<Solve::kUt>(block, x, work);
}
bool ma38_solve_lt(const BlockFactors& block, OneBased<double> x, OneBased<double> work) {
  return solve_block<Solve::kLt>(block, x, work);
}

}  // namespace ma38
}  // namespace corvidnum

// The triangular solves with the LU elements of one block. The pivots of an element follow those of the
// element before it. Elements of one pivot, which most are, need no kernel of the BLAS.

#include "frame/blas.h"
#include "sparse/ma38/kernels.h"

namespace corvidnum {
namespace ma38 {
namespace {

constexpr int kStep = 1;
constexpr double kOne = 1.0, kMinusOne = -1.0;

/// An LU element as the loops below take it; lists hold positions from 1.
struct Element {
  int pivots, l_length, u_length;
  const int* l;
  const int* u;
  const double* pivot_block;  // over the L rows
  const double* u_groups;

  int leading() const { return pivots + l_length; }
  const double* l_rows() const { return pivot_block + pivots; }
};

class Elements {
 public:
  explicit Elements(const BlockFactors& block)
      : pointers_(block.ints.data() + kBlockPointers),
        first_(pointers_ + block.ints(kBlockElements + 1) - 1),
        reals_(block.reals.data()) {}

  Element operator[](Index e) const {
    const int* words = first_ + pointers_[e];
    Element element;
    element.pivots = words[kElementPivots];
    element.l_length = words[kElementL];
    element.u_length = words[kElementU];
    element.l = words + kElementLists;
    element.u = element.l + element.l_length;
    element.pivot_block = reals_ + (words[kElementReals] - 1);
    element.u_groups = element.pivot_block + Index{element.leading()} * element.pivots;
    return element;
  }

 private:
  const int* pointers_;
  const int* first_;  // pointers count from 1, hence one before the elements
  const double* reals_;
};

void gather(const double* x, const int* list, int count, double* work) {
  for (int k = 0; k < count; ++k) work[k] = x[list[k] - 1];
}
void scatter(const double* work, const int* list, int count, double* x) {
  for (int k = 0; k < count; ++k) x[list[k] - 1] = work[k];
}
void subtract_multiple(double factor, const double* values, const int* list, int count, double* x) {
  for (int k = 0; k < count; ++k) x[list[k] - 1] -= values[k] * factor;
}
double less_products(double sum, const double* values, const int* list, int count, const double* x) {
  for (int k = 0; k < count; ++k) sum -= x[list[k] - 1] * values[k];
  return sum;
}
void triangular(const char* shape, const char* trans, const char* diagonal, const Element& element,
                double* x) {
  const int lda = element.leading();
  dtrsv_(shape, trans, diagonal, &element.pivots, element.pivot_block, &lda, x, &kStep, 1, 1, 1);
}
/// y -= op(A) x
void multiply(const char* trans, int rows, int columns, const double* a, int lda, const double* x,
              double* y) {
  if (rows > 0 && columns > 0)
    dgemv_(trans, &rows, &columns, &kMinusOne, a, &lda, x, &kStep, &kOne, y, &kStep, 1);
}

}  // namespace

int ma38_solve_l(const BlockFactors& block, OneBased<double> x, OneBased<double> work) {
  const Elements elements(block);
  const Index count = block.ints(kBlockElements + 1);
  double* pivot = x.data();
  for (Index e = 0; e < count; ++e) {
    const Element el = elements[e];
    if (el.pivots == 1) {
      subtract_multiple(*pivot, el.l_rows(), el.l, el.l_length, x.data());
    } else {
      triangular("L", "N", "U", el, pivot);
      gather(x.data(), el.l, el.l_length, work.data());
      multiply("N", el.l_length, el.pivots, el.l_rows(), el.leading(), pivot, work.data());
      scatter(work.data(), el.l, el.l_length, x.data());
    }
    pivot += el.pivots;
  }
  return 0;
}

int ma38_solve_u(const BlockFactors& block, OneBased<double> x, OneBased<double> work) {
  const Elements elements(block);
  double* pivot = x.data() + block.ints(kBlockPivots + 1);
  for (Index e = block.ints(kBlockElements + 1) - 1; e >= 0; --e) {
    const Element el = elements[e];
    pivot -= el.pivots;
    if (el.pivots == 1) {
      *pivot = less_products(*pivot, el.u_groups, el.u, el.u_length, x.data()) / *el.pivot_block;
    } else {
      gather(x.data(), el.u, el.u_length, work.data());
      multiply("N", el.pivots, el.u_length, el.u_groups, el.pivots, work.data(), pivot);
      triangular("U", "N", "N", el, pivot);
    }
  }
  return 0;
}

int ma38_solve_ut(const BlockFactors& block, OneBased<double> x, OneBased<double> work) {
  const Elements elements(block);
  const Index count = block.ints(kBlockElements + 1);
  double* pivot = x.data();
  for (Index e = 0; e < count; ++e) {
    const Element el = elements[e];
    if (el.pivots == 1) {
      *pivot /= *el.pivot_block;
      subtract_multiple(*pivot, el.u_groups, el.u, el.u_length, x.data());
    } else {
      triangular("U", "T", "N", el, pivot);
      gather(x.data(), el.u, el.u_length, work.data());
      multiply("T", el.pivots, el.u_length, el.u_groups, el.pivots, pivot, work.data());
      scatter(work.data(), el.u, el.u_length, x.data());
    }
    pivot += el.pivots;
  }
  return 0;
}

int ma38_solve_lt(const BlockFactors& block, OneBased<double> x, OneBased<double> work) {
  const Elements elements(block);
  double* pivot = x.data() + block.ints(kBlockPivots + 1);
  for (Index e = block.ints(kBlockElements + 1) - 1; e >= 0; --e) {
    const Element el = elements[e];
    pivot -= el.pivots;
    if (el.pivots == 1) {
      *pivot = less_products(*pivot, el.l_rows(), el.l, el.l_length, x.data());
    } else {
      gather(x.data(), el.l, el.l_length, work.data());
      multiply("T", el.l_length, el.pivots, el.l_rows(), el.leading(), work.data(), pivot);
      triangular("L", "T", "U", el, pivot);
    }
  }
  return 0;
}

}  // namespace ma38
}  // namespace corvidnum

// The singular value decomposition with any sizes and elements. The factors of a tame matrix must give it
// back, have orthonormal columns, and solve least squares as well as the normal equations ask.

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <vector>

#include "dense/singular_value_decomposition.h"
#include "frame/empty_value.h"
#include "fuzz/bytes.h"
#include "fuzz/guarded_array.h"
#include "host/corvid_host.h"

namespace {

using fuzz::Bytes, fuzz::Doubles, fuzz::require;

std::size_t length(int count) { return static_cast<std::size_t>(std::max(count, 0)); }

/// A matrix of rows, each between guards.
class Rows {
 public:
  Rows(int rows, int columns) : pointers_(length(rows)) {
    for (double*& row : pointers_) {
      arrays_.push_back(std::make_unique<Doubles>(length(columns)));
      row = arrays_.back()->data();
    }
  }
  double** data() { return pointers_.data(); }
  double& operator()(int i, int j) { return pointers_[length(i)][length(j)]; }

 private:
  fuzz::GuardedArray<double*> pointers_;
  std::vector<std::unique_ptr<Doubles>> arrays_;
};

void check_factors(SingularValueDecomposition& svd, int m, int n, Rows& given, Rows& u) {
  const double* const* const v = svd.VMat();
  const double* const s = svd.SVals();
  double largest = 0;
  for (int k = 0; k < n; ++k) {
    require(s[k] >= 0, "no singular value is negative");
    largest = std::max(largest, s[k]);
  }
  const double rounding = 1000.0 * m * n * std::numeric_limits<double>::epsilon();
  for (int i = 0; i < m; ++i) {
    for (int j = 0; j < n; ++j) {
      double product = 0;
      for (int k = 0; k < n; ++k) product += u(i, k) * s[k] * v[j][k];
      require(std::fabs(product - given(i, j)) <= rounding * largest, "U S V' is the matrix");
    }
  }
  for (int j = 0; j < n; ++j) {
    for (int k = 0; k <= j; ++k) {
      double product = 0;
      for (int i = 0; i < n; ++i) product += v[i][j] * v[i][k];
      require(std::fabs(product - (j == k)) <= rounding, "V is orthogonal");
    }
  }
}

void attack(Bytes& bytes) {
  const bool tame = bytes.flag();
  const int m_capacity = bytes.between(tame ? 1 : -1, 9), n_capacity = bytes.between(tame ? 1 : -1, 9);
  SingularValueDecomposition svd(m_capacity, n_capacity);
  for (int steps = 0; bytes.left() && steps < 6; ++steps) {
    const int m = bytes.between(tame ? 1 : -1, 10), n = bytes.between(tame ? 1 : -1, 10);
    Rows a(m, n), given(m, n);
    for (int i = 0; i < m; ++i)
      for (int j = 0; j < n; ++j)
        given(i, j) = a(i, j) = bytes.left() ? bytes.number(tame) : i + 1.0 / (j + 1);
    const int kind = bytes.below(3);
    if (kind == 0) {
      Doubles x(length(n)), b(length(m)), sigma(length(m));
      for (double& element : b) element = bytes.number(tame);
      for (double& element : sigma) element = tame ? 1 + bytes.below(4) : bytes.number();
      const double squares =
          svd.LinearLeastSquare(m, n, x.data(), b.data(), a.data(), bytes.flag() ? sigma.data() : nullptr);
      if (squares == EmptyValue)
        for (const double element : x)
          require(element == EmptyValue || n > n_capacity || m > m_capacity, "a failure says so in x");
      continue;
    }
    const bool done = svd.Decomposition(m, n, a.data()) != 0;
    require(!done || n < 1 || (m >= n && n <= n_capacity), "only sizes within the capacity are decomposed");
    // Tame elements are so few multiples of 1/32 that each decomposition must converge.
    require(done || !tame || m < n || n > n_capacity, "a tame matrix is decomposed");
    if (!done || n < 1) continue;
    if (tame) check_factors(svd, m, n, given, a);
    if (kind == 2) svd.EditSingularValue(n);
    require(svd.Rank(n) >= 0 && svd.Rank(n) <= n, "the rank is at most n");
    const double condition = svd.ConditionNum(n);
    require(!tame || std::isnan(condition) || (condition >= 0 && condition <= 1),
            "the condition is between 0 and 1");
    Doubles b(length(m)), x(length(n));
    for (double& element : b) element = bytes.number(tame);
    svd.BackSubstitute(m, n, b.data(), x.data(), a.data());
    Rows covariance(n, n);
    svd.CovarianceMatrix(n, covariance.data());
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::int64_t blocks = corvid_host::LiveBlocks();
  Bytes bytes(data, size);
  attack(bytes);
  require(corvid_host::LiveBlocks() == blocks, "all memory is given back");
  return 0;
}

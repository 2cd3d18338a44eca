// RegularMatrix and ArrowMatrix with any sizes, elements and lists: any order of operations must be harmless.
// Systems with tame elements must be solved with small residuals.

#include <algorithm>
#include <cmath>
#include <memory>
#include <vector>

#include "dense/arrow_matrix.h"
#include "dense/regular_matrix.h"
#include "fuzz/bytes.h"
#include "fuzz/guarded_array.h"
#include "fuzz/sparse_entries.h"
#include "host/corvid_host.h"

namespace {

using fuzz::Bytes, fuzz::Doubles, fuzz::Ints, fuzz::require;

std::size_t length(int count) { return static_cast<std::size_t>(std::max(count, 0)); }

/// A matrix under test, and what was written to it by full storage.
struct Subject {
  Matrix& matrix;
  int rows, columns;
  bool tame;
  std::vector<double> elements = std::vector<double>(length(rows) * length(columns), 0.0);

  double& element(int i, int j) { return elements[length(j) * length(rows) + length(i)]; }
  fuzz::Entries entries() {
    fuzz::Entries a{rows, columns, {}, {}, {}};
    for (int j = 0; j < columns; ++j)
      for (int i = 0; i < rows; ++i) a.add(i + 1, j + 1, element(i, j));
    return a;
  }
};

/// Writes elements; those of a tame matrix lie where `stored` says that it stores them.
template <class Stored>
void write(Bytes& bytes, Subject& subject, Stored stored) {
  for (int parts = bytes.below(30); parts > 0; --parts) {
    const int i = subject.tame ? bytes.below(subject.rows) : bytes.integer(),
              j = subject.tame ? bytes.below(subject.columns) : bytes.integer();
    const double value = bytes.number(subject.tame);
    if (subject.tame && !stored(i, j)) continue;
    if (bytes.flag())
      subject.matrix(i, j) = value;
    else
      *subject.matrix.Address(i, j) = value;
    if (subject.tame) subject.element(i, j) = value;
  }
}

/// Makes the diagonal larger than the sum of all that stands beside it.
void dominate(Subject& subject) {
  constexpr double kAboveAll = 500;
  for (int k = 0; k < std::min(subject.rows, subject.columns); ++k)
    subject.matrix(k, k) = subject.element(k, k) = kAboveAll;
}

void expect_solution(Subject& subject, const Doubles& x, const std::vector<double>& b, double factor) {
  require(fuzz::solves(subject.entries(), x.data(), b.data(), false, factor),
          "the residual of a tame solution is small");
}

Doubles right_side(Bytes& bytes, int count, bool tame) {
  Doubles b(length(count));
  for (double& element : b) element = bytes.number(tame);
  return b;
}

void attack_regular(Bytes& bytes) {
  const bool tame = bytes.flag();
  const int rows = bytes.between(tame ? 1 : -2, 12);
  const int cols = tame || bytes.below(4) != 0 ? rows : bytes.between(-2, 12);
  RegularMatrix matrix(rows, cols);
  Subject subject{matrix, rows, cols, tame};
  const auto everywhere = [](int, int) { return true; };
  write(bytes, subject, everywhere);
  if (tame && bytes.flag()) dominate(subject);
  for (int steps = 0; bytes.left() && steps < 12; ++steps) {
    int info = 0;
    switch (bytes.below(6)) {
      case 0:
        require((matrix.FactorLU(info) == Matrix::MatrixOK) == (info == 0),
                "info tells whether FactorLU failed");
        break;
      case 1: {
        Doubles b = right_side(bytes, std::max(rows, cols), tame), x(length(std::max(rows, cols)));
        matrix.BackSub(x.data(), b.data());
        break;
      }
      case 2: {
        Doubles b = right_side(bytes, rows, tame), x(length(std::max(rows, cols)));
        const std::vector<double> right = b.copy();
        if (matrix.Solve(x.data(), b.data(), info) == Matrix::MatrixOK && tame && steps == 0)
          expect_solution(subject, x, right, fuzz::growth_bound(rows, 1.0));
        require(std::equal(right.begin(), right.end(), b.begin(), fuzz::same_bits), "Solve keeps b");
        break;
      }
      case 3: {
        const int row = matrix.PermutationInfo(bytes.integer());
        require(row >= -1, "PermutationInfo gives a row or -1");
        break;
      }
      case 4:
        matrix.ZeroElements();
        break;
      default:
        write(bytes, subject, everywhere);
    }
  }
}

void attack_arrow(Bytes& bytes) {
  const bool tame = bytes.flag();
  const int lowest = tame ? 0 : -2;
  const int n = bytes.between(tame ? 1 : -2, 10), kl = bytes.between(lowest, 5),
            ku = bytes.between(lowest, 5), m = bytes.between(lowest, 4);
  const int track = bytes.below(tame ? 2 : 4);
  ArrowMatrix matrix(n, kl, ku, m, static_cast<ArrowMatrix::TrackNZType>(track));
  Subject subject{matrix, n + m, n + m, tame};
  const auto stored = [&](int i, int j) { return i >= n || j >= n || (i - j <= kl && j - i <= ku); };
  write(bytes, subject, stored);
  if (tame) dominate(subject);
  Ints row_start(length(m)), row_count(length(m)), columns(16);
  const auto provide = [&] {
    for (int& column : columns) column = bytes.integer();
    for (std::size_t row = 0; row < row_start.size(); ++row) {
      row_start[row] = bytes.between(-2, 15);
      row_count[row] = row_start[row] < 0 ? bytes.integer() : bytes.between(-1, 16 - row_start[row]);
    }
    matrix.ProvideNZ(row_start.data(), row_count.data(), columns.data());
  };
  for (int steps = 0; bytes.left() && steps < 12; ++steps) {
    int info = 0;
    Doubles b = right_side(bytes, n + m, tame), x(length(n + m));
    const std::vector<double> right = b.copy();
    switch (bytes.below(7)) {
      case 0:
        matrix.FactorLU(info);
        break;
      case 1:
        matrix.BackSub(x.data(), b.data());
        break;
      case 2: {
        const bool solved = matrix.Solve(x.data(), b.data(), info) == Matrix::MatrixOK;
        if (tame && steps == 0) {
          require(solved, "a dominant matrix is solved");
          constexpr double kFactor = 1e4;  // nothing grows in a dominant matrix
          expect_solution(subject, x, right, kFactor);
        }
        break;
      }
      case 3:
        matrix.PermutationInfo(bytes.integer());
        break;
      case 4:
        matrix.ZeroElements();
        break;
      case 5:
        if (!tame) provide();
        break;
      default:
        write(bytes, subject, stored);
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::int64_t blocks = corvid_host::LiveBlocks();
  Bytes bytes(data, size);
  if (bytes.flag())
    attack_regular(bytes);
  else
    attack_arrow(bytes);
  require(corvid_host::LiveBlocks() == blocks, "all memory is given back");
  return 0;
}

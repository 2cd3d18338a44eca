// Singular value decomposition by the method of Golub and Reinsch, and linear least squares by it.
//
//  1. Householder bidiagonalisation: reflections from the left and the right in turn make A upper bidiagonal,
//     with diagonal s and superdiagonal e.
//  2. The right reflections are accumulated in V, the left ones in place of A, which becomes U.
//  3. Implicit-shift QR on the bidiagonal matrix, from its last column back: split it where e is negligible,
//     or cancel a row where s is; otherwise chase the bulge of one shifted QR step down the block by plane
//     rotations, the right ones applied to V and the left ones to U. A block of order 1 is a singular value,
//     which is made positive.
// Invariant of step 3: U B V' is the given matrix, but for rounding, B being the bidiagonal matrix.
// Source: Golub and Reinsch, Singular value decomposition and least squares solutions, Numer. Math. 14
// (1970).

#include "dense/singular_value_decomposition.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "frame/empty_value.h"
#include "frame/module.h"

using namespace corvidnum;

namespace {

constexpr int kSweepLimit = 50;  // gives up before this sweep: a singular value gets 49
// Singular values below min(kRelativeLimit * largest singular value, kAbsoluteLimit) count as 0.
constexpr double kRelativeLimit = 1e-5;
constexpr double kAbsoluteLimit = 1e-8;

// The loops below run along the rows, whose elements are contiguous. Each sum still receives its terms one by
// one, in index order, so the result equals to the bit that of one plain loop for each sum.

constexpr int kColumnBlock = 64;  // number of columns whose sums are formed together
constexpr int kRowGroup = 4;      // number of rows read together, to keep the arithmetic units busy

double square(double x) { return x * x; }

double with_sign_of(double x, double magnitude) { return x >= 0.0 ? magnitude : -magnitude; }

/// Returns sqrt(a^2 + b^2) without overflow of the squares.
double hypotenuse(double a, double b) {
  const double p = std::fabs(a), q = std::fabs(b);
  if (p == 0.0 && q == 0.0) return 0.0;
  return p > q ? p * std::sqrt(1.0 + square(q / p)) : q * std::sqrt(1.0 + square(p / q));
}

/// Returns whether `x` is negligible: adding it to `norm` changes nothing. False for a NaN.
bool absorbed(double x, double norm) { return std::fabs(x) + norm == norm; }

/// Adds to sum[c], c from 0 to width - 1, factor(k) * rows[k][col + c] for k from `first` to `last` - 1.
template <class Factor>
void add_products(double* const* rows, int first, int last, int col, int width, Factor&& factor,
                  double* __restrict sum) {
  int k = first;
  for (; k + kRowGroup <= last; k += kRowGroup) {
    const double f0 = factor(k), f1 = factor(k + 1), f2 = factor(k + 2), f3 = factor(k + 3);
    const double *r0 = rows[k] + col, *r1 = rows[k + 1] + col, *r2 = rows[k + 2] + col,
                 *r3 = rows[k + 3] + col;
    for (int c = 0; c < width; ++c) sum[c] = (((sum[c] + f0 * r0[c]) + f1 * r1[c]) + f2 * r2[c]) + f3 * r3[c];
  }
  for (; k < last; ++k) {
    const double f = factor(k);
    const double* row = rows[k] + col;
    for (int c = 0; c < width; ++c) sum[c] += f * row[c];
  }
}

/// Adds factor(k) * multiple[c] to rows[k][col + c], k from `first` to `last` - 1, c from 0 to width - 1.
template <class Factor>
void add_multiples(double* const* rows, int first, int last, int col, int width, Factor&& factor,
                   const double* __restrict multiple) {
  for (int k = first; k < last; ++k) {
    const double f = factor(k);
    double* __restrict row = rows[k] + col;
    for (int c = 0; c < width; ++c) row[c] += f * multiple[c];
  }
}

/// Applies the reflection I + v v' / h from the left to the columns col .. end - 1. The elements of v are
/// factor(k) for the rows k from `first` to `last` - 1, else 0.
template <class Factor>
void reflect_columns(double* const* rows, int first, int last, int col, int end, Factor&& factor, double h) {
  for (; col < end; col += kColumnBlock) {
    const int width = std::min(kColumnBlock, end - col);
    double sum[kColumnBlock] = {};
    add_products(rows, first, last, col, width, factor, sum);
    for (int c = 0; c < width; ++c) sum[c] /= h;
    add_multiples(rows, first, last, col, width, factor, sum);
  }
}

/// Adds (row . vector) * direction to each of the rows first .. last - 1, in the columns col .. end - 1. With
/// direction = vector / h that applies the reflection I + v v' / h from the right.
void reflect_rows(double* const* rows, int first, int last, int col, int end, const double* vector,
                  const double* direction) {
  int j = first;
  for (; j + kRowGroup <= last; j += kRowGroup) {
    double* const* const row = rows + j;
    double s0 = 0.0, s1 = 0.0, s2 = 0.0, s3 = 0.0;
    for (int k = col; k < end; ++k) {
      s0 += row[0][k] * vector[k];
      s1 += row[1][k] * vector[k];
      s2 += row[2][k] * vector[k];
      s3 += row[3][k] * vector[k];
    }
    const double sums[kRowGroup] = {s0, s1, s2, s3};
    add_multiples(
        rows, j, j + kRowGroup, col, end - col, [&](int r) { return sums[r - j]; }, direction + col);
  }
  for (; j < last; ++j) {
    double sum = 0.0;
    for (int k = col; k < end; ++k) sum += rows[j][k] * vector[k];
    add_multiples(
        rows, j, j + 1, col, end - col, [=](int) { return sum; }, direction + col);
  }
}

/// A plane rotation: (x, y) becomes (c x + s y, c y - s x).
struct Rotation {
  double c, s;
};

/// Collects a sequence of rotations, of the columns col and col + 1, then col + 1 and col + 2, and so on, and
/// applies them row by row, so that each row is read once for up to kMost rotations.
class RotationChain {
 public:
  RotationChain(double* const* rows, int row_count) : rows_(rows), row_count_(row_count) {}

  void begin(int col) { col_ = col; }
  void add(Rotation rotation) {
    rotations_[count_++] = rotation;
    if (count_ == kMost) apply();
  }
  /// Applies the collected rotations; the sequence continues with the next column.
  void apply() {
    int j = 0;
    for (; j + kRowGroup <= row_count_; j += kRowGroup) apply_to<kRowGroup>(rows_ + j);
    for (; j < row_count_; ++j) apply_to<1>(rows_ + j);
    col_ += count_;
    count_ = 0;
  }

 private:
  static constexpr int kMost = 32;

  template <int kRows>
  void apply_to(double* const* rows) const {
    double* row[kRows];
    double x[kRows];
    for (int r = 0; r < kRows; ++r) {
      row[r] = rows[r] + col_;
      x[r] = row[r][0];
    }
    for (int t = 0; t < count_; ++t) {
      const double c = rotations_[t].c, s = rotations_[t].s;
      for (int r = 0; r < kRows; ++r) {
        const double y = row[r][t + 1];
        row[r][t] = x[r] * c + y * s;
        x[r] = y * c - x[r] * s;
      }
    }
    for (int r = 0; r < kRows; ++r) row[r][count_] = x[r];
  }

  double* const* const rows_;
  const int row_count_;
  int col_ = 0, count_ = 0;
  Rotation rotations_[kMost];
};

/// One decomposition of a (m x n, m >= n) into U diag(s) V'; U takes the place of a.
class GolubReinsch {
 public:
  GolubReinsch(int m, int n, double** a, double** v, double* s, double* e)
      : m_(m), n_(n), a_(a), v_(v), s_(s), e_(e), right_(v, n), left_(a, m) {}

  /// Returns false if a singular value does not converge.
  bool run();

 private:
  // A Householder reflection is I + v v' / h with h = -|v|^2 / 2. Its v is stored where it makes elements 0.
  // It is formed from elements scaled to a sum of magnitudes of 1 and stored at that scale, so it does not
  // underflow, however small the elements are.
  void make_bidiagonal();         // sets s to the diagonal, e to the superdiagonal; a holds the vectors v
  double reflect_column(int i);   // makes column i 0 below the diagonal; returns the diagonal element
  double reflect_row(int i);      // makes row i 0 right of the superdiagonal; returns the element on it
  void accumulate_right();        // sets v to the product of the row reflections
  void accumulate_left();         // sets a to the product of the column reflections
  bool converge(int k);           // makes s[k] a singular value; false: not within the limit of sweeps
  int find_split(int k);          // returns the first column of the block that ends with k and stands alone
  void cancel(int first, int k);  // makes e[first] 0 by rotations, as s[first - 1] is negligible
  double shift(int first, int k) const;
  void sweep(int first, int k);  // makes one step of implicit-shift QR on the block
  void make_positive(int k);     // changes the sign of s[k] and of column k of v if s[k] is negative

  const int m_, n_;
  double* const* const a_;
  double* const* const v_;
  double* const s_;
  double* const e_;
  double norm_ = 0.0;  // largest |s[i]| + |e[i]| of the bidiagonal matrix; see absorbed()
  RotationChain right_, left_;
};

bool GolubReinsch::run() {
  make_bidiagonal();
  // Sweeps cannot help: with a NaN no element is ever negligible, with an infinity every element is.
  if (!std::isfinite(norm_)) return false;
  accumulate_right();
  accumulate_left();
  for (int k = n_ - 1; k >= 0; --k) {
    if (!converge(k)) return false;
  }
  return true;
}

void GolubReinsch::make_bidiagonal() {
  double superdiagonal = 0.0;
  for (int i = 0; i < n_; ++i) {
    e_[i] = superdiagonal;
    s_[i] = reflect_column(i);
    if (i < n_ - 1) superdiagonal = reflect_row(i);
    const double size = std::fabs(s_[i]) + std::fabs(e_[i]);
    // A NaN becomes the norm and stays it, because the reflections have spread it to all that follows.
    if (!(size <= norm_)) norm_ = size;
  }
}

double GolubReinsch::reflect_column(int i) {
  double scale = 0.0, sum = 0.0;
  for (int k = i; k < m_; ++k) scale += std::fabs(a_[k][i]);
  if (scale == 0.0) return 0.0;
  for (int k = i; k < m_; ++k) {
    a_[k][i] /= scale;
    sum += square(a_[k][i]);
  }
  const double f = a_[i][i];
  const double g = -with_sign_of(f, std::sqrt(sum));
  const double h = f * g - sum;
  a_[i][i] = f - g;
  reflect_columns(
      a_, i, m_, i + 1, n_, [=](int k) { return a_[k][i]; }, h);
  return scale * g;
}

double GolubReinsch::reflect_row(int i) {
  double* const row = a_[i];
  const int first = i + 1;
  double scale = 0.0, sum = 0.0;
  for (int k = first; k < n_; ++k) scale += std::fabs(row[k]);
  if (scale == 0.0) return 0.0;
  for (int k = first; k < n_; ++k) {
    row[k] /= scale;
    sum += square(row[k]);
  }
  const double f = row[first];
  const double g = -with_sign_of(f, std::sqrt(sum));
  const double h = f * g - sum;
  row[first] = f - g;
  for (int k = first; k < n_; ++k) e_[k] = row[k] / h;  // e[i+1 ..] is not set yet and serves as scratch
  reflect_rows(a_, first, m_, first, n_, row, e_);
  return scale * g;
}

void GolubReinsch::accumulate_right() {
  for (int i = n_ - 1; i >= 0; --i) {
    const int next = i + 1;
    const double* const row = a_[i];
    double h = 0.0;
    for (int k = next; k < n_; ++k) h -= 0.5 * square(row[k]);
    if (h != 0.0)
      reflect_columns(
          v_, next, n_, next, n_, [=](int k) { return row[k]; }, h);
    for (int j = next; j < n_; ++j) v_[i][j] = v_[j][i] = 0.0;
    v_[i][i] = 1.0;
  }
}

void GolubReinsch::accumulate_left() {
  for (int i = n_ - 1; i >= 0; --i) {
    const int next = i + 1;
    double h = 0.0;
    for (int k = i; k < m_; ++k) h -= 0.5 * square(a_[k][i]);
    for (int j = next; j < n_; ++j) a_[i][j] = 0.0;
    if (h != 0.0) {
      reflect_columns(
          a_, i, m_, next, n_, [=](int k) { return a_[k][i]; }, h);
      const double multiple = a_[i][i] / h;  // column i of I + v v' / h is unit vector i plus (v[i] / h) v
      for (int k = i; k < m_; ++k) a_[k][i] *= multiple;
    }
    a_[i][i] += 1.0;
  }
}

bool GolubReinsch::converge(int k) {
  for (int its = 1;; ++its) {
    const int first = find_split(k);
    if (first == k) {
      make_positive(k);
      return true;
    }
    if (its == kSweepLimit) return false;
    sweep(first, k);
  }
}

int GolubReinsch::find_split(int k) {
  for (int l = k; l > 0; --l) {
    if (absorbed(e_[l], norm_)) return l;
    if (absorbed(s_[l - 1], norm_)) {
      cancel(l, k);
      return l;
    }
  }
  return 0;  // e[0] is 0; with NaN elements, for which both tests fail, the block begins here too
}

void GolubReinsch::cancel(int first, int k) {
  double c = 0.0, s = 1.0;
  for (int i = first; i <= k; ++i) {
    const double f = s * e_[i];
    e_[i] = c * e_[i];
    if (absorbed(f, norm_)) return;
    const double g = s_[i], h = hypotenuse(f, g);
    s_[i] = h;
    c = g / h;
    s = -f / h;
    for (int j = 0; j < m_; ++j) {
      const double y = a_[j][first - 1], z = a_[j][i];
      a_[j][first - 1] = y * c + z * s;
      a_[j][i] = z * c - y * s;
    }
  }
}

/// Returns (s[first]^2 - mu) / s[first], from which the first rotation of a QR step is formed. The shift mu
/// is the eigenvalue of the trailing 2 x 2 minor of B'B nearest to its last diagonal element, B being the
/// block.
double GolubReinsch::shift(int first, int k) const {
  const double x = s_[first], y = s_[k - 1], z = s_[k], g = e_[k - 1], h = e_[k];
  const double f = ((y - z) * (y + z) + (g - h) * (g + h)) / (2.0 * h * y);
  const double t = with_sign_of(f, hypotenuse(f, 1.0));
  return ((x - z) * (x + z) + h * (y / (f + t) - h)) / x;
}

void GolubReinsch::sweep(int first, int k) {
  right_.begin(first);
  left_.begin(first);
  double f = shift(first, k), x = s_[first];
  double c = 1.0, s = 1.0;
  for (int j = first; j < k; ++j) {
    double g = e_[j + 1], y = s_[j + 1];
    double h = s * g;
    g = c * g;
    double z = hypotenuse(f, h);
    e_[j] = z;
    c = f / z;  // not guarded, unlike the second rotation: the contract lets z = 0 end in NaN and a failure
    s = h / z;
    f = x * c + g * s;
    g = g * c - x * s;
    h = y * s;
    y *= c;
    right_.add({c, s});
    z = hypotenuse(f, h);
    s_[j] = z;
    if (z != 0.0) {
      c = f / z;
      s = h / z;
    }
    f = c * g + s * y;
    x = c * y - s * g;
    left_.add({c, s});
  }
  right_.apply();
  left_.apply();
  e_[first] = 0.0;
  e_[k] = f;
  s_[k] = x;
}

void GolubReinsch::make_positive(int k) {
  if (!(s_[k] < 0.0)) return;
  s_[k] = -s_[k];
  for (int j = 0; j < n_; ++j) v_[j][k] = -v_[j][k];
}

/// Allocates row pointers and sets them to null, so that release_rows() may follow at any time.
double** allocate_row_pointers(int count) {
  double** const rows = allocate_array<double*>(count);
  if (rows) std::fill(rows, rows + std::max(count, 0), nullptr);
  return rows;
}

bool allocate_rows(double** rows, int count, int length) {
  for (int i = 0; i < count; ++i) {
    rows[i] = allocate_array<double>(length);
    if (!rows[i]) return false;
  }
  return true;
}

void release_rows(double* const* rows, int count) {
  if (!rows) return;
  for (int i = 0; i < count; ++i) Corvid_delete(rows[i]);
}

}  // namespace

// ---- The arrays

SingularValueDecomposition::SingularValueDecomposition(int rowCapacity, int colCapacity)
    : uRows(nullptr), vRows(nullptr), sVals(nullptr), scratch(nullptr), rows(rowCapacity), cols(colCapacity) {
  enter_library();
  if (!AllocateArrays()) ReleaseArrays();
}

bool SingularValueDecomposition::AllocateArrays() {
  scratch = allocate_array<double>(std::max(rows, cols));
  sVals = allocate_array<double>(cols);
  uRows = allocate_row_pointers(rows);
  vRows = allocate_row_pointers(cols);
  if (!scratch || !sVals || !uRows || !vRows) return false;
  return allocate_rows(uRows, rows, cols) && allocate_rows(vRows, cols, cols);
}

void SingularValueDecomposition::ReleaseArrays() {
  Corvid_delete(scratch);
  Corvid_delete(sVals);
  release_rows(uRows, rows);
  release_rows(vRows, cols);
  Corvid_delete(uRows);
  Corvid_delete(vRows);
  scratch = sVals = nullptr;
  uRows = vRows = nullptr;
  rows = cols = 0;
}

SingularValueDecomposition::~SingularValueDecomposition() {
  enter_library();
  ReleaseArrays();
}

// Assignment shares the arrays: the contract has it copy the six fields and nothing else.
SingularValueDecomposition& SingularValueDecomposition::operator=(const SingularValueDecomposition& other) {
  enter_library();
  uRows = other.uRows;
  vRows = other.vRows;
  sVals = other.sVals;
  scratch = other.scratch;
  rows = other.rows;
  cols = other.cols;
  return *this;
}

const double* const* SingularValueDecomposition::Umat() {
  enter_library();
  return uRows;
}

const double* const* SingularValueDecomposition::VMat() {
  enter_library();
  return vRows;
}

const double* SingularValueDecomposition::SVals() {
  enter_library();
  return sVals;
}

// ---- The factors and their uses

unsigned char SingularValueDecomposition::Decomposition(int m, int n, double** a) {
  enter_library();
  if (m < n || !Holds(n) || !a) return 0;
  return GolubReinsch(m, n, a, vRows, sVals, scratch).run();
}

double SingularValueDecomposition::Limit(int n) const {
  double largest = 0.0;
  for (int i = 0; i < n; ++i) largest = std::max(largest, sVals[i]);
  return std::min(largest * kRelativeLimit, kAbsoluteLimit);
}

void SingularValueDecomposition::EditSingularValue(int n) {
  enter_library();
  if (!Holds(n)) return;
  const double limit = Limit(n);
  for (int i = 0; i < n; ++i) {
    if (sVals[i] < limit) sVals[i] = 0.0;
  }
}

int SingularValueDecomposition::Rank(int n) {
  enter_library();
  if (n < 1 || !Holds(n)) return 0;
  const double limit = Limit(n);
  return n - static_cast<int>(std::count_if(sVals, sVals + n, [=](double value) { return value < limit; }));
}

double SingularValueDecomposition::ConditionNum(int n) {
  enter_library();
  if (n < 1) return std::numeric_limits<double>::quiet_NaN();
  if (!Holds(n)) return 0.0;
  double smallest = std::fabs(sVals[0]), largest = smallest;
  for (int i = 1; i < n; ++i) {
    smallest = std::min(smallest, std::fabs(sVals[i]));
    largest = std::max(largest, std::fabs(sVals[i]));
  }
  return smallest / largest;
}

void SingularValueDecomposition::BackSubstitute(int m, int n, double* b, double* x, double** u) {
  enter_library();
  if (!Holds(n) || !b || !x || !u) return;
  for (int j = 0; j < n; ++j) scratch[j] = 0.0;
  for (int i = 0; i < m; ++i) {
    for (int j = 0; j < n; ++j) scratch[j] += u[i][j] * b[i];
  }
  for (int j = 0; j < n; ++j) scratch[j] = sVals[j] == 0.0 ? 0.0 : scratch[j] / sVals[j];
  for (int j = 0; j < n; ++j) {
    double sum = 0.0;
    for (int k = 0; k < n; ++k) sum += vRows[j][k] * scratch[k];
    x[j] = sum;
  }
}

void SingularValueDecomposition::CovarianceMatrix(int n, double** cvm) {
  enter_library();
  if (!Holds(n) || !cvm) return;
  for (int i = 0; i < n; ++i) scratch[i] = sVals[i] == 0.0 ? 0.0 : 1.0 / square(sVals[i]);
  for (int i = 0; i < n; ++i) {
    for (int j = 0; j <= i; ++j) {
      double sum = 0.0;
      for (int k = 0; k < n; ++k) sum += vRows[i][k] * vRows[j][k] * scratch[k];
      cvm[i][j] = cvm[j][i] = sum;
    }
  }
}

// ---- Least squares

double SingularValueDecomposition::LinearLeastSquare(int m, int n, double* x, double* b, double** a,
                                                     double* sigma) {
  enter_library();
  if (!x) return EmptyValue;
  for (int j = 0; j < n; ++j) x[j] = EmptyValue;
  if (m > rows || !Holds(n) || !b || !a) return EmptyValue;
  double* const scaledB = allocate_array<double>(std::int64_t{m} + 1);
  double* const colScale = allocate_array<double>(n);
  const double chi2 = scaledB && colScale ? FitScaled(m, n, x, b, a, sigma, scaledB, colScale) : EmptyValue;
  Corvid_delete(scaledB);
  Corvid_delete(colScale);
  return chi2;
}

double SingularValueDecomposition::FitScaled(int m, int n, double* x, const double* b, double** a,
                                             const double* sigma, double* scaledB, double* colScale) {
  for (int j = 0; j < n; ++j) colScale[j] = 0.0;
  for (int i = 0; i < m; ++i) {
    for (int j = 0; j < n; ++j) colScale[j] += std::fabs(a[i][j]);
  }
  for (int j = 0; j < n; ++j) colScale[j] *= 1.0 / m;

  for (int i = 0; i < m; ++i) {
    const double w = sigma ? 1.0 / sigma[i] : 1.0;
    for (int j = 0; j < n; ++j) uRows[i][j] = (a[i][j] / colScale[j]) * w;
    scaledB[i] = w * b[i];
  }

  if (!Decomposition(m, n, uRows)) return EmptyValue;
  EditSingularValue(n);
  BackSubstitute(m, n, scaledB, x, uRows);

  // The contract forms the sum from the solution of the scaled problem and the unscaled matrix, so this loop
  // must stay before the next.
  double chi2 = 0.0;
  for (int i = 0; i < m; ++i) {
    double sum = 0.0;
    for (int j = 0; j < n; ++j) sum += a[i][j] * x[j];
    double r = b[i] - sum;
    if (sigma) r /= sigma[i];
    chi2 += square(r);
  }
  for (int j = 0; j < n; ++j) x[j] /= colScale[j];
  return chi2;
}

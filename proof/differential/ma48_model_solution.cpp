#include <algorithm>
#include <cfloat>
#include <cmath>
#include <functional>
#include <utility>

#include "proof/differential/ma48_model.h"

namespace ma48_model {
namespace {

/// How far each operation with a full part is changed to see how much its rounding matters.
constexpr double kPerturbation = 1e-10;
/// How far, relative to that, the operations beside the full parts are changed: by a few units in the last
/// place, since in these the two solutions differ by a unit here and there.
constexpr double kPerturbationBeside = 1e-5;
/// How many times the change that this makes two good solutions may be apart: where sparse columns have let
/// rounding errors grow to the size of the solution, the change is as large as that, and no larger.
constexpr double kChanges = 20.0;

/// Changes values by up to `size`, relatively, each by another part of it. Of size 0, it changes nothing.
class Noise {
 public:
  explicit Noise(double size) : size_(size) {}
  double in(double value) {
    ++count_;
    return value * (1.0 + size_ * (static_cast<double>(count_ * 37 % 17) - 7.5) / 8.0);
  }

 private:
  const double size_;
  int count_ = 0;
};

/// Returns x / y; clears `exact` if it was rounded.
double divide(double x, double y, bool& exact) {
  const double quotient = x / y;
  if (std::fma(quotient, y, -x) != 0.0) exact = false;
  return quotient;
}

/// Estimates the 1-norm of a matrix of order n that `multiply` applies, and `multiply_transposed` (Hager's
/// method in Higham's form).
double estimate_norm(int n, const std::function<Vector(const Vector&)>& multiply,
                     const std::function<Vector(const Vector&)>& multiply_transposed) {
  const auto sum_of_magnitudes = [](const Vector& x) {
    double sum = 0.0;
    for (std::size_t i = 1; i < x.size(); ++i) sum += std::fabs(x[i]);
    return sum;
  };
  const auto largest = [](const Vector& x) {
    std::size_t best = 1;
    for (std::size_t i = 2; i < x.size(); ++i) {
      if (std::fabs(x[i]) > std::fabs(x[best])) best = i;
    }
    return best;
  };
  const auto signs_of = [](Vector x) {
    for (double& value : x) value = value >= 0.0 ? 1.0 : -1.0;
    return x;
  };
  Vector x = multiply(Vector(n + 1, 1.0 / n));
  if (n == 1) return std::fabs(x[1]);
  Vector signs = signs_of(x), w;
  x = multiply_transposed(signs);
  std::size_t j = largest(x);
  for (int iteration = 2;; ++iteration) {
    Vector unit(n + 1);
    unit[j] = 1.0;
    w = multiply(unit);
    const Vector new_signs = signs_of(w);
    if (std::equal(signs.begin() + 1, signs.end(), new_signs.begin() + 1)) break;
    signs = new_signs;
    x = multiply_transposed(signs);
    const std::size_t last = std::exchange(j, largest(x));
    if (std::fabs(x[last]) == std::fabs(x[j]) || iteration == 5) break;
  }
  for (int i = 1; i <= n; ++i) {
    x[i] = (i % 2 == 1 ? 1.0 : -1.0) * (1.0 + static_cast<double>(i - 1) / static_cast<double>(n - 1));
  }
  const double other = 2.0 * sum_of_magnitudes(multiply(x)) / (3.0 * n);
  return std::max(sum_of_magnitudes(w), other);
}

}  // namespace

struct Model::Errors {
  double omega1 = 0.0, omega2 = 0.0, largest_x = 0.0;
  Vector right_hand_side, residual, terms, row_sums;
  Ints category;
  double sum() const { return omega1 + omega2; }
};

Vector Model::permuted(bool transposed, const Vector& b) const {
  Vector w(b.size());
  for (int i = 1; i < static_cast<int>(b.size()); ++i) {
    if (transposed) {
      w[i] = b[column_at[i]];
    } else {
      w[row_place[i]] = b[i];
    }
  }
  return w;
}

/// Takes a solution from the order of the factors to that of the caller.
Vector Model::solution_order(bool transposed, const Vector& x) const {
  Vector result(x.size());
  for (int i = 1; i < static_cast<int>(x.size()); ++i) {
    if (transposed) {
      result[i] = x[row_place[i]];
    } else {
      result[column_at[i]] = x[i];
    }
  }
  return result;
}

Vector Model::inverse_solution_order(bool transposed, const Vector& x) const {
  Vector result(x.size());
  for (int i = 1; i < static_cast<int>(x.size()); ++i) {
    if (transposed) {
      result[row_place[i]] = x[i];
    } else {
      result[i] = x[column_at[i]];
    }
  }
  return result;
}

/// Solves in the order of the factors. `perturbation` is how far operations are changed, relatively, to see
/// how much rounding in the full parts matters.
Vector Model::apply(bool transposed, const Vector& b, bool& exact, double perturbation) const {
  const int count = static_cast<int>(blocks.size()) - 1;
  const int length = transposed ? given_.m : given_.n;
  Vector right = b, x(length + 1);
  for (int step = 1; step <= count; ++step) {
    const Block& block = blocks[transposed ? step : count + 1 - step];
    const int first = block.first, last = block.last();
    if (transposed && step > 1) {
      for (int j = first; j <= last; ++j) {
        for (int k = off_diagonal_start[j]; k < off_diagonal_start[j + 1]; ++k)
          right[j] -= store[k] * x[index[k]];
      }
    }
    if (block.kind >= 0) {
      apply_block(block, transposed, right, x, exact, perturbation);
    } else if (transposed) {
      for (int j = first; j <= last; ++j) {
        const int start = diagonal_start[j];
        for (int k = start + 1; k < diagonal_start[j + 1]; ++k) right[j] -= store[k] * x[index[k]];
        x[j] = right[j] / store[start];
      }
    } else {
      for (int j = last; j >= first; --j) {
        const int start = diagonal_start[j];
        x[j] = right[j] / store[start];
        for (int k = start + 1; k < diagonal_start[j + 1]; ++k) right[index[k]] -= store[k] * x[j];
      }
    }
    if (!transposed && step < count) {
      for (int j = first; j <= last; ++j) {
        for (int k = off_diagonal_start[j]; k < off_diagonal_start[j + 1]; ++k)
          right[index[k]] -= store[k] * x[j];
      }
    }
  }
  return x;
}

void Model::apply_block(const Block& block, bool transposed, Vector& b, Vector& x, bool& exact,
                        double perturbation) const {
  const int m = rows_of(block), n = block.order, np = block.kind, mf = block.full.rows, nf = n - np;
  const int shift = block.first - 1, most = std::max(m, n);
  Vector w(most + 1), y(most + 1);
  Noise noise(kPerturbationBeside * perturbation);
  if (!transposed) {
    for (int i = 1; i <= m; ++i) w[i] = b[shift + i];
    for (int j = 1; j <= np; ++j) {
      const Column& lower = block.columns[j].lower;
      if (lower.empty()) continue;
      y[j] = w[lower[0].index] * lower[0].value;
      if (y[j] == 0.0) continue;
      for (std::size_t k = 1; k < lower.size(); ++k) w[lower[k].index] -= noise.in(lower[k].value) * y[j];
    }
    if (mf > 0 && nf > 0) {
      Vector z(std::max(mf, nf) + 1);
      for (int k = 1; k <= mf; ++k) z[k] = w[block.full_rows[k]];
      apply_full(block, transposed, z, exact, perturbation);
      for (int k = 1; k <= nf; ++k) y[np + k] = z[k];
    }
    for (int j = n; j >= 1; --j) {
      const ColumnFactor& column = block.columns[j];
      if (j <= np && column.lower.empty()) {
        y[j] = 0.0;
        continue;
      }
      for (const Element& e : column.upper) y[e.index] += noise.in(e.value) * y[j];
    }
    for (int j = 1; j <= n; ++j) x[shift + j] = y[j];
    return;
  }
  for (int j = 1; j <= n; ++j) w[j] = b[shift + j];
  for (int j = 2; j <= n; ++j) {
    double sum = 0.0;
    for (const Element& e : block.columns[j].upper) sum += w[e.index] * noise.in(e.value);
    w[j] += sum;
  }
  if (mf > 0 && nf > 0) {
    Vector z(std::max(mf, nf) + 1);
    for (int k = 1; k <= nf; ++k) z[k] = w[np + k];
    apply_full(block, transposed, z, exact, perturbation);
    for (int k = 1; k <= mf; ++k) y[block.full_rows[k]] = z[k];
  }
  for (int j = np; j >= 1; --j) {
    const Column& lower = block.columns[j].lower;
    if (lower.empty()) continue;
    double sum = 0.0;
    for (std::size_t k = 1; k < lower.size(); ++k) sum += y[lower[k].index] * noise.in(lower[k].value);
    y[lower[0].index] = (w[j] - sum) * lower[0].value;
  }
  for (int i = 1; i <= m; ++i) x[shift + i] = y[i];
}

void Model::apply_full(const Block& block, bool transposed, Vector& b, bool& exact,
                       double perturbation) const {
  const FullPart& a = block.full;
  const int m = a.rows, n = a.columns, rank = a.rank;
  Noise noise(perturbation);
  bool fixed_division = true;
  bool& exact_division = given_.icntl[5] < 1 ? fixed_division : exact;
  if (transposed) {
    for (int j = n; j > rank; --j) std::swap(b[j], b[-a.pivots[j]]);
    for (int j = 1; j <= rank; ++j) {
      for (int i = 1; i < j; ++i) b[j] = add_product(b[j], noise.in(-a(i, j)), b[i], exact);
      b[j] = divide(b[j], noise.in(a(j, j)), exact_division);
    }
    for (int j = rank; j >= 1; --j) {
      for (int i = j + 1; i <= rank; ++i) b[j] = add_product(b[j], noise.in(-a(i, j)), b[i], exact);
    }
    for (int i = rank + 1; i <= m; ++i) b[i] = 0.0;
    for (int j = rank; j >= 1; --j) std::swap(b[j], b[a.pivots[j]]);
    return;
  }
  for (int j = 1; j <= rank; ++j) std::swap(b[j], b[a.pivots[j]]);
  for (int j = 1; j <= rank; ++j) {
    for (int i = j + 1; i <= rank; ++i) b[i] = add_product(b[i], noise.in(-a(i, j)), b[j], exact);
  }
  for (int j = rank; j >= 1; --j) {
    b[j] = divide(b[j], noise.in(a(j, j)), exact_division);
    for (int i = 1; i < j; ++i) b[i] = add_product(b[i], noise.in(-a(i, j)), b[j], exact);
  }
  for (int j = rank + 1; j <= n; ++j) b[j] = 0.0;
  for (int j = rank + 1; j <= n; ++j) std::swap(b[j], b[-a.pivots[j]]);
}

/// Computes the backward errors in the order of the factors.
Model::Errors Model::errors_of(bool transposed, const Vector& b, const Vector& x) const {
  Errors errors;
  errors.right_hand_side = errors.residual = b;
  errors.terms.assign(b.size(), 0.0);
  errors.row_sums.assign(b.size(), 0.0);
  errors.category.assign(b.size(), 0);
  for (const Ints* starts : {&diagonal_start, &off_diagonal_start}) {
    for (int j = 1; j <= given_.n; ++j) {
      double product = 0.0, terms = 0.0, row_sum = 0.0;
      for (int k = (*starts)[j]; k < (*starts)[j + 1]; ++k) {
        const int i = index[k];
        const double a = store[k], p = a * x[transposed ? i : j];
        if (transposed) {
          product += p, terms += std::fabs(p), row_sum += std::fabs(a);
        } else {
          errors.residual[i] -= p, errors.terms[i] += std::fabs(p), errors.row_sums[i] += std::fabs(a);
        }
      }
      if (!transposed) continue;
      errors.residual[j] -= product, errors.terms[j] += terms, errors.row_sums[j] += row_sum;
    }
  }
  for (const double value : x) errors.largest_x = std::max(errors.largest_x, std::fabs(value));
  const double tau = 1000.0 * DBL_EPSILON;
  const int unknowns = static_cast<int>(x.size()) - 1;
  for (std::size_t i = 1; i < b.size(); ++i) {
    const double right = std::fabs(b[i]), u = errors.largest_x * errors.row_sums[i];
    const double level = (u + right) * unknowns * tau, residual = std::fabs(errors.residual[i]);
    if (right + errors.terms[i] > level) {
      errors.category[i] = 1;
      errors.omega1 = std::max(errors.omega1, residual / (right + errors.terms[i]));
    } else {
      errors.category[i] = 2;
      if (level > 0.0) errors.omega2 = std::max(errors.omega2, residual / (u + errors.terms[i]));
    }
  }
  return errors;
}

std::array<double, 2> Model::backward_errors(bool transposed, const Vector& right_hand_side,
                                             const Vector& x) const {
  const Errors errors =
      errors_of(transposed, permuted(transposed, right_hand_side), inverse_solution_order(transposed, x));
  return {errors.omega1, errors.omega2};
}

/// Replaces x by the solution for its residual, as long as that has the smaller error.
/// @param errors in, out: those of x
void Model::refine(bool transposed, Errors& errors, Solution& solution) const {
  const Vector b = errors.right_hand_side;
  for (int iteration = 2; errors.sum() + 1.0 > 1.0; ++iteration) {
    if (iteration > given_.icntl[9]) {
      solution.status = -8;
      return;
    }
    const Vector kept = solution.x;
    const Errors before = errors;
    const double old = errors.sum();
    solution.x = apply(transposed, errors.residual, solution.exact, 0.0);
    errors = errors_of(transposed, b, solution.x);
    if (errors.sum() + 1.0 <= 1.0) return;
    if (!(old * given_.cntl[5] < errors.sum())) continue;
    if (errors.sum() > old) solution.x = kept, errors = before;
    return;
  }
}

/// Estimates the error of x, relative to its largest element: for each category of rows the norm of the
/// inverse times the weights of its rows, times its backward error.
double Model::forward_error(bool transposed, const Errors& errors, Solution& solution) const {
  double sum = 0.0;
  for (const int category : {1, 2}) {
    Vector weights(errors.terms.size());
    bool occurs = false;
    for (std::size_t i = 1; i < weights.size(); ++i) {
      if (errors.category[i] != category) continue;
      occurs = true;
      weights[i] = errors.terms[i] + (category == 1 ? std::fabs(errors.right_hand_side[i])
                                                    : errors.largest_x * errors.row_sums[i]);
    }
    if (!occurs) continue;
    const auto weighted = [&weights](Vector x) {
      for (std::size_t i = 1; i < x.size(); ++i) x[i] *= weights[i];
      return x;
    };
    double norm = estimate_norm(
        given_.n, [&](const Vector& x) { return weighted(apply(!transposed, x, solution.exact, 0.0)); },
        [&](const Vector& x) { return apply(transposed, weighted(x), solution.exact, 0.0); });
    if (errors.largest_x > 0.0) norm /= errors.largest_x;
    sum += norm * (category == 1 ? errors.omega1 : errors.omega2);
  }
  return sum;
}

Solution Model::solve(bool transposed, int job, const Vector& right_hand_side) {
  Solution solution;
  if (job < 1 || job > 4) {
    solution.status = -6;
    return solution;
  }
  const Vector b = permuted(transposed, right_hand_side);
  const Vector first = apply(transposed, b, solution.exact, 0.0);
  if (!solution.exact) {
    const Vector other = apply(transposed, b, solution.exact, kPerturbation);
    for (std::size_t i = 1; i < first.size(); ++i) {
      const double change = std::fabs(first[i] - other[i]) + 1e-11 * std::fabs(first[i]);
      solution.uncertainty = std::max(solution.uncertainty, kChanges * change);
    }
  }
  solution.x = first;
  solution.error.assign(4, 0.0);
  if (job > 1 && given_.icntl[9] < 1) {
    solution.x.assign(first.size(), 0.0);
    solution.status = -8;
    solution.exact = true;
  } else if (job > 1) {
    Errors errors = errors_of(transposed, b, first);
    if (job > 2) refine(transposed, errors, solution);
    solution.error[1] = errors.omega1, solution.error[2] = errors.omega2;
    if (job == 4 && given_.m == given_.n && solution.status == 0)
      solution.error[3] = forward_error(transposed, errors, solution);
  }
  solution.x = solution_order(transposed, solution.x);
  return solution;
}

}  // namespace ma48_model

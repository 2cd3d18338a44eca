// Cases of the dense routines, the accelerators, the tables and the reordering.

#include <cmath>
#include <cstdlib>
#include <random>
#include <utility>

#include "accel/dom_eigen_accel.h"
#include "accel/mul_dom_eigen_accel.h"
#include "bench/against/cases.h"
#include "bench/reorder/gpskca_ordering.h"
#include "bench/reorder/meshes.h"
#include "dense/arrow_matrix.h"
#include "dense/regular_matrix.h"
#include "dense/singular_value_decomposition.h"
#include "tables/interpolator.h"
#include "tables/xy_table.h"

namespace against {
namespace {

using Vector = std::vector<double>;

std::size_t at(int i) { return static_cast<std::size_t>(i); }

Vector random_vector(int n) {
  std::mt19937_64 random(1);
  Vector vector(at(n));
  for (double& value : vector) value = std::uniform_real_distribution<double>(-1.0, 1.0)(random);
  return vector;
}

class Lu : public Case {
 public:
  explicit Lu(int n) : n_(n), values_(random_vector(n * n)), matrix_(n, n) {}
  void prepare() override {
    for (int j = 0; j < n_; ++j)
      for (int i = 0; i < n_; ++i) matrix_(i, j) = values_[at(j * n_ + i)];
  }
  void work() override { matrix_.FactorLU(info_); }
  void add_results(Hash& hash) override {
    for (int j = 0; j < n_; ++j)
      for (int i = 0; i < n_; ++i) hash.add(&matrix_(i, j), sizeof(double));
    hash.add(&info_, sizeof info_);
  }

 private:
  int n_, info_ = 0;
  Vector values_;
  RegularMatrix matrix_;
};

class Arrow : public Case {
 public:
  explicit Arrow(int n)
      : n_(n), x_(at(n + kBorder)), matrix_(n, kWidth, kWidth, kBorder, ArrowMatrix::TrackNone) {}
  void prepare() override {
    matrix_.ZeroElements();
    const int order = n_ + kBorder;
    for (int j = 0; j < order; ++j)
      for (int i = 0; i < order; ++i)
        if (i >= n_ || j >= n_ || std::abs(i - j) <= kWidth)
          matrix_(i, j) = i == j ? 10.0 + (i < n_ ? 0 : n_) : 1.0 / (1.0 + (3 * i + 7 * j) % 11);
    rhs_.assign(at(order), 1.0);
  }
  void work() override { matrix_.Solve(x_.data(), rhs_.data(), info_); }
  void add_results(Hash& hash) override {
    hash.add(x_);
    hash.add(&info_, sizeof info_);
  }

 private:
  static constexpr int kWidth = 2, kBorder = 4;
  int n_, info_ = 0;
  Vector x_, rhs_;
  ArrowMatrix matrix_;
};

class Svd : public Case {
 public:
  Svd(int m, int n) : m_(m), n_(n), values_(random_vector(m * n)), svd_(m, n) {}
  void prepare() override {
    work_ = values_;
    rows_.clear();
    for (int i = 0; i < m_; ++i) rows_.push_back(&work_[at(i * n_)]);
  }
  void work() override { done_ = svd_.Decomposition(m_, n_, rows_.data()); }
  /// U is in the place of the matrix.
  void add_results(Hash& hash) override {
    hash.add(&done_, sizeof done_);
    hash.add(work_);
    hash.add(svd_.SVals(), at(n_) * sizeof(double));
    for (int j = 0; j < n_; ++j) hash.add(svd_.VMat()[j], at(n_) * sizeof(double));
  }

 private:
  int m_, n_;
  Vector values_, work_;
  std::vector<double*> rows_;
  unsigned char done_ = 0;
  SingularValueDecomposition svd_;
};

/// Twenty passes of an iteration with two real eigenvalues and a pair, accelerated after each.
class Acceleration : public Case {
 public:
  using Make = std::unique_ptr<Accel> (*)(int n);
  Acceleration(int n, Make make) : n_(n), make_(make), start_(random_vector(n)) {}
  void prepare() override {
    accelerator_ = make_(n_);
    x_ = start_;
    hash_ = Hash();
    steps_.clear();
    Vector x = start_;
    for (int pass = 0; pass < kPasses; ++pass) {
      for (int i = 0; i + 1 < n_; i += 2) {
        const double a = x[at(i)], b = x[at(i + 1)];
        x[at(i)] = i == 0 ? 0.95 * a : 0.5 * a - 0.6 * b;
        x[at(i + 1)] = i == 0 ? -0.7 * b : 0.6 * a + 0.5 * b;
      }
      steps_.push_back(x);
    }
  }
  void work() override {
    for (const Vector& step : steps_) {
      x_ = step;
      accelerator_->Accelerate(x_.data());
      last_ = x_[0];
      hash_.add(&last_, sizeof last_);
    }
  }
  void add_results(Hash& hash) override {
    const std::uint64_t passes = hash_.value();
    hash.add(&passes, sizeof passes);
    hash.add(x_);
  }

 private:
  static constexpr int kPasses = 20;
  int n_;
  Make make_;
  Vector start_, x_;
  std::vector<Vector> steps_;
  std::unique_ptr<Accel> accelerator_;
  double last_ = 0;
  Hash hash_;
};

class Sort : public Case {
 public:
  explicit Sort(int points) : x_(random_vector(points)) {}
  void prepare() override {
    table_.ClearData();
    for (std::size_t k = 0; k < x_.size(); ++k) table_.AddPoint(x_[k], static_cast<double>(k));
  }
  void work() override { table_.Sort(); }
  void add_results(Hash& hash) override {
    for (int k = 0; k < table_.NDataPoints(); ++k) {
      double point[2];
      table_.GetPoint(k, point[0], point[1]);
      hash.add(point, sizeof point);
    }
  }

 private:
  Vector x_;
  XYTable table_;
};

/// A row of which every tenth entry is known.
class Interpolation : public Case {
 public:
  explicit Interpolation(int entries) : values_(random_vector(entries)) {}
  void prepare() override {
    row_ = values_;
    status_.assign(row_.size(), InterpUnknown);
    for (std::size_t k = 0; k < row_.size(); k += 10) status_[k] = InterpKnown;
    status_.back() = InterpKnown;
  }
  void work() override {
    interpolator_.MainInterpolator(row_.data(), status_.data(), static_cast<int>(row_.size()), InterpLinear,
                                   ExtrapNone, 2, nullptr);
  }
  void add_results(Hash& hash) override {
    hash.add(row_);
    hash.add(status_);
  }

 private:
  Vector values_, row_;
  std::vector<InterpStatusEnum> status_;
  Interpolator interpolator_;
};

class Reordering : public Case {
 public:
  Reordering(const bench::MeshFamily& family, int order, bool by_profile)
      : mesh_(family.make(order, 0)), ordering_(mesh_, by_profile) {}
  void prepare() override { ordering_.prepare(); }
  void work() override { ordering_.reorder(); }
  void add_results(Hash& hash) override { hash.add(ordering_.numbering()); }

 private:
  const bench::Mesh mesh_;
  bench::GpskcaOrdering ordering_;
};

template <class One, class... Arguments>
void add(std::vector<NamedCase>& cases, std::string name, Size size, Arguments... arguments) {
  cases.push_back({std::move(name), size, [=] { return std::make_unique<One>(arguments...); }});
}

void add_reordering(std::vector<NamedCase>& cases, const bench::MeshFamily& family) {
  for (const bool by_profile : {false, true})
    for (const auto& [order, size] : {std::pair(1000, Size::kSmall), {10000, Size::kLarge}}) {
      const std::string name =
          std::string("gpskca/") + (by_profile ? "profile/" : "bandwidth/") + family.name + '/';
      const auto make = [&family, order = order, by_profile] {
        return std::make_unique<Reordering>(family, order, by_profile);
      };
      cases.push_back({name + std::to_string(order), size, make});
    }
}

}  // namespace

void add_dense_cases(std::vector<NamedCase>& cases) {
  for (const int n : {5, 20, 100}) add<Lu>(cases, "lu/" + std::to_string(n), Size::kSmall, n);
  add<Lu>(cases, "lu/500", Size::kLarge, 500);
  add<Arrow>(cases, "arrow/1000", Size::kSmall, 1000);
  add<Svd>(cases, "svd/50x10", Size::kSmall, 50, 10);
  add<Svd>(cases, "svd/300x100", Size::kLarge, 300, 100);
  const Acceleration::Make dominant = [](int n) -> std::unique_ptr<Accel> {
    return std::make_unique<DomEigenAccel>(n, 5, 1, 1, 1, 0);
  };
  const Acceleration::Make multiple = [](int n) -> std::unique_ptr<Accel> {
    return std::make_unique<MulDomEigenAccel>(n, 4, 0, 0, 0);
  };
  for (const int n : {10, 100, 1000}) {
    add<Acceleration>(cases, "dominant/" + std::to_string(n), Size::kSmall, n, dominant);
    add<Acceleration>(cases, "multiple/" + std::to_string(n), Size::kSmall, n, multiple);
  }
  add<Sort>(cases, "sort/1000", Size::kSmall, 1000);
  add<Sort>(cases, "sort/100000", Size::kLarge, 100000);
  add<Interpolation>(cases, "interpolator/1000", Size::kSmall, 1000);
  for (const bench::MeshFamily& family : bench::mesh_families())
    for (const char* name : {"random_cut", "nine_point", "cube_27"})
      if (std::string(name) == family.name) add_reordering(cases, family);
}

}  // namespace against

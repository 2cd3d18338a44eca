#include "sparse/ma48/ma48.h"

#include <gtest/gtest.h>

#include <limits>
#include <memory>
#include <string>

#include "frame/empty_value.h"
#include "host/corvid_host.h"
#include "tests/support/sparse_matrices.h"

using namespace reference;

namespace {

/// Hands a matrix over, or the matrices of a list in turn and then the last one again, and counts how often.
struct Loader : ma48callback {
  Coordinates matrix;
  std::vector<Coordinates> others;
  int loads = 0;

  explicit Loader(Coordinates a) : matrix(std::move(a)) {}
  unsigned char LoadMatrix(int* rows, int* cols, double* values, int ne) override {
    const auto turn = std::min<std::size_t>(loads++, others.size());
    const Coordinates& a = turn > 0 ? others[turn - 1] : matrix;
    std::copy_n(a.rows.begin(), ne, rows);
    std::copy_n(a.columns.begin(), ne, cols);
    std::copy_n(a.values.begin(), ne, values);
    return 1;
  }
};

/// Collects the lines of the trace.
class Ma48 : public testing::Test {
 protected:
  Ma48() {
    corvid_host::SetLineSink(
        [](void* lines, corvid_host::LineKind, const char* line) {
          static_cast<std::vector<std::string>*>(lines)->emplace_back(line);
        },
        &lines_);
    corvid_host::SetString("ma48_MSS", "MSS %d %d");
    for (const std::string key : {"PSF", "PSI", "MFF", "FSE"})
      corvid_host::SetString(("ma48_" + key).c_str(), (key + " %d").c_str());
  }
  ~Ma48() override { corvid_host::SetLineSink(nullptr); }

  /// The lines since the last call.
  std::vector<std::string> lines() { return std::exchange(lines_, {}); }

  static std::unique_ptr<ma48> solver(Loader& loader, int minLa = 0) {
    const Coordinates& a = loader.matrix;
    return std::make_unique<ma48>(a.n, a.entries(), nullptr, nullptr, nullptr, &loader, minLa);
  }
  static void expect_solves(ma48& solver, const Coordinates& a, Random& random) {
    Vector b = random_vector(a.n, random), x(b.size());
    const Vector given = b;
    EXPECT_EQ(solver.Solve(b.data(), x.data()), 1);
    EXPECT_EQ(b, given);
    EXPECT_LT(scaled_residual(a, x, b), 1e-12);
  }

  Random random_{31};

 private:
  std::vector<std::string> lines_;
};

using Lines = std::vector<std::string>;

TEST_F(Ma48, SolvesAgainWithNewValuesAndWithNewPivots) {
  Loader loader(shuffled(column_matrix(15, 4, random_), random_));
  const auto object = solver(loader);
  EXPECT_EQ(object->GetLa(), 4 * loader.matrix.entries());
  for (int pass = 0; pass < 3; ++pass) {
    expect_solves(*object, loader.matrix, random_);
    for (double& value : loader.matrix.values) value *= 1.0 + 0.1 * uniform(random_);
    std::copy(loader.matrix.values.begin(), loader.matrix.values.end(), object->Values());
  }
  const int before = loader.loads;
  object->SetNeedPivotOrder(1);
  expect_solves(*object, loader.matrix, random_);
  EXPECT_GT(loader.loads, before);
  EXPECT_EQ(lines(), Lines());
}

/// Bidiagonal, with a cycle through the first `cycle` nodes. The same entries for every cycle, but a longer
/// one needs more room: a full block, if the density limit is 0.
Coordinates with_cycle(int n, int cycle) {
  Coordinates a{n, n, {cycle}, {1}, {1.0}};
  for (int i = 1; i <= n; ++i) {
    a.add(i, i, 4.0);
    if (i > 1) a.add(i - 1, i, 1.0);
  }
  return a;
}

TEST_F(Ma48, GrowsNineTimesAtMost) {
  // The analysis: elimination to the end of what fills in whatever the order needs more than it may get.
  Loader filling(random_matrix(2000, 2000, 0.0015, random_));
  for (int i = 1; i <= 2000; ++i) filling.matrix.add(i, i, 4.0);
  const int ne = filling.matrix.entries();
  const auto analysing = solver(filling);
  analysing->SetControl1(2.0);
  Vector b(2000, 1.0), x(2000);
  EXPECT_EQ(analysing->Solve(b.data(), x.data()), 0);
  EXPECT_EQ(lines(), Lines{"PSF -3"});
  EXPECT_EQ(filling.loads, 10);
  EXPECT_EQ(analysing->GetLa(), 4 * ne + 9 * ne);
  // The factorisation: every load needs more than the one before, which is what the arrays get.
  for (const int changes : {0, 8, 9}) {
    Loader growing(with_cycle(100, 30));
    for (int k = 1; k <= changes; ++k) growing.others.push_back(with_cycle(100, 30 + 5 * k));
    const auto factorising = solver(growing);
    factorising->SetControl1(0.0);
    EXPECT_EQ(factorising->Solve(b.data(), x.data()), changes < 9);
    EXPECT_EQ(lines(), changes < 9 ? Lines() : Lines{"MFF -3"});
    EXPECT_EQ(growing.loads, changes < 9 ? changes + 2 : 10);
  }
}

TEST_F(Ma48, TellsThatTheGrownMatrixCannotBeAnalysed) {
  Loader loader(with_cycle(100, 30));
  loader.others.push_back(with_cycle(100, 30));
  loader.others[0].rows[1] = loader.others[0].columns[1] = 2;  // given twice now
  const auto object = solver(loader);
  object->SetControl1(0.0);
  Vector b(100, 1.0), x(100);
  EXPECT_EQ(object->Solve(b.data(), x.data()), 0);
  EXPECT_EQ(lines(), Lines{"PSI 1"});
  EXPECT_EQ(loader.loads, 2);
}

TEST_F(Ma48, TellsWhyItFails) {
  struct Case {
    const char* name;
    Coordinates matrix;
    Lines first, second;  // what a Solve traces, and the next one without a new pivot order
  };
  const Case cases[] = {
      {"structurally singular", {2, 2, {1, 2}, {1, 1}, {1.0, 1.0}}, {"MSS 2 1"}, {"MFF -7"}},
      {"duplicate", {2, 2, {1, 2, 2}, {1, 2, 2}, {1.0, 1.0, 1.0}}, {"PSF 1"}, {}},
      {"out of range", {2, 2, {1, 2, 3}, {1, 2, 2}, {1.0, 1.0, 1.0}}, {"PSF 1"}, {}},
      {"rank deficient", {2, 2, {1, 2, 1, 2}, {1, 1, 2, 2}, {1.0, 1.0, 1.0, 1.0}}, {"MFF 2"}, {"MFF 2"}},
      {"no entries", {2, 2, {}, {}, {}}, {"PSF -2"}, {"MFF -7"}},
      {"no order", {0, 0, {1}, {1}, {1.0}}, {"PSF -1"}, {"MFF -7"}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    Loader loader(c.matrix);
    const auto object = solver(loader);
    double b[] = {1.0, 2.0}, x[] = {0.0, 0.0}, *vectors[] = {b};
    unsigned char flags[] = {1};
    EXPECT_EQ(object->Solve(b, x), 0);
    EXPECT_EQ(lines(), c.first);
    if (object->NElements() > 0) std::copy_n(c.matrix.values.begin(), object->NElements(), object->Values());
    EXPECT_EQ(object->Solve(1, vectors, flags, 0, x), c.second.empty());
    EXPECT_EQ(lines(), c.second);
    EXPECT_EQ(object->Solve(1, vectors, flags, 2, x), c.second.empty());
    EXPECT_EQ(lines(), Lines());
  }
}

TEST_F(Ma48, TakesSeveralRightHandSides) {
  Loader loader(flowsheet_matrix(8, 4, random_));
  const Coordinates& a = loader.matrix;
  const auto object = solver(loader);
  Vector first = random_vector(a.n, random_), second = first, third = first, scratch(first.size(), 7.0);
  const Vector b = first;
  double* vectors[] = {first.data(), second.data(), third.data()};
  unsigned char flags[] = {1, 2, 1}, none[] = {0, 0, 0};
  // Nothing is there to solve with.
  EXPECT_EQ(object->Solve(3, vectors, flags, 2, nullptr), 0);
  EXPECT_EQ(lines(), Lines{"FSE -7"});
  EXPECT_EQ(object->Solve(3, vectors, flags, 3, nullptr), 0);
  EXPECT_EQ(object->Solve(0, vectors, flags, 0, nullptr), 0);
  EXPECT_EQ(object->Solve(3, vectors, none, 2, nullptr), 1);
  std::copy(a.values.begin(), a.values.end(), object->Values());
  EXPECT_EQ(object->Solve(0, nullptr, nullptr, 1, nullptr), 1);
  EXPECT_EQ(first, b);
  EXPECT_EQ(object->Solve(1, vectors, flags, 2, scratch.data()), 1);
  EXPECT_EQ(first, b);  // one vector with a scratch: the solution stays there
  EXPECT_LT(scaled_residual(a, scratch, b), 1e-12);
  EXPECT_EQ(object->Solve(3, vectors, flags, 2, nullptr), 1);
  EXPECT_EQ(first, scratch);
  EXPECT_EQ(second, b);
  EXPECT_EQ(third, scratch);
  EXPECT_EQ(lines(), Lines());
}

TEST_F(Ma48, KnowsWhatItMayReuse) {
  Loader loader(shuffled(flowsheet_matrix(6, 4, random_), random_));
  Coordinates a = loader.matrix;
  const auto object = solver(loader);
  const auto reusable = [&](int ne, int n, unsigned char check) {
    return object->IsReusable(a.rows.data(), a.columns.data(), ne, n, check);
  };
  EXPECT_EQ(reusable(a.entries(), a.n, 1), 0);  // not analysed
  EXPECT_EQ(reusable(a.entries(), a.n, 2), 1);
  expect_solves(*object, loader.matrix, random_);
  EXPECT_EQ(reusable(a.entries(), a.n, 1), 1);
  EXPECT_EQ(reusable(a.entries() - 1, a.n, 2), 0);
  EXPECT_EQ(reusable(a.entries(), a.n + 1, 2), 0);
  EXPECT_EQ(object->IsReusable(a.rows.data(), nullptr, a.entries(), a.n, 2), 0);
  std::swap(a.columns[0], a.columns[1]);
  EXPECT_EQ(reusable(a.entries(), a.n, 1), 1);  // columns are not compared
  a.rows[2] = a.rows[2] % a.n + 1;
  EXPECT_EQ(reusable(a.entries(), a.n, 1), 0);
  a.rows[2] = std::numeric_limits<int>::max();
  EXPECT_EQ(reusable(a.entries(), a.n, 1), 0);
}

TEST_F(Ma48, LengthsAndElements) {
  Loader loader(banded_matrix(5, 1, 1, random_));
  const int ne = loader.matrix.entries();
  ma48 object(5, ne, loader.matrix.rows.data(), nullptr, loader.matrix.values.data(), &loader, 100);
  EXPECT_EQ(object.GetLa(), 100);
  EXPECT_EQ(object.Size(), 5);
  EXPECT_EQ(object.NElements(), ne);
  EXPECT_TRUE(std::equal(loader.matrix.rows.begin(), loader.matrix.rows.end(), object.RowPtr()));
  EXPECT_EQ(object.ColPtr()[0], 0);
  for (const int i : {-1, 57, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()})
    EXPECT_EQ(object.Keep(i), EmptyValueInt);
  EXPECT_EQ(object.Keep(56), 0);
  EXPECT_EQ(object.SetLa(ne - 1), 0);
  EXPECT_EQ(object.GetLa(), 100);
  EXPECT_EQ(loader.loads, 0);
  EXPECT_EQ(object.SetLa2(100), 1);
  EXPECT_EQ(object.GetLa(), 100 + ne);
  EXPECT_EQ(object.SetLa2(500), 1);
  EXPECT_EQ(object.GetLa(), 500);
  expect_solves(object, loader.matrix, random_);
  EXPECT_EQ(object.SetLa(400), 1);
  Vector b(5), x(5);
  EXPECT_EQ(object.Solve(b.data(), x.data()), 0);  // the analysis is lost with the arrays
  EXPECT_EQ(lines(), Lines{"MFF -7"});
  object.SetNeedPivotOrder(1);
  expect_solves(object, loader.matrix, random_);
  corvid_host::FailAllocationsFrom(1);
  EXPECT_EQ(object.SetLa(0x7ffffff8), 0);
  EXPECT_EQ(object.SetLa2(0), 0);
  corvid_host::StopFailing();
  EXPECT_EQ(object.GetLa(), 0x7ffffffe);  // and no further
  object.SetCallBack(nullptr);
  EXPECT_EQ(object.Solve(b.data(), x.data()), 0);
  EXPECT_EQ(object.SetLa(400), 0);
  EXPECT_EQ(lines(), Lines());
}

TEST_F(Ma48, OutlivesRefusedMemory) {
  Loader loader(flowsheet_matrix(8, 4, random_));
  const Coordinates& a = loader.matrix;
  const std::int64_t blocks = corvid_host::LiveBlocks();
  Vector b(static_cast<std::size_t>(a.n), 1.0), x = b;
  for (int refused = 1; refused <= 12; ++refused) {
    SCOPED_TRACE(refused);
    corvid_host::FailAllocationsFrom(refused);
    ma48 object(a.n, a.entries(), nullptr, nullptr, nullptr, &loader, 0);
    const bool complete = refused > 6;
    if (!complete) {
      EXPECT_EQ(object.Solve(b.data(), x.data()), 0);
    }
    corvid_host::StopFailing();
    expect_solves(object, a, random_);  // not asked for a new pivot order: it has none
    if (complete) {
      corvid_host::FailAllocationsFrom(refused - 6);
      EXPECT_EQ(object.SetLa2(0), refused > 9);
      corvid_host::StopFailing();
      object.SetNeedPivotOrder(1);
      expect_solves(object, a, random_);
    }
  }
  lines();
  Loader full(low_rank_matrix(30, 30, 30, random_));
  for (int refused = 7; refused <= 9; ++refused) {
    // Too little room for dense factors, and a growth that is refused.
    ma48 object(30, 900, nullptr, nullptr, nullptr, &full, 0);
    object.SetLa(1800);
    corvid_host::FailAllocationsFrom(refused - 6);
    EXPECT_EQ(object.Solve(b.data(), x.data()), 0);
    corvid_host::StopFailing();
    EXPECT_EQ(lines().size(), 1u);
  }
  EXPECT_EQ(corvid_host::LiveBlocks(), blocks);
}

/// No operation of the class uses CNTL(5), so the object itself is looked at.
TEST_F(Ma48, HoldsItsControlsInTheirOrder) {
  Loader loader(banded_matrix(5, 1, 1, random_));
  const auto object = solver(loader);
  const double controls[] = {0.75, 0.3, 1e-20, 1e-30, 0.625};
  object->SetControl1(controls[0]);
  object->SetControl2(controls[1]);
  object->SetControl3(controls[2]);
  object->SetControl4(controls[3]);
  object->SetControl5(controls[4]);
  const auto* const bytes = reinterpret_cast<const unsigned char*>(object.get());
  const auto* const wanted = reinterpret_cast<const unsigned char*>(controls);
  EXPECT_NE(std::search(bytes, bytes + sizeof(ma48), wanted, wanted + sizeof controls), bytes + sizeof(ma48));
}

TEST_F(Ma48, AssignmentSharesTheArrays) {
  Loader loader(flowsheet_matrix(8, 4, random_));
  const auto object = solver(loader);
  expect_solves(*object, loader.matrix, random_);
  // Never destroyed, since both own the same arrays then; without memory it has none to abandon.
  alignas(ma48) unsigned char place[sizeof(ma48)];
  corvid_host::FailAllocationsFrom(1);
  ma48* const other = new (place) ma48(1, 1, nullptr, nullptr, nullptr, nullptr, 0);
  corvid_host::StopFailing();
  *other = *object;
  EXPECT_EQ(other->RowPtr(), object->RowPtr());
  EXPECT_EQ(other->Size(), object->Size());
  std::copy(loader.matrix.values.begin(), loader.matrix.values.end(), object->Values());
  expect_solves(*other, loader.matrix, random_);
}

}  // namespace

// Class ma48: its calls in any order, with callbacks that fail or load other values, and with the arrays of
// entries altered between the calls. A tame history gives sound values, and what it solves must have a small
// residual.

#include "sparse/ma48/ma48.h"

#include <algorithm>
#include <vector>

#include "fuzz/bytes.h"
#include "fuzz/guarded_array.h"
#include "fuzz/sparse_entries.h"
#include "host/corvid_host.h"

namespace {

using fuzz::Bytes, fuzz::Doubles, fuzz::guarded, fuzz::Ints, fuzz::require;

constexpr int kLongest = 40000;  // longer arrays are no different, but cost time
constexpr double kThreshold = 0.1;

std::size_t length(int count) { return static_cast<std::size_t>(std::max(count, 0)); }

class Driver : public ma48callback {
 public:
  explicit Driver(Bytes& bytes)
      : bytes_(bytes),
        tame_(bytes.flag()),
        n_(bytes.below(16) == 0 ? bytes.between(tame_ ? 1 : -1, 60) : bytes.between(1, 9)),
        given_(fuzz::read_entries(bytes, n_, n_, tame_)),
        told_(!tame_ && bytes.below(16) == 0 ? bytes.between(-1, 100) : given_.count()) {}

  void run() {
    const Ints rows = guarded(given_.row), columns = guarded(given_.column);
    const Doubles values = guarded(given_.value);
    const bool whole = told_ <= given_.count() && bytes_.flag();  // else the arrays would be too short
    ma48 solver(n_, told_, whole ? rows.data() : nullptr, whole ? columns.data() : nullptr,
                whole ? values.data() : nullptr, tame_ || bytes_.below(16) != 0 ? this : nullptr,
                bytes_.between(-1, 400));
    require(solver.Size() == n_ && solver.NElements() == told_, "sizes are told as they were given");
    for (int steps = 0; bytes_.left() && steps < 30; ++steps) step(solver);
  }

  /// Writes only what the object has told that there is room for.
  unsigned char LoadMatrix(int* rows, int* columns, double* values, int ne) override {
    require(ne == told_ && rows && columns && values, "the callback gets arrays for all entries");
    for (std::size_t k = 0; k < length(ne); ++k) {
      const bool known = k < given_.value.size();
      rows[k] = known ? given_.row[k] : 1;
      columns[k] = known ? given_.column[k] : 1;
      values[k] = known ? given_.value[k] : 1.0;
    }
    return tame_ || bytes_.below(8) != 1;
  }

 private:
  void step(ma48& solver) {
    switch (bytes_.below(10)) {
      case 0:
      case 1:
        solve_one(solver);
        break;
      case 2:
        solve_several(solver);
        break;
      case 3:
        solver.SetNeedPivotOrder(static_cast<unsigned char>(bytes_.below(3)));
        break;
      case 4:
        set_length(solver);
        break;
      case 5:
        set_control(solver);
        break;
      case 6:
        alter_a_word(solver);
        break;
      case 7:
        ask(solver);
        break;
      case 8:
        if (!tame_) solver.SetCallBack(bytes_.below(4) == 0 ? nullptr : this);
        break;
      default:
        fuzz::change_values(bytes_, given_, tame_);
    }
  }

  /// A Solve that keeps its pivot order takes the values from here.
  void give_values(ma48& solver) {
    if (solver.Values() && length(solver.GetLa()) >= given_.value.size())
      std::copy(given_.value.begin(), given_.value.end(), solver.Values());
  }

  Doubles right_hand_side() {
    Doubles b(length(n_));
    for (double& element : b) element = bytes_.number(tame_);
    return b;
  }

  void expect_solution(const Doubles& x, const std::vector<double>& b) {
    if (tame_)
      require(fuzz::solves(given_, x.data(), b.data(), false, fuzz::growth_bound(n_, kThreshold)),
              "the residual of a tame solution is small");
  }

  void solve_one(ma48& solver) {
    if (tame_ || bytes_.flag()) give_values(solver);
    Doubles b = right_hand_side(), x(length(n_));
    const std::vector<double> before = b.copy();
    const bool solved = solver.Solve(b.data(), x.data()) != 0;
    require(std::equal(before.begin(), before.end(), b.begin(), fuzz::same_bits),
            "the right-hand side is left unchanged");
    if (solved) expect_solution(x, before);
  }

  void solve_several(ma48& solver) {
    const int count = bytes_.below(4), mode = tame_ ? bytes_.below(2) : bytes_.between(-1, 3);
    if (tame_ || bytes_.flag()) give_values(solver);
    std::vector<Doubles> vectors;
    std::vector<std::vector<double>> given;
    fuzz::GuardedArray<double*> pointers(length(count));
    fuzz::GuardedArray<unsigned char> flags(length(count));
    for (std::size_t i = 0; i < length(count); ++i) {
      vectors.push_back(right_hand_side());
      given.push_back(vectors.back().copy());
      pointers[i] = vectors.back().data();
      flags[i] = static_cast<unsigned char>(bytes_.below(3));
    }
    Doubles scratch(length(n_));
    const bool own_scratch = bytes_.flag();
    const bool done = solver.Solve(static_cast<unsigned int>(count), pointers.data(), flags.data(), mode,
                                   own_scratch ? scratch.data() : nullptr) != 0;
    if (!done || mode != 0) return;
    for (std::size_t i = 0; i < length(count); ++i) {
      if (flags[i] == 1) {
        expect_solution(own_scratch && count == 1 ? scratch : vectors[i], given[i]);
      } else {
        require(std::equal(given[i].begin(), given[i].end(), vectors[i].begin(), fuzz::same_bits),
                "a vector without a flag is left unchanged");
      }
    }
  }

  void set_length(ma48& solver) {
    const int lengths[] = {bytes_.between(-1, 400), told_, told_ - 1, solver.GetLa() + 1, solver.GetLa()};
    const int wanted = bytes_.one_of(lengths);
    if (wanted > kLongest || solver.GetLa() > kLongest) return;
    const bool twice = bytes_.flag();
    const bool done = (twice ? solver.SetLa2(wanted) : solver.SetLa(wanted)) != 0;
    require(!done || solver.GetLa() >= told_, "all entries have room behind a change of the length");
  }

  void set_control(ma48& solver) {
    const double value = tame_ ? bytes_.below(11) / 10.0 : bytes_.number();
    switch (tame_ ? 0 : bytes_.below(5)) {
      case 0:
        solver.SetControl1(value);
        break;
      case 1:
        solver.SetControl2(value);
        break;
      case 2:
        solver.SetControl3(value);
        break;
      case 3:
        solver.SetControl4(value);
        break;
      default:
        solver.SetControl5(value);
    }
  }

  void alter_a_word(ma48& solver) {
    const int la = solver.GetLa();
    if (tame_ || la < 1 || !solver.RowPtr() || !solver.ColPtr() || !solver.Values()) return;
    const auto at = length(bytes_.below(std::min(la, 65536)));
    switch (bytes_.below(3)) {
      case 0:
        solver.RowPtr()[at] = bytes_.integer();
        break;
      case 1:
        solver.ColPtr()[at] = bytes_.integer();
        break;
      default:
        solver.Values()[at] = bytes_.number();
    }
  }

  void ask(ma48& solver) {
    solver.Keep(bytes_.integer());
    const Ints rows = guarded(given_.row), columns = guarded(given_.column);
    const auto check = static_cast<unsigned char>(bytes_.below(3));
    const bool fits = solver.IsReusable(rows.data(), columns.data(), given_.count(), n_, check) != 0;
    require(!fits || given_.count() == told_, "no analysis fits a matrix with more entries");
    require(!solver.IsReusable(rows.data(), columns.data(), given_.count(), n_ + 1, check),
            "no analysis fits a matrix of another order");
  }

  Bytes& bytes_;
  const bool tame_;
  const int n_;
  fuzz::Entries given_;
  const int told_;  // entries
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::int64_t blocks = corvid_host::LiveBlocks();
  Bytes bytes(data, size);
  Driver(bytes).run();
  require(corvid_host::LiveBlocks() == blocks, "all memory is given back");
  return 0;
}

// The accelerators and FixedPoint: operations in any order on any vectors. FixedPoint must keep its bounds,
// and an iteration that is saved and restored must go on to the same bits.

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <vector>

#include "accel/corvidnum_fixed_point.h"
#include "accel/dom_eigen_accel.h"
#include "accel/fixed_point.h"
#include "accel/mul_dom_eigen_accel.h"
#include "fuzz/bytes.h"
#include "fuzz/guarded_array.h"
#include "host/corvid_host.h"

namespace {

using corvidnum::FixedPoint, corvidnum::FixedPointOptions, corvidnum::FixedPointVerdict;
using fuzz::Bytes, fuzz::Doubles, fuzz::require;
using Vector = std::vector<double>;

std::size_t length(int count) { return static_cast<std::size_t>(std::max(count, 0)); }

bool same(const Vector& a, const Doubles& b) {
  return std::equal(a.begin(), a.end(), b.begin(), fuzz::same_bits);
}

/// The map of a linear iteration, whose eigenvalues lie between -1.2 and 1.2 or so.
class Map {
 public:
  Map(Bytes& bytes, int unknowns, bool tame) : bytes_(bytes), tame_(tame), factors_(length(unknowns)) {
    for (double& factor : factors_) factor = bytes.between(-12, 12) / 10.0;
    coupling_ = bytes.below(3) / 10.0;
  }
  void apply(Doubles& x) {
    double carried = 0;
    for (std::size_t i = 0; i < x.size(); ++i) carried = x[i] = factors_[i] * x[i] + coupling_ * carried + 1;
    if (!tame_ && x.size() > 0 && bytes_.below(8) == 1) x[length(bytes_.below(x.length()))] = bytes_.number();
  }

 private:
  Bytes& bytes_;
  bool tame_;
  Vector factors_;
  double coupling_;
};

// ---- The bare accelerators.

void attack_accelerator(Bytes& bytes, Accel& accel, bool cached, int ring) {
  const int unknowns = std::max(accel.NumVar(), 0);
  Map map(bytes, unknowns, false);
  Doubles x(length(unknowns));
  x.fill(1.0);
  std::vector<std::unique_ptr<Doubles>> arrays;
  std::vector<double*> list;
  for (int k = 0; k < ring + 6; ++k) {
    arrays.push_back(std::make_unique<Doubles>(length(unknowns)));
    list.push_back(arrays.back()->data());
  }
  for (int steps = 0; bytes.left() && steps < 60; ++steps) {
    switch (bytes.below(14)) {
      case 0:
        accel.Reset();
        break;
      case 1:
        accel.UndoAndReset(x.data());
        break;
      case 2:
        accel.StartingIteration(bytes.integer());
        break;
      case 3:
        accel.MaxAccelFrequency(bytes.integer());
        break;
      case 4:
        accel.setProjectTol(bytes.number());
        break;
      case 5:
        accel.SetNoiseTolerance(bytes.number());
        break;
      case 6:
        if (cached) accel.UseCachedArrays(list.data(), bytes.between(-1, static_cast<int>(list.size())), 0);
        break;
      case 7:
        if (cached) accel.StopUsingCachedArrays();
        break;
      default: {
        map.apply(x);
        const Vector before = x.copy();
        if (accel.Accelerate(x.data()) == 0)
          require(same(before, x), "x is unchanged where no step is taken");
      }
    }
  }
}

void attack_dominant(Bytes& bytes) {
  const int unknowns = bytes.between(-1, 6), ring = bytes.between(-1, 6);
  const auto flag = [&bytes] { return static_cast<unsigned char>(bytes.flag()); };
  const unsigned char check_values = flag(), check_pred = flag(), conservative = flag(), cached = flag();
  DomEigenAccel accel(unknowns, ring, check_values, check_pred, conservative, cached);
  attack_accelerator(bytes, accel, cached != 0, std::max(ring, 0));
}

void attack_multiple(Bytes& bytes) {
  const int unknowns = bytes.between(-1, 6), eigenvalues = bytes.between(-1, 6), ring = bytes.between(-1, 9);
  MulDomEigenAccel accel(unknowns, eigenvalues, ring, 0, 0);
  attack_accelerator(bytes, accel, false, 0);
}

// ---- FixedPoint.

struct Bounds {
  Doubles nominal, lower, upper;
  explicit Bounds(std::size_t n) : nominal(n), lower(n), upper(n) {}
};

FixedPointOptions read_options(Bytes& bytes, Bounds& bounds, bool tame) {
  FixedPointOptions options;
  options.pass_limit = 40;
  for (int settings = bytes.below(5); settings > 0; --settings) {
    const corvidnum::FixedPointOption& option = *FixedPoint::Option(bytes.below(FixedPoint::OptionCount()));
    double value = bytes.flag() ? bytes.between(0, 40) : bytes.number(tame);
    if (bytes.flag()) value = bytes.flag() ? option.lowest : option.standard;
    FixedPoint::SetOption(options, option.name, value);
  }
  if (bytes.below(3) == 1) {
    for (double& size : bounds.nominal) size = tame ? 1 + bytes.below(5) : bytes.number();
    options.nominal = bounds.nominal.data();
  }
  if (bytes.below(3) == 1) {
    for (std::size_t i = 0; i < bounds.lower.size(); ++i) {
      bounds.lower[i] = bytes.number(tame);
      bounds.upper[i] = tame ? bounds.lower[i] + bytes.below(20) : bytes.number();
    }
    options.lower = bounds.lower.data(), options.upper = bounds.upper.data();
  }
  constexpr int kMostRecords = 1000;  // the account takes memory, and a saved state time
  options.account_length = std::min(options.account_length, kMostRecords);
  return options;
}

void expect_within(const FixedPointOptions& options, const Doubles& x) {
  if (!options.lower) return;
  for (std::size_t i = 0; i < x.size(); ++i)
    require(x[i] >= options.lower[i] && x[i] <= options.upper[i],
            "what is handed out lies within the bounds");
}

/// Saves into a second object, which must do the same as the first one with the next pass.
void save_and_restore(Bytes& bytes, FixedPoint& iteration, const FixedPointOptions& options, Map& map) {
  fuzz::GuardedArray<char> state(static_cast<std::size_t>(iteration.StateSize()));
  if (!iteration.Save(state.data(), iteration.StateSize())) return;
  FixedPoint other(iteration.Unknowns(), options);
  if (bytes.below(4) == 1 && state.size() > 0) {
    state[length(bytes.below(static_cast<int>(std::min<std::size_t>(state.size(), 65536))))] ^=
        static_cast<char>(1 << bytes.below(8));
    require(!other.Restore(state.data(), iteration.StateSize()), "a damaged state is refused");
    return;
  }
  require(!other.Restore(state.data(), iteration.StateSize() - 1), "a state that is cut is refused");
  require(other.Restore(state.data(), iteration.StateSize()), "a saved state is taken");
  require(other.Verdict() == iteration.Verdict(), "the verdict is restored");
  const std::size_t n = length(iteration.Unknowns());
  Doubles x(n), y(n);
  if (!iteration.Next(x.data())) return;
  require(other.Next(y.data()) && same(x.copy(), y), "the vector to evaluate is restored");
  map.apply(x);
  std::copy(x.begin(), x.end(), y.begin());
  const FixedPointVerdict verdict = iteration.Pass(x.data());
  require(other.Pass(y.data()) == verdict && same(x.copy(), y),
          "a restored iteration goes on to the same bits");
}

void attack_fixed_point(Bytes& bytes) {
  const bool tame = bytes.flag();
  const int unknowns = bytes.between(tame ? 1 : -1, 8);
  Bounds bounds(length(unknowns));
  const FixedPointOptions options = read_options(bytes, bounds, tame);
  FixedPoint iteration(unknowns, options);
  Map map(bytes, unknowns, tame);
  Doubles x(length(unknowns));
  for (double& element : x) element = bytes.number(tame);
  FixedPointVerdict verdict = bytes.below(16) == 1 ? iteration.Verdict() : iteration.Start(x.data());
  for (int passes = 0; passes < 80 && (bytes.left() || passes < 30); ++passes) {
    if (verdict == FixedPointVerdict::Continue) expect_within(options, x);
    const int kind = bytes.below(16);
    if (kind == 1) {
      verdict = iteration.Discard(x.data());
    } else if (kind == 2) {
      save_and_restore(bytes, iteration, options, map);
      verdict = iteration.Verdict();
      iteration.Next(x.data());
    } else {
      if (kind == 3 && bytes.flag()) verdict = iteration.Start(x.data());
      map.apply(x);
      const FixedPointVerdict before = iteration.Verdict();
      verdict = iteration.Pass(x.data());
      require(before == FixedPointVerdict::Continue || verdict == before,
              "a verdict other than Continue stays");
    }
    require(static_cast<int>(verdict) >= 0 && verdict <= FixedPointVerdict::BadInput,
            "a verdict is one of eight");
  }
  double real[4], imaginary[4];
  iteration.Eigenvalues(real, imaginary, 4);
  corvidnum::FixedPointRecord record;
  for (int age = -1; age <= iteration.Records(); ++age)
    require(iteration.Record(age, record) == (age >= 0 && age < iteration.Records()),
            "as many records as told");
}

// ---- The C interface of FixedPoint, beside the class.

void apply_settings(corvidnum_fixed_point* handle, const FixedPointOptions& options) {
  for (int i = 0; i < FixedPoint::OptionCount(); ++i) {
    const char* const name = FixedPoint::Option(i)->name;
    const double value = FixedPoint::GetOption(options, name);
    require(corvidnum_fixed_point_set(handle, name, value) == 1 &&
                fuzz::same_bits(corvidnum_fixed_point_get(handle, name), value),
            "the C interface takes the options of the class");
  }
  require(corvidnum_fixed_point_set_nominal(handle, options.nominal) == 1, "sizes are copied");
  require(corvidnum_fixed_point_set_bounds(handle, options.lower, options.upper) == 1, "bounds are copied");
}

void ask(Bytes& bytes, corvidnum_fixed_point* handle, const FixedPoint& iteration) {
  const int capacity = bytes.between(-1, 20);
  fuzz::GuardedArray<char> text(length(capacity));
  corvidnum_fixed_point_text(bytes.integer(), text.data(), capacity);
  corvidnum_fixed_point_option(bytes.integer(), text.data(), capacity, nullptr, nullptr, nullptr);
  require(capacity < 1 || std::find(text.begin(), text.end(), '\0') != text.end(), "a text has an end");
  Doubles real(length(capacity)), imaginary(length(capacity));
  require(corvidnum_fixed_point_eigenvalues(handle, real.data(), imaginary.data(), capacity) ==
              iteration.Eigenvalues(real.data(), imaginary.data(), capacity),
          "class and C interface know the same eigenvalues");
  corvidnum::FixedPointRecord record;
  const int age = bytes.integer();
  std::int64_t passes = -1, pass = -1;
  require((corvidnum_fixed_point_record(handle, age, &pass, nullptr, nullptr, nullptr, nullptr, nullptr,
                                        nullptr) != 0) == iteration.Record(age, record),
          "class and C interface have the same records");
  corvidnum_fixed_point_counts(handle, &passes, nullptr, nullptr, nullptr);
  require(passes == iteration.Counts().passes, "class and C interface count the same passes");
}

void attack_c_interface(Bytes& bytes) {
  const bool tame = bytes.flag();
  const int unknowns = bytes.between(tame ? 1 : -1, 8);
  Bounds bounds(length(unknowns));
  const FixedPointOptions options = read_options(bytes, bounds, tame);
  FixedPoint iteration(unknowns, options);
  corvidnum_fixed_point* const handle = corvidnum_fixed_point_create(unknowns);
  apply_settings(handle, options);
  Doubles x(length(unknowns)), y(length(unknowns));
  if (bytes.flag()) ask(bytes, bytes.flag() ? nullptr : handle, FixedPoint(0, options));
  for (double& element : x) element = bytes.number(tame);
  std::copy(x.begin(), x.end(), y.begin());
  int verdict = static_cast<int>(iteration.Start(x.data()));
  require(corvidnum_fixed_point_start(handle, y.data()) == verdict, "both start alike");
  Map map(bytes, unknowns, tame);
  for (int steps = 0; steps < 60 && (bytes.left() || steps < 20); ++steps) {
    require(same(x.copy(), y), "class and C interface hand out the same bits");
    const int kind = bytes.below(16);
    if (kind == 1) {
      verdict = static_cast<int>(iteration.Discard(x.data()));
      require(corvidnum_fixed_point_discard(handle, y.data()) == verdict, "both discard alike");
    } else if (kind == 2) {
      fuzz::GuardedArray<char> state(static_cast<std::size_t>(corvidnum_fixed_point_state_size(handle)));
      const auto size = static_cast<std::int64_t>(state.size());
      require(corvidnum_fixed_point_save(handle, state.data(), size - 1) == 0, "too little room is refused");
      if (corvidnum_fixed_point_save(handle, state.data(), size) != 0)
        require(corvidnum_fixed_point_restore(handle, state.data(), size) == 1, "a saved state is taken");
    } else if (kind == 3) {
      ask(bytes, handle, iteration);
    } else {
      map.apply(x);
      std::copy(x.begin(), x.end(), y.begin());
      verdict = static_cast<int>(iteration.Pass(x.data()));
      require(corvidnum_fixed_point_pass(handle, y.data()) == verdict, "both pass alike");
    }
  }
  corvidnum_fixed_point_destroy(handle);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::int64_t blocks = corvid_host::LiveBlocks();
  Bytes bytes(data, size);
  switch (bytes.below(5)) {
    case 0:
      attack_dominant(bytes);
      break;
    case 1:
      attack_multiple(bytes);
      break;
    case 4:
      attack_c_interface(bytes);
      break;
    default:
      attack_fixed_point(bytes);
  }
  require(corvid_host::LiveBlocks() == blocks, "all memory is given back");
  return 0;
}

#include "bench/sparse/process_matrices.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <random>
#include <vector>

namespace bench {
namespace {

using reference::Coordinates;
using Vector = std::vector<double>;

/// Random numbers that do not depend on the standard library's distributions.
class Numbers {
 public:
  explicit Numbers(std::uint64_t seed) : engine_(seed) {}

  double between(double low, double high) {
    return low + (high - low) * static_cast<double>(engine_() >> 11) * 0x1p-53;
  }
  int below(int count) { return static_cast<int>(engine_() % static_cast<std::uint64_t>(count)); }
  bool chance(double probability) { return between(0.0, 1.0) < probability; }

 private:
  std::mt19937_64 engine_;
};

/// Quantities of a state: each is drawn once for all steps, and then moved a little by the step.
class State {
 public:
  explicit State(int step) : common_(1), own_(static_cast<std::uint64_t>(step) + 2) {}

  double between(double low, double high) {
    return common_.between(low, high) * (1.0 + own_.between(-0.02, 0.02));
  }

 private:
  Numbers common_, own_;
};

/// Properties of component `i` of `count`, the lightest first. Temperatures in K; energies in units of 30
/// kJ/mol, about a heat of evaporation, so that all equations are of like size.
class Component {
 public:
  Component(int i, int count)
      : boiling_point_(300.0 + 140.0 * i / count),
        liquid_heat_((0.12 + 0.01 * i) / kEnergyUnit),
        vapour_heat_((0.08 + 0.008 * i) / kEnergyUnit),
        evaporation_(0.088 * boiling_point_ / kEnergyUnit) {}

  double k(double t) const { return std::exp(kTrouton * (1.0 - boiling_point_ / t)); }
  double k_slope(double t) const { return k(t) * kTrouton * boiling_point_ / (t * t); }
  double heat(bool vapour) const { return vapour ? vapour_heat_ : liquid_heat_; }
  double enthalpy(bool vapour, double t) const {
    return heat(vapour) * (t - kZero) + (vapour ? evaporation_ : 0.0);
  }

 private:
  static constexpr double kTrouton = 10.5, kZero = 298.15, kEnergyUnit = 30.0;

  double boiling_point_, liquid_heat_, vapour_heat_, evaporation_;
};

std::vector<Component> components_of(int count) {
  std::vector<Component> result;
  for (int i = 0; i < count; ++i) result.emplace_back(i, count);
  return result;
}

// ---- Column

struct Stage {
  Vector x;
  double temperature, liquid, draw, vapour;  // flows that leave; the draw is liquid too
};

class Column {
 public:
  Column(int components, int stages, int step);
  Coordinates jacobian();

 private:
  double bubble_point(const Vector& x) const;
  void balance(int j, int i);
  void summation(int j);
  void energy(int j);

  int fraction(int i, int j) const { return j * (count_ + 2) + i + 1; }
  int temperature(int j) const { return j * (count_ + 2) + count_ + 1; }
  int vapour(int j) const { return j * (count_ + 2) + count_ + 2; }
  const Stage& stage(int j) const { return stages_[static_cast<std::size_t>(j)]; }
  const Component& component(int i) const { return components_[static_cast<std::size_t>(i)]; }
  double x(int i, int j) const { return stage(j).x[static_cast<std::size_t>(i)]; }
  double k(int i, int j) const { return component(i).k(stage(j).temperature); }
  double k_slope(int i, int j) const { return component(i).k_slope(stage(j).temperature); }
  double enthalpy(bool of_vapour, int j) const;        // of 1 mol of liquid or vapour
  double enthalpy_slope(bool of_vapour, int j) const;  // by the temperature

  const int count_, last_;
  const std::vector<Component> components_;
  std::vector<Stage> stages_;
  Coordinates a_;
};

// Flows per feed. Each section of stages has a feed and a draw of its own, like a column with side products:
// without them a component of middle volatility could not leave a column of that many stages.
constexpr double kDistillate = 0.5, kSideFlow = 0.3;
constexpr int kSection = 10, kSideFeed = 4, kSideDraw = 9;

/// Returns by how much the liquid exceeds the rising vapour below stage `j`, as the feeds and products above
/// make it.
double excess_liquid(int j, int stages) {
  const int place = j % kSection;
  return (2 * j < stages ? 0.0 : 1.0) - kDistillate +
         (kSideFeed <= place && place < kSideDraw ? kSideFlow : 0.0);
}

Column::Column(int components, int stages, int step)
    : count_(components),
      last_(stages - 1),
      components_(components_of(components)),
      a_{stages * (components + 2), stages * (components + 2), {}, {}, {}} {
  State state(step);
  for (int j = 0; j < stages; ++j) {
    Stage s = {Vector(static_cast<std::size_t>(components)), 0.0, 0.0, 0.0, state.between(1.6, 2.0)};
    double sum = 0.0;
    for (int i = 0; i < components; ++i) {
      const double distance = double(j) / stages - double(i) / components;
      double& value = s.x[static_cast<std::size_t>(i)];
      sum += value = std::exp(-10.0 * distance * distance) * state.between(0.9, 1.1);
    }
    for (double& value : s.x) value /= sum;
    s.temperature = bubble_point(s.x);
    stages_.push_back(s);
  }
  stages_[0].vapour = kDistillate;
  for (int j = 0; j < last_; ++j) {
    Stage& s = stages_[static_cast<std::size_t>(j)];
    s.liquid = stage(j + 1).vapour + excess_liquid(j, stages);
    s.draw = j % kSection == kSideDraw ? kSideFlow : 0.0;
  }
  stages_.back().liquid = 1.0 - kDistillate;
}

/// Returns the temperature where sum(K x) is 1, found by bisection.
double Column::bubble_point(const Vector& x) const {
  double low = 250.0, high = 500.0;
  while (high - low > 1e-6) {
    const double middle = 0.5 * (low + high);
    double sum = 0.0;
    for (std::size_t i = 0; i < x.size(); ++i) sum += components_[i].k(middle) * x[i];
    (sum > 1.0 ? high : low) = middle;
  }
  return low;
}

double Column::enthalpy(bool of_vapour, int j) const {
  double sum = 0.0;
  for (int i = 0; i < count_; ++i)
    sum += (of_vapour ? k(i, j) : 1.0) * x(i, j) * component(i).enthalpy(of_vapour, stage(j).temperature);
  return sum;
}

double Column::enthalpy_slope(bool of_vapour, int j) const {
  double sum = 0.0;
  for (int i = 0; i < count_; ++i) {
    const Component& c = component(i);
    sum += (of_vapour ? k(i, j) : 1.0) * x(i, j) * c.heat(of_vapour);
    if (of_vapour) sum += k_slope(i, j) * x(i, j) * c.enthalpy(true, stage(j).temperature);
  }
  return sum;
}

Coordinates Column::jacobian() {
  for (int j = 0; j <= last_; ++j) {
    for (int i = 0; i < count_; ++i) balance(j, i);
    summation(j);
    energy(j);
  }
  return a_;
}

/// Writes a component balance: liquid and vapour that leave the stage, less liquid from above and vapour from
/// below. The liquid flow is the vapour flow from below and what feed and products make of it.
void Column::balance(int j, int i) {
  const int row = fraction(i, j);
  a_.add(row, row, stage(j).liquid + stage(j).draw + stage(j).vapour * k(i, j));
  a_.add(row, temperature(j), stage(j).vapour * k_slope(i, j) * x(i, j));
  a_.add(row, vapour(j), k(i, j) * x(i, j) - (j > 0 ? x(i, j - 1) : 0.0));
  if (j > 0) a_.add(row, fraction(i, j - 1), -stage(j - 1).liquid);
  if (j == last_) return;
  const double below = stage(j + 1).vapour;
  a_.add(row, fraction(i, j + 1), -below * k(i, j + 1));
  a_.add(row, temperature(j + 1), -below * k_slope(i, j + 1) * x(i, j + 1));
  a_.add(row, vapour(j + 1), x(i, j) - k(i, j + 1) * x(i, j + 1));
}

void Column::summation(int j) {
  double slope = 0.0;
  for (int i = 0; i < count_; ++i) {
    a_.add(temperature(j), fraction(i, j), k(i, j));
    slope += k_slope(i, j) * x(i, j);
  }
  a_.add(temperature(j), temperature(j), slope);
}

void Column::energy(int j) {
  const int row = vapour(j);
  if (j == 0 || j == last_) return a_.add(row, row, 1.0);
  const Stage &above = stage(j - 1), &here = stage(j), &below = stage(j + 1);
  const double liquid = here.liquid + here.draw;
  for (int i = 0; i < count_; ++i) {
    const Component& c = component(i);
    const auto leaving = [&](int s, bool of_vapour) {
      return (of_vapour ? k(i, s) : 1.0) * c.enthalpy(of_vapour, stage(s).temperature);
    };
    a_.add(row, fraction(i, j - 1), -above.liquid * leaving(j - 1, false));
    a_.add(row, fraction(i, j), liquid * leaving(j, false) + here.vapour * leaving(j, true));
    a_.add(row, fraction(i, j + 1), -below.vapour * leaving(j + 1, true));
  }
  a_.add(row, temperature(j - 1), -above.liquid * enthalpy_slope(false, j - 1));
  a_.add(row, temperature(j), liquid * enthalpy_slope(false, j) + here.vapour * enthalpy_slope(true, j));
  a_.add(row, temperature(j + 1), -below.vapour * enthalpy_slope(true, j + 1));
  a_.add(row, row, enthalpy(true, j) - enthalpy(false, j - 1));
  a_.add(row, vapour(j + 1), enthalpy(false, j) - enthalpy(true, j + 1));
}

// ---- Flowsheet

struct Stream {
  int first = 0;  // its unknowns: component flows, temperature
  bool vapour = false;
  Vector flow;
  double temperature = 0.0;
};

/// A mixer that waits for a recycle from unit `source` or a later one.
struct Recycle {
  int mixer_row, source;
};

class Flowsheet {
 public:
  Flowsheet(int components, int step);
  Coordinates jacobian(int units);

 private:
  // Each unit adds its unknowns and equations, and its outlets to those that are open.
  void mixer(int unit);
  void splitter(int unit);
  void reactor();
  void flash();
  double boil(const Stream& liquid, Stream& vapour) const;
  void equilibrium(const Stream& vapour, const Stream& liquid, double pressure);

  Stream new_stream(bool vapour);
  int new_unknown() { return ++a_.n; }
  bool take_inlet(Stream& inlet);  // false: the inlet is a feed
  void open_or_recycle(const Stream& outlet, int unit);
  void open(const Stream& outlet);
  void mixer_inlet(int row, const Stream& inlet);
  /// Adds the derivatives of the stream's enthalpy.
  void enthalpy(int row, const Stream& stream, double sign);
  int temperature(const Stream& stream) const { return stream.first + count_; }

  const int count_;
  const std::vector<Component> components_;
  Numbers structure_{99};
  State state_;
  std::vector<Stream> open_;
  std::vector<Recycle> recycles_;
  Coordinates a_;
};

constexpr double kRecycleShare = 1.0 / 3.0, kFeedShare = 0.1;  // of mixers, of inlets
constexpr std::size_t kMostOpen = 12;
constexpr int kShortestRecycle = 3, kLongestRecycle = 60;  // in units

Flowsheet::Flowsheet(int components, int step)
    : count_(components), components_(components_of(components)), state_(step) {}

Coordinates Flowsheet::jacobian(int units) {
  for (int unit = 0; unit < units; ++unit) {
    const double kind = structure_.between(0.0, 1.0);
    if (kind < 0.4) {
      mixer(unit);
    } else if (kind < 0.6) {
      splitter(unit);
    } else if (kind < 0.75) {
      reactor();
    } else {
      flash();
    }
  }
  a_.m = a_.n;
  return a_;
}

Stream Flowsheet::new_stream(bool vapour) {
  Stream stream = {a_.n + 1, vapour, {}, state_.between(320.0, 420.0)};
  for (int i = 0; i < count_; ++i) stream.flow.push_back(state_.between(0.01, 2.0));
  a_.n += count_ + 1;
  return stream;
}

/// Takes an open outlet as an inlet, mostly that of the unit just before, else of one of the last.
bool Flowsheet::take_inlet(Stream& inlet) {
  if (open_.empty() || structure_.chance(kFeedShare)) return false;
  const int count = static_cast<int>(open_.size());
  const int back = structure_.chance(0.7) ? 0 : structure_.below(count);
  const auto taken = open_.end() - 1 - back;
  inlet = *taken;
  open_.erase(taken);
  return true;
}

/// Leaves an outlet open for a later unit. If too many are open, the oldest becomes a product.
void Flowsheet::open(const Stream& outlet) {
  open_.push_back(outlet);
  if (open_.size() > kMostOpen) open_.erase(open_.begin());
}

/// Closes a recycle with an outlet of a splitter, or leaves it open: what is not recycled purges the loop.
void Flowsheet::open_or_recycle(const Stream& outlet, int unit) {
  for (auto r = recycles_.begin(); r != recycles_.end(); ++r) {
    if (r->source > unit) continue;
    mixer_inlet(r->mixer_row, outlet);
    recycles_.erase(r);
    return;
  }
  open(outlet);
}

void Flowsheet::enthalpy(int row, const Stream& stream, double sign) {
  double heat = 0.0;
  for (int i = 0; i < count_; ++i) {
    const auto c = static_cast<std::size_t>(i);
    a_.add(row, stream.first + i, sign * components_[c].enthalpy(stream.vapour, stream.temperature));
    heat += components_[c].heat(stream.vapour) * stream.flow[c];
  }
  a_.add(row, temperature(stream), sign * heat);
}

void Flowsheet::mixer_inlet(int row, const Stream& inlet) {
  for (int i = 0; i < count_; ++i) a_.add(row + i, inlet.first + i, -1.0);
  enthalpy(row + count_, inlet, -1.0);
}

void Flowsheet::mixer(int unit) {
  const bool recycle = structure_.chance(kRecycleShare);
  Stream first, second;
  const bool has_first = take_inlet(first), has_second = !recycle && take_inlet(second);
  const Stream out = new_stream(false);
  for (int i = 0; i < count_; ++i) a_.add(out.first + i, out.first + i, 1.0);
  enthalpy(temperature(out), out, 1.0);
  if (has_first) mixer_inlet(out.first, first);
  if (has_second) mixer_inlet(out.first, second);
  if (recycle) {
    const int distance = kShortestRecycle + structure_.below(kLongestRecycle - kShortestRecycle + 1);
    recycles_.push_back({out.first, unit + distance});
  }
  open(out);
}

void Flowsheet::splitter(int unit) {
  Stream in;
  const bool has_inlet = take_inlet(in);
  const double part = state_.between(0.2, 0.8);
  for (const double share : {part, 1.0 - part}) {
    const Stream out = new_stream(has_inlet && in.vapour);
    for (int i = 0; i <= count_; ++i) {
      a_.add(out.first + i, out.first + i, 1.0);
      if (has_inlet) a_.add(out.first + i, in.first + i, i < count_ ? -share : -1.0);
    }
    share == part ? open(out) : open_or_recycle(out, unit);
  }
}

/// One reaction, first + second -> third, with a rate by the outlet: extent = k(T) first second.
void Flowsheet::reactor() {
  Stream in;
  const bool has_inlet = take_inlet(in);
  const Stream out = new_stream(false);
  const int extent = new_unknown();
  const int first = structure_.below(count_ - 2);
  const auto f = static_cast<std::size_t>(first);
  for (int i = 0; i < count_; ++i) {
    a_.add(out.first + i, out.first + i, 1.0);
    if (has_inlet) a_.add(out.first + i, in.first + i, -1.0);
    if (first <= i && i <= first + 2) a_.add(out.first + i, extent, i == first + 2 ? -1.0 : 1.0);
  }
  const double heat_of_reaction = -state_.between(0.3, 1.0), rate = state_.between(0.1, 0.5);
  enthalpy(temperature(out), out, 1.0);
  if (has_inlet) enthalpy(temperature(out), in, -1.0);
  a_.add(temperature(out), extent, heat_of_reaction);
  a_.add(extent, out.first + first, -rate * out.flow[f + 1]);
  a_.add(extent, out.first + first + 1, -rate * out.flow[f]);
  a_.add(extent, temperature(out), -0.005 * rate * out.flow[f] * out.flow[f + 1]);
  a_.add(extent, extent, 1.0);
  open(out);
}

/// Adds a flash at a given temperature. Places: equilibria and that temperature at the vapour, balances and
/// equal temperatures at the liquid, the energy balance at the duty.
void Flowsheet::flash() {
  Stream in;
  const bool has_inlet = take_inlet(in);
  Stream vapour = new_stream(true);
  const Stream liquid = new_stream(false);
  vapour.temperature = liquid.temperature;
  const double pressure = boil(liquid, vapour);
  for (int i = 0; i < count_; ++i) {
    const int row = liquid.first + i;
    a_.add(row, vapour.first + i, 1.0);
    a_.add(row, row, 1.0);
    if (has_inlet) a_.add(row, in.first + i, -1.0);
  }
  equilibrium(vapour, liquid, pressure);
  const int duty = new_unknown();
  enthalpy(duty, vapour, 1.0);
  enthalpy(duty, liquid, 1.0);
  if (has_inlet) enthalpy(duty, in, -1.0);
  a_.add(duty, duty, -1.0);
  a_.add(temperature(vapour), temperature(vapour), 1.0);
  a_.add(temperature(liquid), temperature(liquid), 1.0);
  a_.add(temperature(liquid), temperature(vapour), -1.0);
  open(liquid);
  open(vapour);
}

/// Gives as much vapour as there is liquid its composition at equilibrium. @return the pressure
double Flowsheet::boil(const Stream& liquid, Stream& vapour) const {
  double all_liquid = 0.0, pressure = 0.0;
  for (std::size_t c = 0; c < components_.size(); ++c) {
    all_liquid += liquid.flow[c];
    vapour.flow[c] = components_[c].k(liquid.temperature) * liquid.flow[c];
    pressure += vapour.flow[c];
  }
  pressure /= all_liquid;
  for (double& flow : vapour.flow) flow /= pressure;
  return pressure;
}

/// V(i) = K(i) L(i) total vapour / total liquid, and what the totals are.
void Flowsheet::equilibrium(const Stream& vapour, const Stream& liquid, double pressure) {
  const int vapour_total = new_unknown(), liquid_total = new_unknown();
  double all_vapour = 0.0, all_liquid = 0.0;
  for (const double flow : vapour.flow) all_vapour += flow;
  for (const double flow : liquid.flow) all_liquid += flow;
  const double ratio = all_vapour / all_liquid;
  for (int i = 0; i < count_; ++i) {
    const auto c = static_cast<std::size_t>(i);
    const int row = vapour.first + i;
    const double k = components_[c].k(vapour.temperature) / pressure, y = k * liquid.flow[c] / all_liquid;
    a_.add(row, row, 1.0);
    a_.add(row, liquid_total, y * ratio);
    a_.add(row, liquid.first + i, -k * ratio);
    a_.add(row, vapour_total, -y);
    a_.add(row, temperature(vapour),
           -components_[c].k_slope(vapour.temperature) / pressure * liquid.flow[c] * ratio);
    a_.add(vapour_total, row, -1.0);
    a_.add(liquid_total, liquid.first + i, -1.0);
  }
  a_.add(vapour_total, vapour_total, 1.0);
  a_.add(liquid_total, liquid_total, 1.0);
}

}  // namespace

Coordinates column_jacobian(int components, int stages, int step) {
  return Column(components, stages, step).jacobian();
}

Coordinates flowsheet_jacobian(int components, int units, int step) {
  return Flowsheet(components, step).jacobian(units);
}

}  // namespace bench

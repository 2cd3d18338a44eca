#include "apps/column/acceleration.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <new>
#include <utility>

#include "accel/dom_eigen_accel.h"
#include "accel/mul_dom_eigen_accel.h"
#include "apps/column/memory_watch.h"

namespace column {
namespace {

/// Returns the last binary digit of a number of about `size`.
double rounding_unit(double size) {
  return std::ldexp(1.0, std::ilogb(size) + 1 - std::numeric_limits<double>::digits);
}

std::unique_ptr<Accel> make_accel(const AccelerationSettings& settings, int length) {
  // One eigenvalue shows in the two newest differences. All tests on, no damping, vectors of its own.
  if (settings.kind == Acceleration::kDominant)
    return std::unique_ptr<Accel>(new DomEigenAccel(length, 2, 1, 1, 0, 0));
  // Takes a longer ring than 2 by itself; the two flags have no meaning.
  return std::unique_ptr<Accel>(new MulDomEigenAccel(length, settings.eigenvalues, 2, 0, 0));
}

}  // namespace

Accelerator::Accelerator(std::unique_ptr<Accel> accel, int frequency, double unit)
    : accel_(std::move(accel)), frequency_(frequency), unit_(unit) {
  accel_->MaxAccelFrequency(frequency);
}

Accelerator::~Accelerator() = default;

bool Accelerator::is_due() {
  ++received_;
  ++since_step_;
  return received_ >= accel_->StartingIteration() && since_step_ >= frequency_;
}

void Accelerator::step(std::vector<double>& vector, double change) {
  scaled_.resize(vector.size());
  for (std::size_t i = 0; i < vector.size(); ++i) scaled_[i] = vector[i] / unit_;
  const bool due = is_due();
  stepped_ = accel_->Accelerate(scaled_.data()) != 0;
  if (!stepped_) {
    if (due) ++counts_.refused;
    return;
  }
  ++counts_.accepted;
  since_step_ = 0;
  change_before_ = change;
  const auto finite = [](double v) { return std::isfinite(v); };
  if (!std::all_of(scaled_.begin(), scaled_.end(), finite)) return undo(vector);
  hand_back(vector);
}

bool Accelerator::take_back(double change, std::vector<double>& vector) {
  if (!stepped_ || change <= change_before_) return false;
  undo(vector);
  return true;
}

void Accelerator::undo(std::vector<double>& vector) {
  accel_->UndoAndReset(scaled_.data());
  accel_->Reset();
  received_ = since_step_ = 0;
  stepped_ = false;
  ++counts_.taken_back;
  hand_back(vector);
}

void Accelerator::hand_back(std::vector<double>& vector) const {
  for (std::size_t i = 0; i < vector.size(); ++i) vector[i] = scaled_[i] * unit_;
}

std::unique_ptr<Accelerator> make_accelerator(const AccelerationSettings& settings, int length, double size,
                                              DebugOut* log) {
  constexpr double kNoise = 10;  // a pass repeats to within a few units of rounding
  if (settings.kind == Acceleration::kNone) return nullptr;
  const MemoryWatch memory;
  std::unique_ptr<Accel> accel = make_accel(settings, length);
  if (!accel || memory.refused()) throw std::bad_alloc();
  if (log) accel->StartBasicDebug(log);
  accel->SetNoiseTolerance(kNoise);
  return std::make_unique<Accelerator>(std::move(accel), settings.frequency, rounding_unit(size));
}

}  // namespace column

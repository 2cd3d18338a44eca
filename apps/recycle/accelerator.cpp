#include "apps/recycle/accelerator.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "accel/dom_eigen_accel.h"
#include "accel/mul_dom_eigen_accel.h"

namespace recycle {
namespace {

constexpr double kSmallestScaledChange = 1e4;

/// Within bounds that keep it, its inverse and a scaled rate finite.
double power_of_two_near(double value) {
  constexpr double kLargestExponent = 900;
  return std::exp2(std::clamp(std::round(std::log2(value)), -kLargestExponent, kLargestExponent));
}

/// Tells apart the passes on which a step was not due from those on which it was refused.
template <class Base>
class Watched : public Base {
 public:
  using Base::Base;
  bool step_was_due() const {
    return this->iter >= this->startIteration && this->sinceAccel >= this->maxAccelFrequency;
  }
};

template <class Base>
class Scaled : public TearAccelerator {
 public:
  template <class... Args>
  Scaled(const AccelerationSettings& settings, int default_frequency, double project_tolerance, double scale,
         Args... args)
      : accelerator_(args...), scale_(scale) {
    accelerator_.MaxAccelFrequency(settings.frequency.value_or(default_frequency));
    accelerator_.setProjectTol(project_tolerance);
    if (settings.log != nullptr) accelerator_.StartBasicDebug(settings.log);
  }

  Verdict improve(std::vector<double>& tears) override {
    std::vector<double> scaled = times(tears, scale_);
    if (accelerator_.Accelerate(scaled.data()) != 0) {
      tears = times(scaled, 1 / scale_);
      return Verdict::kTaken;
    }
    return accelerator_.step_was_due() ? Verdict::kRefused : Verdict::kNotTried;
  }

  void take_back(std::vector<double>& tears) override {
    std::vector<double> scaled = times(tears, scale_);
    accelerator_.UndoAndReset(scaled.data());
    tears = times(scaled, 1 / scale_);
    accelerator_.Reset();
    accelerator_.Accelerate(scaled.data());  // the first vector again: only the next difference needs it
  }

 private:
  static std::vector<double> times(std::vector<double> values, double factor) {
    for (double& value : values) value *= factor;
    return values;
  }

  Watched<Base> accelerator_;
  const double scale_;
};

}  // namespace

const char* name_of(Method method) {
  switch (method) {
    case Method::kDirect:
      return "direct";
    case Method::kDominant:
      return "dominant";
    case Method::kMultiple:
      return "multiple";
  }
  return "";
}

std::unique_ptr<TearAccelerator> make_accelerator(const AccelerationSettings& settings, int numbers,
                                                  double smallest_change) {
  constexpr int kRing = 2;
  constexpr unsigned char kOn = 1, kOff = 0;
  const double scale = power_of_two_near(kSmallestScaledChange / smallest_change);
  switch (settings.method) {
    case Method::kDirect:
      return nullptr;
    case Method::kDominant:
      // Not conservative: that shortens steps by a variance in the unit of the scaled vector.
      return std::make_unique<Scaled<DomEigenAccel>>(settings, kDominantFrequency, kDominantProjectTolerance,
                                                     scale, numbers, kRing, /*checkValues=*/kOn,
                                                     /*checkPred=*/kOn, /*conservative=*/kOff,
                                                     /*cached=*/kOff);
    case Method::kMultiple:
      return std::make_unique<Scaled<MulDomEigenAccel>>(
          settings, settings.eigenvalues + kMultipleFrequencyBeyondEigenvalues, kMultipleProjectTolerance,
          scale, numbers, settings.eigenvalues, settings.eigenvalues + kRing, kOff, kOff);
  }
  return nullptr;
}

}  // namespace recycle

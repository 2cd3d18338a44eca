#pragma once

#include <memory>
#include <optional>
#include <vector>

class DebugOut;

namespace recycle {

enum class Method { kDirect, kDominant, kMultiple };
const char* name_of(Method method);

struct AccelerationSettings {
  Method method = Method::kDirect;
  int eigenvalues = 4;           // of kMultiple
  std::optional<int> frequency;  // passes from one step to the next, at least; without it the default below
  DebugOut* log = nullptr;       // of the accelerator
};

// Defaults that serve Cavett's problem well from different tears; tried were the tests of the accelerators on
// and off, frequencies 1 to 10, projection tolerances 0.05 to 1, and 1 to 4 eigenvalues.

/// With the gates on the values and the projection test on, steps may follow one another freely.
constexpr int kDominantFrequency = 1;
constexpr double kDominantProjectTolerance = 0.5;
/// A fit of m eigenvalues uses m + 1 differences, and a second fit has to confirm the first; with three
/// passes more than eigenvalues between steps, none of these differences spans a step.
constexpr int kMultipleFrequencyBeyondEigenvalues = 3;
constexpr double kMultipleProjectTolerance = 0.2;

enum class Verdict { kNotTried, kRefused, kTaken };

/// An accelerator of the library, that watches the torn streams.
///
/// It does not see their rates as they are, but multiplied by one power of two, the same in all passes. Two
/// of its limits are absolute: differences below 1e-8 are noise, and the fit of several eigenvalues gives up
/// at pivots of 1e-8, that is with differences of about 1e-4. The factor makes a change at the tolerance of
/// convergence as large as 1e4, so that neither limit is met on the way. Being linear, the accelerator does
/// not mind; being a power of two, the factor adds no rounding.
class TearAccelerator {
 public:
  virtual ~TearAccelerator() = default;

  /// Hands in the vector of a pass, which a step then replaces.
  virtual Verdict improve(std::vector<double>& tears) = 0;
  /// Puts back the vector from before the last step, and begins anew with it, because the difference that
  /// spans the undone step is worth nothing.
  virtual void take_back(std::vector<double>& tears) = 0;
};

/// Null for direct substitution.
/// @param smallest_change  of a rate, that matters
std::unique_ptr<TearAccelerator> make_accelerator(const AccelerationSettings& settings, int numbers,
                                                  double smallest_change);

}  // namespace recycle

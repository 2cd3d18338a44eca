// The options of FixedPoint by name, their ranges, and the texts of its numbers.

#include <cmath>
#include <cstddef>
#include <cstring>
#include <limits>
#include <type_traits>

#include "accel/fixed_point.h"
#include "accel/fixed_point_core.h"

namespace corvidnum {
namespace {

/// Reads and writes one member of the options as a number.
struct Member {
  FixedPointOption option;
  double (*get)(const FixedPointOptions&);
  void (*set)(FixedPointOptions&, double);
};

template <auto member>
constexpr double get_member(const FixedPointOptions& options) {
  return static_cast<double>(options.*member);
}

template <auto member>
void set_member(FixedPointOptions& options, double value) {
  using Value = std::remove_reference_t<decltype(options.*member)>;
  if constexpr (std::is_enum_v<Value>) {
    options.*member = static_cast<Value>(static_cast<int>(value));
  } else {
    options.*member = static_cast<Value>(value);
  }
}

template <auto member>
constexpr Member make(const char* name, const char* meaning, double lowest, double highest, bool whole) {
  const double standard = get_member<member>(FixedPointOptions());
  return {{name, meaning, lowest, standard, highest, whole}, get_member<member>, set_member<member>};
}

using O = FixedPointOptions;
constexpr Member kMembers[] = {
    make<&O::method>("method", "0 none, 1 dominant, 2 multiple, 3 automatic", 0, 3, true),
    make<&O::beyond_one>("beyond_one", "1: steps may lead to fixed points that plain passes run away from", 0,
                         1, true),
    make<&O::eigenvalues>("eigenvalues", "eigenvalues of the method multiple", 1, kMostEigenvalues, true),
    make<&O::tolerance>("tolerance", "largest change of a converged pass, relative to the nominal sizes",
                        1e-15, 0.1, false),
    make<&O::pass_limit>("pass_limit", "passes after which the verdict is PassLimit", 1, 1e9, true),
    make<&O::least_between>("least_between",
                            "least passes between steps; 0: the method's own, 1 or eigenvalues + 3", 0, 1000,
                            true),
    make<&O::undo_factor>("undo_factor",
                          "a step is taken back if the change of the next pass is larger by this factor", 1,
                          1e6, false),
    make<&O::account_length>("account_length", "passes that the account holds", 1, 1e6, true),
};
constexpr int kMemberCount = sizeof kMembers / sizeof *kMembers;

const Member* find(const char* name) {
  for (int i = 0; name && i < kMemberCount; ++i) {
    if (std::strcmp(kMembers[i].option.name, name) == 0) return &kMembers[i];
  }
  return nullptr;
}

bool in_range(const FixedPointOption& option, double value) {
  if (!(value >= option.lowest && value <= option.highest)) return false;
  return !option.whole || value == std::floor(value);
}

template <std::size_t count>
const char* text_at(const char* const (&texts)[count], int number) {
  return number >= 0 && number < static_cast<int>(count) ? texts[number] : "unknown";
}

/// Returns an element of an array, or a substitute where there is no array.
double element(const double* array, int i, double substitute) {
  if (!array) return substitute;
  return array[i];
}

bool bounds_are_good(int n, const FixedPointOptions& options) {
  constexpr double kInfinite = std::numeric_limits<double>::infinity();
  for (int i = 0; i < n; ++i) {
    const double lower = element(options.lower, i, -kInfinite);
    const double upper = element(options.upper, i, kInfinite);
    if (!(lower <= upper) || lower == kInfinite || upper == -kInfinite) return false;
    if (options.nominal && !(options.nominal[i] > 0 && options.nominal[i] < kInfinite)) return false;
  }
  return true;
}

}  // namespace

bool options_are_good(int n, const FixedPointOptions& options) {
  if (n < 1) return false;
  for (int i = 0; i < kMemberCount; ++i) {
    if (!in_range(kMembers[i].option, kMembers[i].get(options))) return false;
  }
  return bounds_are_good(n, options);
}

int FixedPoint::OptionCount() { return kMemberCount; }

const FixedPointOption* FixedPoint::Option(int i) {
  return i >= 0 && i < kMemberCount ? &kMembers[i].option : nullptr;
}

bool FixedPoint::SetOption(FixedPointOptions& options, const char* name, double value) {
  const Member* const member = find(name);
  if (!member || !in_range(member->option, value)) return false;
  member->set(options, value);
  return true;
}

double FixedPoint::GetOption(const FixedPointOptions& options, const char* name) {
  const Member* const member = find(name);
  return member ? member->get(options) : std::numeric_limits<double>::quiet_NaN();
}

const char* TextOf(FixedPointVerdict verdict) {
  static const char* const kTexts[] = {"continue",   "converged",  "diverging", "stalled",
                                       "pass limit", "not finite", "no memory", "bad input"};
  return text_at(kTexts, static_cast<int>(verdict));
}

const char* TextOf(FixedPointMethod method) {
  static const char* const kTexts[] = {"none", "dominant", "multiple", "automatic"};
  return text_at(kTexts, static_cast<int>(method));
}

const char* TextOf(FixedPointStep step) {
  static const char* const kTexts[] = {"not tried", "refused", "taken", "taken back"};
  return text_at(kTexts, static_cast<int>(step));
}

const char* TextOf(FixedPointReason reason) {
  static const char* const kTexts[] = {"",
                                       "too few undisturbed passes yet",
                                       "corrections do not agree yet",
                                       "spectral radius too near to one",
                                       "not finite",
                                       "the next pass changed more",
                                       "could not be evaluated",
                                       "clipped to the bounds",
                                       "steps brought no progress",
                                       "little to gain",
                                       "a pass met or left bounds",
                                       "a nominal size grew",
                                       "the method has no steps"};
  return text_at(kTexts, static_cast<int>(reason));
}

}  // namespace corvidnum

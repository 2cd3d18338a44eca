// The floating-point control word, and the decision about math-library errors.

#include <fenv.h>

#include <atomic>

#include "host/corvid_host.h"
#include "host/lines.h"
#include "host/memory.h"
#include "host/platform.h"

namespace corvid_host {
namespace {

/// FloatControl aligned to its size: without that, some compilers do not make its atomic lock-free.
struct alignas(sizeof(FloatControl)) AlignedControl {
  FloatControl control;
};
std::atomic<AlignedControl> float_control{{{FE_TONEAREST, 0}}};
static_assert(std::atomic<AlignedControl>::is_always_lock_free, "set on one thread, applied on others");
std::atomic<long> applications{0};

bool is_rounding(int mode) {
  return mode == FE_TONEAREST || mode == FE_UPWARD || mode == FE_DOWNWARD || mode == FE_TOWARDZERO;
}

const char* kind_of(int type) {
  switch (type) {
    case kMathDomain:
      return "an argument outside the domain";
    case kMathSingularity:
      return "a singularity";
    case kMathOverflow:
      return "an overflow";
    case kMathUnderflow:
      return "an underflow";
    case kMathTotalLoss:
      return "total loss of precision";
    case kMathPartialLoss:
      return "partial loss of precision";
    default:
      return "an unknown error";
  }
}

int trace_math_error(const char* module, _exception* e) {
  const OwnMemory scope;
  const Text line = FormattedText("Math error in %s: %s reports %s; its arguments: %.17g, %.17g.", module,
                                  e->name ? e->name : "a function", kind_of(e->type), e->arg1, e->arg2);
  emit_line(LineKind::kTrace, line.Characters());
  return 0;
}

std::atomic<MathErrorHandler> math_error_handler{trace_math_error};

}  // namespace

bool SetFloatControl(FloatControl control) {
  if (!is_rounding(control.rounding) || (control.traps & ~FE_ALL_EXCEPT) != 0) return false;
  float_control = {control};
  return true;
}

long ControlWordApplications() { return applications; }

void SetMathErrorHandler(MathErrorHandler handler) {
  math_error_handler = handler ? handler : trace_math_error;
}

}  // namespace corvid_host

void FPEnvironment::SetControlWord() {
  corvid_host::apply_float_control(corvid_host::float_control.load().control);
  ++corvid_host::applications;
}

FPEnvironment* pFPEnv() {
  static FPEnvironment environment;
  return &environment;
}

int Zumatherr(char* moduleName, _exception* e) {
  return e ? corvid_host::math_error_handler.load()(moduleName ? moduleName : "", e) : 0;
}

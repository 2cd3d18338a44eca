// Reports a math error to the host's Zumatherr in the form of the runtime library's _matherr protocol: fill a
// record, let the host decide, set errno if the host does not handle the error, return the record's result.

#include "frame/math_errors.h"

#include <cerrno>
#include <cmath>
#include <limits>

#include "frame/module.h"

namespace corvidnum {
namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

void set_errno(int type) {
  if (type == kMathDomain) errno = EDOM;
  if (type == kMathSingularity || type == kMathOverflow) errno = ERANGE;
}

/// Reports an error to the host; if the host does not handle it, sets errno. Returns `result`, or what the
/// host wrote in its place.
double report(MathErrorType type, char* name, double argument, double result) {
  _exception e = {type, name, argument, 0.0, result};
  if (report_math_error(&e) == 0) set_errno(type);
  return e.retval;
}

}  // namespace

int report_math_error(_exception* e) {
  char no_path[] = "";
  return Zumatherr(theModule ? theModule->Path() : no_path, e);
}

double checked_sqrt(double x) {
  char name[] = "sqrt";
  return x < 0 ? report(kMathDomain, name, x, kNaN) : std::sqrt(x);
}

double checked_log10(double x) {
  char name[] = "log10";
  if (x == 0) return report(kMathSingularity, name, x, -kInfinity);
  return x < 0 ? report(kMathDomain, name, x, kNaN) : std::log10(x);
}

}  // namespace corvidnum

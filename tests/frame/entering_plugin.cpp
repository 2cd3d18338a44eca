// A plug-in that enters the library while the loader initialises it.

#include "frame/numeric_runtime.h"

namespace {

struct Entering {
  Entering() {
    const int selector = 1;
    d1mach_(&selector);
  }
} entering;

}  // namespace

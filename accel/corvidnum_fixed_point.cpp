// FixedPoint behind a C interface. The handle collects the settings; start and restore make the object.

#include "accel/corvidnum_fixed_point.h"

#include <cstring>
#include <limits>
#include <utility>

#include "accel/fixed_point.h"
#include "accel/vectors.h"
#include "frame/module.h"

using namespace corvidnum;

namespace {

static_assert(CORVIDNUM_FIXED_POINT_BAD_INPUT == static_cast<int>(FixedPointVerdict::BadInput));
static_assert(CORVIDNUM_FIXED_POINT_METHOD_AUTOMATIC == static_cast<int>(FixedPointMethod::Automatic));
static_assert(CORVIDNUM_FIXED_POINT_STEP_TAKEN_BACK == static_cast<int>(FixedPointStep::TakenBack));

class Handle : public HostAllocated {
 public:
  explicit Handle(int n) : unknowns(n) {}
  Handle(const Handle&) = delete;
  Handle& operator=(const Handle&) = delete;
  ~Handle() {
    delete iteration;
    free_array(nominal);
    free_array(lower);
    free_array(upper);
  }

  /// Returns a new iteration of the present settings, which the caller owns; null if memory is refused.
  FixedPoint* build() {
    options.nominal = nominal;
    options.lower = lower;
    options.upper = upper;
    return new FixedPoint(unknowns, options);
  }

  /// Goes over to an iteration that `build` made, and owns it.
  void replace(FixedPoint* by) {
    delete iteration;
    iteration = by;
  }

  /// Replaces arrays by copies of others; null leaves none.
  /// @return false, and all arrays are as they were, if memory is refused
  template <int count>
  bool keep(double** const (&arrays)[count], const double* const (&from)[count]) const {
    double* copies[count] = {};
    bool complete = true;
    for (int i = 0; i < count; ++i) {
      if (!from[i]) continue;
      copies[i] = allocate_zeros(unknowns);
      if (copies[i]) copy(unknowns, from[i], copies[i]);
      complete = complete && copies[i];
    }
    for (int i = 0; i < count; ++i) {
      if (complete) std::swap(*arrays[i], copies[i]);
      free_array(copies[i]);
    }
    return complete;
  }

  const int unknowns;
  FixedPointOptions options;
  FixedPoint* iteration = nullptr;
  double *nominal = nullptr, *lower = nullptr, *upper = nullptr;
};

Handle* handle_of(corvidnum_fixed_point* iteration) { return static_cast<Handle*>(iteration); }

/// Returns the iteration of a handle; null before the first start.
FixedPoint* started(corvidnum_fixed_point* iteration) {
  return iteration ? handle_of(iteration)->iteration : nullptr;
}

int number_of(FixedPointVerdict verdict) { return static_cast<int>(verdict); }

/// The verdict of a call that a handle without an iteration cannot pass on.
int verdict_without(corvidnum_fixed_point* iteration) {
  return number_of(iteration ? FixedPointVerdict::BadInput : FixedPointVerdict::NoMemory);
}

void copy_text(const char* from, char* to, int capacity) {
  if (!to || capacity < 1) return;
  std::strncpy(to, from, static_cast<std::size_t>(capacity) - 1);
  to[capacity - 1] = '\0';
}

}  // namespace

corvidnum_fixed_point* corvidnum_fixed_point_create(int unknowns) {
  enter_library();
  return new Handle(unknowns);
}

void corvidnum_fixed_point_destroy(corvidnum_fixed_point* iteration) {
  enter_library();
  delete handle_of(iteration);
}

int corvidnum_fixed_point_set(corvidnum_fixed_point* iteration, const char* name, double value) {
  return iteration && FixedPoint::SetOption(handle_of(iteration)->options, name, value);
}

double corvidnum_fixed_point_get(corvidnum_fixed_point* iteration, const char* name) {
  if (!iteration) return std::numeric_limits<double>::quiet_NaN();
  return FixedPoint::GetOption(handle_of(iteration)->options, name);
}

int corvidnum_fixed_point_set_nominal(corvidnum_fixed_point* iteration, const double* nominal) {
  enter_library();
  Handle* const handle = handle_of(iteration);
  return handle && handle->keep({&handle->nominal}, {nominal});
}

int corvidnum_fixed_point_set_bounds(corvidnum_fixed_point* iteration, const double* lower,
                                     const double* upper) {
  enter_library();
  Handle* const handle = handle_of(iteration);
  return handle && handle->keep({&handle->lower, &handle->upper}, {lower, upper});
}

int corvidnum_fixed_point_option(int i, char* name, int capacity, double* lowest, double* standard,
                                 double* highest) {
  const FixedPointOption* const option = FixedPoint::Option(i);
  if (option) {
    copy_text(option->name, name, capacity);
    if (lowest) *lowest = option->lowest;
    if (standard) *standard = option->standard;
    if (highest) *highest = option->highest;
  }
  return FixedPoint::OptionCount();
}

int corvidnum_fixed_point_start(corvidnum_fixed_point* iteration, double* x) {
  enter_library();
  if (!iteration) return number_of(FixedPointVerdict::NoMemory);
  Handle* const handle = handle_of(iteration);
  handle->replace(nullptr);  // frees its memory before the new one allocates
  handle->replace(handle->build());
  if (!handle->iteration) return number_of(FixedPointVerdict::NoMemory);
  return number_of(started(iteration)->Start(x));
}

int corvidnum_fixed_point_pass(corvidnum_fixed_point* iteration, double* x) {
  FixedPoint* const inner = started(iteration);
  return inner ? number_of(inner->Pass(x)) : verdict_without(iteration);
}

int corvidnum_fixed_point_discard(corvidnum_fixed_point* iteration, double* x) {
  FixedPoint* const inner = started(iteration);
  return inner ? number_of(inner->Discard(x)) : verdict_without(iteration);
}

int corvidnum_fixed_point_next(corvidnum_fixed_point* iteration, double* x) {
  const FixedPoint* const inner = started(iteration);
  return inner && inner->Next(x);
}

void corvidnum_fixed_point_text(int verdict, char* text, int capacity) {
  copy_text(TextOf(static_cast<FixedPointVerdict>(verdict)), text, capacity);
}

void corvidnum_fixed_point_counts(corvidnum_fixed_point* iteration, int64_t* passes, int64_t* taken,
                                  int64_t* refused, int64_t* taken_back) {
  const FixedPoint* const inner = started(iteration);
  const FixedPointCounts counts = inner ? inner->Counts() : FixedPointCounts();
  if (passes) *passes = counts.passes;
  if (taken) *taken = counts.steps_taken;
  if (refused) *refused = counts.steps_refused;
  if (taken_back) *taken_back = counts.steps_taken_back;
}

int corvidnum_fixed_point_record(corvidnum_fixed_point* iteration, int age, int64_t* pass, double* change,
                                 int* step, int* reason, int* eigenvalues, double* radius,
                                 double* passes_ahead) {
  const FixedPoint* const inner = started(iteration);
  FixedPointRecord record;
  if (!inner || !inner->Record(age, record)) return 0;
  if (pass) *pass = record.pass;
  if (change) *change = record.change;
  if (step) *step = static_cast<int>(record.step);
  if (reason) *reason = static_cast<int>(record.reason);
  if (eigenvalues) *eigenvalues = record.eigenvalues;
  if (radius) *radius = record.radius;
  if (passes_ahead) *passes_ahead = record.passes_ahead;
  return 1;
}

int corvidnum_fixed_point_eigenvalues(corvidnum_fixed_point* iteration, double* real, double* imaginary,
                                      int capacity) {
  const FixedPoint* const inner = started(iteration);
  return inner ? inner->Eigenvalues(real, imaginary, capacity) : 0;
}

int64_t corvidnum_fixed_point_state_size(corvidnum_fixed_point* iteration) {
  const FixedPoint* const inner = started(iteration);
  return inner ? inner->StateSize() : 0;
}

int corvidnum_fixed_point_save(corvidnum_fixed_point* iteration, char* state, int64_t bytes) {
  const FixedPoint* const inner = started(iteration);
  return inner && inner->Save(state, bytes);
}

int corvidnum_fixed_point_restore(corvidnum_fixed_point* iteration, const char* state, int64_t bytes) {
  enter_library();
  if (!iteration) return 0;
  FixedPoint* const restored = handle_of(iteration)->build();
  if (!restored || !restored->Restore(state, bytes)) {
    delete restored;
    return 0;
  }
  handle_of(iteration)->replace(restored);
  return 1;
}

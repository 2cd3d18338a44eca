// Inner loops of the elimination. Elements that rows pick are loaded one by one, because gathers take no less
// time, and many processors run them slowly; four of them are then multiplied and added at once. Each loop is
// compiled twice from the same source, for AVX2 and for any processor of the target. Products and sums are
// never contracted to fused multiply-adds, so both give the same bits.

#include "sparse/ma48/row_kernels.h"

#include <cmath>
#include <cstring>
#include <limits>

namespace corvidnum {
namespace {

using Index = std::ptrdiff_t;

// The kernels are always inlined, so that each version is compiled for its target.
#define CORVIDNUM_INLINED __attribute__((always_inline)) inline

constexpr Index kFour = 4;
using Four = double __attribute__((vector_size(kFour * sizeof(double))));

// Elements need not be aligned as a Four is. A Four is never passed or returned by value, because the calling
// convention for it depends on whether AVX is enabled.
CORVIDNUM_INLINED void load(const double* from, Four& to) { std::memcpy(&to, from, sizeof to); }
CORVIDNUM_INLINED void store(const Four& from, double* to) { std::memcpy(to, &from, sizeof from); }

/// Updates a column. `note` is called with the offset of each entry.
template <class Note>
CORVIDNUM_INLINED void update_column(Index entries, double* values, const int* rows,
                                     const ColumnUpdate& update, int side, const Note& note) {
  const double multiplier = update.multiplier;
  const double* const pivots = update.pivot_column;
  const int* const offset_of_row = update.offset_of_row;
  const Four multipliers = {multiplier, multiplier, multiplier, multiplier};
  Index k = 0;
  for (; k + kFour <= entries; k += kFour) {
    Index offsets[kFour];
    for (Index i = 0; i < kFour; ++i) offsets[i] = Index{offset_of_row[rows[k + i] - 1]} * side;
    Four sums;
    load(values + k, sums);
    sums +=
        multipliers * Four{pivots[offsets[0]], pivots[offsets[1]], pivots[offsets[2]], pivots[offsets[3]]};
    store(sums, values + k);
    for (const Index offset : offsets) note(offset);
  }
  for (; k < entries; ++k) {
    const Index offset = Index{offset_of_row[rows[k] - 1]} * side;
    values[k] += multiplier * pivots[offset];
    note(offset);
  }
}

CORVIDNUM_INLINED Index add_to_column(Index entries, double* values, const int* rows,
                                      const ColumnUpdate& update, int side) {
  Index met = 0;
  const auto note = [&met](Index offset) { met += offset != 0; };
  if (side == 1) {  // two calls with a constant `side`, for which the compiler leaves the products out
    update_column(entries, values, rows, update, 1, note);
  } else {
    update_column(entries, values, rows, update, -1, note);
  }
  return met;
}

CORVIDNUM_INLINED OffsetSet add_and_note(Index entries, double* values, const int* rows,
                                         const ColumnUpdate& update) {
  OffsetSet met = 0;
  update_column(entries, values, rows, update, 1, [&met](Index offset) { met |= OffsetSet{1} << offset; });
  return met;
}

CORVIDNUM_INLINED double largest(Index entries, const double* values) {
  constexpr double kNone = -1.0;  // below every magnitude; stays if there are only NaNs
  Four most = {kNone, kNone, kNone, kNone};
  Index k = 0;
  for (; k + kFour <= entries; k += kFour) {
    Four group;
    load(values + k, group);
    const Four magnitudes = group < 0.0 ? -group : group;
    most = magnitudes > most ? magnitudes : most;  // false for a NaN
  }
  double result = kNone;
  for (int i = 0; i < kFour; ++i) result = most[i] > result ? most[i] : result;
  for (; k < entries; ++k) result = std::fabs(values[k]) > result ? std::fabs(values[k]) : result;
  return result == kNone ? std::numeric_limits<double>::quiet_NaN() : std::fabs(result);
}

CORVIDNUM_INLINED void add_to_rows(Index entries, double multiplier, const double* values, const int* rows,
                                   double* w) {
  const Four multipliers = {multiplier, multiplier, multiplier, multiplier};
  Index k = 0;
  for (; k + kFour <= entries; k += kFour) {
    double* const at[] = {&w[rows[k] - 1], &w[rows[k + 1] - 1], &w[rows[k + 2] - 1], &w[rows[k + 3] - 1]};
    Four terms;
    load(values + k, terms);
    const Four sums = Four{*at[0], *at[1], *at[2], *at[3]} + multipliers * terms;
    for (int i = 0; i < kFour; ++i) *at[i] = sums[i];
  }
  for (; k < entries; ++k) w[rows[k] - 1] += multiplier * values[k];
}

/// Compiles a kernel for any processor, and for AVX2.
template <auto kernel, class Result, class... Args>
Result portable(Args... args) {
  return kernel(args...);
}
#if defined(__x86_64__)
template <auto kernel, class Result, class... Args>
__attribute__((target("avx2"))) Result avx2(Args... args) {
  return kernel(args...);
}
#endif

constexpr RowKernels kPortable = {portable<add_to_column>, portable<add_and_note>, portable<largest>,
                                  portable<add_to_rows>};
#if defined(__x86_64__)
constexpr RowKernels kAvx2 = {avx2<add_to_column>, avx2<add_and_note>, avx2<largest>, avx2<add_to_rows>};
#endif

}  // namespace

const RowKernels& portable_row_kernels() { return kPortable; }

const RowKernels& row_kernels() {
#if defined(__x86_64__)
  if (__builtin_cpu_supports("avx2")) return kAvx2;
#endif
  return kPortable;
}

}  // namespace corvidnum

// Inner loops of the elimination, for any processor and for AVX2. Elements that stand side by side fill a
// vector register; those that rows pick are fetched by gathers. A last group that does not fill a register
// goes through the same instructions under a mask, because columns are short: single elements would take
// longer than all full groups together. Products and sums are never contracted to fused multiply-adds.

#include "sparse/ma48/row_kernels.h"

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace corvidnum {
namespace {

using Index = std::ptrdiff_t;

Index add_to_column(Index entries, double* values, const int* rows, double multiplier,
                    const double* pivot_column, int side, const int* offset_of_row) {
  Index met = 0;
  for (Index k = 0; k < entries; ++k) {
    const int offset = offset_of_row[rows[k] - 1] * side;
    values[k] += multiplier * pivot_column[offset];
    met += offset != 0;
  }
  return met;
}

#if defined(__x86_64__)
#define CORVIDNUM_AVX2 __attribute__((target("avx2")))
#define CORVIDNUM_AVX2_INLINED __attribute__((target("avx2"), always_inline)) inline

constexpr Index kInts = 8, kDoubles = 4;  // in one register

CORVIDNUM_AVX2_INLINED __m256i all_lanes() { return _mm256_set1_epi32(-1); }

/// Returns a mask of the first `count` of kInts lanes.
CORVIDNUM_AVX2_INLINED __m256i first_lanes(Index count) {
  static const int kMask[2 * kInts] = {-1, -1, -1, -1, -1, -1, -1, -1};
  return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(kMask + kInts - count));
}

/// Returns source[offsets] in the given lanes, 0 in the others.
CORVIDNUM_AVX2_INLINED __m256i gather_ints(const int* source, __m256i offsets, __m256i lanes) {
  return _mm256_mask_i32gather_epi32(_mm256_setzero_si256(), source, offsets, lanes, sizeof(int));
}
CORVIDNUM_AVX2_INLINED __m256d gather_doubles(const double* source, __m128i offsets, __m256d lanes) {
  return _mm256_mask_i32gather_pd(_mm256_setzero_pd(), source, offsets, lanes, sizeof(double));
}

/// Computes values[k] += factor * source[offsets[k]] for four doubles; `part`: those of the mask `ints`.
template <bool part>
CORVIDNUM_AVX2_INLINED void add_multiples(double* values, __m256d factor, const double* source,
                                          __m128i offsets, __m128i ints) {
  const __m256i lanes = part ? _mm256_cvtepi32_epi64(ints) : all_lanes();
  const __m256d terms = _mm256_mul_pd(factor, gather_doubles(source, offsets, _mm256_castsi256_pd(lanes)));
  if constexpr (part) {
    _mm256_maskstore_pd(values, lanes, _mm256_add_pd(_mm256_maskload_pd(values, lanes), terms));
  } else {
    _mm256_storeu_pd(values, _mm256_add_pd(_mm256_loadu_pd(values), terms));
  }
}

/// The column update whose loop add_to_column_avx2 is.
struct ColumnUpdate {
  __m256d multiplier;
  const double* pivot_column;
  __m256i sides;
  const int* offset_of_row;
  __m256i not_met = {};  // minus the number of offsets that are 0, lane by lane

  /// Updates a group of kInts entries; `part`: those of the mask `lanes`.
  template <bool part>
  CORVIDNUM_AVX2_INLINED void group(double* values, const int* rows, __m256i lanes) {
    const __m256i numbers = part ? _mm256_maskload_epi32(rows, lanes)
                                 : _mm256_loadu_si256(reinterpret_cast<const __m256i*>(rows));
    const __m256i from_0 = _mm256_add_epi32(numbers, all_lanes());
    const __m256i offsets = _mm256_sign_epi32(gather_ints(offset_of_row, from_0, lanes), sides);
    not_met = _mm256_add_epi32(not_met, _mm256_cmpeq_epi32(offsets, _mm256_setzero_si256()));
    add_multiples<part>(values, multiplier, pivot_column, _mm256_castsi256_si128(offsets),
                        _mm256_castsi256_si128(lanes));
    add_multiples<part>(values + kDoubles, multiplier, pivot_column, _mm256_extracti128_si256(offsets, 1),
                        _mm256_extracti128_si256(lanes, 1));
  }
};

CORVIDNUM_AVX2 Index add_to_column_avx2(Index entries, double* values, const int* rows, double multiplier,
                                        const double* pivot_column, int side, const int* offset_of_row) {
  ColumnUpdate update = {_mm256_set1_pd(multiplier), pivot_column, _mm256_set1_epi32(side), offset_of_row};
  Index k = 0;
  for (; k + kInts <= entries; k += kInts) update.group<false>(values + k, rows + k, all_lanes());
  if (k < entries) {
    update.group<true>(values + k, rows + k, first_lanes(entries - k));
    k += kInts;
  }
  const __m128i halves =
      _mm_add_epi32(_mm256_castsi256_si128(update.not_met), _mm256_extracti128_si256(update.not_met, 1));
  const __m128i pairs = _mm_add_epi32(halves, _mm_unpackhi_epi64(halves, halves));
  return k + _mm_cvtsi128_si32(pairs) + _mm_extract_epi32(pairs, 1);
}
#endif

constexpr RowKernels kPortable = {add_to_column};
#if defined(__x86_64__)
constexpr RowKernels kAvx2 = {add_to_column_avx2};
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

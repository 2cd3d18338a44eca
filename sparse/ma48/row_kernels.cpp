// Inner loops of the elimination, for any processor and for AVX2. Elements that stand side by side fill a
// vector register; those that rows pick are fetched by gathers. A last group that does not fill a register
// goes through the same instructions under a mask, because columns are short: single elements would take
// longer than all full groups together. Products and sums are never contracted to fused multiply-adds.

#include "sparse/ma48/row_kernels.h"

#include <cmath>
#include <limits>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace corvidnum {
namespace {

using Index = std::ptrdiff_t;

Index add_to_column(Index entries, double* values, const int* rows, const ColumnUpdate& update, int side) {
  Index met = 0;
  for (Index k = 0; k < entries; ++k) {
    const int offset = update.offset_of_row[rows[k] - 1] * side;
    values[k] += update.multiplier * update.pivot_column[offset];
    met += offset != 0;
  }
  return met;
}

Index add_and_note(Index entries, double* values, const int* rows, const ColumnUpdate& update, Index /*most*/,
                   OffsetSet* met) {
  Index count = 0;
  met->clear();
  for (Index k = 0; k < entries; ++k) {
    const int offset = update.offset_of_row[rows[k] - 1];
    values[k] += update.multiplier * update.pivot_column[offset];
    met->add(offset);
    count += offset != 0;
  }
  return count;
}

constexpr double kNoNumber = -1.0;  // in place of the magnitude of a NaN

double number_or_nan(double magnitude) {
  return magnitude == kNoNumber ? std::numeric_limits<double>::quiet_NaN() : magnitude;
}

double largest(Index entries, const double* values) {
  double magnitude = kNoNumber;
  for (Index k = 0; k < entries; ++k) {
    if (std::fabs(values[k]) > magnitude) magnitude = std::fabs(values[k]);  // false for a NaN
  }
  return number_or_nan(magnitude);
}

void add_to_rows(Index entries, double multiplier, const double* values, const int* rows, double* w) {
  for (Index k = 0; k < entries; ++k) w[rows[k] - 1] += multiplier * values[k];
}

#if defined(__x86_64__)
#define CORVIDNUM_AVX2 __attribute__((target("avx2,popcnt")))
#define CORVIDNUM_AVX2_INLINED CORVIDNUM_AVX2 __attribute__((always_inline)) inline

constexpr Index kInts = 8, kDoubles = 4;  // in one register

CORVIDNUM_AVX2_INLINED __m256i all_lanes() { return _mm256_set1_epi32(-1); }

/// Returns a mask of the first `count` of kInts lanes.
CORVIDNUM_AVX2_INLINED __m256i first_lanes(Index count) {
  static const int kMask[2 * kInts] = {-1, -1, -1, -1, -1, -1, -1, -1};
  return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(kMask + kInts - count));
}

CORVIDNUM_AVX2_INLINED __m128i low_half(__m256i ints) { return _mm256_castsi256_si128(ints); }
CORVIDNUM_AVX2_INLINED __m128i high_half(__m256i ints) { return _mm256_extracti128_si256(ints, 1); }

/// Returns source[offsets] in the given lanes, 0 in the others.
CORVIDNUM_AVX2_INLINED __m256i gather_ints(const int* source, __m256i offsets, __m256i lanes) {
  return _mm256_mask_i32gather_epi32(_mm256_setzero_si256(), source, offsets, lanes, sizeof(int));
}
CORVIDNUM_AVX2_INLINED __m256d gather_doubles(const double* source, __m128i offsets, __m256i lanes) {
  return _mm256_mask_i32gather_pd(_mm256_setzero_pd(), source, offsets, _mm256_castsi256_pd(lanes),
                                  sizeof(double));
}

/// Offsets of both signs, and how many of them are 0.
struct SignedOffsets {
  const int* offset_of_row;
  __m256i sides;
  __m256i zeros = {};  // minus their number, lane by lane

  CORVIDNUM_AVX2_INLINED __m256i of(__m256i rows, __m256i lanes) {
    const __m256i offsets = _mm256_sign_epi32(gather_ints(offset_of_row, rows, lanes), sides);
    zeros = _mm256_add_epi32(zeros, _mm256_cmpeq_epi32(offsets, _mm256_setzero_si256()));
    return offsets;
  }
  CORVIDNUM_AVX2_INLINED Index zeros_in_all() const {
    const __m128i halves = _mm_add_epi32(low_half(zeros), high_half(zeros));
    const __m128i pairs = _mm_add_epi32(halves, _mm_unpackhi_epi64(halves, halves));
    return -(_mm_cvtsi128_si32(pairs) + _mm_extract_epi32(pairs, 1));
  }
};

/// Offsets below 32 * words, and the set of them: bit b of any lane of set[w] stands for 32 * w + b. A shift
/// by an amount outside 0 .. 31 leaves no bit, so each offset reaches only its own word.
template <int words>
struct NotedOffsets {
  const int* offset_of_row;
  __m256i set[words] = {};

  CORVIDNUM_AVX2_INLINED __m256i of(__m256i rows, __m256i lanes) {
    const __m256i offsets = gather_ints(offset_of_row, rows, lanes);
    for (int w = 0; w < words; ++w) {
      const __m256i shift = _mm256_sub_epi32(offsets, _mm256_set1_epi32(32 * w));
      set[w] = _mm256_or_si256(set[w], _mm256_sllv_epi32(_mm256_set1_epi32(1), shift));
    }
    return offsets;
  }
  CORVIDNUM_AVX2_INLINED std::uint64_t word(int w) const {
    const __m128i halves = _mm_or_si128(low_half(set[w]), high_half(set[w]));
    const auto pairs = static_cast<std::uint64_t>(_mm_cvtsi128_si64(halves) | _mm_extract_epi64(halves, 1));
    return (pairs | pairs >> 32) & 0xffffffff;
  }
};

/// Computes values[k] += multiplier * pivot_column[offsets[k]] for four doubles; `part`: those of the mask.
template <bool part>
CORVIDNUM_AVX2_INLINED void add_multiples(double* values, __m256d multiplier, const double* pivot_column,
                                          __m128i offsets, __m128i mask) {
  const __m256i lanes = part ? _mm256_cvtepi32_epi64(mask) : all_lanes();
  const __m256d terms = _mm256_mul_pd(multiplier, gather_doubles(pivot_column, offsets, lanes));
  if constexpr (part) {
    _mm256_maskstore_pd(values, lanes, _mm256_add_pd(_mm256_maskload_pd(values, lanes), terms));
  } else {
    _mm256_storeu_pd(values, _mm256_add_pd(_mm256_loadu_pd(values), terms));
  }
}

/// Updates a group of kInts entries; `part`: those of the mask `lanes`.
template <bool part, class Offsets>
CORVIDNUM_AVX2_INLINED void add_to_group(double* values, const int* rows, __m256i lanes, __m256d multiplier,
                                         const double* pivot_column, Offsets& offsets) {
  const __m256i numbers =
      part ? _mm256_maskload_epi32(rows, lanes) : _mm256_loadu_si256(reinterpret_cast<const __m256i*>(rows));
  const __m256i at = offsets.of(_mm256_add_epi32(numbers, all_lanes()), lanes);  // from 0
  add_multiples<part>(values, multiplier, pivot_column, low_half(at), low_half(lanes));
  add_multiples<part>(values + kDoubles, multiplier, pivot_column, high_half(at), high_half(lanes));
}

/// Updates a column group by group. Returns the number of lanes in all groups.
template <class Offsets>
CORVIDNUM_AVX2_INLINED Index add_to_groups(Index entries, double* values, const int* rows,
                                           const ColumnUpdate& update, Offsets& offsets) {
  const __m256d multiplier = _mm256_set1_pd(update.multiplier);
  const double* const pivot_column = update.pivot_column;
  Index k = 0;
  for (; k + kInts <= entries; k += kInts) {
    add_to_group<false>(values + k, rows + k, all_lanes(), multiplier, pivot_column, offsets);
  }
  if (k == entries) return k;
  add_to_group<true>(values + k, rows + k, first_lanes(entries - k), multiplier, pivot_column, offsets);
  return k + kInts;
}

CORVIDNUM_AVX2 Index add_to_column_avx2(Index entries, double* values, const int* rows,
                                        const ColumnUpdate& update, int side) {
  SignedOffsets offsets = {update.offset_of_row, _mm256_set1_epi32(side)};
  const Index lanes = add_to_groups(entries, values, rows, update, offsets);
  return lanes - offsets.zeros_in_all();
}

/// The kernel of add_and_note, for offsets below 32 * words.
template <int words>
CORVIDNUM_AVX2_INLINED Index add_and_note_words(Index entries, double* values, const int* rows,
                                                const ColumnUpdate& update, OffsetSet* met) {
  NotedOffsets<words> offsets = {update.offset_of_row};
  add_to_groups(entries, values, rows, update, offsets);
  int count = 0;
  for (int w = 0; w < words; w += 2) {
    const std::uint64_t word = offsets.word(w) | (w + 1 < words ? offsets.word(w + 1) << 32 : 0);
    met->set_word(w / 2, word);
    count += __builtin_popcountll(w == 0 ? word & ~std::uint64_t{1} : word);
  }
  return count;
}

CORVIDNUM_AVX2 Index add_and_note_avx2(Index entries, double* values, const int* rows,
                                       const ColumnUpdate& update, Index most, OffsetSet* met) {
  static_assert(OffsetSet::kMost < 4 * 32, "four words hold every offset");
  if (most < 32) return add_and_note_words<1>(entries, values, rows, update, met);
  if (most < 64) return add_and_note_words<2>(entries, values, rows, update, met);
  return add_and_note_words<4>(entries, values, rows, update, met);
}

CORVIDNUM_AVX2 double largest_avx2(Index entries, const double* values) {
  const __m256d none = _mm256_set1_pd(kNoNumber), sign = _mm256_set1_pd(-0.0);
  __m256d most = none;
  Index k = 0;
  // The maximum of a NaN and a number is the second operand.
  for (; k + kDoubles <= entries; k += kDoubles) {
    most = _mm256_max_pd(_mm256_andnot_pd(sign, _mm256_loadu_pd(values + k)), most);
  }
  if (k < entries) {
    const __m256i lanes = _mm256_cvtepi32_epi64(low_half(first_lanes(entries - k)));
    const __m256d magnitudes = _mm256_andnot_pd(sign, _mm256_maskload_pd(values + k, lanes));
    most = _mm256_max_pd(_mm256_blendv_pd(none, magnitudes, _mm256_castsi256_pd(lanes)), most);
  }
  const __m128d halves = _mm_max_pd(_mm256_castpd256_pd128(most), _mm256_extractf128_pd(most, 1));
  return number_or_nan(_mm_cvtsd_f64(_mm_max_sd(halves, _mm_unpackhi_pd(halves, halves))));
}
/// Fetches and stores the elements of W one by one, as gathers are no faster where no scatter goes with them,
/// but multiplies and adds four, then two of them at once.
CORVIDNUM_AVX2 void add_to_rows_avx2(Index entries, double multiplier, const double* values, const int* rows,
                                     double* w) {
  const __m256d factor = _mm256_set1_pd(multiplier);
  const auto at = [=](Index k) { return w + (rows[k] - 1); };
  Index k = 0;
  for (; k + kDoubles <= entries; k += kDoubles) {
    double *const at0 = at(k), *const at1 = at(k + 1), *const at2 = at(k + 2), *const at3 = at(k + 3);
    const __m256d terms = _mm256_mul_pd(factor, _mm256_loadu_pd(values + k));
    const __m256d sums = _mm256_add_pd(_mm256_setr_pd(*at0, *at1, *at2, *at3), terms);
    const __m128d low = _mm256_castpd256_pd128(sums), high = _mm256_extractf128_pd(sums, 1);
    _mm_storel_pd(at0, low);
    _mm_storeh_pd(at1, low);
    _mm_storel_pd(at2, high);
    _mm_storeh_pd(at3, high);
  }
  if (k + 2 <= entries) {
    double *const at0 = at(k), *const at1 = at(k + 1);
    const __m128d terms = _mm_mul_pd(_mm256_castpd256_pd128(factor), _mm_loadu_pd(values + k));
    const __m128d sums = _mm_add_pd(_mm_setr_pd(*at0, *at1), terms);
    _mm_storel_pd(at0, sums);
    _mm_storeh_pd(at1, sums);
    k += 2;
  }
  if (k < entries) *at(k) += multiplier * values[k];
}
#endif

constexpr RowKernels kPortable = {add_to_column, add_and_note, largest, add_to_rows};
#if defined(__x86_64__)
constexpr RowKernels kAvx2 = {add_to_column_avx2, add_and_note_avx2, largest_avx2, add_to_rows_avx2};
#endif

}  // namespace

const RowKernels& portable_row_kernels() { return kPortable; }

const RowKernels& row_kernels() {
#if defined(__x86_64__)
  if (__builtin_cpu_supports("avx2") && __builtin_cpu_supports("popcnt")) return kAvx2;
#endif
  return kPortable;
}

}  // namespace corvidnum

// What the row stages of 128-bit registers share. Each file that includes this gets the functions for
// its own tier, DIBPREP_TIER: in 32-bit builds the compiler takes none across tiers.
#pragma once

#include "bilinear/row_table.h"

#include <cstdint>
#include <emmintrin.h>

namespace dibprep {
namespace {

DIBPREP_TIER inline __m128i Load(const void* at) { return _mm_loadu_si128(static_cast<const __m128i*>(at)); }
DIBPREP_TIER inline __m128i LoadEight(const void* at) { return _mm_loadl_epi64(static_cast<const __m128i*>(at)); }
DIBPREP_TIER inline void Store(void* at, __m128i value) { _mm_storeu_si128(static_cast<__m128i*>(at), value); }

// The weights (w, 16 * w) of q and p.
struct Weights {
    __m128i upper;
    __m128i lower;
};

DIBPREP_TIER inline Weights WeightsOf(int fy) {
    return {_mm_set1_epi32((1024 - fy) * (1 + (16 << 16))), _mm_set1_epi32(fy * (1 + (16 << 16)))};
}

DIBPREP_TIER inline __m128i FourSlots(const std::int32_t* upper, const std::int32_t* lower, const Weights& weights) {
    const __m128i sum =
        _mm_add_epi32(_mm_madd_epi16(Load(upper), weights.upper), _mm_madd_epi16(Load(lower), weights.lower));
    return _mm_srli_epi32(sum, 20);
}

DIBPREP_TIER inline __m128i SixteenSlots(const std::int32_t* upper, const std::int32_t* lower, const Weights& weights) {
    const __m128i first = _mm_packs_epi32(FourSlots(upper, lower, weights), FourSlots(upper + 4, lower + 4, weights));
    const __m128i second =
        _mm_packs_epi32(FourSlots(upper + 8, lower + 8, weights), FourSlots(upper + 12, lower + 12, weights));
    return _mm_packus_epi16(first, second);
}

} // namespace
} // namespace dibprep

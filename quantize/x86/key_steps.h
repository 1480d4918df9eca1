// Steps of the loops over keys. For the fast forms alone: every one of their tiers has SSE2.
#pragma once

#include <cstdint>
#include <emmintrin.h>

namespace dibprep {

// Whether eight keys are the same: a run of one colour.
__attribute__((target("sse2"))) inline bool AllEqual8(const std::uint32_t* keys) {
    const __m128i lower = _mm_loadu_si128(reinterpret_cast<const __m128i*>(keys));
    const __m128i upper = _mm_loadu_si128(reinterpret_cast<const __m128i*>(keys + 4));
    const __m128i first = _mm_shuffle_epi32(lower, 0);
    return _mm_movemask_epi8(_mm_and_si128(_mm_cmpeq_epi32(lower, first), _mm_cmpeq_epi32(upper, first))) == 0xFFFF;
}

// Adds the increment to a 64-bit word and answers the sum (in the lower half): one addition in 32 bits
// too.
__attribute__((target("sse2"))) inline __m128i AddTo(std::uint64_t& word, const std::uint64_t& increment) {
    const __m128i sum = _mm_add_epi64(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(&word)),
                                      _mm_loadl_epi64(reinterpret_cast<const __m128i*>(&increment)));
    _mm_storel_epi64(reinterpret_cast<__m128i*>(&word), sum);
    return sum;
}

// Whether one of four sums has its sign bit set.
__attribute__((target("sse2"))) inline bool AnySign(__m128i a, __m128i b, __m128i c, __m128i d) {
    const __m128i any = _mm_or_si128(_mm_or_si128(a, b), _mm_or_si128(c, d));
    return (_mm_movemask_pd(_mm_castsi128_pd(any)) & 1) != 0;
}

} // namespace dibprep

// Steps that the kernels of the 128-bit registers share.
#pragma once

#include "quantize/kernels.h"

#include <cstdint>
#include <emmintrin.h>

#define DIBPREP_SSE2 __attribute__((target("sse2")))

namespace dibprep {

// KeyOf for four pixels.
DIBPREP_SSE2 inline __m128i KeysOf4(__m128i bgr) {
    const __m128i stay = _mm_and_si128(bgr, _mm_set1_epi32(0xF80007));
    const __m128i green = _mm_slli_epi32(_mm_and_si128(bgr, _mm_set1_epi32(0xF800)), 3);
    const __m128i blue = _mm_slli_epi32(_mm_and_si128(bgr, _mm_set1_epi32(0xF8)), 6);
    const __m128i redLow = _mm_srli_epi32(_mm_and_si128(bgr, _mm_set1_epi32(0x070000)), 10);
    const __m128i greenLow = _mm_srli_epi32(_mm_and_si128(bgr, _mm_set1_epi32(0x0700)), 5);
    return _mm_or_si128(_mm_or_si128(_mm_or_si128(stay, green), _mm_or_si128(blue, redLow)), greenLow);
}

// The kernel `nearest` in SSE2, also used by SSSE3, which has nothing better.
void NearestSse2(const CellScores& scores, unsigned char* indices);

} // namespace dibprep

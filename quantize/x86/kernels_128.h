// Steps that the kernels of the 128-bit registers share, compiled once for each of their tiers: the
// includer says which in DIBPREP_TARGET. (GCC does not inline functions of a lower tier.)
#pragma once

#include "quantize/kernels.h"

#include <cstdint>
#include <emmintrin.h>

namespace dibprep {

// The kernel `nearest` in SSE2, also used by SSSE3, which has nothing better.
void NearestSse2(const CellScores& scores, unsigned char* indices);

namespace {

// KeyOf for four pixels.
DIBPREP_TARGET inline __m128i KeysOf4(__m128i bgr) {
    const __m128i stay = _mm_and_si128(bgr, _mm_set1_epi32(0xF80007));
    const __m128i green = _mm_slli_epi32(_mm_and_si128(bgr, _mm_set1_epi32(0xF800)), 3);
    const __m128i blue = _mm_slli_epi32(_mm_and_si128(bgr, _mm_set1_epi32(0xF8)), 6);
    const __m128i redLow = _mm_srli_epi32(_mm_and_si128(bgr, _mm_set1_epi32(0x070000)), 10);
    const __m128i greenLow = _mm_srli_epi32(_mm_and_si128(bgr, _mm_set1_epi32(0x0700)), 5);
    return _mm_or_si128(_mm_or_si128(_mm_or_si128(stay, green), _mm_or_si128(blue, redLow)), greenLow);
}

DIBPREP_TARGET inline __m128i Load16(const unsigned char* at) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(at));
}

DIBPREP_TARGET inline void PutKeys4(__m128i bgr, std::uint32_t* keys) {
    _mm_storeu_si128(reinterpret_cast<__m128i*>(keys), KeysOf4(bgr));
}

DIBPREP_TARGET inline bool AllBytes(__m128i a, __m128i b, __m128i c) {
    return _mm_movemask_epi8(_mm_and_si128(_mm_and_si128(a, b), c)) == 0xFFFF;
}

// Every byte of the block is the one three bytes on. Three steps of 16 bytes, the last of which goes
// back a little, are the 45 that have such a successor.
DIBPREP_TARGET inline bool OfOneColour(const unsigned char* block) {
    return AllBytes(_mm_cmpeq_epi8(Load16(block), Load16(block + 3)),
                    _mm_cmpeq_epi8(Load16(block + 16), Load16(block + 19)),
                    _mm_cmpeq_epi8(Load16(block + 29), Load16(block + 32)));
}

// The first block is compared with itself three bytes on. A block behind it is compared with the first
// one, byte by byte, as it starts a whole number of pixels later.
DIBPREP_TARGET int SameBlocks(const unsigned char* pixels, int blocks) {
    if (blocks <= 0 || !OfOneColour(pixels))
        return 0;
    const __m128i parts[3] = {Load16(pixels), Load16(pixels + 16), Load16(pixels + 32)};
    for (int i = 1; i < blocks; ++i) {
        pixels += BlockBytes;
        if (!AllBytes(_mm_cmpeq_epi8(parts[0], Load16(pixels)), _mm_cmpeq_epi8(parts[1], Load16(pixels + 16)),
                      _mm_cmpeq_epi8(parts[2], Load16(pixels + 32))))
            return i;
    }
    return blocks;
}

} // namespace

} // namespace dibprep

// Literals of up to 32 bytes without a branch, for SSSE3 and AVX2. Compiled for the tier of the file
// that includes it, DIBPREP_TIER.
#pragma once

#include <tmmintrin.h>

namespace dibprep {
namespace {

// The 16 bytes from 16 - n on move the last n bytes of a register to its front, with zeros behind them.
alignas(16) constexpr signed char LastToFront[32] = {0,  1,  2,  3,  4,  5,  6,  7,  8,  9,  10, 11, 12, 13, 14, 15,
                                                     -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1};

// The first and the last 16 bytes; of fewer, the same bytes twice. A register is read from in front of
// its end, never from behind it: in front there is more of the same DIB, behind it maybe nothing.
DIBPREP_TIER inline void PutShort(unsigned char* to, const unsigned char* from, unsigned count) {
    const unsigned part = count < 16 ? count : 16;
    const __m128i places = _mm_loadu_si128(reinterpret_cast<const __m128i*>(LastToFront + 16 - part));
    const __m128i first = _mm_loadu_si128(reinterpret_cast<const __m128i*>(from + part - 16));
    const __m128i last = _mm_loadu_si128(reinterpret_cast<const __m128i*>(from + count - 16));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(to), _mm_shuffle_epi8(first, places));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(to + count - part), _mm_shuffle_epi8(last, places));
}

} // namespace
} // namespace dibprep

// Four pixels in a 128-bit register: what pixel_rows.h asks for and SSE2 and SSSE3 share. Compiled for
// the tier of the file that includes it, DIBPREP_TIER.
#pragma once

#include <cstdint>
#include <cstring>
#include <emmintrin.h>

namespace dibprep {
namespace {

using Pixels = __m128i;
constexpr bool MasksEnds = false;

DIBPREP_TIER inline __m128i Load(const void* at) { return _mm_loadu_si128(static_cast<const __m128i*>(at)); }
DIBPREP_TIER inline void Store(void* at, __m128i value) { _mm_storeu_si128(static_cast<__m128i*>(at), value); }

// A word at any address.
DIBPREP_TIER inline std::uint32_t Word(const unsigned char* in) {
    std::uint32_t word;
    std::memcpy(&word, in, sizeof word);
    return word;
}

DIBPREP_TIER inline Pixels All(std::uint32_t word) { return _mm_set1_epi32(static_cast<int>(word)); }
DIBPREP_TIER inline Pixels And(Pixels a, Pixels b) { return _mm_and_si128(a, b); }
DIBPREP_TIER inline Pixels Or(Pixels a, Pixels b) { return _mm_or_si128(a, b); }
DIBPREP_TIER inline Pixels NotAnd(Pixels a, Pixels b) { return _mm_andnot_si128(a, b); }
DIBPREP_TIER inline Pixels Up(Pixels pixels, __m128i count) { return _mm_sll_epi32(pixels, count); }
DIBPREP_TIER inline Pixels Down(Pixels pixels, __m128i count) { return _mm_srl_epi32(pixels, count); }
DIBPREP_TIER inline Pixels ZeroBytes(Pixels pixels) { return _mm_cmpeq_epi8(pixels, _mm_setzero_si128()); }

DIBPREP_TIER inline Pixels LoadBgr0(const unsigned char* in) { return Load(in); }

DIBPREP_TIER inline Pixels LoadWords(const unsigned char* in) {
    return _mm_unpacklo_epi16(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(in)), _mm_setzero_si128());
}

DIBPREP_TIER inline void StoreWords(unsigned char* out, Pixels first, Pixels second) {
    Store(out, _mm_packs_epi32(first, second));
}

// Whether 16 indices are the same. On pages most are.
DIBPREP_TIER inline bool AllEqual(const unsigned char* in) {
    return _mm_movemask_epi8(_mm_cmpeq_epi8(Load(in), _mm_set1_epi8(static_cast<char>(in[0])))) == 0xFFFF;
}

// The 12 bytes of four pixels of one colour, and zeros.
DIBPREP_TIER inline __m128i FourTimes(std::uint32_t color) {
    const auto blue = static_cast<int>(color | color << 24);
    const auto green = static_cast<int>(color >> 8 | color << 16);
    const auto red = static_cast<int>(color >> 16 | color << 8);
    return _mm_setr_epi32(blue, green, red, 0);
}

} // namespace
} // namespace dibprep

// Colours by index with AVX2, for the depth conversions and the resampler.
#pragma once

#include "memory/x86/index_word.h"

#include <cstdint>
#include <immintrin.h>

namespace dibprep {
namespace {

// The colours of the four lowest indices of a word, which is left with the next ones there. Gathering takes
// twice as long.
__attribute__((target("avx2"))) inline __m128i FourColors(const std::uint32_t* colors, IndexWord& word) {
    __m128i four = _mm_cvtsi32_si128(static_cast<int>(colors[FirstIndex(word)]));
    four = _mm_insert_epi32(four, static_cast<int>(colors[SecondIndex(word)]), 1);
    word = NextTwo(word);
    four = _mm_insert_epi32(four, static_cast<int>(colors[FirstIndex(word)]), 2);
    four = _mm_insert_epi32(four, static_cast<int>(colors[SecondIndex(word)]), 3);
    word = NextTwo(word);
    return four;
}

} // namespace
} // namespace dibprep

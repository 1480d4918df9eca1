// What the row kernels of the AVX-512 tier share: loads, exact stores, and words brought down to bytes.
#pragma once

#include "memory/x86/avx512.h"

#include <cstdint>

namespace dibprep {
namespace {

DIBPREP_AVX512 inline __m512i Load(const void* from) { return _mm512_loadu_si512(from); }

DIBPREP_AVX512 inline void Store(void* to, __m512i value) { _mm512_storeu_si512(to, value); }

// The low byte of each word, in the lower half. One permutation: the conversion takes two steps.
DIBPREP_AVX512 inline __m256i LowBytes(__m512i words) {
    const __m512i evens =
        _mm512_set_epi64(0, 0, 0, 0, 0x3E3C3A3836343230, 0x2E2C2A2826242220, 0x1E1C1A1816141210, 0x0E0C0A0806040200);
    return _mm512_castsi512_si256(_mm512_permutexvar_epi8(evens, words));
}

// Stores the first `count` of 32 bytes.
DIBPREP_AVX512 inline void StorePart(std::uint8_t* to, __m256i bytes, std::size_t count) {
    _mm256_mask_storeu_epi8(to, static_cast<__mmask32>(Lanes64(count)), bytes);
}

// The first `count` channels of 32 that lie in words.
DIBPREP_AVX512 inline void StoreWords(std::uint8_t* to, __m512i words, std::size_t count) {
    StorePart(to, LowBytes(words), count);
}

// Top + (bottom - top) * fraction, truncated: the steps of the line builders, each rounded as theirs.
DIBPREP_AVX512 inline __m256i MixEight(__m512d top, __m512d bottom, __m512d fraction) {
    return _mm512_cvttpd_epi32(_mm512_add_pd(top, _mm512_mul_pd(_mm512_sub_pd(bottom, top), fraction)));
}

DIBPREP_AVX512 inline __m512i Join(__m256i low, __m256i high) {
    return _mm512_inserti64x4(_mm512_castsi256_si512(low), high, 1);
}

// 32 channels in doublewords, 0 to 255, as bytes. Packing mixes the order of the lanes; the permutation
// that picks the low bytes of the words puts it right.
DIBPREP_AVX512 inline __m256i BytesOf(__m512i low, __m512i high) {
    const __m512i order =
        _mm512_set_epi64(0, 0, 0, 0, 0x3E3C3A382E2C2A28, 0x1E1C1A180E0C0A08, 0x3634323026242220, 0x1614121006040200);
    return _mm512_castsi512_si256(_mm512_permutexvar_epi8(order, _mm512_packs_epi32(low, high)));
}

} // namespace
} // namespace dibprep

// Access to the registers of the AVX2 tier, for its row kernels.
#pragma once

#define DIBPREP_TIER __attribute__((target("avx2")))
#include "transform/x86/groups.h"

#include <immintrin.h>

namespace dibprep {
namespace {

DIBPREP_TIER inline __m256i Load(const void* from) { return _mm256_loadu_si256(static_cast<const __m256i*>(from)); }

DIBPREP_TIER inline void Store(void* to, __m256i value) { _mm256_storeu_si256(static_cast<__m256i*>(to), value); }

DIBPREP_TIER inline __m256i Join(__m128i low, __m128i high) {
    return _mm256_inserti128_si256(_mm256_castsi128_si256(low), high, 1);
}

DIBPREP_TIER inline __m256i LoadTwo(const void* low, const void* high) { return Join(LoadHalf(low), LoadHalf(high)); }

// Stores the first `count` of 32 bytes.
DIBPREP_TIER inline void StorePart(std::uint8_t* to, __m256i value, std::size_t count) {
    if (count >= 32) {
        Store(to, value);
        return;
    }
    std::uint8_t whole[32];
    Store(whole, value);
    std::memcpy(to, whole, count);
}

} // namespace
} // namespace dibprep

// The stages of rows with 16-bit channels with AVX2: two, then four pixels at a time.
#include "bilinear/deep_rows.h"

#include <cstring>
#include <immintrin.h>

#define DIBPREP_AVX2 __attribute__((target("avx2")))

namespace dibprep {
namespace {

DIBPREP_AVX2 inline __m256i Load(const void* at) { return _mm256_loadu_si256(static_cast<const __m256i*>(at)); }
DIBPREP_AVX2 inline void Store(void* at, __m256i value) { _mm256_storeu_si256(static_cast<__m256i*>(at), value); }
DIBPREP_AVX2 inline __m128i LoadEight(const void* at) { return _mm_loadl_epi64(static_cast<const __m128i*>(at)); }

// The samples of a pixel, left and right in turn. Two pixels of three channels are 12 bytes: the right
// one is taken from their last eight.
template <int Channels>
DIBPREP_AVX2 inline __m128i Samples(const unsigned char* at) {
    const __m128i right = Channels == 4 ? LoadEight(at + 8) : _mm_srli_epi64(LoadEight(at + 4), 16);
    return _mm_unpacklo_epi16(LoadEight(at), right);
}

template <int Channels>
DIBPREP_AVX2 void Across(const DeepColumn* columns, int count, const unsigned char* row, std::uint32_t* mixed,
                         std::uintptr_t ahead) {
    const __m256i offset = _mm256_set1_epi32(1 << 25);
    const __m256i weightOf = _mm256_setr_epi32(1, 1, 1, 1, 3, 3, 3, 3);
    for (const DeepColumn* const end = columns + count; columns != end; columns += 2, mixed += 8) {
        _mm_prefetch(reinterpret_cast<const char*>(ahead + static_cast<std::uintptr_t>(columns->offset)), _MM_HINT_T0);
        const __m256i samples =
            _mm256_inserti128_si256(_mm256_castsi128_si256(Samples<Channels>(row + columns[0].offset)),
                                    Samples<Channels>(row + columns[1].offset), 1);
        const __m128i both = _mm_loadu_si128(reinterpret_cast<const __m128i*>(columns));
        const __m256i weights = _mm256_permutevar8x32_epi32(_mm256_castsi128_si256(both), weightOf);
        Store(mixed, _mm256_add_epi32(_mm256_madd_epi16(samples, weights), offset));
    }
}

struct Weights {
    __m256i upper;
    __m256i lower;
};

// Eight channels as signed doublewords.
DIBPREP_AVX2 inline __m256i EightSlots(const std::uint32_t* upper, const std::uint32_t* lower, const Weights& weights) {
    const __m256i above = Load(upper);
    const __m256i below = Load(lower);
    const __m256i even =
        _mm256_add_epi64(_mm256_mul_epu32(above, weights.upper), _mm256_mul_epu32(below, weights.lower));
    const __m256i odd = _mm256_add_epi64(_mm256_mul_epu32(_mm256_srli_epi64(above, 32), weights.upper),
                                         _mm256_mul_epu32(_mm256_srli_epi64(below, 32), weights.lower));
    // A shift to the left by 12 is one to the right by 20 that ends in the upper doubleword.
    const __m256i values = _mm256_blend_epi32(_mm256_srli_epi64(even, 20), _mm256_slli_epi64(odd, 12), 0xAA);
    return _mm256_sub_epi32(values, _mm256_set1_epi32(1 << 15));
}

template <int Channels>
DIBPREP_AVX2 void Down(const std::uint32_t* upper, const std::uint32_t* lower, int fy, const DeepLimits& limits,
                       unsigned char* out, int count) {
    const Weights weights = {_mm256_set1_epi32(1024 - fy), _mm256_set1_epi32(fy)};
    const __m256i lowest = _mm256_broadcastq_epi64(LoadEight(limits.lowest));
    const __m256i highest = _mm256_broadcastq_epi64(LoadEight(limits.highest));
    // Two pixels of four words as twelve bytes, in each half.
    const __m256i three = _mm256_setr_epi8(0, 1, 2, 3, 4, 5, 8, 9, 10, 11, 12, 13, -1, -1, -1, -1, //
                                           0, 1, 2, 3, 4, 5, 8, 9, 10, 11, 12, 13, -1, -1, -1, -1);
    for (; count > 0; count -= 4, upper += 16, lower += 16, out += Channels * 8) {
        // Pixels 0 and 2, then 1 and 3.
        const __m256i packed =
            _mm256_packs_epi32(EightSlots(upper, lower, weights), EightSlots(upper + 8, lower + 8, weights));
        const __m256i limited = _mm256_max_epi16(_mm256_min_epi16(packed, highest), lowest);
        __m256i words = _mm256_permute4x64_epi64(limited, 0xD8);
        unsigned char rest[32];
        // The last step of three channels writes four bytes too many, too.
        const bool whole = count >= (Channels == 4 ? 4 : 5);
        unsigned char* const to = whole ? out : rest;
        if (Channels == 4) {
            Store(to, words);
        } else {
            words = _mm256_shuffle_epi8(words, three);
            _mm_storeu_si128(reinterpret_cast<__m128i*>(to), _mm256_castsi256_si128(words));
            _mm_storeu_si128(reinterpret_cast<__m128i*>(to + 12), _mm256_extracti128_si256(words, 1));
        }
        if (!whole)
            // cppcheck-suppress uninitvar ; written above, through `to`
            std::memcpy(out, rest, static_cast<std::size_t>(count < 4 ? count : 4) * Channels * 2);
    }
}

} // namespace

void AddAvx2DeepRows(DeepTable& table) {
    table.across[0] = Across<3>;
    table.across[1] = Across<4>;
    table.down[0] = Down<3>;
    table.down[1] = Down<4>;
}

} // namespace dibprep

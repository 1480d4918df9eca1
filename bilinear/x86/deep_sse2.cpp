// The stages of rows with 16-bit channels with SSE2: one pixel at a time.
#include "bilinear/deep_rows.h"

#include <cstring>
#include <emmintrin.h>

#define DIBPREP_TIER __attribute__((target("sse2")))

namespace dibprep {
namespace {

DIBPREP_TIER inline __m128i Load(const void* at) { return _mm_loadu_si128(static_cast<const __m128i*>(at)); }
DIBPREP_TIER inline __m128i LoadEight(const void* at) { return _mm_loadl_epi64(static_cast<const __m128i*>(at)); }
DIBPREP_TIER inline void Store(void* at, __m128i value) { _mm_storeu_si128(static_cast<__m128i*>(at), value); }

// Two pixels of three channels are 12 bytes: the right one is taken from their last eight.
template <int Channels>
DIBPREP_TIER void Across(const DeepColumn* columns, int count, const unsigned char* row, std::uint32_t* mixed,
                         std::uintptr_t ahead) {
    const __m128i offset = _mm_set1_epi32(1 << 25);
    for (const DeepColumn* const end = columns + count; columns != end; ++columns, mixed += 4) {
        const unsigned char* const at = row + columns->offset;
        _mm_prefetch(reinterpret_cast<const char*>(ahead + static_cast<std::uintptr_t>(columns->offset)), _MM_HINT_T0);
        const __m128i right = Channels == 4 ? LoadEight(at + 8) : _mm_srli_epi64(LoadEight(at + 4), 16);
        std::int32_t both;
        std::memcpy(&both, columns->weights, sizeof both);
        const __m128i weights = _mm_shuffle_epi32(_mm_cvtsi32_si128(both), 0);
        Store(mixed, _mm_add_epi32(_mm_madd_epi16(_mm_unpacklo_epi16(LoadEight(at), right), weights), offset));
    }
}

struct Weights {
    __m128i upper;
    __m128i lower;
};

// Four channels as signed doublewords.
DIBPREP_TIER inline __m128i FourSlots(const std::uint32_t* upper, const std::uint32_t* lower, const Weights& weights) {
    const __m128i above = Load(upper);
    const __m128i below = Load(lower);
    const __m128i even = _mm_add_epi64(_mm_mul_epu32(above, weights.upper), _mm_mul_epu32(below, weights.lower));
    const __m128i odd = _mm_add_epi64(_mm_mul_epu32(_mm_srli_epi64(above, 32), weights.upper),
                                      _mm_mul_epu32(_mm_srli_epi64(below, 32), weights.lower));
    // A shift to the left by 12 is one to the right by 20 that ends in the upper doubleword.
    const __m128i upperOnly = _mm_set_epi32(-1, 0, -1, 0);
    const __m128i values = _mm_or_si128(_mm_srli_epi64(even, 20), _mm_and_si128(_mm_slli_epi64(odd, 12), upperOnly));
    return _mm_sub_epi32(values, _mm_set1_epi32(1 << 15));
}

template <int Channels>
DIBPREP_TIER void Down(const std::uint32_t* upper, const std::uint32_t* lower, int fy, const DeepLimits& limits,
                       unsigned char* out, int count) {
    const Weights weights = {_mm_set1_epi32(1024 - fy), _mm_set1_epi32(fy)};
    const __m128i lowest = LoadEight(limits.lowest);
    const __m128i highest = LoadEight(limits.highest);
    for (; count > 0; --count, upper += 4, lower += 4, out += Channels * 2) {
        const __m128i slots = FourSlots(upper, lower, weights);
        const __m128i words = _mm_max_epi16(_mm_min_epi16(_mm_packs_epi32(slots, slots), highest), lowest);
        // The next pixel is stored over the empty word.
        if (Channels == 4 || count > 1) {
            _mm_storel_epi64(reinterpret_cast<__m128i*>(out), words);
        } else {
            unsigned char rest[8];
            _mm_storel_epi64(reinterpret_cast<__m128i*>(rest), words);
            std::memcpy(out, rest, 6);
        }
    }
}

} // namespace

void AddSse2DeepRows(DeepTable& table) {
    table.across[0] = Across<3>;
    table.across[1] = Across<4>;
    table.down[0] = Down<3>;
    table.down[1] = Down<4>;
}

} // namespace dibprep

// The kernels in SSE2.
#define DIBPREP_TARGET __attribute__((target("sse2")))

#include "quantize/x86/kernels_128.h"

#include "memory/unaligned.h"

namespace dibprep {

namespace {

DIBPREP_TARGET inline __m128i Pixel(const unsigned char* at) {
    return _mm_cvtsi32_si128(static_cast<int>(LoadU32(at)));
}

// Four pixels from twelve bytes. The four-byte load of the last one starts a byte early.
DIBPREP_TARGET inline __m128i Pixels4(const unsigned char* pixels) {
    const __m128i low = _mm_unpacklo_epi32(Pixel(pixels), Pixel(pixels + 3));
    const __m128i high = _mm_unpacklo_epi32(Pixel(pixels + 6), _mm_srli_epi32(Pixel(pixels + 8), 8));
    return _mm_unpacklo_epi64(low, high);
}

DIBPREP_TARGET void Keys(const unsigned char* pixels, int count, std::uint32_t* keys) {
    int i = 0;
    for (; i + 4 <= count; i += 4, pixels += 12)
        PutKeys4(Pixels4(pixels), keys + i);
    ScalarQuantizeKernels.keys(pixels, count - i, keys + i);
}

DIBPREP_TARGET int MixedBlocks(const unsigned char* pixels, int blocks, std::uint32_t* keys) {
    for (int i = 0; i < blocks; ++i) {
        if (OfOneColour(pixels))
            return i;
        for (int part = 0; part < 4; ++part, pixels += 12, keys += 4)
            PutKeys4(Pixels4(pixels), keys);
    }
    return blocks;
}

DIBPREP_TARGET inline __m128i Smaller(__m128i a, __m128i b) {
    const __m128i second = _mm_cmpgt_epi32(a, b);
    return _mm_or_si128(_mm_andnot_si128(second, a), _mm_and_si128(second, b));
}

} // namespace

DIBPREP_TARGET void NearestSse2(const CellScores& scores, unsigned char* indices) {
    const __m128i index = _mm_set1_epi32(0xFF);
    for (int r = 0; r < 8; ++r) {
        for (int g = 0; g < 8; ++g, indices += 8) {
            __m128i low = _mm_set1_epi32(0x7FFFFFFF);
            __m128i high = low;
            for (int i = 0; i < scores.count; ++i) {
                const __m128i base = _mm_set1_epi32(static_cast<int>(scores.red[i][r] + scores.green[i][g]));
                const auto* const blue = reinterpret_cast<const __m128i*>(scores.blue[i]);
                low = Smaller(low, _mm_add_epi32(base, _mm_loadu_si128(blue)));
                high = Smaller(high, _mm_add_epi32(base, _mm_loadu_si128(blue + 1)));
            }
            const __m128i words = _mm_packs_epi32(_mm_and_si128(low, index), _mm_and_si128(high, index));
            _mm_storel_epi64(reinterpret_cast<__m128i*>(indices), _mm_packus_epi16(words, words));
        }
    }
}

const QuantizeKernels Sse2QuantizeKernels = {Tier::Sse2, Keys,          SameBlocks,   MixedBlocks,
                                             PickScalar, SortFewScalar, SearchScalar, NearestSse2};

} // namespace dibprep

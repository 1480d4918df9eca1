// The kernels in SSSE3: pixels are spread by a byte shuffle.
#define DIBPREP_TARGET __attribute__((target("ssse3")))

#include "quantize/x86/kernels_128.h"

#include <tmmintrin.h>

namespace dibprep {

namespace {

// Four pixels in the low twelve bytes.
DIBPREP_TARGET inline __m128i Spread(__m128i bytes) {
    return _mm_shuffle_epi8(bytes, _mm_setr_epi8(0, 1, 2, -1, 3, 4, 5, -1, 6, 7, 8, -1, 9, 10, 11, -1));
}

DIBPREP_TARGET void Keys(const unsigned char* pixels, int count, std::uint32_t* keys) {
    int i = 0;
    // The 16-byte load for four pixels reaches four bytes beyond them.
    for (; i + 6 <= count; i += 4, pixels += 12)
        PutKeys4(Spread(Load16(pixels)), keys + i);
    ScalarQuantizeKernels.keys(pixels, count - i, keys + i);
}

DIBPREP_TARGET int MixedBlocks(const unsigned char* pixels, int blocks, std::uint32_t* keys) {
    for (int i = 0; i < blocks; ++i, pixels += BlockBytes, keys += BlockPixels) {
        if (OfOneColour(pixels))
            return i;
        PutKeys4(Spread(Load16(pixels)), keys);
        PutKeys4(Spread(Load16(pixels + 12)), keys + 4);
        PutKeys4(Spread(Load16(pixels + 24)), keys + 8);
        // The block's last twelve bytes, without looking behind it.
        PutKeys4(Spread(_mm_srli_si128(Load16(pixels + 32), 4)), keys + 12);
    }
    return blocks;
}

} // namespace

const QuantizeKernels Ssse3QuantizeKernels = {Tier::Ssse3, Keys,          SameBlocks,   MixedBlocks,
                                              PickScalar,  SortFewScalar, SearchScalar, NearestSse2};

} // namespace dibprep

// The kernels in SSSE3: pixels are spread by a byte shuffle.
#include "quantize/x86/kernels_128.h"

#include <tmmintrin.h>

namespace dibprep {

namespace {

__attribute__((target("ssse3"))) void Keys(const unsigned char* pixels, int count, std::uint32_t* keys) {
    const __m128i spread = _mm_setr_epi8(0, 1, 2, -1, 3, 4, 5, -1, 6, 7, 8, -1, 9, 10, 11, -1);
    int i = 0;
    // The 16-byte load for four pixels reaches four bytes beyond them.
    for (; i + 6 <= count; i += 4, pixels += 12) {
        const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(pixels));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(keys + i), KeysOf4(_mm_shuffle_epi8(bytes, spread)));
    }
    ScalarQuantizeKernels.keys(pixels, count - i, keys + i);
}

} // namespace

const QuantizeKernels Ssse3QuantizeKernels = {Tier::Ssse3, Keys, NearestSse2};

} // namespace dibprep

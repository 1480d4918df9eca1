// The row kernels with AVX-512 (F, BW, DQ, VL, VBMI): 64 bytes at a time, and masks for what is left.
#include "memory/x86/avx512.h"
#include "transform/row_kernels.h"

namespace dibprep {
namespace {

// Words of at most 255 after the shift. Rows of scratch have room to the next 32 elements only.
DIBPREP_AVX512 void Narrow(const std::uint16_t* from, unsigned int shift, std::uint8_t* out, std::size_t count) {
    const __m128i bits = _mm_cvtsi32_si128(static_cast<int>(shift));
    for (std::size_t i = 0; i < count; i += 32) {
        const __m512i words = _mm512_srl_epi16(_mm512_loadu_si512(from + i), bits);
        _mm256_mask_storeu_epi8(out + i, static_cast<__mmask32>(Lanes64(count - i)), _mm512_cvtepi16_epi8(words));
    }
}

} // namespace

void AddAvx512RowKernels(RowKernels& kernels) {
    kernels.tier = Tier::Avx512;
    kernels.narrow = Narrow;
}

} // namespace dibprep

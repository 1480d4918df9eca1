// The scalar kernels, which define the results of the others, and the choice among them.
#include "quantize/kernels.h"

namespace dibprep {

namespace {

void Keys(const unsigned char* pixels, int count, std::uint32_t* keys) {
    for (int i = 0; i < count; ++i, pixels += 3)
        keys[i] = KeyOf(pixels[0] | std::uint32_t{pixels[1]} << 8 | std::uint32_t{pixels[2]} << 16);
}

void Nearest(const CellScores& scores, unsigned char* indices) {
    for (std::uint32_t low = 0; low <= LowMask; ++low) {
        std::uint32_t best = 0xFFFFFFFF;
        for (int i = 0; i < scores.count; ++i) {
            const std::uint32_t score =
                (scores.red[i][low >> 6] + scores.green[i][low >> 3 & 7] + scores.blue[i][low & 7]) ^ 0x80000000u;
            best = score < best ? score : best;
        }
        indices[low] = static_cast<unsigned char>(best);
    }
}

} // namespace

const QuantizeKernels ScalarQuantizeKernels = {Tier::Scalar, Keys, Nearest};

const QuantizeKernels& KernelsOf(Tier tier) {
    switch (tier) {
    case Tier::Avx512:
    case Tier::Avx2:
        return Avx2QuantizeKernels;
    case Tier::Ssse3:
        return Ssse3QuantizeKernels;
    case Tier::Sse2:
        return Sse2QuantizeKernels;
    default:
        return ScalarQuantizeKernels;
    }
}

} // namespace dibprep

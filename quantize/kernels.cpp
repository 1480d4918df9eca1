// The scalar kernels, which define the results of the others, and the choice among them.
#include "quantize/kernels.h"

#include "quantize/axis.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace dibprep {

namespace {

// The squared distances of a value from the nearest and from the farthest end of a cell that starts
// at 0, by the value + 255.
struct EndDistances {
    std::uint64_t of[511]; // nearest in the lower half, farthest in the upper

    constexpr EndDistances() : of() {
        for (int value = -255; value <= 255; ++value) {
            const int nearest = value < 0 ? value : value > 7 ? value - 7 : 0;
            const int farthest = value < 4 ? 7 - value : value;
            of[value + 255] =
                static_cast<std::uint64_t>(Square(farthest)) << 32 | static_cast<std::uint64_t>(Square(nearest));
        }
    }
};

constexpr EndDistances Ends;

void Keys(const unsigned char* pixels, int count, std::uint32_t* keys) {
    for (int i = 0; i < count; ++i, pixels += 3)
        keys[i] = KeyOf(pixels[0] | std::uint32_t{pixels[1]} << 8 | std::uint32_t{pixels[2]} << 16);
}

bool OfOneColour(const unsigned char* block) { return std::memcmp(block, block + 3, BlockBytes - 3) == 0; }

int SameBlocks(const unsigned char* pixels, int blocks) {
    for (int i = 0; i < blocks; ++i) {
        const unsigned char* const block = pixels + i * std::ptrdiff_t{BlockBytes};
        if (std::memcmp(block, pixels, 3) != 0 || !OfOneColour(block))
            return i;
    }
    return blocks;
}

int MixedBlocks(const unsigned char* pixels, int blocks, std::uint32_t* keys) {
    for (int i = 0; i < blocks; ++i, pixels += BlockBytes, keys += BlockPixels) {
        if (OfOneColour(pixels))
            return i;
        Keys(pixels, BlockPixels, keys);
    }
    return blocks;
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

int PickScalar(const CColorTrans2* records, int count, std::uint32_t cell, std::uint16_t* picked) {
    const std::uint32_t key = cell << LowBits;
    const std::uint64_t* const reds = Ends.of + 255 - RedOf(key);
    const std::uint64_t* const greens = Ends.of + 255 - GreenOf(key);
    const std::uint64_t* const blues = Ends.of + 255 - BlueOf(key);
    std::uint32_t nearest[MostListed];
    std::uint32_t bound = 0xFFFFFFFF;
    for (int i = 0; i < count; ++i) {
        const tagRGBQUAD& colour = records[i].m_rgb;
        const std::uint64_t both = reds[colour.rgbRed] + greens[colour.rgbGreen] + blues[colour.rgbBlue];
        nearest[i] = static_cast<std::uint32_t>(both);
        bound = std::min(bound, static_cast<std::uint32_t>(both >> 32));
    }
    int found = 0;
    for (int i = 0; i < count; ++i) {
        if (nearest[i] > bound)
            continue;
        if (found == CellScores::Most)
            return found + 1;
        picked[found++] = static_cast<std::uint16_t>(i);
    }
    return found;
}

// The place in the order that decides among equals: 0 to the start for those met on the way down, then
// the places behind it.
int SearchScalar(const ListedColours& list, const unsigned char* pixel) {
    const int start = list.start[pixel[0]];
    std::uint32_t best = 0xFFFFFFFF;
    for (int i = 0; i < list.count; ++i) {
        const int blue = static_cast<int>(list.blueRed[i] & 0xFF) - pixel[0];
        const int red = static_cast<int>(list.blueRed[i] >> 16) - pixel[2];
        const int green = static_cast<int>(list.green[i]) - pixel[1];
        const int order = i <= start ? start - i : i;
        best = std::min(best, static_cast<std::uint32_t>(Square(blue) + Square(green) + Square(red)) << 8 |
                                  static_cast<std::uint32_t>(order));
    }
    const int order = static_cast<int>(best & 0xFF);
    return order <= start ? start - order : order;
}

bool SortFewScalar(std::uint32_t* words, int count) {
    std::uint32_t sorted[FewWords];
    for (int i = 0; i < count; ++i) {
        int at = i;
        for (; at > 0 && sorted[at - 1] > words[i]; --at)
            sorted[at] = sorted[at - 1];
        sorted[at] = words[i];
    }
    for (int i = 1; i < count; ++i) {
        if (sorted[i] >> 8 == sorted[i - 1] >> 8)
            return false;
    }
    std::copy_n(sorted, count, words);
    return true;
}

const QuantizeKernels ScalarQuantizeKernels = {Tier::Scalar, Keys,          SameBlocks,   MixedBlocks,
                                               PickScalar,   SortFewScalar, SearchScalar, Nearest};

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

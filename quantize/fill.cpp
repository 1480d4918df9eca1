// FillTree for large pictures. Inserting a colour only adds to the nodes of its path, modulo 2^32, and
// sets child bits, so that insertions may be gathered and applied in any order. The pixels of every
// 8 x 8 x 8 cell of colours are counted first, with the sums of their low bits, in one packed word
// per cell; then each cell that occurred is inserted once, as many insertions at a time. Runs of one
// colour are counted eight at a time.
//
// Cells have the size of the leaves at depth 5 and lie inside those of shallower trees. Deeper trees
// are filled by the scalar form: their node arrays, up to 470 MB, are best touched only where
// colours are.
#include "quantize/forms.h"
#include "quantize/kernels.h"
#include "quantize/scratch.h"
#include "quantize/source_pixels.h"
#include "quantize/x86/key_steps.h"

#include <algorithm>
#include <cstdint>

namespace dibprep {

namespace {

constexpr unsigned int MostDepth = 5;

// Below this the histogram costs more than it saves.
constexpr std::uint64_t LeastPixels = 16384;

// A cell's word: pixels in bits 51 to 63, then the sums of the low three bits of red, green and blue
// in 17 bits each. The word is applied to the tree and emptied soon after its sign bit tells 4096
// pixels, with at most 7 more: the sums then fit with room to spare.
constexpr int RedAt = 34;
constexpr int GreenAt = 17;
constexpr int PixelsAt = 51;
constexpr std::uint32_t SumMask = (1u << 17) - 1;

struct Increments {
    std::uint64_t of[CellColours];

    constexpr Increments() : of() {
        for (std::uint32_t low = 0; low <= LowMask; ++low) {
            of[low] = std::uint64_t{1} << PixelsAt | std::uint64_t{low >> 6} << RedAt |
                      std::uint64_t{low >> 3 & 7} << GreenAt | (low & 7);
        }
    }
};

constexpr Increments OfPixel;

// Five bits with two zeros between each: a channel's part of the path from the root to a leaf.
constexpr unsigned int Spread(unsigned int bits) {
    unsigned int spread = 0;
    for (unsigned int i = 0; i < 5; ++i)
        spread |= (bits >> i & 1) << (3 * i);
    return spread;
}

class Histogram {
public:
    // Two words per cell, for even and odd pixels: the additions of neighbours of like colour then
    // need not wait for each other.
    explicit Histogram(CNiGoRo2& quantiser)
        : m_quantiser(quantiser), m_even(ColourCells, Scratch<std::uint64_t>::Fill::Zeros),
          m_odd(ColourCells, Scratch<std::uint64_t>::Fill::Zeros) {
        for (unsigned int level = 0; level < quantiser.m_wDepth; ++level)
            m_firstLeaf = 8 * m_firstLeaf + 1;
    }

    explicit operator bool() const { return m_even && m_odd; }

    void Count(const std::uint32_t* keys, int count) {
        std::uint64_t* const even = m_even.get();
        std::uint64_t* const odd = m_odd.get();
        const auto add = [](std::uint64_t* words, std::uint32_t key) {
            return AddTo<0>(words[key >> LowBits], OfPixel.of[key & LowMask]);
        };
        int i = 0;
        for (; i + 8 <= count; i += 8) {
            const std::uint32_t* const k = keys + i;
            if (AllEqual8(k)) {
                const __m128i sum = AddTo<3>(even[k[0] >> LowBits], OfPixel.of[k[0] & LowMask]);
                if (AnySign(sum, sum, sum, sum))
                    EmptyFullOnes(k, 1);
                continue;
            }
            const __m128i sum0 = add(even, k[0]);
            const __m128i sum1 = add(odd, k[1]);
            const __m128i sum2 = add(even, k[2]);
            const __m128i sum3 = add(odd, k[3]);
            const bool full = AnySign(sum0, sum1, sum2, sum3);
            const __m128i sum4 = add(even, k[4]);
            const __m128i sum5 = add(odd, k[5]);
            const __m128i sum6 = add(even, k[6]);
            const __m128i sum7 = add(odd, k[7]);
            if (full || AnySign(sum4, sum5, sum6, sum7))
                EmptyFullOnes(k, 8);
        }
        for (int j = i; j < count; ++j)
            add(even, keys[j]);
        EmptyFullOnes(keys + i, count - i);
    }

    void ApplyAll() {
        for (std::uint32_t cell = 0; cell < ColourCells; ++cell) {
            if (m_even[cell])
                Apply(cell, m_even[cell]);
            if (m_odd[cell])
                Apply(cell, m_odd[cell]);
        }
    }

private:
    // Rare, and kept out of the loop that counts, which has no register to spare for it.
    __attribute__((noinline)) void EmptyFullOnes(const std::uint32_t* keys, int count) {
        for (int i = 0; i < count; ++i)
            EmptyIfFull(keys[i] >> LowBits);
    }

    void EmptyIfFull(std::uint32_t cell) {
        for (std::uint64_t* const word : {&m_even[cell], &m_odd[cell]}) {
            if (static_cast<std::int64_t>(*word) < 0) {
                Apply(cell, *word);
                *word = 0;
            }
        }
    }

    // Inserts the pixels of a word.
    void Apply(std::uint32_t cell, std::uint64_t word) {
        const auto pixels = static_cast<std::uint32_t>(word >> PixelsAt);
        const std::uint32_t drop = MostDepth - m_quantiser.m_wDepth;
        const std::uint32_t red = cell >> 10;
        const std::uint32_t green = cell >> 5 & 31;
        const std::uint32_t blue = cell & 31;
        unsigned int node =
            m_firstLeaf + (Spread(red >> drop) | Spread(green >> drop) << 1 | Spread(blue >> drop) << 2);
        CCube2& leaf = m_quantiser.m_pCube[node];
        leaf.m_dwWeight += pixels;
        leaf.m_byChild = 0;
        if (!leaf.m_dwFixed) {
            leaf.m_dwPixels += pixels;
            leaf.m_dwRed += 8 * red * pixels + (static_cast<std::uint32_t>(word >> RedAt) & SumMask);
            leaf.m_dwGreen += 8 * green * pixels + (static_cast<std::uint32_t>(word >> GreenAt) & SumMask);
            leaf.m_dwBlue += 8 * blue * pixels + (static_cast<std::uint32_t>(word) & SumMask);
        }
        while (node != 0) {
            const unsigned int child = (node - 1) % 8;
            node = (node - 1) / 8;
            m_quantiser.m_pCube[node].m_dwWeight += pixels;
            m_quantiser.m_pCube[node].m_byChild |= static_cast<unsigned char>(1u << child);
        }
    }

    CNiGoRo2& m_quantiser;
    Scratch<std::uint64_t> m_even;
    Scratch<std::uint64_t> m_odd;
    unsigned int m_firstLeaf = 0;
};

// Keys of 5-5-5 pixels: the low bits of their channels are zero.
void Keys16(const unsigned char* pixels, int count, std::uint32_t* keys) {
    for (int i = 0; i < count; ++i)
        keys[i] = (LoadU16(pixels + 2 * i) & 0x7FFFu) << LowBits;
}

} // namespace

bool FastFillTree(CNiGoRo2& quantiser) {
    const Layout layout = LayoutOf(quantiser.m_bih);
    const int width = quantiser.m_bih.biWidth;
    const int height = quantiser.m_bih.biHeight;
    const Tier tier = CurrentTier();
    if (tier == Tier::Scalar || (layout != Layout::Plain24 && layout != Layout::Plain16) ||
        quantiser.m_bih.biSize < sizeof quantiser.m_bih || quantiser.m_wDepth > MostDepth || width <= 0 ||
        height <= 0 || static_cast<std::uint64_t>(width) * static_cast<std::uint32_t>(height) < LeastPixels)
        return false;
    Histogram histogram(quantiser);
    if (!histogram)
        return false;
    const auto makeKeys = layout == Layout::Plain24 ? KernelsOf(tier).keys : Keys16;
    const std::size_t pixelBytes = quantiser.m_bih.biBitCount / 8u;
    const std::size_t stride = SourceRowBytes(quantiser.m_bih.biBitCount, width);
    const unsigned char* row = quantiser.m_pBits;
    std::uint32_t keys[ChunkPixels];
    for (int y = 0; y < height; ++y, row += stride) {
        for (int x = 0; x < width;) {
            const int count = std::min(width - x, ChunkPixels);
            makeKeys(row + static_cast<std::size_t>(x) * pixelBytes, count, keys);
            histogram.Count(keys, count);
            x += count;
        }
    }
    histogram.ApplyAll();
    return true;
}

} // namespace dibprep

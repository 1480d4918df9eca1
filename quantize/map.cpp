// The row mappers for large pictures, with remembered answers. 24-bit rows go through tables of the
// nearest entries of all colours of a cell; the 32768 colours of 5-5-5 rows are remembered one by one.
#include "quantize/forms.h"
#include "quantize/limits.h"
#include "quantize/list_starts.h"
#include "quantize/nearest_tables.h"
#include "quantize/source_pixels.h"

#include <algorithm>
#include <cstring>

namespace dibprep {

namespace {

// Below this the tables cost more than they save.
constexpr std::uint64_t LeastPixels = 4096;

bool Worthwhile(int width, int height) {
    return CurrentTier() != Tier::Scalar && width > 0 && height > 0 &&
           static_cast<std::uint64_t>(width) * static_cast<std::uint32_t>(height) >= LeastPixels;
}

// Rows of a small picture: every colour is looked for in the whole list at once, but for neighbours of
// one colour.
bool MapSmall24(const CNiGoRo2& quantiser, const unsigned char* source, int width, int height, unsigned char* target) {
    const Tier tier = CurrentTier();
    ListedColours list;
    if (tier < Tier::Avx2 || !quantiser.m_wLinear || !FindListStarts(quantiser, list.start))
        return false;
    list.count = UsedRecords(quantiser);
    for (int i = 0; i < (list.count + 7) / 8 * 8; ++i) {
        const tagRGBQUAD& colour = quantiser.m_Palette[i].m_rgb;
        list.blueRed[i] = static_cast<std::uint32_t>(colour.rgbRed) << 16 | colour.rgbBlue;
        list.green[i] = colour.rgbGreen;
    }
    const auto search = KernelsOf(tier).search;
    const std::size_t sourceStride = SourceRowBytes(24, width);
    const std::size_t targetStride = SourceRowBytes(8, width);
    const auto unsignedWidth = static_cast<std::size_t>(width);
    for (int y = 0; y < height; ++y, source += sourceStride, target += targetStride) {
        for (std::size_t x = 0; x < unsignedWidth; ++x) {
            const unsigned char* const pixel = source + 3 * x;
            target[x] = x > 0 && std::memcmp(pixel, pixel - 3, 3) == 0
                            ? target[x - 1]
                            : quantiser.m_Palette[search(list, pixel)].m_byIndex;
        }
    }
    return true;
}

} // namespace

bool FastMap24(CNiGoRo2& quantiser, const unsigned char* source, int width, int height, unsigned char* target) {
    if (!Worthwhile(width, height))
        return width > 0 && height > 0 && MapSmall24(quantiser, source, width, height, target);
    const QuantizeKernels& kernels = KernelsOf(CurrentTier());
    NearestTables tables(quantiser, kernels, static_cast<std::uint64_t>(width) * static_cast<std::uint32_t>(height));
    if (!tables)
        return false;
    const std::size_t sourceStride = SourceRowBytes(24, width);
    const std::size_t targetStride = SourceRowBytes(8, width);
    std::uint32_t keys[ChunkPixels];
    for (int y = 0; y < height; ++y, source += sourceStride, target += targetStride) {
        for (int x = 0; x < width;) {
            const unsigned char* const at = source + std::size_t{3} * static_cast<unsigned int>(x);
            int count = width - x;
            if (count >= BlockPixels) {
                const int same = kernels.sameBlocks(at, count / BlockPixels);
                if (same > 0) {
                    kernels.keys(at, 1, keys);
                    tables.MapRun(keys[0], same * BlockPixels, target + x);
                    x += same * BlockPixels;
                    continue;
                }
                count = kernels.mixedBlocks(at, std::min(count, ChunkPixels) / BlockPixels, keys) * BlockPixels;
            } else {
                kernels.keys(at, count, keys);
            }
            tables.Map(keys, count, target + x);
            x += count;
        }
    }
    return true;
}

bool FastMap16(CNiGoRo2& quantiser, const unsigned char* source, int width, int height, unsigned char* target) {
    if (!Worthwhile(width, height))
        return false;
    constexpr unsigned int Known = 256;
    const Scratch<std::uint16_t> answers(ColourCells, Scratch<std::uint16_t>::Fill::Zeros);
    if (!answers)
        return false;
    const auto nearest = quantiser.m_wLinear ? &CNiGoRo2::GetNearestColorIndexL : &CNiGoRo2::GetNearestColorIndexC;
    const std::size_t sourceStride = SourceRowBytes(16, width);
    const std::size_t targetStride = SourceRowBytes(8, width);
    for (int y = 0; y < height; ++y, source += sourceStride, target += targetStride) {
        for (int x = 0; x < width; ++x) {
            const unsigned int pixel = LoadU16(source + std::size_t{2} * static_cast<unsigned int>(x)) & 0x7FFFu;
            unsigned int answer = answers[pixel];
            if (answer == 0) {
                const Rgb colour = DecodePlain16(pixel);
                answer = Known | (quantiser.*nearest)(colour.r, colour.g, colour.b);
                answers[pixel] = static_cast<std::uint16_t>(answer);
            }
            target[x] = static_cast<unsigned char>(answer);
        }
    }
    return true;
}

} // namespace dibprep

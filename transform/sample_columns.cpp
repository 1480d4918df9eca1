// The samples' places, and the rows that need them laid side by side.
#include "transform/sample_columns.h"

#include "memory/unaligned.h"
#include "transform/columns.h"
#include "transform/kinds.h"

namespace dibprep {

namespace {

constexpr std::size_t NarrowestRow = 16;

GrayTable ReadGrayTable(const tagRGBQUAD* palette) {
    GrayTable table;
    std::uint32_t difference = 0;
    for (std::uint32_t index = 0; index < 256; ++index) {
        const std::uint32_t level = LoadU32(palette + index) & 0xFF; // blue
        table.levels[index] = static_cast<std::uint8_t>(level);
        difference |= level ^ index;
    }
    table.own = difference != 0;
    return table;
}

} // namespace

bool SampleColumns::Read(const CLinearTransformMem& engine) {
    perPixel = engine.kind == KindTrueColour ? 3 : 1;
    pixels = engine.outWidth;
    channels = pixels * perPixel;
    stride = engine.srcStride;
    rowBytes = engine.srcWidth * perPixel;
    if (perPixel == 1)
        grays = ReadGrayTable(engine.sourcePalette);
    return rowBytes >= NarrowestRow;
}

void SampleColumns::Take(ScratchParts& scratch) {
    firsts = scratch.Take<std::uint32_t>(pixels);
    seconds = scratch.Take<std::uint32_t>(pixels);
}

void SampleColumns::Fill(const CLinearTransformMem& engine) {
    safePixels = 0;
    for (std::size_t x = 0; x < pixels; ++x) {
        const CPosition& at = engine.positions[x];
        firsts[x] = static_cast<std::uint32_t>(at.x0 * perPixel);
        // A sample without weight may be any: its own neighbour keeps the windows small.
        seconds[x] = Weightless(at) ? firsts[x] : static_cast<std::uint32_t>(at.x1 * perPixel);
        if (seconds[x] + 4 <= rowBytes && safePixels == x)
            safePixels = x + 1;
    }
}

void SampleColumns::PutPairs(const RowKernels& kernels, const std::uint8_t* row, std::uint8_t* pairs) const {
    if (perPixel == 1) {
        for (std::size_t x = 0; x < pixels; ++x) {
            pairs[2 * x] = row[firsts[x]];
            pairs[2 * x + 1] = row[seconds[x]];
        }
        return;
    }
    kernels.pairColours(row, firsts, seconds, safePixels, pairs);
    for (std::size_t x = safePixels; x < pixels; ++x) {
        for (std::size_t channel = 0; channel < 3; ++channel) {
            pairs[6 * x + 2 * channel] = row[firsts[x] + channel];
            pairs[6 * x + 2 * channel + 1] = row[seconds[x] + channel];
        }
    }
}

} // namespace dibprep

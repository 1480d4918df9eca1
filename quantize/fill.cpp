// FillTree for large pictures. Inserting a colour only adds to the nodes of its path, modulo 2^32, and
// sets child bits, so that insertions may be gathered and applied in any order. The pixels of every
// 8 x 8 x 8 cell of colours are counted first; then each cell that occurred is inserted once, as many
// insertions at a time.
//
// Cells have the size of the leaves at depth 5 and lie inside those of shallower trees. Deeper trees
// are filled by the scalar form: their node arrays, up to 470 MB, are best touched only where
// colours are.
#include "quantize/forms.h"
#include "quantize/histogram.h"

#include <cstdint>

namespace dibprep {

namespace {

constexpr unsigned int MostDepth = 5;

// Below this the histogram costs more than it saves.
constexpr std::uint64_t LeastPixels = 16384;

// Five bits with two zeros between each: a channel's part of the path from the root to a leaf.
constexpr unsigned int Spread(unsigned int bits) {
    unsigned int spread = 0;
    for (unsigned int i = 0; i < 5; ++i)
        spread |= (bits >> i & 1) << (3 * i);
    return spread;
}

// Inserts the pixels of a cell.
void Insert(CNiGoRo2& quantiser, unsigned int firstLeaf, std::uint32_t cell, const CellCount& count) {
    const std::uint32_t drop = MostDepth - quantiser.m_wDepth;
    const std::uint32_t red = cell >> 10;
    const std::uint32_t green = cell >> 5 & 31;
    const std::uint32_t blue = cell & 31;
    unsigned int node = firstLeaf + (Spread(red >> drop) | Spread(green >> drop) << 1 | Spread(blue >> drop) << 2);
    CCube2& leaf = quantiser.m_pCube[node];
    leaf.m_dwWeight += count.pixels;
    leaf.m_byChild = 0;
    if (!leaf.m_dwFixed) {
        leaf.m_dwPixels += count.pixels;
        leaf.m_dwRed += 8 * red * count.pixels + count.red;
        leaf.m_dwGreen += 8 * green * count.pixels + count.green;
        leaf.m_dwBlue += 8 * blue * count.pixels + count.blue;
    }
    while (node != 0) {
        const unsigned int child = (node - 1) % 8;
        node = (node - 1) / 8;
        quantiser.m_pCube[node].m_dwWeight += count.pixels;
        quantiser.m_pCube[node].m_byChild |= static_cast<unsigned char>(1u << child);
    }
}

} // namespace

bool FastFillTree(CNiGoRo2& quantiser) {
    const Tier tier = CurrentTier();
    if (tier == Tier::Scalar || !Histogram::Counts(quantiser) || quantiser.m_wDepth > MostDepth)
        return false;
    const std::uint64_t pixels =
        static_cast<std::uint64_t>(quantiser.m_bih.biWidth) * static_cast<std::uint32_t>(quantiser.m_bih.biHeight);
    if (pixels < LeastPixels)
        return false;
    Histogram histogram(pixels);
    if (!histogram)
        return false;
    histogram.CountPicture(quantiser, KernelsOf(tier));
    unsigned int firstLeaf = 0;
    for (unsigned int level = 0; level < quantiser.m_wDepth; ++level)
        firstLeaf = 8 * firstLeaf + 1;
    histogram.ForEachPart(
        [&](std::uint32_t cell, const CellCount& count) { Insert(quantiser, firstLeaf, cell, count); });
    return true;
}

} // namespace dibprep

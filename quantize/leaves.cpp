// How the leaves of a picture are found: a small picture's pixels are sorted, a large one's counted.
#include "quantize/leaves.h"

#include "quantize/histogram.h"
#include "quantize/source_pixels.h"

#include <algorithm>
#include <utility>

namespace dibprep {

namespace {

// From so many pixels on the histogram costs less than sorting them.
constexpr std::uint64_t LeastCounted = 4096;

// A path's levels from the top hold the bits of blue, green and red, from the top.
struct Paths {
    std::uint16_t ofChannel[32];  // a channel's bits, two zeros between each
    std::uint16_t cellOfLow[512]; // the cells of the lower nine bits and of the upper six
    std::uint16_t cellOfHigh[64];

    constexpr Paths() : ofChannel(), cellOfLow(), cellOfHigh() {
        for (unsigned int bits = 0; bits < 32; ++bits) {
            unsigned int spread = 0;
            for (unsigned int i = 0; i < 5; ++i)
                spread |= (bits >> i & 1) << (3 * i);
            ofChannel[bits] = static_cast<std::uint16_t>(spread);
        }
        for (unsigned int path = 0; path < 512; ++path) {
            unsigned int cell = 0;
            for (unsigned int level = 0; level < 3; ++level) {
                const unsigned int step = path >> 3 * level;
                cell |= ((step & 1) << 10 | (step >> 1 & 1) << 5 | (step >> 2 & 1)) << level;
            }
            cellOfLow[path] = static_cast<std::uint16_t>(cell);
            if (path < 64)
                cellOfHigh[path] = static_cast<std::uint16_t>(cell << 3);
        }
    }

    std::uint32_t OfCell(std::uint32_t cell) const {
        return static_cast<std::uint32_t>(ofChannel[cell >> 10] | ofChannel[cell >> 5 & 31] << 1 |
                                          ofChannel[cell & 31] << 2);
    }
    std::uint32_t CellOf(std::uint32_t path) const {
        return static_cast<std::uint32_t>(cellOfHigh[path >> 9] | cellOfLow[path & 511]);
    }
};

constexpr Paths Path;

void Add(Leaf& leaf, std::uint32_t cell, const CellCount& count) {
    leaf.pixels += count.pixels;
    leaf.red += 8 * (cell >> 10) * count.pixels + count.red;
    leaf.green += 8 * (cell >> 5 & 31) * count.pixels + count.green;
    leaf.blue += 8 * (cell & 31) * count.pixels + count.blue;
}

std::uint64_t PixelsOf(const CNiGoRo2& quantiser) {
    return static_cast<std::uint64_t>(quantiser.m_bih.biWidth) * static_cast<std::uint32_t>(quantiser.m_bih.biHeight);
}

// Words by the fifteen bits above the low ones: two passes, from the lower byte (radix sort,
// H. Hollerith). The outcome is in `words` again.
void SortByPath(std::uint32_t* words, std::uint32_t* other, std::size_t count) {
    std::uint32_t low[256] = {};
    std::uint32_t high[128] = {};
    for (std::size_t i = 0; i < count; ++i) {
        ++low[words[i] >> LowBits & 255];
        ++high[words[i] >> (LowBits + 8)];
    }
    std::uint32_t sum = 0;
    for (std::uint32_t& place : low)
        sum += std::exchange(place, sum);
    sum = 0;
    for (std::uint32_t& place : high)
        sum += std::exchange(place, sum);
    for (std::size_t i = 0; i < count; ++i)
        other[low[words[i] >> LowBits & 255]++] = words[i];
    for (std::size_t i = 0; i < count; ++i)
        words[high[other[i] >> (LowBits + 8)]++] = other[i];
}

} // namespace

Leaves::Leaves(const CNiGoRo2& quantiser, const QuantizeKernels& kernels)
    : m_pixels(PixelsOf(quantiser)),
      m_leaves(static_cast<std::size_t>(std::min<std::uint64_t>(m_pixels, ColourCells)), Scratch<Leaf>::Fill::None) {
    if (!m_leaves)
        return;
    if (m_pixels < LeastCounted)
        Sort(quantiser, kernels);
    else
        Count(quantiser, kernels);
}

void Leaves::Sort(const CNiGoRo2& quantiser, const QuantizeKernels& kernels) {
    const auto count = static_cast<std::size_t>(m_pixels);
    const Scratch<std::uint32_t> words(2 * count, Scratch<std::uint32_t>::Fill::None);
    if (!words)
        return;
    const int width = quantiser.m_bih.biWidth;
    const unsigned char* row = quantiser.m_pBits;
    std::uint32_t* next = words.get();
    for (int y = 0; y < quantiser.m_bih.biHeight; ++y, row += SourceRowBytes(24, width), next += width)
        kernels.keys(row, width, next);
    for (std::size_t i = 0; i < count; ++i)
        words[i] = Path.OfCell(words[i] >> LowBits) << LowBits | (words[i] & LowMask);
    SortByPath(words.get(), words.get() + count, count);
    for (std::size_t i = 0; i < count;) {
        const std::uint32_t path = words[i] >> LowBits;
        CellCount cell = {};
        for (; i < count && words[i] >> LowBits == path; ++i) {
            ++cell.pixels;
            cell.red += words[i] >> 6 & 7;
            cell.green += words[i] >> 3 & 7;
            cell.blue += words[i] & 7;
        }
        Leaf& leaf = m_leaves[static_cast<std::size_t>(m_count++)] = {path, 0, 0, 0, 0};
        Add(leaf, Path.CellOf(path), cell);
    }
    m_usable = true;
}

void Leaves::Count(const CNiGoRo2& quantiser, const QuantizeKernels& kernels) {
    Histogram histogram(m_pixels);
    const Scratch<std::uint16_t> numbers(ColourCells, Scratch<std::uint16_t>::Fill::None);
    if (!histogram || !numbers)
        return;
    histogram.CountPicture(quantiser, kernels);
    for (std::uint32_t path = 0; path < ColourCells; ++path) {
        const std::uint32_t cell = Path.CellOf(path);
        const CellCount even = histogram.Even(cell);
        const CellCount odd = histogram.Odd(cell);
        if (even.pixels + odd.pixels == 0)
            continue;
        numbers[cell] = static_cast<std::uint16_t>(m_count);
        Leaf& leaf = m_leaves[static_cast<std::size_t>(m_count++)] = {path, 0, 0, 0, 0};
        Add(leaf, cell, even);
        Add(leaf, cell, odd);
    }
    histogram.ForEachFull(
        [&](std::uint32_t cell, const CellCount& count) { Add(m_leaves[numbers[cell]], cell, count); });
    m_usable = true;
}

} // namespace dibprep

// BuildSearchCube with its distances worked out once per cell, beside the records instead of inside
// each comparison. The sort makes the same comparisons and the same swaps as Qsort with CompareColor,
// on words that hold a distance and a record's number, so that the order after every cell is the same.
#include "memory/x86/cpu_tier.h"
#include "quantize/axis.h"
#include "quantize/cell_list.h"
#include "quantize/forms.h"
#include "quantize/limits.h"

#include <cstdint>
#include <utility>

namespace dibprep {

namespace {

constexpr int NumberBits = 8;
constexpr std::uint32_t NumberMask = MostRecords - 1;

// The sort of compare.cpp, word for word the same outcome. Its partition swaps each word that is less
// than the pivot with the first of those that are not: seen from these, their front goes to the back.
// So words that are less go to `less` in their order, and each place behind takes either the word that
// stands there or the front of the queue. Neither needs a branch, which in a sort is guessed wrong
// every other time. The shorter part is the recursion here, too.
void Sort(std::uint32_t* v, int n, std::uint32_t* less) { // NOLINT(misc-no-recursion): logarithmic
    while (n > 2) {
        std::swap(v[0], v[n >> 1]);
        const std::uint32_t pivot = v[0] & ~NumberMask; // records of equal distance are not less
        std::uint32_t front = 1;
        std::uint32_t* const end = v + n;
        for (std::uint32_t* at = v + 1; at != end; ++at) {
            const std::uint32_t word = *at;
            const std::uint32_t first = v[front];
            const std::uint32_t isLess = 0u - (word < pivot); // all bits or none
            less[front] = word;
            *at = word ^ ((word ^ first) & isLess);
            front -= isLess;
        }
        const int last = static_cast<int>(front) - 1;
        for (int i = 1; i <= last; ++i)
            v[i] = less[i];
        std::swap(v[0], v[last]);
        std::uint32_t* const upper = v + front;
        const int upperCount = n - 1 - last;
        if (last < upperCount) {
            Sort(v, last, less);
            v = upper;
            n = upperCount;
        } else {
            Sort(upper, upperCount, less);
            n = last;
        }
    }
    // Two words: the second becomes the pivot, and comes first unless the other is less.
    if (n == 2 && v[0] >= (v[1] & ~NumberMask))
        std::swap(v[0], v[1]);
}

// What a record's channel adds to its distance from the centre of each cell along an axis.
struct AxisSquares {
    std::uint32_t of[SearchCells][MostRecords];

    template <typename Channel>
    AxisSquares(const CColorTrans2* records, int count, Channel channel) {
        for (int cell = 0; cell < SearchCells; ++cell) {
            for (int i = 0; i < count; ++i)
                of[cell][i] = static_cast<std::uint32_t>(Square(channel(records[i].m_rgb) - AxisOf(cell).centre));
        }
    }
};

// The lists of all cells, from the records in their first order. Leaves in `order` what the last sort
// left, also when a list cannot grow and std::bad_alloc goes through.
void FillCells(CNiGoRo2& quantiser, const CColorTrans2* records, int count, std::uint32_t* order) {
    const AxisSquares reds(records, count, [](const tagRGBQUAD& colour) { return colour.rgbRed; });
    const AxisSquares greens(records, count, [](const tagRGBQUAD& colour) { return colour.rgbGreen; });
    const AxisSquares blues(records, count, [](const tagRGBQUAD& colour) { return colour.rgbBlue; });
    std::uint32_t redGreen[MostRecords];
    std::uint32_t distance[MostRecords];
    std::uint32_t sorted[MostRecords];
    for (int i = 0; i < SearchCells; ++i) {
        for (int j = 0; j < SearchCells; ++j) {
            for (int n = 0; n < count; ++n)
                redGreen[n] = reds.of[i][n] + greens.of[j][n];
            for (int k = 0; k < SearchCells; ++k) {
                for (int n = 0; n < count; ++n)
                    distance[n] = (redGreen[n] + blues.of[k][n]) << NumberBits | static_cast<std::uint32_t>(n);
                for (int n = 0; n < count; ++n)
                    order[n] = distance[order[n] & NumberMask];
                Sort(order, count, sorted);

                const CellAxis red = AxisOf(i);
                const CellAxis green = AxisOf(j);
                const CellAxis blue = AxisOf(k);
                const auto sum = [&](int (*part)(const CellAxis&, int), const tagRGBQUAD& colour) {
                    return part(red, colour.rgbRed) + part(green, colour.rgbGreen) + part(blue, colour.rgbBlue);
                };
                CCubeCell& cell = quantiser.m_SearchCube[i][j][k];
                const CColorTrans2& nearest = records[order[0] & NumberMask];
                Append(cell, nearest);
                const int threshold = sum(Farthest, nearest.m_rgb);
                for (int e = 1; e < count; ++e) {
                    const CColorTrans2& entry = records[order[e] & NumberMask];
                    if (sum(Gap, entry.m_rgb) > threshold)
                        break;
                    Append(cell, entry);
                }
            }
        }
    }
}

} // namespace

bool FastBuildSearchCube(CNiGoRo2& quantiser, tagRGBQUAD* table) {
    const int count = UsedRecords(quantiser);
    if (CurrentTier() == Tier::Scalar || count == 0)
        return false;
    CColorTrans2 records[MostRecords];
    std::uint32_t order[MostRecords];
    for (int i = 0; i < count; ++i) {
        table[i] = quantiser.m_Palette[i].m_rgb;
        quantiser.m_Palette[i].m_byIndex = static_cast<unsigned char>(i);
        records[i] = quantiser.m_Palette[i];
        order[i] = static_cast<std::uint32_t>(i);
    }
    const auto reorder = [&] {
        for (int i = 0; i < count; ++i)
            quantiser.m_Palette[i] = records[order[i] & NumberMask];
    };
    try {
        FillCells(quantiser, records, count, order);
    } catch (...) {
        reorder();
        throw;
    }
    reorder();
    return true;
}

} // namespace dibprep

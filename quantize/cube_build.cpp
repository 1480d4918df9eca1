// BuildSearchCube with its distances worked out once per cell, beside the records instead of inside
// each comparison. The sort makes the same comparisons and the same swaps as Qsort with CompareColor,
// on words that hold a distance and a record's number, so that the order after every cell is the same.
#include "memory/x86/cpu_tier.h"
#include "quantize/axis.h"
#include "quantize/cell_list.h"
#include "quantize/forms.h"
#include "quantize/limits.h"
#include "quantize/record_sort.h"

#include <cstdint>

namespace dibprep {

namespace {

// What a record's channel adds, for each cell along an axis, to the squared distance from the cell's
// centre and to the gap between the record and the cell's box.
struct AxisSquares {
    std::uint32_t distance[SearchCells][MostRecords];
    int gap[SearchCells][MostRecords];

    template <typename Channel>
    AxisSquares(const CColorTrans2* records, int count, Channel channel) {
        for (int cell = 0; cell < SearchCells; ++cell) {
            const CellAxis axis = AxisOf(cell);
            for (int i = 0; i < count; ++i) {
                distance[cell][i] = static_cast<std::uint32_t>(Square(channel(records[i].m_rgb) - axis.centre));
                gap[cell][i] = Gap(axis, channel(records[i].m_rgb));
            }
        }
    }
};

// The lists of all cells, from the records in their first order. Leaves in `order` what the last sort
// left, also when a list cannot grow and std::bad_alloc goes through.
void FillCells(CNiGoRo2& quantiser, const CColorTrans2* records, int count, RecordOrder& order) {
    const AxisSquares reds(records, count, [](const tagRGBQUAD& colour) { return colour.rgbRed; });
    const AxisSquares greens(records, count, [](const tagRGBQUAD& colour) { return colour.rgbGreen; });
    const AxisSquares blues(records, count, [](const tagRGBQUAD& colour) { return colour.rgbBlue; });
    std::uint32_t redGreen[MostRecords];
    std::uint32_t distance[MostRecords];
    int redGreenGap[MostRecords];
    for (int i = 0; i < SearchCells; ++i) {
        for (int j = 0; j < SearchCells; ++j) {
            for (int n = 0; n < count; ++n) {
                redGreen[n] = (reds.distance[i][n] + greens.distance[j][n]) << NumberBits | static_cast<unsigned>(n);
                redGreenGap[n] = reds.gap[i][n] + greens.gap[j][n];
            }
            for (int k = 0; k < SearchCells; ++k) {
                for (int n = 0; n < count; ++n)
                    distance[n] = redGreen[n] + (blues.distance[k][n] << NumberBits);
                for (int n = 0; n < count; ++n)
                    order[n] = distance[order.Number(n)];
                order.Sort(count);

                CCubeCell& cell = quantiser.m_SearchCube[i][j][k];
                const CColorTrans2& nearest = records[order.Number(0)];
                Append(cell, nearest);
                const int threshold = Farthest(AxisOf(i), nearest.m_rgb.rgbRed) +
                                      Farthest(AxisOf(j), nearest.m_rgb.rgbGreen) +
                                      Farthest(AxisOf(k), nearest.m_rgb.rgbBlue);
                for (int e = 1; e < count; ++e) {
                    const std::uint32_t n = order.Number(e);
                    if (redGreenGap[n] + blues.gap[k][n] > threshold)
                        break;
                    Append(cell, records[n]);
                }
            }
        }
    }
}

} // namespace

bool FastBuildSearchCube(CNiGoRo2& quantiser, tagRGBQUAD* table) {
    const int count = UsedRecords(quantiser);
    const Tier tier = CurrentTier();
    if (tier == Tier::Scalar || count == 0)
        return false;
    CColorTrans2 records[MostRecords];
    RecordOrder order(KernelsOf(tier));
    for (int i = 0; i < count; ++i) {
        table[i] = quantiser.m_Palette[i].m_rgb;
        quantiser.m_Palette[i].m_byIndex = static_cast<unsigned char>(i);
        records[i] = quantiser.m_Palette[i];
        order[i] = static_cast<std::uint32_t>(i);
    }
    const auto reorder = [&] {
        for (int i = 0; i < count; ++i)
            quantiser.m_Palette[i] = records[order.Number(i)];
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

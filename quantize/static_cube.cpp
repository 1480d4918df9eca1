// The fixed palette of 256 colours and its nearest-colour cube: 16 cells per axis, each with the
// palette colours that can be nearest to a colour inside. Both are process-wide and built when the
// host asks.
#include "dibprep/quantize.h"

#include "dibprep/host.h"
#include "dibprep/memory.h"
#include "memory/locked_block.h"
#include "quantize/cell_list.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <iterator>

CCubeCell STATIC_CUBE[16][16][16];
int CNiGoRo2::m_iStcColorNum = 0;

namespace {

constexpr int StaticColors = 256;
constexpr int BytesPerColor = 3;
constexpr int CellsPerAxis = 16;

// Unevenly spaced on purpose. Hosts keep colour numbers of this palette in their files, so neither
// the values nor their order may change.
constexpr unsigned char RedGreenLevels[] = {0x00, 0x20, 0x50, 0x82, 0xAA, 0xDC, 0xFF};
constexpr unsigned char BlueLevels[] = {0x00, 0x40, 0x90, 0xD0, 0xFF};

// Teals, purples and grays that the levels above miss: red, green, blue.
constexpr unsigned char FurtherColors[][BytesPerColor] = {
    {0x00, 0x80, 0x80}, {0x80, 0x00, 0x80}, {0x00, 0xC0, 0xC0}, {0xC0, 0x00, 0xC0},
    {0x20, 0x20, 0x20}, {0x40, 0x40, 0x40}, {0x60, 0x60, 0x60}, {0x80, 0x80, 0x80},
    {0xA0, 0xA0, 0xA0}, {0xC0, 0xC0, 0xC0}, {0xE0, 0xE0, 0xE0},
};

static_assert(std::size(RedGreenLevels) * std::size(RedGreenLevels) * std::size(BlueLevels) +
                      std::size(FurtherColors) ==
                  StaticColors,
              "the levels and the further colours make the palette");

// One axis of a cell: the values from the lower to the upper edge, both included.
struct Range {
    int low;
    int high;

    int Centre() const { return (low + high) / 2; }

    // The square of the distance from a value to the edge that is farther from it.
    int FarSquared(int value) const {
        const int distance = value - (Centre() <= value ? low : high);
        return distance * distance;
    }

    // The square of the distance from a value to the nearest of the range; 0 inside.
    int GapSquared(int value) const {
        const int gap = value < low ? low - value : value > high ? value - high : 0;
        return gap * gap;
    }
};

// The top cell ends at 255, the last value of a channel.
Range CellRange(int cell) { return Range{16 * cell, cell == CellsPerAxis - 1 ? 255 : 16 * (cell + 1)}; }

struct CellBox {
    Range red;
    Range green;
    Range blue;

    tagRGBQUAD Centre() const {
        return tagRGBQUAD{static_cast<unsigned char>(blue.Centre()), static_cast<unsigned char>(green.Centre()),
                          static_cast<unsigned char>(red.Centre()), 0};
    }
    // No colour of the box is farther from this one.
    int LargestDistance(const tagRGBQUAD& color) const {
        return red.FarSquared(color.rgbRed) + green.FarSquared(color.rgbGreen) + blue.FarSquared(color.rgbBlue);
    }
    // No colour of the box is nearer to this one.
    int SmallestDistance(const tagRGBQUAD& color) const {
        return red.GapSquared(color.rgbRed) + green.GapSquared(color.rgbGreen) + blue.GapSquared(color.rgbBlue);
    }
};

} // namespace

void CNiGoRo2::SetStaticColors() {
    m_iStcColorNum = StaticColors;
    if (STATIC_COLOR.IsEmpty())
        STATIC_COLOR.SetHandle(GlobalAlloc(dibprep::NewBlockFlags, StaticColors * BytesPerColor));
    if (!STATIC_COLOR.Lock())
        return;

    int at = 0;
    const auto put = [&at](unsigned char red, unsigned char green, unsigned char blue) {
        STATIC_COLOR[at++] = red;
        STATIC_COLOR[at++] = green;
        STATIC_COLOR[at++] = blue;
    };
    for (const unsigned char red : RedGreenLevels)
        for (const unsigned char green : RedGreenLevels)
            for (const unsigned char blue : BlueLevels)
                put(red, green, blue);
    for (const auto& color : FurtherColors)
        put(color[0], color[1], color[2]);
}

// Forgets the lists without releasing them: a host that has built before calls
// DeleteStaticSearchCube first.
void CNiGoRo2::InitStaticSearchCube() { ZeroMemory(STATIC_CUBE, sizeof STATIC_CUBE); }

void CNiGoRo2::DeleteStaticSearchCube() {
    for (auto& plane : STATIC_CUBE)
        for (auto& row : plane)
            for (CCubeCell& cell : row)
                dibprep::Release(cell);
}

void CNiGoRo2::AddStaticList(int i, int j, int k, CColorTrans2 entry) { dibprep::Append(STATIC_CUBE[i][j][k], entry); }

// Without a palette (its block could not be allocated or locked) the cube stays empty.
void CNiGoRo2::CreateStaticSearchCube() {
    InitStaticSearchCube();
    SetStaticColors();
    if (!STATIC_COLOR.m_bLocked)
        return;
    const unsigned char* const palette = STATIC_COLOR;

    std::array<CColorTrans2, StaticColors> colors{};
    for (int number = 0; number < StaticColors; ++number) {
        const unsigned char* const triplet = palette + BytesPerColor * number;
        colors[static_cast<std::size_t>(number)] =
            CColorTrans2{{triplet[2], triplet[1], triplet[0], 0}, 0, static_cast<unsigned char>(number)};
    }

    for (int i = 0; i < CellsPerAxis; ++i)
        for (int j = 0; j < CellsPerAxis; ++j)
            for (int k = 0; k < CellsPerAxis; ++k) {
                const CellBox box{CellRange(i), CellRange(j), CellRange(k)};
                // Sorted on from the order of the cell before, which decides the order of ties.
                Qsort(colors.data(), box.Centre(), StaticColors, CompareColor);
                AddStaticList(i, j, k, colors[0]);
                // Only a colour that comes at least as near to the box as the first colour is from
                // its farthest corner can be nearest somewhere inside. The first that does not ends
                // the list.
                const int threshold = box.LargestDistance(colors[0].m_rgb);
                for (std::size_t e = 1; e < colors.size(); ++e) {
                    if (box.SmallestDistance(colors[e].m_rgb) > threshold)
                        break;
                    AddStaticList(i, j, k, colors[e]);
                }
            }
}

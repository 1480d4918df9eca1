// Palette order and the two nearest-colour searches of the quantiser: a list sorted by blue for small
// pictures and palettes, a cube of 8 x 8 x 8 cells for the others. Distances are squared Euclidean
// distances of 8-bit channels.
#include "dibprep/host.h"
#include "dibprep/quantize.h"
#include "quantize/cell_list.h"
#include "quantize/limits.h"

#include <algorithm>
#include <cstdlib>

using namespace dibprep;

namespace {

constexpr int Cells = 8;

// Centre and half-width of a cell along one axis. The half-width is that of the lower half, by
// decision: the top cell's box therefore ends at 254.
struct CellAxis {
    int centre;
    int halfWidth;
};

constexpr CellAxis AxisOf(int cell) {
    const int lower = cell * 32;
    const int upper = cell == Cells - 1 ? 255 : lower + 32;
    const int centre = (lower + upper) / 2;
    return {centre, centre - lower};
}

constexpr int Square(int value) { return value * value; }

// Squared distance from the far side of the cell's box to the value, along one axis.
int Farthest(const CellAxis& axis, int value) { return Square(std::abs(axis.centre - value) + axis.halfWidth); }

// Squared gap between the cell's box and the value, along one axis.
int Gap(const CellAxis& axis, int value) {
    return Square(std::max(0, std::abs(axis.centre - value) - axis.halfWidth));
}

} // namespace

void CNiGoRo2::BuildPalette(tagRGBQUAD* table) {
    const int count = UsedRecords(*this);
    // The colour table lists the colours from the least to the most used.
    Qsort(m_Palette, count, CompareDenom);
    for (int i = 0; i < count; ++i) {
        table[i] = m_Palette[i].m_rgb;
        m_Palette[i].m_byIndex = static_cast<unsigned char>(i);
    }
    Qsort(m_Palette, count, CompareBlue);
}

void CNiGoRo2::BuildSearchCube(tagRGBQUAD* table) {
    const int count = UsedRecords(*this);
    for (int i = 0; i < count; ++i) {
        table[i] = m_Palette[i].m_rgb;
        m_Palette[i].m_byIndex = static_cast<unsigned char>(i);
    }
    if (count == 0)
        return;
    for (int i = 0; i < Cells; ++i) {
        for (int j = 0; j < Cells; ++j) {
            for (int k = 0; k < Cells; ++k) {
                const CellAxis red = AxisOf(i);
                const CellAxis green = AxisOf(j);
                const CellAxis blue = AxisOf(k);
                const tagRGBQUAD centre = {static_cast<unsigned char>(blue.centre),
                                           static_cast<unsigned char>(green.centre),
                                           static_cast<unsigned char>(red.centre), 0};
                // The order goes on from cell to cell; ties in it decide ties in the search.
                Qsort(m_Palette, centre, count, CompareColor);
                AddList(i, j, k, m_Palette[0]);
                const tagRGBQUAD& nearest = m_Palette[0].m_rgb;
                const int threshold = Farthest(red, nearest.rgbRed) + Farthest(green, nearest.rgbGreen) +
                                      Farthest(blue, nearest.rgbBlue);
                for (int e = 1; e < count; ++e) {
                    const tagRGBQUAD& entry = m_Palette[e].m_rgb;
                    if (Gap(red, entry.rgbRed) + Gap(green, entry.rgbGreen) + Gap(blue, entry.rgbBlue) > threshold)
                        break;
                    AddList(i, j, k, m_Palette[e]);
                }
            }
        }
    }
}

void CNiGoRo2::InitSearchCube() { ZeroMemory(m_SearchCube, sizeof m_SearchCube); }

void CNiGoRo2::DeleteSearchCube() {
    for (auto& plane : m_SearchCube) {
        for (auto& line : plane) {
            for (CCubeCell& cell : line)
                Release(cell);
        }
    }
}

void CNiGoRo2::AddList(int i, int j, int k, CColorTrans2 entry) { Append(m_SearchCube[i][j][k], entry); }

unsigned char CNiGoRo2::GetNearestColorIndexL(unsigned char r, unsigned char g, unsigned char b) {
    const int count = UsedRecords(*this);
    int start = 0;
    if (count > 1 && b > m_Palette[0].m_rgb.rgbBlue) {
        start = 1;
        while (start < count - 1 && m_Palette[start].m_rgb.rgbBlue < b)
            ++start;
    }
    unsigned int best = 0xFFFFFFFFu;
    int answer = 0;
    // False once the blue distance alone rules out this record and all beyond it.
    const auto visit = [&](int p) {
        const tagRGBQUAD& entry = m_Palette[p].m_rgb;
        const auto blue = static_cast<unsigned int>(Square(entry.rgbBlue - b));
        if (p != start && blue > best)
            return false;
        const unsigned int sum = blue + static_cast<unsigned int>(Square(entry.rgbGreen - g)) +
                                 static_cast<unsigned int>(Square(entry.rgbRed - r));
        if (sum < best) {
            best = sum;
            answer = p;
        }
        return true;
    };
    if (count > 0) {
        for (int p = start; p >= 0 && visit(p); --p) {
        }
        for (int p = start + 1; p < count && visit(p); ++p) {
        }
    }
    return m_Palette[answer].m_byIndex;
}

unsigned char CNiGoRo2::GetNearestColorIndexC(unsigned char r, unsigned char g, unsigned char b) {
    const CCubeCell& cell = m_SearchCube[r >> 5][g >> 5][b >> 5];
    // A cube that was never built (the modes that suppress it) answers the first entry.
    if (cell.m_nCount <= 0)
        return 0;
    int best = 0x7FFFFFFF;
    int answer = 0;
    for (int p = 0; p < cell.m_nCount; ++p) {
        const tagRGBQUAD& entry = cell.m_pList[p].m_rgb;
        int sum = Square(entry.rgbBlue - b);
        if (sum >= best)
            continue;
        sum += Square(entry.rgbGreen - g);
        if (sum >= best)
            continue;
        sum += Square(entry.rgbRed - r);
        if (sum < best) {
            best = sum;
            answer = p;
        }
    }
    return cell.m_pList[answer].m_byIndex;
}

// Palette order and the two nearest-colour searches of the quantiser: a list sorted by blue for small
// pictures and palettes, a cube of 8 x 8 x 8 cells for the others. Distances are squared Euclidean
// distances of 8-bit channels.
#include "dibprep/host.h"
#include "dibprep/quantize.h"
#include "quantize/axis.h"
#include "quantize/cell_list.h"
#include "quantize/forms.h"
#include "quantize/limits.h"

#include <cstdint>

using namespace dibprep;

void dibprep::ScalarBuildPalette(CNiGoRo2& quantiser, tagRGBQUAD* table) {
    CColorTrans2* const palette = quantiser.m_Palette;
    const int count = UsedRecords(quantiser);
    // The colour table lists the colours from the least to the most used.
    Qsort(palette, count, CompareDenom);
    for (int i = 0; i < count; ++i) {
        table[i] = palette[i].m_rgb;
        palette[i].m_byIndex = static_cast<unsigned char>(i);
    }
    Qsort(palette, count, CompareBlue);
}

void CNiGoRo2::BuildPalette(tagRGBQUAD* table) {
    if (!FastBuildPalette(*this, table))
        ScalarBuildPalette(*this, table);
}

void dibprep::ScalarBuildSearchCube(CNiGoRo2& quantiser, tagRGBQUAD* table) {
    CColorTrans2* const palette = quantiser.m_Palette;
    const int count = UsedRecords(quantiser);
    for (int i = 0; i < count; ++i) {
        table[i] = palette[i].m_rgb;
        palette[i].m_byIndex = static_cast<unsigned char>(i);
    }
    if (count == 0)
        return;
    for (int i = 0; i < SearchCells; ++i) {
        for (int j = 0; j < SearchCells; ++j) {
            for (int k = 0; k < SearchCells; ++k) {
                const CellAxis red = AxisOf(i);
                const CellAxis green = AxisOf(j);
                const CellAxis blue = AxisOf(k);
                const tagRGBQUAD centre = {static_cast<unsigned char>(blue.centre),
                                           static_cast<unsigned char>(green.centre),
                                           static_cast<unsigned char>(red.centre), 0};
                // The order goes on from cell to cell; ties in it decide ties in the search.
                Qsort(palette, centre, count, CompareColor);
                quantiser.AddList(i, j, k, palette[0]);
                const tagRGBQUAD& nearest = palette[0].m_rgb;
                const int threshold =
                    Farthest(red, nearest.rgbRed) + Farthest(green, nearest.rgbGreen) + Farthest(blue, nearest.rgbBlue);
                for (int e = 1; e < count; ++e) {
                    const tagRGBQUAD& entry = palette[e].m_rgb;
                    if (Gap(red, entry.rgbRed) + Gap(green, entry.rgbGreen) + Gap(blue, entry.rgbBlue) > threshold)
                        break;
                    quantiser.AddList(i, j, k, palette[e]);
                }
            }
        }
    }
}

void CNiGoRo2::BuildSearchCube(tagRGBQUAD* table) {
    if (!FastBuildSearchCube(*this, table))
        ScalarBuildSearchCube(*this, table);
}

void CNiGoRo2::InitSearchCube() { ZeroMemory(m_SearchCube, sizeof m_SearchCube); }

void CNiGoRo2::DeleteSearchCube() {
    for (auto& plane : m_SearchCube) {
        for (auto& line : plane) {
            // Small pictures have no lists at all: a line of cells is seen to be empty at once.
            std::uintptr_t any = 0;
            for (const CCubeCell& cell : line)
                any |= reinterpret_cast<std::uintptr_t>(cell.m_pList) | static_cast<unsigned int>(cell.m_nCount);
            if (any == 0)
                continue;
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

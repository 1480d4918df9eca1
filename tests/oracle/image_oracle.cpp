// See image_oracle.h.
#include "tests/oracle/image_oracle.h"

#include <algorithm>

namespace oracle {

namespace {

std::uint32_t Gray(std::uint32_t level) { return level + level * 256 + level * 65536; }

int Square(int value) { return value * value; }

int Edge(int cell) { return cell < 16 ? cell * 16 : 255; }

int Centre(int cell) { return (Edge(cell) + Edge(cell + 1)) / 2; }

int Distance(const StaticColour& c, int i, int j, int k) {
    return Square(c.red - Centre(i)) + Square(c.green - Centre(j)) + Square(c.blue - Centre(k));
}

// Swaps to and fro as the quicksort of the textbooks does: the order of ties is part of the result.
void Sort(StaticColour* v, int n, int i, int j, int k) {
    if (n <= 1)
        return;
    std::swap(v[0], v[n / 2]);
    int last = 0;
    for (int at = 1; at < n; ++at)
        if (Distance(v[at], i, j, k) < Distance(v[0], i, j, k))
            std::swap(v[++last], v[at]);
    std::swap(v[0], v[last]);
    Sort(v, last, i, j, k);
    Sort(v + last + 1, n - last - 1, i, j, k);
}

int ToFarEdge(int value, int cell) {
    return Square(Centre(cell) <= value ? value - Edge(cell) : Edge(cell + 1) - value);
}

int Gap(int value, int cell) {
    if (value < Edge(cell))
        return Square(Edge(cell) - value);
    return value > Edge(cell + 1) ? Square(value - Edge(cell + 1)) : 0;
}

} // namespace

GrayLevels GraysOf(std::uint32_t colour) {
    const std::uint32_t r = colour % 256, g = colour / 256 % 256, b = colour / 65536 % 256;
    const std::uint32_t middle = (std::max({r, g, b}) + std::min({r, g, b})) / 2;
    const std::uint32_t hundredths = 30 * r + 59 * g + 11 * b;
    const std::uint32_t rounded = hundredths / 100 + (hundredths % 100 >= 50 ? 1 : 0);
    return {Gray((r + g + b) / 3 / 17 * 17), Gray(middle / 17 * 17), Gray(rounded / 17 * 17),
            Gray((r + g + b) / 3),           Gray(middle),           Gray((16 * r + 38 * g + 8 * b) / 64)};
}

std::uint32_t GrayResultSize(std::int32_t width, std::int32_t height) {
    const std::uint32_t row = ((static_cast<std::uint32_t>(width) * 8 + 7) / 8 + 3) & 0xFFFC;
    return row * static_cast<std::uint32_t>(height) + 1064;
}

std::uint32_t ColourResultSize(std::int32_t width, std::int32_t height) {
    const std::uint32_t row = ((static_cast<std::uint32_t>(width) * 24 + 7) / 8 + 3) & 0xFFFC;
    return row * static_cast<std::uint32_t>(height) + 40;
}

PenAnswers CollectedPens(const std::vector<Pen>& pens, bool withArray) {
    PenAnswers result;
    for (const Pen& pen : pens) {
        const bool solid = pen.style == 0;
        if (!withArray) {
            result.count += solid ? 1 : 0;
            result.answers.push_back(1);
            continue;
        }
        if (std::count(result.colours.begin(), result.colours.end(), pen.colour) > 0) {
            result.answers.push_back(2);
            continue;
        }
        if (solid)
            result.colours.push_back(pen.colour);
        result.answers.push_back(1);
    }
    if (withArray)
        result.count = static_cast<int>(result.colours.size());
    return result;
}

std::vector<StaticColour> StaticPalette() {
    static const int levels[] = {0x00, 0x20, 0x50, 0x82, 0xAA, 0xDC, 0xFF};
    static const int blues[] = {0x00, 0x40, 0x90, 0xD0, 0xFF};
    std::vector<StaticColour> palette;
    const auto add = [&](int red, int green, int blue) {
        palette.push_back({red, green, blue, static_cast<int>(palette.size())});
    };
    for (const int red : levels)
        for (const int green : levels)
            for (const int blue : blues)
                add(red, green, blue);
    add(0x00, 0x80, 0x80);
    add(0x80, 0x00, 0x80);
    add(0x00, 0xC0, 0xC0);
    add(0xC0, 0x00, 0xC0);
    for (const int gray : {0x20, 0x40, 0x60, 0x80, 0xA0, 0xC0, 0xE0})
        add(gray, gray, gray);
    return palette;
}

std::vector<std::vector<StaticColour>> StaticCells() {
    std::vector<StaticColour> colours = StaticPalette();
    std::vector<std::vector<StaticColour>> cells;
    for (int i = 0; i < 16; ++i)
        for (int j = 0; j < 16; ++j)
            for (int k = 0; k < 16; ++k) {
                Sort(colours.data(), static_cast<int>(colours.size()), i, j, k);
                const StaticColour& first = colours[0];
                const int threshold = ToFarEdge(first.red, i) + ToFarEdge(first.green, j) + ToFarEdge(first.blue, k);
                std::vector<StaticColour> list{first};
                for (std::size_t e = 1; e < colours.size(); ++e) {
                    const StaticColour& c = colours[e];
                    if (Gap(c.red, i) + Gap(c.green, j) + Gap(c.blue, k) > threshold)
                        break;
                    list.push_back(c);
                }
                cells.push_back(list);
            }
    return cells;
}

} // namespace oracle

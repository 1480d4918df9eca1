// Makes the pictures of the benchmarks.
#include "bench/pages.h"

#include "dibprep/types.h"

#include <algorithm>
#include <cstring>

namespace bench {

namespace {

constexpr std::size_t InfoHeader = 40;

class Random {
public:
    explicit Random(std::uint32_t start) : m_state(start * 2 + 1) {}
    std::uint32_t Next() {
        m_state = m_state * 1664525u + 1013904223u;
        return m_state >> 16;
    }
    int Below(int limit) { return static_cast<int>(Next() % static_cast<std::uint32_t>(limit)); }

private:
    std::uint32_t m_state;
};

std::uint8_t Clamped(int value) { return static_cast<std::uint8_t>(std::clamp(value, 0, 255)); }

// Letters of strokes on a grid of 5 x 7, drawn four times too large and averaged, so that their
// edges are gray.
constexpr int Letters = 48;
constexpr int Oversampling = 4;

struct Letter {
    Bytes ink; // width x height
};

std::vector<Letter> MakeLetters(Random& random, int width, int height) {
    std::vector<Letter> letters(Letters);
    for (Letter& letter : letters) {
        const int across = width * Oversampling;
        const int down = height * Oversampling;
        const int pen = std::max(Oversampling, down / 9);
        Bytes large(static_cast<std::size_t>(across * down));
        for (int stroke = random.Below(2) + 2; stroke > 0; --stroke) {
            const int x0 = random.Below(3) * (across - pen) / 3, x1 = random.Below(3) * (across - pen) / 3;
            const int y0 = random.Below(4) * (down - pen) / 4, y1 = random.Below(4) * (down - pen) / 4;
            const int steps = across + down;
            for (int i = 0; i <= steps; ++i) {
                const int x = x0 + (x1 - x0) * i / steps, y = y0 + (y1 - y0) * i / steps;
                for (int row = y; row < y + pen; ++row)
                    std::memset(large.data() + row * across + x, 1, static_cast<std::size_t>(pen));
            }
        }
        letter.ink.resize(static_cast<std::size_t>(width * height));
        for (int y = 0; y < down; ++y)
            for (int x = 0; x < across; ++x)
                letter.ink[static_cast<std::size_t>(y / Oversampling * width + x / Oversampling)] +=
                    static_cast<std::uint8_t>(large[static_cast<std::size_t>(y * across + x)] * 15);
    }
    return letters;
}

// Random values on a coarse grid, interpolated: one octave of a smooth picture.
class Smooth {
public:
    Smooth(Random& random, int width, int height, int cell)
        : m_cell(cell), m_across(width / cell + 2), m_values(static_cast<std::size_t>(m_across * (height / cell + 2))) {
        for (int& value : m_values)
            value = random.Below(256) - 128;
    }
    int At(int x, int y) const {
        const int* const at = m_values.data() + y / m_cell * m_across + x / m_cell;
        const int fx = x % m_cell, fy = y % m_cell;
        const int top = at[0] * (m_cell - fx) + at[1] * fx;
        const int bottom = at[m_across] * (m_cell - fx) + at[m_across + 1] * fx;
        return (top / m_cell * (m_cell - fy) + bottom / m_cell * fy) / m_cell;
    }

private:
    int m_cell;
    int m_across;
    std::vector<int> m_values;
};

} // namespace

Dib EmptyDib(int width, int height, int bits, int dpi) {
    Dib dib;
    dib.width = width;
    dib.height = height;
    dib.bits = bits;
    dib.stride = (static_cast<std::size_t>(width) * static_cast<std::size_t>(bits) + 31) / 32 * 4;
    const std::size_t colours = bits <= 8 ? std::size_t{1} << bits : 0;
    dib.offset = InfoHeader + colours * 4;
    dib.bytes.resize(dib.offset + dib.stride * static_cast<std::size_t>(height));
    tagBITMAPINFOHEADER header = {};
    header.biSize = InfoHeader;
    header.biWidth = width;
    header.biHeight = height;
    header.biPlanes = 1;
    header.biBitCount = static_cast<unsigned short>(bits);
    header.biXPelsPerMeter = header.biYPelsPerMeter = dpi * 10000 / 254;
    std::memcpy(dib.bytes.data(), &header, sizeof header);
    for (std::size_t i = 0; i < colours; ++i)
        std::memset(dib.bytes.data() + InfoHeader + i * 4, static_cast<int>(i * 255 / (colours - 1)), 3);
    return dib;
}

Dib TextPage(int width, int height, int dpi) {
    Dib page = EmptyDib(width, height, 8, dpi);
    std::memset(page.row(0), 255, page.stride * static_cast<std::size_t>(height));
    Random random(3);
    const int letterHeight = width / 62, letterWidth = letterHeight * 6 / 10;
    const std::vector<Letter> letters = MakeLetters(random, letterWidth, letterHeight);
    const int margin = width / 10;
    for (int y = height / 12; y + letterHeight < height - height / 12; y += letterHeight * 7 / 5) {
        if (random.Below(10) == 0)
            continue; // between paragraphs
        const int right = width - margin - (random.Below(6) == 0 ? random.Below(width / 2) : 0);
        for (int x = margin; x + letterWidth < right; x += letterWidth * 9 / 8) {
            if (random.Below(6) == 0)
                continue; // between words
            const Letter& letter = letters[static_cast<std::size_t>(random.Below(Letters))];
            for (int row = 0; row < letterHeight; ++row)
                for (int column = 0; column < letterWidth; ++column)
                    page.row(y + row)[x + column] = static_cast<std::uint8_t>(
                        255 - letter.ink[static_cast<std::size_t>(row * letterWidth + column)] * 255 / 240);
        }
    }
    return page;
}

Dib Photograph(int width, int height, int dpi) {
    Dib photo = EmptyDib(width, height, 24, dpi);
    Random random(7);
    std::vector<Smooth> octaves;
    for (int channel = 0; channel < 3; ++channel)
        for (const int cell : {width / 4 + 1, width / 30 + 1, 17})
            octaves.emplace_back(random, width, height, cell);
    for (int y = 0; y < height; ++y) {
        std::uint8_t* const row = photo.row(y);
        for (int x = 0; x < width; ++x) {
            const int grain = random.Below(8) + random.Below(8) - 7;
            const int object = (x / (width / 9 + 1) * 5 + y / (height / 11 + 1) * 3) % 7 * 12; // hard edges
            for (int channel = 0; channel < 3; ++channel) {
                const Smooth* const octave = octaves.data() + channel * 3;
                row[x * 3 + channel] = Clamped(110 + object - channel * 15 + octave[0].At(x, y) * 5 / 8 +
                                               octave[1].At(x, y) / 5 + octave[2].At(x, y) / 16 + grain / 2);
            }
        }
    }
    return photo;
}

Dib ColourPage(int width, int height, int dpi) {
    Dib page = EmptyDib(width, height, 24, dpi);
    const Dib text = TextPage(width, height, dpi);
    const Dib photo = Photograph(width / 2, height / 3, dpi);
    for (int y = 0; y < height; ++y) {
        std::uint8_t* const row = page.row(y);
        for (int x = 0; x < width; ++x)
            std::memset(row + x * 3, text.row(y)[x], 3);
        const int from = y - height / 2;
        if (from >= 0 && from < photo.height)
            std::memcpy(row + width / 4 * 3, photo.row(from), static_cast<std::size_t>(photo.width) * 3);
    }
    return page;
}

Dib WithoutColour(const Dib& gray, int dpi) {
    Dib page = EmptyDib(gray.width, gray.height, 1, dpi);
    for (int y = 0; y < gray.height; ++y)
        for (int x = 0; x < gray.width; ++x)
            if (gray.row(y)[x] >= 128)
                page.row(y)[x / 8] |= static_cast<std::uint8_t>(0x80 >> x % 8);
    return page;
}

Dib Deeper(const Dib& colour, int dpi) {
    Dib deep = EmptyDib(colour.width, colour.height, 32, dpi);
    for (int y = 0; y < colour.height; ++y)
        for (int x = 0; x < colour.width; ++x) {
            std::memcpy(deep.row(y) + x * 4, colour.row(y) + x * 3, 3);
            deep.row(y)[x * 4 + 3] = 255;
        }
    return deep;
}

Dib Dithered(const Dib& colour, int dpi) {
    static const int order[4][4] = {{0, 8, 2, 10}, {12, 4, 14, 6}, {3, 11, 1, 9}, {15, 7, 13, 5}};
    static const int levels[3] = {6, 7, 6};
    Dib page = EmptyDib(colour.width, colour.height, 8, dpi);
    std::uint8_t* entry = page.bytes.data() + InfoHeader;
    for (int blue = 0; blue < levels[0]; ++blue)
        for (int green = 0; green < levels[1]; ++green)
            for (int red = 0; red < levels[2]; ++red, entry += 4) {
                entry[0] = static_cast<std::uint8_t>(blue * 255 / (levels[0] - 1));
                entry[1] = static_cast<std::uint8_t>(green * 255 / (levels[1] - 1));
                entry[2] = static_cast<std::uint8_t>(red * 255 / (levels[2] - 1));
            }
    for (int y = 0; y < colour.height; ++y)
        for (int x = 0; x < colour.width; ++x) {
            int index = 0;
            for (int channel = 0; channel < 3; ++channel) {
                const int steps = levels[channel] - 1;
                const int level =
                    (colour.row(y)[x * 3 + channel] * steps * 16 + order[y % 4][x % 4] * 255) / (255 * 16);
                index = index * levels[channel] + std::min(level, steps);
            }
            page.row(y)[x] = static_cast<std::uint8_t>(index);
        }
    return page;
}

Bytes RunLengthCoded(const Dib& dib) {
    Bytes coded(dib.bytes.begin(), dib.bytes.begin() + static_cast<std::ptrdiff_t>(dib.offset));
    const auto put = [&coded](int value) { coded.push_back(static_cast<std::uint8_t>(value)); };
    for (int y = 0; y < dib.height; ++y) {
        const std::uint8_t* const row = dib.row(y);
        const auto run = [&](int x) {
            int length = 1;
            while (x + length < dib.width && length < 255 && row[x + length] == row[x])
                ++length;
            return length;
        };
        for (int x = 0; x < dib.width;) {
            int length = run(x);
            if (length < 3) { // a stretch without longer runs
                int end = x;
                while (end < dib.width && end - x < 255 && (length = run(end)) < 3)
                    end = std::min(end + length, x + 255);
                length = end - x;
                if (length >= 3) {
                    put(0);
                    put(length);
                    coded.insert(coded.end(), row + x, row + end);
                    if (length % 2 != 0)
                        put(0);
                    x = std::min(end, dib.width);
                    continue;
                }
                length = run(x);
            }
            put(length);
            put(row[x]);
            x += length;
        }
        put(0);
        put(y + 1 < dib.height ? 0 : 1);
    }
    tagBITMAPINFOHEADER header;
    std::memcpy(&header, coded.data(), sizeof header);
    header.biCompression = 1;
    header.biSizeImage = static_cast<unsigned int>(coded.size() - dib.offset);
    header.biClrUsed = 256;
    std::memcpy(coded.data(), &header, sizeof header);
    coded.resize(coded.size() + 260); // an expander may look at this much behind the last run
    return coded;
}

} // namespace bench

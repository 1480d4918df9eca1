// Pictures and objects for the comparisons of the quantiser's forms.
#include "tests/quantize/tier_pictures.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace tiertest {

std::string NameOf(Kind kind) {
    constexpr const char* names[] = {"noise", "gradient", "few colours", "photo", "runs", "flat", "narrow"};
    return names[static_cast<int>(kind)];
}

namespace {

struct Colour {
    int blue;
    int green;
    int red;
};

class Painter {
public:
    Painter(Kind kind, int width, int height, std::uint64_t start)
        : m_kind(kind), m_width(width), m_height(height), m_random(start) {
        for (Colour& colour : m_few)
            colour = Any();
    }

    Colour Next(int x, int y) {
        switch (m_kind) {
        case Kind::Noise:
            return Any();
        case Kind::Gradient:
            return {x * 255 / m_width, y * 255 / m_height, (x + y) * 255 / (m_width + m_height)};
        case Kind::FewColours:
            return m_few[m_random.Range(0, 19)];
        case Kind::Photo: {
            const int noise = m_random.Range(-4, 4);
            return {Clamp(40 + x * 150 / m_width + noise), Clamp(200 - y * 170 / m_height + noise),
                    Clamp(255 - (x + 2 * y) * 90 / (m_width + m_height) + m_random.Range(-6, 6))};
        }
        case Kind::Runs:
            if (m_left == 0) {
                m_left = m_random.OneIn(4) ? m_random.Range(1, 3) : m_random.Range(5, 60);
                m_run = m_random.OneIn(2) ? Colour{255, 255, 255} : m_few[m_random.Range(0, 127)];
            }
            --m_left;
            return m_run;
        case Kind::Flat:
            return m_few[0];
        case Kind::Narrow:
            return {m_random.Range(100, 131), m_random.Range(90, 110), m_random.Range(247, 255)};
        }
        return {};
    }

private:
    static int Clamp(int value) { return std::clamp(value, 0, 255); }
    Colour Any() { return {m_random.Range(0, 255), m_random.Range(0, 255), m_random.Range(0, 255)}; }

    Kind m_kind;
    int m_width;
    int m_height;
    Random m_random;
    Colour m_few[128];
    Colour m_run = {};
    int m_left = 0;
};

} // namespace

Bytes Picture(Kind kind, int width, int height, int bits, std::uint64_t start) {
    Bytes dib = testdib::MakeDib(width, height, bits);
    Painter painter(kind, width, height, start);
    const std::size_t stride = testdib::Stride(width, bits);
    for (int y = 0; y < height; ++y) {
        std::uint8_t* at = dib.data() + 40 + static_cast<std::size_t>(y) * stride;
        for (int x = 0; x < width; ++x, at += bits / 8) {
            const Colour colour = painter.Next(x, y);
            if (bits == 24) {
                at[0] = static_cast<std::uint8_t>(colour.blue);
                at[1] = static_cast<std::uint8_t>(colour.green);
                at[2] = static_cast<std::uint8_t>(colour.red);
            } else {
                // The top bit belongs to no channel.
                const int pixel = colour.blue >> 3 | colour.green >> 3 << 5 | colour.red >> 3 << 10 | (x & 1) << 15;
                at[0] = static_cast<std::uint8_t>(pixel);
                at[1] = static_cast<std::uint8_t>(pixel >> 8);
            }
        }
    }
    return dib;
}

std::vector<CColorTrans2> Records(int count, int spread, Random& random) {
    std::vector<CColorTrans2> records(static_cast<std::size_t>(count));
    const int base = random.Range(0, 256 - spread);
    const auto channel = [&] { return static_cast<unsigned char>(base + random.Range(0, spread - 1)); };
    for (std::size_t i = 0; i < records.size(); ++i) {
        records[i].m_rgb = {channel(), channel(), channel(), static_cast<unsigned char>(random.Next())};
        records[i].m_dwCount = random.Next();
        records[i].m_byIndex = static_cast<unsigned char>(i);
    }
    return records;
}

void SetPalette(CNiGoRo2& quantiser, const std::vector<CColorTrans2>& records) {
    std::copy(records.begin(), records.end(), quantiser.m_Palette);
    quantiser.m_nColors = static_cast<int>(records.size());
}

std::string DifferenceOfTrees(const CNiGoRo2& a, const CNiGoRo2& b) {
    if (a.m_nColors != b.m_nColors)
        return "number of colours";
    std::size_t nodes = 0;
    for (std::size_t level = 0, size = 1; level <= a.m_wDepth; ++level, size *= 8)
        nodes += size;
    for (std::size_t n = 0; n < nodes; ++n) {
        if (std::memcmp(a.m_pCube + n, b.m_pCube + n, sizeof(CCube2)) != 0)
            return "node " + std::to_string(n);
    }
    return "";
}

namespace {

// All fields; the three bytes behind the index hold nothing.
bool SameRecords(const CColorTrans2* a, const CColorTrans2* b, std::size_t count) {
    return std::equal(a, a + count, b, [](const CColorTrans2& x, const CColorTrans2& y) {
        return std::memcmp(&x, &y, offsetof(CColorTrans2, m_byIndex) + 1) == 0;
    });
}

} // namespace

std::string DifferenceOfSearches(const CNiGoRo2& a, const CNiGoRo2& b) {
    if (!SameRecords(a.m_Palette, b.m_Palette, 256))
        return "palette";
    for (int cell = 0; cell < 512; ++cell) {
        const CCubeCell& x = a.m_SearchCube[cell / 64][cell / 8 % 8][cell % 8];
        const CCubeCell& y = b.m_SearchCube[cell / 64][cell / 8 % 8][cell % 8];
        if (x.m_nCount != y.m_nCount)
            return "length of list " + std::to_string(cell);
        // Lists have room for a multiple of 32 records, and what is not used is zero.
        const std::size_t room = (static_cast<std::size_t>(x.m_nCount) + 31) / 32 * 32;
        if (!SameRecords(x.m_pList, y.m_pList, room))
            return "list " + std::to_string(cell);
    }
    return "";
}

} // namespace tiertest

// Both quantisers side by side: see quantize_fixture.h.
#include "quantize_fixture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

namespace oracle {

namespace {

std::uint8_t RandomByte(Random& random) { return static_cast<std::uint8_t>(random.Next() >> 9); }

// The few values that many records share, so that sorts and searches meet ties.
std::uint8_t TiedByte(Random& random, int variety) {
    const int step = variety < 2 ? 255 : 255 / (variety - 1);
    return static_cast<std::uint8_t>(random.Range(0, variety - 1) * step);
}

} // namespace

Bytes RandomQuantizerSource(Random& random, int largestWidth, int largestHeight) {
    struct Layout {
        int bits;
        std::uint32_t compression;
    };
    const Layout layouts[] = {{24, 0}, {24, 0}, {24, 0}, {16, 0}, {16, 0}, {16, 3}, {32, 3},
                              {32, 0}, {24, 1}, {16, 2}, {24, 3}, {48, 0}, {8, 0},  {4, 3}};
    const Layout layout = layouts[random.Range(0, random.OneIn(4) ? 13 : 6)];
    const int width = random.Range(1, largestWidth);
    int height = random.Range(1, largestHeight);
    const std::uint32_t used = random.OneIn(8) ? static_cast<std::uint32_t>(random.Range(1, 40)) : 0;
    const std::uint32_t headerSize = random.OneIn(15) ? 124 : 40;
    const std::uint32_t tableBytes =
        headerSize == 40 ? 4 * (used != 0 ? used : static_cast<std::uint32_t>(testdib::DefaultColors(layout.bits))) : 0;
    const std::size_t masks = layout.compression == 3 && layout.bits != 24 ? 12 : 0;
    const std::size_t rows = testdib::Stride(width, layout.bits) * static_cast<std::size_t>(height);
    Bytes dib(headerSize + tableBytes + masks + rows);
    const bool fewColours = random.OneIn(3);
    const Bytes few = RandomBytes(random, static_cast<std::size_t>(random.Range(1, 12)));
    const bool gradient = random.OneIn(3);
    for (std::size_t i = 40; i < dib.size(); ++i)
        dib[i] = fewColours ? few[random.Next() % few.size()]
                 : gradient ? static_cast<std::uint8_t>(i / 5 + (random.Next() & 7))
                            : RandomByte(random);
    if (random.OneIn(20))
        height = -height;
    testdib::PutU32(dib, 0, headerSize);
    testdib::PutU32(dib, 4, static_cast<std::uint32_t>(width));
    testdib::PutU32(dib, 8, static_cast<std::uint32_t>(height));
    testdib::PutU16(dib, 12, 1);
    testdib::PutU16(dib, 14, static_cast<unsigned>(layout.bits));
    testdib::PutU32(dib, 16, layout.compression);
    testdib::PutU32(dib, 32, used);
    return dib;
}

// Bit fields take their red mask from it, so whole 16-bit values matter.
unsigned RandomMaxColors(Random& random) {
    const unsigned usual[] = {0, 1, 2, 3, 16, 64, 65, 255, 256, 257, 300, 0x7C00, 0xF800, 0xFFFF};
    return random.OneIn(2) ? usual[random.Range(0, 13)] : static_cast<unsigned>(random.Range(1, 300));
}

unsigned RandomDepth(Random& random) {
    if (random.OneIn(12))
        return static_cast<unsigned>(random.OneIn(2) ? 0 : random.Range(9, 30));
    return random.OneIn(40) ? 6 : static_cast<unsigned>(random.Range(1, 5));
}

std::vector<Record> RandomDefaultColors(Random& random, int most) {
    std::vector<Record> colours(static_cast<std::size_t>(random.Range(1, most)));
    const int variety = random.OneIn(2) ? 5 : 256;
    for (Record& colour : colours) {
        colour.blue = TiedByte(random, variety);
        colour.green = TiedByte(random, variety);
        colour.red = TiedByte(random, variety);
    }
    return colours;
}

std::vector<Record> RandomRecords(Random& random, std::size_t count) {
    std::vector<Record> records(count);
    const int varieties[] = {1, 2, 3, 9, 256};
    const int variety = varieties[random.Range(0, 4)];
    const bool largeCounts = random.OneIn(4);
    for (Record& record : records) {
        record.blue = TiedByte(random, variety);
        record.green = TiedByte(random, variety);
        record.red = TiedByte(random, variety);
        record.reserved = random.OneIn(3) ? RandomByte(random) : std::uint8_t{0};
        record.count = largeCounts ? random.Next() : static_cast<std::uint32_t>(random.Range(0, variety * 2));
        record.index = RandomByte(random);
    }
    return records;
}

Colour RandomSearch(Random& random, const std::vector<Record>& records, int count) {
    if (count == 0 || random.OneIn(2))
        return Colour{RandomByte(random), RandomByte(random), RandomByte(random)};
    const Record& record = records[random.Next() % static_cast<std::uint32_t>(count)];
    const int spread = random.Range(0, 40);
    const auto near = [&](int value) { return std::clamp(value + random.Range(-spread, spread), 0, 255); };
    return Colour{near(record.red), near(record.green), near(record.blue)};
}

CColorTrans2 Converted(const Record& record) {
    CColorTrans2 converted{};
    converted.m_rgb = tagRGBQUAD{record.blue, record.green, record.red, record.reserved};
    converted.m_dwCount = record.count;
    converted.m_byIndex = record.index;
    return converted;
}

std::vector<CColorTrans2> Converted(const std::vector<Record>& records) {
    std::vector<CColorTrans2> converted;
    for (const Record& record : records)
        converted.push_back(Converted(record));
    return converted;
}

void CompareRecords(const std::vector<Record>& expected, const CColorTrans2* actual, std::size_t count) {
    ASSERT_LE(count, expected.size());
    for (std::size_t i = 0; i < count; ++i) {
        ASSERT_EQ(actual[i].m_rgb.rgbBlue, expected[i].blue) << "record " << i;
        ASSERT_EQ(actual[i].m_rgb.rgbGreen, expected[i].green) << "record " << i;
        ASSERT_EQ(actual[i].m_rgb.rgbRed, expected[i].red) << "record " << i;
        ASSERT_EQ(actual[i].m_rgb.rgbReserved, expected[i].reserved) << "record " << i;
        ASSERT_EQ(actual[i].m_dwCount, expected[i].count) << "record " << i;
        ASSERT_EQ(actual[i].m_byIndex, expected[i].index) << "record " << i;
    }
}

void CompareTable(const Bytes& expected, const std::vector<tagRGBQUAD>& actual) {
    Bytes whole = expected;
    whole.resize(4 * actual.size());
    Bytes bytes;
    for (const tagRGBQUAD& entry : actual)
        bytes.insert(bytes.end(), {entry.rgbBlue, entry.rgbGreen, entry.rgbRed, entry.rgbReserved});
    EXPECT_EQ(Difference(whole, bytes), "equal") << "in the colour table";
}

namespace {

unsigned char* Filled(testhost::GuardedBuffer& buffer, const Bytes& bytes) {
    std::memcpy(buffer.data(), bytes.data(), bytes.size());
    return buffer.data();
}

} // namespace

Pair::Pair(const Bytes& dib, unsigned maxColors, unsigned depth)
    : m_source(dib.size()),
      fast(Filled(m_source, dib), static_cast<unsigned short>(maxColors), static_cast<unsigned short>(depth), 0),
      slow(dib, maxColors, depth) {}

void Pair::SetDefaultColors(const std::vector<Record>& colours) {
    slow.defaultColors = colours;
    fast.m_dwDefaultColors = static_cast<unsigned>(colours.size());
    fast.m_pDefaultColors = new tagRGBQUAD[colours.size()]; // the object frees it
    for (std::size_t i = 0; i < colours.size(); ++i)
        fast.m_pDefaultColors[i] = Converted(colours[i]).m_rgb;
}

void Pair::SetMode(std::uint32_t mode) {
    slow.mode = mode;
    fast.m_dwMode = mode;
}

void Pair::SetLinear(bool linear) {
    slow.linear = linear;
    fast.m_wLinear = linear ? 1 : 0;
}

void Pair::SetPalette(const std::vector<Record>& records) {
    slow.colors = static_cast<int>(records.size());
    fast.m_nColors = slow.colors;
    for (std::size_t i = 0; i < records.size(); ++i) {
        slow.palette[i] = records[i];
        fast.m_Palette[i] = Converted(records[i]);
    }
}

void Pair::CompareFields() const {
    EXPECT_EQ(fast.m_nColors, slow.colors);
    EXPECT_EQ(fast.m_wLinear, slow.linear ? 1 : 0);
    CompareRecords(slow.palette, fast.m_Palette, 256);
    for (int i = 0; i < 8; ++i)
        for (int j = 0; j < 8; ++j)
            for (int k = 0; k < 8; ++k) {
                const std::vector<Record>& list = slow.cube[i][j][k];
                const CCubeCell& cell = fast.m_SearchCube[i][j][k];
                ASSERT_EQ(cell.m_nCount, static_cast<int>(list.size())) << i << ' ' << j << ' ' << k;
                CompareRecords(list, cell.m_pList, list.size());
            }
}

namespace {

// Nodes that the slow version never made are all zero in the array.
void CompareNode(const Node* expected, const CCube2* nodes, std::size_t number, std::size_t nodeCount) {
    static const Node untouched;
    const Node& node = expected ? *expected : untouched;
    const CCube2& actual = nodes[number];
    ASSERT_EQ(actual.m_dwRed, node.red) << "node " << number;
    ASSERT_EQ(actual.m_dwGreen, node.green) << "node " << number;
    ASSERT_EQ(actual.m_dwBlue, node.blue) << "node " << number;
    ASSERT_EQ(actual.m_dwPixels, node.pixels) << "node " << number;
    ASSERT_EQ(actual.m_dwWeight, node.weight) << "node " << number;
    ASSERT_EQ(actual.m_byChild, node.children) << "node " << number;
    ASSERT_EQ(actual.m_dwFixed, node.fixed) << "node " << number;
    for (std::size_t i = 0; i < 8; ++i) {
        const std::size_t child = 8 * number + 1 + i;
        if (child < nodeCount) {
            ASSERT_NO_FATAL_FAILURE(CompareNode(node.child[i].get(), nodes, child, nodeCount));
        }
    }
}

} // namespace

void Pair::CompareNodes() const {
    ASSERT_EQ(fast.m_pCube != nullptr, slow.root != nullptr);
    if (!fast.m_pCube)
        return;
    std::size_t nodeCount = 0;
    for (unsigned level = 0; level <= slow.depth; ++level)
        nodeCount = 8 * nodeCount + 1;
    CompareNode(slow.root.get(), fast.m_pCube, 0, nodeCount);
}

} // namespace oracle

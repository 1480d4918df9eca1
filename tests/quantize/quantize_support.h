// What the tests of the quantiser share.
#pragma once

#include "dibprep.h"
#include "tests/support/dib_builder.h"
#include "tests/support/memory_test.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <memory>
#include <vector>

namespace quantizetest {

using testdib::Bytes;
using testhost::MemoryTest;
using Rgb = std::array<int, 3>; // red, green, blue

inline tagRGBQUAD Quad(int red, int green, int blue, int reserved = 0) {
    return {static_cast<unsigned char>(blue), static_cast<unsigned char>(green), static_cast<unsigned char>(red),
            static_cast<unsigned char>(reserved)};
}

inline CColorTrans2 Record(int red, int green, int blue, unsigned count = 0, int index = 0) {
    CColorTrans2 record{};
    record.m_rgb = Quad(red, green, blue);
    record.m_dwCount = count;
    record.m_byIndex = static_cast<unsigned char>(index);
    return record;
}

inline Rgb Colour(const CColorTrans2& record) {
    return {record.m_rgb.rgbRed, record.m_rgb.rgbGreen, record.m_rgb.rgbBlue};
}

// Where pixel i, counted row by row, stands in a DIB without a colour table.
inline std::size_t PixelAt(int width, int bits, int i) {
    return 40 + static_cast<std::size_t>(i / width) * testdib::Stride(width, bits) +
           static_cast<std::size_t>(i % width * bits / 8);
}

// A 24-bit DIB from colours, row by row from the bottom one.
inline Bytes TrueColour(int width, int height, const std::vector<Rgb>& pixels) {
    Bytes dib = testdib::MakeDib(width, height, 24);
    for (std::size_t i = 0; i < pixels.size(); ++i)
        for (std::size_t c = 0; c < 3; ++c)
            dib.at(PixelAt(width, 24, static_cast<int>(i)) + c) = static_cast<std::uint8_t>(pixels[i][2 - c]);
    return dib;
}

// A 16-bit DIB from pixel values.
inline Bytes HighColour(int width, int height, const std::vector<unsigned>& pixels) {
    Bytes dib = testdib::MakeDib(width, height, 16);
    for (std::size_t i = 0; i < pixels.size(); ++i)
        testdib::PutU16(dib, PixelAt(width, 16, static_cast<int>(i)), pixels[i]);
    return dib;
}

// `count` colours that all lie in leaves of their own at depth 5.
inline std::vector<Rgb> Distinct(int count) {
    std::vector<Rgb> colours;
    for (int i = 0; i < count; ++i)
        colours.push_back({i % 16 * 16, i / 16 % 16 * 16, i / 256 * 16});
    return colours;
}

// The object as the pipeline makes it, over bytes that outlive it.
inline std::unique_ptr<CNiGoRo2> Quantiser(Bytes& dib, unsigned short maxColours = 256, unsigned short depth = 5) {
    return std::make_unique<CNiGoRo2>(dib.data(), maxColours, depth, 0);
}

// The first half of the work: octree filled, reduced, palette made.
inline void BuildColours(CNiGoRo2& q) {
    ASSERT_EQ(q.InitOctree(), 1);
    q.InsertDefaultColors();
    q.FillTree();
    q.ReduceColors();
    unsigned int next = 0;
    q.CreateColorTableRec(0, next);
    EXPECT_EQ(next, static_cast<unsigned>(q.m_nColors));
}

inline std::vector<Rgb> Palette(const CNiGoRo2& q) {
    std::vector<Rgb> colours;
    for (int i = 0; i < q.m_nColors; ++i)
        colours.push_back(Colour(q.m_Palette[i]));
    return colours;
}

inline std::vector<unsigned> Counts(const CNiGoRo2& q) {
    std::vector<unsigned> counts;
    for (int i = 0; i < q.m_nColors; ++i)
        counts.push_back(q.m_Palette[i].m_dwCount);
    return counts;
}

inline void SetDefaults(CNiGoRo2& q, const std::vector<Rgb>& colours) {
    q.m_pDefaultColors = new tagRGBQUAD[colours.size()];
    q.m_dwDefaultColors = static_cast<unsigned>(colours.size());
    for (std::size_t i = 0; i < colours.size(); ++i)
        q.m_pDefaultColors[i] = Quad(colours[i][0], colours[i][1], colours[i][2]);
}

// The bytes of an output block, which is freed; empty for 0.
inline Bytes Take(void* handle) {
    if (!handle)
        return {};
    EXPECT_EQ(testhost::LockCount(handle), 0);
    const Bytes bytes = testhost::Bytes(handle);
    GlobalFree(handle);
    return bytes;
}

inline Bytes Part(const Bytes& bytes, std::size_t from, std::size_t count) {
    EXPECT_LE(from + count, bytes.size());
    if (from + count > bytes.size())
        return {};
    const auto first = bytes.begin() + static_cast<std::ptrdiff_t>(from);
    return Bytes(first, first + static_cast<std::ptrdiff_t>(count));
}

// Entry of an output's colour table, without its reserved byte.
inline Rgb Entry(const Bytes& out, int index) {
    const std::size_t at = 40 + 4 * static_cast<std::size_t>(index);
    return {out.at(at + 2), out.at(at + 1), out.at(at)};
}

} // namespace quantizetest

// The quantiser's kernels for rows, records and lists, and the palette without an octree: the same bytes
// as the scalar forms, on every tier.
#include "quantize/forms.h"
#include "quantize/kernels.h"
#include "quantize/list_starts.h"
#include "tests/quantize/tier_pictures.h"
#include "tests/support/test_host.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

using namespace tiertest;
using dibprep::KernelsOf;
using dibprep::Tier;

namespace {

using Quantiser = std::unique_ptr<CNiGoRo2>;
using Side = testhost::GuardedBuffer::Side;

Quantiser Make(Bytes& dib, unsigned short colours = 256) {
    return std::make_unique<CNiGoRo2>(dib.data(), colours, 5, 0);
}

// The records that the scalar forms make.
Quantiser ScalarPalette(Bytes& dib, unsigned short colours) {
    const ForcedTier forced(Tier::Scalar);
    Quantiser q = Make(dib, colours);
    q->InitOctree();
    q->FillTree();
    q->ReduceColors();
    unsigned int next = 0;
    q->CreateColorTableRec(0, next);
    return q;
}

void ExpectSamePalette(CNiGoRo2& q, const CNiGoRo2& expected, const std::string& what) {
    ASSERT_TRUE(dibprep::MakePalette(q)) << what;
    ASSERT_EQ(q.m_nColors, expected.m_nColors) << what;
    ASSERT_EQ(DifferenceOfSearches(q, expected), "") << what;
}

TEST(QuantizePaletteTiers, BlocksOfOneColourBetweenUnreadablePages) {
    Random random(200);
    const dibprep::QuantizeKernels& scalar = KernelsOf(Tier::Scalar);
    for (int round = 0; round < 600; ++round) {
        const int blocks = round % 7;
        const std::size_t size = static_cast<std::size_t>(blocks) * dibprep::BlockBytes;
        testhost::GuardedBuffer pixels(size, round % 2 ? Side::Start : Side::End);
        unsigned char colour[3] = {static_cast<unsigned char>(random.Next()), static_cast<unsigned char>(random.Next()),
                                   static_cast<unsigned char>(random.Next())};
        if (round % 3 == 0)
            std::memset(colour, colour[0], 3); // gray: every byte like the one before, too
        for (std::size_t i = 0; i < size; ++i)
            pixels.data()[i] = colour[i % 3];
        // One byte in a block differs, anywhere, or the colour from some pixel on.
        if (size > 0 && round % 5 != 0) {
            const auto at = static_cast<std::size_t>(random.Range(0, static_cast<int>(size) - 1));
            const std::size_t end = round % 5 == 1 ? size : at + 1;
            for (std::size_t i = at; i < end; ++i)
                pixels.data()[i] ^= 0x10;
        }
        const std::size_t keyBytes = static_cast<std::size_t>(blocks * dibprep::BlockPixels) * 4;
        std::vector<std::uint32_t> expected(static_cast<std::size_t>(blocks * dibprep::BlockPixels), 0xA5A5A5A5);
        const int same = scalar.sameBlocks(pixels.data(), blocks);
        const int mixed = scalar.mixedBlocks(pixels.data(), blocks, expected.data());
        for (const Tier tier : FastTiersHere()) {
            testhost::GuardedBuffer keys(keyBytes, Side::End);
            std::memset(keys.data(), 0xA5, keyBytes);
            ASSERT_EQ(KernelsOf(tier).sameBlocks(pixels.data(), blocks), same) << dibprep::NameOf(tier) << ' ' << round;
            ASSERT_EQ(KernelsOf(tier).mixedBlocks(pixels.data(), blocks, reinterpret_cast<std::uint32_t*>(keys.data())),
                      mixed)
                << dibprep::NameOf(tier) << ' ' << round;
            const std::size_t written = static_cast<std::size_t>(mixed * dibprep::BlockPixels) * 4;
            ASSERT_TRUE(written == 0 || std::memcmp(keys.data(), expected.data(), written) == 0) << round;
        }
    }
}

TEST(QuantizePaletteTiers, CandidatesOfACell) {
    Random random(210);
    for (int round = 0; round < 300; ++round) {
        const int count = round < 40 ? round : random.Range(1, 256);
        const std::vector<CColorTrans2> records = Records(count, round % 3 ? 256 : 10, random);
        testhost::GuardedBuffer list(records.size() * sizeof(CColorTrans2), Side::End);
        if (count > 0)
            std::memcpy(list.data(), records.data(), records.size() * sizeof(CColorTrans2));
        const auto* const at = reinterpret_cast<const CColorTrans2*>(list.data());
        const std::uint32_t cell = random.Next() % dibprep::ColourCells;
        std::uint16_t expected[dibprep::CellScores::Most];
        const int found = dibprep::PickScalar(at, count, cell, expected);
        for (const Tier tier : FastTiersHere()) {
            std::uint16_t picked[dibprep::CellScores::Most];
            ASSERT_EQ(KernelsOf(tier).pick(at, count, cell, picked), found) << dibprep::NameOf(tier) << ' ' << round;
            if (found <= dibprep::CellScores::Most) {
                ASSERT_TRUE(std::equal(expected, expected + found, picked)) << dibprep::NameOf(tier) << ' ' << round;
            }
        }
    }
}

TEST(QuantizePaletteTiers, FewWordsAreSortedUnlessTwoAreEqual) {
    Random random(220);
    int ties = 0;
    for (int round = 0; round < 2000; ++round) {
        const int count = round % (dibprep::FewWords + 1);
        const std::uint32_t mask = round % 3 == 0 ? 0x3FFF : 0x7FFFFFFF;
        std::uint32_t words[dibprep::FewWords];
        for (std::uint32_t& word : words)
            word = random.Next() & mask;
        std::uint32_t expected[dibprep::FewWords];
        std::copy(std::begin(words), std::end(words), expected);
        const bool sorted = dibprep::SortFewScalar(expected, count);
        ties += !sorted;
        if (sorted) {
            std::vector<std::uint32_t> all(words, words + count);
            std::sort(all.begin(), all.end());
            EXPECT_TRUE(std::equal(all.begin(), all.end(), expected));
        }
        for (const Tier tier : FastTiersHere()) {
            testhost::GuardedBuffer memory(sizeof words, Side::End);
            std::memcpy(memory.data(), words, sizeof words);
            ASSERT_EQ(KernelsOf(tier).sortFew(reinterpret_cast<std::uint32_t*>(memory.data()), count), sorted);
            ASSERT_EQ(std::memcmp(memory.data(), expected, sizeof words), 0) << dibprep::NameOf(tier) << ' ' << round;
        }
    }
    EXPECT_GT(ties, 100);
}

TEST(QuantizePaletteTiers, SearchOfAListIsTheObjectsOwn) {
    Random random(230);
    Bytes dib = testdib::MakeDib(1, 1, 24);
    for (int round = 0; round < 60; ++round) {
        const int count = round < 20 ? round + 1 : random.Range(1, 256);
        std::vector<CColorTrans2> records = Records(count, round % 3 ? 256 : 6, random);
        std::sort(records.begin(), records.end(),
                  [](const auto& a, const auto& b) { return a.m_rgb.rgbBlue < b.m_rgb.rgbBlue; });
        const Quantiser q = Make(dib);
        SetPalette(*q, records);
        dibprep::ListedColours list = {};
        ASSERT_TRUE(dibprep::FindListStarts(*q, list.start));
        list.count = count;
        for (int i = 0; i < count; ++i) {
            list.blueRed[i] = records[static_cast<std::size_t>(i)].m_rgb.rgbBlue |
                              records[static_cast<std::size_t>(i)].m_rgb.rgbRed * 65536u;
            list.green[i] = records[static_cast<std::size_t>(i)].m_rgb.rgbGreen;
        }
        for (int n = 0; n < 100; ++n) {
            const std::vector<CColorTrans2> near = Records(1, round % 3 ? 256 : 6, random);
            const tagRGBQUAD colour = n % 2 ? records[random.Next() % records.size()].m_rgb : near[0].m_rgb;
            testhost::GuardedBuffer pixel(3, Side::End);
            pixel.data()[0] = colour.rgbBlue;
            pixel.data()[1] = colour.rgbGreen;
            pixel.data()[2] = colour.rgbRed;
            const int expected = q->GetNearestColorIndexL(colour.rgbRed, colour.rgbGreen, colour.rgbBlue);
            ASSERT_EQ(q->m_Palette[KernelsOf(Tier::Scalar).search(list, pixel.data())].m_byIndex, expected);
            for (const Tier tier : FastTiersHere())
                ASSERT_EQ(q->m_Palette[KernelsOf(tier).search(list, pixel.data())].m_byIndex, expected)
                    << dibprep::NameOf(tier) << ' ' << round;
        }
    }
}

TEST(QuantizePaletteTiers, SortedPalettesAreEqual) {
    Random random(240);
    Bytes dib = testdib::MakeDib(1, 1, 24);
    for (int round = 0; round < 200; ++round) {
        std::vector<CColorTrans2> records = Records(round < 20 ? round : random.Range(1, 256), 256, random);
        // Counts that tie: all, many, some, few.
        const unsigned int range[] = {1, 3, 20, 300, 1u << 23};
        for (CColorTrans2& record : records) {
            record.m_dwCount %= range[round % 5];
            if (round % 2)
                record.m_rgb.rgbBlue /= 40;
        }
        for (const Tier tier : FastTiersHere()) {
            const ForcedTier forced(tier);
            const Quantiser expected = Make(dib);
            const Quantiser q = Make(dib);
            SetPalette(*expected, records);
            SetPalette(*q, records);
            tagRGBQUAD expectedTable[256] = {};
            tagRGBQUAD table[256] = {};
            dibprep::ScalarBuildPalette(*expected, expectedTable);
            ASSERT_TRUE(dibprep::FastBuildPalette(*q, table));
            ASSERT_EQ(std::memcmp(table, expectedTable, sizeof table), 0) << round;
            ASSERT_EQ(DifferenceOfSearches(*q, *expected), "") << round;
        }
    }
}

TEST(QuantizePaletteTiers, CountsBeyondTheWordsAreLeftToTheRecords) {
    Random random(250);
    Bytes dib = testdib::MakeDib(1, 1, 24);
    std::vector<CColorTrans2> records = Records(10, 256, random);
    for (CColorTrans2& record : records)
        record.m_dwCount = 5;
    const Quantiser q = Make(dib);
    tagRGBQUAD table[256] = {};
    SetPalette(*q, records);
    EXPECT_TRUE(dibprep::FastBuildPalette(*q, table));
    records[9].m_dwCount = 1u << 23;
    SetPalette(*q, records);
    EXPECT_FALSE(dibprep::FastBuildPalette(*q, table));
    records[9].m_dwCount = 0xFFFFFFFF;
    SetPalette(*q, records);
    EXPECT_FALSE(dibprep::FastBuildPalette(*q, table));
    const ForcedTier forced(Tier::Scalar);
    records[9].m_dwCount = 5;
    SetPalette(*q, records);
    EXPECT_FALSE(dibprep::FastBuildPalette(*q, table));
}

TEST(QuantizePaletteTiers, PalettesWithoutATreeAreThoseOfTheTree) {
    const int sizes[][2] = {{1, 1}, {2, 1}, {11, 11}, {16, 16}, {63, 65}, {64, 64}, {65, 63}, {300, 90}};
    for (const Kind kind : AllKinds) {
        for (const auto& size : sizes) {
            Bytes dib = Picture(kind, size[0], size[1], 24, 260u + static_cast<unsigned>(size[0]));
            for (unsigned short colours : {1, 2, 7, 16, 100, 255, 256, 257, 65535}) {
                const Quantiser expected = ScalarPalette(dib, colours);
                for (const Tier tier : FastTiersHere()) {
                    const ForcedTier forced(tier);
                    const Quantiser q = Make(dib, colours);
                    ExpectSamePalette(*q, *expected,
                                      NameOf(kind) + ' ' + std::to_string(size[0]) + ", " + std::to_string(colours));
                }
            }
        }
    }
}

// Chains of equal weights down from the root, and weights that differ by one.
TEST(QuantizePaletteTiers, PalettesOfChainsAndTies) {
    Random random(270);
    for (int round = 0; round < 40; ++round) {
        Bytes dib = testdib::MakeDib(40, 40, 24);
        const int colours = random.Range(2, 60);
        const int span = round % 2 ? 63 : 255;
        unsigned char few[60][3];
        for (auto& colour : few)
            for (unsigned char& channel : colour)
                channel = static_cast<unsigned char>(192 * (round % 2) + random.Range(0, span));
        for (int i = 0; i < 1600; ++i)
            std::memcpy(dib.data() + 40 + 3 * i, few[round % 4 < 2 ? i % colours : i % random.Range(1, colours)], 3);
        for (unsigned short most : {1, 2, 3, 10, 40}) {
            const Quantiser expected = ScalarPalette(dib, most);
            const Quantiser q = Make(dib, most);
            ExpectSamePalette(*q, *expected, std::to_string(round) + ", " + std::to_string(most));
        }
    }
}

// A cell's word is set aside whenever it holds 4096 pixels; every eighth pixel is not white here.
TEST(QuantizePaletteTiers, CellsOfManyPixels) {
    for (const int other : {0, 1, 8, 16, 31}) {
        Bytes dib = testdib::MakeDib(403, 250, 24);
        std::memset(dib.data() + 40, 0xFF, dib.size() - 40);
        const std::size_t stride = testdib::Stride(403, 24);
        for (int y = 0; other != 0 && y < 250; ++y)
            for (int x = 0; x < 403; ++x)
                if (x % other == 0)
                    std::memset(dib.data() + 40 + static_cast<std::size_t>(y) * stride + 3 * x, 0xF9 + y % 7, 3);
        const Quantiser expected = ScalarPalette(dib, 256);
        for (const Tier tier : FastTiersHere()) {
            const ForcedTier forced(tier);
            const Quantiser q = Make(dib);
            ExpectSamePalette(*q, *expected, std::to_string(other));
        }
    }
}

TEST(QuantizePaletteTiers, NoPaletteWithoutATreeOfWhatNeedsOne) {
    Bytes dib = Picture(Kind::Noise, 20, 20, 24, 280);
    const auto makes = [&dib](auto change) {
        const Quantiser q = Make(dib);
        change(*q);
        return dibprep::MakePalette(*q);
    };
    EXPECT_TRUE(makes([](CNiGoRo2&) {}));
    EXPECT_FALSE(makes([](CNiGoRo2& q) { q.m_wDepth = 4; }));
    EXPECT_FALSE(makes([](CNiGoRo2& q) { q.m_dwDefaultColors = 1; }));
    EXPECT_FALSE(makes([](CNiGoRo2& q) { q.m_dwMaxColors = 0; }));
    EXPECT_FALSE(makes([](CNiGoRo2& q) { q.m_bih.biHeight = -20; }));
    EXPECT_FALSE(makes([](CNiGoRo2& q) { q.m_bih.biBitCount = 16; }));
    EXPECT_FALSE(makes([](CNiGoRo2& q) { q.m_bih.biCompression = 3; }));
    EXPECT_FALSE(makes([](CNiGoRo2& q) { q.m_bih.biSize = 39; }));
    const ForcedTier forced(Tier::Scalar);
    EXPECT_FALSE(makes([](CNiGoRo2&) {}));
}

TEST(QuantizePaletteTiers, WhatNoHostSeesGivesTheSamePicture) {
    for (const Kind kind : AllKinds) {
        for (const int width : {1, 5, 16, 63, 64, 199}) {
            Bytes dib = Picture(kind, width, width == 199 ? 91 : width, 24, 290);
            const auto reduce = [&dib](Tier tier, bool seen) {
                const ForcedTier forced(tier);
                const Quantiser q = Make(dib);
                return testhost::Bytes(seen ? q->QuantizeBitmap(1, 0) : dibprep::QuantizeUnseen(*q));
            };
            const Bytes expected = reduce(Tier::Scalar, true);
            EXPECT_EQ(reduce(Tier::Scalar, false), expected);
            for (const Tier tier : FastTiersHere()) {
                ASSERT_EQ(reduce(tier, false), expected) << NameOf(kind) << ' ' << width;
                ASSERT_EQ(reduce(tier, true), expected) << NameOf(kind) << ' ' << width;
            }
            testhost::Reset();
        }
    }
    // Top-down pictures have no pixels to count; nothing is made of 8 bits, and nothing of no picture.
    Bytes topDown = Picture(Kind::Noise, 9, 9, 24, 291);
    testdib::PutU32(topDown, 8, static_cast<std::uint32_t>(-9));
    const Bytes expected = testhost::Bytes(Make(topDown)->QuantizeBitmap(1, 0));
    EXPECT_EQ(testhost::Bytes(dibprep::QuantizeUnseen(*Make(topDown))), expected);
    Bytes eight = testdib::MakeDib(9, 9, 8);
    EXPECT_EQ(dibprep::QuantizeUnseen(*Make(eight)), nullptr);
    EXPECT_EQ(dibprep::QuantizeUnseen(*std::make_unique<CNiGoRo2>(nullptr, 256, 5, 0)), nullptr);
    testhost::Reset();
}

} // namespace

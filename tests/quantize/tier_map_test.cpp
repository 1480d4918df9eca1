// The quantiser's mapping with remembered answers: the same bytes as colour by colour, on every tier,
// for pictures and for palettes and lists that only a host can have made.
#include "quantize/forms.h"
#include "tests/quantize/tier_pictures.h"
#include "tests/support/test_host.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

using namespace tiertest;
using dibprep::Tier;

namespace {

using Quantiser = std::unique_ptr<CNiGoRo2>;

Quantiser Make(Bytes& dib) { return std::make_unique<CNiGoRo2>(dib.data(), 256, 5, 0); }

// Maps the picture with the scalar form and with the fast one on every tier; source and target end,
// or start, at unreadable pages.
void CompareMappings(CNiGoRo2& q, const Bytes& dib, const std::string& what) {
    const int width = q.m_bih.biWidth;
    const int height = q.m_bih.biHeight;
    const bool plain16 = q.m_bih.biBitCount == 16;
    const std::size_t stride = testdib::Stride(width, q.m_bih.biBitCount);
    const std::size_t last = static_cast<std::size_t>(width) * q.m_bih.biBitCount / 8;
    const std::size_t size = stride * static_cast<std::size_t>(height - 1) + last;
    const std::size_t targetStride = testdib::Stride(width, 8);
    const std::size_t targetSize =
        targetStride * static_cast<std::size_t>(height - 1) + static_cast<std::size_t>(width);
    Bytes expected(targetSize, 0xA5);
    (plain16 ? dibprep::ScalarMap16 : dibprep::ScalarMap24)(q, dib.data() + 40, width, height, expected.data());
    for (const Tier tier : FastTiersHere()) {
        for (const auto side : {testhost::GuardedBuffer::Side::Start, testhost::GuardedBuffer::Side::End}) {
            const ForcedTier forced(tier);
            testhost::GuardedBuffer source(size, side);
            testhost::GuardedBuffer target(targetSize, side);
            std::memcpy(source.data(), dib.data() + 40, size);
            std::memset(target.data(), 0xA5, targetSize);
            ASSERT_TRUE(
                (plain16 ? dibprep::FastMap16 : dibprep::FastMap24)(q, source.data(), width, height, target.data()))
                << what;
            const auto differs = std::mismatch(expected.begin(), expected.end(), target.data());
            ASSERT_EQ(differs.first - expected.begin(), static_cast<std::ptrdiff_t>(targetSize))
                << what << ' ' << dibprep::NameOf(tier);
        }
    }
}

TEST(QuantizeMapTiers, PicturesOfAllKindsWithBothSearches) {
    for (const Kind kind : AllKinds) {
        for (int bits : {24, 16}) {
            Bytes dib = Picture(kind, 201, 50, bits, 70);
            for (const bool linear : {false, true}) {
                const Quantiser q = Make(dib);
                q->InitOctree();
                q->FillTree();
                q->ReduceColors();
                unsigned int next = 0;
                q->CreateColorTableRec(0, next);
                tagRGBQUAD table[256];
                linear ? q->BuildPalette(table) : q->BuildSearchCube(table);
                q->m_wLinear = linear ? 1 : 0;
                CompareMappings(*q, dib, NameOf(kind) + (linear ? " list" : " cube"));
            }
        }
    }
}

TEST(QuantizeMapTiers, WidthsAroundTheVectorsAndTheChunks) {
    Random random(80);
    for (int width : {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 15, 16, 17, 18, 31, 33, 34, 1023, 1024, 1025, 1033, 2050}) {
        const Kind kind = width % 2 ? Kind::Runs : Kind::Photo;
        Bytes dib = Picture(kind, width, 4096 / width + 2, 24, static_cast<unsigned>(width));
        const Quantiser q = Make(dib);
        SetPalette(*q, Records(80, 256, random));
        tagRGBQUAD table[256];
        q->BuildSearchCube(table);
        CompareMappings(*q, dib, std::to_string(width));
    }
}

TEST(QuantizeMapTiers, TiesGoToTheSameEntry) {
    Random random(90);
    Bytes dib = Picture(Kind::Narrow, 128, 50, 24, 90);
    Bytes noise = Picture(Kind::Noise, 128, 50, 24, 91);
    for (int round = 0; round < 12; ++round) {
        Bytes& picture = round % 2 ? dib : noise;
        const Quantiser q = Make(picture);
        std::vector<CColorTrans2> records = Records(random.Range(1, 256), 256, random);
        for (CColorTrans2& record : records) {
            // On a grid, and every colour several times: many are equally near.
            const int step = round % 3 == 0 ? 16 : 64;
            for (unsigned char* channel : {&record.m_rgb.rgbBlue, &record.m_rgb.rgbGreen, &record.m_rgb.rgbRed})
                *channel = static_cast<unsigned char>(*channel / step * step);
        }
        SetPalette(*q, records);
        tagRGBQUAD table[256];
        q->m_wLinear = round % 4 < 2;
        q->m_wLinear ? q->BuildPalette(table) : q->BuildSearchCube(table);
        CompareMappings(*q, picture, std::to_string(round));
    }
}

TEST(QuantizeMapTiers, ManyCandidatesInOneCell) {
    Random random(100);
    Bytes dib = Picture(Kind::Narrow, 128, 64, 24, 100);
    for (int count : {40, 63, 64, 65, 66, 100, 256}) {
        for (const bool linear : {false, true}) {
            const Quantiser q = Make(dib);
            std::vector<CColorTrans2> records = Records(count, 8, random);
            for (CColorTrans2& record : records)
                record.m_rgb.rgbRed = record.m_rgb.rgbGreen = 100; // all equally far in two channels
            SetPalette(*q, records);
            tagRGBQUAD table[256];
            linear ? q->BuildPalette(table) : q->BuildSearchCube(table);
            q->m_wLinear = linear ? 1 : 0;
            CompareMappings(*q, dib, std::to_string(count));
        }
    }
}

TEST(QuantizeMapTiers, ListsThatAHostMade) {
    Random random(110);
    Bytes dib = Picture(Kind::Noise, 128, 64, 24, 110);
    const Quantiser q = Make(dib);
    // Most cells stay empty and answer 0; the others hold colours from anywhere, some very many.
    for (int cell = 0; cell < 512; cell += 3) {
        const int count = cell % 5 == 0 ? random.Range(1000, 1050) : random.Range(1, 40);
        for (int i = 0; i < count; ++i) {
            CColorTrans2 record = {};
            record.m_rgb = {static_cast<unsigned char>(random.Next()), static_cast<unsigned char>(random.Next()),
                            static_cast<unsigned char>(random.Next()), 0};
            record.m_byIndex = static_cast<unsigned char>(random.Next());
            q->AddList(cell / 64, cell / 8 % 8, cell % 8, record);
        }
    }
    CompareMappings(*q, dib, "lists of a host");
}

TEST(QuantizeMapTiers, PalettesThatAHostMade) {
    Random random(120);
    Bytes dib = Picture(Kind::Noise, 128, 64, 24, 120);
    const Quantiser q = Make(dib);
    q->m_wLinear = 7;
    std::vector<CColorTrans2> records = Records(50, 256, random);
    std::sort(records.begin(), records.end(),
              [](const auto& a, const auto& b) { return a.m_rgb.rgbBlue < b.m_rgb.rgbBlue; });
    SetPalette(*q, records);
    CompareMappings(*q, dib, "sorted");

    // Not sorted by blue: the list search then is no search for the nearest.
    std::swap(q->m_Palette[10], q->m_Palette[40]);
    Bytes target(128 * 64);
    EXPECT_FALSE(dibprep::FastMap24(*q, dib.data() + 40, 128, 64, target.data()));
    q->m_nColors = 0;
    EXPECT_FALSE(dibprep::FastMap24(*q, dib.data() + 40, 128, 64, target.data()));
    const ForcedTier forced(Tier::Scalar);
    SetPalette(*q, records);
    EXPECT_FALSE(dibprep::FastMap24(*q, dib.data() + 40, 128, 64, target.data()));
    EXPECT_FALSE(dibprep::FastMap16(*q, dib.data() + 40, 128, 64, target.data()));
}

TEST(QuantizeMapTiers, SmallPicturesAndNoPicturesAreMappedColourByColour) {
    Bytes dib = Picture(Kind::Noise, 63, 65, 24, 130);
    const Quantiser q = Make(dib);
    Bytes target(64 * 65);
    EXPECT_FALSE(dibprep::FastMap24(*q, dib.data() + 40, 63, 65, target.data()));
    EXPECT_FALSE(dibprep::FastMap24(*q, dib.data() + 40, -64, 64, target.data()));
    EXPECT_FALSE(dibprep::FastMap24(*q, dib.data() + 40, 64, -64, target.data()));
    EXPECT_FALSE(dibprep::FastMap24(*q, dib.data() + 40, 0, 4096, target.data()));
}

TEST(QuantizeMapTiers, WholeReductionIsTheSameOnEveryTier) {
    for (const Kind kind : AllKinds) {
        for (int bits : {24, 16}) {
            Bytes dib = Picture(kind, 199, 91, bits, 140);
            const auto reduce = [&dib](Tier tier) {
                const ForcedTier forced(tier);
                void* const result = Make(dib)->QuantizeBitmap(1, 0);
                return testhost::Bytes(result);
            };
            const Bytes expected = reduce(Tier::Scalar);
            ASSERT_EQ(expected.size(), 1064u + 200u * 91u);
            for (const Tier tier : FastTiersHere())
                ASSERT_EQ(reduce(tier), expected) << NameOf(kind) << ' ' << dibprep::NameOf(tier);
            testhost::Reset();
        }
    }
}

} // namespace

// QuantizeBitmap and Quantize: the output DIB, the choice of search, the row mappers.
#include "tests/quantize/quantize_support.h"

namespace {

using namespace quantizetest;

class QuantizeBitmap : public MemoryTest {
protected:
    // The colour of every pixel as the output shows it.
    static std::vector<Rgb> Shown(const Bytes& out, int width, int height) {
        std::vector<Rgb> colours;
        for (int y = 0; y < height; ++y)
            for (int x = 0; x < width; ++x)
                colours.push_back(Entry(out, out.at(1024 + PixelAt(width, 8, y * width + x))));
        return colours;
    }
};

TEST_F(QuantizeBitmap, MakesAnEightBitDibOfTheSameSize) {
    Bytes dib = TrueColour(5, 3, std::vector<Rgb>(15, Rgb{1, 2, 3}));
    testdib::PutU32(dib, 20, 99);
    testdib::PutU32(dib, 36, 7);
    const Bytes out = Take(Quantiser(dib)->QuantizeBitmap(1, 0));
    ASSERT_EQ(out.size(), 40u + 1024u + 24u);
    EXPECT_EQ(Part(out, 0, 40), (Bytes{40, 0, 0, 0, 5, 0, 0, 0, 3, 0, 0, 0, 1, 0, 8, 0, 0, 0, 0, 0,
                                       0,  0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}))
        << "no resolution, no colour count";
    EXPECT_EQ(Entry(out, 0), (Rgb{1, 2, 3}));
    EXPECT_EQ(Part(out, 44, 1020 + 24), Bytes(1044, 0));
}

TEST_F(QuantizeBitmap, SmallPicturesListTheLeastUsedColourFirst) {
    Bytes dib = TrueColour(3, 2, {{255, 0, 0}, {0, 0, 255}, {255, 0, 0}, {255, 0, 0}, {0, 255, 0}, {0, 255, 0}});
    const auto q = Quantiser(dib);
    const Bytes out = Take(q->QuantizeBitmap(1, 0));
    EXPECT_EQ(q->m_wLinear, 1);
    EXPECT_EQ(Part(out, 40, 16), (Bytes{255, 0, 0, 0, 0, 255, 0, 0, 0, 0, 255, 0, 0, 0, 0, 0}));
    EXPECT_EQ(Part(out, 1064, 8), (Bytes{2, 0, 2, 0, 2, 1, 1, 0}));
}

TEST_F(QuantizeBitmap, ArgumentsAreIgnored) {
    Bytes dib = TrueColour(2, 1, {{255, 0, 0}, {0, 0, 255}});
    const Bytes out = Take(Quantiser(dib)->QuantizeBitmap(1, 0));
    EXPECT_EQ(Take(Quantiser(dib)->QuantizeBitmap(0, 0)), out);
    EXPECT_EQ(Take(Quantiser(dib)->QuantizeBitmap(-7, 12345)), out);
}

TEST_F(QuantizeBitmap, UpTo16384PixelsUseTheListSearch) {
    std::vector<Rgb> pixels = Distinct(100);
    pixels.resize(128 * 128, pixels[0]);
    Bytes dib = TrueColour(128, 128, pixels);
    const auto q = Quantiser(dib);
    const Bytes out = Take(q->QuantizeBitmap(1, 0));
    EXPECT_EQ(q->m_wLinear, 1);
    EXPECT_EQ(q->m_SearchCube[0][0][0].m_nCount, 0);
    EXPECT_EQ(Entry(out, 99), (Rgb{0, 0, 0})) << "the most used comes last";
    EXPECT_EQ(Shown(out, 128, 128), pixels);
}

TEST_F(QuantizeBitmap, From16385PixelsAnd65ColoursTheCubeIsUsed) {
    std::vector<Rgb> pixels = Distinct(65);
    pixels.resize(16385, pixels[0]);
    Bytes dib = TrueColour(16385, 1, pixels);
    const auto q = Quantiser(dib);
    q->m_wLinear = 1; // chosen anew
    const Bytes out = Take(q->QuantizeBitmap(1, 0));
    EXPECT_EQ(q->m_nColors, 65);
    EXPECT_EQ(q->m_wLinear, 0);
    EXPECT_GT(q->m_SearchCube[0][0][0].m_nCount, 0);
    EXPECT_EQ(Entry(out, 0), (Rgb{0, 0, 0})) << "tree order: the most used may come first";
    EXPECT_EQ(Entry(out, 1), (Rgb{16, 0, 0}));
    EXPECT_EQ(Shown(out, 16385, 1), pixels);
}

TEST_F(QuantizeBitmap, PixelsAreWidthTimesHeight) {
    std::vector<Rgb> pixels = Distinct(65);
    pixels.resize(129 * 128, pixels[0]); // 16512
    Bytes dib = TrueColour(129, 128, pixels);
    const auto q = Quantiser(dib);
    const Bytes out = Take(q->QuantizeBitmap(1, 0));
    EXPECT_EQ(q->m_wLinear, 0);
    EXPECT_EQ(Shown(out, 129, 128), pixels);
}

TEST_F(QuantizeBitmap, With64ColoursTheListIsUsedForAnySize) {
    std::vector<Rgb> pixels = Distinct(64);
    pixels.resize(16385, pixels[0]);
    Bytes dib = TrueColour(16385, 1, pixels);
    const auto q = Quantiser(dib);
    const Bytes out = Take(q->QuantizeBitmap(1, 0));
    EXPECT_EQ(q->m_wLinear, 1);
    EXPECT_EQ(Shown(out, 16385, 1), pixels);
}

TEST_F(QuantizeBitmap, PipelineCallMakesAtMost256Colours) {
    std::vector<Rgb> pixels;
    for (int y = 0; y < 200; ++y)
        for (int x = 0; x < 100; ++x)
            pixels.push_back({x * 2, y, (x * y) & 255});
    Bytes dib = TrueColour(100, 200, pixels);
    const auto q = Quantiser(dib);
    const Bytes out = Take(q->QuantizeBitmap(1, 0));
    ASSERT_EQ(out.size(), 1064u + 20000u);
    EXPECT_LE(q->m_nColors, 256);
    for (std::size_t i = 0; i < 20000; ++i)
        ASSERT_LT(static_cast<int>(out[1064 + i]), q->m_nColors);
}

TEST_F(QuantizeBitmap, SixteenBits) {
    Bytes dib = HighColour(3, 2, {0x7C00, 0x7C00, 0x001F, 0x7C00, 0x03E0, 0x03E0});
    const Bytes out = Take(Quantiser(dib)->QuantizeBitmap(1, 0));
    EXPECT_EQ(Shown(out, 3, 2), (std::vector<Rgb>{{248, 0, 0},
                                                  {248, 0, 0},
                                                  {0, 0, 248}, //
                                                  {248, 0, 0},
                                                  {0, 248, 0},
                                                  {0, 248, 0}}));
}

TEST_F(QuantizeBitmap, UnsupportedLayoutsGiveAPictureOfIndexZero) {
    Bytes dib(40 + 64, 0x55);
    const Bytes header = testdib::MakeDib(4, 4, 32);
    std::copy(header.begin(), header.begin() + 40, dib.begin());
    auto q = Quantiser(dib);
    Bytes out = Take(q->QuantizeBitmap(1, 0));
    EXPECT_EQ(q->m_nColors, 0);
    EXPECT_EQ(Part(out, 40, 1024 + 16), Bytes(1040, 0));
    dib = TrueColour(4, 1, std::vector<Rgb>(4, Rgb{9, 9, 9}));
    testdib::PutU32(dib, 16, 3);
    out = Take(Quantiser(dib)->QuantizeBitmap(1, 0));
    EXPECT_EQ(Part(out, 40, 1024 + 4), Bytes(1028, 0)) << "bit fields with 24 bits";
}

TEST_F(QuantizeBitmap, EightBitsAndLessGiveNothing) {
    for (const int bits : {1, 4, 8}) {
        Bytes dib = testdib::MakeDib(4, 4, bits);
        EXPECT_EQ(Quantiser(dib)->QuantizeBitmap(1, 0), nullptr);
    }
    EXPECT_EQ(testhost::Allocations(), 0);
}

TEST_F(QuantizeBitmap, NoRowsOrColumnsGiveNothing) {
    Bytes dib = testdib::MakeDib(0, 4, 24);
    EXPECT_EQ(Quantiser(dib)->QuantizeBitmap(1, 0), nullptr);
    dib = testdib::MakeDib(4, 0, 24);
    EXPECT_EQ(Quantiser(dib)->QuantizeBitmap(1, 0), nullptr);
}

TEST_F(QuantizeBitmap, ThreeModesSkipPaletteAndSearch) {
    Bytes dib = TrueColour(2, 1, {{255, 0, 0}, {0, 0, 255}});
    for (const unsigned mode : {666u, 884u, 775u}) {
        auto q = Quantiser(dib);
        q->m_dwMode = mode;
        Bytes out = Take(q->QuantizeBitmap(1, 0));
        EXPECT_EQ(q->m_nColors, 2) << "the palette itself is found";
        EXPECT_EQ(q->m_wLinear, 0) << "the search stays as it was";
        EXPECT_EQ(Part(out, 40, 1028), Bytes(1028, 0)) << "an empty cube answers index 0: " << mode;

        q = Quantiser(dib);
        q->m_dwMode = mode;
        q->m_wLinear = 1;
        q->m_Palette[1].m_byIndex = 9;
        out = Take(q->QuantizeBitmap(1, 0));
        EXPECT_EQ(q->m_wLinear, 1);
        // Tree order is red, blue: sorted by blue already. The indices are what the host left.
        EXPECT_EQ(Part(out, 40, 1024), Bytes(1024, 0)) << mode;
        EXPECT_EQ(Part(out, 1064, 4), (Bytes{0, 9, 0, 0})) << mode;
    }
    for (const unsigned mode : {0u, 1u, 665u, 667u, 774u, 776u, 883u, 885u}) {
        const auto q = Quantiser(dib);
        q->m_dwMode = mode;
        EXPECT_EQ(Entry(Take(q->QuantizeBitmap(1, 0)), 1), (Rgb{255, 0, 0})) << mode;
    }
}

TEST_F(QuantizeBitmap, DepthZeroUsesThePaletteOfTheHost) {
    Bytes dib = TrueColour(3, 1, {{250, 5, 5}, {5, 5, 250}, {90, 90, 90}});
    const auto q = Quantiser(dib, 256, 0);
    q->m_Palette[0] = Record(255, 0, 0, 2);
    q->m_Palette[1] = Record(0, 0, 255, 1);
    q->m_nColors = 2;
    const Bytes out = Take(q->QuantizeBitmap(1, 0));
    EXPECT_EQ(q->m_pCube, nullptr);
    EXPECT_EQ(Entry(out, 0), (Rgb{0, 0, 255}));
    EXPECT_EQ(Entry(out, 1), (Rgb{255, 0, 0}));
    EXPECT_EQ(out[1064], 1);
    EXPECT_EQ(out[1065], 0);
}

TEST_F(QuantizeBitmap, DepthZeroTakesEightBitSourcesButMapsNothing) {
    Bytes dib = testdib::MakeDib(4, 1, 8);
    const auto q = Quantiser(dib, 256, 0);
    q->m_Palette[0] = Record(1, 2, 3);
    q->m_nColors = 1;
    const Bytes out = Take(q->QuantizeBitmap(1, 0));
    EXPECT_EQ(Entry(out, 0), (Rgb{1, 2, 3}));
    EXPECT_EQ(Part(out, 1064, 4), Bytes(4, 0));
}

TEST_F(QuantizeBitmap, ASecondCallReusesTheTree) {
    Bytes dib = TrueColour(3, 1, {{255, 0, 0}, {0, 0, 255}, {255, 0, 0}});
    const auto q = Quantiser(dib);
    const Bytes first = Take(q->QuantizeBitmap(1, 0));
    const CCube2* const tree = q->m_pCube;
    EXPECT_EQ(Take(q->QuantizeBitmap(1, 0)), first);
    EXPECT_EQ(q->m_pCube, tree);
    EXPECT_EQ(Take(q->Quantize()), first);
}

// ---- the row mappers called directly -----------------------------------------------------------

class RowMapper : public MemoryTest {
protected:
    // A list of two: black is 4, white is 5.
    static void SetBlackAndWhite(CNiGoRo2& q) {
        q.m_Palette[0] = Record(0, 0, 0, 1, 4);
        q.m_Palette[1] = Record(255, 255, 255, 1, 5);
        q.m_nColors = 2;
        q.m_wLinear = 1;
    }
};

TEST_F(RowMapper, TrueColourSkipsPaddingOnBothSides) {
    Bytes dib = TrueColour(3, 2, {{0, 0, 0}, {255, 255, 255}, {0, 0, 0}, {255, 255, 255}, {0, 0, 0}, {255, 255, 255}});
    const auto q = Quantiser(dib);
    SetBlackAndWhite(*q);
    Bytes target(8, 0xEE);
    q->QuantizeBM24(q->m_pBits, 3, 2, target.data(), nullptr);
    EXPECT_EQ(target, (Bytes{4, 5, 4, 0xEE, 5, 4, 5, 0xEE}));
}

TEST_F(RowMapper, PlainSixteenBitsTakeTheirBoundsFromTheHeader) {
    alignas(2) unsigned char pixels[8] = {0, 0, 0xFF, 0x7F, 0, 0, 0, 0};
    Bytes dib = HighColour(3, 1, {0, 0x7FFF, 0});
    const auto q = Quantiser(dib);
    SetBlackAndWhite(*q);
    Bytes target(8, 0xEE);
    q->QuantizeBM16(reinterpret_cast<unsigned short*>(pixels), 1, 1, target.data(), nullptr);
    EXPECT_EQ(target, (Bytes{4, 5, 4, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE})) << "three pixels, not one";
}

TEST_F(RowMapper, BitFieldsUseTheObjectsFields) {
    alignas(4) unsigned char pixels[12] = {0, 0, 0, 0x7F, 0xFF, 0, 0xFF, 0xFF, 0, 0xFF, 0, 0};
    Bytes dib = testdib::MakeDib(3, 1, 16);
    testdib::PutU32(dib, 16, 3);
    auto q = Quantiser(dib, 0xFF00);
    SetBlackAndWhite(*q);
    q->m_Palette[0] = Record(0, 0, 0, 0xFF00, 4); // blue mask: its count. Green mask: its colour, 0
    Bytes target(8, 0xEE);
    q->QuantizeBF16(reinterpret_cast<unsigned short*>(pixels), 3, 1, target.data(), nullptr);
    EXPECT_EQ(target, (Bytes{4, 4, 4, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE})) << "127 and 0 in red and blue: black";
    q->QuantizeBF16(reinterpret_cast<unsigned short*>(pixels) + 1, 3, 1, target.data(), nullptr);
    EXPECT_EQ(target, (Bytes{4, 4, 5, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE})) << "255, 0, 255 is nearer white";

    dib = testdib::MakeDib(2, 1, 32);
    testdib::PutU32(dib, 16, 3);
    q = Quantiser(dib, 0xFF00);
    SetBlackAndWhite(*q);
    q->m_Palette[0] = Record(0, 0, 0, 0xFF00, 4);
    Bytes target32(4, 0xEE);
    q->QuantizeBF32(reinterpret_cast<unsigned int*>(pixels) + 1, 2, 1, target32.data(), nullptr);
    EXPECT_EQ(target32, (Bytes{4, 5, 0xEE, 0xEE}));
}

TEST_F(RowMapper, ThePassedSearchIsNotUsed) {
    Bytes dib = TrueColour(1, 1, {{255, 255, 255}});
    const auto q = Quantiser(dib);
    SetBlackAndWhite(*q);
    Bytes target(4, 0xEE);
    q->QuantizeBM24(q->m_pBits, 1, 1, target.data(), &CNiGoRo2::GetNearestColorIndexC);
    EXPECT_EQ(target[0], 5) << "m_wLinear decides";
    q->m_wLinear = 0;
    q->AddList(7, 7, 7, Record(0, 0, 0, 0, 200));
    q->QuantizeBM24(q->m_pBits, 1, 1, target.data(), &CNiGoRo2::GetNearestColorIndexL);
    EXPECT_EQ(target[0], 200);
    q->m_wLinear = 7;
    q->QuantizeBM24(q->m_pBits, 1, 1, target.data(), nullptr);
    EXPECT_EQ(target[0], 5) << "anything but 0 is the list";
}

} // namespace

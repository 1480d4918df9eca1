// FillTree: which layouts are read, and how.
#include "tests/quantize/quantize_support.h"

namespace {

using namespace quantizetest;

class FillTree : public MemoryTest {
protected:
    static std::vector<Rgb> Colours(Bytes dib) {
        const auto q = Quantiser(dib);
        BuildColours(*q);
        return Palette(*q);
    }
};

TEST_F(FillTree, TrueColourIsBlueGreenRed) {
    Bytes dib = testdib::MakeDib(1, 1, 24);
    dib[40] = 10;
    dib[41] = 20;
    dib[42] = 30;
    EXPECT_EQ(Colours(dib), (std::vector<Rgb>{{30, 20, 10}}));
}

TEST_F(FillTree, RowPaddingIsNotRead) {
    Bytes dib = TrueColour(3, 2, {{1, 1, 1}, {1, 1, 1}, {1, 1, 1}, {1, 1, 1}, {1, 1, 1}, {1, 1, 1}});
    for (const std::size_t at : {49u, 50u, 51u, 61u, 62u, 63u})
        dib[at] = 0xFF;
    EXPECT_EQ(Colours(dib), (std::vector<Rgb>{{1, 1, 1}}));
    dib = HighColour(1, 2, {0x0421, 0x0421});
    dib[42] = dib[43] = dib[46] = dib[47] = 0xFF;
    EXPECT_EQ(Colours(dib), (std::vector<Rgb>{{8, 8, 8}}));
}

TEST_F(FillTree, PlainSixteenBitsAreFiveFiveFive) {
    EXPECT_EQ(Colours(HighColour(4, 1, {0x7C00, 0x03E0, 0x001F, 0x8000})),
              (std::vector<Rgb>{{0, 0, 0}, {248, 0, 0}, {0, 248, 0}, {0, 0, 248}}));
    EXPECT_EQ(Colours(HighColour(1, 1, {0x7FFF})), (std::vector<Rgb>{{248, 248, 248}}));
    EXPECT_EQ(Colours(HighColour(1, 1, {0xFFFF})), (std::vector<Rgb>{{248, 248, 248}})) << "bit 15 is ignored";
    EXPECT_EQ(Colours(HighColour(1, 1, {0x0443})), (std::vector<Rgb>{{8, 16, 24}}));
}

TEST_F(FillTree, EveryCompressionCodeButBitFieldsIsPlain) {
    for (const unsigned code : {0u, 1u, 2u, 4u, 0xFFFFFFFFu}) {
        Bytes dib = TrueColour(1, 1, {{30, 20, 10}});
        testdib::PutU32(dib, 16, code);
        EXPECT_EQ(Colours(dib), (std::vector<Rgb>{{30, 20, 10}})) << code;
        dib = HighColour(1, 1, {0x0443});
        testdib::PutU32(dib, 16, code);
        EXPECT_EQ(Colours(dib), (std::vector<Rgb>{{8, 16, 24}})) << code;
    }
}

TEST_F(FillTree, OtherLayoutsInsertNothing) {
    for (const int bits : {32, 48, 64, 12, 15, 20}) {
        Bytes dib(40 + 64, 0x55);
        const Bytes header = testdib::MakeDib(2, 2, bits);
        std::copy(header.begin(), header.begin() + 40, dib.begin());
        EXPECT_EQ(Colours(dib), std::vector<Rgb>{}) << bits;
    }
    Bytes dib = TrueColour(1, 1, {{30, 20, 10}});
    testdib::PutU32(dib, 16, 3);
    EXPECT_EQ(Colours(dib), std::vector<Rgb>{}) << "bit fields with 24 bits";
}

TEST_F(FillTree, ReadsRowsInMemoryOrder) {
    // Both colours share a leaf; the record is their average either way, so look at the sums.
    Bytes dib = TrueColour(1, 3, {{1, 0, 0}, {2, 0, 0}, {4, 0, 0}});
    const auto q = Quantiser(dib, 256, 1);
    ASSERT_EQ(q->InitOctree(), 1);
    q->m_bih.biHeight = 2;
    q->FillTree();
    EXPECT_EQ(q->m_pCube[1].m_dwRed, 3u) << "the first two rows as stored";
    EXPECT_EQ(q->m_pCube[1].m_dwPixels, 2u);
}

TEST_F(FillTree, NothingIsReadWithoutRowsOrColumns) {
    for (const auto& size : {std::array<int, 2>{0, 1}, {1, 0}, {-1, 1}, {1, -1}, {-1, -1}}) {
        Bytes dib = TrueColour(1, 1, {{30, 20, 10}});
        testdib::PutU32(dib, 4, static_cast<std::uint32_t>(size[0]));
        testdib::PutU32(dib, 8, static_cast<std::uint32_t>(size[1]));
        EXPECT_EQ(Colours(dib), std::vector<Rgb>{}) << size[0] << " x " << size[1];
    }
}

TEST_F(FillTree, PixelsFollowTheColourTableOfTheHeader) {
    Bytes dib = TrueColour(1, 1, {{30, 20, 10}});
    testdib::PutU32(dib, 32, 2);
    dib.insert(dib.begin() + 40, 8, 0xEE);
    EXPECT_EQ(Colours(dib), (std::vector<Rgb>{{30, 20, 10}}));
}

TEST_F(FillTree, PixelsMayStartAtAnyAddress) {
    Bytes dib = HighColour(2, 1, {0x0443, 0x0443});
    Bytes shifted(1);
    shifted.insert(shifted.end(), dib.begin(), dib.end());
    CNiGoRo2 q(shifted.data() + 1, 256, 5, 0);
    BuildColours(q);
    EXPECT_EQ(Palette(q), (std::vector<Rgb>{{8, 16, 24}}));
}

} // namespace

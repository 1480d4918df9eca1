// Bit-field sources: decoded with the object's own fields, never with their own masks, from the
// masks onward, and differently while the tree is filled and while the pixels are mapped.
#include "tests/quantize/quantize_support.h"

namespace {

using namespace quantizetest;

class BitFields : public MemoryTest {
protected:
    // A bit-field DIB: header, three masks, pixels.
    static Bytes Dib(int width, int height, int bits, const std::vector<std::uint32_t>& masks,
                     const std::vector<std::uint32_t>& pixels) {
        Bytes dib = testdib::MakeDib(width, height, bits);
        testdib::PutU32(dib, 16, 3);
        dib.resize(40 + 12 + (dib.size() - 40));
        for (std::size_t i = 0; i < 3; ++i)
            testdib::PutU32(dib, 40 + 4 * i, masks[i]);
        for (std::size_t i = 0; i < pixels.size(); ++i)
            bits == 16 ? testdib::PutU16(dib, 52 + 2 * i, pixels[i]) : testdib::PutU32(dib, 52 + 4 * i, pixels[i]);
        return dib;
    }
    // The masks are read as six pixels of 16 bits; two more pixels follow before 4 x 2 are full.
    static Bytes Sixteen() { return Dib(4, 2, 16, {0x7C00, 0x03E0, 0x001F}, {0x0100, 0x0006, 0, 0, 0, 0, 0, 0}); }
    static Bytes ThirtyTwo() {
        return Dib(2, 4, 32, {0xFF0000, 0xFF00, 0xFF},
                   {0x01FF0000, 0x00800000, 0x100, 0x00800100, 0xFFFFFFFF, 0, 0, 0});
    }
};

TEST_F(BitFields, TheMaximumColourCountIsTheRedMaskOfAFreshObject) {
    // 256: bit 8 alone, which becomes 128. Green and blue masks are 0.
    Bytes dib = Sixteen();
    auto q = Quantiser(dib, 256);
    BuildColours(*q);
    EXPECT_EQ(Palette(*q), (std::vector<Rgb>{{0, 0, 0}, {128, 0, 0}}));
    EXPECT_EQ(Counts(*q), (std::vector<unsigned>{6, 2})) << "0x03E0, a mask, and the pixel 0x0100";
    // 31744: bits 10 to 14. Of the pixels only the red mask itself has any.
    q = Quantiser(dib, 31744);
    BuildColours(*q);
    EXPECT_EQ(Palette(*q), (std::vector<Rgb>{{0, 0, 0}, {248, 0, 0}}));
    EXPECT_EQ(Counts(*q), (std::vector<unsigned>{7, 1}));
}

TEST_F(BitFields, ThirtyTwoBitsLikewise) {
    Bytes dib = ThirtyTwo();
    auto q = Quantiser(dib, 256);
    BuildColours(*q);
    EXPECT_EQ(Palette(*q), (std::vector<Rgb>{{0, 0, 0}, {128, 0, 0}}));
    EXPECT_EQ(Counts(*q), (std::vector<unsigned>{4, 4}));
    q = Quantiser(dib, 65280);
    BuildColours(*q);
    EXPECT_EQ(Palette(*q), (std::vector<Rgb>{{0, 0, 0}, {255, 0, 0}}));
    EXPECT_EQ(Counts(*q), (std::vector<unsigned>{6, 2}));
    q = Quantiser(dib, 3);
    BuildColours(*q);
    EXPECT_EQ(Palette(*q), (std::vector<Rgb>{{0, 0, 0}, {192, 0, 0}}));
}

TEST_F(BitFields, RecordZeroGivesTheGreenAndBlueMasks) {
    // What the host left in record 0 before: colour word 0x03E0 and count 0x1F.
    Bytes dib = Sixteen();
    const auto q = Quantiser(dib, 31744);
    q->m_Palette[0] = Record(0, 0x03, 0xE0, 0x1F);
    BuildColours(*q);
    EXPECT_EQ(Palette(*q),
              (std::vector<Rgb>{{0, 0, 0}, {0, 0, 48}, {0, 64, 0}, {248, 0, 0}, {0, 248, 0}, {0, 0, 248}}));
    EXPECT_EQ(Counts(*q), (std::vector<unsigned>{3, 1, 1, 1, 1, 1}));
}

TEST_F(BitFields, MappingDecodesWithTheRecordThatTheSortsLeftFirst) {
    Bytes dib = Sixteen();
    const auto q = Quantiser(dib, 256);
    SetDefaults(*q, {{0, 0, 192}});
    const Bytes out = Take(q->QuantizeBitmap(1, 0));
    ASSERT_EQ(out.size(), 1064u + 8u);
    EXPECT_EQ(Entry(out, 0), (Rgb{0, 0, 192}));
    EXPECT_EQ(Entry(out, 1), (Rgb{128, 0, 0}));
    EXPECT_EQ(Entry(out, 2), (Rgb{0, 0, 0}));
    // Record 0 is then (128,0,0) with a count of 2: a blue mask of 2 makes 0x001F and 0x0006 blue,
    // which were black while the tree was filled.
    EXPECT_EQ(Colour(q->m_Palette[0]), (Rgb{128, 0, 0}));
    EXPECT_EQ(q->m_Palette[0].m_dwCount, 2u);
    EXPECT_EQ(Part(out, 1064, 8), (Bytes{2, 2, 1, 2, 0, 2, 1, 0}));
}

TEST_F(BitFields, WholeReductionOfSixteenBits) {
    Bytes dib = Sixteen();
    Bytes out = Take(Quantiser(dib, 256)->QuantizeBitmap(1, 0));
    EXPECT_EQ(Entry(out, 0), (Rgb{128, 0, 0}));
    EXPECT_EQ(Entry(out, 1), (Rgb{0, 0, 0}));
    EXPECT_EQ(Part(out, 1064, 8), (Bytes{1, 1, 0, 1, 1, 1, 0, 1}));
    out = Take(Quantiser(dib, 31744)->QuantizeBitmap(1, 0));
    EXPECT_EQ(Entry(out, 0), (Rgb{248, 0, 0}));
    EXPECT_EQ(Part(out, 1064, 8), (Bytes{0, 1, 1, 1, 1, 1, 1, 1}));
}

TEST_F(BitFields, WholeReductionOfThirtyTwoBits) {
    Bytes dib = ThirtyTwo();
    const auto rows = [&dib](unsigned short maxColours) {
        const Bytes out = Take(Quantiser(dib, maxColours)->QuantizeBitmap(1, 0));
        Bytes pixels;
        for (std::size_t y = 0; y < 4; ++y) {
            pixels.push_back(out.at(1064 + 4 * y));
            pixels.push_back(out.at(1065 + 4 * y));
        }
        return pixels;
    };
    EXPECT_EQ(rows(256), (Bytes{1, 0, 1, 1, 1, 0, 0, 0}));
    EXPECT_EQ(rows(65280), (Bytes{1, 0, 1, 1, 1, 1, 1, 0}));
    EXPECT_EQ(rows(3), (Bytes{1, 1, 0, 1, 1, 1, 1, 0}));
}

TEST_F(BitFields, MaskOfZeroGivesZero) {
    Bytes dib = ThirtyTwo();
    const auto q = Quantiser(dib, 0);
    q->m_dwMaxColors = 0;
    ASSERT_EQ(q->InitOctree(), 1);
    q->FillTree();
    unsigned int next = 0;
    q->CreateColorTableRec(0, next);
    EXPECT_EQ(next, 1u);
    EXPECT_EQ(Colour(q->m_Palette[0]), (Rgb{0, 0, 0}));
    EXPECT_EQ(q->m_Palette[0].m_dwCount, 8u);
}

TEST_F(BitFields, ReadingEndsTwelveBytesBeforeTheLastPixels) {
    // The masks are read instead, so nothing past the DIB is touched.
    const Bytes bytes = ThirtyTwo();
    testhost::GuardedBuffer dib(bytes.size() - 12);
    std::copy(bytes.begin(), bytes.end() - 12, dib.data());
    CNiGoRo2 q(dib.data(), 256, 5, 0);
    EXPECT_EQ(Take(q.QuantizeBitmap(1, 0)).size(), 1064u + 16u);
}

} // namespace

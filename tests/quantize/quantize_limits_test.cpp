// The quantiser at its limits: depths, negative heights, sizes that no block can have.
#include "tests/quantize/quantize_support.h"

namespace {

using namespace quantizetest;

class QuantizeLimits : public MemoryTest {};

TEST_F(QuantizeLimits, OctreesAbove2GiBAreRefusedInBothWidths) {
    Bytes dib = TrueColour(1, 1, {{1, 2, 3}});
    // Depth 9 would have 153391689 nodes of 28 bytes; counts of higher depths leave every type.
    for (const unsigned short depth : {9, 10, 11, 12, 20, 21, 22, 31, 32, 63, 64, 255, 65535}) {
        const auto q = Quantiser(dib, 256, depth);
        EXPECT_EQ(q->InitOctree(), 0) << depth;
        EXPECT_EQ(q->m_pCube, nullptr) << depth;
        EXPECT_EQ(q->QuantizeBitmap(1, 0), nullptr) << depth;
    }
}

TEST_F(QuantizeLimits, DepthsUpToSevenWork) {
    for (unsigned short depth = 1; depth <= 7; ++depth) {
        Bytes dib = TrueColour(2, 1, {{1, 2, 3}, {201, 2, 3}});
        const Bytes out = Take(Quantiser(dib, 256, depth)->QuantizeBitmap(1, 0));
        ASSERT_EQ(out.size(), 1068u) << depth;
        EXPECT_EQ(Entry(out, out[1064]), (Rgb{1, 2, 3})) << depth;
        EXPECT_EQ(Entry(out, out[1065]), (Rgb{201, 2, 3})) << depth;
    }
}

TEST_F(QuantizeLimits, ATopDownSourceGivesAnEmptyTopDownPicture) {
    Bytes dib = testdib::MakeDib(10, -3, 24);
    std::fill(dib.begin() + 40, dib.end(), static_cast<std::uint8_t>(0x99));
    const auto q = Quantiser(dib);
    const Bytes out = Take(q->QuantizeBitmap(1, 0));
    EXPECT_EQ(q->m_nColors, 0);
    // The size wraps: 12 * -3 + 1024 + 40.
    ASSERT_EQ(out.size(), 1028u);
    EXPECT_EQ(testdib::U32(out, 8), 0xFFFFFFFDu);
    EXPECT_EQ(Part(out, 40, 988), Bytes(988, 0));
}

TEST_F(QuantizeLimits, ATopDownSourceWhoseBlockWouldNotHoldAHeaderGivesNothing) {
    Bytes dib = testdib::MakeDib(10, -85, 24);
    EXPECT_EQ(Take(Quantiser(dib)->QuantizeBitmap(1, 0)).size(), 44u) << "1064 - 12 * 85";
    dib = testdib::MakeDib(10, -86, 24);
    EXPECT_EQ(Quantiser(dib)->QuantizeBitmap(1, 0), nullptr) << "32 bytes";
}

TEST_F(QuantizeLimits, APaletteStaysInsideASmallTopDownBlock) {
    Bytes dib = testdib::MakeDib(10, -85, 24);
    const auto q = Quantiser(dib, 256, 0);
    for (int i = 0; i < 5; ++i)
        q->m_Palette[i] = Record(i, i, i, static_cast<unsigned>(i));
    q->m_nColors = 5;
    void* result = q->QuantizeBitmap(1, 0); // the block ends at an unreadable page
    EXPECT_EQ(Take(result).size(), 44u);
}

TEST_F(QuantizeLimits, SizesBeyond32BitsGiveNothing) {
    for (const auto& size : {std::array<int, 2>{65536, 65536}, {65535, 65540}, {2147483647, 2147483647}}) {
        Bytes dib = testdib::MakeDib(1, 1, 24);
        testdib::PutU32(dib, 4, static_cast<std::uint32_t>(size[0]));
        testdib::PutU32(dib, 8, static_cast<std::uint32_t>(size[1]));
        EXPECT_EQ(Quantiser(dib, 256, 0)->QuantizeBitmap(1, 0), nullptr) << size[0];
    }
    EXPECT_EQ(testhost::Allocations(), 0);
}

#if UINTPTR_MAX > 0xFFFFFFFF // the output has more than 2 GiB, of which only the head is touched
TEST_F(QuantizeLimits, APixelCountThatLeaves31BitsIsNegativeAndTakesTheListSearch) {
    testhost::SetLargestBlock(std::size_t{3} << 30);
    void* const probe = GlobalAlloc(66, (std::size_t{1} << 31) + 1064);
    if (!probe)
        GTEST_SKIP() << "this system does not give out 2 GiB";
    GlobalFree(probe);
    for (const int height : {65536, 65535}) {
        Bytes dib = testdib::MakeDib(1, 1, 32); // a layout of which no pixel is mapped
        testdib::PutU32(dib, 4, 32768);
        testdib::PutU32(dib, 8, static_cast<std::uint32_t>(height));
        const auto q = Quantiser(dib, 256, 0);
        for (int i = 0; i < 65; ++i)
            q->m_Palette[i] = Record(i, i, i, static_cast<unsigned>(65 - i));
        q->m_nColors = 65;
        void* const out = q->QuantizeBitmap(1, 0);
        ASSERT_NE(out, nullptr);
        EXPECT_EQ(q->m_wLinear, height == 65536 ? 1 : 0) << height; // -2147483648 and 2147450880
        EXPECT_EQ(testhost::Address(out)[42], height == 65536 ? 64 : 0) << "red of the first entry";
        GlobalFree(out);
    }
}
#endif

TEST_F(QuantizeLimits, CoreHeadersGiveTheirExtentToNobody) {
    // A 12-byte header is copied as 40 bytes and its fields are read in the core form by the
    // utilities, in the info form by the tree: at the info positions there is no bit count above 8.
    Bytes dib(40 + 12);
    testdib::PutU32(dib, 0, 12);
    testdib::PutU16(dib, 4, 2);
    testdib::PutU16(dib, 6, 2);
    testdib::PutU16(dib, 8, 1);
    testdib::PutU16(dib, 10, 24);
    EXPECT_EQ(Quantiser(dib)->QuantizeBitmap(1, 0), nullptr);
}

TEST_F(QuantizeLimits, AMaximumAbove256IsReducedTo256) {
    // 257 leaves under a maximum of 300 are one too many for the records.
    Bytes dib = TrueColour(257, 1, Distinct(257));
    const auto q = Quantiser(dib, 300);
    BuildColours(*q);
    EXPECT_LE(q->m_nColors, 256);
    EXPECT_GT(q->m_nColors, 0);
    dib = TrueColour(256, 1, Distinct(256));
    const auto full = Quantiser(dib, 300);
    BuildColours(*full);
    EXPECT_EQ(full->m_nColors, 256) << "not reduced at all";
}

TEST_F(QuantizeLimits, OtherHeaderFormsMapNothing) {
    // A 124-byte header: the output takes its extent from the core header's fields (100 x 2), which
    // are not the picture's (131172 x 5). Every index stays 0 and the block is not left.
    Bytes dib(124 + 5 * testdib::Stride(131172, 16));
    testdib::PutU32(dib, 0, 124);
    testdib::PutU32(dib, 4, 0x20064);
    testdib::PutU32(dib, 8, 5);
    testdib::PutU16(dib, 12, 1);
    testdib::PutU16(dib, 14, 16);
    std::fill(dib.begin() + 124, dib.end(), static_cast<std::uint8_t>(0x55));
    const Bytes out = Take(Quantiser(dib)->QuantizeBitmap(1, 0));
    ASSERT_EQ(out.size(), 1064u + 2 * 100);
    EXPECT_EQ(Part(out, 1064, 200), Bytes(200, 0));
}

TEST_F(QuantizeLimits, AHeaderBelow40BytesInsertsNoPixel) {
    // Where the 40-byte form has its bit count and height, a core DIB has colours and pixels.
    Bytes dib(64, 0x7F);
    testdib::PutU32(dib, 0, 12);
    testdib::PutU16(dib, 4, 2);
    testdib::PutU16(dib, 6, 2);
    testdib::PutU16(dib, 8, 1);
    testdib::PutU16(dib, 10, 24);
    testdib::PutU16(dib, 14, 24);
    const auto q = Quantiser(dib);
    const Bytes out = Take(q->QuantizeBitmap(1, 0));
    EXPECT_EQ(q->m_nColors, 0);
    EXPECT_EQ(out.size(), 1064u + 2 * 4);
}

} // namespace

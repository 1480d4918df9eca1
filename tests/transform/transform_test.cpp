// LinearTransformMain, memory to memory: sizes, headers and rows of every kind.
#include "tests/transform/transform_support.h"

namespace {

using namespace transformtest;

class Transformed : public MemoryTest {};

TEST_F(Transformed, PageOf2480ColumnsAt300DpiIs1653WideAt200) {
    Bytes dib = testdib::MakeDib(2480, 30, 1, Ppm300, Ppm300);
    testdib::SetEntry(dib, 1, 255, 255, 255);
    const Outcome run = Transform(dib, 200);
    EXPECT_EQ(run.status, 0u);
    EXPECT_EQ(run.out.size(), 20u * 208u + 1078u);
    EXPECT_EQ(testdib::U32(run.out, 4), 1653u);
    EXPECT_EQ(testdib::U32(run.out, 8), 20u);
    EXPECT_EQ(testdib::U16(run.out, 14), 1u);
    EXPECT_EQ(testdib::U32(run.out, 24), 7874u);
    EXPECT_EQ(testdib::U32(run.out, 28), 7874u);
    EXPECT_EQ(Part(run.out, 40, 8), (Bytes{0, 0, 0, 0, 255, 255, 255, 0}));
}

TEST_F(Transformed, OneBitRowsOfAPageWithBlackAtIndexOne) {
    Bytes dib = testdib::MakeDib(3, 2, 1, Ppm100, Ppm100);
    testdib::SetEntry(dib, 0, 255, 255, 255);
    dib[48] = 0x40;
    dib[52] = 0xA0;
    const Outcome run = Transform(dib, 100);
    EXPECT_EQ(run.status, 0u);
    EXPECT_EQ(Part(run.out, 48, 8), (Bytes{0xA0, 0, 0, 0, 0x40, 0, 0, 0})) << "set means white in the result";
}

TEST_F(Transformed, OneBitDoubledInBothDirections) {
    Bytes dib = testdib::MakeDib(2, 2, 1, Ppm100, Ppm100);
    testdib::SetEntry(dib, 1, 255, 255, 255);
    dib[48] = 0x80; // row 0 (bottom): white, black
    dib[52] = 0x40; // row 1: black, white
    // Blackness: 0 127 255 255 / 127 127 127 127 / 255 127 0 0 / 255 127 0 0
    const Outcome run = Transform(dib, 200);
    EXPECT_EQ(run.status, 0u);
    EXPECT_EQ(run.out[48], 0xC0);
    EXPECT_EQ(run.out[52], 0xF0);
    EXPECT_EQ(run.out[56], 0x70);
    EXPECT_EQ(run.out[60], 0x70);
    const Outcome darker = Transform(dib, 200, 127);
    EXPECT_EQ(darker.out[48], 0x80);
    EXPECT_EQ(darker.out[52], 0x00);
    EXPECT_EQ(darker.out[56], 0x30);
    EXPECT_EQ(darker.out[60], 0x30);
}

TEST_F(Transformed, ThresholdZeroIsAllBlackAnd256AllWhite) {
    Bytes dib = testdib::MakeDib(8, 1, 1, Ppm100, Ppm100);
    testdib::SetEntry(dib, 1, 255, 255, 255);
    dib[48] = 0x5A;
    EXPECT_EQ(Transform(dib, 100, 0).out[48], 0x00);
    EXPECT_EQ(Transform(dib, 100, -5).out[48], 0x00);
    EXPECT_EQ(Transform(dib, 100, 128).out[48], 0x5A);
    EXPECT_EQ(Transform(dib, 100, 256).out[48], 0xFF);
}

TEST_F(Transformed, EightBitGrayTakesLevelsFromItsTable) {
    Bytes dib = testdib::MakeDib(2, 2, 8, Ppm100, Ppm100);
    for (int i = 0; i < 256; ++i)
        testdib::SetEntry(dib, i, 255 - i, 255 - i, 255 - i);
    Put(dib, 1064, {0, 100, 0, 0, 200, 255});
    const Outcome run = Transform(dib, 100);
    EXPECT_EQ(run.status, 0u);
    EXPECT_EQ(testdib::U32(run.out, 32), 256u);
    EXPECT_EQ(Part(run.out, 40 + 4 * 255, 4), (Bytes{255, 255, 255, 0}));
    EXPECT_EQ(Part(run.out, 1064, 8), (Bytes{255, 155, 0, 0, 55, 0, 0, 0}));
}

TEST_F(Transformed, GrayDoubledRepeatsTheLastColumnAndRow) {
    Bytes dib = GrayDib(2, 2, 8);
    Put(dib, 1064, {0, 100, 0, 0, 200, 51});
    const Outcome run = Transform(dib, 200);
    EXPECT_EQ(run.status, 0u);
    EXPECT_EQ(Part(run.out, 1064, 4), (Bytes{0, 50, 100, 100}));
    EXPECT_EQ(Part(run.out, 1068, 4), (Bytes{100, 87, 75, 75})) << "100, 87.75, 75.5, 75.5";
    EXPECT_EQ(Part(run.out, 1072, 4), (Bytes{200, 125, 51, 51}));
    EXPECT_EQ(Part(run.out, 1076, 4), (Bytes{200, 125, 51, 51}));
}

TEST_F(Transformed, GrayFrom300To200MixesAtHalves) {
    Bytes dib = GrayDib(3, 3, 8, Ppm300);
    Put(dib, 1064, {0, 10, 20, 0, 30, 40, 50, 0, 60, 70, 80, 0});
    const Outcome run = Transform(dib, 200);
    EXPECT_EQ(testdib::U32(run.out, 4), 2u);
    EXPECT_EQ(testdib::U32(run.out, 8), 2u);
    EXPECT_EQ(Part(run.out, 1064, 8), (Bytes{0, 15, 0, 0, 45, 60, 0, 0}));
}

TEST_F(Transformed, ColourTableHas254EntriesAndRowsEightBytesEarly) {
    Bytes dib = ColourTableDib(2, 2, 8);
    testdib::SetEntry(dib, 1, 255, 255, 255);
    testdib::SetEntry(dib, 2, 0, 0, 255);
    Put(dib, 1064, {1, 2, 0, 0, 0, 1});
    const Outcome run = Transform(dib, 100);
    EXPECT_EQ(run.status, 0u);
    EXPECT_EQ(testdib::U16(run.out, 14), 8u);
    EXPECT_EQ(testdib::U32(run.out, 32), 256u);
    EXPECT_EQ(Part(run.out, 1048, 8), Bytes(8, 0)) << "entries 252 and 253";
    EXPECT_EQ(Part(run.out, 1056, 8), (Bytes{251, 6, 0, 0, 0, 251, 0, 0})) << "rows from 1056, not 1064";
}

TEST_F(Transformed, TrueColourKeepsItsPixelsAtTheSameResolution) {
    Bytes dib = testdib::MakeDib(3, 2, 24, Ppm100, Ppm100);
    Put(dib, 40, {1, 2, 3, 4, 5, 6, 7, 8, 9, 0xAA, 0xAA, 0xAA, 11, 12, 13, 14, 15, 16, 17, 18, 19});
    const Outcome run = Transform(dib, 100);
    EXPECT_EQ(run.status, 0u);
    EXPECT_EQ(testdib::U32(run.out, 32), 0u);
    EXPECT_EQ(Part(run.out, 40, 24),
              (Bytes{1, 2, 3, 4, 5, 6, 7, 8, 9, 0, 0, 0, 11, 12, 13, 14, 15, 16, 17, 18, 19, 0, 0, 0}))
        << "padding is not copied";
}

TEST_F(Transformed, UnequalResolutionsComeOutSquare) {
    Bytes dib = testdib::MakeDib(4, 2, 24, Ppm200, Ppm100);
    Put(dib, 40, {10, 10, 10, 20, 20, 20, 30, 30, 30, 40, 40, 40});
    const Outcome run = Transform(dib, 200);
    EXPECT_EQ(testdib::U32(run.out, 4), 4u);
    EXPECT_EQ(testdib::U32(run.out, 8), 4u);
    EXPECT_EQ(testdib::U32(run.out, 24), 7874u);
    EXPECT_EQ(testdib::U32(run.out, 28), 7874u);
    EXPECT_EQ(Part(run.out, 40, 12), (Bytes{10, 10, 10, 20, 20, 20, 30, 30, 30, 40, 40, 40}));
    EXPECT_EQ(Part(run.out, 52, 12), (Bytes{5, 5, 5, 10, 10, 10, 15, 15, 15, 20, 20, 20}));
    EXPECT_EQ(Part(run.out, 64, 24), Bytes(24, 0));
}

TEST_F(Transformed, SixteenAndThirtyTwoBitsGetAHeaderAndNoRows) {
    for (const int bits : {16, 32}) {
        Bytes dib = testdib::MakeDib(4, 2, bits, Ppm100, Ppm100);
        for (std::size_t i = 40; i < dib.size(); ++i)
            dib[i] = 0xFF;
        const Outcome run = Transform(dib, 100);
        EXPECT_EQ(run.status, 0u);
        EXPECT_EQ(testdib::U16(run.out, 14), static_cast<unsigned>(bits));
        EXPECT_EQ(testdib::U32(run.out, 32), 0u);
        EXPECT_EQ(Part(run.out, 40, run.out.size() - 40), Bytes(run.out.size() - 40, 0));
    }
}

TEST_F(Transformed, FourBitColourGetsAHeaderWithoutItsTable) {
    Bytes dib = ColourTableDib(4, 2, 4);
    const Outcome run = Transform(dib, 100);
    EXPECT_EQ(run.status, 0u);
    EXPECT_EQ(testdib::U32(run.out, 32), 16u);
    EXPECT_EQ(Part(run.out, 40, run.out.size() - 40), Bytes(run.out.size() - 40, 0));
}

TEST_F(Transformed, DpiZeroGivesAnEmptyPicture) {
    const Outcome run = Transform(GrayDib(4, 4, 8), 0);
    EXPECT_EQ(run.status, 0u);
    EXPECT_EQ(run.out.size(), 1078u);
    EXPECT_EQ(testdib::U32(run.out, 4), 0u);
    EXPECT_EQ(testdib::U32(run.out, 8), 0u);
    EXPECT_EQ(testdib::U32(run.out, 24), 0u);
    EXPECT_EQ(Part(run.out, 40 + 4 * 7, 4), (Bytes{7, 7, 7, 0})) << "the table is written all the same";
}

TEST_F(Transformed, PicturesThatVanishInOneDirection) {
    EXPECT_EQ(Transform(testdib::MakeDib(1, 9, 24, Ppm100, Ppm100), 50).status, 0u) << "no columns";
    EXPECT_EQ(Transform(testdib::MakeDib(9, 1, 24, Ppm100, Ppm100), 50).status, 0u) << "no rows";
    EXPECT_EQ(Transform(testdib::MakeDib(0, 9, 1, Ppm100, Ppm100), 100).status, 0u);
    EXPECT_EQ(Transform(testdib::MakeDib(9, 0, 8, Ppm100, Ppm100), 100).status, 0u);
}

TEST_F(Transformed, ColoursUsedIsIgnoredSoAShortTableShiftsTheRows) {
    // Two declared colours, but 256 entries are read and the rows start after them all.
    Bytes dib = GrayDib(2, 1, 8);
    testdib::PutU32(dib, 32, 2);
    Put(dib, 48, {90, 90, 90, 0});
    Put(dib, 1064, {2, 0});
    const Outcome run = Transform(dib, 100);
    EXPECT_EQ(Part(run.out, 1064, 2), (Bytes{90, 0}));
}

TEST_F(Transformed, CompressionAndHeaderSizeAreNotLookedAt) {
    Bytes dib = testdib::MakeDib(1, 1, 24, Ppm100, Ppm100);
    testdib::PutU32(dib, 0, 124);
    testdib::PutU32(dib, 16, 3);
    Put(dib, 40, {7, 8, 9});
    const Outcome run = Transform(dib, 100);
    EXPECT_EQ(run.status, 0u);
    EXPECT_EQ(testdib::U32(run.out, 0), 40u);
    EXPECT_EQ(testdib::U32(run.out, 16), 0u);
    EXPECT_EQ(Part(run.out, 40, 3), (Bytes{7, 8, 9}));
}

TEST_F(Transformed, BlocksMayStartAtAnyAddress) {
    // Test blocks end at a page, so both of these, 53 bytes long, start at an odd address.
    Bytes dib = testdib::MakeDib(3, 1, 24, Ppm100, Ppm100);
    Put(dib, 40, {1, 2, 3, 4, 5, 6, 7, 8, 9});
    dib.push_back(0xEE);
    const Outcome run = Transform(dib, 100, 128, nullptr, 40 + 12 + 1);
    EXPECT_EQ(run.status, 0u);
    EXPECT_EQ(Part(run.out, 40, 9), (Bytes{1, 2, 3, 4, 5, 6, 7, 8, 9}));
}

TEST_F(Transformed, MakesTwoScratchBlocksAndFreesThem) {
    void* source = testhost::MakeBlock(testdib::MakeDib(3, 2, 24, Ppm100, Ppm100));
    void* destination = testhost::MakeBlock(Bytes(1200));
    testhost::ResetCounters();
    EXPECT_EQ(LinearTransformMain(MemoryToMemory, &source, &destination, nullptr, 200, 128), 0u);
    EXPECT_EQ(testhost::Allocations(), 2);
    EXPECT_EQ(testhost::LastAllocationSize(), 20u) << "one output row of six pixels";
    EXPECT_EQ(testhost::LiveBlocks(), 2);
}

} // namespace

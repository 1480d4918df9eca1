// Expansion of 4-bit run-length DIBs.
#include "tests/dib/dib_test.h"

using namespace dibtest;

namespace {

class Rle4 : public DibTest {};

// The expanded rows, padding included. Checks header and colour table on the way.
Bytes Rows(int width, int height, const Bytes& stream) {
    const Bytes source = MakeRleDib(width, height, 4, stream);
    Block dib(source);
    const Bytes result = Take(RestoreRLE4(dib));
    EXPECT_TRUE(dib.Unchanged());
    EXPECT_EQ(Slice(result, 0, 40),
              PlainHeader(static_cast<std::uint32_t>(width), static_cast<std::uint32_t>(height), 4));
    EXPECT_EQ(Slice(result, 40, 64), Slice(source, 40, 64));
    return Slice(result, 104, result.size() - 104);
}

TEST_F(Rle4, EncodedPairAlternatesItsNibbles) {
    EXPECT_EQ(Rows(8, 1, {4, 171}), (Bytes{171, 171, 0, 0})); // 10, 11, 10, 11
}

TEST_F(Rle4, EncodedPairFromAnOddColumnBeginsInTheLowNibble) {
    EXPECT_EQ(Rows(8, 1, {1, 0x50, 4, 171}), (Bytes{0x5A, 0xBA, 0xB0, 0}));
}

TEST_F(Rle4, EncodedRunOfOddLength) { EXPECT_EQ(Rows(8, 1, {3, 0x12, 3, 0x34}), (Bytes{0x12, 0x13, 0x43, 0})); }

TEST_F(Rle4, AbsoluteRunOfFiveConsumesSixBytes) {
    EXPECT_EQ(Rows(8, 1, {0, 5, 0x12, 0x34, 0x5F, 0xEE, 1, 0x60}), (Bytes{0x12, 0x34, 0x56, 0}));
}

TEST_F(Rle4, AbsoluteRunOfThreeConsumesFourBytes) {
    EXPECT_EQ(Rows(8, 1, {0, 3, 0x12, 0x3F, 1, 0x40}), (Bytes{0x12, 0x34, 0, 0}));
}

TEST_F(Rle4, AbsoluteRunOfFourAndSeven) {
    EXPECT_EQ(Rows(8, 1, {0, 4, 0x12, 0x34, 1, 0x50}), (Bytes{0x12, 0x34, 0x50, 0}));
    EXPECT_EQ(Rows(8, 1, {0, 7, 0x12, 0x34, 0x56, 0x7F, 1, 0x80}), (Bytes{0x12, 0x34, 0x56, 0x78}));
}

TEST_F(Rle4, AbsoluteRunFromAnOddColumn) {
    EXPECT_EQ(Rows(8, 1, {1, 0x90, 0, 3, 0x12, 0x3F}), (Bytes{0x91, 0x23, 0, 0}));
}

TEST_F(Rle4, EndOfLineGoesToTheNextRow) {
    EXPECT_EQ(Rows(4, 3, {3, 0x12, 0, 0, 0, 0, 2, 0x34}), (Bytes{0x12, 0x10, 0, 0, 0, 0, 0, 0, 0x34, 0, 0, 0}));
}

TEST_F(Rle4, EndOfBitmapStops) { EXPECT_EQ(Rows(8, 1, {1, 0x10, 0, 1, 3, 0x22}), (Bytes{0x10, 0, 0, 0})); }

TEST_F(Rle4, DeltaByAnEvenDistance) {
    EXPECT_EQ(Rows(8, 2, {2, 0x12, 0, 2, 2, 1, 2, 0x34}), (Bytes{0x12, 0, 0, 0, 0, 0, 0x34, 0}));
}

TEST_F(Rle4, DeltaByAnOddDistanceFromAnEvenColumn) {
    EXPECT_EQ(Rows(8, 1, {2, 0x12, 0, 2, 3, 0, 2, 0x34}), (Bytes{0x12, 0, 0x03, 0x40}));
}

TEST_F(Rle4, DeltaByAnOddDistanceFromAnOddColumnFallsAByteShort) {
    // column 1 and 3 more are column 4, but the position is byte 1, not 2
    EXPECT_EQ(Rows(8, 1, {1, 0x10, 0, 2, 3, 0, 2, 0x34}), (Bytes{0x10, 0x34, 0, 0}));
}

TEST_F(Rle4, PixelsMergeWhereThePositionFellShort) {
    // column 1 and 1 more are column 2, but the position is still byte 0
    EXPECT_EQ(Rows(8, 1, {1, 0x10, 0, 2, 1, 0, 2, 0x64}), (Bytes{0x74, 0, 0, 0}));
}

TEST_F(Rle4, AShortPositionStaysShortInLaterRows) {
    EXPECT_EQ(Rows(8, 2, {1, 0x10, 0, 2, 1, 0, 0, 0, 2, 0x34}), (Bytes{0x10, 0, 0, 0x34, 0, 0, 0, 0}));
}

TEST_F(Rle4, RunsGoOnThroughThePaddingIntoTheNextRow) {
    // 3 pixels wide, 8 nibbles per row
    EXPECT_EQ(Rows(3, 2, {10, 0x12}), (Bytes{0x12, 0x12, 0x12, 0x12, 0x12, 0, 0, 0}));
    EXPECT_EQ(Rows(3, 2, {0, 9, 0x12, 0x34, 0x56, 0x78, 0x9F, 0}), (Bytes{0x12, 0x34, 0x56, 0x78, 0x90, 0, 0, 0}));
}

TEST_F(Rle4, EndOfLineAfterAnOverlongRunComesBackToTheRow) {
    EXPECT_EQ(Rows(3, 2, {10, 0x12, 0, 0, 2, 0x84}), (Bytes{0x12, 0x12, 0x12, 0x12, 0x96, 0, 0, 0}));
}

TEST_F(Rle4, RunPastTheLastRowIsCut) {
    EXPECT_EQ(Rows(3, 1, {255, 0x12}), (Bytes{0x12, 0x12, 0x12, 0x12}));
    EXPECT_EQ(Rows(3, 2, {0, 0, 255, 0x12}), (Bytes{0, 0, 0, 0, 0x12, 0x12, 0x12, 0x12}));
}

TEST_F(Rle4, PositionBeforeTheFirstRowDrawsNothing) {
    // 20 deltas of one pixel move the column to 20 and the position nowhere; the end of line then
    // goes back 10 bytes and on by one row of 4.
    Bytes stream;
    for (int i = 0; i < 20; ++i)
        stream = Join(stream, {0, 2, 1, 0});
    stream = Join(stream, {0, 0, 14, 0x12});
    // bytes -6 to 0: the last pair alone lands
    EXPECT_EQ(Rows(8, 3, stream), (Bytes{0x12, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
}

TEST_F(Rle4, WithoutImageSizeAllPixelsAreZero) { EXPECT_EQ(Rows(8, 2, {}), Bytes(8)); }

TEST_F(Rle4, RefusesOtherHeaders) {
    const Bytes good = MakeRleDib(4, 1, 4, {4, 1});
    for (const std::uint32_t size : {12u, 39u, 41u, 108u}) {
        Bytes other = good;
        PutU32(other, 0, size);
        EXPECT_EQ(RestoreRLE4(Block(other)), nullptr) << size;
    }
    for (const unsigned compression : {0u, 1u, 3u}) {
        Bytes other = good;
        PutU32(other, 16, compression);
        EXPECT_EQ(RestoreRLE4(Block(other)), nullptr) << compression;
    }
    for (const unsigned bits : {0u, 1u, 8u, 16u, 24u}) {
        Bytes other = good;
        PutU16(other, 14, bits);
        EXPECT_EQ(RestoreRLE4(Block(other)), nullptr) << bits;
    }
    EXPECT_EQ(RestoreRLE4(Block(MakeRleDib(-4, 4, 4, {1, 1}))), nullptr);
    EXPECT_EQ(RestoreRLE4(Block(MakeRleDib(0, 4, 4, {1, 1}))), nullptr);
    EXPECT_EQ(RestoreRLE4(Block(MakeRleDib(4, 0, 4, {1, 1}))), nullptr);
    EXPECT_EQ(testhost::Allocations(), 0);
}

TEST_F(Rle4, NegativeHeightDecodesNothingAndStaysInTheShortenedBlock) {
    const Bytes source = MakeRleDib(4, -3, 4, {4, 1}); // 104 - 12 bytes
    EXPECT_EQ(Take(RestoreRLE4(Block(source))), Join(PlainHeader(4, 0xFFFFFFFD, 4), Slice(source, 40, 52)));
    EXPECT_EQ(RestoreRLE4(Block(MakeRleDib(4, -17, 4, {4, 1}))), nullptr);
}

TEST_F(Rle4, FailsWithoutMemoryOrLocks) {
    Block dib(MakeRleDib(4, 1, 4, {4, 1}));
    GlobalFree(RestoreRLE4(dib));
    const int locks = testhost::Locks();
    EXPECT_EQ(testhost::Allocations(), 1);
    testhost::FailAllocation(1);
    EXPECT_EQ(RestoreRLE4(dib), nullptr);
    for (int n = 1; n <= locks; ++n) {
        testhost::FailLock(n);
        EXPECT_EQ(RestoreRLE4(dib), nullptr) << n;
        EXPECT_EQ(testhost::LiveBlocks(), 0) << n;
    }
}

TEST_F(Rle4, TheCommonEntryNeverExpandsIt) {
    const Bytes source = MakeRleDib(4, 1, 4, {4, 0x12});
    EXPECT_EQ(RestoreRLE(Block(source)), nullptr);
    EXPECT_EQ(Slice(Take(RestoreRLE4(Block(source))), 104, 4), (Bytes{0x12, 0x12, 0, 0}));
    for (const unsigned compression : {0u, 1u, 3u}) {
        Bytes other = source;
        PutU32(other, 16, compression);
        EXPECT_EQ(RestoreRLE(Block(other)), nullptr) << compression;
    }
}

} // namespace

// Expansion of 8-bit run-length DIBs.
#include "tests/dib/dib_test.h"

using namespace dibtest;

namespace {

class Rle8 : public DibTest {};

// The expanded rows, padding included. Checks header and colour table on the way.
Bytes Rows(int width, int height, const Bytes& stream) {
    const Bytes source = MakeRleDib(width, height, 8, stream);
    Block dib(source);
    const Bytes result = Take(RestoreRLE8(dib));
    EXPECT_TRUE(dib.Unchanged());
    EXPECT_EQ(Slice(result, 0, 40),
              PlainHeader(static_cast<std::uint32_t>(width), static_cast<std::uint32_t>(height), 8));
    EXPECT_EQ(Slice(result, 40, 1024), Slice(source, 40, 1024));
    return Slice(result, 1064, result.size() - 1064);
}

TEST_F(Rle8, WithoutImageSizeAllPixelsAreZero) { EXPECT_EQ(Rows(4, 2, {}), Bytes(8)); }

TEST_F(Rle8, EncodedRunFillsPixels) { EXPECT_EQ(Rows(8, 1, {3, 9, 2, 7}), (Bytes{9, 9, 9, 7, 7, 0, 0, 0})); }

TEST_F(Rle8, EncodedRunGoesOnInTheNextRow) {
    // at x = width - 2: two pixels on this row, three at the start of the next
    EXPECT_EQ(Rows(6, 2, {4, 1, 5, 9}), (Bytes{1, 1, 1, 1, 9, 9, 0, 0, 9, 9, 9, 0, 0, 0, 0, 0}));
}

TEST_F(Rle8, EncodedRunCoversSeveralRows) {
    EXPECT_EQ(Rows(3, 4, {10, 5}), (Bytes{5, 5, 5, 0, 5, 5, 5, 0, 5, 5, 5, 0, 5, 0, 0, 0}));
}

TEST_F(Rle8, RunThatFillsTheRowStaysOnIt) {
    // The turn comes with the next pixel, so an end of line right after a full row skips nothing.
    EXPECT_EQ(Rows(4, 2, {4, 1, 0, 0, 4, 2}), (Bytes{1, 1, 1, 1, 2, 2, 2, 2}));
    EXPECT_EQ(Rows(4, 2, {4, 1, 4, 2}), (Bytes{1, 1, 1, 1, 2, 2, 2, 2}));
}

TEST_F(Rle8, EndOfLineGoesToTheNextRow) {
    EXPECT_EQ(Rows(4, 3, {1, 1, 0, 0, 0, 0, 2, 3}), (Bytes{1, 0, 0, 0, 0, 0, 0, 0, 3, 3, 0, 0}));
}

TEST_F(Rle8, EndOfBitmapStops) { EXPECT_EQ(Rows(4, 1, {1, 1, 0, 1, 3, 2}), (Bytes{1, 0, 0, 0})); }

TEST_F(Rle8, DeltaMovesRightAndUp) {
    EXPECT_EQ(Rows(4, 3, {1, 1, 0, 2, 1, 2, 1, 7}), (Bytes{1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 7, 0}));
}

TEST_F(Rle8, AbsoluteRunOfThreeConsumesSixBytes) {
    EXPECT_EQ(Rows(8, 1, {0, 3, 10, 11, 12, 99, 2, 5}), (Bytes{10, 11, 12, 5, 5, 0, 0, 0}));
}

TEST_F(Rle8, AbsoluteRunOfFourConsumesSixBytes) {
    EXPECT_EQ(Rows(8, 1, {0, 4, 10, 11, 12, 13, 2, 5}), (Bytes{10, 11, 12, 13, 5, 5, 0, 0}));
}

TEST_F(Rle8, AbsoluteRunGoesOnInTheNextRow) {
    EXPECT_EQ(Rows(3, 3, {1, 1, 0, 6, 10, 11, 12, 13, 14, 15}), (Bytes{1, 10, 11, 0, 12, 13, 14, 0, 15, 0, 0, 0}));
}

TEST_F(Rle8, LongestRuns) {
    Bytes stream{255, 7, 0, 255};
    for (int i = 0; i < 255; ++i)
        stream.push_back(static_cast<std::uint8_t>(i));
    stream.push_back(0);
    stream.insert(stream.end(), {1, 200});
    const Bytes rows = Rows(600, 1, stream);
    for (std::size_t x = 0; x < 255; ++x) {
        ASSERT_EQ(rows[x], 7);
        ASSERT_EQ(rows[255 + x], x);
    }
    EXPECT_EQ(rows[510], 200);
    EXPECT_EQ(rows[511], 0);
}

TEST_F(Rle8, ImageSizeEndsTheStreamBeforeTheNextPair) {
    const Bytes stream{1, 1, 1, 2, 1, 3};
    Bytes source = MakeRleDib(4, 1, 8, stream);
    PutU32(source, 20, 3); // the pair that begins at byte 2 is still carried out
    EXPECT_EQ(Slice(Take(RestoreRLE8(Block(source))), 1064, 4), (Bytes{1, 2, 0, 0}));
    PutU32(source, 20, 2);
    EXPECT_EQ(Slice(Take(RestoreRLE8(Block(source))), 1064, 4), (Bytes{1, 0, 0, 0}));
}

TEST_F(Rle8, ANegativeImageSizeMeansNoStream) {
    Bytes source = MakeRleDib(4, 1, 8, {1, 1});
    PutU32(source, 20, 0x80000000u);
    EXPECT_EQ(Slice(Take(RestoreRLE8(Block(source))), 1064, 4), Bytes(4));
}

TEST_F(Rle8, CopiesAShortColourTable) {
    Bytes source = MakeDib(4, 1, 8);
    source.resize(40);
    PutU32(source, 16, BI_RLE8);
    PutU32(source, 20, 2);
    PutU32(source, 32, 2);
    source = Join(source, {1, 2, 3, 4, 5, 6, 7, 8, 4, 1});
    source.resize(source.size() + 258);
    Bytes expected = PlainHeader(4, 1, 8);
    expected.resize(1068);
    Put(expected, 40, {1, 2, 3, 4, 5, 6, 7, 8});
    Put(expected, 1064, {1, 1, 1, 1});
    EXPECT_EQ(Take(RestoreRLE8(Block(source))), expected); // 254 entries stay black
}

TEST_F(Rle8, CopiesAtMost256Colours) {
    Bytes source = MakeDib(4, 1, 8);
    source.resize(40);
    PutU32(source, 16, BI_RLE8);
    PutU32(source, 20, 2);
    PutU32(source, 32, 300);
    source = Join(source, Bytes(1200, 0x55));
    source = Join(source, {4, 1});
    source.resize(source.size() + 258);
    const Bytes result = Take(RestoreRLE8(Block(source)));
    EXPECT_EQ(result.size(), 1068u);
    EXPECT_EQ(Slice(result, 40, 1028), Join(Bytes(1024, 0x55), {1, 1, 1, 1}));
}

TEST_F(Rle8, RefusesOtherHeaders) {
    const Bytes good = MakeRleDib(4, 1, 8, {4, 1});
    for (const std::uint32_t size : {12u, 39u, 41u, 108u}) {
        Bytes other = good;
        PutU32(other, 0, size);
        EXPECT_EQ(RestoreRLE8(Block(other)), nullptr) << size;
    }
    for (const unsigned compression : {0u, 2u, 3u, 0x10001u}) {
        Bytes other = good;
        PutU32(other, 16, compression);
        EXPECT_EQ(RestoreRLE8(Block(other)), nullptr) << compression;
    }
    for (const unsigned bits : {0u, 1u, 4u, 16u, 24u, 264u}) {
        Bytes other = good;
        PutU16(other, 14, bits);
        EXPECT_EQ(RestoreRLE8(Block(other)), nullptr) << bits;
    }
    EXPECT_EQ(testhost::Allocations(), 0);
}

TEST_F(Rle8, RefusesAHeaderOfAnotherSizeThatLooksLikeACoreDib) {
    // Read as a core header this is an 8-bit DIB, and byte 16 says RLE8.
    Bytes other(1200);
    PutU32(other, 0, 12);
    PutU16(other, 4, 4);
    PutU16(other, 6, 4);
    PutU16(other, 10, 8);
    PutU32(other, 16, BI_RLE8);
    EXPECT_EQ(RestoreRLE8(Block(other)), nullptr);
    EXPECT_EQ(RestoreRLE(Block(other)), nullptr);
}

TEST_F(Rle8, RefusesEmptyAndImpossibleSizes) {
    EXPECT_EQ(RestoreRLE8(Block(MakeRleDib(0, 4, 8, {1, 1}))), nullptr);
    EXPECT_EQ(RestoreRLE8(Block(MakeRleDib(4, 0, 8, {1, 1}))), nullptr);
    EXPECT_EQ(RestoreRLE8(Block(MakeRleDib(-4, 4, 8, {1, 1}))), nullptr);
    EXPECT_EQ(RestoreRLE8(Block(MakeRleDib(-4, -4, 8, {1, 1}))), nullptr);
    Bytes huge = MakeRleDib(4, 3, 8, {1, 1});
    PutU32(huge, 4, 0x7FFFFFFF);
    EXPECT_EQ(RestoreRLE8(Block(huge)), nullptr);
    EXPECT_EQ(testhost::Allocations(), 0);
}

TEST_F(Rle8, NegativeHeightDecodesNothingAndStaysInTheShortenedBlock) {
    // 1064 - 4 bytes: there is no room for entry 255.
    const Bytes source = MakeRleDib(4, -1, 8, {4, 1});
    const Bytes result = Take(RestoreRLE8(Block(source)));
    EXPECT_EQ(result, Join(PlainHeader(4, 0xFFFFFFFF, 8), Slice(source, 40, 1020)));
    // 40 bytes: no room for any entry.
    EXPECT_EQ(Take(RestoreRLE8(Block(MakeRleDib(4, -256, 8, {4, 1})))), PlainHeader(4, 0xFFFFFF00, 8));
    EXPECT_EQ(RestoreRLE8(Block(MakeRleDib(4, -257, 8, {4, 1}))), nullptr);
}

TEST_F(Rle8, WorksAtOddAddresses) {
    for (std::size_t slack = 258; slack < 262; ++slack) {
        Block dib(MakeRleDib(4, 2, 8, {3, 9, 0, 0, 0, 3, 1, 2, 3, 0}, slack));
        EXPECT_EQ(Slice(Take(RestoreRLE8(dib)), 1064, 8), (Bytes{9, 9, 9, 0, 1, 2, 3, 0}));
    }
}

TEST_F(Rle8, FailsWithoutMemoryOrLocks) {
    Block dib(MakeRleDib(4, 1, 8, {4, 1}));
    GlobalFree(RestoreRLE8(dib));
    const int allocations = testhost::Allocations();
    const int locks = testhost::Locks();
    EXPECT_EQ(allocations, 1);
    for (int n = 1; n <= allocations; ++n) {
        testhost::FailAllocation(n);
        EXPECT_EQ(RestoreRLE8(dib), nullptr) << n;
    }
    for (int n = 1; n <= locks; ++n) {
        testhost::FailLock(n);
        EXPECT_EQ(RestoreRLE8(dib), nullptr) << n;
        EXPECT_EQ(testhost::LiveBlocks(), 0) << n;
    }
    EXPECT_TRUE(dib.Unchanged());
}

TEST_F(Rle8, TheCommonEntryExpandsIt) {
    const Bytes source = MakeRleDib(4, 1, 8, {4, 1});
    EXPECT_EQ(Take(RestoreRLE(Block(source))), Take(RestoreRLE8(Block(source))));
}

TEST_F(Rle8, TheCommonEntryRefusesEverythingElse) {
    Bytes plain = MakeRleDib(4, 1, 8, {4, 1});
    PutU32(plain, 16, BI_RGB);
    EXPECT_EQ(RestoreRLE(Block(plain)), nullptr);
    PutU32(plain, 16, BI_RLE4);
    EXPECT_EQ(RestoreRLE(Block(plain)), nullptr);
    for (const int bits : {0, 1, 2, 16, 24, 32}) {
        Bytes other = MakeDib(4, 1, bits);
        PutU32(other, 16, BI_RLE8);
        EXPECT_EQ(RestoreRLE(Block(other)), nullptr) << bits;
    }
    Bytes larger = MakeRleDib(4, 1, 8, {4, 1});
    PutU32(larger, 0, 124);
    EXPECT_EQ(RestoreRLE(Block(larger)), nullptr);
    EXPECT_EQ(RestoreRLE(Block(MakeCoreDib(4, 4, 8))), nullptr);
}

} // namespace

// Turning top-down DIBs, and bringing DIBs to the normal form.
#include "tests/dib/dib_test.h"

using namespace dibtest;

namespace {

class Orientation : public DibTest {};
class Normalize : public DibTest {};

// Row bytes count up from 1 over the whole picture, padding included.
Bytes Numbered(int width, int height, int bits) {
    Bytes dib = MakeDib(width, height, bits);
    std::uint8_t value = 1;
    for (std::size_t at = PixelsAt(bits); at < dib.size(); ++at)
        dib[at] = value++;
    return dib;
}

TEST_F(Orientation, BottomUpNeedsNothing) {
    Block dib(Numbered(4, 3, 24));
    EXPECT_EQ(TopDownToBottomUp(dib), nullptr);
    EXPECT_EQ(NormalizeDIB(dib), nullptr);
    Block flat(MakeDib(4, 0, 24));
    EXPECT_EQ(TopDownToBottomUp(flat), nullptr);
    EXPECT_EQ(NormalizeDIB(flat), nullptr);
    EXPECT_EQ(testhost::Allocations(), 0);
}

TEST_F(Orientation, TopDownRowsAreReversedAndTheTableStaysBlack) {
    Bytes source = Numbered(3, -3, 8);
    for (int i = 0; i < 256; ++i)
        SetEntry(source, i, i, i, i);
    PutU32(source, 32, 256);
    Block dib(source);
    Bytes expected = PlainHeader(3, 3, 8);
    expected.resize(40 + 1024);
    expected = Join(expected, {9, 10, 11, 12, 5, 6, 7, 8, 1, 2, 3, 4}); // padding travels along
    EXPECT_EQ(Take(TopDownToBottomUp(dib)), expected);
    EXPECT_EQ(Take(NormalizeDIB(dib)), expected);
    EXPECT_TRUE(dib.Unchanged());
}

TEST_F(Orientation, ShortColourTablesAreSteppedOver) {
    Bytes source = MakeDib(4, -2, 8);
    source.resize(40);
    PutU32(source, 32, 1);
    source = Join(source, {9, 9, 9, 9, 1, 2, 3, 4, 5, 6, 7, 8});
    const Bytes result = Take(TopDownToBottomUp(Block(source)));
    EXPECT_EQ(Slice(result, 0, 40), PlainHeader(4, 2, 8));
    EXPECT_EQ(Slice(result, 1064, 8), (Bytes{5, 6, 7, 8, 1, 2, 3, 4}));
}

TEST_F(Orientation, ResolutionIsNotCarriedOver) {
    const Bytes result = Take(TopDownToBottomUp(Block(MakeDib(4, -1, 24, 11811, 11811))));
    EXPECT_EQ(U32(result, 24), 0u);
    EXPECT_EQ(U32(result, 28), 0u);
}

TEST_F(Orientation, EveryPlainDepthTurns) {
    for (const int bits : {1, 4, 8, 16, 24, 27, 32}) {
        const Bytes source = Numbered(5, -2, bits);
        const std::size_t stride = Stride(5, bits);
        const std::size_t at = PixelsAt(bits);
        Bytes expected = PlainHeader(5, 2, static_cast<unsigned>(bits));
        expected.resize(at);
        expected = Join(Join(expected, Slice(source, at + stride, stride)), Slice(source, at, stride));
        EXPECT_EQ(Take(TopDownToBottomUp(Block(source))), expected) << bits;
    }
}

TEST_F(Orientation, BitFieldsLoseTheirMasksAndRowsAreTakenFromTheMasksOn) {
    Bytes source = MakeMaskedDib(2, -3, 16, 0x11111111, 0x22222222, 0x33333333);
    Put(source, 52, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12});
    // The masks are not stepped over: they are the three rows.
    EXPECT_EQ(Take(TopDownToBottomUp(Block(source))),
              Join(PlainHeader(2, 3, 16), {0x33, 0x33, 0x33, 0x33, 0x22, 0x22, 0x22, 0x22, 0x11, 0x11, 0x11, 0x11}));
}

TEST_F(Orientation, DeeperDepthsAreTurnedWithTheirOwnRowsAndClipped) {
    // 48 bits: rows of 12 bytes turn, the new 24-bit block has room for 8 bytes a row
    Bytes deep = MakeDib(2, -3, 48);
    for (std::size_t i = 0; i < 36; ++i)
        deep[40 + i] = static_cast<std::uint8_t>(i + 1);
    EXPECT_EQ(Take(TopDownToBottomUp(Block(deep))),
              Join(PlainHeader(2, 3, 24),
                   {25, 26, 27, 28, 29, 30, 31, 32, 33, 34, 35, 36, 13, 14, 15, 16, 17, 18, 19, 20, 21, 22, 23, 24}));
    // 64 bits: rows of 16 bytes; the second row is cut
    Bytes deeper = MakeDib(2, -3, 64);
    for (std::size_t i = 0; i < 48; ++i)
        deeper[40 + i] = static_cast<std::uint8_t>(i + 1);
    EXPECT_EQ(Take(TopDownToBottomUp(Block(deeper))),
              Join(PlainHeader(2, 3, 24),
                   {33, 34, 35, 36, 37, 38, 39, 40, 41, 42, 43, 44, 45, 46, 47, 48, 17, 18, 19, 20, 21, 22, 23, 24}));
}

TEST_F(Orientation, ShallowerDepthsKeepTheirOwnRowsInTheNewBlock) {
    Bytes two = MakeDib(16, -2, 2); // rows of 4 bytes; the new DIB has 4 bits and rows of 8
    Put(two, 40, {1, 2, 3, 4, 5, 6, 7, 8});
    Bytes expected = PlainHeader(16, 2, 4);
    expected.resize(104 + 16);
    Put(expected, 104, {5, 6, 7, 8, 1, 2, 3, 4});
    EXPECT_EQ(Take(TopDownToBottomUp(Block(two))), expected);
    Bytes none = MakeDib(16, -2, 0);
    Bytes black = PlainHeader(16, 2, 1);
    black.resize(48 + 8);
    EXPECT_EQ(Take(TopDownToBottomUp(Block(none))), black);
}

TEST_F(Orientation, TheLowestHeightHasNoRows) {
    // Its opposite does not exist in 32 bits: the new DIB keeps it and has no room for rows.
    Bytes source = MakeDib(4, -1, 8);
    PutU32(source, 8, 0x80000000u);
    Bytes expected = PlainHeader(4, 0x80000000u, 8);
    expected.resize(1064);
    EXPECT_EQ(Take(TopDownToBottomUp(Block(source))), expected);
}

TEST_F(Orientation, ANegativeWidthAsksForTheUnsignedRow) {
    Bytes source = MakeDib(1, -1, 1);
    PutU32(source, 4, 0xFFFFFFFF);
    testhost::SetLargestBlock(1024); // 512 MiB are more than this test wants
    EXPECT_EQ(TopDownToBottomUp(Block(source)), nullptr);
    EXPECT_EQ(testhost::LastAllocationSize(), 48u + 536870912u);
    testhost::ResetCounters();
    PutU16(source, 14, 24); // a row beyond 32 bits
    EXPECT_EQ(TopDownToBottomUp(Block(source)), nullptr);
    EXPECT_EQ(testhost::Allocations(), 0);
}

TEST_F(Orientation, CoreHeadersAreNeverTopDown) {
    Bytes core = MakeCoreDib(4, 4, 24);
    PutU16(core, 6, 65535);
    EXPECT_EQ(TopDownToBottomUp(Block(core)), nullptr);
    EXPECT_EQ(NormalizeDIB(Block(core)), nullptr);
}

TEST_F(Orientation, WorksAtOddAddresses) {
    for (std::size_t tail = 0; tail < 4; ++tail) {
        Bytes source = Numbered(2, -2, 24);
        source.resize(source.size() + tail);
        EXPECT_EQ(Slice(Take(TopDownToBottomUp(Block(source))), 40, 16),
                  (Bytes{9, 10, 11, 12, 13, 14, 15, 16, 1, 2, 3, 4, 5, 6, 7, 8}));
    }
}

TEST_F(Orientation, FailsWithoutMemoryOrLocks) {
    Block dib(Numbered(4, -3, 8));
    GlobalFree(TopDownToBottomUp(dib));
    EXPECT_EQ(testhost::Allocations(), 1);
    const int locks = testhost::Locks();
    for (void* (*function)(unsigned char*) : {TopDownToBottomUp, NormalizeDIB}) {
        testhost::FailAllocation(1);
        EXPECT_EQ(function(dib), nullptr);
        for (int n = 1; n <= locks; ++n) {
            testhost::FailLock(n);
            EXPECT_EQ(function(dib), nullptr) << n;
            EXPECT_EQ(testhost::LiveBlocks(), 0) << n;
        }
    }
}

TEST_F(Normalize, ExpandsEightBitRunLengths) {
    const Bytes source = MakeRleDib(4, 2, 8, {4, 1, 4, 2});
    Block dib(source);
    Bytes expected = Join(PlainHeader(4, 2, 8), Slice(source, 40, 1024));
    expected = Join(expected, {1, 1, 1, 1, 2, 2, 2, 2});
    EXPECT_EQ(Take(NormalizeDIB(dib)), expected);
    EXPECT_TRUE(dib.Unchanged());
    EXPECT_EQ(TopDownToBottomUp(dib), nullptr); // not top-down
}

TEST_F(Normalize, GivesNothingForFourBitRunLengths) {
    EXPECT_EQ(NormalizeDIB(Block(MakeRleDib(4, 2, 4, {4, 1}))), nullptr);
    EXPECT_EQ(NormalizeDIB(Block(MakeRleDib(4, -2, 4, {4, 1}))), nullptr);
    EXPECT_EQ(TopDownToBottomUp(Block(MakeRleDib(4, -2, 4, {4, 1}))), nullptr);
    EXPECT_EQ(testhost::Allocations(), 0);
}

TEST_F(Normalize, GivesNothingForRunLengthsOfOtherDepths) {
    for (const int height : {2, -2}) {
        for (const unsigned compression : {1u, 2u}) {
            Bytes source = MakeDib(4, height, 24);
            PutU32(source, 16, compression);
            EXPECT_EQ(NormalizeDIB(Block(source)), nullptr);
            EXPECT_EQ(TopDownToBottomUp(Block(source)), nullptr);
        }
    }
}

TEST_F(Normalize, TurnsOtherCompressionsAsTheyStand) {
    for (const unsigned compression : {3u, 4u, 77u}) {
        Bytes source = Numbered(4, -2, 8);
        PutU32(source, 16, compression);
        EXPECT_EQ(Slice(Take(NormalizeDIB(Block(source))), 1064, 8), (Bytes{5, 6, 7, 8, 1, 2, 3, 4}));
    }
}

TEST_F(Normalize, LargerHeadersAreNotHandled) {
    Bytes source = Numbered(4, -2, 8);
    for (const unsigned size : {12u, 108u, 124u}) {
        PutU32(source, 0, size);
        EXPECT_EQ(NormalizeDIB(Block(source)), nullptr) << size;
        EXPECT_EQ(TopDownToBottomUp(Block(source)), nullptr) << size;
    }
}

TEST_F(Normalize, TopDownRunLengthsStayInsideTheirBlocks) {
    // The expansion of -1 rows is 4 bytes shorter than its header and table, so it has no row to
    // turn; the result is an empty picture of one row.
    Block dib(MakeRleDib(4, -1, 8, {4, 1, 4, 1}));
    Bytes expected = PlainHeader(4, 1, 8);
    expected.resize(1068);
    EXPECT_EQ(Take(NormalizeDIB(dib)), expected);
    EXPECT_EQ(Take(TopDownToBottomUp(dib)), expected);
    Block all(MakeRleDib(4, -256, 8, {4, 1, 4, 1}));
    expected = PlainHeader(4, 256, 8);
    expected.resize(1064 + 1024);
    EXPECT_EQ(Take(NormalizeDIB(all)), expected);
    EXPECT_EQ(Take(TopDownToBottomUp(all)), expected);
    EXPECT_EQ(NormalizeDIB(Block(MakeRleDib(4, -257, 8, {4, 1}))), nullptr);
}

TEST_F(Normalize, ExpansionFailsWithoutMemoryOrLocks) {
    for (const int height : {2, -1}) {
        Block dib(MakeRleDib(4, height, 8, {4, 1, 4, 2}));
        testhost::ResetCounters();
        GlobalFree(NormalizeDIB(dib));
        const int allocations = testhost::Allocations();
        const int locks = testhost::Locks();
        EXPECT_EQ(allocations, height > 0 ? 1 : 2);
        for (int n = 1; n <= allocations; ++n) {
            testhost::FailAllocation(n);
            EXPECT_EQ(NormalizeDIB(dib), nullptr) << n;
            EXPECT_EQ(testhost::LiveBlocks(), 0) << n;
        }
        for (int n = 1; n <= locks; ++n) {
            testhost::FailLock(n);
            EXPECT_EQ(NormalizeDIB(dib), nullptr) << n;
            EXPECT_EQ(testhost::LiveBlocks(), 0) << n;
        }
    }
    Block topDown(MakeRleDib(4, -1, 8, {4, 1}));
    testhost::ResetCounters();
    GlobalFree(TopDownToBottomUp(topDown));
    const int locks = testhost::Locks();
    for (int n = 1; n <= 2; ++n) {
        testhost::FailAllocation(n);
        EXPECT_EQ(TopDownToBottomUp(topDown), nullptr) << n;
    }
    for (int n = 1; n <= locks; ++n) {
        testhost::FailLock(n);
        EXPECT_EQ(TopDownToBottomUp(topDown), nullptr) << n;
        EXPECT_EQ(testhost::LiveBlocks(), 0) << n;
    }
}

} // namespace

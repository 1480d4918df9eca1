// What both depth conversions share: normalisation first, unusual sources, failures.
#include "tests/dib/dib_test.h"

using namespace dibtest;

namespace {

class DepthFrame : public DibTest {};

using Function = void* (*)(unsigned char*);
constexpr Function Both[] = {ConvertTo24BPPDIB, ConvertTo16BPPDIB};

Bytes Rows24(const Bytes& source) {
    const Bytes result = Take(ConvertTo24BPPDIB(Block(source)));
    return Slice(result, 40, result.size() - 40);
}

Bytes Rows16(const Bytes& source) {
    const Bytes result = Take(ConvertTo16BPPDIB(Block(source)));
    return Slice(result, 40, result.size() - 40);
}

TEST_F(DepthFrame, TopDownColourTablesComeOutBlack) {
    Bytes source = MakeDib(2, -2, 8);
    for (int i = 0; i < 256; ++i)
        SetEntry(source, i, 255, 255, 255);
    const Bytes result = Take(ConvertTo24BPPDIB(Block(source)));
    EXPECT_EQ(result, Join(PlainHeader(2, 2, 24), Bytes(16)));
    EXPECT_EQ(Take(ConvertTo16BPPDIB(Block(source))), Join(PlainHeader(2, 2, 16), Bytes(8)));
}

TEST_F(DepthFrame, TopDownTrueColourIsTurned) {
    Bytes source = MakeDib(1, -2, 32);
    Put(source, 40, {1, 2, 3, 4, 255, 128, 7, 8});
    EXPECT_EQ(Rows24(source), (Bytes{255, 128, 7, 0, 1, 2, 3, 0}));
    EXPECT_EQ(Rows16(source), (Bytes{0x1F, 0x02, 0, 0, 0, 0, 0, 0}));
    Bytes same = MakeDib(1, -2, 24);
    Put(same, 40, {1, 2, 3, 4, 5, 6, 7, 8});
    EXPECT_EQ(Take(ConvertTo24BPPDIB(Block(same))), Join(PlainHeader(1, 2, 24), {5, 6, 7, 8, 1, 2, 3, 4}));
}

TEST_F(DepthFrame, RunLengthsAreExpandedWithTheirColours) {
    const Bytes source = MakeRleDib(2, 2, 8, {1, 8, 1, 16, 0, 0, 2, 80});
    EXPECT_EQ(Rows24(source), (Bytes{8, 16, 24, 16, 32, 48, 0, 0, 80, 160, 240, 80, 160, 240, 0, 0}));
    // blue 1, green 2, red 3; blue 2, green 4, red 6; blue 10, green 20, red 30
    EXPECT_EQ(Rows16(source), (Bytes{0x41, 0x0C, 0x82, 0x18, 0x8A, 0x7A, 0x8A, 0x7A}));
}

TEST_F(DepthFrame, TopDownRunLengthsComeOutBlack) {
    const Bytes source = MakeRleDib(4, -1, 8, {4, 9});
    EXPECT_EQ(Rows24(source), Bytes(12));
    EXPECT_EQ(Rows16(source), Bytes(8));
}

TEST_F(DepthFrame, FourBitRunLengthsAreReadAsPlainPixels) {
    const Bytes source = MakeRleDib(4, 2, 4, {0x12, 0x34, 0, 0, 0x56, 0x78, 0, 0});
    EXPECT_EQ(Rows24(source), (Bytes{1, 2, 3, 2, 4, 6, 3, 6, 9, 4, 8, 12, 5, 10, 15, 6, 12, 18, 7, 14, 21, 8, 16, 24}));
}

TEST_F(DepthFrame, BeyondTheImageSizeFieldUnexpandedPixelsAre0) {
    // Five bytes of stream and nothing behind them: no row is complete.
    Bytes source = MakeRleDib(16, 2, 4, {0x12, 0x34, 0x56, 0x78, 0x9A}, 0);
    SetEntry(source, 0, 0, 0, 200);
    const Bytes rows = Rows24(source);
    ASSERT_EQ(rows.size(), 96u);
    for (std::size_t x = 0; x < 10; ++x)
        EXPECT_EQ(rows[3 * x], (x + 1)) << x; // entry i is blue i
    for (std::size_t x = 10; x < 32; ++x)
        EXPECT_EQ(Slice(rows, 3 * x, 3), (Bytes{0, 0, 200})) << x;
}

TEST_F(DepthFrame, UnexpandedRowsLongerThanAPieceEndAtTheImageSizeField) {
    Bytes source = MakeDib(600, 1, 32);
    source.resize(40 + 4 * 520);
    PutU32(source, 16, BI_RLE8);
    PutU32(source, 20, 4 * 520);
    for (std::size_t i = 0; i < 520; ++i)
        Put(source, 40 + 4 * i, {static_cast<std::uint8_t>(i), static_cast<std::uint8_t>(i >> 8), 9, 9});
    const Bytes rows = Rows24(source);
    for (std::size_t i = 0; i < 600; ++i) {
        const Bytes expected =
            i < 520 ? Bytes{static_cast<std::uint8_t>(i), static_cast<std::uint8_t>(i >> 8), 9} : Bytes(3);
        ASSERT_EQ(Slice(rows, 3 * i, 3), expected) << i;
    }
}

TEST_F(DepthFrame, UnexpandedIndicesLongerThanAPieceEndAtTheImageSizeField) {
    Bytes source = MakeDib(600, 1, 8);
    SetEntry(source, 0, 1, 2, 3);
    SetEntry(source, 9, 4, 5, 6);
    PutU32(source, 16, BI_RLE4); // no expansion for this pair of depth and code
    PutU32(source, 20, 300);
    std::fill(source.begin() + 1064, source.end(), std::uint8_t{9});
    const Bytes rows = Rows24(source);
    for (std::size_t i = 0; i < 600; ++i)
        ASSERT_EQ(Slice(rows, 3 * i, 3), (i < 300 ? Bytes{4, 5, 6} : Bytes{1, 2, 3})) << i;
}

TEST_F(DepthFrame, UnexpandedSourcesOfEveryDepthStayInsideTheirData) {
    for (const int bits : {1, 4, 8, 16, 24, 32}) {
        for (const unsigned compression : {1u, 2u}) {
            if (bits == 8 && compression == 1)
                continue;
            for (const std::uint32_t counted : {0u, 1u, 7u, 40u, 0xFFFFFFFFu}) {
                Bytes source = MakeDib(33, 3, bits);
                const std::size_t readable = counted > 1000 ? 0 : counted;
                source.resize(PixelsAt(bits));
                source.resize(PixelsAt(bits) + readable, 0xFF);
                PutU32(source, 16, compression);
                PutU32(source, 20, counted);
                for (const Function convert : Both)
                    Take(convert(Block(source)));
                if (bits == 32 || bits == 24) {
                    const Bytes result = Take(ConvertTo24BPPDIB(Block(source)));
                    std::size_t lit = 0;
                    for (std::size_t at = 40; at < result.size(); ++at)
                        lit += result[at] == 0xFF;
                    const std::size_t fourth = bits == 32 ? readable / 4 : 0;
                    EXPECT_EQ(lit, readable - fourth) << bits << ' ' << counted;
                }
            }
        }
    }
}

TEST_F(DepthFrame, UnexpandedEightBitIndexPastTheTableStaysInsideTheData) {
    Bytes source = MakeDib(4, 2, 8);
    source.resize(40);
    PutU32(source, 16, BI_RLE4); // no expansion for this pair of depth and code
    PutU32(source, 20, 5);
    PutU32(source, 32, 1);
    // entry 0; data where entry 1 and the first byte of entry 2 would stand
    source = Join(source, {1, 2, 3, 99, 0, 1, 2, 3, 7});
    EXPECT_EQ(Rows24(source), (Bytes{1, 2, 3, 0, 1, 2, 7, 0, 0, 0, 0, 0, 0, 0, 0, 1, 2, 3, 1, 2, 3, 1, 2, 3}));
}

TEST_F(DepthFrame, RunLengthsWithoutMemoryForTheExpansionAreReadAsPlainPixels) {
    Bytes source = MakeRleDib(4, 1, 8, {4, 9}, 0);
    testhost::FailAllocation(1);
    EXPECT_EQ(Rows24(source), (Bytes{4, 8, 12, 9, 18, 27, 0, 0, 0, 0, 0, 0}));
    testhost::FailLock(1); // the new block cannot be locked: the same
    EXPECT_EQ(Rows24(source), (Bytes{4, 8, 12, 9, 18, 27, 0, 0, 0, 0, 0, 0}));
}

TEST_F(DepthFrame, AHeightThatStaysNegativeGivesNothing) {
    for (const Function convert : Both) {
        Block rle4(MakeRleDib(4, -2, 4, {4, 9}));
        EXPECT_EQ(convert(rle4), nullptr);
        Bytes deep = MakeDib(4, -2, 24);
        PutU32(deep, 16, BI_RLE8);
        EXPECT_EQ(convert(Block(deep)), nullptr);
        Block rle8(MakeRleDib(4, -257, 8, {4, 9}));
        EXPECT_EQ(convert(rle8), nullptr);
        Bytes lowest = MakeDib(4, -1, 8);
        PutU32(lowest, 8, 0x80000000u);
        EXPECT_EQ(convert(Block(lowest)), nullptr);
        EXPECT_EQ(testhost::LiveBlocks(), 0);
    }
}

TEST_F(DepthFrame, TurningThatFailsGivesNothing) {
    for (const int bits : {8, 16, 24}) {
        Block dib(MakeDib(4, -2, bits));
        for (const Function convert : Both) {
            testhost::FailAllocation(1);
            EXPECT_EQ(convert(dib), nullptr) << bits;
        }
    }
}

TEST_F(DepthFrame, ACoreHeaderIsNeverCompressed) {
    // Bytes 16 to 19 belong to the colour table here and read 3, bit fields.
    Bytes source = MakeCoreDib(1, 1, 4);
    Put(source, 12, {10, 20, 30, 40, 3, 0, 0, 0, 99});
    Put(source, 60, {0x10, 0, 0, 0});
    EXPECT_EQ(Rows24(source), (Bytes{40, 3, 0, 0}));
    // A 32-bit core DIB whose second pixel reads 3, and then 1.
    Bytes deep = MakeCoreDib(3, 1, 32);
    Put(deep, 12, {1, 2, 3, 4, 3, 0, 0, 0, 7, 8, 9, 10});
    EXPECT_EQ(Rows24(deep), (Bytes{1, 2, 3, 3, 0, 0, 7, 8, 9, 0, 0, 0}));
    deep[16] = 1;
    EXPECT_EQ(Rows24(deep), (Bytes{1, 2, 3, 1, 0, 0, 7, 8, 9, 0, 0, 0}));
    Bytes small = MakeCoreDib(1, 1, 16); // ends at byte 16
    PutU16(small, 12, 32767);
    EXPECT_EQ(Rows24(small), (Bytes{255, 255, 255, 0}));
}

TEST_F(DepthFrame, UnknownCompressionIsReadAsPlain) {
    Bytes source = MakeDib(1, 1, 32);
    PutU32(source, 16, 77);
    Put(source, 40, {1, 2, 3, 4});
    EXPECT_EQ(Rows24(source), (Bytes{1, 2, 3, 0}));
    Bytes indexed = MakeDib(1, 1, 8); // bit fields mean nothing at 8 bits: no masks to step over
    PutU32(indexed, 16, BI_BITFIELDS);
    SetEntry(indexed, 5, 1, 2, 3);
    indexed[1064] = 5;
    EXPECT_EQ(Rows24(indexed), (Bytes{1, 2, 3, 0}));
}

TEST_F(DepthFrame, EmptyAndImpossibleSizesGiveNothing) {
    for (const Function convert : Both) {
        EXPECT_EQ(convert(Block(MakeDib(0, 2, 32))), nullptr);
        EXPECT_EQ(convert(Block(MakeDib(2, 0, 32))), nullptr);
        for (const std::uint32_t width : {0xFFFFFFFFu, 0x80000000u, 0x7FFFFFFFu}) {
            Bytes source = MakeDib(1, 1, 1);
            PutU32(source, 4, width);
            PutU32(source, 8, 2);
            EXPECT_EQ(convert(Block(source)), nullptr) << width;
            PutU32(source, 8, 0x7FFFFFFF);
            PutU16(source, 14, 65535); // more than 64 bits can count
            EXPECT_EQ(convert(Block(source)), nullptr) << width;
        }
    }
    EXPECT_EQ(testhost::Allocations(), 0);
}

TEST_F(DepthFrame, EveryFailedAllocationAndLockLeavesNothing) {
    const Bytes sources[] = {
        MakeDib(5, 2, 1),  MakeDib(5, 2, 8),  MakeDib(5, 2, 16),  MakeDib(5, 2, 24),
        MakeDib(5, 2, 32), MakeDib(5, -2, 8), MakeDib(5, -2, 32), MakeDib(5, -2, 24),
    };
    for (const Bytes& source : sources) {
        Block dib(source);
        for (const Function convert : Both) {
            testhost::ResetCounters();
            GlobalFree(convert(dib));
            const int allocations = testhost::Allocations();
            const int locks = testhost::Locks();
            for (int n = 1; n <= allocations; ++n) {
                testhost::FailAllocation(n);
                EXPECT_EQ(convert(dib), nullptr) << n;
                EXPECT_EQ(testhost::LiveBlocks(), 0) << n;
            }
            for (int n = 1; n <= locks; ++n) {
                testhost::FailLock(n);
                EXPECT_EQ(convert(dib), nullptr) << n;
                EXPECT_EQ(testhost::LiveBlocks(), 0) << n;
            }
        }
    }
    EXPECT_EQ(testhost::BadCalls(), 0);
}

TEST_F(DepthFrame, FourBitLookupsThatCannotBeLockedTakeTheSlowWay) {
    Bytes source = MakeDib(3, 1, 4);
    for (int i = 0; i < 16; ++i)
        SetEntry(source, i, i, 16 + i, 32 + i);
    Put(source, 104, {0x1F, 0x20});
    // The first two locks are the result's: made, then filled.
    for (int n = 3; n <= 5; ++n) {
        testhost::FailLock(n);
        EXPECT_EQ(Rows24(source), (Bytes{1, 17, 33, 15, 31, 47, 2, 18, 34, 0, 0, 0})) << n;
    }
    for (int n = 1; n <= 2; ++n) {
        testhost::FailLock(n);
        EXPECT_EQ(ConvertTo24BPPDIB(Block(source)), nullptr) << n;
        EXPECT_EQ(testhost::LiveBlocks(), 0) << n;
    }
}

TEST_F(DepthFrame, EightBitRunLengthsFailOneByOne) {
    // Allocations: expansion, result, and for 16 bits the lookup. Without the expansion the stream
    // is read as pixels; without the others there is no result.
    Block dib(MakeRleDib(2, 1, 8, {2, 8, 0, 0}));
    for (const Function convert : Both) {
        testhost::FailAllocation(1);
        GlobalFree(convert(dib));
        for (int n = 2; n <= (convert == ConvertTo16BPPDIB ? 3 : 2); ++n) {
            testhost::FailAllocation(n);
            EXPECT_EQ(convert(dib), nullptr) << n;
            EXPECT_EQ(testhost::LiveBlocks(), 0) << n;
        }
    }
}

} // namespace

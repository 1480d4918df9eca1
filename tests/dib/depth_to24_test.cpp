// Conversion to 24 bits, depth by depth.
#include "tests/dib/colour_calls.h"
#include "tests/dib/dib_test.h"

using namespace dibtest;

namespace {

class DepthTo24 : public DibTest {};

// The converted rows, padding included. Checks the header on the way.
Bytes Rows(const Bytes& source, unsigned width, unsigned height) {
    Block dib(source);
    const Bytes result = Take(ConvertTo24BPPDIB(dib));
    EXPECT_TRUE(dib.Unchanged());
    EXPECT_EQ(Slice(result, 0, 40), PlainHeader(width, height, 24));
    return Slice(result, 40, result.size() - 40);
}

TEST_F(DepthTo24, OneBitSelectsOneOfTwoColours) {
    Bytes source = MakeDib(9, 2, 1);
    Put(source, 40, {1, 2, 3, 99, 4, 5, 6, 99});
    Put(source, 48, {0xA0, 0x80, 0, 0, 0x01, 0x00, 0, 0});
    const Bytes off{1, 2, 3};
    const Bytes on{4, 5, 6};
    Bytes expected;
    for (const Bytes& pixel : {on, off, on, off, off, off, off, off, on})
        expected = Join(expected, pixel);
    expected.push_back(0);
    for (const Bytes& pixel : {off, off, off, off, off, off, off, on, off})
        expected = Join(expected, pixel);
    expected.push_back(0);
    EXPECT_EQ(Rows(source, 9, 2), expected);
}

TEST_F(DepthTo24, OneBitMissingColoursAreBlack) {
    Bytes source = MakeDib(2, 1, 1);
    source.resize(44);
    PutU32(source, 32, 1);
    Put(source, 40, {1, 2, 3, 99});
    source = Join(source, {0x40, 0, 0, 0});
    EXPECT_EQ(Rows(source, 2, 1), (Bytes{1, 2, 3, 0, 0, 0, 0, 0}));
}

TEST_F(DepthTo24, OneBitSurplusColoursAreSteppedOver) {
    Bytes source = MakeDib(2, 1, 1);
    source.resize(40);
    PutU32(source, 32, 3);
    source = Join(source, {1, 2, 3, 99, 4, 5, 6, 99, 7, 8, 9, 99, 0x40, 0, 0, 0});
    EXPECT_EQ(Rows(source, 2, 1), (Bytes{1, 2, 3, 4, 5, 6, 0, 0}));
}

TEST_F(DepthTo24, FourBitsTakeTheHighNibbleFirst) {
    Bytes source = MakeDib(3, 2, 4);
    for (int i = 0; i < 16; ++i)
        SetEntry(source, i, i, 16 + i, 32 + i);
    Put(source, 104, {0x1F, 0x20, 0, 0, 0x34, 0x5A, 0, 0});
    EXPECT_EQ(Rows(source, 3, 2),
              Join({1, 17, 33, 15, 31, 47, 2, 18, 34, 0, 0, 0}, {3, 19, 35, 4, 20, 36, 5, 21, 37, 0, 0, 0}));
}

Bytes ShortFourBitDib() {
    Bytes source = MakeDib(4, 1, 4);
    source.resize(40);
    PutU32(source, 32, 2);
    return Join(source, {1, 2, 3, 99, 4, 5, 6, 99, 0x01, 0x2F, 0, 0});
}

TEST_F(DepthTo24, FourBitsMissingColoursAreBlack) {
    EXPECT_EQ(Rows(ShortFourBitDib(), 4, 1), (Bytes{1, 2, 3, 4, 5, 6, 0, 0, 0, 0, 0, 0}));
}

TEST_F(DepthTo24, FourBitLookupsAreThreeBlocksOfOneBytePerColour) {
    testhost::ResetCounters();
    Rows(ShortFourBitDib(), 4, 1);
    EXPECT_EQ(testhost::Allocations(), 4);
    EXPECT_EQ(testhost::LastAllocationSize(), 2u);
}

TEST_F(DepthTo24, FourBitsAskForEveryColourOnceWhenLookupsExist) {
    Bytes source = MakeDib(40, 5, 4);
    colourcalls::TakeCounts();
    Rows(source, 40, 5);
    const colourcalls::Counts counts = colourcalls::TakeCounts();
    EXPECT_EQ(counts.rgb, 16);
    EXPECT_EQ(counts.red, 16);
    EXPECT_EQ(counts.green, 16);
    EXPECT_EQ(counts.blue, 16);
}

TEST_F(DepthTo24, FourBitsAskForEveryPixelWhenALookupIsMissing) {
    Bytes source = MakeDib(41, 5, 4);
    for (int i = 0; i < 16; ++i)
        SetEntry(source, i, i, 16 + i, 32 + i);
    for (std::size_t at = 104; at < source.size(); ++at)
        source[at] = static_cast<std::uint8_t>(at * 7);
    const Bytes expected = Rows(source, 41, 5);
    for (int n = 2; n <= 4; ++n) {
        testhost::FailAllocation(n);
        colourcalls::TakeCounts();
        EXPECT_EQ(Rows(source, 41, 5), expected) << n;
        const colourcalls::Counts counts = colourcalls::TakeCounts();
        EXPECT_EQ(counts.rgb, 205) << n;
        EXPECT_EQ(counts.red, 205) << n;
        EXPECT_EQ(counts.green, 205) << n;
        EXPECT_EQ(counts.blue, 205) << n;
    }
}

TEST_F(DepthTo24, FourBitsMissingColoursAreBlackWithoutLookupsToo) {
    for (int n = 2; n <= 4; ++n) {
        testhost::FailAllocation(n);
        EXPECT_EQ(Rows(ShortFourBitDib(), 4, 1), (Bytes{1, 2, 3, 4, 5, 6, 0, 0, 0, 0, 0, 0})) << n;
    }
}

TEST_F(DepthTo24, FourBitsWithoutAnyColourAreBlack) {
    Bytes source = MakeDib(2, 1, 4);
    source.resize(44);
    PutU32(source, 32, 65536); // kept to 16 bits: none
    source[40] = 0x12;
    EXPECT_EQ(Rows(source, 2, 1), Bytes(8));
}

TEST_F(DepthTo24, EightBitsReadTheTableInPlace) {
    Bytes source = MakeDib(3, 2, 8);
    SetEntry(source, 0, 1, 2, 3);
    SetEntry(source, 7, 4, 5, 6);
    SetEntry(source, 255, 7, 8, 9);
    Put(source, 1064, {0, 7, 255, 0, 255, 255, 7, 0});
    EXPECT_EQ(Rows(source, 3, 2), (Bytes{1, 2, 3, 4, 5, 6, 7, 8, 9, 0, 0, 0, 7, 8, 9, 7, 8, 9, 4, 5, 6, 0, 0, 0}));
}

TEST_F(DepthTo24, EightBitsOfACoreHeader) {
    Bytes source = MakeCoreDib(2, 1, 8);
    Put(source, 12, {1, 2, 3});
    Put(source, 12 + 3 * 255, {7, 8, 9});
    Put(source, 780, {255, 0, 0, 0});
    EXPECT_EQ(Rows(source, 2, 1), (Bytes{7, 8, 9, 1, 2, 3, 0, 0}));
}

TEST_F(DepthTo24, EightBitIndexPastTheTableReadsTheRowsAndThenBlack) {
    Bytes source = MakeDib(4, 2, 8);
    source.resize(40);
    PutU32(source, 32, 1);
    // entry 0; rows: where entries 1 and 2 would stand; entry 3 would lie outside
    source = Join(source, {1, 2, 3, 99, 0, 1, 2, 3, 255, 2, 1, 0});
    EXPECT_EQ(Rows(source, 4, 2), (Bytes{1, 2, 3, 0, 1, 2, 255, 2, 1, 0, 0, 0, 0, 0, 0, 255, 2, 1, 0, 1, 2, 1, 2, 3}));
}

TEST_F(DepthTo24, SixteenBitsWidenFiveToEight) {
    Bytes source = MakeDib(3, 1, 16);
    PutU16(source, 40, 32767);
    PutU16(source, 42, 1057);
    PutU16(source, 44, 0);
    EXPECT_EQ(Rows(source, 3, 1), (Bytes{255, 255, 255, 15, 15, 15, 0, 0, 0, 0, 0, 0}));
}

TEST_F(DepthTo24, SixteenBitChannelsInTheirPlaces) {
    Bytes source = MakeDib(4, 1, 16);
    PutU16(source, 40, 2);        // blue 2
    PutU16(source, 42, 3 * 32);   // green 3
    PutU16(source, 44, 4 * 1024); // red 4
    PutU16(source, 46, 0x8000);   // the unused bit
    EXPECT_EQ(Rows(source, 4, 1), (Bytes{23, 0, 0, 0, 31, 0, 0, 0, 39, 0, 0, 0}));
}

TEST_F(DepthTo24, SixteenBitFieldsStepOverTheMasks) {
    Bytes source = MakeMaskedDib(3, 1, 16, 0xF800, 0x07E0, 0x001F);
    PutU16(source, 52, 0xFFFF);
    PutU16(source, 54, 0x0821); // red 1, green 1, blue 1
    PutU16(source, 56, 0xF81F);
    EXPECT_EQ(Rows(source, 3, 1), (Bytes{248, 252, 248, 8, 4, 8, 248, 0, 248, 0, 0, 0}));
}

TEST_F(DepthTo24, BitFieldsStepOverTableAndMasks) {
    // One colour is counted, so pixels begin at 40 + 4 + 12; the masks are read at byte 40 anyway.
    Bytes source = MakeMaskedDib(1, 1, 32, 0xFF0000, 0xFF00, 0xFF);
    PutU32(source, 32, 1);
    source.resize(52);
    source = Join(source, {99, 99, 99, 99, 1, 2, 3, 4});
    EXPECT_EQ(Rows(source, 1, 1), (Bytes{1, 2, 3, 0}));
}

TEST_F(DepthTo24, AbsentMaskGivesZero) {
    Bytes source = MakeMaskedDib(2, 1, 16, 0xFFFF, 0, 0x0001);
    PutU16(source, 52, 0xABCD);
    PutU16(source, 54, 0xFFFE);
    // red is the top byte of a 16-bit channel, blue one bit brought to the top of a byte
    EXPECT_EQ(Rows(source, 2, 1), (Bytes{128, 0, 0xAB, 0, 0, 0xFF, 0, 0}));
}

TEST_F(DepthTo24, MasksWithGapsKeepEightBits) {
    Bytes source = MakeMaskedDib(1, 1, 32, 0x00FF00F0, 0xF0000000, 0xFFC00);
    PutU32(source, 52, 0xFFFFFFFF);
    // red: (0xFF00F0 >> 4) << 4, low byte; green: 0xF << 4; blue: the top 8 of 10 bits
    EXPECT_EQ(Rows(source, 1, 1), (Bytes{255, 0xF0, 0xF0, 0}));
}

TEST_F(DepthTo24, ThirtyTwoBitsDropTheFourthByte) {
    Bytes source = MakeDib(2, 2, 32);
    Put(source, 40, {1, 2, 3, 99, 4, 5, 6, 99, 7, 8, 9, 99, 10, 11, 12, 99});
    EXPECT_EQ(Rows(source, 2, 2), (Bytes{1, 2, 3, 4, 5, 6, 0, 0, 7, 8, 9, 10, 11, 12, 0, 0}));
}

TEST_F(DepthTo24, ThirtyTwoBitFieldsUseTheMasks) {
    Bytes source = MakeMaskedDib(2, 1, 32, 0x000000FF, 0x0000FF00, 0xFF000000);
    Put(source, 52, {1, 2, 3, 4, 5, 6, 7, 8});
    EXPECT_EQ(Rows(source, 2, 1), (Bytes{4, 2, 1, 8, 6, 5, 0, 0}));
}

TEST_F(DepthTo24, TwentyFourBitsAreCopiedAsTheyStand) {
    Bytes source = MakeDib(3, 2, 24, 1234, 5678);
    for (std::size_t at = 40; at < source.size(); ++at)
        source[at] = static_cast<std::uint8_t>(at);
    PutU32(source, 20, 77);
    Block dib(source);
    EXPECT_EQ(Take(ConvertTo24BPPDIB(dib)), source); // resolution and padding included
}

TEST_F(DepthTo24, ACopyWithAColourTableIsCutToTheNewBlock) {
    Bytes source = MakeDib(2, 2, 24);
    source.insert(source.begin() + 40, 8, 0x77);
    PutU32(source, 32, 2);
    for (std::size_t at = 48; at < source.size(); ++at)
        source[at] = static_cast<std::uint8_t>(at);
    Block dib(source);
    EXPECT_EQ(Take(ConvertTo24BPPDIB(dib)), Slice(source, 0, 56)); // the last 8 bytes have no room
}

TEST_F(DepthTo24, ACopyOfACoreHeaderIsShorterThanItsBlock) {
    Bytes source = MakeCoreDib(2, 1, 24);
    Put(source, 12, {1, 2, 3, 4, 5, 6, 7, 8});
    Bytes expected = source;
    expected.resize(48);
    EXPECT_EQ(Take(ConvertTo24BPPDIB(Block(source))), expected);
}

TEST_F(DepthTo24, OtherDepthsGiveNothing) {
    for (const int bits : {0, 2, 3, 5, 12, 17, 25, 31, 33, 48, 64}) {
        Block dib(MakeDib(2, 2, bits));
        EXPECT_EQ(ConvertTo24BPPDIB(dib), nullptr) << bits;
        EXPECT_EQ(testhost::LiveBlocks(), 0) << bits;
    }
}

TEST_F(DepthTo24, EveryDepthAtOddAddresses) {
    for (const int bits : {1, 4, 8, 16, 24, 32}) {
        Bytes source = MakeDib(13, 3, bits);
        for (std::size_t at = 40; at < source.size(); ++at)
            source[at] = static_cast<std::uint8_t>(at * 37 + 11);
        const Bytes expected = Take(ConvertTo24BPPDIB(Block(source)));
        for (std::size_t tail = 1; tail < 4; ++tail) {
            Bytes moved = source;
            moved.resize(source.size() + tail);
            EXPECT_EQ(Take(ConvertTo24BPPDIB(Block(moved))), expected) << bits;
        }
    }
}

} // namespace

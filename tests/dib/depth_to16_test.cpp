// Conversion to 16 bits, depth by depth.
#include "tests/dib/colour_calls.h"
#include "tests/dib/dib_test.h"

using namespace dibtest;

namespace {

class DepthTo16 : public DibTest {};

// The converted pixels of all rows. Checks header and padding on the way.
std::vector<unsigned> Values(const Bytes& source, unsigned width, unsigned height) {
    Block dib(source);
    const Bytes result = Take(ConvertTo16BPPDIB(dib));
    EXPECT_TRUE(dib.Unchanged());
    EXPECT_EQ(Slice(result, 0, 40), PlainHeader(width, height, 16));
    const std::size_t stride = Stride(static_cast<int>(width), 16);
    EXPECT_EQ(result.size(), 40 + stride * height);
    std::vector<unsigned> values;
    for (std::size_t y = 0; y < height; ++y) {
        for (std::size_t x = 0; x < width; ++x)
            values.push_back(U16(result, 40 + y * stride + 2 * x));
        if (width % 2) {
            EXPECT_EQ(U16(result, 40 + y * stride + 2 * width), 0u);
        }
    }
    return values;
}

using List = std::vector<unsigned>;

TEST_F(DepthTo16, OneBitSelectsOneOfTwoColours) {
    Bytes source = MakeDib(9, 1, 1);
    SetEntry(source, 0, 255, 128, 7);
    SetEntry(source, 1, 8, 16, 24);
    Put(source, 48, {0x81, 0x80});
    EXPECT_EQ(Values(source, 9, 1), (List{3137, 543, 543, 543, 543, 543, 543, 3137, 3137}));
}

TEST_F(DepthTo16, FourBitsTakeTheHighNibbleFirst) {
    Bytes source = MakeDib(3, 2, 4);
    for (int i = 0; i < 16; ++i)
        SetEntry(source, i, 8 * i, 0, 0);
    Put(source, 104, {0x1F, 0x20, 0, 0, 0x34, 0x5A, 0, 0});
    EXPECT_EQ(Values(source, 3, 2), (List{1, 15, 2, 3, 4, 5}));
}

TEST_F(DepthTo16, MissingColoursAreBlack) {
    Bytes source = MakeDib(4, 1, 4);
    source.resize(40);
    PutU32(source, 32, 2);
    source = Join(source, {255, 255, 255, 99, 8, 8, 8, 99, 0x01, 0x2F, 0, 0});
    EXPECT_EQ(Values(source, 4, 1), (List{32767, 1057, 0, 0}));
    Bytes one = MakeDib(2, 1, 1);
    one.resize(40);
    PutU32(one, 32, 1);
    one = Join(one, {255, 255, 255, 99, 0x40, 0, 0, 0});
    EXPECT_EQ(Values(one, 2, 1), (List{32767, 0}));
}

TEST_F(DepthTo16, SurplusColoursAreSteppedOver) {
    Bytes source = MakeDib(2, 1, 4);
    source.resize(40);
    PutU32(source, 32, 40);
    source = Join(source, Bytes(160, 255));
    source = Join(source, {0xF0, 0, 0, 0});
    EXPECT_EQ(Values(source, 2, 1), (List{32767, 32767}));
}

TEST_F(DepthTo16, TablesAskForEveryColourOnce) {
    colourcalls::TakeCounts();
    Values(MakeDib(40, 5, 4), 40, 5);
    colourcalls::Counts counts = colourcalls::TakeCounts();
    EXPECT_EQ(counts.rgb, 16);
    EXPECT_EQ(counts.red, 16);
    EXPECT_EQ(counts.green, 16);
    EXPECT_EQ(counts.blue, 16);
    Values(MakeDib(40, 5, 1), 40, 5);
    counts = colourcalls::TakeCounts();
    EXPECT_EQ(counts.rgb, 2);
    EXPECT_EQ(counts.red, 2);
}

TEST_F(DepthTo16, EightBitsGoThroughALookupBlock) {
    Bytes source = MakeDib(3, 1, 8);
    SetEntry(source, 0, 255, 128, 7);
    SetEntry(source, 7, 8, 16, 24);
    SetEntry(source, 255, 255, 255, 255);
    Put(source, 1064, {0, 7, 255});
    testhost::ResetCounters();
    EXPECT_EQ(Values(source, 3, 1), (List{543, 3137, 32767}));
    EXPECT_EQ(testhost::Allocations(), 2);
    EXPECT_EQ(testhost::LastAllocationSize(), 512u);
}

TEST_F(DepthTo16, EightBitsOfACoreHeader) {
    Bytes source = MakeCoreDib(2, 1, 8);
    Put(source, 12, {255, 128, 7});
    Put(source, 12 + 3 * 255, {8, 16, 24});
    Put(source, 780, {255, 0, 0, 0});
    EXPECT_EQ(Values(source, 2, 1), (List{3137, 543}));
}

TEST_F(DepthTo16, EightBitIndexPastTheTableReadsTheRowsAndThenBlack) {
    Bytes source = MakeDib(4, 2, 8);
    source.resize(40);
    PutU32(source, 32, 1);
    // entry 0; rows: where entries 1 and 2 would stand; entry 3 would lie outside
    source = Join(source, {255, 255, 255, 99, 0, 1, 2, 3, 255, 128, 7, 1});
    EXPECT_EQ(Slice(Take(ConvertTo16BPPDIB(Block(source))), 40, 8), (Bytes{0xFF, 0x7F, 0, 0, 0x1F, 0x02, 0, 0}));
}

TEST_F(DepthTo16, EightBitsWithMoreThan256Colours) {
    Bytes source = MakeDib(2, 1, 8);
    source.resize(40);
    PutU32(source, 32, 300);
    source = Join(source, Bytes(1200, 255));
    source = Join(source, {0, 255, 0, 0});
    EXPECT_EQ(Values(source, 2, 1), (List{32767, 32767}));
    EXPECT_EQ(testhost::LastAllocationSize(), 600u);
}

TEST_F(DepthTo16, EightBitsWithoutAnyColour) {
    Bytes source = MakeDib(4, 1, 8);
    source.resize(40);
    PutU32(source, 32, 65536); // kept to 16 bits: none
    source = Join(source, {0, 1, 2, 3});
    EXPECT_EQ(Values(source, 4, 1), (List{0, 0, 0, 0})); // entry 0 is the row itself: 0, 1, 2
    EXPECT_EQ(testhost::LastAllocationSize(), 0u);
}

TEST_F(DepthTo16, TwentyFourBitsKeepTheTopFive) {
    Bytes source = MakeDib(3, 1, 24);
    Put(source, 40, {255, 128, 7, 255, 255, 255, 7, 7, 7});
    EXPECT_EQ(Values(source, 3, 1), (List{543, 32767, 0}));
}

TEST_F(DepthTo16, ThirtyTwoBitsKeepTheTopFive) {
    Bytes source = MakeDib(2, 2, 32);
    Put(source, 40, {255, 128, 7, 99, 8, 16, 24, 99, 0, 0, 255, 99, 0, 255, 0, 99});
    EXPECT_EQ(Values(source, 2, 2), (List{543, 3137, 31744, 992}));
}

TEST_F(DepthTo16, ThirtyTwoBitFieldsRepeatRedAsBlue) {
    Bytes source = MakeMaskedDib(1, 1, 32, 16711680, 65280, 255);
    PutU32(source, 52, 16744512); // red 255, green 128, blue 64
    EXPECT_EQ(Values(source, 1, 1), (List{32287}));
}

TEST_F(DepthTo16, ThirtyTwoBitFieldsUseTheMasks) {
    Bytes source = MakeMaskedDib(2, 1, 32, 0x000000FF, 0x3FF00000, 0);
    PutU32(source, 52, 0x3FF00010); // red 16, green full
    PutU32(source, 56, 0xC00FFFF8); // red 248, green nothing
    EXPECT_EQ(Values(source, 2, 1), (List{2 * 1024 + 31 * 32 + 2, 31 * 1024 + 31}));
}

TEST_F(DepthTo16, ThirtyTwoBitFieldsWithoutMasksAreBlack) {
    Bytes source = MakeMaskedDib(1, 1, 32, 0, 0, 0);
    PutU32(source, 52, 0xFFFFFFFF);
    EXPECT_EQ(Values(source, 1, 1), (List{0}));
}

TEST_F(DepthTo16, SixteenBitsAreCopiedAsTheyStand) {
    Bytes source = MakeDib(3, 2, 16, 1234, 5678);
    for (std::size_t at = 40; at < source.size(); ++at)
        source[at] = static_cast<std::uint8_t>(at * 5);
    EXPECT_EQ(Take(ConvertTo16BPPDIB(Block(source))), source);
}

TEST_F(DepthTo16, SixteenBitFieldsKeepTheirHeaderAndLoseTheLastTwelveBytes) {
    Bytes source = MakeMaskedDib(2, 5, 16, 0xF800, 0x07E0, 0x001F);
    for (std::size_t at = 52; at < source.size(); ++at)
        source[at] = static_cast<std::uint8_t>(at);
    const Bytes result = Take(ConvertTo16BPPDIB(Block(source)));
    EXPECT_EQ(result, Slice(source, 0, 60)); // header, masks and two of five rows
    EXPECT_EQ(U32(result, 16), 3u);
}

TEST_F(DepthTo16, OtherDepthsGiveNothing) {
    for (const int bits : {0, 2, 3, 5, 12, 17, 25, 31, 33, 48, 64}) {
        Block dib(MakeDib(2, 2, bits));
        EXPECT_EQ(ConvertTo16BPPDIB(dib), nullptr) << bits;
        EXPECT_EQ(testhost::LiveBlocks(), 0) << bits;
    }
}

TEST_F(DepthTo16, EveryDepthAtOddAddresses) {
    for (const int bits : {1, 4, 8, 16, 24, 32}) {
        Bytes source = MakeDib(13, 3, bits);
        for (std::size_t at = 40; at < source.size(); ++at)
            source[at] = static_cast<std::uint8_t>(at * 37 + 11);
        const Bytes expected = Take(ConvertTo16BPPDIB(Block(source)));
        for (std::size_t tail = 1; tail < 4; ++tail) {
            Bytes moved = source;
            moved.resize(source.size() + tail);
            EXPECT_EQ(Take(ConvertTo16BPPDIB(Block(moved))), expected) << bits;
        }
    }
}

} // namespace

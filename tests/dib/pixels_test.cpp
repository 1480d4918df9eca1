// Colours, colour-table entries, palette pixels, masks and shifts.
#include "tests/dib/dib_test.h"

#include <sys/mman.h>

using namespace dibtest;

namespace {

class Pixels : public DibTest {};

constexpr unsigned OutsideTheTable = 4278190080u;

TEST_F(Pixels, CompareLooksAtThreeChannels) {
    const tagRGBQUAD quad{10, 20, 30, 99};
    EXPECT_EQ(CompareRGBQUAD(quad, 30, 20, 10), 1);
    EXPECT_EQ(CompareRGBQUAD(quad, 31, 20, 10), 0);
    EXPECT_EQ(CompareRGBQUAD(quad, 30, 21, 10), 0);
    EXPECT_EQ(CompareRGBQUAD(quad, 30, 20, 11), 0);
    EXPECT_EQ(CompareRGB(quad, 0x0A141E), 1);
    EXPECT_EQ(CompareRGB(quad, 0xFF0A141E), 1); // the top byte is no channel
    EXPECT_EQ(CompareRGB(quad, 0x0A141F), 0);
    const tagRGBTRIPLE triple{10, 20, 30};
    EXPECT_EQ(CompareRGBTRIPLE(triple, 30, 20, 10), 1);
    EXPECT_EQ(CompareRGBTRIPLE(triple, 31, 20, 10), 0);
    EXPECT_EQ(CompareRGBTRIPLE(triple, 30, 21, 10), 0);
    EXPECT_EQ(CompareRGBTRIPLE(triple, 30, 20, 11), 0);
    EXPECT_EQ(CompareRGBT(triple, 0x0A141E), 1);
    EXPECT_EQ(CompareRGBT(triple, 0x0B141E), 0);
}

TEST_F(Pixels, CopyLeavesTheReservedByte) {
    tagRGBQUAD quad{1, 2, 3, 99};
    CopyRGB(&quad, 0xFF0A141E);
    EXPECT_EQ(quad.rgbBlue, 10);
    EXPECT_EQ(quad.rgbGreen, 20);
    EXPECT_EQ(quad.rgbRed, 30);
    EXPECT_EQ(quad.rgbReserved, 99);
    tagRGBTRIPLE triple{1, 2, 3};
    CopyRGBT(&triple, 0x0A141E);
    EXPECT_EQ(triple.rgbtBlue, 10);
    EXPECT_EQ(triple.rgbtGreen, 20);
    EXPECT_EQ(triple.rgbtRed, 30);
}

TEST_F(Pixels, IndexColorReadsBothTables) {
    Bytes info = MakeDib(1, 1, 8);
    SetEntry(info, 255, 10, 20, 30);
    info[40 + 4 * 255 + 3] = 99; // reserved, not part of the colour
    EXPECT_EQ(GetIndexColor(Block(info), 255), 0x0A141Eu);
    Bytes core = MakeCoreDib(1, 1, 4);
    Put(core, 12 + 45, {10, 20, 30});
    EXPECT_EQ(GetIndexColor(Block(core), 15), 0x0A141Eu);
}

TEST_F(Pixels, IndexColorOutsideTheTable) {
    Block dib(MakeDib(1, 1, 8));
    EXPECT_EQ(GetIndexColor(dib, -1), OutsideTheTable);
    EXPECT_EQ(GetIndexColor(dib, 256), OutsideTheTable);
    EXPECT_EQ(GetIndexColor(dib, 255), 0u);
    EXPECT_EQ(GetIndexColor(dib, -2147483647 - 1), OutsideTheTable);
    Bytes five = MakeDib(1, 1, 8);
    PutU32(five, 32, 5);
    EXPECT_EQ(GetIndexColor(Block(five), 4), 0u);
    EXPECT_EQ(GetIndexColor(Block(five), 5), OutsideTheTable);
    EXPECT_EQ(GetIndexColor(Block(MakeDib(1, 1, 24)), 0), OutsideTheTable);
}

TEST_F(Pixels, SetIndexColorWritesBothTables) {
    Bytes info = MakeDib(1, 1, 1);
    Put(info, 40, {1, 2, 3, 99, 4, 5, 6, 98});
    Block dib(info);
    SetIndexColor(dib, 1, 0xFF0A141E);
    EXPECT_EQ(Slice(dib.Now(), 40, 8), (Bytes{1, 2, 3, 99, 10, 20, 30, 98}));
    Block core(MakeCoreDib(1, 1, 1));
    SetIndexColor(core, 1, 0x0A141E);
    EXPECT_EQ(Slice(core.Now(), 12, 6), (Bytes{0, 0, 0, 10, 20, 30}));
}

TEST_F(Pixels, SetIndexColorOutsideTheTableWritesNothing) {
    Block dib(MakeDib(1, 1, 1));
    SetIndexColor(dib, 2, 0x0A141E);
    SetIndexColor(dib, -1, 0x0A141E);
    EXPECT_TRUE(dib.Unchanged());
}

TEST_F(Pixels, ColorIndexIsTheFirstMatch) {
    Bytes bytes = MakeDib(1, 1, 8);
    SetEntry(bytes, 7, 10, 20, 30);
    SetEntry(bytes, 9, 10, 20, 30);
    Block dib(bytes);
    EXPECT_EQ(GetColorIndex(dib, 0x0A141E), 7);
    EXPECT_EQ(GetColorIndex(dib, 0), 0);
    EXPECT_EQ(GetColorIndex(dib, 0x0A141F), -1);
    EXPECT_EQ(GetColorIndex(dib, 0x010A141E), -1); // a top byte never matches
    EXPECT_EQ(GetColorIndex(Block(MakeDib(1, 1, 24)), 0), -1);
}

TEST_F(Pixels, ColorIndexOfACoreHeader) {
    Bytes core = MakeCoreDib(1, 1, 4);
    Put(core, 12 + 45, {10, 20, 30});
    EXPECT_EQ(GetColorIndex(Block(core), 0x0A141E), 15);
}

TEST_F(Pixels, BitIndexReadsStoredRows) {
    Bytes eight = MakeDib(5, 2, 8); // stride 8
    Put(eight, 1064, {1, 2, 3, 4, 5, 0, 0, 0, 6, 7, 8, 9, 200});
    EXPECT_EQ(GetBitIndex(Block(eight), 0, 0), 1);
    EXPECT_EQ(GetBitIndex(Block(eight), 4, 1), 200);
    Bytes four = MakeDib(9, 2, 4); // stride 8
    Put(four, 104 + 8, {0x12, 0x34, 0x56, 0x78, 0x90});
    EXPECT_EQ(GetBitIndex(Block(four), 0, 1), 1);
    EXPECT_EQ(GetBitIndex(Block(four), 1, 1), 2);
    EXPECT_EQ(GetBitIndex(Block(four), 8, 1), 9);
    Bytes one = MakeDib(33, 2, 1); // stride 8
    Put(one, 48 + 8, {0x80, 0x01, 0, 0, 0x80});
    EXPECT_EQ(GetBitIndex(Block(one), 0, 1), 1);
    EXPECT_EQ(GetBitIndex(Block(one), 1, 1), 0);
    EXPECT_EQ(GetBitIndex(Block(one), 15, 1), 1);
    EXPECT_EQ(GetBitIndex(Block(one), 32, 1), 1);
    EXPECT_EQ(GetBitIndex(Block(one), 32, 0), 0);
}

TEST_F(Pixels, BitIndexOfACoreHeader) {
    Bytes core = MakeCoreDib(3, 1, 8);
    core[780 + 2] = 44;
    EXPECT_EQ(GetBitIndex(Block(core), 2, 0), 44);
}

TEST_F(Pixels, BitIndexTakesNegativeCoordinatesAsTheyAre) {
    Bytes eight = MakeDib(4, 2, 8);
    Put(eight, 1064, {1, 2, 3, 4, 5, 6, 7, 8});
    Block dib(eight);
    EXPECT_EQ(GetBitIndex(dib, -1, 1), 4);
    dib[1063] = 17;
    EXPECT_EQ(GetBitIndex(dib, -1, 0), 17);
    EXPECT_EQ(GetBitIndex(dib, 5, -1), 2); // row -1 begins 4 bytes before row 0
    Bytes four = MakeDib(8, 1, 4);
    four[104] = 0x12;
    EXPECT_EQ(GetBitIndex(Block(four), -1, 0), 2); // -1 / 2 is 0: the low nibble of byte 0
}

TEST_F(Pixels, RowsOfANegativeWidthCountDownwardsOrNotAtAll) {
    // (-4 * 8 + 31) / 32 is 0 words, (-8 * 8 + 31) / 32 is -1 word, rounded towards zero
    Bytes eight = MakeDib(4, 3, 8);
    Put(eight, 1064, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12});
    PutU32(eight, 4, static_cast<std::uint32_t>(-4));
    Block flat(eight);
    EXPECT_EQ(GetBitIndex(flat, 1, 0), 2);
    EXPECT_EQ(GetBitIndex(flat, 1, 2), 2);
    PutU32(eight, 4, static_cast<std::uint32_t>(-8));
    Block falling(eight);
    EXPECT_EQ(GetBitIndex(falling, 10, 0), 11);
    EXPECT_EQ(GetBitIndex(falling, 10, 1), 7);
    EXPECT_EQ(GetBitIndex(falling, 10, 2), 3);
    SetBitIndex(falling, 9, 2, 99);
    EXPECT_EQ(falling.Now()[1065], 99);
}

TEST_F(Pixels, ABitOfANegativeColumnIsThatOfTheUnsignedNumber) {
    // Column -8 is 4294967288: bit 7 of byte 536870911 of the row. Only the pages used are there.
    constexpr std::size_t InRow = 0x1FFFFFFF;
    constexpr std::size_t Page = 4096;
    const Bytes header = MakeDib(8, 1, 1);
    const std::size_t room = (48 + InRow) / Page * Page + Page;
    void* const map = mmap(nullptr, room, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    ASSERT_NE(map, MAP_FAILED);
    auto* const dib = static_cast<unsigned char*>(map);
    ASSERT_EQ(mprotect(dib, Page, PROT_READ | PROT_WRITE), 0);
    ASSERT_EQ(mprotect(dib + room - Page, Page, PROT_READ | PROT_WRITE), 0);
    std::copy(header.begin(), header.end(), dib);
    EXPECT_EQ(GetBitIndex(dib, -8, 0), 0);
    dib[48 + InRow] = 0x80;
    EXPECT_EQ(GetBitIndex(dib, -8, 0), 1);
    EXPECT_EQ(GetBitIndex(dib, -7, 0), 0);
    SetBitIndex(dib, -3, 0, 1); // bit 2 and the two behind it
    EXPECT_EQ(dib[48 + InRow], 0x87);
    munmap(map, room);
}

TEST_F(Pixels, BitIndexKnowsIndexedDepthsOnly) {
    for (const int bits : {0, 2, 3, 16, 24, 32})
        EXPECT_EQ(GetBitIndex(Block(MakeDib(4, 1, bits)), 0, 0), -1) << bits;
}

TEST_F(Pixels, SetBitIndexStoresTheLowByteAtEightBits) {
    Bytes bytes = MakeDib(5, 2, 8);
    Block dib(bytes);
    SetBitIndex(dib, 3, 1, 0x1234);
    bytes[1064 + 8 + 3] = 0x34;
    EXPECT_EQ(dib.Now(), bytes);
}

TEST_F(Pixels, SetBitIndexMergesNibbles) {
    Bytes bytes = MakeDib(4, 1, 4);
    bytes[104] = 80;
    Block dib(bytes);
    SetBitIndex(dib, 0, 0, 3);
    EXPECT_EQ(dib.Now()[104], 112); // not 48
    SetBitIndex(dib, 1, 0, 0x8A);   // only the low four bits of the index
    EXPECT_EQ(dib.Now()[104], 0x7A);
    SetBitIndex(dib, 3, 0, 5);
    EXPECT_EQ(dib.Now()[105], 0x05);
}

TEST_F(Pixels, SetBitIndexOfOneBitCoversThreeFollowingPixels) {
    Block dib(MakeDib(16, 1, 1));
    SetBitIndex(dib, 2, 0, 1);
    EXPECT_EQ(dib.Now()[48], 60);
    SetBitIndex(dib, 3, 0, 0);
    EXPECT_EQ(dib.Now()[48], 32);
}

TEST_F(Pixels, SetBitIndexOfOneBitStaysInItsByte) {
    Block dib(MakeDib(16, 1, 1));
    SetBitIndex(dib, 6, 0, 3); // odd: set
    EXPECT_EQ(dib.Now()[48], 0x03);
    EXPECT_EQ(dib.Now()[49], 0);
    SetBitIndex(dib, 7, 0, 2); // even: cleared
    EXPECT_EQ(dib.Now()[48], 0x02);
    SetBitIndex(dib, 8, 0, 1);
    EXPECT_EQ(dib.Now()[48], 0x02);
    EXPECT_EQ(dib.Now()[49], 0xF0);
}

TEST_F(Pixels, WritingOneBitFromLeftToRightGivesTheRow) {
    const int row[] = {1, 0, 0, 1, 1, 1, 0, 1, 0, 0, 1, 0, 1, 0, 1, 1};
    Block dib(MakeDib(16, 1, 1));
    for (int x = 0; x < 16; ++x)
        SetBitIndex(dib, x, 0, static_cast<unsigned short>(row[x]));
    EXPECT_EQ(dib.Now()[48], 0x9D);
    EXPECT_EQ(dib.Now()[49], 0x2B);
}

TEST_F(Pixels, SetBitIndexLeavesOtherDepthsAlone) {
    for (const int bits : {0, 2, 3, 5, 7, 16, 24, 32}) {
        Block dib(MakeDib(4, 1, bits));
        SetBitIndex(dib, 0, 0, 0xFFFF);
        EXPECT_TRUE(dib.Unchanged()) << bits;
    }
}

TEST_F(Pixels, MaskReadsBitFields) {
    for (const int bits : {16, 32}) {
        unsigned red = 1, green = 1, blue = 1;
        EXPECT_EQ(DIBMask(Block(MakeMaskedDib(1, 1, bits, 0xF800, 0x07E0, 0x001F)), red, green, blue), 1);
        EXPECT_EQ(red, 0xF800u);
        EXPECT_EQ(green, 0x07E0u);
        EXPECT_EQ(blue, 0x001Fu);
    }
}

TEST_F(Pixels, MaskOfOtherDibsIsZero) {
    Bytes deep = MakeMaskedDib(1, 1, 24, 1, 2, 4);
    Bytes plain = MakeDib(9, 9, 16);
    Bytes above = MakeMaskedDib(1, 1, 16, 1, 2, 4);
    PutU32(above, 16, 4);
    Bytes wide = above; // 3 in the low half of the code alone
    PutU32(wide, 16, 0x10003);
    std::vector<Bytes> others{deep, plain, above, wide};
    for (const int bits : {0, 1, 4, 8, 15, 17, 31, 33, 64})
        others.push_back(MakeMaskedDib(1, 1, bits, 1, 2, 4));
    for (const Bytes& bytes : others) {
        unsigned red = 1, green = 1, blue = 1;
        EXPECT_EQ(DIBMask(Block(bytes), red, green, blue), 0);
        EXPECT_EQ(red, 0u);
        EXPECT_EQ(green, 0u);
        EXPECT_EQ(blue, 0u);
    }
}

TEST_F(Pixels, MaskDoesNotLookAtTheHeaderSize) {
    Bytes bytes = MakeMaskedDib(1, 1, 32, 0xFF0000, 0xFF00, 0xFF);
    PutU32(bytes, 0, 108);
    unsigned red = 0, green = 0, blue = 0;
    EXPECT_EQ(DIBMask(Block(bytes), red, green, blue), 1);
    EXPECT_EQ(red, 0xFF0000u);
    EXPECT_EQ(green, 0xFF00u);
    EXPECT_EQ(blue, 0xFFu);
}

TEST_F(Pixels, Shifts) {
    const struct {
        unsigned mask;
        int right;
        int left;
    } cases[] = {
        {31744, 10, 3},
        {2016, 5, 2},
        {255, 0, 0},
        {16711680, 16, 0},
        {1047552, 12, 0},
        {0, 32, 8},
        {1, 0, 7},
        {0x80000000u, 31, 7},
        {0xFFFFFFFFu, 24, 0},
        {0xFF000000u, 24, 0},
        {0xFF800000u, 24, 0},
        {0x1FF, 1, 0},
        {0xF0F0, 4, 4}, // the lowest group of bits decides
        {0x7F, 0, 1},
        {0xC0000000u, 30, 6},
    };
    for (const auto& c : cases) {
        unsigned short left = 99, right = 99;
        GetShifts(c.mask, left, right);
        EXPECT_EQ(right, c.right) << c.mask;
        EXPECT_EQ(left, c.left) << c.mask;
    }
}

} // namespace

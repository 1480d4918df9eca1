// Header arithmetic: sizes, counts and addresses read from a packed DIB.
#include "tests/dib/dib_test.h"

using namespace dibtest;

namespace {

class Header : public DibTest {};

TEST_F(Header, InfoHeaderFieldsAreSigned) {
    Block dib(MakeDib(-7, -3, 1));
    EXPECT_EQ(DIBWidth(dib), -7);
    EXPECT_EQ(DIBHeight(dib), -3);
    EXPECT_EQ(DIBBitCount(dib), 1);
}

TEST_F(Header, CoreHeaderFieldsAreUnsigned) {
    Bytes bytes(12);
    PutU32(bytes, 0, 12);
    PutU16(bytes, 4, 65535);
    PutU16(bytes, 6, 65534);
    PutU16(bytes, 10, 24);
    Block dib(bytes);
    EXPECT_EQ(DIBWidth(dib), 65535);
    EXPECT_EQ(DIBHeight(dib), 65534);
    EXPECT_EQ(DIBBitCount(dib), 24);
}

TEST_F(Header, EverySizeButFortyIsReadAsCore) {
    for (const std::uint32_t size : {0u, 12u, 16u, 39u, 41u, 64u, 108u, 124u, 40u + 65536u}) {
        Bytes bytes = MakeDib(300, 200, 8);
        PutU32(bytes, 0, size);
        Block dib(bytes);
        EXPECT_EQ(DIBWidth(dib), 300) << size;  // low half of the info header's width
        EXPECT_EQ(DIBHeight(dib), 0) << size;   // its high half
        EXPECT_EQ(DIBBitCount(dib), 0) << size; // high half of the info header's height
        EXPECT_EQ(DIBNumColors(dib), 0) << size;
        EXPECT_EQ(DIBBits(dib), dib + size) << size;
        EXPECT_EQ(DIBSize(dib), size) << size; // the size word itself, not the 12 bytes read
    }
}

TEST_F(Header, DefaultColourCounts) {
    for (int bits = 0; bits <= 64; ++bits) {
        const int expected = bits == 1 ? 2 : bits == 4 ? 16 : bits == 8 ? 256 : 0;
        Block dib(MakeDib(1, 1, bits));
        EXPECT_EQ(DIBNumColors(dib), expected) << bits;
        EXPECT_EQ(PaletteSize(dib), expected * 4) << bits;
        Block core(MakeCoreDib(1, 1, bits));
        EXPECT_EQ(DIBNumColors(core), expected) << bits;
        EXPECT_EQ(PaletteSize(core), expected * 3) << bits;
    }
}

TEST_F(Header, EightBitsWithoutColoursUsedHave256Colours) {
    Block dib(MakeDib(1, 1, 8));
    EXPECT_EQ(DIBNumColors(dib), 256);
    EXPECT_EQ(PaletteSize(dib), 1024);
}

TEST_F(Header, ColoursUsedReplacesTheDefaultAtEveryDepth) {
    for (const int bits : {1, 4, 8, 16, 24, 32}) {
        Bytes bytes = MakeDib(1, 1, bits);
        PutU32(bytes, 32, 5);
        Block dib(bytes);
        EXPECT_EQ(DIBNumColors(dib), 5) << bits;
        EXPECT_EQ(PaletteSize(dib), 20) << bits;
        EXPECT_EQ(DIBBits(dib), dib + 60) << bits;
    }
}

TEST_F(Header, ColoursUsedKeepsSixteenBits) {
    Bytes bytes = MakeDib(1, 1, 8);
    PutU32(bytes, 32, 65536 + 7);
    Block seven(bytes);
    EXPECT_EQ(DIBNumColors(seven), 7);
    EXPECT_EQ(PaletteSize(seven), 28);
    PutU32(bytes, 32, 65536);
    Block none(bytes);
    EXPECT_EQ(DIBNumColors(none), 0);
    EXPECT_EQ(PaletteSize(none), 0);
    EXPECT_EQ(DIBBits(none), none + 40);
}

TEST_F(Header, PaletteSizeKeepsSixteenBits) {
    Bytes bytes = MakeDib(1, 1, 8);
    PutU32(bytes, 32, 16384 + 3);
    Block dib(bytes);
    EXPECT_EQ(DIBNumColors(dib), 16387);
    EXPECT_EQ(PaletteSize(dib), 12);
    EXPECT_EQ(DIBBits(dib), dib + 52);
}

TEST_F(Header, BitsOfABitFieldDibAreItsMasks) {
    Block dib(MakeMaskedDib(4, 4, 16, 0xF800, 0x07E0, 0x001F));
    EXPECT_EQ(PaletteSize(dib), 0);
    EXPECT_EQ(DIBBits(dib), dib + 40);
}

TEST_F(Header, CoreHeaderPixelsFollowThreeByteEntries) {
    Block dib(MakeCoreDib(5, 5, 8));
    EXPECT_EQ(PaletteSize(dib), 768);
    EXPECT_EQ(DIBBits(dib), dib + 780);
}

TEST_F(Header, SizeCountsHeaderTableAndRows) {
    EXPECT_EQ(DIBSize(Block(MakeDib(10, 3, 24))), 136u);
    EXPECT_EQ(DIBSize(Block(MakeDib(10, 3, 8))), 1100u);
    EXPECT_EQ(DIBSize(Block(MakeDib(33, 2, 1))), 40u + 8 + 2 * 8);
    EXPECT_EQ(DIBSize(Block(MakeCoreDib(10, 3, 8))), 12u + 768 + 36);
    EXPECT_EQ(DIBSize(Block(MakeMaskedDib(2, 2, 32, 1, 2, 4))), 40u + 16); // the masks are left out
}

TEST_F(Header, SizeIgnoresTheImageSizeField) {
    Bytes bytes = MakeDib(10, 3, 24);
    PutU32(bytes, 20, 7);
    EXPECT_EQ(DIBSize(Block(bytes)), 136u);
}

TEST_F(Header, SizeOfATopDownDibIsTooSmall) {
    EXPECT_EQ(DIBSize(Block(MakeDib(10, -3, 8))), 40u + 1024 - 36);
    EXPECT_EQ(DIBSize(Block(MakeDib(10, -3, 24))), 4294967240u); // 40 - 96
}

TEST_F(Header, SizeDividesANegativeWidthTowardsZero) {
    // (-100 * 24 + 31) / 32 = -74 words
    Bytes bytes = MakeDib(1, 1, 24);
    PutU32(bytes, 4, static_cast<std::uint32_t>(-100));
    EXPECT_EQ(DIBSize(Block(bytes)), 4294967040u); // 40 - 296
    PutU32(bytes, 4, static_cast<std::uint32_t>(-1));
    EXPECT_EQ(DIBSize(Block(bytes)), 40u);
}

TEST_F(Header, SizeWrapsAt32Bits) {
    Bytes bytes = MakeDib(1, 1, 32);
    PutU32(bytes, 4, 0x10000);
    PutU32(bytes, 8, 0x10000);
    EXPECT_EQ(DIBSize(Block(bytes)), 40u);
    PutU32(bytes, 4, 0x08000000); // the row alone leaves 32 bits
    PutU32(bytes, 8, 1);
    EXPECT_EQ(DIBSize(Block(bytes)), 40u);
}

TEST_F(Header, IsReadAtAnyAddress) {
    for (std::size_t tail = 0; tail < 4; ++tail) {
        Bytes bytes = MakeDib(10, 3, 8);
        bytes.resize(bytes.size() + tail);
        Block dib(bytes);
        EXPECT_EQ(DIBWidth(dib), 10);
        EXPECT_EQ(DIBHeight(dib), 3);
        EXPECT_EQ(DIBBitCount(dib), 8);
        EXPECT_EQ(DIBSize(dib), 1100u);
        EXPECT_EQ(DIBBits(dib), dib + 1064);
    }
}

} // namespace

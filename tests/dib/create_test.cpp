// Making DIBs, filling headers, copying colour tables, making palettes.
#include "tests/dib/colour_calls.h"
#include "tests/dib/dib_test.h"

using namespace dibtest;

namespace {

class Create : public DibTest {};
class Colors : public DibTest {};
class Palette : public DibTest {};

std::size_t CreatedSize(unsigned width, unsigned height, unsigned short bits) {
    return Take(CreateDIB(width, height, bits)).size();
}

TEST_F(Create, AllocatesHeaderTableAndRows) {
    EXPECT_EQ(CreatedSize(10, 3, 24), 136u);
    EXPECT_EQ(CreatedSize(10, 3, 8), 1100u);
    EXPECT_EQ(CreatedSize(1, 1, 1), 52u);
    EXPECT_EQ(CreatedSize(9, 2, 4), 40u + 64 + 2 * 8);
    EXPECT_EQ(CreatedSize(3, 2, 16), 40u + 2 * 8);
    EXPECT_EQ(CreatedSize(3, 2, 32), 40u + 2 * 12);
}

TEST_F(Create, WritesThePlainHeaderAndLeavesTheRestZero) {
    Bytes expected = PlainHeader(10, 3, 8);
    expected.resize(1100);
    EXPECT_EQ(Take(CreateDIB(10, 3, 8)), expected);
}

TEST_F(Create, ChoosesTheStoredDepth) {
    for (unsigned bits = 0; bits <= 65535; bits = bits < 70 ? bits + 1 : bits * 3) {
        unsigned expected = 24;
        if (bits <= 1)
            expected = 1;
        else if (bits <= 4)
            expected = 4;
        else if (bits <= 8)
            expected = 8;
        else if (bits <= 16)
            expected = 16;
        else if (bits >= 25 && bits <= 32)
            expected = bits;
        EXPECT_EQ(U16(Take(CreateDIB(5, 2, static_cast<unsigned short>(bits))), 14), expected) << bits;
    }
}

TEST_F(Create, TwentyBitsBecome24) { EXPECT_EQ(U16(Take(CreateDIB(5, 2, 20)), 14), 24u); }

TEST_F(Create, TwentyFiveBitsAreKept) {
    const Bytes dib = Take(CreateDIB(5, 2, 25));
    EXPECT_EQ(U16(dib, 14), 25u);
    EXPECT_EQ(dib.size(), 40u + 2 * 16); // 125 bits per row
}

TEST_F(Create, ThirtyThreeBitsBecome24) { EXPECT_EQ(U16(Take(CreateDIB(5, 2, 33)), 14), 24u); }

TEST_F(Create, RefusesAnEmptyPicture) {
    EXPECT_EQ(CreateDIB(0, 3, 24), nullptr);
    EXPECT_EQ(CreateDIB(10, 0, 24), nullptr);
    EXPECT_EQ(testhost::Allocations(), 0);
}

TEST_F(Create, RefusesASizeThatLeaves32Bits) {
    EXPECT_EQ(CreateDIB(0x10000, 0x10000, 32), nullptr); // would wrap to a header alone
    EXPECT_EQ(CreateDIB(0x08000000, 8, 32), nullptr);    // its row alone leaves 32 bits, counted in bits
    EXPECT_EQ(CreateDIB(0x40000000, 4, 8), nullptr);
    EXPECT_EQ(CreateDIB(0xFFFFFFFF, 0x7FFFFFFF, 32), nullptr);
    EXPECT_EQ(CreateDIB(0xFFFFFFFF, 1, 8), nullptr);
    EXPECT_EQ(CreateDIB(4, 1073741814, 8), nullptr); // 1064 bytes and 4 * 1073741814: 2^32 + 1024
    EXPECT_EQ(CreateDIB(4, 1073741558, 8), nullptr); // exactly 2^32
    EXPECT_EQ(testhost::Allocations(), 0);
}

TEST_F(Create, AsksForTheLargestSizeThatFits) {
    EXPECT_EQ(CreateDIB(4, 1073741557, 8), nullptr); // this host has no such block
    EXPECT_EQ(testhost::Allocations(), 1);
    EXPECT_EQ(testhost::LastAllocationSize(), 4294967292u);
}

TEST_F(Create, AWidthIsUnsigned) {
    testhost::SetLargestBlock(1024);
    EXPECT_EQ(CreateDIB(0x80000000u, 1, 1), nullptr); // more than this host has
    EXPECT_EQ(testhost::LastAllocationSize(), 268435456u + 48);
    EXPECT_EQ(CreateDIB(0x08000000, 1, 32), nullptr); // a row of 2^32 bits is no row of 0
    EXPECT_EQ(testhost::LastAllocationSize(), 536870912u + 40);
}

TEST_F(Create, ANegativeHeightWrapsTheSize) {
    EXPECT_EQ(CreateDIB(10, static_cast<unsigned>(-3), 24), nullptr);
    EXPECT_EQ(testhost::LastAllocationSize(), 4294967240u);                 // 40 - 96
    const Bytes shorter = Take(CreateDIB(4, static_cast<unsigned>(-1), 8)); // 1064 - 4
    EXPECT_EQ(shorter.size(), 1060u);
    EXPECT_EQ(Slice(shorter, 0, 40), PlainHeader(4, 0xFFFFFFFF, 8));
}

TEST_F(Create, AWrappedSizeKeepsRoomForTheHeader) {
    EXPECT_EQ(CreatedSize(4, static_cast<unsigned>(-256), 8), 40u);   // the whole table is gone
    EXPECT_EQ(CreateDIB(4, static_cast<unsigned>(-257), 8), nullptr); // 36 bytes
    EXPECT_EQ(CreateDIB(4, static_cast<unsigned>(-266), 8), nullptr); // no byte
    EXPECT_EQ(CreatedSize(4, 0x80000000u, 8), 1064u);                 // 4 * 2^31 wraps to nothing
    EXPECT_EQ(CreatedSize(0x08000000u, 0xFFFFFFFFu, 32), 40u);        // the row wraps to nothing
}

TEST_F(Create, FailsWithoutMemory) {
    testhost::FailAllocation(1);
    EXPECT_EQ(CreateDIB(10, 3, 24), nullptr);
}

TEST_F(Create, FreesABlockThatCannotBeLocked) {
    testhost::FailLock(1);
    EXPECT_EQ(CreateDIB(10, 3, 24), nullptr);
    EXPECT_EQ(testhost::Allocations(), 1);
    EXPECT_EQ(testhost::LiveBlocks(), 0);
}

TEST_F(Create, SetFillsAHeaderInPlace) {
    Block header(Bytes(41, 0xCC)); // at an odd address
    SetDIB(header, 10, static_cast<unsigned>(-3), 8);
    EXPECT_EQ(header.Now(), Join(PlainHeader(10, 0xFFFFFFFD, 8), Bytes{0xCC}));
}

TEST_F(Create, SetChoosesDepthsByItsOwnRule) {
    for (unsigned bits = 0; bits <= 65535; bits = bits < 70 ? bits + 1 : bits * 3) {
        const unsigned expected = bits <= 1 ? 1 : bits <= 4 ? 4 : bits <= 8 ? 8 : bits <= 24 ? 24 : 4;
        Block header(Bytes(40));
        SetDIB(header, 1, 1, static_cast<unsigned short>(bits));
        EXPECT_EQ(U16(header.Now(), 14), expected) << bits;
    }
}

TEST_F(Create, SetStoresSixteenBitsAs24And32As4) {
    Block header(Bytes(40));
    SetDIB(header, 1, 1, 16);
    EXPECT_EQ(U16(header.Now(), 14), 24u);
    SetDIB(header, 1, 1, 32);
    EXPECT_EQ(U16(header.Now(), 14), 4u);
}

TEST_F(Colors, CopyTheSmallerCount) {
    Bytes source = MakeDib(1, 1, 4);
    for (int i = 0; i < 16; ++i)
        SetEntry(source, i, i + 1, i + 2, i + 3);
    source[43] = 99; // the reserved byte of entry 0
    Bytes target = MakeDib(1, 1, 4);
    PutU32(target, 32, 3);
    Block src(source);
    Block dst(target);
    CopyColorTable(src, dst);
    Bytes expected = target;
    Put(expected, 40, {1, 2, 3, 99, 2, 3, 4, 0, 3, 4, 5, 0});
    EXPECT_EQ(dst.Now(), expected);
    EXPECT_TRUE(src.Unchanged());
}

TEST_F(Colors, CopyMoreThan256) {
    Bytes source = MakeDib(1, 1, 24);
    source.insert(source.begin() + 40, 300 * 4, 0x77);
    PutU32(source, 32, 300);
    Bytes target = MakeDib(1, 1, 24);
    target.insert(target.begin() + 40, 400 * 4, 0);
    PutU32(target, 32, 400);
    Block src(source);
    Block dst(target);
    CopyColorTable(src, dst);
    std::fill(target.begin() + 40, target.begin() + 40 + 300 * 4, std::uint8_t{0x77});
    EXPECT_EQ(dst.Now(), target);
}

TEST_F(Colors, CopyBetweenCoreHeaders) {
    Bytes source = MakeCoreDib(1, 1, 1);
    Put(source, 12, {1, 2, 3, 4, 5, 6});
    Block src(source);
    Block dst(MakeCoreDib(1, 1, 8));
    CopyColorTable(src, dst);
    EXPECT_EQ(Slice(dst.Now(), 12, 7), (Bytes{1, 2, 3, 4, 5, 6, 0}));
}

TEST_F(Colors, CopyFromCoreLeavesReservedBytes) {
    Bytes source = MakeCoreDib(1, 1, 1);
    Put(source, 12, {1, 2, 3, 4, 5, 6});
    Bytes target = MakeDib(1, 1, 1);
    Put(target, 40, {9, 9, 9, 9, 9, 9, 9, 8});
    Block src(source);
    Block dst(target);
    CopyColorTable(src, dst);
    EXPECT_EQ(Slice(dst.Now(), 40, 8), (Bytes{1, 2, 3, 9, 4, 5, 6, 8}));
}

TEST_F(Colors, CopyToCoreDropsReservedBytes) {
    Bytes source = MakeDib(1, 1, 1);
    Put(source, 40, {1, 2, 3, 77, 4, 5, 6, 77});
    Block src(source);
    Block dst(MakeCoreDib(1, 1, 4));
    CopyColorTable(src, dst);
    EXPECT_EQ(Slice(dst.Now(), 12, 7), (Bytes{1, 2, 3, 4, 5, 6, 0}));
}

TEST_F(Colors, CopyNothingWithoutColours) {
    Block src(MakeDib(1, 1, 24));
    Block dst(MakeDib(1, 1, 8));
    CopyColorTable(src, dst);
    EXPECT_TRUE(dst.Unchanged());
    CopyColorTable(dst, src);
    EXPECT_TRUE(src.Unchanged());
}

TEST_F(Palette, HoldsTheColoursOfAnInfoHeader) {
    Bytes bytes = MakeDib(1, 1, 8);
    PutU32(bytes, 32, 2);
    Put(bytes, 40, {1, 2, 3, 77, 4, 5, 6, 77});
    Block dib(bytes);
    EXPECT_EQ(CreateDIBPalette(dib), colourcalls::Palette);
    EXPECT_EQ(colourcalls::TakePalette(), (Bytes{0, 3, 2, 0, 3, 2, 1, 0, 6, 5, 4, 0}));
    EXPECT_EQ(testhost::LastAllocationSize(), 16u);
    EXPECT_EQ(testhost::LiveBlocks(), 0);
}

TEST_F(Palette, HoldsTheColoursOfACoreHeader) {
    Bytes bytes = MakeCoreDib(1, 1, 1);
    Put(bytes, 12, {1, 2, 3, 4, 5, 6});
    Block dib(bytes);
    EXPECT_EQ(CreateDIBPalette(dib), colourcalls::Palette);
    EXPECT_EQ(colourcalls::TakePalette(), (Bytes{0, 3, 2, 0, 3, 2, 1, 0, 6, 5, 4, 0}));
}

TEST_F(Palette, HoldsMoreThan256Colours) {
    Bytes bytes = MakeDib(1, 1, 24);
    bytes.insert(bytes.begin() + 40, 300 * 4, 0);
    PutU32(bytes, 32, 300);
    SetEntry(bytes, 299, 1, 2, 3);
    Block dib(bytes);
    EXPECT_EQ(CreateDIBPalette(dib), colourcalls::Palette);
    EXPECT_EQ(testhost::LastAllocationSize(), 1208u); // 300 * 4 + 8
    const Bytes palette = colourcalls::TakePalette();
    ASSERT_EQ(palette.size(), 1204u);
    EXPECT_EQ(Slice(palette, 0, 4), (Bytes{0, 3, 300 - 256, 1}));
    EXPECT_EQ(Slice(palette, 1200, 4), (Bytes{3, 2, 1, 0}));
}

TEST_F(Palette, NeedsColours) {
    Block dib(MakeDib(1, 1, 24));
    EXPECT_EQ(CreateDIBPalette(dib), nullptr);
    EXPECT_EQ(testhost::Allocations(), 0);
}

TEST_F(Palette, FailsWithoutMemoryLockOrPalette) {
    Block dib(MakeDib(1, 1, 8));
    testhost::FailAllocation(1);
    EXPECT_EQ(CreateDIBPalette(dib), nullptr);
    testhost::FailLock(1);
    EXPECT_EQ(CreateDIBPalette(dib), nullptr);
    EXPECT_TRUE(colourcalls::TakePalette().empty());
    colourcalls::FailNextPalette();
    EXPECT_EQ(CreateDIBPalette(dib), nullptr);
    EXPECT_EQ(colourcalls::TakePalette().size(), 1028u);
}

} // namespace

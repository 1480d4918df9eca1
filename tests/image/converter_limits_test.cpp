// CImgConverter: sizes at the edges of their arithmetic.
#include "dibprep/image.h"

#include "tests/support/test_host.h"

#include <gtest/gtest.h>

namespace {

unsigned int GraySize(int width, int height) {
    tagBITMAPINFOHEADER header{};
    header.biWidth = width;
    header.biHeight = height;
    CImgConverter converter;
    converter.header = &header;
    return converter.GetGray256ImageSize();
}

unsigned int FullSize(int width, int height) {
    tagBITMAPINFOHEADER header{};
    header.biWidth = width;
    header.biHeight = height;
    CImgConverter converter;
    converter.header = &header;
    return converter.GetFullColorImageSize();
}

TEST(ConverterSize, GrayRowsArePaddedToFourBytes) {
    EXPECT_EQ(GraySize(10, 10), 1184u);
    EXPECT_EQ(GraySize(1, 1), 1068u);
    EXPECT_EQ(GraySize(4, 1), 1068u);
    EXPECT_EQ(GraySize(5, 1), 1072u);
    EXPECT_EQ(GraySize(2550, 3300), 2552u * 3300 + 1064);
}

TEST(ConverterSize, FullColorRowsArePaddedToFourBytes) {
    EXPECT_EQ(FullSize(10, 10), 360u);
    EXPECT_EQ(FullSize(1, 1), 44u);
    EXPECT_EQ(FullSize(4, 1), 52u);
    EXPECT_EQ(FullSize(5, 1), 56u);
    EXPECT_EQ(FullSize(2550, 3300), 7652u * 3300 + 40);
}

TEST(ConverterSize, EmptyPicturesStillHaveHeaderAndTable) {
    EXPECT_EQ(GraySize(0, 10), 1064u);
    EXPECT_EQ(GraySize(10, 0), 1064u);
    EXPECT_EQ(FullSize(0, 10), 40u);
    EXPECT_EQ(FullSize(10, 0), 40u);
}

TEST(ConverterSize, RowsAreKeptTo16Bits) {
    EXPECT_EQ(GraySize(65532, 1), 65532u + 1064);
    EXPECT_EQ(GraySize(65533, 1), 1064u);
    EXPECT_EQ(GraySize(65536, 7), 1064u);
    EXPECT_EQ(GraySize(65537, 7), 4u * 7 + 1064);
    EXPECT_EQ(FullSize(21844, 1), 65532u + 40);
    EXPECT_EQ(FullSize(21845, 1), 40u);
    EXPECT_EQ(FullSize(21846, 5), 4u * 5 + 40);
}

// The bits of these rows do not fit 32 bits.
TEST(ConverterSize, WidestRowsDoNotOverflow) {
    EXPECT_EQ(GraySize(0x7FFFFFFF, 2), 1064u);
    EXPECT_EQ(GraySize(0x10000004, 2), 4u * 2 + 1064);
    EXPECT_EQ(FullSize(0x10000004, 2), 12u * 2 + 40);
    EXPECT_EQ(FullSize(0x7FFFFFFF, 2), 40u); // 3 x 2147483647 + 3 ends in 0x0000
}

TEST(ConverterSize, NegativeHeightLowersTheSize) {
    EXPECT_EQ(GraySize(10, -10), 944u);
    EXPECT_EQ(GraySize(10, -88), 8u);
    EXPECT_EQ(FullSize(1, -10), 0u);
}

TEST(ConverterSize, NegativeWidthCountsByTheLow16BitsOfItsRow) {
    EXPECT_EQ(GraySize(-1, 10), 1064u);
    EXPECT_EQ(GraySize(-8, 1), 65532u + 1064); // (-64 + 7) / 8 + 3 = -4
    EXPECT_EQ(FullSize(-8, 1), 65516u + 40);   // (-192 + 7) / 8 + 3 = -20
}

TEST(ConverterSize, SizesThatLeave32BitsAreTheLargestNumber) {
    EXPECT_EQ(GraySize(65532, 65539), 4294902812u);
    EXPECT_EQ(GraySize(65532, 65540), 4294967295u);
    EXPECT_EQ(FullSize(21844, 65539), 4294901788u);
    EXPECT_EQ(FullSize(21844, 65540), 4294967295u);
    EXPECT_EQ(GraySize(65532, 0x7FFFFFFF), 4294967295u);
    EXPECT_EQ(GraySize(10, -89), 4294967295u);
    EXPECT_EQ(FullSize(1, -11), 4294967295u);
    EXPECT_EQ(GraySize(65532, -0x7FFFFFFF - 1), 4294967295u);
}

// Such a block is not asked for, in either width.
TEST(ConverterSize, SizesThatLeave32BitsGiveNoBlock) {
    testhost::Reset();
    tagBITMAPINFOHEADER header{};
    header.biWidth = 21844;
    header.biHeight = 0x7FFFFFFF;
    header.biBitCount = 24;
    CImgConverter converter;
    converter.header = &header;
    void* result = &header;
    EXPECT_EQ(converter.MakeGray256Image(result), 0);
    EXPECT_EQ(result, nullptr);
    result = &header;
    EXPECT_EQ(converter.MakeFullColorImage(result), 0);
    EXPECT_EQ(result, nullptr);
    EXPECT_EQ(testhost::Calls(), 0);
}

TEST(ConverterSize, SizesWithin32BitsAreTheHostsToGrantOrRefuse) {
    testhost::Reset();
    tagBITMAPINFOHEADER header{};
    header.biWidth = 65532;
    header.biHeight = 65539;
    CImgConverter converter;
    converter.header = &header;
    void* result = &header;
    EXPECT_EQ(converter.MakeGray256Image(result), 0); // the test host refuses more than a gigabyte
    EXPECT_EQ(result, nullptr);
    EXPECT_EQ(testhost::Allocations(), 1);
    EXPECT_EQ(testhost::LastAllocationSize(), 4294902812u);
    testhost::Reset();
}

} // namespace

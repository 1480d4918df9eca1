// GetSourceImageInfo and IsGrayImage: header fields, table length, kind.
#include "tests/transform/transform_support.h"

namespace {

using namespace transformtest;

class SourceInfo : public MemoryTest {
protected:
    // Reads the DIB as a plain address would be read, so that the engine alone is tested.
    int Read(Bytes dib) {
        m_bytes = std::move(dib);
        m_block = testhost::MakeBlock(m_bytes);
        CBufTransfer source(&m_block, 1, 0);
        engine.source = &source;
        const int status = engine.GetSourceImageInfo();
        position = source.position;
        engine.source = nullptr;
        return status;
    }
    CLinearTransformMem engine;
    unsigned position = 0;

private:
    Bytes m_bytes;
    void* m_block = nullptr;
};

TEST_F(SourceInfo, TakesTheHeaderFields) {
    EXPECT_EQ(Read(testdib::MakeDib(10, 7, 24, Ppm300, Ppm200)), 0);
    EXPECT_EQ(engine.srcWidth, 10);
    EXPECT_EQ(engine.srcHeight, 7);
    EXPECT_EQ(engine.srcBitCount, 24);
    EXPECT_EQ(engine.srcDpiX, 300);
    EXPECT_EQ(engine.srcDpiY, 200);
    EXPECT_EQ(engine.srcStride, 32u);
    EXPECT_EQ(engine.srcBitsOffset, 40);
    EXPECT_EQ(engine.kind, 6);
    EXPECT_EQ(position, 40u);
}

TEST_F(SourceInfo, ResolutionAddsOneBeforeItConverts) {
    const struct {
        int ppm, dpi;
    } cases[] = {{3779, 96},        {11811, 300},  {7874, 200},     {2834, 72},
                 {2835, 72},        {23622, 600},  {3937, 100},     {0, 0},
                 {38, 0},           {39, 1},       {-1, 0},         {-2, 36280},
                 {16909319, 36280}, {16909320, 0}, {2147483647, 0}, {-2147483647 - 1, 0}};
    for (const auto& c : cases) {
        ASSERT_EQ(Read(testdib::MakeDib(1, 1, 24, c.ppm, c.ppm)), 0);
        EXPECT_EQ(engine.srcDpiX, c.dpi) << c.ppm;
        EXPECT_EQ(engine.srcDpiY, c.dpi) << c.ppm;
    }
}

TEST_F(SourceInfo, ExtentsKeepTheirLowSixteenBits) {
    Bytes dib = testdib::MakeDib(1, 1, 24);
    testdib::PutU32(dib, 4, 0x10002);
    testdib::PutU32(dib, 8, 0xFFFFFFFD);
    EXPECT_EQ(Read(dib), 0);
    EXPECT_EQ(engine.srcWidth, 2);
    EXPECT_EQ(engine.srcHeight, 65533);
    EXPECT_EQ(engine.srcStride, 8u);
}

TEST_F(SourceInfo, TableLengthFollowsTheBitCountAlone) {
    const struct {
        int bits;
        std::size_t entries;
        int offset, kind;
    } cases[] = {{1, 2, 48, 1},      {2, 4, 56, 0},      {4, 16, 104, 2},  {8, 256, 1064, 3}, {16, 0, 40, 0},
                 {24, 0, 40, 6},     {32, 0, 40, 0},     {0, 1, 44, 0},    {9, 512, 2088, 0}, {64, 0, 40, 0},
                 {14, 16384, 40, 0}, {15, 32768, 40, 0}, {65535, 0, 40, 0}};
    for (const auto& c : cases) {
        Bytes dib(40 + 4 * c.entries);
        testdib::PutU32(dib, 0, 40);
        testdib::PutU16(dib, 14, static_cast<unsigned>(c.bits));
        EXPECT_EQ(Read(dib), 0) << c.bits;
        EXPECT_EQ(engine.srcBitsOffset, c.offset) << c.bits << " (kept to 16 bits)";
        EXPECT_EQ(engine.kind, c.kind) << c.bits;
        EXPECT_EQ(position, 40u + 4u * c.entries) << c.bits;
        dib.pop_back();
        EXPECT_EQ(Read(dib), 5) << c.bits << " with a byte missing";
    }
}

TEST_F(SourceInfo, ColoursUsedAndHeaderSizeAreNotLookedAt) {
    Bytes dib = GrayDib(4, 4, 8);
    testdib::PutU32(dib, 0, 108);
    testdib::PutU32(dib, 16, 3);
    testdib::PutU32(dib, 32, 2);
    EXPECT_EQ(Read(dib), 0);
    EXPECT_EQ(engine.srcBitsOffset, 1064);
    EXPECT_EQ(engine.kind, 3);
}

TEST_F(SourceInfo, KeepsBlueGreenRedAndZeroesTheReservedByte) {
    Bytes dib = testdib::MakeDib(4, 4, 1);
    Put(dib, 40, {1, 2, 3, 4, 5, 6, 7, 8});
    EXPECT_EQ(Read(dib), 0);
    EXPECT_EQ(engine.sourcePalette[0].rgbBlue, 1);
    EXPECT_EQ(engine.sourcePalette[0].rgbGreen, 2);
    EXPECT_EQ(engine.sourcePalette[0].rgbRed, 3);
    EXPECT_EQ(engine.sourcePalette[0].rgbReserved, 0);
    EXPECT_EQ(engine.sourcePalette[1].rgbBlue, 5);
    EXPECT_EQ(engine.sourcePalette[1].rgbGreen, 6);
    EXPECT_EQ(engine.sourcePalette[1].rgbRed, 7);
    EXPECT_EQ(engine.sourcePalette[1].rgbReserved, 0);
    EXPECT_EQ(engine.sourcePalette[2].rgbBlue, 0);
}

TEST_F(SourceInfo, TablesLongerThan256EntriesKeep256) {
    Bytes dib(40 + 4 * 512);
    testdib::PutU16(dib, 14, 9);
    for (int i = 0; i < 512; ++i)
        testdib::SetEntry(dib, i, i & 255, i >> 8, 7);
    EXPECT_EQ(Read(dib), 0);
    EXPECT_EQ(engine.sourcePalette[255].rgbBlue, 255);
    EXPECT_EQ(engine.sourcePalette[255].rgbGreen, 0);
    EXPECT_EQ(engine.sourcePalette[0].rgbGreen, 0);
    EXPECT_EQ(engine.grayHistogram[0], 0u);
}

TEST_F(SourceInfo, OneColouredEntryDecidesTheKind) {
    Bytes dib = GrayDib(4, 4, 4);
    EXPECT_EQ(Read(dib), 0);
    EXPECT_EQ(engine.kind, 2);
    testdib::SetEntry(dib, 15, 255, 255, 254);
    EXPECT_EQ(Read(dib), 0);
    EXPECT_EQ(engine.kind, 0) << "a source without a kind after one with";
    dib = GrayDib(4, 4, 8);
    EXPECT_EQ(Read(dib), 0);
    EXPECT_EQ(engine.kind, 3);
    testdib::SetEntry(dib, 255, 254, 255, 255);
    EXPECT_EQ(Read(dib), 0);
    EXPECT_EQ(engine.kind, 5);
}

TEST_F(SourceInfo, EntriesOfALongerTableReadBeforeStay) {
    // One engine, one source: only a fresh engine has zeros beyond the table.
    Bytes dib = GrayDib(4, 4, 8);
    testdib::SetEntry(dib, 255, 254, 255, 255);
    EXPECT_EQ(Read(dib), 0);
    EXPECT_EQ(Read(GrayDib(4, 4, 4)), 0);
    EXPECT_EQ(engine.kind, 0);
}

TEST_F(SourceInfo, GrayMeansEveryStoredEntry) {
    EXPECT_EQ(engine.IsGrayImage(), 1) << "256 zero entries";
    engine.sourcePalette[255] = {5, 5, 5, 9};
    EXPECT_EQ(engine.IsGrayImage(), 1) << "the reserved byte is no colour";
    engine.sourcePalette[255] = {5, 5, 6, 0};
    EXPECT_EQ(engine.IsGrayImage(), 0);
    engine.sourcePalette[255] = {5, 6, 5, 0};
    EXPECT_EQ(engine.IsGrayImage(), 0);
    engine.sourcePalette[255] = {6, 5, 5, 0};
    EXPECT_EQ(engine.IsGrayImage(), 0);
}

TEST_F(SourceInfo, HeaderOrTableOutsideTheBlockIs5) {
    const Bytes dib = GrayDib(1, 1, 8);
    EXPECT_EQ(Read(Part(dib, 0, 39)), 5);
    EXPECT_EQ(Read(Part(dib, 0, 1063)), 5);
    EXPECT_EQ(Read(Part(dib, 0, 1064)), 0) << "rows are not its business";
}

} // namespace

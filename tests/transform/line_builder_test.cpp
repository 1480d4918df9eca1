// The line builders that CreateImage dispatches: 1-bit, 8-bit gray, 8-bit colour table, 24 bits.
#include "tests/transform/transform_support.h"

#include <climits>

namespace {

using namespace transformtest;

void Columns(CLinearTransformMem& engine, int srcWidth, int outWidth, double ratio) {
    engine.srcWidth = static_cast<unsigned short>(srcWidth);
    engine.outWidth = static_cast<unsigned short>(outWidth);
    engine.ratioX = ratio;
}

CPosition At(int x0, int x1, double fraction) {
    CPosition position{};
    position.fraction = fraction;
    position.x0 = static_cast<unsigned short>(x0);
    position.x1 = static_cast<unsigned short>(x1);
    position.byte0 = static_cast<unsigned short>(x0 >> 3);
    position.byte1 = static_cast<unsigned short>(x1 >> 3);
    return position;
}

// ---- 1 bit -----------------------------------------------------------------------------------

class BWLine : public testing::Test {
protected:
    // One output byte from rows of two bytes.
    int Line(double fy, Bytes row0, Bytes row1, int threshold, int start = 0) {
        engine.outWidth = static_cast<unsigned short>(engine.positions.size());
        engine.threshold = threshold;
        Bytes out{static_cast<std::uint8_t>(start)};
        engine.MakeBWImageLine(fy, row0.data(), row1.data(), out.data());
        return out[0];
    }
    void WhiteIsIndexZero() { engine.sourcePalette[0].rgbBlue = 255; }
    CLinearTransformMem engine;
};

TEST_F(BWLine, TwoBlackTwoWhiteNeighboursAre127AndWhite) {
    engine.positions = {At(0, 1, 0.5)};
    // Index 0 is black: clear bits are blackness 255. 127.5 is cut to 127.
    EXPECT_EQ(Line(0.5, {0x00, 0}, {0xC0, 0}, 128), 0x80);
    EXPECT_EQ(Line(0.5, {0x00, 0}, {0xC0, 0}, 127), 0x00);
    EXPECT_EQ(Line(0.5, {0xC0, 0}, {0x00, 0}, 128), 0x80);
    EXPECT_EQ(Line(0.5, {0x80, 0}, {0x40, 0}, 128), 0x80);
    EXPECT_EQ(Line(0.5, {0x80, 0}, {0x40, 0}, 127), 0x00);
}

TEST_F(BWLine, ExactPositionsCopyTheirPixel) {
    for (int x = 0; x < 8; ++x)
        engine.positions.push_back(At(x, x + 1, 0));
    EXPECT_EQ(Line(0, {0xA5, 0}, {0xFF, 0xFF}, 128), 0xA5);
    EXPECT_EQ(Line(0, {0xA5, 0}, {0x5A, 0xFF}, 1), 0xA5);
    EXPECT_EQ(Line(0, {0xA5, 0}, {0x5A, 0xFF}, 255), 0xA5);
    WhiteIsIndexZero();
    EXPECT_EQ(Line(0, {0xA5, 0}, {0xFF, 0xFF}, 128), 0x5A) << "index 0 white: set bits are black";
}

TEST_F(BWLine, OnlyTheBlueByteOfEntryZeroDecidesWhatIsWhite) {
    engine.positions = {At(0, 0, 0)};
    engine.sourcePalette[0] = {254, 255, 255, 0};
    EXPECT_EQ(Line(0, {0x80, 0}, {0, 0}, 128), 0x80) << "not 255: index 0 counts as black";
    engine.sourcePalette[0] = {255, 0, 0, 0};
    EXPECT_EQ(Line(0, {0x80, 0}, {0, 0}, 128), 0x00) << "255: index 0 counts as white";
    engine.sourcePalette[1] = {255, 255, 255, 0};
    EXPECT_EQ(Line(0, {0x80, 0}, {0, 0}, 128), 0x00) << "entry 1 is never looked at";
}

TEST_F(BWLine, ReadsTheBytesOfItsColumnMap) {
    engine.positions = {At(7, 8, 0.75), At(8, 9, 0), At(15, 15, 0.5)};
    // Column 7 clear (black), 8 set (white): 255 + (0 - 255) * 0.75 = 63.75.
    EXPECT_EQ(Line(0, {0x00, 0x80}, {0, 0}, 64), 0xC0);
    EXPECT_EQ(Line(0, {0x00, 0x80}, {0, 0}, 63), 0x40);
    EXPECT_EQ(Line(0, {0x00, 0x81}, {0, 0}, 63), 0x60);
}

TEST_F(BWLine, MixesRowsByTheVerticalFraction) {
    engine.positions = {At(0, 0, 0)};
    // Black above white: 255 * (1 - 0.25) = 191.25.
    EXPECT_EQ(Line(0.25, {0x00, 0}, {0x80, 0}, 192), 0x80);
    EXPECT_EQ(Line(0.25, {0x00, 0}, {0x80, 0}, 191), 0x00);
}

TEST_F(BWLine, ComparesTheLowEightBits) {
    engine.positions = {At(0, 0, 0)};
    // White, and black at twice the distance: 510, whose low eight bits are 254.
    EXPECT_EQ(Line(2, {0x80, 0}, {0x00, 0}, 255), 0x80);
    EXPECT_EQ(Line(2, {0x80, 0}, {0x00, 0}, 254), 0x00);
}

TEST_F(BWLine, ThresholdExtremes) {
    engine.positions = {At(0, 1, 0), At(2, 3, 0)}; // black, white
    const Bytes row{0x20, 0};
    EXPECT_EQ(Line(0, row, row, 0), 0x00) << "0: all black";
    EXPECT_EQ(Line(0, row, row, -1), 0x00);
    EXPECT_EQ(Line(0, row, row, INT_MIN), 0x00);
    EXPECT_EQ(Line(0, row, row, 1), 0x40);
    EXPECT_EQ(Line(0, row, row, 255), 0x40) << "blackness 255 is not below 255";
    EXPECT_EQ(Line(0, row, row, 256), 0xC0) << "256: all white";
    EXPECT_EQ(Line(0, row, row, INT_MAX), 0xC0);
}

TEST_F(BWLine, OnlyOrsIntoTheOutputRow) {
    engine.positions = {At(0, 0, 0), At(1, 1, 0)};
    EXPECT_EQ(Line(0, {0x40, 0}, {0, 0}, 128, 0x81), 0xC1) << "the black pixel 0 stays as it was";
    EXPECT_EQ(Line(0, {0x80, 0}, {0, 0}, 128, 0x41), 0xC1) << "and so does the black pixel 1";
}

TEST_F(BWLine, WritesNoFurtherThanItsWidth) {
    for (int x = 0; x < 9; ++x)
        engine.positions.push_back(At(0, 0, 0));
    engine.outWidth = 9;
    engine.threshold = 256;
    Bytes row(2);
    testhost::GuardedBuffer out(2);
    out.data()[0] = out.data()[1] = 0;
    engine.MakeBWImageLine(0, row.data(), row.data(), out.data());
    EXPECT_EQ(out.data()[0], 0xFF);
    EXPECT_EQ(out.data()[1], 0x80);
}

// ---- 8-bit gray ------------------------------------------------------------------------------

class GrayLine : public testing::Test {
protected:
    GrayLine() {
        for (int i = 0; i < 256; ++i)
            engine.sourcePalette[i].rgbBlue = static_cast<unsigned char>(i);
    }
    Bytes Line(double fy, Bytes row0, Bytes row1) {
        Bytes out(engine.outWidth);
        engine.Make8bitGrayImageLine(fy, row0.data(), row1.data(), out.data());
        return out;
    }
    CLinearTransformMem engine;
};

TEST_F(GrayLine, TwiceTheWidthMixesNeighboursAndRepeatsTheLastColumn) {
    Columns(engine, 3, 6, 2.0);
    EXPECT_EQ(Line(0, {0, 100, 51}, {9, 9, 9}), (Bytes{0, 50, 100, 75, 51, 51}));
}

TEST_F(GrayLine, HalfTheWidthTakesEverySecondColumn) {
    Columns(engine, 6, 3, 0.5);
    EXPECT_EQ(Line(0, {10, 20, 30, 40, 50, 60}, {0, 0, 0, 0, 0, 0}), (Bytes{10, 30, 50}));
}

TEST_F(GrayLine, TruncatesTowardZero) {
    Columns(engine, 2, 4, 2.0);
    EXPECT_EQ(Line(0, {0, 1}, {0, 1}), (Bytes{0, 0, 1, 1}));
    EXPECT_EQ(Line(0, {254, 255}, {254, 255}), (Bytes{254, 254, 255, 255}));
    EXPECT_EQ(Line(0.5, {0, 1}, {1, 0}), (Bytes{0, 0, 0, 0})) << "0.5, 0.5, 0.5, 0.5";
    EXPECT_EQ(Line(0.75, {0, 0}, {255, 255}), (Bytes{191, 191, 191, 191})) << "191.25";
}

TEST_F(GrayLine, PositionsAreQuotients) {
    // 49 / 49 is 1; 49 times the double next to 1/49 falls short of it and would mix in column 0.
    Columns(engine, 2, 50, 49.0);
    EXPECT_EQ(Line(0, {0, 200}, {0, 200})[49], 200);
}

TEST_F(GrayLine, AMixOfEqualSamplesIsTheSample) {
    // 254 * (1 - 0.32) + 254 * 0.32 falls short of 254 in double precision.
    Columns(engine, 2, 6, 300.0 / 96);
    EXPECT_EQ(Line(0, {254, 254}, {254, 254}), Bytes(6, 254));
    EXPECT_EQ(Line(0.32, {254, 254}, {254, 254}), Bytes(6, 254));
}

TEST_F(GrayLine, RowsAreMixedAfterColumns) {
    // 100 and 130, and 30 * 0.53 between them, are 116. Columns after rows would give less than that.
    Columns(engine, 2, 2, 2.0);
    EXPECT_EQ(Line(0x1.1111111111110p-1, {100, 100}, {255, 5})[1], 116);
}

TEST_F(GrayLine, MixesInDoublePrecision) {
    // Column 1 is 2^-40 short of source column 1: a little less than 200, which single precision is not.
    Columns(engine, 2, 2, 1 + 0x1p-40);
    EXPECT_EQ(Line(0, {0, 200}, {0, 200}), (Bytes{0, 199}));
    EXPECT_EQ(Line(1, {0, 200}, {0, 200}), (Bytes{0, 199}));
}

TEST_F(GrayLine, KeepsTheLowEightBitsOfWhatLiesOutsideThem) {
    // Only a caller of its own has fractions above 1: 400 and -100.
    Columns(engine, 2, 2, 1.0);
    EXPECT_EQ(Line(2, {0, 200}, {200, 50}), (Bytes{144, 156}));
}

TEST_F(GrayLine, ColumnsKeepSixteenBitsOfTheirPosition) {
    // Column 1 is at position 65536, which is source column 0 and far from its right neighbour.
    Columns(engine, 2, 2, 1.0 / 65536);
    EXPECT_EQ(Line(0, {7, 9}, {7, 9}), (Bytes{7, 7}));
}

TEST_F(GrayLine, SampleIsTheBlueByteOfTheEntry) {
    Columns(engine, 2, 2, 1.0);
    engine.sourcePalette[5] = {77, 1, 2, 0};
    engine.sourcePalette[6] = {200, 3, 4, 0};
    EXPECT_EQ(Line(0, {5, 6}, {0, 0}), (Bytes{77, 200}));
}

TEST_F(GrayLine, CountsItsOutputInTheHistogram) {
    Columns(engine, 2, 4, 2.0);
    Line(0, {0, 100}, {0, 0});
    EXPECT_EQ(engine.grayHistogram[0], 1u);
    EXPECT_EQ(engine.grayHistogram[50], 1u);
    EXPECT_EQ(engine.grayHistogram[100], 2u);
    Line(0, {0, 100}, {0, 0});
    EXPECT_EQ(engine.grayHistogram[100], 4u);
}

TEST_F(GrayLine, NeverReadsPastTheLastSourceColumn) {
    Columns(engine, 3, 9, 3.0);
    testhost::GuardedBuffer row(3);
    for (int i = 0; i < 3; ++i)
        row.data()[i] = static_cast<std::uint8_t>(30 * i);
    Bytes out(9);
    engine.Make8bitGrayImageLine(0.5, row.data(), row.data(), out.data());
    EXPECT_EQ(out[8], 60);
    EXPECT_EQ(out[7], 60);
    EXPECT_EQ(out[6], 60);
    EXPECT_EQ(out[3], 30);
}

// ---- 8-bit colour table ----------------------------------------------------------------------

int CubeIndex(int blue, int green, int red) {
    CLinearTransformMem engine;
    Columns(engine, 1, 1, 1.0);
    engine.sourcePalette[3] = {static_cast<unsigned char>(blue), static_cast<unsigned char>(green),
                               static_cast<unsigned char>(red), 0};
    unsigned char row = 3;
    unsigned char out = 0xEE;
    engine.Make8bitPaletteColorImageLine(0, &row, &row, &out);
    return out;
}

TEST(ColourTableLine, CornersOfTheCube) {
    EXPECT_EQ(CubeIndex(0, 0, 0), 0);
    EXPECT_EQ(CubeIndex(255, 255, 255), 251);
    EXPECT_EQ(CubeIndex(255, 0, 0), 210);
    EXPECT_EQ(CubeIndex(0, 255, 0), 35);
    EXPECT_EQ(CubeIndex(0, 0, 255), 6);
}

TEST(ColourTableLine, LevelsChangeAtTheirOwnPlaces) {
    EXPECT_EQ(CubeIndex(0, 0, 230), 5);
    EXPECT_EQ(CubeIndex(0, 0, 231), 6) << "red 231 is already the top level";
    EXPECT_EQ(CubeIndex(0, 0, 20), 0);
    EXPECT_EQ(CubeIndex(0, 0, 21), 1);
    EXPECT_EQ(CubeIndex(0, 25, 0), 0);
    EXPECT_EQ(CubeIndex(0, 26, 0), 7);
    EXPECT_EQ(CubeIndex(25, 0, 0), 0);
    EXPECT_EQ(CubeIndex(26, 0, 0), 42);
    EXPECT_EQ(CubeIndex(229, 229, 0), 4 * 42 + 4 * 7);
    EXPECT_EQ(CubeIndex(230, 230, 0), 5 * 42 + 5 * 7);
}

TEST(ColourTableLine, InterpolatesEachChannelOfTheEntriesNotTheIndices) {
    CLinearTransformMem engine;
    Columns(engine, 2, 4, 2.0);
    engine.sourcePalette[0] = {0, 255, 0, 0};
    engine.sourcePalette[9] = {255, 0, 100, 0};
    Bytes row0{0, 9};
    Bytes row1{0, 9};
    Bytes out(4);
    engine.Make8bitPaletteColorImageLine(0, row0.data(), row1.data(), out.data());
    // Between the two: blue 127, green 127, red 50.
    EXPECT_EQ(out, (Bytes{35, 2 * 42 + 2 * 7 + 1, 5 * 42 + 2, 5 * 42 + 2}));
}

TEST(ColourTableLine, MixesRows) {
    CLinearTransformMem engine;
    Columns(engine, 1, 1, 1.0);
    engine.sourcePalette[1] = {0, 0, 0, 0};
    engine.sourcePalette[2] = {200, 100, 240, 0};
    unsigned char row0 = 1;
    unsigned char row1 = 2;
    unsigned char out = 0;
    engine.Make8bitPaletteColorImageLine(0.5, &row0, &row1, &out);
    EXPECT_EQ(out, 2 * 42 + 1 * 7 + 3) << "blue 100, green 50, red 120";
}

// ---- 24 bits ---------------------------------------------------------------------------------

TEST(RgbLine, InterpolatesTheThreeBytesInPlace) {
    CLinearTransformMem engine;
    Columns(engine, 2, 4, 2.0);
    Bytes row0{0, 10, 255, 100, 20, 0};
    Bytes row1{0, 30, 255, 100, 40, 0};
    Bytes out(12);
    engine.MakeRGBColorImageLine(0.5, row0.data(), row1.data(), out.data());
    EXPECT_EQ(out, (Bytes{0, 20, 255, 50, 25, 127, 100, 30, 0, 100, 30, 0}));
}

TEST(RgbLine, StaysInsideItsRows) {
    CLinearTransformMem engine;
    Columns(engine, 2, 5, 2.5);
    testhost::GuardedBuffer row(6);
    testhost::GuardedBuffer out(15);
    for (int i = 0; i < 6; ++i)
        row.data()[i] = static_cast<std::uint8_t>(i);
    engine.MakeRGBColorImageLine(0, row.data(), row.data(), out.data());
    EXPECT_EQ(out.data()[12], 3);
    EXPECT_EQ(out.data()[13], 4);
    EXPECT_EQ(out.data()[14], 5);
    EXPECT_EQ(out.data()[0], 0);
}

} // namespace

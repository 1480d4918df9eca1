// The 4-bit builder: never dispatched, callable, with nibble rules of its own.
#include "tests/transform/transform_support.h"

namespace {

using namespace transformtest;

class FourBitLine : public testing::Test {
protected:
    FourBitLine() {
        for (int i = 0; i < 16; ++i)
            engine.sourcePalette[i].rgbBlue = static_cast<unsigned char>(10 * i);
    }
    Bytes Line(int srcWidth, int outWidth, double ratio, double fy, Bytes row0, Bytes row1, Bytes out) {
        engine.srcWidth = static_cast<unsigned short>(srcWidth);
        engine.outWidth = static_cast<unsigned short>(outWidth);
        engine.ratioX = ratio;
        engine.Make4bitGrayImageLine(fy, row0.data(), row1.data(), out.data());
        return out;
    }
    CLinearTransformMem engine;
};

TEST_F(FourBitLine, EvenColumnsTakeTheLowNibbleOddOnesTheHigh) {
    // Levels 20, 10, 40, 30. Even results are stored whole, odd ones as result >> 4 ORed in.
    EXPECT_EQ(Line(4, 4, 1.0, 0, {0x12, 0x34}, {0, 0}, {0xEE, 0xEE}), (Bytes{20, 40 | 1}));
    EXPECT_EQ(Line(2, 2, 1.0, 0, {0xF0}, {0}, {0xEE}), (Bytes{9})) << "0 | 150 >> 4";
}

TEST_F(FourBitLine, TheRightSampleIsAlwaysTheLowNibble) {
    // x = 1: 20 and low nibble of byte 0, 20 again: 20 >> 4. x = 3: high nibble of byte 0 (10) and
    // low nibble of byte 1 (40) give 25: 25 >> 4.
    EXPECT_EQ(Line(4, 4, 2.0, 0, {0x12, 0x34}, {0, 0}, {0, 0}), (Bytes{20 | 1, 10 | 1}));
}

TEST_F(FourBitLine, EvenResultsReplaceTheWholeByte) {
    EXPECT_EQ(Line(1, 1, 1.0, 0, {0x0F}, {0}, {0xFF}), (Bytes{150}));
}

TEST_F(FourBitLine, MixesRows) { EXPECT_EQ(Line(1, 1, 1.0, 0.5, {0x00}, {0x0F}, {0}), (Bytes{75})); }

TEST_F(FourBitLine, LastOutputColumnsRepeatTheLastSourceColumn) {
    // Source column 2 is even: low nibble of byte 1 for both samples.
    EXPECT_EQ(Line(3, 6, 2.0, 0, {0x12, 0x34}, {0, 0}, {0, 0, 0})[2], 40 | 40 >> 4);
    // A last column that is odd mixes its high nibble with the low one of the same byte.
    EXPECT_EQ(Line(2, 4, 2.0, 0, {0x12}, {0}, {0, 0})[1], 10 | 15 >> 4);
}

TEST_F(FourBitLine, TheTransformNeverCallsIt) {
    Bytes dib = testdib::MakeDib(4, 2, 4, Ppm100, Ppm100);
    testdib::SetGrayTable(dib, 16);
    for (std::size_t i = 104; i < dib.size(); ++i)
        dib[i] = 0xFF;
    const Outcome run = Transform(dib, 100);
    EXPECT_EQ(run.status, 0u);
    EXPECT_EQ(testdib::U16(run.out, 14), 4u);
    EXPECT_EQ(testdib::U32(run.out, 32), 16u);
    EXPECT_EQ(Part(run.out, 100, 4), (Bytes{240, 240, 240, 0})) << "the sixteenth gray entry";
    EXPECT_EQ(Part(run.out, 104, run.out.size() - 104), Bytes(run.out.size() - 104, 0)) << "rows all zero";
}

TEST_F(FourBitLine, RowsOfAFourBitTransformStayAsTheDestinationHeldThem) {
    const Outcome run = Transform(GrayDib(4, 2, 4), 100, 128, nullptr, 104 + 8, 0xEE);
    EXPECT_EQ(run.status, 0u);
    EXPECT_EQ(Part(run.out, 104, 8), Bytes(8, 0xEE));
}

} // namespace

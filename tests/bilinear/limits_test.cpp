// The limits of stored channels, and callbacks that change them between rows.
#include "tests/bilinear/bilinear_test.h"

namespace {

using namespace bilinear_test;
using namespace testdib;

int LowerEverythingAfterTheFirstRow(int, int) {
    COLOR_MAX_VALUE = 50;
    WHITE_POINT_VALUE = 60;
    COLOR_MAX_VALUE16 = 500;
    WHITE_POINT_VALUE16 = 600;
    return 1;
}

int RaiseTheBlackPoints(int, int) {
    BLACK_POINT_VALUE = 230;
    BLACK_POINT_VALUE16 = 9000;
    return 1;
}

class LimitedChannels : public BilinearTest {
protected:
    // One column of three pixels, every byte 200, or every word 8000 (from 48 bits on).
    static Bytes Column(int bits) {
        Bytes dib = MakeDib(1, 3, bits);
        for (int y = 0; y < 3; ++y) {
            if (bits > 32)
                SetRow16(dib, y, {8000, 8000, 8000});
            else
                SetRow(dib, y, {200, 200, 200});
            if (bits == 64)
                PutU16(dib, RowAt(dib, y) + 6, 8000);
            if (bits == 32)
                dib.at(RowAt(dib, y) + 3) = 200;
        }
        return dib;
    }
};

TEST_F(LimitedChannels, LoweredColourLimitActsInEveryByteKernel) {
    COLOR_MAX_VALUE = 100;
    for (int bits : {1, 4, 8, 16, 24, 32}) {
        SCOPED_TRACE(bits);
        Bytes dib = MakeDib(1, 1, bits);
        for (int i = 0; i < DefaultColors(bits); ++i)
            SetEntry(dib, i, 99, 100, 101);
        if (bits == 16)
            SetRow16(dib, 0, {12 | 12 << 5 | 13 << 10}); // 98, 98, 106
        if (bits > 16)
            SetRow(dib, 0, {99, 100, 101});
        EXPECT_EQ(Row(Resample(dib, 1, 1), 0, 3), bits == 16 ? (Ints{98, 98, 100}) : (Ints{99, 100, 100}));
    }
}

TEST_F(LimitedChannels, StoreTakesTheLowByteOfTheLimit) {
    COLOR_MAX_VALUE = -2;
    Bytes dib = MakeDib(1, 1, 24);
    EXPECT_EQ(Row(Resample(dib, 1, 1), 0, 3), (Ints{254, 254, 254}));
    COLOR_MAX_VALUE = 1000;
    SetRow(dib, 0, {255, 0, 7});
    EXPECT_EQ(Row(Resample(dib, 1, 1), 0, 3), (Ints{255, 0, 7}));
    COLOR_MAX_VALUE = INT_MIN;
    EXPECT_EQ(Row(Resample(dib, 1, 1), 0, 3), (Ints{0, 0, 0}));
}

TEST_F(LimitedChannels, FourthByteHasItsOwnLimits) {
    Bytes dib = MakeDib(1, 1, 32);
    BLACK_POINT_VALUE = 50;
    WHITE_POINT_VALUE = 180;
    const int in[] = {0, 49, 50, 100, 180, 181, 255};
    const int out[] = {50, 50, 50, 100, 180, 180, 180};
    for (int i = 0; i < 7; ++i) {
        SetRow(dib, 0, {10, 200, 255, in[i]});
        EXPECT_EQ(Row(Resample(dib, 1, 1), 0, 4), (Ints{10, 200, 255, out[i]}));
    }
}

TEST_F(LimitedChannels, BlackPointWinsAboveTheWhitePoint) {
    Bytes dib = MakeDib(1, 1, 32);
    BLACK_POINT_VALUE = 200;
    WHITE_POINT_VALUE = 100;
    const int in[] = {0, 150, 199, 200, 255};
    const int out[] = {200, 200, 200, 100, 100};
    for (int i = 0; i < 5; ++i) {
        SetRow(dib, 0, {0, 0, 0, in[i]});
        EXPECT_EQ(Row(Resample(dib, 1, 1), 0, 4)[3], out[i]);
    }
    Bytes wide = MakeDib(1, 1, 64);
    BLACK_POINT_VALUE16 = 2000;
    WHITE_POINT_VALUE16 = -7;
    SetRow16(wide, 0, {0, 0, 0, 1999});
    EXPECT_EQ(Row16(Resample(wide, 1, 1), 0, 4)[3], 2000);
    SetRow16(wide, 0, {0, 0, 0, 2000});
    EXPECT_EQ(Row16(Resample(wide, 1, 1), 0, 4)[3], 0xFFF9);
}

TEST_F(LimitedChannels, WordsAreLimitedFromAboveOnly) {
    COLOR_MAX_VALUE16 = 1000;
    for (int bits : {48, 64}) {
        Bytes dib = MakeDib(1, 1, bits);
        SetRow16(dib, 0, {-32768, 1000, 1001});
        EXPECT_EQ(Row16(Resample(dib, 1, 1), 0, 3), (Ints{0x8000, 1000, 1000}));
    }
    COLOR_MAX_VALUE16 = -5;
    Bytes dib = MakeDib(1, 1, 48);
    SetRow16(dib, 0, {-6, -4, 0});
    EXPECT_EQ(Row16(Resample(dib, 1, 1), 0, 3), (Ints{0xFFFA, 0xFFFB, 0xFFFB}));
}

TEST_F(LimitedChannels, ByteLimitsDoNotTouchWordsNorWordLimitsBytes) {
    COLOR_MAX_VALUE = WHITE_POINT_VALUE = 1;
    Bytes wide = MakeDib(1, 1, 64);
    SetRow16(wide, 0, {500, 600, 700, 800});
    EXPECT_EQ(Row16(Resample(wide, 1, 1), 0, 4), (Ints{500, 600, 700, 800}));
    COLOR_MAX_VALUE = WHITE_POINT_VALUE = 255;
    COLOR_MAX_VALUE16 = WHITE_POINT_VALUE16 = 1;
    Bytes dib = MakeDib(1, 1, 32);
    SetRow(dib, 0, {50, 60, 70, 80});
    EXPECT_EQ(Row(Resample(dib, 1, 1), 0, 4), (Ints{50, 60, 70, 80}));
}

TEST_F(LimitedChannels, CallbackChangesThemForTheRowsThatFollow) {
    const tagRECT whole = {0, 0, 1, 3};
    for (int bits : {24, 32, 48, 64}) {
        SCOPED_TRACE(bits);
        COLOR_MAX_VALUE = WHITE_POINT_VALUE = 255;
        COLOR_MAX_VALUE16 = WHITE_POINT_VALUE16 = 16383;
        const Bytes made = Resample(Column(bits), whole, whole, LowerEverythingAfterTheFirstRow);
        const std::vector<Ints> expected = bits == 24   ? std::vector<Ints>{{200, 200, 200}, {50, 50, 50}}
                                           : bits == 32 ? std::vector<Ints>{{200, 200, 200, 200}, {50, 50, 50, 60}}
                                           : bits == 48
                                               ? std::vector<Ints>{{8000, 8000, 8000}, {500, 500, 500}}
                                               : std::vector<Ints>{{8000, 8000, 8000, 8000}, {500, 500, 500, 600}};
        const int count = static_cast<int>(expected[0].size());
        for (int y = 0; y < 3; ++y)
            EXPECT_EQ(bits > 32 ? Row16(made, y, count) : Row(made, y, count), expected[y == 0 ? 0 : 1]) << "row " << y;
    }
}

TEST_F(LimitedChannels, CallbackRaisesTheBlackPoints) {
    const tagRECT whole = {0, 0, 1, 3};
    Bytes made = Resample(Column(32), whole, whole, RaiseTheBlackPoints);
    EXPECT_EQ(Row(made, 0, 4), (Ints{200, 200, 200, 200}));
    EXPECT_EQ(Row(made, 1, 4), (Ints{200, 200, 200, 230}));
    BLACK_POINT_VALUE16 = 0;
    made = Resample(Column(64), whole, whole, RaiseTheBlackPoints);
    EXPECT_EQ(Row16(made, 0, 4), (Ints{8000, 8000, 8000, 8000}));
    EXPECT_EQ(Row16(made, 2, 4), (Ints{8000, 8000, 8000, 9000}));
}

} // namespace

// What each kernel makes of its pixels.
#include "tests/bilinear/bilinear_test.h"

namespace {

using namespace bilinear_test;
using namespace testdib;

class KernelBytes : public BilinearTest {};

// 2 x 2 to 3 x 3 puts the four corners at the corners and halves between them.
TEST_F(KernelBytes, TwentyFourBitsMixEachChannel) {
    Bytes dib = MakeDib(2, 2, 24);
    SetRow(dib, 0, {0, 10, 255, 100, 11, 254});
    SetRow(dib, 1, {200, 12, 0, 40, 14, 1});
    const Bytes made = Resample(dib, 3, 3);
    ASSERT_EQ(made.size(), 76u);
    EXPECT_EQ(Row(made, 0, 9), (Ints{0, 10, 255, 50, 10, 254, 100, 11, 254}));
    EXPECT_EQ(Row(made, 1, 9), (Ints{100, 11, 127, 85, 11, 127, 70, 12, 127}));
    EXPECT_EQ(Row(made, 2, 9), (Ints{200, 12, 0, 120, 13, 0, 40, 14, 1}));
    for (int y = 0; y < 3; ++y)
        EXPECT_EQ(made.at(RowAt(made, y) + 9), 0xFF) << "white padding";
}

TEST_F(KernelBytes, BlackAndWhitePixelOntoFourColumns) {
    Bytes dib = MakeDib(2, 1, 24);
    SetRow(dib, 0, {0, 0, 0, 255, 255, 255});
    const Bytes made = Resample(dib, 4, 1);
    EXPECT_EQ(Row(made, 0, 12), (Ints{0, 0, 0, 127, 127, 127, 255, 255, 255, 255, 255, 255}));
}

TEST_F(KernelBytes, WeightsHaveTenBits) {
    // Four columns from two: step 10922, fractions 0, 341, 682, 1023 of 1024.
    Bytes dib = MakeDib(2, 2, 24);
    SetRow(dib, 0, {0, 255, 0, 255, 0, 255});
    SetRow(dib, 1, {0, 255, 0, 255, 0, 255});
    const Bytes made = Resample(dib, 4, 2);
    EXPECT_EQ(Channel24(made, 0, 0), (Ints{0, 84, 169, 254}));
    EXPECT_EQ(Channel24(made, 0, 1), (Ints{255, 170, 85, 0}));
}

TEST_F(KernelBytes, DownwardPicksAndMixes) {
    // Five columns to three: step 65536, so columns 0, 2 and 4 as they are. To four: step 43690.
    Bytes dib = MakeDib(5, 2, 24);
    for (int y = 0; y < 2; ++y)
        SetRow(dib, y, {10, 0, 0, 20, 0, 0, 40, 0, 0, 80, 0, 0, 160, 0, 0});
    EXPECT_EQ(Channel24(Resample(dib, 3, 2), 0, 0), (Ints{10, 40, 160}));
    EXPECT_EQ(Channel24(Resample(dib, 4, 2), 0, 0), (Ints{10, 26, 66, 159}));
}

TEST_F(KernelBytes, ThirtyTwoBitsKeepTheFourthByte) {
    Bytes dib = MakeDib(2, 2, 32);
    SetRow(dib, 0, {0, 10, 255, 7, 100, 11, 254, 9});
    SetRow(dib, 1, {200, 12, 0, 255, 40, 14, 1, 254});
    const Bytes made = Resample(dib, 3, 3);
    ASSERT_EQ(BitsOf(made), 32);
    ASSERT_EQ(made.size(), 76u);
    EXPECT_EQ(Row(made, 0, 12), (Ints{0, 10, 255, 7, 50, 10, 254, 8, 100, 11, 254, 9}));
    EXPECT_EQ(Row(made, 1, 12), (Ints{100, 11, 127, 131, 85, 11, 127, 131, 70, 12, 127, 131}));
    EXPECT_EQ(Row(made, 2, 12), (Ints{200, 12, 0, 255, 120, 13, 0, 254, 40, 14, 1, 254}));
}

TEST_F(KernelBytes, EightBitsMixColoursNotIndices) {
    Bytes dib = MakeDib(2, 2, 8);
    SetEntry(dib, 0, 0, 100, 200);
    SetEntry(dib, 9, 10, 0, 1);
    SetEntry(dib, 255, 255, 254, 253);
    dib[40 + 3] = 77; // a reserved byte is no colour
    SetRow(dib, 0, {0, 255});
    SetRow(dib, 1, {255, 9});
    const Bytes made = Resample(dib, 3, 3);
    ASSERT_EQ(BitsOf(made), 24);
    ASSERT_EQ(made.size(), 76u);
    EXPECT_EQ(Row(made, 0, 9), (Ints{0, 100, 200, 127, 177, 226, 255, 254, 253}));
    EXPECT_EQ(Row(made, 1, 9), (Ints{127, 177, 226, 130, 152, 176, 132, 127, 127}));
    EXPECT_EQ(Row(made, 2, 9), (Ints{255, 254, 253, 132, 127, 127, 10, 0, 1}));
}

TEST_F(KernelBytes, OneBitHasItsLeftmostPixelOnTop) {
    Bytes dib = MakeDib(10, 2, 1);
    SetEntry(dib, 0, 1, 2, 3);
    SetEntry(dib, 1, 201, 202, 203);
    SetRow(dib, 0, {0xB2, 0x40}); // 1011 0010 01
    SetRow(dib, 1, {0x00, 0xBF}); // 0000 0000 10; the rest is padding
    const Bytes made = Resample(dib, 10, 2);
    EXPECT_EQ(Channel24(made, 0, 0), (Ints{201, 1, 201, 201, 1, 1, 201, 1, 1, 201}));
    EXPECT_EQ(Channel24(made, 0, 2), (Ints{203, 3, 203, 203, 3, 3, 203, 3, 3, 203}));
    EXPECT_EQ(Channel24(made, 1, 1), (Ints{2, 2, 2, 2, 2, 2, 2, 2, 202, 2}));
    // Mixed: the middle row of three is the mean of both.
    EXPECT_EQ(Channel24(Resample(dib, 10, 3), 1, 0), (Ints{101, 1, 101, 101, 1, 1, 101, 1, 101, 101}));
}

TEST_F(KernelBytes, FourBitsHaveTheirLeftPixelInTheHighHalf) {
    Bytes dib = MakeDib(3, 2, 4);
    SetEntry(dib, 1, 10, 20, 30);
    SetEntry(dib, 7, 70, 71, 72);
    SetEntry(dib, 15, 150, 151, 152);
    SetRow(dib, 0, {0x17, 0xF0});
    SetRow(dib, 1, {0xF1, 0x7A});
    const Bytes made = Resample(dib, 3, 2);
    EXPECT_EQ(Row(made, 0, 9), (Ints{10, 20, 30, 70, 71, 72, 150, 151, 152}));
    EXPECT_EQ(Row(made, 1, 9), (Ints{150, 151, 152, 10, 20, 30, 70, 71, 72}));
    EXPECT_EQ(Channel24(Resample(dib, 5, 2), 0, 0), (Ints{10, 40, 70, 110, 150}));
}

TEST_F(KernelBytes, SixteenBitsAreWidenedBeforeTheyAreMixed) {
    Bytes dib = MakeDib(4, 1, 16);
    // blue 1, green 2, red 3; blue 2; green 16; red 30 with the unused top bit
    SetRow16(dib, 0, {1 | 2 << 5 | 3 << 10, 2, 16 << 5, 30 << 10 | 0x8000});
    const Bytes made = Resample(dib, 4, 1);
    ASSERT_EQ(BitsOf(made), 24);
    EXPECT_EQ(Row(made, 0, 12), (Ints{8, 16, 24, 16, 0, 0, 0, 131, 0, 0, 0, 246}));
    // Halfway the widened values give 12, 8, 12; the mean of the five bits would give 8, 8, 8.
    EXPECT_EQ(Row(Resample(dib, 8, 1), 0, 6), (Ints{8, 16, 24, 12, 8, 12}));
}

TEST_F(KernelBytes, SixteenBitsTakeTheirLowerNeighbourTwoBytesBack) {
    Bytes dib = MakeDib(3, 2, 16);
    // The fourth word of a row is padding. The lower row stands first in memory.
    SetRow16(dib, 0, {2, 4, 6, 0});
    SetRow16(dib, 1, {8, 10, 12, 31});
    const Bytes made = Resample(dib, 3, 3);
    // blue 2 is 16, 4 is 32, 6 is 49; 8 is 65, 10 is 82, 12 is 98; the padding 31 is 255
    EXPECT_EQ(Channel24(made, 0, 0), (Ints{16, 32, 49}));
    EXPECT_EQ(Channel24(made, 1, 0), (Ints{135, 24, 40}));
    EXPECT_EQ(Channel24(made, 2, 0), (Ints{65, 82, 98}));
}

TEST_F(KernelBytes, SixteenBitsWithoutPaddingReachIntoTheRowBelow) {
    Bytes dib = MakeDib(2, 2, 16);
    SetRow16(dib, 0, {0, 31});
    SetRow16(dib, 1, {5, 10});
    const Bytes made = Resample(dib, 3, 3);
    // Middle row: the samples are 0, 31 above and 10, 0 below (blue 0, 255 and 82, 0).
    EXPECT_EQ(Channel24(made, 1, 0), (Ints{41, 84, 127}));
}

TEST_F(KernelBytes, SingleRowMixesWithItselfInEveryDepth) {
    for (int bits : {1, 4, 8, 16, 24, 32, 48, 64}) {
        SCOPED_TRACE(bits);
        Bytes dib = MakeDib(1, 1, bits);
        for (int i = 0; i < DefaultColors(bits); ++i)
            SetEntry(dib, i, 90, 90, 90);
        const std::size_t bytes = bits < 8 ? 1 : static_cast<std::size_t>(bits) / 8;
        for (std::size_t i = 0; i < bytes; ++i)
            dib.at(RowAt(dib, 0) + i) = bits == 16 ? static_cast<std::uint8_t>(i == 0 ? 0x6B : 0x2D) : 0x22;
        const Bytes made = Resample(dib, 3, 3);
        const Bytes same = Resample(dib, 1, 1);
        const int size = BitsOf(made) / 8;
        const Ints pixel = Row(same, 0, size);
        Ints three;
        for (int i = 0; i < 3; ++i)
            three.insert(three.end(), pixel.begin(), pixel.end());
        EXPECT_EQ(pixel, bits <= 8    ? (Ints{90, 90, 90})
                         : bits == 16 ? (Ints{90, 90, 90})
                                      : Ints(static_cast<std::size_t>(size), 0x22));
        for (int y = 0; y < 3; ++y)
            EXPECT_EQ(Row(made, y, size * 3), three);
    }
}

TEST_F(KernelBytes, FortyEightBitsAreSignedAndRoundDown) {
    Bytes dib = MakeDib(2, 1, 48);
    SetRow16(dib, 0, {-3, -32768, 1000, -4, 32767, 1001});
    const Bytes made = Resample(dib, 4, 1);
    ASSERT_EQ(BitsOf(made), 48);
    // The means -3.5, -0.5 and 1000.5 become -4, -1 and 1000.
    EXPECT_EQ(Row16(made, 0, 12),
              (Ints{0xFFFD, 0x8000, 1000, 0xFFFC, 0xFFFF, 1000, 0xFFFC, 0x7FFF, 1001, 0xFFFC, 0x7FFF, 1001}));
}

TEST_F(KernelBytes, FortyEightBitsMixRows) {
    Bytes dib = MakeDib(1, 2, 48);
    SetRow16(dib, 0, {32767, -32768, -1});
    SetRow16(dib, 1, {32767, -32768, 0});
    const Bytes made = Resample(dib, 3, 3);
    ASSERT_EQ(made.size(), 100u);
    for (int y = 0; y < 2; ++y)
        EXPECT_EQ(Row16(made, y, 9), (Ints{32767, 0x8000, 0xFFFF, 32767, 0x8000, 0xFFFF, 32767, 0x8000, 0xFFFF}));
    EXPECT_EQ(Row16(made, 2, 9), (Ints{32767, 0x8000, 0, 32767, 0x8000, 0, 32767, 0x8000, 0}));
}

TEST_F(KernelBytes, SixtyFourBitsLimitTheFourthChannelToHalf) {
    Bytes dib = MakeDib(2, 1, 64);
    SetRow16(dib, 0, {-3, 20000, 32767, 20000, -4, 20001, 32767, 20000});
    Bytes made = Resample(dib, 2, 1);
    ASSERT_EQ(BitsOf(made), 64);
    EXPECT_EQ(Row16(made, 0, 8), (Ints{0xFFFD, 20000, 32767, 16383, 0xFFFC, 20001, 32767, 16383}));
    SetRow16(dib, 0, {0, 0, 0, -5, 0, 0, 0, 16384});
    made = Resample(dib, 4, 1);
    EXPECT_EQ(Row16(made, 0, 16), (Ints{0, 0, 0, 0, 0, 0, 0, 8189, 0, 0, 0, 16383, 0, 0, 0, 16383}));
}

TEST_F(KernelBytes, SameSizeGivesTheSamePixels) {
    Random random(11);
    for (int bits : {24, 32, 48}) {
        Bytes dib = MakeDib(7, 5, bits);
        for (std::size_t i = 40; i < dib.size(); ++i)
            dib[i] = static_cast<std::uint8_t>(random.Next());
        const Bytes made = Resample(dib, 7, 5);
        for (int y = 0; y < 5; ++y)
            EXPECT_EQ(Row(made, y, 7 * bits / 8), Row(dib, y, 7 * bits / 8)) << bits << " bits, row " << y;
    }
}

TEST_F(KernelBytes, DestinationPixelSizeIsTheRecords) {
    // A caller's own destination may leave bytes between pixels: they stay as they are.
    Bytes dib = MakeDib(2, 1, 24);
    SetRow(dib, 0, {1, 2, 3, 4, 5, 6});
    Bytes target = MakeDib(2, 1, 32);
    std::fill(target.begin() + 40, target.end(), std::uint8_t{0xCD});
    _tagDIBPARAM source, destination;
    object.SetDIBParam(dib.data(), source);
    object.SetDIBParam(target.data(), destination);
    const tagRECT frame = {0, 0, 2, 1};
    ASSERT_EQ(object.BiLinear24(source, &frame, &frame, destination, nullptr), 1);
    EXPECT_EQ(Row(target, 0, 8), (Ints{1, 2, 3, 0xCD, 4, 5, 6, 0xCD}));
}

TEST_F(KernelBytes, TableOfItsOwnIsTakenAsItIs) {
    Bytes dib = MakeDib(2, 1, 8);
    SetRow(dib, 0, {1, 0});
    Bytes target = MakeDib(2, 1, 24);
    _tagDIBPARAM source, destination;
    object.SetDIBParam(dib.data(), source);
    object.SetDIBParam(target.data(), destination);
    const tagRGBQUAD table[2] = {{1, 2, 3, 0}, {4, 5, 6, 0}};
    source.pColorTable = table;
    const tagRECT frame = {0, 0, 2, 1};
    ASSERT_EQ(object.BiLinear8(source, &frame, &frame, destination, nullptr), 1);
    EXPECT_EQ(Row(target, 0, 6), (Ints{4, 5, 6, 1, 2, 3}));
}

} // namespace

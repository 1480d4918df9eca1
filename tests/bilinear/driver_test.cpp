// BiLinear: frames, clips, depths and headers of results.
#include "tests/bilinear/bilinear_test.h"

namespace {

using namespace bilinear_test;
using namespace testdib;

class Driver : public BilinearTest {};

TEST_F(Driver, ResultHeaderHoldsTheClipAndNothingElse) {
    Bytes dib = MakeDib(2, 2, 8);
    PutU32(dib, 20, 8);
    PutU32(dib, 36, 5);
    const Bytes made = Resample(dib, {0, 0, 20, 30}, {3, 4, 10, 6});
    Bytes header(40);
    PutU32(header, 0, 40);
    PutU32(header, 4, 7);
    PutU32(header, 8, 2);
    PutU16(header, 12, 1);
    PutU16(header, 14, 24);
    ASSERT_EQ(made.size(), 88u);
    EXPECT_EQ(Bytes(made.begin(), made.begin() + 40), header);
}

TEST_F(Driver, ResultDepthOfEverySourceDepth) {
    const int bits[] = {1, 4, 8, 16, 24, 32, 48, 64};
    const int result[] = {24, 24, 24, 24, 24, 32, 48, 64};
    for (int i = 0; i < 8; ++i)
        EXPECT_EQ(BitsOf(Resample(MakeDib(3, 3, bits[i]), 3, 3)), result[i]);
}

TEST_F(Driver, PartEqualsThatPartOfTheWhole) {
    Random random(5);
    for (int bits : {1, 4, 8, 16, 24, 32, 48, 64}) {
        SCOPED_TRACE(bits);
        Bytes dib = MakeDib(9, 7, bits);
        for (std::size_t i = 40; i < dib.size(); ++i)
            dib[i] = static_cast<std::uint8_t>(random.Next());
        const tagRECT frame = {-5, 100, 8, 111};
        const Bytes whole = Resample(dib, frame, frame);
        const Bytes part = Resample(dib, frame, {-2, 103, 6, 110});
        const int size = BitsOf(whole) / 8;
        ASSERT_EQ(WidthOf(part), 8);
        ASSERT_EQ(HeightOf(part), 7);
        for (int y = 0; y < 7; ++y) {
            const Ints row = Row(whole, y + 3, 11 * size);
            EXPECT_EQ(Row(part, y, 8 * size), Ints(row.begin() + 3 * size, row.end())) << "row " << y;
        }
    }
}

TEST_F(Driver, OnlyTheDistanceFromTheFrameCounts) {
    Bytes dib = MakeDib(4, 4, 24);
    for (int y = 0; y < 4; ++y)
        SetRow(dib, y, {40 * y, 0, 0, 40 * y + 10, 1, 0, 40 * y + 20, 2, 0, 40 * y + 30, 3, 0});
    for (const auto& [x, y] : {std::pair{0, 0}, {-50, 3}, {7, -1000}, {INT_MIN, INT_MAX - 4}}) {
        const Bytes made = Resample(dib, {x, y, x + 4, y + 4}, {x + 1, y + 2, x + 3, y + 3});
        ASSERT_EQ(made.size(), 48u);
        EXPECT_EQ(Row(made, 0, 6), (Ints{90, 1, 0, 100, 2, 0}));
    }
}

TEST_F(Driver, OutputBeyondTheFrameIsClipped) {
    Bytes dib = MakeDib(2, 2, 24);
    SetRow(dib, 0, {1, 2, 3, 4, 5, 6});
    SetRow(dib, 1, {7, 8, 9, 10, 11, 12});
    const Bytes whole = Resample(dib, 2, 2);
    EXPECT_EQ(Resample(dib, {0, 0, 2, 2}, {-9, -9, 9, 9}), whole);
    EXPECT_EQ(Resample(dib, {0, 0, 2, 2}, {INT_MIN, INT_MIN, INT_MAX, INT_MAX}), whole);
    const Bytes corner = Resample(dib, {0, 0, 2, 2}, {1, 1, 50, 50});
    EXPECT_EQ(WidthOf(corner), 1);
    EXPECT_EQ(HeightOf(corner), 1);
    EXPECT_EQ(Row(corner, 0, 3), (Ints{10, 11, 12}));
}

TEST_F(Driver, OutputOutsideTheFrameIsRefused) {
    const Bytes dib = MakeDib(2, 2, 24);
    const tagRECT frame = {0, 0, 10, 10};
    for (const tagRECT output : {tagRECT{11, 0, 20, 10}, tagRECT{0, 11, 10, 20}, tagRECT{-5, 0, -1, 10},
                                 tagRECT{0, -5, 10, -1}, tagRECT{6, 0, 5, 10}, tagRECT{0, 6, 10, 5}}) {
        object.m_nLastError = 0;
        EXPECT_EQ(object.BiLinear(dib.data(), &frame, &output, nullptr), nullptr);
        EXPECT_EQ(object.m_nLastError, -4);
    }
    EXPECT_EQ(testhost::Allocations(), 0);
}

TEST_F(Driver, EmptyOutputInsideTheFramePasses) {
    const Bytes dib = MakeDib(2, 2, 24);
    // Inside, at the edges, and touching the frame from outside.
    for (const tagRECT output : {tagRECT{5, 2, 5, 8}, tagRECT{0, 0, 0, 10}, tagRECT{10, 0, 10, 10},
                                 tagRECT{10, 0, 20, 10}, tagRECT{2, 10, 8, 20}, tagRECT{4, 4, 4, 4}}) {
        const Bytes made = Resample(dib, {0, 0, 10, 10}, output);
        EXPECT_EQ(made.size(), 40u);
        EXPECT_EQ(BitsOf(made), 24);
    }
}

TEST_F(Driver, EmptyOutputAsksNothingOfTheSource) {
    Bytes dib = MakeDib(2, 2, 24);
    PutU32(dib, 4, 70000);
    PutU32(dib, 8, 0xFFFFFFFE);
    EXPECT_EQ(Resample(dib, {0, 0, 10, 10}, {5, 0, 5, 10}).size(), 40u);
    EXPECT_EQ(Resample(dib, {0, 0, 10, 10}, {0, 5, 10, 5}).size(), 40u);
}

TEST_F(Driver, TargetOnePixelHighChangesTheHorizontalMappingToo) {
    Bytes dib = MakeDib(4, 2, 24);
    for (int y = 0; y < 2; ++y)
        SetRow(dib, y, {0, 0, 0, 40, 0, 0, 80, 0, 0, 120, 0, 0});
    EXPECT_EQ(Channel24(Resample(dib, 2, 2), 0, 0), (Ints{0, 120}));
    EXPECT_EQ(Channel24(Resample(dib, 2, 1), 0, 0), (Ints{0, 80}));
    EXPECT_EQ(Channel24(Resample(dib, 8, 1), 0, 0), (Ints{0, 20, 40, 60, 80, 100, 120, 120}));
}

TEST_F(Driver, TargetOnePixelWideChangesTheVerticalMappingToo) {
    Bytes dib = MakeDib(2, 4, 24);
    for (int y = 0; y < 4; ++y)
        SetRow(dib, y, {40 * y, 0, 0, 0, 0, 0});
    const Bytes made = Resample(dib, 1, 8);
    const int expected[] = {0, 20, 40, 60, 80, 100, 120, 120};
    for (int y = 0; y < 8; ++y)
        EXPECT_EQ(Row(made, y, 1), Ints{expected[y]});
}

TEST_F(Driver, CompressedSourcesAreRefusedBeforeTheRectanglesAreLookedAt) {
    Bytes dib = MakeDib(2, 2, 24);
    for (unsigned compression : {1u, 2u, 3u, 4u, 0x80000000u}) {
        PutU32(dib, 16, compression);
        object.m_nLastError = 0;
        EXPECT_EQ(object.BiLinear(dib.data(), nullptr, nullptr, nullptr), nullptr);
        EXPECT_EQ(object.m_nLastError, -7);
        const tagRECT malformed = {5, 5, 0, 0};
        object.m_nLastError = 0;
        EXPECT_EQ(object.BiLinear(dib.data(), &malformed, &malformed, nullptr), nullptr);
        EXPECT_EQ(object.m_nLastError, -7);
    }
}

TEST_F(Driver, DepthsWithoutAKernelAreRefused) {
    const tagRECT whole = {0, 0, 2, 2};
    for (int bits = 2; bits <= 70; ++bits) {
        if (bits == 4 || bits == 8 || bits == 16 || bits == 24 || bits == 32 || bits == 48 || bits == 64)
            continue;
        SCOPED_TRACE(bits);
        const Bytes dib = MakeDib(2, 2, bits);
        object.m_nLastError = 0;
        testhost::ResetCounters();
        EXPECT_EQ(object.BiLinear(dib.data(), &whole, &whole, nullptr), nullptr);
        EXPECT_EQ(object.m_nLastError, -4);
        // The block comes first: without it the answer would be another.
        EXPECT_EQ(testhost::Allocations(), 1);
        EXPECT_EQ(testhost::LiveBlocks(), 0);
        testhost::FailAllocation(1);
        EXPECT_EQ(object.BiLinear(dib.data(), &whole, &whole, nullptr), nullptr);
        EXPECT_EQ(object.m_nLastError, -1);
    }
}

TEST_F(Driver, LastErrorStaysAfterASuccess) {
    const Bytes dib = MakeDib(2, 2, 24);
    EXPECT_EQ(object.BiLinear(nullptr, nullptr, nullptr, nullptr), nullptr);
    EXPECT_EQ(object.m_nLastError, -4);
    EXPECT_FALSE(Resample(dib, 2, 2).empty());
    EXPECT_EQ(object.m_nLastError, -4);
}

TEST_F(Driver, SourceIsNotChanged) {
    Bytes dib = MakeDib(9, 7, 8);
    SetGrayTable(dib, 256);
    const Bytes before = dib;
    EXPECT_FALSE(Resample(dib, 20, 20).empty());
    EXPECT_EQ(dib, before);
}

TEST_F(Driver, SourceMayStandAtAnOddAddress) {
    Random random(8);
    for (int bits : {1, 4, 8, 16, 24, 32, 48, 64}) {
        SCOPED_TRACE(bits);
        Bytes dib = MakeDib(6, 4, bits);
        for (std::size_t i = 40; i < dib.size(); ++i)
            dib[i] = static_cast<std::uint8_t>(random.Next());
        Bytes shifted(1);
        shifted.insert(shifted.end(), dib.begin(), dib.end());
        const tagRECT whole = {0, 0, 11, 5};
        EXPECT_EQ(Take(object.BiLinear(shifted.data() + 1, &whole, &whole, nullptr)), Resample(dib, 11, 5));
    }
}

} // namespace

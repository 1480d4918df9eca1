// Reading and drawing pixels and rectangles of the gray image classes.
#include "dibprep/image.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <utility>
#include <vector>

#if UINTPTR_MAX > 0xFFFFFFFF
#include <sys/mman.h>
#endif

namespace {

CImgRect Rect(int firstRow, int lastRow, int firstColumn, int lastColumn) {
    CImgRect rect;
    rect.firstRow = static_cast<unsigned short>(firstRow);
    rect.lastRow = static_cast<unsigned short>(lastRow);
    rect.firstColumn = static_cast<unsigned short>(firstColumn);
    rect.lastColumn = static_cast<unsigned short>(lastColumn);
    return rect;
}

using Pixels = std::vector<std::pair<int, int>>;

// Notes the pixels that a rectangle visits, as (x, y).
template <class Base>
class Noting : public Base {
public:
    using Base::Draw;
    void Draw(unsigned short x, unsigned short y, unsigned char) override { pixels.emplace_back(x, y); }
    Pixels pixels;
};

TEST(CGray16Image, ReadsGiveZero) {
    std::vector<unsigned char> buffer(64, 0xAB);
    CGray16Image image;
    image.data = buffer.data();
    image.size = 64;
    image.stride = 8;
    EXPECT_EQ(image.GetGrayScale(buffer.data(), 3), 0);
    EXPECT_EQ(image.GetGrayScale(static_cast<unsigned short>(2), 3), 0);
}

TEST(CGray16Image, DrawingAPixelOrARectangleChangesNothing) {
    const std::vector<unsigned char> before(64, 0xAB);
    std::vector<unsigned char> buffer = before;
    CGray16Image image;
    image.data = buffer.data();
    image.stride = 8;
    image.Draw(1, 1, 7);
    image.Draw(Rect(0, 7, 0, 7), 7);
    EXPECT_EQ(buffer, before);
}

TEST(CGray16Image, WorksWithoutABuffer) {
    CGray16Image image;
    EXPECT_EQ(image.GetGrayScale(nullptr, 9), 0);
    EXPECT_EQ(image.GetGrayScale(static_cast<unsigned short>(9), 9), 0);
    image.Draw(9, 9, 1);
    image.Draw(Rect(0, 9, 0, 9), 1);
}

TEST(CGray16Image, RectangleStillVisitsAnOverriddenPixelOperation) {
    Noting<CGray16Image> image;
    image.Draw(Rect(1, 2, 3, 4), 1);
    EXPECT_EQ(image.pixels, (Pixels{{3, 1}, {4, 1}, {3, 2}, {4, 2}}));
}

TEST(CGray256Image, ReadsTheByteOfARow) {
    unsigned char row[] = {10, 20, 30, 255};
    CGray256Image image;
    EXPECT_EQ(image.GetGrayScale(row, 0), 10);
    EXPECT_EQ(image.GetGrayScale(row, 3), 255);
}

TEST(CGray256Image, ReadsTheByteAtStrideTimesYPlusX) {
    std::vector<unsigned char> buffer(12 * 10);
    buffer[12 * 4 + 7] = 201;
    CGray256Image image;
    image.data = buffer.data();
    image.stride = 12;
    EXPECT_EQ(image.GetGrayScale(static_cast<unsigned short>(7), 4), 201);
    EXPECT_EQ(image.GetGrayScale(static_cast<unsigned short>(4), 7), 0);
}

// Unlike the colour classes, which ask the row read.
template <class Base>
class OwnRowRead : public Base {
public:
    using Base::GetGrayScale;
    unsigned char GetGrayScale(unsigned char*, unsigned short) override { return 99; }
};

TEST(GrayImages, PixelReadsDoNotGoThroughAnOverriddenRowRead) {
    unsigned char buffer[] = {10, 20, 30, 40};
    OwnRowRead<CGray256Image> image;
    image.data = buffer;
    image.stride = 2;
    EXPECT_EQ(image.GetGrayScale(static_cast<unsigned short>(1), 1), 40);
    OwnRowRead<CGray16Image> none;
    none.data = buffer;
    none.stride = 2;
    EXPECT_EQ(none.GetGrayScale(static_cast<unsigned short>(1), 1), 0);
}

TEST(CGray256Image, DrawThenReadGivesTheValue) {
    std::vector<unsigned char> buffer(12 * 10);
    CGray256Image image;
    image.data = buffer.data();
    image.stride = 12;
    image.Draw(11, 9, 0x5A);
    EXPECT_EQ(image.GetGrayScale(static_cast<unsigned short>(11), 9), 0x5A);
    std::vector<unsigned char> expected(12 * 10);
    expected[119] = 0x5A;
    EXPECT_EQ(buffer, expected);
}

TEST(CGray256Image, ColumnsAreNotBounded) {
    std::vector<unsigned char> buffer(8);
    CGray256Image image;
    image.data = buffer.data();
    image.stride = 4;
    image.Draw(5, 0, 9); // the second pixel of row 1
    EXPECT_EQ(image.GetGrayScale(static_cast<unsigned short>(1), 1), 9);
}

TEST(CGray256Image, StrideZeroPutsEveryRowOnTheFirst) {
    std::vector<unsigned char> buffer(4);
    CGray256Image image;
    image.data = buffer.data();
    image.Draw(2, 60000, 9);
    EXPECT_EQ(buffer, (std::vector<unsigned char>{0, 0, 9, 0}));
}

TEST(CGray256Image, RectangleRangesAreInclusive) {
    std::vector<unsigned char> buffer(4 * 4);
    CGray256Image image;
    image.data = buffer.data();
    image.stride = 4;
    image.Draw(Rect(1, 2, 1, 3), 8);
    EXPECT_EQ(buffer, (std::vector<unsigned char>{0, 0, 0, 0, 0, 8, 8, 8, 0, 8, 8, 8, 0, 0, 0, 0}));
}

TEST(CGray256Image, RectangleOfOnePixel) {
    std::vector<unsigned char> buffer(4);
    CGray256Image image;
    image.data = buffer.data();
    image.stride = 2;
    image.Draw(Rect(1, 1, 0, 0), 8);
    EXPECT_EQ(buffer, (std::vector<unsigned char>{0, 0, 8, 0}));
}

TEST(CGray256Image, RectangleWithAReversedRangeDrawsNothing) {
    const std::vector<unsigned char> before(16, 1);
    std::vector<unsigned char> buffer = before;
    CGray256Image image;
    image.data = buffer.data();
    image.stride = 4;
    image.Draw(Rect(2, 1, 0, 3), 8);
    image.Draw(Rect(0, 3, 2, 1), 8);
    image.Draw(Rect(65535, 0, 65535, 0), 8);
    EXPECT_EQ(buffer, before);
}

TEST(CGray256Image, RectangleIsDrawnRowByRowThroughTheOverride) {
    Noting<CGray256Image> image;
    image.Draw(Rect(5, 6, 7, 9), 1);
    EXPECT_EQ(image.pixels, (Pixels{{7, 5}, {8, 5}, {9, 5}, {7, 6}, {8, 6}, {9, 6}}));
}

TEST(CGray256Image, RectangleThatEndsAtTheLastRowAndColumnEnds) {
    Noting<CGray256Image> image;
    image.Draw(Rect(65534, 65535, 65535, 65535), 1);
    EXPECT_EQ(image.pixels, (Pixels{{65535, 65534}, {65535, 65535}}));
}

#if UINTPTR_MAX > 0xFFFFFFFF
// A buffer of this length exists in 64 bits alone.
TEST(CGray256Image, LastPixelOfTheLongestBufferIsReached) {
    const std::size_t last = std::size_t{65535} * 65535 + 65535; // 4294901760
    const std::size_t page = 4096;
    const std::size_t bytes = (last / page + 1) * page;
    void* const map = mmap(nullptr, bytes, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    ASSERT_NE(map, MAP_FAILED);
    auto* const data = static_cast<unsigned char*>(map);
    ASSERT_EQ(mprotect(data + last / page * page, page, PROT_READ | PROT_WRITE), 0);

    CGray256Image image;
    image.data = data;
    image.stride = 65535;
    image.Draw(65535, 65535, 77);
    EXPECT_EQ(data[last], 77);
    EXPECT_EQ(image.GetGrayScale(static_cast<unsigned short>(65535), 65535), 77);
    munmap(map, bytes);
}
#endif

} // namespace

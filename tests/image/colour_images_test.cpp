// Reading and drawing pixels and rectangles of the colour image classes: all three alike.
#include "dibprep/image.h"

#include <gtest/gtest.h>

#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace {

using Bytes = std::vector<unsigned char>;

bool Is(const tagRGBQUAD& colour, int blue, int green, int red) {
    return colour.rgbBlue == blue && colour.rgbGreen == green && colour.rgbRed == red && colour.rgbReserved == 0;
}

CImgRect Rect(int firstRow, int lastRow, int firstColumn, int lastColumn) {
    CImgRect rect;
    rect.firstRow = static_cast<unsigned short>(firstRow);
    rect.lastRow = static_cast<unsigned short>(lastRow);
    rect.firstColumn = static_cast<unsigned short>(firstColumn);
    rect.lastColumn = static_cast<unsigned short>(lastColumn);
    return rect;
}

template <class Image>
class ColourImages : public testing::Test {};
using Classes = testing::Types<CColor16Image, CColor256Image, CFullColorImage>;
struct ClassName {
    template <class Image>
    static std::string GetName(int) {
        return std::is_same_v<Image, CColor16Image>    ? "CColor16Image"
               : std::is_same_v<Image, CColor256Image> ? "CColor256Image"
                                                       : "CFullColorImage";
    }
};
TYPED_TEST_SUITE(ColourImages, Classes, ClassName);

TYPED_TEST(ColourImages, RowReadTakesBlueGreenRedFromThreeBytes) {
    unsigned char row[] = {1, 2, 3, 4, 5, 6, 7, 8, 9};
    TypeParam image;
    EXPECT_TRUE(Is(image.GetRGBQUAD(row, 0), 1, 2, 3));
    EXPECT_TRUE(Is(image.GetRGBQUAD(row, 2), 7, 8, 9));
}

// Two pixels a row: 6 bytes and 2 of padding.
TYPED_TEST(ColourImages, PixelReadTakesYAsAByteOffset) {
    Bytes buffer{11, 12, 13, 21, 22, 23, 0, 0, 31, 32, 33, 41, 42, 43, 0, 0};
    TypeParam image;
    image.data = buffer.data();
    image.size = 16;
    image.stride = 8;
    const auto read = [&image](int x, int y) {
        return image.GetRGBQUAD(static_cast<unsigned short>(x), static_cast<unsigned short>(y));
    };
    EXPECT_TRUE(Is(read(0, 0), 11, 12, 13));
    EXPECT_TRUE(Is(read(1, 0), 21, 22, 23));
    EXPECT_TRUE(Is(read(0, 1), 12, 13, 21)); // astride pixels 0 and 1
    EXPECT_TRUE(Is(read(0, 8), 31, 32, 33)); // the stride: the first pixel of row 1
    EXPECT_TRUE(Is(read(1, 8), 41, 42, 43));
}

TYPED_TEST(ColourImages, PixelDrawTakesYAsARowAndLeavesTheReservedByteOut) {
    Bytes buffer(16, 0xEE);
    TypeParam image;
    image.data = buffer.data();
    image.stride = 8;
    image.Draw(1, 1, tagRGBQUAD{1, 2, 3, 4});
    Bytes expected(16, 0xEE);
    expected[11] = 1;
    expected[12] = 2;
    expected[13] = 3;
    EXPECT_EQ(buffer, expected);
}

TYPED_TEST(ColourImages, DrawnPixelIsReadAtItsRowsByteOffset) {
    Bytes buffer(16);
    TypeParam image;
    image.data = buffer.data();
    image.stride = 8;
    image.Draw(1, 1, tagRGBQUAD{1, 2, 3, 4});
    EXPECT_TRUE(Is(image.GetRGBQUAD(static_cast<unsigned short>(1), 8), 1, 2, 3));
    EXPECT_TRUE(Is(image.GetRGBQUAD(static_cast<unsigned short>(1), 1), 0, 0, 0));
}

TYPED_TEST(ColourImages, RectangleRangesAreInclusive) {
    Bytes buffer(3 * 9);
    TypeParam image;
    image.data = buffer.data();
    image.stride = 9;
    image.Draw(Rect(1, 2, 0, 1), tagRGBQUAD{1, 2, 3, 9});
    EXPECT_EQ(buffer, (Bytes{0, 0, 0, 0, 0, 0, 0, 0, 0, //
                             1, 2, 3, 1, 2, 3, 0, 0, 0, //
                             1, 2, 3, 1, 2, 3, 0, 0, 0}));
}

TYPED_TEST(ColourImages, RectangleWithAReversedRangeDrawsNothing) {
    Bytes buffer(27);
    TypeParam image;
    image.data = buffer.data();
    image.stride = 9;
    image.Draw(Rect(1, 0, 0, 2), tagRGBQUAD{1, 2, 3, 0});
    image.Draw(Rect(0, 2, 1, 0), tagRGBQUAD{1, 2, 3, 0});
    EXPECT_EQ(buffer, Bytes(27));
}

template <class Base>
class Overriding : public Base {
public:
    using Base::Draw;
    using Base::GetRGBQUAD;
    void Draw(unsigned short x, unsigned short y, tagRGBQUAD) override { drawn.emplace_back(x, y); }
    tagRGBQUAD GetRGBQUAD(unsigned char* row, unsigned short x) override {
        return tagRGBQUAD{static_cast<unsigned char>(row - this->data), static_cast<unsigned char>(x), 99, 0};
    }
    std::vector<std::pair<int, int>> drawn;
};

TYPED_TEST(ColourImages, RectangleIsDrawnRowByRowThroughTheOverride) {
    Overriding<TypeParam> image;
    image.Draw(Rect(65534, 65535, 65534, 65535), tagRGBQUAD{});
    const std::vector<std::pair<int, int>> expected{{65534, 65534}, {65535, 65534}, {65534, 65535}, {65535, 65535}};
    EXPECT_EQ(image.drawn, expected);
}

TYPED_TEST(ColourImages, PixelReadGoesThroughTheOverriddenRowRead) {
    Bytes buffer(16);
    Overriding<TypeParam> image;
    image.data = buffer.data();
    image.stride = 8;
    EXPECT_TRUE(Is(image.GetRGBQUAD(static_cast<unsigned short>(3), 5), 5, 3, 99));
}

} // namespace

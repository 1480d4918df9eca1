// The records and virtual tables that a host built elsewhere relies on: which slot holds what.
#include "dibprep/image.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <string>
#include <type_traits>
#include <vector>

namespace {

// Slot i of the object's virtual table, as a function that takes the object first.
template <class Function, class Image>
Function* Slot(Image& image, int i) {
    void* const* table;
    std::memcpy(&table, static_cast<void*>(&image), sizeof table);
    return reinterpret_cast<Function*>(table[i]);
}

using ReadGrayRow = unsigned char(void*, unsigned char*, unsigned short);
using ReadGray = unsigned char(void*, unsigned short, unsigned short);
using DrawGray = void(void*, unsigned short, unsigned short, unsigned char);
using DrawGrayRect = void(void*, CImgRect, unsigned char);
using ReadColourRow = tagRGBQUAD(void*, unsigned char*, unsigned short);
using ReadColour = tagRGBQUAD(void*, unsigned short, unsigned short);
using DrawColour = void(void*, unsigned short, unsigned short, tagRGBQUAD);
using DrawColourRect = void(void*, CImgRect, tagRGBQUAD);

class NotingGray : public CGrayImage {
public:
    unsigned char GetGrayScale(unsigned char*, unsigned short) override { return Note(1); }
    unsigned char GetGrayScale(unsigned short, unsigned short) override { return Note(2); }
    void Draw(unsigned short, unsigned short, unsigned char) override { Note(3); }
    void Draw(CImgRect, unsigned char) override { Note(4); }
    int called = 0;

private:
    unsigned char Note(int operation) {
        called = operation;
        return static_cast<unsigned char>(operation);
    }
};

class NotingColour : public CColorImage {
public:
    tagRGBQUAD GetRGBQUAD(unsigned char*, unsigned short) override { return Note(1); }
    tagRGBQUAD GetRGBQUAD(unsigned short, unsigned short) override { return Note(2); }
    void Draw(unsigned short, unsigned short, tagRGBQUAD) override { Note(3); }
    void Draw(CImgRect, tagRGBQUAD) override { Note(4); }
    int called = 0;

private:
    tagRGBQUAD Note(int operation) {
        called = operation;
        return tagRGBQUAD{};
    }
};

TEST(VirtualTable, GraySlotsOfAHostsClassStandInOrder) {
    NotingGray image;
    Slot<ReadGrayRow>(image, 0)(&image, nullptr, 0);
    EXPECT_EQ(image.called, 1);
    Slot<ReadGray>(image, 1)(&image, 0, 0);
    EXPECT_EQ(image.called, 2);
    Slot<DrawGray>(image, 2)(&image, 0, 0, 0);
    EXPECT_EQ(image.called, 3);
    Slot<DrawGrayRect>(image, 3)(&image, CImgRect(), 0);
    EXPECT_EQ(image.called, 4);
}

TEST(VirtualTable, ColourSlotsOfAHostsClassStandInOrder) {
    NotingColour image;
    Slot<ReadColourRow>(image, 0)(&image, nullptr, 0);
    EXPECT_EQ(image.called, 1);
    Slot<ReadColour>(image, 1)(&image, 0, 0);
    EXPECT_EQ(image.called, 2);
    Slot<DrawColour>(image, 2)(&image, 0, 0, tagRGBQUAD{});
    EXPECT_EQ(image.called, 3);
    Slot<DrawColourRect>(image, 3)(&image, CImgRect(), tagRGBQUAD{});
    EXPECT_EQ(image.called, 4);
}

TEST(VirtualTable, HostsClassIsReachedThroughTheBase) {
    NotingGray gray;
    CGrayImage& grayBase = gray;
    EXPECT_EQ(grayBase.GetGrayScale(nullptr, 0), 1);
    EXPECT_EQ(grayBase.GetGrayScale(static_cast<unsigned short>(0), 0), 2);
    NotingColour colour;
    CColorImage& colourBase = colour;
    colourBase.Draw(CImgRect(), tagRGBQUAD{});
    EXPECT_EQ(colour.called, 4);
}

TEST(VirtualTable, SlotsOfCGray256Image) {
    std::vector<unsigned char> buffer{1, 2, 3, 4};
    CGray256Image image;
    image.data = buffer.data();
    image.stride = 2;
    EXPECT_EQ(Slot<ReadGrayRow>(image, 0)(&image, buffer.data() + 1, 2), 4);
    EXPECT_EQ(Slot<ReadGray>(image, 1)(&image, 0, 1), 3);
    Slot<DrawGray>(image, 2)(&image, 1, 0, 50);
    EXPECT_EQ(buffer, (std::vector<unsigned char>{1, 50, 3, 4}));
    CImgRect secondRow;
    secondRow.firstRow = secondRow.lastRow = 1;
    secondRow.lastColumn = 1;
    Slot<DrawGrayRect>(image, 3)(&image, secondRow, 60);
    EXPECT_EQ(buffer, (std::vector<unsigned char>{1, 50, 60, 60}));
}

TEST(VirtualTable, SlotsOfCGray16Image) {
    std::vector<unsigned char> buffer{1, 2, 3, 4};
    CGray16Image image;
    image.data = buffer.data();
    image.stride = 2;
    EXPECT_EQ(Slot<ReadGrayRow>(image, 0)(&image, buffer.data(), 1), 0);
    EXPECT_EQ(Slot<ReadGray>(image, 1)(&image, 1, 1), 0);
    Slot<DrawGray>(image, 2)(&image, 1, 1, 50);
    Slot<DrawGrayRect>(image, 3)(&image, CImgRect(), 50);
    EXPECT_EQ(buffer, (std::vector<unsigned char>{1, 2, 3, 4}));
}

template <class Image>
class ColourTables : public testing::Test {};
using Classes = testing::Types<CColor16Image, CColor256Image, CFullColorImage>;
struct ClassName {
    template <class Image>
    static std::string GetName(int) {
        return std::is_same_v<Image, CColor16Image>    ? "CColor16Image"
               : std::is_same_v<Image, CColor256Image> ? "CColor256Image"
                                                       : "CFullColorImage";
    }
};
TYPED_TEST_SUITE(ColourTables, Classes, ClassName);

TYPED_TEST(ColourTables, SlotsStandInOrder) {
    std::vector<unsigned char> buffer{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
    TypeParam image;
    image.data = buffer.data();
    image.stride = 6;
    const tagRGBQUAD row = Slot<ReadColourRow>(image, 0)(&image, buffer.data() + 6, 1);
    EXPECT_EQ(row.rgbBlue, 10);
    EXPECT_EQ(row.rgbGreen, 11);
    EXPECT_EQ(row.rgbRed, 12);
    EXPECT_EQ(row.rgbReserved, 0);
    const tagRGBQUAD pixel = Slot<ReadColour>(image, 1)(&image, 1, 2);
    EXPECT_EQ(pixel.rgbBlue, 6);
    EXPECT_EQ(pixel.rgbRed, 8);
    Slot<DrawColour>(image, 2)(&image, 1, 1, tagRGBQUAD{60, 61, 62, 63});
    EXPECT_EQ(buffer, (std::vector<unsigned char>{1, 2, 3, 4, 5, 6, 7, 8, 9, 60, 61, 62}));
    CImgRect firstRow;
    firstRow.lastColumn = 1;
    Slot<DrawColourRect>(image, 3)(&image, firstRow, tagRGBQUAD{70, 71, 72, 73});
    EXPECT_EQ(buffer, (std::vector<unsigned char>{70, 71, 72, 70, 71, 72, 7, 8, 9, 60, 61, 62}));
}

TEST(ImageRecords, FieldsStandInOrder) {
    EXPECT_EQ(offsetof(CImgRect, firstRow), 0u);
    EXPECT_EQ(offsetof(CImgRect, lastRow), 2u);
    EXPECT_EQ(offsetof(CImgRect, firstColumn), 4u);
    EXPECT_EQ(offsetof(CImgRect, lastColumn), 6u);
    EXPECT_EQ(sizeof(CImgRect), 8u);
    EXPECT_EQ(offsetof(CImgBuffer, data), 0u);
    EXPECT_EQ(offsetof(CImgBuffer, size), sizeof(void*));
    EXPECT_EQ(sizeof(CImgParameter), 20u);
}

std::ptrdiff_t Offset(const void* object, const void* field) {
    return static_cast<const char*>(field) - static_cast<const char*>(object);
}

TEST(ImageRecords, ParameterWordsFollowTheRectangle) {
    const CImgParameter parameter;
    EXPECT_EQ(Offset(&parameter, &parameter.firstRow), 0);
    EXPECT_EQ(Offset(&parameter, &parameter.parameter1), 8);
    EXPECT_EQ(Offset(&parameter, &parameter.parameter2), 12);
    EXPECT_EQ(Offset(&parameter, &parameter.stride), 16);
}

TEST(ImageRecords, ImageHoldsTheTableThenBufferThenParameters) {
    const CGray256Image gray;
    EXPECT_EQ(Offset(&gray, &gray.data), static_cast<std::ptrdiff_t>(sizeof(void*)));
    EXPECT_EQ(Offset(&gray, &gray.size), static_cast<std::ptrdiff_t>(2 * sizeof(void*)));
    EXPECT_EQ(Offset(&gray, &gray.firstRow), static_cast<std::ptrdiff_t>(2 * sizeof(void*) + 4));
    EXPECT_EQ(Offset(&gray, &gray.stride), static_cast<std::ptrdiff_t>(2 * sizeof(void*) + 20));
    EXPECT_EQ(sizeof(CGray256Image), sizeof(void*) == 4 ? 32u : 40u);
    EXPECT_EQ(sizeof(CFullColorImage), sizeof(CGray256Image));
    EXPECT_EQ(sizeof(CGray16Image), sizeof(CGray256Image));
}

TEST(ImageRecords, EveryFieldStartsAtZero) {
    const CFullColorImage image;
    EXPECT_EQ(image.data, nullptr);
    EXPECT_EQ(image.size, 0u);
    EXPECT_EQ(image.firstRow + image.lastRow + image.firstColumn + image.lastColumn, 0);
    EXPECT_EQ(image.parameter1, 0u);
    EXPECT_EQ(image.parameter2, 0u);
    EXPECT_EQ(image.stride, 0);
}

TEST(ImageRecords, OnlyTheImageClassesHaveVirtualTables) {
    EXPECT_FALSE(std::is_polymorphic_v<CImgRect>);
    EXPECT_FALSE(std::is_polymorphic_v<CImgParameter>);
    EXPECT_FALSE(std::is_polymorphic_v<CImgBuffer>);
    EXPECT_FALSE(std::is_polymorphic_v<CImgConverter>);
    EXPECT_TRUE(std::is_polymorphic_v<CGrayImage>);
    EXPECT_TRUE(std::is_polymorphic_v<CColorImage>);
    EXPECT_EQ(sizeof(CImgConverter), 4 * sizeof(void*));
    EXPECT_EQ(offsetof(CImgConverter, source), 0u);
    EXPECT_EQ(offsetof(CImgConverter, header), sizeof(void*));
    EXPECT_EQ(offsetof(CImgConverter, colorTable), 2 * sizeof(void*));
    EXPECT_EQ(offsetof(CImgConverter, bits), 3 * sizeof(void*));
}

} // namespace

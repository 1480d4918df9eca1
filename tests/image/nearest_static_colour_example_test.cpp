// How a host maps colours to the fixed palette: build the cube once, look each colour up in its
// cell, release the cube when done.
#include "dibprep/memory.h"
#include "dibprep/quantize.h"

#include <gtest/gtest.h>

#include <cstring>

namespace {

// The number of the static colour nearest to (red, green, blue): search the list of the colour's
// cell by squared distance. Of equally near colours the earlier in the list wins. The cube must
// have been built: an empty cell (no memory for the palette) gives -1.
int NearestStaticColour(unsigned char red, unsigned char green, unsigned char blue) {
    const CCubeCell& cell = STATIC_CUBE[red >> 4][green >> 4][blue >> 4];
    int nearest = -1;
    int best = 0;
    for (int i = 0; i < cell.m_nCount; ++i) {
        const CColorTrans2& record = cell.m_pList[i];
        const int redDistance = record.m_rgb.rgbRed - red;
        const int greenDistance = record.m_rgb.rgbGreen - green;
        const int blueDistance = record.m_rgb.rgbBlue - blue;
        const int distance = redDistance * redDistance + greenDistance * greenDistance + blueDistance * blueDistance;
        if (nearest < 0 || distance < best) {
            nearest = record.m_byIndex;
            best = distance;
        }
    }
    return nearest;
}

class StaticColourExample : public testing::Test {
protected:
    StaticColourExample() { CNiGoRo2::CreateStaticSearchCube(); }
    ~StaticColourExample() override {
        CNiGoRo2::DeleteStaticSearchCube();
        STATIC_COLOR.Free();
    }
};

TEST_F(StaticColourExample, FindsColoursOfThePalette) {
    EXPECT_EQ(NearestStaticColour(0, 0, 0), 0);
    EXPECT_EQ(NearestStaticColour(255, 255, 255), 244);
    EXPECT_EQ(NearestStaticColour(0, 255, 255), 34);
    EXPECT_EQ(NearestStaticColour(0x80, 0x80, 0x80), 252);
}

TEST_F(StaticColourExample, FindsTheNearestForColoursThatAreNotInThePalette) {
    EXPECT_EQ(NearestStaticColour(250, 3, 7), 210);        // (255, 0, 0)
    EXPECT_EQ(NearestStaticColour(0x7E, 0x7F, 0x80), 252); // the gray, not (0x82, 0x82, 0x90)
    EXPECT_EQ(NearestStaticColour(0x82, 0x82, 0x8A), 122); // (0x82, 0x82, 0x90)
}

TEST_F(StaticColourExample, AnswerIsAPositionInThePalette) {
    const unsigned char* const palette = STATIC_COLOR;
    const unsigned char expected[] = {0xAA, 0x50, 0x40}; // level 4, level 2, level 1: 4 x 35 + 2 x 5 + 1
    const int number = NearestStaticColour(0xA8, 0x55, 0x3B);
    EXPECT_EQ(number, 151);
    EXPECT_EQ(std::memcmp(palette + 3 * number, expected, 3), 0);
}

TEST(StaticColourExampleWithoutACube, GivesNoColour) { EXPECT_EQ(NearestStaticColour(1, 2, 3), -1); }

} // namespace

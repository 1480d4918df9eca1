// The six colour-to-gray functions: worked values, and every rule against a second wording of it.
#include "dibprep/colour.h"

#include "dibprep/host.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

using Function = unsigned int(unsigned int);

constexpr unsigned int Gray(unsigned int v) { return v * 0x010101; }

TEST(ColorToMono16Easy, WorkedValues) {
    EXPECT_EQ(ColorToMono16Easy(RGB(255, 255, 255)), 0xFFFFFFu);
    EXPECT_EQ(ColorToMono16Easy(RGB(50, 50, 50)), 0x222222u); // 34
    EXPECT_EQ(ColorToMono16Easy(RGB(0, 0, 0)), 0u);
    EXPECT_EQ(ColorToMono16Easy(RGB(16, 17, 17)), 0u); // 50 / 3 = 16
    EXPECT_EQ(ColorToMono16Easy(RGB(17, 17, 17)), Gray(17));
    EXPECT_EQ(ColorToMono16Easy(RGB(255, 255, 254)), Gray(238));
    EXPECT_EQ(ColorToMono16Easy(RGB(255, 0, 0)), Gray(85));
}

TEST(ColorToMono16MinMax, WorkedValues) {
    EXPECT_EQ(ColorToMono16MinMax(RGB(255, 255, 255)), Gray(255));
    EXPECT_EQ(ColorToMono16MinMax(RGB(255, 0, 0)), Gray(119));   // 127
    EXPECT_EQ(ColorToMono16MinMax(RGB(10, 200, 61)), Gray(102)); // 105
    EXPECT_EQ(ColorToMono16MinMax(RGB(0, 33, 33)), 0u);          // 16
    EXPECT_EQ(ColorToMono16MinMax(RGB(34, 12, 0)), Gray(17));
}

TEST(ColorToMono16, WorkedValues) {
    EXPECT_EQ(ColorToMono16(RGB(0, 0, 255)), Gray(17));  // 2805: 28
    EXPECT_EQ(ColorToMono16(RGB(255, 0, 0)), Gray(68));  // 7650: 77, half rounds up
    EXPECT_EQ(ColorToMono16(RGB(0, 255, 0)), Gray(136)); // 15045: 150
    EXPECT_EQ(ColorToMono16(RGB(255, 255, 255)), Gray(255));
    EXPECT_EQ(ColorToMono16(RGB(0, 0, 0)), 0u);
}

TEST(ColorToMono16, HalfAHundredthRoundsUp) {
    EXPECT_EQ(ColorToMono16(RGB(55, 0, 0)), Gray(17)); // 1650: 17
    EXPECT_EQ(ColorToMono16(RGB(2, 26, 5)), 0u);       // 1649: 16
}

// A luminance of 254.5 and more rounds up to 255, also for these.
TEST(ColorToMono16, SixColoursNextToWhiteGiveWhite) {
    const std::vector<unsigned int> expected{RGB(254, 255, 254), RGB(254, 255, 255), RGB(255, 255, 251),
                                             RGB(255, 255, 252), RGB(255, 255, 253), RGB(255, 255, 254),
                                             RGB(255, 255, 255)};
    std::vector<unsigned int> white;
    for (unsigned int red = 240; red < 256; ++red)
        for (unsigned int green = 240; green < 256; ++green)
            for (unsigned int blue = 200; blue < 256; ++blue) {
                const unsigned int colour = red | green << 8 | blue << 16;
                if (ColorToMono16(colour) == Gray(255))
                    white.push_back(colour);
            }
    EXPECT_EQ(white, expected);
    EXPECT_EQ(ColorToMono16(RGB(255, 254, 255)), Gray(238));
    EXPECT_EQ(ColorToMono16(RGB(255, 255, 250)), Gray(238));
}

TEST(ColorToMono256Easy, WorkedValues) {
    EXPECT_EQ(ColorToMono256Easy(RGB(255, 255, 255)), Gray(255));
    EXPECT_EQ(ColorToMono256Easy(RGB(255, 0, 0)), Gray(85));
    EXPECT_EQ(ColorToMono256Easy(RGB(0, 1, 1)), 0u);
    EXPECT_EQ(ColorToMono256Easy(RGB(1, 1, 1)), Gray(1));
}

TEST(ColorToMono256MinMax, WorkedValues) {
    EXPECT_EQ(ColorToMono256MinMax(RGB(255, 0, 0)), Gray(127));
    EXPECT_EQ(ColorToMono256MinMax(RGB(255, 255, 255)), Gray(255));
    EXPECT_EQ(ColorToMono256MinMax(RGB(3, 100, 4)), Gray(51));
}

// The weights make 62 of 64.
TEST(ColorToMono256, WorkedValues) {
    EXPECT_EQ(ColorToMono256(RGB(255, 255, 255)), Gray(247));
    EXPECT_EQ(ColorToMono256(RGB(128, 128, 128)), Gray(124));
    EXPECT_EQ(ColorToMono256(RGB(255, 0, 0)), Gray(63));
    EXPECT_EQ(ColorToMono256(RGB(0, 255, 0)), Gray(151));
    EXPECT_EQ(ColorToMono256(RGB(0, 0, 255)), Gray(31));
    EXPECT_EQ(ColorToMono256(RGB(1, 1, 1)), 0u);
}

TEST(ColorToMono, TopByteOfTheColourIsIgnoredAndComesOutZero) {
    for (Function* const function : {ColorToMono16Easy, ColorToMono16MinMax, ColorToMono16, ColorToMono256Easy,
                                     ColorToMono256MinMax, ColorToMono256})
        for (const unsigned int colour : {0u, 0x123456u, 0xFFFFFFu})
            EXPECT_EQ(function(colour | 0xFF000000), function(colour));
}

// The largest multiple of 17 that is not above v, by counting.
unsigned int CountedLevel(unsigned int v) {
    unsigned int level = 0;
    while (level + 17 <= v)
        level += 17;
    return level;
}

TEST(ColorToMono, EveryRuleHoldsOverColoursOfTheWholeCube) {
    // A stride that shares no factor with 256 reaches every value of every channel.
    for (unsigned int colour = 0; colour <= 0xFFFFFF; colour += 89) {
        const unsigned int r = colour % 256;
        const unsigned int g = colour / 256 % 256;
        const unsigned int b = colour / 65536;
        const unsigned int largest = r > g ? (r > b ? r : b) : (g > b ? g : b);
        const unsigned int smallest = r < g ? (r < b ? r : b) : (g < b ? g : b);
        const unsigned int luminance = (r * 30 + g * 59 + b * 11 + 50) / 100;
        ASSERT_EQ(ColorToMono16Easy(colour), Gray(CountedLevel((r + g + b) / 3))) << colour;
        ASSERT_EQ(ColorToMono16MinMax(colour), Gray(CountedLevel((largest + smallest) / 2))) << colour;
        ASSERT_EQ(ColorToMono16(colour), Gray(CountedLevel(luminance))) << colour;
        ASSERT_EQ(ColorToMono256Easy(colour), Gray((r + g + b) / 3)) << colour;
        ASSERT_EQ(ColorToMono256MinMax(colour), Gray((largest + smallest) / 2)) << colour;
        ASSERT_EQ(ColorToMono256(colour), Gray((8 * r + 19 * g + 4 * b) / 32)) << colour;
    }
}

} // namespace

// Default colours: colours of the host that survive the reduction exactly.
#include "tests/quantize/quantize_support.h"

namespace {

using namespace quantizetest;

class DefaultColours : public MemoryTest {
protected:
    CNiGoRo2& Build(const std::vector<Rgb>& defaults, const std::vector<Rgb>& pixels, unsigned short maxColours) {
        m_dib = TrueColour(static_cast<int>(pixels.size()), 1, pixels);
        m_object = Quantiser(m_dib, maxColours);
        SetDefaults(*m_object, defaults);
        BuildColours(*m_object);
        return *m_object;
    }

private:
    Bytes m_dib;
    std::unique_ptr<CNiGoRo2> m_object;
};

TEST_F(DefaultColours, KeepTheirValueHoweverManyPixelsFallIntoTheirLeaf) {
    const CNiGoRo2& q = Build({{10, 20, 30}}, {{11, 21, 31}, {8, 16, 24}, {15, 23, 31}, {10, 20, 30}}, 256);
    EXPECT_EQ(Palette(q), (std::vector<Rgb>{{10, 20, 30}}));
    EXPECT_EQ(Counts(q), (std::vector<unsigned>{1})) << "and a count of 1";
}

TEST_F(DefaultColours, AreInThePaletteWithoutAnyPixel) {
    const CNiGoRo2& q = Build({{255, 0, 0}, {0, 0, 255}}, {{1, 1, 1}}, 256);
    EXPECT_EQ(Palette(q), (std::vector<Rgb>{{1, 1, 1}, {255, 0, 0}, {0, 0, 255}}));
    EXPECT_EQ(Counts(q), (std::vector<unsigned>{1, 1, 1}));
}

TEST_F(DefaultColours, TheFirstOfTwoInALeafWins) {
    EXPECT_EQ(Palette(Build({{10, 20, 30}, {11, 21, 31}}, {{11, 21, 31}}, 256)), (std::vector<Rgb>{{10, 20, 30}}));
    EXPECT_EQ(Palette(Build({{11, 21, 31}, {10, 20, 30}}, {{11, 21, 31}}, 256)), (std::vector<Rgb>{{11, 21, 31}}));
}

TEST_F(DefaultColours, CountAgainstTheMaximum) {
    // Three wanted, two of them given: the pixels get one, in the root.
    const CNiGoRo2& q = Build({{0, 0, 0}, {255, 255, 255}}, {{255, 0, 0}, {255, 0, 0}, {0, 255, 0}, {0, 0, 255}}, 3);
    EXPECT_EQ(Palette(q), (std::vector<Rgb>{{127, 63, 63}, {0, 0, 0}, {255, 255, 255}}));
    EXPECT_EQ(Counts(q), (std::vector<unsigned>{4, 1, 1}));
}

TEST_F(DefaultColours, ReduceAnswersTheOtherColoursOnly) {
    Bytes dib = TrueColour(2, 1, {{255, 0, 0}, {0, 255, 0}});
    const auto q = Quantiser(dib);
    SetDefaults(*q, {{0, 0, 0}});
    ASSERT_EQ(q->InitOctree(), 1);
    q->InsertDefaultColors();
    q->FillTree();
    EXPECT_EQ(q->ReduceColors(), 2u);
    EXPECT_EQ(q->m_nColors, 3);
}

TEST_F(DefaultColours, AsManyAsTheMaximumLeaveRoomForNoOther) {
    // Everything is merged up to the root, where the default colour wins.
    const CNiGoRo2& q = Build({{10, 20, 30}}, {{200, 200, 200}, {200, 200, 200}}, 1);
    EXPECT_EQ(Palette(q), (std::vector<Rgb>{{10, 20, 30}}));
    EXPECT_EQ(Counts(q), (std::vector<unsigned>{1}));
}

TEST_F(DefaultColours, MoreThanTheMaximumSwitchTheReductionOff) {
    // One less two is 4294967295.
    const CNiGoRo2& q = Build({{0, 0, 0}, {255, 255, 255}}, {{255, 0, 0}, {0, 255, 0}}, 1);
    EXPECT_EQ(q.m_nColors, 4);
}

TEST_F(DefaultColours, SurplusOnesAreReducedTo256) {
    const CNiGoRo2& q = Build(Distinct(300), {{255, 0, 255}}, 256);
    EXPECT_LE(q.m_nColors, 256);
    EXPECT_GE(q.m_nColors, 1);
    const CNiGoRo2& q2 = Build(Distinct(256), {{255, 255, 255}}, 65535);
    EXPECT_LE(q2.m_nColors, 256);
    const CNiGoRo2& q3 = Build(Distinct(256), {{0, 0, 0}}, 256);
    EXPECT_EQ(q3.m_nColors, 256) << "256 in use already, and the pixel falls into one of their leaves";
}

TEST_F(DefaultColours, WholeReductionMapsToThem) {
    Bytes dib = TrueColour(3, 1, {{12, 22, 26}, {200, 0, 0}, {200, 0, 0}});
    const auto q = Quantiser(dib);
    SetDefaults(*q, {{10, 20, 30}});
    const Bytes out = Take(q->QuantizeBitmap(1, 0));
    ASSERT_EQ(out.size(), 1068u);
    EXPECT_EQ(Entry(out, 0), (Rgb{10, 20, 30})) << "count 1: least used";
    EXPECT_EQ(Entry(out, 1), (Rgb{200, 0, 0}));
    EXPECT_EQ(Part(out, 1064, 4), (Bytes{0, 1, 1, 0}));
}

TEST_F(DefaultColours, SurplusOnesThroughTheWholeReduction) {
    Bytes dib = TrueColour(2, 1, {{255, 0, 255}, {1, 2, 3}});
    const auto q = Quantiser(dib);
    SetDefaults(*q, Distinct(400));
    const Bytes out = Take(q->QuantizeBitmap(1, 0));
    EXPECT_EQ(out.size(), 1068u);
}

TEST_F(DefaultColours, AreReleasedWithTheObject) {
    Bytes dib = TrueColour(1, 1, {{1, 2, 3}});
    const auto q = Quantiser(dib);
    q->m_pDefaultColors = new tagRGBQUAD[3]();
    q->m_dwDefaultColors = 0;
    EXPECT_EQ(q->InitOctree(), 1);
    q->InsertDefaultColors();
    EXPECT_EQ(q->m_pCube[0].m_dwWeight, 0u) << "a count of 0 inserts none";
} // the leak checker sees to the rest

} // namespace

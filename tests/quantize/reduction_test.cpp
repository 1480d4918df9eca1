// From pixels to a palette: averaging, the order of merging, ties, targets.
#include "tests/quantize/quantize_support.h"

namespace {

using namespace quantizetest;

class Reduction : public MemoryTest {
protected:
    void Build(int width, int height, const std::vector<Rgb>& pixels, unsigned short maxColours,
               unsigned short depth = 5) {
        m_dib = TrueColour(width, height, pixels);
        m_object = Quantiser(m_dib, maxColours, depth);
        BuildColours(*m_object);
    }
    std::vector<Rgb> Colours() const { return Palette(*m_object); }
    std::vector<unsigned> Pixels() const { return Counts(*m_object); }

private:
    Bytes m_dib;
    std::unique_ptr<CNiGoRo2> m_object;
};

std::vector<Rgb> Repeat(std::initializer_list<std::pair<int, Rgb>> runs) {
    std::vector<Rgb> pixels;
    for (const auto& run : runs)
        pixels.insert(pixels.end(), static_cast<std::size_t>(run.first), run.second);
    return pixels;
}

TEST_F(Reduction, OneColourStaysExact) {
    Build(3, 3, Repeat({{9, {201, 7, 99}}}), 256);
    EXPECT_EQ(Colours(), (std::vector<Rgb>{{201, 7, 99}}));
    EXPECT_EQ(Pixels(), (std::vector<unsigned>{9}));
}

TEST_F(Reduction, ColoursOfALeafAverageAndTruncate) {
    Build(2, 1, {{8, 0, 0}, {15, 0, 0}}, 256);
    EXPECT_EQ(Colours(), (std::vector<Rgb>{{11, 0, 0}})) << "11.5";
    EXPECT_EQ(Pixels(), (std::vector<unsigned>{2}));
    Build(2, 1, {{7, 0, 0}, {8, 0, 0}}, 256);
    EXPECT_EQ(Colours(), (std::vector<Rgb>{{7, 0, 0}, {8, 0, 0}})) << "leaves of their own";
}

TEST_F(Reduction, DepthSaysHowManyBitsCount) {
    Build(2, 1, {{0, 0, 0}, {127, 0, 0}}, 256, 1);
    EXPECT_EQ(Colours(), (std::vector<Rgb>{{63, 0, 0}}));
    Build(2, 1, {{0, 0, 0}, {127, 0, 0}}, 256, 2);
    EXPECT_EQ(Colours().size(), 2u);
}

TEST_F(Reduction, NoMoreColoursThanTheTargetAreNotReduced) {
    const std::vector<Rgb> colours = Distinct(256);
    Build(16, 16, colours, 256);
    EXPECT_EQ(Colours().size(), 256u);
    Build(16, 1, Distinct(16), 16);
    EXPECT_EQ(Colours(), (std::vector<Rgb>{{0, 0, 0},
                                           {16, 0, 0},
                                           {32, 0, 0},
                                           {48, 0, 0},
                                           {64, 0, 0},
                                           {80, 0, 0},
                                           {96, 0, 0},
                                           {112, 0, 0},
                                           {128, 0, 0},
                                           {144, 0, 0},
                                           {160, 0, 0},
                                           {176, 0, 0},
                                           {192, 0, 0},
                                           {208, 0, 0},
                                           {224, 0, 0},
                                           {240, 0, 0}}));
}

TEST_F(Reduction, TheLeastUsedBranchGoesFirst) {
    // Black 3, white 1, one colour wanted: white into the root, then black on top of it.
    Build(4, 1, {{0, 0, 0}, {0, 0, 0}, {255, 255, 255}, {0, 0, 0}}, 1);
    EXPECT_EQ(Colours(), (std::vector<Rgb>{{63, 63, 63}}));
    EXPECT_EQ(Pixels(), (std::vector<unsigned>{4}));
}

TEST_F(Reduction, AMergedParentIsAColourBesideItsOtherChildren) {
    // (8,0,0) has a parent in common with black; white is far away and well used.
    Build(5, 3, Repeat({{5, {0, 0, 0}}, {1, {8, 0, 0}}, {9, {255, 255, 255}}}), 2);
    // First (8,0,0) alone goes into its parent, which leaves three colours; then black follows.
    EXPECT_EQ(Colours(), (std::vector<Rgb>{{1, 0, 0}, {255, 255, 255}}));
    EXPECT_EQ(Pixels(), (std::vector<unsigned>{6, 9}));
}

TEST_F(Reduction, InnerColoursComeBeforeTheirChildren) {
    Build(5, 4, Repeat({{5, {0, 0, 0}}, {1, {8, 0, 0}}, {1, {0, 8, 0}}, {13, {255, 255, 255}}}), 3);
    EXPECT_EQ(Colours(), (std::vector<Rgb>{{4, 4, 0}, {0, 0, 0}, {255, 255, 255}}));
    EXPECT_EQ(Pixels(), (std::vector<unsigned>{2, 5, 13}));
}

TEST_F(Reduction, TiesGoTogetherEvenIfOneWouldHaveBeenEnough) {
    Build(3, 1, {{0, 0, 0}, {255, 0, 0}, {0, 255, 0}}, 2);
    EXPECT_EQ(Colours(), (std::vector<Rgb>{{85, 85, 0}})) << "one colour, although two were allowed";
    EXPECT_EQ(Pixels(), (std::vector<unsigned>{3}));
}

TEST_F(Reduction, ManyColoursStayWithinTheTarget) {
    std::vector<Rgb> pixels;
    for (int i = 0; i < 4096; ++i)
        pixels.push_back({i % 16 * 17, i / 16 % 16 * 17, i / 256 * 17});
    for (int i = 0; i < 64; ++i) // some colours more often than others
        pixels.insert(pixels.end(), static_cast<std::size_t>(i % 5), pixels[static_cast<std::size_t>(i * 61)]);
    Build(static_cast<int>(pixels.size()), 1, pixels, 256);
    EXPECT_LE(Colours().size(), 256u);
    EXPECT_GE(Colours().size(), 1u);
    unsigned sum = 0;
    for (const unsigned count : Pixels())
        sum += count;
    EXPECT_EQ(sum, pixels.size()) << "no pixel is lost";
}

TEST_F(Reduction, ReduceAnswersTheColoursThatRemain) {
    Bytes dib = TrueColour(3, 1, {{0, 0, 0}, {255, 0, 0}, {0, 255, 0}});
    const auto q = Quantiser(dib);
    ASSERT_EQ(q->InitOctree(), 1);
    q->FillTree();
    EXPECT_EQ(q->ReduceColors(), 3u);
    EXPECT_EQ(q->m_nColors, 3);
    q->m_dwMaxColors = 2;
    EXPECT_EQ(q->ReduceColors(), 1u);
    EXPECT_EQ(q->m_nColors, 1);
}

TEST_F(Reduction, AnEmptyTreeHasNoColours) {
    Bytes dib = testdib::MakeDib(4, 4, 32);
    const auto q = Quantiser(dib);
    BuildColours(*q);
    EXPECT_EQ(q->m_nColors, 0);
}

// ---- where the target cannot be met ----------------------------------------------------------

TEST_F(Reduction, TargetZeroEndsWithTheRootAsTheOnlyColour) {
    Build(2, 2, Repeat({{4, {10, 20, 30}}}), 0);
    EXPECT_EQ(Colours(), (std::vector<Rgb>{{10, 20, 30}}));
    EXPECT_EQ(Pixels(), (std::vector<unsigned>{4}));
    Build(2, 2, Repeat({{3, {0, 0, 0}}, {1, {255, 255, 255}}}), 0);
    EXPECT_EQ(Colours(), (std::vector<Rgb>{{63, 63, 63}}));
    Build(4, 1, {{0, 0, 0}, {255, 0, 0}, {0, 255, 0}, {0, 0, 255}}, 0);
    EXPECT_EQ(Colours(), (std::vector<Rgb>{{63, 63, 63}}));
}

TEST_F(Reduction, MaximaAbove256StillMakeAtMost256) {
    Build(300, 1, Distinct(300), 1000);
    EXPECT_LE(Colours().size(), 256u);
    EXPECT_GE(Colours().size(), 1u);
    Build(257, 1, Distinct(257), 65535);
    EXPECT_LE(Colours().size(), 256u);
    Build(16, 16, Distinct(256), 1000);
    EXPECT_EQ(Colours().size(), 256u) << "256 fit and are not reduced";
}

} // namespace

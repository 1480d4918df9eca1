// GetBaseColors over a device context of the host layer, and its callback.
#include "dibprep/colour.h"

#include "dibprep/host.h"
#include "dibprep/hostlayer.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <vector>

namespace {

constexpr unsigned int Red = 0x0000FF;
constexpr unsigned int Green = 0x00FF00;
constexpr unsigned int Blue = 0xFF0000;

tagLOGPEN Pen(unsigned int style, unsigned int colour) { return tagLOGPEN{style, {1, 0}, colour}; }

class BaseColors : public testing::Test {
protected:
    BaseColors() : m_dc(dibhost_dc_create()) {}
    ~BaseColors() override { dibhost_dc_destroy(m_dc); }
    void Add(unsigned int style, unsigned int colour) {
        const tagLOGPEN pen = Pen(style, colour);
        ASSERT_EQ(dibhost_dc_add_pen(m_dc, &pen), 1);
    }
    void* m_dc;
};

TEST_F(BaseColors, NoPensGiveNone) {
    unsigned int colours[1] = {77};
    EXPECT_EQ(GetBaseColors(m_dc, nullptr), 0u);
    EXPECT_EQ(GetBaseColors(m_dc, colours), 0u);
    EXPECT_EQ(colours[0], 77u);
}

TEST_F(BaseColors, TwoSolidPensOfOneColourAreTwoWithoutAnArrayAndOneWithOne) {
    Add(0, Red);
    Add(0, Red);
    unsigned int colours[2] = {77, 77};
    EXPECT_EQ(GetBaseColors(m_dc, nullptr), 2u);
    EXPECT_EQ(GetBaseColors(m_dc, colours), 1u);
    EXPECT_EQ(colours[0], Red);
    EXPECT_EQ(colours[1], 77u);
}

TEST_F(BaseColors, PensThatAreNotSolidAreNeitherCountedNorStored) {
    Add(1, Red);
    Add(0, Green);
    Add(5, Blue);
    unsigned int colours[2] = {77, 77};
    EXPECT_EQ(GetBaseColors(m_dc, nullptr), 1u);
    EXPECT_EQ(GetBaseColors(m_dc, colours), 1u);
    EXPECT_EQ(colours[0], Green);
    EXPECT_EQ(colours[1], 77u);
}

TEST_F(BaseColors, ColoursAreStoredInTheOrderOfTheirFirstPens) {
    Add(0, Blue);
    Add(2, Green);
    Add(0, Red);
    Add(0, Blue);
    Add(0, Green);
    unsigned int colours[4] = {77, 77, 77, 77};
    EXPECT_EQ(GetBaseColors(m_dc, nullptr), 4u);
    EXPECT_EQ(GetBaseColors(m_dc, colours), 3u);
    EXPECT_EQ(std::vector<unsigned int>(colours, colours + 4), (std::vector<unsigned int>{Blue, Red, Green, 77}));
}

TEST_F(BaseColors, ColoursThatDifferInTheTopByteAreDifferent) {
    Add(0, Red);
    Add(0, Red | 0x02000000);
    unsigned int colours[2] = {};
    EXPECT_EQ(GetBaseColors(m_dc, colours), 2u);
    EXPECT_EQ(colours[1], 0x020000FFu);
}

TEST_F(BaseColors, HandleThatIsNoContextGivesMinusOne) {
    unsigned int colours[1] = {77};
    EXPECT_EQ(GetBaseColors(nullptr, nullptr), 4294967295u);
    EXPECT_EQ(GetBaseColors(nullptr, colours), 4294967295u);
    EXPECT_EQ(colours[0], 77u);
}

// The callback alone.

int Call(tagLOGPEN pen, CBaseColorsState& state) { return GetColorsCallback(&pen, reinterpret_cast<intptr_t>(&state)); }

TEST(GetColorsCallback, CountsSolidPensWithoutAnArray) {
    CBaseColorsState state{4, nullptr};
    EXPECT_EQ(Call(Pen(0, Red), state), 1);
    EXPECT_EQ(state.count, 5);
    EXPECT_EQ(Call(Pen(0, Red), state), 1);
    EXPECT_EQ(state.count, 6);
    EXPECT_EQ(Call(Pen(1, Red), state), 1);
    EXPECT_EQ(state.count, 6);
    EXPECT_EQ(Call(Pen(0x80000000, Red), state), 1);
    EXPECT_EQ(state.count, 6);
}

TEST(GetColorsCallback, AnswersTwoForAStoredColourOfAnyStyle) {
    unsigned int colours[3] = {Red, Green, 77};
    CBaseColorsState state{2, colours};
    EXPECT_EQ(Call(Pen(0, Green), state), 2);
    EXPECT_EQ(Call(Pen(3, Red), state), 2);
    EXPECT_EQ(state.count, 2);
    EXPECT_EQ(colours[2], 77u);
}

TEST(GetColorsCallback, LooksOnlyAtTheEntriesCountedSoFar) {
    unsigned int colours[3] = {Red, Blue, Green};
    CBaseColorsState state{1, colours};
    EXPECT_EQ(Call(Pen(0, Green), state), 1);
    EXPECT_EQ(state.count, 2);
    EXPECT_EQ(std::vector<unsigned int>(colours, colours + 3), (std::vector<unsigned int>{Red, Green, Green}));
}

TEST(GetColorsCallback, AnswersOneForANewColourThatIsNotSolidAndStoresNothing) {
    unsigned int colours[2] = {Red, 77};
    CBaseColorsState state{1, colours};
    EXPECT_EQ(Call(Pen(2, Blue), state), 1);
    EXPECT_EQ(state.count, 1);
    EXPECT_EQ(colours[1], 77u);
}

TEST(GetColorsCallback, ReadsAPenAtAnyAddress) {
    const tagLOGPEN pen = Pen(0, 0x00C0FFEE);
    alignas(8) unsigned char record[sizeof pen + 1];
    std::memcpy(record + 1, &pen, sizeof pen);
    unsigned int colours[1] = {};
    CBaseColorsState state{0, colours};
    EXPECT_EQ(GetColorsCallback(record + 1, reinterpret_cast<intptr_t>(&state)), 1);
    EXPECT_EQ(colours[0], 0x00C0FFEEu);
}

TEST(GetColorsCallback, StateIsACountThenTheArray) {
    EXPECT_EQ(offsetof(CBaseColorsState, count), 0u);
    EXPECT_EQ(offsetof(CBaseColorsState, colours), sizeof(void*));
}

} // namespace

// The fixed palette of 256 colours and its search cube: values, lists and nearest colours.
#include "dibprep/memory.h"
#include "dibprep/quantize.h"
#include "tests/support/test_host.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cstdint>
#include <vector>

namespace {

using Color = std::array<int, 3>; // red, green, blue
using Numbers = std::vector<int>;

Color StaticColor(int number) {
    const unsigned char* const at = static_cast<unsigned char*>(STATIC_COLOR) + 3 * number;
    return Color{at[0], at[1], at[2]};
}

int Distance(const Color& a, const Color& b) {
    int sum = 0;
    for (std::size_t i = 0; i < 3; ++i)
        sum += (a[i] - b[i]) * (a[i] - b[i]);
    return sum;
}

Numbers List(int i, int j, int k) {
    const CCubeCell& cell = STATIC_CUBE[i][j][k];
    Numbers numbers;
    for (int e = 0; e < cell.m_nCount; ++e)
        numbers.push_back(cell.m_pList[e].m_byIndex);
    return numbers;
}

template <class Visit>
void ForEachCell(Visit visit) {
    for (auto& plane : STATIC_CUBE)
        for (auto& row : plane)
            for (CCubeCell& cell : row)
                visit(cell);
}

// The test host frees its blocks between cases, so the palette must not outlive one.
class StaticPalette : public testing::Test {
protected:
    StaticPalette() { testhost::Reset(); }
    ~StaticPalette() override {
        CNiGoRo2::DeleteStaticSearchCube();
        STATIC_COLOR.Free();
        EXPECT_EQ(testhost::LiveBlocks(), 0);
        EXPECT_EQ(testhost::BadCalls(), 0);
        testhost::Reset();
    }
};

TEST_F(StaticPalette, FirstUseAllocatesABlockOf768Bytes) {
    EXPECT_EQ(STATIC_COLOR.IsEmpty(), 1);
    CNiGoRo2::SetStaticColors();
    EXPECT_EQ(CNiGoRo2::m_iStcColorNum, 256);
    EXPECT_EQ(STATIC_COLOR.IsEmpty(), 0);
    EXPECT_EQ(testhost::Allocations(), 1);
    EXPECT_EQ(testhost::LastAllocationSize(), 768u);
}

TEST_F(StaticPalette, LaterUsesKeepTheBlockAndWriteTheColoursAgain) {
    CNiGoRo2::SetStaticColors();
    void* const block = STATIC_COLOR.m_hMem;
    STATIC_COLOR[0] = 99;
    STATIC_COLOR[767] = 99;
    CNiGoRo2::m_iStcColorNum = 5;
    CNiGoRo2::SetStaticColors();
    EXPECT_EQ(STATIC_COLOR.m_hMem, block);
    EXPECT_EQ(testhost::Allocations(), 1);
    EXPECT_EQ(STATIC_COLOR[0], 0);
    EXPECT_EQ(STATIC_COLOR[767], 0xE0);
    EXPECT_EQ(CNiGoRo2::m_iStcColorNum, 256);
}

TEST_F(StaticPalette, ReleasedBlockIsMadeAgain) {
    CNiGoRo2::SetStaticColors();
    STATIC_COLOR.Free();
    CNiGoRo2::SetStaticColors();
    EXPECT_EQ(testhost::Allocations(), 2);
    EXPECT_EQ(StaticColor(244), (Color{255, 255, 255}));
}

TEST_F(StaticPalette, WorkedColours) {
    CNiGoRo2::SetStaticColors();
    EXPECT_EQ(StaticColor(0), (Color{0, 0, 0}));
    EXPECT_EQ(StaticColor(1), (Color{0, 0, 0x40}));
    EXPECT_EQ(StaticColor(4), (Color{0, 0, 0xFF}));
    EXPECT_EQ(StaticColor(5), (Color{0, 0x20, 0}));
    EXPECT_EQ(StaticColor(34), (Color{0, 0xFF, 0xFF}));
    EXPECT_EQ(StaticColor(35), (Color{0x20, 0, 0}));
    EXPECT_EQ(StaticColor(122), (Color{0x82, 0x82, 0x90}));
    EXPECT_EQ(StaticColor(243), (Color{0xFF, 0xFF, 0xD0}));
    EXPECT_EQ(StaticColor(244), (Color{0xFF, 0xFF, 0xFF}));
}

TEST_F(StaticPalette, GridOfLevelsWithBlueFastest) {
    CNiGoRo2::SetStaticColors();
    const int redGreen[7] = {0x00, 0x20, 0x50, 0x82, 0xAA, 0xDC, 0xFF};
    const int blue[5] = {0x00, 0x40, 0x90, 0xD0, 0xFF};
    for (int number = 0; number < 245; ++number)
        ASSERT_EQ(StaticColor(number), (Color{redGreen[number / 35], redGreen[number / 5 % 7], blue[number % 5]}))
            << number;
}

TEST_F(StaticPalette, ElevenFurtherColours) {
    CNiGoRo2::SetStaticColors();
    EXPECT_EQ(StaticColor(245), (Color{0x00, 0x80, 0x80}));
    EXPECT_EQ(StaticColor(246), (Color{0x80, 0x00, 0x80}));
    EXPECT_EQ(StaticColor(247), (Color{0x00, 0xC0, 0xC0}));
    EXPECT_EQ(StaticColor(248), (Color{0xC0, 0x00, 0xC0}));
    EXPECT_EQ(StaticColor(249), (Color{0x20, 0x20, 0x20}));
    EXPECT_EQ(StaticColor(250), (Color{0x40, 0x40, 0x40}));
    EXPECT_EQ(StaticColor(251), (Color{0x60, 0x60, 0x60}));
    EXPECT_EQ(StaticColor(252), (Color{0x80, 0x80, 0x80}));
    EXPECT_EQ(StaticColor(253), (Color{0xA0, 0xA0, 0xA0}));
    EXPECT_EQ(StaticColor(254), (Color{0xC0, 0xC0, 0xC0}));
    EXPECT_EQ(StaticColor(255), (Color{0xE0, 0xE0, 0xE0}));
}

TEST_F(StaticPalette, MiddleGrayOccursOnce) {
    CNiGoRo2::SetStaticColors();
    Numbers found;
    for (int number = 0; number < 256; ++number)
        if (StaticColor(number) == Color{0x80, 0x80, 0x80})
            found.push_back(number);
    EXPECT_EQ(found, (Numbers{252}));
}

TEST_F(StaticPalette, CubeHas16CellsPerAxis) {
    EXPECT_EQ(sizeof STATIC_CUBE, sizeof(void*) == 4 ? 32768u : 65536u);
    EXPECT_EQ(&STATIC_CUBE[3][7][11] - &STATIC_CUBE[0][0][0], (3 * 16 + 7) * 16 + 11);
}

TEST_F(StaticPalette, EveryCellOfTheCubeHasAList) {
    CNiGoRo2::CreateStaticSearchCube();
    int shortest = INT_MAX;
    int longest = 0;
    int total = 0;
    ForEachCell([&](const CCubeCell& cell) {
        shortest = std::min(shortest, cell.m_nCount);
        longest = std::max(longest, cell.m_nCount);
        total += cell.m_nCount;
    });
    EXPECT_EQ(shortest, 1);
    EXPECT_EQ(longest, 17);
    EXPECT_EQ(total, 20261);
}

TEST_F(StaticPalette, ListsOfSingleCells) {
    CNiGoRo2::CreateStaticSearchCube();
    EXPECT_EQ(List(0, 0, 0), (Numbers{0, 35, 5, 40, 249}));
    EXPECT_EQ(List(15, 15, 15), (Numbers{244, 209, 239}));
    EXPECT_EQ(List(8, 8, 8), (Numbers{122, 252}));
    EXPECT_EQ(List(7, 7, 7), (Numbers{252, 122, 251}));
    EXPECT_EQ(List(0, 15, 15), (Numbers{34, 69, 29, 64}));
    EXPECT_EQ(List(0, 0, 15), (Numbers{4, 9, 39, 44}));
}

// Every count and every colour number of all 4096 cells in order, folded by FNV-1a over whole
// words. The number was worked out by a second program written from the rules alone, which agrees
// list by list.
TEST_F(StaticPalette, AllListsInOrder) {
    CNiGoRo2::CreateStaticSearchCube();
    std::uint64_t fold = 1469598103934665603;
    const auto take = [&fold](int value) { fold = (fold ^ static_cast<std::uint64_t>(value)) * 1099511628211; };
    ForEachCell([&](const CCubeCell& cell) {
        take(cell.m_nCount);
        std::for_each(cell.m_pList, cell.m_pList + cell.m_nCount,
                      [&](const CColorTrans2& record) { take(record.m_byIndex); });
    });
    EXPECT_EQ(fold, 0x8426E4E9207F5604u);
}

TEST_F(StaticPalette, RecordsHoldTheColourAndItsNumber) {
    CNiGoRo2::CreateStaticSearchCube();
    ForEachCell([](const CCubeCell& cell) {
        for (int e = 0; e < cell.m_nCount; ++e) {
            const CColorTrans2& record = cell.m_pList[e];
            const Color color{record.m_rgb.rgbRed, record.m_rgb.rgbGreen, record.m_rgb.rgbBlue};
            ASSERT_EQ(color, StaticColor(record.m_byIndex));
            ASSERT_EQ(record.m_rgb.rgbReserved, 0);
            ASSERT_EQ(record.m_dwCount, 0u);
        }
    });
}

TEST_F(StaticPalette, FirstRecordIsTheNearestToTheCentreOfTheCell) {
    CNiGoRo2::CreateStaticSearchCube();
    const int centres[16] = {8, 24, 40, 56, 72, 88, 104, 120, 136, 152, 168, 184, 200, 216, 232, 247};
    for (int i = 0; i < 16; ++i)
        for (int j = 0; j < 16; ++j)
            for (int k = 0; k < 16; ++k) {
                const Color centre{centres[i], centres[j], centres[k]};
                int nearest = INT_MAX;
                for (int number = 0; number < 256; ++number)
                    nearest = std::min(nearest, Distance(StaticColor(number), centre));
                ASSERT_EQ(Distance(StaticColor(List(i, j, k).at(0)), centre), nearest) << i << ' ' << j << ' ' << k;
            }
}

// For this palette the lists miss no nearest colour anywhere. The steps of 5 reach both edges of
// the colour cube and every cell.
TEST_F(StaticPalette, ListsHoldTheNearestColour) {
    CNiGoRo2::CreateStaticSearchCube();
    std::array<Color, 256> palette;
    for (int number = 0; number < 256; ++number)
        palette[static_cast<std::size_t>(number)] = StaticColor(number);
    for (int r = 0; r < 256; r += 5)
        for (int g = 0; g < 256; g += 5)
            for (int b = 0; b < 256; b += 5) {
                const Color color{r, g, b};
                int nearest = INT_MAX;
                for (const Color& candidate : palette)
                    nearest = std::min(nearest, Distance(candidate, color));
                const CCubeCell& cell = STATIC_CUBE[r >> 4][g >> 4][b >> 4];
                int listed = INT_MAX;
                for (int e = 0; e < cell.m_nCount; ++e)
                    listed = std::min(listed, Distance(palette[cell.m_pList[e].m_byIndex], color));
                ASSERT_EQ(listed, nearest) << r << ' ' << g << ' ' << b;
            }
}

TEST_F(StaticPalette, DeletingEmptiesEveryCellAndMayBeRepeated) {
    CNiGoRo2::CreateStaticSearchCube();
    for (int round = 0; round < 2; ++round) {
        CNiGoRo2::DeleteStaticSearchCube();
        ForEachCell([](const CCubeCell& cell) {
            ASSERT_EQ(cell.m_nCount, 0);
            ASSERT_EQ(cell.m_pList, nullptr);
        });
    }
    EXPECT_EQ(STATIC_COLOR.IsEmpty(), 0); // the palette stays
}

TEST_F(StaticPalette, BuildingAgainAfterDeletingGivesTheSameLists) {
    CNiGoRo2::CreateStaticSearchCube();
    const Numbers first = List(5, 10, 3);
    CNiGoRo2::DeleteStaticSearchCube();
    CNiGoRo2::CreateStaticSearchCube();
    EXPECT_EQ(List(5, 10, 3), first);
    EXPECT_EQ(testhost::Allocations(), 1);
}

// A second build zeroes the cube and leaves the first lists to whoever kept their addresses.
TEST_F(StaticPalette, BuildingTwiceDoesNotReleaseTheFirstLists) {
    CNiGoRo2::CreateStaticSearchCube();
    std::vector<CColorTrans2*> lists;
    ForEachCell([&](const CCubeCell& cell) { lists.push_back(cell.m_pList); });
    const int count = STATIC_CUBE[0][0][0].m_nCount;

    CNiGoRo2::CreateStaticSearchCube();
    EXPECT_EQ(STATIC_CUBE[0][0][0].m_nCount, count); // not doubled
    EXPECT_NE(STATIC_CUBE[0][0][0].m_pList, lists[0]);
    EXPECT_EQ(lists[0][4].m_byIndex, 249);
    for (CColorTrans2* const list : lists)
        delete[] list;
}

TEST_F(StaticPalette, InitZeroesTheCubeWithoutReleasing) {
    CNiGoRo2::AddStaticList(15, 0, 3, CColorTrans2{{1, 2, 3, 4}, 5, 6});
    CColorTrans2* const list = STATIC_CUBE[15][0][3].m_pList;
    CNiGoRo2::InitStaticSearchCube();
    EXPECT_EQ(STATIC_CUBE[15][0][3].m_nCount, 0);
    EXPECT_EQ(STATIC_CUBE[15][0][3].m_pList, nullptr);
    EXPECT_EQ(list[0].m_byIndex, 6);
    delete[] list;
}

TEST_F(StaticPalette, ListGrowsByBlocksOf32AndKeepsItsRecords) {
    const CCubeCell& cell = STATIC_CUBE[1][2][3];
    CColorTrans2* list = nullptr;
    for (int n = 0; n < 97; ++n) {
        CNiGoRo2::AddStaticList(1, 2, 3, CColorTrans2{{1, 2, 3, 4}, static_cast<unsigned int>(n) + 1000, 7});
        ASSERT_EQ(cell.m_nCount, n + 1);
        // Between the blocks the list stays where it is.
        ASSERT_TRUE(n % 32 == 0 || cell.m_pList == list) << n;
        list = cell.m_pList;
    }
    for (int n = 0; n < 97; ++n) {
        ASSERT_EQ(cell.m_pList[n].m_dwCount, static_cast<unsigned int>(n) + 1000);
        ASSERT_EQ(cell.m_pList[n].m_byIndex, 7);
        ASSERT_EQ(cell.m_pList[n].m_rgb.rgbReserved, 4);
    }
    EXPECT_EQ(STATIC_CUBE[1][2][2].m_nCount, 0);
    EXPECT_EQ(STATIC_CUBE[1][2][4].m_nCount, 0);
}

} // namespace

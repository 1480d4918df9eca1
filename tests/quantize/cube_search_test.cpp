// The cube search: cells, their lists, and GetNearestColorIndexC.
#include "tests/quantize/quantize_support.h"

namespace {

using namespace quantizetest;

class CubeSearch : public MemoryTest {
protected:
    CubeSearch() : m_dib(testdib::MakeDib(1, 1, 24)), q(m_dib.data(), 256, 5, 0) {}
    void Build(const std::vector<Rgb>& colours) {
        for (std::size_t i = 0; i < colours.size(); ++i)
            q.m_Palette[i] = Record(colours[i][0], colours[i][1], colours[i][2]);
        q.m_nColors = static_cast<int>(colours.size());
        q.BuildSearchCube(table);
    }
    std::vector<int> List(int i, int j, int k) {
        const CCubeCell& cell = q.m_SearchCube[i][j][k];
        std::vector<int> list;
        for (int n = 0; n < cell.m_nCount; ++n)
            list.push_back(cell.m_pList[n].m_byIndex);
        return list;
    }
    int Total() {
        int total = 0;
        for (int i = 0; i < 512; ++i)
            total += q.m_SearchCube[i / 64][i / 8 % 8][i % 8].m_nCount;
        return total;
    }
    int Nearest(int red, int green, int blue) {
        return q.GetNearestColorIndexC(static_cast<unsigned char>(red), static_cast<unsigned char>(green),
                                       static_cast<unsigned char>(blue));
    }
    Bytes m_dib;
    CNiGoRo2 q;
    tagRGBQUAD table[256] = {};
};

TEST_F(CubeSearch, TableKeepsTheOrderOfThePalette) {
    q.m_Palette[2].m_rgb.rgbReserved = 0;
    Build({{9, 0, 0}, {0, 8, 0}, {0, 0, 7}});
    EXPECT_EQ(table[0].rgbRed, 9);
    EXPECT_EQ(table[1].rgbGreen, 8);
    EXPECT_EQ(table[2].rgbBlue, 7);
    EXPECT_EQ(table[3].rgbBlue, 0);
}

TEST_F(CubeSearch, TableTakesTheReservedByteAlong) {
    q.m_Palette[0] = Record(1, 2, 3);
    q.m_Palette[0].m_rgb.rgbReserved = 77;
    q.m_nColors = 1;
    q.BuildSearchCube(table);
    EXPECT_EQ(table[0].rgbReserved, 77);
}

TEST_F(CubeSearch, CellsListWhatCanBeNearestFromTheirCentreOutward) {
    Build({{0, 0, 0}, {255, 255, 255}});
    EXPECT_EQ(List(0, 0, 0), (std::vector<int>{0}));
    EXPECT_EQ(List(7, 7, 7), (std::vector<int>{1})) << "gap 208, far corner 31: black is out of reach";
    EXPECT_EQ(List(7, 0, 0), (std::vector<int>{0}));
    EXPECT_EQ(List(3, 3, 3), (std::vector<int>{0, 1})) << "gap 3 * 127^2 = 48387, far corner 3 * 128^2 = 49152";
    EXPECT_EQ(List(4, 4, 4), (std::vector<int>{1})) << "gap 3 * 128^2 = 49152, far corner 3 * 127^2 = 48387";
    EXPECT_EQ(List(4, 3, 4), (std::vector<int>{1, 0}));
    EXPECT_EQ(Total(), 645);
}

TEST_F(CubeSearch, OneColourFillsEveryCell) {
    Build({{50, 60, 70}});
    EXPECT_EQ(Total(), 512);
    for (const int v : {0, 31, 32, 128, 255})
        EXPECT_EQ(Nearest(v, 255 - v, v), 0);
}

TEST_F(CubeSearch, EmptyPaletteListsNothing) {
    Build({});
    EXPECT_EQ(Total(), 0);
    EXPECT_EQ(Nearest(1, 2, 3), 0) << "and an empty cell answers 0";
}

TEST_F(CubeSearch, BetweenTwoTheOneNearerTheCellCentreWins) {
    Build({{100, 100, 100}, {120, 100, 100}});
    EXPECT_EQ(List(3, 3, 3), (std::vector<int>{1, 0}));
    EXPECT_EQ(Nearest(110, 100, 100), 1);
}

TEST_F(CubeSearch, BetweenTwoTheOneNearerTheCellCentreWinsWhateverItsIndex) {
    Build({{120, 100, 100}, {100, 100, 100}});
    EXPECT_EQ(Nearest(110, 100, 100), 0);
    EXPECT_EQ(Nearest(109, 100, 100), 1);
    EXPECT_EQ(Nearest(111, 100, 100), 0);
}

TEST_F(CubeSearch, ValuesLieInTheCellOfTheirTopThreeBits) {
    Build({{31, 0, 0}, {32, 0, 0}});
    q.DeleteSearchCube();
    q.AddList(0, 1, 7, Record(0, 0, 0, 0, 5));
    q.AddList(1, 2, 0, Record(0, 0, 0, 0, 6));
    EXPECT_EQ(Nearest(31, 32, 224), 5);
    EXPECT_EQ(Nearest(0, 63, 255), 5);
    EXPECT_EQ(Nearest(32, 64, 31), 6);
}

TEST_F(CubeSearch, EqualDistancesKeepTheEarlierRecord) {
    q.AddList(0, 0, 0, Record(10, 0, 0, 0, 3));
    q.AddList(0, 0, 0, Record(0, 10, 0, 0, 4));
    q.AddList(0, 0, 0, Record(0, 0, 9, 0, 5));
    q.AddList(0, 0, 0, Record(9, 0, 0, 0, 6));
    EXPECT_EQ(Nearest(0, 0, 0), 5);
    EXPECT_EQ(Nearest(10, 10, 0), 3);
}

TEST_F(CubeSearch, ListsGrowByThirtyTwo) {
    int grown = 0;
    for (int i = 0; i < 70; ++i) {
        const CColorTrans2* const list = q.m_SearchCube[1][2][3].m_pList;
        q.AddList(1, 2, 3, Record(i, i, i, static_cast<unsigned>(1000 + i), i));
        grown += q.m_SearchCube[1][2][3].m_pList != list;
    }
    EXPECT_EQ(grown, 3) << "at 0, 32 and 64 entries";
    ASSERT_EQ(q.m_SearchCube[1][2][3].m_nCount, 70);
    for (int i = 0; i < 70; ++i) {
        EXPECT_EQ(q.m_SearchCube[1][2][3].m_pList[i].m_byIndex, i);
        EXPECT_EQ(q.m_SearchCube[1][2][3].m_pList[i].m_dwCount, static_cast<unsigned>(1000 + i));
    }
}

TEST_F(CubeSearch, DeleteReleasesEveryListAndInitForgetsThem) {
    q.AddList(0, 0, 0, Record(1, 2, 3));
    q.AddList(7, 7, 7, Record(1, 2, 3));
    q.DeleteSearchCube();
    EXPECT_EQ(Total(), 0);
    q.AddList(7, 7, 7, Record(1, 2, 3, 0, 9));
    EXPECT_EQ(q.m_SearchCube[7][7][7].m_nCount, 1);
    EXPECT_EQ(Nearest(255, 255, 255), 9);
    q.DeleteSearchCube();
    q.DeleteSearchCube();
    q.InitSearchCube();
    EXPECT_EQ(Total(), 0);
    EXPECT_EQ(q.m_SearchCube[7][7][7].m_pList, nullptr);
}

TEST_F(CubeSearch, ASecondFillAppendsTheSameRecords) {
    Build({{0, 0, 0}, {255, 255, 255}});
    const int once = Total();
    const int before = Nearest(200, 180, 90);
    q.BuildSearchCube(table);
    EXPECT_EQ(Total(), 2 * once);
    EXPECT_EQ(table[0].rgbRed + table[1].rgbRed, 255) << "in the order that the first fill left";
    EXPECT_EQ(Nearest(200, 180, 90), before);
}

TEST_F(CubeSearch, AnswersTheNearestColour) {
    testdib::Random random(20240602);
    std::vector<Rgb> colours;
    for (int i = 0; i < 100; ++i)
        colours.push_back({random.Range(0, 254), random.Range(0, 254), random.Range(0, 254)});
    Build(colours);
    for (int i = 0; i < 3000; ++i) {
        // Up to 254: a cell's modelled box ends there.
        const Rgb c{random.Range(0, 254), random.Range(0, 254), random.Range(0, 254)};
        const auto distance = [&c](const Rgb& rgb) {
            int sum = 0;
            for (std::size_t k = 0; k < 3; ++k)
                sum += (rgb[k] - c[k]) * (rgb[k] - c[k]);
            return sum;
        };
        int best = 1 << 30;
        for (const Rgb& colour : colours)
            best = std::min(best, distance(colour));
        ASSERT_EQ(distance(colours[static_cast<std::size_t>(Nearest(c[0], c[1], c[2]))]), best);
    }
}

} // namespace

// The list search: BuildPalette and GetNearestColorIndexL.
#include "tests/quantize/quantize_support.h"

namespace {

using namespace quantizetest;

class ListSearch : public MemoryTest {
protected:
    ListSearch() : m_dib(testdib::MakeDib(1, 1, 24)), q(m_dib.data(), 256, 5, 0) {}
    void SetPalette(const std::vector<CColorTrans2>& records) {
        std::copy(records.begin(), records.end(), q.m_Palette);
        q.m_nColors = static_cast<int>(records.size());
    }
    // Records in this order, each with its position as index.
    void SetSorted(const std::vector<Rgb>& colours) {
        std::vector<CColorTrans2> records;
        for (const Rgb& c : colours)
            records.push_back(Record(c[0], c[1], c[2], 0, static_cast<int>(records.size())));
        SetPalette(records);
    }
    int Nearest(int red, int green, int blue) {
        return q.GetNearestColorIndexL(static_cast<unsigned char>(red), static_cast<unsigned char>(green),
                                       static_cast<unsigned char>(blue));
    }
    Bytes m_dib;
    CNiGoRo2 q;
};

TEST_F(ListSearch, TableIsWrittenFromTheLeastToTheMostUsed) {
    SetPalette({Record(1, 1, 9, 30), Record(2, 2, 8, 10), Record(3, 3, 7, 20)});
    q.m_Palette[1].m_rgb.rgbReserved = 55;
    tagRGBQUAD table[4] = {};
    table[3] = Quad(9, 9, 9, 9);
    q.BuildPalette(table);
    EXPECT_EQ(table[0].rgbRed, 2);
    EXPECT_EQ(table[0].rgbGreen, 2);
    EXPECT_EQ(table[0].rgbBlue, 8);
    EXPECT_EQ(table[0].rgbReserved, 55) << "the reserved byte comes along";
    EXPECT_EQ(table[1].rgbRed, 3);
    EXPECT_EQ(table[2].rgbRed, 1);
    EXPECT_EQ(table[3].rgbRed, 9) << "no further";
    EXPECT_EQ(Palette(q), (std::vector<Rgb>{{3, 3, 7}, {2, 2, 8}, {1, 1, 9}})) << "then sorted by blue";
    EXPECT_EQ(q.m_Palette[0].m_byIndex, 1);
    EXPECT_EQ(q.m_Palette[1].m_byIndex, 0);
    EXPECT_EQ(q.m_Palette[2].m_byIndex, 2);
}

TEST_F(ListSearch, EquallyUsedColoursStandInTheOrderTheSortLeaves) {
    SetPalette({Record(0, 0, 0, 5), Record(1, 0, 0, 5), Record(2, 0, 0, 5), Record(3, 0, 0, 5), Record(4, 0, 0, 5)});
    tagRGBQUAD table[5] = {};
    q.BuildPalette(table);
    const int reds[] = {2, 3, 1, 4, 0};
    for (int i = 0; i < 5; ++i)
        EXPECT_EQ(table[i].rgbRed, reds[i]) << i;
}

TEST_F(ListSearch, OneColourAnswersEverything) {
    SetPalette({Record(9, 9, 9, 1)});
    tagRGBQUAD table[1] = {};
    q.BuildPalette(table);
    for (const int v : {0, 9, 128, 255})
        EXPECT_EQ(Nearest(v, 255 - v, v), 0);
}

TEST_F(ListSearch, NoColourAnswersTheIndexOfRecordZero) {
    q.m_Palette[0].m_byIndex = 42;
    EXPECT_EQ(Nearest(1, 2, 3), 42);
}

TEST_F(ListSearch, TiesKeepTheStartThenDownwardsThenUpwards) {
    SetSorted({{0, 0, 10}, {0, 0, 20}, {0, 0, 20}, {0, 0, 30}, {100, 0, 30}});
    EXPECT_EQ(Nearest(0, 0, 15), 1) << "the start is the first at or above";
    EXPECT_EQ(Nearest(0, 0, 25), 3);
    EXPECT_EQ(Nearest(0, 0, 20), 1);
    EXPECT_EQ(Nearest(50, 0, 30), 3) << "below the start position before above it";
    EXPECT_EQ(Nearest(60, 0, 30), 4);
    EXPECT_EQ(Nearest(0, 0, 0), 0);
    EXPECT_EQ(Nearest(0, 0, 255), 3) << "two records of blue 30: the nearer";
    EXPECT_EQ(Nearest(100, 0, 20), 4);
}

TEST_F(ListSearch, OfTwoEquallyNearOnBothSidesOfTheStartTheLowerWins) {
    SetSorted({{0, 0, 10}, {200, 0, 20}, {0, 0, 30}});
    EXPECT_EQ(Nearest(0, 0, 20), 0) << "the start is red and far, the others are 10 away";
    SetSorted({{0, 0, 10}, {0, 0, 10}, {200, 0, 20}, {0, 0, 30}, {0, 0, 30}});
    EXPECT_EQ(Nearest(0, 0, 20), 1) << "the first on the way down";
    SetSorted({{9, 0, 10}, {200, 0, 20}, {0, 0, 30}, {0, 0, 30}});
    EXPECT_EQ(Nearest(0, 0, 20), 2) << "the first on the way up";
}

TEST_F(ListSearch, ABlueOfTheFirstRecordStartsAtIt) {
    SetSorted({{0, 0, 10}, {0, 0, 10}, {0, 0, 10}});
    EXPECT_EQ(Nearest(0, 0, 10), 0);
    EXPECT_EQ(Nearest(0, 0, 9), 0);
    EXPECT_EQ(Nearest(0, 0, 11), 2) << "none from the second on is as blue: the last";
}

TEST_F(ListSearch, ExactlyBetweenTwoTheStartWins) {
    SetSorted({{0, 0, 10}, {0, 0, 20}});
    EXPECT_EQ(Nearest(0, 0, 14), 0);
    EXPECT_EQ(Nearest(0, 0, 15), 1);
    EXPECT_EQ(Nearest(0, 0, 16), 1);
    EXPECT_EQ(Nearest(0, 0, 10), 0);
}

TEST_F(ListSearch, FindsTheNearestWhereverItStands) {
    testdib::Random random(20240601);
    std::vector<CColorTrans2> records;
    for (int i = 0; i < 60; ++i)
        records.push_back(Record(random.Range(0, 255), random.Range(0, 255), random.Range(0, 255), 1, i));
    Qsort(records.data(), 60, CompareBlue);
    SetPalette(records);
    for (int i = 0; i < 3000; ++i) {
        const int c[] = {random.Range(0, 255), random.Range(0, 255), random.Range(0, 255)};
        const auto distance = [&c](const CColorTrans2& record) {
            const Rgb rgb = Colour(record);
            int sum = 0;
            for (std::size_t k = 0; k < 3; ++k)
                sum += (rgb[k] - c[k]) * (rgb[k] - c[k]);
            return sum;
        };
        int best = 1 << 30;
        int found = -1;
        const int answer = Nearest(c[0], c[1], c[2]);
        for (const CColorTrans2& record : records) {
            best = std::min(best, distance(record));
            if (record.m_byIndex == answer)
                found = distance(record);
        }
        ASSERT_EQ(found, best) << c[0] << " " << c[1] << " " << c[2];
    }
}

} // namespace

// Sampling steps and the column table.
#include "tests/bilinear/bilinear_test.h"

#include <memory>

namespace {

using namespace bilinear_test;

class CoordTable : public BilinearTest {
protected:
    static _tagDIBPARAM Source(int width, int height, int bits = 24) {
        _tagDIBPARAM source = {};
        source.nWidth = width;
        source.nHeight = height;
        source.nBitCount = bits;
        return source;
    }
    tagSIZE Unit(int width, int height, int cx, int cy) {
        return object.GetCoordUnit(Source(width, height), tagSIZE{cx, cy});
    }
    std::vector<Ints> Table(const _tagDIBPARAM& source, int start, int step, int count) {
        const std::unique_ptr<_tagCOORDENTRY[]> table(object.GetCoordTable(source, start, step, count));
        std::vector<Ints> entries;
        for (int i = 0; table && i < count; ++i)
            entries.push_back({table[static_cast<std::size_t>(i)].nOffset0, table[static_cast<std::size_t>(i)].nOffset1,
                               table[static_cast<std::size_t>(i)].nFraction});
        return entries;
    }
};

TEST_F(CoordTable, StepsAlignTheCorners) {
    tagSIZE step = Unit(100, 50, 200, 25);
    EXPECT_EQ(step.cx, 16301);
    EXPECT_EQ(step.cy, 66901);
    step = Unit(3, 3, 5, 3);
    EXPECT_EQ(step.cx, 16384);
    EXPECT_EQ(step.cy, 32768);
    step = Unit(1, 1, 10, 10);
    EXPECT_EQ(step.cx, 0);
    EXPECT_EQ(step.cy, 0);
}

TEST_F(CoordTable, TargetOfOnePixelChangesTheRuleOfBothAxes) {
    tagSIZE step = Unit(640, 480, 1, 100);
    EXPECT_EQ(step.cx, 20971520);
    EXPECT_EQ(step.cy, 157286);
    step = Unit(640, 480, 100, 1);
    EXPECT_EQ(step.cx, 209715);
    EXPECT_EQ(step.cy, 15728640);
    step = Unit(2, 1, 4, 1);
    EXPECT_EQ(step.cx, 16384);
}

TEST_F(CoordTable, StepsOfTheLargestSources) {
    tagSIZE step = Unit(65536, 65536, 2, 3);
    EXPECT_EQ(step.cx, 2147450880);
    EXPECT_EQ(step.cy, 1073725440);
    step = Unit(65535, 65535, 1, 1);
    EXPECT_EQ(step.cx, 2147450880);
    EXPECT_EQ(step.cy, 2147450880);
    // One pixel more turns the sign.
    EXPECT_EQ(Unit(65537, 2, 2, 2).cx, INT_MIN);
    EXPECT_EQ(Unit(65536, 2, 1, 2).cx, INT_MIN);
    EXPECT_EQ(Unit(65536, 2, -1, 2).cx, INT_MIN);
}

TEST_F(CoordTable, DivisionTruncatesTowardZero) {
    EXPECT_EQ(Unit(0, 2, 4, 4).cx, -10922); // -32768 / 3
    EXPECT_EQ(Unit(10, 10, -3, 2).cx, -109226);
}

TEST_F(CoordTable, TargetOfZeroIsRefused) {
    tagSIZE step = Unit(10, 10, 0, 5);
    EXPECT_EQ(step.cx, 0);
    EXPECT_EQ(step.cy, 0);
    EXPECT_EQ(object.m_nLastError, -4);
    object.m_nLastError = 0;
    step = Unit(10, 10, 5, 0);
    EXPECT_EQ(step.cx, 0);
    EXPECT_EQ(step.cy, 0);
    EXPECT_EQ(object.m_nLastError, -4);
}

TEST_F(CoordTable, ThreePixelsToFive) {
    EXPECT_EQ(Table(Source(3, 1, 8), 0, 16384, 5),
              (std::vector<Ints>{{0, 1, 0}, {0, 1, 512}, {1, 2, 0}, {1, 2, 512}, {2, 2, 0}}));
}

TEST_F(CoordTable, OffsetsCountTheSampleUnit) {
    const int bits[] = {1, 4, 8, 16, 24, 32, 48, 64};
    const int units[] = {1, 1, 1, 2, 3, 4, 6, 8};
    for (int i = 0; i < 8; ++i)
        EXPECT_EQ(Table(Source(4, 1, bits[i]), 1, 32768, 3),
                  (std::vector<Ints>{
                      {units[i], 2 * units[i], 0}, {2 * units[i], 3 * units[i], 0}, {3 * units[i], 3 * units[i], 0}}))
            << bits[i] << " bits";
}

TEST_F(CoordTable, LowFiveFractionBitsOnlyAccumulate) {
    EXPECT_EQ(Table(Source(9, 1, 8), 0, 31, 4), (std::vector<Ints>{{0, 1, 0}, {0, 1, 0}, {0, 1, 1}, {0, 1, 2}}));
    EXPECT_EQ(Table(Source(9, 1, 8), 1, 32767, 1), (std::vector<Ints>{{0, 1, 1023}}));
}

TEST_F(CoordTable, OnlyTheRightNeighbourIsClamped) {
    EXPECT_EQ(Table(Source(2, 1, 8), 1, 32768, 3), (std::vector<Ints>{{1, 1, 0}, {2, 2, 0}, {3, 3, 0}}));
    EXPECT_EQ(Table(Source(2, 1, 8), -1, 16384, 2), (std::vector<Ints>{{-1, 0, 512}, {0, 1, 0}}));
}

TEST_F(CoordTable, PositionsWrapIn32Bits) {
    // 3 * 2147450880 keeps its low 32 bits: 2147385344; one step further is -131072.
    EXPECT_EQ(Table(Source(65536, 1, 8), 3, 2147450880, 2), (std::vector<Ints>{{65533, 65534, 0}, {-4, -3, 0}}));
}

TEST_F(CoordTable, CountOfZeroIsAnEmptyTable) {
    const std::unique_ptr<_tagCOORDENTRY[]> table(object.GetCoordTable(Source(3, 1), 0, 16384, 0));
    EXPECT_NE(table, nullptr);
    EXPECT_EQ(object.m_nLastError, 0);
}

TEST_F(CoordTable, CountsThatNoTableCanHoldAreMemoryFailures) {
    for (int count : {178956971, INT_MAX, -1, INT_MIN}) {
        object.m_nLastError = 0;
        EXPECT_EQ(object.GetCoordTable(Source(3, 1), 0, 16384, count), nullptr) << count;
        EXPECT_EQ(object.m_nLastError, -1);
    }
}

TEST_F(CoordTable, FailedAllocationIsNull) {
    if (!testhost::CanFailNew())
        GTEST_SKIP() << "this build keeps its own operator new";
    testhost::FailNew(1);
    EXPECT_EQ(object.GetCoordTable(Source(3, 1), 0, 16384, 5), nullptr);
    EXPECT_EQ(object.m_nLastError, -1);
}

} // namespace

// The fixed palette and its cube when memory runs out.
#include "dibprep/memory.h"
#include "dibprep/quantize.h"
#include "tests/support/test_host.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <new>
#include <vector>

namespace {

struct CubeSum {
    int cellsWithLists = 0;
    int records = 0;
    bool isConsistent = true;
};

CubeSum Sum() {
    CubeSum sum;
    for (const auto& plane : STATIC_CUBE)
        for (const auto& row : plane)
            for (const CCubeCell& cell : row) {
                sum.cellsWithLists += cell.m_pList != nullptr;
                sum.records += cell.m_nCount;
                sum.isConsistent = sum.isConsistent && (cell.m_nCount > 0) == (cell.m_pList != nullptr);
            }
    return sum;
}

class StaticPaletteFailure : public testing::Test {
protected:
    StaticPaletteFailure() { testhost::Reset(); }
    ~StaticPaletteFailure() override {
        testhost::FailNew(0);
        CNiGoRo2::DeleteStaticSearchCube();
        STATIC_COLOR.Free();
        EXPECT_EQ(testhost::LiveBlocks(), 0);
        EXPECT_EQ(testhost::BadCalls(), 0);
        testhost::Reset();
    }
};

TEST_F(StaticPaletteFailure, NoBlockLeavesThePaletteEmpty) {
    testhost::FailAllocation(1);
    CNiGoRo2::SetStaticColors();
    EXPECT_EQ(STATIC_COLOR.IsEmpty(), 1);
    EXPECT_EQ(CNiGoRo2::m_iStcColorNum, 256);
}

TEST_F(StaticPaletteFailure, NoBlockLeavesTheCubeEmpty) {
    testhost::FailAllocation(1);
    CNiGoRo2::CreateStaticSearchCube();
    EXPECT_EQ(STATIC_COLOR.IsEmpty(), 1);
    EXPECT_EQ(Sum().records, 0);
    EXPECT_EQ(Sum().cellsWithLists, 0);
}

TEST_F(StaticPaletteFailure, NextBuildSucceeds) {
    testhost::FailAllocation(1);
    CNiGoRo2::CreateStaticSearchCube();
    CNiGoRo2::CreateStaticSearchCube();
    EXPECT_EQ(Sum().records, 20261);
    EXPECT_EQ(Sum().cellsWithLists, 4096);
}

TEST_F(StaticPaletteFailure, BlockThatCannotBeLockedLeavesTheCubeEmpty) {
    testhost::FailLock(1);
    CNiGoRo2::SetStaticColors();
    EXPECT_EQ(STATIC_COLOR.IsEmpty(), 0);
    EXPECT_EQ(testhost::Bytes(STATIC_COLOR.m_hMem), std::vector<std::uint8_t>(768));

    STATIC_COLOR.UnLock();
    testhost::FailLock(1);
    CNiGoRo2::CreateStaticSearchCube();
    EXPECT_EQ(Sum().records, 0);
    CNiGoRo2::CreateStaticSearchCube();
    EXPECT_EQ(Sum().records, 20261);
    EXPECT_EQ(testhost::Allocations(), 1);
}

class StaticListFailure : public StaticPaletteFailure {
protected:
    void SetUp() override {
        if (!testhost::CanFailNew())
            GTEST_SKIP() << "the address sanitizer keeps its own operator new, which cannot fail on demand";
    }
};

TEST_F(StaticListFailure, EachListOfTheBuildIsOneAllocation) {
    CNiGoRo2::SetStaticColors();
    const int before = testhost::News();
    CNiGoRo2::CreateStaticSearchCube();
    EXPECT_EQ(testhost::News() - before, 4096);
}

TEST_F(StaticListFailure, ListThatCannotGrowLeavesAsBadAllocAndTheCubeDeletable) {
    for (const int n : {1, 2, 777, 4096}) {
        testhost::FailNew(n);
        EXPECT_THROW(CNiGoRo2::CreateStaticSearchCube(), std::bad_alloc) << n;
        const CubeSum sum = Sum();
        EXPECT_EQ(sum.cellsWithLists, n - 1);
        EXPECT_TRUE(sum.isConsistent);
        CNiGoRo2::DeleteStaticSearchCube();
        EXPECT_EQ(Sum().records, 0);
    }
    EXPECT_EQ(STATIC_COLOR.IsEmpty(), 0);
}

TEST_F(StaticListFailure, CellKeepsItsRecordsWhenItsListCannotGrow) {
    for (int n = 0; n < 32; ++n)
        CNiGoRo2::AddStaticList(9, 9, 9, CColorTrans2{{}, static_cast<unsigned int>(n), 0});
    const CCubeCell& cell = STATIC_CUBE[9][9][9];
    const CColorTrans2* const list = cell.m_pList;

    testhost::FailNew(1);
    EXPECT_THROW(CNiGoRo2::AddStaticList(9, 9, 9, CColorTrans2{}), std::bad_alloc);
    EXPECT_EQ(cell.m_nCount, 32);
    EXPECT_EQ(cell.m_pList, list);
    EXPECT_EQ(cell.m_pList[31].m_dwCount, 31u);

    CNiGoRo2::AddStaticList(9, 9, 9, CColorTrans2{{}, 32, 0});
    EXPECT_EQ(cell.m_nCount, 33);
    EXPECT_EQ(cell.m_pList[0].m_dwCount, 0u);
    EXPECT_EQ(cell.m_pList[32].m_dwCount, 32u);
}

TEST_F(StaticListFailure, OneAllocationPer32Records) {
    const auto newsOf = [](int records) {
        const int before = testhost::News();
        for (int n = 0; n < records; ++n)
            CNiGoRo2::AddStaticList(0, 0, 0, CColorTrans2{});
        return testhost::News() - before;
    };
    EXPECT_EQ(newsOf(1), 1);
    EXPECT_EQ(newsOf(31), 0);
    EXPECT_EQ(newsOf(1), 1); // the 33rd
    EXPECT_EQ(newsOf(31), 0);
    EXPECT_EQ(newsOf(1), 1); // the 65th
}

} // namespace

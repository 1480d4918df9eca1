// The quantiser when memory is short: what it answers and that nothing is left.
#include "tests/quantize/quantize_support.h"

#include <new>

namespace {

using namespace quantizetest;

class QuantizeFailure : public MemoryTest {
protected:
    // More than 16384 pixels and more than 64 colours: the cube is used.
    static Bytes Large() {
        std::vector<Rgb> pixels = Distinct(65);
        pixels.resize(16385, pixels[0]);
        return TrueColour(16385, 1, pixels);
    }
};

TEST_F(QuantizeFailure, OutputThatCannotBeAllocatedOrLockedGivesNothing) {
    Bytes dib = TrueColour(2, 1, {{255, 0, 0}, {0, 0, 255}});
    ASSERT_NE(Take(Quantiser(dib)->QuantizeBitmap(1, 0)).size(), 0u);
    ASSERT_EQ(testhost::Allocations(), 1);
    ASSERT_EQ(testhost::Locks(), 2) << "to write the header, and to fill it";
    testhost::FailAllocation(1);
    EXPECT_EQ(Quantiser(dib)->QuantizeBitmap(1, 0), nullptr);
    for (int n = 1; n <= 2; ++n) {
        testhost::FailLock(n);
        EXPECT_EQ(Quantiser(dib)->QuantizeBitmap(1, 0), nullptr) << n;
        EXPECT_EQ(testhost::LiveBlocks(), 0) << n;
    }
}

TEST_F(QuantizeFailure, OctreeThatCannotBeAllocatedGivesNothing) {
    if (!testhost::CanFailNew())
        GTEST_SKIP() << "operator new belongs to the sanitizer here";
    Bytes dib = TrueColour(2, 1, {{255, 0, 0}, {0, 0, 255}});
    const auto q = Quantiser(dib);
    testhost::FailNew(1);
    EXPECT_EQ(q->InitOctree(), 0);
    EXPECT_EQ(q->m_pCube, nullptr);
    testhost::FailNew(1);
    EXPECT_EQ(q->QuantizeBitmap(1, 0), nullptr);
    EXPECT_EQ(testhost::Allocations(), 0);
    EXPECT_NE(Take(q->QuantizeBitmap(1, 0)).size(), 0u) << "and is tried again";
}

TEST_F(QuantizeFailure, ListsThatCannotGrowThrowAndLeaveNoBlock) {
    if (!testhost::CanFailNew())
        GTEST_SKIP() << "operator new belongs to the sanitizer here";
    Bytes dib = Large();
    testhost::ResetCounters();
    int news = 0;
    {
        const auto q = Quantiser(dib);
        testhost::ResetCounters();
        void* const result = q->QuantizeBitmap(1, 0);
        news = testhost::News();
        ASSERT_NE(result, nullptr);
        GlobalFree(result);
    }
    ASSERT_GE(news, 1 + 512) << "the octree and a list for every cell";
    for (int n = 2; n <= news; ++n) {
        const auto q = Quantiser(dib);
        testhost::FailNew(n);
        bool thrown = false;
        try {
            q->QuantizeBitmap(1, 0);
        } catch (const std::bad_alloc&) {
            thrown = true;
        }
        testhost::FailNew(0);
        ASSERT_TRUE(thrown) << n;
        ASSERT_EQ(testhost::LiveBlocks(), 0) << n << ": the output block is released on the way";
        ASSERT_EQ(testhost::OutstandingLocks(), 0) << n;
    }
}

TEST_F(QuantizeFailure, AListKeepsItsRecordsWhenItCannotGrow) {
    if (!testhost::CanFailNew())
        GTEST_SKIP() << "operator new belongs to the sanitizer here";
    Bytes dib = TrueColour(1, 1, {{1, 2, 3}});
    const auto q = Quantiser(dib);
    for (int i = 0; i < 32; ++i)
        q->AddList(0, 0, 0, Record(i, i, i, 0, i));
    testhost::FailNew(1);
    EXPECT_THROW(q->AddList(0, 0, 0, Record(0, 0, 0)), std::bad_alloc);
    testhost::FailNew(0);
    EXPECT_EQ(q->m_SearchCube[0][0][0].m_nCount, 32);
    EXPECT_EQ(q->m_SearchCube[0][0][0].m_pList[31].m_byIndex, 31);
    EXPECT_EQ(q->GetNearestColorIndexC(31, 31, 31), 31);
}

} // namespace

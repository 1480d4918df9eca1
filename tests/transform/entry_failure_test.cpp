// ConvertResolution when something fails: statuses, and what is left of the blocks.
#include "tests/transform/transform_support.h"

namespace {

using namespace transformtest;

class EntryFailure : public MemoryTest {
protected:
    int Convert(const Bytes& dib, unsigned short dpi = 100) {
        source = testhost::MakeBlock(dib);
        testhost::ResetCounters();
        return Again(dpi);
    }
    int Again(unsigned short dpi = 100) {
        result = this; // anything but 0
        return ConvertResolution(source, &result, nullptr, dpi, 128);
    }
    // A conversion whose n-th allocation or lock fails.
    int Failing(void (*plan)(int), int n, const Bytes& dib) {
        testhost::Reset();
        source = testhost::MakeBlock(dib);
        plan(n);
        const int status = Again();
        plan(0);
        return status;
    }
    int Left() const { return testhost::LiveBlocks() - 1 - (result ? 1 : 0); }
    void* source = nullptr;
    void* result = nullptr;
};

TEST_F(EntryFailure, NullArguments) {
    EXPECT_EQ(ConvertResolution(nullptr, &result, nullptr, 100, 128), 5);
    EXPECT_EQ(result, nullptr);
    source = testhost::MakeBlock(ColourTableDib(4, 4, 8));
    EXPECT_EQ(ConvertResolution(source, nullptr, nullptr, 100, 128), 2);
    EXPECT_EQ(ConvertResolution(nullptr, nullptr, nullptr, 100, 128), 2);
    EXPECT_EQ(testhost::LiveBlocks(), 1);
}

TEST_F(EntryFailure, BlocksTooSmallFor5) {
    const Bytes dibs[] = {ColourTableDib(4, 4, 8),
                          GrayDib(8, 4, 4),
                          ColourTableDib(8, 4, 4),
                          GrayDib(4, 4, 8),
                          testdib::MakeDib(4, 4, 24, Ppm100, Ppm100),
                          testdib::MakeDib(32, 4, 1, Ppm100, Ppm100)};
    for (const Bytes& dib : dibs) {
        const std::size_t rows = RowsOf(dib);
        for (const std::size_t bytes : {std::size_t{1}, std::size_t{39}, rows - 1, rows, dib.size() - 1}) {
            testhost::Reset();
            EXPECT_EQ(Convert(Part(dib, 0, bytes)), 5) << testdib::U16(dib, 14) << " bits, " << bytes << " bytes";
            EXPECT_EQ(result, nullptr);
            EXPECT_EQ(Left(), 0);
            EXPECT_EQ(testhost::OutstandingLocks(), 0);
        }
    }
}

TEST_F(EntryFailure, TopDownPicturesAreRefused) {
    for (const Bytes& dib : {ColourTableDib(4, -4, 8), GrayDib(4, -4, 4), GrayDib(4, -4, 8),
                             testdib::MakeDib(4, -4, 24, Ppm100, Ppm100)}) {
        testhost::Reset();
        EXPECT_EQ(Convert(dib), 5);
        EXPECT_EQ(result, nullptr);
    }
}

TEST_F(EntryFailure, ColourTablesTooWideForTheRowMaskAre2) {
    EXPECT_EQ(Convert(ColourTableDib(21845, 1, 8)), 2);
    EXPECT_EQ(result, nullptr);
    EXPECT_EQ(Left(), 0);
    testhost::Reset();
    EXPECT_EQ(Convert(ColourTableDib(21845, 1, 4)), 2);
    testhost::Reset();
    EXPECT_EQ(Convert(GrayDib(65533, 1, 4), 10), 2);
    EXPECT_EQ(result, nullptr);
    testhost::Reset();
    EXPECT_EQ(Convert(GrayDib(65533, 1, 8), 10), 0) << "8-bit gray needs no expansion";
}

TEST_F(EntryFailure, AResultBeyond32BitsIs2WithoutAskingForIt) {
    Bytes dib = testdib::MakeDib(0, 0, 24, Ppm100, Ppm100);
    testdib::PutU32(dib, 4, 65535);
    testdib::PutU32(dib, 8, 65535);
    EXPECT_EQ(Convert(dib), 2);
    EXPECT_EQ(result, nullptr);
    EXPECT_EQ(testhost::Allocations(), 0);
}

TEST_F(EntryFailure, AResultThatTheHostRefusesIs2) {
    testhost::SetLargestBlock(1000000);
    EXPECT_EQ(Convert(GrayDib(10, 10, 8), 10000), 2);
    EXPECT_EQ(result, nullptr);
    EXPECT_EQ(testhost::Allocations(), 1);
    EXPECT_EQ(Left(), 0);
}

TEST_F(EntryFailure, EachAllocationWithoutPreConversion) {
    for (const Bytes& dib : {GrayDib(4, 4, 8), testdib::MakeDib(4, 4, 24, Ppm100, Ppm100)}) {
        testhost::Reset();
        ASSERT_EQ(Convert(dib), 0);
        ASSERT_EQ(testhost::Allocations(), 3);
        for (int n = 1; n <= 3; ++n) {
            testhost::Reset();
            testhost::FailAllocation(n);
            EXPECT_EQ(Convert(dib), 2) << n;
            EXPECT_EQ(result, nullptr);
            EXPECT_EQ(Left(), 0) << n;
            EXPECT_EQ(testhost::OutstandingLocks(), 0);
        }
    }
}

TEST_F(EntryFailure, EachAllocationOfAFourBitGraySource) {
    const Bytes dib = GrayDib(4, 4, 4);
    ASSERT_EQ(Convert(dib), 0);
    ASSERT_EQ(testhost::Allocations(), 4);
    // Widened intermediate, result (an early return: the intermediate stays), two scratch blocks.
    const int left[] = {0, 1, 0, 0};
    for (int n = 1; n <= 4; ++n) {
        const int status = Failing(testhost::FailAllocation, n, dib);
        EXPECT_EQ(status, 2) << n;
        EXPECT_EQ(result, nullptr);
        EXPECT_EQ(Left(), left[n - 1]) << n;
        EXPECT_EQ(testhost::OutstandingLocks(), 0);
    }
}

TEST_F(EntryFailure, EachAllocationOfAColourTableSource) {
    for (const int bits : {4, 8}) {
        const Bytes dib = ColourTableDib(4, 4, bits);
        testhost::Reset();
        ASSERT_EQ(Convert(dib), 0);
        ASSERT_EQ(testhost::Allocations(), 5);
        // Intermediate, result, two scratch blocks, reduced result: the outcome of the reduction
        // does not change the status.
        const int statuses[] = {2, 2, 2, 2, 0};
        const int left[] = {0, 1, 1, 1, 1};
        for (int n = 1; n <= 5; ++n) {
            const int status = Failing(testhost::FailAllocation, n, dib);
            EXPECT_EQ(status, statuses[n - 1]) << n;
            EXPECT_EQ(result, nullptr) << n;
            EXPECT_EQ(Left(), left[n - 1]) << n << ": the intermediate stays on every road";
            EXPECT_EQ(testhost::OutstandingLocks(), 0) << n;
        }
    }
}

TEST_F(EntryFailure, EachLockOfATrueColourSource) {
    const Bytes dib = testdib::MakeDib(4, 4, 24, Ppm100, Ppm100);
    ASSERT_EQ(Convert(dib), 0);
    // Two looks of the pre-conversion, the size query, source, destination, two scratch blocks.
    ASSERT_EQ(testhost::Locks(), 7);
    const int statuses[] = {5, 5, 5, 5, 6, 2, 2};
    for (int n = 1; n <= 7; ++n) {
        const int status = Failing(testhost::FailLock, n, dib);
        EXPECT_EQ(status, statuses[n - 1]) << n;
        EXPECT_EQ(result, nullptr) << n;
        EXPECT_EQ(Left(), 0) << n;
        EXPECT_EQ(testhost::OutstandingLocks(), 0) << n;
    }
}

TEST_F(EntryFailure, EachLockOfAFourBitGraySource) {
    const Bytes dib = GrayDib(4, 4, 4);
    ASSERT_EQ(Convert(dib), 0);
    // ConvertImage; ConvertImage2: source, result; size query; source, destination, two scratch.
    ASSERT_EQ(testhost::Locks(), 8);
    const int statuses[] = {5, 5, 2, 5, 5, 6, 2, 2};
    const int left[] = {0, 0, 0, 1, 0, 0, 0, 0}; // a failed size query returns early
    for (int n = 1; n <= 8; ++n) {
        const int status = Failing(testhost::FailLock, n, dib);
        EXPECT_EQ(status, statuses[n - 1]) << n;
        EXPECT_EQ(result, nullptr) << n;
        EXPECT_EQ(Left(), left[n - 1]) << n;
        EXPECT_EQ(testhost::OutstandingLocks(), 0) << n;
    }
}

TEST_F(EntryFailure, EachLockOfAColourTableSource) {
    const Bytes dib = ColourTableDib(4, 4, 8);
    ASSERT_EQ(Convert(dib), 0);
    // Expansion: source, intermediate; size query; source, destination, two scratch blocks; result;
    // reduced result when made and when filled.
    ASSERT_EQ(testhost::Locks(), 10);
    const int statuses[] = {5, 2, 5, 5, 6, 2, 2, 2, 0, 0};
    for (int n = 1; n <= 10; ++n) {
        const int status = Failing(testhost::FailLock, n, dib);
        EXPECT_EQ(status, statuses[n - 1]) << n;
        EXPECT_EQ(result, nullptr) << n;
        EXPECT_EQ(Left(), n <= 2 ? 0 : 1) << n;
        EXPECT_EQ(testhost::OutstandingLocks(), 0) << n;
    }
}

} // namespace

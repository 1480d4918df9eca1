// Every allocation and every lock fails once.
#include "tests/bilinear/bilinear_test.h"

namespace {

using namespace bilinear_test;
using namespace testdib;

class MemoryFailure : public BilinearTest {
protected:
    void* Convert(const Bytes& dib) {
        status = 0;
        object.m_nLastError = 0;
        source = testhost::MakeBlock(dib);
        return object.ConvertResolution_(source, 5906, 5906, &status);
    }
    void FreeSource() {
        EXPECT_EQ(testhost::LockCount(source), 0);
        GlobalFree(source);
    }

    void* source = nullptr;
    unsigned short status = 0;
};

TEST_F(MemoryFailure, ResamplingMakesOneBlockOneTableAndFourLocks) {
    Take(Convert(MakeDib(8, 8, 24)));
    EXPECT_EQ(testhost::Allocations(), 1);
    EXPECT_EQ(testhost::LastAllocationSize(), 88u);
    EXPECT_EQ(testhost::Locks(), 4);
    FreeSource();
}

TEST_F(MemoryFailure, BlockCannotBeMade) {
    testhost::FailAllocation(1);
    EXPECT_EQ(Convert(MakeDib(8, 8, 24)), nullptr);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(object.m_nLastError, -1);
    FreeSource();
    EXPECT_EQ(testhost::LiveBlocks(), 0);
}

TEST_F(MemoryFailure, TableCannotBeMade) {
    if (!testhost::CanFailNew())
        GTEST_SKIP() << "this build keeps its own operator new";
    for (int bits : {1, 4, 8, 16, 24, 32, 48, 64}) {
        const Bytes dib = MakeDib(8, 8, bits);
        status = 0;
        object.m_nLastError = 0;
        source = testhost::MakeBlock(dib);
        testhost::FailNew(1);
        void* const result = object.ConvertResolution_(source, 5906, 5906, &status);
        testhost::FailNew(0);
        EXPECT_EQ(result, nullptr);
        EXPECT_EQ(status, 0);
        EXPECT_EQ(object.m_nLastError, -1);
        FreeSource();
        EXPECT_EQ(testhost::LiveBlocks(), 0);
    }
}

TEST_F(MemoryFailure, LocksOfTheResampling) {
    // The source; the new block while it is filled, and while the kernel runs.
    const int statuses[] = {2, 0, 0};
    const int errors[] = {0, -1, -1};
    for (int n = 1; n <= 3; ++n) {
        testhost::FailLock(n);
        EXPECT_EQ(Convert(MakeDib(8, 8, 24)), nullptr) << "lock " << n;
        EXPECT_EQ(status, statuses[n - 1]);
        EXPECT_EQ(object.m_nLastError, errors[n - 1]);
        FreeSource();
        EXPECT_EQ(testhost::LiveBlocks(), 0);
    }
}

TEST_F(MemoryFailure, ResultThatCannotBeLockedComesWithoutItsResolution) {
    testhost::FailLock(4);
    const Bytes made = Take(Convert(MakeDib(8, 8, 24)));
    ASSERT_EQ(made.size(), 88u);
    EXPECT_EQ(WidthOf(made), 4);
    EXPECT_EQ(U32(made, 24), 0u);
    EXPECT_EQ(U32(made, 28), 0u);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(object.m_nLastError, 0);
    FreeSource();
}

TEST_F(MemoryFailure, CopyMakesOneBlockAndThreeLocks) {
    EXPECT_EQ(Take(Convert(MakeDib(8, 8, 24, 0, 0))).size(), 232u);
    EXPECT_EQ(testhost::Allocations(), 1);
    EXPECT_EQ(testhost::Locks(), 3);
    FreeSource();
}

TEST_F(MemoryFailure, CopyCannotBeMade) {
    testhost::FailAllocation(1);
    EXPECT_EQ(Convert(MakeDib(8, 8, 24, 0, 0)), nullptr);
    EXPECT_EQ(status, 3);
    FreeSource();
    EXPECT_EQ(testhost::LiveBlocks(), 0);
}

TEST_F(MemoryFailure, CopyCannotBeLocked) {
    for (int n = 2; n <= 3; ++n) {
        testhost::FailLock(n);
        EXPECT_EQ(Convert(MakeDib(8, 8, 24, 0, 0)), nullptr) << "lock " << n;
        EXPECT_EQ(status, 3);
        testhost::FailLock(0);
        FreeSource();
        EXPECT_EQ(testhost::LiveBlocks(), 0);
    }
}

} // namespace

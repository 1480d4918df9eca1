// The tests' own memory layer: that it is the one in use, and that it notices what it should.
#include "tests/support/test_host.h"

#include "tests/support/dib_builder.h"

#include "dibprep/entries.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <new>

namespace {

class TestHost : public testing::Test {
protected:
    TestHost() { testhost::Reset(); }
    ~TestHost() override { testhost::Reset(); }

    static volatile unsigned char* Lock(void* block) { return static_cast<unsigned char*>(GlobalLock(block)); }
};

using TestHostDeathTest = TestHost;

} // namespace

TEST_F(TestHost, LibraryUsesThisLayer) {
    void* const page = testhost::MakeBlock(testdib::MakeDib(10, 10, 24));
    unsigned int size = 0;
    EXPECT_EQ(GetBufferSize(page, 300, &size), 0u);
    EXPECT_EQ(testhost::Locks(), 1);
    EXPECT_EQ(testhost::OutstandingLocks(), 0);
    testhost::FailLock(1);
    EXPECT_EQ(GetBufferSize(page, 300, &size), 10u);
}

TEST_F(TestHost, BlocksAreZeroedCountedAndExact) {
    void* const block = GlobalAlloc(66, 13);
    EXPECT_EQ(testhost::Bytes(block), std::vector<std::uint8_t>(13, 0));
    EXPECT_EQ(GlobalSize(block), 13u);
    EXPECT_EQ(testhost::Allocations(), 1);
    EXPECT_EQ(testhost::LastAllocationSize(), 13u);
    EXPECT_EQ(testhost::LiveBlocks(), 1);
    EXPECT_EQ(GlobalFree(block), nullptr);
    EXPECT_EQ(testhost::LiveBlocks(), 0);
    EXPECT_FALSE(testhost::IsLive(block));
    EXPECT_EQ(testhost::BadCalls(), 0);
}

TEST_F(TestHost, BlocksFreedWhileLockedAreCounted) {
    void* const block = GlobalAlloc(66, 13);
    GlobalLock(block);
    GlobalUnlock(block);
    GlobalFree(block);
    EXPECT_EQ(testhost::LockedFrees(), 0);
    void* const locked = GlobalAlloc(66, 13);
    GlobalLock(locked);
    GlobalFree(locked);
    EXPECT_EQ(testhost::LockedFrees(), 1);
    EXPECT_EQ(testhost::BadCalls(), 0) << "no fault of itself";
}

TEST_F(TestHostDeathTest, ByteBehindABlockIsUnreadable) {
    void* const block = GlobalAlloc(66, 13);
    volatile unsigned char* const bytes = Lock(block);
    bytes[12] = 1;
    EXPECT_DEATH(bytes[13] = 1, "");
}

TEST_F(TestHostDeathTest, ByteInFrontOfABlockIsLookedAtWhenItIsFreed) {
    void* const block = GlobalAlloc(66, 13);
    volatile unsigned char* const bytes = Lock(block);
    EXPECT_DEATH(
        {
            bytes[-1] = 1;
            GlobalFree(block);
        },
        "wrote beside a block");
}

TEST_F(TestHostDeathTest, TheStartOfABlockIsGuardedInstead) {
    testhost::SetGuardedSide(testhost::Side::Start);
    void* const block = GlobalAlloc(66, 13);
    volatile unsigned char* const bytes = Lock(block);
    bytes[0] = 1;
    EXPECT_DEATH(bytes[-1] = 1, "");
    EXPECT_DEATH(
        {
            bytes[13] = 1;
            GlobalFree(block);
        },
        "wrote beside a block");
}

TEST_F(TestHostDeathTest, FreedBlockIsUnreadable) {
    void* const block = GlobalAlloc(66, 13);
    volatile unsigned char* const bytes = Lock(block);
    EXPECT_DEATH(
        {
            GlobalFree(block);
            bytes[0] = 1;
        },
        "");
}

TEST_F(TestHost, BlockOfNoBytesHasAnAddress) {
    void* const block = GlobalAlloc(66, 0);
    ASSERT_NE(block, nullptr);
    EXPECT_NE(GlobalLock(block), nullptr);
    EXPECT_EQ(GlobalSize(block), 0u);
}

TEST_F(TestHost, PlannedCallFailsOnce) {
    testhost::FailAllocation(2);
    void* const block = GlobalAlloc(66, 1);
    EXPECT_NE(block, nullptr);
    EXPECT_EQ(GlobalAlloc(66, 1), nullptr);
    EXPECT_NE(GlobalAlloc(66, 1), nullptr);
    testhost::FailLock(1);
    EXPECT_EQ(GlobalLock(block), nullptr);
    EXPECT_NE(GlobalLock(block), nullptr);
    EXPECT_EQ(testhost::OutstandingLocks(), 1);
    EXPECT_EQ(testhost::Allocations(), 3);
    EXPECT_EQ(testhost::Locks(), 2);
}

TEST_F(TestHost, BlocksAboveTheLimitAreRefused) {
    testhost::SetLargestBlock(100);
    EXPECT_NE(GlobalAlloc(66, 100), nullptr);
    EXPECT_EQ(GlobalAlloc(66, 101), nullptr);
    testhost::SetLargestBlock(SIZE_MAX);
    EXPECT_EQ(GlobalAlloc(66, SIZE_MAX), nullptr);
}

TEST_F(TestHost, BytesAreCountedAndTheirPeakKept) {
    void* const first = testhost::MakeBlock({1, 2, 3});
    void* const second = GlobalAlloc(66, 100);
    EXPECT_EQ(testhost::LiveBytes(), 103u);
    GlobalFree(second);
    EXPECT_EQ(testhost::LiveBytes(), 3u);
    EXPECT_EQ(testhost::PeakBytes(), 103u);
    testhost::ResetCounters();
    EXPECT_EQ(testhost::PeakBytes(), 3u);
    GlobalFree(first);
    EXPECT_EQ(testhost::LiveBytes(), 0u);
    EXPECT_EQ(testhost::PeakBytes(), 3u);
}

TEST_F(TestHost, BadAndNullCallsAreCountedApart) {
    void* const block = GlobalAlloc(66, 1);
    GlobalFree(block);
    EXPECT_EQ(GlobalFlags(block), 32768u);
    EXPECT_EQ(testhost::BadCalls(), 0);
    EXPECT_EQ(GlobalLock(block), nullptr);
    EXPECT_EQ(GlobalFree(block), block);
    EXPECT_EQ(testhost::BadCalls(), 2);
    EXPECT_EQ(GlobalFree(nullptr), nullptr);
    EXPECT_EQ(testhost::NullCalls(), 1);
    EXPECT_EQ(testhost::BadCalls(), 2);
    void* const unlocked = GlobalAlloc(66, 1);
    GlobalUnlock(unlocked);
    EXPECT_EQ(testhost::BadCalls(), 3);
    GlobalAlloc(2, 1);
    EXPECT_EQ(testhost::BadCalls(), 4);
}

TEST_F(TestHost, SizesAreAnsweredAsSet) {
    void* const exact = GlobalAlloc(66, 17);
    testhost::SetSizeAnswer(testhost::SizeAnswer::RoundedUp);
    void* const rounded = GlobalAlloc(66, 17);
    EXPECT_EQ(GlobalSize(exact), 17u);
    EXPECT_EQ(GlobalSize(rounded), 32u);
    Lock(rounded)[31] = 1;
    EXPECT_EQ(testhost::Size(rounded), 17u);
    testhost::SetSizeAnswer(testhost::SizeAnswer::Unknown);
    EXPECT_EQ(GlobalSize(exact), 0u);
}

TEST_F(TestHost, MovingBlocksKeepTheirBytes) {
    testhost::SetMovingBlocks(true);
    void* const block = testhost::MakeBlock({1, 2, 3});
    void* const first = GlobalLock(block);
    EXPECT_EQ(GlobalLock(block), first);
    GlobalUnlock(block);
    GlobalUnlock(block);
    EXPECT_NE(GlobalLock(block), first);
    EXPECT_EQ(testhost::Bytes(block), (std::vector<std::uint8_t>{1, 2, 3}));
}

TEST_F(TestHost, OperatorNewFailsOnDemandWhereItIsOurs) {
#if defined(__SANITIZE_ADDRESS__)
    EXPECT_FALSE(testhost::CanFailNew());
#else
    ASSERT_TRUE(testhost::CanFailNew());
    const int before = testhost::News();
    testhost::FailNew(2);
    void* const first = ::operator new(10);
    void* const second = ::operator new(10, std::nothrow);
    EXPECT_EQ(second, nullptr);
    EXPECT_EQ(testhost::News(), before + 2);
    ::operator delete(first);
    testhost::FailNew(1);
    bool thrown = false;
    try {
        ::operator delete(::operator new(10));
    } catch (const std::bad_alloc&) {
        thrown = true;
    }
    EXPECT_TRUE(thrown);
#endif
}

TEST_F(TestHostDeathTest, GuardedBufferTouchesAnUnreadablePageOnItsSide) {
    testhost::GuardedBuffer end(5);
    testhost::GuardedBuffer start(5, testhost::GuardedBuffer::Side::Start);
    end.data()[0] = end.data()[4] = start.data()[0] = start.data()[4] = 1;
    volatile std::uint8_t* const behind = end.data() + 5;
    volatile std::uint8_t* const before = start.data() - 1;
    EXPECT_DEATH(*behind = 1, "");
    EXPECT_DEATH(*before = 1, "");
}

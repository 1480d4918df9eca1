// CHandle: who owns a block, who has locked it, and what the host's layer is asked.
#include "dibprep/host.h"
#include "dibprep/memory.h"
#include "tests/support/test_host.h"

#include <gtest/gtest.h>

#include <memory>
#include <new>
#include <type_traits>

namespace {

constexpr unsigned int MovableZeroed = 66;

class Handle : public ::testing::Test {
protected:
    void SetUp() override { testhost::Reset(); }
    void TearDown() override {
        EXPECT_EQ(testhost::LiveBlocks(), 0);
        EXPECT_EQ(testhost::BadCalls(), 0);
        testhost::Reset();
    }

    // A block of 16 bytes, 0 to 15, locked `locks` times.
    static void* Block(int locks = 0) {
        std::vector<std::uint8_t> bytes(16);
        for (std::size_t i = 0; i < bytes.size(); ++i)
            bytes[i] = static_cast<std::uint8_t>(i);
        void* const handle = testhost::MakeBlock(bytes);
        for (int i = 0; i < locks; ++i)
            GlobalLock(handle);
        testhost::ResetCounters();
        return handle;
    }
};

// A handle that named a block once.
void* DeadHandle() {
    void* const handle = GlobalAlloc(MovableZeroed, 1);
    GlobalFree(handle);
    return handle;
}

void ExpectEmpty(CHandle& object) {
    EXPECT_EQ(object.IsEmpty(), 1);
    EXPECT_EQ(object.m_hMem, nullptr);
    EXPECT_EQ(object.m_pMem, nullptr);
    EXPECT_FALSE(object.m_bLocked);
}

TEST_F(Handle, NullGivesAnEmptyObjectThatTouchesNothing) {
    testhost::ResetCounters();
    {
        CHandle object(nullptr);
        ExpectEmpty(object);
        EXPECT_EQ(object.Lock(), nullptr);
        object.UnLock();
        object.Free();
        object.Cleanup();
        EXPECT_EQ(object.GetHandle(), nullptr);
    }
    EXPECT_EQ(testhost::Calls(), 0);
}

TEST_F(Handle, InvalidHandleGivesAnEmptyObject) {
    void* const dead = DeadHandle();
    testhost::ResetCounters();
    {
        CHandle object(dead);
        ExpectEmpty(object);
        EXPECT_EQ(testhost::Calls(), 1); // the question whether it is valid
    }
    EXPECT_EQ(testhost::Calls(), 1); // neither unlocked nor freed
}

TEST_F(Handle, TakesOwnership) {
    void* const handle = Block();
    {
        CHandle object(handle);
        EXPECT_EQ(object.IsEmpty(), 0);
        EXPECT_EQ(object.m_hMem, handle);
        EXPECT_EQ(object.m_pMem, nullptr);
        EXPECT_FALSE(object.m_bLocked);
        EXPECT_EQ(testhost::Locks(), 0);
        EXPECT_TRUE(testhost::IsLive(handle));
    }
    EXPECT_FALSE(testhost::IsLive(handle));
}

TEST_F(Handle, ConstructorDrainsTheLocksOfTheCreator) {
    void* const handle = Block(3);
    CHandle object(handle);
    EXPECT_EQ(testhost::LockCount(handle), 0);
    EXPECT_EQ(object.IsEmpty(), 0);
}

TEST_F(Handle, LocksOnceAndUnlocksWholly) {
    void* const handle = Block();
    CHandle object(handle);
    void* const address = object.Lock();
    EXPECT_EQ(address, testhost::Address(handle));
    EXPECT_EQ(object.m_pMem, address);
    EXPECT_TRUE(object.m_bLocked);
    EXPECT_EQ(object.Lock(), address);
    EXPECT_EQ(testhost::Locks(), 1);
    EXPECT_EQ(testhost::LockCount(handle), 1);
    object.UnLock();
    EXPECT_EQ(testhost::LockCount(handle), 0);
    EXPECT_EQ(object.m_pMem, nullptr);
    EXPECT_FALSE(object.m_bLocked);
    EXPECT_EQ(object.IsEmpty(), 0);
}

TEST_F(Handle, UnlockDrainsForeignLocksToo) {
    void* const handle = Block();
    CHandle object(handle);
    object.Lock();
    GlobalLock(handle);
    GlobalLock(handle);
    object.UnLock();
    EXPECT_EQ(testhost::LockCount(handle), 0);
}

TEST_F(Handle, UnlockWithoutALockOfItsOwnLeavesForeignLocks) {
    void* const handle = Block();
    CHandle object(handle);
    GlobalLock(handle);
    object.m_pMem = &object; // whatever stands there is forgotten
    object.UnLock();
    EXPECT_EQ(testhost::LockCount(handle), 1);
    EXPECT_EQ(object.m_pMem, nullptr);
    GlobalUnlock(handle);
}

TEST_F(Handle, AFailedLockDrainsAndLeavesTheObjectUnlocked) {
    void* const handle = Block();
    CHandle object(handle);
    GlobalLock(handle);
    GlobalLock(handle);
    testhost::FailLock(1);
    EXPECT_EQ(object.Lock(), nullptr);
    EXPECT_EQ(testhost::LockCount(handle), 0);
    EXPECT_EQ(object.m_pMem, nullptr);
    EXPECT_FALSE(object.m_bLocked);
    EXPECT_EQ(object.IsEmpty(), 0);
    EXPECT_EQ(object.Lock(), testhost::Address(handle)); // the next try is a fresh one
}

TEST_F(Handle, GetHandleGivesUpALockedBlockAsItIs) {
    void* const handle = Block();
    {
        CHandle object(handle);
        object.Lock();
        EXPECT_EQ(object.GetHandle(), handle);
        ExpectEmpty(object);
    }
    EXPECT_TRUE(testhost::IsLive(handle));
    EXPECT_EQ(testhost::LockCount(handle), 1);
    GlobalUnlock(handle);
    GlobalFree(handle);
}

TEST_F(Handle, GetHandleAfterUnlockGivesAnUnlockedBlock) {
    void* const handle = Block();
    {
        CHandle object(handle);
        object.Lock();
        object.UnLock();
        EXPECT_EQ(object.GetHandle(), handle);
    }
    EXPECT_EQ(testhost::LockCount(handle), 0);
    GlobalFree(handle);
}

TEST_F(Handle, DetachTouchesNothing) {
    void* const handle = Block();
    CHandle object(handle);
    object.Lock();
    const int calls = testhost::Calls();
    object.Detach();
    ExpectEmpty(object);
    EXPECT_EQ(testhost::Calls(), calls);
    EXPECT_EQ(testhost::LockCount(handle), 1);
    GlobalUnlock(handle);
    GlobalFree(handle);
}

TEST_F(Handle, FreeAndCleanupEmptyTheObject) {
    for (const bool lock : {false, true}) {
        CHandle freed(Block());
        if (lock)
            freed.Lock();
        freed.Free();
        ExpectEmpty(freed);
        CHandle cleaned(Block());
        if (lock)
            cleaned.Lock();
        cleaned.Cleanup();
        ExpectEmpty(cleaned);
        EXPECT_EQ(testhost::LiveBlocks(), 0);
    }
}

TEST_F(Handle, FreeUnlocksWhatTheObjectLocked) {
    CHandle object(Block());
    object.Lock();
    const int before = testhost::Calls();
    object.Free();
    // flags: 1; unlock; flags: 0; free
    EXPECT_EQ(testhost::Calls(), before + 4);
}

TEST_F(Handle, FreeDrainsForeignLocksTooWhenTheObjectLocked) {
    void* const handle = Block();
    CHandle object(handle);
    object.Lock();
    GlobalLock(handle);
    GlobalLock(handle);
    const int before = testhost::Calls();
    object.Free();
    // three times flags and unlock; flags: 0; free
    EXPECT_EQ(testhost::Calls(), before + 8);
}

TEST_F(Handle, FreeAndUnlockOfAnEmptyObjectForgetWhateverStandsInIt) {
    CHandle object(nullptr);
    testhost::ResetCounters();
    object.m_pMem = &object;
    object.m_bLocked = true;
    object.UnLock();
    ExpectEmpty(object);
    object.m_pMem = &object;
    object.m_bLocked = true;
    object.Free();
    ExpectEmpty(object);
    EXPECT_EQ(testhost::Calls(), 0);
}

TEST_F(Handle, FreeDoesNotUnlockForOthers) {
    void* const handle = Block();
    CHandle object(handle);
    GlobalLock(handle);
    const int before = testhost::Calls();
    object.Free();
    EXPECT_EQ(testhost::Calls(), before + 1); // freed as it is
    EXPECT_FALSE(testhost::IsLive(handle));
}

TEST_F(Handle, SetHandleFreesTheOldBlockAndTakesTheNewOneAsItIs) {
    void* const first = Block();
    void* const second = Block(2);
    CHandle object(first);
    object.Lock();
    object.SetHandle(second);
    EXPECT_FALSE(testhost::IsLive(first));
    EXPECT_EQ(object.m_hMem, second);
    EXPECT_EQ(object.m_pMem, nullptr);
    EXPECT_FALSE(object.m_bLocked);
    EXPECT_EQ(testhost::LockCount(second), 2); // not drained
}

TEST_F(Handle, SetHandleOfTheBlockItHoldsFreesIt) {
    void* const handle = Block();
    CHandle object(handle);
    object.SetHandle(handle);
    EXPECT_FALSE(testhost::IsLive(handle));
    EXPECT_EQ(object.m_hMem, handle);
    object.Detach();
}

TEST_F(Handle, SetHandleDoesNotAskWhetherTheHandleIsValid) {
    void* const dead = DeadHandle();
    CHandle object(nullptr);
    testhost::ResetCounters();
    object.SetHandle(dead);
    EXPECT_EQ(testhost::Calls(), 0);
    EXPECT_EQ(object.m_hMem, dead);
    object.Detach();
}

TEST_F(Handle, AssignmentCopiesTheFieldsAndNothingElse) {
    void* const old = Block();
    void* const handle = Block();
    CHandle a(old);
    CHandle b(handle);
    b.Lock();
    const int calls = testhost::Calls();
    EXPECT_EQ(&(a = b), &a);
    EXPECT_EQ(testhost::Calls(), calls); // the old block is neither freed nor unlocked
    EXPECT_EQ(a.m_hMem, handle);
    EXPECT_EQ(a.m_pMem, testhost::Address(handle));
    EXPECT_TRUE(a.m_bLocked);
    EXPECT_EQ(b.m_hMem, handle);
    EXPECT_TRUE(testhost::IsLive(old));
    b.Detach();
    GlobalFree(old);
}

TEST_F(Handle, AssignmentToItselfChangesNothing) {
    void* const handle = Block();
    CHandle object(handle);
    CHandle& same = object;
    object = same;
    EXPECT_EQ(object.m_hMem, handle);
}

TEST_F(Handle, TwoOwnersFreeTwice) {
    void* const handle = Block();
    {
        CHandle a(nullptr);
        CHandle b(handle);
        a = b;
    }
    EXPECT_EQ(testhost::BadCalls(), 1); // the second free names a dead handle
    testhost::ResetCounters();
}

template <class T>
void ExpectConversion(void* handle) {
    CHandle object(handle);
    T* const address = object;
    EXPECT_EQ(static_cast<void*>(address), testhost::Address(handle));
    EXPECT_EQ(testhost::LockCount(handle), 1);
    T* const again = object;
    EXPECT_EQ(again, address);
    EXPECT_EQ(testhost::LockCount(handle), 1);
    object.UnLock();
    EXPECT_EQ(testhost::LockCount(handle), 0);
}

TEST_F(Handle, EveryPointerConversionLocksOnce) {
    ExpectConversion<char>(Block());
    ExpectConversion<short>(Block());
    ExpectConversion<int>(Block());
    ExpectConversion<long>(Block());
    ExpectConversion<unsigned char>(Block());
    ExpectConversion<unsigned short>(Block());
    ExpectConversion<unsigned int>(Block());
}

TEST_F(Handle, ConversionsOfAnEmptyObjectAreNull) {
    CHandle object(nullptr);
    EXPECT_EQ(static_cast<char*>(object), nullptr);
    EXPECT_EQ(static_cast<unsigned int*>(object), nullptr);
    EXPECT_EQ(testhost::Locks(), 0);
}

TEST_F(Handle, ConversionsAreNullWhenTheLockFails) {
    CHandle object(Block());
    testhost::FailLock(1);
    EXPECT_EQ(static_cast<unsigned char*>(object), nullptr);
}

TEST_F(Handle, IndexingLocksAndReachesBytes) {
    void* const handle = Block();
    CHandle object(handle);
    EXPECT_EQ(object[5], 5);
    EXPECT_EQ(testhost::LockCount(handle), 1);
    object[15] = 200;
    EXPECT_EQ(testhost::Address(handle)[15], 200);
    EXPECT_EQ(testhost::Locks(), 1);
}

TEST_F(Handle, IndexingCountsFromTheAddressTheObjectHolds) {
    void* const handle = Block();
    CHandle object(handle);
    object.Lock();
    object.m_pMem = testhost::Address(handle) + 4; // taken as it stands while the object is locked
    EXPECT_EQ(object[3], 7);
    EXPECT_EQ(object[-1], 3);
    EXPECT_EQ(testhost::Locks(), 1);
}

TEST_F(Handle, LocksBeyondTheCountTheHostReportsAreDrained) {
    void* const handle = Block(300); // the low 8 bits stay at 255 until the count is below
    CHandle object(handle);
    EXPECT_EQ(testhost::LockCount(handle), 0);
}

TEST_F(Handle, DestructionThroughAPointerFrees) {
    void* const handle = Block();
    static_assert(std::has_virtual_destructor<CHandle>::value, "hosts may derive from it");
    CHandle* const object = new CHandle(handle);
    delete object;
    EXPECT_FALSE(testhost::IsLive(handle));
}

TEST_F(Handle, PatternOfAProducer) {
    void* produced;
    {
        CHandle result(GlobalAlloc(MovableZeroed, 8));
        ASSERT_EQ(result.IsEmpty(), 0);
        unsigned char* const bytes = result;
        bytes[3] = 7;
        result.UnLock();
        produced = result.GetHandle();
    }
    EXPECT_EQ(testhost::LockCount(produced), 0);
    EXPECT_EQ(testhost::Bytes(produced), (std::vector<std::uint8_t>{0, 0, 0, 7, 0, 0, 0, 0}));
    GlobalFree(produced);
}

TEST_F(Handle, FailedAllocationGivesAnEmptyObject) {
    testhost::FailAllocation(1);
    CHandle result(GlobalAlloc(MovableZeroed, 8));
    EXPECT_EQ(result.IsEmpty(), 1);
}

} // namespace

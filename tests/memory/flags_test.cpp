// What CHandle takes from the host's flags: the low eight bits, and 32768 as a whole. This program's
// own functions stand in for the host's and answer with bits that other hosts have for other things.
#include "dibprep/host.h"
#include "dibprep/memory.h"

#include <gtest/gtest.h>

namespace {

struct Block {
    unsigned int locks = 0;
    unsigned int otherBits = 0;
    int unlocks = 0;
    int frees = 0;
};

Block block;

class HandleFlags : public testing::Test {
protected:
    HandleFlags() { block = Block(); }
};

} // namespace

unsigned int GlobalFlags(void*) { return block.otherBits | block.locks; }

int GlobalUnlock(void*) {
    ++block.unlocks;
    return --block.locks != 0;
}

void* GlobalLock(void* handle) {
    ++block.locks;
    return handle;
}

void* GlobalFree(void*) {
    ++block.frees;
    return nullptr;
}

namespace {

TEST_F(HandleFlags, BitsAboveTheEighthAreNoLocks) {
    block.otherBits = 0x4100;
    {
        CHandle object(&block);
        EXPECT_EQ(object.IsEmpty(), 0);
        EXPECT_EQ(block.unlocks, 0);
        object.Lock();
        object.UnLock();
        EXPECT_EQ(block.unlocks, 1);
        object.Lock();
    }
    EXPECT_EQ(block.unlocks, 2);
    EXPECT_EQ(block.frees, 1);
}

TEST_F(HandleFlags, TheLowEightBitsAreDrained) {
    block.otherBits = 0x4100;
    block.locks = 255;
    CHandle object(&block);
    EXPECT_EQ(block.unlocks, 255);
    EXPECT_EQ(block.locks, 0u);
}

TEST_F(HandleFlags, OnlyTheWholeOf32768MeansInvalid) {
    block.otherBits = 32768;
    {
        CHandle object(&block);
        EXPECT_EQ(object.IsEmpty(), 1);
    }
    EXPECT_EQ(block.frees, 0);
    block.locks = 3; // 32771
    {
        CHandle object(&block);
        EXPECT_EQ(object.IsEmpty(), 0);
        EXPECT_EQ(block.unlocks, 3);
    }
    EXPECT_EQ(block.frees, 1);
    block.otherBits = 32768 + 256;
    CHandle object(&block);
    EXPECT_EQ(object.IsEmpty(), 0);
    EXPECT_EQ(block.unlocks, 3);
}

} // namespace

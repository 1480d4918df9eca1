// Memory blocks of the host layer: handles, sizes, locks, zero fill.
#include "tests/platform/process_memory.h"

#include "dibprep/host.h"
#include "dibprep/hostlayer.h"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/resource.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <set>
#include <vector>

namespace {

bool AllZero(const unsigned char* bytes, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i)
        if (bytes[i] != 0)
            return false;
    return true;
}

// What every function answers to a handle that is no live block.
void ExpectRefused(void* handle) {
    EXPECT_EQ(GlobalLock(handle), nullptr);
    EXPECT_EQ(GlobalUnlock(handle), 0);
    EXPECT_EQ(GlobalSize(handle), 0u);
    EXPECT_EQ(GlobalFlags(handle), 32768u);
    EXPECT_EQ(GlobalFree(handle), handle);
}

} // namespace

TEST(HostBlocks, BlockIsZeroedAndHasExactlyTheSizeAskedFor) {
    for (const std::size_t size :
         {std::size_t{1}, std::size_t{13}, std::size_t{1078}, std::size_t{100001}, std::size_t{1048575},
          std::size_t{1048576}, std::size_t{3000001}, std::size_t{11600000}}) {
        void* const block = GlobalAlloc(66, size);
        ASSERT_NE(block, nullptr);
        EXPECT_EQ(GlobalSize(block), size);
        auto* const bytes = static_cast<unsigned char*>(GlobalLock(block));
        ASSERT_NE(bytes, nullptr);
        EXPECT_TRUE(AllZero(bytes, size)) << size;
        std::memset(bytes, 0xEE, size);
        EXPECT_EQ(GlobalUnlock(block), 0);
        EXPECT_EQ(GlobalFree(block), nullptr);
    }
}

TEST(HostBlocks, RecycledMemoryIsZeroAgain) {
    for (const std::size_t size : {std::size_t{40}, std::size_t{5000}, std::size_t{300000}, std::size_t{2500000}}) {
        for (int round = 0; round < 20; ++round) {
            void* const block = GlobalAlloc(66, size);
            auto* const bytes = static_cast<unsigned char*>(GlobalLock(block));
            ASSERT_NE(bytes, nullptr);
            ASSERT_TRUE(AllZero(bytes, size));
            std::memset(bytes, 0xFF, size);
            GlobalFree(block);
        }
    }
}

namespace {

// A written block, and where it was: it is freed.
const void* UseAndFree(std::size_t size) {
    void* const block = GlobalAlloc(66, size);
    void* const bytes = GlobalLock(block);
    EXPECT_NE(bytes, nullptr);
    if (bytes)
        std::memset(bytes, 0xAB, size);
    GlobalFree(block);
    return bytes;
}

} // namespace

TEST(HostBlocks, MemoryOfAFreedPageServesTheNextOne) {
    const void* const first = UseAndFree(9000000);
    for (const std::size_t size : {std::size_t{9000000}, std::size_t{8999999}, std::size_t{6000001}}) {
        void* const block = GlobalAlloc(66, size);
        EXPECT_EQ(GlobalSize(block), size);
        auto* const bytes = static_cast<unsigned char*>(GlobalLock(block));
        ASSERT_EQ(bytes, first);
        EXPECT_TRUE(AllZero(bytes, size));
        std::memset(bytes, 0xEE, size);
        GlobalFree(block);
    }
}

// Sixty-four megabytes are kept at most, and no block that is larger.
TEST(HostBlocks, MemoryOfFreedBlocksIsGivenBackButForSome) {
    constexpr std::size_t Megabyte = std::size_t{1} << 20;
    const std::size_t before = platformtest::ResidentBytes();
    std::vector<void*> blocks;
    for (std::size_t i = 0; i < 8; ++i) {
        blocks.push_back(GlobalAlloc(66, (18 + i) * Megabyte));
        void* const bytes = GlobalLock(blocks.back());
        ASSERT_NE(bytes, nullptr);
        std::memset(bytes, 1, (18 + i) * Megabyte);
    }
    EXPECT_GT(platformtest::ResidentBytes(), before + 100 * Megabyte);
    for (void* const block : blocks)
        GlobalFree(block);
    EXPECT_LT(platformtest::ResidentBytes(), before + 70 * Megabyte);
    UseAndFree(100 * Megabyte);
    EXPECT_LT(platformtest::ResidentBytes(), before + 70 * Megabyte);
}

// A block that is a quarter of a freed one takes its memory, but not one after the other.
TEST(HostBlocks, BlocksLeaveLittleOfFreedOnesUnused) {
    constexpr std::size_t Large = std::size_t{64} << 20;
    for (int round = 0; round < 3; ++round) {
        const void* const first = UseAndFree(Large);
        void* const one = GlobalAlloc(66, Large / 4);
        EXPECT_EQ(GlobalLock(one), first);
        const void* const second = UseAndFree(Large);
        void* const other = GlobalAlloc(66, Large / 4);
        EXPECT_NE(GlobalLock(other), second);
        GlobalFree(one);
        GlobalFree(other);
    }
}

namespace {

// All address space that is left, in pieces of so many bytes.
void TakeAddresses(std::size_t piece) {
    while (mmap(nullptr, piece, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0) != MAP_FAILED) {
    }
}

// For a process that ends with this: whether a block can be had when nothing is left but freed ones.
[[noreturn]] void ExitWithABlockWhenMemoryIsShort(std::size_t size) {
    const rlimit limit = {platformtest::AddressBytes() + (std::size_t{200} << 20), RLIM_INFINITY};
    if (setrlimit(RLIMIT_AS, &limit) != 0)
        std::_Exit(4);
    GlobalFree(GlobalAlloc(66, std::size_t{60} << 20));
    for (std::size_t piece = std::size_t{16} << 20; piece >= 4096; piece /= 4)
        TakeAddresses(piece);
    // What the C heap has left, if it has.
    void* volatile taken = &size;
    while (size < (std::size_t{1} << 20) && taken)
        taken = std::malloc(size);
    std::_Exit(GlobalAlloc(66, size) ? 0 : 5);
}

} // namespace

TEST(HostBlocksDeathTest, MemoryOfFreedBlocksIsGivenBackWhenMemoryIsShort) {
#if defined(__SANITIZE_ADDRESS__)
    GTEST_SKIP() << "the sanitizer's heap ends the process where memory is short";
#endif
    for (const std::size_t size : {std::size_t{900000}, std::size_t{12000000}, std::size_t{50000000}})
        EXPECT_EXIT(ExitWithABlockWhenMemoryIsShort(size), testing::ExitedWithCode(0), "") << size;
}

TEST(HostBlocks, BehindABlockOfNoBytesThereIsAHeaderOfZeros) {
    // Its size, 0, also means that a size cannot be told: whoever trusts the header reads zeros.
    void* const block = GlobalAlloc(66, 0);
    const auto* bytes = static_cast<const unsigned char*>(GlobalLock(block));
    for (int i = 0; i < 44; ++i)
        EXPECT_EQ(bytes[i], 0);
    GlobalUnlock(block);
    GlobalFree(block);
}

TEST(HostBlocks, BlockOfNoBytesIsValidAndHasAnAddress) {
    void* const block = GlobalAlloc(66, 0);
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(GlobalFlags(block), 0u);
    EXPECT_EQ(GlobalSize(block), 0u);
    EXPECT_NE(GlobalLock(block), nullptr);
    EXPECT_EQ(GlobalFlags(block), 1u);
    EXPECT_EQ(GlobalFree(block), nullptr);
    ExpectRefused(block);
}

TEST(HostBlocks, AddressStaysTheSameFromLockToLock) {
    void* const block = GlobalAlloc(66, 100);
    auto* const first = static_cast<unsigned char*>(GlobalLock(block));
    first[99] = 7;
    GlobalUnlock(block);
    auto* const second = static_cast<unsigned char*>(GlobalLock(block));
    EXPECT_EQ(first, second);
    EXPECT_EQ(second[99], 7);
    GlobalFree(block);
}

TEST(HostBlocks, LargeBlockTouchesNoPagesUntilItIsWritten) {
    constexpr std::size_t Size = std::size_t{256} << 20;
    const std::size_t before = platformtest::ResidentBytes();
    void* const block = GlobalAlloc(66, Size);
    ASSERT_NE(block, nullptr);
    auto* const bytes = static_cast<unsigned char*>(GlobalLock(block));
    ASSERT_NE(bytes, nullptr);
    EXPECT_LT(platformtest::ResidentBytes(), before + (std::size_t{4} << 20));
    EXPECT_EQ(bytes[0], 0);
    EXPECT_EQ(bytes[Size / 2], 0);
    EXPECT_EQ(bytes[Size - 1], 0);
    bytes[Size - 1] = 1;
    GlobalFree(block);
}

TEST(HostBlocks, ImpossibleSizesAreRefused) {
    const std::size_t live = dibhost_live_blocks();
    EXPECT_EQ(GlobalAlloc(66, SIZE_MAX), nullptr);
    EXPECT_EQ(GlobalAlloc(66, SIZE_MAX - 4096), nullptr);
    EXPECT_EQ(GlobalAlloc(66, PTRDIFF_MAX), nullptr);
    EXPECT_EQ(dibhost_live_blocks(), live);
}

TEST(HostBlocks, FlagsShowTheLockCount) {
    void* const block = GlobalAlloc(66, 8);
    EXPECT_EQ(GlobalFlags(block), 0u);
    GlobalLock(block);
    GlobalLock(block);
    GlobalLock(block);
    EXPECT_EQ(GlobalFlags(block), 3u);
    EXPECT_NE(GlobalUnlock(block), 0);
    EXPECT_EQ(GlobalFlags(block), 2u);
    EXPECT_NE(GlobalUnlock(block), 0);
    EXPECT_EQ(GlobalUnlock(block), 0);
    EXPECT_EQ(GlobalFlags(block), 0u);
    GlobalFree(block);
}

TEST(HostBlocks, UnlockingAnUnlockedBlockChangesNothing) {
    void* const block = GlobalAlloc(66, 8);
    EXPECT_EQ(GlobalUnlock(block), 0);
    EXPECT_EQ(GlobalFlags(block), 0u);
    EXPECT_NE(GlobalLock(block), nullptr);
    EXPECT_EQ(GlobalFlags(block), 1u);
    GlobalFree(block);
}

TEST(HostBlocks, MoreThan255LocksShowAs255UntilTheyAreTakenBack) {
    void* const block = GlobalAlloc(66, 8);
    for (int i = 0; i < 1000; ++i)
        ASSERT_NE(GlobalLock(block), nullptr);
    EXPECT_EQ(GlobalFlags(block), 255u);
    int unlocks = 0;
    while ((GlobalFlags(block) & 0xFF) != 0) {
        GlobalUnlock(block);
        ++unlocks;
    }
    EXPECT_EQ(unlocks, 1000);
    EXPECT_EQ(GlobalFlags(block), 0u);
    GlobalFree(block);
}

TEST(HostBlocks, LockedBlockCanBeFreed) {
    void* const block = GlobalAlloc(66, 8);
    GlobalLock(block);
    GlobalLock(block);
    EXPECT_EQ(GlobalFree(block), nullptr);
    ExpectRefused(block);
}

TEST(HostBlocks, NullHandleIsRefused) { ExpectRefused(nullptr); }

TEST(HostBlocks, FreedHandleIsRefusedByEveryFunction) {
    void* const block = GlobalAlloc(66, 64);
    GlobalFree(block);
    ExpectRefused(block);
}

TEST(HostBlocks, AddressesAndNeighbouringNumbersAreRefused) {
    void* const block = GlobalAlloc(66, 64);
    void* const address = GlobalLock(block);
    int local = 0;
    ExpectRefused(address);
    ExpectRefused(&local);
    ExpectRefused(reinterpret_cast<void*>(std::intptr_t{-1}));
    for (const std::intptr_t step : {1, 4, 4096}) {
        ExpectRefused(reinterpret_cast<void*>(reinterpret_cast<std::intptr_t>(block) - step));
        ExpectRefused(reinterpret_cast<void*>(reinterpret_cast<std::intptr_t>(block) + step));
    }
    EXPECT_EQ(GlobalFlags(block), 1u);
    GlobalFree(block);
}

TEST(HostBlocks, HandleStaysRefusedWhileItsSlotIsUsedAgain) {
    void* const stale = GlobalAlloc(66, 16);
    GlobalFree(stale);
    // Enough to bring every waiting slot round several times.
    for (int i = 0; i < 100000; ++i) {
        void* const block = GlobalAlloc(66, 16);
        ASSERT_NE(block, stale) << i;
        GlobalFree(block);
    }
    ExpectRefused(stale);
}

TEST(HostBlocks, LiveBlocksHaveDifferentHandlesAndAddresses) {
    std::vector<void*> blocks;
    std::set<void*> handles;
    std::set<void*> addresses;
    for (int i = 0; i < 2000; ++i) {
        blocks.push_back(GlobalAlloc(66, static_cast<std::size_t>(i % 40)));
        handles.insert(blocks.back());
        addresses.insert(GlobalLock(blocks.back()));
    }
    EXPECT_EQ(handles.size(), 2000u);
    EXPECT_EQ(addresses.size(), 2000u);
    for (void* const block : blocks)
        EXPECT_EQ(GlobalFree(block), nullptr);
}

TEST(HostBlocks, LiveBlocksAndBytesAreCounted) {
    const std::size_t blocks = dibhost_live_blocks();
    const std::uint64_t bytes = dibhost_live_bytes();
    void* const first = GlobalAlloc(66, 1000);
    void* const second = GlobalAlloc(66, 5000000);
    EXPECT_EQ(dibhost_live_blocks(), blocks + 2);
    EXPECT_EQ(dibhost_live_bytes(), bytes + 5001000);
    GlobalFree(first);
    EXPECT_EQ(dibhost_live_blocks(), blocks + 1);
    EXPECT_EQ(dibhost_live_bytes(), bytes + 5000000);
    GlobalFree(second);
    GlobalFree(second);
    EXPECT_EQ(dibhost_live_blocks(), blocks);
    EXPECT_EQ(dibhost_live_bytes(), bytes);
}

#if UINTPTR_MAX == 0xFFFFFFFF // in 64 bits the table holds four million blocks, too many for a test
TEST(HostBlocks, FullTableRefusesNewBlocksAndRecovers) {
    const std::size_t before = dibhost_live_blocks();
    std::vector<void*> blocks;
    for (void* block = GlobalAlloc(66, 1); block; block = GlobalAlloc(66, 1))
        blocks.push_back(block);
    EXPECT_EQ(before + blocks.size(), 262144u);
    ASSERT_EQ(GlobalFree(blocks.back()), nullptr);
    void* const again = GlobalAlloc(66, 1);
    ASSERT_NE(again, nullptr);
    EXPECT_NE(again, blocks.back());
    blocks.back() = again;
    for (void* const block : blocks)
        ASSERT_EQ(GlobalFree(block), nullptr);
    EXPECT_EQ(dibhost_live_blocks(), before);
}
#endif

namespace {

// Made before anything else uses the layer, so destroyed after it.
struct FreesAtExit {
    void* block = nullptr;
    ~FreesAtExit() {
        if (block && GlobalFree(block) != nullptr)
            std::_Exit(3);
    }
} freesAtExit;

} // namespace

TEST(HostBlocksDeathTest, BlockCanBeFreedWhileTheProgramExits) {
    EXPECT_EXIT(
        {
            freesAtExit.block = GlobalAlloc(66, 768);
            std::exit(freesAtExit.block ? 0 : 2);
        },
        testing::ExitedWithCode(0), "");
}

// Block scopes: what closing frees, what it leaves alone.
#include "dibprep/host.h"
#include "dibprep/hostlayer.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <stdexcept>
#include <thread>
#include <vector>

namespace {

bool IsLive(void* block) { return GlobalFlags(block) != 32768; }

} // namespace

TEST(BlockScope, ClosingFreesWhatWasAllocatedInside) {
    void* const before = GlobalAlloc(66, 10);
    const std::size_t live = dibhost_live_blocks();
    dibhost_scope* const scope = dibhost_scope_open();
    ASSERT_NE(scope, nullptr);
    void* const first = GlobalAlloc(66, 10);
    void* const second = GlobalAlloc(66, 2000000);
    EXPECT_EQ(dibhost_scope_close(scope), 2u);
    EXPECT_FALSE(IsLive(first));
    EXPECT_FALSE(IsLive(second));
    EXPECT_TRUE(IsLive(before));
    EXPECT_EQ(dibhost_live_blocks(), live);
    GlobalFree(before);
}

TEST(BlockScope, LockedBlocksAreFreedToo) {
    dibhost_scope* const scope = dibhost_scope_open();
    void* const block = GlobalAlloc(66, 10);
    GlobalLock(block);
    EXPECT_EQ(dibhost_scope_close(scope), 1u);
    EXPECT_FALSE(IsLive(block));
}

TEST(BlockScope, KeptBlockSurvivesWithItsBytesAndLocks) {
    dibhost_scope* const scope = dibhost_scope_open();
    void* const kept = GlobalAlloc(66, 10);
    void* const lost = GlobalAlloc(66, 10);
    auto* const bytes = static_cast<unsigned char*>(GlobalLock(kept));
    bytes[9] = 42;
    EXPECT_EQ(dibhost_scope_keep(scope, kept), 1);
    EXPECT_EQ(dibhost_scope_keep(scope, kept), 1);
    EXPECT_EQ(dibhost_scope_close(scope), 1u);
    EXPECT_FALSE(IsLive(lost));
    EXPECT_EQ(GlobalFlags(kept), 1u);
    EXPECT_EQ(bytes[9], 42);
    GlobalFree(kept);
}

TEST(BlockScope, BlocksFreedInsideAreNotFreedAgain) {
    dibhost_scope* const scope = dibhost_scope_open();
    std::vector<void*> blocks;
    for (int i = 0; i < 5; ++i)
        blocks.push_back(GlobalAlloc(66, 10));
    // The last made, one from the middle, the first made.
    GlobalFree(blocks[4]);
    GlobalFree(blocks[2]);
    GlobalFree(blocks[0]);
    EXPECT_EQ(dibhost_scope_close(scope), 2u);
    EXPECT_FALSE(IsLive(blocks[1]));
    EXPECT_FALSE(IsLive(blocks[3]));
}

TEST(BlockScope, KeepingRefusesWhatIsNoLiveBlock) {
    void* const stale = GlobalAlloc(66, 10);
    GlobalFree(stale);
    dibhost_scope* const scope = dibhost_scope_open();
    EXPECT_EQ(dibhost_scope_keep(scope, nullptr), 0);
    EXPECT_EQ(dibhost_scope_keep(scope, stale), 0);
    EXPECT_EQ(dibhost_scope_close(scope), 0u);
}

TEST(BlockScope, KeepingABlockFromOutsideTheScopeChangesNothing) {
    dibhost_scope* const outer = dibhost_scope_open();
    void* const block = GlobalAlloc(66, 10);
    dibhost_scope* const inner = dibhost_scope_open();
    EXPECT_EQ(dibhost_scope_keep(inner, block), 1);
    EXPECT_EQ(dibhost_scope_close(inner), 0u);
    EXPECT_TRUE(IsLive(block));
    EXPECT_EQ(dibhost_scope_close(outer), 1u);
    EXPECT_FALSE(IsLive(block));
}

TEST(BlockScope, InnerScopeLeavesTheBlocksOfTheOuterAlone) {
    dibhost_scope* const outer = dibhost_scope_open();
    void* const early = GlobalAlloc(66, 1);
    dibhost_scope* const inner = dibhost_scope_open();
    void* const deep = GlobalAlloc(66, 2);
    EXPECT_EQ(dibhost_scope_close(inner), 1u);
    EXPECT_FALSE(IsLive(deep));
    EXPECT_TRUE(IsLive(early));
    void* const late = GlobalAlloc(66, 3);
    EXPECT_EQ(dibhost_scope_close(outer), 2u);
    EXPECT_FALSE(IsLive(early));
    EXPECT_FALSE(IsLive(late));
}

TEST(BlockScope, BlockKeptByTheInnerScopeBelongsToTheOuter) {
    dibhost_scope* const outer = dibhost_scope_open();
    dibhost_scope* const inner = dibhost_scope_open();
    void* const block = GlobalAlloc(66, 1);
    EXPECT_EQ(dibhost_scope_keep(inner, block), 1);
    EXPECT_EQ(dibhost_scope_close(inner), 0u);
    EXPECT_TRUE(IsLive(block));
    EXPECT_EQ(dibhost_scope_close(outer), 1u);
    EXPECT_FALSE(IsLive(block));
}

TEST(BlockScope, BlockKeptByTheOuterScopeSurvivesTheInnerToo) {
    dibhost_scope* const outer = dibhost_scope_open();
    dibhost_scope* const inner = dibhost_scope_open();
    void* const block = GlobalAlloc(66, 1);
    EXPECT_EQ(dibhost_scope_keep(outer, block), 1);
    EXPECT_EQ(dibhost_scope_close(inner), 0u);
    EXPECT_EQ(dibhost_scope_close(outer), 0u);
    EXPECT_TRUE(IsLive(block));
    GlobalFree(block);
}

TEST(BlockScope, ClosingTheOuterScopeClosesTheInnerOnes) {
    dibhost_scope* const outer = dibhost_scope_open();
    void* const first = GlobalAlloc(66, 1);
    dibhost_scope_open();
    void* const second = GlobalAlloc(66, 1);
    dibhost_scope* const innermost = dibhost_scope_open();
    void* const third = GlobalAlloc(66, 1);
    EXPECT_EQ(dibhost_scope_keep(innermost, third), 1);
    EXPECT_EQ(dibhost_scope_close(outer), 3u);
    EXPECT_FALSE(IsLive(first));
    EXPECT_FALSE(IsLive(second));
    EXPECT_FALSE(IsLive(third));
    // No scope is left: this block belongs to nobody.
    void* const free = GlobalAlloc(66, 1);
    dibhost_scope* const next = dibhost_scope_open();
    EXPECT_EQ(dibhost_scope_close(next), 0u);
    EXPECT_TRUE(IsLive(free));
    GlobalFree(free);
}

TEST(BlockScope, NullScopeDoesNothing) {
    void* const block = GlobalAlloc(66, 1);
    EXPECT_EQ(dibhost_scope_keep(nullptr, block), 0);
    EXPECT_EQ(dibhost_scope_close(nullptr), 0u);
    EXPECT_TRUE(IsLive(block));
    GlobalFree(block);
}

TEST(BlockScope, OtherThreadsBlocksAreUntouched) {
    dibhost_scope* const scope = dibhost_scope_open();
    void* theirs = nullptr;
    std::thread([&theirs] { theirs = GlobalAlloc(66, 10); }).join();
    void* const ours = GlobalAlloc(66, 10);
    EXPECT_EQ(dibhost_scope_close(scope), 1u);
    EXPECT_FALSE(IsLive(ours));
    EXPECT_TRUE(IsLive(theirs));
    GlobalFree(theirs);
}

TEST(BlockScope, AnotherThreadCannotCloseTheScopeOrKeepForIt) {
    dibhost_scope* const scope = dibhost_scope_open();
    void* const block = GlobalAlloc(66, 10);
    std::thread([scope, block] {
        EXPECT_EQ(dibhost_scope_keep(scope, block), 0);
        EXPECT_EQ(dibhost_scope_close(scope), 0u);
    }).join();
    EXPECT_TRUE(IsLive(block));
    EXPECT_EQ(dibhost_scope_close(scope), 1u);
}

TEST(BlockScope, AnotherThreadMayFreeABlockOfTheScope) {
    dibhost_scope* const scope = dibhost_scope_open();
    void* const first = GlobalAlloc(66, 10);
    GlobalAlloc(66, 10);
    std::thread([first] { EXPECT_EQ(GlobalFree(first), nullptr); }).join();
    EXPECT_EQ(dibhost_scope_close(scope), 1u);
}

TEST(BlockScope, ScopesOfSeveralThreadsWorkSideBySide) {
    const std::size_t live = dibhost_live_blocks();
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([] {
            for (int i = 0; i < 1000; ++i) {
                dibhost::BlockScope scope;
                void* const kept = GlobalAlloc(66, 100);
                GlobalAlloc(66, 200);
                GlobalFree(GlobalAlloc(66, 300));
                GlobalAlloc(66, 400);
                EXPECT_TRUE(scope.Keep(kept));
                EXPECT_EQ(scope.Close(), 2u);
                EXPECT_EQ(GlobalFree(kept), nullptr);
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(dibhost_live_blocks(), live);
}

TEST(BlockScope, ObjectClosesItsScopeWhenAnExceptionPasses) {
    void* lost = nullptr;
    void* kept = nullptr;
    try {
        dibhost::BlockScope scope;
        EXPECT_TRUE(static_cast<bool>(scope));
        lost = GlobalAlloc(66, 10);
        kept = GlobalAlloc(66, 10);
        EXPECT_TRUE(scope.Keep(kept));
        throw std::runtime_error("passes");
    } catch (const std::runtime_error&) {
    }
    EXPECT_FALSE(IsLive(lost));
    EXPECT_TRUE(IsLive(kept));
    GlobalFree(kept);
}

TEST(BlockScope, ObjectThatWasClosedEarlyKeepsNothing) {
    dibhost::BlockScope scope;
    GlobalAlloc(66, 10);
    EXPECT_EQ(scope.Close(), 1u);
    void* const later = GlobalAlloc(66, 10);
    EXPECT_FALSE(scope.Keep(later));
    EXPECT_EQ(scope.Close(), 0u);
    EXPECT_TRUE(IsLive(later));
    GlobalFree(later);
}

// Memory blocks used by several threads at once.
#include "dibprep/host.h"
#include "dibprep/hostlayer.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstddef>
#include <thread>
#include <vector>

namespace {

constexpr int Threads = 4;

template <class Work>
void RunInThreads(Work work) {
    std::vector<std::thread> threads;
    for (int i = 0; i < Threads; ++i)
        threads.emplace_back(work, i);
    for (std::thread& thread : threads)
        thread.join();
}

} // namespace

TEST(HostBlockThreads, EachThreadFindsItsOwnBytes) {
    const std::size_t live = dibhost_live_blocks();
    std::atomic<int> faults{0};
    RunInThreads([&faults](int thread) {
        std::vector<void*> blocks;
        const auto mark = static_cast<unsigned char>(thread + 1);
        for (int i = 0; i < 3000; ++i) {
            const std::size_t size = 1 + static_cast<std::size_t>(i * 37 % 5000);
            void* const block = GlobalAlloc(66, size);
            auto* const bytes = static_cast<unsigned char*>(GlobalLock(block));
            if (!bytes || bytes[0] != 0 || bytes[size - 1] != 0 || GlobalSize(block) != size) {
                ++faults;
                continue;
            }
            bytes[0] = bytes[size - 1] = mark;
            GlobalUnlock(block);
            blocks.push_back(block);
            if (blocks.size() < 20)
                continue;
            for (void* const old : blocks) {
                auto* const seen = static_cast<unsigned char*>(GlobalLock(old));
                if (!seen || seen[0] != mark || seen[GlobalSize(old) - 1] != mark || GlobalFlags(old) != 1)
                    ++faults;
                if (GlobalFree(old) != nullptr)
                    ++faults;
            }
            blocks.clear();
        }
        for (void* const block : blocks)
            GlobalFree(block);
    });
    EXPECT_EQ(faults, 0);
    EXPECT_EQ(dibhost_live_blocks(), live);
}

TEST(HostBlockThreads, LocksOfAllThreadsAddUp) {
    void* const block = GlobalAlloc(66, 16);
    RunInThreads([block](int) {
        for (int i = 0; i < 20000; ++i)
            GlobalLock(block);
        for (int i = 0; i < 20000 - 5; ++i)
            GlobalUnlock(block);
    });
    EXPECT_EQ(GlobalFlags(block), 20u);
    GlobalFree(block);
}

TEST(HostBlockThreads, OnlyOneOfSeveralThreadsFreesABlock) {
    for (int round = 0; round < 200; ++round) {
        void* const block = GlobalAlloc(66, 100);
        std::atomic<int> freed{0};
        RunInThreads([&freed, block](int) {
            if (GlobalFree(block) == nullptr)
                ++freed;
        });
        ASSERT_EQ(freed, 1);
    }
}

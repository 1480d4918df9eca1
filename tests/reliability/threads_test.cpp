// Several threads convert different pages at once, through libdibhost: the bytes are those of one
// thread alone. Under the thread sanitizer (preset x64-tsan) the program also shows that no two
// threads touch the same memory without order.
#include "tests/reliability/pages.h"

#include "dibprep.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <cstring>
#include <thread>

using namespace hostile;

namespace {

void* BlockOf(const Bytes& bytes) {
    void* const block = GlobalAlloc(66, bytes.size());
    std::memcpy(GlobalLock(block), bytes.data(), bytes.size());
    GlobalUnlock(block);
    return block;
}

// The bytes of a block, which is freed.
Bytes Taken(void* block) {
    if (!block)
        return {};
    const auto* const bytes = static_cast<const unsigned char*>(GlobalLock(block));
    Bytes copy(bytes, bytes + GlobalSize(block));
    GlobalUnlock(block);
    GlobalFree(block);
    return copy;
}

int Percent(unsigned short) { return 1; }

// One page on every road, one after the other; the intermediate of a colour table stays.
Bytes Everything(const std::string& kind, int width) {
    const Bytes page = Page(kind, width, 96);
    void* const source = BlockOf(page);
    auto* const dib = static_cast<unsigned char*>(GlobalLock(source));
    std::vector<Bytes> parts;
    void* result = nullptr;
    ConvertResolution(source, &result, Percent, 77, 128);
    parts.push_back(Taken(result));
    unsigned short status = 0;
    parts.push_back(Taken(ConvertResolution2(source, 5000, 3000, &status)));
    parts.push_back(Taken(ConvertTo24BPPDIB(dib)));
    parts.push_back(Taken(ConvertTo16BPPDIB(dib)));
    CNiGoRo2 quantiser(dib, 256, 5, 0);
    parts.push_back(Taken(quantiser.QuantizeBitmap(1, 0)));
    GlobalUnlock(source);
    GlobalFree(source);
    Bytes all;
    for (const Bytes& part : parts)
        all.insert(all.end(), part.begin(), part.end());
    return all;
}

TEST(Threads, ConvertDifferentPagesAtOnceAsOneAloneDoes) {
    // First several at once, so that what the library finds out once is found out by several.
    constexpr std::size_t Count = 4;
    std::array<std::vector<Bytes>, Count> made;
    std::atomic<unsigned> ready{0};
    std::vector<std::thread> threads;
    for (std::size_t number = 0; number < Count; ++number) {
        threads.emplace_back([&, number] {
            ++ready;
            while (ready < Count)
                std::this_thread::yield();
            for (std::size_t i = 0; i < Kinds.size(); ++i)
                made[number].push_back(
                    Everything(Kinds[(i + 2 * number) % Kinds.size()], 180 + static_cast<int>(number)));
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    for (std::size_t number = 0; number < Count; ++number) {
        for (std::size_t i = 0; i < Kinds.size(); ++i) {
            const std::string& kind = Kinds[(i + 2 * number) % Kinds.size()];
            EXPECT_TRUE(made[number][i] == Everything(kind, 180 + static_cast<int>(number)))
                << "thread " << number << ", kind " << kind;
        }
    }
}

} // namespace

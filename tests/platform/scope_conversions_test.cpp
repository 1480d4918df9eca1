// Colour pages by the thousand in constant memory: each conversion leaves an intermediate block
// behind, which a block scope frees.
#include "tests/platform/process_memory.h"
#include "tests/support/dib_builder.h"

#include "dibprep/entries.h"
#include "dibprep/hostlayer.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>

namespace {

constexpr int Conversions = 10000;
constexpr int WarmUp = 500;

// 3 x 3 pixels at 300 dots per inch, of two colours.
void* MakeColourPage() {
    testdib::Bytes dib = testdib::MakeDib(3, 3, 8);
    testdib::SetEntry(dib, 0, 255, 0, 0);
    testdib::SetEntry(dib, 1, 0, 255, 0);
    dib.back() = 1;
    void* const block = GlobalAlloc(66, dib.size());
    std::memcpy(GlobalLock(block), dib.data(), dib.size());
    GlobalUnlock(block);
    return block;
}

} // namespace

TEST(BlockScopeConversions, TenThousandColourPagesNeedNoMoreMemoryThanOne) {
    void* const page = MakeColourPage();
    const std::size_t live = dibhost_live_blocks();
    const std::uint64_t liveBytes = dibhost_live_bytes();
    std::size_t residentAfterWarmUp = 0;
    for (int i = 0; i < Conversions; ++i) {
        void* result = nullptr;
        {
            dibhost::BlockScope scope;
            ASSERT_EQ(ConvertResolution(page, &result, nullptr, 200, 128), 0);
            ASSERT_TRUE(scope.Keep(result));
            // The intermediate, and nothing else.
            ASSERT_EQ(scope.Close(), 1u);
        }
        ASSERT_EQ(dibhost_live_blocks(), live + 1);
        // 2 x 2 pixels of 8 bits: the result of the reduction, not of the transform.
        const auto* const dib = static_cast<const unsigned char*>(GlobalLock(result));
        ASSERT_NE(dib, nullptr);
        ASSERT_EQ(dib[4], 2);
        ASSERT_EQ(dib[8], 2);
        ASSERT_EQ(dib[14], 8);
        GlobalUnlock(result);
        ASSERT_EQ(GlobalFree(result), nullptr);
        ASSERT_EQ(dibhost_live_blocks(), live);
        ASSERT_EQ(dibhost_live_bytes(), liveBytes);
        if (i == WarmUp)
            residentAfterWarmUp = platformtest::ResidentBytes();
    }
#if !defined(__SANITIZE_ADDRESS__) // which holds back freed memory for a while
    EXPECT_LT(platformtest::ResidentBytes(), residentAfterWarmUp + (std::size_t{2} << 20));
#else
    EXPECT_NE(residentAfterWarmUp, 0u);
#endif
    GlobalFree(page);
}

TEST(BlockScopeConversions, WithoutAScopeEachConversionLeavesOneBlock) {
    void* const page = MakeColourPage();
    const std::size_t live = dibhost_live_blocks();
    dibhost::BlockScope collects;
    for (int i = 1; i <= 5; ++i) {
        void* result = nullptr;
        ASSERT_EQ(ConvertResolution(page, &result, nullptr, 200, 128), 0);
        ASSERT_EQ(GlobalFree(result), nullptr);
        EXPECT_EQ(dibhost_live_blocks(), live + static_cast<std::size_t>(i));
    }
    EXPECT_EQ(collects.Close(), 5u);
    GlobalFree(page);
}

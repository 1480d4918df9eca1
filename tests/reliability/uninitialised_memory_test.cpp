// Every entry twice, over memory that held other bytes before: the heap, and the stack below the call.
// Equal results show that nothing is read that was not written first. Every tier of the kernels runs.
#include "tests/reliability/failing.h"

#include "memory/x86/cpu_tier.h"
#include "tests/support/test_host.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <memory>

namespace {

int heapFill = -1;

} // namespace

// What malloc gives out is filled while a test asks for it; operator new stands on malloc. The C
// library's own way of filling passes over small blocks that were freed just before. The sanitizer
// keeps its heap.
#if !defined(__SANITIZE_ADDRESS__)
extern "C" void* __libc_malloc(std::size_t bytes);
extern "C" void* malloc(std::size_t bytes) noexcept {
    void* const block = __libc_malloc(bytes);
    if (block && heapFill >= 0)
        std::memset(block, heapFill, bytes);
    return block;
}
#endif

namespace {

using dibprep::Tier;

// Leaves 64 KB of stack filled below the caller's frame.
__attribute__((noinline)) void FillStack(unsigned char value) {
    volatile unsigned char bytes[65536];
    for (volatile unsigned char& byte : bytes)
        byte = value;
}

class UninitialisedMemory : public testing::TestWithParam<failing::Entry> {
protected:
    void TearDown() override {
        heapFill = -1;
        dibprep::ForceTier(dibprep::BestKnownTier);
        testhost::Reset();
    }
};

TEST_P(UninitialisedMemory, ResultsDoNotDependOnWhatWasThereBefore) {
    const failing::Entry& entry = GetParam();
    for (const Tier tier : dibprep::EveryTier) {
        if (tier > dibprep::ProcessorTier())
            break;
        dibprep::ForceTier(tier);
        std::string answer;
        std::vector<std::vector<std::uint8_t>> blocks;
        for (const unsigned char value : {0x01, 0xFF, 0x5A}) {
            testhost::Reset();
            entry.prepare();
            heapFill = value;
            FillStack(value);
            const std::string now = entry.call();
            heapFill = -1;
            if (value == 0x01) {
                answer = now;
                blocks = failing::BlocksOfCall();
            }
            EXPECT_EQ(now, answer) << dibprep::NameOf(tier);
            EXPECT_TRUE(failing::BlocksOfCall() == blocks) << dibprep::NameOf(tier) << ", filled with " << int{value};
        }
    }
}

// Large enough for the search cube and the faster forms.
INSTANTIATE_TEST_SUITE_P(Large, UninitialisedMemory, testing::ValuesIn(failing::Entries(200, 120)), failing::NameOf);
INSTANTIATE_TEST_SUITE_P(Small, UninitialisedMemory, testing::ValuesIn(failing::Entries(7, 5)), failing::NameOf);

TEST(UninitialisedMemoryItself, IsFilledAsAskedFor) {
#if defined(__SANITIZE_ADDRESS__)
    GTEST_SKIP() << "the sanitizer has a heap of its own; the plain builds look at it";
#else
    for (const unsigned char value : {0x01, 0xFF}) {
        heapFill = value;
        auto* const bytes = static_cast<volatile unsigned char*>(std::malloc(1000));
        const std::unique_ptr<volatile unsigned char[]> more(new unsigned char[1000]);
        heapFill = -1;
        EXPECT_EQ(bytes[500], value);
        EXPECT_EQ(more[500], value);
        std::free(const_cast<unsigned char*>(bytes));
    }
#endif
}

} // namespace

// The fast road without its scratch memory: the line builders do the work, and nobody notices.
#include "tests/transform/tier_support.h"

#include "tests/support/dib_builder.h"
#include "tests/support/test_host.h"
#include "transform/scratch.h"

#include <gtest/gtest.h>

using dibprep::Tier;
using namespace tiertest;

namespace {

bool refuse = false;
int refused = 0;

} // namespace

extern "C" {
// The names that the linker's --wrap gives to the function and its replacement.
void* __real_calloc(std::size_t count, std::size_t size);
void* __wrap_calloc(std::size_t count, std::size_t size);
void* __wrap_calloc(std::size_t count, std::size_t size) {
    if (!refuse)
        return __real_calloc(count, size);
    ++refused;
    return nullptr;
}
}

TEST(TransformScratch, IsNotAskedForBeyondItsLimit) {
    dibprep::ScratchParts parts;
    parts.Take<std::uint8_t>(static_cast<std::size_t>(dibprep::MostScratchBytes));
    ASSERT_TRUE(parts.Open());
    EXPECT_NE(nullptr, parts.Take<std::uint8_t>(1));
    dibprep::ScratchParts more;
    more.Take<std::uint8_t>(static_cast<std::size_t>(dibprep::MostScratchBytes));
    more.Take<std::uint8_t>(1);
    EXPECT_FALSE(more.Open());
}

TEST(TransformScratch, WithoutItTheLineBuildersWork) {
    if (dibprep::ProcessorTier() == Tier::Scalar)
        GTEST_SKIP() << "this processor has no SSE2";
    testhost::Reset();
    for (const int bits : {1, 8, 24}) {
        const Call call{MakePage({bits, 133, 61, 300, 300}, 5), 200, 128, Record};
        const Outcome expected = RunEntry(call, dibprep::BestKnownTier);
        refused = 0;
        refuse = true;
        const Outcome got = RunEntry(call, dibprep::BestKnownTier);
        refuse = false;
        EXPECT_EQ(1, refused);
        EXPECT_EQ(0u, got.status);
        EXPECT_EQ(expected.block, got.block);
        EXPECT_EQ(expected.percents, got.percents);
        EXPECT_EQ(expected.hostCalls, got.hostCalls);
    }
}

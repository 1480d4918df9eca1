// Progress callbacks that write into the blocks: every row must come from the bytes as they are
// when its turn comes, whatever was kept of them before. And an object of a host's own.
#include "tests/transform/tier_support.h"

#include "dibprep/host.h"
#include "tests/support/dib_builder.h"
#include "tests/support/test_host.h"
#include "tests/support/tiers.h"

#include <gtest/gtest.h>

using dibprep::Tier;
using namespace testtiers;
using namespace tiertest;

namespace {

// Inverts a part of the source at every call.
int ChangeSource(unsigned short percent) {
    const std::size_t rows = 1064;
    for (std::size_t i = rows + percent % 3; i < sourceSize; i += 3)
        sourceBytes[i] = static_cast<std::uint8_t>(~sourceBytes[i]);
    return Record(percent);
}

int ChangeSourceAndStop(unsigned short percent) {
    ChangeSource(percent);
    return percent < 40;
}

class TransformTierChange : public ForTier<testing::Test> {
protected:
    void SetUp() override {
        ForTier::SetUp();
        testhost::Reset();
    }
};

} // namespace

INSTANTIATE_TEST_SUITE_P(Every, TransformTierChange, FastTiers(), NameOfTier);

TEST_P(TransformTierChange, CallbackThatChangesTheSourceIsSeenByTheNextRow) {
    for (const int bits : {1, 8, 24}) {
        for (const int from : {300, 75, 113, 700}) {
            const Call call{MakePage({bits, 160, 150, from, from}, 9), 200, 128, ChangeSource};
            const Outcome unchanged = RunLineBuilders({call.source, 200, 128, Record});
            EXPECT_NE(unchanged.block, RunLineBuilders(call).block);
            EXPECT_EQ("", CompareEntry(call, GetParam())) << bits << " bits, " << from << " to 200";
        }
    }
}

TEST_P(TransformTierChange, StoppedRunsLeaveTheSameRows) {
    for (const int bits : {1, 8, 24}) {
        const Call call{MakePage({bits, 160, 150, 300, 300}, 9), 200, 128, ChangeSourceAndStop};
        EXPECT_EQ(1u, RunEntry(call, GetParam()).status);
        EXPECT_EQ("", CompareEntry(call, GetParam())) << bits << " bits";
    }
}

TEST_P(TransformTierChange, AnObjectOfTheHostCountsItsGrays) {
    const Bytes page = MakePage({8, 160, 50, 300, 300}, 9);
    void* source = testhost::MakeBlock(page);
    void* destination = testhost::MakeBlock(Bytes(page.size()));
    dibprep::ForceTier(GetParam());
    {
        CBufTransfer from(&source, 1, 0);
        CBufTransfer to(&destination, 1, 1);
        CLinearTransformMem engine;
        engine.source = &from;
        engine.destination = &to;
        ASSERT_EQ(0, engine.LinearTransform(34, nullptr, 200, 128));
        std::vector<unsigned int> counted(256);
        const Bytes result = testhost::Bytes(destination);
        for (unsigned int y = 0; y < engine.outHeight; ++y) {
            for (unsigned int x = 0; x < engine.outWidth; ++x)
                ++counted[result[engine.outBitsOffset + y * engine.outStride + x]];
        }
        EXPECT_EQ(counted, std::vector<unsigned int>(std::begin(engine.grayHistogram), std::end(engine.grayHistogram)));
    }
    dibprep::ForceTier(dibprep::BestKnownTier);
    GlobalFree(source);
    GlobalFree(destination);
}

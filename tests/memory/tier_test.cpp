// Which tier a processor's instruction sets make, and which one is in use.
#include "tests/support/tiers.h"

using namespace dibprep;

TEST(CpuTier, IsTheLastOfAnUnbrokenRow) {
    EXPECT_EQ(TierWith({}), Tier::Scalar);
    EXPECT_EQ(TierWith({true, false, false, false}), Tier::Sse2);
    EXPECT_EQ(TierWith({true, true, false, false}), Tier::Ssse3);
    EXPECT_EQ(TierWith({true, true, true, false}), Tier::Avx2);
    EXPECT_EQ(TierWith({true, true, true, true}), Tier::Avx512);
    // What an emulator or an operating system may leave out.
    EXPECT_EQ(TierWith({true, true, false, true}), Tier::Ssse3);
    EXPECT_EQ(TierWith({false, true, true, true}), Tier::Scalar);
}

TEST(CpuTier, IsTheProcessorsUnlessALowerOneIsForced) {
    EXPECT_EQ(CurrentTier(), ProcessorTier());
    for (const Tier tier : EveryTier) {
        const testtiers::ForcedTier forced(tier);
        EXPECT_EQ(CurrentTier(), std::min(tier, ProcessorTier())) << NameOf(tier);
    }
    EXPECT_EQ(CurrentTier(), ProcessorTier());
}

TEST(CpuTier, NamesAreTheUsualOnes) {
    EXPECT_STREQ(NameOf(Tier::Scalar), "scalar");
    EXPECT_STREQ(NameOf(Tier::Sse2), "SSE2");
    EXPECT_STREQ(NameOf(Tier::Ssse3), "SSSE3");
    EXPECT_STREQ(NameOf(Tier::Avx2), "AVX2");
    EXPECT_STREQ(NameOf(Tier::Avx512), "AVX512");
}

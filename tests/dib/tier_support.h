// What the tests of the folder's faster forms share: one run for each tier of this processor.
#pragma once

#include "memory/x86/cpu_tier.h"
#include "tests/dib/dib_test.h"

#include <string>

namespace dibtest {

using dibprep::Tier;

class DibTier : public DibTest, public testing::WithParamInterface<Tier> {
protected:
    void SetUp() override {
        DibTest::SetUp();
        if (GetParam() > dibprep::ProcessorTier())
            GTEST_SKIP() << "this processor has no " << dibprep::NameOf(GetParam());
        dibprep::ForceTier(GetParam());
        ASSERT_EQ(dibprep::CurrentTier(), GetParam());
    }
    void TearDown() override {
        dibprep::ForceTier(dibprep::BestKnownTier);
        DibTest::TearDown();
    }

    // The bytes of the block that `make` returns on a tier; none for no block.
    template <class Make>
    static Bytes Made(Tier tier, Make make) {
        dibprep::ForceTier(tier);
        void* const block = make();
        return block ? Take(block) : Bytes();
    }
};

inline std::string NameOfTier(const testing::TestParamInfo<Tier>& tier) { return dibprep::NameOf(tier.param); }

inline auto FastTiers() { return testing::Values(Tier::Sse2, Tier::Ssse3, Tier::Avx2); }

} // namespace dibtest

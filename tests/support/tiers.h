// Tests of the kernels' tiers: which this processor has, a tier in use for a scope, and one run of a
// test for each of them.
#pragma once

#include "memory/x86/cpu_tier.h"

#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <vector>

namespace dibprep {

inline void PrintTo(Tier tier, std::ostream* out) { *out << NameOf(tier); }

} // namespace dibprep

namespace testtiers {

using dibprep::Tier;

// The tiers above Scalar that this processor has.
inline std::vector<Tier> FastTiersHere() {
    std::vector<Tier> tiers;
    for (const Tier tier : dibprep::EveryTier) {
        if (tier > Tier::Scalar && tier <= dibprep::ProcessorTier())
            tiers.push_back(tier);
    }
    return tiers;
}

// A tier of the processor in use for a scope.
class ForcedTier {
public:
    explicit ForcedTier(Tier tier) { dibprep::ForceTier(tier); }
    ~ForcedTier() { dibprep::ForceTier(dibprep::BestKnownTier); }
    ForcedTier(const ForcedTier&) = delete;
    ForcedTier& operator=(const ForcedTier&) = delete;
};

// A test that runs once for each tier, and says so where the processor has not got it.
template <class Fixture>
class ForTier : public Fixture, public testing::WithParamInterface<Tier> {
protected:
    void SetUp() override {
        if (GetParam() > dibprep::ProcessorTier())
            GTEST_SKIP() << "this processor has no " << dibprep::NameOf(GetParam());
        Fixture::SetUp();
    }
    void TearDown() override {
        dibprep::ForceTier(dibprep::BestKnownTier);
        Fixture::TearDown();
    }
};

// The same with the tier in use.
template <class Fixture>
class OnTier : public ForTier<Fixture> {
protected:
    void SetUp() override {
        ForTier<Fixture>::SetUp();
        if (this->IsSkipped())
            return;
        dibprep::ForceTier(this->GetParam());
        ASSERT_EQ(dibprep::CurrentTier(), this->GetParam());
    }
};

// For INSTANTIATE_TEST_SUITE_P.
inline auto AllTiers() { return testing::ValuesIn(dibprep::EveryTier); }
inline auto FastTiers() { return testing::ValuesIn(dibprep::EveryTier.begin() + 1, dibprep::EveryTier.end()); }
inline std::string NameOfTier(const testing::TestParamInfo<Tier>& tier) { return dibprep::NameOf(tier.param); }

} // namespace testtiers

// What the tests of the folder's faster forms share: one run for each tier of this processor.
#pragma once

#include "tests/dib/dib_test.h"
#include "tests/support/tiers.h"

namespace dibtest {

using dibprep::Tier;
using testtiers::FastTiers;
using testtiers::NameOfTier;

class DibTier : public testtiers::OnTier<DibTest> {
protected:
    // The bytes of the block that `make` returns on a tier; none for no block.
    template <class Make>
    static Bytes Made(Tier tier, Make make) {
        dibprep::ForceTier(tier);
        void* const block = make();
        return block ? Take(block) : Bytes();
    }
};

} // namespace dibtest

// The frame of the comparisons over random cases: one fresh generator per case, the case's number on
// record, an end at the first case that fails.
#pragma once

#include "random_start.h"
#include "tests/support/test_host.h"

#include <gtest/gtest.h>

namespace oracle {

class RandomCaseTest : public testing::Test {
protected:
    void TearDown() override { testhost::Reset(); }

    // Calls compare(random) for every case. The family keeps the cases of one comparison apart from
    // those of another.
    template <typename Compare>
    void ForEachCase(int usualCount, unsigned family, Compare compare) {
        const std::uint64_t start = RandomStart();
        const std::uint64_t count = RandomCases(usualCount);
        for (std::uint64_t number = start; number < start + count; ++number) {
            SCOPED_TRACE(CaseName(number));
            testdib::Random random = RandomOf(number * 64 + family);
            compare(random);
            if (HasFailure())
                return;
        }
    }
};

} // namespace oracle

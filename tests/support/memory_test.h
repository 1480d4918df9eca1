// The fixture of tests whose blocks come from the test host.
#pragma once

#include "tests/support/test_host.h"

#include <gtest/gtest.h>

namespace testhost {

// A clean memory layer for every test, no lock or misuse of a handle left behind by any, and no block
// freed while it was locked.
class MemoryTest : public testing::Test {
protected:
    void SetUp() override { Reset(); }
    void TearDown() override {
        EXPECT_EQ(OutstandingLocks(), expectedLocks);
        EXPECT_EQ(BadCalls(), 0);
        EXPECT_EQ(LockedFrees(), 0);
        Reset();
    }
    int expectedLocks = 0;
};

} // namespace testhost

// One utility that makes a DIB of a DIB, compared with its second version: the same answer, the whole
// block, and nothing else left or changed.
#pragma once

#include "tests/oracle/random_dibs.h"
#include "tests/support/test_host.h"

#include <gtest/gtest.h>

namespace oracle {

class DibComparison : public testing::Test {
protected:
    void SetUp() override { StartAfresh(); }
    void TearDown() override { testhost::Reset(); }
    static void StartAfresh() {
        testhost::Reset();
        testhost::SetLargestBlock(oracle::LargestDibBlock);
    }

    static void CompareOne(const Bytes& dib, void* (*function)(unsigned char*), const oracle::MaybeDib& expected,
                           const char* name) {
        SCOPED_TRACE(name);
        StartAfresh();
        void* source = testhost::MakeBlock(dib);
        void* result = function(testhost::Address(source));
        ASSERT_EQ(result != nullptr, expected.has_value());
        if (result) {
            EXPECT_EQ(testhost::Bytes(result), *expected);
        }
        EXPECT_EQ(testhost::Bytes(source), dib);
        EXPECT_EQ(testhost::LiveBlocks(), result ? 2 : 1);
        EXPECT_EQ(testhost::OutstandingLocks(), 0);
        EXPECT_EQ(testhost::BadCalls(), 0);
    }
};

} // namespace oracle

// STATIC_COLOR: there from the beginning, empty, and made without a call to the host's layer.
#include "dibprep/host.h"
#include "dibprep/memory.h"
#include "tests/support/test_host.h"

#include <gtest/gtest.h>

namespace {

// Calls that were made before any test of this program ran.
const int callsWhileLoading = testhost::Calls();

TEST(StaticColor, IsBuiltEmptyWhileLoading) {
    EXPECT_EQ(callsWhileLoading, 0);
    EXPECT_EQ(STATIC_COLOR.IsEmpty(), 1);
    EXPECT_EQ(STATIC_COLOR.m_hMem, nullptr);
    EXPECT_EQ(STATIC_COLOR.m_pMem, nullptr);
    EXPECT_FALSE(STATIC_COLOR.m_bLocked);
}

TEST(StaticColor, HoldsABlockLikeAnyOther) {
    testhost::Reset();
    void* const handle = testhost::MakeBlock(std::vector<std::uint8_t>(768));
    STATIC_COLOR.SetHandle(handle);
    EXPECT_EQ(STATIC_COLOR.IsEmpty(), 0);
    STATIC_COLOR[767] = 9;
    EXPECT_EQ(testhost::Address(handle)[767], 9);
    STATIC_COLOR.Free();
    EXPECT_FALSE(testhost::IsLive(handle));
    EXPECT_EQ(STATIC_COLOR.IsEmpty(), 1);
    testhost::Reset();
}

} // namespace

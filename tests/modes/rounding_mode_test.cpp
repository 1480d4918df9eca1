// Whatever rounding mode a host left in the SSE control word, and whether it has tiny numbers taken as
// zero: the same bytes.
#include "tests/modes/roads.h"
#include "tests/support/tiers.h"

#include <gtest/gtest.h>
#include <xmmintrin.h>

namespace {

using namespace modes;

constexpr unsigned int RoundingBits = _MM_ROUND_MASK;
constexpr unsigned int Down = _MM_ROUND_DOWN, Up = _MM_ROUND_UP, Chop = _MM_ROUND_TOWARD_ZERO;
constexpr unsigned int TinyIsZero = 0x8040; // results and operands
const std::vector<unsigned int> Modes = {Down, Up, Chop, TinyIsZero, TinyIsZero | Up};

class SseMode {
public:
    explicit SseMode(unsigned int mode)
        : m_before(_mm_getcsr()), m_set((m_before & ~RoundingBits & ~TinyIsZero) | mode) {
        _mm_setcsr(m_set);
    }
    ~SseMode() { _mm_setcsr(m_before); }
    SseMode(const SseMode&) = delete;
    SseMode& operator=(const SseMode&) = delete;
    // The flags of what happened are below the masks.
    bool IsSet() const { return (_mm_getcsr() | 0x3F) == (m_set | 0x3F); }

private:
    unsigned int m_before;
    unsigned int m_set;
};

double Third() {
    volatile double one = 1, three = 3;
    return one / three;
}

TEST(RoundingMode, ReachesTheArithmetic) {
    const double nearest = Third();
    double up;
    {
        const SseMode mode(Up);
        up = Third();
    }
    EXPECT_NE(up, nearest);
}

class RoundingModeOnTier : public testtiers::OnTier<testing::Test> {};

TEST_P(RoundingModeOnTier, IntegerRoadsDoNotDependOnIt) { EXPECT_EQ(Differences<SseMode>(IntegerTrips(), Modes), ""); }

TEST_P(RoundingModeOnTier, ShortFractionsOfThePipelineDoNotDependOnIt) {
    EXPECT_EQ(Differences<SseMode>(ShortFractionTrips(), Modes), "");
}

INSTANTIATE_TEST_SUITE_P(AllTiers, RoundingModeOnTier, testtiers::AllTiers(), testtiers::NameOfTier);

} // namespace

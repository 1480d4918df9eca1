// Whatever precision and rounding a host left in the x87 control word: the same bytes on every road,
// in both widths.
#include "tests/modes/roads.h"
#include "tests/support/tiers.h"

#include <gtest/gtest.h>

namespace {

using namespace modes;

constexpr unsigned int Precision24 = 0x000, Precision53 = 0x200, Precision64 = 0x300;
constexpr unsigned int Down = 0x400, Up = 0x800, Chop = 0xC00;
constexpr unsigned int AllBits = Precision64 | Chop;
const std::vector<unsigned int> Modes = {Precision24,        Precision53,      Precision64,       Precision24 | Chop,
                                         Precision24 | Down, Precision53 | Up, Precision64 | Chop};

std::uint16_t ControlWord() {
    std::uint16_t word;
    asm volatile("fnstcw %0" : "=m"(word));
    return word;
}

class X87Mode {
public:
    explicit X87Mode(unsigned int mode)
        : m_before(ControlWord()), m_set(static_cast<std::uint16_t>((m_before & ~AllBits) | mode)) {
        asm volatile("fldcw %0" : : "m"(m_set));
    }
    ~X87Mode() { asm volatile("fldcw %0" : : "m"(m_before)); }
    X87Mode(const X87Mode&) = delete;
    X87Mode& operator=(const X87Mode&) = delete;
    bool IsSet() const { return ControlWord() == m_set; }

private:
    std::uint16_t m_before;
    std::uint16_t m_set;
};

long double Third() {
    volatile long double one = 1, three = 3;
    return one / three;
}

TEST(X87Precision, ReachesTheArithmetic) {
    const long double extended = Third();
    long double single;
    {
        const X87Mode mode(Precision24);
        single = Third();
    }
    EXPECT_NE(single, extended);
}

class X87PrecisionOnTier : public testtiers::OnTier<testing::Test> {};

TEST_P(X87PrecisionOnTier, IntegerRoadsDoNotDependOnIt) { EXPECT_EQ(Differences<X87Mode>(IntegerTrips(), Modes), ""); }

TEST_P(X87PrecisionOnTier, ThePipelineDoesNotDependOnIt) {
    EXPECT_EQ(Differences<X87Mode>(ShortFractionTrips(), Modes), "");
    EXPECT_EQ(Differences<X87Mode>(OtherFractionTrips(), Modes), "");
}

INSTANTIATE_TEST_SUITE_P(AllTiers, X87PrecisionOnTier, testtiers::AllTiers(), testtiers::NameOfTier);

} // namespace

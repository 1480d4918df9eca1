// BiLinear with frames and outputs at the ends of the 32-bit range.
#include "tests/reliability/hostile_cases.h"

#include "dibprep.h"
#include "tests/support/test_host.h"

#include <gtest/gtest.h>

#include <climits>

using namespace hostile;

namespace {

struct Rectangles {
    const char* name;
    tagRECT frame, output;
    int width, height; // of the result; -1: none
    int error;
    friend void PrintTo(const Rectangles& row, std::ostream* out) { *out << row.name; }
};

class HostileRectangles : public testing::TestWithParam<Rectangles> {};

TEST_P(HostileRectangles, GiveThePartOrAnError) {
    const Rectangles& given = GetParam();
    for (const int bits : {1, 4, 8, 16, 24, 32, 48, 64}) {
        SCOPED_TRACE(bits);
        Bytes dib = testdib::MakeDib(8, 8, bits, Ppm100, Ppm100);
        for (std::size_t at = 40; at < dib.size(); ++at)
            dib[at] = static_cast<std::uint8_t>(at * 37);
        testhost::Reset();
        testhost::SetLargestBlock(std::size_t{64} << 20);
        void* const source = testhost::MakeBlock(dib);
        testhost::ResetCounters();
        CConvertResolution resampler;
        void* const made = resampler.BiLinear(testhost::Address(source), &given.frame, &given.output, nullptr);
        EXPECT_EQ(resampler.m_nLastError, given.error);
        ASSERT_EQ(made != nullptr, given.width >= 0);
        if (made) {
            const Bytes result = testhost::Bytes(made);
            const int depth = bits < 24 ? 24 : bits;
            EXPECT_EQ(testdib::U32(result, 4), static_cast<std::uint32_t>(given.width));
            EXPECT_EQ(testdib::U32(result, 8), static_cast<std::uint32_t>(given.height));
            EXPECT_EQ(result.size(), 40 + testdib::Stride(given.width, depth) * static_cast<std::size_t>(given.height));
        }
        EXPECT_EQ(testhost::LiveBlocks(), made ? 2 : 1);
        EXPECT_EQ(testhost::OutstandingLocks(), 0);
        EXPECT_EQ(testhost::BadCalls(), 0);
    }
    testhost::Reset();
}

const tagRECT Eight = {0, 0, 8, 8};
const tagRECT Everything = {INT_MIN, INT_MIN, INT_MAX, INT_MAX};

const Rectangles Cases[] = {
    {"OutputIsEverything", Eight, Everything, 8, 8, 0},
    {"FrameIsEverything", Everything, Eight, -1, -1, -4},
    {"FrameIsTheLowerHalf", {INT_MIN, INT_MIN, -1, -1}, {-9, -9, 0, 0}, 8, 8, 0},
    {"FrameIsTheUpperHalf", {0, 0, INT_MAX, INT_MAX}, {INT_MAX - 8, INT_MAX - 8, INT_MAX, INT_MAX}, 8, 8, 0},
    {"FrameEndsAtTheRange", {INT_MAX - 8, INT_MAX - 8, INT_MAX, INT_MAX}, Everything, 8, 8, 0},
    {"FrameStartsAtTheRange", {INT_MIN, INT_MIN, INT_MIN + 8, INT_MIN + 8}, Everything, 8, 8, 0},
    {"FrameIsOneTooWide", {-1, 0, INT_MAX, 8}, Eight, -1, -1, -4},
    {"FrameIsOneTooHigh", {0, -1, 8, INT_MAX}, Eight, -1, -1, -4},
    {"FrameIsInsideOut", {8, 8, 0, 0}, Eight, -1, -1, -4},
    {"FrameIsEmpty", {0, 0, 0, 0}, Eight, -1, -1, -4},
    {"OutputIsInsideOut", Eight, {INT_MAX, INT_MAX, INT_MIN, INT_MIN}, -1, -1, -4},
    {"OutputLiesFarAway", Eight, {INT_MAX - 1, INT_MAX - 1, INT_MAX, INT_MAX}, -1, -1, -4},
    // The 40 bytes of such a result are fewer than the 44 that a header is read with.
    {"OutputIsEmpty", Eight, {4, 4, 4, 4}, 0, 0, -4},
    {"OutputIsOnePixel", Eight, {7, 7, 8, 8}, 1, 1, 0},
    {"ResultLeavesMemory", {0, 0, INT_MAX, INT_MAX}, Everything, -1, -1, -1},
    {"ResultIsMoreThanTheHostGives", {0, 0, 65536, 65536}, {0, 0, 6000, 6000}, -1, -1, -1},
};

INSTANTIATE_TEST_SUITE_P(Of, HostileRectangles, testing::ValuesIn(Cases), NameOf<Rectangles>);

} // namespace

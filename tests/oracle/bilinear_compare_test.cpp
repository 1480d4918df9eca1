// The resampler and its driver against the slow second version, over random DIBs, frames, clips,
// limits and callbacks.
#include "dibprep/bilinear.h"
#include "dibprep/entries.h"
#include "tests/oracle/random_sources.h"
#include "tests/oracle/random_start.h"
#include "tests/support/test_host.h"

#include <gtest/gtest.h>

#include <climits>

namespace {

using oracle::Bytes;
using oracle::Limits;
using oracle::Rectangle;
using testdib::Random;

void SetLimits(const Limits& limits) {
    COLOR_MAX_VALUE = limits.colour8;
    WHITE_POINT_VALUE = limits.white8;
    BLACK_POINT_VALUE = limits.black8;
    COLOR_MAX_VALUE16 = limits.colour16;
    WHITE_POINT_VALUE16 = limits.white16;
    BLACK_POINT_VALUE16 = limits.black16;
}

// What the callback of one case does, the same for both sides.
struct Plan {
    bool callback = false;
    int cancelAtRow = 0;         // 0: never
    std::vector<int> changeRows; // after these rows the limits change
    std::vector<Limits> changeTo;
    int otherAnswer = 1; // anything but 0 goes on

    int Answer(int row) const { return row == cancelAtRow ? 0 : otherAnswer; }
    const Limits* Change(int row) const {
        for (std::size_t i = 0; i < changeRows.size(); ++i)
            if (changeRows[i] == row)
                return &changeTo[i];
        return nullptr;
    }
};

using Calls = std::vector<std::pair<int, int>>;

const Plan* currentPlan;
Calls* currentCalls;

int LibraryCallback(int row, int rows) {
    currentCalls->push_back({row, rows});
    if (const Limits* limits = currentPlan->Change(row))
        SetLimits(*limits);
    return currentPlan->Answer(row);
}

class Bilinear : public testing::Test {
protected:
    void SetUp() override { StartAfresh(); }
    void TearDown() override {
        SetLimits(Limits());
        testhost::Reset();
    }
    static void StartAfresh() {
        testhost::Reset();
        testhost::SetLargestBlock(oracle::LargestBlock);
        SetLimits(Limits());
    }
};

Plan RandomPlan(Random& random, int rows) {
    Plan plan;
    plan.callback = !random.OneIn(3);
    if (random.OneIn(6))
        plan.cancelAtRow = random.Range(1, std::clamp(rows, 1, 100));
    if (random.OneIn(4)) {
        for (int i = random.Range(1, 4); i > 0; --i) {
            plan.changeRows.push_back(random.Range(1, std::clamp(rows, 1, 100)));
            plan.changeTo.push_back(oracle::RandomLimits(random));
        }
    }
    plan.otherAnswer = random.OneIn(4) ? -1 : random.Range(1, 3);
    return plan;
}

// An output rectangle in every relation to the frame.
Rectangle RandomOutput(Random& random, const Rectangle& f) {
    const int w = f.right - f.left, h = f.bottom - f.top;
    switch (random.Range(0, 7)) {
    case 0:
    case 1:
        return f;
    case 2: // beyond on some sides
        return {f.left - random.Range(0, 20), f.top - random.Range(0, 20), f.right + random.Range(0, 20),
                f.bottom + random.Range(0, 20)};
    case 3: { // inside, sometimes without width or height
        const int left = random.Range(0, w), top = random.Range(0, h);
        return {f.left + left, f.top + top, f.left + random.Range(left, w), f.top + random.Range(top, h)};
    }
    case 4: // wholly outside, touching or not
        return {f.right + random.Range(0, 3), f.top, f.right + random.Range(3, 9), f.bottom};
    case 5:
        return {f.left, f.top - random.Range(4, 9), f.right, f.top - random.Range(0, 3)};
    case 6: // the whole plane
        return {INT_MIN, INT_MIN, INT_MAX, INT_MAX};
    default: // anything, turned round too
        return {random.Range(-60, 60), random.Range(-60, 60), random.Range(-60, 60), random.Range(-60, 60)};
    }
}

struct Case {
    Bytes dib;
    Rectangle frame{}, output{};
    bool nullFrame = false, nullOutput = false;
    Limits limits;
    Plan plan;
};

// Sources and frames that are refused, or nearly.
void MakeOdd(Random& random, Case& c) {
    switch (random.Range(0, 11)) {
    case 0:
        testdib::PutU32(c.dib, 16, static_cast<std::uint32_t>(random.Range(1, 5)));
        break;
    case 1:
        c.dib.resize(static_cast<std::size_t>(random.Range(0, 43)));
        break;
    case 2: {
        // A depth without a kernel; the rows that are there are enough for none to be read.
        // Rows beyond 32 bits are left out: such a source cannot be.
        const bool wide = testdib::U32(c.dib, 4) > 10000;
        int bits = random.OneIn(3) ? random.Range(1, wide ? 2000 : 65535) : random.Range(2, 80);
        while (bits == 1 || bits == 4 || bits == 8 || bits == 16 || bits == 24 || bits == 32 || bits == 48 ||
               bits == 64)
            ++bits;
        testdib::PutU16(c.dib, 14, static_cast<unsigned>(bits));
        break;
    }
    case 3:
        testdib::PutU16(c.dib, 14, 0);
        testdib::PutU32(c.dib, 16, static_cast<std::uint32_t>(random.Range(0, 3)));
        break;
    case 4:
        testdib::PutU32(c.dib, random.OneIn(2) ? 4 : 8, static_cast<std::uint32_t>(-random.Range(0, 50)));
        break;
    case 5:
        c.nullFrame = random.OneIn(2);
        c.nullOutput = !c.nullFrame || random.OneIn(3);
        break;
    case 6: // differences beyond 32 bits
        c.frame = {random.Range(-3, -1), 0, INT_MAX, random.Range(1, 5)};
        c.output = {0, 0, 5, 5};
        break;
    case 7:
        c.frame = random.OneIn(2) ? Rectangle{0, INT_MIN, 10, INT_MAX} : Rectangle{INT_MIN, 0, 1, 7};
        c.output = {0, 0, 5, 5};
        break;
    case 8: // no width, no height, or turned round
        c.frame.right = c.frame.left - random.Range(0, 2);
        break;
    case 9:
        c.frame.bottom = c.frame.top - random.Range(0, 2);
        break;
    case 10: { // a small part of a huge picture, or all of it
        const int side = random.Range(100000, 3000000);
        c.frame = {-side, -side / 2, side, side / 2};
        const int x = random.Range(-side, side - 9), y = random.Range(-side / 2, side / 2 - 9);
        c.output = random.OneIn(5) ? c.frame : Rectangle{x, y, x + random.Range(0, 9), y + random.Range(0, 9)};
        break;
    }
    default: // more columns than a table may have, and no row
        c.frame = {0, 0, 178956975, 4};
        c.output = {0, 1, random.Range(178956971, 178956975), 1};
        break;
    }
}

Case RandomCase(Random& random) {
    Case c;
    const int bits = oracle::KernelDepth(random);
    int width = oracle::OddOrEven(random, 40), height = oracle::OddOrEven(random, 40);
    const bool wide = random.OneIn(60);
    if (wide) {
        width = random.Range(65534, 65537);
        height = random.Range(1, 2);
    }
    if (random.OneIn(200)) {
        height = random.Range(65534, 65537);
        width = random.Range(1, 3);
    }
    c.dib = oracle::RandomSource(random, width, height, bits);
    int cx = random.OneIn(4) ? width : oracle::OddOrEven(random, 60);
    int cy = random.OneIn(4) ? height : oracle::OddOrEven(random, 60);
    cx = std::min(cx, 80);
    cy = std::min(cy, 80);
    const int left = random.Range(-30, 30), top = random.Range(-30, 30);
    c.frame = {left, top, left + cx, top + cy};
    c.output = RandomOutput(random, c.frame);
    if (random.OneIn(3))
        c.limits = oracle::RandomLimits(random);
    c.plan = RandomPlan(random, std::min(c.output.bottom, c.frame.bottom) - std::max(c.output.top, c.frame.top));
    if (random.OneIn(8))
        MakeOdd(random, c);
    // A pixel block that goes on behind the DIB must make no difference.
    if (random.OneIn(10) && c.dib.size() >= 44)
        c.dib.resize(c.dib.size() + static_cast<std::size_t>(random.Range(1, 1500)), 0xC3);
    return c;
}

void CompareCase(const Case& c) {
    Limits limits = c.limits;
    Calls expectedCalls;
    oracle::Progress progress;
    if (c.plan.callback)
        progress = [&](int row, int rows) {
            expectedCalls.push_back({row, rows});
            if (const Limits* change = c.plan.Change(row))
                limits = *change;
            return c.plan.Answer(row);
        };
    const oracle::Resampled expected =
        oracle::Resample(c.dib, c.nullFrame ? nullptr : &c.frame, c.nullOutput ? nullptr : &c.output, limits, progress);

    void* source = testhost::MakeBlock(c.dib);
    testhost::ResetCounters();
    SetLimits(c.limits);
    Calls calls;
    currentPlan = &c.plan;
    currentCalls = &calls;
    const tagRECT frame{c.frame.left, c.frame.top, c.frame.right, c.frame.bottom};
    const tagRECT output{c.output.left, c.output.top, c.output.right, c.output.bottom};
    CConvertResolution resampler;
    void* result = resampler.BiLinear(testhost::Address(source), c.nullFrame ? nullptr : &frame,
                                      c.nullOutput ? nullptr : &output, c.plan.callback ? LibraryCallback : nullptr);

    ASSERT_EQ(result != nullptr, expected.made)
        << "last error " << resampler.m_nLastError << ", expected " << expected.error;
    EXPECT_EQ(resampler.m_nLastError, expected.error);
    EXPECT_EQ(calls, expectedCalls);
    if (expected.allocations >= 0) {
        EXPECT_EQ(testhost::Allocations(), expected.allocations);
    }
    if (result) {
        EXPECT_EQ(testhost::Bytes(result), expected.dib);
    }
    EXPECT_EQ(testhost::Bytes(source), c.dib);
    EXPECT_EQ(testhost::LiveBlocks(), result ? 2 : 1);
    EXPECT_EQ(testhost::OutstandingLocks(), 0);
    EXPECT_EQ(testhost::BadCalls(), 0);
}

TEST_F(Bilinear, RandomFramesAndClipsEqualTheSecondVersion) {
    const std::uint64_t start = oracle::RandomStart();
    for (std::uint64_t n = start; n < start + oracle::RandomCases(4000) && !HasFailure(); ++n) {
        SCOPED_TRACE(oracle::CaseName(n));
        Random random = oracle::RandomOf(n);
        const Case c = RandomCase(random);
        SCOPED_TRACE("width " + std::to_string(c.dib.size() > 7 ? testdib::U32(c.dib, 4) : 0) + ", bits " +
                     std::to_string(c.dib.size() > 15 ? testdib::U16(c.dib, 14) : 0));
        StartAfresh();
        CompareCase(c);
    }
}

// A wanted resolution: not given, the recorded one, a near one, a huge one.
unsigned RandomResolution(Random& random, unsigned recorded) {
    switch (random.Range(0, 5)) {
    case 0:
        return 0;
    case 1:
        return recorded;
    case 2:
        return random.OneIn(3) ? random.Next() : static_cast<unsigned>(random.Range(1, 30));
    default:
        return static_cast<unsigned>(random.Range(1, 20000));
    }
}

Bytes RandomBlock(Random& random) {
    const int bits = oracle::KernelDepth(random);
    Bytes block = oracle::RandomSource(random, oracle::OddOrEven(random, 40), oracle::OddOrEven(random, 40), bits);
    if (random.OneIn(4))
        testdib::PutU32(block, 28, testdib::U32(block, 24));
    if (random.OneIn(4)) { // one resolution a multiple of the other: sizes that come out whole, just so
        const auto base = static_cast<std::uint32_t>(random.Range(1, 6000));
        const bool wider = random.OneIn(2);
        testdib::PutU32(block, wider ? 24 : 28, base);
        testdib::PutU32(block, wider ? 28 : 24, base * static_cast<std::uint32_t>(random.Range(2, 5)));
    }
    if (random.OneIn(10))
        testdib::PutU32(block, random.OneIn(2) ? 24 : 28, random.OneIn(2) ? 0 : 0x80000000u | random.Next());
    if (random.OneIn(20)) // few or very many pixels per metre
        testdib::PutU32(block, random.OneIn(2) ? 24 : 28, random.Next() >> random.Range(1, 30));
    if (random.OneIn(12))
        testdib::PutU32(block, 16, static_cast<std::uint32_t>(random.Range(1, 3)));
    if (random.OneIn(30))
        testdib::PutU32(block, random.OneIn(2) ? 4 : 8, random.OneIn(2) ? random.Next() : 0u - random.Next() % 50);
    if (random.OneIn(30))
        testdib::PutU32(block, 32, random.OneIn(2) ? random.Next() : 0x40000000u + random.Next() % 8);
    if (random.OneIn(30))
        testdib::PutU32(block, 0, random.OneIn(2) ? random.Next() : random.Next() % 200);
    if (random.OneIn(30))
        testdib::PutU16(block, 14, random.OneIn(2) ? random.Next() & 0xFFFF : random.Next() % 66);
    if (random.OneIn(8)) // cut short, by a little or anywhere
        block.resize(random.OneIn(2) ? block.size() - static_cast<std::size_t>(random.Range(1, 4))
                                     : 1 + random.Next() % block.size());
    else if (random.OneIn(6))
        block.resize(block.size() + static_cast<std::size_t>(random.Range(1, 100)), 0x5A);
    return block;
}

TEST_F(Bilinear, RandomResolutionsEqualTheSecondVersion) {
    const std::uint64_t start = oracle::RandomStart();
    for (std::uint64_t n = start; n < start + oracle::RandomCases(2500) && !HasFailure(); ++n) {
        SCOPED_TRACE(oracle::CaseName(n));
        Random random = oracle::RandomOf(n ^ 0x5555000000000000ULL);
        const Bytes block = RandomBlock(random);
        const unsigned xRes = RandomResolution(random, block.size() < 32 ? 1 : testdib::U32(block, 24));
        const unsigned yRes = RandomResolution(random, block.size() < 32 ? 1 : testdib::U32(block, 28));
        const Limits limits = random.OneIn(4) ? oracle::RandomLimits(random) : Limits();
        const oracle::Converted expected = oracle::ConvertedTo(block, xRes, yRes, limits);

        StartAfresh();
        void* source = testhost::MakeBlock(block);
        // A host that cannot tell sizes is believed in what the header says.
        if (expected.road == oracle::Converted::Road::Resampled && random.OneIn(4))
            testhost::SetSizeAnswer(testhost::SizeAnswer::Unknown);
        SetLimits(limits);
        unsigned short status = 0xABCD;
        void* result = ConvertResolution2(source, xRes, yRes, &status);
        EXPECT_EQ(status, expected.status < 0 ? 0xABCD : expected.status);
        ASSERT_EQ(result != nullptr, expected.road != oracle::Converted::Road::Nothing);
        if (result) {
            EXPECT_EQ(testhost::Bytes(result), expected.block);
        }
        EXPECT_EQ(testhost::Bytes(source), block);
        EXPECT_EQ(testhost::LiveBlocks(), result ? 2 : 1);
        EXPECT_EQ(testhost::OutstandingLocks(), 0);
        EXPECT_EQ(testhost::BadCalls(), 0);
    }
}

} // namespace

// Estimates of inexact ratios: their bound, their kernels against the scalar form, and which road ran.
#include "tests/transform/tier_support.h"

#include "dibprep/host.h"
#include "tests/support/dib_builder.h"
#include "tests/support/test_host.h"
#include "tests/support/tiers.h"
#include "transform/estimate.h"
#include "transform/estimated_rows.h"
#include "transform/row_road.h"
#include "transform/sampling.h"

#include <cmath>
#include <gtest/gtest.h>

using namespace dibprep;
using namespace testtiers;

namespace {

constexpr std::size_t MostChannels = 140;
constexpr std::size_t Room = 160; // to the next 32 channels
const double NearlyOne = std::nextafter(1.0, 0.0);

// A plan over two rows of random bytes, the channels of a window somewhere in them.
struct Rows {
    std::size_t windowBytes;
    std::vector<std::uint32_t> offsets = std::vector<std::uint32_t>(Room / 4);
    std::vector<std::uint8_t> shuffles = std::vector<std::uint8_t>(Room * 4, EmptyByte);
    std::vector<std::int32_t> weights = std::vector<std::int32_t>(Room);
    std::vector<double> fractions = std::vector<double>(Room);
    std::vector<std::uint8_t> bytes[2];
    EstimatePlan plan;

    double Fraction(testdib::Random& random) const {
        const double whole = random.Range(2, 400);
        switch (random.Range(0, 5)) {
        case 0:
            return 0;
        case 1: // as the division gives them: next to a short ratio
            return std::fmod(random.Range(0, 3000) / (random.Range(1, 700) / whole), 1.0);
        case 2:
            return random.OneIn(2) ? NearlyOne : 1.0 - 1e-13;
        case 3:
            return random.OneIn(2) ? 1e-13 : std::ldexp(1.0, -random.Range(20, 60));
        default:
            return random.Next() / 4294967296.0;
        }
    }
    // `levels` of samples: 256 any, fewer make many results whole.
    Rows(std::size_t window, std::size_t channels, int levels, testdib::Random& random) : windowBytes(window) {
        const int last = static_cast<int>(windowBytes) - 1;
        for (auto& row : bytes) {
            row.resize(200);
            for (std::uint8_t& byte : row)
                byte = static_cast<std::uint8_t>(random.Range(0, levels - 1) * 255 / (levels - 1));
        }
        if (random.OneIn(3))
            bytes[1] = bytes[0];
        for (std::size_t i = 0; i * windowBytes / 4 < channels; ++i)
            offsets[i] = static_cast<std::uint32_t>(random.Range(0, 199 - last));
        const bool flat = random.OneIn(4); // every second pair is two equal samples
        for (std::size_t i = 0; i < channels; ++i) {
            shuffles[i * 4] = static_cast<std::uint8_t>(random.Range(0, last));
            shuffles[i * 4 + 2] = flat && i % 2 ? shuffles[i * 4] : static_cast<std::uint8_t>(random.Range(0, last));
            fractions[i] = Fraction(random);
            weights[i] = EstimateWeight(fractions[i]);
        }
        plan = {channels, windowBytes / 4, offsets.data(), shuffles.data(), weights.data(), fractions.data()};
    }
};

class Estimates : public ForTier<testing::Test> {
protected:
    void SetUp() override {
        ForTier::SetUp();
        if (IsSkipped())
            return;
        kernels = RowKernelsFor(GetParam());
        ASSERT_TRUE(kernels.estimates);
        ASSERT_NE(scalar.estimate, kernels.estimate);
        ASSERT_NE(scalar.mixEstimates, kernels.mixEstimates);
        ASSERT_NE(scalar.across, kernels.across);
        testhost::Reset();
    }
    // Mixes two rows with both forms; the groups that the estimates left open.
    std::size_t Mix(const Rows& rows, double fraction, std::size_t begin) {
        const Strip strip{begin, rows.plan.channels};
        std::vector<std::int32_t> estimates[2][2];
        for (int row = 0; row < 2; ++row) {
            for (auto& made : estimates[row])
                made.resize(Room);
            scalar.estimate(rows.plan, rows.bytes[row].data(), strip, estimates[row][0].data());
            kernels.estimate(rows.plan, rows.bytes[row].data(), strip, estimates[row][1].data());
            for (std::size_t i = strip.begin; i < strip.end; ++i)
                EXPECT_EQ(estimates[row][0][i], estimates[row][1][i]) << i << " of " << strip.end;
        }
        const EstimatedRow top{rows.bytes[0].data(), estimates[0][1].data()};
        const EstimatedRow bottom{rows.bytes[1].data(), estimates[1][1].data()};
        std::vector<std::uint8_t> expected(strip.end);
        testhost::GuardedBuffer got(strip.end);
        scalar.mixEstimates(rows.plan, top, bottom, fraction, strip, expected.data());
        const std::size_t open = kernels.mixEstimates(rows.plan, top, bottom, fraction, strip, got.data());
        EXPECT_TRUE(
            std::equal(expected.begin() + static_cast<std::ptrdiff_t>(begin), expected.end(), got.data() + begin))
            << strip.end << " channels, fraction " << fraction;
        return open;
    }

    RowKernels scalar = RowKernelsFor(Tier::Scalar);
    RowKernels kernels;
    testdib::Random random{17};
};

} // namespace

INSTANTIATE_TEST_SUITE_P(Every, Estimates, testing::Values(Tier::Avx2, Tier::Avx512), NameOfTier);

TEST(EstimateBound, WeightsAreOddAndNextToTheirFraction) {
    testdib::Random random(3);
    for (int round = 0; round < 20000; ++round) {
        const double fraction = round == 0   ? 0.0
                                : round == 1 ? NearlyOne
                                             : std::ldexp(random.Next() / 4294967296.0, -random.Range(0, 30));
        const std::int32_t weight = EstimateWeight(fraction);
        ASSERT_EQ(1, weight & 1);
        ASSERT_LT(weight, EstimateUnit);
        ASSERT_LE(std::abs(weight - fraction * EstimateUnit), 1.0) << fraction;
    }
}

// The horizontal part of the bound, and what tells equal samples from others.
TEST(EstimateBound, HorizontalEstimatesAreNearAndWholeOnlyForEqualSamples) {
    testdib::Random random(4);
    for (int round = 0; round < 200000; ++round) {
        const int first = random.OneIn(8) ? 0 : random.Range(0, 255);
        const int second = random.OneIn(8) ? 255 : random.Range(0, 255);
        const double fraction = random.OneIn(8) ? NearlyOne : random.Next() / 4294967296.0;
        const std::int32_t estimate = first * EstimateUnit + (second - first) * EstimateWeight(fraction);
        ASSERT_EQ(first == second, estimate % EstimateUnit == 0);
        ASSERT_LE(std::abs(estimate - (first + (second - first) * fraction) * EstimateUnit), 255.001);
    }
}

TEST_P(Estimates, EveryCountAndStrip) {
    for (std::size_t count = 1; count <= MostChannels; ++count) {
        const Rows rows(kernels.windowBytes, count, 256, random);
        for (const double fraction : {0.0, 1.0 / 3, NearlyOne, 1e-13, 0.5, 0.7183})
            Mix(rows, fraction, 0);
        if (count > 32)
            Mix(rows, 0.4711, 32);
        std::vector<double> doubles[2] = {std::vector<double>(Room), std::vector<double>(Room)};
        scalar.across(rows.plan, rows.bytes[0].data(), {0, count}, doubles[0].data());
        kernels.across(rows.plan, rows.bytes[0].data(), {0, count}, doubles[1].data());
        for (std::size_t i = 0; i < count; ++i)
            ASSERT_EQ(doubles[0][i], doubles[1][i]) << i << " of " << count;
    }
}

TEST_P(Estimates, RandomAndAdversarialWeights) {
    std::size_t open = 0;
    for (int round = 0; round < 6000; ++round) {
        const int levels = round % 3 == 0 ? 2 : round % 3 == 1 ? 6 : 256;
        const auto channels = static_cast<std::size_t>(random.Range(1, MostChannels));
        const Rows rows(kernels.windowBytes, channels, levels, random);
        open += Mix(rows, rows.Fraction(random), 0);
    }
    EXPECT_GT(open, 1000u);
}

TEST_P(Estimates, EqualSamplesAreNeverLeftOpen) {
    for (int level = 0; level < 256; ++level) {
        Rows rows(kernels.windowBytes, MostChannels, 256, random);
        for (auto& row : rows.bytes)
            std::fill(row.begin(), row.end(), static_cast<std::uint8_t>(level));
        EXPECT_EQ(0u, Mix(rows, rows.Fraction(random), 0)) << level;
    }
}

namespace {

// What the rows of a picture were made by.
EstimatedRows::Counts CountsOf(tiertest::Picture picture, int from, int to, int width = 400) {
    void* source = testhost::MakeBlock(tiertest::MakePage({24, width, 120, from, from, picture}, 5));
    void* destination = testhost::MakeBlock(tiertest::Bytes(4000000));
    EstimatedRows::Counts counts;
    {
        CBufTransfer in(&source, 1, 0);
        CBufTransfer out(&destination, 1, 1);
        CLinearTransformMem engine;
        engine.source = &in;
        engine.destination = &out;
        EXPECT_EQ(0, engine.LinearTransform(34, nullptr, static_cast<unsigned short>(to), 128));
        PipelineRows rows;
        EXPECT_TRUE(rows.Prepare(engine));
        for (unsigned int y = 0; y < engine.outHeight; ++y)
            rows.Build(engine, y);
        counts = rows.Estimates();
    }
    GlobalFree(source);
    GlobalFree(destination);
    return counts;
}

} // namespace

TEST_P(Estimates, DecideNearlyAllGroupsOfARatioWithManyFractions) {
    const EstimatedRows::Counts counts = CountsOf(tiertest::Picture::Random, 300, 137);
    EXPECT_GT(counts.estimated, 900u);
    EXPECT_GT(counts.open, 0u);
    EXPECT_LT(counts.open, counts.estimated / 10);
    EXPECT_EQ(0u, counts.inDoubles);
}

TEST_P(Estimates, DecideNearlyAllGroupsOfRunsOfOneLevel) {
    const EstimatedRows::Counts counts = CountsOf(tiertest::Picture::Levels, 400, 300);
    EXPECT_GT(counts.estimated, 900u);
    EXPECT_LT(counts.open, counts.estimated / 10);
}

TEST_P(Estimates, AreNotMadeForAWhitePage) {
    const EstimatedRows::Counts counts = CountsOf(tiertest::Picture::White, 400, 300);
    EXPECT_EQ(90u, counts.filledRows);
    EXPECT_EQ(0u, counts.estimated + counts.open + counts.inDoubles);
}

TEST_P(Estimates, GiveWayToDoublesWhereThirdsMakeWholeLevels) {
    const EstimatedRows::Counts counts = CountsOf(tiertest::Picture::FewLevels, 400, 300);
    EXPECT_GT(counts.inDoubles, counts.estimated + counts.open);
    EXPECT_GT(counts.open, 0u);
}

TEST_P(Estimates, GiveWayToFillsInTheMarginsOfSuchAPicture) {
    const EstimatedRows::Counts counts = CountsOf(tiertest::Picture::Margins, 200, 300, 800);
    EXPECT_GT(counts.filledStrips, 100u);
    EXPECT_GT(counts.inDoubles, 100u);
}

TEST_P(Estimates, StayOutOfShortFractions) {
    const EstimatedRows::Counts counts = CountsOf(tiertest::Picture::Random, 300, 200);
    EXPECT_EQ(0u, counts.estimated + counts.open + counts.inDoubles);
}

// Columns of 1-bit rows by buckets of fractions: what is decided is right, and the tiers agree.
#include "transform/bit_buckets.h"

#include "tests/support/dib_builder.h"
#include "tests/support/test_host.h"
#include "tests/support/tiers.h"
#include "transform/sampling.h"

#include <cmath>
#include <gtest/gtest.h>

using namespace dibprep;
using namespace testtiers;

namespace {

class BitChoiceTier : public ForTier<testing::Test> {};

} // namespace

INSTANTIATE_TEST_SUITE_P(Every, BitChoiceTier, FastTiers(), NameOfTier);

TEST(BitBuckets, DecideAsTheLineBuilderDoesAndLeaveLittleOpen) {
    testdib::Random random(23);
    std::size_t decided = 0;
    std::size_t open = 0;
    for (int round = 0; round < 600; ++round) {
        const auto pixels = static_cast<std::size_t>(random.Range(1, 700));
        const std::size_t bytes = (pixels + 255) / 256 * 32;
        const double ratio = random.Range(1, 900) / static_cast<double>(random.Range(1, 900));
        std::vector<CPosition> columns(pixels);
        for (std::size_t x = 0; x < pixels; ++x) {
            const double position = static_cast<double>(x) / ratio;
            columns[x].fraction = random.OneIn(9) ? std::nextafter(1.0, 0.0) : position - std::floor(position);
        }
        BitBuckets buckets;
        ASSERT_TRUE(buckets.Prepare(columns.data(), pixels, bytes));
        const int thresholds[] = {-5, 0, 1, 2, 85, 127, 128, 170, 254, 255, 256, 1000, random.Range(1, 255)};
        const int threshold = thresholds[round % 13];
        const double row = random.Range(0, 3000) / ratio;
        const double fractions[] = {0, 0.5, 1.0 / 3, 1e-13, std::nextafter(1.0, 0.0), row - std::floor(row)};
        const double fy = fractions[random.Range(0, 5)];
        const bool setIsBlack = random.OneIn(2);
        BitChoice choices[16];
        buckets.Choose(fy, threshold, setIsBlack, choices);
        for (unsigned int combination = 0; combination < 16; ++combination) {
            double samples[4];
            for (unsigned int which = 0; which < 4; ++which)
                samples[which] = (combination >> which & 1) == (setIsBlack ? 1u : 0u) ? 255 : 0;
            for (std::size_t x = 0; x < pixels; ++x) {
                const unsigned int bit = 0x80u >> (x & 7);
                const BitChoice& choice = choices[combination];
                if ((choice.low[x / 8] ^ choice.high[x / 8]) & bit) {
                    ++open;
                    continue;
                }
                ++decided;
                const bool white =
                    Mix(samples[0], samples[1], samples[2], samples[3], columns[x].fraction, fy) < threshold;
                ASSERT_EQ(white, ((choice.low[x / 8] ^ choice.flip) & bit) != 0)
                    << "combination " << combination << ", threshold " << threshold << ", fractions "
                    << columns[x].fraction << " and " << fy;
            }
        }
    }
    EXPECT_LT(open, decided / 10);
    EXPECT_GT(open, 0u);
}

TEST_P(BitChoiceTier, PicksAndOpensAsTheScalarFormDoes) {
    const RowKernels scalar = RowKernelsFor(Tier::Scalar);
    const RowKernels kernels = RowKernelsFor(GetParam());
    ASSERT_NE(scalar.pickChoices, kernels.pickChoices);
    testdib::Random random(29);
    for (int round = 0; round < 300; ++round) {
        const std::size_t bytes = static_cast<std::size_t>(random.Range(1, 5)) * BitRowUnit;
        std::vector<std::uint8_t> planes[4];
        const std::uint8_t* samples[4];
        // All clear, all set, or any, 32 bytes at a time.
        std::vector<int> kinds(bytes / 32);
        for (int& kind : kinds)
            kind = random.Range(0, 2);
        for (int which = 0; which < 4; ++which) {
            for (std::size_t i = 0; i < bytes; ++i)
                planes[which].push_back(kinds[i / 32] == 0   ? 0
                                        : kinds[i / 32] == 1 ? 255
                                                             : static_cast<std::uint8_t>(random.Next()));
            samples[which] = planes[which].data();
        }
        std::vector<std::uint8_t> marks(bytes * 17);
        for (std::uint8_t& byte : marks)
            byte = static_cast<std::uint8_t>(random.Next());
        BitChoice choices[16];
        for (std::size_t i = 0; i < 16; ++i)
            choices[i] = {&marks[i * bytes], &marks[(i + (round % 2 ? random.Range(0, 1) : 0)) * bytes],
                          random.OneIn(2) ? ~0u : 0u};
        std::vector<std::uint8_t> expected[2] = {std::vector<std::uint8_t>(bytes), std::vector<std::uint8_t>(bytes)};
        testhost::GuardedBuffer picked(bytes);
        testhost::GuardedBuffer open(bytes);
        const bool any = scalar.pickChoices(samples, choices, bytes, expected[0].data(), expected[1].data());
        EXPECT_EQ(any, kernels.pickChoices(samples, choices, bytes, picked.data(), open.data()));
        EXPECT_EQ(expected[0], std::vector<std::uint8_t>(picked.data(), picked.data() + bytes));
        EXPECT_EQ(expected[1], std::vector<std::uint8_t>(open.data(), open.data() + bytes));
    }
}

// Each row kernel of each tier against its scalar form, on rows that end at an unreadable page.
#include "tests/support/dib_builder.h"
#include "tests/support/test_host.h"
#include "tests/support/tiers.h"
#include "transform/row_kernels.h"

#include <gtest/gtest.h>

using namespace dibprep;
using namespace testtiers;

namespace {

constexpr std::size_t MostChannels = 140;
constexpr std::size_t Room = 160; // to the next 32 elements

class RowKernelTier : public ForTier<testing::Test> {
protected:
    void SetUp() override {
        ForTier::SetUp();
        if (IsSkipped())
            return;
        kernels = RowKernelsFor(GetParam());
        ASSERT_EQ(GetParam(), kernels.tier);
        random = testdib::Random(11);
    }
    std::vector<std::uint16_t> Words(int highest) {
        std::vector<std::uint16_t> words(Room);
        for (std::uint16_t& word : words)
            word = static_cast<std::uint16_t>(random.OneIn(8) ? highest : random.Range(0, highest));
        return words;
    }
    // Runs both forms on a row of `count` bytes and compares them.
    template <typename Build>
    void Compare(std::size_t count, Build build) {
        testhost::GuardedBuffer got(count);
        std::vector<std::uint8_t> expected(count);
        build(scalar, expected.data());
        build(kernels, got.data());
        ASSERT_EQ(expected, std::vector<std::uint8_t>(got.data(), got.data() + count)) << count << " channels";
    }

    RowKernels scalar = RowKernelsFor(Tier::Scalar);
    RowKernels kernels;
    testdib::Random random{11};
};

} // namespace

INSTANTIATE_TEST_SUITE_P(Every, RowKernelTier, FastTiers(), NameOfTier);

TEST(RowKernels, Avx512HasItsOwnFormOfAllThatAvx2Has) {
    const RowKernels avx2 = RowKernelsFor(Tier::Avx2);
    const RowKernels avx512 = RowKernelsFor(Tier::Avx512);
    EXPECT_EQ(Tier::Avx2, avx2.tier);
    EXPECT_EQ(Tier::Avx512, avx512.tier);
    EXPECT_EQ(16u, avx2.windowBytes);
    EXPECT_EQ(64u, avx512.windowBytes);
    EXPECT_TRUE(avx512.shuffles);
    EXPECT_TRUE(avx512.estimates);
    EXPECT_NE(avx2.weigh, avx512.weigh);
    EXPECT_NE(avx2.toDoubles, avx512.toDoubles);
    EXPECT_NE(avx2.mapLevels, avx512.mapLevels);
    EXPECT_NE(avx2.narrow, avx512.narrow);
    EXPECT_NE(avx2.mixWords, avx512.mixWords);
    EXPECT_NE(avx2.weighAndMix, avx512.weighAndMix);
    EXPECT_NE(avx2.mixWordsInDoubles, avx512.mixWordsInDoubles);
    EXPECT_NE(avx2.mixDoubles, avx512.mixDoubles);
    EXPECT_NE(avx2.estimate, avx512.estimate);
    EXPECT_NE(avx2.mixEstimates, avx512.mixEstimates);
    EXPECT_NE(avx2.across, avx512.across);
    EXPECT_NE(avx2.shuffleBits, avx512.shuffleBits);
    EXPECT_NE(avx2.pickBits, avx512.pickBits);
    // Pairs and gathered bits, of pictures without windows, are those of SSE2 on every tier.
    const RowKernels sse2 = RowKernelsFor(Tier::Sse2);
    EXPECT_EQ(sse2.pairColours, avx512.pairColours);
    EXPECT_EQ(sse2.gatherBits, avx512.gatherBits);
}

TEST_P(RowKernelTier, MapsLevelsOfEveryCount) {
    std::uint8_t levels[256];
    for (std::uint8_t& level : levels)
        level = static_cast<std::uint8_t>(random.Next());
    for (std::size_t count = 1; count <= 330; ++count) {
        testhost::GuardedBuffer row(count);
        for (std::size_t i = 0; i < count; ++i)
            row.data()[i] = static_cast<std::uint8_t>(count > 256 ? i : random.Next());
        Compare(count, [&](const RowKernels& k, std::uint8_t* out) { k.mapLevels(levels, row.data(), count, out); });
    }
}

TEST_P(RowKernelTier, NarrowsEveryCount) {
    for (std::size_t count = 1; count <= MostChannels; ++count) {
        const unsigned int bits = static_cast<unsigned int>(count % 7);
        const auto row = Words(255 << bits);
        Compare(count, [&](const RowKernels& k, std::uint8_t* out) { k.narrow(row.data(), bits, out, count); });
    }
}

TEST_P(RowKernelTier, MixesWordsWithEveryWeight) {
    for (unsigned int rowBits = 0; rowBits <= 14; ++rowBits) {
        for (unsigned int bits = 0; bits <= 6; ++bits) {
            for (int round = 0; round < 12; ++round) {
                const auto row0 = Words(255 << bits);
                const auto row1 = Words(255 << bits);
                const unsigned int whole = 1u << rowBits;
                const auto weight = static_cast<unsigned int>(random.Range(0, static_cast<int>(whole) - 1));
                const auto count = static_cast<std::size_t>(random.Range(1, MostChannels));
                Compare(count, [&](const RowKernels& k, std::uint8_t* out) {
                    k.mixWords(row0.data(), row1.data(), {whole - weight, weight, rowBits}, bits, out, count);
                });
            }
        }
    }
}

TEST_P(RowKernelTier, MixesInDoublesWithEveryCount) {
    for (std::size_t count = 1; count <= MostChannels; ++count) {
        const unsigned int bits = static_cast<unsigned int>(count % 7);
        const auto row0 = Words(255 << bits);
        const auto row1 = Words(255 << bits);
        std::vector<double> doubles0(row0.begin(), row0.end());
        std::vector<double> doubles1(row1.begin(), row1.end());
        for (std::size_t i = 0; i < Room; ++i) {
            doubles0[i] /= 1 << bits;
            doubles1[i] /= 1 << bits;
        }
        for (const double fraction : {0.0, 1.0 / 3, 2.0 / 3, 0.1, 0.99999999999, 1e-12}) {
            Compare(count, [&](const RowKernels& k, std::uint8_t* out) {
                k.mixWordsInDoubles(row0.data(), row1.data(), fraction, bits, out, count);
            });
            Compare(count, [&](const RowKernels& k, std::uint8_t* out) {
                k.mixDoubles(doubles0.data(), doubles1.data(), fraction, out, count);
            });
        }
    }
}

TEST_P(RowKernelTier, WeighsPairsOfEveryCount) {
    for (std::size_t count = 1; count <= MostChannels; ++count) {
        std::vector<std::uint8_t> pairs(Room * 2);
        std::vector<std::uint8_t> shuffles(Room * 2);
        std::vector<std::uint8_t> weights(Room * 2);
        std::vector<std::uint32_t> offsets(Room / 8);
        std::vector<double> fractions(Room);
        const unsigned int bits = static_cast<unsigned int>(count % 7);
        for (std::size_t i = 0; i < Room; ++i) {
            const int weight = random.Range(0, (1 << bits) - 1);
            pairs[2 * i] = static_cast<std::uint8_t>(random.OneIn(5) ? 255 : random.Next());
            pairs[2 * i + 1] = static_cast<std::uint8_t>(random.OneIn(5) ? 0 : random.Next());
            shuffles[2 * i] = static_cast<std::uint8_t>(2 * i % kernels.windowBytes);
            shuffles[2 * i + 1] = static_cast<std::uint8_t>(2 * i % kernels.windowBytes + 1);
            weights[2 * i] = static_cast<std::uint8_t>((1 << bits) - weight);
            weights[2 * i + 1] = static_cast<std::uint8_t>(weight);
            fractions[i] = random.Next() / 4294967296.0;
        }
        for (std::size_t i = 0; i < offsets.size(); ++i)
            offsets[i] = static_cast<std::uint32_t>(i * kernels.windowBytes);
        ColumnPlan plan;
        plan.channels = count;
        plan.groups = (count + kernels.windowBytes / 2 - 1) / (kernels.windowBytes / 2);
        plan.fractionBits = bits;
        plan.offsets = offsets.data();
        plan.shuffles = shuffles.data();
        plan.weights = weights.data();
        plan.fractions = fractions.data();
        std::vector<std::uint16_t> words[2] = {std::vector<std::uint16_t>(Room), std::vector<std::uint16_t>(Room)};
        std::vector<double> doubles[2] = {std::vector<double>(Room), std::vector<double>(Room)};
        scalar.weigh(plan, pairs.data(), words[0].data());
        kernels.weigh(plan, pairs.data(), words[1].data());
        scalar.toDoubles(plan, pairs.data(), doubles[0].data());
        kernels.toDoubles(plan, pairs.data(), doubles[1].data());
        for (std::size_t i = 0; i < count; ++i) {
            ASSERT_EQ(words[0][i], words[1][i]) << i << " of " << count;
            ASSERT_EQ(doubles[0][i], doubles[1][i]) << i << " of " << count;
        }
    }
}

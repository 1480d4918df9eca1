// 1-bit rows: what the rules of columns decide is right, and the tiers agree in samples and picks.
#include "transform/bit_buckets.h"

#include "tests/support/dib_builder.h"
#include "tests/support/test_host.h"
#include "tests/support/tiers.h"
#include "transform/row_kernels.h"
#include "transform/sampling.h"

#include <cmath>
#include <gtest/gtest.h>

using namespace dibprep;
using namespace testtiers;

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr BitForm Forms[] = {BitForm::Alone, BitForm::Dominant, BitForm::Any, BitForm::Both};

class BitRowTier : public ForTier<testing::Test> {
protected:
    Bytes RandomBytes(std::size_t count) {
        Bytes bytes(count);
        for (std::uint8_t& byte : bytes)
            byte = static_cast<std::uint8_t>(random.Next());
        return bytes;
    }

    testdib::Random random{29};
};

std::size_t UnitsOf(std::size_t pixels) { return (pixels + BitUnitPixels - 1) / BitUnitPixels; }

// What a rule sets when all pixels have the same samples in the rows above and below.
Bytes Pick(const BitRule& rule, unsigned int combination, std::size_t pixels) {
    Bytes rows[2];
    for (unsigned int row = 0; row < 2; ++row) {
        rows[row].resize(UnitsOf(pixels) * BitRowsUnit);
        for (std::size_t i = 0; i < rows[row].size(); ++i)
            rows[row][i] = combination >> (row * 2 + i / BitRightSamples % 2) & 1 ? 0xFF : 0;
    }
    Bytes picked((pixels + 7) / 8);
    RowKernelsFor(Tier::Scalar)
        .pickBits(rule, rows[rule.turned ? 1 : 0].data(), rows[rule.turned ? 0 : 1].data(), pixels, picked.data());
    return picked;
}

bool IsSet(const Bytes& bits, std::size_t x) { return (bits[x / 8] & 0x80 >> (x & 7)) != 0; }

} // namespace

INSTANTIATE_TEST_SUITE_P(Every, BitRowTier, FastTiers(), NameOfTier);

TEST(BitBuckets, DecideAsTheLineBuilderDoesAndLeaveLittleOpen) {
    testdib::Random random(23);
    std::size_t decided = 0;
    std::size_t open = 0;
    for (int round = 0; round < 400; ++round) {
        const auto pixels = static_cast<std::size_t>(random.Range(1, 700));
        const double ratio = random.Range(1, 900) / static_cast<double>(random.Range(1, 900));
        std::vector<CPosition> columns(pixels);
        for (std::size_t x = 0; x < pixels; ++x) {
            const double position = static_cast<double>(x) / ratio;
            columns[x].fraction = random.OneIn(9) ? std::nextafter(1.0, 0.0) : position - std::floor(position);
        }
        BitBuckets buckets;
        ScratchParts scratch;
        buckets.Read(columns.data(), pixels);
        buckets.Take(scratch);
        ASSERT_TRUE(scratch.Open());
        buckets.Take(scratch);
        buckets.Fill(columns.data());
        const int thresholds[] = {1, 2, 51, 85, 127, 128, 170, 254, 255, random.Range(1, 255)};
        const int threshold = thresholds[round % 10];
        const double row = random.Range(0, 3000) / ratio;
        const double fractions[] = {0, 0.5, 1.0 / 3, 2.0 / 3, 1e-13, std::nextafter(1.0, 0.0), row - std::floor(row)};
        const double fy = fractions[random.Range(0, 6)];
        const bool setIsBlack = random.OneIn(2);
        BitRules rules;
        buckets.Choose(fy, threshold, setIsBlack, rules);
        for (unsigned int combination = 0; combination < 16; ++combination) {
            double samples[4];
            for (unsigned int which = 0; which < 4; ++which)
                samples[which] = (combination >> which & 1) == (setIsBlack ? 1u : 0u) ? 255 : 0;
            const Bytes sure = Pick(rules.sure, combination, pixels);
            const Bytes possible = Pick(rules.possible, combination, pixels);
            if (rules.same) {
                ASSERT_EQ(sure, possible);
            }
            for (std::size_t x = 0; x < pixels; ++x) {
                if (IsSet(sure, x) != IsSet(possible, x)) {
                    ++open;
                    continue;
                }
                ++decided;
                const bool white =
                    Mix(samples[0], samples[1], samples[2], samples[3], columns[x].fraction, fy) < threshold;
                ASSERT_EQ(white, IsSet(sure, x)) << "combination " << combination << ", threshold " << threshold
                                                 << ", fractions " << columns[x].fraction << " and " << fy;
            }
        }
    }
    EXPECT_LT(open, decided / 20);
    EXPECT_GT(open, 0u);
}

// Few fractions are told apart; near the threshold they are not.
TEST(BitBuckets, LeaveNothingOpenWhereFewFractionsOccur) {
    for (const int ratio : {2, 3, 5, 137}) {
        std::vector<CPosition> columns(1200);
        for (std::size_t x = 0; x < columns.size(); ++x) {
            const double position = static_cast<double>(x) * 300 / ratio;
            columns[x].fraction = position - std::floor(position);
        }
        BitBuckets buckets;
        ScratchParts scratch;
        buckets.Read(columns.data(), columns.size());
        buckets.Take(scratch);
        ASSERT_TRUE(scratch.Open());
        buckets.Take(scratch);
        buckets.Fill(columns.data());
        for (const double fy : {0.0, 0.25, 0.5, 1.0 / 3, 0.9}) {
            BitRules rules;
            buckets.Choose(fy, 128, false, rules);
            EXPECT_TRUE(rules.same) << "of " << ratio << ", row fraction " << fy;
        }
    }
}

TEST_P(BitRowTier, PicksAsTheScalarFormDoesAndSetsNothingElse) {
    const RowKernels scalar = RowKernelsFor(Tier::Scalar);
    const RowKernels kernels = RowKernelsFor(GetParam());
    ASSERT_NE(scalar.pickBits, kernels.pickBits);
    for (int round = 0; round < 600; ++round) {
        const auto pixels = static_cast<std::size_t>(round < 300 ? 1 + round : random.Range(1, 1600));
        const std::size_t units = UnitsOf(pixels);
        const Bytes rows = RandomBytes(units * BitRowsUnit);
        const Bytes columns = RandomBytes(units * BitUnit * 9);
        for (const BitForm form : Forms) {
            BitRule rule;
            rule.form = form;
            rule.flip = random.OneIn(2) ? ~0u : 0;
            rule.columns = columns.data();
            rule.columnsUnit = BitUnit * 9;
            for (std::size_t i = 0; i < 4; ++i) {
                rule.falling[i] = static_cast<std::uint32_t>(random.Range(0, 8)) * BitUnit;
                rule.rising[i] = static_cast<std::uint32_t>(random.Range(0, 8)) * BitUnit;
            }
            const std::size_t bytes = (pixels + 7) / 8;
            Bytes expected = round % 3 ? Bytes(bytes) : RandomBytes(bytes);
            testhost::GuardedBuffer got(bytes);
            std::copy(expected.begin(), expected.end(), got.data());
            scalar.pickBits(rule, rows.data(), rows.data() + BitSecondRow, pixels, expected.data());
            kernels.pickBits(rule, rows.data(), rows.data() + BitSecondRow, pixels, got.data());
            ASSERT_EQ(expected, Bytes(got.data(), got.data() + bytes))
                << pixels << " pixels, form " << static_cast<int>(form);
        }
    }
}

TEST_P(BitRowTier, SamplesAsTheScalarFormDoesByWindowsAndByBytes) {
    const RowKernels scalar = RowKernelsFor(Tier::Scalar);
    const RowKernels kernels = RowKernelsFor(GetParam());
    const std::size_t window = kernels.windowBytes;
    for (int round = 0; round < 200; ++round) {
        const auto pixels = static_cast<std::size_t>(random.Range(1, 1400));
        const std::size_t rounded = (pixels + 63) / 64 * 64;
        const bool leftOnly = random.OneIn(3);
        std::vector<std::uint16_t> bytes(rounded), lefts(rounded), rights(rounded);
        Bytes records(rounded / BitRecordPixels(window) * BitRecord(window));
        std::size_t sample = 0;
        std::size_t begin = 0;
        for (std::size_t x = 0; x < pixels; ++x, sample += static_cast<std::size_t>(random.Range(0, 6))) {
            const std::size_t i = x ^ 7;
            if (x % window == 0)
                begin = sample / 8;
            const std::size_t next = leftOnly ? sample : sample + 1;
            bytes[i] = static_cast<std::uint16_t>(sample / 8);
            lefts[i] = static_cast<std::uint16_t>(0x80 >> sample % 8);
            rights[i] = static_cast<std::uint16_t>(0x80 >> next % 8 << (next / 8 - sample / 8) * 8);
            const std::size_t unit = BitRecordPixels(window);
            std::uint8_t* const record = &records[x / unit * BitRecord(window)];
            const std::uint8_t values[] = {
                static_cast<std::uint8_t>(sample / 8 - begin), static_cast<std::uint8_t>(0x80 >> sample % 8),
                static_cast<std::uint8_t>(next / 8 - begin), static_cast<std::uint8_t>(0x80 >> next % 8)};
            for (std::size_t which = 0; which < 4; ++which)
                record[which * unit + i % unit] = values[which];
            const auto offset = static_cast<std::uint32_t>(begin);
            std::memcpy(record + unit * 4 + x % unit / window * 4, &offset, sizeof offset);
        }
        const BitPlan plan{rounded, leftOnly, bytes.data(), lefts.data(), rights.data(), records.data()};
        const Bytes rows[] = {RandomBytes(sample / 8 + 80), RandomBytes(sample / 8 + 80)};
        Bytes expected(UnitsOf(pixels) * BitRowsUnit);
        scalar.gatherBits(plan, rows[0].data(), rows[1].data(), expected.data());
        for (const bool shuffle : {false, true}) {
            const auto kernel = shuffle ? kernels.shuffleBits : kernels.gatherBits;
            ASSERT_EQ(!kernel, shuffle && GetParam() < Tier::Ssse3);
            if (!kernel)
                continue;
            Bytes together(expected.size());
            kernel(plan, rows[0].data(), rows[1].data(), together.data());
            Bytes singly(expected.size());
            kernel(plan, rows[0].data(), nullptr, singly.data());
            for (std::size_t x = 0; x < pixels; ++x) {
                for (std::size_t which = 0; which < 4; ++which) {
                    const std::size_t bit = (x / BitUnitPixels * BitRowsUnit + which * BitUnit) * 8 + x % BitUnitPixels;
                    ASSERT_EQ(IsSet(expected, bit), IsSet(together, bit)) << x << " of " << pixels;
                    ASSERT_EQ(which < 2 && IsSet(expected, bit), IsSet(singly, bit)) << x << " of " << pixels;
                }
            }
        }
    }
}

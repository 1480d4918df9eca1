// The scalar entries of the kernel tables, which define the results of all others: literal results,
// and every tier's entry against them.
#include "bilinear/row_table.h"
#include "tests/support/dib_builder.h"
#include "tests/support/tiers.h"
#include "transform/row_kernels.h"

#include <gtest/gtest.h>

using namespace dibprep;
using testdib::Bytes;
using testdib::Random;

namespace {

template <typename Value>
std::vector<Value> Filled(std::size_t count, Random& random) {
    std::vector<Value> values(count);
    for (Value& value : values)
        value = static_cast<Value>(random.Next());
    return values;
}

} // namespace

TEST(ScalarRowKernels, PairsColoursChannelByChannel) {
    const Bytes row = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9};
    const std::uint32_t firsts[] = {0, 3};
    const std::uint32_t seconds[] = {3, 6};
    Bytes pairs(16);
    RowKernelsFor(Tier::Scalar).pairColours(row.data(), firsts, seconds, 2, pairs.data());
    EXPECT_EQ(pairs, Bytes({0, 3, 1, 4, 2, 5, 3, 6, 4, 7, 5, 8, 0, 0, 0, 0}));
}

TEST(ScalarRowKernels, EveryTierPairsColoursAlike) {
    Random random(1);
    for (std::size_t pixels = 0; pixels < 40; ++pixels) {
        const Bytes row = Filled<std::uint8_t>(3 * 64 + 4, random);
        std::vector<std::uint32_t> firsts(pixels), seconds(pixels);
        for (std::size_t x = 0; x < pixels; ++x) {
            firsts[x] = static_cast<std::uint32_t>(3 * random.Range(0, 63));
            seconds[x] = static_cast<std::uint32_t>(3 * random.Range(0, 63));
        }
        Bytes expected(pixels * 6 + 8), got(pixels * 6 + 8);
        RowKernelsFor(Tier::Scalar).pairColours(row.data(), firsts.data(), seconds.data(), pixels, expected.data());
        for (const Tier tier : testtiers::FastTiersHere()) {
            RowKernelsFor(tier).pairColours(row.data(), firsts.data(), seconds.data(), pixels, got.data());
            expected.resize(pixels * 6);
            EXPECT_EQ(Bytes(got.begin(), got.end() - 8), expected) << NameOf(tier) << ", " << pixels << " pixels";
        }
    }
}

TEST(ScalarRowKernels, GathersTheBitThatEachMaskNames) {
    std::uint16_t bytes[64] = {};
    std::uint16_t firstMasks[64] = {};
    std::uint16_t secondMasks[64] = {};
    bytes[0] = 1;            // byte 1 and, above it, byte 2
    firstMasks[0] = 0x80;    // the first bit of byte 1
    secondMasks[0] = 0x0100; // the last bit of byte 2
    bytes[9] = 0;
    firstMasks[9] = 0x02;
    secondMasks[9] = 0x01;
    BitPlan plan;
    plan.pixels = 64;
    plan.bytes = bytes;
    plan.firstMasks = firstMasks;
    plan.secondMasks = secondMasks;
    const Bytes row = {0x01, 0x80, 0xFE, 0x00};
    Bytes samples(BitRowsUnit, 0xEE);
    RowKernelsFor(Tier::Scalar).gatherBits(plan, row.data(), nullptr, samples.data());
    Bytes expected(BitRowsUnit, 0xEE);
    std::fill_n(expected.begin(), 8, std::uint8_t{0});
    std::fill_n(expected.begin() + BitRightSamples, 8, std::uint8_t{0});
    expected[0] = 0x01;
    expected[BitRightSamples + 1] = 0x02;
    EXPECT_EQ(samples, expected);
}

TEST(ScalarRowKernels, EveryTierGathersBitsAlike) {
    Random random(2);
    for (std::size_t pixels = 64; pixels <= 640; pixels += 64) {
        const Bytes row = Filled<std::uint8_t>(50, random);
        const Bytes other = Filled<std::uint8_t>(50, random);
        std::vector<std::uint16_t> bytes(pixels), firsts(pixels), seconds(pixels);
        for (std::size_t x = 0; x < pixels; ++x) {
            bytes[x] = static_cast<std::uint16_t>(random.Range(0, 47));
            firsts[x] = static_cast<std::uint16_t>(1u << random.Range(0, 7));
            seconds[x] = static_cast<std::uint16_t>(1u << random.Range(0, 15));
        }
        BitPlan plan;
        plan.pixels = pixels;
        plan.bytes = bytes.data();
        plan.firstMasks = firsts.data();
        plan.secondMasks = seconds.data();
        for (const std::uint8_t* second : {static_cast<const std::uint8_t*>(nullptr), other.data()}) {
            Bytes expected(2 * BitRowsUnit);
            RowKernelsFor(Tier::Scalar).gatherBits(plan, row.data(), second, expected.data());
            for (const Tier tier : testtiers::FastTiersHere()) {
                Bytes got(2 * BitRowsUnit);
                RowKernelsFor(tier).gatherBits(plan, row.data(), second, got.data());
                EXPECT_EQ(got, expected) << NameOf(tier) << ", " << pixels << " pixels";
            }
        }
    }
}

TEST(ScalarRowKernels, ChannelsWithoutSamplesAre0) {
    const Bytes bytes = {10, 20, 30, 40};
    const std::uint32_t offsets[1] = {0};
    std::uint8_t shuffles[16] = {};
    for (std::uint8_t& shuffle : shuffles)
        shuffle = EmptyByte;
    shuffles[0] = 1; // channel 0: from 20 to 40
    shuffles[2] = 3;
    const std::int32_t weights[4] = {};
    const double fractions[4] = {0.5, 0.5, 0.5, 0.5};
    EstimatePlan plan;
    plan.channels = 4;
    plan.offsets = offsets;
    plan.shuffles = shuffles;
    plan.weights = weights;
    plan.fractions = fractions;
    double across[4] = {7, 7, 7, 7};
    RowKernelsFor(Tier::Scalar).across(plan, bytes.data(), {0, 4}, across);
    EXPECT_EQ(across[0], 30);
    EXPECT_EQ(across[1], 0);
    EXPECT_EQ(across[2], 0);
    EXPECT_EQ(across[3], 0);
}

TEST(ScalarRowStages, ColoursAreFourBytesByTheirIndex) {
    const unsigned char row[] = {2, 0, 1};
    const std::uint32_t colours[256] = {0x112233, 0x445566, 0x778899};
    Bytes out(12);
    RowsFor(Tier::Scalar).colour(row, 3, colours, out.data());
    EXPECT_EQ(out, Bytes({0x99, 0x88, 0x77, 0, 0x33, 0x22, 0x11, 0, 0x66, 0x55, 0x44, 0}));
}

TEST(ScalarRowStages, FiveBitsAreWidenedTruncated) {
    Bytes row(8);
    testdib::PutU16(row, 0, 0x7FFF);
    testdib::PutU16(row, 2, 1);
    testdib::PutU16(row, 4, 16 << 5);
    testdib::PutU16(row, 6, 0x8000 | 30 << 10); // the top bit is none of a channel
    std::uint32_t out[4] = {};
    RowsFor(Tier::Scalar).widen(row.data(), 4, out);
    EXPECT_EQ(out[0], 0xFFFFFFu);
    EXPECT_EQ(out[1], 8u);
    EXPECT_EQ(out[2], 131u << 8);
    EXPECT_EQ(out[3], 246u << 16);
}

TEST(ScalarRowStages, PackedBytesBecomeTheirGroups) {
    Bytes groups(256 * 8);
    for (std::size_t i = 0; i < groups.size(); ++i)
        groups[i] = static_cast<std::uint8_t>(i / 2 + i % 2 * 128);
    const unsigned char row[] = {0x01, 0x20};
    Bytes twos(4);
    RowsFor(Tier::Scalar).packed(row, 2, groups.data(), 2, twos.data());
    EXPECT_EQ(twos, Bytes({0x01, 0x81, 0x20, 0xA0}));
    // Groups of sixteen bytes stand for half a byte.
    Bytes halves(4 * 16);
    RowsFor(Tier::Scalar).packed(row, 2, groups.data(), 16, halves.data());
    EXPECT_EQ(halves[0], 0);
    EXPECT_EQ(halves[16], 8);
    EXPECT_EQ(halves[32], 16);
    EXPECT_EQ(halves[48], 0);
    EXPECT_EQ(halves[63], 7 + 128);
}

TEST(ScalarRowStages, TheHighestOfNoBytesIs0) {
    const unsigned char row[] = {3, 200, 7};
    EXPECT_EQ(RowsFor(Tier::Scalar).highest(row, 0), 0);
    EXPECT_EQ(RowsFor(Tier::Scalar).highest(row, 1), 3);
    EXPECT_EQ(RowsFor(Tier::Scalar).highest(row, 3), 200);
}

TEST(ScalarRowStages, EveryTierGivesTheSameColoursLevelsAndGroups) {
    Random random(3);
    const auto colours = Filled<std::uint32_t>(256, random);
    Bytes groups = Filled<std::uint8_t>(256 * 8, random);
    for (const Tier tier : testtiers::FastTiersHere()) {
        const RowTable& scalar = RowsFor(Tier::Scalar);
        const RowTable& table = RowsFor(tier);
        for (int count = 0; count < 70; ++count) {
            const auto size = static_cast<std::size_t>(count);
            const Bytes row = Filled<std::uint8_t>(size * 2 + 64, random);
            Bytes expected(size * 4), got(size * 4 + 64);
            scalar.colour(row.data(), count, colours.data(), expected.data());
            table.colour(row.data(), count, colours.data(), got.data());
            EXPECT_EQ(Bytes(got.begin(), got.end() - 64), expected) << NameOf(tier) << ", " << count << " colours";
            std::vector<std::uint32_t> wide(size), gotWide(size + 16);
            scalar.widen(row.data(), count, wide.data());
            table.widen(row.data(), count, gotWide.data());
            EXPECT_EQ(std::vector<std::uint32_t>(gotWide.begin(), gotWide.end() - 16), wide)
                << NameOf(tier) << ", " << count << " words";
            EXPECT_EQ(table.highest(row.data(), count), scalar.highest(row.data(), count)) << NameOf(tier);
            for (const int group : {2, 8, 16}) {
                const std::size_t length = size * static_cast<std::size_t>(group == 16 ? 32 : group);
                Bytes laid(length), gotLaid(length);
                scalar.packed(row.data(), count, groups.data(), group, laid.data());
                table.packed(row.data(), count, groups.data(), group, gotLaid.data());
                EXPECT_EQ(gotLaid, laid) << NameOf(tier) << ", groups of " << group;
            }
        }
    }
}

// The stages that bytes, indices and words go through one by one, of every tier against plain loops: every
// length around the widest step, at any address, between guard pages.
#include "bilinear/row_table.h"
#include "tests/bilinear/bilinear_test.h"
#include "tests/support/tiers.h"

#include <functional>

namespace {

using dibprep::LevelKernel;
using dibprep::RowsFor;
using dibprep::RowTable;
using dibprep::Tier;
using testdib::Bytes;
using testdib::Random;
using testhost::GuardedBuffer;

using BilinearStages = testtiers::OnTier<testing::Test>;

constexpr std::size_t LongestRow = 200;

Bytes AnyBytes(std::size_t count, Random& random) {
    Bytes bytes(count);
    for (std::uint8_t& byte : bytes)
        byte = static_cast<std::uint8_t>(random.Next());
    return bytes;
}

Bytes AllIndices() {
    Bytes indices(256);
    for (std::size_t i = 0; i < indices.size(); ++i)
        indices[i] = static_cast<std::uint8_t>(i);
    return indices;
}

// What a stage makes of a row; both stand at an end of their pages.
using Stage = std::function<void(const unsigned char* row, int count, unsigned char* out)>;

void ExpectMade(const Stage& stage, const Bytes& row, std::size_t count, const Bytes& expected) {
    for (const auto side : {GuardedBuffer::Side::Start, GuardedBuffer::Side::End}) {
        GuardedBuffer in(std::max<std::size_t>(row.size(), 1), side);
        GuardedBuffer out(std::max<std::size_t>(expected.size(), 1), side);
        std::copy(row.begin(), row.end(), in.data());
        stage(in.data(), static_cast<int>(count), out.data());
        ASSERT_EQ(Bytes(out.data(), out.data() + expected.size()), expected) << count;
    }
}

TEST_P(BilinearStages, LevelsOfIndices) {
    Random random(1);
    const Bytes levels = AnyBytes(256, random);
    const Stage stage = [&](const unsigned char* row, int count, unsigned char* out) {
        RowsFor(GetParam()).levels(row, count, levels.data(), out);
    };
    const auto levelsOf = [&](Bytes row) {
        for (std::uint8_t& byte : row)
            byte = levels[byte];
        return row;
    };
    ExpectMade(stage, AllIndices(), 256, levelsOf(AllIndices()));
    for (std::size_t count = 0; count <= LongestRow; ++count) {
        const Bytes row = AnyBytes(count, random);
        ExpectMade(stage, row, count, levelsOf(row));
    }
}

TEST_P(BilinearStages, LevelsOfHalvesOfBytes) {
    const LevelKernel kernel = RowsFor(GetParam()).levels4;
    if (!kernel)
        GTEST_SKIP() << "the tier has no such form";
    Random random(2);
    const Bytes levels = AnyBytes(16, random);
    const Stage stage = [&](const unsigned char* row, int count, unsigned char* out) {
        kernel(row, count, levels.data(), out);
    };
    const auto levelsOf = [&](const Bytes& row) {
        Bytes made;
        for (const std::uint8_t byte : row) {
            made.push_back(levels[byte >> 4]);
            made.push_back(levels[byte & 15]);
        }
        return made;
    };
    ExpectMade(stage, AllIndices(), 256, levelsOf(AllIndices()));
    for (std::size_t count = 0; count <= LongestRow; ++count) {
        const Bytes row = AnyBytes(count, random);
        ExpectMade(stage, row, count, levelsOf(row));
    }
}

TEST_P(BilinearStages, ColoursOfThreeBytes) {
    const LevelKernel kernel = RowsFor(GetParam()).colours3;
    if (!kernel)
        GTEST_SKIP() << "the tier has no such form";
    Random random(3);
    const Bytes levels = AnyBytes(3 * 256, random);
    const Stage stage = [&](const unsigned char* row, int count, unsigned char* out) {
        kernel(row, count, levels.data(), out);
    };
    const auto coloursOf = [&](const Bytes& row) {
        Bytes made;
        for (const std::uint8_t byte : row)
            for (std::size_t channel = 0; channel < 3; ++channel)
                made.push_back(levels[channel * 256 + byte]);
        return made;
    };
    ExpectMade(stage, AllIndices(), 256, coloursOf(AllIndices()));
    for (std::size_t count = 0; count <= LongestRow; ++count) {
        const Bytes row = AnyBytes(count, random);
        ExpectMade(stage, row, count, coloursOf(row));
    }
}

// Rows to pixels of four bytes: what the scalar table makes of them.
TEST_P(BilinearStages, ColoursAndWordsOfFourBytes) {
    Random random(4);
    std::vector<std::uint32_t> colours(256);
    for (std::uint32_t& colour : colours)
        colour = random.Next();
    const auto colour = [&colours](const RowTable& table) {
        return [&](const unsigned char* row, int count, unsigned char* out) {
            table.colour(row, count, colours.data(), out);
        };
    };
    const auto widen = [](const RowTable& table) {
        return [&](const unsigned char* row, int count, unsigned char* out) {
            std::vector<std::uint32_t> aligned(static_cast<std::size_t>(count));
            table.widen(row, count, aligned.data());
            std::memcpy(out, aligned.data(), aligned.size() * 4);
        };
    };
    const auto expectSame = [&](const Bytes& row, std::size_t count, const auto& stageOf) {
        Bytes expected(count * 4);
        stageOf(RowsFor(Tier::Scalar))(row.data(), static_cast<int>(count), expected.data());
        ExpectMade(stageOf(RowsFor(GetParam())), row, count, expected);
    };
    Bytes words(2 * 65536);
    for (std::size_t i = 0; i < words.size() / 2; ++i)
        testdib::PutU16(words, i * 2, static_cast<std::uint16_t>(i));
    expectSame(words, words.size() / 2, widen);
    expectSame(AllIndices(), 256, colour);
    for (std::size_t count = 1; count <= LongestRow; ++count) {
        expectSame(AnyBytes(count, random), count, colour);
        expectSame(AnyBytes(count * 2, random), count, widen);
    }
}

TEST_P(BilinearStages, TheHighestByteWhereverItStands) {
    for (std::size_t count = 1; count <= LongestRow; ++count)
        for (std::size_t at = 0; at<count; at += count> 70 ? 7 : 1) {
            GuardedBuffer row(count, at % 2 == 0 ? GuardedBuffer::Side::Start : GuardedBuffer::Side::End);
            std::memset(row.data(), static_cast<int>(at % 100), count);
            const int highest = 100 + static_cast<int>(count + at) % 156;
            row.data()[at] = static_cast<std::uint8_t>(highest);
            ASSERT_EQ(RowsFor(GetParam()).highest(row.data(), static_cast<int>(count)), highest) << count << ", " << at;
        }
    EXPECT_EQ(RowsFor(GetParam()).highest(nullptr, 0), 0);
}

// The stages that only some rows need, against a plain loop, for every length and address.
TEST_P(BilinearStages, HighestBytesChangesAndFills) {
    Random random(12);
    const RowTable& table = RowsFor(GetParam());
    const RowTable& plain = RowsFor(Tier::Scalar);
    for (int bytes = 1; bytes <= 200; ++bytes) {
        GuardedBuffer row(static_cast<std::size_t>(bytes));
        for (int i = 0; i < bytes; ++i)
            row.data()[i] = static_cast<std::uint8_t>(random.Next() & (bytes % 3 == 0 ? 1 : 255));
        EXPECT_EQ(table.highest(row.data(), bytes), plain.highest(row.data(), bytes));
        if (table.changes && bytes >= dibprep::LeastCompared) {
            std::uint32_t changes[8] = {};
            int count = 0;
            const int counted = table.changes(row.data(), bytes, changes, 0);
            for (int i = 0; i + 1 < bytes; ++i) {
                const bool differs = row.data()[i] != row.data()[i + 1];
                count += differs;
                ASSERT_EQ(changes[i / 32] >> i % 32 & 1, differs ? 1u : 0u) << i << " of " << bytes;
            }
            EXPECT_EQ(counted, count);
        }
        const std::size_t size = static_cast<std::size_t>(bytes);
        GuardedBuffer filled(size);
        Bytes expected(size);
        const std::uint32_t colour = random.Next() & 0xFFFFFF;
        table.fill(filled.data(), bytes, colour);
        plain.fill(expected.data(), bytes, colour);
        EXPECT_EQ(Bytes(filled.data(), filled.data() + size), expected);
    }
}

INSTANTIATE_TEST_SUITE_P(Tiers, BilinearStages, testtiers::AllTiers(), testtiers::NameOfTier);

} // namespace

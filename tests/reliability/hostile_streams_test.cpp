// Run-length streams that lead anywhere but through the picture: RestoreRLE8, RestoreRLE4, and what
// NormalizeDIB and the depth conversions make of them, against the second versions.
#include "tests/reliability/hostile_cases.h"

#include "dibprep.h"
#include "tests/oracle/rle_oracle.h"
#include "tests/support/test_host.h"

#include <gtest/gtest.h>

#include <ctime>

using namespace hostile;

namespace {

struct Stream {
    const char* name;
    Bytes start;    // given once
    Bytes repeated; // then this
    int times;      // as often
    Bytes end;      // then this
    friend void PrintTo(const Stream& row, std::ostream* out) { *out << row.name; }
};

// 258 bytes that the caller keeps behind the stream, as in the second versions' tests.
Bytes Dib(const Stream& stream, int bits, int width, int height) {
    Bytes dib = Edited(Page(bits == 8 ? "8c" : "4c", width, height), {Compression(bits == 8 ? 1 : 2)});
    dib.resize(40 + 4 * (std::size_t{1} << bits));
    const std::size_t rows = dib.size();
    dib.insert(dib.end(), stream.start.begin(), stream.start.end());
    for (int i = 0; i < stream.times; ++i)
        dib.insert(dib.end(), stream.repeated.begin(), stream.repeated.end());
    dib.insert(dib.end(), stream.end.begin(), stream.end.end());
    testdib::PutU32(dib, 20, static_cast<std::uint32_t>(dib.size() - rows));
    dib.insert(dib.end(), oracle::BehindStream, 0xEE);
    return dib;
}

class HostileStreams : public testing::TestWithParam<Stream> {};

void ExpectResult(void* made, const oracle::MaybeDib& expected, const char* entry) {
    ASSERT_EQ(made != nullptr, expected.has_value()) << entry;
    if (made) {
        EXPECT_TRUE(testhost::Bytes(made) == *expected) << entry;
        GlobalFree(made);
    }
    EXPECT_EQ(testhost::LiveBlocks(), 1) << entry;
    EXPECT_EQ(testhost::OutstandingLocks(), 0) << entry;
}

TEST_P(HostileStreams, StayInThePicture) {
    const int sizes[][2] = {{8, 8}, {1, 1}, {5, 3}, {300, 2}, {1, 40}};
    for (const int bits : {8, 4}) {
        for (const auto& size : sizes) {
            SCOPED_TRACE(std::to_string(bits) + " bits, " + std::to_string(size[0]) + " x " + std::to_string(size[1]));
            const Bytes dib = Dib(GetParam(), bits, size[0], size[1]);
            testhost::Reset();
            void* const source = testhost::MakeBlock(dib);
            unsigned char* const address = testhost::Address(source);
            const oracle::MaybeDib none;
            ExpectResult(RestoreRLE8(address), bits == 8 ? oracle::ExpandedRle8(dib) : none, "RestoreRLE8");
            ExpectResult(RestoreRLE4(address), bits == 4 ? oracle::ExpandedRle4(dib) : none, "RestoreRLE4");
            ExpectResult(RestoreRLE(address), oracle::ExpandedRle(dib), "RestoreRLE");
            ExpectResult(NormalizeDIB(address), oracle::Normalised(dib), "NormalizeDIB");
            ExpectResult(ConvertTo24BPPDIB(address), oracle::ToDepth(dib, 24), "ConvertTo24BPPDIB");
            ExpectResult(ConvertTo16BPPDIB(address), oracle::ToDepth(dib, 16), "ConvertTo16BPPDIB");
            // The resampler refuses run lengths, the pipeline takes them for pixels.
            unsigned short status = 0;
            EXPECT_EQ(ConvertResolution2(source, 3937, 3937, &status), nullptr);
            EXPECT_EQ(status, 0);
            EXPECT_TRUE(testhost::Bytes(source) == dib);
        }
    }
    testhost::Reset();
}

const Stream Streams[] = {
    {"RunsOverTheRowEnd", {}, {9, 0x12}, 7, {0, 1}},
    {"TheLongestRunAgainAndAgain", {}, {255, 0x34}, 1000, {0, 1}},
    {"LiteralsLongerThanTheRow", {}, {0, 9, 1, 2, 3, 4, 5, 6, 7, 8, 9, 0}, 9, {0, 1}},
    {"TheLongestLiteral", {0, 255}, {0x56}, 256, {0, 1}},
    {"DeltasPastTheRightEdge", {}, {0, 2, 255, 0}, 1000, {4, 7, 0, 1}},
    {"DeltasPastTheLastRow", {}, {0, 2, 0, 255}, 1000, {4, 7, 0, 1}},
    {"DeltasPastBothEdges", {}, {0, 2, 255, 255}, 1000, {4, 7, 0, 1}},
    {"DeltasOfNothing", {}, {0, 2, 0, 0}, 1000, {4, 7, 0, 1}},
    {"DeltasByOneBetweenPixels", {}, {1, 0x77, 0, 2, 1, 1}, 1000, {0, 1}},
    {"DeltasAndEndsOfLineInTurns", {}, {0, 2, 255, 0, 0, 0}, 1000, {4, 7, 0, 1}},
    {"MoreEndsOfLineThanRows", {}, {0, 0}, 1000, {4, 7, 0, 1}},
    {"EndsOfLineFarRight", {}, {0, 2, 200, 0, 0, 0, 2, 5}, 20, {0, 1}},
    {"NoStreamAtAll", {}, {}, 0, {}},
    {"DataEndsInsideARun", {2, 3}, {}, 0, {5}},
    {"DataEndsInsideAnEndOfLine", {2, 3}, {}, 0, {0}},
    {"DataEndsInsideADelta", {2, 3}, {}, 0, {0, 2, 1}},
    {"DataEndsInsideALiteral", {2, 3}, {}, 0, {0, 9, 1, 2}},
    {"NoEndMark", {3, 1, 0, 0}, {2, 2, 0, 0}, 2, {4, 4}},
    {"EndMarkAfterTheLastRow", {}, {8, 5, 0, 0}, 8, {0, 1}},
    {"TwoEndMarks", {2, 3, 0, 1}, {2, 9}, 4, {0, 1}},
    {"RunsOfNothingButZeros", {}, {0, 0, 0, 0, 0, 0}, 500, {}},
};

INSTANTIATE_TEST_SUITE_P(Of, HostileStreams, testing::ValuesIn(Streams), NameOf<Stream>);

// 536870912 pixels in 5 KB: the block is zeros that nobody touches, and only what the stream draws is
// drawn.
TEST(HostileStream, HalfAGigapixelInFiveKilobytes) {
    const Stream runs = {"", {}, {255, 9}, 2000, {0, 1}};
    Bytes dib = Dib(runs, 8, 1, 1);
    testdib::PutU32(dib, 4, 32768);
    testdib::PutU32(dib, 8, 16384);
    ASSERT_LT(dib.size(), 6000u);
    testhost::Reset();
    void* const source = testhost::MakeBlock(dib);
    const std::clock_t before = std::clock();
    void* const made = NormalizeDIB(testhost::Address(source));
    ASSERT_NE(made, nullptr);
    ASSERT_EQ(testhost::Size(made), 1064u + 536870912u);
    const unsigned char* const rows = testhost::Address(made) + 1064;
    EXPECT_EQ(rows[0], 9);
    EXPECT_EQ(rows[510000 - 1], 9);
    EXPECT_EQ(rows[510000], 0);
    GlobalFree(made);
    // Three bytes a pixel are more than the host gives, two as well.
    EXPECT_EQ(ConvertTo24BPPDIB(testhost::Address(source)), nullptr);
    testhost::SetLargestBlock(std::size_t{512} << 20);
    EXPECT_EQ(ConvertTo16BPPDIB(testhost::Address(source)), nullptr);
    EXPECT_LT(static_cast<double>(std::clock() - before) / CLOCKS_PER_SEC, MostSeconds);
    EXPECT_EQ(testhost::LiveBlocks(), 1);
    EXPECT_EQ(testhost::OutstandingLocks(), 0);
    testhost::Reset();
}

} // namespace

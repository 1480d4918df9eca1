// Bit counts and compression codes one after the other, masks, and colour tables that do not fit.
#include "tests/reliability/hostile_cases.h"

#include "dibprep.h"
#include "tests/oracle/dib_oracle.h"
#include "tests/support/test_host.h"

#include <gtest/gtest.h>

#include <cstdlib>

using namespace hostile;

namespace {

// What ConvertTo24BPPDIB and ConvertTo16BPPDIB make of it, byte for byte, and that nothing is left.
void ExpectDepthsAsTheSecondVersion(const Bytes& dib) {
    for (const int bits : {24, 16}) {
        testhost::Reset();
        void* const source = testhost::MakeBlock(dib);
        void* const made = (bits == 24 ? ConvertTo24BPPDIB : ConvertTo16BPPDIB)(testhost::Address(source));
        const oracle::MaybeDib expected = oracle::ToDepth(dib, bits);
        ASSERT_EQ(made != nullptr, expected.has_value()) << bits;
        EXPECT_TRUE(!made || testhost::Bytes(made) == *expected) << "to " << bits << " bits";
        EXPECT_EQ(testhost::LiveBlocks(), made ? 2 : 1);
        EXPECT_EQ(testhost::OutstandingLocks(), 0);
    }
    testhost::Reset();
}

class HostileCodes : public testing::Test {};

TEST_F(HostileCodes, EveryBitCountFrom0To65And30000) {
    // A true-colour page of 8 x 8 pixels whose bit count is replaced: the rows of deeper ones are cut
    // short, so are the tables of 6 to 15 bits.
    struct {
        int from, to;
        const char* answers;
    } const expected[] = {
        {0, 0, "0 0 0/0 0 0 -0 - - - -"},         {1, 1, "0 0 0/0 0 0 +0 - + + -"},
        {2, 3, "0 0 0/0 0 0 -0 - - - -"},         {4, 4, "0 0 0/1 0 0 +0 - + + -"},
        {5, 5, "0 0 0/0 0 0 -0 - - - -"},         {6, 7, "0 0 5/0 5 5 -0 - - - -"},
        {8, 8, "0 0 5/0 5 5 -0 . . . -"},         {9, 15, "0 0 5/0 5 5 -0 - - - +"},
        {16, 16, "0 0 0/0 0 0 +0 - + + +"},       {17, 23, "0 0 0/0 0 0 -0 - - - +"},
        {24, 24, "0 0 0/0 0 0 +0 - + + +"},       {25, 65, "0 0 0/0 0 0 -0 . . . ."},
        {30000, 30000, "0 0 0/0 0 . -0 . . . ."},
    };
    int tried = 0;
    for (const auto& range : expected) {
        for (int bits = range.from; bits <= range.to; ++bits, ++tried) {
            SCOPED_TRACE(std::to_string(bits) + " bits");
            EXPECT_EQ(Answers(Edited(Page("24"), {Bits(static_cast<std::uint32_t>(bits))})), range.answers);
        }
    }
    EXPECT_EQ(tried, 67);
}

TEST_F(HostileCodes, EveryCompressionCodeFrom0To13) {
    for (const std::string& kind : Kinds) {
        for (std::uint32_t code = 0; code <= 13; ++code) {
            SCOPED_TRACE("kind " + kind + ", code " + std::to_string(code));
            Bytes page = Edited(Page(kind), {Compression(code)});
            page.resize(page.size() + 258); // what a caller keeps behind a stream
            std::string expected = kind.back() == 'c' ? "0 0 0/1 0 0" : "0 0 0/0 0 0";
            expected += code == 0 ? " +0" : " -0";                         // the resampler refuses every code
            expected += code == 1 && kind[0] == '8' ? " + + +" : " - + +"; // one is expanded, the others are not
            expected += std::atoi(kind.c_str()) > 8 ? " +" : " -";
            EXPECT_EQ(Answers(page), expected);
        }
    }
}

Bytes Masked(int bits, std::uint32_t red, std::uint32_t green, std::uint32_t blue) {
    Bytes dib = Edited(Page(std::to_string(bits)), {Compression(3)});
    dib.insert(dib.begin() + 40, 12, 0);
    testdib::PutU32(dib, 40, red);
    testdib::PutU32(dib, 44, green);
    testdib::PutU32(dib, 48, blue);
    return dib;
}

struct Masks {
    const char* name;
    std::uint32_t red, green, blue;
    friend void PrintTo(const Masks& row, std::ostream* out) { *out << row.name; }
};

class HostileMasks : public testing::TestWithParam<Masks> {};

TEST_P(HostileMasks, AreFollowedByTheDepthConversionsAndByNobodyElse) {
    const Masks& masks = GetParam();
    for (const int bits : {16, 32}) {
        SCOPED_TRACE(bits);
        const Bytes dib = Masked(bits, masks.red, masks.green, masks.blue);
        EXPECT_EQ(Answers(dib), "0 0 0/0 0 0 -0 - + + +");
        ExpectDepthsAsTheSecondVersion(dib);
    }
}

const Masks MaskCases[] = {
    {"AllZero", 0, 0, 0},
    {"AllOnes", 0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF},
    {"Overlapping", 0xFFF000, 0x00FFF0, 0x000FFF},
    {"WithGaps", 0xF0F0F0F0, 0x0A0A0A0A, 0x05050505},
    {"TopBitAlone", 0x80000000, 0x80000000, 0x80000000},
    {"LowBitAlone", 1, 1, 1},
};

INSTANTIATE_TEST_SUITE_P(Of, HostileMasks, testing::ValuesIn(MaskCases), NameOf<Masks>);

// A page of 8 x 8 pixels of 4 or 8 bits with `colours` entries in table and header; the pixels ask for
// every index.
Bytes ShortTable(int bits, std::uint32_t colours) {
    const Bytes full = Page(bits == 8 ? "8c" : "4c");
    const auto rows = full.begin() + 40 + 4 * (std::ptrdiff_t{1} << bits);
    Bytes dib(full.begin(), full.begin() + 40 + 4 * static_cast<std::ptrdiff_t>(colours));
    dib.insert(dib.end(), rows, full.end());
    for (std::size_t i = 0; i < testdib::Stride(8, bits) * 8; ++i)
        dib[dib.size() - 1 - i] = static_cast<std::uint8_t>(255 - 3 * i);
    testdib::PutU32(dib, 32, colours);
    return dib;
}

TEST_F(HostileCodes, PixelIndicesPastATableOf4BitsAndOf8Bits) {
    for (const int bits : {4, 8}) {
        for (const std::uint32_t colours : {1u, 2u, 7u, 15u}) {
            SCOPED_TRACE(std::to_string(bits) + " bits, " + std::to_string(colours) + " colours");
            const Bytes dib = ShortTable(bits, colours);
            // The pipeline wants a full table, and rows behind it: what is there is too short for them.
            // A direct transform of 4 bits wants no rows; 15 entries and the first pixels fill its table.
            EXPECT_EQ(Answers(dib), bits == 4 && colours == 15 ? "0 0 5/0 0 0 +0 - + + -" : "0 0 5/0 5 5 +0 - + + -");
            ExpectDepthsAsTheSecondVersion(dib);
            // With enough behind it, the pixels are taken for the rest of the table.
            Bytes longer = dib;
            longer.resize(dib.size() + 2048, 0x5A);
            EXPECT_EQ(Answers(longer), "0 0 0/1 0 0 +0 - + + -");
        }
    }
}

TEST_F(HostileCodes, TableThatRunsIntoThePixels) {
    // 16 entries are there; the header counts 24, which reach into the rows, and 16 bytes follow.
    for (const char* kind : {"4c", "4g"}) {
        Bytes dib = Edited(Page(kind), {ColoursUsed(24)});
        dib.resize(dib.size() + 32, 0x77);
        EXPECT_EQ(Answers(dib), kind[1] == 'c' ? "0 0 0/1 0 0 +0 - + + -" : "0 0 0/0 0 0 +0 - + + -") << kind;
        ExpectDepthsAsTheSecondVersion(dib);
    }
}

} // namespace

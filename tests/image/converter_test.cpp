// CImgConverter: sizes, the colour-table check and the result blocks.
#include "dibprep/image.h"

#include "dibprep/host.h"
#include "tests/support/dib_builder.h"
#include "tests/support/test_host.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

namespace {

// A converter over the fields of a DIB, all of them at odd addresses.
class Source {
public:
    Source(int width, int height, int bits) : m_dib(1) {
        const testdib::Bytes dib = testdib::MakeDib(width, height, bits);
        m_dib.insert(m_dib.end(), dib.begin(), dib.end());
        m_tableSize = static_cast<std::size_t>(testdib::DefaultColors(bits)) * 4;
    }
    void SetEntry(std::size_t index, unsigned char blue, unsigned char green, unsigned char red) {
        unsigned char* const entry = &m_dib.at(41 + 4 * index);
        entry[0] = blue;
        entry[1] = green;
        entry[2] = red;
    }
    void SetGrayTable() {
        for (std::size_t i = 0; i < m_tableSize / 4; ++i) {
            const auto level = static_cast<unsigned char>(3 * i);
            SetEntry(i, level, level, level);
        }
    }
    CImgConverter Converter() {
        CImgConverter converter;
        converter.header = reinterpret_cast<tagBITMAPINFOHEADER*>(m_dib.data() + 1);
        converter.colorTable = reinterpret_cast<tagRGBQUAD*>(m_dib.data() + 41);
        converter.bits = m_dib.data() + 41 + m_tableSize;
        return converter;
    }

private:
    std::vector<unsigned char> m_dib;
    std::size_t m_tableSize;
};

class Converter : public testing::Test {
protected:
    Converter() { testhost::Reset(); }
    ~Converter() override {
        EXPECT_EQ(testhost::BadCalls(), 0);
        EXPECT_EQ(testhost::NullCalls(), 0);
        EXPECT_EQ(testhost::OutstandingLocks(), 0);
        testhost::Reset();
    }
};

void ExpectZeroBlock(void* result, std::size_t size) {
    ASSERT_TRUE(testhost::IsLive(result));
    EXPECT_EQ(testhost::Bytes(result), testdib::Bytes(size));
    EXPECT_EQ(testhost::LockCount(result), 0);
}

int IsGray(CImgConverter converter, int before = -7) {
    int isGray = before;
    EXPECT_EQ(converter.CheckColorMap(isGray), 1);
    return isGray;
}

TEST_F(Converter, FieldsStartAtZero) {
    const CImgConverter converter;
    EXPECT_EQ(converter.source, nullptr);
    EXPECT_EQ(converter.header, nullptr);
    EXPECT_EQ(converter.colorTable, nullptr);
    EXPECT_EQ(converter.bits, nullptr);
}

TEST_F(Converter, ColorMapOf16EntriesThatAreAllGrayIsGray) {
    Source source(2, 2, 4);
    EXPECT_EQ(IsGray(source.Converter()), 1); // all black
    source.SetGrayTable();
    EXPECT_EQ(IsGray(source.Converter()), 1);
}

TEST_F(Converter, ColorMapWithOneColouredEntryIsNotGray) {
    for (const int last : {15, 255}) {
        Source source(2, 2, last == 15 ? 4 : 8);
        source.SetGrayTable();
        source.SetEntry(static_cast<std::size_t>(last), 9, 9, 8);
        EXPECT_EQ(IsGray(source.Converter()), 0);
        source.SetEntry(static_cast<std::size_t>(last), 8, 9, 9);
        EXPECT_EQ(IsGray(source.Converter()), 0);
        source.SetEntry(static_cast<std::size_t>(last), 9, 8, 9);
        EXPECT_EQ(IsGray(source.Converter()), 0);
        source.SetEntry(static_cast<std::size_t>(last), 9, 9, 9);
        EXPECT_EQ(IsGray(source.Converter()), 1);
        source.SetEntry(0, 1, 2, 3);
        EXPECT_EQ(IsGray(source.Converter()), 0);
    }
}

TEST_F(Converter, ReservedBytesOfTheColorMapDoNotCount) {
    unsigned char table[64] = {};
    for (std::size_t i = 3; i < sizeof table; i += 4)
        table[i] = static_cast<unsigned char>(i);
    Source source(2, 2, 4);
    CImgConverter converter = source.Converter();
    converter.colorTable = reinterpret_cast<tagRGBQUAD*>(table);
    EXPECT_EQ(IsGray(converter), 1);
}

// Touches no byte behind the entries, and stops at the first coloured one.
TEST_F(Converter, ColorMapIsReadNoFurtherThanNeeded) {
    for (const int bits : {4, 8}) {
        const std::size_t entries = bits == 4 ? 16 : 256;
        Source source(2, 2, bits);
        CImgConverter converter = source.Converter();
        testhost::GuardedBuffer table(entries * 4);
        converter.colorTable = reinterpret_cast<tagRGBQUAD*>(table.data());
        EXPECT_EQ(IsGray(converter), 1);
        testhost::GuardedBuffer coloured(4);
        coloured.data()[0] = 1;
        converter.colorTable = reinterpret_cast<tagRGBQUAD*>(coloured.data());
        EXPECT_EQ(IsGray(converter), 0);
    }
}

TEST_F(Converter, OtherDepthsHaveNoColorMapAndLeaveTheAnswerAlone) {
    for (const int bits : {0, 1, 2, 16, 24, 32, 260}) {
        Source source(2, 2, bits);
        int isGray = -7;
        EXPECT_EQ(source.Converter().CheckColorMap(isGray), 0) << bits;
        EXPECT_EQ(isGray, -7) << bits;
    }
}

TEST_F(Converter, MissingTableOrHeaderIsNoColorMap) {
    Source source(2, 2, 8);
    CImgConverter converter = source.Converter();
    converter.colorTable = nullptr;
    int isGray = -7;
    EXPECT_EQ(converter.CheckColorMap(isGray), 0);
    EXPECT_EQ(CImgConverter().CheckColorMap(isGray), 0);
    EXPECT_EQ(isGray, -7);
}

TEST_F(Converter, GrayImageOfA24BitSourceIsAZeroBlock) {
    Source source(10, 10, 24);
    CImgConverter converter = source.Converter();
    converter.source = testhost::MakeBlock(testdib::Bytes(360));
    void* result = nullptr;
    EXPECT_EQ(converter.MakeGray256Image(result), 0);
    ExpectZeroBlock(result, 1184);
    EXPECT_EQ(testhost::Allocations(), 1);
    EXPECT_EQ(GlobalFree(result), nullptr);
    EXPECT_TRUE(testhost::IsLive(converter.source));
}

TEST_F(Converter, GrayImageOfEveryDepthIsAZeroBlock) {
    for (const int bits : {0, 1, 2, 4, 8, 16, 24, 32, 48, 64}) {
        Source source(5, 3, bits);
        void* result = nullptr;
        EXPECT_EQ(source.Converter().MakeGray256Image(result), 0) << bits;
        ExpectZeroBlock(result, 8 * 3 + 1064);
        GlobalFree(result);
    }
}

TEST_F(Converter, GrayImageOfAColouredTableIsAZeroBlockToo) {
    for (const int bits : {4, 8}) {
        Source source(5, 3, bits);
        source.SetEntry(2, 1, 2, 3);
        void* result = nullptr;
        EXPECT_EQ(source.Converter().MakeGray256Image(result), 0);
        ExpectZeroBlock(result, 1088);
        GlobalFree(result);
    }
}

// The image that stands over the source takes its size from the source's block.
TEST_F(Converter, GrayImageAsksTheSizeOfTheSourceWhereAnImageIsMade) {
    void* const block = testhost::MakeBlock(testdib::Bytes(8));
    for (const int bits : {1, 4, 8, 16, 24, 32}) {
        Source source(5, 3, bits);
        CImgConverter converter = source.Converter();
        converter.source = block;
        testhost::ResetCounters();
        void* result = nullptr;
        converter.MakeGray256Image(result);
        const bool makesImage = bits == 4 || bits == 8 || bits == 24;
        EXPECT_EQ(testhost::Calls(), makesImage ? 2 : 1) << bits;
        EXPECT_EQ(testhost::Locks(), 0);
        GlobalFree(result);
    }
}

TEST_F(Converter, GrayImageNeedsNoHeap) {
    Source source(5, 3, 24);
    CImgConverter converter = source.Converter();
    void* result = nullptr;
    const int before = testhost::News();
    converter.MakeGray256Image(result);
    EXPECT_EQ(testhost::News(), before);
    GlobalFree(result);
}

TEST_F(Converter, FullColorImageOfEveryDepthIsAZeroBlock) {
    for (const int bits : {0, 1, 4, 8, 16, 24, 32}) {
        Source source(5, 3, bits);
        void* result = nullptr;
        testhost::ResetCounters();
        EXPECT_EQ(source.Converter().MakeFullColorImage(result), 0) << bits;
        EXPECT_EQ(testhost::Calls(), 1);
        ExpectZeroBlock(result, 16 * 3 + 40);
        GlobalFree(result);
    }
}

TEST_F(Converter, BitsAndTableAreNotNeededForABlock) {
    Source source(5, 3, 8);
    CImgConverter converter = source.Converter();
    converter.colorTable = nullptr;
    converter.bits = nullptr;
    void* result = nullptr;
    EXPECT_EQ(converter.MakeGray256Image(result), 0);
    ExpectZeroBlock(result, 1088);
    GlobalFree(result);
    EXPECT_EQ(converter.MakeFullColorImage(result), 0);
    ExpectZeroBlock(result, 88);
    GlobalFree(result);
}

TEST_F(Converter, FailedAllocationGivesNoBlock) {
    Source source(10, 10, 24);
    CImgConverter converter = source.Converter();
    void* result = &source;
    testhost::FailAllocation(1);
    EXPECT_EQ(converter.MakeGray256Image(result), 0);
    EXPECT_EQ(result, nullptr);
    result = &source;
    testhost::FailAllocation(1);
    EXPECT_EQ(converter.MakeFullColorImage(result), 0);
    EXPECT_EQ(result, nullptr);
    EXPECT_EQ(testhost::LiveBlocks(), 0);
}

TEST_F(Converter, WithoutAHeaderNothingIsAllocated) {
    CImgConverter converter;
    void* result = &converter;
    EXPECT_EQ(converter.GetGray256ImageSize(), 0u);
    EXPECT_EQ(converter.GetFullColorImageSize(), 0u);
    EXPECT_EQ(converter.MakeGray256Image(result), 0);
    EXPECT_EQ(result, nullptr);
    result = &converter;
    EXPECT_EQ(converter.MakeFullColorImage(result), 0);
    EXPECT_EQ(result, nullptr);
    EXPECT_EQ(testhost::Calls(), 0);
}

} // namespace

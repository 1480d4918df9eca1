// ConvertImage and ConvertImage2: what they make, what they leave alone, what fails.
#include "tests/transform/transform_support.h"

namespace {

using namespace transformtest;

struct Made {
    unsigned answer = 999;
    bool zero = false; // *result was 0
    Bytes bytes;
};

Made Call(unsigned (*convert)(void*, void**), const Bytes& dib) {
    void* source = testhost::MakeBlock(dib);
    void* result = &source; // anything but 0
    Made made;
    made.answer = convert(source, &result);
    made.zero = result == nullptr;
    EXPECT_EQ(testhost::Bytes(source), dib) << "the source is never changed";
    EXPECT_EQ(testhost::LockCount(source), 0);
    if (!made.zero) {
        EXPECT_EQ(testhost::LockCount(result), 0);
        made.bytes = testhost::Bytes(result);
        GlobalFree(result);
    }
    GlobalFree(source);
    EXPECT_EQ(testhost::LiveBlocks(), 0);
    return made;
}

class PreConversion : public MemoryTest {};
class ExpandColourTable : public PreConversion {};
class WidenFourBitGray : public PreConversion {};

void ExpectDeclined(const Made& made) {
    EXPECT_EQ(made.answer, 0u);
    EXPECT_TRUE(made.zero) << "the output variable is always written";
}

// Every header field different, so that what is copied can be told from what is set.
void Mark(Bytes& dib) {
    testdib::PutU32(dib, 0, 41);
    testdib::PutU16(dib, 12, 7);
    testdib::PutU32(dib, 16, 5);
    testdib::PutU32(dib, 20, 123456);
    testdib::PutU32(dib, 24, 3000);
    testdib::PutU32(dib, 28, 4000);
    testdib::PutU32(dib, 32, 200);
    testdib::PutU32(dib, 36, 100);
}

TEST_F(ExpandColourTable, EightBitsToBlueGreenRed) {
    Bytes dib = ColourTableDib(3, 2, 8);
    testdib::SetEntry(dib, 1, 1, 2, 3);
    testdib::SetEntry(dib, 2, 4, 5, 6);
    dib[40 + 4 * 2 + 3] = 99; // a reserved byte
    Put(dib, 1064, {1, 2, 255, 0xEE, 2, 0, 1, 0xEE});
    const Made made = Call(ConvertImage, dib);
    EXPECT_EQ(made.answer, 1u);
    ASSERT_EQ(made.bytes.size(), 40u + 24u);
    EXPECT_EQ(Part(made.bytes, 40, 24), (Bytes{1, 2, 3, 4, 5, 6, 10, 20, 200, 0, 0, 0, //
                                               4, 5, 6, 0, 0, 0, 1,  2,  3,   0, 0, 0}));
}

TEST_F(ExpandColourTable, FourBitsTakeTheHighNibbleFirst) {
    Bytes dib = ColourTableDib(3, 2, 4);
    testdib::SetEntry(dib, 1, 1, 2, 3);
    testdib::SetEntry(dib, 2, 4, 5, 6);
    Put(dib, 104, {0x12, 0xFE, 0xEE, 0xEE, 0x21, 0x0E});
    const Made made = Call(ConvertImage, dib);
    EXPECT_EQ(made.answer, 1u);
    ASSERT_EQ(made.bytes.size(), 40u + 24u);
    EXPECT_EQ(Part(made.bytes, 40, 24), (Bytes{1, 2, 3, 4, 5, 6, 10, 20, 200, 0, 0, 0, //
                                               4, 5, 6, 1, 2, 3, 0,  0,  0,   0, 0, 0}));
}

TEST_F(ExpandColourTable, HeaderKeepsAStaleImageSizeAndClearsTheColours) {
    Bytes dib = ColourTableDib(3, 2, 8);
    Mark(dib);
    const Made made = Call(ConvertImage, dib);
    EXPECT_EQ(made.answer, 1u);
    EXPECT_EQ(testdib::U32(made.bytes, 0), 41u);
    EXPECT_EQ(testdib::U32(made.bytes, 4), 3u);
    EXPECT_EQ(testdib::U32(made.bytes, 8), 2u);
    EXPECT_EQ(testdib::U16(made.bytes, 12), 7u);
    EXPECT_EQ(testdib::U16(made.bytes, 14), 24u);
    EXPECT_EQ(testdib::U32(made.bytes, 16), 5u);
    EXPECT_EQ(testdib::U32(made.bytes, 20), 123456u) << "the source's value, stale on purpose";
    EXPECT_EQ(testdib::U32(made.bytes, 24), 3000u);
    EXPECT_EQ(testdib::U32(made.bytes, 28), 4000u);
    EXPECT_EQ(testdib::U32(made.bytes, 32), 0u);
    EXPECT_EQ(testdib::U32(made.bytes, 36), 0u);
}

TEST_F(PreConversion, ExtentsAreCopiedWholeAlthoughOnlyTheirLowWordsCount) {
    for (const bool widen : {false, true}) {
        Bytes dib = widen ? GrayDib(3, 2, 4) : ColourTableDib(3, 2, 8);
        testdib::PutU32(dib, 4, 0x50003);
        testdib::PutU32(dib, 8, 0x60002);
        const Made made = Call(widen ? ConvertImage2 : ConvertImage, dib);
        EXPECT_EQ(made.answer, 1u);
        EXPECT_EQ(made.bytes.size(), widen ? 1064u + 8u : 40u + 24u);
        EXPECT_EQ(testdib::U32(made.bytes, 4), 0x50003u);
        EXPECT_EQ(testdib::U32(made.bytes, 8), 0x60002u);
    }
}

TEST_F(ExpandColourTable, ColoursUsedDoesNotMoveTheRows) {
    Bytes dib = ColourTableDib(1, 1, 8);
    testdib::PutU32(dib, 32, 1);
    testdib::SetEntry(dib, 7, 70, 71, 72);
    dib[1064] = 7;
    EXPECT_EQ(Part(Call(ConvertImage, dib).bytes, 40, 3), (Bytes{70, 71, 72}));
}

TEST_F(ExpandColourTable, GrayTablesAreLeftAlone) {
    ExpectDeclined(Call(ConvertImage, GrayDib(3, 2, 8)));
    ExpectDeclined(Call(ConvertImage, GrayDib(3, 2, 4)));
    ExpectDeclined(Call(ConvertImage, testdib::MakeDib(3, 2, 8)));
}

TEST_F(ExpandColourTable, AnyChannelThatDiffersMakesAColour) {
    for (int channel = 0; channel < 3; ++channel)
        for (const int bits : {4, 8}) {
            Bytes dib = GrayDib(3, 2, bits);
            dib[40 + 4 * (bits == 4 ? 15u : 255u) + static_cast<unsigned>(channel)] ^= 1;
            EXPECT_EQ(Call(ConvertImage, dib).answer, 1u) << bits << " " << channel;
        }
    Bytes dib = GrayDib(3, 2, 8);
    dib[43] = 77;
    EXPECT_EQ(Call(ConvertImage, dib).answer, 0u) << "the reserved byte is no colour";
}

TEST_F(PreConversion, OtherDepthsAreLeftAlone) {
    for (const int bits : {0, 1, 2, 16, 24, 32}) {
        Bytes dib = testdib::MakeDib(3, 2, bits);
        if (bits == 1)
            testdib::SetEntry(dib, 1, 1, 2, 3);
        ExpectDeclined(Call(ConvertImage, dib));
        ExpectDeclined(Call(ConvertImage2, dib));
    }
}

TEST_F(WidenFourBitGray, WritesTheLevelNotTheIndex) {
    Bytes dib = GrayDib(3, 2, 4);
    testdib::SetEntry(dib, 7, 119, 119, 119);
    testdib::SetEntry(dib, 1, 5, 5, 5);
    Put(dib, 104, {0x71, 0xF0, 0xEE, 0xEE, 0x17, 0x0F});
    const Made made = Call(ConvertImage2, dib);
    EXPECT_EQ(made.answer, 1u);
    ASSERT_EQ(made.bytes.size(), 1064u + 8u);
    EXPECT_EQ(Part(made.bytes, 1064, 8), (Bytes{119, 5, 255, 0, 5, 119, 0, 0}));
    for (unsigned i = 0; i < 256; ++i) {
        const auto level = static_cast<std::uint8_t>(i);
        EXPECT_EQ(Part(made.bytes, 40 + 4 * i, 4), (Bytes{level, level, level, 0}));
    }
}

TEST_F(WidenFourBitGray, HeaderSaysEightColoursForATableOf256) {
    Bytes dib = GrayDib(3, 2, 4);
    Mark(dib);
    const Made made = Call(ConvertImage2, dib);
    EXPECT_EQ(testdib::U32(made.bytes, 0), 41u);
    EXPECT_EQ(testdib::U32(made.bytes, 4), 3u);
    EXPECT_EQ(testdib::U32(made.bytes, 8), 2u);
    EXPECT_EQ(testdib::U16(made.bytes, 12), 7u);
    EXPECT_EQ(testdib::U16(made.bytes, 14), 8u);
    EXPECT_EQ(testdib::U32(made.bytes, 16), 5u);
    EXPECT_EQ(testdib::U32(made.bytes, 20), 123456u) << "the source's value, stale on purpose";
    EXPECT_EQ(testdib::U32(made.bytes, 24), 3000u);
    EXPECT_EQ(testdib::U32(made.bytes, 28), 4000u);
    EXPECT_EQ(testdib::U32(made.bytes, 32), 8u);
    EXPECT_EQ(testdib::U32(made.bytes, 36), 8u);
}

TEST_F(WidenFourBitGray, OneColouredEntryIsEnoughToDecline) {
    ExpectDeclined(Call(ConvertImage2, ColourTableDib(3, 2, 4)));
    ExpectDeclined(Call(ConvertImage2, GrayDib(3, 2, 8)));
    ExpectDeclined(Call(ConvertImage2, ColourTableDib(3, 2, 8)));
}

TEST_F(PreConversion, TheSecondCallDeclinesTheResultOfTheFirst) {
    void* source = testhost::MakeBlock(ColourTableDib(3, 2, 4));
    void* temp = nullptr;
    ASSERT_EQ(ConvertImage(source, &temp), 1u);
    void* expanded = temp;
    EXPECT_EQ(ConvertImage2(expanded, &temp), 0u);
    EXPECT_EQ(temp, nullptr);
    EXPECT_TRUE(testhost::IsLive(expanded));
}

TEST_F(PreConversion, HeightZeroMakesABlockOfHeaderAndTable) {
    Made made = Call(ConvertImage, ColourTableDib(3, 0, 8));
    EXPECT_EQ(made.answer, 1u);
    EXPECT_EQ(made.bytes.size(), 40u);
    made = Call(ConvertImage2, GrayDib(3, 0, 4));
    EXPECT_EQ(made.answer, 1u);
    EXPECT_EQ(made.bytes.size(), 1064u);
}

TEST_F(PreConversion, WidthZeroMakesABlockOfHeaderAndTable) {
    EXPECT_EQ(Call(ConvertImage, ColourTableDib(0, 3, 8)).bytes.size(), 40u);
    EXPECT_EQ(Call(ConvertImage2, GrayDib(0, 3, 4)).bytes.size(), 1064u);
}

TEST_F(PreConversion, SourceZeroGivesNothing) {
    void* result = this;
    EXPECT_EQ(ConvertImage(nullptr, &result), 0u);
    EXPECT_EQ(result, nullptr);
    result = this;
    EXPECT_EQ(ConvertImage2(nullptr, &result), 0u);
    EXPECT_EQ(result, nullptr);
}

TEST_F(PreConversion, AllocationAndLockFailuresGiveNothing) {
    const Bytes colour = ColourTableDib(3, 2, 8);
    const Bytes gray = GrayDib(3, 2, 4);
    for (int n = 1; n <= 3; ++n) { // the allocation, the lock of the source, the lock of the result
        n == 1 ? testhost::FailAllocation(1) : testhost::FailLock(n - 1);
        ExpectDeclined(Call(ConvertImage, colour));
        testhost::Reset();
        n == 1 ? testhost::FailAllocation(1) : testhost::FailLock(n - 1);
        ExpectDeclined(Call(ConvertImage2, gray));
        testhost::Reset();
    }
    testhost::ResetCounters();
    EXPECT_EQ(Call(ConvertImage, colour).answer, 1u);
    EXPECT_EQ(testhost::Locks(), 2);
}

} // namespace

// ConvertResolution from end to end: results, blocks, callback.
#include "tests/transform/transform_support.h"

#include <numeric>

namespace {

using namespace transformtest;

class Entry : public MemoryTest {
protected:
    struct Done {
        int status = 999;
        void* result = nullptr;
        Bytes bytes;
        int allocations = 0;
    };
    Done Convert(const Bytes& dib, unsigned short dpi, int threshold = 128, int (*progress)(unsigned short) = nullptr) {
        source = testhost::MakeBlock(dib);
        testhost::ResetCounters();
        Done done;
        done.result = this; // anything but 0
        done.status = ConvertResolution(source, &done.result, progress, dpi, threshold);
        done.allocations = testhost::Allocations();
        EXPECT_EQ(testhost::Bytes(source), dib) << "the source is never changed";
        EXPECT_EQ(testhost::OutstandingLocks(), 0);
        if (done.result)
            done.bytes = testhost::Bytes(done.result);
        return done;
    }
    // Blocks left besides the source and the result.
    int Left(const Done& done) const { return testhost::LiveBlocks() - 1 - (done.result ? 1 : 0); }
    void* source = nullptr;
};

TEST_F(Entry, OneBitPageFrom300To200IsOneBlockOfTheQueriedSize) {
    Bytes dib = testdib::MakeDib(2480, 3508, 1, Ppm300, Ppm300);
    testdib::SetEntry(dib, 1, 255, 255, 255);
    for (std::size_t i = 48; i < dib.size(); ++i)
        dib[i] = 0xFF;
    Recorder::Clear();
    const Done done = Convert(dib, 200, 128, Recorder::Report);
    EXPECT_EQ(done.status, 0);
    std::vector<int> percents(100);
    std::iota(percents.begin(), percents.end(), 0);
    EXPECT_EQ(Recorder::calls, percents) << "0 to 99";
    ASSERT_EQ(done.bytes.size(), 487382u);
    EXPECT_EQ(done.allocations, 3) << "the result and two scratch blocks";
    EXPECT_EQ(Left(done), 0);
    EXPECT_EQ(testdib::U32(done.bytes, 4), 1653u);
    EXPECT_EQ(testdib::U32(done.bytes, 8), 2338u);
    EXPECT_EQ(testdib::U16(done.bytes, 14), 1u);
    EXPECT_EQ(Part(done.bytes, 40, 8), (Bytes{0, 0, 0, 0, 255, 255, 255, 0}));
    const std::size_t lastRow = 48 + 2337u * 208;
    EXPECT_EQ(Part(done.bytes, lastRow, 206), Bytes(206, 0xFF));
    EXPECT_EQ(done.bytes[lastRow + 206], 0xF8) << "1653 is 206 bytes and five bits";
    EXPECT_EQ(done.bytes[lastRow + 207], 0x00);
}

TEST_F(Entry, EightBitGrayStaysGray) {
    Bytes dib = GrayDib(2, 1, 8);
    Put(dib, 1064, {0, 100});
    const Done done = Convert(dib, 200);
    EXPECT_EQ(done.status, 0);
    EXPECT_EQ(testdib::U16(done.bytes, 14), 8u);
    EXPECT_EQ(Part(done.bytes, 1064, 8), (Bytes{0, 50, 100, 100, 0, 50, 100, 100}));
    EXPECT_EQ(Left(done), 0);
}

TEST_F(Entry, TrueColourStaysTrueColour) {
    Bytes dib = testdib::MakeDib(1, 1, 24, Ppm100, Ppm100);
    Put(dib, 40, {1, 2, 3});
    const Done done = Convert(dib, 200);
    EXPECT_EQ(done.status, 0);
    EXPECT_EQ(done.bytes.size(), 16u + 1078u);
    EXPECT_EQ(Part(done.bytes, 40, 8), (Bytes{1, 2, 3, 1, 2, 3, 0, 0}));
    EXPECT_EQ(Left(done), 0);
}

TEST_F(Entry, FourBitGrayBecomesEightBitGrayAndItsIntermediateIsFreed) {
    Bytes dib = GrayDib(2, 1, 4);
    dib[104] = 0x7F;
    const Done done = Convert(dib, 200);
    EXPECT_EQ(done.status, 0);
    EXPECT_EQ(done.allocations, 4);
    EXPECT_EQ(testdib::U16(done.bytes, 14), 8u);
    EXPECT_EQ(testdib::U32(done.bytes, 32), 256u);
    EXPECT_EQ(Part(done.bytes, 1064, 8), (Bytes{119, 187, 255, 255, 119, 187, 255, 255}));
    EXPECT_EQ(Left(done), 0);
}

TEST_F(Entry, ColourTableComesBackFromTheQuantiserNotFromTheCube) {
    Bytes dib = ColourTableDib(4, 1, 8);
    testdib::SetEntry(dib, 1, 1, 2, 3);
    testdib::SetEntry(dib, 2, 100, 110, 120);
    Put(dib, 1064, {1, 2, 255, 2});
    const Done done = Convert(dib, 100);
    EXPECT_EQ(done.status, 0);
    ASSERT_EQ(done.bytes.size(), 1064u + 4u);
    EXPECT_EQ(testdib::U32(done.bytes, 0), 40u);
    EXPECT_EQ(testdib::U32(done.bytes, 4), 4u);
    EXPECT_EQ(testdib::U32(done.bytes, 8), 1u);
    EXPECT_EQ(testdib::U16(done.bytes, 14), 8u);
    // The two colours of one pixel come first, the one of two pixels last.
    EXPECT_EQ(Part(done.bytes, 40, 12), (Bytes{1, 2, 3, 0, 10, 20, 200, 0, 100, 110, 120, 0}));
    EXPECT_EQ(Part(done.bytes, 1064, 4), (Bytes{0, 2, 1, 2}));
    EXPECT_EQ(Part(done.bytes, 52, 1064 - 52), Bytes(1064 - 52, 0)) << "the rest of the table is black";
}

TEST_F(Entry, ColoursOfATableAreToldApartByTheirUpperFiveBits) {
    Bytes dib = ColourTableDib(6, 1, 8);
    testdib::SetEntry(dib, 1, 8, 0, 0);
    testdib::SetEntry(dib, 2, 15, 0, 0);
    testdib::SetEntry(dib, 3, 16, 0, 0);
    Put(dib, 1064, {0, 1, 2, 3, 3, 3});
    const Done done = Convert(dib, 100);
    // 8 and 15 become 11, which is then the nearest of the former only.
    EXPECT_EQ(Part(done.bytes, 40, 16), (Bytes{0, 0, 0, 0, 11, 0, 0, 0, 16, 0, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(Part(done.bytes, 1064, 6), (Bytes{0, 1, 2, 2, 2, 2}));
}

TEST_F(Entry, All256ColoursOfATableMayStay) {
    Bytes dib = ColourTableDib(256, 1, 8);
    for (int i = 0; i < 256; ++i) {
        testdib::SetEntry(dib, i, i % 32 * 8, i / 32 * 32, 0);
        Put(dib, 1064 + static_cast<std::size_t>(i), {i});
    }
    const Done done = Convert(dib, 100);
    ASSERT_EQ(done.bytes.size(), 1064u + 256u);
    for (std::size_t i = 0; i < 256; ++i)
        EXPECT_EQ(Part(done.bytes, 40 + 4u * done.bytes[1064 + i], 3), Part(dib, 40 + 4 * i, 3)) << i;
}

TEST_F(Entry, ColourTableResultRecordsNoResolutionAndNoColourCount) {
    const Done done = Convert(ColourTableDib(4, 2, 8), 200);
    EXPECT_EQ(done.status, 0);
    EXPECT_EQ(testdib::U32(done.bytes, 24), 0u);
    EXPECT_EQ(testdib::U32(done.bytes, 28), 0u);
    EXPECT_EQ(testdib::U32(done.bytes, 32), 0u);
}

TEST_F(Entry, ColourTableLeavesItsTrueColourIntermediateAllocated) {
    const Done done = Convert(ColourTableDib(5, 2, 8), 200);
    EXPECT_EQ(done.status, 0);
    EXPECT_EQ(done.allocations, 5) << "intermediate, true-colour result, two scratch blocks, reduced result";
    EXPECT_EQ(Left(done), 1) << "the intermediate of 40 + 2 * 16 bytes stays";
    GlobalFree(source);
    GlobalFree(done.result);
    EXPECT_EQ(testhost::LiveBlocks(), 1);
}

TEST_F(Entry, FourBitColourIsExpandedAndReducedToo) {
    Bytes dib = ColourTableDib(2, 1, 4);
    dib[104] = 0xF7;
    const Done done = Convert(dib, 100);
    EXPECT_EQ(done.status, 0);
    ASSERT_EQ(done.bytes.size(), 1064u + 4u);
    EXPECT_EQ(testdib::U16(done.bytes, 14), 8u);
    for (const std::size_t x : {0u, 1u})
        EXPECT_EQ(Part(done.bytes, 40 + 4u * done.bytes[1064 + x], 4),
                  x == 0 ? (Bytes{10, 20, 200, 0}) : (Bytes{119, 119, 119, 0}));
    EXPECT_EQ(Left(done), 1);
}

TEST_F(Entry, SixteenAndThirtyTwoBitsGiveAHeaderWithZeroRows) {
    for (const int bits : {16, 32}) {
        Bytes dib = testdib::MakeDib(3, 2, bits, Ppm100, Ppm100);
        dib[41] = 0xFF;
        const Done done = Convert(dib, 100);
        EXPECT_EQ(done.status, 0);
        EXPECT_EQ(testdib::U16(done.bytes, 14), static_cast<unsigned>(bits));
        EXPECT_EQ(Part(done.bytes, 40, done.bytes.size() - 40), Bytes(done.bytes.size() - 40, 0));
    }
}

TEST_F(Entry, ThresholdReachesTheBuilder) {
    Bytes dib = testdib::MakeDib(8, 1, 1, Ppm100, Ppm100);
    testdib::SetEntry(dib, 1, 255, 255, 255);
    dib[48] = 0x5A;
    EXPECT_EQ(Convert(dib, 100, 0).bytes.at(48), 0x00);
    EXPECT_EQ(Convert(dib, 100, 128).bytes.at(48), 0x5A);
    EXPECT_EQ(Convert(dib, 100, 256).bytes.at(48), 0xFF);
}

TEST_F(Entry, ReportsPercentages) {
    Recorder::Clear();
    EXPECT_EQ(Convert(GrayDib(4, 4, 8), 100, 128, Recorder::Report).status, 0);
    EXPECT_EQ(Recorder::calls, (std::vector<int>{0, 25, 50, 75}));
    Recorder::Clear();
    EXPECT_EQ(Convert(ColourTableDib(4, 4, 8), 100, 128, Recorder::Report).status, 0);
    EXPECT_EQ(Recorder::calls, (std::vector<int>{0, 25, 50, 75})) << "the reduction does not report";
}

TEST_F(Entry, StoppingGives1AndNoResult) {
    Recorder::Clear(1);
    Done done = Convert(testdib::MakeDib(4, 4, 24, Ppm100, Ppm100), 100, 128, Recorder::Report);
    EXPECT_EQ(done.status, 1);
    EXPECT_EQ(done.result, nullptr);
    EXPECT_EQ(Recorder::calls.size(), 1u);
    EXPECT_EQ(Left(done), 0);
    GlobalFree(source);
    Recorder::Clear(2);
    done = Convert(GrayDib(4, 4, 4), 100, 128, Recorder::Report);
    EXPECT_EQ(done.status, 1);
    EXPECT_EQ(done.result, nullptr);
    EXPECT_EQ(Left(done), 0) << "the widened intermediate is freed";
}

TEST_F(Entry, StoppingAColourTableSourceGives1AndNoResultAndLeavesTheIntermediate) {
    Recorder::Clear(1);
    const Done done = Convert(ColourTableDib(4, 4, 8), 100, 128, Recorder::Report);
    EXPECT_EQ(done.status, 1);
    EXPECT_EQ(done.result, nullptr) << "what is reduced then is nothing";
    EXPECT_EQ(Left(done), 1);
}

TEST_F(Entry, AThrowingCallbackLeavesOnlyTheResult) {
    for (const Bytes& dib : {GrayDib(8, 8, 8), testdib::MakeDib(8, 8, 24, Ppm100, Ppm100)}) {
        testhost::Reset();
        source = testhost::MakeBlock(dib);
        void* result = nullptr;
        const auto refuse = [](unsigned short percent) -> int { return percent < 50 ? 1 : throw percent; };
        EXPECT_THROW(ConvertResolution(source, &result, refuse, 100, 128), unsigned short);
        EXPECT_EQ(testhost::LiveBlocks(), 2);
        EXPECT_TRUE(testhost::IsLive(result));
        EXPECT_EQ(testhost::OutstandingLocks(), 0);
    }
}

TEST_F(Entry, NoResolutionIs11AndTheHeadersWereAllocatedInVain) {
    Done done = Convert(testdib::MakeDib(4, 4, 24, 0, Ppm100), 100);
    EXPECT_EQ(done.status, 11);
    EXPECT_EQ(done.result, nullptr);
    EXPECT_EQ(done.allocations, 1);
    EXPECT_EQ(testhost::LastAllocationSize(), 1078u);
    EXPECT_EQ(Left(done), 0);
    GlobalFree(source);
    done = Convert(ColourTableDib(4, 4, 8, 0), 100);
    EXPECT_EQ(done.status, 11);
    EXPECT_EQ(done.result, nullptr);
    EXPECT_EQ(Left(done), 1) << "the intermediate stays on this road too";
}

TEST_F(Entry, AHostThatCannotTellSizesIsTrusted) {
    testhost::SetSizeAnswer(testhost::SizeAnswer::Unknown);
    EXPECT_EQ(Convert(GrayDib(4, 4, 8), 200).status, 0);
    EXPECT_EQ(Convert(ColourTableDib(4, 4, 8), 200).status, 0);
    EXPECT_EQ(Convert(GrayDib(4, 4, 4), 200).status, 0);
}

TEST_F(Entry, BlocksMayMoveWheneverTheyAreUnlocked) {
    const Bytes colour = ColourTableDib(4, 4, 8);
    const Bytes gray = GrayDib(4, 4, 4);
    const Bytes colourOut = Convert(colour, 200).bytes;
    const Bytes grayOut = Convert(gray, 200).bytes;
    testhost::SetMovingBlocks(true);
    EXPECT_EQ(Convert(colour, 200).bytes, colourOut);
    EXPECT_EQ(Convert(gray, 200).bytes, grayOut);
    testhost::SetMovingBlocks(false);
}

TEST_F(Entry, ManyConversionsLeaveOneBlockEach) {
    for (int i = 0; i < 50; ++i) {
        const Done done = Convert(ColourTableDib(4, 4, 8), 50);
        ASSERT_EQ(done.status, 0);
        GlobalFree(source);
        GlobalFree(done.result);
        ASSERT_EQ(testhost::LiveBlocks(), i + 1);
    }
}

} // namespace

// The progress callback of the transform: what it is told, when, and what stopping leaves.
#include "tests/transform/transform_support.h"

namespace {

using namespace transformtest;

class Progress : public MemoryTest {
protected:
    void SetUp() override {
        MemoryTest::SetUp();
        Recorder::Clear();
    }
    static std::vector<int> Calls(const Bytes& dib, unsigned short dpi = 100) {
        Recorder::Clear();
        EXPECT_EQ(Transform(dib, dpi, 128, Recorder::Report).status, 0u);
        return Recorder::calls;
    }
    static Bytes Rows(int height, int bits = 24) { return GrayOrRgb(height, bits); }

private:
    static Bytes GrayOrRgb(int height, int bits) {
        return bits <= 8 ? GrayDib(2, height, bits) : testdib::MakeDib(2, height, bits, Ppm100, Ppm100);
    }
};

TEST_F(Progress, OneRowReportsZero) { EXPECT_EQ(Calls(Rows(1)), (std::vector<int>{0})); }

TEST_F(Progress, FewRowsReportEach) {
    EXPECT_EQ(Calls(Rows(3)), (std::vector<int>{0, 33, 66}));
    EXPECT_EQ(Calls(Rows(10)), (std::vector<int>{0, 10, 20, 30, 40, 50, 60, 70, 80, 90}));
}

TEST_F(Progress, ManyRowsReportZeroTo99OnceEach) {
    std::vector<int> all;
    for (int percent = 0; percent < 100; ++percent)
        all.push_back(percent);
    EXPECT_EQ(Calls(Rows(100)), all);
    EXPECT_EQ(Calls(Rows(101)), all);
    EXPECT_EQ(Calls(Rows(250)), all);
    EXPECT_EQ(Calls(Rows(1000)), all);
}

TEST_F(Progress, CountsOutputRows) {
    EXPECT_EQ(Calls(Rows(2), 200), (std::vector<int>{0, 25, 50, 75}));
    EXPECT_EQ(Calls(Rows(8), 50), (std::vector<int>{0, 25, 50, 75}));
}

TEST_F(Progress, NoRowsReportNothing) { EXPECT_EQ(Calls(Rows(4), 0), std::vector<int>{}); }

TEST_F(Progress, EveryKindReports) {
    EXPECT_EQ(Calls(Rows(2, 1)), (std::vector<int>{0, 50}));
    EXPECT_EQ(Calls(Rows(2, 8)), (std::vector<int>{0, 50}));
    EXPECT_EQ(Calls(ColourTableDib(2, 2, 8)), (std::vector<int>{0, 50}));
    EXPECT_EQ(Calls(Rows(2, 4)), (std::vector<int>{0, 50})) << "rows that are not built count too";
    EXPECT_EQ(Calls(Rows(2, 16)), (std::vector<int>{0, 50}));
}

TEST_F(Progress, StoppingAtTheFirstCallLeavesExactlyOneRow) {
    Bytes dib = testdib::MakeDib(1, 3, 24, Ppm100, Ppm100);
    Put(dib, 40, {1, 1, 1, 0, 2, 2, 2, 0, 3, 3, 3, 0});
    Recorder::Clear(1);
    const Outcome run = Transform(dib, 100, 128, Recorder::Report);
    EXPECT_EQ(run.status, 1u);
    EXPECT_EQ(Recorder::calls, (std::vector<int>{0}));
    EXPECT_EQ(testdib::U32(run.out, 8), 3u) << "header and table stand already";
    EXPECT_EQ(Part(run.out, 40, 12), (Bytes{1, 1, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
}

TEST_F(Progress, StoppingLaterLeavesTheRowsSoFar) {
    Bytes dib = testdib::MakeDib(1, 3, 24, Ppm100, Ppm100);
    Put(dib, 40, {1, 1, 1, 0, 2, 2, 2, 0, 3, 3, 3, 0});
    Recorder::Clear(2);
    const Outcome run = Transform(dib, 100, 128, Recorder::Report);
    EXPECT_EQ(run.status, 1u);
    EXPECT_EQ(Recorder::calls, (std::vector<int>{0, 33}));
    EXPECT_EQ(Part(run.out, 40, 12), (Bytes{1, 1, 1, 0, 2, 2, 2, 0, 0, 0, 0, 0}));
    Recorder::Clear(3);
    EXPECT_EQ(Transform(dib, 100, 128, Recorder::Report).status, 1u) << "stopping after the last row too";
}

TEST_F(Progress, StoppingFreesTheScratchRows) {
    void* source = testhost::MakeBlock(Rows(3));
    void* destination = testhost::MakeBlock(Bytes(1200));
    Recorder::Clear(1);
    EXPECT_EQ(LinearTransformMain(MemoryToMemory, &source, &destination, Recorder::Report, 100, 128), 1u);
    EXPECT_EQ(testhost::LiveBlocks(), 2);
    EXPECT_EQ(testhost::LockCount(source), 0);
    EXPECT_EQ(testhost::LockCount(destination), 0);
}

std::vector<int> locked; // locks of all blocks at every call

int CountLocks(unsigned short) {
    locked.push_back(testhost::OutstandingLocks());
    return 1;
}

TEST_F(Progress, SourceDestinationAndScratchRowsAreLockedWhileRowsAreBuilt) {
    for (const int bits : {1, 4, 8, 24}) {
        locked.clear();
        EXPECT_EQ(Transform(Rows(3, bits), 100, 128, CountLocks).status, 0u);
        EXPECT_EQ(locked, (std::vector<int>{4, 4, 4})) << bits << " bits";
    }
}

int AnswerMinusOne(unsigned short) { return -1; }

TEST_F(Progress, AnyAnswerButZeroGoesOn) { EXPECT_EQ(Transform(Rows(3), 100, 128, AnswerMinusOne).status, 0u); }

} // namespace

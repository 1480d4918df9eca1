// Progress calls and cancelling.
#include "tests/bilinear/bilinear_test.h"

#include <utility>

namespace {

using namespace bilinear_test;
using namespace testdib;

std::vector<std::pair<int, int>> calls;
int cancelAt;         // the call that answers 0; 0: none
int answer;           // of every other call
const Bytes* watched; // a destination whose rows are counted at every call
std::vector<int> written;
std::vector<int> locked; // blocks that are locked at every call

int RowsWritten(const Bytes& dib) {
    int rows = 0;
    for (int y = 0; y < HeightOf(dib); ++y)
        rows += dib.at(RowAt(dib, y)) != 0xCD;
    return rows;
}

int Record(int finished, int total) {
    calls.emplace_back(finished, total);
    locked.push_back(testhost::OutstandingLocks());
    if (watched)
        written.push_back(RowsWritten(*watched));
    return static_cast<int>(calls.size()) == cancelAt ? 0 : answer;
}

class Progress : public BilinearTest {
protected:
    void SetUp() override {
        BilinearTest::SetUp();
        calls.clear();
        written.clear();
        locked.clear();
        cancelAt = 0;
        answer = 1;
        watched = nullptr;
    }
    using Calls = std::vector<std::pair<int, int>>;
};

TEST_F(Progress, EveryRowIsReportedAfterItIsMade) {
    const Bytes dib = MakeDib(4, 4, 24);
    const tagRECT whole = {0, 0, 3, 5};
    EXPECT_EQ(Resample(dib, whole, whole, Record).size(), 100u);
    EXPECT_EQ(calls, (Calls{{1, 5}, {2, 5}, {3, 5}, {4, 5}, {5, 5}}));
}

TEST_F(Progress, ResultIsLockedWhileItsRowsAreMade) {
    const Bytes dib = MakeDib(4, 4, 24);
    const tagRECT whole = {0, 0, 3, 3};
    EXPECT_EQ(Resample(dib, whole, whole, Record).size(), 76u); // looks that it comes unlocked
    EXPECT_EQ(locked, (std::vector<int>{1, 1, 1}));
}

TEST_F(Progress, TotalIsThatOfTheClip) {
    const Bytes dib = MakeDib(4, 4, 24);
    EXPECT_FALSE(Resample(dib, {0, 0, 10, 10}, {2, 7, 4, 9}, Record).empty());
    EXPECT_EQ(calls, (Calls{{1, 2}, {2, 2}}));
}

TEST_F(Progress, AnyAnswerButZeroContinues) {
    answer = -1;
    const Bytes dib = MakeDib(4, 4, 24);
    const tagRECT whole = {0, 0, 2, 2};
    EXPECT_FALSE(Resample(dib, whole, whole, Record).empty());
    EXPECT_EQ(calls.size(), 2u);
    EXPECT_EQ(object.m_nLastError, 0);
}

TEST_F(Progress, CancelAtAnyCallFreesTheResult) {
    const Bytes dib = MakeDib(4, 4, 24);
    const tagRECT whole = {0, 0, 3, 5};
    for (int k = 1; k <= 5; ++k) {
        calls.clear();
        cancelAt = k;
        object.m_nLastError = 0;
        EXPECT_EQ(object.BiLinear(dib.data(), &whole, &whole, Record), nullptr);
        EXPECT_EQ(object.m_nLastError, -5);
        EXPECT_EQ(calls.size(), static_cast<std::size_t>(k));
        EXPECT_EQ(testhost::LiveBlocks(), 0);
    }
}

TEST_F(Progress, CancelAtCallKHasWrittenExactlyKRowsInEveryKernel) {
    using Kernel = int (CConvertResolution::*)(const _tagDIBPARAM&, const tagRECT*, const tagRECT*, _tagDIBPARAM&,
                                               int (*)(int, int));
    const std::pair<int, Kernel> kernels[] = {
        {1, &CConvertResolution::BiLinearSmallBits}, {4, &CConvertResolution::BiLinearSmallBits},
        {8, &CConvertResolution::BiLinear8},         {16, &CConvertResolution::BiLinear16},
        {24, &CConvertResolution::BiLinear24},       {32, &CConvertResolution::BiLinear32},
        {48, &CConvertResolution::BiLinear48},       {64, &CConvertResolution::BiLinear64},
    };
    const tagRECT frame = {0, 0, 5, 9};
    for (const auto& [bits, kernel] : kernels) {
        for (int k = 0; k <= 9; ++k) {
            SCOPED_TRACE(testing::Message() << bits << " bits, call " << k);
            const Bytes dib = MakeDib(3, 4, bits);
            Bytes target = MakeDib(5, 9, std::max(bits, 24));
            std::fill(target.begin() + 40, target.end(), std::uint8_t{0xCD});
            _tagDIBPARAM source, destination;
            object.SetDIBParam(dib.data(), source);
            object.SetDIBParam(target.data(), destination);
            calls.clear();
            written.clear();
            watched = &target;
            cancelAt = k;
            object.m_nLastError = 0;
            EXPECT_EQ((object.*kernel)(source, &frame, &frame, destination, Record), k == 0 ? 1 : 0);
            EXPECT_EQ(object.m_nLastError, k == 0 ? 0 : -5);
            const int rows = k == 0 ? 9 : k;
            for (int y = 0; y < 9; ++y)
                EXPECT_EQ(target.at(RowAt(target, y)), y < rows ? 0 : 0xCD) << "row " << y;
            // ... and had written no more at any call before.
            Ints upTo;
            for (int i = 1; i <= rows; ++i)
                upTo.push_back(i);
            EXPECT_EQ(written, upTo);
        }
    }
}

TEST_F(Progress, ClipWithoutColumnsCountsItsRows) {
    const Bytes dib = MakeDib(4, 4, 24);
    const Bytes made = Resample(dib, {0, 0, 8, 8}, {3, 2, 3, 5}, Record);
    EXPECT_EQ(made.size(), 40u);
    EXPECT_EQ(WidthOf(made), 0);
    EXPECT_EQ(HeightOf(made), 3);
    EXPECT_EQ(calls, (Calls{{1, 3}, {2, 3}, {3, 3}}));
}

TEST_F(Progress, ClipWithoutRowsCallsNobody) {
    const Bytes dib = MakeDib(4, 4, 24);
    const Bytes made = Resample(dib, {0, 0, 8, 8}, {3, 2, 6, 2}, Record);
    EXPECT_EQ(made.size(), 40u);
    EXPECT_EQ(WidthOf(made), 3);
    EXPECT_EQ(HeightOf(made), 0);
    EXPECT_TRUE(calls.empty());
}

} // namespace

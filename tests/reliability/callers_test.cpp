// Callbacks that throw, that stop at every row, that call the library again; host layers that move
// blocks, round sizes up or fail to lock.
#include "tests/reliability/failing.h"
#include "tests/reliability/pages.h"

#include "dibprep.h"
#include "tests/support/temp_folder.h"
#include "tests/support/test_host.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace {

using hostile::Kinds;
using hostile::Page;
using testdib::Bytes;

// What the current callback does, at which call.
struct Plan {
    enum What { Nothing, Throw, Stop, Convert } what = Nothing;
    int at = 0; // 1: the first call; 0: every call
    int calls = 0;
    Bytes inner; // what Convert made the last time
};
Plan plan;

struct Thrown {};

// Another page on another road, from within.
Bytes ConvertAnother() {
    void* const page = testhost::MakeBlock(Page("8c", 20, 20));
    void* result = nullptr;
    EXPECT_EQ(ConvertResolution(page, &result, nullptr, 60, 128), 0);
    unsigned short status = 0;
    void* const again = ConvertResolution2(page, 2000, 2000, &status);
    Bytes bytes = testhost::Bytes(result);
    const Bytes more = testhost::Bytes(again);
    bytes.insert(bytes.end(), more.begin(), more.end());
    GlobalFree(result);
    GlobalFree(again);
    GlobalFree(page);
    return bytes;
}

int Act() {
    ++plan.calls;
    if (plan.at != 0 && plan.at != plan.calls)
        return 1;
    if (plan.what == Plan::Throw)
        throw Thrown();
    if (plan.what == Plan::Convert)
        plan.inner = ConvertAnother();
    return plan.what == Plan::Stop ? 0 : 1;
}
int Percent(unsigned short) { return Act(); }
int Rows(int, int) { return Act(); }

bool HasColours(const std::string& kind) { return kind.back() == 'c'; }

std::size_t OpenFiles() {
    std::size_t count = 0;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        (void)entry;
        ++count;
    }
    return count;
}

class Callbacks : public testing::Test {
protected:
    void Start(const std::string& kind, Plan::What what, int at) {
        testhost::Reset();
        source = testhost::MakeBlock(Page(kind, 16, 10));
        result = nullptr;
        plan = Plan();
        plan.what = what;
        plan.at = at;
    }
    int Convert() { return ConvertResolution(source, &result, Percent, hostile::Dpi, 128); }
    void* Resample() {
        const tagRECT frame = {0, 0, 20, 13};
        return resampler.BiLinear(testhost::Address(source), &frame, &frame, Rows);
    }
    // Ten rows without a change of size.
    static constexpr int PipelineCalls = 10;
    static constexpr int ResamplerCalls = 13;
    // The pipeline makes no rows of 4 bits on its own road; it widens or expands them first.
    void TearDown() override { testhost::Reset(); }

    void* source = nullptr;
    void* result = nullptr;
    CConvertResolution resampler;
};

TEST_F(Callbacks, ThrowingAtEveryRowOfThePipeline) {
    for (const std::string& kind : Kinds) {
        for (int at = 1; at <= PipelineCalls; ++at) {
            SCOPED_TRACE(kind + ", call " + std::to_string(at));
            Start(kind, Plan::Throw, at);
            EXPECT_THROW(Convert(), Thrown);
            EXPECT_EQ(testhost::OutstandingLocks(), 0);
            ASSERT_TRUE(testhost::IsLive(result)) << "the caller's to free";
            // What the pre-conversion made stays, as it does for colour tables without an exception.
            EXPECT_EQ(testhost::LiveBlocks(), HasColours(kind) || kind == "4g" ? 3 : 2);
            EXPECT_EQ(testhost::BadCalls(), 0);
        }
    }
}

TEST_F(Callbacks, StoppingAtEveryRowOfThePipeline) {
    for (const std::string& kind : Kinds) {
        for (int at = 1; at <= PipelineCalls; ++at) {
            SCOPED_TRACE(kind + ", call " + std::to_string(at));
            Start(kind, Plan::Stop, at);
            EXPECT_EQ(Convert(), 1);
            EXPECT_EQ(plan.calls, at);
            EXPECT_EQ(result, nullptr);
            EXPECT_EQ(testhost::LiveBlocks(), HasColours(kind) ? 2 : 1);
            EXPECT_EQ(testhost::OutstandingLocks(), 0);
            EXPECT_EQ(testhost::BadCalls(), 0);
        }
        Start(kind, Plan::Stop, PipelineCalls + 1);
        EXPECT_EQ(Convert(), 0) << "there is no call that many";
    }
}

TEST_F(Callbacks, ThrowingOrStoppingBetweenFilesClosesThem) {
    const transformtest::TempFolder folder;
    const std::string in = folder.Write("in.bmp", transformtest::AsFile(Page("24", 16, 10)));
    std::string out = folder.Path("out.bmp");
    const auto transform = [&] {
        return LinearTransformMain(TRANSFER_SOURCE_FILE | TRANSFER_DESTINATION_FILE, in.c_str(), out.data(), Percent,
                                   hostile::Dpi, 128);
    };
    const std::size_t open = OpenFiles();
    for (int at = 1; at <= PipelineCalls; ++at) {
        Start("1", Plan::Throw, at);
        EXPECT_THROW(transform(), Thrown);
        EXPECT_EQ(OpenFiles(), open);
        EXPECT_EQ(testhost::LiveBlocks(), 1);
        Start("1", Plan::Stop, at);
        EXPECT_EQ(transform(), 1u);
        EXPECT_EQ(OpenFiles(), open);
        EXPECT_EQ(testhost::LiveBlocks(), 1);
        EXPECT_EQ(testhost::OutstandingLocks(), 0);
    }
}

TEST_F(Callbacks, ThrowingAndStoppingAtEveryRowOfTheResampler) {
    for (const std::string& kind : Kinds) {
        for (int at = 1; at <= ResamplerCalls; ++at) {
            SCOPED_TRACE(kind + ", call " + std::to_string(at));
            Start(kind, Plan::Throw, at);
            EXPECT_THROW(Resample(), Thrown);
            EXPECT_EQ(testhost::LiveBlocks(), 1);
            EXPECT_EQ(testhost::OutstandingLocks(), 0);
            Start(kind, Plan::Stop, at);
            resampler.m_nLastError = 0;
            EXPECT_EQ(Resample(), nullptr);
            EXPECT_EQ(resampler.m_nLastError, -5);
            EXPECT_EQ(plan.calls, at);
            EXPECT_EQ(testhost::LiveBlocks(), 1);
            EXPECT_EQ(testhost::OutstandingLocks(), 0);
            EXPECT_EQ(testhost::BadCalls(), 0);
        }
    }
}

TEST_F(Callbacks, CallingTheLibraryAgainOnAnotherPageDisturbsNeither) {
    testhost::Reset();
    const Bytes inner = ConvertAnother();
    for (const std::string& kind : Kinds) {
        SCOPED_TRACE(kind);
        Start(kind, Plan::Nothing, 0);
        ASSERT_EQ(Convert(), 0);
        const Bytes outer = testhost::Bytes(result);
        Start(kind, Plan::Convert, 0);
        ASSERT_EQ(Convert(), 0);
        EXPECT_EQ(plan.calls, PipelineCalls);
        EXPECT_TRUE(plan.inner == inner);
        EXPECT_TRUE(testhost::Bytes(result) == outer);

        Start(kind, Plan::Nothing, 0);
        const Bytes resampled = testhost::Bytes(Resample());
        Start(kind, Plan::Convert, 0);
        EXPECT_TRUE(testhost::Bytes(Resample()) == resampled);
        EXPECT_EQ(plan.calls, ResamplerCalls);
        EXPECT_TRUE(plan.inner == inner);
        EXPECT_EQ(testhost::OutstandingLocks(), 0);
    }
}

// Layers that keep the contract in other ways than the plain one: the same answers and bytes.
class HostLayers : public testing::TestWithParam<failing::Entry> {
protected:
    void TearDown() override { testhost::Reset(); }
};

TEST_P(HostLayers, ThatMoveUnlockedBlocksOrRoundSizesUp) {
    const failing::Entry& entry = GetParam();
    testhost::Reset();
    entry.prepare();
    const std::string answer = entry.call();
    const std::vector<Bytes> blocks = failing::BlocksOfCall();

    // Blocks whose address the caller has handed in are locked by it and do not move.
    testhost::Reset();
    testhost::SetMovingBlocks(true);
    entry.prepare();
    EXPECT_EQ(entry.call(), answer);
    EXPECT_TRUE(failing::BlocksOfCall() == blocks) << "moving";
    EXPECT_EQ(testhost::BadCalls(), 0);
    EXPECT_EQ(testhost::OutstandingLocks(), 0);

    testhost::Reset();
    testhost::SetSizeAnswer(testhost::SizeAnswer::RoundedUp);
    entry.prepare();
    EXPECT_EQ(entry.call(), answer);
    // The copy of a whole block is as long as the layer says that it is.
    EXPECT_TRUE(failing::BlocksOfCall() == blocks || entry.name == "ConvertResolution2.Copy") << "rounding up";
    EXPECT_EQ(testhost::BadCalls(), 0);
    EXPECT_EQ(testhost::OutstandingLocks(), 0);
}

INSTANTIATE_TEST_SUITE_P(Of, HostLayers, testing::ValuesIn(failing::Entries()), failing::NameOf);

} // namespace

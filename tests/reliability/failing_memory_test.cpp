// Every allocation and every lock of every entry fails in turn, as often as an undisturbed call makes
// one: what is answered, how many blocks are left, and that no lock is.
#include "tests/reliability/failing.h"

#include "tests/support/test_host.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <new>

namespace {

using failing::Entry;

// An answer and the blocks that live after it beyond those of the caller.
std::string AnswerOf(const Entry& entry) {
    const int before = testhost::LiveBlocks();
    std::string answer;
    try {
        answer = entry.call();
    } catch (const std::bad_alloc&) {
        answer = "bad_alloc";
    }
    testhost::FailAllocation(0);
    testhost::FailLock(0);
    testhost::FailNew(0);
    EXPECT_EQ(testhost::BadCalls(), 0);
    return answer + ", " + std::to_string(testhost::LiveBlocks() - before);
}

void Prepare(const Entry& entry) {
    testhost::Reset();
    entry.prepare();
    testhost::ResetCounters();
}

using Answers = std::vector<std::string>;

// The answers when the n-th call fails, for every n that an undisturbed call reaches.
Answers WithFailing(const Entry& entry, void (*fail)(int), int (*count)()) {
    Prepare(entry);
    AnswerOf(entry);
    const int calls = count();
    Answers answers;
    for (int n = 1; n <= calls; ++n) {
        Prepare(entry);
        fail(n);
        answers.push_back(AnswerOf(entry));
        EXPECT_EQ(testhost::OutstandingLocks(), 0) << n;
    }
    testhost::Reset();
    return answers;
}

// A C++ allocation that changes nothing is that of a faster form, which does without.
Answers Without(const std::string& undisturbed, Answers answers) {
    answers.erase(std::remove(answers.begin(), answers.end(), undisturbed), answers.end());
    return answers;
}

// Several answers that are alike: "3 x answer".
std::string Summary(const Answers& answers) {
    std::string text;
    for (std::size_t i = 0; i < answers.size();) {
        std::size_t end = i;
        while (end < answers.size() && answers[end] == answers[i])
            ++end;
        text += (text.empty() ? "" : " | ") + (end - i == 1 ? "" : std::to_string(end - i) + " x ") + answers[i];
        i = end;
    }
    return text;
}

// Undisturbed; with each allocation failing; with each lock failing; with each C++ allocation failing.
// The last number is that of the blocks left: a result counts, and so does what a conversion of a
// colour table leaves behind.
struct Expected {
    std::string undisturbed, allocations, locks, news;
};

const std::map<std::string, Expected> Table = {
    {"ConvertResolution.1",
     {"0, block, 1", "3 x 2, none, 0", "4 x 5, none, 0 | 6, none, 0 | 2 x 2, none, 0", "2, none, 0"}},
    {"ConvertResolution.4c",
     {"0, block, 2", "2, none, 0 | 3 x 2, none, 1 | 0, none, 1",
      "5, none, 0 | 2, none, 0 | 2 x 5, none, 1 | 6, none, 1 | 3 x 2, none, 1 | 2 x 0, none, 1",
      "2 x 2, none, 1 | 0, none, 1"}},
    {"ConvertResolution.4g",
     {"0, block, 1", "2, none, 0 | 2, none, 1 | 2 x 2, none, 0",
      "2 x 5, none, 0 | 2, none, 0 | 5, none, 1 | 5, none, 0 | 6, none, 0 | 2 x 2, none, 0", "2, none, 0"}},
    {"ConvertResolution.8c",
     {"0, block, 2", "2, none, 0 | 3 x 2, none, 1 | 0, none, 1",
      "5, none, 0 | 2, none, 0 | 2 x 5, none, 1 | 6, none, 1 | 3 x 2, none, 1 | 2 x 0, none, 1",
      "2 x 2, none, 1 | 0, none, 1"}},
    {"ConvertResolution.8g",
     {"0, block, 1", "3 x 2, none, 0", "4 x 5, none, 0 | 6, none, 0 | 2 x 2, none, 0", "2, none, 0"}},
    {"ConvertResolution.16",
     {"0, block, 1", "3 x 2, none, 0", "4 x 5, none, 0 | 6, none, 0 | 2 x 2, none, 0", "2, none, 0"}},
    {"ConvertResolution.24",
     {"0, block, 1", "3 x 2, none, 0", "4 x 5, none, 0 | 6, none, 0 | 2 x 2, none, 0", "2, none, 0"}},
    {"ConvertResolution.32",
     {"0, block, 1", "3 x 2, none, 0", "4 x 5, none, 0 | 6, none, 0 | 2 x 2, none, 0", "2, none, 0"}},
    {"LinearTransformMain.MemoryToMemory",
     {"0, block, 0", "2 x 2, block, 0", "5, block, 0 | 6, block, 0 | 2 x 2, block, 0", "2, block, 0"}},
    {"LinearTransformMain.FileToFile", {"0, 0", "2 x 2, 0", "2 x 2, 0", "2, 0"}},
    {"GetTransformImageMemorySize", {"0, 0", "", "5, 0", ""}},
    {"GetBufferSize", {"0, 0", "", "10, 0", ""}},
    {"ConvertImage", {"1, block, 1", "0, none, 0", "2 x 0, none, 0", ""}},
    {"ConvertImage2", {"1, block, 1", "0, none, 0", "2 x 0, none, 0", ""}},
    {"ConvertResolution2.Resampling",
     {"block, 0, 1", "none, 0, 0", "none, 2, 0 | 2 x none, 0, 0 | block, 0, 1", "none, 0, 0"}},
    {"ConvertResolution2.Copy", {"block, 3, 1", "none, 3, 0", "none, 2, 0 | 2 x none, 3, 0", ""}},
    {"BiLinear.1", {"block, 0, 1", "none, -1, 0", "2 x none, -1, 0", "none, -1, 0"}},
    {"BiLinear.8c", {"block, 0, 1", "none, -1, 0", "2 x none, -1, 0", "none, -1, 0"}},
    {"BiLinear.16", {"block, 0, 1", "none, -1, 0", "2 x none, -1, 0", "none, -1, 0"}},
    {"BiLinear.32", {"block, 0, 1", "none, -1, 0", "2 x none, -1, 0", "none, -1, 0"}},
    {"CConvertResolution.CreateDIB", {"block, 0, 1", "none, -1, 0", "none, -1, 0", ""}},
    {"CConvertResolution.GetCoordTable", {"block, 0", "", "", "none, 0"}},
    {"CreateDIB", {"block, 1", "none, 0", "none, 0", ""}},
    {"CreateDIBPalette", {"block, 0", "none, 0", "none, 0", ""}},
    {"RestoreRLE8", {"block, 1", "none, 0", "2 x none, 0", ""}},
    {"RestoreRLE4", {"block, 1", "none, 0", "2 x none, 0", ""}},
    {"TopDownToBottomUp", {"block, 1", "none, 0", "2 x none, 0", ""}},
    {"NormalizeDIB.RunLengths", {"block, 1", "none, 0", "3 x none, 0", ""}},
    {"NormalizeDIB.TopDown", {"block, 1", "none, 0", "2 x none, 0", ""}},
    {"ConvertTo24BPPDIB.1", {"block, 1", "none, 0", "2 x none, 0", ""}},
    {"ConvertTo16BPPDIB.1", {"block, 1", "none, 0", "2 x none, 0", ""}},
    {"ConvertTo24BPPDIB.4c", {"block, 1", "none, 0 | 3 x block, 1", "2 x none, 0 | 3 x block, 1", ""}},
    {"ConvertTo16BPPDIB.4c", {"block, 1", "none, 0", "2 x none, 0", ""}},
    {"ConvertTo24BPPDIB.8c", {"block, 1", "none, 0", "2 x none, 0", ""}},
    {"ConvertTo16BPPDIB.8c", {"block, 1", "2 x none, 0", "3 x none, 0", ""}},
    {"ConvertTo24BPPDIB.16", {"block, 1", "none, 0", "2 x none, 0", ""}},
    {"ConvertTo16BPPDIB.16", {"block, 1", "none, 0", "2 x none, 0", ""}},
    {"ConvertTo24BPPDIB.24", {"block, 1", "none, 0", "2 x none, 0", ""}},
    {"ConvertTo16BPPDIB.24", {"block, 1", "none, 0", "2 x none, 0", ""}},
    {"ConvertTo24BPPDIB.32", {"block, 1", "none, 0", "2 x none, 0", ""}},
    {"ConvertTo16BPPDIB.32", {"block, 1", "none, 0", "2 x none, 0", ""}},
    {"ConvertTo24BPPDIB.RunLengths", {"block, 1", "block, 1 | none, 0", "3 x block, 1 | 3 x none, 0", ""}},
    {"ConvertTo16BPPDIB.TopDown", {"block, 1", "2 x none, 0", "5 x none, 0", ""}},
    {"QuantizeBitmap.16", {"block, 1", "none, 0", "2 x none, 0", "none, 0"}},
    {"QuantizeBitmap.24", {"block, 1", "none, 0", "2 x none, 0", "none, 0"}},
    {"CImgConverter", {"0, block, block, 2", "0, none, block, 1 | 0, block, none, 1", "", ""}},
    {"SetStaticColors", {"0, 0", "1, 0", "0, 0", ""}},
};

class FailingMemory : public testing::TestWithParam<Entry> {};

TEST_P(FailingMemory, EachAllocationAndEachLock) {
    const Entry& entry = GetParam();
    Prepare(entry);
    Expected made;
    made.undisturbed = AnswerOf(entry);
    EXPECT_EQ(testhost::OutstandingLocks(), 0);
    made.allocations = Summary(WithFailing(entry, testhost::FailAllocation, testhost::Allocations));
    made.locks = Summary(WithFailing(entry, testhost::FailLock, testhost::Locks));
    const bool failsNew = testhost::CanFailNew();
    if (failsNew)
        made.news = Summary(Without(made.undisturbed, WithFailing(entry, testhost::FailNew, failing::NewsOfCall)));
    ASSERT_EQ(Table.count(entry.name), 1u);
    const Expected& expected = Table.at(entry.name);
    EXPECT_EQ(made.undisturbed, expected.undisturbed);
    EXPECT_EQ(made.allocations, expected.allocations);
    EXPECT_EQ(made.locks, expected.locks);
    EXPECT_EQ(made.news, failsNew ? expected.news : std::string()) << "the sanitizers keep operator new";
}

INSTANTIATE_TEST_SUITE_P(Of, FailingMemory, testing::ValuesIn(failing::Entries()), failing::NameOf);

} // namespace

// What the pipeline asks of a host's file functions, call by call, and what it makes of their answers.
// This program brings the five functions itself: files that live in memory, in front of libdibhost's.
#include "tests/transform/transform_support.h"

#include "dibprep/host.h"

#include <cstring>
#include <map>
#include <sstream>

namespace {

using namespace transformtest;

struct OpenedFile {
    std::string path;
    std::size_t at = 0;
};

std::map<std::string, Bytes> disk;
std::map<void*, OpenedFile> opened;
std::vector<std::string> calls;
void* watchedBlock; // whose locks are told at every CloseHandle; may be null
int failingCall;    // of `failingFunction`, from 1; 0: none
std::string failingFunction;
int countOffBy;           // what the failing call adds to the count that it tells
bool failingSucceeds;     // the failing call answers success all the same
unsigned int offsetAhead; // added to every offset that SetFilePointer answers, taken off those it is given

template <typename... Parts>
void Note(const Parts&... parts) {
    std::ostringstream text;
    (text << ... << parts);
    calls.push_back(text.str());
}

// Whether this call of the function is the one that is to fail.
bool Fails(const std::string& function) { return failingFunction == function && --failingCall == 0; }

const std::string& PathOf(void* file) { return opened.at(file).path; }

} // namespace

extern "C" void* CreateFile(const char* path, unsigned int access, unsigned int share, void* security,
                            unsigned int creation, unsigned int flags, void* templateFile) {
    Note("open ", path, std::hex, " ", access, " ", share, " ", security != nullptr, " ", creation, " ", flags, " ",
         templateFile != nullptr);
    if (Fails("CreateFile"))
        return reinterpret_cast<void*>(std::intptr_t{-1});
    if (creation == 2)
        disk[path].clear();
    static std::uintptr_t last = 0x5000;
    void* const handle = reinterpret_cast<void*>(++last);
    opened[handle].path = path;
    return handle;
}

extern "C" int ReadFile(void* file, void* buffer, unsigned int bytes, unsigned int* bytesRead, void*) {
    OpenedFile& from = opened.at(file);
    Note("read ", from.path, " ", bytes);
    const Bytes& all = disk[from.path];
    const std::size_t there = std::min<std::size_t>(bytes, all.size() - std::min(all.size(), from.at));
    if (there > 0)
        std::memcpy(buffer, all.data() + from.at, there);
    from.at += there;
    *bytesRead = static_cast<unsigned int>(there);
    if (!Fails("ReadFile"))
        return 1;
    *bytesRead += static_cast<unsigned int>(countOffBy);
    return failingSucceeds ? 1 : 0;
}

extern "C" int WriteFile(void* file, const void* buffer, unsigned int bytes, unsigned int* bytesWritten, void*) {
    OpenedFile& to = opened.at(file);
    Note("write ", to.path, " ", bytes);
    Bytes& all = disk[to.path];
    all.resize(std::max(all.size(), to.at + bytes));
    std::memcpy(all.data() + to.at, buffer, bytes);
    to.at += bytes;
    *bytesWritten = bytes;
    if (!Fails("WriteFile"))
        return 1;
    *bytesWritten += static_cast<unsigned int>(countOffBy);
    return failingSucceeds ? 1 : 0;
}

extern "C" unsigned int SetFilePointer(void* file, int distance, int* high, unsigned int method) {
    OpenedFile& at = opened.at(file);
    Note(method == 0 ? "seek " : "tell ", at.path, " ", distance, " ", high != nullptr, " ", method);
    if (Fails("SetFilePointer"))
        return 0xFFFFFFFF;
    if (method == 0)
        at.at = static_cast<std::size_t>(distance) - offsetAhead;
    return static_cast<unsigned int>(at.at) + offsetAhead;
}

extern "C" int CloseHandle(void* file) {
    Note("close ", PathOf(file), " ", watchedBlock ? testhost::LockCount(watchedBlock) : 0);
    opened.erase(file);
    return 1;
}

namespace {

using Calls = std::vector<std::string>;

constexpr unsigned short FileToFile = TRANSFER_SOURCE_FILE | TRANSFER_DESTINATION_FILE;
constexpr unsigned short FileToMemory = TRANSFER_SOURCE_FILE | TRANSFER_DESTINATION_MEMORY;
constexpr unsigned short MemoryToFile = TRANSFER_SOURCE_MEMORY | TRANSFER_DESTINATION_FILE;

// A file of 3 x 2 pixels of 24 bits, rows of 12 bytes; its first 14 bytes say nothing of use.
Bytes SmallFile() {
    Bytes dib = testdib::MakeDib(3, 2, 24, Ppm100, Ppm100);
    Put(dib, 40, {1, 2, 3, 4, 5, 6, 7, 8, 9, 0, 0, 0, 11, 12, 13, 14, 15, 16, 17, 18, 19, 0, 0, 0});
    Bytes file(14 + dib.size(), 0x77);
    std::copy(dib.begin(), dib.end(), file.begin() + 14);
    return file;
}

class FileCalls : public MemoryTest {
protected:
    void SetUp() override {
        MemoryTest::SetUp();
        disk.clear();
        opened.clear();
        calls.clear();
        watchedBlock = nullptr;
        Fail("", 0);
        offsetAhead = 0;
        disk["in"] = SmallFile();
    }
    void TearDown() override {
        EXPECT_TRUE(opened.empty()) << "every file is closed";
        MemoryTest::TearDown();
    }
    static void Fail(const char* function, int call, int offBy = 0, bool succeeds = false) {
        failingFunction = function;
        failingCall = call;
        countOffBy = offBy;
        failingSucceeds = succeeds;
    }
    static unsigned Run() {
        disk.erase("out");
        char in[] = "in", out[] = "out";
        return LinearTransformMain(FileToFile, in, out, nullptr, 100, 128);
    }
};

TEST_F(FileCalls, ASourceIsOpenedAsItStandsADestinationAnew) {
    char in[] = "in", out[] = "out";
    { const CBufTransfer source(in, 2, 0); }
    { const CBufTransfer destination(out, 2, 1); }
    EXPECT_EQ(calls, (Calls{"open in c0000000 3 0 3 10000080 0", "close in 0", //
                            "open out c0000000 3 0 2 10000080 0", "close out 0"}));
}

TEST_F(FileCalls, AFileThatCannotBeOpenedIsHandleZeroAndNotClosed) {
    Fail("CreateFile", 1);
    char in[] = "in";
    {
        const CBufTransfer source(in, 2, 0);
        EXPECT_EQ(source.handle, nullptr);
    }
    EXPECT_EQ(calls.size(), 1u);
}

TEST_F(FileCalls, TheSizeQueryReadsBothHeadersAndCloses) {
    unsigned int size = 0;
    EXPECT_EQ(GetTransformImageMemorySize(TRANSFER_SOURCE_FILE, "in", 100, &size), 0u);
    EXPECT_EQ(size, 1078u + 24u);
    EXPECT_EQ(calls, (Calls{"open in c0000000 3 0 3 10000080 0", "read in 14", "tell in 0 0 1", "read in 40",
                            "tell in 0 0 1", "close in 0"}));
}

TEST_F(FileCalls, ATransformOpensSourceThenDestinationAndClosesThemTheOtherWayRound) {
    EXPECT_EQ(Run(), 0u);
    EXPECT_EQ(calls,
              (Calls{"open in c0000000 3 0 3 10000080 0", "open out c0000000 3 0 2 10000080 0", "read in 14",
                     "tell in 0 0 1", "read in 40", "tell in 0 0 1", "write out 54", "tell out 0 0 1",
                     // row 0 from rows 0 and 1
                     "seek in 54 0 0", "read in 12", "tell in 0 0 1", "seek in 66 0 0", "read in 12", "tell in 0 0 1",
                     "seek out 54 0 0", "write out 12", "tell out 0 0 1",
                     // row 1, the last one, is its own neighbour
                     "seek in 66 0 0", "read in 12", "tell in 0 0 1", "seek in 66 0 0", "read in 12", "tell in 0 0 1",
                     "seek out 66 0 0", "write out 12", "tell out 0 0 1", "close out 0", "close in 0"}));
    EXPECT_EQ(Part(disk["out"], 54, 24), Part(disk["in"], 54, 24));
}

TEST_F(FileCalls, TheDestinationIsReleasedBeforeTheSourceOnEveryRoad) {
    const Bytes dib = Part(SmallFile(), 14, 64);
    const Bytes unresolved = testdib::MakeDib(3, 2, 24, 0, 0);
    const auto stop = [](unsigned short) { return 0; };
    for (const auto& [bytes, callback, status] :
         {std::tuple<Bytes, int (*)(unsigned short), unsigned>{dib, nullptr, 0u},
          {dib, stop, 1u},
          {unresolved, nullptr, 11u},
          {Part(dib, 0, 39), nullptr, 5u}}) {
        void* block = watchedBlock = testhost::MakeBlock(bytes);
        char out[] = "out";
        calls.clear();
        EXPECT_EQ(LinearTransformMain(MemoryToFile, block ? &block : nullptr, out, callback, 100, 128), status);
        EXPECT_EQ(calls.back(), "close out 1") << "the source is still locked, status " << status;
        EXPECT_EQ(testhost::LockCount(block), 0);

        disk["in"] = SmallFile();
        std::copy(bytes.begin(), bytes.end(), disk["in"].begin() + 14);
        disk["in"].resize(14 + bytes.size());
        block = watchedBlock = testhost::MakeBlock(Bytes(2000));
        EXPECT_EQ(LinearTransformMain(FileToMemory, "in", &block, callback, 100, 128), status);
        EXPECT_EQ(calls.back(), "close in 0") << "the destination is unlocked already, status " << status;
    }
    watchedBlock = nullptr;
}

TEST_F(FileCalls, OffsetsAreTheHostsAnswers) {
    // A file that stands inside another: its offsets begin at 1000.
    offsetAhead = 1000;
    {
        char in[] = "in";
        CBufTransfer source(in, 2, 0);
        CLinearTransformMem engine;
        engine.source = &source;
        EXPECT_EQ(engine.GetSourceImageInfo(), 0);
        EXPECT_EQ(engine.srcBitsOffset, 1054);
        Bytes row(12);
        EXPECT_EQ(engine.GetImageLine(1, row.data()), 1);
        EXPECT_EQ(row, Part(disk["in"], 66, 12));
        EXPECT_EQ(source.position, 1078u);
    }
    EXPECT_EQ(Run(), 0u);
    EXPECT_EQ(Part(disk["out"], 54, 24), Part(disk["in"], 54, 24));
}

TEST_F(FileCalls, OtherCountsAndFailedCallsAreFailuresOfTheirSide) {
    // Two headers and two rows of two neighbours; the headers and two rows.
    for (const auto& [function, count, status] : {std::tuple{"ReadFile", 6, 5u}, {"WriteFile", 3, 6u}}) {
        for (int call = 1; call <= count; ++call) {
            Fail(function, call, 0, false);
            EXPECT_EQ(Run(), status) << function << " " << call << " says no with the whole count";
            Fail(function, call, -1, true);
            EXPECT_EQ(Run(), status) << function << " " << call << ", a byte short";
            Fail(function, call, 1, true);
            EXPECT_EQ(Run(), status) << function << " " << call << ", a byte too many";
        }
        Fail(function, count + 1);
        EXPECT_EQ(Run(), 0u) << "there is no further call";
    }
    for (int call = 1; call <= 2; ++call) {
        unsigned int size = 77;
        Fail("ReadFile", call, 0, false);
        EXPECT_EQ(GetTransformImageMemorySize(TRANSFER_SOURCE_FILE, "in", 100, &size), 5u);
        EXPECT_EQ(size, 0u);
        Fail("ReadFile", call, 1, true);
        EXPECT_EQ(GetTransformImageMemorySize(TRANSFER_SOURCE_FILE, "in", 100, &size), 5u);
    }
}

TEST_F(FileCalls, ARowThatCannotBeFoundIsAFailureOfItsSide) {
    // Calls of SetFilePointer: after both headers, after the written ones, then row by row as above.
    const struct {
        int call;
        unsigned status;
    } seeks[] = {{4, 5}, {6, 5}, {8, 6}, {10, 5}, {12, 5}, {14, 6}};
    for (const auto& seek : seeks) {
        Fail("SetFilePointer", seek.call);
        EXPECT_EQ(Run(), seek.status) << seek.call;
    }
    char in[] = "in";
    CBufTransfer source(in, 2, 0);
    CLinearTransformMem engine;
    engine.source = &source;
    Fail("", 0);
    ASSERT_EQ(engine.GetSourceImageInfo(), 0);
    Bytes row(12, 0xEE);
    Fail("SetFilePointer", 1);
    EXPECT_EQ(engine.GetImageLine(0, row.data()), 0);
    EXPECT_EQ(row, Bytes(12, 0xEE)) << "nothing is read";
}

} // namespace

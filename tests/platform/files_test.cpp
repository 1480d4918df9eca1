// Files of the host layer: opening, reading, writing, closing.
#include "tests/support/temp_folder.h"

#include "dibprep/host.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>

using transformtest::TempFolder;

namespace {

constexpr unsigned int ReadWrite = 0xC0000000;
constexpr unsigned int ReadOnly = 0x80000000;
constexpr unsigned int WriteOnly = 0x40000000;

void* const NoFile = reinterpret_cast<void*>(std::intptr_t{-1});

// As the library opens its sources (3) and destinations (2).
void* Open(const std::string& path, unsigned int creation, unsigned int access = ReadWrite) {
    return CreateFile(path.c_str(), access, 3, nullptr, creation, 0x10000080, nullptr);
}

} // namespace

TEST(HostFiles, WrittenBytesAreReadBack) {
    const TempFolder folder;
    void* const out = Open(folder.Path("a"), 2);
    ASSERT_NE(out, NoFile);
    unsigned int count = 99;
    EXPECT_NE(WriteFile(out, "abcdef", 6, &count, nullptr), 0);
    EXPECT_EQ(count, 6u);
    EXPECT_NE(CloseHandle(out), 0);

    void* const in = Open(folder.Path("a"), 3);
    ASSERT_NE(in, NoFile);
    char bytes[6] = {};
    EXPECT_NE(ReadFile(in, bytes, 4, &count, nullptr), 0);
    EXPECT_EQ(count, 4u);
    EXPECT_EQ(std::string(bytes, 4), "abcd");
    EXPECT_NE(CloseHandle(in), 0);
}

TEST(HostFiles, CreatingAlwaysEmptiesAnExistingFile) {
    const TempFolder folder;
    folder.Write("a", {1, 2, 3});
    void* const file = Open(folder.Path("a"), 2);
    ASSERT_NE(file, NoFile);
    CloseHandle(file);
    EXPECT_TRUE(folder.Read("a").empty());
}

TEST(HostFiles, OpeningExistingKeepsTheBytesAndNeverMakesAFile) {
    const TempFolder folder;
    folder.Write("a", {1, 2, 3});
    void* const file = Open(folder.Path("a"), 3);
    ASSERT_NE(file, NoFile);
    unsigned int count = 0;
    EXPECT_NE(WriteFile(file, "\x09", 1, &count, nullptr), 0);
    CloseHandle(file);
    EXPECT_EQ(folder.Read("a"), (testdib::Bytes{9, 2, 3}));
    EXPECT_EQ(Open(folder.Path("none"), 3), NoFile);
    EXPECT_FALSE(std::filesystem::exists(folder.Path("none")));
}

TEST(HostFiles, OtherWaysOfCreatingAreKnownToo) {
    const TempFolder folder;
    folder.Write("a", {1, 2, 3});
    EXPECT_EQ(Open(folder.Path("a"), 1), NoFile);
    void* file = Open(folder.Path("new"), 1);
    EXPECT_NE(file, NoFile);
    CloseHandle(file);
    file = Open(folder.Path("a"), 4);
    EXPECT_NE(file, NoFile);
    CloseHandle(file);
    EXPECT_EQ(folder.Read("a").size(), 3u);
    file = Open(folder.Path("other"), 4);
    EXPECT_NE(file, NoFile);
    CloseHandle(file);
    EXPECT_EQ(Open(folder.Path("none"), 5), NoFile);
    file = Open(folder.Path("a"), 5);
    EXPECT_NE(file, NoFile);
    CloseHandle(file);
    EXPECT_TRUE(folder.Read("a").empty());
}

TEST(HostFiles, WhatIsNoFileIsRefused) {
    const TempFolder folder;
    ASSERT_EQ(mkfifo(folder.Path("pipe").c_str(), 0600), 0);
    EXPECT_EQ(Open(folder.Path("."), 3), NoFile);
    EXPECT_EQ(Open(folder.Path("."), 3, ReadOnly), NoFile);
    EXPECT_EQ(Open(folder.Path("."), 2), NoFile);
    EXPECT_EQ(Open(folder.Path("pipe"), 3), NoFile);
    EXPECT_EQ(Open(folder.Path("pipe"), 3, ReadOnly), NoFile);
    EXPECT_EQ(Open(folder.Path("none/file"), 2), NoFile);
    EXPECT_EQ(Open("", 3), NoFile);
    EXPECT_EQ(CreateFile(nullptr, ReadWrite, 3, nullptr, 3, 0, nullptr), NoFile);
}

TEST(HostFiles, UnknownCreationAndNoAccessAreRefused) {
    const TempFolder folder;
    folder.Write("a", {1});
    EXPECT_EQ(Open(folder.Path("a"), 0), NoFile);
    EXPECT_EQ(Open(folder.Path("a"), 6), NoFile);
    EXPECT_EQ(Open(folder.Path("a"), 3, 0), NoFile);
}

TEST(HostFiles, ReadingStopsAtTheEndWithoutAnError) {
    const TempFolder folder;
    folder.Write("a", {1, 2, 3});
    void* const file = Open(folder.Path("a"), 3);
    unsigned char bytes[10] = {};
    unsigned int count = 99;
    EXPECT_NE(ReadFile(file, bytes, 10, &count, nullptr), 0);
    EXPECT_EQ(count, 3u);
    EXPECT_EQ(bytes[2], 3);
    EXPECT_EQ(bytes[3], 0);
    EXPECT_NE(ReadFile(file, bytes, 10, &count, nullptr), 0);
    EXPECT_EQ(count, 0u);
    CloseHandle(file);
}

TEST(HostFiles, NoBytesAreReadAndWrittenWithSuccess) {
    const TempFolder folder;
    void* const file = Open(folder.Path("a"), 2);
    unsigned int count = 99;
    EXPECT_NE(WriteFile(file, nullptr, 0, &count, nullptr), 0);
    EXPECT_EQ(count, 0u);
    count = 99;
    EXPECT_NE(ReadFile(file, nullptr, 0, &count, nullptr), 0);
    EXPECT_EQ(count, 0u);
    CloseHandle(file);
}

TEST(HostFiles, ABufferThatCannotBeReachedIsAnErrorAndNoCrash) {
    const TempFolder folder;
    folder.Write("a", {1, 2, 3});
    void* const file = Open(folder.Path("a"), 3);
    unsigned int count = 99;
    EXPECT_EQ(ReadFile(file, nullptr, 3, &count, nullptr), 0);
    EXPECT_EQ(count, 0u);
    CloseHandle(file);
}

TEST(HostFiles, FullDeviceFailsTheWrite) {
    void* const file = Open("/dev/full", 2);
    ASSERT_NE(file, NoFile);
    unsigned int count = 99;
    EXPECT_EQ(WriteFile(file, "abc", 3, &count, nullptr), 0);
    EXPECT_EQ(count, 0u);
    CloseHandle(file);
}

TEST(HostFiles, AccessIsHonoured) {
    const TempFolder folder;
    folder.Write("a", {1, 2, 3});
    unsigned char byte = 0;
    unsigned int count = 99;
    void* const reads = Open(folder.Path("a"), 3, ReadOnly);
    EXPECT_EQ(WriteFile(reads, "x", 1, &count, nullptr), 0);
    EXPECT_NE(ReadFile(reads, &byte, 1, &count, nullptr), 0);
    EXPECT_EQ(count, 1u);
    CloseHandle(reads);
    void* const writes = Open(folder.Path("a"), 3, WriteOnly);
    EXPECT_EQ(ReadFile(writes, &byte, 1, &count, nullptr), 0);
    EXPECT_NE(WriteFile(writes, "x", 1, &count, nullptr), 0);
    EXPECT_EQ(count, 1u);
    CloseHandle(writes);
}

TEST(HostFiles, SourceThatMayOnlyBeReadIsOpenedForReading) {
    // A running program cannot be written, by nobody.
    void* const file = Open("/proc/self/exe", 3);
    ASSERT_NE(file, NoFile);
    unsigned char head[4] = {};
    unsigned int count = 0;
    EXPECT_NE(ReadFile(file, head, 4, &count, nullptr), 0);
    EXPECT_EQ(count, 4u);
    EXPECT_EQ(head[1], 'E');
    EXPECT_EQ(WriteFile(file, head, 4, &count, nullptr), 0);
    EXPECT_EQ(count, 0u);
    CloseHandle(file);
    EXPECT_EQ(Open("/proc/self/exe", 2), NoFile);
    EXPECT_EQ(Open("/proc/self/exe", 3, WriteOnly), NoFile);
}

namespace {

// An ordinary user for a scope, also where the tests are run by root, whom no permission stops.
class AsNobody {
public:
    AsNobody() : m_changed(geteuid() == 0 && seteuid(65534) == 0) {}
    ~AsNobody() {
        if (m_changed && seteuid(0) != 0)
            std::abort();
    }

private:
    bool m_changed;
};

} // namespace

TEST(HostFiles, SourceWithoutPermissionToWriteIsOpenedForReading) {
    const TempFolder folder;
    folder.Write("a", {1, 2, 3});
    ASSERT_EQ(chmod(folder.Path("").c_str(), 0755), 0);
    ASSERT_EQ(chmod(folder.Path("a").c_str(), 0444), 0);
    const AsNobody nobody;
    if (geteuid() == 0 || access(folder.Path("a").c_str(), R_OK) != 0)
        GTEST_SKIP() << "this user cannot become one whom permissions stop";
    void* const file = Open(folder.Path("a"), 3);
    ASSERT_NE(file, NoFile);
    unsigned char bytes[3] = {};
    unsigned int count = 0;
    EXPECT_NE(ReadFile(file, bytes, 3, &count, nullptr), 0);
    EXPECT_EQ(bytes[2], 3);
    EXPECT_EQ(WriteFile(file, bytes, 1, &count, nullptr), 0);
    CloseHandle(file);
    EXPECT_EQ(Open(folder.Path("a"), 2), NoFile);
    EXPECT_EQ(Open(folder.Path("a"), 3, WriteOnly), NoFile);
}

TEST(HostFiles, ProgramsThatTheHostStartsDoNotInheritThem) {
    const TempFolder folder;
    void* const file = Open(folder.Path("a"), 2);
    ASSERT_NE(file, NoFile);
    int found = 0;
    for (int descriptor = 3; descriptor < 256; ++descriptor) {
        std::error_code error;
        const auto target = std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(descriptor), error);
        if (error || target != std::filesystem::canonical(folder.Path("a")))
            continue;
        ++found;
        EXPECT_EQ(fcntl(descriptor, F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
    }
    EXPECT_EQ(found, 1);
    CloseHandle(file);
}

TEST(HostFiles, ForeignHandlesAreRefused) {
    const TempFolder folder;
    void* const closed = Open(folder.Path("a"), 2);
    EXPECT_NE(CloseHandle(closed), 0);
    void* const block = GlobalAlloc(66, 10);
    void* const other = Open(folder.Path("b"), 2);
    char byte = 0;
    for (void* const bad : {closed, block, NoFile, static_cast<void*>(nullptr), static_cast<void*>(&byte)}) {
        unsigned int count = 99;
        EXPECT_EQ(ReadFile(bad, &byte, 1, &count, nullptr), 0);
        EXPECT_EQ(count, 0u);
        count = 99;
        EXPECT_EQ(WriteFile(bad, &byte, 1, &count, nullptr), 0);
        EXPECT_EQ(count, 0u);
        EXPECT_EQ(SetFilePointer(bad, 0, nullptr, 1), 0xFFFFFFFFu);
        EXPECT_EQ(CloseHandle(bad), 0);
    }
    EXPECT_EQ(GlobalLock(other), nullptr);
    EXPECT_EQ(GlobalFlags(other), 32768u);
    EXPECT_EQ(GlobalFree(other), other);
    EXPECT_EQ(GlobalFlags(block), 0u);
    GlobalFree(block);
    EXPECT_NE(CloseHandle(other), 0);
}

TEST(HostFiles, WaitingRequestsAreNotSupported) {
    const TempFolder folder;
    folder.Write("a", {1});
    void* const file = Open(folder.Path("a"), 3);
    char byte = 0;
    unsigned int count = 99;
    EXPECT_EQ(ReadFile(file, &byte, 1, &count, &byte), 0);
    EXPECT_EQ(WriteFile(file, &byte, 1, &count, &byte), 0);
    CloseHandle(file);
}

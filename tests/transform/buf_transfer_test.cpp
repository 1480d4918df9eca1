// CBufTransfer: what each transfer type sets, takes and releases.
#include "tests/support/temp_folder.h"
#include "tests/transform/transform_support.h"

#include <filesystem>

namespace {

using namespace transformtest;

class BufTransfer : public MemoryTest {};

TEST_F(BufTransfer, MemoryHandleIsLockedWhileTheTransferLives) {
    void* block = testhost::MakeBlock({1, 2, 3});
    {
        const CBufTransfer t(&block, 1, 0);
        EXPECT_EQ(t.handle, block);
        EXPECT_EQ(t.data, testhost::Address(block));
        EXPECT_EQ(t.type, 1);
        EXPECT_EQ(t.position, 0u);
        EXPECT_EQ(testhost::LockCount(block), 1);
    }
    EXPECT_EQ(testhost::LockCount(block), 0);
    EXPECT_TRUE(testhost::IsLive(block)) << "the block belongs to the caller";
}

TEST_F(BufTransfer, HandleZeroIsNotLocked) {
    void* none = nullptr;
    const CBufTransfer t(&none, 1, 0);
    EXPECT_EQ(t.handle, nullptr);
    EXPECT_EQ(t.data, nullptr);
    EXPECT_EQ(testhost::Locks(), 0);
}

TEST_F(BufTransfer, FailedLockLeavesNoDataAndUnlocksNothing) {
    void* block = testhost::MakeBlock({1, 2, 3});
    testhost::FailLock(1);
    {
        const CBufTransfer t(&block, 1, 0);
        EXPECT_EQ(t.handle, block);
        EXPECT_EQ(t.data, nullptr);
    }
    EXPECT_EQ(testhost::LockCount(block), 0);
}

TEST_F(BufTransfer, PlainAddressIsTakenAsItIs) {
    unsigned char bytes[4] = {};
    const CBufTransfer t(bytes, 3, 0);
    EXPECT_EQ(t.data, bytes);
    EXPECT_EQ(t.type, 3);
    EXPECT_EQ(t.position, 0u);
    EXPECT_EQ(testhost::Locks(), 0);
}

TEST_F(BufTransfer, EveryOtherTypeIsInert) {
    for (const unsigned short type : {0, 4, 16, 65535}) {
        unsigned char bytes[4] = {};
        const CBufTransfer t(bytes, type, 0);
        EXPECT_EQ(t.type, type);
        EXPECT_EQ(t.position, 0u);
        EXPECT_EQ(t.data, nullptr);
    }
    EXPECT_EQ(testhost::Locks(), 0);
}

TEST_F(BufTransfer, OpensAnExistingFile) {
    const TempFolder folder;
    std::string path = folder.Write("page.bmp", {9, 8, 7});
    {
        const CBufTransfer t(path.data(), 2, 0);
        EXPECT_NE(t.handle, nullptr);
        EXPECT_EQ(t.type, 2);
        EXPECT_EQ(t.position, 0u);
    }
    EXPECT_EQ(folder.Read("page.bmp"), (Bytes{9, 8, 7})) << "opening does not truncate";
}

TEST_F(BufTransfer, MissingFileGivesHandleZero) {
    const TempFolder folder;
    std::string path = folder.Path("absent.bmp");
    const CBufTransfer t(path.data(), 2, 0);
    EXPECT_EQ(t.handle, nullptr);
    EXPECT_FALSE(std::filesystem::exists(path));
}

TEST_F(BufTransfer, CreateMakesOrEmptiesTheFile) {
    const TempFolder folder;
    std::string fresh = folder.Path("new.bmp");
    std::string old = folder.Write("old.bmp", {9, 8, 7});
    {
        const CBufTransfer a(fresh.data(), 2, 1);
        const CBufTransfer b(old.data(), 2, 1);
        EXPECT_NE(a.handle, nullptr);
        EXPECT_NE(b.handle, nullptr);
    }
    EXPECT_EQ(folder.Read("new.bmp"), Bytes{});
    EXPECT_EQ(folder.Read("old.bmp"), Bytes{});
}

TEST_F(BufTransfer, OnlyCreateOneMakesAFile) {
    const TempFolder folder;
    std::string path = folder.Path("new.bmp");
    const CBufTransfer t(path.data(), 2, 2);
    EXPECT_EQ(t.handle, nullptr);
    EXPECT_FALSE(std::filesystem::exists(path));
}

TEST_F(BufTransfer, DestructorClosesTheFile) {
    const TempFolder folder;
    std::string path = folder.Write("page.bmp", {1});
    const auto openFiles = [] {
        const std::filesystem::directory_iterator entries("/proc/self/fd");
        return std::distance(begin(entries), end(entries));
    };
    const auto before = openFiles();
    for (int i = 0; i < 20; ++i)
        const CBufTransfer t(path.data(), 2, 0);
    EXPECT_EQ(openFiles(), before);
}

} // namespace

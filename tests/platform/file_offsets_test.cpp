// File offsets: 32-bit and 64-bit distances, and files larger than 2 and 4 GiB.
#include "tests/support/temp_folder.h"

#include "dibprep/host.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

using transformtest::TempFolder;

namespace {

constexpr unsigned int FromStart = 0;
constexpr unsigned int FromCurrent = 1;
constexpr unsigned int FromEnd = 2;
constexpr unsigned int Failed = 0xFFFFFFFF;

class HostFileOffsets : public testing::Test {
protected:
    HostFileOffsets() : m_file(Open(2)) {}
    ~HostFileOffsets() override { CloseHandle(m_file); }

    void* Open(unsigned int creation) const {
        return CreateFile(m_folder.Path("file").c_str(), 0xC0000000, 3, nullptr, creation, 0x10000080, nullptr);
    }
    void Reopen() {
        CloseHandle(m_file);
        m_file = Open(3);
        ASSERT_NE(m_file, reinterpret_cast<void*>(std::intptr_t{-1}));
    }
    void* File() const { return m_file; }
    unsigned int Seek(int distance, unsigned int method) const {
        return SetFilePointer(m_file, distance, nullptr, method);
    }
    void Write(const std::string& bytes) const {
        unsigned int count = 0;
        EXPECT_NE(WriteFile(m_file, bytes.data(), static_cast<unsigned int>(bytes.size()), &count, nullptr), 0);
        EXPECT_EQ(count, bytes.size());
    }
    std::string Read(unsigned int bytes) const {
        std::string text(bytes, '?');
        unsigned int count = 0;
        EXPECT_NE(ReadFile(m_file, &text[0], bytes, &count, nullptr), 0);
        text.resize(count);
        return text;
    }
    // A sparse file that ends with these bytes.
    void WriteAt(int low, int high, const std::string& bytes) const {
        int upper = high;
        EXPECT_EQ(SetFilePointer(m_file, low, &upper, FromStart), static_cast<unsigned int>(low));
        EXPECT_EQ(upper, high);
        Write(bytes);
    }

private:
    const TempFolder m_folder;
    void* m_file;
};

} // namespace

TEST_F(HostFileOffsets, CountFromStartCurrentAndEnd) {
    Write("0123456789");
    EXPECT_EQ(Seek(0, FromCurrent), 10u);
    EXPECT_EQ(Seek(4, FromStart), 4u);
    EXPECT_EQ(Read(1), "4");
    EXPECT_EQ(Seek(-2, FromCurrent), 3u);
    EXPECT_EQ(Seek(-1, FromEnd), 9u);
    EXPECT_EQ(Read(5), "9");
    EXPECT_EQ(Seek(5, FromEnd), 15u);
}

TEST_F(HostFileOffsets, BadMovesFailAndMoveNothing) {
    Write("0123456789");
    Seek(4, FromStart);
    EXPECT_EQ(Seek(-1, FromStart), Failed);
    EXPECT_EQ(Seek(-5, FromCurrent), Failed);
    EXPECT_EQ(Seek(-11, FromEnd), Failed);
    EXPECT_EQ(Seek(0, 3), Failed);
    EXPECT_EQ(Seek(static_cast<int>(0x80000000), FromStart), Failed);
    EXPECT_EQ(Seek(0, FromCurrent), 4u);
}

TEST_F(HostFileOffsets, FilesAboveTwoGibibytesOpenAndAreRead) {
    WriteAt(static_cast<int>(0xC0000000), 0, "tail");
    Reopen();
    EXPECT_EQ(Seek(-4, FromEnd), 0xC0000000u);
    EXPECT_EQ(Read(10), "tail");
    EXPECT_EQ(Seek(0, FromCurrent), 0xC0000004u);
}

TEST_F(HostFileOffsets, OffsetThatNeedsMoreThan32BitsFailsWithoutAnUpperHalf) {
    WriteAt(0x40000000, 1, "tail");
    Reopen();
    EXPECT_EQ(Seek(-4, FromEnd), Failed);
    EXPECT_EQ(Seek(0, FromCurrent), 0u);
    int upper = -1;
    EXPECT_EQ(SetFilePointer(File(), -4, &upper, FromEnd), 0x40000000u);
    EXPECT_EQ(upper, 1);
    EXPECT_EQ(Read(10), "tail");
    EXPECT_EQ(Seek(0, FromCurrent), Failed);
}

TEST_F(HostFileOffsets, LastOffsetOf32BitsIsTheFailureValueAndNeedsAnUpperHalf) {
    WriteAt(static_cast<int>(0xFFFFFFFE), 0, "");
    EXPECT_EQ(Seek(0, FromCurrent), 0xFFFFFFFEu);
    EXPECT_EQ(Seek(1, FromCurrent), Failed);
    EXPECT_EQ(Seek(0, FromCurrent), 0xFFFFFFFEu);
    int upper = 0;
    EXPECT_EQ(SetFilePointer(File(), 1, &upper, FromCurrent), 0xFFFFFFFFu);
    EXPECT_EQ(upper, 0);
}

TEST_F(HostFileOffsets, FailureWithAnUpperHalfShowsThere) {
    int upper = -1;
    EXPECT_EQ(SetFilePointer(File(), -1, &upper, FromStart), Failed);
    EXPECT_EQ(upper, -1);
    upper = 0x7FFFFFFF;
    Write("a");
    EXPECT_EQ(SetFilePointer(File(), -1, &upper, FromCurrent), Failed);
    EXPECT_EQ(upper, -1);
    EXPECT_EQ(Seek(0, FromCurrent), 1u);
}

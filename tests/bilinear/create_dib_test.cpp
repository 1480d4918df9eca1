// The making of a DIB block.
#include "tests/bilinear/bilinear_test.h"

namespace {

using namespace bilinear_test;
using namespace testdib;

class CreateDib : public BilinearTest {
protected:
    void* Create(const void* info, const void* bits = nullptr) {
        return object.CreateDIB(static_cast<const tagBITMAPINFO*>(info), bits);
    }
    static Bytes Header(std::uint32_t width, std::uint32_t height, int bits) {
        Bytes header = MakeDib(1, 1, bits);
        PutU32(header, 4, width);
        PutU32(header, 8, height);
        return header;
    }
};

TEST_F(CreateDib, WithoutPixelsIsWhitePaddingIncluded) {
    Bytes info = MakeDib(3, 2, 24);
    const Bytes made = Take(Create(info.data()));
    ASSERT_EQ(made.size(), 64u);
    EXPECT_EQ(Bytes(made.begin(), made.begin() + 40), Bytes(info.begin(), info.begin() + 40));
    EXPECT_EQ(Bytes(made.begin() + 40, made.end()), Bytes(24, 0xFF));
    EXPECT_EQ(object.m_nLastError, 0);
}

TEST_F(CreateDib, CopiesHeaderTableAndPixels) {
    Bytes info = MakeDib(5, 3, 4);
    SetGrayTable(info, 16);
    for (std::size_t i = 0; i < 12; ++i)
        info[104 + i] = static_cast<std::uint8_t>(i + 1);
    const Bytes pixels(info.begin() + 104, info.end());
    EXPECT_EQ(Take(Create(info.data(), pixels.data())), info);
}

TEST_F(CreateDib, LongHeaderIsCopiedWhole) {
    Bytes info = MakeDib(1, 1, 1);
    info.insert(info.begin() + 40, 12, 0x5A);
    PutU32(info, 0, 52);
    const Bytes made = Take(Create(info.data()));
    ASSERT_EQ(made.size(), 64u);
    EXPECT_EQ(Bytes(made.begin(), made.begin() + 60), Bytes(info.begin(), info.begin() + 60));
    EXPECT_EQ(Bytes(made.begin() + 60, made.end()), Bytes(4, 0xFF));
}

TEST_F(CreateDib, UnreadableHeaderIsRefused) {
    EXPECT_EQ(Create(nullptr), nullptr);
    EXPECT_EQ(object.m_nLastError, -4);
    object.m_nLastError = 0;
    testhost::GuardedBuffer header(39);
    EXPECT_EQ(Create(header.data()), nullptr);
    EXPECT_EQ(object.m_nLastError, -4);
    EXPECT_EQ(testhost::Allocations(), 0);
}

TEST_F(CreateDib, UnreadableTableIsRefused) {
    const Bytes info = MakeDib(1, 1, 8);
    testhost::GuardedBuffer header(1063);
    std::memcpy(header.data(), info.data(), 1063);
    EXPECT_EQ(Create(header.data()), nullptr);
    EXPECT_EQ(object.m_nLastError, -4);
    EXPECT_EQ(testhost::Allocations(), 0);
}

TEST_F(CreateDib, UnreadablePixelsAreRefused) {
    const Bytes info = MakeDib(3, 2, 24);
    testhost::GuardedBuffer pixels(23);
    EXPECT_EQ(Create(info.data(), pixels.data()), nullptr);
    EXPECT_EQ(object.m_nLastError, -4);
    EXPECT_EQ(testhost::Allocations(), 0);
}

TEST_F(CreateDib, HeaderReadableFor40BytesIsCopiedWithoutATable) {
    Bytes info = MakeDib(1, 2, 8);
    testhost::GuardedBuffer header(40);
    std::memcpy(header.data(), info.data(), 40);
    const Bytes made = Take(Create(header.data()));
    ASSERT_EQ(made.size(), 48u);
    EXPECT_EQ(Bytes(made.begin(), made.begin() + 40), Bytes(info.begin(), info.begin() + 40));
    EXPECT_EQ(Bytes(made.begin() + 40, made.end()), Bytes(8, 0xFF));
    EXPECT_EQ(object.m_nLastError, -4);
}

TEST_F(CreateDib, PictureWithoutPixelsIsAHeader) {
    EXPECT_EQ(Take(Create(Header(0, 7, 24).data())).size(), 40u);
    EXPECT_EQ(Take(Create(Header(7, 0, 24).data())).size(), 40u);
    EXPECT_EQ(Take(Create(Header(0x7FFFFFFF, 0, 64).data())).size(), 40u);
    EXPECT_EQ(object.m_nLastError, 0);
}

TEST_F(CreateDib, SizeBeyond32BitsNeverReachesTheHost) {
    // 196608 bytes a row: 21845 rows and a header are below 2^32, 21846 are not.
    EXPECT_EQ(Create(Header(65535, 21845, 24).data()), nullptr); // the host refuses
    EXPECT_EQ(object.m_nLastError, -1);
    EXPECT_EQ(testhost::Allocations(), 1);
    EXPECT_EQ(testhost::LastAllocationSize(), 4294901800u);
    object.m_nLastError = 0;
    EXPECT_EQ(Create(Header(65535, 21846, 24).data()), nullptr);
    EXPECT_EQ(object.m_nLastError, -1);
    EXPECT_EQ(testhost::Allocations(), 1);
}

TEST_F(CreateDib, HeaderCountsTowardTheLimit) {
    // One row of 16 bytes, 268435455 rows: 4294967280 bytes; 40 more pass 2^32 - 1.
    EXPECT_EQ(Create(Header(4, 268435453, 32).data()), nullptr);
    EXPECT_EQ(testhost::Allocations(), 1);
    EXPECT_EQ(testhost::LastAllocationSize(), 4294967288u);
    EXPECT_EQ(Create(Header(4, 268435454, 32).data()), nullptr);
    EXPECT_EQ(object.m_nLastError, -1);
    EXPECT_EQ(testhost::Allocations(), 1);
}

TEST_F(CreateDib, RowOf2To31BitsIsBeyondMemory) {
    EXPECT_EQ(Create(Header(89478486, 1, 24).data()), nullptr);
    EXPECT_EQ(object.m_nLastError, -1);
    EXPECT_EQ(testhost::Allocations(), 0);
    EXPECT_EQ(Create(Header(0x7FFFFFFF, 0x7FFFFFFF, 65535).data()), nullptr);
    EXPECT_EQ(Create(Header(0x80000000, 0x80000000, 65535).data()), nullptr);
    EXPECT_EQ(testhost::Allocations(), 0);
}

TEST_F(CreateDib, NegativeSizeIsAMemoryFailure) {
    EXPECT_EQ(Create(Header(3, 0xFFFFFFFE, 24).data()), nullptr);
    EXPECT_EQ(object.m_nLastError, -1);
    object.m_nLastError = 0;
    EXPECT_EQ(Create(Header(0xFFFFFFF0, 2, 24).data()), nullptr);
    EXPECT_EQ(object.m_nLastError, -1);
    EXPECT_EQ(testhost::Allocations(), 0);
    // With pixels to copy they cannot be read.
    const Bytes pixels(64);
    EXPECT_EQ(Create(Header(3, 0xFFFFFFFE, 24).data(), pixels.data()), nullptr);
    EXPECT_EQ(object.m_nLastError, -4);
    EXPECT_EQ(testhost::Allocations(), 0);
}

TEST_F(CreateDib, FailedAllocationAndFailedLockAreMemoryFailures) {
    const Bytes info = MakeDib(3, 2, 24);
    testhost::FailAllocation(1);
    EXPECT_EQ(Create(info.data()), nullptr);
    EXPECT_EQ(object.m_nLastError, -1);
    object.m_nLastError = 0;
    testhost::FailLock(1);
    EXPECT_EQ(Create(info.data()), nullptr);
    EXPECT_EQ(object.m_nLastError, -1);
    EXPECT_EQ(testhost::LiveBlocks(), 0);
}

} // namespace

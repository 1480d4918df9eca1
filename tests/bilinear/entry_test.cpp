// ConvertResolution2 and ConvertResolution_: statuses, sizes, resolutions.
#include "tests/bilinear/bilinear_test.h"

namespace {

using namespace bilinear_test;
using namespace testdib;

class Entry : public BilinearTest {
protected:
    // The result of a call on a block that holds these bytes; the source must come out unharmed.
    Bytes Convert(const Bytes& dib, unsigned xRes, unsigned yRes) {
        status = 0x5555;
        void* const block = testhost::MakeBlock(dib);
        void* const result = ConvertResolution2(block, xRes, yRes, &status);
        EXPECT_NE(result, block);
        EXPECT_EQ(testhost::LockCount(block), 0);
        EXPECT_EQ(testhost::Bytes(block), dib);
        GlobalFree(block);
        Bytes bytes = Take(result);
        EXPECT_EQ(testhost::LiveBlocks(), 0);
        return bytes;
    }
    // A call on `object` that gives null and leaves the status alone.
    void ExpectFailed(const Bytes& dib, unsigned xRes, unsigned yRes, int error) {
        status = 0x5555;
        object.m_nLastError = 0;
        testhost::ResetCounters();
        void* const block = testhost::MakeBlock(dib);
        EXPECT_EQ(object.ConvertResolution_(block, xRes, yRes, &status), nullptr);
        EXPECT_EQ(status, 0x5555);
        EXPECT_EQ(object.m_nLastError, error);
        EXPECT_EQ(testhost::LockCount(block), 0);
        GlobalFree(block);
        EXPECT_EQ(testhost::LiveBlocks(), 0);
    }
    static void ExpectSize(const Bytes& made, int width, int height, std::uint32_t xRes, std::uint32_t yRes) {
        ASSERT_GE(made.size(), 40u);
        EXPECT_EQ(WidthOf(made), width);
        EXPECT_EQ(HeightOf(made), height);
        EXPECT_EQ(U32(made, 24), xRes);
        EXPECT_EQ(U32(made, 28), yRes);
    }

    unsigned short status = 0x5555;
};

constexpr unsigned short Untouched = 0x5555;

TEST_F(Entry, NullStatusAddressDoesNothing) {
    void* const block = testhost::MakeBlock(MakeDib(2, 2, 24));
    EXPECT_EQ(ConvertResolution2(block, 100, 100, nullptr), nullptr);
    EXPECT_EQ(ConvertResolution2(nullptr, 100, 100, nullptr), nullptr);
    EXPECT_EQ(object.ConvertResolution_(block, 100, 100, nullptr), nullptr);
    EXPECT_EQ(testhost::Locks(), 0);
}

TEST_F(Entry, NullHandleIsStatusOne) {
    EXPECT_EQ(ConvertResolution2(nullptr, 100, 100, &status), nullptr);
    EXPECT_EQ(status, 1);
    status = Untouched;
    EXPECT_EQ(object.ConvertResolution_(nullptr, 100, 100, &status), nullptr);
    EXPECT_EQ(status, Untouched);
}

TEST_F(Entry, FailedLockIsStatusTwo) {
    void* const block = testhost::MakeBlock(MakeDib(2, 2, 24));
    testhost::FailLock(1);
    EXPECT_EQ(ConvertResolution2(block, 100, 100, &status), nullptr);
    EXPECT_EQ(status, 2);
    EXPECT_EQ(testhost::Allocations(), 0);
}

TEST_F(Entry, SourceWithoutResolutionIsCopiedWhole) {
    for (const auto& [x, y] : {std::pair{0, 11811}, {11811, 0}, {-1, 11811}, {11811, INT_MIN}, {0, 0}}) {
        Bytes dib = MakeDib(3, 3, 8, x, y);
        dib.insert(dib.end(), 33, 0xAB); // the block may go on behind the DIB
        EXPECT_EQ(Convert(dib, 5000, 5000), dib);
        EXPECT_EQ(status, 3);
    }
}

TEST_F(Entry, SourceWithoutResolutionIsCopiedWhateverItIs) {
    Bytes dib = MakeDib(100, 100, 24, 0, 0);
    dib.resize(40); // no rows at all
    EXPECT_EQ(Convert(dib, 0, 0), dib);
    EXPECT_EQ(status, 3);
    PutU32(dib, 16, 1);
    PutU16(dib, 14, 0);
    EXPECT_EQ(Convert(dib, 0, 0), dib);
    EXPECT_EQ(status, 3);
}

TEST_F(Entry, CopyNeedsASize) {
    testhost::SetSizeAnswer(testhost::SizeAnswer::Unknown);
    EXPECT_EQ(Convert(MakeDib(3, 3, 8, 0, 0), 5000, 5000), Bytes());
    EXPECT_EQ(status, 3);
    EXPECT_EQ(testhost::Allocations(), 0);
}

TEST_F(Entry, SizeFollowsTheRatioOfTheResolutions) {
    const Bytes dib = MakeDib(100, 50, 8, 11811, 5906);
    ExpectSize(Convert(dib, 7874, 7874), 66, 66, 7874, 7874); // 66.67, 66.66
    ExpectSize(Convert(dib, 23622, 5906), 200, 50, 23622, 5906);
    ExpectSize(Convert(dib, 119, 119), 1, 1, 119, 119);
    EXPECT_EQ(status, Untouched);
}

TEST_F(Entry, ProductKeepsItsLow32Bits) {
    // 50000 * 100000 - 2^32 = 705032704; / 11811 = 59692
    ExpectSize(Convert(MakeDib(50000, 1, 1), 100000, 11811), 59692, 1, 100000, 11811);
    ExpectSize(Convert(MakeDib(1, 50000, 1), 11811, 100000), 1, 59692, 11811, 100000);
    // 1 * (2^31 + 2) / 2^30: the division has no sign
    ExpectSize(Convert(MakeDib(1, 1, 24, 0x40000000, 1), 0x80000002, 1), 2, 1, 0x80000002, 1);
}

TEST_F(Entry, UnchangedResolutionGivesTheSamePixels) {
    Random random(3);
    for (int bits : {24, 32}) {
        Bytes dib = MakeDib(7, 5, bits, 3000, 3000);
        for (std::size_t i = 40; i < dib.size(); ++i)
            dib[i] = static_cast<std::uint8_t>(random.Next());
        for (const auto& [x, y] : {std::pair{3000u, 3000u}, {0u, 0u}, {0u, 777u}, {777u, 0u}}) {
            const Bytes made = Convert(dib, x, y);
            ExpectSize(made, 7, 5, 3000, 3000);
            ASSERT_EQ(BitsOf(made), bits);
            for (int row = 0; row < 5; ++row)
                EXPECT_EQ(Row(made, row, 7 * bits / 8), Row(dib, row, 7 * bits / 8));
        }
    }
}

TEST_F(Entry, UnchangedResolutionGivesTheColoursOfATable) {
    Bytes dib = MakeDib(3, 1, 8);
    SetEntry(dib, 1, 11, 12, 13);
    SetEntry(dib, 2, 21, 22, 23);
    SetRow(dib, 0, {2, 0, 1});
    const Bytes made = Convert(dib, 0, 0);
    ExpectSize(made, 3, 1, 11811, 11811);
    EXPECT_EQ(BitsOf(made), 24);
    EXPECT_EQ(Row(made, 0, 9), (Ints{21, 22, 23, 0, 0, 0, 11, 12, 13}));
}

TEST_F(Entry, MissingResolutionMakesPixelsSquareAtTheFinerOne) {
    ExpectSize(Convert(MakeDib(300, 200, 1, 5906, 11811), 0, 0), 599, 200, 11811, 11811);
    ExpectSize(Convert(MakeDib(300, 200, 1, 5906, 11811), 0, 99999), 599, 200, 11811, 11811);
    ExpectSize(Convert(MakeDib(300, 200, 1, 5906, 11811), 99999, 0), 599, 200, 11811, 11811);
    ExpectSize(Convert(MakeDib(200, 300, 1, 11811, 5906), 0, 0), 200, 599, 11811, 11811);
}

TEST_F(Entry, SquarePixelsAreCountedExactly) {
    // In double precision 103 / 2835 * 5670 falls short of 206.
    ExpectSize(Convert(MakeDib(103, 1, 1, 2835, 5670), 0, 0), 206, 1, 5670, 5670);
    ExpectSize(Convert(MakeDib(1, 103, 1, 5670, 2835), 0, 0), 1, 206, 5670, 5670);
    // A whole number exactly, and one below it.
    ExpectSize(Convert(MakeDib(7, 1, 1, 7, 49), 0, 0), 49, 1, 49, 49);
    ExpectSize(Convert(MakeDib(7, 1, 1, 8, 49), 0, 0), 42, 1, 49, 49);
}

TEST_F(Entry, TargetWithoutExtentIsRefused) {
    ExpectFailed(MakeDib(10, 10, 24), 1, 11811, -4);
    ExpectFailed(MakeDib(10, 10, 24), 11811, 1, -4);
    EXPECT_EQ(testhost::Allocations(), 0);
}

TEST_F(Entry, TargetFrom2To31PixelsOnIsRefused) {
    ExpectFailed(MakeDib(1, 1, 24, 1, 1), 0x80000000, 1, -4);
    ExpectFailed(MakeDib(1, 1, 24, 1, 1), 1, 0xFFFFFFFF, -4);
    ExpectFailed(MakeDib(2, 1, 24, 1, 0x40000000), 0, 0, -4); // 2^31 exactly
    ExpectFailed(MakeDib(5, 1, 24, 1, 0x7FFFFFFF), 0, 0, -4); // would wrap to 2^31 - 5
    ExpectFailed(MakeDib(1, 5, 24, 0x7FFFFFFF, 1), 0, 0, -4);
    EXPECT_EQ(testhost::Allocations(), 0);
    // One less is a size, of more memory than there is.
    ExpectFailed(MakeDib(1, 1, 24, 1, 0x7FFFFFFF), 0, 0, -1);
}

TEST_F(Entry, HugePageNeverBecomesASmallBlock) {
    // 33595 x 47521 pixels of 24 bits are 4789546548 bytes, 494579252 beyond 2^32.
    ExpectFailed(MakeDib(2480, 3508, 1), 160000, 160000, -1);
    EXPECT_EQ(testhost::Allocations(), 0);
}

TEST_F(Entry, CompressedSourceIsRefused) {
    for (unsigned compression : {1u, 2u, 3u}) {
        Bytes dib = MakeDib(4, 4, 8);
        PutU32(dib, 16, compression);
        ExpectFailed(dib, 5000, 5000, -7);
        dib.resize(60); // shorter than its rows would be
        ExpectFailed(dib, 5000, 5000, -7);
    }
}

TEST_F(Entry, UnusableSourcesAreRefused) {
    Bytes dib = MakeDib(4, 4, 24);
    PutU16(dib, 14, 0);
    ExpectFailed(dib, 5000, 5000, -4);
    PutU16(dib, 14, 2);
    ExpectFailed(dib, 5000, 5000, -4);
    dib = MakeDib(4, 4, 24);
    PutU32(dib, 8, 0xFFFFFFFC); // top-down
    ExpectFailed(dib, 11811, 11811, -4);
    ExpectFailed(dib, 0, 0, -4);
    ExpectFailed(dib, 11811, 1, -4); // 4294967292 / 11811 rows
    PutU32(dib, 8, 4);
    PutU32(dib, 4, 0);
    ExpectFailed(dib, 0, 0, -4);
    EXPECT_EQ(testhost::Allocations(), 0);
}

TEST_F(Entry, BlockWithoutAHeaderIsAFailedResampling) {
    Bytes dib = MakeDib(4, 4, 24, 0, 0);
    for (std::size_t bytes : {1u, 31u, 39u}) {
        dib.resize(bytes);
        ExpectFailed(dib, 5000, 5000, -4);
    }
}

TEST_F(Entry, SourceMustFitIntoItsBlock) {
    for (int bits : {1, 4, 8, 16, 24, 32, 48, 64}) {
        SCOPED_TRACE(bits);
        Bytes dib = MakeDib(5, 3, bits);
        EXPECT_FALSE(Convert(dib, 11811, 11811).empty());
        dib.pop_back();
        ExpectFailed(dib, 11811, 11811, -4);
        dib.resize(44);
        ExpectFailed(dib, 11811, 11811, -4);
        dib.resize(40);
        ExpectFailed(dib, 11811, 11811, -4);
    }
    EXPECT_EQ(testhost::Allocations(), 0);
}

TEST_F(Entry, TableMustFitIntoTheBlock) {
    Bytes dib = MakeDib(1, 1, 8);
    PutU32(dib, 32, 257);
    ExpectFailed(dib, 11811, 11811, -4);
    PutU32(dib, 32, 0x20000000);
    ExpectFailed(dib, 11811, 11811, -4);
    PutU32(dib, 32, 255); // ends sooner than the block: good
    EXPECT_EQ(Convert(dib, 11811, 11811).size(), 44u);
}

TEST_F(Entry, HeightOfAnyLengthIsCountedIn64Bits) {
    Bytes dib = MakeDib(4, 4, 24);
    PutU32(dib, 4, 65536);
    PutU32(dib, 8, 0x40000000); // 2^48 bytes and more
    ExpectFailed(dib, 11811, 11811, -4);
    PutU32(dib, 4, 0x7FFFFFFF);
    ExpectFailed(dib, 11811, 11811, -4);
}

TEST_F(Entry, BlockOfUnknownSizeIsTrusted) {
    const Bytes dib = MakeDib(5, 3, 8);
    testhost::SetSizeAnswer(testhost::SizeAnswer::Unknown);
    ExpectSize(Convert(dib, 11811, 11811), 5, 3, 11811, 11811);
    testhost::SetSizeAnswer(testhost::SizeAnswer::RoundedUp);
    ExpectSize(Convert(dib, 11811, 11811), 5, 3, 11811, 11811);
}

TEST_F(Entry, EveryDepthComesThrough) {
    const int bits[] = {1, 4, 8, 16, 24, 32, 48, 64};
    const int result[] = {24, 24, 24, 24, 24, 32, 48, 64};
    for (int i = 0; i < 8; ++i) {
        const Bytes made = Convert(MakeDib(10, 6, bits[i], 6000, 6000), 3000, 9000);
        ExpectSize(made, 5, 9, 3000, 9000);
        EXPECT_EQ(BitsOf(made), result[i]);
        EXPECT_EQ(made.size(), 40 + 9 * Stride(5, result[i]));
    }
}

TEST_F(Entry, SourceLockedByItsOwnerStaysLocked) {
    void* const block = testhost::MakeBlock(MakeDib(2, 2, 24));
    GlobalLock(block);
    GlobalLock(block);
    void* const result = ConvertResolution2(block, 23622, 23622, &status);
    EXPECT_EQ(Take(result).size(), 88u);
    EXPECT_EQ(testhost::LockCount(block), 2);
    GlobalUnlock(block);
    GlobalUnlock(block);
}

} // namespace

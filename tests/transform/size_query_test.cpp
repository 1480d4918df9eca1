// GetTransformImageMemorySize and GetBufferSize.
#include "tests/support/temp_folder.h"
#include "tests/transform/transform_support.h"

namespace {

using namespace transformtest;

class SizeQuery : public MemoryTest {
protected:
    // Both answers for a header alone, which must agree unless the source has 4 bits.
    static unsigned Both(int width, int height, int bits, int xPpm, int yPpm, unsigned short dpi) {
        Bytes dib = testdib::MakeDib(0, 0, bits, xPpm, yPpm);
        dib.resize(40);
        testdib::PutU32(dib, 4, static_cast<std::uint32_t>(width));
        testdib::PutU32(dib, 8, static_cast<std::uint32_t>(height));
        void* block = testhost::MakeBlock(dib);
        unsigned int size = 1;
        unsigned int size2 = 2;
        EXPECT_EQ(GetTransformImageMemorySize(2, &block, dpi, &size), 0u);
        EXPECT_EQ(GetBufferSize(block, dpi, &size2), 0u);
        if (bits != 4) {
            EXPECT_EQ(size, size2);
        }
        EXPECT_EQ(testhost::LockCount(block), 0);
        GlobalFree(block);
        return size;
    }
};

TEST_F(SizeQuery, OneBitPageFrom300To200) {
    // 1653 x 2338 pixels in rows of 208 bytes, and 1078 bytes for headers and table.
    EXPECT_EQ(Both(2480, 3508, 1, Ppm300, Ppm300, 200), 487382u);
    EXPECT_EQ(Both(2480, 3508, 1, Ppm300, Ppm300, 200), 2338u * 208u + 1078u);
}

TEST_F(SizeQuery, RowsArePaddedToFourBytes) {
    EXPECT_EQ(Both(3, 2, 24, Ppm100, Ppm100, 100), 2u * 12u + 1078u);
    EXPECT_EQ(Both(33, 1, 1, Ppm100, Ppm100, 100), 8u + 1078u);
    EXPECT_EQ(Both(32, 1, 1, Ppm100, Ppm100, 100), 4u + 1078u);
    EXPECT_EQ(Both(5, 1, 8, Ppm100, Ppm100, 100), 8u + 1078u);
    EXPECT_EQ(Both(5, 3, 16, Ppm100, Ppm100, 100), 36u + 1078u);
    EXPECT_EQ(Both(5, 3, 32, Ppm100, Ppm100, 100), 60u + 1078u);
}

TEST_F(SizeQuery, FourBitsCountAs24OnlyInGetBufferSize) {
    void* block = testhost::MakeBlock(testdib::MakeDib(10, 4, 4, Ppm100, Ppm100));
    unsigned int size = 0;
    EXPECT_EQ(GetBufferSize(block, 100, &size), 0u);
    EXPECT_EQ(size, 4u * 32u + 1078u);
    EXPECT_EQ(GetTransformImageMemorySize(2, &block, 100, &size), 0u);
    EXPECT_EQ(size, 4u * 8u + 1078u);
}

TEST_F(SizeQuery, EachAxisHasItsOwnResolution) {
    EXPECT_EQ(Both(10, 10, 8, Ppm200, Ppm100, 200), 20u * 12u + 1078u);
    EXPECT_EQ(Both(10, 10, 8, Ppm100, Ppm200, 200), 10u * 20u + 1078u);
}

TEST_F(SizeQuery, DpiZeroGivesTheHeadersAlone) {
    EXPECT_EQ(Both(2480, 3508, 1, Ppm300, Ppm300, 0), 1078u);
    EXPECT_EQ(Both(0, 0, 24, Ppm300, Ppm300, 300), 1078u);
}

TEST_F(SizeQuery, NoSourceResolutionGivesTheHeadersAlone) {
    EXPECT_EQ(Both(100, 100, 24, 0, 0, 300), 1078u);
    EXPECT_EQ(Both(100, 100, 24, 0, Ppm300, 300), 1078u) << "100 rows of no bytes";
    EXPECT_EQ(Both(100, 100, 24, Ppm300, 0, 300), 1078u);
    EXPECT_EQ(Both(100, 100, 24, -1, -1, 300), 1078u) << "-1 + 1 is 0";
}

TEST_F(SizeQuery, UsualResolutionsComeOutExact) {
    // 3779 is 96, 11811 is 300, 7874 is 200 dots per inch: 8 bits, n columns of one row.
    EXPECT_EQ(Both(96, 96, 8, 3779, 3779, 48), 48u * 48u + 1078u);
    EXPECT_EQ(Both(300, 300, 8, 11811, 11811, 100), 100u * 100u + 1078u);
    EXPECT_EQ(Both(200, 200, 8, 7874, 7874, 100), 100u * 100u + 1078u);
}

TEST_F(SizeQuery, QuotientsThatPlainDoubleMissesAreExact) {
    // 1930 * 254 / 10000 is 49: 49 pixels at 49 dpi are one pixel at 1 dpi.
    EXPECT_EQ(Both(49, 49, 8, 1929, 1929, 1), 1u * 4u + 1078u);
    EXPECT_EQ(Both(48, 49, 8, 1929, 1929, 1), 1078u) << "48/49 of a pixel is none";
}

TEST_F(SizeQuery, SizesAreWholeNumberQuotientsForEveryResolution) {
    for (int sourceDpi = 1; sourceDpi <= 600; sourceDpi += 7) {
        const int ppm = (sourceDpi * 10000 + 253) / 254 - 1; // the smallest that records sourceDpi
        for (int dpi = 1; dpi <= 610; dpi += 29) {
            const unsigned width = static_cast<unsigned>(sourceDpi) * 3u;
            const unsigned out = static_cast<unsigned>(dpi) * width / static_cast<unsigned>(sourceDpi);
            ASSERT_EQ(
                Both(static_cast<int>(width), static_cast<int>(width), 32, ppm, ppm, static_cast<unsigned short>(dpi)),
                out * out * 4u + 1078u)
                << sourceDpi << " to " << dpi;
        }
    }
}

TEST_F(SizeQuery, ExtentsAndResolutionsKeepSixteenBits) {
    EXPECT_EQ(Both(0x10003, 0x20002, 24, Ppm100, Ppm100, 100), 2u * 12u + 1078u);
    // 39 pixels per metre are 1 dpi: 65535 columns come out as 65535 * 65535 mod 65536 = 1.
    EXPECT_EQ(Both(65535, 65535, 8, 39, 39, 65535), 4u + 1078u);
    // A negative height is read as its low 16 bits.
    EXPECT_EQ(Both(1, -2, 8, Ppm100, Ppm100, 100), 65534u * 4u + 1078u);
}

TEST_F(SizeQuery, HugeAndNegativeResolutionsWrap) {
    // -2 + 1 is 4294967295; times 254 in 32 bits, over 10000, is 429496; its low 16 bits are 36280.
    EXPECT_EQ(Both(36280, 36280, 8, -2, -2, 10), 10u * 12u + 1078u);
    EXPECT_EQ(Both(36280, 36280, 8, 16909319, 16909319, 10), 10u * 12u + 1078u);
    EXPECT_EQ(Both(36280, 36280, 8, 16909320, 16909320, 10), 1078u) << "wraps to 0 dpi";
    EXPECT_EQ(Both(100, 100, 8, 2147483647, 2147483647, 10), 1078u) << "wraps to 0 dpi";
}

TEST_F(SizeQuery, SizesBeyond32BitsAre4294967295) {
    EXPECT_EQ(Both(65535, 21845, 24, Ppm100, Ppm100, 100), 4294902838u);
    EXPECT_EQ(Both(65535, 21846, 24, Ppm100, Ppm100, 100), 4294967295u);
    EXPECT_EQ(Both(65535, 65535, 24, Ppm100, Ppm100, 100), 4294967295u);
    EXPECT_EQ(Both(65535, 65535, 65535, Ppm100, Ppm100, 100), 4294967295u);
}

TEST_F(SizeQuery, NoSourceBitGives11AndSizeZero) {
    void* block = testhost::MakeBlock(testdib::MakeDib(10, 10, 24));
    for (const unsigned short mode : {0, 16, 32, 48, 4, 65532}) {
        unsigned int size = 77;
        EXPECT_EQ(GetTransformImageMemorySize(mode, &block, 100, &size), 11u);
        EXPECT_EQ(size, 0u);
    }
}

TEST_F(SizeQuery, HandleZeroGives5And10) {
    void* none = nullptr;
    unsigned int size = 77;
    EXPECT_EQ(GetTransformImageMemorySize(2, &none, 100, &size), 5u);
    EXPECT_EQ(size, 0u);
    size = 77;
    EXPECT_EQ(GetBufferSize(nullptr, 100, &size), 10u);
    EXPECT_EQ(size, 77u) << "GetBufferSize leaves the size untouched";
    EXPECT_EQ(GetTransformImageMemorySize(2, nullptr, 100, &size), 5u);
    EXPECT_EQ(size, 0u);
}

TEST_F(SizeQuery, FailedLockGives5And10) {
    void* block = testhost::MakeBlock(testdib::MakeDib(10, 10, 24));
    unsigned int size = 77;
    testhost::FailLock(1);
    EXPECT_EQ(GetTransformImageMemorySize(2, &block, 100, &size), 5u);
    EXPECT_EQ(size, 0u);
    size = 77;
    testhost::FailLock(1);
    EXPECT_EQ(GetBufferSize(block, 100, &size), 10u);
    EXPECT_EQ(size, 77u);
}

TEST_F(SizeQuery, BlocksWithoutRoomForAHeaderGive5And10) {
    for (const std::size_t bytes : {1u, 14u, 39u}) {
        void* block = testhost::MakeBlock(Bytes(bytes));
        unsigned int size = 77;
        EXPECT_EQ(GetTransformImageMemorySize(2, &block, 100, &size), 5u) << bytes;
        EXPECT_EQ(size, 0u);
        size = 77;
        EXPECT_EQ(GetBufferSize(block, 100, &size), 10u) << bytes;
        EXPECT_EQ(size, 77u);
    }
    void* block = testhost::MakeBlock(Bytes(40));
    unsigned int size = 77;
    EXPECT_EQ(GetTransformImageMemorySize(2, &block, 100, &size), 0u);
    EXPECT_EQ(size, 1078u);
    EXPECT_EQ(GetBufferSize(block, 100, &size), 0u);
}

TEST_F(SizeQuery, AHostThatCannotTellSizesIsTrusted) {
    testhost::SetSizeAnswer(testhost::SizeAnswer::Unknown);
    EXPECT_EQ(Both(10, 10, 8, Ppm100, Ppm100, 100), 120u + 1078u);
}

TEST_F(SizeQuery, NullSizeGives5And10) {
    void* block = testhost::MakeBlock(testdib::MakeDib(10, 10, 24));
    EXPECT_EQ(GetTransformImageMemorySize(2, &block, 100, nullptr), 5u);
    EXPECT_EQ(GetBufferSize(block, 100, nullptr), 10u);
}

TEST_F(SizeQuery, FileSourceReadsBehindItsFileHeader) {
    const TempFolder folder;
    const std::string path = folder.Write("page.bmp", AsFile(testdib::MakeDib(10, 10, 8, Ppm100, Ppm100)));
    unsigned int size = 0;
    EXPECT_EQ(GetTransformImageMemorySize(1, path.c_str(), 200, &size), 0u);
    EXPECT_EQ(size, 20u * 20u + 1078u);
    EXPECT_EQ(GetTransformImageMemorySize(3, path.c_str(), 200, &size), 0u) << "a file wins over a handle";
    EXPECT_EQ(testhost::Locks(), 0);
}

TEST_F(SizeQuery, FileSourceNeedsBothHeadersWhole) {
    const TempFolder folder;
    const Bytes file = AsFile(testdib::MakeDib(10, 10, 8, Ppm100, Ppm100));
    for (const std::size_t bytes : {0u, 13u, 14u, 53u}) {
        const std::string path = folder.Write("short.bmp", Part(file, 0, bytes));
        unsigned int size = 77;
        EXPECT_EQ(GetTransformImageMemorySize(1, path.c_str(), 100, &size), 5u) << bytes;
        EXPECT_EQ(size, 0u);
    }
    const std::string path = folder.Write("short.bmp", Part(file, 0, 54));
    unsigned int size = 77;
    EXPECT_EQ(GetTransformImageMemorySize(1, path.c_str(), 100, &size), 0u);
    EXPECT_EQ(size, 10u * 12u + 1078u);
}

TEST_F(SizeQuery, MissingFileGives5) {
    const TempFolder folder;
    unsigned int size = 77;
    EXPECT_EQ(GetTransformImageMemorySize(1, folder.Path("absent").c_str(), 100, &size), 5u);
    EXPECT_EQ(size, 0u);
}

} // namespace

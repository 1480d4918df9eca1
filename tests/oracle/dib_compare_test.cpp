// The DIB utilities (header arithmetic, construction, colours, pixels, masks) against the slow second
// version, over random headers and DIBs.
#include "dibprep/dib.h"
#include "tests/oracle/random_dibs.h"
#include "tests/oracle/random_start.h"
#include "tests/support/test_host.h"

#include <gtest/gtest.h>

namespace {

using oracle::Bytes;
using testdib::Random;

class DibUtilities : public testing::Test {
protected:
    void SetUp() override { StartAfresh(); }
    void TearDown() override { testhost::Reset(); }
    static void StartAfresh() {
        testhost::Reset();
        testhost::SetLargestBlock(oracle::LargestDibBlock);
    }
    static std::uint8_t* Locked(const Bytes& dib) { return testhost::Address(testhost::MakeBlock(dib)); }
};

TEST_F(DibUtilities, HeaderArithmeticEqualsTheSecondVersion) {
    const std::uint64_t start = oracle::RandomStart();
    std::uint8_t* dib = Locked(Bytes(40));
    for (std::uint64_t n = start; n < start + oracle::RandomCases(5000) && !HasFailure(); ++n) {
        SCOPED_TRACE(oracle::CaseName(n));
        Random random = oracle::RandomOf(n);
        Bytes header(40);
        for (std::size_t at = 0; at < 40; at += 4)
            testdib::PutU32(header, at, random.OneIn(2) ? random.Next() : random.Next() % 1000);
        static const unsigned sizes[] = {40, 40, 40, 12, 16, 64, 108, 124};
        testdib::PutU32(header, 0, sizes[random.Range(0, 7)]);
        testdib::PutU16(header, random.OneIn(4) ? 10 : 14,
                        static_cast<unsigned>(random.OneIn(8) ? random.Range(0, 65535) : random.Range(0, 66)));
        if (random.OneIn(2))
            testdib::PutU32(header, 32, 0);
        std::copy(header.begin(), header.end(), dib);
        EXPECT_EQ(DIBWidth(dib), oracle::Width(header));
        EXPECT_EQ(DIBHeight(dib), oracle::Height(header));
        EXPECT_EQ(DIBBitCount(dib), oracle::BitCount(header));
        EXPECT_EQ(DIBNumColors(dib), oracle::ColourCount(header));
        EXPECT_EQ(PaletteSize(dib), oracle::TableBytes(header));
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(DIBBits(dib)),
                  reinterpret_cast<std::uintptr_t>(dib) + static_cast<std::uintptr_t>(oracle::BitsOffset(header)));
        EXPECT_EQ(DIBSize(dib), oracle::WholeSize(header));
    }
}

TEST_F(DibUtilities, NewDibsEqualTheSecondVersion) {
    const std::uint64_t start = oracle::RandomStart();
    std::uint8_t* header = Locked(Bytes(40));
    for (std::uint64_t n = start; n < start + oracle::RandomCases(2500) && !HasFailure(); ++n) {
        SCOPED_TRACE(oracle::CaseName(n));
        Random random = oracle::RandomOf(n);
        const auto extent = [&](int most) {
            return random.OneIn(20) ? random.Next() : static_cast<std::uint32_t>(random.Range(0, most));
        };
        std::uint32_t width = extent(60);
        std::uint32_t height = extent(30);
        if (random.OneIn(6)) // as a top-down DIB has it: the product wraps
            height = 0u - static_cast<std::uint32_t>(random.Range(1, 300));
        if (random.OneIn(8)) { // around the size of a header alone
            width = static_cast<std::uint32_t>(random.Range(1, 8));
            height = 0u - static_cast<std::uint32_t>(random.Range(1, 20));
        }
        const auto bits = static_cast<unsigned short>(random.OneIn(8) ? random.Next() : random.Next() % 70);

        StartAfresh();
        void* block = CreateDIB(width, height, bits);
        const oracle::MaybeDib expected = oracle::NewDib(width, height, bits);
        ASSERT_EQ(block != nullptr, expected.has_value()) << width << " x " << height << ", " << bits << " bits";
        if (block) {
            EXPECT_EQ(testhost::Bytes(block), *expected);
            EXPECT_EQ(testhost::LockCount(block), 0);
        }
        Bytes filled(40, 0xEE);
        header = Locked(filled);
        SetDIB(header, width, height, bits);
        oracle::FillHeader(filled, width, height, bits);
        EXPECT_EQ(Bytes(header, header + 40), filled);
    }
}

TEST_F(DibUtilities, CopiedColourTablesEqualTheSecondVersion) {
    const std::uint64_t start = oracle::RandomStart();
    for (std::uint64_t n = start; n < start + oracle::RandomCases(1000) && !HasFailure(); ++n) {
        SCOPED_TRACE(oracle::CaseName(n));
        Random random = oracle::RandomOf(n);
        const Bytes source = oracle::RandomDib(random, oracle::RandomWishes(random));
        Bytes target = oracle::RandomDib(random, oracle::RandomWishes(random));
        StartAfresh();
        void* sourceBlock = testhost::MakeBlock(source);
        void* targetBlock = testhost::MakeBlock(target);
        CopyColorTable(testhost::Address(sourceBlock), testhost::Address(targetBlock));
        oracle::CopyColours(source, target);
        EXPECT_EQ(testhost::Bytes(targetBlock), target);
        EXPECT_EQ(testhost::Bytes(sourceBlock), source);
    }
}

TEST_F(DibUtilities, ColoursOfTablesEqualTheSecondVersion) {
    const std::uint64_t start = oracle::RandomStart();
    for (std::uint64_t n = start; n < start + oracle::RandomCases(800) && !HasFailure(); ++n) {
        SCOPED_TRACE(oracle::CaseName(n));
        Random random = oracle::RandomOf(n);
        Bytes dib = oracle::RandomDib(random, oracle::RandomWishes(random));
        StartAfresh();
        void* block = testhost::MakeBlock(dib);
        std::uint8_t* address = testhost::Address(block);
        for (int i = 0; i < 20; ++i) {
            const int index = random.OneIn(10) ? static_cast<int>(random.Next()) : random.Range(-3, 280);
            EXPECT_EQ(GetIndexColor(address, index), oracle::ColourOf(dib, index)) << "index " << index;
            const std::uint32_t stored = oracle::ColourOf(dib, index) & 0xFFFFFF;
            const std::uint32_t wanted = random.OneIn(2) ? stored : random.OneIn(2) ? random.Next() : oracle::NoColour;
            EXPECT_EQ(GetColorIndex(address, wanted), oracle::IndexOf(dib, wanted));
            const std::uint32_t colour = random.Next();
            SetIndexColor(address, index, colour);
            oracle::SetColour(dib, index, colour);
        }
        EXPECT_EQ(testhost::Bytes(block), dib);
    }
}

TEST_F(DibUtilities, PixelsEqualTheSecondVersion) {
    const std::uint64_t start = oracle::RandomStart();
    for (std::uint64_t n = start; n < start + oracle::RandomCases(800) && !HasFailure(); ++n) {
        SCOPED_TRACE(oracle::CaseName(n));
        Random random = oracle::RandomOf(n);
        oracle::DibWishes wishes = oracle::RandomWishes(random);
        wishes.width = std::max(1, wishes.width);
        wishes.height = std::max(1, wishes.height);
        Bytes dib = oracle::RandomDib(random, wishes);
        StartAfresh();
        void* block = testhost::MakeBlock(dib);
        std::uint8_t* address = testhost::Address(block);
        for (int i = 0; i < 20; ++i) {
            const int x = random.Range(0, wishes.width - 1), y = random.Range(0, wishes.height - 1);
            EXPECT_EQ(GetBitIndex(address, x, y), oracle::PixelIndex(dib, x, y)) << x << ", " << y;
            const auto index = static_cast<unsigned short>(random.Next());
            SetBitIndex(address, x, y, index);
            oracle::SetPixelIndex(dib, x, y, index);
        }
        EXPECT_EQ(testhost::Bytes(block), dib);
    }
}

TEST_F(DibUtilities, SingleColoursEqualTheirChannels) {
    const std::uint64_t start = oracle::RandomStart();
    for (std::uint64_t n = start; n < start + oracle::RandomCases(3000) && !HasFailure(); ++n) {
        SCOPED_TRACE(oracle::CaseName(n));
        Random random = oracle::RandomOf(n);
        // Few values, so that equal channels are common.
        const auto channel = [&] { return static_cast<unsigned char>(random.Range(0, 2) * 127); };
        tagRGBQUAD quad{channel(), channel(), channel(), channel()};
        tagRGBTRIPLE triple{channel(), channel(), channel()};
        const unsigned char r = channel(), g = channel(), b = channel();
        const std::uint32_t colour = r | std::uint32_t{g} << 8 | std::uint32_t{b} << 16 | (random.Next() & 0xFF000000);
        const int quadEqual = quad.rgbRed == r && quad.rgbGreen == g && quad.rgbBlue == b ? 1 : 0;
        const int tripleEqual = triple.rgbtRed == r && triple.rgbtGreen == g && triple.rgbtBlue == b ? 1 : 0;
        EXPECT_EQ(CompareRGBQUAD(quad, r, g, b), quadEqual);
        EXPECT_EQ(CompareRGB(quad, colour), quadEqual);
        EXPECT_EQ(CompareRGBTRIPLE(triple, r, g, b), tripleEqual);
        EXPECT_EQ(CompareRGBT(triple, colour), tripleEqual);
        const unsigned char reserved = quad.rgbReserved;
        CopyRGB(&quad, colour);
        CopyRGBT(&triple, colour);
        EXPECT_EQ(quad.rgbRed, r);
        EXPECT_EQ(quad.rgbGreen, g);
        EXPECT_EQ(quad.rgbBlue, b);
        EXPECT_EQ(quad.rgbReserved, reserved);
        EXPECT_EQ(triple.rgbtRed, r);
        EXPECT_EQ(triple.rgbtGreen, g);
        EXPECT_EQ(triple.rgbtBlue, b);
    }
}

TEST_F(DibUtilities, MasksAndShiftsEqualTheSecondVersion) {
    const std::uint64_t start = oracle::RandomStart();
    for (std::uint64_t n = start; n < start + oracle::RandomCases(3000) && !HasFailure(); ++n) {
        SCOPED_TRACE(oracle::CaseName(n));
        Random random = oracle::RandomOf(n);
        const std::uint32_t mask = oracle::RandomMask(random);
        unsigned short left = 77, right = 77;
        GetShifts(mask, left, right);
        const oracle::Shifts expected = oracle::ShiftsOf(mask);
        EXPECT_EQ(left, expected.left) << "mask " << mask;
        EXPECT_EQ(right, expected.right) << "mask " << mask;
        if (n % 3 != 0)
            continue;
        const Bytes dib = oracle::RandomDib(random, oracle::RandomWishes(random));
        StartAfresh();
        unsigned int red = 1, green = 2, blue = 3;
        const int found = DIBMask(Locked(dib), red, green, blue);
        const oracle::Masks masks = oracle::MasksOf(dib);
        EXPECT_EQ(found, masks.found ? 1 : 0);
        EXPECT_EQ(red, masks.red);
        EXPECT_EQ(green, masks.green);
        EXPECT_EQ(blue, masks.blue);
    }
}

} // namespace

// The resampler's own header arithmetic, steps, coordinate tables and new blocks against the slow
// second version.
#include "dibprep/bilinear.h"
#include "tests/oracle/random_sources.h"
#include "tests/oracle/random_start.h"
#include "tests/support/test_host.h"

#include <gtest/gtest.h>

#include <memory>

namespace {

using oracle::Bytes;
using testdib::Random;

class BilinearParts : public testing::Test {
protected:
    void SetUp() override { StartAfresh(); }
    void TearDown() override { testhost::Reset(); }
    static void StartAfresh() {
        testhost::Reset();
        testhost::SetLargestBlock(oracle::LargestBlock);
    }
};

std::uint32_t AnyWord(Random& random) {
    return random.OneIn(3) ? random.Next() : static_cast<std::uint32_t>(random.Range(-20, 3000));
}

TEST_F(BilinearParts, ParametersEqualTheSecondVersion) {
    const std::uint64_t start = oracle::RandomStart();
    void* handle = testhost::MakeBlock(Bytes(44));
    std::uint8_t* address = testhost::Address(handle);
    CConvertResolution resampler;
    for (std::uint64_t n = start; n < start + oracle::RandomCases(5000) && !HasFailure(); ++n) {
        SCOPED_TRACE(oracle::CaseName(n));
        Random random = oracle::RandomOf(n);
        Bytes header(44);
        for (std::size_t at = 0; at < 44; at += 4)
            testdib::PutU32(header, at, AnyWord(random));
        testdib::PutU32(header, 0, random.OneIn(2) ? 40 : random.Next() & 0xFFFF);
        int bits = random.OneIn(3) ? oracle::KernelDepth(random) : random.Range(1, 70);
        if (random.OneIn(10))
            bits = random.Range(1, 65535);
        testdib::PutU16(header, 14, static_cast<unsigned>(bits));
        if (random.OneIn(2))
            testdib::PutU32(header, 32, random.OneIn(2) ? 0 : random.Next() & 0xFFFF);
        std::copy(header.begin(), header.end(), address);

        const oracle::DibParameters expected = oracle::ParametersOf(header);
        EXPECT_EQ(resampler.GetPaletteSize(address), oracle::ResamplerPaletteSize(header));
        _tagDIBPARAM p;
        resampler.SetDIBParam(address, p);
        EXPECT_EQ(p.nWidth, expected.width);
        EXPECT_EQ(p.nHeight, expected.height);
        EXPECT_EQ(p.nBitCount, expected.bitCount);
        EXPECT_EQ(p.nLineBytes, expected.lineBytes);
        EXPECT_EQ(p.nBytesPerPixel, expected.bytesPerPixel);
        EXPECT_EQ(p.nChannels, expected.channels);
        EXPECT_EQ(p.nColors, expected.colours);
        EXPECT_EQ(p.dwCompression, expected.compression);
        EXPECT_EQ(p.nBitsOffset, expected.bitsOffset);
        EXPECT_EQ(p.nImageSize, expected.imageSize);
        EXPECT_EQ(p.byMask, expected.mask);
        EXPECT_EQ(p.nPixelsPerByte, expected.pixelsPerByte);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(p.pHeader), reinterpret_cast<std::uintptr_t>(address));
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(p.pColorTable), reinterpret_cast<std::uintptr_t>(address) + 40);
        EXPECT_EQ(resampler.GetBitsMask(p), expected.mask);
        if (expected.bitsOffset >= 0 && oracle::ResamplerPaletteSize(header) < 0x1000000) {
            const std::uintptr_t bitsAt =
                reinterpret_cast<std::uintptr_t>(address) + static_cast<std::uintptr_t>(expected.bitsOffset);
            EXPECT_EQ(reinterpret_cast<std::uintptr_t>(p.pBits), bitsAt);
            EXPECT_EQ(reinterpret_cast<std::uintptr_t>(resampler.GetBitsTop(address)), bitsAt);
        }
        EXPECT_EQ(resampler.m_nLastError, 0);
    }
}

TEST_F(BilinearParts, StepsAndCoordinatesEqualTheSecondVersion) {
    const std::uint64_t start = oracle::RandomStart();
    CConvertResolution resampler;
    for (std::uint64_t n = start; n < start + oracle::RandomCases(5000) && !HasFailure(); ++n) {
        SCOPED_TRACE(oracle::CaseName(n));
        Random random = oracle::RandomOf(n);
        _tagDIBPARAM source{};
        source.nWidth = random.OneIn(6) ? random.Range(65530, 65540) : random.Range(1, 3000);
        source.nHeight = random.OneIn(6) ? random.Range(65530, 65540) : random.Range(1, 3000);
        source.nBitCount = oracle::KernelDepth(random);
        const tagSIZE target{oracle::OddOrEven(random, 4000), oracle::OddOrEven(random, 4000)};
        const oracle::Steps expected = oracle::StepsFor(source.nWidth, source.nHeight, target.cx, target.cy);
        const tagSIZE steps = resampler.GetCoordUnit(source, target);
        EXPECT_EQ(steps.cx, expected.x);
        EXPECT_EQ(steps.cy, expected.y);

        const int step = random.OneIn(2) ? steps.cx : static_cast<int>(random.Next() >> random.Range(0, 31));
        const int first = random.OneIn(8) ? static_cast<int>(random.Next()) : random.Range(-30, 4000);
        const int count = random.Range(0, 60);
        const std::unique_ptr<_tagCOORDENTRY[]> table(resampler.GetCoordTable(source, first, step, count));
        ASSERT_NE(table, nullptr);
        const auto wanted = oracle::CoordinatesFor(source.nWidth, source.nBitCount, first, step, count);
        for (std::size_t i = 0; i < wanted.size() && !HasFailure(); ++i) {
            EXPECT_EQ(table[i].nOffset0, wanted[i].offset0) << "entry " << i;
            EXPECT_EQ(table[i].nOffset1, wanted[i].offset1) << "entry " << i;
            EXPECT_EQ(table[i].nFraction, wanted[i].fraction) << "entry " << i;
        }
    }
}

// The block that CreateDIB makes, or none with an error; `info` and `bits` are all that can be read.
struct NewBlock {
    bool made = false;
    int error = 0;
    Bytes bytes;
};

NewBlock ExpectedBlock(const Bytes& info, const Bytes* bits) {
    NewBlock result;
    result.error = -4;
    if (info.size() < 40)
        return result;
    const bool shortHeader = info.size() < 44;
    const std::uint64_t table = shortHeader ? 0 : oracle::ResamplerPaletteSize(info);
    const std::uint64_t header = testdib::U32(info, 0) + table;
    const std::uint64_t pixels =
        testdib::Stride(static_cast<int>(testdib::U32(info, 4)), static_cast<int>(testdib::U16(info, 14))) *
        std::uint64_t{testdib::U32(info, 8)};
    if (header > info.size() || (bits && pixels > bits->size()))
        return result;
    result.error = -1;
    if (header + pixels > oracle::LargestBlock)
        return result;
    result.made = true;
    result.error = shortHeader ? -4 : 0;
    result.bytes.assign(info.begin(), info.begin() + static_cast<std::ptrdiff_t>(header));
    if (bits)
        result.bytes.insert(result.bytes.end(), bits->begin(), bits->begin() + static_cast<std::ptrdiff_t>(pixels));
    result.bytes.resize(static_cast<std::size_t>(header + pixels), 0xFF);
    return result;
}

TEST_F(BilinearParts, NewBlocksEqualTheSecondVersion) {
    const std::uint64_t start = oracle::RandomStart();
    for (std::uint64_t n = start; n < start + oracle::RandomCases(2000) && !HasFailure(); ++n) {
        SCOPED_TRACE(oracle::CaseName(n));
        Random random = oracle::RandomOf(n);
        const int width = random.Range(0, 40), height = random.Range(0, 20), depth = oracle::KernelDepth(random);
        const Bytes dib = oracle::RandomSource(random, width, height, depth);
        const std::size_t head = testdib::U32(dib, 0) + oracle::ResamplerPaletteSize(dib);
        Bytes info(dib.begin(), dib.begin() + static_cast<std::ptrdiff_t>(std::min(head, dib.size())));
        Bytes bits(dib.begin() + static_cast<std::ptrdiff_t>(info.size()), dib.end());
        if (random.OneIn(3))
            info.resize(info.size() + static_cast<std::size_t>(random.Range(1, 9)), 0x77);
        else if (random.OneIn(8))
            info.resize(random.Next() % info.size());
        const bool withBits = random.OneIn(2);
        if (random.OneIn(8) && !bits.empty())
            bits.resize(random.Next() % bits.size());
        if (!withBits && random.OneIn(10) && info.size() >= 44) {
            testdib::PutU32(info, 4, static_cast<std::uint32_t>(random.Range(1000, 2000000)));
            testdib::PutU32(info, 8, static_cast<std::uint32_t>(random.Range(100000, 2000000)));
        }
        const NewBlock expected = ExpectedBlock(info, withBits ? &bits : nullptr);

        StartAfresh();
        testhost::GuardedBuffer infoRoom(info.size()), bitsRoom(bits.size());
        std::copy(info.begin(), info.end(), infoRoom.data());
        std::copy(bits.begin(), bits.end(), bitsRoom.data());
        CConvertResolution resampler;
        // The function takes any address: the record's own type promises nothing about alignment here.
        const void* at = infoRoom.data();
        void* block = resampler.CreateDIB(static_cast<const tagBITMAPINFO*>(at), withBits ? bitsRoom.data() : nullptr);
        ASSERT_EQ(block != nullptr, expected.made) << "error " << resampler.m_nLastError;
        EXPECT_EQ(resampler.m_nLastError, expected.error);
        if (block) {
            EXPECT_EQ(testhost::Bytes(block), expected.bytes);
            EXPECT_EQ(testhost::LockCount(block), 0);
        }
        EXPECT_EQ(testhost::LiveBlocks(), block ? 1 : 0);
    }
}

} // namespace

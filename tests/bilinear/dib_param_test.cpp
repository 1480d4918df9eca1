// Header arithmetic and the parameter record.
#include "tests/bilinear/bilinear_test.h"

namespace {

using namespace bilinear_test;
using namespace testdib;

class DibParam : public BilinearTest {
protected:
    _tagDIBPARAM Param(const Bytes& dib) {
        _tagDIBPARAM param;
        std::memset(&param, 0xEE, sizeof param);
        object.SetDIBParam(dib.data(), param);
        return param;
    }
};

TEST_F(DibParam, PaletteSizeCountsTablesForOneFourAndEightBitsOnly) {
    const int bits[] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 16, 24, 32, 48, 64, 65535};
    const unsigned bytes[] = {0, 8, 0, 0, 64, 0, 0, 0, 1024, 0, 0, 0, 0, 0, 0, 0};
    for (int i = 0; i < 16; ++i) {
        Bytes dib(44);
        PutU16(dib, 14, static_cast<unsigned>(bits[i]));
        EXPECT_EQ(object.GetPaletteSize(dib.data()), bytes[i]) << bits[i] << " bits";
    }
    EXPECT_EQ(object.m_nLastError, 0);
}

TEST_F(DibParam, PaletteSizeFollowsTheColoursUsed) {
    Bytes dib = MakeDib(1, 1, 24);
    PutU32(dib, 32, 3);
    EXPECT_EQ(object.GetPaletteSize(dib.data()), 12u);
    PutU16(dib, 14, 8);
    EXPECT_EQ(object.GetPaletteSize(dib.data()), 12u);
    PutU32(dib, 32, 0x40000001);
    EXPECT_EQ(object.GetPaletteSize(dib.data()), 4u);
    PutU32(dib, 32, 0xFFFFFFFF);
    EXPECT_EQ(object.GetPaletteSize(dib.data()), 0xFFFFFFFCu);
}

TEST_F(DibParam, PaletteSizeAndBitsTopNeed44ReadableBytes) {
    EXPECT_EQ(object.GetPaletteSize(nullptr), 0u);
    EXPECT_EQ(object.m_nLastError, -4);
    for (std::size_t bytes = 40; bytes < 44; ++bytes) {
        testhost::GuardedBuffer header(bytes);
        std::memset(header.data(), 0, bytes);
        header.data()[14] = 8;
        CConvertResolution fresh;
        EXPECT_EQ(fresh.GetPaletteSize(header.data()), 0u);
        EXPECT_EQ(fresh.m_nLastError, -4);
        CConvertResolution other;
        EXPECT_EQ(other.GetBitsTop(header.data()), nullptr);
        EXPECT_EQ(other.m_nLastError, -4);
    }
    testhost::GuardedBuffer header(44);
    std::memset(header.data(), 0, 44);
    header.data()[14] = 8;
    CConvertResolution fresh;
    EXPECT_EQ(fresh.GetPaletteSize(header.data()), 1024u);
    EXPECT_EQ(fresh.m_nLastError, 0);
    EXPECT_EQ(fresh.GetBitsTop(nullptr), nullptr);
    EXPECT_EQ(fresh.m_nLastError, -4);
}

TEST_F(DibParam, BitsTopStandsBehindHeaderAndTable) {
    Bytes dib = MakeDib(1, 1, 4);
    EXPECT_EQ(object.GetBitsTop(dib.data()), dib.data() + 104);
    PutU32(dib, 0, 48);
    EXPECT_EQ(object.GetBitsTop(dib.data()), dib.data() + 112);
    PutU32(dib, 32, 0x40000000); // four times this wraps to nothing
    EXPECT_EQ(object.GetBitsTop(dib.data()), dib.data() + 48);
    PutU32(dib, 32, 0x3FFFFFFF); // and this to four bytes less
    EXPECT_EQ(object.GetBitsTop(dib.data()), dib.data() + 44);
}

TEST_F(DibParam, MaskCoversOnePixelWithinAByte) {
    const int bits[] = {0, 1, 2, 4, 7, 8, 16, 24, 32, 48, 64};
    const int masks[] = {0, 1, 3, 15, 127, 255, 255, 255, 255, 255, 255};
    for (int i = 0; i < 11; ++i) {
        _tagDIBPARAM param = {};
        param.nBitCount = bits[i];
        EXPECT_EQ(object.GetBitsMask(param), masks[i]) << bits[i] << " bits";
    }
}

TEST_F(DibParam, RecordOfEveryDepth) {
    struct Expected {
        int bits, lineBytes, bytesPerPixel, channels, colours, bitsOffset, imageSize, mask, pixelsPerByte;
    };
    const Expected all[] = {
        {1, 4, 0, 3, 2, 48, 12, 1, 8},       {4, 12, 0, 3, 16, 104, 36, 15, 2},   {8, 20, 1, 3, 256, 1064, 60, 255, 1},
        {16, 36, 2, 3, 0, 40, 108, 255, 0},  {24, 52, 3, 3, 0, 40, 156, 255, 0},  {32, 68, 4, 4, 0, 40, 204, 255, 0},
        {48, 104, 6, 3, 0, 40, 312, 255, 0}, {64, 136, 8, 4, 0, 40, 408, 255, 0},
    };
    for (const Expected& e : all) {
        SCOPED_TRACE(e.bits);
        const Bytes dib = MakeDib(17, 3, e.bits);
        const _tagDIBPARAM p = Param(dib);
        EXPECT_EQ(p.nWidth, 17);
        EXPECT_EQ(p.nHeight, 3);
        EXPECT_EQ(p.nBitCount, e.bits);
        EXPECT_EQ(p.nLineBytes, e.lineBytes);
        EXPECT_EQ(p.nBytesPerPixel, e.bytesPerPixel);
        EXPECT_EQ(p.nChannels, e.channels);
        EXPECT_EQ(p.nColors, e.colours);
        EXPECT_EQ(p.dwCompression, 0u);
        EXPECT_EQ(p.nBitsOffset, e.bitsOffset);
        EXPECT_EQ(p.nImageSize, e.imageSize);
        EXPECT_EQ(p.byMask, e.mask);
        EXPECT_EQ(p.nPixelsPerByte, e.pixelsPerByte);
        EXPECT_EQ(reinterpret_cast<const std::uint8_t*>(p.pHeader), dib.data());
        EXPECT_EQ(reinterpret_cast<const std::uint8_t*>(p.pColorTable), dib.data() + 40);
        EXPECT_EQ(p.pBits, dib.data() + e.bitsOffset);
    }
    EXPECT_EQ(object.m_nLastError, 0);
}

TEST_F(DibParam, RecordIsZeroedWhole) {
    // The mask is a byte of a word of its own; nothing is left of what stood in the other three.
    const _tagDIBPARAM p = Param(MakeDib(1, 1, 4));
    unsigned char word[4];
    std::memcpy(word, &p.byMask, sizeof word);
    EXPECT_EQ(Bytes(word, word + 4), (Bytes{15, 0, 0, 0}));
}

TEST_F(DibParam, TwoBitsCountFourColoursButNoTable) {
    Bytes dib = MakeDib(17, 3, 2);
    EXPECT_EQ(object.GetPaletteSize(dib.data()), 0u);
    const _tagDIBPARAM p = Param(dib);
    EXPECT_EQ(p.nColors, 4);
    EXPECT_EQ(p.nBitsOffset, 40);
    EXPECT_EQ(p.byMask, 3);
    EXPECT_EQ(p.nPixelsPerByte, 4);
}

TEST_F(DibParam, ColoursUsedReplaceTheDefault) {
    Bytes dib = MakeDib(1, 1, 8);
    PutU32(dib, 32, 5);
    EXPECT_EQ(Param(dib).nColors, 5);
    EXPECT_EQ(Param(dib).nBitsOffset, 60);
    PutU32(dib, 32, 0xFFFFFFFF);
    EXPECT_EQ(Param(dib).nColors, -1);
    EXPECT_EQ(Param(dib).nBitsOffset, 36);
}

TEST_F(DibParam, BitFieldMasksAreNotCounted) {
    Bytes dib = MakeDib(2, 2, 16);
    PutU32(dib, 16, 3);
    const _tagDIBPARAM p = Param(dib);
    EXPECT_EQ(p.dwCompression, 3u);
    EXPECT_EQ(p.nBitsOffset, 40);
    EXPECT_EQ(p.pBits, dib.data() + 40);
}

TEST_F(DibParam, LongHeaderMovesThePixelsButNotTheTable) {
    Bytes dib = MakeDib(2, 2, 8);
    PutU32(dib, 0, 124);
    const _tagDIBPARAM p = Param(dib);
    EXPECT_EQ(p.nBitsOffset, 1148);
    EXPECT_EQ(p.pBits, dib.data() + 1148);
    EXPECT_EQ(reinterpret_cast<const std::uint8_t*>(p.pColorTable), dib.data() + 40);
}

TEST_F(DibParam, NegativeHeightAndStoredImageSizeAreTakenAsTheyAre) {
    Bytes dib = MakeDib(3, 2, 24);
    PutU32(dib, 8, 0xFFFFFFFE);
    PutU32(dib, 20, 7777);
    const _tagDIBPARAM p = Param(dib);
    EXPECT_EQ(p.nHeight, -2);
    EXPECT_EQ(p.nImageSize, -24);
}

TEST_F(DibParam, SizesWrapIn32Bits) {
    Bytes dib = MakeDib(1, 1, 32);
    PutU32(dib, 4, 0x04000000); // 2^26 pixels of 32 bits are 2^31 bits
    PutU32(dib, 8, 3);
    _tagDIBPARAM p = Param(dib);
    EXPECT_EQ(p.nLineBytes, -268435456);
    EXPECT_EQ(p.nImageSize, -805306368);
    PutU32(dib, 4, 0x02000000);
    PutU32(dib, 8, 16);
    p = Param(dib);
    EXPECT_EQ(p.nLineBytes, 134217728);
    EXPECT_EQ(p.nImageSize, INT_MIN);
}

TEST_F(DibParam, BitCountOfZeroDividesNothing) {
    Bytes dib = MakeDib(5, 1, 24);
    PutU16(dib, 14, 0);
    const _tagDIBPARAM p = Param(dib);
    EXPECT_EQ(p.nPixelsPerByte, 0);
    EXPECT_EQ(p.byMask, 0);
    EXPECT_EQ(p.nColors, 1);
}

TEST_F(DibParam, HeaderOf40ReadableBytesHasNoPixels) {
    testhost::GuardedBuffer header(40);
    const Bytes dib = MakeDib(3, 2, 8);
    std::memcpy(header.data(), dib.data(), 40);
    _tagDIBPARAM p;
    object.SetDIBParam(header.data(), p);
    EXPECT_EQ(object.m_nLastError, -4);
    EXPECT_EQ(p.nWidth, 3);
    EXPECT_EQ(p.nBitsOffset, 40);
    EXPECT_EQ(p.pBits, nullptr);
}

TEST_F(DibParam, NullDibGivesAnEmptyRecord) {
    _tagDIBPARAM p;
    std::memset(&p, 0xEE, sizeof p);
    object.SetDIBParam(nullptr, p);
    EXPECT_EQ(object.m_nLastError, -4);
    EXPECT_EQ(p.nWidth, 0);
    EXPECT_EQ(p.pBits, nullptr);
}

TEST_F(DibParam, HeaderMayStandAtAnOddAddress) {
    const Bytes dib = MakeDib(17, 3, 48);
    Bytes shifted(1);
    shifted.insert(shifted.end(), dib.begin(), dib.end());
    _tagDIBPARAM p;
    object.SetDIBParam(shifted.data() + 1, p);
    EXPECT_EQ(p.nLineBytes, 104);
    EXPECT_EQ(p.pBits, shifted.data() + 41);
}

} // namespace

// SetOutputBitmapInfoHeader and CreateOutputData: header bytes and the colour table of each kind.
#include "tests/transform/transform_support.h"

namespace {

using namespace transformtest;

class OutputHeader : public MemoryTest {
protected:
    static void Describe(CLinearTransformMem& engine, int width, int height, int bits, int stride, int kind = 0) {
        engine.outWidth = static_cast<unsigned short>(width);
        engine.outHeight = static_cast<unsigned short>(height);
        engine.outBitCount = static_cast<unsigned short>(bits);
        engine.outStride = static_cast<unsigned int>(stride);
        engine.outDpiX = 200;
        engine.outDpiY = 300;
        engine.kind = engine.outKind = static_cast<unsigned short>(kind);
    }
    // 60 bytes, 0xEE where nothing was written.
    static Bytes Header(int width, int height, int bits, int stride, int withFileHeader) {
        CLinearTransformMem engine;
        Describe(engine, width, height, bits, stride);
        Bytes out(60, 0xEE);
        engine.SetOutputBitmapInfoHeader(out.data(), withFileHeader);
        return out;
    }
    // What CreateOutputData makes of a destination of `size` bytes.
    static Bytes Table(int bits, int kind, std::size_t size, int expected = 0) {
        void* block = testhost::MakeBlock(Bytes(size, 0xEE));
        CLinearTransformMem engine;
        Describe(engine, 0, 0, bits, 0, kind);
        {
            CBufTransfer destination(&block, 1, 1);
            engine.destination = &destination;
            engine.mode = MemoryToMemory;
            EXPECT_EQ(engine.CreateOutputData(), expected);
        }
        s_offset = engine.outBitsOffset;
        const Bytes out = testhost::Bytes(block);
        GlobalFree(block);
        return out;
    }
    static inline int s_offset = 0;
};

TEST_F(OutputHeader, InfoHeaderAlone) {
    const Bytes out = Header(0x1234, 0x8765, 1, 32, 0);
    EXPECT_EQ(Part(out, 0, 40), (Bytes{40, 0, 0, 0, 0x34, 0x12, 0, 0, 0x65, 0x87, 0, 0, 1, 0, 1, 0, 0, 0, 0, 0,
                                       0,  0, 0, 0, 0xC2, 0x1E, 0, 0, 0x23, 0x2E, 0, 0, 2, 0, 0, 0, 2, 0, 0, 0}));
    EXPECT_EQ(Part(out, 40, 20), Bytes(20, 0xEE)) << "40 bytes, no more";
}

TEST_F(OutputHeader, FileHeaderInFront) {
    const Bytes out = Header(10, 4, 8, 12, 1);
    EXPECT_EQ(Part(out, 0, 14), (Bytes{'B', 'M', 0x66, 1, 0, 0, 0, 0, 0, 0, 0x36, 4, 0, 0}));
    EXPECT_EQ(testdib::U32(out, 14), 40u);
    EXPECT_EQ(testdib::U32(out, 18), 10u);
    EXPECT_EQ(testdib::U32(out, 22), 4u);
    EXPECT_EQ(testdib::U16(out, 26), 1u);
    EXPECT_EQ(testdib::U16(out, 28), 8u);
    EXPECT_EQ(testdib::U32(out, 30), 0u);
    EXPECT_EQ(testdib::U32(out, 34), 0u);
    EXPECT_EQ(testdib::U32(out, 38), 7874u);
    EXPECT_EQ(testdib::U32(out, 42), 11811u);
    EXPECT_EQ(testdib::U32(out, 46), 256u);
    EXPECT_EQ(testdib::U32(out, 50), 256u);
    EXPECT_EQ(Part(out, 54, 6), Bytes(6, 0xEE)) << "54 bytes, no more";
}

TEST_F(OutputHeader, OnlyOneAsksForTheFileHeader) {
    const Bytes plain = Header(10, 4, 8, 12, 0);
    EXPECT_EQ(Header(10, 4, 8, 12, 2), plain);
    EXPECT_EQ(Header(10, 4, 8, 12, -1), plain);
}

TEST_F(OutputHeader, FileSizeCountsColoursOnceAndRowsTo16Bits) {
    // 54 + 256 colours (not 1024 bytes) + 48
    EXPECT_EQ(testdib::U32(Header(10, 4, 8, 12, 1), 2), 358u);
    // 300 rows of 900 bytes are 270000, kept to 16 bits: 7856
    EXPECT_EQ(testdib::U32(Header(300, 300, 24, 900, 1), 2), 54u + 7856u);
    EXPECT_EQ(testdib::U32(Header(65535, 65535, 24, 196608, 1), 2), 54u) << "196608 * 65535 mod 65536 is 0";
    EXPECT_EQ(testdib::U32(Header(1, 65535, 1, 4, 1), 2), 54u + 2u + 65532u);
}

TEST_F(OutputHeader, PixelOffsetCountsFourBytesForEveryDeclaredColour) {
    EXPECT_EQ(testdib::U32(Header(1, 1, 1, 4, 1), 10), 62u);
    EXPECT_EQ(testdib::U32(Header(1, 1, 4, 4, 1), 10), 118u);
    EXPECT_EQ(testdib::U32(Header(1, 1, 8, 4, 1), 10), 1078u);
    EXPECT_EQ(testdib::U32(Header(1, 1, 24, 4, 1), 10), 54u);
}

TEST_F(OutputHeader, DeclaredColoursByBitCount) {
    const struct {
        int bits;
        unsigned colours;
    } cases[] = {{1, 2}, {4, 16}, {8, 256}, {2, 0}, {16, 0}, {24, 0}, {32, 0}, {0, 0}, {9, 0}};
    for (const auto& c : cases) {
        const Bytes out = Header(1, 1, c.bits, 4, 0);
        EXPECT_EQ(testdib::U32(out, 32), c.colours) << c.bits;
        EXPECT_EQ(testdib::U32(out, 36), c.colours) << c.bits;
    }
}

TEST_F(OutputHeader, ResolutionTruncates) {
    CLinearTransformMem engine;
    const struct {
        int dpi;
        unsigned ppm;
    } cases[] = {{300, 11811}, {200, 7874}, {96, 3779}, {72, 2834}, {600, 23622}, {0, 0}, {1, 39}, {65535, 2580118}};
    for (const auto& c : cases) {
        Describe(engine, 1, 1, 24, 4);
        engine.outDpiX = engine.outDpiY = static_cast<unsigned short>(c.dpi);
        Bytes out(40);
        engine.SetOutputBitmapInfoHeader(out.data(), 0);
        EXPECT_EQ(testdib::U32(out, 24), c.ppm);
        EXPECT_EQ(testdib::U32(out, 28), c.ppm);
    }
}

TEST_F(OutputHeader, OneBitTableIsBlackThenWhite) {
    const Bytes out = Table(1, 1, 60);
    EXPECT_EQ(Part(out, 40, 8), (Bytes{0, 0, 0, 0, 255, 255, 255, 0}));
    EXPECT_EQ(s_offset, 48);
    EXPECT_EQ(Part(out, 48, 12), Bytes(12, 0xEE));
}

TEST_F(OutputHeader, FourBitGrayTableHasSixteenSteps) {
    const Bytes out = Table(4, 2, 120);
    for (int i = 0; i < 16; ++i) {
        const auto level = static_cast<std::uint8_t>(16 * i);
        EXPECT_EQ(Part(out, 40 + 4 * static_cast<std::size_t>(i), 4), (Bytes{level, level, level, 0}));
    }
    EXPECT_EQ(s_offset, 104);
    EXPECT_EQ(Part(out, 104, 16), Bytes(16, 0xEE));
}

TEST_F(OutputHeader, EightBitGrayTableIsTheIdentity) {
    const Bytes out = Table(8, 3, 1064);
    for (int i = 0; i < 256; ++i) {
        const auto level = static_cast<std::uint8_t>(i);
        EXPECT_EQ(Part(out, 40 + 4 * static_cast<std::size_t>(i), 4), (Bytes{level, level, level, 0}));
    }
    EXPECT_EQ(s_offset, 1064);
}

TEST_F(OutputHeader, ColourCubeHas254EntriesWhileTheHeaderSays256) {
    const Bytes out = Table(8, 5, 1080);
    EXPECT_EQ(testdib::U32(out, 32), 256u);
    const int levels6[] = {0, 51, 102, 153, 204, 255};
    const int levels7[] = {0, 42, 84, 126, 168, 210, 255};
    for (int blue = 0; blue < 6; ++blue)
        for (int green = 0; green < 6; ++green)
            for (int red = 0; red < 7; ++red) {
                const auto index = static_cast<std::size_t>(blue * 42 + green * 7 + red);
                EXPECT_EQ(Part(out, 40 + 4 * index, 4),
                          (Bytes{static_cast<std::uint8_t>(levels6[blue]), static_cast<std::uint8_t>(levels6[green]),
                                 static_cast<std::uint8_t>(levels7[red]), 0}));
            }
    EXPECT_EQ(Part(out, 40 + 4 * 252, 8), Bytes(8, 0)) << "two zero entries";
    EXPECT_EQ(s_offset, 1056) << "8 bytes before where the header's 256 colours would end";
    EXPECT_EQ(Part(out, 1056, 24), Bytes(24, 0xEE));
}

TEST_F(OutputHeader, OtherKindsHaveNoTable) {
    EXPECT_EQ(Part(Table(24, 6, 50), 40, 10), Bytes(10, 0xEE));
    EXPECT_EQ(s_offset, 40);
    EXPECT_EQ(Part(Table(16, 0, 50), 40, 10), Bytes(10, 0xEE));
    EXPECT_EQ(s_offset, 40);
    const Bytes out = Table(4, 0, 50);
    EXPECT_EQ(testdib::U32(out, 32), 16u) << "4-bit colour: sixteen colours declared, none written";
    EXPECT_EQ(s_offset, 40);
}

TEST_F(OutputHeader, HeaderOrTableOutsideTheDestinationIs6AndWritesNothing) {
    EXPECT_EQ(Table(24, 6, 39, 6), Bytes(39, 0xEE));
    EXPECT_EQ(Table(8, 5, 1055, 6), Bytes(1055, 0xEE));
    EXPECT_EQ(Table(1, 1, 47, 6), Bytes(47, 0xEE));
    Table(8, 5, 1056, 0);
    Table(24, 6, 40, 0);
}

} // namespace

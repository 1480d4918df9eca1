// CLinearTransformMem driven by a host: plain addresses, single steps, GetImageLine.
#include "tests/support/temp_folder.h"
#include "tests/transform/transform_support.h"

namespace {

using namespace transformtest;

class TransformClass : public MemoryTest {};

Bytes RgbDib() {
    Bytes dib = testdib::MakeDib(2, 3, 24, Ppm100, Ppm100);
    for (std::size_t i = 40; i < dib.size(); ++i)
        dib[i] = static_cast<std::uint8_t>(i);
    return dib;
}

TEST_F(TransformClass, PlainAddressesWorkLikeBlocks) {
    for (const unsigned short dpi : {50, 100, 200}) {
        for (Bytes dib :
             {RgbDib(), GrayDib(5, 4, 8), ColourTableDib(5, 4, 8), testdib::MakeDib(9, 4, 1, Ppm100, Ppm100)}) {
            const Outcome memory = Transform(dib, dpi);
            Bytes out(memory.out.size());
            CBufTransfer source(dib.data(), 3, 0);
            CBufTransfer destination(out.data(), 3, 1);
            CLinearTransformMem engine;
            engine.source = &source;
            engine.destination = &destination;
            EXPECT_EQ(engine.LinearTransform(0, nullptr, dpi, 128), 0);
            EXPECT_EQ(out, memory.out);
        }
    }
}

TEST_F(TransformClass, NullPlainAddressesAre5And6) {
    Bytes dib = RgbDib();
    CBufTransfer none(nullptr, 3, 0);
    CBufTransfer source(dib.data(), 3, 0);
    CLinearTransformMem engine;
    engine.source = &none;
    engine.destination = &none;
    EXPECT_EQ(engine.LinearTransform(0, nullptr, 100, 128), 5);
    engine.source = &source;
    EXPECT_EQ(engine.LinearTransform(0, nullptr, 100, 128), 6);
}

TEST_F(TransformClass, SetsItsFieldsAsItGoes) {
    Bytes dib = RgbDib();
    Bytes out(1200);
    CBufTransfer source(dib.data(), 3, 0);
    CBufTransfer destination(out.data(), 3, 1);
    CLinearTransformMem engine;
    engine.source = &source;
    engine.destination = &destination;
    EXPECT_EQ(engine.LinearTransform(34, Recorder::Report, 200, 77), 0);
    EXPECT_EQ(engine.mode, 34);
    EXPECT_EQ(engine.threshold, 77);
    EXPECT_EQ(engine.progress, Recorder::Report);
    EXPECT_EQ(engine.ratioX, 2.0);
    EXPECT_EQ(engine.ratioY, 2.0);
    EXPECT_EQ(engine.outDpiX, 200);
    EXPECT_EQ(engine.outDpiY, 200);
    EXPECT_EQ(engine.outWidth, 4);
    EXPECT_EQ(engine.outHeight, 6);
    EXPECT_EQ(engine.outStride, 12u);
    EXPECT_EQ(engine.outBitCount, 24);
    EXPECT_EQ(engine.kind, 6);
    EXPECT_EQ(engine.outKind, 6);
    EXPECT_EQ(engine.outBitsOffset, 40);
    EXPECT_EQ(engine.lineBlock, nullptr);
    EXPECT_EQ(engine.outLineBlock, nullptr);
    EXPECT_EQ(engine.line0, nullptr);
    EXPECT_EQ(engine.outLine, nullptr);
}

TEST_F(TransformClass, AnObjectUsedAgainBeginsAnew) {
    // The same object and transfers, first with a callback, then at another resolution without one.
    const Bytes dib = RgbDib();
    void* from = testhost::MakeBlock(dib);
    void* to = testhost::MakeBlock(Bytes(1200));
    {
        CBufTransfer source(&from, 1, 0);
        CBufTransfer destination(&to, 1, 1);
        CLinearTransformMem engine;
        engine.source = &source;
        engine.destination = &destination;
        Recorder::Clear();
        EXPECT_EQ(engine.LinearTransform(34, Recorder::Report, 200, 128), 0);
        EXPECT_EQ(Recorder::calls, (std::vector<int>{0, 16, 33, 50, 66, 83}));
        Recorder::Clear();
        EXPECT_EQ(engine.LinearTransform(34, nullptr, 100, 128), 0);
        EXPECT_TRUE(Recorder::calls.empty());
        EXPECT_EQ(source.position, 40u);
        EXPECT_EQ(destination.position, 40u);
        EXPECT_EQ(engine.positions.size(), 2u);
    }
    const Bytes out = testhost::Bytes(to);
    EXPECT_EQ(testdib::U32(out, 4), 2u);
    for (std::size_t y = 0; y < 3; ++y)
        EXPECT_EQ(Part(out, 40 + 8 * y, 6), Part(dib, 40 + 8 * y, 6)) << "row " << y;
}

TEST_F(TransformClass, CreateImageTakesTheThresholdThatItIsGiven) {
    // A white page whose index 0 is white, driven step by step.
    Bytes dib = testdib::MakeDib(8, 1, 1, Ppm100, Ppm100);
    testdib::SetEntry(dib, 0, 255, 255, 255);
    Bytes out(52);
    CBufTransfer source(dib.data(), 3, 0);
    CBufTransfer destination(out.data(), 3, 1);
    CLinearTransformMem engine;
    engine.source = &source;
    engine.destination = &destination;
    EXPECT_EQ(engine.LinearTransform(0, nullptr, 100, 0), 0);
    EXPECT_EQ(out[48], 0x00) << "below 0 is nothing";
    EXPECT_EQ(engine.CreateImage(0, 1), 0);
    EXPECT_EQ(out[48], 0xFF);
    EXPECT_EQ(engine.threshold, 1);
}

TEST_F(TransformClass, ColumnMapHasAnEntryForEveryOutputColumn) {
    Bytes dib = testdib::MakeDib(10, 1, 1, Ppm100, Ppm100);
    Bytes out(1200);
    CBufTransfer source(dib.data(), 3, 0);
    CBufTransfer destination(out.data(), 3, 1);
    CLinearTransformMem engine;
    engine.source = &source;
    engine.destination = &destination;
    EXPECT_EQ(engine.LinearTransform(0, nullptr, 200, 128), 0);
    ASSERT_EQ(engine.positions.size(), 20u);
    const struct {
        std::size_t x;
        double fraction;
        int x0, x1, byte0, byte1;
    } cases[] = {{0, 0, 0, 1, 0, 0},    {1, 0.5, 0, 1, 0, 0}, {15, 0.5, 7, 8, 0, 1}, {16, 0, 8, 9, 1, 1},
                 {17, 0.5, 8, 9, 1, 1}, {18, 0, 9, 9, 1, 1},  {19, 0.5, 9, 9, 1, 1}};
    for (const auto& c : cases) {
        const CPosition& p = engine.positions[c.x];
        EXPECT_EQ(p.fraction, c.fraction) << c.x;
        EXPECT_EQ(p.x0, c.x0) << c.x;
        EXPECT_EQ(p.x1, c.x1) << c.x;
        EXPECT_EQ(p.byte0, c.byte0) << c.x;
        EXPECT_EQ(p.byte1, c.byte1) << c.x;
    }
}

TEST_F(TransformClass, OpenImageMakesTwoSourceRowsAndOneOutputRow) {
    CLinearTransformMem engine;
    engine.srcStride = 20;
    engine.outStride = 36;
    EXPECT_EQ(engine.OpenImage(34), 0u);
    ASSERT_NE(engine.lineBlock, nullptr);
    ASSERT_NE(engine.outLineBlock, nullptr);
    EXPECT_EQ(testhost::Size(engine.lineBlock), 40u);
    EXPECT_EQ(testhost::Size(engine.outLineBlock), 36u);
    EXPECT_EQ(engine.line0, testhost::Address(engine.lineBlock));
    EXPECT_EQ(engine.line1, engine.line0 + 20);
    EXPECT_EQ(engine.outLine, testhost::Address(engine.outLineBlock));
    EXPECT_EQ(testhost::OutstandingLocks(), 2);
    engine.CloseImage(34);
    EXPECT_EQ(testhost::LiveBlocks(), 0);
    EXPECT_EQ(testhost::OutstandingLocks(), 0);
    EXPECT_EQ(engine.lineBlock, nullptr);
    EXPECT_EQ(engine.outLineBlock, nullptr);
    EXPECT_EQ(engine.line0, nullptr);
    EXPECT_EQ(engine.outLine, nullptr);
    engine.CloseImage(34);
    EXPECT_EQ(testhost::BadCalls(), 0) << "closing twice does nothing";
}

TEST_F(TransformClass, ABlockMadeBeforeAFailureIsFreedByCloseImage) {
    for (int n = 1; n <= 2; ++n) {
        CLinearTransformMem engine;
        engine.srcStride = 20;
        engine.outStride = 36;
        testhost::FailAllocation(n);
        EXPECT_EQ(engine.OpenImage(34), 2u);
        engine.CloseImage(34);
        EXPECT_EQ(testhost::LiveBlocks(), 0);
    }
}

TEST_F(TransformClass, ImageLineFromMemory) {
    const Bytes dib = RgbDib();
    void* block = testhost::MakeBlock(dib);
    CBufTransfer source(&block, 1, 0);
    CLinearTransformMem engine;
    engine.source = &source;
    ASSERT_EQ(engine.GetSourceImageInfo(), 0);
    for (const unsigned short line : {2, 0, 1}) {
        testhost::GuardedBuffer row(8);
        EXPECT_EQ(engine.GetImageLine(line, row.data()), 1);
        EXPECT_EQ(Bytes(row.data(), row.data() + 8), Part(dib, 40 + 8u * line, 8));
        EXPECT_EQ(source.position, 48u + 8u * line) << "the end of the row";
    }
    Bytes row(8, 0xEE);
    EXPECT_EQ(engine.GetImageLine(3, row.data()), 0) << "outside the block";
    EXPECT_EQ(engine.GetImageLine(65535, row.data()), 0);
    EXPECT_EQ(row, Bytes(8, 0xEE));
}

TEST_F(TransformClass, ImageLineFromAFile) {
    const TempFolder folder;
    const Bytes dib = RgbDib();
    std::string path = folder.Write("in.bmp", AsFile(dib));
    CBufTransfer source(path.data(), 2, 0);
    CLinearTransformMem engine;
    engine.source = &source;
    ASSERT_EQ(engine.GetSourceImageInfo(), 0);
    EXPECT_EQ(engine.srcBitsOffset, 54);
    EXPECT_EQ(source.position, 54u);
    for (const unsigned short line : {2, 0, 1}) {
        testhost::GuardedBuffer row(8);
        EXPECT_EQ(engine.GetImageLine(line, row.data()), 1);
        EXPECT_EQ(Bytes(row.data(), row.data() + 8), Part(dib, 40 + 8u * line, 8));
        EXPECT_EQ(source.position, 62u + 8u * line);
    }
    Bytes row(8);
    EXPECT_EQ(engine.GetImageLine(3, row.data()), 0) << "behind the end of the file";
}

TEST_F(TransformClass, ImageLinesBeyondWhatAnOffsetCanHoldAreRefused) {
    // Row 43691 of rows of 196608 bytes starts 65536 bytes behind a multiple of 4294967296: an offset
    // that wrapped would find bytes there.
    Bytes dib = testdib::MakeDib(65535, 2, 24, Ppm100, Ppm100);
    const TempFolder folder;
    std::string path = folder.Write("in.bmp", AsFile(dib));
    void* block = testhost::MakeBlock(dib);
    CBufTransfer file(path.data(), 2, 0);
    CBufTransfer memory(&block, 1, 0);
    CBufTransfer address(dib.data(), 3, 0);
    for (CBufTransfer* source : {&file, &memory, &address}) {
        CLinearTransformMem engine;
        engine.source = source;
        ASSERT_EQ(engine.GetSourceImageInfo(), 0);
        ASSERT_EQ(engine.srcStride, 196608u);
        Bytes row(196608);
        EXPECT_EQ(engine.GetImageLine(1, row.data()), 1);
        EXPECT_EQ(engine.GetImageLine(43691, row.data()), 0);
        EXPECT_EQ(engine.GetImageLine(65535, row.data()), 0);
    }
}

TEST_F(TransformClass, ImageLineOfNothingFails) {
    Bytes row(8);
    CLinearTransformMem engine;
    engine.srcStride = 8;
    CBufTransfer inert(nullptr, 0, 0);
    engine.source = &inert;
    EXPECT_EQ(engine.GetImageLine(0, row.data()), 0);
    CBufTransfer none(nullptr, 3, 0);
    engine.source = &none;
    EXPECT_EQ(engine.GetImageLine(0, row.data()), 0);
}

} // namespace

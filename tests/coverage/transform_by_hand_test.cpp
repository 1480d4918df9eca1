// CLinearTransformMem and CBufTransfer as a host may use them that drives every step itself: steps out
// of order, transfers without a target, handles that are none.
#include "tests/support/temp_folder.h"
#include "tests/transform/transform_support.h"

namespace {

using namespace transformtest;

class TransformByHand : public MemoryTest {};

Bytes GrayRamp() {
    Bytes dib = GrayDib(4, 3, 8);
    for (std::size_t i = 0; i < 12; ++i)
        dib[RowsOf(dib) + i] = static_cast<std::uint8_t>(10 * i);
    return dib;
}

constexpr unsigned short Inert = 0;
constexpr unsigned short File = 2;
constexpr unsigned short Memory = 3;

struct Side {
    unsigned short type;
    void* target;
};

// An engine between a source and a destination, none of whose steps ran.
struct ByHand {
    CBufTransfer source;
    CBufTransfer destination;
    CLinearTransformMem engine;

    ByHand(Side from, Side to) : source(from.target, from.type, 0), destination(to.target, to.type, 1) {
        engine.source = &source;
        engine.destination = &destination;
    }
};

// A handle that no host function knows.
void* const NoHandle = reinterpret_cast<void*>(std::uintptr_t{0x1234});

} // namespace

TEST_F(TransformByHand, AFileWithoutAPathIsNotOpened) {
    CBufTransfer file(nullptr, 2, 1);
    EXPECT_EQ(file.handle, nullptr);
    EXPECT_EQ(file.data, nullptr);
    EXPECT_EQ(file.type, 2);
}

TEST_F(TransformByHand, WithoutASourceEveryStepThatReadsIt5OrFalse) {
    CLinearTransformMem engine;
    unsigned char row[4] = {1, 2, 3, 4};
    EXPECT_EQ(engine.GetSourceImageInfo(), 5);
    EXPECT_EQ(engine.GetImageLine(0, row), 0);
    EXPECT_EQ(engine.CreateImage(MemoryToMemory, 128), 5);
    EXPECT_EQ(engine.LinearTransform(MemoryToMemory, nullptr, 100, 128), 5);
    EXPECT_EQ(Bytes(row, row + 4), Bytes({1, 2, 3, 4}));
    EXPECT_EQ(testhost::Allocations(), 0);
}

TEST_F(TransformByHand, WithoutADestinationEveryStepThatWritesItIs6) {
    Bytes dib = GrayRamp();
    CBufTransfer source(dib.data(), 3, 0);
    CLinearTransformMem engine;
    engine.source = &source;
    EXPECT_EQ(engine.CreateOutputData(), 6);
    EXPECT_EQ(engine.CreateImage(MemoryToMemory, 128), 6);
    EXPECT_EQ(engine.LinearTransform(MemoryToMemory, nullptr, 100, 128), 6);
    EXPECT_EQ(testhost::Allocations(), 0);
}

TEST_F(TransformByHand, ADestinationWithoutASourceIs5) {
    Bytes out(64);
    CBufTransfer destination(out.data(), 3, 1);
    CLinearTransformMem engine;
    engine.destination = &destination;
    EXPECT_EQ(engine.CreateImage(MemoryToMemory, 128), 5);
    EXPECT_EQ(out, Bytes(64));
}

TEST_F(TransformByHand, StepsOneByOneGiveTheBytesOfTheWholeTransform) {
    for (Bytes dib : {GrayRamp(), testdib::MakeDib(9, 4, 1, Ppm100, Ppm100), ColourTableDib(5, 4, 8),
                      testdib::MakeDib(3, 3, 24, Ppm100, Ppm100)}) {
        const Outcome expected = Transform(dib, 200);
        Bytes out(expected.out.size());
        ByHand byHand({Memory, dib.data()}, {Memory, out.data()});
        CLinearTransformMem& engine = byHand.engine;
        ASSERT_EQ(engine.GetSourceImageInfo(), 0);
        engine.outDpiX = engine.outDpiY = 200;
        engine.ratioX = engine.ratioY = 2;
        engine.outWidth = static_cast<unsigned short>(engine.srcWidth * 2);
        engine.outHeight = static_cast<unsigned short>(engine.srcHeight * 2);
        engine.outBitCount = engine.srcBitCount;
        engine.outKind = engine.kind;
        engine.outStride = (engine.outWidth * engine.outBitCount + 31u) / 32 * 4;
        ASSERT_EQ(engine.CreateOutputData(), 0);
        EXPECT_EQ(engine.CreateImage(MemoryToMemory, 128), 0);
        EXPECT_EQ(out, expected.out) << engine.srcBitCount << " bits";
    }
}

TEST_F(TransformByHand, ASourceFileThatWasNeverOpenedIs5) {
    Bytes out(2000);
    ByHand byHand({File, nullptr}, {Memory, out.data()});
    CLinearTransformMem& engine = byHand.engine;
    unsigned char row[4];
    EXPECT_EQ(engine.GetSourceImageInfo(), 5);
    EXPECT_EQ(engine.GetImageLine(0, row), 0);
    EXPECT_EQ(engine.LinearTransform(0, nullptr, 100, 128), 5);
    EXPECT_EQ(out, Bytes(2000));
}

TEST_F(TransformByHand, ADestinationFileThatWasNeverOpenedIs6) {
    Bytes dib = GrayRamp();
    ByHand byHand({Memory, dib.data()}, {File, nullptr});
    CLinearTransformMem& engine = byHand.engine;
    EXPECT_EQ(engine.LinearTransform(0, nullptr, 100, 128), 6);
    EXPECT_EQ(engine.CreateOutputData(), 6);
}

TEST_F(TransformByHand, FileHandlesThatTheHostDoesNotKnowAre5And6) {
    Bytes dib = GrayRamp();
    CBufTransfer memory(dib.data(), 3, 0);
    CBufTransfer file(nullptr, 2, 0);
    file.handle = NoHandle;
    CLinearTransformMem engine;
    engine.source = &file;
    engine.destination = &memory;
    unsigned char row[4];
    EXPECT_EQ(engine.GetSourceImageInfo(), 5);
    EXPECT_EQ(engine.GetImageLine(0, row), 0);
    engine.source = &memory;
    engine.destination = &file;
    EXPECT_EQ(engine.CreateOutputData(), 6);
    file.handle = nullptr;
}

TEST_F(TransformByHand, ADestinationFileLostBeforeItsRowsIs6) {
    const TempFolder folder;
    Bytes dib = GrayRamp();
    std::string path = folder.Path("out.bmp");
    ByHand byHand({Memory, dib.data()}, {File, path.data()});
    CLinearTransformMem& engine = byHand.engine;
    ASSERT_EQ(engine.LinearTransform(0, nullptr, 100, 128), 0);
    void* const kept = byHand.destination.handle;
    byHand.destination.handle = nullptr;
    EXPECT_EQ(engine.CreateImage(0, 128), 6);
    byHand.destination.handle = kept;
}

TEST_F(TransformByHand, AFullDiskIs6AtTheHeadersAlready) {
    Bytes dib = GrayRamp();
    char path[] = "/dev/full";
    ByHand byHand({Memory, dib.data()}, {File, path});
    ASSERT_NE(byHand.destination.handle, nullptr);
    EXPECT_EQ(byHand.engine.LinearTransform(0, nullptr, 100, 128), 6);
}

TEST_F(TransformByHand, AnInertDestinationIs6) {
    Bytes dib = GrayRamp();
    ByHand byHand({Memory, dib.data()}, {Inert, nullptr});
    EXPECT_EQ(byHand.engine.LinearTransform(0, nullptr, 100, 128), 6);
}

TEST_F(TransformByHand, RowsOfAKindThatHasNoneStayAsTheyAre) {
    Bytes dib = GrayRamp();
    Bytes out(100, 7);
    ByHand byHand({Memory, dib.data()}, {Memory, out.data()});
    CLinearTransformMem& engine = byHand.engine;
    engine.kind = 4;
    engine.outWidth = 4;
    engine.outHeight = 2;
    engine.outStride = 4;
    engine.srcWidth = 4;
    engine.srcHeight = 3;
    engine.ratioX = engine.ratioY = 1;
    EXPECT_EQ(engine.CreateImage(0, 128), 0);
    EXPECT_EQ(out, Bytes(100, 7));
}

TEST_F(TransformByHand, ImagesWithoutRowBytesNeedNoScratch) {
    CLinearTransformMem engine;
    EXPECT_EQ(engine.OpenImage(0), 0u);
    EXPECT_EQ(engine.outLineBlock == nullptr, engine.outLine == nullptr);
    engine.CloseImage(0);
    EXPECT_EQ(engine.lineBlock, nullptr);
    EXPECT_EQ(engine.line1, nullptr);
    EXPECT_EQ(testhost::LiveBlocks(), 0);
}

TEST_F(TransformByHand, EmptyScratchThatCannotBeLockedIsNoFailure) {
    for (int n = 1; n <= 2; ++n) {
        CLinearTransformMem engine;
        testhost::FailLock(n);
        EXPECT_EQ(engine.OpenImage(0), 0u);
        EXPECT_EQ(n == 1 ? engine.line1 : engine.outLine, nullptr);
        engine.CloseImage(0);
        EXPECT_EQ(testhost::LiveBlocks(), 0);
        EXPECT_EQ(testhost::OutstandingLocks(), 0);
    }
}

TEST_F(TransformByHand, PreConversionsWithoutAPlaceForTheResultDoNothing) {
    void* const colour = testhost::MakeBlock(ColourTableDib(4, 4, 8));
    void* const gray = testhost::MakeBlock(GrayDib(4, 4, 4));
    EXPECT_EQ(ConvertImage(colour, nullptr), 0u);
    EXPECT_EQ(ConvertImage2(gray, nullptr), 0u);
    EXPECT_EQ(testhost::Allocations(), 0);
    EXPECT_EQ(testhost::LiveBlocks(), 2);
}

// LinearTransformMain: its statuses, and what it refuses instead of leaving its blocks.
#include "tests/transform/transform_support.h"

namespace {

using namespace transformtest;

class TransformFailure : public MemoryTest {};

TEST_F(TransformFailure, NoResolutionIs11AndNothingIsWritten) {
    const int cases[][2] = {{0, 0}, {0, Ppm100}, {Ppm100, 0}, {-1, Ppm100}, {38, 38}, {2147483647, Ppm100}};
    for (const auto& c : cases) {
        const Outcome run = Transform(testdib::MakeDib(2, 2, 24, c[0], c[1]), 100, 128, nullptr, 1200, 0xEE);
        EXPECT_EQ(run.status, 11u) << c[0] << " " << c[1];
        EXPECT_EQ(run.out, Bytes(1200, 0xEE));
    }
}

TEST_F(TransformFailure, SourceThatCannotBeReadIs5) {
    void* none = nullptr;
    void* destination = testhost::MakeBlock(Bytes(1200, 0xEE));
    EXPECT_EQ(LinearTransformMain(MemoryToMemory, &none, &destination, nullptr, 100, 128), 5u);
    EXPECT_EQ(LinearTransformMain(MemoryToMemory, nullptr, &destination, nullptr, 100, 128), 5u);
    EXPECT_EQ(testhost::Bytes(destination), Bytes(1200, 0xEE));
}

TEST_F(TransformFailure, HeaderOrTableOutsideTheSourceIs5) {
    const Bytes dib = GrayDib(4, 4, 8);
    for (const std::size_t bytes : {1u, 39u, 40u, 1063u}) {
        const Outcome run = Transform(Part(dib, 0, bytes), 100, 128, nullptr, 1200, 0xEE);
        EXPECT_EQ(run.status, 5u) << bytes;
        EXPECT_EQ(run.out, Bytes(1200, 0xEE));
    }
}

TEST_F(TransformFailure, TableComesBeforeResolutionAndResolutionBeforeRows) {
    Bytes dib = GrayDib(4, 4, 8, 0);
    EXPECT_EQ(Transform(Part(dib, 0, 1063), 100, 128, nullptr, 1200).status, 5u);
    EXPECT_EQ(Transform(Part(dib, 0, 1064), 100, 128, nullptr, 1200).status, 11u);
    EXPECT_EQ(Transform(dib, 100, 128, nullptr, 39).status, 11u) << "and before the destination";
}

TEST_F(TransformFailure, RowsOutsideTheSourceAre5) {
    const Bytes dib = GrayDib(4, 4, 8);
    for (const std::size_t bytes : {1064u, 1068u, 1076u}) {
        const Outcome run = Transform(Part(dib, 0, bytes), 100, 128, nullptr, 1200, 0xEE);
        EXPECT_EQ(run.status, 5u) << bytes;
        EXPECT_EQ(run.out, Bytes(1200, 0xEE));
    }
    EXPECT_EQ(Transform(dib, 100, 128, nullptr, 1200).status, 0u);
}

TEST_F(TransformFailure, OnlyRowsThatAreReadMustBeThere) {
    // Four rows at half the resolution: output rows 0 and 1 read source rows 0, 1, 2 and 3.
    const Bytes four = GrayDib(4, 4, 8);
    EXPECT_EQ(Transform(Part(four, 0, 1064 + 12), 50, 128, nullptr, 1200).status, 5u);
    // Three rows: one output row from rows 0 and 1. Row 2 is never read.
    const Bytes three = GrayDib(4, 3, 8);
    EXPECT_EQ(Transform(Part(three, 0, 1064 + 8), 50, 128, nullptr, 1200).status, 0u);
    EXPECT_EQ(Transform(Part(three, 0, 1064 + 4), 50, 128, nullptr, 1200).status, 5u);
    // No output rows: none is read.
    EXPECT_EQ(Transform(Part(three, 0, 1064), 0, 128, nullptr, 1200).status, 0u);
}

TEST_F(TransformFailure, KindsWithoutRowsReadNone) {
    EXPECT_EQ(Transform(Part(GrayDib(4, 4, 4), 0, 104), 100, 128, nullptr, 104).status, 0u);
    EXPECT_EQ(Transform(Part(testdib::MakeDib(4, 4, 32, Ppm100, Ppm100), 0, 40), 100, 128, nullptr, 40).status, 0u);
}

TEST_F(TransformFailure, ATopDownPictureIsReadAsVeryHighAndRefused) {
    Bytes dib = testdib::MakeDib(4, -4, 24, Ppm100, Ppm100);
    const Outcome run = Transform(dib, 100, 128, nullptr, 1200, 0xEE);
    EXPECT_EQ(run.status, 5u) << "65532 rows";
    EXPECT_EQ(run.out, Bytes(1200, 0xEE));
}

TEST_F(TransformFailure, AHugeDeclaredPictureIsRefusedBeforeAnythingIsAllocated) {
    Bytes dib = testdib::MakeDib(0, 0, 24, Ppm100, Ppm100);
    testdib::PutU32(dib, 4, 65535);
    testdib::PutU32(dib, 8, 65535);
    void* source = testhost::MakeBlock(dib);
    void* destination = testhost::MakeBlock(Bytes(1200));
    testhost::ResetCounters();
    EXPECT_EQ(LinearTransformMain(MemoryToMemory, &source, &destination, nullptr, 100, 128), 5u);
    EXPECT_EQ(testhost::Allocations(), 0);
}

TEST_F(TransformFailure, SmallDestinationsAre6BeforeAByteIsWritten) {
    const struct {
        Bytes dib;
        std::size_t needed;
    } cases[] = {{testdib::MakeDib(4, 4, 1, Ppm100, Ppm100), 48 + 16},
                 {GrayDib(4, 4, 8), 1064 + 16},
                 {ColourTableDib(4, 4, 8), 1056 + 16},
                 {testdib::MakeDib(4, 4, 24, Ppm100, Ppm100), 40 + 48},
                 {GrayDib(4, 4, 4), 104},
                 {ColourTableDib(4, 4, 4), 40},
                 {testdib::MakeDib(4, 4, 16, Ppm100, Ppm100), 40}};
    for (const auto& c : cases) {
        EXPECT_EQ(Transform(c.dib, 100, 128, nullptr, c.needed).status, 0u) << c.needed;
        // Without its whole last row, one row less, and without any room.
        for (const std::size_t size : {c.needed - 4, c.needed - 5, std::size_t{39}, std::size_t{1}}) {
            const Outcome run = Transform(c.dib, 100, 128, nullptr, size, 0xEE);
            EXPECT_EQ(run.status, 6u) << c.needed << " " << size;
            EXPECT_EQ(run.out, Bytes(size, 0xEE));
        }
    }
}

TEST_F(TransformFailure, SourceRowsAreCheckedBeforeTheDestination) {
    EXPECT_EQ(Transform(Part(GrayDib(4, 4, 8), 0, 1064), 100, 128, nullptr, 39).status, 5u);
}

TEST_F(TransformFailure, AHostThatCannotTellSizesIsTrusted) {
    testhost::SetSizeAnswer(testhost::SizeAnswer::Unknown);
    EXPECT_EQ(Transform(GrayDib(4, 4, 8), 100).status, 0u);
    EXPECT_EQ(Transform(ColourTableDib(4, 4, 8), 200).status, 0u);
}

TEST_F(TransformFailure, DestinationThatCannotBeWrittenIs6) {
    void* source = testhost::MakeBlock(GrayDib(4, 4, 8));
    void* none = nullptr;
    EXPECT_EQ(LinearTransformMain(MemoryToMemory, &source, &none, nullptr, 100, 128), 6u);
    EXPECT_EQ(LinearTransformMain(MemoryToMemory, &source, nullptr, nullptr, 100, 128), 6u);
}

TEST_F(TransformFailure, InertSourceIs5AndInertDestination6) {
    void* source = testhost::MakeBlock(GrayDib(4, 4, 8));
    void* destination = testhost::MakeBlock(Bytes(1200, 0xEE));
    for (const unsigned short mode : {0, 32, 4, 36})
        EXPECT_EQ(LinearTransformMain(mode, &source, &destination, nullptr, 100, 128), 5u) << mode;
    for (const unsigned short mode : {2, 6, 66})
        EXPECT_EQ(LinearTransformMain(mode, &source, &destination, nullptr, 100, 128), 6u) << mode;
    void* unresolved = testhost::MakeBlock(GrayDib(4, 4, 8, 0));
    EXPECT_EQ(LinearTransformMain(2, &unresolved, &destination, nullptr, 100, 128), 11u);
    EXPECT_EQ(testhost::Bytes(destination), Bytes(1200, 0xEE));
}

TEST_F(TransformFailure, EachScratchAllocationFailingIs2) {
    for (int n = 1; n <= 2; ++n) {
        testhost::Reset();
        void* source = testhost::MakeBlock(GrayDib(4, 4, 8));
        void* destination = testhost::MakeBlock(Bytes(1200));
        testhost::FailAllocation(n);
        EXPECT_EQ(LinearTransformMain(MemoryToMemory, &source, &destination, nullptr, 100, 128), 2u) << n;
        EXPECT_EQ(testhost::LiveBlocks(), 2) << "the other scratch block is freed";
        EXPECT_EQ(testhost::OutstandingLocks(), 0);
        EXPECT_EQ(testdib::U32(testhost::Bytes(destination), 0), 40u) << "the header stands already";
    }
}

TEST_F(TransformFailure, EachLockFailing) {
    const unsigned statuses[] = {5, 6, 2, 2}; // source, destination, the two scratch blocks
    for (int n = 1; n <= 5; ++n) {
        testhost::Reset();
        void* source = testhost::MakeBlock(GrayDib(4, 4, 8));
        void* destination = testhost::MakeBlock(Bytes(1200));
        testhost::ResetCounters();
        testhost::FailLock(n);
        EXPECT_EQ(LinearTransformMain(MemoryToMemory, &source, &destination, nullptr, 100, 128),
                  n == 5 ? 0u : statuses[n - 1])
            << n;
        if (n == 5) {
            EXPECT_EQ(testhost::Locks(), 4);
        }
        EXPECT_EQ(testhost::LiveBlocks(), 2) << n;
        EXPECT_EQ(testhost::OutstandingLocks(), 0) << n;
    }
}

TEST_F(TransformFailure, ScratchRowsOfNoBytesNeedNotLock) {
    // One column at half the resolution: no output columns, one output row.
    void* source = testhost::MakeBlock(testdib::MakeDib(1, 2, 24, Ppm100, Ppm100));
    void* destination = testhost::MakeBlock(Bytes(1078));
    for (int n = 3; n <= 5; ++n) {
        testhost::FailLock(n);
        const unsigned status = LinearTransformMain(MemoryToMemory, &source, &destination, nullptr, 50, 128);
        EXPECT_EQ(status, n == 3 ? 2u : 0u) << n << ": the source rows have bytes, the output row has none";
        testhost::FailLock(0);
    }
}

TEST_F(TransformFailure, ColumnMapThatCannotGrowIs2) {
    if (!testhost::CanFailNew())
        GTEST_SKIP() << "operator new belongs to the sanitizer here";
    void* source = testhost::MakeBlock(testdib::MakeDib(100, 4, 1, Ppm100, Ppm100));
    void* destination = testhost::MakeBlock(Bytes(1200));
    testhost::ResetCounters();
    EXPECT_EQ(LinearTransformMain(MemoryToMemory, &source, &destination, nullptr, 100, 128), 0u);
    const int news = testhost::News();
    ASSERT_GE(news, 1) << "the column map";
    for (int n = 1; n <= news; ++n) {
        testhost::FailNew(n);
        EXPECT_EQ(LinearTransformMain(MemoryToMemory, &source, &destination, nullptr, 100, 128), 2u) << n;
        testhost::FailNew(0);
        EXPECT_EQ(testhost::LiveBlocks(), 2);
        EXPECT_EQ(testhost::OutstandingLocks(), 0);
    }
}

} // namespace

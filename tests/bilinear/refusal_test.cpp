// What BiLinear refuses before it allocates anything, and what just passes.
#include "tests/bilinear/bilinear_test.h"

namespace {

using namespace bilinear_test;
using namespace testdib;

class Refusal : public BilinearTest {
protected:
    void ExpectRefused(const std::uint8_t* dib, const tagRECT* frame, const tagRECT* output, int error = -4) {
        object.m_nLastError = 0;
        testhost::ResetCounters();
        EXPECT_EQ(object.BiLinear(dib, frame, output, nullptr), nullptr);
        EXPECT_EQ(object.m_nLastError, error);
        EXPECT_EQ(testhost::Allocations(), 0);
    }
    void ExpectRefused(const Bytes& dib, const tagRECT& frame, int error = -4) {
        ExpectRefused(dib.data(), &frame, &frame, error);
    }
};

TEST_F(Refusal, NullAndUnreadableHeaders) {
    const tagRECT whole = {0, 0, 2, 2};
    ExpectRefused(nullptr, &whole, &whole);
    testhost::GuardedBuffer header(39);
    ExpectRefused(header.data(), &whole, &whole);
}

TEST_F(Refusal, HeadersOf40To43ReadableBytes) {
    const tagRECT whole = {0, 0, 2, 2};
    Bytes dib = MakeDib(1, 1, 24);
    for (std::size_t bytes = 40; bytes < 44; ++bytes) {
        testhost::GuardedBuffer header(bytes);
        std::memcpy(header.data(), dib.data(), bytes);
        ExpectRefused(header.data(), &whole, &whole);
        // A compressed one is told apart first.
        header.data()[16] = 1;
        ExpectRefused(header.data(), &whole, &whole, -7);
    }
    testhost::GuardedBuffer header(44);
    std::memcpy(header.data(), dib.data(), 44);
    EXPECT_EQ(Take(object.BiLinear(header.data(), &whole, &whole, nullptr)).size(), 56u);
}

TEST_F(Refusal, BitCountOfZeroEvenWhenCompressed) {
    Bytes dib = MakeDib(2, 2, 24);
    PutU16(dib, 14, 0);
    ExpectRefused(dib, {0, 0, 2, 2});
    PutU32(dib, 16, 1);
    ExpectRefused(dib, {0, 0, 2, 2});
}

TEST_F(Refusal, NullRectangles) {
    const Bytes dib = MakeDib(2, 2, 24);
    const tagRECT whole = {0, 0, 2, 2};
    ExpectRefused(dib.data(), nullptr, &whole);
    ExpectRefused(dib.data(), &whole, nullptr);
    ExpectRefused(dib.data(), nullptr, nullptr);
}

TEST_F(Refusal, MalformedFrames) {
    const Bytes dib = MakeDib(2, 2, 24);
    ExpectRefused(dib, {1, 0, 0, 2});
    ExpectRefused(dib, {0, 1, 2, 0});
}

TEST_F(Refusal, FramesWithoutExtent) {
    const Bytes dib = MakeDib(2, 2, 24);
    ExpectRefused(dib, {0, 0, 0, 2});
    ExpectRefused(dib, {0, 0, 2, 0});
    ExpectRefused(dib, {7, 7, 7, 7});
}

TEST_F(Refusal, FramesWhoseDifferencesLeave32Bits) {
    const Bytes dib = MakeDib(2, 2, 24);
    const tagRECT small = {0, 0, 2, 2};
    tagRECT frame = {INT_MIN, 0, 0, 2};
    ExpectRefused(dib.data(), &frame, &small);
    frame = {-1, 0, INT_MAX, 2};
    ExpectRefused(dib.data(), &frame, &small);
    frame = {0, INT_MIN, 2, INT_MAX};
    ExpectRefused(dib.data(), &frame, &small);
    // 2^31 - 1 is the widest.
    frame = {-1, 0, INT_MAX - 1, 2};
    EXPECT_EQ(Resample(dib, frame, small).size(), 56u);
    frame = {INT_MIN, INT_MIN, -1, -1};
    EXPECT_EQ(Resample(dib, frame, {-3, -3, -1, -1}).size(), 56u);
}

TEST_F(Refusal, SourcesWithoutExtent) {
    for (std::uint32_t size : {0u, 0xFFFFFFFFu, 0x80000000u}) {
        Bytes dib = MakeDib(2, 2, 24);
        PutU32(dib, 4, size);
        ExpectRefused(dib, {0, 0, 2, 2});
        ExpectRefused(dib, {0, 0, 1, 1});
        dib = MakeDib(2, 2, 24);
        PutU32(dib, 8, size);
        ExpectRefused(dib, {0, 0, 2, 2});
        ExpectRefused(dib, {0, 0, 1, 1});
    }
}

TEST_F(Refusal, WidthsBeyondTheFixedPointRange) {
    Bytes dib = MakeDib(65537, 1, 1);
    SetEntry(dib, 1, 9, 9, 9);
    dib.at(RowAt(dib, 0) + 8191) = 0x01; // pixel 65535
    ExpectRefused(dib, {0, 0, 2, 2});
    PutU32(dib, 4, 65536);
    EXPECT_EQ(Channel24(Resample(dib, 2, 2), 0, 0), (Ints{0, 9}));
    ExpectRefused(dib, {0, 0, 2, 1});
    ExpectRefused(dib, {0, 0, 1, 2});
    PutU32(dib, 4, 65535);
    dib.at(RowAt(dib, 0) + 8191) = 0x02; // pixel 65534
    const Bytes made = Resample(dib, 65535, 1);
    EXPECT_EQ(Channel24(made, 0, 0)[65533], 0);
    EXPECT_EQ(Channel24(made, 0, 0)[65534], 9);
    EXPECT_EQ(Resample(dib, 1, 2).size(), 48u);
}

TEST_F(Refusal, HeightsBeyondTheFixedPointRange) {
    Bytes dib = MakeDib(1, 65537, 1);
    SetEntry(dib, 1, 9, 9, 9);
    ExpectRefused(dib, {0, 0, 2, 2});
    dib = MakeDib(1, 65536, 1);
    SetEntry(dib, 1, 9, 9, 9);
    SetRow(dib, 65535, {0x80});
    const Bytes made = Resample(dib, 2, 2);
    EXPECT_EQ(Channel24(made, 0, 0), (Ints{0, 0}));
    EXPECT_EQ(Channel24(made, 1, 0), (Ints{9, 9}));
    ExpectRefused(dib, {0, 0, 2, 1});
    ExpectRefused(dib, {0, 0, 1, 2});
    dib = MakeDib(1, 65535, 1);
    EXPECT_EQ(Resample(dib, 2, 1).size(), 48u);
}

TEST_F(Refusal, SourcesThatLeave32Bits) {
    Bytes dib = MakeDib(2, 2, 64);
    PutU32(dib, 4, 65536);
    PutU32(dib, 8, 8192); // 2^32 bytes of rows
    ExpectRefused(dib, {0, 0, 2, 2});
    PutU32(dib, 8, 8191);
    PutU32(dib, 32, 131072); // 524288 bytes less, and as many more for the table
    ExpectRefused(dib, {0, 0, 2, 2});
    dib = MakeDib(2, 2, 24);
    PutU32(dib, 32, 0x20000000); // pixels 2^31 bytes away
    ExpectRefused(dib, {0, 0, 2, 2});
}

TEST_F(Refusal, TableThatWrapsIsNoTable) {
    Bytes dib = MakeDib(2, 1, 24);
    SetRow(dib, 0, {1, 2, 3, 4, 5, 6});
    PutU32(dib, 32, 0x40000000);
    EXPECT_EQ(Row(Resample(dib, 2, 1), 0, 6), (Ints{1, 2, 3, 4, 5, 6}));
}

TEST_F(Refusal, DestinationThatLeaves32BitsIsAMemoryFailure) {
    const Bytes dib = MakeDib(2, 2, 24);
    ExpectRefused(dib, {0, 0, 65535, 21846}, -1);
    ExpectRefused(dib, {0, 0, 89478486, 1}, -1);
    ExpectRefused(dib, {0, 0, INT_MAX, INT_MAX}, -1);
    // Without rows a wide clip has no size; its columns still need a table.
    const tagRECT frame = {0, 0, INT_MAX, 2}, wide = {0, 1, 178956971, 1};
    EXPECT_EQ(object.BiLinear(dib.data(), &frame, &wide, nullptr), nullptr);
    EXPECT_EQ(object.m_nLastError, -1);
    EXPECT_EQ(testhost::LiveBlocks(), 0);
}

TEST_F(Refusal, ArgumentsAreJudgedBeforeTheDestination) {
    Bytes dib = MakeDib(2, 2, 24);
    PutU32(dib, 8, 0);
    ExpectRefused(dib, {0, 0, 65535, 65535}, -4);
}

TEST_F(Refusal, KernelWithoutAFrameExtentIsRefused) {
    const Bytes dib = MakeDib(2, 2, 24);
    Bytes target = MakeDib(2, 2, 24);
    _tagDIBPARAM source, destination;
    object.SetDIBParam(dib.data(), source);
    object.SetDIBParam(target.data(), destination);
    const tagRECT frame = {0, 0, 0, 2}, clip = {0, 0, 2, 2};
    EXPECT_EQ(object.BiLinear24(source, &frame, &clip, destination, nullptr), 0);
    EXPECT_EQ(object.m_nLastError, -4);
}

} // namespace

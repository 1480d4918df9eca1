// Sources that end, or begin, at an unreadable page: nothing outside the DIB is read.
#include "tests/bilinear/bilinear_test.h"

namespace {

using namespace bilinear_test;
using namespace testdib;

class Guarded : public BilinearTest {
protected:
    Bytes ResampleGuarded(const Bytes& dib, const tagRECT& frame, const tagRECT& output,
                          testhost::GuardedBuffer::Side side) {
        testhost::GuardedBuffer source(dib.size(), side);
        std::memcpy(source.data(), dib.data(), dib.size());
        return Take(object.BiLinear(source.data(), &frame, &output, nullptr));
    }
};

TEST_F(Guarded, EveryDepthAndSizeStaysInsideTheSource) {
    using Side = testhost::GuardedBuffer::Side;
    for (int bits : {1, 4, 8, 16, 24, 32, 48, 64}) {
        for (const auto& [width, height] : {std::pair{1, 1}, {2, 1}, {1, 3}, {4, 4}, {33, 5}}) {
            const Bytes dib = MakeDib(width, height, bits);
            for (const auto& [cx, cy] : {std::pair{1, 1}, {1, 7}, {7, 1}, {2, 2}, {3, 9}, {90, 40}}) {
                SCOPED_TRACE(testing::Message()
                             << bits << " bits, " << width << " x " << height << " to " << cx << " x " << cy);
                const tagRECT frame = {0, 0, cx, cy};
                const tagRECT corner = {cx - 1, cy - 1, cx, cy};
                for (Side side : {Side::End, Side::Start}) {
                    const Bytes whole = ResampleGuarded(dib, frame, frame, side);
                    EXPECT_EQ(whole.size(), 40 + Stride(cx, BitsOf(whole)) * static_cast<std::size_t>(cy));
                    EXPECT_FALSE(ResampleGuarded(dib, frame, corner, side).empty());
                }
            }
        }
    }
}

TEST_F(Guarded, TableEntriesBeyondTheEndAreBlack) {
    // Two colours, then a row of one pixel: entry 2 is the row itself, entry 3 lies outside.
    for (int index : {0, 1, 2, 3, 255}) {
        Bytes dib = MakeDib(1, 1, 24);
        PutU16(dib, 14, 8);
        PutU32(dib, 32, 2);
        dib.resize(52);
        SetEntry(dib, 0, 1, 2, 3);
        SetEntry(dib, 1, 4, 5, 6);
        SetEntry(dib, 2, index, 7, 9);
        const tagRECT whole = {0, 0, 1, 1};
        const Ints expected = index == 0   ? Ints{1, 2, 3}
                              : index == 1 ? Ints{4, 5, 6}
                              : index == 2 ? Ints{2, 7, 9}
                                           : Ints{0, 0, 0};
        EXPECT_EQ(Row(ResampleGuarded(dib, whole, whole, testhost::GuardedBuffer::Side::End), 0, 3), expected)
            << "index " << index;
    }
}

TEST_F(Guarded, TableEndsWithTheDibAndNotWithItsBlock) {
    Bytes dib = MakeDib(1, 1, 24);
    PutU16(dib, 14, 4);
    PutU32(dib, 32, 1);
    dib.resize(48);
    dib[44] = 0x20;
    dib.resize(200, 0x77); // more of the block behind the DIB
    const tagRECT whole = {0, 0, 1, 1};
    EXPECT_EQ(Row(Resample(dib, whole, whole), 0, 3), (Ints{0, 0, 0}));
    dib[44] = 0x10; // the pixels themselves, as a colour
    EXPECT_EQ(Row(Resample(dib, whole, whole), 0, 3), (Ints{0x10, 0, 0}));
}

TEST_F(Guarded, TableOfALongHeaderIsInTheHeader) {
    Bytes dib(60);
    PutU32(dib, 0, 48);
    PutU32(dib, 4, 2);
    PutU32(dib, 8, 1);
    PutU16(dib, 14, 1);
    const std::uint8_t table[] = {1, 2, 3, 0, 4, 5, 6, 0};
    std::memcpy(dib.data() + 40, table, 8);
    dib[56] = 0x40;
    const tagRECT whole = {0, 0, 2, 1};
    EXPECT_EQ(Row(ResampleGuarded(dib, whole, whole, testhost::GuardedBuffer::Side::End), 0, 6),
              (Ints{1, 2, 3, 4, 5, 6}));
}

TEST_F(Guarded, MoreColoursThanTheDepthHasMoveThePixelsOnly) {
    Bytes dib = MakeDib(1, 1, 1);
    dib.resize(40 + 5 * 4 + 4);
    PutU32(dib, 32, 5);
    SetEntry(dib, 1, 9, 8, 7);
    dib[60] = 0x80;
    const tagRECT whole = {0, 0, 1, 1};
    EXPECT_EQ(Row(ResampleGuarded(dib, whole, whole, testhost::GuardedBuffer::Side::End), 0, 3), (Ints{9, 8, 7}));
}

TEST_F(Guarded, KernelWritesItsPixelsOnly) {
    // The block's own guard page stands behind the last row of the result; in front of the first
    // pixels stands the header. A destination in the middle of nowhere shows the rest.
    const Bytes dib = MakeDib(3, 3, 24);
    _tagDIBPARAM source, destination;
    object.SetDIBParam(dib.data(), source);
    for (auto side : {testhost::GuardedBuffer::Side::End, testhost::GuardedBuffer::Side::Start}) {
        const Bytes shape = MakeDib(4, 5, 24); // rows of 12 bytes, no padding
        object.SetDIBParam(shape.data(), destination);
        testhost::GuardedBuffer rows(60, side);
        std::memset(rows.data(), 0xCD, 60);
        destination.pBits = rows.data();
        const tagRECT frame = {0, 0, 4, 5};
        ASSERT_EQ(object.BiLinear24(source, &frame, &frame, destination, nullptr), 1);
        EXPECT_EQ(Bytes(rows.data(), rows.data() + 60), Bytes(60));
    }
}

} // namespace

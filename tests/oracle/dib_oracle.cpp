// See dib_oracle.h.
#include "tests/oracle/dib_oracle.h"

#include "tests/oracle/rle_oracle.h"

#include <algorithm>

namespace oracle {

namespace {

std::int32_t Wrapped(std::uint32_t value) {
    return value < 0x80000000u ? static_cast<std::int32_t>(value)
                               : static_cast<std::int32_t>(static_cast<std::int64_t>(value) - 0x100000000LL);
}

std::uint32_t Word(std::int64_t value) { return static_cast<std::uint32_t>(static_cast<std::uint64_t>(value)); }

// Bytes of a row in signed 32-bit words, as the header arithmetic has it.
std::int32_t SignedStride(std::int32_t width, unsigned bits) {
    const std::int32_t sum = Wrapped(static_cast<std::uint32_t>(width) * bits + 31u);
    return Wrapped(static_cast<std::uint32_t>(sum / 32) * 4u);
}

std::uint64_t EntryAt(const Bytes& dib, std::uint64_t index) {
    return HasInfoHeader(dib) ? 40 + 4 * index : 12 + 3 * index;
}

std::uint32_t Packed(int red, int green, int blue) {
    return static_cast<std::uint32_t>(red + green * 256 + blue * 65536);
}

std::uint32_t PackedAt(const Bytes& dib, std::uint64_t at) {
    return Packed(dib.at(at + 2), dib.at(at + 1), dib.at(at));
}

// What CreateDIB makes of a bit count.
unsigned StoredDepth(unsigned bits) {
    if (bits <= 1)
        return 1;
    if (bits <= 4)
        return 4;
    if (bits <= 8)
        return 8;
    if (bits <= 16)
        return 16;
    return bits >= 25 && bits <= 32 ? bits : 24;
}

std::uint64_t PixelByte(const Bytes& dib, int x, int y) {
    const std::int64_t row = static_cast<std::int64_t>(y) * SignedStride(Width(dib), BitCount(dib));
    return static_cast<std::uint64_t>(static_cast<std::int64_t>(BitsOffset(dib)) + row +
                                      static_cast<std::int64_t>(x) * BitCount(dib) / 8);
}

} // namespace

bool HasInfoHeader(const Bytes& dib) { return testdib::U32(dib, 0) == 40; }

std::int32_t Width(const Bytes& dib) {
    return HasInfoHeader(dib) ? Wrapped(testdib::U32(dib, 4)) : static_cast<std::int32_t>(testdib::U16(dib, 4));
}

std::int32_t Height(const Bytes& dib) {
    return HasInfoHeader(dib) ? Wrapped(testdib::U32(dib, 8)) : static_cast<std::int32_t>(testdib::U16(dib, 6));
}

unsigned BitCount(const Bytes& dib) { return testdib::U16(dib, HasInfoHeader(dib) ? 14 : 10); }

unsigned ColourCount(const Bytes& dib) {
    if (HasInfoHeader(dib) && testdib::U32(dib, 32) != 0)
        return testdib::U32(dib, 32) % 65536;
    return static_cast<unsigned>(testdib::DefaultColors(static_cast<int>(BitCount(dib))));
}

unsigned TableBytes(const Bytes& dib) { return ColourCount(dib) * (HasInfoHeader(dib) ? 4 : 3) % 65536; }

std::uint64_t BitsOffset(const Bytes& dib) { return std::uint64_t{testdib::U32(dib, 0)} + TableBytes(dib); }

std::uint32_t WholeSize(const Bytes& dib) {
    const std::uint32_t rows =
        static_cast<std::uint32_t>(Height(dib)) * static_cast<std::uint32_t>(SignedStride(Width(dib), BitCount(dib)));
    return testdib::U32(dib, 0) + TableBytes(dib) + rows;
}

MaybeDib NewDib(std::uint32_t width, std::uint32_t height, unsigned bitCount) {
    if (width == 0 || height == 0)
        return {};
    const unsigned bits = StoredDepth(bitCount);
    const std::uint64_t table = static_cast<std::uint64_t>(testdib::DefaultColors(static_cast<int>(bits))) * 4;
    std::uint64_t size;
    if (height < 0x80000000u) {
        const std::uint64_t stride = (std::uint64_t{width} * bits + 31) / 32 * 4;
        size = stride > (std::uint64_t{1} << 33) ? stride : stride * height + table + 40;
    } else {
        const std::uint32_t stride = (width * bits + 31u) / 32 * 4;
        size = Word(static_cast<std::int64_t>(stride * height + static_cast<std::uint32_t>(table) + 40u));
        if (size < 40)
            return {};
    }
    if (size > LargestDibBlock)
        return {};
    Bytes dib(static_cast<std::size_t>(size));
    testdib::PutU32(dib, 0, 40);
    testdib::PutU32(dib, 4, width);
    testdib::PutU32(dib, 8, height);
    testdib::PutU16(dib, 12, 1);
    testdib::PutU16(dib, 14, bits);
    return dib;
}

void FillHeader(Bytes& dib, std::uint32_t width, std::uint32_t height, unsigned bitCount) {
    std::fill_n(dib.begin(), 40, std::uint8_t{0});
    testdib::PutU32(dib, 0, 40);
    testdib::PutU32(dib, 4, width);
    testdib::PutU32(dib, 8, height);
    testdib::PutU16(dib, 12, 1);
    testdib::PutU16(dib, 14, bitCount <= 1 ? 1 : bitCount <= 4 ? 4 : bitCount <= 8 ? 8 : bitCount <= 24 ? 24 : 4);
}

void CopyColours(const Bytes& source, Bytes& target) {
    const std::uint64_t count = std::min(ColourCount(source), ColourCount(target));
    const int bytes = HasInfoHeader(source) && HasInfoHeader(target) ? 4 : 3;
    for (std::uint64_t i = 0; i < count; ++i)
        for (int k = 0; k < bytes; ++k) {
            const std::uint64_t to = EntryAt(target, i) + static_cast<unsigned>(k);
            if (to < target.size())
                target[to] = source.at(EntryAt(source, i) + static_cast<unsigned>(k));
        }
}

std::uint32_t ColourOf(const Bytes& dib, std::int32_t index) {
    if (index < 0 || static_cast<unsigned>(index) >= ColourCount(dib))
        return NoColour;
    return PackedAt(dib, EntryAt(dib, static_cast<std::uint64_t>(index)));
}

void SetColour(Bytes& dib, std::int32_t index, std::uint32_t colour) {
    if (index < 0 || static_cast<unsigned>(index) >= ColourCount(dib))
        return;
    const std::uint64_t at = EntryAt(dib, static_cast<std::uint64_t>(index));
    dib.at(at) = static_cast<std::uint8_t>(colour / 65536);
    dib.at(at + 1) = static_cast<std::uint8_t>(colour / 256);
    dib.at(at + 2) = static_cast<std::uint8_t>(colour);
}

std::int32_t IndexOf(const Bytes& dib, std::uint32_t colour) {
    for (unsigned i = 0; i < ColourCount(dib); ++i)
        if (ColourOf(dib, static_cast<std::int32_t>(i)) == colour)
            return static_cast<std::int32_t>(i);
    return -1;
}

std::int32_t PixelIndex(const Bytes& dib, int x, int y) {
    const unsigned bits = BitCount(dib);
    if (bits != 1 && bits != 4 && bits != 8)
        return -1;
    const int byte = dib.at(PixelByte(dib, x, y));
    if (bits == 8)
        return byte;
    if (bits == 4)
        return x % 2 == 0 ? byte / 16 : byte % 16;
    return byte >> (7 - x % 8) & 1;
}

void SetPixelIndex(Bytes& dib, int x, int y, unsigned index) {
    const unsigned bits = BitCount(dib);
    if (bits != 1 && bits != 4 && bits != 8)
        return;
    std::uint8_t& byte = dib.at(PixelByte(dib, x, y));
    if (bits == 8)
        byte = static_cast<std::uint8_t>(index);
    else if (bits == 4)
        byte = static_cast<std::uint8_t>(byte | (x % 2 == 0 ? index % 16 * 16 : index % 16));
    else if (index % 2)
        byte = static_cast<std::uint8_t>(byte | 0xF0 >> x % 8);
    else
        byte = static_cast<std::uint8_t>(byte & ~(0xF0 >> x % 8));
}

Masks MasksOf(const Bytes& dib) {
    const unsigned bits = testdib::U16(dib, 14);
    if (testdib::U32(dib, 16) != 3 || (bits != 16 && bits != 32))
        return {};
    return {true, testdib::U32(dib, 40), testdib::U32(dib, 44), testdib::U32(dib, 48)};
}

Shifts ShiftsOf(std::uint32_t mask) {
    if (mask == 0)
        return {8, 32};
    Shifts shifts;
    while (mask % 2 == 0) {
        mask /= 2;
        ++shifts.right;
    }
    unsigned length = 0;
    while (mask % 2 == 1) {
        mask /= 2;
        ++length;
    }
    if (length <= 8)
        shifts.left = 8 - length;
    else
        shifts.right += length - 8;
    return shifts;
}

MaybeDib Turned(const Bytes& dib) {
    if (Height(dib) >= 0)
        return {};
    MaybeDib expanded;
    if (HasInfoHeader(dib) && (testdib::U32(dib, 16) == 1 || testdib::U32(dib, 16) == 2)) {
        expanded = ExpandedRle(dib);
        if (!expanded)
            return {};
    }
    const Bytes& from = expanded ? *expanded : dib;
    const std::int64_t rows = -static_cast<std::int64_t>(Height(dib));
    MaybeDib result = NewDib(static_cast<std::uint32_t>(Width(from)), Word(rows), BitCount(from));
    if (!result)
        return {};
    const std::int64_t stride = SignedStride(Width(from), BitCount(from));
    const std::int64_t sourceBits = static_cast<std::int64_t>(BitsOffset(from));
    const std::int64_t resultBits = static_cast<std::int64_t>(BitsOffset(*result));
    for (std::int64_t i = 0; i < rows; ++i)
        for (std::int64_t k = 0; k < stride; ++k) {
            const std::int64_t at = sourceBits + i * stride + k, to = resultBits + (rows - 1 - i) * stride + k;
            // Of an expanded top-down picture there are no rows at all, and rows of a depth that the
            // new block does not keep end with the block.
            if (at < static_cast<std::int64_t>(from.size()) && to < static_cast<std::int64_t>(result->size()))
                result->at(static_cast<std::size_t>(to)) = from[static_cast<std::size_t>(at)];
        }
    return result;
}

MaybeDib Normalised(const Bytes& dib) {
    if (!HasInfoHeader(dib))
        return {};
    if (testdib::U32(dib, 16) == 1 || testdib::U32(dib, 16) == 2) {
        const MaybeDib expanded = ExpandedRle(dib);
        if (!expanded || Height(dib) >= 0)
            return expanded;
        return Turned(*expanded);
    }
    return Turned(dib);
}

} // namespace oracle

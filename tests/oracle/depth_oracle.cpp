// The depth conversions once more: every pixel of the result on its own (see dib_oracle.h).
#include "tests/oracle/dib_oracle.h"

#include <algorithm>

namespace oracle {

namespace {

struct Colour {
    int red = 0, green = 0, blue = 0;
};

Colour Unpacked(std::uint32_t colour) {
    return {static_cast<int>(colour % 256), static_cast<int>(colour / 256 % 256),
            static_cast<int>(colour / 65536 % 256)};
}

int Channel(std::uint32_t pixel, std::uint32_t mask) {
    const Shifts shifts = ShiftsOf(mask);
    const std::uint64_t value = std::uint64_t{pixel & mask} >> shifts.right << shifts.left;
    return static_cast<int>(value % 256);
}

// An entry of the local tables: those of 1 and 4 bits have room for the depth's own colours, and an
// entry that the DIB does not have is black.
Colour LocalEntry(const Bytes& dib, int index) {
    return static_cast<unsigned>(index) < ColourCount(dib) ? Unpacked(ColourOf(dib, index)) : Colour();
}

// An 8-bit pixel's entry, wherever the index leads: black only beyond the end of the DIB.
Colour EntryInPlace(const Bytes& dib, int index) {
    const std::uint64_t bytes = HasInfoHeader(dib) ? 4 : 3;
    const std::uint64_t at =
        HasInfoHeader(dib) ? 40 + 4 * static_cast<std::uint64_t>(index) : 12 + 3 * static_cast<std::uint64_t>(index);
    if (at + bytes > WholeSize(dib))
        return {};
    return {dib.at(at + 2), dib.at(at + 1), dib.at(at)};
}

struct Reader {
    const Bytes& dib;
    bool bitFields;
    std::uint64_t bits; // where the first row starts

    explicit Reader(const Bytes& from)
        : dib(from), bitFields(HasInfoHeader(from) && testdib::U32(from, 16) == 3), bits(BitsOffset(from)) {
        if (bitFields && (BitCount(dib) == 16 || BitCount(dib) == 32))
            bits += 12;
    }

    std::uint32_t Value(int x, int y, unsigned bytes) const {
        std::uint32_t value = 0;
        const std::uint64_t stride = testdib::Stride(Width(dib), static_cast<int>(BitCount(dib)));
        for (unsigned i = bytes; i-- > 0;)
            value = value * 256 +
                    dib.at(bits + stride * static_cast<std::uint64_t>(y) + static_cast<std::uint64_t>(x) * bytes + i);
        return value;
    }

    Colour Fields(std::uint32_t pixel) const {
        const Masks masks = MasksOf(dib);
        return {Channel(pixel, masks.red), Channel(pixel, masks.green), Channel(pixel, masks.blue)};
    }

    // Blue in the lowest byte, as the rows of 24 and 32 bits have it.
    static Colour Stored(std::uint32_t pixel) {
        return {static_cast<int>(pixel / 65536 % 256), static_cast<int>(pixel / 256 % 256),
                static_cast<int>(pixel % 256)};
    }
};

bool Listed(unsigned from, int to) {
    return from == 1 || from == 4 || from == 8 || from == 32 || from == (to == 24 ? 16u : 24u);
}

Colour PixelFor24(const Reader& r, int x, int y) {
    const auto widened = [](std::uint32_t v) { return v == 0 ? 0 : static_cast<int>(v * 8 + 7); };
    switch (BitCount(r.dib)) {
    case 1:
    case 4:
        return LocalEntry(r.dib, PixelIndex(r.dib, x, y));
    case 8:
        return EntryInPlace(r.dib, PixelIndex(r.dib, x, y));
    case 16: {
        const std::uint32_t pixel = r.Value(x, y, 2);
        if (r.bitFields)
            return r.Fields(pixel);
        return {widened(pixel / 1024 % 32), widened(pixel / 32 % 32), widened(pixel % 32)};
    }
    default: {
        const std::uint32_t pixel = r.Value(x, y, 4);
        return r.bitFields ? r.Fields(pixel) : Reader::Stored(pixel);
    }
    }
}

Colour PixelFor16(const Reader& r, int x, int y) {
    switch (BitCount(r.dib)) {
    case 1:
    case 4:
        return LocalEntry(r.dib, PixelIndex(r.dib, x, y));
    case 8:
        return EntryInPlace(r.dib, PixelIndex(r.dib, x, y));
    case 24:
        return Reader::Stored(r.Value(x, y, 3));
    default: {
        const std::uint32_t pixel = r.Value(x, y, 4);
        if (!r.bitFields)
            return Reader::Stored(pixel);
        // Blue repeats red here, whatever the blue mask says.
        const Colour colour = r.Fields(pixel);
        return {colour.red, colour.green, colour.red};
    }
    }
}

MaybeDib Converted(const Bytes& dib, int target) {
    const std::int32_t width = Width(dib), height = Height(dib);
    if (height < 0)
        return {};
    MaybeDib result =
        NewDib(static_cast<std::uint32_t>(width), static_cast<std::uint32_t>(height), static_cast<unsigned>(target));
    if (!result)
        return {};
    if (BitCount(dib) == static_cast<unsigned>(target)) {
        const std::size_t size = std::min<std::size_t>(WholeSize(dib), result->size());
        std::copy_n(dib.begin(), size, result->begin());
        return result;
    }
    if (!Listed(BitCount(dib), target))
        return {};
    const Reader reader(dib);
    const std::size_t stride = testdib::Stride(width, target);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            const Colour c = target == 24 ? PixelFor24(reader, x, y) : PixelFor16(reader, x, y);
            const std::size_t at = 40 + stride * static_cast<std::size_t>(y) +
                                   static_cast<std::size_t>(x) * static_cast<std::size_t>(target / 8);
            if (target == 16) {
                testdib::PutU16(*result, at, static_cast<unsigned>(c.red / 8 * 1024 + c.green / 8 * 32 + c.blue / 8));
                continue;
            }
            result->at(at) = static_cast<std::uint8_t>(c.blue);
            result->at(at + 1) = static_cast<std::uint8_t>(c.green);
            result->at(at + 2) = static_cast<std::uint8_t>(c.red);
        }
    return result;
}

// Rows that stay compressed are read as they are; nothing stands behind their stream.
Bytes WithoutTail(const Bytes& dib) {
    Bytes cut = dib;
    const auto stream = static_cast<std::int32_t>(testdib::U32(dib, 20));
    const std::uint64_t end = BitsOffset(dib) + static_cast<std::uint64_t>(std::max(stream, 0));
    cut.resize(std::max<std::uint64_t>(cut.size(), Height(dib) > 0 ? WholeSize(dib) : 0));
    if (end < cut.size())
        std::fill(cut.begin() + static_cast<std::ptrdiff_t>(end), cut.end(), std::uint8_t{0});
    return cut;
}

} // namespace

MaybeDib ToDepth(const Bytes& dib, int bits) {
    if (const MaybeDib normalised = Normalised(dib))
        return Converted(*normalised, bits);
    const bool compressed = HasInfoHeader(dib) && (testdib::U32(dib, 16) == 1 || testdib::U32(dib, 16) == 2);
    return compressed ? Converted(WithoutTail(dib), bits) : Converted(dib, bits);
}

} // namespace oracle

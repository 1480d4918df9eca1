// Depth conversion to 24 and to 16 bits: the frame that both share, and the choice of what to do
// with a row. The loops over pixels are in depth_rows.cpp.
#include "dib/depth_rows.h"
#include "dib/layout.h"

#include "dibprep/dib.h"
#include "dibprep/host.h"
#include "dibprep/memory.h"
#include "memory/locked_block.h"

#include <algorithm>
#include <cstring>
#include <limits>

namespace dibprep {
namespace {

// The DIB that is read: the caller's, or its normalised copy. Offsets count from its first byte.
struct Picture {
    unsigned char* dib;
    int width;
    int height;
    unsigned bitCount;
    std::uint32_t compression;
    unsigned colors;
    std::uint64_t pixels; // the first row
    std::uint64_t end;    // the end of the DIB as its header has it
    std::uint64_t limit;  // bytes from here on read as 0
};

Picture Describe(unsigned char* dib) {
    Picture picture{};
    picture.dib = dib;
    picture.width = DIBWidth(dib);
    picture.height = DIBHeight(dib);
    picture.bitCount = DIBBitCount(dib);
    picture.compression = Compression(dib);
    picture.colors = DIBNumColors(dib);
    const std::uint64_t bits = BitsOffset(dib);
    const bool masks = picture.compression == BI_BITFIELDS && (picture.bitCount == 16 || picture.bitCount == 32);
    picture.pixels = bits + (masks ? MaskBytes : 0);
    // Only looked at once CreateDIB has found the size possible; until then the product may wrap.
    picture.end = bits + static_cast<std::uint64_t>(RowStride(picture.width, picture.bitCount)) *
                             static_cast<std::uint64_t>(picture.height);
    // A run-length DIB that could not be expanded is read as if it were plain, but it is only as
    // long as its image-size field says.
    picture.limit = std::numeric_limits<std::uint64_t>::max();
    if (IsRunLength(picture.compression))
        picture.limit = bits + static_cast<std::uint64_t>(std::max(LoadI32(dib + AtSizeImage), 0));
    return picture;
}

// The colour of an index, straight from the table. An index past the table gets what stands there
// as long as it is part of the DIB, and black beyond.
std::uint32_t TableColor(const Picture& source, unsigned index) {
    const bool infoHeader = HasInfoHeader(source.dib);
    const std::uint64_t at = EntryOffset(infoHeader, index);
    const bool pastTable = index >= source.colors;
    if (pastTable && at + EntryBytes(infoHeader) > source.end)
        return 0;
    const auto byte = [&](std::uint64_t offset) -> unsigned {
        return pastTable && offset >= source.limit ? 0 : source.dib[offset];
    };
    return Bgr0(byte(at), byte(at + 1), byte(at + 2));
}

// Hands the pixels of a row that ends beyond the limit to `row` in pieces, with zeros for what
// cannot be read.
template <class Row>
void ConvertCutRow(const Picture& source, std::uint64_t at, unsigned char* out, unsigned targetBits, Row row) {
    constexpr std::size_t Piece = 256; // a whole number of bytes at every depth
    unsigned char buffer[Piece * 4];
    const auto width = static_cast<std::size_t>(source.width);
    for (std::size_t x = 0; x < width; x += Piece) {
        const std::size_t pixels = std::min(Piece, width - x);
        const std::size_t bytes = (pixels * source.bitCount + 7) / 8;
        std::size_t readable = 0;
        if (at < source.limit)
            readable = static_cast<std::size_t>(std::min<std::uint64_t>(bytes, source.limit - at));
        if (readable != 0)
            std::memcpy(buffer, source.dib + at, readable);
        std::memset(buffer + readable, 0, bytes - readable);
        row(out, buffer, pixels);
        at += Piece * source.bitCount / 8;
        out += Piece * targetBits / 8;
    }
}

// row(out, in, pixels) for every row, as stored.
template <class Row>
void ConvertRows(const Picture& source, unsigned char* result, unsigned targetBits, Row row) {
    const auto stride = static_cast<std::uint64_t>(RowStride(source.width, source.bitCount));
    const auto targetStride = static_cast<std::size_t>(RowStride(source.width, targetBits));
    const auto width = static_cast<std::size_t>(source.width);
    const std::uint64_t rowBytes = (std::uint64_t{width} * source.bitCount + 7) / 8;
    std::uint64_t at = source.pixels;
    unsigned char* out = DIBBits(result);
    for (int y = 0; y < source.height; ++y, at += stride, out += targetStride) {
        if (at + rowBytes <= source.limit)
            row(out, source.dib + at, width);
        else
            ConvertCutRow(source, at, out, targetBits, row);
    }
}

const DepthRows& Rows() { return DepthRowsFor(CurrentTier()); }

ChannelMask ChannelOf(unsigned mask) {
    unsigned short left;
    unsigned short right;
    GetShifts(mask, left, right);
    // An absent channel is 0; its shift by 32 must not be carried out.
    return right < 32 ? ChannelMask{mask, left, right} : ChannelMask{0, 0, 0};
}

PixelMasks MasksOf(unsigned char* dib) {
    unsigned red;
    unsigned green;
    unsigned blue;
    DIBMask(dib, red, green, blue);
    return PixelMasks{ChannelOf(red), ChannelOf(green), ChannelOf(blue)};
}

std::uint32_t IndexColor(unsigned char* dib, unsigned index) {
    const unsigned color = GetIndexColor(dib, static_cast<int>(index));
    return Bgr0(GetBValue(color), GetGValue(color), GetRValue(color));
}

template <class Value>
void Indexed(const Picture& source, unsigned char* result, unsigned targetBits,
             void (*convert)(unsigned char*, const unsigned char*, std::size_t, const Value*), const Value* values) {
    ConvertRows(source, result, targetBits, [=](unsigned char* out, const unsigned char* in, std::size_t pixels) {
        convert(out, in, pixels, values);
    });
}

void Direct(const Picture& source, unsigned char* result, unsigned targetBits, DepthRows::Direct convert) {
    ConvertRows(source, result, targetBits, [convert](unsigned char* out, const unsigned char* in, std::size_t pixels) {
        convert(out, in, pixels);
    });
}

void Masked(const Picture& source, unsigned char* result, unsigned targetBits, DepthRows::Masked convert) {
    const PixelMasks masks = MasksOf(source.dib);
    ConvertRows(source, result, targetBits, [&](unsigned char* out, const unsigned char* in, std::size_t pixels) {
        convert(out, in, pixels, masks);
    });
}

void From1To24(const Picture& source, unsigned char* result) {
    std::uint32_t colors[2] = {};
    for (unsigned i = 0; i < std::min(source.colors, 2u); ++i)
        colors[i] = IndexColor(source.dib, i);
    Indexed(source, result, 24, Rows().from1To24, colors);
}

// Without memory for its lookups this conversion still goes through, asking for the colour of every
// pixel: a slow picture is better than none.
void From4To24Slowly(const Picture& source, unsigned char* result) {
    ConvertRows(source, result, 24, [&](unsigned char* out, const unsigned char* in, std::size_t pixels) {
        for (std::size_t x = 0; x < pixels; ++x, out += 3) {
            const unsigned index = x % 2 ? in[x / 2] & 0x0Fu : in[x / 2] >> 4;
            const std::uint32_t color = IndexColor(source.dib, index);
            out[0] = static_cast<unsigned char>(color);
            out[1] = static_cast<unsigned char>(color >> 8);
            out[2] = static_cast<unsigned char>(color >> 16);
        }
    });
}

void From4To24(const Picture& source, unsigned char* result) {
    CHandle blueBlock(GlobalAlloc(NewBlockFlags, source.colors));
    CHandle greenBlock(GlobalAlloc(NewBlockFlags, source.colors));
    CHandle redBlock(GlobalAlloc(NewBlockFlags, source.colors));
    unsigned char* const blue = blueBlock;
    unsigned char* const green = greenBlock;
    unsigned char* const red = redBlock;
    if (!blue || !green || !red) {
        From4To24Slowly(source, result);
        return;
    }
    // A nibble reaches 16 entries, whatever the header counts; entries that are missing are black.
    std::uint32_t colors[16] = {};
    for (unsigned i = 0; i < std::min(source.colors, 16u); ++i) {
        colors[i] = IndexColor(source.dib, i);
        blue[i] = static_cast<unsigned char>(colors[i]);
        green[i] = static_cast<unsigned char>(colors[i] >> 8);
        red[i] = static_cast<unsigned char>(colors[i] >> 16);
    }
    Indexed(source, result, 24, Rows().from4To24, colors);
}

void From8To24(const Picture& source, unsigned char* result) {
    std::uint32_t colors[256];
    bool levels = true;
    for (unsigned i = 0; i < 256; ++i) {
        colors[i] = TableColor(source, i);
        levels = levels && colors[i] == Bgr0(i, i, i);
    }
    if (levels) {
        Direct(source, result, 24, Rows().fromLevelsTo24);
        return;
    }
    Indexed(source, result, 24, Rows().from8To24, colors);
}

bool PixelsTo24(const Picture& source, unsigned char* result) {
    const bool bitFields = source.compression == BI_BITFIELDS;
    switch (source.bitCount) {
    case 1:
        From1To24(source, result);
        return true;
    case 4:
        From4To24(source, result);
        return true;
    case 8:
        From8To24(source, result);
        return true;
    case 16:
        if (bitFields)
            Masked(source, result, 24, Rows().fromMasked16To24);
        else
            Direct(source, result, 24, Rows().from555To24);
        return true;
    case 32:
        if (bitFields)
            Masked(source, result, 24, Rows().fromMasked32To24);
        else
            Direct(source, result, 24, Rows().from32To24);
        return true;
    default:
        return false;
    }
}

void FromFewTo16(const Picture& source, unsigned char* result, DepthRows::IndexedTo16 convert) {
    std::uint16_t values[16] = {};
    for (unsigned i = 0; i < std::min(source.colors, 16u); ++i) {
        values[i] = Pack555(IndexColor(source.dib, i));
    }
    Indexed(source, result, 16, convert, values);
}

bool From8To16(const Picture& source, unsigned char* result) {
    CHandle lookupBlock(GlobalAlloc(NewBlockFlags, source.colors * sizeof(std::uint16_t)));
    if (lookupBlock.IsEmpty())
        return false;
    unsigned char* const lookup = lookupBlock;
    if (!lookup && source.colors != 0)
        return false;
    // The block is as long as the colour table; a pixel can ask for more, and the block may stand
    // at an odd address. The row loop reads an aligned table of all 256 indices.
    std::uint16_t values[256];
    for (unsigned i = 0; i < 256; ++i) {
        values[i] = Pack555(TableColor(source, i));
        if (i < source.colors)
            StoreU16(lookup + 2 * i, values[i]);
    }
    Indexed(source, result, 16, Rows().from8To16, values);
    return true;
}

bool PixelsTo16(const Picture& source, unsigned char* result) {
    switch (source.bitCount) {
    case 1:
        FromFewTo16(source, result, Rows().from1To16);
        return true;
    case 4:
        FromFewTo16(source, result, Rows().from4To16);
        return true;
    case 8:
        return From8To16(source, result);
    case 24:
        Direct(source, result, 16, Rows().from24To16);
        return true;
    case 32:
        if (source.compression == BI_BITFIELDS)
            Masked(source, result, 16, Rows().fromMasked32To16);
        else
            Direct(source, result, 16, Rows().from32To16);
        return true;
    default:
        return false;
    }
}

// A source that has the depth already: header, colour table and rows as they stand, cut to the new
// block. A bit-field header stays one.
void CopyAsItStands(const Picture& source, unsigned char* result, std::uint64_t size) {
    const std::uint64_t bytes = std::min({std::uint64_t{DIBSize(source.dib)}, size, source.limit});
    CopyMemory(result, source.dib, static_cast<std::size_t>(bytes));
}

void* Convert(unsigned char* dib, unsigned short targetBits, bool (*convert)(const Picture&, unsigned char*)) {
    CHandle normalised(NormalizeDIB(dib));
    unsigned char* working = dib;
    if (!normalised.IsEmpty()) {
        working = normalised;
        if (!working)
            return nullptr;
    }
    const Picture source = Describe(working);
    if (source.height < 0)
        return nullptr;
    const auto width = static_cast<unsigned>(source.width);
    const auto height = static_cast<unsigned>(source.height);
    CHandle result(CreateDIB(width, height, targetBits));
    if (result.IsEmpty())
        return nullptr;
    unsigned char* const out = result;
    if (!out)
        return nullptr;
    if (source.bitCount == targetBits)
        CopyAsItStands(source, out, NewDibSize(width, height, targetBits));
    else if (!convert(source, out))
        return nullptr;
    result.UnLock();
    return result.GetHandle();
}

} // namespace
} // namespace dibprep

void* ConvertTo24BPPDIB(unsigned char* dib) { return dibprep::Convert(dib, 24, dibprep::PixelsTo24); }

void* ConvertTo16BPPDIB(unsigned char* dib) { return dibprep::Convert(dib, 16, dibprep::PixelsTo16); }

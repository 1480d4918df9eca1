// Pages into BMP files: a 40-byte header, or a 108-byte one where there is alpha.
#include "tools/bmp_writer.h"

#include "memory/header_fields.h"
#include "memory/unaligned.h"
#include "tools/tool_error.h"

#include <cstdint>
#include <vector>

namespace dibprep::tool {

namespace {

constexpr std::size_t FileHeaderSize = sizeof(tagBITMAPFILEHEADER);
constexpr std::size_t AlphaHeaderSize = 108; // the shortest one with an alpha mask that is widely read
constexpr std::size_t AtColourSpace = 56;    // in the 108-byte header
constexpr std::uint32_t ColourSpaceSrgb = 0x73524742;
constexpr std::uint64_t LargestFile = 0xFFFFFFFFu; // the file's own size field has 32 bits

bool NeedsMasks(const Page& page) {
    const ChannelMasks& masks = page.Masks();
    return !(masks == ChannelMasks()) && !(page.Bits() == 16 && masks == Plain555) &&
           !(page.Bits() == 32 && masks == Plain888);
}

} // namespace

void WriteBmp(const Page& page, OutputFile& file) {
    const bool masked = NeedsMasks(page);
    const bool alpha = masked && page.Masks().alpha != 0;
    const std::size_t headerSize = alpha ? AlphaHeaderSize : InfoHeaderSize;
    const std::size_t maskBytes = masked && !alpha ? 12 : 0;
    const std::size_t table = 4 * page.Colours();
    const std::size_t pixelOffset = FileHeaderSize + headerSize + maskBytes + table;
    const std::uint64_t pixels = static_cast<std::uint64_t>(page.RowSize()) * static_cast<unsigned>(page.Height());
    if (pixelOffset + pixels > LargestFile)
        throw ToolError(ExitLimit, file.Name() + ": would have " + std::to_string(pixelOffset + pixels) +
                                       " bytes; a BMP file ends at 4294967295. Ask for a lower resolution.");

    std::vector<unsigned char> head(pixelOffset);
    head[0] = 'B';
    head[1] = 'M';
    StoreU32(&head[2], static_cast<std::uint32_t>(pixelOffset + pixels));
    StoreU32(&head[10], static_cast<std::uint32_t>(pixelOffset));
    unsigned char* info = &head[FileHeaderSize];
    WriteHeader(info, page.Width(), page.Height(), page.Bits());
    StoreU32(info + AtSize, static_cast<std::uint32_t>(headerSize));
    StoreU32(info + AtCompression, masked ? BI_BITFIELDS : BI_RGB);
    StoreU32(info + AtSizeImage, static_cast<std::uint32_t>(pixels));
    StoreU32(info + AtXPelsPerMeter, static_cast<std::uint32_t>(page.PixelsPerMetreX()));
    StoreU32(info + AtYPelsPerMeter, static_cast<std::uint32_t>(page.PixelsPerMetreY()));
    StoreU32(info + AtClrUsed, page.Colours());
    if (masked) {
        StoreU32(info + InfoHeaderSize, page.Masks().red);
        StoreU32(info + InfoHeaderSize + 4, page.Masks().green);
        StoreU32(info + InfoHeaderSize + 8, page.Masks().blue);
    }
    if (alpha) {
        StoreU32(info + InfoHeaderSize + 12, page.Masks().alpha);
        StoreU32(info + AtColourSpace, ColourSpaceSrgb);
    }
    unsigned char* entry = info + headerSize + maskBytes;
    for (unsigned i = 0; i < page.Colours(); ++i, entry += 4) {
        const tagRGBQUAD colour = page.Colour(i);
        entry[0] = colour.rgbBlue;
        entry[1] = colour.rgbGreen;
        entry[2] = colour.rgbRed;
    }
    file.Write(head.data(), head.size());
    file.Write(page.StoredRow(0), static_cast<std::size_t>(pixels));
}

} // namespace dibprep::tool

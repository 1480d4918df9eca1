// Pages into BMP files and bare DIBs: a 40-byte header, or a 108-byte one where there is alpha.
#include "tools/bmp_writer.h"

#include "memory/header_fields.h"
#include "memory/unaligned.h"
#include "tools/page_words.h"
#include "tools/tool_error.h"

#include <cstdint>
#include <vector>

namespace dibprep::tool {

namespace {

constexpr std::size_t AlphaHeaderSize = 108; // the shortest one with an alpha mask that is widely read
constexpr std::size_t AtColourSpace = 56;    // in the 108-byte header
constexpr std::uint32_t ColourSpaceSrgb = 0x73524742;
constexpr std::uint64_t LargestFile = 0xFFFFFFFFu; // the file's own size field has 32 bits

bool NeedsMasks(const Page& page) {
    const ChannelMasks& masks = page.Masks();
    return !(masks == ChannelMasks()) && !(page.Bits() == 16 && masks == Plain555) &&
           !(page.Bits() == 32 && masks == Plain888);
}

// The rows of samples of 0 to 65535, as a BMP file's words.
void WriteWords(const Page& page, OutputFile& file) {
    const int channels = page.Bits() / 16;
    std::vector<unsigned char> row(page.RowSize());
    for (int y = 0; y < page.Height(); ++y) {
        const unsigned char* pixel = page.StoredRow(y);
        unsigned char* to = row.data();
        for (int x = 0; x < page.Width(); ++x, pixel += 2 * channels)
            for (int channel = 0; channel < channels; ++channel, to += 2)
                StoreU16(to, WordOfSample(SampleAt(page, pixel, channel), channel == 3));
        file.Write(row.data(), row.size());
    }
}

void Write(const Page& page, OutputFile& file, std::size_t fileHeader) {
    const bool masked = NeedsMasks(page);
    const bool alpha = masked && page.Masks().alpha != 0;
    const std::size_t headerSize = alpha ? AlphaHeaderSize : InfoHeaderSize;
    const std::size_t maskBytes = masked && !alpha ? 12 : 0;
    const std::size_t table = 4 * page.Colours();
    const std::size_t pixelOffset = fileHeader + headerSize + maskBytes + table;
    const std::uint64_t pixels = static_cast<std::uint64_t>(page.RowSize()) * static_cast<unsigned>(page.Height());
    if (pixelOffset + pixels > LargestFile)
        throw ToolError(ExitLimit, file.Name() + ": would have " + std::to_string(pixelOffset + pixels) +
                                       " bytes; a BMP file ends at 4294967295. Ask for a lower resolution.");

    std::vector<unsigned char> head(pixelOffset);
    if (fileHeader != 0) {
        head[0] = 'B';
        head[1] = 'M';
        StoreU32(&head[2], static_cast<std::uint32_t>(pixelOffset + pixels));
        StoreU32(&head[10], static_cast<std::uint32_t>(pixelOffset));
    }
    unsigned char* info = &head[fileHeader];
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
    if (page.FullRange())
        WriteWords(page, file);
    else
        file.Write(page.StoredRow(0), static_cast<std::size_t>(pixels));
}

class Writer : public PageWriter {
public:
    Writer(OutputFile& file, std::size_t fileHeader) : m_file(file), m_fileHeader(fileHeader) {}
    void Add(const Page& page) override { Write(page, m_file, m_fileHeader); }

private:
    OutputFile& m_file;
    std::size_t m_fileHeader;
};

} // namespace

std::unique_ptr<PageWriter> CreateBmp(OutputFile& file, const WriteOptions&) {
    return std::make_unique<Writer>(file, sizeof(tagBITMAPFILEHEADER));
}

std::unique_ptr<PageWriter> CreateDib(OutputFile& file, const WriteOptions&) {
    return std::make_unique<Writer>(file, 0);
}

} // namespace dibprep::tool

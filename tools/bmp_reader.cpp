// BMP files into pages.
#include "tools/bmp_reader.h"

#include "memory/header_fields.h"
#include "memory/unaligned.h"
#include "tools/resolution.h"
#include "tools/tool_error.h"

#include <algorithm>

namespace dibprep::tool {

namespace {

constexpr std::size_t BehindStream = 260;

void CopyPalette(const BmpHeader& header, Page& page) {
    if (page.Bits() > 8)
        return;
    unsigned index = 0;
    for (const tagRGBQUAD& colour : header.palette)
        page.SetColour(index++, colour);
    page.SetColours(index);
}

// One row of 2-bit pixels into 4-bit pixels.
void WidenRow(const unsigned char* from, int width, unsigned char* to) {
    for (int x = 0; x < width; ++x) {
        const int pixel = from[x / 4] >> (6 - x % 4 * 2) & 3;
        to[x / 2] = static_cast<unsigned char>(to[x / 2] | pixel << (x % 2 == 0 ? 4 : 0));
    }
}

void ReadRunLengths(const InputFile& file, const BmpHeader& header, Page& page) {
    std::vector<std::uint8_t> stream(static_cast<std::size_t>(header.pixelBytes));
    file.ReadAt(header.pixelOffset, stream.data(), stream.size());
    if (!ExpandRunLengths(stream.data(), stream.size(), page))
        throw ToolError(ExitBadInput, file.Name() + ": its run-length data break off before the picture is complete. "
                                                    "The file was cut short; fetch it again.");
}

void ReadRows(const InputFile& file, const BmpHeader& header, Page& page) {
    const auto rowBytes = static_cast<std::size_t>(RowBytes(header.width, header.bits));
    std::vector<unsigned char> narrow(header.bits == 2 ? rowBytes : 0);
    std::uint64_t left = header.pixelBytes;
    std::uint64_t at = header.pixelOffset;
    for (int y = 0; y < page.Height(); ++y) {
        unsigned char* row = header.topDown ? page.Row(y) : page.StoredRow(y);
        const auto count = static_cast<std::size_t>(std::min<std::uint64_t>(left, rowBytes));
        file.ReadAt(at, narrow.empty() ? row : narrow.data(), count);
        if (!narrow.empty())
            WidenRow(narrow.data(), page.Width(), row);
        at += count;
        left -= count;
    }
}

class BmpPages : public PageReader {
public:
    BmpPages(const InputFile& file, std::uint64_t maxPixels) : m_file(file), m_header(ReadBmpHeader(file, maxPixels)) {}

    int PageCount() const override { return 1; }
    Page Read(int) override { return ReadBmp(m_file, m_header); }

    PageInfo Describe(int) override {
        PageInfo info;
        info.width = m_header.width;
        info.height = m_header.height;
        info.fileBits = m_header.bits;
        info.pageBits = m_header.bits == 2 ? 4 : m_header.bits;
        info.compression = CompressionText(m_header);
        info.layout = (m_header.topDown ? "top-down, pixels at byte " : "bottom-up, pixels at byte ") +
                      std::to_string(m_header.pixelOffset) + " of " + Grouped(m_file.Size());
        info.alpha = m_header.masks.alpha != 0 || m_header.bits == 64;
        info.channels = info.alpha ? "red, green, blue, alpha" : "red, green, blue";
        info.palette = m_header.palette;
        info.gray = !info.palette.empty() && IsGray(info.palette);
        info.xPixelsPerMetre = m_header.xPixelsPerMetre;
        info.yPixelsPerMetre = m_header.yPixelsPerMetre;
        info.storedResolution = PerMetreText(info.xPixelsPerMetre, info.yPixelsPerMetre);
        return info;
    }

private:
    const InputFile& m_file;
    BmpHeader m_header;
};

} // namespace

std::unique_ptr<PageReader> OpenBmp(const InputFile& file, std::uint64_t maxPixels) {
    return std::make_unique<BmpPages>(file, maxPixels);
}

Page ReadBmp(const InputFile& file, const BmpHeader& header) {
    Page page(header.width, header.height, header.bits == 2 ? 4 : header.bits);
    CopyPalette(header, page);
    page.SetResolution(header.xPixelsPerMetre, header.yPixelsPerMetre);
    page.SetMasks(header.masks);
    if (header.IsRunLength())
        ReadRunLengths(file, header, page);
    else
        ReadRows(file, header, page);
    return page;
}

Block PackAsStored(const InputFile& file, const BmpHeader& header) {
    const std::uint64_t table = 4 * std::uint64_t{FullTable(header.bits)};
    const std::uint64_t rows =
        header.IsRunLength() ? header.pixelBytes + BehindStream : RowBytes(header.width, header.bits) * header.height;
    Block block(InfoHeaderSize + table + rows);
    unsigned char* dib = block.data();
    const auto height = static_cast<std::int32_t>(header.height);
    WriteHeader(dib, static_cast<std::int32_t>(header.width), header.topDown ? -height : height, header.bits);
    // The masks stay with the tool, so that the rows stand right behind the header.
    StoreU32(dib + AtCompression, header.IsRunLength() ? header.compression : static_cast<std::uint32_t>(BI_RGB));
    StoreU32(dib + AtSizeImage, header.IsRunLength() ? static_cast<std::uint32_t>(header.pixelBytes) : 0);
    unsigned char* entry = dib + InfoHeaderSize;
    for (const tagRGBQUAD& colour : header.palette) {
        entry[0] = colour.rgbBlue;
        entry[1] = colour.rgbGreen;
        entry[2] = colour.rgbRed;
        entry += 4;
    }
    file.ReadAt(header.pixelOffset, dib + InfoHeaderSize + static_cast<std::size_t>(table),
                static_cast<std::size_t>(header.pixelBytes));
    return block;
}

} // namespace dibprep::tool

// The headers of a BMP file. Every number is checked in 64 bits against the file's size.
#include "tools/bmp_header.h"

#include "memory/header_fields.h"
#include "memory/unaligned.h"
#include "tools/formats.h"
#include "tools/tool_error.h"

#include <algorithm>
#include <array>

namespace dibprep::tool {

namespace {

constexpr std::array<std::uint32_t, 8> HeaderSizes = {12, 16, 40, 52, 56, 64, 108, 124};
constexpr std::array<int, 9> Depths = {1, 2, 4, 8, 16, 24, 32, 48, 64};
constexpr std::size_t AtPixelOffset = 10; // bfOffBits
constexpr std::uint32_t LargestHeader = 124;
constexpr std::size_t AtMasks = InfoHeaderSize; // behind 40 bytes, inside the longer headers

constexpr std::uint32_t CompressionJpeg = 4;
constexpr std::uint32_t CompressionPng = 5;
constexpr std::uint32_t CompressionAlphaBitFields = 6;
constexpr std::uint32_t Os2HeaderSize = 64;

class HeaderReader {
public:
    HeaderReader(const InputFile& file, std::uint64_t maxPixels) : m_file(file), m_maxPixels(maxPixels) {}

    BmpHeader Read() {
        m_header.bare = !LooksLikeBmp(m_file.Head(2));
        m_before = m_header.bare ? 0 : sizeof(tagBITMAPFILEHEADER);
        ReadBytes();
        ReadFields();
        CheckDepth();
        CheckDeclaredSize(m_file.Name(), m_header.width, m_header.height, m_maxPixels);
        ReadMasks();
        ReadPalette();
        CheckPixels();
        return m_header;
    }

private:
    [[noreturn]] void Bad(const std::string& what) const { throw ToolError(ExitBadInput, m_file.Name() + ": " + what); }

    [[noreturn]] void TooShort(const std::string& what) const {
        Bad("the file ends inside its " + what + ". It was cut short; fetch it again.");
    }

    void ReadBytes() {
        m_bytes = m_file.Head(m_before + LargestHeader + 16);
        if (m_bytes.size() < m_before + 4)
            TooShort("header");
        m_header.headerSize = LoadU32(&m_bytes[m_before]);
        if (std::find(HeaderSizes.begin(), HeaderSizes.end(), m_header.headerSize) == HeaderSizes.end())
            Bad("the picture header claims " + std::to_string(m_header.headerSize) +
                " bytes, which no kind of BMP file has. The file is damaged.");
        if (m_file.Size() < std::uint64_t{m_before} + m_header.headerSize)
            TooShort("header");
        m_info = &m_bytes[m_before];
    }

    void ReadFields() {
        std::int64_t height;
        unsigned planes;
        if (m_header.headerSize == CoreHeaderSize) {
            m_header.width = LoadU16(m_info + 4);
            height = LoadU16(m_info + 6);
            planes = LoadU16(m_info + 8);
            m_header.bits = LoadU16(m_info + 10);
        } else {
            const std::int32_t width = LoadI32(m_info + AtWidth);
            if (width < 0)
                Bad("the width is " + std::to_string(width) + ". The file is damaged.");
            m_header.width = static_cast<std::uint64_t>(width);
            height = LoadI32(m_info + AtHeight);
            planes = LoadU16(m_info + AtPlanes);
            m_header.bits = LoadU16(m_info + AtBitCount);
        }
        if (m_header.headerSize >= InfoHeaderSize) {
            m_header.compression = LoadU32(m_info + AtCompression);
            m_header.xPixelsPerMetre = LoadI32(m_info + AtXPelsPerMeter);
            m_header.yPixelsPerMetre = LoadI32(m_info + AtYPelsPerMeter);
            m_streamSize = LoadU32(m_info + AtSizeImage);
            m_declaredColours = LoadU32(m_info + AtClrUsed);
        }
        m_header.topDown = height < 0;
        m_header.height = static_cast<std::uint64_t>(height < 0 ? -height : height);
        if (planes != 1)
            Bad("it declares " + std::to_string(planes) + " colour planes; BMP files have 1. The file is damaged.");
    }

    void CheckDepth() const {
        const int bits = m_header.bits;
        const std::uint32_t compression = m_header.compression;
        if (compression == CompressionJpeg || compression == CompressionPng) {
            const std::string inside = compression == CompressionJpeg && m_header.headerSize == Os2HeaderSize
                                           ? "RLE24 data"
                                       : compression == CompressionJpeg ? "a JPEG picture"
                                                                        : "a PNG picture";
            Bad("it holds " + inside + " inside a BMP file, which is not supported. Save it as a plain BMP file.");
        }
        if (std::find(Depths.begin(), Depths.end(), bits) == Depths.end())
            Bad("it declares " + std::to_string(bits) +
                " bits per pixel; known are 1, 2, 4, 8, 16, 24, 32, 48 "
                "and 64. The file is damaged.");
        bool fits = true;
        switch (compression) {
        case BI_RGB:
            break;
        case BI_RLE8:
            fits = bits == 8;
            break;
        case BI_RLE4:
            fits = bits == 4;
            break;
        case BI_BITFIELDS:
            if (m_header.headerSize == Os2HeaderSize)
                Bad("it is compressed by the Huffman method of OS/2, which is not supported. Save it as a plain "
                    "BMP file.");
            fits = bits == 16 || bits == 32;
            break;
        case CompressionAlphaBitFields:
            fits = bits == 16 || bits == 32;
            break;
        default:
            Bad("its compression has the unknown number " + std::to_string(compression) +
                ". Save it as a plain BMP file.");
        }
        if (!fits)
            Bad("it declares " + CompressionText(m_header) + " together with " + std::to_string(bits) +
                " bits per pixel, which do not belong together. The file is damaged.");
        if (m_header.IsRunLength() && m_header.topDown)
            Bad("it declares run lengths and rows from the top down, which BMP files cannot have. The file is "
                "damaged.");
    }

    void ReadMasks() {
        const bool alphaFields = m_header.compression == CompressionAlphaBitFields;
        if (m_header.compression != BI_BITFIELDS && !alphaFields)
            return;
        // Behind a 40-byte header the masks lie between header and colour table.
        const bool behind = m_header.headerSize == InfoHeaderSize;
        const bool fourth = alphaFields || m_header.headerSize >= 56;
        const std::size_t bytes = fourth ? 16 : 12;
        m_maskBytes = behind ? bytes : 0;
        if (m_bytes.size() < m_before + AtMasks + bytes)
            TooShort("channel masks");
        ChannelMasks& masks = m_header.masks;
        masks.red = LoadU32(m_info + AtMasks);
        masks.green = LoadU32(m_info + AtMasks + 4);
        masks.blue = LoadU32(m_info + AtMasks + 8);
        masks.alpha = fourth ? LoadU32(m_info + AtMasks + 12) : 0;
        if ((masks.red | masks.green | masks.blue) == 0)
            Bad("its channel masks are all 0. The file is damaged.");
        CheckMask("red", masks.red);
        CheckMask("green", masks.green);
        CheckMask("blue", masks.blue);
        CheckMask("alpha", masks.alpha);
        m_header.compression = BI_BITFIELDS;
    }

    void CheckMask(const char* channel, std::uint32_t mask) const {
        if (mask == 0)
            return;
        if (m_header.bits == 16 && mask > 0xFFFF)
            Bad(std::string("its ") + channel + " mask reaches beyond the 16 bits of a pixel. The file is damaged.");
        const std::uint32_t lowest = mask & (~mask + 1);
        const std::uint32_t carried = mask + lowest; // a power of two, or 0, for bits in one run
        if ((carried & (carried - 1)) != 0)
            Bad(std::string("its ") + channel + " mask has a gap between its bits. The file is damaged.");
    }

    void ReadPalette() {
        const std::uint64_t start = std::uint64_t{m_before} + m_header.headerSize + m_maskBytes;
        const std::uint64_t entrySize = m_header.headerSize == CoreHeaderSize ? 3 : 4;
        const unsigned most = m_header.bits <= 8 ? 1u << m_header.bits : 0;
        // A count that no table of this depth can have is kept for finding the pixels only.
        std::uint64_t stored = m_declaredColours != 0 ? m_declaredColours : most;
        m_header.pixelOffset = m_header.bare ? 0 : LoadU32(&m_bytes[AtPixelOffset]);
        if (m_header.pixelOffset == 0)
            m_header.pixelOffset = start + stored * entrySize;
        if (m_header.pixelOffset < start)
            Bad("its pixels are said to begin at byte " + std::to_string(m_header.pixelOffset) +
                ", inside the header. The file is damaged.");
        if (m_header.pixelOffset >= m_file.Size())
            Bad("its pixels are said to begin at byte " + std::to_string(m_header.pixelOffset) +
                ", but the file has only " + std::to_string(m_file.Size()) + " bytes. It was cut short or is damaged.");
        // Some writers count 256 entries and store fewer: what lies behind the start of the pixels is no table.
        stored = std::min({stored, std::uint64_t{most}, (m_header.pixelOffset - start) / entrySize});
        std::vector<std::uint8_t> table(static_cast<std::size_t>(stored * entrySize));
        if (!table.empty())
            m_file.ReadAt(start, table.data(), table.size());
        for (std::size_t at = 0; at < table.size(); at += static_cast<std::size_t>(entrySize))
            m_header.palette.push_back({table[at], table[at + 1], table[at + 2], 0});
        if (most != 0 && m_header.palette.empty())
            Bad("it has " + std::to_string(m_header.bits) +
                " bits per pixel but no colour table. The file is damaged.");
    }

    void CheckPixels() {
        const std::uint64_t present = m_file.Size() - m_header.pixelOffset;
        if (m_header.IsRunLength()) {
            m_header.pixelBytes = m_streamSize != 0 ? std::min<std::uint64_t>(m_streamSize, present) : present;
            return;
        }
        // Some writers leave out the padding of the last row.
        const std::uint64_t row = RowBytes(m_header.width, m_header.bits);
        const std::uint64_t lastRow = (m_header.width * static_cast<unsigned>(m_header.bits) + 7) / 8;
        const std::uint64_t least = row * (m_header.height - 1) + lastRow;
        if (present < least)
            Bad("the file ends " + std::to_string(least - present) + (least - present == 1 ? " byte" : " bytes") +
                " before the end of its last row. It was cut short; fetch it again.");
        m_header.pixelBytes = std::min(present, row * m_header.height);
    }

    const InputFile& m_file;
    std::uint64_t m_maxPixels;
    std::uint32_t m_before = 0; // bytes before the picture header
    std::vector<std::uint8_t> m_bytes;
    const std::uint8_t* m_info = nullptr;
    std::uint32_t m_streamSize = 0;
    std::uint32_t m_declaredColours = 0;
    std::size_t m_maskBytes = 0;
    BmpHeader m_header;
};

} // namespace

bool LooksLikeBmp(const std::vector<std::uint8_t>& head) {
    return head.size() >= 2 && head[0] == 'B' && head[1] == 'M';
}

bool LooksLikeDib(const std::vector<std::uint8_t>& head) {
    if (head.size() < 16)
        return false;
    const std::uint32_t size = LoadU32(&head[AtSize]);
    const bool core = size == CoreHeaderSize;
    const unsigned planes = LoadU16(&head[core ? 8 : static_cast<std::size_t>(AtPlanes)]);
    const int bits = LoadU16(&head[core ? 10 : static_cast<std::size_t>(AtBitCount)]);
    return std::find(HeaderSizes.begin(), HeaderSizes.end(), size) != HeaderSizes.end() && planes == 1 &&
           std::find(Depths.begin(), Depths.end(), bits) != Depths.end();
}

BmpHeader ReadBmpHeader(const InputFile& file, std::uint64_t maxPixels) { return HeaderReader(file, maxPixels).Read(); }

std::string CompressionText(const BmpHeader& header) {
    switch (header.compression) {
    case BI_RGB:
        return "no compression";
    case BI_RLE8:
        return "RLE8 compression";
    case BI_RLE4:
        return "RLE4 compression";
    default:
        return header.masks.alpha != 0 ? "bit fields with alpha" : "bit fields";
    }
}

} // namespace dibprep::tool

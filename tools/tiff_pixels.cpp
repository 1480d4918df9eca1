// The pixels of a page of a TIFF file.
#include "tools/tiff_pixels.h"

#include "memory/unaligned.h"
#include "tools/page_words.h"
#include "tools/progress.h"
#include "tools/tool_error.h"

#include <algorithm>
#include <cstring>

namespace dibprep::tool {

namespace {

constexpr std::uint64_t LargestTile = std::uint64_t{256} << 20;

// Decoded rows of the current directory, plane by plane.
class RowSource {
public:
    RowSource(TiffInput& tiff, const std::string& name, const TiffHeader& header) : m_tiff(tiff), m_header(header) {
        const std::uint64_t samples = header.separate ? 1 : header.samples;
        m_rowBytes = static_cast<std::size_t>((header.width * samples * header.bits + 7) / 8);
        std::uint64_t bytes = TIFFScanlineSize64(tiff.get());
        if (header.tiled) {
            bytes = TIFFTileSize64(tiff.get());
            TIFFGetField(tiff.get(), TIFFTAG_TILEWIDTH, &m_tileWidth);
            TIFFGetField(tiff.get(), TIFFTAG_TILELENGTH, &m_tileHeight);
            m_tileRowBytes = static_cast<std::size_t>(TIFFTileRowSize64(tiff.get()));
            const std::uint64_t row = (m_tileWidth * samples * header.bits + 7) / 8;
            if (m_tileWidth * samples * header.bits % 8 != 0 || row != m_tileRowBytes || m_tileHeight == 0 ||
                row * m_tileHeight != bytes || bytes > LargestTile)
                throw ToolError(ExitBadInput, name + ": its tiles have an unusual size, which cannot be read. Save it "
                                                     "without tiles.");
        } else if (bytes < m_rowBytes || bytes > LargestTile) {
            // Rows of another length than the header tells mean another packing.
            throw ToolError(ExitBadInput, name + ": its rows have an unusual length, which cannot be read. Save it in "
                                                 "a plainer form.");
        }
        m_buffer.resize(static_cast<std::size_t>(bytes));
    }

    int Planes() const { return m_header.separate ? m_header.samples : 1; }

    // Calls take(row, y) for every row of a plane.
    template <class Take>
    void EachRow(int plane, const Take& take) {
        if (m_header.tiled)
            EachTileRow(plane, take);
        else
            for (std::uint32_t y = 0; y < m_header.height; ++y) {
                ThrowIfStopped();
                Check(TIFFReadScanline(m_tiff.get(), m_buffer.data(), y, static_cast<std::uint16_t>(plane)) > 0);
                take(m_buffer.data(), static_cast<int>(y));
            }
    }

private:
    void Check(bool good) {
        m_tiff.Rethrow();
        // Lines that a fax decoder has made up are reported as errors, but counted as read.
        if (!good || !m_tiff.Error().empty())
            m_tiff.Damaged("its pixels cannot be read");
    }

    template <class Take>
    void EachTileRow(int plane, const Take& take) {
        std::vector<unsigned char> band;
        for (std::uint64_t top = 0; top < m_header.height; top += m_tileHeight) {
            const std::uint64_t rows = std::min<std::uint64_t>(m_tileHeight, m_header.height - top);
            band.resize(static_cast<std::size_t>(rows) * m_rowBytes);
            for (std::uint64_t left = 0; left < m_header.width; left += m_tileWidth) {
                ThrowIfStopped();
                Check(TIFFReadTile(m_tiff.get(), m_buffer.data(), static_cast<std::uint32_t>(left),
                                   static_cast<std::uint32_t>(top), 0, static_cast<std::uint16_t>(plane)) > 0);
                const std::size_t at = static_cast<std::size_t>(left / m_tileWidth) * m_tileRowBytes;
                const std::size_t count = std::min(m_tileRowBytes, m_rowBytes - at);
                for (std::size_t y = 0; y < rows; ++y)
                    std::copy_n(&m_buffer[y * m_tileRowBytes], count, &band[y * m_rowBytes + at]);
            }
            for (std::size_t y = 0; y < rows; ++y)
                take(&band[y * m_rowBytes], static_cast<int>(top + y));
        }
    }

    TiffInput& m_tiff;
    const TiffHeader& m_header;
    std::size_t m_rowBytes;
    std::size_t m_tileRowBytes = 0;
    std::uint32_t m_tileWidth = 0;
    std::uint32_t m_tileHeight = 0;
    std::vector<unsigned char> m_buffer;
};

void SetColours(const TiffHeader& header, Page& page) {
    const unsigned levels = 1u << header.bits;
    for (unsigned i = 0; i < levels; ++i) {
        if (!header.palette.empty()) {
            page.SetColour(i, header.palette[i]);
            continue;
        }
        const unsigned gray = i * 255 / (levels - 1);
        const bool inverted = header.photometric == PHOTOMETRIC_MINISWHITE && header.bits < 8; // 8 bits: see below
        const auto level = static_cast<unsigned char>(inverted ? 255 - gray : gray);
        page.SetColour(i, {level, level, level, 0});
    }
    page.SetColours(levels);
}

void StoreIndexes(const TiffHeader& header, const unsigned char* from, Page& page, int y) {
    unsigned char* to = page.Row(y);
    const std::uint64_t bits = std::uint64_t{header.width} * header.bits;
    if (header.bits == 2) {
        for (std::size_t x = 0; x < header.width; ++x) {
            const int pixel = from[x / 4] >> (6 - x % 4 * 2) & 3;
            to[x / 2] = static_cast<unsigned char>(to[x / 2] | pixel << (x % 2 == 0 ? 4 : 0));
        }
        return;
    }
    const auto bytes = static_cast<std::size_t>((bits + 7) / 8);
    std::copy_n(from, bytes, to);
    if (bits % 8 != 0)
        to[bytes - 1] = static_cast<unsigned char>(to[bytes - 1] & (0xFF00 >> bits % 8));
}

// Where a sample of the file belongs in a pixel of the page: bits 0 to 3 for blue, green, red, alpha.
unsigned Targets(const TiffHeader& header, int sample) {
    const int colours = header.Colours();
    if (sample < colours)
        return colours == 1 ? (header.PageBits() == 8 ? 1u : 7u) : 4u >> sample;
    return sample == colours && header.alpha ? 8u : 0u;
}

// One sample of every pixel of a row; the samples of a pixel lie `step` apart.
void StoreSamples(const TiffHeader& header, const unsigned char* from, int step, unsigned targets, bool invert,
                  unsigned char* to, int pixelBytes) {
    const int bytes = header.bits / 8;
    for (std::uint32_t x = 0; x < header.width; ++x, from += step, to += pixelBytes)
        for (int channel = 0; channel < 4; ++channel)
            if ((targets >> channel & 1) != 0)
                for (int i = 0; i < bytes; ++i)
                    to[channel * bytes + i] = static_cast<unsigned char>(invert ? ~from[i] : from[i]);
}

// Colours that were multiplied by alpha, as they were before.
template <class Load, class Store>
void Divide(Page& page, unsigned largest, const Load& load, const Store& store) {
    const int bytes = page.Bits() / 32;
    for (int y = 0; y < page.Height(); ++y) {
        unsigned char* pixel = page.StoredRow(y);
        for (int x = 0; x < page.Width(); ++x, pixel += 4 * bytes) {
            const std::uint32_t alpha = load(pixel + 3 * bytes);
            for (int c = 0; alpha != 0 && c < 3; ++c)
                store(pixel + c * bytes,
                      std::min<std::uint32_t>(largest, (load(pixel + c * bytes) * largest + alpha / 2) / alpha));
        }
    }
}

void DivideByAlpha(Page& page) {
    if (page.Bits() == 32)
        Divide(
            page, 255, [](const unsigned char* at) { return std::uint32_t{*at}; },
            [](unsigned char* at, std::uint32_t value) { *at = static_cast<unsigned char>(value); });
    else
        Divide(
            page, 65535, [](const unsigned char* at) { return std::uint32_t{LoadU16(at)}; },
            [](unsigned char* at, std::uint32_t value) { StoreU16(at, static_cast<std::uint16_t>(value)); });
}

void ReadSamples(RowSource& rows, const TiffHeader& header, Page& page) {
    const int bytes = header.bits / 8;
    const int inRow = header.separate ? 1 : header.samples;
    for (int plane = 0; plane < rows.Planes(); ++plane) {
        if (header.separate && Targets(header, plane) == 0)
            continue;
        rows.EachRow(plane, [&](const unsigned char* row, int y) {
            for (int i = 0; i < inRow; ++i) {
                const int sample = header.separate ? plane : i;
                const bool invert = header.photometric == PHOTOMETRIC_MINISWHITE && sample == 0;
                StoreSamples(header, row + i * bytes, inRow * bytes, Targets(header, sample), invert, page.Row(y),
                             page.Bits() / 8);
            }
        });
    }
    if (header.multiplied)
        DivideByAlpha(page);
    if (header.bits == 16)
        MakeFullRange(page);
}

void ReadMixed(TiffInput& tiff, const TiffHeader& header, Page& page) {
    // Rows from the top as they are stored: the page is turned later.
    const std::size_t pixels = static_cast<std::size_t>(header.width) * header.height;
    std::vector<std::uint32_t> raster(pixels);
    const int orientation = header.orientation >= 1 && header.orientation <= 8 ? header.orientation : 1;
    const bool read =
        TIFFReadRGBAImageOriented(tiff.get(), header.width, header.height, raster.data(), orientation, 1) != 0;
    tiff.Rethrow();
    if (!read || !tiff.Error().empty())
        tiff.Damaged("its pixels cannot be read");
    const std::uint32_t* from = raster.data();
    const int step = page.Bits() / 8;
    for (int y = 0; y < page.Height(); ++y) {
        ThrowIfStopped();
        unsigned char* to = page.Row(y);
        for (int x = 0; x < page.Width(); ++x, ++from, to += step) {
            to[0] = static_cast<unsigned char>(TIFFGetB(*from));
            to[1] = static_cast<unsigned char>(TIFFGetG(*from));
            to[2] = static_cast<unsigned char>(TIFFGetR(*from));
            if (step == 4)
                to[3] = static_cast<unsigned char>(TIFFGetA(*from));
        }
    }
    if (step == 4) // the library multiplies
        DivideByAlpha(page);
}

} // namespace

Page ReadTiffPixels(TiffInput& tiff, const std::string& name, const TiffHeader& header) {
    Page page(header.width, header.height, header.PageBits());
    if (page.Bits() <= 8)
        SetColours(header, page);
    tiff.ClearError();
    if (header.road == TiffRoad::Mixed) {
        ReadMixed(tiff, header, page);
    } else {
        RowSource rows(tiff, name, header);
        if (header.road == TiffRoad::Indexes)
            rows.EachRow(0, [&](const unsigned char* row, int y) { StoreIndexes(header, row, page, y); });
        else
            ReadSamples(rows, header, page);
    }
    if (page.Bits() == 32)
        page.SetMasks(Plain8888);
    return page;
}

} // namespace dibprep::tool

// TIFF files into pages: their directories.
#include "tools/page_orientation.h"
#include "tools/resolution.h"
#include "tools/tiff.h"
#include "tools/tiff_pixels.h"
#include "tools/tool_error.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace dibprep::tool {

namespace {

constexpr int MostSamples = 16;

std::uint16_t Field(TIFF* tiff, std::uint32_t tag) {
    std::uint16_t value = 0;
    TIFFGetFieldDefaulted(tiff, tag, &value);
    return value;
}

void ReadResolution(TIFF* tiff, TiffHeader& header) {
    float x = 0;
    float y = 0;
    const std::uint16_t unit = Field(tiff, TIFFTAG_RESOLUTIONUNIT);
    if (unit == RESUNIT_NONE || TIFFGetField(tiff, TIFFTAG_XRESOLUTION, &x) == 0)
        return;
    if (TIFFGetField(tiff, TIFFTAG_YRESOLUTION, &y) == 0)
        y = x;
    if (!std::isfinite(x) || !std::isfinite(y) || x <= 0 || y <= 0)
        return;
    header.x = static_cast<double>(x);
    header.y = static_cast<double>(y);
    header.perCentimetre = unit == RESUNIT_CENTIMETER;
}

void ReadPalette(TIFF* tiff, TiffHeader& header) {
    std::uint16_t* red = nullptr;
    std::uint16_t* green = nullptr;
    std::uint16_t* blue = nullptr;
    if (TIFFGetField(tiff, TIFFTAG_COLORMAP, &red, &green, &blue) == 0)
        return;
    const std::size_t count = std::size_t{1} << header.bits;
    // Old programs filled 16 bits with 0 to 255.
    const auto largest = std::max({*std::max_element(red, red + count), *std::max_element(green, green + count),
                                   *std::max_element(blue, blue + count)});
    const auto level = [&](std::uint16_t value) {
        return static_cast<unsigned char>(largest < 256 ? value : (value * 255u + 32767) / 65535);
    };
    for (std::size_t i = 0; i < count; ++i)
        header.palette.push_back({level(blue[i]), level(green[i]), level(red[i]), 0});
}

void ReadAlpha(TIFF* tiff, TiffHeader& header) {
    std::uint16_t count = 0;
    std::uint16_t* kinds = nullptr;
    TIFFGetFieldDefaulted(tiff, TIFFTAG_EXTRASAMPLES, &count, &kinds);
    // Only a channel right behind the colours is theirs; what is not called alpha is something else.
    if (count == 0 || header.samples <= header.Colours())
        return;
    header.multiplied = kinds[0] == EXTRASAMPLE_ASSOCALPHA;
    header.alpha = header.multiplied || kinds[0] == EXTRASAMPLE_UNASSALPHA;
}

TiffRoad RoadOf(const TiffHeader& header) {
    if (header.photometric == PHOTOMETRIC_PALETTE && header.samples == 1 && header.bits <= 8 && !header.palette.empty())
        return TiffRoad::Indexes;
    if (header.IsGray() && header.samples == 1 && (header.bits == 1 || header.bits == 2 || header.bits == 4))
        return TiffRoad::Indexes;
    const bool channels = header.IsGray() || (header.photometric == PHOTOMETRIC_RGB && header.samples >= 3);
    if (channels && (header.bits == 8 || header.bits == 16))
        return TiffRoad::Samples;
    return TiffRoad::Mixed;
}

bool LibraryCanMix(TIFF* tiff) {
    TIFFRGBAImage image;
    char words[1024] = "";
    if (TIFFRGBAImageBegin(&image, tiff, 1, words) == 0)
        return false;
    TIFFRGBAImageEnd(&image);
    return true;
}

class TiffPages : public PageReader {
public:
    TiffPages(const InputFile& file, std::uint64_t maxPixels) : m_file(file), m_maxPixels(maxPixels), m_tiff(file) {
        std::vector<std::uint64_t> small; // thumbnails and masks, which are no pages
        for (bool read = true;;) {
            m_tiff.Rethrow();
            if (!read || !m_tiff.Error().empty())
                m_tiff.Damaged("its page " + std::to_string(m_offsets.size() + small.size() + 1) + " cannot be read");
            std::uint32_t kind = 0;
            TIFFGetFieldDefaulted(m_tiff.get(), TIFFTAG_SUBFILETYPE, &kind);
            const bool isPage = (kind & (FILETYPE_REDUCEDIMAGE | FILETYPE_MASK)) == 0;
            (isPage ? m_offsets : small).push_back(TIFFCurrentDirOffset(m_tiff.get()));
            if (TIFFLastDirectory(m_tiff.get()) != 0)
                break;
            read = TIFFReadDirectory(m_tiff.get()) != 0;
        }
        if (m_offsets.empty())
            m_offsets = small;
        m_warnings = m_tiff.Warnings();
    }

    int PageCount() const override { return static_cast<int>(m_offsets.size()); }

    PageInfo Describe(int page) override {
        const TiffHeader header = Select(page);
        const bool swaps = SwapsSides(header.orientation);
        PageInfo info;
        info.width = swaps ? header.height : header.width;
        info.height = swaps ? header.width : header.height;
        info.fileBits = header.bits * header.samples;
        info.pageBits = header.PageBits();
        info.compression = TiffCompressionText(header.compression);
        info.layout = LayoutText(header);
        info.palette = header.palette;
        info.gray = header.palette.empty() ? header.IsGray() : IsGray(header.palette);
        info.alpha = header.alpha;
        info.channels = ChannelText(header);
        const std::pair<std::int32_t, std::int32_t> resolution = PerMetre(header);
        info.xPixelsPerMetre = swaps ? resolution.second : resolution.first;
        info.yPixelsPerMetre = swaps ? resolution.first : resolution.second;
        if (header.x > 0)
            info.storedResolution = StoredResolutionText(header.x, header.y, header.perCentimetre);
        return info;
    }

    Page Read(int page) override {
        const TiffHeader header = Select(page);
        Page result = ReadTiffPixels(m_tiff, m_file.Name(), header);
        const std::pair<std::int32_t, std::int32_t> resolution = PerMetre(header);
        result.SetResolution(resolution.first, resolution.second);
        m_warnings = m_tiff.Warnings();
        return Upright(std::move(result), header.orientation);
    }

private:
    TiffHeader Select(int page) {
        m_tiff.ClearError();
        const bool there = TIFFSetSubDirectory(m_tiff.get(), m_offsets[static_cast<std::size_t>(page)]) != 0;
        m_tiff.Rethrow();
        if (!there)
            m_tiff.Damaged("its page " + std::to_string(page + 1) + " cannot be read");
        TiffHeader header = ReadTiffHeader(m_tiff, m_file.Name());
        CheckDeclaredSize(m_file.Name(), header.width, header.height, m_maxPixels);
        return header;
    }

    static std::pair<std::int32_t, std::int32_t> PerMetre(const TiffHeader& header) {
        const auto convert = header.perCentimetre ? FromDotsPerCentimetre : FromDotsPerInch;
        return {convert(header.x), convert(header.y)};
    }

    std::string LayoutText(const TiffHeader& header) const {
        const std::uint32_t parts = header.tiled ? TIFFNumberOfTiles(m_tiff.get()) : TIFFNumberOfStrips(m_tiff.get());
        std::string text = std::to_string(parts) + (header.tiled ? " tile" : " strip") + (parts == 1 ? "" : "s");
        if (header.separate)
            text += ", separate planes";
        if (header.fillOrder == FILLORDER_LSB2MSB)
            text += ", low bit first";
        if (header.bits == 1 && header.IsGray())
            text += header.photometric == PHOTOMETRIC_MINISWHITE ? ", 0 is white" : ", 0 is black";
        if (header.orientation != ORIENTATION_TOPLEFT)
            text += ", orientation " + std::to_string(header.orientation) + " (applied)";
        return text;
    }

    static std::string ChannelText(const TiffHeader& header) {
        std::string text = "red, green, blue";
        if (header.IsGray())
            text = header.bits == 1 ? "black and white" : "gray";
        else if (header.photometric == PHOTOMETRIC_SEPARATED)
            text = "cyan, magenta, yellow, black";
        return header.alpha ? text + ", alpha" : text;
    }

    const InputFile& m_file;
    std::uint64_t m_maxPixels;
    TiffInput m_tiff;
    std::vector<std::uint64_t> m_offsets; // of the directories
};

} // namespace

int TiffHeader::PageBits() const {
    switch (road) {
    case TiffRoad::Indexes:
        return bits == 2 ? 4 : bits;
    case TiffRoad::Samples:
        if (bits == 16)
            return alpha ? 64 : 48;
        return alpha ? 32 : IsGray() ? 8 : 24;
    default:
        return alpha ? 32 : 24;
    }
}

TiffHeader ReadTiffHeader(TiffInput& input, const std::string& name) {
    TIFF* tiff = input.get();
    TiffHeader header;
    TIFFGetField(tiff, TIFFTAG_IMAGEWIDTH, &header.width);
    TIFFGetField(tiff, TIFFTAG_IMAGELENGTH, &header.height);
    header.bits = Field(tiff, TIFFTAG_BITSPERSAMPLE);
    header.samples = Field(tiff, TIFFTAG_SAMPLESPERPIXEL);
    header.compression = Field(tiff, TIFFTAG_COMPRESSION);
    header.orientation = Field(tiff, TIFFTAG_ORIENTATION);
    header.fillOrder = Field(tiff, TIFFTAG_FILLORDER);
    header.separate = Field(tiff, TIFFTAG_PLANARCONFIG) == PLANARCONFIG_SEPARATE && header.samples > 1;
    header.tiled = TIFFIsTiled(tiff) != 0;
    // Some fax programs leave it out; theirs is white for 0.
    if (TIFFGetField(tiff, TIFFTAG_PHOTOMETRIC, &header.photometric) == 0)
        header.photometric = header.bits == 1 ? PHOTOMETRIC_MINISWHITE : PHOTOMETRIC_MINISBLACK;
    const auto refuse = [&](const std::string& what) {
        throw ToolError(ExitBadInput, name + ": " + what + ", which cannot be read. Save it in a plainer form.");
    };
    if (header.samples == 0 || header.samples > MostSamples)
        refuse("its pixels have " + std::to_string(header.samples) + " channels");
    const std::uint16_t kind = Field(tiff, TIFFTAG_SAMPLEFORMAT);
    if (kind != SAMPLEFORMAT_UINT && kind != SAMPLEFORMAT_VOID)
        refuse(kind == SAMPLEFORMAT_IEEEFP ? "its samples are floating-point numbers"
                                           : "its samples are no whole numbers from 0 on");
    if (TIFFIsCODECConfigured(header.compression) == 0)
        refuse("it is compressed by a method with the number " + std::to_string(header.compression));
    if (header.photometric == PHOTOMETRIC_PALETTE && header.bits <= 8)
        ReadPalette(tiff, header);
    if (header.photometric == PHOTOMETRIC_YCBCR && header.compression == COMPRESSION_JPEG && header.samples == 3) {
        TIFFSetField(tiff, TIFFTAG_JPEGCOLORMODE, JPEGCOLORMODE_RGB);
        header.photometric = PHOTOMETRIC_RGB;
    }
    ReadAlpha(tiff, header);
    ReadResolution(tiff, header);
    header.road = RoadOf(header);
    if (header.road == TiffRoad::Mixed && !LibraryCanMix(tiff))
        refuse("its pixels are of a rare kind (" + std::to_string(header.samples) + " x " +
               std::to_string(header.bits) + " bits, colour kind " + std::to_string(header.photometric) + ")");
    input.Rethrow();
    return header;
}

std::string TiffCompressionText(std::uint16_t compression) {
    switch (compression) {
    case COMPRESSION_NONE:
        return "no compression";
    case COMPRESSION_CCITTRLE:
        return "G3 compression (modified Huffman)";
    case COMPRESSION_CCITTFAX3:
        return "G3 compression";
    case COMPRESSION_CCITTFAX4:
        return "G4 compression";
    case COMPRESSION_LZW:
        return "LZW compression";
    case COMPRESSION_OJPEG:
    case COMPRESSION_JPEG:
        return "JPEG compression";
    case COMPRESSION_ADOBE_DEFLATE:
    case COMPRESSION_DEFLATE:
        return "Deflate compression";
    case COMPRESSION_PACKBITS:
        return "PackBits compression";
    default:
        return "compression " + std::to_string(compression);
    }
}

bool LooksLikeTiff(const std::vector<std::uint8_t>& head) {
    if (head.size() < 4)
        return false;
    const bool low = head[0] == 'I' && head[1] == 'I' && (head[2] == 42 || head[2] == 43) && head[3] == 0;
    return low || (head[0] == 'M' && head[1] == 'M' && head[2] == 0 && (head[3] == 42 || head[3] == 43));
}

std::unique_ptr<PageReader> OpenTiff(const InputFile& file, std::uint64_t maxPixels) {
    return std::make_unique<TiffPages>(file, maxPixels);
}

} // namespace dibprep::tool

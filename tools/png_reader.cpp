// PNG files into pages.
#include "tools/page_words.h"
#include "tools/png.h"
#include "tools/png_calls.h"
#include "tools/progress.h"
#include "tools/resolution.h"
#include "tools/tool_error.h"

#include <algorithm>

namespace dibprep::tool {

void OnPngError(png_structp png, png_const_charp message) {
    auto* trouble = static_cast<PngTrouble*>(png_get_error_ptr(png));
    if (trouble->error.empty() && !trouble->thrown)
        trouble->error = message;
    png_longjmp(png, 1);
}

void OnPngWarning(png_structp png, png_const_charp message) {
    static_cast<PngTrouble*>(png_get_error_ptr(png))->warnings.emplace_back(message);
}

namespace {

// A chunk that is kept, a colour profile for example, may be as large as this once expanded.
constexpr png_alloc_size_t LargestChunk = 8000000;

// One decoder, from the first byte of the file on.
class Decoder {
public:
    explicit Decoder(const InputFile& file) : m_file(file) {
        m_png = png_create_read_struct(PNG_LIBPNG_VER_STRING, &m_trouble, OnPngError, OnPngWarning);
        m_info = m_png ? png_create_info_struct(m_png) : nullptr;
        if (!m_info) {
            png_destroy_read_struct(&m_png, nullptr, nullptr);
            throw ToolError(ExitLimit, "Out of memory: libpng cannot begin.");
        }
        png_set_read_fn(m_png, this, OnRead);
        try {
            Call([this] {
                png_set_user_limits(m_png, 0x7FFFFFFF, 0x7FFFFFFF);
                png_set_chunk_malloc_max(m_png, LargestChunk);
                png_read_info(m_png, m_info);
            });
        } catch (...) {
            png_destroy_read_struct(&m_png, &m_info, nullptr);
            throw;
        }
    }
    ~Decoder() { png_destroy_read_struct(&m_png, &m_info, nullptr); }
    Decoder(const Decoder&) = delete;
    Decoder& operator=(const Decoder&) = delete;

    png_structp png() const { return m_png; }
    png_infop info() const { return m_info; }
    const std::vector<std::string>& Warnings() const { return m_trouble.warnings; }

    template <class Calls>
    void Call(const Calls& calls) {
        if (TryPng(m_png, calls))
            return;
        if (m_trouble.thrown)
            std::rethrow_exception(m_trouble.thrown);
        throw ToolError(ExitBadInput, m_file.Name() + (m_short ? ": the file ends inside its PNG data. It was cut "
                                                                 "short; fetch it again."
                                                               : ": its PNG data are damaged (" + m_trouble.error +
                                                                     "). Fetch it again."));
    }

private:
    static void OnRead(png_structp png, png_bytep to, std::size_t bytes) {
        auto* self = static_cast<Decoder*>(png_get_io_ptr(png));
        if (bytes > self->m_file.Size() - self->m_at) {
            self->m_short = true;
            png_error(png, "end of file");
        }
        GuardPng(png, [&] { self->m_file.ReadAt(self->m_at, to, bytes); });
        self->m_at += bytes;
    }

    const InputFile& m_file;
    PngTrouble m_trouble;
    png_structp m_png = nullptr;
    png_infop m_info = nullptr;
    std::uint64_t m_at = 0;
    bool m_short = false;
};

// What the header declares and how it becomes a page.
struct PngHeader {
    explicit PngHeader(const Decoder& decoder) {
        png_struct* const png = decoder.png();
        png_info* const info = decoder.info();
        width = png_get_image_width(png, info);
        height = png_get_image_height(png, info);
        bits = png_get_bit_depth(png, info);
        colourType = png_get_color_type(png, info);
        interlaced = png_get_interlace_type(png, info) != PNG_INTERLACE_NONE;
        hasTransparency = png_get_valid(png, info, PNG_INFO_tRNS) != 0;
        if (colourType == PNG_COLOR_TYPE_PALETTE) {
            png_colorp colours = nullptr;
            int count = 0;
            png_get_PLTE(png, info, &colours, &count);
            for (int i = 0; i < count; ++i)
                palette.push_back({colours[i].blue, colours[i].green, colours[i].red, 0});
        }
        png_uint_32 x = 0;
        png_uint_32 y = 0;
        int unit = PNG_RESOLUTION_UNKNOWN;
        if (png_get_pHYs(png, info, &x, &y, &unit) != 0 && unit == PNG_RESOLUTION_METER && x <= 0x7FFFFFFF &&
            y <= 0x7FFFFFFF) {
            xPixelsPerMetre = static_cast<std::int32_t>(x);
            yPixelsPerMetre = static_cast<std::int32_t>(y);
        }
    }

    bool IsPalette() const { return colourType == PNG_COLOR_TYPE_PALETTE; }
    bool IsGray() const { return (colourType & PNG_COLOR_MASK_COLOR) == 0; }
    bool HasAlpha() const { return (colourType & PNG_COLOR_MASK_ALPHA) != 0 || hasTransparency; }
    int Channels() const {
        return IsPalette() ? 1 : (IsGray() ? 1 : 3) + ((colourType & PNG_COLOR_MASK_ALPHA) ? 1 : 0);
    }
    int PageBits() const {
        if (bits == 16)
            return HasAlpha() ? 64 : 48;
        if (HasAlpha())
            return 32;
        if (IsPalette() || IsGray())
            return bits == 2 ? 4 : bits;
        return 24;
    }

    std::uint64_t width;
    std::uint64_t height;
    int bits; // of a sample
    int colourType;
    bool interlaced;
    bool hasTransparency;
    std::vector<tagRGBQUAD> palette;
    std::int32_t xPixelsPerMetre = 0;
    std::int32_t yPixelsPerMetre = 0;
};

class PngPages : public PageReader {
public:
    PngPages(const InputFile& file, std::uint64_t maxPixels) : m_file(file) {
        const Decoder decoder(file);
        const PngHeader header(decoder);
        CheckDeclaredSize(file.Name(), header.width, header.height, maxPixels);
        m_warnings = decoder.Warnings();
    }

    int PageCount() const override { return 1; }

    PageInfo Describe(int) override {
        const Decoder decoder(m_file);
        const PngHeader header(decoder);
        PageInfo info;
        info.width = header.width;
        info.height = header.height;
        info.fileBits = header.bits * header.Channels();
        info.pageBits = header.PageBits();
        info.compression = "Deflate compression";
        info.layout = header.interlaced ? "interlaced" : "";
        info.alpha = header.HasAlpha();
        info.palette = header.palette;
        info.gray = header.IsPalette() ? IsGray(header.palette) : header.IsGray();
        info.channels = header.IsPalette() ? "colour table" : header.IsGray() ? "gray" : "red, green, blue";
        if (header.bits == 1 && header.IsGray())
            info.channels = "black and white";
        if (info.alpha)
            info.channels += ", alpha";
        info.xPixelsPerMetre = header.xPixelsPerMetre;
        info.yPixelsPerMetre = header.yPixelsPerMetre;
        info.storedResolution = PerMetreText(info.xPixelsPerMetre, info.yPixelsPerMetre);
        return info;
    }

    Page Read(int) override {
        Decoder decoder(m_file);
        const PngHeader header(decoder);
        Page page(header.width, header.height, header.PageBits());
        page.SetResolution(header.xPixelsPerMetre, header.yPixelsPerMetre);
        SetColours(header, page);
        const int passes = SetTransforms(decoder, header);
        // Samples of 2 bits are read as bytes, into a page beside it.
        const bool narrow = header.bits == 2 && page.Bits() == 4;
        if (narrow) {
            Page bytes(header.width, header.height, 8);
            ReadRows(decoder, passes, bytes);
            Pack(bytes, page);
        } else {
            ReadRows(decoder, passes, page);
        }
        if (header.bits == 16)
            MakeFullRange(page);
        if (page.Bits() == 32)
            page.SetMasks(Plain8888);
        return page;
    }

private:
    static void SetColours(const PngHeader& header, Page& page) {
        if (page.Bits() > 8)
            return;
        unsigned count = 0;
        if (header.IsPalette())
            for (const tagRGBQUAD& colour : header.palette)
                page.SetColour(count++, colour);
        else
            for (const unsigned levels = 1u << header.bits; count < levels; ++count) {
                const auto level = static_cast<unsigned char>(count * 255 / (levels - 1));
                page.SetColour(count, {level, level, level, 0});
            }
        page.SetColours(count);
    }

    // Rows then come as a page stores them. How many times all of them come.
    static int SetTransforms(Decoder& decoder, const PngHeader& header) {
        png_struct* const png = decoder.png();
        int passes = 1;
        decoder.Call([&] {
            passes = png_set_interlace_handling(png);
            if (header.PageBits() > 8) {
                if (header.hasTransparency)
                    png_set_tRNS_to_alpha(png);
                if (header.IsPalette())
                    png_set_palette_to_rgb(png);
                if (header.IsGray() && header.bits < 8)
                    png_set_expand_gray_1_2_4_to_8(png);
                if (header.IsGray())
                    png_set_gray_to_rgb(png);
                png_set_bgr(png);
                png_set_swap(png); // low byte first
            } else if (header.bits == 2) {
                png_set_packing(png);
            }
            png_read_update_info(png, decoder.info());
        });
        return passes;
    }

    void ReadRows(Decoder& decoder, int passes, Page& page) {
        png_struct* const png = decoder.png();
        if (png_get_rowbytes(png, decoder.info()) > page.RowSize())
            throw ToolError(ExitBadInput, m_file.Name() + ": its rows are longer than its header says.");
        for (int pass = 0; pass < passes; ++pass) {
            for (int y = 0; y < page.Height(); ++y) {
                ThrowIfStopped();
                unsigned char* row = page.Row(y);
                decoder.Call([&] { png_read_row(png, row, nullptr); });
            }
        }
        // What follows the picture tells whether the file is complete.
        decoder.Call([&] { png_read_end(png, nullptr); });
        ClearPadding(page);
        m_warnings = decoder.Warnings();
    }

    // Behind the last pixel of a row the library may leave anything.
    static void ClearPadding(Page& page) {
        const std::uint64_t bits = static_cast<std::uint64_t>(page.Width()) * static_cast<unsigned>(page.Bits());
        const auto whole = static_cast<std::size_t>(bits / 8);
        for (int y = 0; y < page.Height(); ++y) {
            unsigned char* row = page.StoredRow(y);
            if (bits % 8 != 0)
                row[whole] = static_cast<unsigned char>(row[whole] & (0xFF00 >> bits % 8));
            std::fill(row + whole + (bits % 8 != 0 ? 1 : 0), row + page.RowSize(), static_cast<unsigned char>(0));
        }
    }

    static void Pack(const Page& bytes, Page& page) {
        for (int y = 0; y < page.Height(); ++y)
            for (int x = 0; x < page.Width(); ++x) {
                unsigned char& to = page.StoredRow(y)[x / 2];
                to = static_cast<unsigned char>(to | bytes.StoredRow(y)[x] << (x % 2 == 0 ? 4 : 0));
            }
    }

    const InputFile& m_file;
};

} // namespace

bool LooksLikePng(const std::vector<std::uint8_t>& head) {
    constexpr std::uint8_t magic[] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
    return head.size() >= sizeof magic && std::equal(std::begin(magic), std::end(magic), head.begin());
}

std::unique_ptr<PageReader> OpenPng(const InputFile& file, std::uint64_t maxPixels) {
    return std::make_unique<PngPages>(file, maxPixels);
}

} // namespace dibprep::tool

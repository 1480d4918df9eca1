// Pages into PNG files.
#include "tools/page_rows.h"
#include "tools/png.h"
#include "tools/png_calls.h"
#include "tools/tool_error.h"

#include <algorithm>
#include <array>

namespace dibprep::tool {

namespace {

// One encoder, from the first byte of the file to the last.
class Encoder {
public:
    explicit Encoder(OutputFile& file) : m_file(file) {
        m_png = png_create_write_struct(PNG_LIBPNG_VER_STRING, &m_trouble, OnPngError, OnPngWarning);
        m_info = m_png ? png_create_info_struct(m_png) : nullptr;
        if (!m_info) {
            png_destroy_write_struct(&m_png, nullptr);
            throw ToolError(ExitLimit, "Out of memory: libpng cannot begin.");
        }
        png_set_write_fn(m_png, this, OnWrite, OnFlush);
    }
    ~Encoder() { png_destroy_write_struct(&m_png, &m_info); }
    Encoder(const Encoder&) = delete;
    Encoder& operator=(const Encoder&) = delete;

    void Write(const Page& page) {
        PageRows rows(page, RowLimits());
        const std::array<png_color, 256> colours = Colours(page);
        const auto width = static_cast<png_uint_32>(page.Width());
        const auto height = static_cast<png_uint_32>(page.Height());
        const int type = rows.Kind() == RowKind::Table ? PNG_COLOR_TYPE_PALETTE
                         : rows.Samples() == 1         ? PNG_COLOR_TYPE_GRAY
                         : rows.HasAlpha()             ? PNG_COLOR_TYPE_RGB_ALPHA
                                                       : PNG_COLOR_TYPE_RGB;
        Call([&] {
            // The pixel limit is the tool's own.
            png_set_user_limits(m_png, 0x7FFFFFFF, 0x7FFFFFFF);
            png_set_IHDR(m_png, m_info, width, height, rows.BitsPerSample(), type, PNG_INTERLACE_NONE,
                         PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
            if (type == PNG_COLOR_TYPE_PALETTE)
                png_set_PLTE(m_png, m_info, colours.data(), static_cast<int>(rows.Colours()));
            if (page.PixelsPerMetreX() > 0 && page.PixelsPerMetreY() > 0)
                png_set_pHYs(m_png, m_info, static_cast<png_uint_32>(page.PixelsPerMetreX()),
                             static_cast<png_uint_32>(page.PixelsPerMetreY()), PNG_RESOLUTION_METER);
            png_write_info(m_png, m_info);
        });
        for (int y = 0; y < page.Height(); ++y) {
            const unsigned char* row = rows.Row(y).data();
            Call([&] { png_write_row(m_png, row); });
        }
        Call([&] { png_write_end(m_png, nullptr); });
    }

private:
    static std::array<png_color, 256> Colours(const Page& page) {
        std::array<png_color, 256> colours = {};
        for (unsigned i = 0; i < FullTable(page.Bits()); ++i) {
            const tagRGBQUAD colour = page.Colour(i);
            colours[i] = {colour.rgbRed, colour.rgbGreen, colour.rgbBlue};
        }
        return colours;
    }

    template <class Calls>
    void Call(const Calls& calls) {
        if (TryPng(m_png, calls))
            return;
        if (m_trouble.thrown)
            std::rethrow_exception(m_trouble.thrown);
        throw ToolError(ExitLimit, m_file.Name() + ": cannot be written as PNG (" + m_trouble.error +
                                       "). Choose another format with --format.");
    }

    static void OnWrite(png_structp png, png_bytep from, std::size_t bytes) {
        auto* self = static_cast<Encoder*>(png_get_io_ptr(png));
        GuardPng(png, [&] { self->m_file.Write(from, bytes); });
    }
    static void OnFlush(png_structp) {}

    OutputFile& m_file;
    PngTrouble m_trouble;
    png_structp m_png = nullptr;
    png_infop m_info = nullptr;
};

class PngWriter : public PageWriter {
public:
    explicit PngWriter(OutputFile& file) : m_file(file) {}
    void Add(const Page& page) override { Encoder(m_file).Write(page); }

private:
    OutputFile& m_file;
};

} // namespace

std::unique_ptr<PageWriter> CreatePng(OutputFile& file, const WriteOptions&) {
    return std::make_unique<PngWriter>(file);
}

} // namespace dibprep::tool

// Pages into JPEG files: gray or true colour, 8 bits per channel.
#include "tools/jpeg.h"
#include "tools/jpeg_calls.h"
#include "tools/page_rows.h"
#include "tools/resolution.h"
#include "tools/tool_error.h"

#include <algorithm>

namespace dibprep::tool {

namespace {

constexpr std::size_t PieceSize = 65536;
constexpr int LargestSide = 65500; // of the library

class Encoder {
public:
    explicit Encoder(OutputFile& file) : m_file(file), m_piece(PieceSize) {
        m_info.err = BeginJpeg(m_trouble);
        m_info.client_data = this;
        Call([this] { jpeg_create_compress(&m_info); });
        m_target.init_destination = [](j_compress_ptr info) { static_cast<Encoder*>(info->client_data)->Rewind(); };
        m_target.empty_output_buffer = OnFull;
        m_target.term_destination = OnEnd;
        m_info.dest = &m_target;
    }
    ~Encoder() { jpeg_destroy_compress(&m_info); }
    Encoder(const Encoder&) = delete;
    Encoder& operator=(const Encoder&) = delete;

    void Write(const Page& page, int quality) {
        RowLimits limits;
        limits.tables = limits.blackAndWhite = limits.sixteenBits = limits.alpha = false;
        PageRows rows(page, limits);
        Call([&] {
            m_info.image_width = static_cast<JDIMENSION>(page.Width());
            m_info.image_height = static_cast<JDIMENSION>(page.Height());
            m_info.input_components = rows.Samples();
            m_info.in_color_space = rows.Samples() == 1 ? JCS_GRAYSCALE : JCS_RGB;
            jpeg_set_defaults(&m_info);
            jpeg_set_quality(&m_info, quality, TRUE);
            // Colours at full resolution: coloured text and rules keep their edges.
            m_info.comp_info[0].h_samp_factor = m_info.comp_info[0].v_samp_factor = 1;
            SetResolution(page);
            jpeg_start_compress(&m_info, TRUE);
        });
        for (int y = 0; y < page.Height(); ++y) {
            auto* row = const_cast<JSAMPLE*>(rows.Row(y).data());
            Call([&] { jpeg_write_scanlines(&m_info, &row, 1); });
        }
        Call([&] { jpeg_finish_compress(&m_info); });
    }

private:
    // Whole dots per inch, or else the nearest whole number per inch: there are no others in this format.
    void SetResolution(const Page& page) {
        const std::int32_t x = page.PixelsPerMetreX();
        const std::int32_t y = page.PixelsPerMetreY();
        if (x <= 0 || y <= 0)
            return;
        if (WholeDpi(x) == 0 && WholeDpi(y) == 0 && x % 100 == 0 && y % 100 == 0 && std::max(x, y) <= 6553500) {
            m_info.density_unit = 2;
            m_info.X_density = static_cast<UINT16>(x / 100);
            m_info.Y_density = static_cast<UINT16>(y / 100);
            return;
        }
        m_info.density_unit = 1;
        m_info.X_density = NearestDpi(x);
        m_info.Y_density = NearestDpi(y);
    }

    static UINT16 NearestDpi(std::int32_t pixelsPerMetre) {
        const std::uint64_t whole = WholeDpi(pixelsPerMetre);
        const std::uint64_t nearest = (static_cast<std::uint64_t>(pixelsPerMetre) * 254 + 5000) / 10000;
        return static_cast<UINT16>(std::clamp<std::uint64_t>(whole != 0 ? whole : nearest, 1, LargestDpi));
    }

    template <class Calls>
    void Call(const Calls& calls) {
        if (TryJpeg(m_trouble, calls))
            return;
        if (m_trouble.thrown)
            std::rethrow_exception(m_trouble.thrown);
        throw ToolError(ExitLimit, m_file.Name() + ": cannot be written as JPEG (" + m_trouble.error +
                                       "). Choose another format with --format.");
    }

    void Rewind() {
        m_target.next_output_byte = m_piece.data();
        m_target.free_in_buffer = m_piece.size();
    }
    static boolean OnFull(j_compress_ptr info) {
        auto* self = static_cast<Encoder*>(info->client_data);
        GuardJpeg(reinterpret_cast<j_common_ptr>(info),
                  [self] { self->m_file.Write(self->m_piece.data(), self->m_piece.size()); });
        self->Rewind();
        return TRUE;
    }
    static void OnEnd(j_compress_ptr info) {
        auto* self = static_cast<Encoder*>(info->client_data);
        GuardJpeg(reinterpret_cast<j_common_ptr>(info), [self] {
            self->m_file.Write(self->m_piece.data(), self->m_piece.size() - self->m_target.free_in_buffer);
        });
    }

    OutputFile& m_file;
    std::vector<std::uint8_t> m_piece;
    JpegTrouble m_trouble = {};
    jpeg_compress_struct m_info = {};
    jpeg_destination_mgr m_target = {};
};

class JpegWriter : public PageWriter {
public:
    JpegWriter(OutputFile& file, int quality) : m_file(file), m_quality(quality) {}

    void Add(const Page& page) override {
        if (page.Width() > LargestSide || page.Height() > LargestSide)
            throw ToolError(ExitLimit,
                            m_file.Name() + ": would have " +
                                SizeText(static_cast<unsigned>(page.Width()), static_cast<unsigned>(page.Height())) +
                                "; a JPEG file ends at 65500 a side. Choose another format with --format.");
        Encoder(m_file).Write(page, m_quality);
    }

private:
    OutputFile& m_file;
    int m_quality;
};

} // namespace

std::unique_ptr<PageWriter> CreateJpeg(OutputFile& file, const WriteOptions& options) {
    return std::make_unique<JpegWriter>(file, options.jpegQuality);
}

} // namespace dibprep::tool

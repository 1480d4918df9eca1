// JPEG files into pages.
#include "tools/exif.h"
#include "tools/jpeg.h"
#include "tools/jpeg_calls.h"
#include "tools/page_orientation.h"
#include "tools/progress.h"
#include "tools/resolution.h"
#include "tools/tool_error.h"

#include <algorithm>
#include <jerror.h>

namespace dibprep::tool {

namespace {

constexpr std::size_t PieceSize = 65536;
// A progressive file of some hundred bytes may ask for thousands of passes over a large picture.
constexpr int MostScans = 100;

[[noreturn]] void OnError(j_common_ptr common) {
    auto* trouble = reinterpret_cast<JpegTrouble*>(common->err);
    char text[JMSG_LENGTH_MAX];
    common->err->format_message(common, text);
    trouble->error = text;
    JumpOut(common);
}

void OnMessage(j_common_ptr common, int level) {
    if (level >= 0)
        return; // traces
    auto* trouble = reinterpret_cast<JpegTrouble*>(common->err);
    ++common->err->num_warnings;
    const int code = common->err->msg_code;
    // Bytes between markers and headers of a later kind cost no pixel; the rest does.
    trouble->damaged = trouble->damaged || (code != JWRN_EXTRANEOUS_DATA && code != JWRN_JFIF_MAJOR &&
                                            code != JWRN_ADOBE_XFORM && code != JWRN_BOGUS_PROGRESSION);
    char text[JMSG_LENGTH_MAX];
    common->err->format_message(common, text);
    // A damaged file repeats itself without end.
    if (trouble->warnings.size() < 20)
        trouble->warnings.emplace_back(text);
}

void OnOutput(j_common_ptr) {}

} // namespace

jpeg_error_mgr* BeginJpeg(JpegTrouble& trouble) {
    jpeg_std_error(&trouble.manager);
    trouble.manager.error_exit = OnError;
    trouble.manager.emit_message = OnMessage;
    trouble.manager.output_message = OnOutput;
    return &trouble.manager;
}

void JumpOut(j_common_ptr common) {
    std::longjmp(reinterpret_cast<JpegTrouble*>(common->err)->jump, 1); // NOLINT(cert-err52-cpp): as TryJpeg
}

namespace {

// One decoder, from the first byte of the file on.
class Decoder {
public:
    explicit Decoder(const InputFile& file) : m_file(file), m_piece(PieceSize) {
        m_info.err = BeginJpeg(m_trouble);
        m_info.client_data = this;
        Call([this] { jpeg_create_decompress(&m_info); });
        m_source.init_source = [](j_decompress_ptr) {};
        m_source.fill_input_buffer = OnFill;
        m_source.skip_input_data = OnSkip;
        m_source.resync_to_restart = jpeg_resync_to_restart;
        m_source.term_source = [](j_decompress_ptr) {};
        m_info.src = &m_source;
        m_progress.progress_monitor = OnProgress;
        m_info.progress = &m_progress;
        try {
            Call([this] {
                jpeg_save_markers(&m_info, JPEG_APP0 + 1, 0xFFFF);
                jpeg_read_header(&m_info, TRUE);
            });
        } catch (...) {
            jpeg_destroy_decompress(&m_info);
            throw;
        }
    }
    ~Decoder() { jpeg_destroy_decompress(&m_info); }
    Decoder(const Decoder&) = delete;
    Decoder& operator=(const Decoder&) = delete;

    jpeg_decompress_struct& info() { return m_info; }
    const std::vector<std::string>& Warnings() const { return m_trouble.warnings; }

    template <class Calls>
    void Call(const Calls& calls) {
        if (!TryJpeg(m_trouble, calls)) {
            if (m_trouble.thrown)
                std::rethrow_exception(m_trouble.thrown);
            if (m_short)
                throw ToolError(ExitBadInput,
                                m_file.Name() +
                                    ": the file ends inside its JPEG data. It was cut short; fetch it again.");
            Damaged(m_trouble.error);
        }
        if (m_trouble.damaged)
            Damaged(m_trouble.warnings.back());
    }

    Exif PhotoData() const {
        for (const jpeg_marker_struct* marker = m_info.marker_list; marker; marker = marker->next)
            if (marker->data_length >= 4 && marker->data[0] == 'E' && marker->data[1] == 'x')
                return ReadExif(marker->data, marker->data_length);
        return {};
    }

private:
    [[noreturn]] void Damaged(const std::string& what) const {
        throw ToolError(ExitBadInput, m_file.Name() + ": its JPEG data are damaged or of a rare kind (" + what + ").");
    }

    static boolean OnFill(j_decompress_ptr info) {
        auto* self = static_cast<Decoder*>(info->client_data);
        auto* const common = reinterpret_cast<j_common_ptr>(info);
        const std::uint64_t left = self->m_file.Size() - self->m_at;
        if (left == 0) {
            self->m_short = true;
            JumpOut(common);
        }
        const auto count = static_cast<std::size_t>(std::min<std::uint64_t>(left, PieceSize));
        GuardJpeg(common, [&] { self->m_file.ReadAt(self->m_at, self->m_piece.data(), count); });
        self->m_at += count;
        self->m_source.next_input_byte = self->m_piece.data();
        self->m_source.bytes_in_buffer = count;
        return TRUE;
    }

    static void OnSkip(j_decompress_ptr info, long bytes) {
        auto* self = static_cast<Decoder*>(info->client_data);
        jpeg_source_mgr& source = self->m_source;
        const auto count = static_cast<std::uint64_t>(std::max(bytes, 0L));
        if (count <= source.bytes_in_buffer) {
            source.next_input_byte += count;
            source.bytes_in_buffer -= static_cast<std::size_t>(count);
            return;
        }
        self->m_at = std::min(self->m_file.Size(), self->m_at + (count - source.bytes_in_buffer));
        source.bytes_in_buffer = 0;
    }

    static void OnProgress(j_common_ptr common) {
        const auto* info = reinterpret_cast<j_decompress_ptr>(common);
        if (info->input_scan_number > MostScans) {
            reinterpret_cast<JpegTrouble*>(common->err)->error =
                "more than " + std::to_string(MostScans) + " passes over the picture";
            JumpOut(common);
        }
        GuardJpeg(common, ThrowIfStopped);
    }

    const InputFile& m_file;
    std::vector<std::uint8_t> m_piece;
    JpegTrouble m_trouble = {};
    jpeg_decompress_struct m_info = {};
    jpeg_source_mgr m_source = {};
    jpeg_progress_mgr m_progress = {};
    std::uint64_t m_at = 0;
    bool m_short = false;
};

struct Resolution {
    std::int32_t x = 0;
    std::int32_t y = 0;
    std::string stored;
};

// The JFIF header comes first; a camera writes the Exif data only.
Resolution ResolutionOf(Decoder& decoder) {
    const jpeg_decompress_struct& info = decoder.info();
    double x = info.X_density;
    double y = info.Y_density;
    bool perCentimetre = info.density_unit == 2;
    if (!info.saw_JFIF_marker || (info.density_unit != 1 && info.density_unit != 2)) {
        const Exif exif = decoder.PhotoData();
        x = exif.x;
        y = exif.y;
        perCentimetre = exif.perCentimetre;
    }
    const auto convert = perCentimetre ? FromDotsPerCentimetre : FromDotsPerInch;
    Resolution resolution = {convert(x), convert(y), ""};
    if (resolution.x > 0 && resolution.y > 0)
        resolution.stored = StoredResolutionText(x, y, perCentimetre);
    return resolution;
}

bool IsFourInks(const jpeg_decompress_struct& info) {
    return info.jpeg_color_space == JCS_CMYK || info.jpeg_color_space == JCS_YCCK;
}

// Four inks to three colours, without profiles: what is left of the light after the ink and the black.
void MixInks(const unsigned char* inks, int width, bool inverted, unsigned char* to) {
    for (int x = 0; x < width; ++x, inks += 4, to += 3) {
        for (int c = 0; c < 3; ++c) {
            const unsigned light = inverted ? inks[c] : 255u - inks[c];
            const unsigned white = inverted ? inks[3] : 255u - inks[3];
            to[2 - c] = static_cast<unsigned char>((light * white + 127) / 255);
        }
    }
}

class JpegPages : public PageReader {
public:
    JpegPages(const InputFile& file, std::uint64_t maxPixels) : m_file(file) {
        Decoder decoder(file);
        CheckDeclaredSize(file.Name(), decoder.info().image_width, decoder.info().image_height, maxPixels);
        m_warnings = decoder.Warnings();
    }

    int PageCount() const override { return 1; }

    PageInfo Describe(int) override {
        Decoder decoder(m_file);
        const jpeg_decompress_struct& info = decoder.info();
        const Exif exif = decoder.PhotoData();
        const bool swaps = SwapsSides(exif.orientation);
        PageInfo page;
        page.width = swaps ? info.image_height : info.image_width;
        page.height = swaps ? info.image_width : info.image_height;
        page.fileBits = 8 * info.num_components;
        page.gray = info.jpeg_color_space == JCS_GRAYSCALE;
        page.pageBits = page.gray ? 8 : 24;
        page.compression = "JPEG compression";
        page.layout = info.progressive_mode ? "progressive" : "sequential";
        if (exif.orientation != 1)
            page.layout += ", orientation " + std::to_string(exif.orientation) + " (applied)";
        page.channels = page.gray ? "gray" : IsFourInks(info) ? "cyan, magenta, yellow, black" : "red, green, blue";
        const Resolution resolution = ResolutionOf(decoder);
        page.xPixelsPerMetre = swaps ? resolution.y : resolution.x;
        page.yPixelsPerMetre = swaps ? resolution.x : resolution.y;
        page.storedResolution = resolution.stored;
        return page;
    }

    Page Read(int) override {
        Decoder decoder(m_file);
        jpeg_decompress_struct& info = decoder.info();
        const bool gray = info.jpeg_color_space == JCS_GRAYSCALE;
        const bool inks = IsFourInks(info);
        info.out_color_space = gray ? JCS_GRAYSCALE : inks ? JCS_CMYK : JCS_EXT_BGR;
        Page page(info.image_width, info.image_height, gray ? 8 : 24);
        // Asked for now: the decoder forgets its markers when it ends.
        const int orientation = decoder.PhotoData().orientation;
        const Resolution resolution = ResolutionOf(decoder);
        page.SetResolution(resolution.x, resolution.y);
        for (unsigned i = 0; gray && i < 256; ++i) {
            const auto level = static_cast<unsigned char>(i);
            page.SetColour(i, {level, level, level, 0});
        }
        decoder.Call([&] { jpeg_start_decompress(&info); });
        std::vector<unsigned char> fourInks(inks ? std::size_t{4} * info.output_width : 0);
        for (int y = 0; y < page.Height(); ++y) {
            ThrowIfStopped();
            JSAMPROW row = inks ? fourInks.data() : page.Row(y);
            decoder.Call([&] { jpeg_read_scanlines(&info, &row, 1); });
            if (inks) // by the one program that writes these, they are the other way round
                MixInks(fourInks.data(), page.Width(), info.saw_Adobe_marker != 0, page.Row(y));
        }
        decoder.Call([&] { jpeg_finish_decompress(&info); });
        m_warnings = decoder.Warnings();
        return Upright(std::move(page), orientation);
    }

private:
    const InputFile& m_file;
};

} // namespace

bool LooksLikeJpeg(const std::vector<std::uint8_t>& head) {
    return head.size() >= 3 && head[0] == 0xFF && head[1] == 0xD8 && head[2] == 0xFF;
}

std::unique_ptr<PageReader> OpenJpeg(const InputFile& file, std::uint64_t maxPixels) {
    return std::make_unique<JpegPages>(file, maxPixels);
}

} // namespace dibprep::tool

// PNM files into pages.
#include "memory/unaligned.h"
#include "tools/page_words.h"
#include "tools/pnm.h"
#include "tools/progress.h"
#include "tools/tool_error.h"

#include <algorithm>
#include <string>

namespace dibprep::tool {

namespace {

constexpr std::size_t PieceSize = 65536;

// The bytes of a file one after the other.
class ByteSource {
public:
    ByteSource(const InputFile& file, std::uint64_t at) : m_file(file), m_next(at) {}

    // The next byte, or -1 at the end.
    int Get() {
        if (m_at == m_piece.size() && !Fill())
            return -1;
        return m_piece[m_at++];
    }
    std::uint64_t Position() const { return m_next - (m_piece.size() - m_at); }

private:
    bool Fill() {
        const std::uint64_t left = m_file.Size() - std::min(m_next, m_file.Size());
        m_piece.resize(static_cast<std::size_t>(std::min<std::uint64_t>(left, PieceSize)));
        m_at = 0;
        if (m_piece.empty())
            return false;
        m_file.ReadAt(m_next, m_piece.data(), m_piece.size());
        m_next += m_piece.size();
        return true;
    }

    const InputFile& m_file;
    std::uint64_t m_next; // of the file, behind the piece
    std::vector<std::uint8_t> m_piece;
    std::size_t m_at = 0;
};

bool IsSpace(int c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

// The first byte behind white space and comments, which reach from # to the end of the line.
int NextToken(ByteSource& source) {
    for (;;) {
        int c = source.Get();
        if (c == '#')
            while (c != '\n' && c != '\r' && c != -1)
                c = source.Get();
        if (!IsSpace(c))
            return c;
    }
}

struct PnmHeader {
    int kind = 0; // 1 to 6, as in the magic number
    std::uint64_t width = 0;
    std::uint64_t height = 0;
    std::uint32_t largest = 1;     // the value of white
    std::uint64_t pixelOffset = 0; // of the first sample

    bool IsRaw() const { return kind >= 4; }
    bool IsBitmap() const { return kind == 1 || kind == 4; }
    int Samples() const { return kind % 3 == 0 ? 3 : 1; }
    bool IsDeep() const { return largest > 255; }
    int PageBits() const { return IsBitmap() ? 1 : IsDeep() ? 48 : Samples() == 1 ? 8 : 24; }
    std::uint64_t RowBytes() const { // raw
        return IsBitmap() ? (width + 7) / 8 : width * static_cast<unsigned>(Samples()) * (IsDeep() ? 2 : 1);
    }
};

class PnmPages : public PageReader {
public:
    PnmPages(const InputFile& file, std::uint64_t maxPixels) : m_file(file), m_maxPixels(maxPixels) {
        std::uint64_t at = 0;
        do {
            m_headers.push_back(ReadHeader(at));
            const PnmHeader& header = m_headers.back();
            if (!header.IsRaw())
                break; // nothing tells where these digits end but reading them
            const std::uint64_t bytes = header.RowBytes() * header.height;
            const std::uint64_t present = file.Size() - header.pixelOffset;
            if (bytes > present)
                Bad("the file ends " + std::to_string(bytes - present) + (bytes - present == 1 ? " byte" : " bytes") +
                    " before the end of its last row. It was cut short; fetch it again.");
            at = header.pixelOffset + bytes;
        } while (FollowedByAnother(at));
    }

    int PageCount() const override { return static_cast<int>(m_headers.size()); }

    PageInfo Describe(int page) override {
        const PnmHeader& header = m_headers[static_cast<std::size_t>(page)];
        PageInfo info;
        info.width = header.width;
        info.height = header.height;
        info.pageBits = header.PageBits();
        info.fileBits = header.IsBitmap() ? 1 : header.Samples() * (header.IsDeep() ? 16 : 8);
        info.compression = "no compression";
        info.layout = header.IsRaw() ? "raw" : "in digits";
        if (!header.IsBitmap() && header.largest != 255 && header.largest != 65535)
            info.layout += ", white is " + std::to_string(header.largest);
        info.gray = header.Samples() == 1;
        info.channels = header.IsBitmap() ? "black and white" : info.gray ? "gray" : "red, green, blue";
        return info;
    }

    Page Read(int index) override {
        const PnmHeader& header = m_headers[static_cast<std::size_t>(index)];
        // Digits take a byte at least, so that a short file cannot ask for much memory.
        const std::uint64_t samples = header.width * header.height * static_cast<unsigned>(header.Samples());
        if (!header.IsRaw() && samples > m_file.Size())
            CutShort();
        Page page(header.width, header.height, header.PageBits());
        if (header.IsBitmap()) {
            page.SetColour(0, {255, 255, 255, 0});
        } else if (header.PageBits() == 8) {
            for (std::uint32_t i = 0; i <= header.largest; ++i)
                page.SetColour(i, Gray(i, header));
            page.SetColours(header.largest + 1);
        }
        ByteSource source(m_file, header.pixelOffset);
        std::vector<std::uint32_t> row(static_cast<std::size_t>(header.width) *
                                       static_cast<unsigned>(header.Samples()));
        for (int y = 0; y < page.Height(); ++y) {
            ThrowIfStopped();
            ReadRow(source, header, row);
            StoreRow(header, row, page.Row(y));
        }
        if (header.IsDeep())
            MakeFullRange(page);
        return page;
    }

private:
    [[noreturn]] void Bad(const std::string& what) const { throw ToolError(ExitBadInput, m_file.Name() + ": " + what); }
    [[noreturn]] void CutShort() const {
        Bad("the file ends before the end of its last row. It was cut short; fetch it again.");
    }

    static tagRGBQUAD Gray(std::uint32_t value, const PnmHeader& header) {
        const auto level = static_cast<unsigned char>((value * 255 + header.largest / 2) / header.largest);
        return {level, level, level, 0};
    }

    bool FollowedByAnother(std::uint64_t at) const {
        std::uint8_t magic[2];
        if (at >= m_file.Size() || m_file.Size() - at < 2)
            return false;
        m_file.ReadAt(at, magic, 2);
        return magic[0] == 'P' && magic[1] >= '4' && magic[1] <= '6';
    }

    PnmHeader ReadHeader(std::uint64_t at) const {
        ByteSource source(m_file, at);
        PnmHeader header;
        source.Get();
        header.kind = source.Get() - '0';
        header.width = HeaderNumber(source);
        header.height = HeaderNumber(source);
        if (!header.IsBitmap())
            header.largest = WhiteOf(HeaderNumber(source));
        header.pixelOffset = source.Position();
        CheckDeclaredSize(m_file.Name(), header.width, header.height, m_maxPixels);
        return header;
    }

    std::uint32_t WhiteOf(std::uint64_t largest) const {
        if (largest < 1 || largest > 65535)
            Bad("it declares " + std::to_string(largest) +
                " as the value of white; known are 1 to 65535. The file is damaged.");
        return static_cast<std::uint32_t>(largest);
    }

    // A number with the one white space, or the comment, behind it.
    std::uint64_t HeaderNumber(ByteSource& source) const {
        std::uint64_t value = 0;
        int c = NextToken(source);
        bool good = c >= '0' && c <= '9';
        for (int digits = 0; c >= '0' && c <= '9' && digits < 10; c = source.Get(), ++digits)
            value = value * 10 + static_cast<unsigned>(c - '0');
        if (c == -1)
            Bad("the file ends inside its header. It was cut short; fetch it again.");
        good = good && (IsSpace(c) || c == '#');
        if (!good)
            Bad("its header has something else where a number belongs. The file is damaged.");
        if (c == '#')
            while (c != '\n' && c != '\r' && c != -1)
                c = source.Get();
        return value;
    }

    void ReadRow(ByteSource& source, const PnmHeader& header, std::vector<std::uint32_t>& row) const {
        if (header.kind == 4) {
            int byte = 0;
            for (std::size_t x = 0; x < row.size(); ++x) {
                if (x % 8 == 0)
                    byte = NextByte(source);
                row[x] = static_cast<unsigned>(byte) >> (7 - x % 8) & 1;
            }
            return;
        }
        for (std::uint32_t& sample : row) {
            if (header.IsRaw()) {
                sample = static_cast<unsigned>(NextByte(source));
                if (header.IsDeep())
                    sample = sample << 8 | static_cast<unsigned>(NextByte(source));
            } else {
                sample = NextDigits(source, header);
            }
            if (sample > header.largest)
                Bad("it holds the sample " + std::to_string(sample) + ", beyond its value of white, " +
                    std::to_string(header.largest) + ". The file is damaged.");
        }
    }

    int NextByte(ByteSource& source) const {
        const int byte = source.Get();
        if (byte < 0)
            CutShort();
        return byte;
    }

    std::uint32_t NextDigits(ByteSource& source, const PnmHeader& header) const {
        int c = NextToken(source);
        if (c == -1)
            CutShort();
        if (c < '0' || c > '9')
            Bad("it holds something else where a sample belongs. The file is damaged.");
        std::uint32_t value = static_cast<unsigned>(c - '0');
        if (header.IsBitmap()) // these need no space between them
            return value;
        for (int digits = 1; (c = source.Get()) >= '0' && c <= '9' && digits < 6; ++digits)
            value = value * 10 + static_cast<unsigned>(c - '0');
        return value;
    }

    static void StoreRow(const PnmHeader& header, const std::vector<std::uint32_t>& row, unsigned char* to) {
        const std::uint32_t largest = header.largest;
        if (header.IsBitmap()) {
            for (std::size_t x = 0; x < row.size(); ++x)
                to[x / 8] = static_cast<unsigned char>(to[x / 8] | row[x] << (7 - x % 8));
        } else if (header.PageBits() == 8) {
            std::copy(row.begin(), row.end(), to);
        } else {
            for (std::size_t x = 0; x < static_cast<std::size_t>(header.width); ++x) {
                for (std::size_t c = 0; c < 3; ++c) { // blue, green, red
                    const std::uint32_t sample = header.Samples() == 1 ? row[x] : row[3 * x + 2 - c];
                    if (header.IsDeep())
                        StoreU16(to + 6 * x + 2 * c,
                                 static_cast<std::uint16_t>((sample * 65535 + largest / 2) / largest));
                    else
                        to[3 * x + c] = static_cast<unsigned char>((sample * 255 + largest / 2) / largest);
                }
            }
        }
    }

    const InputFile& m_file;
    std::uint64_t m_maxPixels;
    std::vector<PnmHeader> m_headers;
};

} // namespace

bool LooksLikePnm(const std::vector<std::uint8_t>& head) {
    return head.size() >= 3 && head[0] == 'P' && head[1] >= '1' && head[1] <= '6' &&
           (IsSpace(head[2]) || head[2] == '#');
}

std::unique_ptr<PageReader> OpenPnm(const InputFile& file, std::uint64_t maxPixels) {
    return std::make_unique<PnmPages>(file, maxPixels);
}

} // namespace dibprep::tool

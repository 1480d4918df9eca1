// Run-length data of BMP files, RLE8 and RLE4, expanded completely: deltas, runs of any length, streams
// that end anywhere. The library's own expansion serves hosts that check their streams themselves.
#include "tools/bmp_reader.h"

namespace dibprep::tool {

namespace {

// Codes behind a first byte of 0; from 3 on that many literal pixels follow.
constexpr unsigned EndOfLine = 0;
constexpr unsigned EndOfBitmap = 1;
constexpr unsigned Delta = 2;

class Expander {
public:
    Expander(const std::uint8_t* stream, std::size_t size, Page& page)
        : m_stream(stream), m_size(size), m_page(page), m_fourBits(page.Bits() == 4) {}

    bool Run() {
        while (m_y < m_page.Height()) {
            if (m_size - m_at < 2)
                return IsComplete();
            const unsigned count = m_stream[m_at];
            const unsigned value = m_stream[m_at + 1];
            m_at += 2;
            if (count > 0)
                Repeat(count, value);
            else if (value == EndOfBitmap)
                return true;
            else if (value == EndOfLine)
                Move(0, 1);
            else if (value == Delta ? !Step() : !Literal(value))
                return IsComplete();
        }
        return true;
    }

private:
    // The last code of a picture is often missing; then the last row must be there.
    bool IsComplete() const { return m_y == m_page.Height() - 1 && m_x >= m_page.Width(); }

    void Put(unsigned index) {
        if (m_x < m_page.Width()) {
            unsigned char* row = m_page.StoredRow(m_y);
            if (m_fourBits) {
                const int shift = m_x % 2 == 0 ? 4 : 0;
                unsigned char& byte = row[m_x / 2];
                byte = static_cast<unsigned char>((byte & (0xF0 >> shift)) | index << shift);
            } else {
                row[m_x] = static_cast<unsigned char>(index);
            }
            ++m_x;
        }
    }

    // Of a pair of nibbles the high one comes first.
    static unsigned Nibble(unsigned byte, unsigned i) { return i % 2 == 0 ? byte >> 4 : byte & 15; }

    void Repeat(unsigned count, unsigned value) {
        for (unsigned i = 0; i < count; ++i)
            Put(m_fourBits ? Nibble(value, i) : value);
    }

    // The row never passes the height, so that no number of steps can wrap it.
    void Move(int x, int up) {
        m_x = x < m_page.Width() ? x : m_page.Width();
        m_y = up < m_page.Height() - m_y ? m_y + up : m_page.Height();
    }

    bool Step() {
        if (m_size - m_at < 2)
            return false;
        const int right = m_stream[m_at];
        const int up = m_stream[m_at + 1];
        m_at += 2;
        Move(m_x + right, up);
        return true;
    }

    bool Literal(unsigned count) {
        const std::size_t bytes = m_fourBits ? (count + 1) / 2 : count;
        const std::size_t present = m_size - m_at;
        if (present < bytes)
            return false;
        for (unsigned i = 0; i < count; ++i)
            Put(m_fourBits ? Nibble(m_stream[m_at + i / 2], i) : m_stream[m_at + i]);
        m_at += bytes;
        if (bytes % 2 != 0 && m_at < m_size)
            ++m_at;
        return true;
    }

    const std::uint8_t* m_stream;
    std::size_t m_size;
    Page& m_page;
    bool m_fourBits;
    std::size_t m_at = 0;
    int m_x = 0;
    int m_y = 0; // from the bottom
};

} // namespace

bool ExpandRunLengths(const std::uint8_t* stream, std::size_t size, Page& page) {
    return Expander(stream, size, page).Run();
}

} // namespace dibprep::tool

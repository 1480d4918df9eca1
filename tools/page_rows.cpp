// The rows of a page as most file formats hold them.
#include "tools/page_rows.h"

#include "tools/page_convert.h"
#include "tools/page_words.h"
#include "tools/progress.h"

#include <algorithm>

namespace dibprep::tool {

namespace {

bool Is(tagRGBQUAD colour, unsigned level) {
    return colour.rgbBlue == level && colour.rgbGreen == level && colour.rgbRed == level;
}

// Entry i is the gray i of 0 to the largest index.
bool IsGrayRamp(const Page& page) {
    const unsigned entries = FullTable(page.Bits());
    for (unsigned i = 0; i < entries; ++i)
        if (!Is(page.Colour(i), i * 255 / (entries - 1)))
            return false;
    return page.Colours() == entries;
}

unsigned HighestIndex(const Page& page) {
    unsigned highest = 0;
    for (int y = 0; y < page.Height(); ++y)
        for (int x = 0; x < page.Width(); ++x)
            highest = std::max(highest, page.IndexAt(page.StoredRow(y), x));
    return highest;
}

// Pages of 48 bits hold the samples of gray ones three times.
bool AllGray(const Page& page) {
    for (int y = 0; y < page.Height(); ++y) {
        const unsigned char* pixel = page.StoredRow(y);
        for (int x = 0; x < page.Width(); ++x, pixel += 6)
            if (!std::equal(pixel, pixel + 2, pixel + 2) || !std::equal(pixel, pixel + 2, pixel + 4))
                return false;
    }
    return true;
}

unsigned char ToByte(std::uint32_t sample) { return static_cast<unsigned char>((sample * 255 + 32767) / 65535); }

} // namespace

PageRows::PageRows(const Page& page, const RowLimits& limits) : m_page(&page) {
    if (page.Bits() == 16 && page.Masks().alpha == 0)
        m_own = TrueColourCopy(page);
    else if (page.Bits() == 16 || (page.Bits() == 32 && !HasPlainLayout(page)))
        m_own = Plain32Copy(page);
    if (m_own)
        m_page = &*m_own;
    Classify(limits);
    const std::size_t bits = static_cast<std::size_t>(m_page->Width()) * static_cast<unsigned>(m_samples * m_bits);
    m_row.resize((bits + 7) / 8);
}

void PageRows::Classify(const RowLimits& limits) {
    const int bits = m_page->Bits();
    if (bits <= 8) {
        ClassifyTable(limits);
        return;
    }
    const bool alpha = m_page->HasAlpha();
    m_samples = alpha && limits.alpha ? 4 : 3;
    m_onWhite = alpha && !limits.alpha;
    m_bits = bits >= 48 && limits.sixteenBits ? 16 : 8;
    if (bits == 48 && AllGray(*m_page)) {
        m_kind = RowKind::Gray;
        m_samples = 1;
    }
}

void PageRows::ClassifyTable(const RowLimits& limits) {
    const Page& page = *m_page;
    m_samples = 1;
    m_bits = page.Bits();
    m_invert = m_bits == 1 && Is(page.Colour(0), 255) && Is(page.Colour(1), 0);
    if (m_bits == 1 && limits.blackAndWhite && (m_invert || IsGrayRamp(page))) {
        m_kind = RowKind::BlackAndWhite;
        return;
    }
    if ((m_bits == 8 || (m_bits == 4 && limits.tables)) && IsGrayRamp(page)) {
        m_kind = RowKind::Gray;
        return;
    }
    if (limits.tables) {
        m_kind = RowKind::Table;
        // Indices behind a short table stand for black: the table reaches as far as they do.
        m_colours = std::max(1u, page.Colours());
        if (m_colours < FullTable(m_bits))
            m_colours = std::max(m_colours, HighestIndex(page) + 1);
        return;
    }
    m_lookUp = true;
    m_bits = 8;
    m_kind = page.IsGray() ? RowKind::Gray : RowKind::Colour;
    m_samples = m_kind == RowKind::Gray ? 1 : 3;
}

const std::vector<unsigned char>& PageRows::Row(int y) {
    ThrowIfStopped();
    const unsigned char* from = m_page->Row(y);
    if (m_lookUp)
        LookUp(from);
    else if (m_page->Bits() <= 8)
        CopyPacked(from);
    else if (m_page->Bits() <= 32)
        CopyBytes(from);
    else
        CopyWords(from);
    return m_row;
}

void PageRows::CopyPacked(const unsigned char* from) {
    const bool invert = m_kind == RowKind::BlackAndWhite && m_invert;
    for (std::size_t i = 0; i < m_row.size(); ++i)
        m_row[i] = static_cast<unsigned char>(invert ? ~from[i] : from[i]);
    const auto used =
        static_cast<unsigned>(static_cast<std::uint64_t>(m_page->Width()) * static_cast<unsigned>(m_bits) % 8);
    if (used != 0)
        m_row.back() = static_cast<unsigned char>(m_row.back() & (0xFF00 >> used));
}

void PageRows::LookUp(const unsigned char* from) {
    unsigned char* to = m_row.data();
    for (int x = 0; x < m_page->Width(); ++x) {
        const tagRGBQUAD colour = m_page->Colour(m_page->IndexAt(from, x));
        *to++ = colour.rgbRed;
        if (m_samples == 3) {
            *to++ = colour.rgbGreen;
            *to++ = colour.rgbBlue;
        }
    }
}

void PageRows::CopyBytes(const unsigned char* from) {
    const int step = m_page->Bits() / 8;
    unsigned char* to = m_row.data();
    for (int x = 0; x < m_page->Width(); ++x, from += step, to += m_samples) {
        for (int c = 0; c < 3; ++c)
            to[c] = m_onWhite ? static_cast<unsigned char>(OverWhite(from[2 - c], from[3], 255)) : from[2 - c];
        if (m_samples == 4)
            to[3] = from[3];
    }
}

void PageRows::CopyWords(const unsigned char* from) {
    const int step = m_page->Bits() / 8;
    unsigned char* to = m_row.data();
    for (int x = 0; x < m_page->Width(); ++x, from += step) {
        for (int c = 0; c < m_samples; ++c) {
            const int channel = m_samples == 1 || c == 3 ? c : 2 - c;
            std::uint32_t sample = SampleAt(*m_page, from, channel);
            if (m_onWhite)
                sample = OverWhite(sample, SampleAt(*m_page, from, 3), 65535);
            if (m_bits == 16)
                *to++ = static_cast<unsigned char>(sample >> 8);
            *to++ = m_bits == 16 ? static_cast<unsigned char>(sample & 255) : ToByte(sample);
        }
    }
}

} // namespace dibprep::tool

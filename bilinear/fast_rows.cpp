// The walk of the rows through the stages.
#include "bilinear/fast_rows.h"
#include "memory/unaligned.h"

#include <algorithm>
#include <cstring>

namespace dibprep {
namespace {

// Limits that can act on a mix of bytes are left to the scalar kernel.
bool LimitsAct(int channels) {
    return COLOR_MAX_VALUE < 255 || (channels == 4 && (WHITE_POINT_VALUE < 255 || BLACK_POINT_VALUE > 0));
}

// `bytes` bytes of pixels of three.
void FillWithColour(unsigned char* out, std::int64_t bytes, std::uint32_t colour) {
    const std::uint32_t channel = colour & 0xFF;
    if (colour == channel * 0x010101) {
        std::memset(out, static_cast<int>(channel), static_cast<std::size_t>(bytes));
        return;
    }
    // What is written is copied behind itself, twice as much each time.
    std::int64_t done = std::min<std::int64_t>(bytes, 3);
    for (std::int64_t i = 0; i < done; ++i)
        out[i] = static_cast<unsigned char>(colour >> i * 8);
    while (done < bytes) {
        const std::int64_t more = std::min(done, bytes - done);
        std::memcpy(out + done, out, static_cast<std::size_t>(more));
        done += more;
    }
}

} // namespace

bool FastRows::Make(const RowTask& task) {
    if (!m_active || LimitsAct(m_source.nBitCount == 32 ? 4 : 3))
        return false;
    if (!m_keep) {
        m_mixed[0].row = m_mixed[1].row = nullptr;
        if (m_feed == Feed::Colours)
            ReadTable(task);
    }
    // Without a weight the lower row is not looked at.
    const unsigned char* const lower = task.fy != 0 ? task.lower : task.upper;
    if (m_byBlocks) {
        MakeByBlocks(task, lower);
        return true;
    }
    const std::int32_t* const mixedUpper = Mixed(task.upper, lower);
    const std::int32_t* const mixedLower = Mixed(lower, task.upper);
    m_table.down[m_layout.storing](mixedUpper, mixedLower, task.fy, task.out, std::int64_t{m_count} * task.outStep);
    return true;
}

// Rows are read at falling addresses: two further on is soon, and not yet on its way.
std::uintptr_t FastRows::Ahead(const unsigned char* row) const {
    return reinterpret_cast<std::uintptr_t>(row) - 2 * static_cast<std::uintptr_t>(m_source.nLineBytes);
}

// The mixed row of a source row, in the place that does not hold the other one.
const std::int32_t* FastRows::Mixed(const unsigned char* row, const unsigned char* other) {
    for (const MixedRow& kept : m_mixed)
        if (kept.row == row)
            return kept.mixed;
    MixedRow& place = m_mixed[0].row == other ? m_mixed[1] : m_mixed[0];
    place.row = row;
    const unsigned char* const fed = FeedRow(row);
    m_across(m_plan, fed, place.mixed, fed == row ? Ahead(row) : reinterpret_cast<std::uintptr_t>(fed));
    return place.mixed;
}

// ---- pictures with a colour table, by blocks --------------------------------------------------

// The colour of a byte whose pixels are all the same: that of its lowest pixel.
std::uint32_t FastRows::ColourOf(int flatByte) const { return m_colours[flatByte & m_source.byMask]; }

// Blocks of one colour in both rows are that colour; stretches of others go through the stages.
void FastRows::MakeByBlocks(const RowTask& task, const unsigned char* lower) {
    const int upperPlace = BlocksOf(task.upper, lower);
    const int lowerPlace = BlocksOf(lower, task.upper);
    const std::int16_t* const upperKinds = m_blocks.Kinds(upperPlace);
    const std::int16_t* const lowerKinds = m_blocks.Kinds(lowerPlace);
    const std::int64_t bytes = std::int64_t{m_count} * task.outStep;
    constexpr std::int64_t blockBytes = PixelsPerBlock * 3;
    const int count = m_blocks.Count();
    const auto isFlat = [&](int i) { return upperKinds[i] >= 0 && upperKinds[i] == lowerKinds[i]; };
    for (int begin = 0, end = 0; begin < count; begin = end) {
        const bool flat = isFlat(begin);
        const std::int16_t kind = upperKinds[begin];
        do
            ++end;
        while (end < count && isFlat(end) == flat && (!flat || upperKinds[end] == kind));
        unsigned char* const out = task.out + begin * blockBytes;
        const std::int64_t made = std::min(end * blockBytes, bytes) - begin * blockBytes;
        if (flat) {
            FillWithColour(out, made, ColourOf(kind));
        } else {
            FillBlocks(upperPlace, begin, end);
            FillBlocks(lowerPlace, begin, end);
            const std::ptrdiff_t slot = std::ptrdiff_t{begin} * SlotsPerStep;
            m_table.down[m_layout.storing](m_mixed[upperPlace].mixed + slot, m_mixed[lowerPlace].mixed + slot, task.fy,
                                           out, made);
        }
    }
}

// The place that holds the blocks of a source row, and the mixed row of those of several colours.
int FastRows::BlocksOf(const unsigned char* row, const unsigned char* other) {
    for (int place = 0; place < 2; ++place)
        if (m_mixed[place].row == row)
            return place;
    const int place = m_mixed[0].row == other ? 1 : 0;
    m_mixed[place].row = row;
    m_blocks.Look(m_table.flat, row, place, Ahead(row));
    const std::int16_t* const kinds = m_blocks.Kinds(place);
    const int count = m_blocks.Count();
    for (int begin = 0, end = 0; begin < count; begin = end) {
        for (end = begin; end < count && kinds[end] == FlatBlocks::Mixed;)
            ++end;
        if (end == begin)
            ++end;
        else
            MixBlocks(row, place, begin, end);
    }
    return place;
}

void FastRows::MixBlocks(const unsigned char* row, int place, int begin, int end) {
    FeedColours(row, m_blocks.Begin(begin), m_blocks.End(end - 1));
    AcrossPlan part = m_plan;
    if (part.windows != 0) {
        const std::ptrdiff_t skipped = std::ptrdiff_t{begin} * WindowsPerStep;
        part.windows = (end - begin) * WindowsPerStep;
        part.base += skipped; // rows by blocks have no halves
        part.picks += skipped * WindowBytes;
        part.coarse += skipped * WindowBytes;
        part.fine += skipped * WindowBytes;
    } else {
        part.pixels = (end - begin) * PixelsPerBlock;
        part.columns += std::ptrdiff_t{begin} * PixelsPerBlock;
    }
    m_across(part, m_fed, m_mixed[place].mixed + std::ptrdiff_t{begin} * SlotsPerStep,
             reinterpret_cast<std::uintptr_t>(m_fed));
}

// The mixed row where a block of one colour stands beside one of several: p is 64 times the channel,
// and no q.
void FastRows::FillBlocks(int place, int begin, int end) {
    const std::int16_t* const kinds = m_blocks.Kinds(place);
    for (int i = begin; i < end; ++i) {
        if (kinds[i] == FlatBlocks::Mixed)
            continue;
        const std::uint32_t colour = ColourOf(kinds[i]);
        std::int32_t* const mixed = m_mixed[place].mixed + std::ptrdiff_t{i} * SlotsPerStep;
        const std::uint32_t pixel[4] = {(colour & 0xFF) << 22, (colour >> 8 & 0xFF) << 22, (colour >> 16) << 22, 0};
        for (int slot = 0; slot < SlotsPerStep; slot += 4)
            std::memcpy(mixed + slot, pixel, sizeof pixel);
    }
}

// ---- feeding ----------------------------------------------------------------------------------

const unsigned char* FastRows::FeedRow(const unsigned char* row) {
    if (m_layout.sampled)
        FeedSampled(row);
    else if (m_feed != Feed::Source)
        FeedWhole(row);
    else
        return row;
    return m_fed;
}

void FastRows::FeedWhole(const unsigned char* row) {
    const auto pixels = reinterpret_cast<std::uint32_t*>(m_fed);
    const int width = m_source.nWidth;
    if (m_feed == Feed::Widened) {
        m_table.widen(row, width, pixels);
    } else if (m_feed == Feed::Levels) {
        m_table.levels(row, width, m_levels, m_fed);
    } else {
        FeedColours(row, 0, width);
    }
}

// The pixels from `begin` to before `end`, each in its place.
void FastRows::FeedColours(const unsigned char* row, int begin, int end) {
    if (m_source.nBitCount == 8)
        m_table.colour(row + begin, end - begin, m_colours, reinterpret_cast<std::uint32_t*>(m_fed) + begin);
    else
        FeedPacked(row, begin / m_source.nPixelsPerByte, (end - 1) / m_source.nPixelsPerByte + 1);
}

// Whole bytes: behind the last pixel there is room for the others of its byte.
void FastRows::FeedPacked(const unsigned char* row, int begin, int end) {
    unsigned char* at = m_fed + std::int64_t{begin} * m_source.nPixelsPerByte * 4;
    if (m_source.nBitCount == 4) {
        for (int i = begin; i < end; ++i, at += 8)
            std::memcpy(at, &m_groups[row[i] * 2], 8);
    } else {
        for (int i = begin; i < end; ++i, at += 32) {
            std::memcpy(at, &m_groups[(row[i] >> 4) * 4], 16);
            std::memcpy(at + 16, &m_groups[(row[i] & 15) * 4], 16);
        }
    }
}

// Both samples of every output pixel, one after the other.
void FastRows::FeedSampled(const unsigned char* row) {
    const auto each = [this](auto pixel) {
        unsigned char* at = m_fed;
        for (int k = 0; k < m_count; ++k) {
            pixel(at, m_columns[k].nOffset0);
            at += m_layout.pixelBytes;
            pixel(at, m_columns[k].nOffset1);
            at += m_layout.pixelBytes;
        }
    };
    const auto colour = [this](unsigned char* at, unsigned index) { StoreU32(at, m_colours[index]); };
    if (m_feed == Feed::Widened) {
        each([&](unsigned char* at, int offset) {
            std::uint32_t pixel;
            m_table.widen(row + offset, 1, &pixel);
            StoreU32(at, pixel);
        });
    } else if (m_feed == Feed::Levels) {
        each([&](unsigned char* at, int offset) { *at = m_levels[row[offset]]; });
    } else if (m_feed == Feed::Colours && m_source.nBitCount == 8) {
        each([&](unsigned char* at, int x) { colour(at, row[x]); });
    } else if (m_feed == Feed::Colours && m_source.nBitCount == 4) {
        each([&](unsigned char* at, int x) { colour(at, row[x >> 1] >> (x & 1 ? 0 : 4) & 0xF); });
    } else if (m_feed == Feed::Colours) {
        each([&](unsigned char* at, int x) { colour(at, row[x >> 3] >> (7 - (x & 7)) & 1); });
    } else if (m_layout.pixelBytes == 1) {
        each([&](unsigned char* at, int offset) { *at = row[offset]; });
    } else if (m_layout.pixelBytes == 3) {
        each([&](unsigned char* at, int offset) { std::memcpy(at, row + offset, 3); });
    } else {
        each([&](unsigned char* at, int offset) { std::memcpy(at, row + offset, 4); });
    }
}

} // namespace dibprep

// The plan of a call, and the walk of its rows through the stages.
#include "bilinear/fast_rows.h"
#include "memory/unaligned.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <new>

namespace dibprep {
namespace {

constexpr std::size_t ScratchAlignment = 64;
// Behind a made row: what a stage may read there.
constexpr std::int64_t FeedPadding = 32;

std::int64_t RoundedUp(std::int64_t value, std::int64_t unit) { return (value + unit - 1) / unit * unit; }

// Limits that can act on a mix of bytes are left to the scalar kernel.
bool LimitsAct(int channels) {
    return COLOR_MAX_VALUE < 255 || (channels == 4 && (WHITE_POINT_VALUE < 255 || BLACK_POINT_VALUE > 0));
}

// At the right edge the neighbour is the column itself, which then has all the weight.
int FractionOf(const _tagCOORDENTRY& column) { return column.nOffset1 == column.nOffset0 ? 0 : column.nFraction; }

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

FastRows::FastRows(const RowTable& table, const RowTask& task, bool keep)
    : m_table(table), m_source(*task.source), m_columns(task.columns), m_count(task.count), m_keep(keep) {
    m_active = Prepare(task);
    m_byBlocks = m_active && m_feed == Feed::Colours && !m_layout.sampled && table.flat && m_blocks.Plan(task);
}

// The columns of any clip within its frame lie inside the source. A caller of the kernels may have
// given others.
bool FastRows::ColumnsAreInside(const RowTask& task) const {
    const int unit = std::max(m_source.nBitCount >> 3, 1);
    if (m_source.nWidth < 1 || m_source.nLineBytes < (std::int64_t{m_source.nWidth} * m_source.nBitCount + 7) / 8)
        return false;
    const std::int64_t last = (std::int64_t{m_source.nWidth} - 1) * unit;
    int before = 0;
    for (int k = 0; k < m_count; ++k) {
        const _tagCOORDENTRY& column = task.columns[k];
        if (column.nOffset0 < before || column.nOffset0 > last || column.nOffset1 > last ||
            (column.nOffset1 != column.nOffset0 && column.nOffset1 != column.nOffset0 + unit))
            return false;
        before = column.nOffset0;
    }
    return true;
}

// Reads the colour table; true where it holds nothing but grays.
bool FastRows::ReadTable(const RowTask& task) {
    const std::uint32_t used = 1u << m_source.nBitCount;
    bool gray = true;
    for (std::uint32_t i = 0; i < used; ++i) {
        const std::uint32_t colour =
            i < task.table.readable ? LoadU32(task.table.entries + i * sizeof(tagRGBQUAD)) & 0xFFFFFF : 0;
        gray = gray && colour == (colour & 0xFF) * 0x010101;
        m_colours[i] = colour;
        m_levels[i] = static_cast<unsigned char>(colour);
    }
    // The leftmost pixel is in the most significant bits.
    if (m_source.nBitCount == 4)
        for (std::uint32_t i = 0; i < 512; ++i)
            m_groups[i] = m_colours[i >> (i & 1 ? 1 : 5) & 0xF];
    else if (m_source.nBitCount == 1)
        for (std::uint32_t i = 0; i < 64; ++i)
            m_groups[i] = m_colours[i >> 2 >> (3 - (i & 3)) & 1];
    return gray;
}

bool FastRows::Prepare(const RowTask& task) {
    // Output pixels have the place that their format needs, unless the caller made the record.
    if (!m_table.acrossPixels || m_count < 1 || task.outStep != (m_source.nBitCount == 32 ? 4 : 3) ||
        !ColumnsAreInside(task))
        return false;
    const std::int64_t width = m_source.nWidth;
    switch (m_source.nBitCount) {
    case 1:
    case 4:
    case 8:
        m_feed = Feed::Colours;
        // A callback may bring colours into a gray table.
        if (ReadTable(task) && m_keep && m_source.nBitCount == 8 && m_table.down[StoreThrice]) {
            bool identity = true;
            for (std::uint32_t i = 0; i < 256; ++i)
                identity = identity && m_levels[i] == i;
            m_feed = identity ? Feed::Source : Feed::Levels;
            return Arrange(task, {1, 1, false, identity ? m_source.nLineBytes : width + FeedPadding, StoreThrice});
        }
        return Arrange(task, {4, 4, false, width * 4 + FeedPadding, StoreThreeOfFour});
    case 16:
        m_feed = Feed::Widened;
        return Arrange(task, {4, 4, false, width * 4 + FeedPadding, StoreThreeOfFour});
    case 24:
        return Arrange(task, {3, 3, false, m_source.nLineBytes, StoreAll});
    case 32:
        return Arrange(task, {4, 4, false, m_source.nLineBytes, StoreAll});
    default:
        return false;
    }
}

// Finds the densest layout whose windows hold their samples, and fills its plan. Up to about 1.3
// source pixels per output pixel 24-bit slots stand without gaps; up to three, four slots make a
// pixel; beyond (with other depths, beyond two), and for rows that are shorter than a window, the
// samples are collected first.
bool FastRows::Arrange(const RowTask& task, const Layout& wanted) {
    const bool windows = m_table.acrossWindows != nullptr;
    Layout layout = wanted;
    if (!windows && layout.slotsPerPixel == 3) {
        layout.slotsPerPixel = 4;
        layout.storing = StoreThreeOfFour;
    }
    // Room for either layout.
    const std::int64_t slots = RoundedUp(std::int64_t{m_count} * std::max(layout.slotsPerPixel, layout.storing ==
                                                                          StoreThrice ? 1 : 4), SlotsPerStep);
    const std::int64_t sampledBytes = std::int64_t{m_count} * 2 * layout.pixelBytes + FeedPadding;
    const std::int64_t fed = RoundedUp(std::max(layout.rowBytes, sampledBytes), ScratchAlignment);
    const std::int64_t mixed = RoundedUp(slots * 4, ScratchAlignment);
    const std::int64_t planned = slots / SlotsPerWindow;
    const std::int64_t picks = planned * WindowBytes;
    const std::int64_t bases = windows ? RoundedUp(planned * 4, ScratchAlignment) : 0;
    const std::int64_t plan = windows ? bases + 3 * RoundedUp(picks, ScratchAlignment)
                                      : RoundedUp(slots / 4 * std::int64_t{sizeof(PixelColumn)}, ScratchAlignment);
    const std::int64_t bytes = ScratchAlignment + fed + 2 * mixed + plan;
    if (bytes > std::numeric_limits<std::int32_t>::max())
        return false;
    m_scratch.reset(new (std::nothrow) unsigned char[static_cast<std::size_t>(bytes)]);
    if (!m_scratch)
        return false;
    const std::uintptr_t start = reinterpret_cast<std::uintptr_t>(m_scratch.get());
    unsigned char* at = m_scratch.get() + (ScratchAlignment - start % ScratchAlignment) % ScratchAlignment;
    const auto take = [&at](std::int64_t size) {
        unsigned char* const taken = at;
        at += RoundedUp(size, ScratchAlignment);
        return taken;
    };
    m_fed = take(fed);
    m_mixed[0].mixed = reinterpret_cast<std::int32_t*>(take(mixed));
    m_mixed[1].mixed = reinterpret_cast<std::int32_t*>(take(mixed));
    unsigned char* const planAt = at;

    const auto fits = [&] {
        m_layout = layout;
        at = planAt;
        m_plan = {};
        m_plan.pixelBytes = layout.pixelBytes;
        if (!windows) {
            if (layout.rowBytes < 8)
                return false;
            m_plan.columns = reinterpret_cast<PixelColumn*>(take(plan));
            FillPixels(task, layout);
            m_across = m_table.acrossPixels;
            return true;
        }
        m_plan.base = reinterpret_cast<std::int32_t*>(take(bases));
        m_plan.picks = take(picks);
        m_plan.coarse = reinterpret_cast<std::int8_t*>(take(picks));
        m_plan.fine = reinterpret_cast<std::int8_t*>(take(picks));
        m_across = m_table.acrossWindows;
        return layout.rowBytes >= WindowBytes && FillWindows(task, layout);
    };
    if (fits())
        return true;
    if (layout.slotsPerPixel == 3) {
        layout.slotsPerPixel = 4;
        layout.storing = StoreThreeOfFour;
        if (fits())
            return true;
    }
    layout.sampled = true;
    layout.rowBytes = sampledBytes;
    return fits();
}

// The left sample of output pixel k in the row that the across stage reads.
std::int64_t FastRows::OffsetOf(const _tagCOORDENTRY& column, int k, const Layout& layout) const {
    if (layout.sampled)
        return std::int64_t{k} * 2 * layout.pixelBytes;
    return std::int64_t{column.nOffset0} / std::max(m_source.nBitCount >> 3, 1) * layout.pixelBytes;
}

bool FastRows::FillWindows(const RowTask& task, const Layout& layout) {
    const std::int64_t slots = std::int64_t{m_count} * layout.slotsPerPixel;
    m_plan.windows = static_cast<int>(RoundedUp(slots, SlotsPerStep) / SlotsPerWindow);
    std::int32_t* base = m_plan.base;
    std::uint8_t* picks = m_plan.picks;
    std::int8_t* coarse = m_plan.coarse;
    std::int8_t* fine = m_plan.fine;
    int pixel = 0;
    int channel = 0;
    for (int w = 0; w < m_plan.windows; ++w) {
        // The last windows move back into the row.
        const std::int64_t first = OffsetOf(task.columns[std::min(pixel, m_count - 1)], pixel, layout);
        const std::int64_t start = std::min(first, layout.rowBytes - WindowBytes);
        *base++ = static_cast<std::int32_t>(start);
        for (int slot = 0; slot < SlotsPerWindow; ++slot, picks += 2, coarse += 2, fine += 2) {
            picks[0] = picks[1] = 0x80;
            coarse[0] = coarse[1] = fine[0] = fine[1] = 0;
            if (pixel < m_count && channel < layout.pixelBytes) {
                const _tagCOORDENTRY& column = task.columns[pixel];
                const int fx = FractionOf(column);
                const std::int64_t left = OffsetOf(column, pixel, layout) + channel - start;
                const std::int64_t right = fx != 0 ? left + layout.pixelBytes : left;
                if (right >= WindowBytes)
                    return false;
                picks[0] = static_cast<std::uint8_t>(left);
                picks[1] = static_cast<std::uint8_t>(right);
                coarse[0] = static_cast<std::int8_t>(64 - (fx >> 4));
                coarse[1] = static_cast<std::int8_t>(fx >> 4);
                fine[0] = static_cast<std::int8_t>(-(fx & 15));
                fine[1] = static_cast<std::int8_t>(fx & 15);
            }
            if (++channel == layout.slotsPerPixel) {
                channel = 0;
                ++pixel;
            }
        }
    }
    return true;
}

void FastRows::FillPixels(const RowTask& task, const Layout& layout) {
    m_plan.pixels = static_cast<int>(RoundedUp(m_count, SlotsPerStep / 4));
    PixelColumn* planned = m_plan.columns;
    for (int k = 0; k < m_plan.pixels; ++k, ++planned) {
        *planned = {};
        if (k >= m_count)
            continue;
        const int fx = FractionOf(task.columns[k]);
        const std::int64_t left = OffsetOf(task.columns[k], k, layout);
        // The last eight bytes move back into the row.
        const std::int64_t offset = std::min<std::int64_t>(left, layout.rowBytes - 8);
        planned->offset = static_cast<std::int32_t>(offset);
        planned->shift = static_cast<std::int32_t>((left - offset) * 8);
        planned->coarse[0] = static_cast<std::int16_t>(64 - (fx >> 4));
        planned->coarse[1] = static_cast<std::int16_t>(fx >> 4);
        planned->fine[0] = static_cast<std::int16_t>(-(fx & 15));
        planned->fine[1] = static_cast<std::int16_t>(fx & 15);
    }
}

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
        part.base += skipped;
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

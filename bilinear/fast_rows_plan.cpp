// The plan of a call: where the samples of each output slot lie, how they weigh, and the scratch memory.
#include "bilinear/fast_rows.h"
#include "memory/unaligned.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <new>
#include <utility>

namespace dibprep {
namespace {

// Behind a made row: what a stage may read there.
constexpr std::int64_t FeedPadding = 32;

std::int64_t RoundedUp(std::int64_t value, std::int64_t unit) { return (value + unit - 1) / unit * unit; }

// At the right edge the neighbour is the column itself, which then has all the weight.
int FractionOf(const _tagCOORDENTRY& column) { return column.nOffset1 == column.nOffset0 ? 0 : column.nFraction; }

} // namespace

FastRows::FastRows(const RowTable& table, const RowTask& task, bool keep, bool stream)
    : m_table(table), m_source(*task.source), m_columns(task.columns), m_count(task.count), m_keep(keep),
      m_stream(stream && table.stream) {
    m_active = Prepare(task);
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

// Reads the colour table, and how many of its first entries are gray.
void FastRows::ReadTable(const RowTask& task) {
    const std::uint32_t entries = 1u << m_source.nBitCount;
    m_grays = 256;
    for (std::uint32_t i = 0; i < entries; ++i) {
        const std::uint32_t colour =
            i < task.table.readable ? LoadU32(task.table.entries + i * sizeof(tagRGBQUAD)) & 0xFFFFFF : 0;
        if (m_grays == 256 && colour != (colour & 0xFF) * 0x010101)
            m_grays = static_cast<int>(i);
        m_colours[i] = colour;
        m_levels[i] = static_cast<unsigned char>(colour);
    }
}

// The leftmost pixel is in the most significant bits.
void FastRows::FillGroups() {
    const int bits = m_source.nBitCount;
    if (bits == 8)
        return;
    const int step = m_layout.pixelBytes;
    // Half a byte of single bits where four bytes or three make a pixel, else a byte.
    const int groupBits = bits == 1 && step != 1 ? 4 : 8;
    const int pixels = groupBits / bits;
    m_groupBytes = pixels * (step == 1 ? 1 : 4);
    for (int group = 0; group < 1 << groupBits; ++group) {
        unsigned char packed[16 + 4] = {};
        for (int k = 0; k < pixels; ++k) {
            const int index = group >> (pixels - 1 - k) * bits & m_source.byMask;
            std::memcpy(packed + k * step, &m_colours[index], 4);
        }
        std::memcpy(m_groups + group * m_groupBytes, packed, static_cast<std::size_t>(m_groupBytes));
    }
}

bool FastRows::Prepare(const RowTask& task) {
    // Output pixels have the place that their format needs, unless the caller made the record.
    if (!m_table.acrossPixels || m_count < 1 || task.outStep != (m_source.nBitCount == 32 ? 4 : 3) ||
        !ColumnsAreInside(task))
        return false;
    switch (m_source.nBitCount) {
    case 1:
    case 4:
    case 8:
        return PrepareTable(task);
    case 16:
        m_feed = Feed::Widened;
        return Arrange(task, {4, 4, false, false, std::int64_t{m_source.nWidth} * 4 + FeedPadding, StoreThreeOfFour});
    case 24:
        return Arrange(task, {3, 3, false, false, m_source.nLineBytes, StoreAll});
    case 32:
        return Arrange(task, {4, 4, false, false, m_source.nLineBytes, StoreAll});
    default:
        return false;
    }
}

bool FastRows::PrepareTable(const RowTask& task) {
    // A table that does not stand behind the header has an end that nobody knows: only the colours
    // that pixels name are looked at.
    if (!m_source.pHeader ||
        task.table.entries != reinterpret_cast<const unsigned char*>(m_source.pHeader) + sizeof(tagBITMAPINFOHEADER))
        return false;
    ReadTable(task);
    // What stands behind a short table is no colour of the picture, mostly: rows that name it are found
    // as they come. A callback may bring colours into a gray table.
    const bool gray = m_grays == 256 || (m_source.nBitCount == 8 && m_grays >= m_source.nColors);
    return m_keep && gray ? ArrangeLevels(task) : ArrangeColours(task);
}

bool FastRows::ArrangeLevels(const RowTask& task) {
    m_feed = Feed::Levels;
    std::int64_t rowBytes = std::int64_t{m_source.nWidth} + FeedPadding;
    if (m_source.nBitCount == 8) {
        bool identity = true;
        bool sums = m_table.levelsBySums != nullptr;
        for (int i = 0; i < 16; ++i) {
            m_sums[i] = m_levels[i];
            m_sums[16 + i] = static_cast<unsigned char>(m_levels[i * 16] - m_levels[0]);
        }
        for (int i = 0; i < m_grays; ++i) {
            identity = identity && m_levels[i] == i;
            sums = sums && m_levels[i] == static_cast<unsigned char>(m_sums[i & 15] + m_sums[16 + (i >> 4)]);
        }
        if (identity)
            m_feed = Feed::Source;
        else if (sums)
            m_feed = Feed::LevelSums;
        if (identity)
            rowBytes = m_source.nLineBytes;
    }
    if (!Arrange(task, {1, 1, false, false, rowBytes, StoreThrice}))
        return false;
    FillGroups();
    return true;
}

// Pixels of three bytes where their slots stand without gaps, else of four.
bool FastRows::ArrangeColours(const RowTask& task) {
    m_feed = Feed::Colours;
    const std::int64_t width = m_source.nWidth;
    if (!Arrange(task, {m_table.colour24 ? 3 : 4, m_table.colour24 ? 3 : 4, false, false, width * 4 + FeedPadding,
                        m_table.colour24 ? StoreAll : StoreThreeOfFour}))
        return false;
    FillGroups();
    m_byBlocks = m_table.changes && m_blocks.Plan(task, m_layout.slotsPerPixel == 3 ? SlotsPerStep : SlotsPerStep / 4);
    return true;
}

// Finds the densest layout whose windows hold their samples, and fills its plan. Up to about 1.3
// source pixels per output pixel slots of three channels stand without gaps; up to three (where pixels
// have four bytes, two), four slots make a pixel. Beyond, a half window makes one; and where the row
// has to be made anyway, or is shorter than a window, it is made of the samples alone.
bool FastRows::Arrange(const RowTask& task, const Layout& wanted) {
    const bool windows = m_table.acrossWindows != nullptr;
    Layout layout = wanted;
    const auto withGaps = [&] {
        layout.slotsPerPixel = 4;
        layout.storing = StoreThreeOfFour;
        if (m_feed == Feed::Colours)
            layout.pixelBytes = 4;
    };
    if (!windows && layout.slotsPerPixel == 3)
        withGaps();
    // Room for any layout.
    const std::int64_t slots = RoundedUp(std::int64_t{m_count} * (layout.storing == StoreThrice ? 1 : 4), SlotsPerStep);
    const std::int64_t sampledBytes = std::int64_t{m_count} * 2 * (layout.storing == StoreThrice ? 1 : 4) + FeedPadding;
    const std::int64_t fed = RoundedUp(std::max(layout.rowBytes, sampledBytes), ScratchAlignment);
    const std::int64_t mixed = RoundedUp(slots * 4, ScratchAlignment);
    const std::int64_t plan = RoundedUp(windows ? slots / SlotsPerWindow / 2 * std::int64_t{sizeof(WindowPair)}
                                                : RoundedUp(m_count, SlotsPerStep) * std::int64_t{sizeof(PixelColumn)},
                                        ScratchAlignment);
    const std::int64_t finished =
        m_stream ? RoundedUp(std::int64_t{m_count} * task.outStep, ScratchAlignment) + ScratchAlignment : 0;
    const std::int64_t bytes = ScratchAlignment + fed + 2 * mixed + finished + plan;
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
    // The last pixels' right neighbours are taken from behind them, with no weight. They are nothing
    // that shows, but something that was written.
    std::memset(m_fed, 0, static_cast<std::size_t>(fed));
    m_mixed[0].mixed = reinterpret_cast<std::int32_t*>(take(mixed));
    m_mixed[1].mixed = reinterpret_cast<std::int32_t*>(take(mixed));
    m_finished = take(finished);
    unsigned char* const planned = take(plan);

    const auto fits = [&] {
        m_layout = layout;
        m_plan = {};
        m_plan.pixelBytes = layout.pixelBytes;
        if (!windows) {
            if (layout.rowBytes < (layout.pixelBytes == 1 ? 2 : 8))
                return false;
            m_plan.columns = reinterpret_cast<PixelColumn*>(planned);
            FillPixels(task, layout);
            m_across = layout.pixelBytes == 1 ? m_table.acrossLevels : m_table.acrossPixels;
            return true;
        }
        m_plan.windows = reinterpret_cast<WindowPair*>(planned);
        m_across = layout.halves ? m_table.acrossHalves : m_table.acrossWindows;
        return layout.rowBytes >= (layout.halves ? HalfWindowBytes : WindowBytes) && FillWindows(task, layout);
    };
    if (fits())
        return true;
    if (layout.slotsPerPixel == 3) {
        withGaps();
        if (fits())
            return true;
    }
    if (windows && m_feed == Feed::Source && layout.slotsPerPixel == 4) {
        layout.halves = true;
        if (fits())
            return true;
        layout.halves = false;
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
    m_plan.pairs = static_cast<int>(RoundedUp(slots, SlotsPerStep) / SlotsPerWindow / 2);
    int pixel = 0;
    int channel = 0;
    for (int w = 0; w < m_plan.pairs * 2; ++w) {
        WindowPair& pair = m_plan.windows[w / 2];
        std::int32_t* const base = pair.base + w % 2 * 2;
        std::uint8_t* picks = pair.picks + w % 2 * WindowBytes;
        std::int8_t* coarse = pair.coarse + w % 2 * WindowBytes;
        std::int8_t* fine = pair.fine + w % 2 * WindowBytes;
        std::int64_t start = 0;
        int skipped = 0; // bytes of the window in front of its second half
        for (int slot = 0; slot < SlotsPerWindow; ++slot, picks += 2, coarse += 2, fine += 2) {
            if (slot == 0 || (layout.halves && slot == SlotsPerWindow / 2)) {
                const int last = m_count - 1;
                const std::int64_t first = OffsetOf(task.columns[std::min(pixel, last)], std::min(pixel, last), layout);
                // The last windows move back into the row.
                start = std::min(first, layout.rowBytes - (layout.halves ? HalfWindowBytes : WindowBytes));
                skipped = slot == 0 ? 0 : HalfWindowBytes;
                base[slot == 0 ? 0 : 1] = static_cast<std::int32_t>(start);
            }
            picks[0] = picks[1] = 0x80;
            coarse[0] = coarse[1] = fine[0] = fine[1] = 0;
            if (pixel < m_count && channel < layout.pixelBytes) {
                const _tagCOORDENTRY& column = task.columns[pixel];
                const int fx = FractionOf(column);
                const std::int64_t left = OffsetOf(column, pixel, layout) + channel - start + skipped;
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
    m_plan.pixels = static_cast<int>(RoundedUp(m_count, SlotsPerStep / layout.slotsPerPixel));
    m_plan.unshifted = m_plan.pixels;
    const std::int64_t lastOffset = layout.rowBytes - (layout.pixelBytes == 1 ? 2 : 8);
    PixelColumn* planned = m_plan.columns;
    for (int k = 0; k < m_plan.pixels; ++k, ++planned) {
        *planned = {};
        if (k >= m_count)
            continue;
        const int fx = FractionOf(task.columns[k]);
        const std::int64_t left = OffsetOf(task.columns[k], k, layout);
        // What is read moves back into the row.
        const std::int64_t offset = std::min(left, lastOffset);
        planned->offset = static_cast<std::int32_t>(offset);
        planned->shift = static_cast<std::int32_t>((left - offset) * 8);
        planned->coarse[0] = static_cast<std::int16_t>(64 - (fx >> 4));
        planned->coarse[1] = static_cast<std::int16_t>(fx >> 4);
        planned->fine[0] = static_cast<std::int16_t>(-(fx & 15));
        planned->fine[1] = static_cast<std::int16_t>(fx & 15);
        if (left != offset) {
            m_plan.unshifted = std::min(m_plan.unshifted, k);
            // The last byte of a row has no neighbour, and all the weight.
            if (layout.pixelBytes == 1)
                std::swap(planned->coarse[0], planned->coarse[1]);
        }
    }
}

} // namespace dibprep

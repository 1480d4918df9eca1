// The plan of a call: where the samples of each output slot lie, how they weigh, and the scratch memory.
#include "bilinear/fast_rows.h"
#include "memory/scratch_limit.h"
#include "memory/unaligned.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

namespace dibprep {
namespace {

// Behind a made row: what a stage may read there.
constexpr std::int64_t FeedPadding = 32;

std::int64_t RoundedUp(std::int64_t value, std::int64_t unit) { return (value + unit - 1) / unit * unit; }

// Wide windows of so many slots: the last step may begin at the last of them.
std::int64_t WideRegisters(std::int64_t slots) {
    return RoundedUp(slots, SlotsPerWideWindow) / SlotsPerWideWindow + RegistersPerStep - 1;
}

// At the right edge the neighbour is the column itself, which then has all the weight.
int FractionOf(const _tagCOORDENTRY& column) { return column.nOffset1 == column.nOffset0 ? 0 : column.nFraction; }

} // namespace

FastRows::FastRows(const RowTable& table, const RowTask& task, bool keep)
    : m_table(table), m_source(*task.source), m_columns(task.columns), m_count(task.count), m_keep(keep) {
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
        if (m_table.colours3) {
            m_levels[256 + i] = static_cast<unsigned char>(colour >> 8);
            m_levels[512 + i] = static_cast<unsigned char>(colour >> 16);
        }
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
    if (!m_table.mix[StoreAll] || m_count < 1 || task.outStep != (m_source.nBitCount == 32 ? 4 : 3) ||
        !ColumnsAreInside(task))
        return false;
    switch (m_source.nBitCount) {
    case 1:
    case 4:
    case 8:
        return PrepareTable(task);
    case 16:
        m_feed = Feed::Widened;
        return Arrange(task, {3, 4, false, std::int64_t{m_source.nWidth} * 4 + FeedPadding, StoreAll});
    case 24:
        return Arrange(task, {3, 3, false, m_source.nLineBytes, StoreAll});
    case 32:
        return Arrange(task, {4, 4, false, m_source.nLineBytes, StoreAll});
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
    if (!Arrange(task, {1, 1, false, rowBytes, StoreThrice}))
        return false;
    FillGroups();
    return true;
}

bool FastRows::ArrangeColours(const RowTask& task) {
    m_feed = Feed::Colours;
    const int pixelBytes = m_source.nBitCount == 8 && m_table.colours3 ? 3 : 4;
    if (!Arrange(task, {3, pixelBytes, false, std::int64_t{m_source.nWidth} * pixelBytes + FeedPadding, StoreAll}))
        return false;
    FillGroups();
    m_byBlocks = m_table.changes && m_blocks.Plan(task, m_layout.slotsPerPixel == 3 ? SlotsPerStep : SlotsPerStep / 4);
    return true;
}

// Finds the layout and the windows that hold their samples. Wide ones do up to about 3.7 source pixels per
// output pixel of three channels, of gray to four. Others: both halves of a register from one window as long
// as source and output pixels are near each other, up to about 1.4; or a window for each, up to about four
// (two, where pixels have four bytes). With a fourth slot, which nobody stores, wide windows reach up to six,
// and others have one pixel only, at any distance. What is left, bytes far apart and rows shorter than a
// window, is made of the samples alone.
bool FastRows::Arrange(const RowTask& task, const Layout& wanted) {
    const bool windows = m_table.windowsPerRegister != 0;
    const bool wide = m_table.mixWide[StoreAll] != nullptr;
    Layout layout = wanted;
    const auto withGaps = [&] {
        layout.slotsPerPixel = 4;
        layout.storing = StoreThreeOfFour;
    };
    if (!windows && layout.slotsPerPixel == 3)
        withGaps();
    // Room for any layout.
    const std::int64_t slots = RoundedUp(std::int64_t{m_count} * (layout.slotsPerPixel == 1 ? 1 : 4), SlotsPerStep);
    const std::int64_t sampledBytes = std::int64_t{m_count} * 2 * layout.pixelBytes + FeedPadding;
    const std::int64_t registers = slots / (SlotsPerWindow * std::max(m_table.windowsPerRegister, 1));
    const std::int64_t wideRegisters = wide ? WideRegisters(slots) : 0;
    const auto aligned = [](std::int64_t size) { return RoundedUp(size, ScratchAlignment); };
    const std::int64_t fed = aligned(std::max(layout.rowBytes, sampledBytes));
    const std::int64_t planned =
        aligned(windows ? std::max(registers * std::int64_t{sizeof(Window)},
                                   wideRegisters * (WideWindowBytes + std::int64_t{sizeof(WindowPicks)}))
                        : slots / layout.slotsPerPixel * std::int64_t{sizeof(PixelColumn)});
    const std::int64_t picks = windows ? aligned(std::max(slots * 4, wideRegisters * SlotsPerWideWindow * 4)) : 0;
    const std::int64_t bytes = ScratchAlignment + MostSourceRows * fed + planned + picks;
    if (bytes > MostScratchBytes)
        return false;
    m_scratch.reset(new (std::nothrow) unsigned char[static_cast<std::size_t>(bytes)]);
    if (!m_scratch)
        return false;
    const std::uintptr_t start = reinterpret_cast<std::uintptr_t>(m_scratch.get());
    unsigned char* at = m_scratch.get() + (ScratchAlignment - start % ScratchAlignment) % ScratchAlignment;
    for (KeptRow& kept : m_kept) {
        kept = {nullptr, at};
        // The last pixels' right neighbours are taken from behind them, with no weight. They are nothing
        // that shows, but something that was written.
        std::memset(kept.fed, 0, static_cast<std::size_t>(fed));
        at += fed;
    }
    m_planned = at;
    m_picks = at + planned;

    const auto fits = [&] {
        const bool shared = m_table.windowsPerRegister > 1 && layout.storing != StoreThreeOfFour;
        return (wide && Fits(task, layout, Form::Wide)) || (shared && Fits(task, layout, Form::Shared)) ||
               Fits(task, layout, windows ? Form::Halves : Form::Pixels);
    };
    if (fits())
        return true;
    if (windows && layout.slotsPerPixel == 3) {
        withGaps();
        if (fits())
            return true;
        layout = wanted;
    }
    layout.sampled = true;
    layout.rowBytes = sampledBytes;
    return fits();
}

// Fills the plan of a layout; false where its samples lie too far apart, or the row is too short.
bool FastRows::Fits(const RowTask& task, const Layout& layout, Form form) {
    m_layout = layout;
    m_plan = {};
    m_plan.pixelBytes = layout.pixelBytes;
    const std::int64_t slots = std::int64_t{m_count} * layout.slotsPerPixel;
    if (form == Form::Pixels) {
        if (layout.rowBytes < (layout.pixelBytes == 1 ? 2 : 8))
            return false;
        FillPixels(task, layout);
        return true;
    }
    if (form == Form::Wide) {
        const std::int64_t registers = WideRegisters(slots);
        std::int8_t* const weights = reinterpret_cast<std::int8_t*>(m_planned);
        WindowPicks* const windows = reinterpret_cast<WindowPicks*>(m_planned + registers * WideWindowBytes);
        m_plan.widePicks = windows;
        m_plan.wideWeights = weights;
        const auto registerAt = [=](std::int64_t r) {
            return PlannedRegister{windows + r, weights + r * WideWindowBytes};
        };
        return FillWindows(registerAt, registers, task, {SlotsPerWideWindow, SlotsPerWideWindow, WideWindowBytes});
    }
    Window* const windows = reinterpret_cast<Window*>(m_planned);
    m_plan.windows = windows;
    m_plan.oneWindow = form == Form::Shared;
    const int slotsPerRegister = SlotsPerWindow * m_table.windowsPerRegister;
    const auto registerAt = [=](std::int64_t r) { return PlannedRegister{windows + r, windows[r].weights}; };
    return FillWindows(registerAt, RoundedUp(slots, SlotsPerStep) / slotsPerRegister, task,
                       {slotsPerRegister, m_plan.oneWindow ? slotsPerRegister : SlotsPerWindow, WindowBytes});
}

// The left sample of output pixel k in the row that the mixing stage reads.
std::int64_t FastRows::OffsetOf(const _tagCOORDENTRY& column, int k, const Layout& layout) const {
    if (layout.sampled)
        return std::int64_t{k} * 2 * layout.pixelBytes;
    return std::int64_t{column.nOffset0} / std::max(m_source.nBitCount >> 3, 1) * layout.pixelBytes;
}

template <class RegisterAt>
bool FastRows::FillWindows(RegisterAt registerAt, std::int64_t registers, const RowTask& task, const Shape& shape) {
    const Layout& layout = m_layout;
    if (layout.rowBytes < shape.windowBytes)
        return false;
    m_pickBytes = 0;
    for (std::int64_t r = 0; r < registers; ++r) {
        auto [window, weights] = registerAt(r);
        *window = {};
        std::memset(weights, 0, static_cast<std::size_t>(shape.slots) * 4);
        std::int64_t left[SlotsPerWideWindow];  // samples in the row, and
        std::int64_t right[SlotsPerWideWindow]; // none behind the last pixel or its last channel
        for (int slot = 0; slot < shape.slots; ++slot, weights += 4) {
            const std::int64_t at = shape.SlotOf(r, slot);
            const int k = static_cast<int>(at / layout.slotsPerPixel);
            left[slot] = right[slot] = -1;
            const int channel = static_cast<int>(at % layout.slotsPerPixel);
            if (k >= m_count || channel >= layout.pixelBytes)
                continue;
            const _tagCOORDENTRY& column = task.columns[k];
            const int fx = FractionOf(column);
            left[slot] = OffsetOf(column, k, layout) + channel;
            right[slot] = fx != 0 ? left[slot] + layout.pixelBytes : left[slot];
            weights[0] = static_cast<std::int8_t>(-(fx & 15));
            weights[1] = static_cast<std::int8_t>(fx & 15);
            weights[2] = static_cast<std::int8_t>(64 - (fx >> 4));
            weights[3] = static_cast<std::int8_t>(fx >> 4);
        }
        std::uint8_t picks[SlotsPerWideWindow * 4];
        std::memset(picks, 0x80, sizeof picks);
        for (int begin = 0; begin < shape.slots && left[begin] >= 0; begin += shape.windowSlots) {
            const int end = begin + shape.windowSlots;
            // The last windows move back into the row.
            std::int64_t base = layout.rowBytes - shape.windowBytes;
            for (int slot = begin; slot < end; ++slot)
                base = left[slot] >= 0 ? std::min(base, left[slot]) : base;
            window->base[begin / shape.windowSlots] = static_cast<std::int32_t>(base);
            for (int slot = begin; slot < end; ++slot) {
                if (left[slot] < 0)
                    continue;
                if (right[slot] - base >= shape.windowBytes)
                    return false;
                picks[slot * 4] = picks[slot * 4 + 2] = static_cast<std::uint8_t>(left[slot] - base);
                picks[slot * 4 + 1] = picks[slot * 4 + 3] = static_cast<std::uint8_t>(right[slot] - base);
            }
        }
        window->picks = KeptPicks(picks, shape.slots * 4);
    }
    return true;
}

// Where these picks stand, now or already. Scales repeat theirs soon; others are not sought for long.
const std::uint8_t* FastRows::KeptPicks(const std::uint8_t* picks, int bytes) {
    const int oldest = std::max(m_pickBytes - 64 * bytes, 0);
    for (int place = m_pickBytes - bytes; place >= oldest; place -= bytes)
        if (std::memcmp(m_picks + place, picks, static_cast<std::size_t>(bytes)) == 0)
            return m_picks + place;
    std::uint8_t* const kept = m_picks + m_pickBytes;
    std::memcpy(kept, picks, static_cast<std::size_t>(bytes));
    m_pickBytes += bytes;
    return kept;
}

void FastRows::FillPixels(const RowTask& task, const Layout& layout) {
    const std::int64_t pixels = RoundedUp(m_count, SlotsPerStep / layout.slotsPerPixel);
    const std::int64_t lastOffset = layout.rowBytes - (layout.pixelBytes == 1 ? 2 : 8);
    PixelColumn* planned = reinterpret_cast<PixelColumn*>(m_planned);
    m_plan.columns = planned;
    for (int k = 0; k < pixels; ++k, ++planned) {
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
        // The last byte of a row has no neighbour, and all the weight.
        if (left != offset && layout.pixelBytes == 1)
            std::swap(planned->coarse[0], planned->coarse[1]);
    }
}

} // namespace dibprep

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

} // namespace

FastRows::~FastRows() {
    if (m_stream)
        m_table.fence();
}

bool FastRows::Make(const RowTask& task) {
    if (!m_active || LimitsAct(m_source.nBitCount == 32 ? 4 : 3))
        return false;
    // Without a weight the lower row is not looked at.
    const unsigned char* const lower = task.fy != 0 ? task.lower : task.upper;
    if (!m_keep) {
        m_mixed[0].row = m_mixed[1].row = nullptr;
        if (m_feed == Feed::Colours) {
            ReadTable(task);
            FillGroups();
        }
    } else if (m_grays < 256 && m_layout.storing == StoreThrice &&
               !(ShowsGraysOnly(task.upper) && ShowsGraysOnly(lower))) {
        // Colours from behind the gray table: from now on every row may have them.
        m_mixed[0] = m_mixed[1] = {};
        m_active = ArrangeColours(task);
        if (!m_active)
            return false;
    }
    unsigned char* const out =
        m_stream ? m_finished + reinterpret_cast<std::uintptr_t>(task.out) % ScratchAlignment : task.out;
    if (m_byBlocks)
        MakeByBlocks(task, lower, out);
    else
        MakeByStages(task, lower, out);
    if (m_stream)
        m_table.stream(task.out, out, static_cast<std::size_t>(m_count) * static_cast<std::size_t>(task.outStep));
    return true;
}

void FastRows::MakeByStages(const RowTask& task, const unsigned char* lower, unsigned char* out) {
    const std::int32_t* const mixedUpper = Mixed(task.upper, lower);
    const std::int32_t* const mixedLower = Mixed(lower, task.upper);
    m_table.down[m_layout.storing](mixedUpper, mixedLower, task.fy, out, std::int64_t{m_count} * task.outStep);
}

// Rows are read at falling addresses: two further on is soon, and not yet on its way.
std::uintptr_t FastRows::Ahead(const unsigned char* row) const {
    return reinterpret_cast<std::uintptr_t>(row) - 2 * static_cast<std::uintptr_t>(m_source.nLineBytes);
}

// Whether no index of a row lies behind the gray entries of the table.
bool FastRows::ShowsGraysOnly(const unsigned char* row) const {
    return m_table.highest(row, m_source.nWidth) < m_grays;
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

// Stretches of one colour in both rows are that colour; others go through the stages.
void FastRows::MakeByBlocks(const RowTask& task, const unsigned char* lower, unsigned char* out) {
    const int upperPlace = BlocksOf(task.upper, lower);
    const int lowerPlace = BlocksOf(lower, task.upper);
    const FlatBlocks::Run* upperRun = m_blocks.Runs(upperPlace);
    const FlatBlocks::Run* lowerRun = m_blocks.Runs(lowerPlace);
    const std::int64_t rowBytes = std::int64_t{m_count} * task.outStep;
    const int blockBytes = m_blocks.PixelsPerBlock() * task.outStep;
    const auto bytesOf = [&](int begin, int end) {
        return std::min(std::int64_t{end} * blockBytes, rowBytes) - std::int64_t{begin} * blockBytes;
    };
    const auto mix = [&](int from, int to) {
        MixMissing(upperPlace, from, to);
        MixMissing(lowerPlace, from, to);
        const std::ptrdiff_t slot = std::ptrdiff_t{from} * m_blocks.PixelsPerBlock() * m_layout.slotsPerPixel;
        m_table.down[m_layout.storing](m_mixed[upperPlace].mixed + slot, m_mixed[lowerPlace].mixed + slot, task.fy,
                                       out + std::ptrdiff_t{from} * blockBytes, bytesOf(from, to));
    };
    int mixed = 0; // first of the blocks before `begin` that are still to be mixed
    for (int begin = 0; begin < m_blocks.Count();) {
        const int end = std::min(upperRun->end, lowerRun->end);
        if (upperRun->kind != FlatBlocks::Mixed && upperRun->kind == lowerRun->kind) {
            if (mixed < begin)
                mix(mixed, begin);
            m_table.fill(out + std::ptrdiff_t{begin} * blockBytes, bytesOf(begin, end), ColourOf(upperRun->kind));
            mixed = end;
        }
        upperRun += upperRun->end == end;
        lowerRun += lowerRun->end == end;
        begin = end;
    }
    if (mixed < m_blocks.Count())
        mix(mixed, m_blocks.Count());
}

// The place that holds the blocks of a source row, and the mixed row of those of several colours.
int FastRows::BlocksOf(const unsigned char* row, const unsigned char* other) {
    for (int place = 0; place < 2; ++place)
        if (m_mixed[place].row == row)
            return place;
    const int place = m_mixed[0].row == other ? 1 : 0;
    m_mixed[place].row = row;
    m_blocks.Look(m_table.changes, row, place, Ahead(row));
    m_blocks.SetMade(place, 0, m_blocks.Count(), false);
    const FlatBlocks::Run* run = m_blocks.Runs(place);
    for (int begin = 0; begin < m_blocks.Count(); begin = run++->end)
        if (run->kind == FlatBlocks::Mixed)
            MixBlocks(row, place, begin, run->end);
    return place;
}

void FastRows::MixBlocks(const unsigned char* row, int place, int begin, int end) {
    const int pixels = m_blocks.PixelsPerBlock();
    if (m_layout.sampled)
        FeedSampled(row, begin * pixels, std::min(end * pixels, m_count));
    else
        FeedColours(row, m_blocks.Begin(begin), m_blocks.End(end - 1));
    AcrossPlan part = m_plan;
    if (part.pairs != 0) {
        const int perBlock = pixels * m_layout.slotsPerPixel / SlotsPerWindow / 2;
        part.pairs = std::min(end * perBlock, m_plan.pairs) - begin * perBlock;
        part.windows += begin * perBlock;
    } else {
        part.pixels = (end - begin) * pixels;
        part.unshifted = std::min(std::max(m_plan.unshifted - begin * pixels, 0), part.pixels);
        part.columns += std::ptrdiff_t{begin} * pixels;
    }
    m_across(part, m_fed, m_mixed[place].mixed + std::ptrdiff_t{begin} * pixels * m_layout.slotsPerPixel,
             reinterpret_cast<std::uintptr_t>(m_fed));
    m_blocks.SetMade(place, begin, end, true);
}

// Blocks of one colour that stand beside others.
void FastRows::MixMissing(int place, int begin, int end) {
    while ((begin = m_blocks.NextMade(place, begin, end, false)) < end) {
        const int made = m_blocks.NextMade(place, begin, end, true);
        MixBlocks(m_mixed[place].row, place, begin, made);
        begin = made;
    }
}

// ---- feeding ----------------------------------------------------------------------------------

const unsigned char* FastRows::FeedRow(const unsigned char* row) {
    if (m_layout.sampled)
        FeedSampled(row, 0, m_count);
    else if (m_feed != Feed::Source)
        FeedWhole(row);
    else
        return row;
    return m_fed;
}

void FastRows::FeedWhole(const unsigned char* row) {
    const int width = m_source.nWidth;
    m_table.fetch(Ahead(row), m_source.nLineBytes);
    if (m_feed == Feed::Widened)
        m_table.widen(row, width, reinterpret_cast<std::uint32_t*>(m_fed));
    else if (m_feed == Feed::LevelSums)
        m_table.levelsBySums(row, width, m_sums, m_fed);
    else if (m_feed == Feed::Levels && m_source.nBitCount == 8)
        m_table.levels(row, width, m_levels, m_fed);
    else
        FeedColours(row, 0, width);
}

// The pixels from `begin` to before `end`, each in its place.
void FastRows::FeedColours(const unsigned char* row, int begin, int end) {
    if (m_source.nBitCount == 8)
        (m_layout.pixelBytes == 3 ? m_table.colour24 : m_table.colour)(
            row + begin, end - begin, m_colours, m_fed + std::ptrdiff_t{begin} * m_layout.pixelBytes);
    else
        FeedPacked(row, begin / m_source.nPixelsPerByte, (end - 1) / m_source.nPixelsPerByte + 1);
}

// Whole bytes: behind the last pixel there is room for the others of its byte.
void FastRows::FeedPacked(const unsigned char* row, int begin, int end) {
    const int step = m_source.nPixelsPerByte * m_layout.pixelBytes;
    unsigned char* const at = m_fed + std::ptrdiff_t{begin} * step;
    if (m_source.nBitCount == 4 && m_layout.pixelBytes == 1 && m_table.levels4)
        m_table.levels4(row + begin, end - begin, m_levels, at);
    else if (m_groupBytes == 16)
        m_table.packed(row + begin, end - begin, m_groups, 16, step / 2, at);
    else
        m_table.packed(row + begin, end - begin, m_groups, m_groupBytes, step, at);
}

// Both samples of the output pixels from `begin` to before `end`, one after the other.
void FastRows::FeedSampled(const unsigned char* row, int begin, int end) {
    const auto each = [&](auto pixel) {
        const int step = m_layout.pixelBytes;
        unsigned char* at = m_fed + std::ptrdiff_t{begin} * 2 * step;
        for (int k = begin; k < end; ++k, at += 2 * step) {
            pixel(at, m_columns[k].nOffset0);
            pixel(at + step, m_columns[k].nOffset1);
        }
    };
    const auto index4 = [row](int x) { return row[x >> 1] >> (x & 1 ? 0 : 4) & 0xF; };
    const auto index1 = [row](int x) { return row[x >> 3] >> (7 - (x & 7)) & 1; };
    const std::uint32_t* const colours = m_colours;
    const unsigned char* const levels = m_levels;
    const bool toLevels = m_layout.pixelBytes == 1 && m_feed != Feed::Source;
    if (m_feed == Feed::Widened) {
        each([&](unsigned char* at, int offset) {
            std::uint32_t pixel;
            m_table.widen(row + offset, 1, &pixel);
            StoreU32(at, pixel);
        });
    } else if (toLevels && m_source.nBitCount == 8) {
        each([=](unsigned char* at, int x) { *at = levels[row[x]]; });
    } else if (toLevels && m_source.nBitCount == 4) {
        each([=](unsigned char* at, int x) { *at = levels[index4(x)]; });
    } else if (toLevels) {
        each([=](unsigned char* at, int x) { *at = levels[index1(x)]; });
    } else if (m_feed == Feed::Colours && m_source.nBitCount == 8) {
        each([=](unsigned char* at, int x) { StoreU32(at, colours[row[x]]); });
    } else if (m_feed == Feed::Colours && m_source.nBitCount == 4) {
        each([=](unsigned char* at, int x) { StoreU32(at, colours[index4(x)]); });
    } else if (m_feed == Feed::Colours) {
        each([=](unsigned char* at, int x) { StoreU32(at, colours[index1(x)]); });
    } else if (m_layout.pixelBytes == 1) {
        each([=](unsigned char* at, int offset) { *at = row[offset]; });
    } else if (m_layout.pixelBytes == 3) {
        each([=](unsigned char* at, int offset) { std::memcpy(at, row + offset, 3); });
    } else {
        each([=](unsigned char* at, int offset) { std::memcpy(at, row + offset, 4); });
    }
}

} // namespace dibprep

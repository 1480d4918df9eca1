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

// NOLINTNEXTLINE(misc-no-recursion): once, for rows of colours
int FastRows::Make(const RowTask& task, const RowTask* next) {
    if (!m_active || LimitsAct(m_source.nBitCount == 32 ? 4 : 3))
        return 0;
    MixTask mix = GroupOf(task, next);
    if (!m_keep) {
        for (KeptRow& kept : m_kept)
            kept.row = nullptr;
        if (m_feed == Feed::Colours) {
            ReadTable(task);
            FillGroups();
        }
    } else if (m_grays < 256 && m_layout.storing == StoreThrice) {
        for (int i = 0; i < SourceRowsOf(mix.group); ++i)
            if (!ShowsGraysOnly(mix.sources.rows[i])) {
                // Colours from behind the gray table: from now on every row may have them.
                m_active = ArrangeColours(task);
                return Make(task, next);
            }
    }
    NoteAdvance(task.upper);
    AskAhead(mix);
    int places[MostSourceRows] = {};
    if (m_feed != Feed::Source || m_layout.sampled) {
        Bring(mix, places);
        for (int i = 0; i < SourceRowsOf(mix.group); ++i)
            mix.sources.rows[i] = m_kept[places[i]].fed;
    }
    if (m_byBlocks)
        MakeByBlocks(mix, places);
    else
        Mix(m_plan, mix);
    return OutputRowsOf(mix.group);
}

// Which rows are made together, and of what. Without a weight the lower row is not looked at.
MixTask FastRows::GroupOf(const RowTask& task, const RowTask* next) const {
    MixTask mix = {};
    mix.bytes = std::ptrdiff_t{m_count} * task.outStep;
    mix.fy[0] = task.fy;
    mix.out[0] = task.out;
    mix.sources.rows[0] = task.upper;
    mix.sources.rows[1] = task.fy != 0 ? task.lower : task.upper;
    mix.group = Group::One;
    if (!next)
        return mix;
    mix.fy[1] = next->fy;
    mix.out[1] = next->out;
    if (next->upper == task.upper) {
        mix.group = Group::Same;
        if (next->fy != 0)
            mix.sources.rows[1] = next->lower;
        return mix;
    }
    const unsigned char* const lower = next->fy != 0 ? next->lower : next->upper;
    if (next->upper == task.lower) {
        mix.group = Group::Chain;
        mix.sources.rows[1] = task.lower;
        mix.sources.rows[2] = lower;
    } else {
        mix.group = Group::Apart;
        mix.sources.rows[2] = next->upper;
        mix.sources.rows[3] = lower;
    }
    return mix;
}

// What the next call is likely to need where this one needs a row: rows are read at falling addresses, as far
// apart as before.
std::uintptr_t FastRows::Ahead(const unsigned char* row) const {
    return reinterpret_cast<std::uintptr_t>(row) - std::max(m_advances[0], m_advances[1]);
}

void FastRows::NoteAdvance(const unsigned char* upper) {
    const std::uintptr_t at = reinterpret_cast<std::uintptr_t>(upper);
    m_advances[1] = m_advances[0];
    m_advances[0] = at < m_upper ? m_upper - at : 0;
    m_upper = at;
}

// Whether the pixels that the mixing stage reads stand where they do in the source row.
bool FastRows::ReadsInPlace() const { return !m_layout.sampled && m_layout.pixelBytes * 8 == m_source.nBitCount; }

// The mixing stage asks for rows, each once, where it reads in step with them: a little at a time is better
// than a row at once. Else it asks for what is at hand.
void FastRows::AskAhead(MixTask& mix) {
    for (int i = 0; i < SourceRowsOf(mix.group); ++i) {
        const std::uintptr_t ahead = Ahead(mix.sources.rows[i]);
        mix.sources.ahead[i] = reinterpret_cast<std::uintptr_t>(mix.sources.rows[i]);
        if (ReadsInPlace() && ahead < m_fetched)
            mix.sources.ahead[i] = m_fetched = ahead;
    }
}

// Whether no index of a row lies behind the gray entries of the table.
bool FastRows::ShowsGraysOnly(const unsigned char* row) const {
    return m_table.highest(row, m_source.nWidth) < m_grays;
}

// Sees to it that what is kept of the task's source rows is there, and where.
void FastRows::Bring(const MixTask& mix, int* places) {
    const int count = SourceRowsOf(mix.group);
    const unsigned char* const* const last = mix.sources.rows + count;
    const auto placeOf = [&](auto fits) {
        int place = 0;
        while (place < MostSourceRows && !fits(m_kept[place].row))
            ++place;
        return place;
    };
    for (int i = 0; i < count; ++i) {
        const unsigned char* const row = mix.sources.rows[i];
        places[i] = placeOf([row](const unsigned char* kept) { return kept == row; });
        if (places[i] < MostSourceRows)
            continue;
        // There are as many places as rows: one of them holds none of the task's.
        places[i] = placeOf([&](const unsigned char* kept) { return std::find(mix.sources.rows, last, kept) == last; });
        KeptRow& place = m_kept[places[i]];
        place.row = row;
        if (m_byBlocks)
            m_blocks.Look(m_table.changes, row, places[i], Ahead(row));
        else
            FeedRow(row, place.fed);
    }
}

// ---- pictures with a colour table, by blocks --------------------------------------------------

// The colour of a byte whose pixels are all the same: that of its lowest pixel.
std::uint32_t FastRows::ColourOf(int flatByte) const { return m_colours[flatByte & m_source.byMask]; }

void FastRows::MakeByBlocks(const MixTask& mix, const int* places) {
    const int count = SourceRowsOf(mix.group);
    if (std::all_of(places, places + count, [this](int place) { return m_blocks.IsMixed(place); })) {
        MixBlocks(mix, places, 0, m_blocks.Count());
        return;
    }
    for (int i = 0; i < OutputRowsOf(mix.group); ++i) {
        const int upper = i == 0 ? 0 : SecondUpperOf(mix.group);
        MixTask one = mix;
        one.group = Group::One;
        one.fy[0] = mix.fy[i];
        one.out[0] = mix.out[i];
        one.sources.rows[0] = mix.sources.rows[upper];
        one.sources.rows[1] = mix.sources.rows[upper + 1];
        MakeRowByBlocks(one, places + upper);
    }
}

// Stretches of one colour in both rows are that colour; others are mixed.
void FastRows::MakeRowByBlocks(const MixTask& mix, const int* places) {
    const FlatBlocks::Run* upperRun = m_blocks.Runs(places[0]);
    const FlatBlocks::Run* lowerRun = m_blocks.Runs(places[1]);
    const std::ptrdiff_t blockBytes = mix.bytes / m_count * m_blocks.PixelsPerBlock();
    int waiting = 0; // first of the blocks before `block` that are still to be mixed
    for (int block = 0; block < m_blocks.Count();) {
        const int end = std::min(upperRun->end, lowerRun->end);
        if (upperRun->kind != FlatBlocks::Mixed && upperRun->kind == lowerRun->kind) {
            MixBlocks(mix, places, waiting, block);
            const std::ptrdiff_t from = block * blockBytes;
            m_table.fill(mix.out[0] + from, std::min(end * blockBytes, mix.bytes) - from, ColourOf(upperRun->kind));
            waiting = end;
        }
        upperRun += upperRun->end == end;
        lowerRun += lowerRun->end == end;
        block = end;
    }
    MixBlocks(mix, places, waiting, m_blocks.Count());
}

void FastRows::MixBlocks(const MixTask& mix, const int* places, int begin, int end) {
    if (begin == end)
        return;
    const int pixels = m_blocks.PixelsPerBlock();
    const std::ptrdiff_t blockBytes = mix.bytes / m_count * pixels;
    for (int i = 0; i < SourceRowsOf(mix.group); ++i)
        FeedBlocks(places[i], begin, end);
    MixTask part = mix;
    for (int i = 0; i < OutputRowsOf(mix.group); ++i)
        part.out[i] += begin * blockBytes;
    part.bytes = std::min(end * blockBytes, mix.bytes) - begin * blockBytes;
    Mix(PlanFrom(begin * pixels), part);
}

// The plan of the pixels behind whole blocks.
MixPlan FastRows::PlanFrom(int pixel) const {
    MixPlan plan = m_plan;
    const std::ptrdiff_t slots = std::ptrdiff_t{pixel} * m_layout.slotsPerPixel;
    if (plan.widePicks) {
        plan.widePicks += slots / SlotsPerWideWindow;
        plan.wideWeights += slots * 4;
    } else if (plan.windows) {
        plan.windows += slots / (SlotsPerWindow * m_table.windowsPerRegister);
    } else {
        plan.columns += pixel;
    }
    return plan;
}

void FastRows::Mix(const MixPlan& plan, const MixTask& mix) const {
    (plan.widePicks ? m_table.mixWide : m_table.mix)[m_layout.storing](plan, mix);
}

// Feeds those blocks that have not been fed.
void FastRows::FeedBlocks(int place, int begin, int end) {
    const KeptRow& kept = m_kept[place];
    while ((begin = m_blocks.NextFed(place, begin, end, false)) < end) {
        const int behind = m_blocks.NextFed(place, begin, end, true);
        FeedColours(kept.row, m_blocks.Begin(begin), m_blocks.End(behind - 1), kept.fed);
        m_blocks.SetFed(place, begin, behind, true);
        begin = behind;
    }
}

// ---- feeding ----------------------------------------------------------------------------------

void FastRows::FeedRow(const unsigned char* row, unsigned char* to) {
    const int width = m_source.nWidth;
    if (!ReadsInPlace())
        m_table.fetch(Ahead(row), m_source.nLineBytes);
    if (m_layout.sampled) {
        FeedSampled(row, to);
        return;
    }
    if (m_feed == Feed::Widened)
        m_table.widen(row, width, reinterpret_cast<std::uint32_t*>(to));
    else if (m_feed == Feed::LevelSums)
        m_table.levelsBySums(row, width, m_sums, to);
    else if (m_feed == Feed::Levels && m_source.nBitCount == 8)
        m_table.levels(row, width, m_levels, to);
    else
        FeedColours(row, 0, width, to);
}

// The pixels from `begin` to before `end`, each in its place.
void FastRows::FeedColours(const unsigned char* row, int begin, int end, unsigned char* to) {
    if (m_source.nBitCount == 8 && m_layout.pixelBytes == 3)
        m_table.colours3(row + begin, end - begin, m_levels, to + std::ptrdiff_t{begin} * 3);
    else if (m_source.nBitCount == 8)
        m_table.colour(row + begin, end - begin, m_colours, to + std::ptrdiff_t{begin} * 4);
    else
        FeedPacked(row, begin / m_source.nPixelsPerByte, (end - 1) / m_source.nPixelsPerByte + 1, to);
}

// Whole bytes: behind the last pixel there is room for the others of its byte.
void FastRows::FeedPacked(const unsigned char* row, int begin, int end, unsigned char* to) {
    const std::ptrdiff_t bytesOfOne = std::ptrdiff_t{m_source.nPixelsPerByte} * m_layout.pixelBytes;
    unsigned char* const at = to + begin * bytesOfOne;
    if (m_source.nBitCount == 4 && m_layout.pixelBytes == 1 && m_table.levels4)
        m_table.levels4(row + begin, end - begin, m_levels, at);
    else
        m_table.packed(row + begin, end - begin, m_groups, m_groupBytes, at);
}

// Both samples of the output pixels, one after the other: of gray ones, or in the shortest rows.
void FastRows::FeedSampled(const unsigned char* row, unsigned char* to) {
    const auto each = [&](auto pixel) {
        const int step = m_layout.pixelBytes;
        unsigned char* at = to;
        for (int k = 0; k < m_count; ++k, at += 2 * step) {
            pixel(at, m_columns[k].nOffset0);
            pixel(at + step, m_columns[k].nOffset1);
        }
    };
    const auto index4 = [row](int x) { return row[x >> 1] >> (x & 1 ? 0 : 4) & 0xF; };
    const auto index1 = [row](int x) { return row[x >> 3] >> (7 - (x & 7)) & 1; };
    const unsigned char* const levels = m_levels;
    const bool toLevels = m_layout.pixelBytes == 1 && m_feed != Feed::Source;
    if (toLevels && m_source.nBitCount == 8) {
        each([=](unsigned char* at, int x) { *at = levels[row[x]]; });
    } else if (toLevels && m_source.nBitCount == 4) {
        each([=](unsigned char* at, int x) { *at = levels[index4(x)]; });
    } else if (toLevels) {
        each([=](unsigned char* at, int x) { *at = levels[index1(x)]; });
    } else if (m_layout.pixelBytes == 1) {
        each([=](unsigned char* at, int offset) { *at = row[offset]; });
    } else if (m_layout.pixelBytes == 3) {
        each([=](unsigned char* at, int offset) { std::memcpy(at, row + offset, 3); });
    } else {
        each([=](unsigned char* at, int offset) { std::memcpy(at, row + offset, 4); });
    }
}

} // namespace dibprep

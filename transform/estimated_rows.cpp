// The fast road of rows whose fractions are no short binary ones. The horizontal estimates of a
// source row are kept while output rows need them, and so are the bytes behind them.
#include "transform/estimated_rows.h"

#include "transform/columns.h"
#include "transform/estimate.h"

#include <algorithm>
#include <cstring>

namespace dibprep {

namespace {

constexpr std::size_t StripChannels = 512;
constexpr std::size_t MostOpen = 16; // one group in so many
constexpr unsigned int ShortestPause = 32;
constexpr unsigned int LongestPause = 512;

} // namespace

bool EstimatedRows::Prepare(const CLinearTransformMem& engine, const RowKernels& kernels) {
    m_kernels = kernels;
    if (!kernels.estimates || !m_columns.Read(engine))
        return false;
    m_plan.channels = m_columns.channels;
    m_windowBytes = kernels.windowBytes;
    m_plan.windowChannels = m_windowBytes / 4;
    TakeScratch();
    if (!m_scratch.Open())
        return false;
    TakeScratch();
    FillTables(engine);
    return true;
}

void EstimatedRows::TakeScratch() {
    const std::size_t channels = (m_plan.channels + RowUnit - 1) / RowUnit * RowUnit;
    m_plan.offsets = m_offsets = m_scratch.Take<std::uint32_t>(channels / m_plan.windowChannels);
    m_plan.shuffles = m_shuffles = m_scratch.Take<std::uint8_t>(channels * 4);
    m_plan.weights = m_weights = m_scratch.Take<std::int32_t>(channels);
    m_plan.fractions = m_fractions = m_scratch.Take<double>(channels);
    m_columns.Take(m_scratch);
    m_strips = (channels + StripChannels - 1) / StripChannels;
    for (KeptRow& kept : m_kept) {
        kept.strips = m_scratch.Take<KeptStrip>(m_strips);
        kept.estimates = m_scratch.Take<std::int32_t>(channels);
        kept.doubles = m_scratch.Take<double>(channels);
        kept.levels = m_scratch.Take<std::uint8_t>(m_columns.grays.own ? m_columns.rowBytes : 0);
        kept.pairs = m_scratch.Take<std::uint8_t>(channels * 2 + m_windowBytes);
    }
}

void EstimatedRows::FillTables(const CLinearTransformMem& engine) {
    std::size_t channel = 0;
    m_columns.Fill(engine);
    for (std::size_t x = 0; x < m_columns.pixels; ++x) {
        const CPosition& at = engine.positions[x];
        const std::int32_t weight = EstimateWeight(at.fraction);
        for (const std::size_t end = channel + m_columns.perPixel; channel < end; ++channel) {
            m_weights[channel] = weight;
            m_fractions[channel] = at.fraction;
        }
    }
    // What is behind the last channel has no samples and equals itself.
    const std::size_t room = (m_plan.channels + RowUnit - 1) / RowUnit * RowUnit;
    std::memset(m_shuffles, EmptyByte, room * 4);
    m_far = m_columns.rowBytes < m_windowBytes;
    for (std::size_t window = 0; window * m_plan.windowChannels < m_plan.channels && !m_far; ++window)
        m_far = !PutWindow(window);
    if (m_far)
        PutPairTables();
}

// A window and the places of its channels' samples in it. False if it would be too long.
bool EstimatedRows::PutWindow(std::size_t window) {
    const std::size_t begin = window * m_plan.windowChannels;
    const std::size_t end = std::min(begin + m_plan.windowChannels, m_plan.channels);
    // Samples rise from channel to channel but for the steps inside a pixel: the first channel's
    // pixel has the lowest, the last one's the highest.
    const std::size_t lowest = m_columns.firsts[begin / m_columns.perPixel];
    const std::size_t offset = std::min(lowest, m_columns.rowBytes - m_windowBytes);
    m_offsets[window] = static_cast<std::uint32_t>(offset);
    for (std::size_t i = begin; i < end; ++i) {
        const std::size_t first = m_columns.firsts[i / m_columns.perPixel] + i % m_columns.perPixel - offset;
        const std::size_t second = m_columns.seconds[i / m_columns.perPixel] + i % m_columns.perPixel - offset;
        if (first >= m_windowBytes || second >= m_windowBytes)
            return false;
        m_shuffles[i * 4] = static_cast<std::uint8_t>(first);
        m_shuffles[i * 4 + 2] = static_cast<std::uint8_t>(second);
    }
    return true;
}

void EstimatedRows::PutPairTables() {
    const std::size_t unit = m_plan.windowChannels;
    for (std::size_t i = 0; i < m_plan.channels; ++i) {
        m_offsets[i / unit] = static_cast<std::uint32_t>(i / unit * unit * 2);
        m_shuffles[i * 4] = static_cast<std::uint8_t>(i % unit * 2);
        m_shuffles[i * 4 + 2] = static_cast<std::uint8_t>(i % unit * 2 + 1);
    }
}

// The bytes of `row` and what was made of them before, if they are kept; those of `needed` stay.
EstimatedRows::KeptRow& EstimatedRows::Keep(const std::uint8_t* source, std::uint32_t row, std::uint32_t needed) {
    for (KeptRow& kept : m_kept) {
        if (kept.row == row)
            return kept;
    }
    KeptRow& made = m_kept[m_kept[0].row == needed ? 1 : 0];
    made.row = row;
    made.bytes = source + row * m_columns.stride;
    // Between the lines of a text page there are many such rows; in others this ends at once.
    const bool uniform = std::memcmp(made.bytes, made.bytes + 1, m_columns.rowBytes - 1) == 0;
    made.everywhere = !uniform ? -1 : m_columns.grays.own ? m_columns.grays.levels[made.bytes[0]] : made.bytes[0];
    if (m_columns.grays.own) {
        m_kernels.mapLevels(m_columns.grays.levels, made.bytes, m_columns.rowBytes, made.levels);
        made.bytes = made.levels;
    }
    if (m_far) {
        m_columns.PutPairs(m_kernels, made.bytes, made.pairs);
        made.bytes = made.pairs;
    }
    made.hasEstimates = false;
    std::fill_n(made.strips, m_strips, KeptStrip{UnknownLevel, false});
    return made;
}

// In strips, so that their tables and results stay in the first cache.
void EstimatedRows::BuildByEstimates(KeptRow& top, KeptRow& bottom, double fraction, std::uint8_t* out) {
    std::size_t open = 0;
    for (std::size_t begin = 0; begin < m_plan.channels; begin += StripChannels) {
        const Strip strip{begin, std::min(begin + StripChannels, m_plan.channels)};
        for (const KeptRow* row : {&top, &bottom}) {
            if (!row->hasEstimates)
                m_kernels.estimate(m_plan, row->bytes, strip, row->estimates);
            if (&top == &bottom)
                break;
        }
        open += m_kernels.mixEstimates(m_plan, {top.bytes, top.estimates}, {bottom.bytes, bottom.estimates}, fraction,
                                       strip, out);
    }
    top.hasEstimates = bottom.hasEstimates = true;
    const std::size_t groups = (m_plan.channels + 7) / 8;
    m_made.open += open;
    m_made.estimated += groups - open;
    // Thirds, for example, give so many whole levels that the doubles are better off alone.
    m_pause = open * MostOpen <= groups ? 0 : std::min(std::max(m_pause * 2, ShortestPause), LongestPause);
    m_rowsInDoubles = m_pause;
}

// The level of all samples of a strip, as in a page's margins. In pictures this ends at once.
std::int16_t EstimatedRows::LevelOf(const KeptRow& row, Strip strip) const {
    std::size_t begin = strip.begin * 2; // of pairs
    std::size_t end = strip.end * 2;
    if (!m_far) {
        begin = m_columns.firsts[strip.begin / m_columns.perPixel];
        end = m_columns.seconds[(strip.end - 1) / m_columns.perPixel] + m_columns.perPixel;
    }
    const std::uint8_t* const first = row.bytes + begin;
    const bool oneLevel = std::memcmp(first, first + 1, end - begin - 1) == 0;
    return oneLevel ? static_cast<std::int16_t>(*first) : SeveralLevels;
}

// A strip between samples of one level is filled. Of other strips the doubles are made when they are first needed.
void EstimatedRows::BuildInDoubles(KeptRow& top, KeptRow& bottom, double fraction, std::uint8_t* out) {
    for (std::size_t begin = 0; begin < m_plan.channels; begin += StripChannels) {
        const Strip strip{begin, std::min(begin + StripChannels, m_plan.channels)};
        const std::size_t at = begin / StripChannels;
        for (const KeptRow* row : {&top, &bottom})
            if (row->strips[at].level == UnknownLevel)
                row->strips[at].level = LevelOf(*row, strip);
        const std::int16_t level = top.strips[at].level;
        if (level != SeveralLevels && level == bottom.strips[at].level) {
            std::memset(out + begin, level, strip.end - begin);
            ++m_made.filledStrips;
            continue;
        }
        for (const KeptRow* row : {&top, &bottom})
            if (!row->strips[at].hasDoubles) {
                m_kernels.across(m_plan, row->bytes, strip, row->doubles);
                row->strips[at].hasDoubles = true;
            }
        m_kernels.mixDoubles(top.doubles + begin, bottom.doubles + begin, fraction, out + begin, strip.end - begin);
        m_made.inDoubles += (strip.end - begin + 7) / 8;
    }
    --m_rowsInDoubles;
}

void EstimatedRows::Build(const std::uint8_t* source, const SamplePair& rows, std::uint8_t* out) {
    // Without a difference or a weight the second row adds nothing.
    const bool alone = rows.first == rows.second || rows.fraction == 0;
    const std::uint32_t second = alone ? rows.first : rows.second;
    KeptRow& top = Keep(source, rows.first, second);
    KeptRow& bottom = Keep(source, second, rows.first);
    if (top.everywhere >= 0 && top.everywhere == bottom.everywhere) {
        std::memset(out, top.everywhere, m_plan.channels);
        ++m_made.filledRows;
        return;
    }
    if (m_rowsInDoubles > 0)
        BuildInDoubles(top, bottom, rows.fraction, out);
    else
        BuildByEstimates(top, bottom, rows.fraction, out);
}

} // namespace dibprep

// The fast road of 8-bit gray and 24-bit rows.
//
// Where all column fractions are multiples of 1/64, the horizontal results times 64 are integers up
// to 255 * 64, and where the row's fraction is a multiple of 1/16384 as well, the whole pixel is one
// below 2^28 over a power of two: every step of the doubles is exact then, and so are the integers.
// Any other image takes the same steps in doubles, in the line builders' order. At the last column
// or row both samples are the same, their difference is 0, and the weight does not matter.
#include "transform/colour_rows.h"

#include "memory/unaligned.h"

#include <algorithm>
#include <cstring>

namespace dibprep {

namespace {

constexpr unsigned int RowBits = 14; // and as signed words
constexpr unsigned int MostDirectBits = 8;
constexpr std::size_t MostGroupChannels = 32;
constexpr std::size_t LongestPeriod = 384; // channels

std::size_t RoundUp(std::size_t value, std::size_t unit) { return (value + unit - 1) / unit * unit; }

} // namespace

bool ColourRows::Prepare(const CLinearTransformMem& engine, const ColumnFacts& columns, const RowKernels& kernels) {
    m_kernels = kernels;
    if (!m_columns.Read(engine))
        return false;
    m_short = columns.fractionBits != NotShort;
    m_plan.fractionBits = m_short ? columns.fractionBits : 0;
    m_copies = columns.copies && !m_columns.grays.own;
    m_plan.channels = m_columns.channels;
    m_windowBytes = kernels.windowBytes;
    m_groupChannels = m_windowBytes / 2;
    m_plan.groups = (m_plan.channels + m_groupChannels - 1) / m_groupChannels;
    TakeScratch();
    if (!m_scratch.Open())
        return false;
    TakeScratch();
    FillTables(engine);
    return true;
}

void ColourRows::TakeScratch() {
    const std::size_t channels = RoundUp(m_plan.channels, RowUnit);
    m_plan.offsets = m_offsets = m_scratch.Take<std::uint32_t>(channels / m_groupChannels);
    m_plan.shuffles = m_shuffles = m_scratch.Take<std::uint8_t>(channels * 2);
    m_plan.weights = m_weights = m_scratch.Take<std::uint8_t>(m_short ? channels * 2 : 0);
    m_plan.fractions = m_fractions = m_scratch.Take<double>(m_short ? 0 : channels);
    m_columns.Take(m_scratch);
    m_pairs = m_scratch.Take<std::uint8_t>(channels * 2 + 8); // pixels are written with two bytes too many
    m_levels = m_scratch.Take<std::uint8_t>(m_columns.grays.own ? m_columns.rowBytes : 0);
    for (KeptRow& kept : m_kept) {
        if (m_short)
            kept.words = m_scratch.Take<std::uint16_t>(channels);
        else
            kept.doubles = m_scratch.Take<double>(channels);
    }
}

void ColourRows::FillTables(const CLinearTransformMem& engine) {
    const double unit = static_cast<double>(1u << m_plan.fractionBits);
    m_columns.Fill(engine);
    for (std::size_t x = 0; x < m_columns.pixels; ++x) {
        const CPosition& at = engine.positions[x];
        for (std::size_t i = x * m_columns.perPixel; i < (x + 1) * m_columns.perPixel; ++i) {
            if (m_short) {
                const auto weight =
                    static_cast<std::uint8_t>(Weightless(at) ? 0 : static_cast<int>(at.fraction * unit));
                m_weights[i * 2] = static_cast<std::uint8_t>((1u << m_plan.fractionBits) - weight);
                m_weights[i * 2 + 1] = weight;
            } else {
                m_fractions[i] = at.fraction;
            }
        }
    }
    m_windows = m_kernels.shuffles && m_columns.rowBytes >= m_windowBytes && PutWindows();
    if (!m_windows)
        PutPairTables();
    FindPeriod();
}

// The window of one group and the places of its samples in it. False if it would be too long.
bool ColourRows::PutWindow(std::size_t group, std::uint32_t* offset, std::uint8_t* shuffle) const {
    const std::size_t begin = group * m_groupChannels;
    const std::size_t end = std::min(begin + m_groupChannels, m_plan.channels);
    std::uint32_t samples[MostGroupChannels * 2];
    std::uint32_t lowest = ~0u;
    std::uint32_t highest = 0;
    for (std::size_t i = begin; i < end; ++i) {
        const std::size_t x = i / m_columns.perPixel;
        const auto channel = static_cast<std::uint32_t>(i % m_columns.perPixel);
        samples[(i - begin) * 2] = m_columns.firsts[x] + channel;
        samples[(i - begin) * 2 + 1] = m_columns.seconds[x] + channel;
        lowest = std::min(lowest, m_columns.firsts[x] + channel);
        highest = std::max(highest, m_columns.seconds[x] + channel);
    }
    // At the row's end the window moves back, so that it never leaves the row.
    *offset = std::min(lowest, static_cast<std::uint32_t>(m_columns.rowBytes - m_windowBytes));
    if (highest - *offset >= m_windowBytes)
        return false;
    for (std::size_t i = 0; i < (end - begin) * 2; ++i)
        shuffle[i] = static_cast<std::uint8_t>(samples[i] - *offset);
    return true;
}

bool ColourRows::PutWindows() {
    for (std::size_t group = 0; group < m_plan.groups; ++group) {
        if (!PutWindow(group, m_offsets + group, m_shuffles + group * m_windowBytes))
            return false;
    }
    return true;
}

// The groups are pairs already and lie behind each other.
void ColourRows::PutPairTables() {
    for (std::size_t group = 0; group < m_plan.groups; ++group) {
        m_offsets[group] = static_cast<std::uint32_t>(group * m_windowBytes);
        for (std::size_t i = 0; i < m_windowBytes; ++i)
            m_shuffles[group * m_windowBytes + i] = static_cast<std::uint8_t>(i);
    }
}

// The fewest groups after which all tables repeat, some windows further on: an even number of small ones.
// Fewer than four are taken several times over, for fewer turns of the outer loop.
void ColourRows::FindPeriod() {
    const std::size_t unit = std::max<std::size_t>(1, 32 / m_windowBytes);
    const std::size_t longest = std::min(LongestPeriod / m_groupChannels, m_plan.groups / 4);
    const auto same = [&](const std::uint8_t* table, std::size_t a, std::size_t b) {
        return std::memcmp(table + a * m_windowBytes, table + b * m_windowBytes, m_windowBytes) == 0;
    };
    for (std::size_t period = unit; period <= longest; period += unit) {
        const std::uint32_t step = m_offsets[period] - m_offsets[0];
        std::size_t group = period;
        while (group < m_plan.channels / m_groupChannels && m_offsets[group] - m_offsets[group - period] == step &&
               same(m_shuffles, group, group - period) && (!m_short || same(m_weights, group, group - period)))
            ++group;
        if (group >= period * 4) {
            const std::size_t times = std::max<std::size_t>(1, 4 / period);
            m_plan.period = period * times;
            m_plan.repeats = group / m_plan.period;
            m_plan.step = step * times;
            return;
        }
    }
}

// The source row as the groups expect it.
const std::uint8_t* ColourRows::PairsOf(const std::uint8_t* row) {
    if (m_columns.grays.own) {
        m_kernels.mapLevels(m_columns.grays.levels, row, m_columns.rowBytes, m_levels);
        row = m_levels;
    }
    if (m_windows)
        return row;
    m_columns.PutPairs(m_kernels, row, m_pairs);
    return m_pairs;
}

// The horizontal results of `row`, made unless they are kept; those of `needed` stay.
const ColourRows::KeptRow& ColourRows::Keep(const std::uint8_t* source, std::uint32_t row, std::uint32_t needed) {
    for (const KeptRow& kept : m_kept) {
        if (kept.row == row)
            return kept;
    }
    KeptRow& made = m_kept[m_kept[0].row == needed ? 1 : 0];
    made.row = row;
    const std::uint8_t* const pairs = PairsOf(source + row * m_columns.stride);
    if (m_short)
        m_kernels.weigh(m_plan, pairs, made.words);
    else
        m_kernels.toDoubles(m_plan, pairs, made.doubles);
    return made;
}

// Rows that no other output row needs go straight to the output, where they can.
bool ColourRows::BuildDirectly(const std::uint8_t* source, std::uint32_t first, std::uint32_t second, double fraction,
                               std::uint8_t* out) {
    if (!m_short || !m_windows || m_columns.grays.own || !m_kernels.weighAndMix || IsKept(first) || IsKept(second))
        return false;
    RowWeights weights{1, 0, 0};
    if (first != second) {
        weights.bits = ShortFractionBits(fraction, MostDirectBits - m_plan.fractionBits);
        if (weights.bits == NotShort)
            return false;
        weights.second = static_cast<unsigned int>(fraction * static_cast<double>(1u << weights.bits));
        weights.first = (1u << weights.bits) - weights.second;
    }
    m_kernels.weighAndMix(m_plan, source + first * m_columns.stride, source + second * m_columns.stride, weights, out);
    return true;
}

void ColourRows::Build(const std::uint8_t* source, const SamplePair& rows, std::uint32_t nextFirst, std::uint8_t* out) {
    // Without a difference or a weight the second row adds nothing.
    const bool alone = rows.first == rows.second || rows.fraction == 0;
    const std::uint32_t second = alone ? rows.first : rows.second;
    if (alone && m_copies) {
        std::memcpy(out, source + rows.first * m_columns.stride, m_plan.channels);
        return;
    }
    if (nextFirst > second && BuildDirectly(source, rows.first, second, rows.fraction, out))
        return;
    const KeptRow& top = Keep(source, rows.first, second);
    const KeptRow& bottom = Keep(source, second, rows.first);
    if (!m_short) {
        m_kernels.mixDoubles(top.doubles, bottom.doubles, rows.fraction, out, m_plan.channels);
        return;
    }
    if (alone) {
        m_kernels.narrow(top.words, m_plan.fractionBits, out, m_plan.channels);
        return;
    }
    const unsigned int bits = ShortFractionBits(rows.fraction, RowBits);
    if (bits == NotShort) {
        m_kernels.mixWordsInDoubles(top.words, bottom.words, rows.fraction, m_plan.fractionBits, out, m_plan.channels);
        return;
    }
    const auto weight = static_cast<unsigned int>(rows.fraction * static_cast<double>(1u << bits));
    m_kernels.mixWords(top.words, bottom.words, {(1u << bits) - weight, weight, bits}, m_plan.fractionBits, out,
                       m_plan.channels);
}

} // namespace dibprep

// The fast road of 1-bit rows. A pixel has four samples of two values each, so that its column and
// row fractions leave 16 outcomes, each found once with the line builder's arithmetic. Four equal
// samples have an outcome of their own, whatever the fractions: that decides nearly all of a page.
#include "transform/mono_rows.h"

#include "memory/unaligned.h"

#include <algorithm>
#include <cstring>

namespace dibprep {

namespace {

constexpr std::size_t TableMemory = 256 * 1024;
constexpr unsigned int Combinations = 16;

// Where pixel x stands in tables that run backwards within eight pixels.
std::size_t Backwards(std::size_t x) { return x ^ 7; }

std::uint8_t BitOf(unsigned int column) { return static_cast<std::uint8_t>(0x80 >> (column & 7)); }

std::size_t IndexOf(double value, const double* values, std::size_t count) {
    return static_cast<std::size_t>(std::find(values, values + count, value) - values);
}

// Copies rows of bits into place: only sets, never clears, like the line builder.
void SetBits(std::uint8_t* out, const std::uint8_t* bits, std::size_t bytes) {
    std::size_t i = 0;
    for (; i + 4 <= bytes; i += 4)
        StoreU32(out + i, LoadU32(out + i) | LoadU32(bits + i));
    for (; i < bytes; ++i)
        out[i] = static_cast<std::uint8_t>(out[i] | bits[i]);
}

} // namespace

bool MonoRows::Prepare(const CLinearTransformMem& engine, const RowKernels& kernels) {
    m_kernels = kernels;
    m_unit = kernels.windowBytes;
    m_pixels = engine.outWidth;
    m_stride = engine.srcStride;
    m_sourcePixels = engine.srcWidth;
    m_sourceBytes = (engine.srcWidth + std::size_t{7}) / 8;
    m_threshold = engine.threshold;
    m_setIsBlack = engine.sourcePalette[0].rgbBlue == 255;
    ListClasses(engine);
    m_positions = engine.positions.data();
    m_planeBytes = (m_pixels + BitRowUnit * 8 - 1) / (BitRowUnit * 8) * BitRowUnit;
    m_tableRoom = m_classes == 0 ? 0 : std::max<std::size_t>(2, TableMemory / (Combinations * m_planeBytes));
    m_tableRoom = std::min(m_tableRoom, MostTables);
    TakeScratch();
    if (!m_scratch.Open())
        return false;
    TakeScratch();
    FillTables();
    return true;
}

// Lists the fractions, unless they are too many.
void MonoRows::ListClasses(const CLinearTransformMem& engine) {
    for (const CPosition& at : engine.positions) {
        if (IndexOf(at.fraction, m_classFractions, m_classes) < m_classes)
            continue;
        if (m_classes == MostClasses) {
            m_classes = 0;
            return;
        }
        m_classFractions[m_classes++] = at.fraction;
    }
}

void MonoRows::TakeScratch() {
    const std::size_t pixels = m_planeBytes * 8;
    m_plan.pixels = (m_pixels + 63) / 64 * 64;
    m_plan.bytes = m_bytes = m_scratch.Take<std::uint16_t>(pixels);
    m_plan.offsets = m_offsets = m_scratch.Take<std::uint32_t>(pixels / m_unit);
    for (int which = 0; which < 2; ++which) {
        m_masks[which] = m_scratch.Take<std::uint16_t>(pixels);
        m_kept[which].first = m_scratch.Take<std::uint8_t>(m_planeBytes);
        m_kept[which].second = m_scratch.Take<std::uint8_t>(m_planeBytes);
    }
    m_plan.firstMasks = m_masks[0];
    m_plan.secondMasks = m_masks[1];
    m_plan.windows = m_windowTables = m_scratch.Take<std::uint8_t>(pixels * 4);
    m_source = m_scratch.Take<std::uint8_t>(m_sourceBytes + m_unit);
    m_picked = m_scratch.Take<std::uint8_t>(m_planeBytes);
    m_open = m_scratch.Take<std::uint8_t>(m_planeBytes);
    m_classMasks = m_scratch.Take<std::uint8_t>(m_classes * m_planeBytes);
    m_outcomes = m_scratch.Take<std::uint8_t>(m_tableRoom * Combinations * m_planeBytes);
}

void MonoRows::FillTables() {
    for (std::size_t x = 0; x < m_pixels; ++x) {
        const CPosition& at = m_positions[x];
        const std::size_t i = Backwards(x);
        m_bytes[i] = at.byte0;
        m_masks[0][i] = BitOf(at.x0);
        m_masks[1][i] = static_cast<std::uint16_t>(at.byte1 == at.byte0 ? BitOf(at.x1) : BitOf(at.x1) << 8);
        if (m_classes > 0) {
            const std::size_t which = IndexOf(at.fraction, m_classFractions, m_classes);
            m_classMasks[which * m_planeBytes + x / 8] |= BitOf(static_cast<unsigned int>(x));
        }
    }
    m_windows = m_kernels.shuffleBits != nullptr;
    for (std::size_t group = 0; group * m_unit < m_pixels && m_windows; ++group)
        m_windows = PutWindow(group);
}

// The window of a group of pixels and the places of their bytes in it. False if it would be too long.
bool MonoRows::PutWindow(std::size_t group) {
    const std::size_t begin = group * m_unit;
    const std::size_t end = std::min(begin + m_unit, m_pixels);
    const std::size_t tableUnit = std::max<std::size_t>(m_unit, 32);
    const unsigned int offset = m_positions[begin].byte0;
    m_offsets[group] = offset;
    for (std::size_t x = begin; x < end; ++x) {
        const CPosition& at = m_positions[x];
        if (at.byte0 < offset || at.byte1 - offset >= m_unit)
            return false;
        std::uint8_t* const table = m_windowTables + x / tableUnit * tableUnit * 4 + Backwards(x % tableUnit);
        table[0] = static_cast<std::uint8_t>(at.byte0 - offset);
        table[tableUnit] = BitOf(at.x0);
        table[tableUnit * 2] = static_cast<std::uint8_t>(at.byte1 - offset);
        table[tableUnit * 3] = BitOf(at.x1);
    }
    return true;
}

// The samples of `row`, made unless they are kept; those of `needed` stay.
const MonoRows::KeptRow& MonoRows::Keep(const std::uint8_t* source, std::uint32_t row, std::uint32_t needed) {
    for (const KeptRow& kept : m_kept) {
        if (kept.row == row)
            return kept;
    }
    KeptRow& made = m_kept[m_kept[0].row == needed ? 1 : 0];
    made.row = row;
    made.everywhere = UniformSample(source + row * m_stride);
    if (made.everywhere >= 0) {
        std::memset(made.first, made.everywhere ? 0xFF : 0, m_planeBytes);
        std::memset(made.second, made.everywhere ? 0xFF : 0, m_planeBytes);
        return made;
    }
    // A copy, so that windows may reach behind the row.
    std::memcpy(m_source, source + row * m_stride, m_sourceBytes);
    (m_windows ? m_kernels.shuffleBits : m_kernels.gatherBits)(m_plan, m_source, made.first, made.second);
    return made;
}

// Whether a pixel comes out white; bits of `combination`: left and right sample of the first row,
// left and right of the second.
bool MonoRows::Outcome(unsigned int combination, double fx, double fy) const {
    const auto blackness = [&](unsigned int sample) {
        const bool set = combination >> sample & 1;
        return set == m_setIsBlack ? 255.0 : 0.0;
    };
    return Mix(blackness(0), blackness(1), blackness(2), blackness(3), fx, fy) < m_threshold;
}

// The outcome rows for a row fraction; null when there is no room for them.
const std::uint8_t* MonoRows::TableFor(double fy) {
    const std::size_t tableBytes = Combinations * m_planeBytes;
    const std::size_t known = IndexOf(fy, m_tableFractions, m_tables);
    if (known < m_tables)
        return m_outcomes + known * tableBytes;
    if (m_tables == m_tableRoom)
        return nullptr;
    std::uint8_t* const table = m_outcomes + m_tables * tableBytes;
    m_tableFractions[m_tables++] = fy;
    for (unsigned int combination = 0; combination < Combinations; ++combination) {
        std::uint8_t* const row = table + combination * m_planeBytes;
        for (std::size_t which = 0; which < m_classes; ++which) {
            if (Outcome(combination, m_classFractions[which], fy))
                SetBits(row, m_classMasks + which * m_planeBytes, m_planeBytes);
        }
    }
    return table;
}

// The sample that a source row consists of; -1 if it has both. Most pages have many such rows.
int MonoRows::UniformSample(const std::uint8_t* row) const {
    const std::size_t whole = m_sourcePixels / 8;
    const unsigned int first = row[0] >> 7;
    const unsigned int expected = first ? 0xFF : 0;
    if (whole > 0 && (row[0] != expected || std::memcmp(row, row + 1, whole - 1) != 0))
        return -1;
    const unsigned int rest = 0xFF00u >> (m_sourcePixels % 8) & 0xFF;
    if (rest != 0 && (row[whole] & rest) != (expected & rest))
        return -1;
    return static_cast<int>(first);
}

// Nothing behind the last pixel.
void MonoRows::ClearBehind() {
    if (m_pixels % 8 != 0)
        m_picked[m_pixels / 8] = static_cast<std::uint8_t>(m_picked[m_pixels / 8] & ~(0xFF >> (m_pixels & 7)));
}

void MonoRows::Fill(bool white) {
    std::memset(m_picked, white ? 0xFF : 0, (m_pixels + 7) / 8);
    ClearBehind();
}

// Open pixels one by one.
void MonoRows::DecideOpen(const std::uint8_t* const samples[4], double fy, const std::uint8_t* open) {
    for (std::size_t at = 0; at * 8 < m_pixels; at += 4) {
        for (std::uint32_t left = LoadU32(open + at); left != 0; left &= left - 1) {
            const auto bit = static_cast<unsigned int>(__builtin_ctz(left));
            const std::size_t x = at * 8 + Backwards(bit);
            if (x >= m_pixels)
                continue;
            unsigned int combination = 0;
            for (unsigned int which = 0; which < 4; ++which)
                combination |= (LoadU32(samples[which] + at) >> bit & 1) << which;
            const auto mask = BitOf(static_cast<unsigned int>(x));
            const bool white = Outcome(combination, m_positions[x].fraction, fy);
            m_picked[x / 8] = static_cast<std::uint8_t>(white ? m_picked[x / 8] | mask : m_picked[x / 8] & ~mask);
        }
    }
}

// Four equal samples at once, all others one by one.
void MonoRows::DecideSingly(const std::uint8_t* const samples[4], double fy) {
    const std::uint32_t ofSet = Outcome(Combinations - 1, 0, 0) ? ~0u : 0;
    const std::uint32_t ofClear = Outcome(0, 0, 0) ? ~0u : 0;
    for (std::size_t at = 0; at * 8 < m_pixels; at += 4) {
        const std::uint32_t four[] = {LoadU32(samples[0] + at), LoadU32(samples[1] + at), LoadU32(samples[2] + at),
                                      LoadU32(samples[3] + at)};
        const std::uint32_t allSet = four[0] & four[1] & four[2] & four[3];
        const std::uint32_t anySet = four[0] | four[1] | four[2] | four[3];
        StoreU32(m_picked + at, (allSet & ofSet) | (~anySet & ofClear));
        StoreU32(m_open + at, anySet & ~allSet);
    }
    DecideOpen(samples, fy, m_open);
}

// The choices of a row fraction. Beyond the first so many fractions the last place is used again.
const BitChoice* MonoRows::ChoicesFor(double fy) {
    const std::size_t known = IndexOf(fy, m_chosenFractions, m_chosen);
    if (known < m_chosen)
        return m_choices[known];
    m_chosen = std::min(m_chosen + 1, MostTables);
    m_chosenFractions[m_chosen - 1] = fy;
    m_buckets.Choose(fy, m_threshold, m_setIsBlack, m_choices[m_chosen - 1]);
    return m_choices[m_chosen - 1];
}

// By the tables where there is one for the row's fraction, else by the buckets.
void MonoRows::Pick(const std::uint8_t* const samples[4], double fy) {
    if (const std::uint8_t* const outcomes = TableFor(fy)) {
        m_kernels.pickOutcomes(samples, outcomes, m_planeBytes, m_picked);
        return;
    }
    if (m_buckets.IsReady() || m_buckets.Prepare(m_positions, m_pixels, m_planeBytes)) {
        if (m_kernels.pickChoices(samples, ChoicesFor(fy), m_planeBytes, m_picked, m_open))
            DecideOpen(samples, fy, m_open);
    } else {
        DecideSingly(samples, fy);
    }
    ClearBehind();
}

void MonoRows::Build(const std::uint8_t* source, const SamplePair& rows, std::uint8_t* out) {
    // Without a difference or a weight the second row adds nothing.
    const bool alone = rows.first == rows.second || rows.fraction == 0;
    const std::uint32_t second = alone ? rows.first : rows.second;
    const KeptRow& top = Keep(source, rows.first, second);
    const KeptRow& bottom = Keep(source, second, rows.first);
    const std::uint8_t* const samples[4] = {top.first, top.second, bottom.first, bottom.second};
    if (top.everywhere >= 0 && top.everywhere == bottom.everywhere)
        Fill(Outcome(top.everywhere ? Combinations - 1 : 0, 0, 0));
    else
        Pick(samples, rows.fraction);
    SetBits(out, m_picked, (m_pixels + 7) / 8);
}

} // namespace dibprep

// The fast road of 1-bit rows. The samples of an output row's columns are gathered as rows of bits, and rules
// for all columns pick the pixels. Four equal samples give the same whatever the fractions: that decides
// nearly all of a page.
#include "transform/mono_rows.h"

#include "memory/unaligned.h"
#include "transform/columns.h"

#include <algorithm>
#include <cstring>
#include <emmintrin.h>

namespace dibprep {

namespace {

// Where pixel x stands in tables that run backwards within eight pixels.
std::size_t Backwards(std::size_t x) { return x ^ 7; }

std::uint8_t BitOf(unsigned int column) { return static_cast<std::uint8_t>(0x80 >> (column & 7)); }

__m128i Load(const std::uint8_t* from) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(from)); }

bool AllEqual(__m128i bytes, __m128i expected) { return _mm_movemask_epi8(_mm_cmpeq_epi8(bytes, expected)) == 0xFFFF; }

// Whether `count` bytes are all `expected`.
bool AllAre(const std::uint8_t* bytes, std::size_t count, std::uint8_t expected) {
    const __m128i wanted = _mm_set1_epi8(static_cast<char>(expected));
    std::size_t i = 0;
    for (; i + 64 <= count; i += 64) {
        const __m128i low =
            _mm_or_si128(_mm_xor_si128(Load(bytes + i), wanted), _mm_xor_si128(Load(bytes + i + 16), wanted));
        const __m128i high =
            _mm_or_si128(_mm_xor_si128(Load(bytes + i + 32), wanted), _mm_xor_si128(Load(bytes + i + 48), wanted));
        if (!AllEqual(_mm_or_si128(low, high), _mm_setzero_si128()))
            return false;
    }
    for (; i + 16 <= count; i += 16) {
        if (!AllEqual(Load(bytes + i), wanted))
            return false;
    }
    for (; i < count; ++i) {
        if (bytes[i] != expected)
            return false;
    }
    return true;
}

// By registers: in 32 bits the compiler takes a string instruction for memset, which is slow to begin.
void SetBytes(std::uint8_t* out, std::size_t count) {
    const __m128i set = _mm_set1_epi8(-1);
    std::size_t i = 0;
    for (; i + 16 <= count; i += 16)
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + i), set);
    for (; i + 4 <= count; i += 4)
        StoreU32(out + i, ~0u);
    for (; i < count; ++i)
        out[i] = 0xFF;
}

void AddBits(std::uint8_t* out, const std::uint8_t* bits, std::size_t count) {
    std::size_t i = 0;
    for (; i + 16 <= count; i += 16)
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + i), _mm_or_si128(Load(out + i), Load(bits + i)));
    for (; i < count; ++i)
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
    m_positions = engine.positions.data();
    // Steps below two rows leave none out.
    m_allRows = engine.ratioY > 0.5;
    m_lastRow = PairAt(engine.outHeight - 1u, engine.ratioY, engine.srcHeight).second;
    m_buckets.Read(m_positions, m_pixels);
    TakeScratch();
    if (!m_scratch.Open())
        return false;
    TakeScratch();
    m_buckets.Fill(m_positions);
    m_windows = m_kernels.shuffleBits && PutWindows();
    if (!m_windows)
        PutGatherTables();
    return true;
}

void MonoRows::TakeScratch() {
    const std::size_t units = (m_pixels + BitUnitPixels - 1) / BitUnitPixels;
    m_plan.pixels = (m_pixels + 63) / 64 * 64;
    m_plan.bytes = m_bytes = m_scratch.Take<std::uint16_t>(m_plan.pixels);
    for (std::uint16_t*& masks : m_masks)
        masks = m_scratch.Take<std::uint16_t>(m_plan.pixels);
    m_plan.firstMasks = m_masks[0];
    m_plan.secondMasks = m_masks[1];
    const std::size_t records = m_kernels.shuffleBits ? m_plan.pixels / BitRecordPixels(m_unit) : 0;
    m_plan.windows = m_records = m_scratch.Take<std::uint8_t>(records * BitRecord(m_unit));
    for (std::size_t which = 0; which < 4; which += 2) {
        m_kept[which].samples = m_scratch.Take<std::uint8_t>(units * BitRowsUnit);
        m_kept[which + 1].samples = m_kept[which].samples ? m_kept[which].samples + BitSecondRow : nullptr;
    }
    for (std::uint8_t*& row : m_source)
        row = m_scratch.Take<std::uint8_t>(m_sourceBytes + m_unit);
    m_sure = m_scratch.Take<std::uint8_t>(units * BitUnit);
    m_possible = m_scratch.Take<std::uint8_t>(units * BitUnit);
    m_buckets.Take(m_scratch);
}

void MonoRows::PutGatherTables() {
    for (std::size_t x = 0; x < m_pixels; ++x) {
        const CPosition& at = m_positions[x];
        const std::size_t i = Backwards(x);
        m_bytes[i] = at.byte0;
        m_masks[0][i] = BitOf(at.x0);
        m_masks[1][i] = static_cast<std::uint16_t>(at.byte1 == at.byte0 ? BitOf(at.x1) : BitOf(at.x1) << 8);
    }
}

// False if a window would be too long.
bool MonoRows::PutWindows() {
    m_plan.leftOnly = true;
    const std::size_t recordPixels = BitRecordPixels(m_unit);
    std::uint8_t* record = m_records;
    for (std::size_t begin = 0; begin < m_pixels; begin += recordPixels, record += BitRecord(m_unit)) {
        for (std::size_t part = 0; part < recordPixels && begin + part < m_pixels; part += m_unit) {
            if (!PutWindow(begin + part, std::min(begin + part + m_unit, m_pixels), record))
                return false;
        }
    }
    return true;
}

// The window of a group of pixels, and the places of their bytes in it.
bool MonoRows::PutWindow(std::size_t begin, std::size_t end, std::uint8_t* record) {
    const std::size_t recordPixels = BitRecordPixels(m_unit);
    const std::size_t longest = m_unit;
    const CPosition* const positions = m_positions; // no store can change copies
    const unsigned int offset = positions[begin].byte0;
    bool leftOnly = true;
    StoreU32(record + recordPixels * 4 + begin % recordPixels / m_unit * 4, offset);
    for (std::size_t x = begin; x < end; ++x) {
        const CPosition& at = positions[x];
        // A sample without weight may be any.
        const bool alone = Weightless(at);
        const unsigned int place = at.byte0 - offset;
        const unsigned int nextPlace = alone ? place : at.byte1 - offset;
        if (at.byte0 < offset || nextPlace >= longest)
            return false;
        leftOnly = leftOnly && alone;
        std::uint8_t* const table = record + Backwards(x % recordPixels);
        table[0] = static_cast<std::uint8_t>(place);
        table[recordPixels] = BitOf(at.x0);
        table[recordPixels * 2] = static_cast<std::uint8_t>(nextPlace);
        table[recordPixels * 3] = BitOf(alone ? at.x0 : at.x1);
    }
    m_plan.leftOnly = m_plan.leftOnly && leftOnly;
    return true;
}

void MonoRows::Forget() {
    for (KeptRow& kept : m_kept)
        kept.row = NoRow;
}

// The steps of a row, inline: in 32 bits their calls took a tenth of the time.

inline MonoRows::KeptRow* MonoRows::Find(std::uint32_t row) {
    for (KeptRow& kept : m_kept) {
        if (kept.row == row)
            return &kept;
    }
    return nullptr;
}

// A row that may be read to a window behind its end: a copy where no other row is behind it.
inline const std::uint8_t* MonoRows::Readable(const std::uint8_t* source, std::uint32_t row, std::size_t which) {
    const std::size_t begin = row * m_stride;
    if (begin + m_sourceBytes + m_unit <= (m_lastRow + std::size_t{1}) * m_stride)
        return source + begin;
    std::memcpy(m_source[which], source + begin, m_sourceBytes);
    return m_source[which];
}

// The sample that a source row consists of; -1 if it has both. Most pages have many such rows.
inline int MonoRows::UniformSample(const std::uint8_t* row) const {
    const std::size_t whole = m_sourcePixels / 8;
    const unsigned int rest = 0xFF00u >> (m_sourcePixels % 8) & 0xFF;
    const std::uint8_t expected = row[0] & 0x80 ? 0xFF : 0;
    if (rest != 0 && ((row[whole] ^ expected) & rest) != 0)
        return -1;
    return AllAre(row, whole, expected) ? expected & 1 : -1;
}

// The samples of the first `count` rows of a pair.
inline void MonoRows::Sample(const std::uint8_t* source, KeptRow* pair, std::size_t count) {
    const std::uint8_t* first = nullptr;
    const std::uint8_t* second = nullptr;
    std::uint8_t* to = nullptr;
    for (KeptRow* kept = pair; kept != pair + count; ++kept) {
        kept->everywhere = UniformSample(source + kept->row * m_stride);
        kept->sampled = kept->everywhere < 0;
        if (!kept->sampled)
            continue;
        if (to) {
            second = Readable(source, kept->row, 1);
        } else {
            first = Readable(source, kept->row, 0);
            to = kept->samples;
        }
    }
    if (to)
        (m_windows ? m_kernels.shuffleBits : m_kernels.gatherBits)(m_plan, first, second, to);
}

// Makes the samples of two rows of which `needed` may be kept, and with a single one those of the row behind it.
inline void MonoRows::Keep(const std::uint8_t* source, std::uint32_t first, std::uint32_t second,
                           const KeptRow* needed) {
    KeptRow* const pair = needed && needed < m_kept + 2 ? m_kept + 2 : m_kept;
    pair[0].row = needed && needed->row == first ? second : first;
    const bool both = !needed && first != second;
    const std::uint32_t next = both ? second : pair[0].row + 1;
    const bool two = both || (m_allRows && next <= m_lastRow && !Find(next));
    pair[1].row = two ? next : NoRow;
    Sample(source, pair, two ? 2 : 1);
}

// Writes out those of a row of one sample.
inline const std::uint8_t* MonoRows::SamplesOf(KeptRow& kept) {
    if (!kept.sampled) {
        for (std::size_t unit = 0; unit * BitUnitPixels < m_pixels; ++unit)
            std::memset(kept.samples + unit * BitRowsUnit, kept.everywhere ? 0xFF : 0, 2 * BitUnit);
        kept.sampled = true;
    }
    return kept.samples;
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

// Decides the pixels that `open` marks of 32, whose samples begin at `upper` and `lower` and whose columns at
// `columns`: those that come out white.
std::uint32_t MonoRows::DecideOpen(std::uint32_t open, const std::uint8_t* upper, const std::uint8_t* lower,
                                   const CPosition* columns, double fy) const {
    const std::uint32_t samples[] = {LoadU32(upper), LoadU32(upper + BitRightSamples), LoadU32(lower),
                                     LoadU32(lower + BitRightSamples)};
    std::uint32_t white = 0;
    for (std::uint32_t left = open; left != 0; left &= left - 1) {
        const auto bit = static_cast<unsigned int>(__builtin_ctz(left));
        unsigned int combination = 0;
        for (unsigned int which = 0; which < 4; ++which)
            combination |= (samples[which] >> bit & 1) << which;
        if (Outcome(combination, columns[Backwards(bit)].fraction, fy))
            white |= std::uint32_t{1} << bit;
    }
    return white;
}

// Decides where the two picked rows differ, and makes m_sure right there.
void MonoRows::Settle(const std::uint8_t* upper, const std::uint8_t* lower, double fy) {
    std::uint8_t* const sure = m_sure;
    for (std::size_t at = 0; at * 8 < m_pixels; at += 16) {
        if (AllEqual(Load(sure + at), Load(m_possible + at)))
            continue;
        for (std::size_t word = at; word < at + 16; word += 4) {
            const std::uint32_t settled = LoadU32(sure + word);
            const std::uint32_t open = settled ^ LoadU32(m_possible + word);
            if (open == 0)
                continue;
            const std::size_t place = word / BitUnit * BitRowsUnit + word % BitUnit;
            const std::uint32_t white = DecideOpen(open, upper + place, lower + place, m_positions + word * 8, fy);
            StoreU32(sure + word, (settled & ~open) | white);
        }
    }
}

inline const BitRules& MonoRows::RulesFor(double fy) {
    for (std::size_t i = 0; i < std::min(m_ruleCount, KeptRules); ++i) {
        if (m_ruleFractions[i] == fy)
            return m_rules[i];
    }
    const std::size_t place = m_ruleCount++ % KeptRules;
    m_ruleFractions[place] = fy;
    m_buckets.Choose(fy, m_threshold, m_setIsBlack, m_rules[place]);
    return m_rules[place];
}

inline void MonoRows::Pick(const std::uint8_t* upper, const std::uint8_t* lower, double fy, std::uint8_t* out) {
    const BitRules& rules = RulesFor(fy);
    const auto pick = [&](const BitRule& rule, std::uint8_t* to) {
        m_kernels.pickBits(rule, rule.turned ? lower : upper, rule.turned ? upper : lower, m_pixels, to);
    };
    if (rules.same) {
        pick(rules.sure, out);
        return;
    }
    const std::size_t bytes = (m_pixels + 7) / 8;
    std::memset(m_sure, 0, bytes);
    std::memset(m_possible, 0, bytes);
    pick(rules.sure, m_sure);
    pick(rules.possible, m_possible);
    Settle(upper, lower, fy);
    AddBits(out, m_sure, bytes);
}

inline void MonoRows::SetAll(std::uint8_t* out) const {
    SetBytes(out, m_pixels / 8);
    if (m_pixels % 8 != 0)
        out[m_pixels / 8] = static_cast<std::uint8_t>(out[m_pixels / 8] | 0xFF00 >> (m_pixels & 7));
}

void MonoRows::Build(const std::uint8_t* source, const SamplePair& rows, std::uint8_t* out) {
    // A blackness is 0 to 255.
    if (m_threshold <= 0 || m_threshold > 255) {
        if (m_threshold > 0)
            SetAll(out);
        return;
    }
    // Without a difference or a weight the second row adds nothing.
    const bool alone = rows.first == rows.second || rows.fraction == 0;
    const std::uint32_t second = alone ? rows.first : rows.second;
    KeptRow* top = Find(rows.first);
    KeptRow* bottom = alone ? top : Find(second);
    if (!top || !bottom) {
        Keep(source, rows.first, second, top ? top : bottom);
        top = Find(rows.first);
        bottom = alone ? top : Find(second);
    }
    if (top->everywhere < 0 || top->everywhere != bottom->everywhere)
        Pick(SamplesOf(*top), SamplesOf(*bottom), alone ? 0 : rows.fraction, out);
    else if ((top->everywhere != 0) != m_setIsBlack)
        SetAll(out);
}

} // namespace dibprep

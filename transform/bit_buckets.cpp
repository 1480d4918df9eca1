// Columns of 1-bit rows by their fractions.
#include "transform/bit_buckets.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <utility>

namespace dibprep {

namespace {

constexpr std::size_t FewestBuckets = 16;
constexpr double Tolerance = 1e-6; // levels
constexpr double Set = 255;        // the level of a set sample
constexpr double Never = std::numeric_limits<double>::infinity();

// Adds the columns of each row of a unit to those of the next one.
void AddUp(std::uint8_t* rows, std::size_t count) {
    std::uint64_t sum[BitUnit / 8] = {};
    for (std::size_t row = 0; row < count; ++row, rows += BitUnit) {
        std::uint64_t own[BitUnit / 8];
        std::memcpy(own, rows, BitUnit);
        for (std::size_t i = 0; i < BitUnit / 8; ++i)
            sum[i] |= own[i];
        std::memcpy(rows, sum, BitUnit);
    }
}

// Of a fraction of 0 to 1, when there are `count` buckets.
std::size_t BucketOf(double fraction, double count) {
    return static_cast<std::size_t>(static_cast<std::int32_t>(fraction * count));
}

// Two rules for nearly the same threshold: those of one form are both turned or neither, as no two rows change their
// places with the threshold.
bool AreSame(const BitRule& a, const BitRule& b) {
    return a.form == b.form && std::memcmp(a.falling, b.falling, sizeof a.falling) == 0 &&
           std::memcmp(a.rising, b.rising, sizeof a.rising) == 0;
}

} // namespace

void BitBuckets::Read(const CPosition* columns, std::size_t pixels) {
    m_pixels = pixels;
    std::size_t count = FewestBuckets;
    while (count < MostBuckets && count < pixels / 4)
        count *= 2;
    m_count = static_cast<double>(count);
    // What is behind the last bucket, or in none, is below no fraction.
    std::fill_n(m_least, count + 1, Never);
    std::fill_n(m_greatest, count + 1, -Never);
    for (std::size_t x = 0; x < pixels; ++x) {
        const double fraction = columns[x].fraction;
        const std::size_t bucket = BucketOf(fraction, m_count);
        m_least[bucket] = std::min(m_least[bucket], fraction);
        m_greatest[bucket] = std::max(m_greatest[bucket], fraction);
    }
    m_used = 0;
    for (std::size_t bucket = 0; bucket <= count; ++bucket) {
        m_before[bucket] = static_cast<std::uint16_t>(m_used);
        if (m_least[bucket] == Never)
            m_greatest[bucket] = Never;
        else
            ++m_used;
    }
}

void BitBuckets::Take(ScratchParts& scratch) {
    const std::size_t units = (m_pixels + BitUnitPixels - 1) / BitUnitPixels;
    m_rows = scratch.Take<std::uint8_t>(units * (m_used + 1) * BitUnit);
}

void BitBuckets::Fill(const CPosition* columns) {
    const std::size_t unitBytes = (m_used + 1) * BitUnit;
    const double count = m_count; // no store can change a copy
    std::uint8_t* unit = m_rows;
    for (std::size_t begin = 0; begin < m_pixels; begin += BitUnitPixels, unit += unitBytes) {
        const std::size_t end = std::min(m_pixels - begin, BitUnitPixels);
        for (std::size_t x = 0; x < end; ++x) {
            const std::size_t bucket = BucketOf(columns[begin + x].fraction, count);
            std::uint8_t& byte = unit[(m_before[bucket] + std::size_t{1}) * BitUnit + x / 8];
            byte = static_cast<std::uint8_t>(byte | 0x80 >> (x & 7));
        }
        AddUp(unit, m_used + 1);
    }
}

// The row of the buckets whose columns are all below a fraction.
std::uint32_t BitBuckets::SurelyBelow(double fraction) const {
    const std::size_t bucket = BucketOf(std::min(std::max(fraction, 0.0), 1.0), m_count);
    return static_cast<std::uint32_t>((m_before[bucket] + std::size_t{m_greatest[bucket] < fraction}) * BitUnit);
}

// That of the buckets with any column that is not above it.
std::uint32_t BitBuckets::PossiblyBelow(double fraction) const {
    const std::size_t bucket = BucketOf(std::min(std::max(fraction, 0.0), 1.0), m_count);
    return static_cast<std::uint32_t>((m_before[bucket] + std::size_t{m_least[bucket] <= fraction}) * BitUnit);
}

// A set side of the level `above` next to one that is not, of the level `below`.
void BitBuckets::PutCase(BitRule& rule, std::size_t which, double above, double below, double threshold,
                         bool sure) const {
    const double meeting = (above - threshold) / (above - below);
    rule.falling[which] = sure ? SurelyBelow(meeting) : PossiblyBelow(meeting);
    rule.rising[which] = sure ? PossiblyBelow(1 - meeting) : SurelyBelow(1 - meeting);
}

// The pixels whose level is above `threshold`. Samples that are both clear, or both set, have exactly the level 0,
// or 255, and are not set, or set, whatever the threshold.
BitRule BitBuckets::RuleFor(double fy, double threshold, bool sure) const {
    BitRule rule;
    rule.columns = m_rows;
    rule.columnsUnit = (m_used + 1) * BitUnit;
    const auto put = [&](std::size_t which, double above, double below) {
        PutCase(rule, which, above, below, threshold, sure);
    };
    if (fy == 0) {
        put(0, Set, 0);
        return rule;
    }
    const double lower = Set * fy;
    const double upper = Set - lower;
    if (upper > threshold && lower > threshold) {
        rule.form = BitForm::Any;
        put(1, upper, 0);
        put(2, lower, 0);
        put(3, Set, 0);
    } else if (upper > threshold || lower > threshold) {
        rule.form = BitForm::Dominant;
        rule.turned = lower > threshold;
        const double greater = rule.turned ? lower : upper;
        const double other = rule.turned ? upper : lower;
        put(0, greater, 0);
        put(1, greater, other);
        put(2, Set, 0);
        put(3, Set, other);
        std::swap(rule.rising[1], rule.rising[2]);
    } else {
        rule.form = BitForm::Both;
        put(0, Set, 0);
        put(1, Set, upper);
        put(2, Set, lower);
    }
    return rule;
}

void BitBuckets::Choose(double fy, int threshold, bool setIsBlack, BitRules& rules) const {
    // Set pixels of the rules are black where set samples are, white otherwise.
    const double level = setIsBlack ? threshold : Set - threshold;
    rules.sure = RuleFor(fy, level + Tolerance, true);
    rules.possible = RuleFor(fy, level - Tolerance, false);
    rules.same = AreSame(rules.sure, rules.possible);
    rules.sure.flip = rules.possible.flip = setIsBlack ? ~0u : 0;
}

} // namespace dibprep

// Columns of 1-bit rows by their fractions.
#include "transform/bit_buckets.h"

#include <algorithm>
#include <cmath>

namespace dibprep {

namespace {

constexpr std::size_t FewestBuckets = 16;
constexpr std::size_t MostBuckets = 256;
constexpr double Tolerance = 1e-6; // levels
constexpr double NoSlope = 1e-9;

} // namespace

bool BitBuckets::Prepare(const CPosition* columns, std::size_t pixels, std::size_t planeBytes) {
    m_planeBytes = planeBytes;
    std::size_t count = FewestBuckets;
    while (count < MostBuckets && count < pixels / 4)
        count *= 2;
    const auto take = [&] { m_rows = m_scratch.Take<std::uint8_t>((count + 1) * planeBytes); };
    take();
    if (!m_scratch.Open())
        return false;
    take();
    for (std::size_t x = 0; x < pixels; ++x) {
        const auto bucket = static_cast<std::size_t>(columns[x].fraction * static_cast<double>(count));
        std::uint8_t& byte = m_rows[(bucket + 1) * planeBytes + x / 8];
        byte = static_cast<std::uint8_t>(byte | 0x80 >> (x & 7));
    }
    for (std::size_t i = planeBytes; i < (count + 1) * planeBytes; ++i)
        m_rows[i] = static_cast<std::uint8_t>(m_rows[i] | m_rows[i - planeBytes]);
    m_count = count;
    return true;
}

// From a blackness `left` at the fraction 0 to `right` at 1.
BitChoice BitBuckets::ChoiceBetween(double left, double right, int threshold) const {
    const double slope = right - left;
    if (std::abs(slope) < NoSlope) {
        const bool open = std::abs(left - threshold) < Tolerance;
        return {Columns(0), Columns(open ? m_count : 0), left < threshold ? ~0u : 0};
    }
    const double step = 1 / slope;
    const double meeting = (threshold - left) * step;
    const double slack = Tolerance * std::abs(step);
    const auto bucketOf = [&](double fraction) {
        const double clipped = std::min(std::max(fraction, -1.0), 2.0);
        return static_cast<int>((clipped + 1) * static_cast<double>(m_count)) - static_cast<int>(m_count);
    };
    const int count = static_cast<int>(m_count);
    const int below = std::min(std::max(bucketOf(meeting - slack), 0), count);
    const int upTo = std::min(std::max(bucketOf(meeting + slack) + 1, 0), count);
    // Rising blackness is white below the meeting point.
    return {Columns(static_cast<std::size_t>(below)), Columns(static_cast<std::size_t>(upTo)), slope > 0 ? 0 : ~0u};
}

void BitBuckets::Choose(double fy, int threshold, bool setIsBlack, BitChoice choices[16]) const {
    // By the samples above and below: neither, the upper, the lower, both are set.
    const double ofSet = setIsBlack ? 255 : 0;
    const double ofClear = 255 - ofSet;
    const double sides[4] = {ofClear, ofSet + (ofClear - ofSet) * fy, ofClear + (ofSet - ofClear) * fy, ofSet};
    for (unsigned int combination = 0; combination < 16; ++combination) {
        const unsigned int left = (combination & 1) | (combination >> 1 & 2);
        const unsigned int right = (combination >> 1 & 1) | (combination >> 2 & 2);
        // A value is 0 to 255, whatever the threshold.
        if (threshold <= 0 || threshold > 255)
            choices[combination] = {Columns(0), Columns(0), threshold > 0 ? ~0u : 0};
        else
            choices[combination] = ChoiceBetween(sides[left], sides[right], threshold);
    }
}

} // namespace dibprep

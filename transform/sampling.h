// Where an output column or row lies in the source, and how four samples become one value. Double
// precision in exactly this order, without contraction: the results are defined to the bit.
#pragma once

#include <cstdint>
#include <emmintrin.h>

namespace dibprep {

// Truncates toward zero; what no 32-bit integer can hold gives the smallest one, as the processor
// does it, instead of undefined behaviour.
inline std::int32_t Truncate(double value) { return _mm_cvttsd_si32(_mm_set_sd(value)); }

struct SamplePair {
    std::uint16_t first;  // column or row at or before the position
    std::uint16_t second; // the next one; the last one is its own neighbour
    double fraction;      // weight of the second; keeps its value at the last column or row
};

// The pair for output index `index` at `ratio` output samples per source sample.
inline SamplePair PairAt(unsigned int index, double ratio, std::uint16_t extent) {
    const double position = index / ratio;
    const auto first = static_cast<std::uint16_t>(Truncate(position));
    const double fraction = position - first;
    if (first >= extent - 1) {
        const auto last = static_cast<std::uint16_t>(extent - 1);
        return {last, last, fraction};
    }
    return {first, static_cast<std::uint16_t>(first + 1), fraction};
}

// Bilinear interpolation of the samples a, b of the first row and c, e of the second one: truncated,
// never rounded, the low 8 bits kept.
inline std::uint8_t Mix(double a, double b, double c, double e, double fx, double fy) {
    const double top = a + (b - a) * fx;
    const double bottom = c + (e - c) * fx;
    return static_cast<std::uint8_t>(Truncate(top + (bottom - top) * fy));
}

} // namespace dibprep

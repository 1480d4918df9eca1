// Fractions that a short binary number holds exactly: with them integers compute what doubles do.
#pragma once

namespace dibprep {

constexpr unsigned int NotShort = ~0u;

// The fewest bits b, at most `limit` (below 31), for which fraction * 2^b is a whole number; NotShort
// if there are none. The fraction is at least 0 and below 1, so that its product is exact.
inline unsigned int ShortFractionBits(double fraction, unsigned int limit) {
    for (unsigned int bits = 0; bits <= limit; ++bits) {
        const double scaled = fraction * static_cast<double>(1u << bits);
        if (scaled == static_cast<double>(static_cast<int>(scaled)))
            return bits;
    }
    return NotShort;
}

} // namespace dibprep

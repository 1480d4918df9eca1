// The arithmetic of resolutions and sizes that the size queries and the transform share: they must
// agree to the pixel, since one allocates what the other fills.
#pragma once

#include <cstdint>

namespace dibprep {

// Pixels per metre to dots per inch. The added 1 makes the usual values come out exact: 3779 gives
// 96, 7874 gives 200, 11811 gives 300. Unsigned 32-bit arithmetic, kept to 16 bits.
inline std::uint16_t DotsPerInch(std::int32_t pelsPerMeter) {
    return static_cast<std::uint16_t>((static_cast<std::uint32_t>(pelsPerMeter) + 1) * 254 / 10000);
}

// Dots per inch to pixels per metre, truncated.
inline std::uint32_t PelsPerMeter(std::uint16_t dpi) { return dpi * 10000u / 254u; }

// Pixels of an axis at the wanted resolution. The rule is (dpi / srcDpi) * extent with a quotient
// that is not rounded to double; the quotient of the integer product is the same number without any
// rounding at all (1/49 of 49 pixels is 1, which plain doubles miss). A source without resolution
// has no extent. Kept to 16 bits, like every extent of the pipeline.
inline std::uint16_t OutputExtent(std::uint16_t dpi, std::uint16_t extent, std::uint16_t srcDpi) {
    if (srcDpi == 0)
        return 0;
    return static_cast<std::uint16_t>(static_cast<std::uint32_t>(dpi) * extent / srcDpi);
}

// Bytes of a row, padded to four. The product of two 16-bit values leaves room for the 7.
inline std::uint32_t RowBytes(std::uint16_t bitCount, std::uint16_t width) {
    return (((static_cast<std::uint32_t>(bitCount) * width + 7) >> 3) + 3) & ~3u;
}

// Entries of the colour table: two to the bit count, kept to 16 bits, whatever the header says of
// the colours in use. Nothing from 16 bits on; one entry for a bit count of 0.
inline std::uint16_t TableEntries(std::uint16_t bitCount) {
    return bitCount < 16 ? static_cast<std::uint16_t>(1u << bitCount) : 0;
}

// The answer of the size queries for a result that no block of this system can hold.
constexpr std::uint32_t BeyondAnyBlock = 0xFFFFFFFFu;

} // namespace dibprep

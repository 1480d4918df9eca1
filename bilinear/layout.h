// Where the parts of a packed DIB lie, as the resampler counts them. Its rules are its own: the
// fields of a 40-byte header whatever the size word says, a table of the colours in use or else of
// the default count, pixels behind as many bytes as the size word says and the table, no bit-field
// masks.
#pragma once

#include "memory/header_fields.h"
#include "memory/unaligned.h"

#include <cstdint>
#include <limits>

namespace dibprep {

// Error codes of CConvertResolution::m_nLastError.
constexpr int ErrorMemory = -1;
constexpr int ErrorArgument = -4;
constexpr int ErrorCancelled = -5;
constexpr int ErrorCompressed = -7;

// The readable bytes that a header needs: 40, and one colour entry behind them.
constexpr std::size_t ProbedHeaderSize = sizeof(tagBITMAPINFO);

// Answered instead of a size that no block can have.
constexpr std::int64_t BeyondMemory = std::numeric_limits<std::int64_t>::max() / 2;

// Sums and products that keep their low 32 bits, as the record's fields are defined.
constexpr std::int32_t WrapAdd(std::int32_t a, std::int32_t b) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(a) + static_cast<std::uint32_t>(b));
}
constexpr std::int32_t WrapSubtract(std::int32_t a, std::int32_t b) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(a) - static_cast<std::uint32_t>(b));
}
constexpr std::int32_t WrapMultiply(std::int32_t a, std::int32_t b) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(a) * static_cast<std::uint32_t>(b));
}

// Bytes of the colour table of a readable header; a colour count beyond 30 bits wraps.
inline std::uint32_t TableBytes(const unsigned char* header) {
    if (const std::uint32_t used = LoadU32(header + AtClrUsed))
        return used * 4;
    switch (LoadU16(header + AtBitCount)) {
    case 1:
        return 2 * 4;
    case 4:
        return 16 * 4;
    case 8:
        return 256 * 4;
    default:
        return 0;
    }
}

// From the header to the pixels.
inline std::uint32_t BitsOffset(const unsigned char* header) { return LoadU32(header + AtSize) + TableBytes(header); }

// All rows together, exact, negative where exactly one of width and height is negative. A row of
// 2^31 bits or more is beyond memory: the record's row size could not name it.
inline std::int64_t ImageBytes(std::int64_t width, std::int64_t height, std::int64_t bits) {
    if (height == 0)
        return 0;
    const std::int64_t rowBits = width * bits + 31;
    if (rowBits > std::numeric_limits<std::int32_t>::max() || rowBits < std::numeric_limits<std::int32_t>::min())
        return BeyondMemory;
    return (rowBits >> 5) * 4 * height;
}

} // namespace dibprep

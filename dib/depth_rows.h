// One row of a depth conversion: the loops over pixels, one per source format, in a table for each
// tier. Rows may start at any address; nothing is read or written beyond the pixels asked for.
#pragma once

#include "memory/x86/cpu_tier.h"

#include <cstddef>
#include <cstdint>

namespace dibprep {

// A colour in one word: blue in bits 0 to 7, green in 8 to 15, red in 16 to 23, the rest 0.
constexpr std::uint32_t Bgr0(unsigned blue, unsigned green, unsigned red) { return blue | green << 8 | red << 16; }

// How a channel of a bit-field pixel becomes 8 bits: ((pixel & mask) >> right) << left.
struct ChannelMask {
    std::uint32_t mask;
    unsigned left;
    unsigned right;
};

struct PixelMasks {
    ChannelMask red;
    ChannelMask green;
    ChannelMask blue;
};

// Five bits per channel, bit 15 zero.
constexpr std::uint16_t Pack555(unsigned red, unsigned green, unsigned blue) {
    return static_cast<std::uint16_t>(red / 8 * 1024 + green / 8 * 32 + blue / 8);
}
constexpr std::uint16_t Pack555(std::uint32_t bgr0) { return Pack555(bgr0 >> 16, bgr0 >> 8 & 0xFF, bgr0 & 0xFF); }

struct DepthRows {
    // Colours (see Bgr0) by index: tables of 2, 16 and 256 entries.
    using IndexedTo24 = void (*)(unsigned char* out, const unsigned char* in, std::size_t pixels,
                                 const std::uint32_t* colors);
    using IndexedTo16 = void (*)(unsigned char* out, const unsigned char* in, std::size_t pixels,
                                 const std::uint16_t* values);
    using Direct = void (*)(unsigned char* out, const unsigned char* in, std::size_t pixels);
    using Masked = void (*)(unsigned char* out, const unsigned char* in, std::size_t pixels, const PixelMasks& masks);

    Tier tier;
    IndexedTo24 from1To24;
    IndexedTo24 from4To24;
    IndexedTo24 from8To24;
    Direct fromLevelsTo24; // every byte three times: indices into the table that holds gray i at i
    Direct from555To24;
    Masked fromMasked16To24;
    Masked fromMasked32To24;
    Direct from32To24;
    IndexedTo16 from1To16;
    IndexedTo16 from4To16;
    IndexedTo16 from8To16;
    Direct from24To16;
    Direct from32To16;
    Masked fromMasked32To16;
};

// The plain loops: the definition of what every variant computes. The faster loops leave the end of a
// row to them.
extern const DepthRows ScalarDepthRows;

// The best loops of a tier, which the processor must have.
const DepthRows& DepthRowsFor(Tier tier);

// For the table alone: overwrite the entries that a tier makes faster.
void AddSse2DepthRows(DepthRows& rows);
void AddSsse3DepthRows(DepthRows& rows);
void AddAvx2DepthRows(DepthRows& rows);
void AddAvx512DepthRows(DepthRows& rows);

} // namespace dibprep

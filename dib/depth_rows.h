// One row of a depth conversion: the loops over pixels, one per source format, behind a table so
// that faster variants can take their places. Rows may start at any address; nothing is written
// beyond the pixels asked for.
#pragma once

#include <cstddef>
#include <cstdint>

namespace dibprep {

struct Bgr {
    unsigned char blue;
    unsigned char green;
    unsigned char red;
};

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

struct DepthRows {
    // Colours by index: tables of 2, 16 and 256 entries.
    using IndexedTo24 = void (*)(unsigned char* out, const unsigned char* in, std::size_t pixels, const Bgr* colors);
    using IndexedTo16 = void (*)(unsigned char* out, const unsigned char* in, std::size_t pixels,
                                 const std::uint16_t* values);
    using Direct = void (*)(unsigned char* out, const unsigned char* in, std::size_t pixels);
    using Masked = void (*)(unsigned char* out, const unsigned char* in, std::size_t pixels, const PixelMasks& masks);

    IndexedTo24 from1To24;
    IndexedTo24 from4To24;
    IndexedTo24 from8To24;
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

// The plain loops: the definition of what every variant computes.
extern const DepthRows ScalarDepthRows;

} // namespace dibprep

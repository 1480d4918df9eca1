// The plain row loops of the depth conversions, and the tables of all tiers.
#include "dib/depth_rows.h"

#include "memory/unaligned.h"

#include <array>

namespace dibprep {
namespace {

// Palette index of pixel x, most significant bits first.
template <unsigned BitCount>
unsigned Index(const unsigned char* in, std::size_t x) {
    static_assert(BitCount == 1 || BitCount == 4 || BitCount == 8, "indexed depths");
    constexpr unsigned PerByte = 8 / BitCount;
    const unsigned shift = 8 - BitCount - static_cast<unsigned>(x % PerByte) * BitCount;
    return in[x / PerByte] >> shift & ((1u << BitCount) - 1);
}

template <unsigned BitCount>
void IndexedTo24(unsigned char* out, const unsigned char* in, std::size_t pixels, const std::uint32_t* colors) {
    for (std::size_t x = 0; x < pixels; ++x, out += 3) {
        const std::uint32_t color = colors[Index<BitCount>(in, x)];
        out[0] = static_cast<unsigned char>(color);
        out[1] = static_cast<unsigned char>(color >> 8);
        out[2] = static_cast<unsigned char>(color >> 16);
    }
}

void FromLevelsTo24(unsigned char* out, const unsigned char* in, std::size_t pixels) {
    for (std::size_t x = 0; x < pixels; ++x, out += 3)
        out[0] = out[1] = out[2] = in[x];
}

template <unsigned BitCount>
void IndexedTo16(unsigned char* out, const unsigned char* in, std::size_t pixels, const std::uint16_t* values) {
    for (std::size_t x = 0; x < pixels; ++x)
        StoreU16(out + 2 * x, values[Index<BitCount>(in, x)]);
}

// 5 bits to 8: a channel is 0 or has its low bits set, so that 31 becomes 255.
unsigned char Widen(unsigned value) { return static_cast<unsigned char>(value ? value * 8 + 7 : 0); }

void From555To24(unsigned char* out, const unsigned char* in, std::size_t pixels) {
    for (std::size_t x = 0; x < pixels; ++x, out += 3) {
        const unsigned pixel = LoadU16(in + 2 * x);
        out[0] = Widen(pixel & 31);
        out[1] = Widen(pixel >> 5 & 31);
        out[2] = Widen(pixel >> 10 & 31);
    }
}

unsigned char Channel(std::uint32_t pixel, const ChannelMask& channel) {
    return static_cast<unsigned char>((pixel & channel.mask) >> channel.right << channel.left);
}

void StoreMasked(unsigned char* out, std::uint32_t pixel, const PixelMasks& masks) {
    out[0] = Channel(pixel, masks.blue);
    out[1] = Channel(pixel, masks.green);
    out[2] = Channel(pixel, masks.red);
}

void FromMasked16To24(unsigned char* out, const unsigned char* in, std::size_t pixels, const PixelMasks& masks) {
    for (std::size_t x = 0; x < pixels; ++x)
        StoreMasked(out + 3 * x, LoadU16(in + 2 * x), masks);
}

void FromMasked32To24(unsigned char* out, const unsigned char* in, std::size_t pixels, const PixelMasks& masks) {
    for (std::size_t x = 0; x < pixels; ++x)
        StoreMasked(out + 3 * x, LoadU32(in + 4 * x), masks);
}

void From32To24(unsigned char* out, const unsigned char* in, std::size_t pixels) {
    for (std::size_t x = 0; x < pixels; ++x, in += 4, out += 3) {
        out[0] = in[0];
        out[1] = in[1];
        out[2] = in[2];
    }
}

template <unsigned BytesPerPixel>
void TrueColorTo16(unsigned char* out, const unsigned char* in, std::size_t pixels) {
    for (std::size_t x = 0; x < pixels; ++x, in += BytesPerPixel)
        StoreU16(out + 2 * x, Pack555(in[2], in[1], in[0]));
}

// The low five bits repeat red and the blue mask goes unused, by decision: callers rely on getting
// the same values here whatever the blue mask says.
void FromMasked32To16(unsigned char* out, const unsigned char* in, std::size_t pixels, const PixelMasks& masks) {
    for (std::size_t x = 0; x < pixels; ++x) {
        const std::uint32_t pixel = LoadU32(in + 4 * x);
        const unsigned red = Channel(pixel, masks.red);
        StoreU16(out + 2 * x, Pack555(red, Channel(pixel, masks.green), red));
    }
}

DepthRows TableFor(Tier tier) {
    DepthRows rows = ScalarDepthRows;
    rows.tier = tier;
    if (tier >= Tier::Sse2)
        AddSse2DepthRows(rows);
    if (tier >= Tier::Ssse3)
        AddSsse3DepthRows(rows);
    if (tier >= Tier::Avx2)
        AddAvx2DepthRows(rows);
    if (tier >= Tier::Avx512)
        AddAvx512DepthRows(rows);
    return rows;
}

} // namespace

const DepthRows ScalarDepthRows = {
    Tier::Scalar,   IndexedTo24<1>,   IndexedTo24<4>,   IndexedTo24<8>,   FromLevelsTo24,
    From555To24,    FromMasked16To24, FromMasked32To24, From32To24,       IndexedTo16<1>,
    IndexedTo16<4>, IndexedTo16<8>,   TrueColorTo16<3>, TrueColorTo16<4>, FromMasked32To16,
};

const DepthRows& DepthRowsFor(Tier tier) {
    static const auto tables = TablesFor(TableFor);
    return tables[static_cast<std::size_t>(tier)];
}

} // namespace dibprep

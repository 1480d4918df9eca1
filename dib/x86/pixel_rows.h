// The row loops over true-colour pixels, for registers of any size. A file that includes this has
// defined its tier, DIBPREP_TIER, before, and below it
//
//     Pixels                          a register of pixels, 32 bits each
//     All(word)                       every pixel the same
//     And, Or, NotAnd(a, b)           NotAnd is ~a & b
//     Up(p, count), Down(p, count)    the bits of every pixel shifted by a count that is not constant
//     ZeroBytes(p)                    0xFF where a byte is 0
//     LoadBgr, LoadBgr0, LoadWords    pixels of 3, 4 and 2 bytes
//     StoreBgr(out, p)                the low three bytes of every pixel; may write SlackBytes more
//     StoreWords(out, p, q)           the low words of two registers, which are below 0x8000
//     To555(p)                        Pack555 of every pixel
//     MasksEnds                       whether the loads and stores also come for the first `left` pixels or
//                                     all, without slack: LoadBgr(in, left), StoreBgr(out, p, left) and so
//                                     on, StoreWords(out, p, left) for one register
//
// Each such file compiles the loops for itself: in 32-bit builds the compiler takes no function of
// one tier into another.
#pragma once

#include "dib/depth_rows.h"

namespace dibprep {
namespace {

constexpr std::size_t PixelsPerRegister = sizeof(Pixels) / 4;

// Loads and stores may touch this many pixels more, so that the loops end early by so many.
constexpr std::size_t SlackPixels = (SlackBytes + 2) / 3;

// ((pixel & mask) >> right) << left, moved to the channel's place in Bgr0. Only those bits of the
// mask count that arrive among the 8 of the channel; with the others gone, the two shifts and the
// way to the place are one shift. Bits below the mask's own shift right fall off, above too.
struct ChannelShift {
    Pixels bits;
    __m128i down;
    __m128i up;
};

DIBPREP_TIER inline ChannelShift ShiftOf(const ChannelMask& channel, unsigned place) {
    std::uint32_t bits = 0;
    for (unsigned bit = 0; bit < 8; ++bit)
        if (bit >= channel.left && bit - channel.left + channel.right < 32)
            bits |= 1u << (bit - channel.left + channel.right);
    const int up = static_cast<int>(channel.left + place) - static_cast<int>(channel.right);
    return {All(bits & channel.mask), _mm_cvtsi32_si128(up < 0 ? -up : 0), _mm_cvtsi32_si128(up > 0 ? up : 0)};
}

DIBPREP_TIER inline Pixels Shifted(Pixels pixels, const ChannelShift& channel) {
    return Up(Down(And(pixels, channel.bits), channel.down), channel.up);
}

struct Shifts {
    ChannelShift blue;
    ChannelShift green;
    ChannelShift red;
};

DIBPREP_TIER inline Pixels Masked(Pixels pixels, const Shifts& shifts) {
    return Or(Or(Shifted(pixels, shifts.blue), Shifted(pixels, shifts.green)), Shifted(pixels, shifts.red));
}

// What a row is read as: Bgr0 pixels from bytes, a register full of them or as many as are left.
struct BgrSource {
    static constexpr std::size_t Bytes = 3;
    template <class... Left>
    DIBPREP_TIER Pixels At(const unsigned char* in, Left... left) const {
        return LoadBgr(in, left...);
    }
};

struct Bgr0Source {
    static constexpr std::size_t Bytes = 4;
    template <class... Left>
    DIBPREP_TIER Pixels At(const unsigned char* in, Left... left) const {
        return LoadBgr0(in, left...);
    }
};

// Five bits to the top of their byte, and the three bits below them set unless all five are 0.
struct Words555Source {
    static constexpr std::size_t Bytes = 2;
    template <class... Left>
    DIBPREP_TIER Pixels At(const unsigned char* in, Left... left) const {
        const Pixels words = LoadWords(in, left...);
        const Pixels blue = And(Up(words, _mm_cvtsi32_si128(3)), All(0xF8));
        const Pixels green = And(Up(words, _mm_cvtsi32_si128(6)), All(0xF800));
        const Pixels red = And(Up(words, _mm_cvtsi32_si128(9)), All(0xF80000));
        const Pixels top = Or(Or(blue, green), red);
        return Or(top, NotAnd(ZeroBytes(top), All(0x070707)));
    }
};

struct Masked16Source {
    static constexpr std::size_t Bytes = 2;
    Shifts shifts;
    template <class... Left>
    DIBPREP_TIER Pixels At(const unsigned char* in, Left... left) const {
        return Masked(LoadWords(in, left...), shifts);
    }
};

struct Masked32Source {
    static constexpr std::size_t Bytes = 4;
    Shifts shifts;
    template <class... Left>
    DIBPREP_TIER Pixels At(const unsigned char* in, Left... left) const {
        return Masked(LoadBgr0(in, left...), shifts);
    }
};

// Both return how many pixels they have converted; the rest, if any, is the plain loop's.
template <class Source>
DIBPREP_TIER inline std::size_t RowTo24(unsigned char* out, const unsigned char* in, std::size_t pixels,
                                        const Source& source) {
    std::size_t x = 0;
    for (; x + PixelsPerRegister + SlackPixels <= pixels; x += PixelsPerRegister)
        StoreBgr(out + 3 * x, source.At(in + Source::Bytes * x));
    if constexpr (MasksEnds) {
        for (; x < pixels; x += PixelsPerRegister)
            StoreBgr(out + 3 * x, source.At(in + Source::Bytes * x, pixels - x), pixels - x);
        return pixels;
    }
    return x;
}

template <class Source>
DIBPREP_TIER inline std::size_t RowTo16(unsigned char* out, const unsigned char* in, std::size_t pixels,
                                        const Source& source) {
    std::size_t x = 0;
    for (; x + 2 * PixelsPerRegister + SlackPixels <= pixels; x += 2 * PixelsPerRegister) {
        const unsigned char* const from = in + Source::Bytes * x;
        const Pixels first = To555(source.At(from));
        StoreWords(out + 2 * x, first, To555(source.At(from + Source::Bytes * PixelsPerRegister)));
    }
    if constexpr (MasksEnds) {
        for (; x < pixels; x += PixelsPerRegister)
            StoreWords(out + 2 * x, To555(source.At(in + Source::Bytes * x, pixels - x)), pixels - x);
        return pixels;
    }
    return x;
}

DIBPREP_TIER void From555To24(unsigned char* out, const unsigned char* in, std::size_t pixels) {
    const std::size_t x = RowTo24(out, in, pixels, Words555Source{});
    ScalarDepthRows.from555To24(out + 3 * x, in + 2 * x, pixels - x);
}

DIBPREP_TIER void FromMasked16To24(unsigned char* out, const unsigned char* in, std::size_t pixels,
                                   const PixelMasks& masks) {
    const Masked16Source source = {{ShiftOf(masks.blue, 0), ShiftOf(masks.green, 8), ShiftOf(masks.red, 16)}};
    const std::size_t x = RowTo24(out, in, pixels, source);
    ScalarDepthRows.fromMasked16To24(out + 3 * x, in + 2 * x, pixels - x, masks);
}

DIBPREP_TIER void FromMasked32To24(unsigned char* out, const unsigned char* in, std::size_t pixels,
                                   const PixelMasks& masks) {
    const Masked32Source source = {{ShiftOf(masks.blue, 0), ShiftOf(masks.green, 8), ShiftOf(masks.red, 16)}};
    const std::size_t x = RowTo24(out, in, pixels, source);
    ScalarDepthRows.fromMasked32To24(out + 3 * x, in + 4 * x, pixels - x, masks);
}

DIBPREP_TIER void From32To24(unsigned char* out, const unsigned char* in, std::size_t pixels) {
    const std::size_t x = RowTo24(out, in, pixels, Bgr0Source{});
    ScalarDepthRows.from32To24(out + 3 * x, in + 4 * x, pixels - x);
}

DIBPREP_TIER void From24To16(unsigned char* out, const unsigned char* in, std::size_t pixels) {
    const std::size_t x = RowTo16(out, in, pixels, BgrSource{});
    ScalarDepthRows.from24To16(out + 2 * x, in + 3 * x, pixels - x);
}

DIBPREP_TIER void From32To16(unsigned char* out, const unsigned char* in, std::size_t pixels) {
    const std::size_t x = RowTo16(out, in, pixels, Bgr0Source{});
    ScalarDepthRows.from32To16(out + 2 * x, in + 4 * x, pixels - x);
}

// Red stands for blue too, as in the plain loop.
DIBPREP_TIER void FromMasked32To16(unsigned char* out, const unsigned char* in, std::size_t pixels,
                                   const PixelMasks& masks) {
    const Masked32Source source = {{ShiftOf(masks.red, 0), ShiftOf(masks.green, 8), ShiftOf(masks.red, 16)}};
    const std::size_t x = RowTo16(out, in, pixels, source);
    ScalarDepthRows.fromMasked32To16(out + 2 * x, in + 4 * x, pixels - x, masks);
}

// Without the tier: tables are filled on every processor, also with the loops that it cannot run.
void AddPixelRows(DepthRows& rows) {
    rows.from555To24 = From555To24;
    rows.fromMasked16To24 = FromMasked16To24;
    rows.fromMasked32To24 = FromMasked32To24;
    rows.from32To24 = From32To24;
    rows.from24To16 = From24To16;
    rows.from32To16 = From32To16;
    rows.fromMasked32To16 = FromMasked32To16;
}

} // namespace
} // namespace dibprep

// The source pixels of a quantiser: one place that tells how each layout is decoded, for filling the
// octree and for mapping alike.
#pragma once

#include "dib/layout.h"
#include "dibprep/dib.h"
#include "dibprep/quantize.h"

#include <cstddef>
#include <cstdint>

namespace dibprep {

struct Rgb {
    unsigned char r;
    unsigned char g;
    unsigned char b;
};

// Bytes of a row, padded to four.
inline std::size_t SourceRowBytes(unsigned int bitCount, int width) {
    return static_cast<std::size_t>(RowStride(static_cast<std::uint32_t>(width), bitCount));
}

// One channel of a bit-field pixel as 8 bits.
class FieldChannel {
public:
    explicit FieldChannel(std::uint32_t mask) : m_mask(mask) { GetShifts(mask, m_left, m_right); }

    unsigned char Of(std::uint32_t pixel) const {
        // An empty mask answers a shift by 32, which means nothing is left.
        return m_right >= 32 ? 0 : static_cast<unsigned char>((pixel & m_mask) >> m_right << m_left);
    }

private:
    std::uint32_t m_mask;
    unsigned short m_left = 0;
    unsigned short m_right = 0;
};

// The masks of a bit-field source are never its own. The object keeps the 40-byte header alone, and
// what follows a header where masks are expected are the object's next fields: the maximum colour
// count (red), then colour word (green) and pixel count (blue) of the first palette record. Kept so
// by decision: hosts bring bit-field pages to 24 bits first. The record changes while the palette
// is built, so filling and mapping see different masks.
class FieldDecoder {
public:
    explicit FieldDecoder(const CNiGoRo2& quantiser)
        : m_red(quantiser.m_dwMaxColors), m_green(LoadU32(&quantiser.m_Palette[0].m_rgb)),
          m_blue(quantiser.m_Palette[0].m_dwCount) {}

    Rgb Of(std::uint32_t pixel) const { return {m_red.Of(pixel), m_green.Of(pixel), m_blue.Of(pixel)}; }

private:
    FieldChannel m_red;
    FieldChannel m_green;
    FieldChannel m_blue;
};

// 5-5-5: the top bits of each channel, the rest zero.
inline Rgb DecodePlain16(std::uint32_t pixel) {
    return {static_cast<unsigned char>(pixel >> 7 & 0xF8), static_cast<unsigned char>(pixel >> 2 & 0xF8),
            static_cast<unsigned char>(pixel << 3)};
}

enum class Layout { None, Fields16, Fields32, Plain16, Plain24 };

inline Layout LayoutOf(const tagBITMAPINFOHEADER& header) {
    if (header.biCompression == BI_BITFIELDS)
        return header.biBitCount == 16 ? Layout::Fields16 : header.biBitCount == 32 ? Layout::Fields32 : Layout::None;
    return header.biBitCount == 16 ? Layout::Plain16 : header.biBitCount == 24 ? Layout::Plain24 : Layout::None;
}

// Calls row(y, pixel) for every row, where pixel(x) decodes column x.
template <typename Row>
void ForEachRow16(const unsigned char* bits, int height, std::size_t stride, const FieldDecoder& decoder, Row row) {
    for (int y = 0; y < height; ++y, bits += stride)
        row(y, [&](int x) { return decoder.Of(LoadU16(bits + std::size_t{2} * static_cast<unsigned int>(x))); });
}

template <typename Row>
void ForEachRow32(const unsigned char* bits, int height, std::size_t stride, const FieldDecoder& decoder, Row row) {
    for (int y = 0; y < height; ++y, bits += stride)
        row(y, [&](int x) { return decoder.Of(LoadU32(bits + std::size_t{4} * static_cast<unsigned int>(x))); });
}

template <typename Row>
void ForEachRowPlain16(const unsigned char* bits, int height, std::size_t stride, Row row) {
    for (int y = 0; y < height; ++y, bits += stride)
        row(y, [&](int x) { return DecodePlain16(LoadU16(bits + std::size_t{2} * static_cast<unsigned int>(x))); });
}

template <typename Row>
void ForEachRow24(const unsigned char* bits, int height, std::size_t stride, Row row) {
    for (int y = 0; y < height; ++y, bits += stride) {
        row(y, [&](int x) {
            const unsigned char* const at = bits + std::size_t{3} * static_cast<unsigned int>(x);
            return Rgb{at[2], at[1], at[0]};
        });
    }
}

} // namespace dibprep

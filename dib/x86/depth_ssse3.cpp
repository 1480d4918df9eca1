// The depth conversions' row loops in SSSE3: bytes go to their places by shuffles.
#include "dib/depth_rows.h"

#include <tmmintrin.h>

#define DIBPREP_TIER __attribute__((target("ssse3")))

#include "dib/x86/pixels_128.h"

namespace dibprep {
namespace {

constexpr std::size_t SlackBytes = 4;

DIBPREP_TIER inline Pixels LoadBgr(const unsigned char* in) {
    return _mm_shuffle_epi8(Load(in), _mm_setr_epi8(0, 1, 2, -1, 3, 4, 5, -1, 6, 7, 8, -1, 9, 10, 11, -1));
}

DIBPREP_TIER inline void StoreBgr(unsigned char* out, Pixels pixels) {
    Store(out, _mm_shuffle_epi8(pixels, _mm_setr_epi8(0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, -1, -1, -1, -1)));
}

// With the low bits gone, 32 * green joins blue, 1024 * red joins both, and the sum is 8 times the word.
DIBPREP_TIER inline Pixels To555(Pixels pixels) {
    const __m128i pairs = _mm_maddubs_epi16(And(pixels, All(0xF8F8F8)), All(0x012001));
    return _mm_srli_epi32(_mm_madd_epi16(pairs, All(1024u << 16 | 1)), 3);
}

} // namespace
} // namespace dibprep

#include "dib/x86/pixel_rows.h"

namespace dibprep {
namespace {

// A byte of each of 16 table entries, in order.
DIBPREP_TIER inline __m128i BytesOf16(const std::uint32_t* table, unsigned shift) {
    alignas(16) unsigned char bytes[16];
    for (unsigned i = 0; i < 16; ++i)
        bytes[i] = static_cast<unsigned char>(table[i] >> shift);
    return Load(bytes);
}

// 16 indices from 8 bytes.
DIBPREP_TIER inline __m128i Nibbles(const unsigned char* in) {
    const __m128i bytes = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(in));
    const __m128i low = _mm_set1_epi8(15);
    return _mm_unpacklo_epi8(_mm_and_si128(_mm_srli_epi16(bytes, 4), low), _mm_and_si128(bytes, low));
}

// 16 blues, greens and reds to 48 bytes.
DIBPREP_TIER inline void StoreChannels(unsigned char* out, __m128i blue, __m128i green, __m128i red) {
    const __m128i blue0 = _mm_setr_epi8(0, -1, -1, 1, -1, -1, 2, -1, -1, 3, -1, -1, 4, -1, -1, 5);
    const __m128i green0 = _mm_setr_epi8(-1, 0, -1, -1, 1, -1, -1, 2, -1, -1, 3, -1, -1, 4, -1, -1);
    const __m128i red0 = _mm_setr_epi8(-1, -1, 0, -1, -1, 1, -1, -1, 2, -1, -1, 3, -1, -1, 4, -1);
    const __m128i blue1 = _mm_setr_epi8(-1, -1, 6, -1, -1, 7, -1, -1, 8, -1, -1, 9, -1, -1, 10, -1);
    const __m128i green1 = _mm_setr_epi8(5, -1, -1, 6, -1, -1, 7, -1, -1, 8, -1, -1, 9, -1, -1, 10);
    const __m128i red1 = _mm_setr_epi8(-1, 5, -1, -1, 6, -1, -1, 7, -1, -1, 8, -1, -1, 9, -1, -1);
    const __m128i blue2 = _mm_setr_epi8(-1, 11, -1, -1, 12, -1, -1, 13, -1, -1, 14, -1, -1, 15, -1, -1);
    const __m128i green2 = _mm_setr_epi8(-1, -1, 11, -1, -1, 12, -1, -1, 13, -1, -1, 14, -1, -1, 15, -1);
    const __m128i red2 = _mm_setr_epi8(10, -1, -1, 11, -1, -1, 12, -1, -1, 13, -1, -1, 14, -1, -1, 15);
    Store(out, _mm_or_si128(_mm_or_si128(_mm_shuffle_epi8(blue, blue0), _mm_shuffle_epi8(green, green0)),
                            _mm_shuffle_epi8(red, red0)));
    Store(out + 16, _mm_or_si128(_mm_or_si128(_mm_shuffle_epi8(blue, blue1), _mm_shuffle_epi8(green, green1)),
                                 _mm_shuffle_epi8(red, red1)));
    Store(out + 32, _mm_or_si128(_mm_or_si128(_mm_shuffle_epi8(blue, blue2), _mm_shuffle_epi8(green, green2)),
                                 _mm_shuffle_epi8(red, red2)));
}

DIBPREP_TIER void From4To24(unsigned char* out, const unsigned char* in, std::size_t pixels,
                            const std::uint32_t* colors) {
    const __m128i blue = BytesOf16(colors, 0);
    const __m128i green = BytesOf16(colors, 8);
    const __m128i red = BytesOf16(colors, 16);
    std::size_t x = 0;
    for (; x + 16 <= pixels; x += 16) {
        const __m128i index = Nibbles(in + x / 2);
        StoreChannels(out + 3 * x, _mm_shuffle_epi8(blue, index), _mm_shuffle_epi8(green, index),
                      _mm_shuffle_epi8(red, index));
    }
    ScalarDepthRows.from4To24(out + 3 * x, in + x / 2, pixels - x, colors);
}

DIBPREP_TIER void FromLevelsTo24(unsigned char* out, const unsigned char* in, std::size_t pixels) {
    const __m128i first = _mm_setr_epi8(0, 0, 0, 1, 1, 1, 2, 2, 2, 3, 3, 3, 4, 4, 4, 5);
    const __m128i second = _mm_setr_epi8(5, 5, 6, 6, 6, 7, 7, 7, 8, 8, 8, 9, 9, 9, 10, 10);
    const __m128i third = _mm_setr_epi8(10, 11, 11, 11, 12, 12, 12, 13, 13, 13, 14, 14, 14, 15, 15, 15);
    std::size_t x = 0;
    for (; x + 16 <= pixels; x += 16) {
        const __m128i levels = Load(in + x);
        Store(out + 3 * x, _mm_shuffle_epi8(levels, first));
        Store(out + 3 * x + 16, _mm_shuffle_epi8(levels, second));
        Store(out + 3 * x + 32, _mm_shuffle_epi8(levels, third));
    }
    ScalarDepthRows.fromLevelsTo24(out + 3 * x, in + x, pixels - x);
}

DIBPREP_TIER void From4To16(unsigned char* out, const unsigned char* in, std::size_t pixels,
                            const std::uint16_t* values) {
    alignas(16) unsigned char lowBytes[16];
    alignas(16) unsigned char highBytes[16];
    for (std::size_t i = 0; i < 16; ++i) {
        lowBytes[i] = static_cast<unsigned char>(values[i]);
        highBytes[i] = static_cast<unsigned char>(values[i] >> 8);
    }
    const __m128i low = Load(lowBytes);
    const __m128i high = Load(highBytes);
    std::size_t x = 0;
    for (; x + 16 <= pixels; x += 16) {
        const __m128i index = Nibbles(in + x / 2);
        const __m128i lowOf = _mm_shuffle_epi8(low, index);
        const __m128i highOf = _mm_shuffle_epi8(high, index);
        Store(out + 2 * x, _mm_unpacklo_epi8(lowOf, highOf));
        Store(out + 2 * x + 16, _mm_unpackhi_epi8(lowOf, highOf));
    }
    ScalarDepthRows.from4To16(out + 2 * x, in + x / 2, pixels - x, values);
}

} // namespace

void AddSsse3DepthRows(DepthRows& rows) {
    AddPixelRows(rows);
    rows.from4To24 = From4To24;
    rows.fromLevelsTo24 = FromLevelsTo24;
    rows.from4To16 = From4To16;
}

} // namespace dibprep

// The depth conversions' row loops in SSE2.
#include "dib/depth_rows.h"

#include <cstring>
#include <emmintrin.h>

#define DIBPREP_TIER __attribute__((target("sse2")))

#include "dib/x86/pixels_128.h"
#include "memory/x86/index_word.h"

namespace dibprep {
namespace {

constexpr std::size_t SlackBytes = 4;

// Pixel i starts at byte 3 * i: shifted down by so many bytes it is the lowest word.
DIBPREP_TIER inline Pixels LoadBgr(const unsigned char* in) {
    const __m128i bytes = Load(in);
    const __m128i low = _mm_unpacklo_epi32(bytes, _mm_srli_si128(bytes, 3));
    const __m128i high = _mm_unpacklo_epi32(_mm_srli_si128(bytes, 6), _mm_srli_si128(bytes, 9));
    return And(_mm_unpacklo_epi64(low, high), All(0xFFFFFF));
}

// The second pixel of each half moves down by a byte, then the upper half by two.
DIBPREP_TIER inline void StoreBgr(unsigned char* out, Pixels pixels) {
    const __m128i even = _mm_set1_epi64x(0xFFFFFF);
    const __m128i odd = _mm_set1_epi64x(0xFFFFFF000000);
    const __m128i pairs = Or(And(pixels, even), And(_mm_srli_epi64(pixels, 8), odd));
    Store(out, Or(_mm_move_epi64(pairs), _mm_slli_si128(_mm_srli_si128(pairs, 8), 6)));
}

DIBPREP_TIER inline Pixels To555(Pixels pixels) {
    const Pixels blue = And(_mm_srli_epi32(pixels, 3), All(0x1F));
    const Pixels green = And(_mm_srli_epi32(pixels, 6), All(0x3E0));
    return Or(Or(blue, green), And(_mm_srli_epi32(pixels, 9), All(0x7C00)));
}

} // namespace
} // namespace dibprep

#include "dib/x86/pixel_rows.h"

namespace dibprep {
namespace {

// The bytes of four pixels that a set bit gives the second colour, most significant bit first.
struct alignas(16) PixelMask4 {
    unsigned char bytes[16];
};

struct PixelMasks4 {
    PixelMask4 of[16];
};

constexpr PixelMasks4 MakePixelMasks4() {
    PixelMasks4 masks = {};
    for (unsigned bits = 0; bits < 16; ++bits)
        for (unsigned byte = 0; byte < 12; ++byte)
            masks.of[bits].bytes[byte] = bits & 8u >> byte / 3 ? 0xFF : 0;
    return masks;
}

constexpr PixelMasks4 MasksOfBits = MakePixelMasks4();

DIBPREP_TIER void From1To24(unsigned char* out, const unsigned char* in, std::size_t pixels,
                            const std::uint32_t* colors) {
    const __m128i clear = FourTimes(colors[0]);
    const __m128i change = _mm_xor_si128(clear, FourTimes(colors[1]));
    std::size_t x = 0;
    for (; x + 8 + SlackPixels <= pixels; x += 8, out += 24) {
        const unsigned bits = in[x / 8];
        Store(out, _mm_xor_si128(clear, And(Load(MasksOfBits.of[bits >> 4].bytes), change)));
        Store(out + 12, _mm_xor_si128(clear, And(Load(MasksOfBits.of[bits & 15].bytes), change)));
    }
    ScalarDepthRows.from1To24(out, in + x / 8, pixels - x, colors);
}

DIBPREP_TIER void From1To16(unsigned char* out, const unsigned char* in, std::size_t pixels,
                            const std::uint16_t* values) {
    const __m128i bit = _mm_setr_epi16(0x80, 0x40, 0x20, 0x10, 8, 4, 2, 1);
    const __m128i set = _mm_set1_epi16(static_cast<short>(values[1]));
    const __m128i change = _mm_xor_si128(set, _mm_set1_epi16(static_cast<short>(values[0])));
    std::size_t x = 0;
    for (; x + 8 <= pixels; x += 8) {
        const __m128i hit = And(_mm_set1_epi16(in[x / 8]), bit);
        Store(out + 2 * x, _mm_xor_si128(set, And(_mm_cmpeq_epi16(hit, _mm_setzero_si128()), change)));
    }
    ScalarDepthRows.from1To16(out + 2 * x, in + x / 8, pixels - x, values);
}

DIBPREP_TIER inline void StoreWord(unsigned char* out, std::uint32_t word) { std::memcpy(out, &word, sizeof word); }

// Whole words, each of which writes over the fourth byte of the one before.
DIBPREP_TIER void From4To24(unsigned char* out, const unsigned char* in, std::size_t pixels,
                            const std::uint32_t* colors) {
    std::size_t x = 0;
    for (; x + 8 + SlackPixels <= pixels; x += 8, out += 24) {
        const std::uint32_t eight = Word(in + x / 2);
        StoreWord(out, colors[eight >> 4 & 15]);
        StoreWord(out + 3, colors[eight & 15]);
        StoreWord(out + 6, colors[eight >> 12 & 15]);
        StoreWord(out + 9, colors[eight >> 8 & 15]);
        StoreWord(out + 12, colors[eight >> 20 & 15]);
        StoreWord(out + 15, colors[eight >> 16 & 15]);
        StoreWord(out + 18, colors[eight >> 28]);
        StoreWord(out + 21, colors[eight >> 24 & 15]);
    }
    ScalarDepthRows.from4To24(out, in + x / 2, pixels - x, colors);
}

DIBPREP_TIER inline void StoreLow(unsigned char* out, __m128i value) {
    _mm_storel_epi64(reinterpret_cast<__m128i*>(out), value);
}

// Six bytes of two pixels, and zeros.
DIBPREP_TIER inline __m128i TwoColors(const std::uint32_t* colors, IndexWord word) {
    const __m128i first = _mm_cvtsi32_si128(static_cast<int>(colors[FirstIndex(word)]));
    const __m128i second = _mm_cvtsi32_si128(static_cast<int>(colors[SecondIndex(word)]));
    return Or(first, _mm_slli_epi64(second, 24));
}

// Each pair writes over the zeros of the one before. Equal indices are no case of their own: to look for
// them takes as long as they would save.
DIBPREP_TIER void From8To24(unsigned char* out, const unsigned char* in, std::size_t pixels,
                            const std::uint32_t* colors) {
    std::size_t left = pixels;
    for (; left >= 16 + SlackPixels; left -= 16, in += 16, out += 48) {
        IndexWord word = 0;
        for (std::size_t x = 0; x < 16; x += 2, word = NextTwo(word)) {
            if (x % sizeof word == 0)
                word = LoadIndices(in + x);
            StoreLow(out + 3 * x, TwoColors(colors, word));
        }
    }
    ScalarDepthRows.from8To24(out, in, left, colors);
}

// Every level four times is a pixel.
DIBPREP_TIER void FromLevelsTo24(unsigned char* out, const unsigned char* in, std::size_t pixels) {
    std::size_t x = 0;
    for (; x + 16 + SlackPixels <= pixels; x += 16, out += 48) {
        const __m128i levels = Load(in + x);
        const __m128i low = _mm_unpacklo_epi8(levels, levels);
        const __m128i high = _mm_unpackhi_epi8(levels, levels);
        StoreBgr(out, _mm_unpacklo_epi16(low, low));
        StoreBgr(out + 12, _mm_unpackhi_epi16(low, low));
        StoreBgr(out + 24, _mm_unpacklo_epi16(high, high));
        StoreBgr(out + 36, _mm_unpackhi_epi16(high, high));
    }
    ScalarDepthRows.fromLevelsTo24(out, in + x, pixels - x);
}

// Two more values: the words from `At` on of eight.
template <int At>
DIBPREP_TIER inline __m128i WithTwo(__m128i words, const std::uint16_t* values, IndexWord word) {
    return _mm_insert_epi16(_mm_insert_epi16(words, values[FirstIndex(word)], At), values[SecondIndex(word)], At + 1);
}

DIBPREP_TIER inline __m128i EightValues(const std::uint16_t* values, const unsigned char* in) {
    IndexWord word = LoadIndices(in);
    __m128i words = WithTwo<0>(_mm_setzero_si128(), values, word);
    word = NextTwo(word);
    words = WithTwo<2>(words, values, word);
    word = sizeof word == 4 ? LoadIndices(in + 4) : NextTwo(word);
    words = WithTwo<4>(words, values, word);
    return WithTwo<6>(words, values, NextTwo(word));
}

DIBPREP_TIER void From4To16(unsigned char* out, const unsigned char* in, std::size_t pixels,
                            const std::uint16_t* values) {
    std::size_t x = 0;
    for (; x + 8 <= pixels; x += 8) {
        const unsigned char* const pairs = in + x / 2;
        __m128i words = _mm_cvtsi32_si128(values[pairs[0] >> 4]);
        words = _mm_insert_epi16(words, values[pairs[0] & 15], 1);
        words = _mm_insert_epi16(words, values[pairs[1] >> 4], 2);
        words = _mm_insert_epi16(words, values[pairs[1] & 15], 3);
        words = _mm_insert_epi16(words, values[pairs[2] >> 4], 4);
        words = _mm_insert_epi16(words, values[pairs[2] & 15], 5);
        words = _mm_insert_epi16(words, values[pairs[3] >> 4], 6);
        words = _mm_insert_epi16(words, values[pairs[3] & 15], 7);
        Store(out + 2 * x, words);
    }
    ScalarDepthRows.from4To16(out + 2 * x, in + x / 2, pixels - x, values);
}

DIBPREP_TIER void From8To16(unsigned char* out, const unsigned char* in, std::size_t pixels,
                            const std::uint16_t* values) {
    std::size_t left = pixels;
    for (; left >= 16; left -= 16, in += 16, out += 32) {
        if (AllEqual(in)) {
            const __m128i value = _mm_set1_epi16(static_cast<short>(values[in[0]]));
            Store(out, value);
            Store(out + 16, value);
        } else {
            Store(out, EightValues(values, in));
            Store(out + 16, EightValues(values, in + 8));
        }
    }
    ScalarDepthRows.from8To16(out, in, left, values);
}

} // namespace

void AddSse2DepthRows(DepthRows& rows) {
    AddPixelRows(rows);
    rows.from32To16 = ScalarDepthRows.from32To16; // waits for memory already
    rows.from1To24 = From1To24;
    rows.from4To24 = From4To24;
    rows.from8To24 = From8To24;
    rows.fromLevelsTo24 = FromLevelsTo24;
    rows.from1To16 = From1To16;
    rows.from4To16 = From4To16;
    rows.from8To16 = From8To16;
}

} // namespace dibprep

// The depth conversions' row loops in AVX2: eight pixels in a register. The lookups of 4 bits and those of
// 8 bits to words stay with the lower tiers.
#include "dib/depth_rows.h"
#include "memory/x86/four_colors_avx2.h"

#include <cstring>
#include <immintrin.h>

#define DIBPREP_TIER __attribute__((target("avx2")))

namespace dibprep {
namespace {

using Pixels = __m256i;
constexpr bool MasksEnds = false;
constexpr std::size_t SlackBytes = 8;

DIBPREP_TIER inline __m128i LoadHalf(const void* at) { return _mm_loadu_si128(static_cast<const __m128i*>(at)); }
DIBPREP_TIER inline void StoreHalf(void* at, __m128i value) { _mm_storeu_si128(static_cast<__m128i*>(at), value); }
DIBPREP_TIER inline void Store(void* at, __m256i value) { _mm256_storeu_si256(static_cast<__m256i*>(at), value); }

DIBPREP_TIER inline Pixels All(std::uint32_t word) { return _mm256_set1_epi32(static_cast<int>(word)); }
DIBPREP_TIER inline Pixels And(Pixels a, Pixels b) { return _mm256_and_si256(a, b); }
DIBPREP_TIER inline Pixels Or(Pixels a, Pixels b) { return _mm256_or_si256(a, b); }
DIBPREP_TIER inline Pixels NotAnd(Pixels a, Pixels b) { return _mm256_andnot_si256(a, b); }
DIBPREP_TIER inline Pixels Up(Pixels pixels, __m128i count) { return _mm256_sll_epi32(pixels, count); }
DIBPREP_TIER inline Pixels Down(Pixels pixels, __m128i count) { return _mm256_srl_epi32(pixels, count); }
DIBPREP_TIER inline Pixels ZeroBytes(Pixels pixels) { return _mm256_cmpeq_epi8(pixels, _mm256_setzero_si256()); }

DIBPREP_TIER inline Pixels LoadBgr(const unsigned char* in) {
    const __m256i bytes = _mm256_inserti128_si256(_mm256_castsi128_si256(LoadHalf(in)), LoadHalf(in + 12), 1);
    const __m128i spread = _mm_setr_epi8(0, 1, 2, -1, 3, 4, 5, -1, 6, 7, 8, -1, 9, 10, 11, -1);
    return _mm256_shuffle_epi8(bytes, _mm256_broadcastsi128_si256(spread));
}

DIBPREP_TIER inline Pixels LoadBgr0(const unsigned char* in) {
    return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(in));
}

DIBPREP_TIER inline Pixels LoadWords(const unsigned char* in) { return _mm256_cvtepu16_epi32(LoadHalf(in)); }

// Twelve bytes of either half, then both side by side.
DIBPREP_TIER inline void StoreBgr(unsigned char* out, Pixels pixels) {
    const __m128i join = _mm_setr_epi8(0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, -1, -1, -1, -1);
    const __m256i halves = _mm256_shuffle_epi8(pixels, _mm256_broadcastsi128_si256(join));
    Store(out, _mm256_permutevar8x32_epi32(halves, _mm256_setr_epi32(0, 1, 2, 4, 5, 6, 3, 7)));
}

DIBPREP_TIER inline void StoreWords(unsigned char* out, Pixels first, Pixels second) {
    Store(out, _mm256_permute4x64_epi64(_mm256_packs_epi32(first, second), 0xD8));
}

// With the low bits gone, 32 * green joins blue, 1024 * red joins both, and the sum is 8 times the word.
DIBPREP_TIER inline Pixels To555(Pixels pixels) {
    const __m256i pairs = _mm256_maddubs_epi16(And(pixels, All(0xF8F8F8)), All(0x012001));
    return _mm256_srli_epi32(_mm256_madd_epi16(pairs, All(1024u << 16 | 1)), 3);
}

} // namespace
} // namespace dibprep

#include "dib/x86/pixel_rows.h"

namespace dibprep {
namespace {

// For 32 pixels, 96 bytes in three parts: the byte of the row that has the bit of each, and the bit.
struct alignas(32) BitPlaces {
    unsigned char byte[3][32];
    unsigned char bit[3][32];
};

constexpr BitPlaces MakeBitPlaces() {
    BitPlaces places = {};
    for (unsigned i = 0; i < 96; ++i) {
        places.byte[i / 32][i % 32] = static_cast<unsigned char>(i / 24);
        places.bit[i / 32][i % 32] = static_cast<unsigned char>(0x80 >> i / 3 % 8);
    }
    return places;
}

constexpr BitPlaces Places = MakeBitPlaces();

// A part of 32 pixels of one colour: three words again and again, of which a part has two more than
// it needs for whole rounds.
DIBPREP_TIER inline __m256i PartOf(std::uint32_t color, unsigned part) {
    const std::uint32_t words[3] = {color | color << 24, color >> 8 | color << 16, color >> 16 | color << 8};
    const auto a = static_cast<int>(words[2 * part % 3]);
    const auto b = static_cast<int>(words[(2 * part + 1) % 3]);
    const auto c = static_cast<int>(words[(2 * part + 2) % 3]);
    return _mm256_setr_epi32(a, b, c, a, b, c, a, b);
}

DIBPREP_TIER void From1To24(unsigned char* out, const unsigned char* in, std::size_t pixels,
                            const std::uint32_t* colors) {
    __m256i set[3];
    __m256i change[3];
    __m256i byteOf[3];
    __m256i bit[3];
    for (unsigned part = 0; part < 3; ++part) {
        set[part] = PartOf(colors[1], part);
        change[part] = PartOf(colors[0] ^ colors[1], part);
        byteOf[part] = LoadBgr0(Places.byte[part]);
        bit[part] = LoadBgr0(Places.bit[part]);
    }
    std::size_t x = 0;
    for (; x + 32 <= pixels; x += 32, out += 96) {
        std::uint32_t bits;
        std::memcpy(&bits, in + x / 8, sizeof bits);
        const __m256i word = All(bits);
        for (unsigned part = 0; part < 3; ++part) {
            const __m256i hit = And(_mm256_shuffle_epi8(word, byteOf[part]), bit[part]);
            Store(out + 32 * part, _mm256_xor_si256(set[part], And(ZeroBytes(hit), change[part])));
        }
    }
    ScalarDepthRows.from1To24(out, in + x / 8, pixels - x, colors);
}

// Twelve bytes of every four pixels, turned to where they lie in three registers; the inner ones go on in
// the next register.
DIBPREP_TIER inline void StoreSixteen(unsigned char* out, const unsigned char* in, const std::uint32_t* colors) {
    const __m128i places[4] = {_mm_setr_epi8(0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, -1, -1, -1, -1),
                               _mm_setr_epi8(5, 6, 8, 9, 10, 12, 13, 14, -1, -1, -1, -1, 0, 1, 2, 4),
                               _mm_setr_epi8(10, 12, 13, 14, -1, -1, -1, -1, 0, 1, 2, 4, 5, 6, 8, 9),
                               _mm_setr_epi8(-1, -1, -1, -1, 0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14)};
    __m128i pixels[4];
    IndexWord word = 0;
    for (std::size_t i = 0; i < 4; ++i) {
        if (4 * i % sizeof word == 0)
            word = LoadIndices(in + 4 * i);
        pixels[i] = _mm_shuffle_epi8(FourColors(colors, word), places[i]);
    }
    StoreHalf(out, _mm_blend_epi32(pixels[0], pixels[1], 0x8));
    StoreHalf(out + 16, _mm_blend_epi32(pixels[1], pixels[2], 0xC));
    StoreHalf(out + 32, _mm_blend_epi32(pixels[2], pixels[3], 0xE));
}

// Sixteen equal indices are no case of their own: to look for them takes as long as they would save.
DIBPREP_TIER void From8To24(unsigned char* out, const unsigned char* in, std::size_t pixels,
                            const std::uint32_t* colors) {
    if (pixels < 16) {
        ScalarDepthRows.from8To24(out, in, pixels, colors);
        return;
    }
    StoreSixteen(out, in, colors);
    // On to where registers are aligned: 11 times 3 is 1 modulo 16. Some pixels are stored again there, and
    // at the end of the row.
    std::size_t x = (0 - reinterpret_cast<std::uintptr_t>(out)) * 11 % 16;
    for (; x + 16 <= pixels; x += 16)
        StoreSixteen(out + 3 * x, in + x, colors);
    StoreSixteen(out + 3 * (pixels - 16), in + (pixels - 16), colors);
}

} // namespace

void AddAvx2DepthRows(DepthRows& rows) {
    AddPixelRows(rows);
    rows.from1To24 = From1To24;
    rows.from8To24 = From8To24;
}

} // namespace dibprep

// The depth conversions' row loops in AVX2: eight pixels in a register. The lookups of 4 and 8 bits stay
// with the lower tiers.
#include "dib/depth_rows.h"
#include "memory/unaligned.h"

#include <immintrin.h>

#define DIBPREP_TIER __attribute__((target("avx2")))

namespace dibprep {
namespace {

using Pixels = __m256i;
constexpr std::size_t SlackBytes = 8;

DIBPREP_TIER inline __m128i LoadHalf(const void* at) { return _mm_loadu_si128(static_cast<const __m128i*>(at)); }
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

// 32 of the bytes that repeat blue, green, red, beginning with byte `phase` of a colour.
DIBPREP_TIER inline __m256i Repeated(std::uint32_t color, unsigned phase) {
    unsigned char bytes[32];
    for (unsigned i = 0; i < 32; ++i)
        bytes[i] = static_cast<unsigned char>(color >> (i + phase) % 3 * 8);
    return LoadBgr0(bytes);
}

// For bytes 32 * part + i of 32 pixels: the byte of the row that has their bit, and the bit.
DIBPREP_TIER inline __m256i ByteOfBit(unsigned part) {
    unsigned char bytes[32];
    for (unsigned i = 0; i < 32; ++i)
        bytes[i] = static_cast<unsigned char>((32 * part + i) / 24);
    return LoadBgr0(bytes);
}

DIBPREP_TIER inline __m256i Bit(unsigned part) {
    unsigned char bytes[32];
    for (unsigned i = 0; i < 32; ++i)
        bytes[i] = static_cast<unsigned char>(0x80 >> (32 * part + i) / 3 % 8);
    return LoadBgr0(bytes);
}

// 32 pixels, three registers of bytes, from one word of bits. 32 bytes are 10 colours and two bytes
// more, so that the next register begins two bytes further in the colour.
DIBPREP_TIER void From1To24(unsigned char* out, const unsigned char* in, std::size_t pixels,
                            const std::uint32_t* colors) {
    __m256i set[3];
    __m256i change[3];
    __m256i byteOf[3];
    __m256i bit[3];
    for (unsigned part = 0; part < 3; ++part) {
        set[part] = Repeated(colors[1], 2 * part);
        change[part] = Repeated(colors[0] ^ colors[1], 2 * part);
        byteOf[part] = ByteOfBit(part);
        bit[part] = Bit(part);
    }
    std::size_t x = 0;
    for (; x + 32 <= pixels; x += 32, out += 96) {
        const __m256i word = All(LoadU32(in + x / 8));
        for (unsigned part = 0; part < 3; ++part) {
            const __m256i hit = And(_mm256_shuffle_epi8(word, byteOf[part]), bit[part]);
            Store(out + 32 * part, _mm256_xor_si256(set[part], And(ZeroBytes(hit), change[part])));
        }
    }
    ScalarDepthRows.from1To24(out, in + x / 8, pixels - x, colors);
}

} // namespace

void AddAvx2DepthRows(DepthRows& rows) {
    AddPixelRows(rows);
    rows.from1To24 = From1To24;
}

} // namespace dibprep

// The feeding stages with AVX-512, and those that look for stretches of one colour: 64 bytes at a time.
// Masks end the rows: no byte behind a row is read or written.
#include "bilinear/row_table.h"
#include "memory/x86/lookup_avx512.h"

namespace dibprep {
namespace {

DIBPREP_AVX512 inline __m512i Load(const void* at) { return _mm512_loadu_si512(at); }

// The lanes of what is left of a row.
DIBPREP_AVX512 inline __mmask64 LanesOf(int left) { return Lanes64(static_cast<std::size_t>(left)); }

// The first `left` bytes, or 64.
DIBPREP_AVX512 inline __m512i LoadUpTo(const void* at, int left) {
    return left >= 64 ? Load(at) : _mm512_maskz_loadu_epi8(LanesOf(left), at);
}

// May be called with nothing left.
DIBPREP_AVX512 inline void StoreUpTo(void* at, __m512i bytes, int left) {
    if (left >= 64)
        _mm512_storeu_si512(at, bytes);
    else if (left > 0)
        _mm512_mask_storeu_epi8(at, LanesOf(left), bytes);
}

struct alignas(64) Table64 {
    unsigned char bytes[64];
};

// ---- levels and colours -----------------------------------------------------------------------

DIBPREP_AVX512 void Levels(const unsigned char* row, int count, const unsigned char* levels, unsigned char* out) {
    const Bytes256 table = LoadBytes256(levels);
    for (int x = 0; x < count; x += 64)
        StoreUpTo(out + x, Lookup256(table, LoadUpTo(row + x, count - x)), count - x);
}

// Lets each byte of a channel be looked up where the output has it. Byte i of 192 is one of channel i % 3: in
// the three registers of output the bytes of a channel have places of which no two are the same, so one
// register holds all of them.
constexpr Table64 PlacesOf(int channel) {
    Table64 pixels = {};
    for (int i = channel; i < 192; i += 3)
        pixels.bytes[i % 64] = static_cast<unsigned char>(i / 3);
    return pixels;
}
constexpr Table64 Blue = PlacesOf(0);
constexpr Table64 Green = PlacesOf(1);
constexpr Table64 Red = PlacesOf(2);

// Each third byte is that of one of three registers.
DIBPREP_AVX512 inline __m512i ByThirds(__m512i first, __m512i second, __m512i third) {
    const __m512i two = _mm512_mask_mov_epi8(first, 0x2492492492492492, second);
    return _mm512_mask_mov_epi8(two, 0x4924924924924924, third);
}

DIBPREP_AVX512 void Colours3(const unsigned char* row, int count, const unsigned char* levels, unsigned char* out) {
    const Bytes256 blues = LoadBytes256(levels);
    const Bytes256 greens = LoadBytes256(levels + 256);
    const Bytes256 reds = LoadBytes256(levels + 512);
    for (int x = 0; x < count; x += 64, out += 192) {
        const __m512i indices = LoadUpTo(row + x, count - x);
        const __m512i blue = Lookup256(blues, _mm512_permutexvar_epi8(Load(Blue.bytes), indices));
        const __m512i green = Lookup256(greens, _mm512_permutexvar_epi8(Load(Green.bytes), indices));
        const __m512i red = Lookup256(reds, _mm512_permutexvar_epi8(Load(Red.bytes), indices));
        const int left = (count - x < 64 ? count - x : 64) * 3;
        StoreUpTo(out, ByThirds(blue, green, red), left);
        StoreUpTo(out + 64, ByThirds(green, red, blue), left - 64);
        StoreUpTo(out + 128, ByThirds(red, blue, green), left - 128);
    }
}

// Eight pixels, of which the left one of each byte is in its higher half, are the bits from 4, 0, 12, 8 and so
// on of four bytes. A permutation looks at six bits of them, of which only four tell levels that stand four
// times one after the other apart.
DIBPREP_AVX512 void Levels4(const unsigned char* row, int count, const unsigned char* levels, unsigned char* out) {
    const __m512i sixteen =
        _mm512_broadcast_i32x4(_mm_loadu_si128(static_cast<const __m128i*>(static_cast<const void*>(levels))));
    const __m512i halves = _mm512_set1_epi64(0x181C1014'080C0004);
    for (int i = 0; i < count; i += 32) {
        const __mmask32 lanes = static_cast<__mmask32>(LanesOf(count - i));
        const __m512i fours = _mm512_cvtepu32_epi64(_mm256_maskz_loadu_epi8(lanes, row + i));
        const __m512i pixels = _mm512_permutexvar_epi8(_mm512_multishift_epi64_epi8(halves, fours), sixteen);
        StoreUpTo(out + i * 2, pixels, count - i >= 32 ? 64 : (count - i) * 2);
    }
}

constexpr Table64 WidenedBits() {
    Table64 widened = {};
    for (int i = 0; i < 64; ++i)
        widened.bytes[i] = static_cast<unsigned char>(Widened5(i));
    return widened;
}
constexpr Table64 Widened = WidenedBits();

// Two pixels are bits 0, 5, 10, 32, 37 and 42 of eight bytes. A permutation looks at six bits from there, of
// which five count: the table has all levels twice.
DIBPREP_AVX512 inline __m512i PixelsOf(__m256i words) {
    const __m512i channels = _mm512_set1_epi64(0x002A2520'000A0500);
    const __m512i bits = _mm512_multishift_epi64_epi8(channels, _mm512_cvtepu16_epi32(words));
    return _mm512_maskz_permutexvar_epi8(0x7777777777777777, bits, Load(Widened.bytes));
}

DIBPREP_AVX512 void Widen(const unsigned char* row, int count, std::uint32_t* out) {
    for (; count >= 16; count -= 16, row += 32, out += 16)
        _mm512_storeu_si512(out, PixelsOf(_mm256_loadu_epi16(row)));
    const __mmask16 lanes = static_cast<__mmask16>(LanesOf(count));
    _mm512_mask_storeu_epi32(out, lanes, PixelsOf(_mm256_maskz_loadu_epi16(lanes, row)));
}

// ---- stretches of one colour ------------------------------------------------------------------

DIBPREP_AVX512 int Highest(const unsigned char* row, int count) {
    __m512i most = _mm512_setzero_si512();
    for (int x = 0; x < count; x += 64)
        most = _mm512_max_epu8(most, LoadUpTo(row + x, count - x));
    const __m256i half = _mm256_max_epu8(_mm512_castsi512_si256(most), _mm512_extracti64x4_epi64(most, 1));
    const __m128i quarter = _mm_max_epu8(_mm256_castsi256_si128(half), _mm256_extracti128_si256(half, 1));
    // Words of which only the low bytes are not 0: the lower of two, each being what is missing to 255. The
    // least of them is found at once.
    const __m128i missing = _mm_xor_si128(quarter, _mm_set1_epi8(-1));
    const __m128i pairs = _mm_min_epu8(missing, _mm_srli_epi16(missing, 8));
    return 255 - (_mm_cvtsi128_si32(_mm_minpos_epu16(pairs)) & 0xFF);
}

DIBPREP_AVX512 int Changes(const unsigned char* row, int bytes, std::uint32_t* changes, std::uintptr_t ahead) {
    const int pairs = bytes - 1;
    int count = 0;
    for (int i = 0; i < pairs; i += 64) {
        _mm_prefetch(reinterpret_cast<const char*>(ahead + static_cast<std::uintptr_t>(i)), _MM_HINT_T1);
        // Masked bytes are 0 in both, and differ in no pair.
        const __mmask64 changed =
            _mm512_cmpneq_epi8_mask(LoadUpTo(row + i, pairs - i), LoadUpTo(row + i + 1, pairs - i));
        const std::uint32_t first = static_cast<std::uint32_t>(changed);
        const std::uint32_t second = static_cast<std::uint32_t>(changed >> 32);
        count += __builtin_popcount(first) + __builtin_popcount(second);
        *changes++ = first;
        if (pairs - i > 32)
            *changes++ = second;
    }
    return count;
}

// A line of 64 bytes begins with any channel.
constexpr Table64 ChannelsFrom(int byte) {
    Table64 channels = {};
    for (int i = 0; i < 64; ++i)
        channels.bytes[i] = static_cast<unsigned char>((byte + i) % 3);
    return channels;
}
constexpr Table64 FillOrders[] = {ChannelsFrom(0), ChannelsFrom(64), ChannelsFrom(128)};

DIBPREP_AVX512 void Fill(unsigned char* out, std::int64_t bytes, std::uint32_t colour) {
    const __m512i pixel = _mm512_set1_epi32(static_cast<int>(colour));
    const __m512i lines[] = {_mm512_permutexvar_epi8(Load(FillOrders[0].bytes), pixel),
                             _mm512_permutexvar_epi8(Load(FillOrders[1].bytes), pixel),
                             _mm512_permutexvar_epi8(Load(FillOrders[2].bytes), pixel)};
    for (; bytes >= 192; bytes -= 192, out += 192) {
        _mm512_storeu_si512(out, lines[0]);
        _mm512_storeu_si512(out + 64, lines[1]);
        _mm512_storeu_si512(out + 128, lines[2]);
    }
    const int left = static_cast<int>(bytes);
    StoreUpTo(out, lines[0], left);
    StoreUpTo(out + 64, lines[1], left - 64);
    StoreUpTo(out + 128, lines[2], left - 128);
}

} // namespace

void AddAvx512Feeds(RowTable& table) {
    table.colours3 = Colours3;
    table.levels = Levels;
    table.levelsBySums = nullptr; // no faster than looking levels up
    table.levels4 = Levels4;
    table.widen = Widen;
    table.highest = Highest;
    table.changes = Changes;
    table.fill = Fill;
}

} // namespace dibprep

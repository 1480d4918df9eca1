// The row stages with SSE2, which cannot pick bytes: one pixel, then four, at a time.
#define DIBPREP_TIER __attribute__((target("sse2")))
#include "bilinear/x86/slots.h"

#include <cstring>

namespace dibprep {
namespace {

template <int PixelBytes>
DIBPREP_TIER void AcrossPixelsOf(const AcrossPlan& plan, const unsigned char* row, std::int32_t* mixed,
                                 std::uintptr_t ahead) {
    const __m128i zero = _mm_setzero_si128();
    const __m128i lowHalves = _mm_set1_epi32(0xFFFF);
    for (int i = 0; i < plan.pixels; ++i, mixed += 4) {
        const PixelColumn& column = plan.columns[i];
        if (i % 8 == 0)
            _mm_prefetch(reinterpret_cast<const char*>(ahead + static_cast<std::uintptr_t>(column.offset)),
                         _MM_HINT_T0);
        const __m128i both = _mm_srl_epi64(LoadEight(row + column.offset),
                                           _mm_cvtsi32_si128(column.shift));
        const __m128i bytes = _mm_unpacklo_epi8(both, _mm_srli_si128(both, PixelBytes));
        const __m128i samples = _mm_unpacklo_epi8(bytes, zero);
        // coarse[0], coarse[1], fine[0], fine[1]
        const __m128i weights = LoadEight(column.coarse);
        const __m128i p = _mm_madd_epi16(samples, _mm_shuffle_epi32(weights, 0x00));
        const __m128i q = _mm_madd_epi16(samples, _mm_shuffle_epi32(weights, 0x55));
        Store(mixed, _mm_or_si128(_mm_slli_epi32(p, 16), _mm_and_si128(q, lowHalves)));
    }
}

DIBPREP_TIER void AcrossPixels(const AcrossPlan& plan, const unsigned char* row, std::int32_t* mixed,
                               std::uintptr_t ahead) {
    (plan.pixelBytes == 3 ? AcrossPixelsOf<3> : AcrossPixelsOf<4>)(plan, row, mixed, ahead);
}

DIBPREP_TIER void DownAll(const std::int32_t* upper, const std::int32_t* lower, int fy, unsigned char* out,
                          std::int64_t bytes) {
    const Weights weights = WeightsOf(fy);
    for (; bytes >= 16; bytes -= 16, out += 16, upper += 16, lower += 16)
        Store(out, SixteenSlots(upper, lower, weights));
    if (bytes > 0) {
        unsigned char rest[16];
        Store(rest, SixteenSlots(upper, lower, weights));
        std::memcpy(out, rest, static_cast<std::size_t>(bytes));
    }
}

// Four pixels of four bytes, the fourth of any value, as twelve bytes: the second pixel of each pair
// moves down by one byte, then the second pair by two.
DIBPREP_TIER inline __m128i WithoutFourth(__m128i pixels) {
    const __m128i evenPixels = _mm_set_epi32(0, 0x00FFFFFF, 0, 0x00FFFFFF);
    const __m128i oddPixels = _mm_set_epi32(0x0000FFFF, static_cast<int>(0xFF000000), 0x0000FFFF,
                                            static_cast<int>(0xFF000000));
    const __m128i pairs = _mm_or_si128(_mm_and_si128(pixels, evenPixels),
                                       _mm_and_si128(_mm_srli_epi64(pixels, 8), oddPixels));
    const __m128i first = _mm_move_epi64(pairs);
    return _mm_or_si128(first, _mm_slli_si128(_mm_srli_si128(pairs, 8), 6));
}

DIBPREP_TIER void DownThreeOfFour(const std::int32_t* upper, const std::int32_t* lower, int fy, unsigned char* out,
                                  std::int64_t bytes) {
    const Weights weights = WeightsOf(fy);
    // The next pixels are stored over the four empty bytes.
    for (; bytes >= 16; bytes -= 12, out += 12, upper += 16, lower += 16)
        Store(out, WithoutFourth(SixteenSlots(upper, lower, weights)));
    for (; bytes > 0; bytes -= 12, out += 12, upper += 16, lower += 16) {
        unsigned char rest[16];
        Store(rest, WithoutFourth(SixteenSlots(upper, lower, weights)));
        std::memcpy(out, rest, static_cast<std::size_t>(bytes < 12 ? bytes : 12));
    }
}

// Eight words of 5-5-5 at a time. A channel moved to bits 5 to 9 times 16847 keeps, above bit 15,
// bits * 16847 / 2048. 16847 / 2048 exceeds 255 / 31 by less than 0.0003: for 31 steps that is less
// than the 1/31 by which bits * 255 / 31 may be short of the next whole number.
DIBPREP_TIER void Widen(const unsigned char* row, int count, std::uint32_t* out) {
    const __m128i channel = _mm_set1_epi16(0x1F << 5);
    const __m128i factor = _mm_set1_epi16(16847);
    int x = 0;
    for (; x + 8 <= count; x += 8) {
        const __m128i words = Load(row + x * 2);
        const __m128i blue = _mm_mulhi_epu16(_mm_and_si128(_mm_slli_epi16(words, 5), channel), factor);
        const __m128i green = _mm_mulhi_epu16(_mm_and_si128(words, channel), factor);
        const __m128i red = _mm_mulhi_epu16(_mm_and_si128(_mm_srli_epi16(words, 5), channel), factor);
        const __m128i blueGreen = _mm_or_si128(blue, _mm_slli_epi16(green, 8));
        Store(out + x, _mm_unpacklo_epi16(blueGreen, red));
        Store(out + x + 4, _mm_unpackhi_epi16(blueGreen, red));
    }
    for (; x < count; ++x) {
        const int word = row[x * 2] | row[x * 2 + 1] << 8;
        out[x] = static_cast<std::uint32_t>(Widened5(word) | Widened5(word >> 5) << 8 | Widened5(word >> 10) << 16);
    }
}

DIBPREP_TIER void Flat(const unsigned char* row, const FlatBlock* blocks, int count, std::int16_t* kinds,
                       std::uintptr_t ahead) {
    for (int i = 0; i < count; ++i) {
        const FlatBlock& block = blocks[i];
        _mm_prefetch(reinterpret_cast<const char*>(ahead + static_cast<std::uintptr_t>(block.start)), _MM_HINT_T0);
        const __m128i equal = _mm_cmpeq_epi8(Load(row + block.start), Load(row + block.start + 1));
        const std::uint32_t pairs = static_cast<std::uint32_t>(_mm_movemask_epi8(equal)) & block.pairs;
        kinds[i] = pairs == block.pairs ? row[block.first] : std::int16_t{-1};
    }
}

} // namespace

void AddSse2Rows(RowTable& table) {
    table.acrossPixels = AcrossPixels;
    table.down[StoreAll] = DownAll;
    table.down[StoreThreeOfFour] = DownThreeOfFour;
    table.widen = Widen;
    table.flat = Flat;
}

} // namespace dibprep

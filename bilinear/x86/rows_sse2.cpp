// The row stages with SSE2, which cannot pick bytes: one pixel, then four, at a time.
#define DIBPREP_TIER __attribute__((target("sse2")))
#include "bilinear/x86/slots.h"

#include <cstring>

namespace dibprep {
namespace {

// p in the high halves, q in the low ones.
DIBPREP_TIER inline __m128i Joined(__m128i p, __m128i q) {
    return _mm_or_si128(_mm_slli_epi32(p, 16), _mm_and_si128(q, _mm_set1_epi32(0xFFFF)));
}

template <int PixelBytes>
DIBPREP_TIER inline void AcrossPixel(const PixelColumn& column, __m128i both, std::int32_t* mixed) {
    const __m128i bytes = _mm_unpacklo_epi8(both, _mm_srli_si128(both, PixelBytes));
    const __m128i samples = _mm_unpacklo_epi8(bytes, _mm_setzero_si128());
    // coarse[0], coarse[1], fine[0], fine[1]
    const __m128i weights = LoadEight(column.coarse);
    Store(mixed, Joined(_mm_madd_epi16(samples, _mm_shuffle_epi32(weights, 0x00)),
                        _mm_madd_epi16(samples, _mm_shuffle_epi32(weights, 0x55))));
}

template <int PixelBytes>
DIBPREP_TIER void AcrossPixelsOf(const AcrossPlan& plan, const unsigned char* row, std::int32_t* mixed,
                                 std::uintptr_t ahead) {
    const PixelColumn* column = plan.columns;
    int i = 0;
    for (; i + 8 <= plan.unshifted; i += 8) {
        _mm_prefetch(reinterpret_cast<const char*>(ahead + static_cast<std::uintptr_t>(column->offset)), _MM_HINT_T0);
        for (int k = 0; k < 8; ++k, ++column, mixed += 4)
            AcrossPixel<PixelBytes>(*column, LoadEight(row + column->offset), mixed);
    }
    for (; i < plan.pixels; ++i, ++column, mixed += 4)
        AcrossPixel<PixelBytes>(
            *column, _mm_srl_epi64(LoadEight(row + column->offset), _mm_cvtsi32_si128(column->shift)), mixed);
}

DIBPREP_TIER void AcrossPixels(const AcrossPlan& plan, const unsigned char* row, std::int32_t* mixed,
                               std::uintptr_t ahead) {
    (plan.pixelBytes == 3 ? AcrossPixelsOf<3> : AcrossPixelsOf<4>)(plan, row, mixed, ahead);
}

// Both samples of a pixel, as the low word of a register's lane.
template <int Lane>
DIBPREP_TIER inline __m128i WithPair(__m128i pairs, const unsigned char* row, const PixelColumn& column) {
    std::uint16_t pair;
    std::memcpy(&pair, row + column.offset, sizeof pair);
    return _mm_insert_epi16(pairs, pair, Lane);
}

// Four pixels of one slot.
DIBPREP_TIER void AcrossLevels(const AcrossPlan& plan, const unsigned char* row, std::int32_t* mixed,
                               std::uintptr_t ahead) {
    const PixelColumn* column = plan.columns;
    for (int i = plan.pixels; i > 0; i -= 4, column += 4, mixed += 4) {
        _mm_prefetch(reinterpret_cast<const char*>(ahead + static_cast<std::uintptr_t>(column->offset)), _MM_HINT_T0);
        __m128i pairs = _mm_setzero_si128();
        pairs = WithPair<0>(pairs, row, column[0]);
        pairs = WithPair<1>(pairs, row, column[1]);
        pairs = WithPair<2>(pairs, row, column[2]);
        pairs = WithPair<3>(pairs, row, column[3]);
        const __m128i samples = _mm_unpacklo_epi8(pairs, _mm_setzero_si128());
        const __m128i first = _mm_unpacklo_epi32(LoadEight(column[0].coarse), LoadEight(column[1].coarse));
        const __m128i second = _mm_unpacklo_epi32(LoadEight(column[2].coarse), LoadEight(column[3].coarse));
        Store(mixed, Joined(_mm_madd_epi16(samples, _mm_unpacklo_epi64(first, second)),
                            _mm_madd_epi16(samples, _mm_unpackhi_epi64(first, second))));
    }
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
    const __m128i oddPixels =
        _mm_set_epi32(0x0000FFFF, static_cast<int>(0xFF000000), 0x0000FFFF, static_cast<int>(0xFF000000));
    const __m128i pairs =
        _mm_or_si128(_mm_and_si128(pixels, evenPixels), _mm_and_si128(_mm_srli_epi64(pixels, 8), oddPixels));
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

// Four gray values, each four times, as twelve bytes, and four of any value.
DIBPREP_TIER inline void StoreGray(unsigned char* out, __m128i fourTimes) { Store(out, WithoutFourth(fourTimes)); }

// 16 gray values as 52 bytes, of which the last four have any value.
DIBPREP_TIER inline void StoreGrays(unsigned char* out, __m128i gray) {
    const __m128i low = _mm_unpacklo_epi8(gray, gray);
    const __m128i high = _mm_unpackhi_epi8(gray, gray);
    StoreGray(out, _mm_unpacklo_epi16(low, low));
    StoreGray(out + 12, _mm_unpackhi_epi16(low, low));
    StoreGray(out + 24, _mm_unpacklo_epi16(high, high));
    StoreGray(out + 36, _mm_unpackhi_epi16(high, high));
}

DIBPREP_TIER void DownThrice(const std::int32_t* upper, const std::int32_t* lower, int fy, unsigned char* out,
                             std::int64_t bytes) {
    const Weights weights = WeightsOf(fy);
    for (; bytes >= 52; bytes -= 48, out += 48, upper += 16, lower += 16)
        StoreGrays(out, SixteenSlots(upper, lower, weights));
    for (; bytes > 0; bytes -= 48, out += 48, upper += 16, lower += 16) {
        unsigned char rest[52];
        StoreGrays(rest, SixteenSlots(upper, lower, weights));
        std::memcpy(out, rest, static_cast<std::size_t>(bytes < 48 ? bytes : 48));
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

DIBPREP_TIER inline __m128i ColourOf(const std::uint32_t* colours, unsigned index) {
    return _mm_cvtsi32_si128(static_cast<int>(colours[index]));
}

// Plain loads: gathering instructions take half as long again.
DIBPREP_TIER void Colour(const unsigned char* row, int count, const std::uint32_t* colours, unsigned char* out) {
    int x = 0;
    for (; x + 4 <= count; x += 4, out += 16) {
        const __m128i first = _mm_unpacklo_epi32(ColourOf(colours, row[x]), ColourOf(colours, row[x + 1]));
        const __m128i second = _mm_unpacklo_epi32(ColourOf(colours, row[x + 2]), ColourOf(colours, row[x + 3]));
        Store(out, _mm_unpacklo_epi64(first, second));
    }
    for (; x < count; ++x, out += 4)
        std::memcpy(out, &colours[row[x]], 4);
}

// ---- stretches of one colour ------------------------------------------------------------------

DIBPREP_TIER int Highest(const unsigned char* row, int count) {
    __m128i highest = _mm_setzero_si128();
    int i = 0;
    for (; i + 16 <= count; i += 16)
        highest = _mm_max_epu8(highest, Load(row + i));
    unsigned char bytes[16];
    Store(bytes, highest);
    int most = 0;
    for (int byte : bytes)
        most = byte > most ? byte : most;
    for (; i < count; ++i)
        most = row[i] > most ? row[i] : most;
    return most;
}

// Which of 16 neighbouring pairs of bytes are equal.
DIBPREP_TIER inline std::uint32_t EqualPairs(const unsigned char* at, __m128i& count) {
    const __m128i equal = _mm_cmpeq_epi8(Load(at), Load(at + 1));
    count = _mm_add_epi32(count, _mm_sad_epu8(_mm_sub_epi8(_mm_setzero_si128(), equal), _mm_setzero_si128()));
    return static_cast<std::uint32_t>(_mm_movemask_epi8(equal));
}

DIBPREP_TIER int Changes(const unsigned char* row, int bytes, std::uint32_t* changes, std::uintptr_t ahead) {
    __m128i count = _mm_setzero_si128();
    int i = 0;
    for (; i + LeastCompared <= bytes; i += 32) {
        _mm_prefetch(reinterpret_cast<const char*>(ahead + static_cast<std::uintptr_t>(i)), _MM_HINT_T0);
        *changes++ = ~(EqualPairs(row + i, count) | EqualPairs(row + i + 16, count) << 16);
    }
    int equal = _mm_cvtsi128_si32(_mm_add_epi32(count, _mm_srli_si128(count, 8)));
    // The last pairs are looked at in a step that reaches back; those it has seen before are not counted.
    if (i + 1 < bytes) {
        const int seen = i - (bytes - LeastCompared);
        __m128i uncounted = _mm_setzero_si128();
        const unsigned char* const last = row + bytes - LeastCompared;
        const std::uint32_t pairs = (EqualPairs(last, uncounted) | EqualPairs(last + 16, uncounted) << 16) >> seen;
        *changes = ~pairs;
        for (std::uint32_t rest = pairs; rest != 0; rest &= rest - 1)
            ++equal;
    }
    return bytes - 1 - equal;
}

DIBPREP_TIER void Fill(unsigned char* out, std::int64_t bytes, std::uint32_t colour) {
    // 16 pixels are 48 bytes.
    std::uint32_t pattern[12];
    for (int i = 0; i < 12; i += 3) {
        pattern[i] = colour | colour << 24;
        pattern[i + 1] = colour >> 8 | colour << 16;
        pattern[i + 2] = colour >> 16 | colour << 8;
    }
    const __m128i first = Load(pattern);
    const __m128i second = Load(pattern + 4);
    const __m128i third = Load(pattern + 8);
    for (; bytes >= 48; bytes -= 48, out += 48) {
        Store(out, first);
        Store(out + 16, second);
        Store(out + 32, third);
    }
    std::memcpy(out, pattern, static_cast<std::size_t>(bytes));
}

DIBPREP_TIER void Stream(unsigned char* out, const unsigned char* row, std::size_t bytes) {
    const std::size_t toLine = -reinterpret_cast<std::uintptr_t>(out) & 63;
    const std::size_t head = toLine < bytes ? toLine : bytes;
    std::memcpy(out, row, head);
    out += head;
    row += head;
    for (bytes -= head; bytes >= 64; bytes -= 64, out += 64, row += 64) {
        auto* const line = reinterpret_cast<__m128i*>(out);
        _mm_stream_si128(line, Load(row));
        _mm_stream_si128(line + 1, Load(row + 16));
        _mm_stream_si128(line + 2, Load(row + 32));
        _mm_stream_si128(line + 3, Load(row + 48));
    }
    std::memcpy(out, row, bytes);
}

DIBPREP_TIER void Fetch(std::uintptr_t ahead, int bytes) {
    for (int i = 0; i < bytes; i += 64)
        _mm_prefetch(reinterpret_cast<const char*>(ahead + static_cast<std::uintptr_t>(i)), _MM_HINT_T0);
}

DIBPREP_TIER void Fence() { _mm_sfence(); }

// ---- packed rows ------------------------------------------------------------------------------

template <int Group>
DIBPREP_TIER inline void CopyGroup(unsigned char* out, const unsigned char* groups, int index) {
    if (Group == 16)
        Store(out, Load(groups + index * 16));
    else if (Group == 8)
        _mm_storel_epi64(reinterpret_cast<__m128i*>(out), LoadEight(groups + index * 8));
    else
        std::memcpy(out, groups + index * Group, Group);
}

template <int Group>
DIBPREP_TIER void PackedOf(const unsigned char* row, int bytes, const unsigned char* groups, int step,
                           unsigned char* out) {
    for (const unsigned char* const end = row + bytes; row != end; ++row, out += step) {
        const int index = *row;
        if (Group == 16) {
            CopyGroup<Group>(out, groups, index >> 4);
            out += step;
            CopyGroup<Group>(out, groups, index & 15);
        } else {
            CopyGroup<Group>(out, groups, index);
        }
    }
}

DIBPREP_TIER void Packed(const unsigned char* row, int bytes, const unsigned char* groups, int group, int step,
                         unsigned char* out) {
    (group == 16 ? PackedOf<16> : group == 8 ? PackedOf<8> : PackedOf<2>)(row, bytes, groups, step, out);
}

} // namespace

void AddSse2Rows(RowTable& table) {
    table.acrossPixels = AcrossPixels;
    table.acrossLevels = AcrossLevels;
    table.down[StoreAll] = DownAll;
    table.down[StoreThreeOfFour] = DownThreeOfFour;
    table.down[StoreThrice] = DownThrice;
    table.colour = Colour;
    table.widen = Widen;
    table.highest = Highest;
    table.changes = Changes;
    table.fill = Fill;
    table.stream = Stream;
    table.fence = Fence;
    table.fetch = Fetch;
    table.packed = Packed;
}

} // namespace dibprep

// The row stages with SSE2, which cannot pick bytes: one pixel, then four, at a time.
#define DIBPREP_TIER __attribute__((target("sse2")))
#include "bilinear/x86/slots.h"
#include "memory/x86/index_word.h"

#include <cstring>

namespace dibprep {
namespace {

// p in the high halves, q in the low ones.
DIBPREP_TIER inline __m128i Joined(__m128i p, __m128i q) {
    return _mm_or_si128(_mm_slli_epi32(p, 16), _mm_and_si128(q, _mm_set1_epi32(0xFFFF)));
}

// A pixel of three or four bytes.
template <int PixelBytes>
struct Pixel {
    using Place = PixelColumn;
    static constexpr int Places = 1;
    static const Place* First(const MixPlan& plan) { return plan.columns; }
    static std::int32_t Offset(const Place* place) { return place->offset; }
    DIBPREP_TIER explicit Pixel(const Place* place)
        : offset(place->offset), shift(_mm_cvtsi32_si128(place->shift)), weights(LoadEight(place->coarse)) {}
    DIBPREP_TIER __m128i Across(const unsigned char* row) const {
        const __m128i both = _mm_srl_epi64(LoadEight(row + offset), shift);
        const __m128i bytes = _mm_unpacklo_epi8(both, _mm_srli_si128(both, PixelBytes));
        const __m128i samples = _mm_unpacklo_epi8(bytes, _mm_setzero_si128());
        return Joined(_mm_madd_epi16(samples, _mm_shuffle_epi32(weights, 0x00)),
                      _mm_madd_epi16(samples, _mm_shuffle_epi32(weights, 0x55)));
    }

    std::int32_t offset;
    __m128i shift;
    __m128i weights; // coarse, fine
};

// Both samples of a pixel, as the low word of a register's lane.
template <int Lane>
DIBPREP_TIER inline __m128i WithPair(__m128i pairs, const unsigned char* row, const PixelColumn& column) {
    std::uint16_t pair;
    std::memcpy(&pair, row + column.offset, sizeof pair);
    return _mm_insert_epi16(pairs, pair, Lane);
}

// Four pixels of one byte.
struct FourPixels {
    using Place = PixelColumn;
    static constexpr int Places = 4;
    static const Place* First(const MixPlan& plan) { return plan.columns; }
    static std::int32_t Offset(const Place* place) { return place->offset; }
    DIBPREP_TIER explicit FourPixels(const Place* place) : columns(place) {
        const __m128i begin = _mm_unpacklo_epi32(LoadEight(columns[0].coarse), LoadEight(columns[1].coarse));
        const __m128i end = _mm_unpacklo_epi32(LoadEight(columns[2].coarse), LoadEight(columns[3].coarse));
        coarse = _mm_unpacklo_epi64(begin, end);
        fine = _mm_unpackhi_epi64(begin, end);
    }
    DIBPREP_TIER __m128i Across(const unsigned char* row) const {
        __m128i pairs = _mm_setzero_si128();
        pairs = WithPair<0>(pairs, row, columns[0]);
        pairs = WithPair<1>(pairs, row, columns[1]);
        pairs = WithPair<2>(pairs, row, columns[2]);
        pairs = WithPair<3>(pairs, row, columns[3]);
        const __m128i samples = _mm_unpacklo_epi8(pairs, _mm_setzero_si128());
        return Joined(_mm_madd_epi16(samples, coarse), _mm_madd_epi16(samples, fine));
    }

    const PixelColumn* columns;
    __m128i coarse;
    __m128i fine;
};

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

// The next pixels are stored over the four empty bytes.
struct ThreeOfFour {
    static constexpr std::ptrdiff_t Bytes = 12;
    static constexpr std::ptrdiff_t Written = 16;
    DIBPREP_TIER static void Put(unsigned char* out, __m128i bytes) { Store(out, WithoutFourth(bytes)); }
};

// Four gray values, each four times, as twelve bytes, and four of any value.
DIBPREP_TIER inline void StoreGray(unsigned char* out, __m128i fourTimes) { Store(out, WithoutFourth(fourTimes)); }

// 16 gray values as 52 bytes, of which the last four have any value.
struct Thrice {
    static constexpr std::ptrdiff_t Bytes = 48;
    static constexpr std::ptrdiff_t Written = 52;
    DIBPREP_TIER static void Put(unsigned char* out, __m128i gray) {
        const __m128i low = _mm_unpacklo_epi8(gray, gray);
        const __m128i high = _mm_unpackhi_epi8(gray, gray);
        StoreGray(out, _mm_unpacklo_epi16(low, low));
        StoreGray(out + 12, _mm_unpackhi_epi16(low, low));
        StoreGray(out + 24, _mm_unpacklo_epi16(high, high));
        StoreGray(out + 36, _mm_unpackhi_epi16(high, high));
    }
};

void MixThreeOfFour(const MixPlan& plan, const MixTask& task) {
    (plan.pixelBytes == 3 ? Mix<Pixel<3>, ThreeOfFour> : Mix<Pixel<4>, ThreeOfFour>)(plan, task);
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

// The colours of the two lowest indices of a word.
DIBPREP_TIER inline __m128i TwoColours(const std::uint32_t* colours, IndexWord word) {
    return _mm_unpacklo_epi32(_mm_cvtsi32_si128(static_cast<int>(colours[FirstIndex(word)])),
                              _mm_cvtsi32_si128(static_cast<int>(colours[SecondIndex(word)])));
}

DIBPREP_TIER void Colour(const unsigned char* row, int count, const std::uint32_t* colours, unsigned char* out) {
    int x = 0;
    for (; x + 16 <= count; x += 16, out += 64) {
        IndexWord word = 0;
        for (int i = 0; i < 16; i += 4) {
            word = static_cast<std::size_t>(i) % sizeof word == 0 ? LoadIndices(row + x + i) : NextTwo(word);
            const __m128i first = TwoColours(colours, word);
            word = NextTwo(word);
            Store(out + 4 * i, _mm_unpacklo_epi64(first, TwoColours(colours, word)));
        }
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

DIBPREP_TIER void Fetch(std::uintptr_t ahead, int bytes) {
    for (int i = 0; i < bytes; i += 64)
        _mm_prefetch(reinterpret_cast<const char*>(ahead + static_cast<std::uintptr_t>(i)), _MM_HINT_T0);
}

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
DIBPREP_TIER void PackedOf(const unsigned char* row, int bytes, const unsigned char* groups, unsigned char* out) {
    for (const unsigned char* const end = row + bytes; row != end; ++row, out += Group) {
        const int index = *row;
        if (Group == 16) {
            CopyGroup<Group>(out, groups, index >> 4);
            out += Group;
            CopyGroup<Group>(out, groups, index & 15);
        } else {
            CopyGroup<Group>(out, groups, index);
        }
    }
}

DIBPREP_TIER void Packed(const unsigned char* row, int bytes, const unsigned char* groups, int group,
                         unsigned char* out) {
    (group == 16 ? PackedOf<16> : group == 8 ? PackedOf<8> : PackedOf<2>)(row, bytes, groups, out);
}

} // namespace

void AddSse2Rows(RowTable& table) {
    table.mix[StoreAll] = Mix<Pixel<4>, All>;
    table.mix[StoreThreeOfFour] = MixThreeOfFour;
    table.mix[StoreThrice] = Mix<FourPixels, Thrice>;
    table.colour = Colour;
    table.widen = Widen;
    table.highest = Highest;
    table.changes = Changes;
    table.fill = Fill;
    table.fetch = Fetch;
    table.packed = Packed;
}

} // namespace dibprep

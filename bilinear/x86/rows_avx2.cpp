// The row stages with AVX2: two windows, or 32 output bytes, at a time.
#include "bilinear/row_table.h"

#include <cstring>
#include <immintrin.h>

#define DIBPREP_AVX2 __attribute__((target("avx2")))

namespace dibprep {
namespace {

DIBPREP_AVX2 inline __m256i Load(const void* at) { return _mm256_loadu_si256(static_cast<const __m256i*>(at)); }
DIBPREP_AVX2 inline void Store(void* at, __m256i value) { _mm256_storeu_si256(static_cast<__m256i*>(at), value); }
DIBPREP_AVX2 inline __m128i LoadHalf(const void* at) { return _mm_loadu_si128(static_cast<const __m128i*>(at)); }
DIBPREP_AVX2 inline void StoreHalf(void* at, __m128i value) { _mm_storeu_si128(static_cast<__m128i*>(at), value); }

// Two windows side by side. The mixed row gets slots 0 to 3 of both, then slots 4 to 7 of both.
DIBPREP_AVX2 inline void AcrossPair(const WindowPair& pair, __m128i first, __m128i second, std::int32_t* mixed) {
    const __m256i bytes = _mm256_inserti128_si256(_mm256_castsi128_si256(first), second, 1);
    const __m256i samples = _mm256_shuffle_epi8(bytes, Load(pair.picks));
    const __m256i p = _mm256_maddubs_epi16(samples, Load(pair.coarse));
    const __m256i q = _mm256_maddubs_epi16(samples, Load(pair.fine));
    Store(mixed, _mm256_unpacklo_epi16(q, p));
    Store(mixed + 8, _mm256_unpackhi_epi16(q, p));
}

DIBPREP_AVX2 void AcrossWindows(const AcrossPlan& plan, const unsigned char* row, std::int32_t* mixed,
                                std::uintptr_t ahead) {
    const WindowPair* const end = plan.windows + plan.pairs;
    for (const WindowPair* pair = plan.windows; pair != end; ++pair, mixed += 2 * SlotsPerWindow) {
        _mm_prefetch(reinterpret_cast<const char*>(ahead + static_cast<std::uintptr_t>(pair->base[0])), _MM_HINT_T0);
        AcrossPair(*pair, LoadHalf(row + pair->base[0]), LoadHalf(row + pair->base[2]), mixed);
    }
}

DIBPREP_AVX2 inline __m128i TwoHalves(const unsigned char* row, const std::int32_t* base) {
    return _mm_unpacklo_epi64(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(row + base[0])),
                              _mm_loadl_epi64(reinterpret_cast<const __m128i*>(row + base[1])));
}

DIBPREP_AVX2 void AcrossHalves(const AcrossPlan& plan, const unsigned char* row, std::int32_t* mixed,
                               std::uintptr_t ahead) {
    const WindowPair* const end = plan.windows + plan.pairs;
    for (const WindowPair* pair = plan.windows; pair != end; ++pair, mixed += 2 * SlotsPerWindow) {
        _mm_prefetch(reinterpret_cast<const char*>(ahead + static_cast<std::uintptr_t>(pair->base[0])), _MM_HINT_T0);
        _mm_prefetch(reinterpret_cast<const char*>(ahead + static_cast<std::uintptr_t>(pair->base[2])), _MM_HINT_T0);
        AcrossPair(*pair, TwoHalves(row, pair->base), TwoHalves(row, pair->base + 2), mixed);
    }
}

// The weights (w, 16 * w) of q and p.
struct Weights {
    __m256i upper;
    __m256i lower;
};

DIBPREP_AVX2 inline Weights WeightsOf(int fy) {
    return {_mm256_set1_epi32((1024 - fy) * (1 + (16 << 16))), _mm256_set1_epi32(fy * (1 + (16 << 16)))};
}

DIBPREP_AVX2 inline __m256i EightSlots(const std::int32_t* upper, const std::int32_t* lower, const Weights& weights) {
    const __m256i sum =
        _mm256_add_epi32(_mm256_madd_epi16(Load(upper), weights.upper), _mm256_madd_epi16(Load(lower), weights.lower));
    return _mm256_srli_epi32(sum, 20);
}

// Four windows as bytes: windows 0 and 2, then 1 and 3.
DIBPREP_AVX2 inline __m256i FourWindows(const std::int32_t* upper, const std::int32_t* lower, const Weights& weights) {
    const __m256i first =
        _mm256_packs_epi32(EightSlots(upper, lower, weights), EightSlots(upper + 8, lower + 8, weights));
    const __m256i second =
        _mm256_packs_epi32(EightSlots(upper + 16, lower + 16, weights), EightSlots(upper + 24, lower + 24, weights));
    return _mm256_packus_epi16(first, second);
}

// ... and in the order of the slots.
DIBPREP_AVX2 inline __m256i InOrder(__m256i windows) { return _mm256_permute4x64_epi64(windows, 0xD8); }

DIBPREP_AVX2 void DownAll(const std::int32_t* upper, const std::int32_t* lower, int fy, unsigned char* out,
                          std::int64_t bytes) {
    const Weights weights = WeightsOf(fy);
    for (; bytes >= 32; bytes -= 32, out += 32, upper += SlotsPerStep, lower += SlotsPerStep)
        Store(out, InOrder(FourWindows(upper, lower, weights)));
    if (bytes > 0) {
        unsigned char rest[32];
        Store(rest, InOrder(FourWindows(upper, lower, weights)));
        std::memcpy(out, rest, static_cast<std::size_t>(bytes));
    }
}

DIBPREP_AVX2 void DownThreeOfFour(const std::int32_t* upper, const std::int32_t* lower, int fy, unsigned char* out,
                                  std::int64_t bytes) {
    const Weights weights = WeightsOf(fy);
    // Four pixels of four bytes as twelve bytes, in each half.
    const __m256i three = _mm256_setr_epi8(0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, -1, -1, -1, -1, //
                                           0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, -1, -1, -1, -1);
    // The second half is stored over the four empty bytes of the first, and has four itself.
    for (; bytes >= 28; bytes -= 24, out += 24, upper += SlotsPerStep, lower += SlotsPerStep) {
        const __m256i pixels = _mm256_shuffle_epi8(InOrder(FourWindows(upper, lower, weights)), three);
        StoreHalf(out, _mm256_castsi256_si128(pixels));
        StoreHalf(out + 12, _mm256_extracti128_si256(pixels, 1));
    }
    for (; bytes > 0; bytes -= 24, out += 24, upper += SlotsPerStep, lower += SlotsPerStep) {
        const __m256i pixels = _mm256_shuffle_epi8(InOrder(FourWindows(upper, lower, weights)), three);
        unsigned char rest[28];
        StoreHalf(rest, _mm256_castsi256_si128(pixels));
        StoreHalf(rest + 12, _mm256_extracti128_si256(pixels, 1));
        std::memcpy(out, rest, static_cast<std::size_t>(bytes < 24 ? bytes : 24));
    }
}

// 32 gray values as 96 bytes: each third of them comes from one half, or the middle one from both.
DIBPREP_AVX2 inline void StoreGray(unsigned char* out, __m256i gray) {
    const __m256i begin = _mm256_setr_epi8(0, 0, 0, 1, 1, 1, 2, 2, 2, 3, 3, 3, 4, 4, 4, 5, //
                                           5, 5, 6, 6, 6, 7, 7, 7, 8, 8, 8, 9, 9, 9, 10, 10);
    const __m256i middle = _mm256_setr_epi8(10, 11, 11, 11, 12, 12, 12, 13, 13, 13, 14, 14, 14, 15, 15, 15, //
                                            0, 0, 0, 1, 1, 1, 2, 2, 2, 3, 3, 3, 4, 4, 4, 5);
    const __m256i end = _mm256_setr_epi8(5, 5, 6, 6, 6, 7, 7, 7, 8, 8, 8, 9, 9, 9, 10, 10, //
                                         10, 11, 11, 11, 12, 12, 12, 13, 13, 13, 14, 14, 14, 15, 15, 15);
    Store(out, _mm256_shuffle_epi8(_mm256_permute4x64_epi64(gray, 0x44), begin));
    Store(out + 32, _mm256_shuffle_epi8(gray, middle));
    Store(out + 64, _mm256_shuffle_epi8(_mm256_permute4x64_epi64(gray, 0xEE), end));
}

DIBPREP_AVX2 void DownThrice(const std::int32_t* upper, const std::int32_t* lower, int fy, unsigned char* out,
                             std::int64_t bytes) {
    const Weights weights = WeightsOf(fy);
    for (; bytes >= 96; bytes -= 96, out += 96, upper += SlotsPerStep, lower += SlotsPerStep)
        StoreGray(out, InOrder(FourWindows(upper, lower, weights)));
    if (bytes > 0) {
        unsigned char rest[96];
        StoreGray(rest, InOrder(FourWindows(upper, lower, weights)));
        std::memcpy(out, rest, static_cast<std::size_t>(bytes));
    }
}

// ---- feeding the across stage -----------------------------------------------------------------

// One of `sixteen` levels by the low four bits of each index; a set top bit would give 0.
DIBPREP_AVX2 inline __m256i ByLowBits(const unsigned char* sixteen, __m256i low) {
    return _mm256_shuffle_epi8(_mm256_broadcastsi128_si256(LoadHalf(sixteen)), low);
}

// Halves the choice by bit 4, then 5: of 64 levels those of the index.
DIBPREP_AVX2 inline __m256i By6Bits(const unsigned char* levels, __m256i low, __m256i bit4, __m256i bit5) {
    const __m256i first = _mm256_blendv_epi8(ByLowBits(levels, low), ByLowBits(levels + 16, low), bit4);
    const __m256i second = _mm256_blendv_epi8(ByLowBits(levels + 32, low), ByLowBits(levels + 48, low), bit4);
    return _mm256_blendv_epi8(first, second, bit5);
}

DIBPREP_AVX2 void Levels(const unsigned char* row, int count, const unsigned char* levels, unsigned char* out) {
    int x = 0;
    for (; x + 32 <= count; x += 32) {
        const __m256i bit7 = Load(row + x); // a choice looks at the top bit of each byte only
        const __m256i low = _mm256_and_si256(bit7, _mm256_set1_epi8(15));
        const __m256i bit6 = _mm256_add_epi8(bit7, bit7);
        const __m256i bit5 = _mm256_add_epi8(bit6, bit6);
        const __m256i bit4 = _mm256_add_epi8(bit5, bit5);
        const __m256i first =
            _mm256_blendv_epi8(By6Bits(levels, low, bit4, bit5), By6Bits(levels + 64, low, bit4, bit5), bit6);
        const __m256i second =
            _mm256_blendv_epi8(By6Bits(levels + 128, low, bit4, bit5), By6Bits(levels + 192, low, bit4, bit5), bit6);
        Store(out + x, _mm256_blendv_epi8(first, second, bit7));
    }
    for (; x < count; ++x)
        out[x] = levels[row[x]];
}

DIBPREP_AVX2 void LevelsBySums(const unsigned char* row, int count, const unsigned char* levels, unsigned char* out) {
    const __m256i fourBits = _mm256_set1_epi8(15);
    int x = 0;
    for (; x + 32 <= count; x += 32) {
        const __m256i indices = Load(row + x);
        const __m256i low = _mm256_and_si256(indices, fourBits);
        const __m256i high = _mm256_and_si256(_mm256_srli_epi16(indices, 4), fourBits);
        Store(out + x, _mm256_add_epi8(ByLowBits(levels, low), ByLowBits(levels + 16, high)));
    }
    for (; x < count; ++x)
        out[x] = static_cast<unsigned char>(levels[row[x] & 15] + levels[16 + (row[x] >> 4)]);
}

// ---- stretches of one colour ------------------------------------------------------------------

// Which of 32 neighbouring pairs of bytes are equal.
DIBPREP_AVX2 inline std::uint32_t EqualPairs(const unsigned char* at, __m256i& count) {
    const __m256i equal = _mm256_cmpeq_epi8(Load(at), Load(at + 1));
    count = _mm256_add_epi32(count,
                             _mm256_sad_epu8(_mm256_sub_epi8(_mm256_setzero_si256(), equal), _mm256_setzero_si256()));
    return static_cast<std::uint32_t>(_mm256_movemask_epi8(equal));
}

DIBPREP_AVX2 int Changes(const unsigned char* row, int bytes, std::uint32_t* changes, std::uintptr_t ahead) {
    __m256i count = _mm256_setzero_si256();
    int i = 0;
    for (; i + LeastCompared <= bytes; i += 32) {
        _mm_prefetch(reinterpret_cast<const char*>(ahead + static_cast<std::uintptr_t>(i)), _MM_HINT_T0);
        *changes++ = ~EqualPairs(row + i, count);
    }
    const __m128i halves = _mm_add_epi32(_mm256_castsi256_si128(count), _mm256_extracti128_si256(count, 1));
    int equal = _mm_cvtsi128_si32(_mm_add_epi32(halves, _mm_srli_si128(halves, 8)));
    // The last pairs are looked at in a step that reaches back; those it has seen before are not counted.
    if (i + 1 < bytes) {
        __m256i uncounted = _mm256_setzero_si256();
        const std::uint32_t pairs = EqualPairs(row + bytes - LeastCompared, uncounted) >> (i - bytes + LeastCompared);
        *changes = ~pairs;
        for (std::uint32_t rest = pairs; rest != 0; rest &= rest - 1)
            ++equal;
    }
    return bytes - 1 - equal;
}

} // namespace

void AddAvx2Rows(RowTable& table) {
    table.levels = Levels;
    table.levelsBySums = LevelsBySums;
    table.changes = Changes;
    table.acrossWindows = AcrossWindows;
    table.acrossHalves = AcrossHalves;
    table.down[StoreAll] = DownAll;
    table.down[StoreThreeOfFour] = DownThreeOfFour;
    table.down[StoreThrice] = DownThrice;
}

} // namespace dibprep

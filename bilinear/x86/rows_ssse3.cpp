// The row stages with SSSE3: one window, or 16 slots, at a time.
#define DIBPREP_TIER __attribute__((target("ssse3")))
#include "bilinear/x86/slots.h"

#include <cstring>
#include <immintrin.h>

namespace dibprep {
namespace {

// Window `k` of a pair, from its 16 bytes.
DIBPREP_TIER inline void AcrossWindow(const WindowPair& pair, int k, __m128i bytes, std::int32_t* mixed) {
    const __m128i samples = _mm_shuffle_epi8(bytes, Load(pair.picks + k * WindowBytes));
    const __m128i p = _mm_maddubs_epi16(samples, Load(pair.coarse + k * WindowBytes));
    const __m128i q = _mm_maddubs_epi16(samples, Load(pair.fine + k * WindowBytes));
    Store(mixed + k * SlotsPerWindow, _mm_unpacklo_epi16(q, p));
    Store(mixed + k * SlotsPerWindow + 4, _mm_unpackhi_epi16(q, p));
}

DIBPREP_TIER void AcrossWindows(const AcrossPlan& plan, const unsigned char* row, std::int32_t* mixed,
                                std::uintptr_t ahead) {
    const WindowPair* const end = plan.windows + plan.pairs;
    for (const WindowPair* pair = plan.windows; pair != end; ++pair, mixed += 2 * SlotsPerWindow) {
        _mm_prefetch(reinterpret_cast<const char*>(ahead + static_cast<std::uintptr_t>(pair->base[0])), _MM_HINT_T0);
        AcrossWindow(*pair, 0, Load(row + pair->base[0]), mixed);
        AcrossWindow(*pair, 1, Load(row + pair->base[2]), mixed);
    }
}

DIBPREP_TIER inline __m128i TwoHalves(const unsigned char* row, const std::int32_t* base) {
    return _mm_unpacklo_epi64(LoadEight(row + base[0]), LoadEight(row + base[1]));
}

DIBPREP_TIER void AcrossHalves(const AcrossPlan& plan, const unsigned char* row, std::int32_t* mixed,
                               std::uintptr_t ahead) {
    const WindowPair* const end = plan.windows + plan.pairs;
    for (const WindowPair* pair = plan.windows; pair != end; ++pair, mixed += 2 * SlotsPerWindow) {
        _mm_prefetch(reinterpret_cast<const char*>(ahead + static_cast<std::uintptr_t>(pair->base[0])), _MM_HINT_T0);
        _mm_prefetch(reinterpret_cast<const char*>(ahead + static_cast<std::uintptr_t>(pair->base[2])), _MM_HINT_T0);
        AcrossWindow(*pair, 0, TwoHalves(row, pair->base), mixed);
        AcrossWindow(*pair, 1, TwoHalves(row, pair->base + 2), mixed);
    }
}

DIBPREP_TIER void DownThreeOfFour(const std::int32_t* upper, const std::int32_t* lower, int fy, unsigned char* out,
                                  std::int64_t bytes) {
    const Weights weights = WeightsOf(fy);
    const __m128i three = _mm_setr_epi8(0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, -1, -1, -1, -1);
    // The next pixels are stored over the four empty bytes.
    for (; bytes >= 16; bytes -= 12, out += 12, upper += 16, lower += 16)
        Store(out, _mm_shuffle_epi8(SixteenSlots(upper, lower, weights), three));
    for (; bytes > 0; bytes -= 12, out += 12, upper += 16, lower += 16) {
        unsigned char rest[16];
        Store(rest, _mm_shuffle_epi8(SixteenSlots(upper, lower, weights), three));
        std::memcpy(out, rest, static_cast<std::size_t>(bytes < 12 ? bytes : 12));
    }
}

// 16 gray values as 48 bytes.
DIBPREP_TIER inline void StoreGray(unsigned char* out, __m128i gray) {
    Store(out, _mm_shuffle_epi8(gray, _mm_setr_epi8(0, 0, 0, 1, 1, 1, 2, 2, 2, 3, 3, 3, 4, 4, 4, 5)));
    Store(out + 16, _mm_shuffle_epi8(gray, _mm_setr_epi8(5, 5, 6, 6, 6, 7, 7, 7, 8, 8, 8, 9, 9, 9, 10, 10)));
    Store(out + 32,
          _mm_shuffle_epi8(gray, _mm_setr_epi8(10, 11, 11, 11, 12, 12, 12, 13, 13, 13, 14, 14, 14, 15, 15, 15)));
}

DIBPREP_TIER void DownThrice(const std::int32_t* upper, const std::int32_t* lower, int fy, unsigned char* out,
                             std::int64_t bytes) {
    const Weights weights = WeightsOf(fy);
    for (; bytes >= 48; bytes -= 48, out += 48, upper += 16, lower += 16)
        StoreGray(out, SixteenSlots(upper, lower, weights));
    if (bytes > 0) {
        unsigned char rest[48];
        StoreGray(rest, SixteenSlots(upper, lower, weights));
        std::memcpy(out, rest, static_cast<std::size_t>(bytes));
    }
}

// ---- feeding the across stage -----------------------------------------------------------------

DIBPREP_TIER inline __m128i ColourOf(const std::uint32_t* colours, unsigned index) {
    return _mm_cvtsi32_si128(static_cast<int>(colours[index]));
}

DIBPREP_TIER void Colour24(const unsigned char* row, int count, const std::uint32_t* colours, unsigned char* out) {
    const __m128i three = _mm_setr_epi8(0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, -1, -1, -1, -1);
    int x = 0;
    for (; x + 4 <= count; x += 4, out += 12) {
        const __m128i first = _mm_unpacklo_epi32(ColourOf(colours, row[x]), ColourOf(colours, row[x + 1]));
        const __m128i second = _mm_unpacklo_epi32(ColourOf(colours, row[x + 2]), ColourOf(colours, row[x + 3]));
        Store(out, _mm_shuffle_epi8(_mm_unpacklo_epi64(first, second), three));
    }
    for (; x < count; ++x, out += 3)
        std::memcpy(out, &colours[row[x]], 4);
}

DIBPREP_TIER void LevelsBySums(const unsigned char* row, int count, const unsigned char* levels, unsigned char* out) {
    const __m128i byLow = Load(levels);
    const __m128i byHigh = Load(levels + 16);
    const __m128i fourBits = _mm_set1_epi8(15);
    int x = 0;
    for (; x + 16 <= count; x += 16) {
        const __m128i indices = Load(row + x);
        const __m128i low = _mm_and_si128(indices, fourBits);
        const __m128i high = _mm_and_si128(_mm_srli_epi16(indices, 4), fourBits);
        Store(out + x, _mm_add_epi8(_mm_shuffle_epi8(byLow, low), _mm_shuffle_epi8(byHigh, high)));
    }
    for (; x < count; ++x)
        out[x] = static_cast<unsigned char>(levels[row[x] & 15] + levels[16 + (row[x] >> 4)]);
}

// The leftmost pixel is in the higher half of a byte.
DIBPREP_TIER void Levels4(const unsigned char* row, int count, const unsigned char* levels, unsigned char* out) {
    const __m128i sixteen = Load(levels);
    const __m128i fourBits = _mm_set1_epi8(15);
    int i = 0;
    for (; i + 16 <= count; i += 16, out += 32) {
        const __m128i bytes = Load(row + i);
        const __m128i left = _mm_shuffle_epi8(sixteen, _mm_and_si128(_mm_srli_epi16(bytes, 4), fourBits));
        const __m128i right = _mm_shuffle_epi8(sixteen, _mm_and_si128(bytes, fourBits));
        Store(out, _mm_unpacklo_epi8(left, right));
        Store(out + 16, _mm_unpackhi_epi8(left, right));
    }
    for (; i < count; ++i, out += 2) {
        out[0] = levels[row[i] >> 4];
        out[1] = levels[row[i] & 15];
    }
}

} // namespace

// Storing every slot needs no byte shuffle: the form of SSE2 stays.
void AddSsse3Rows(RowTable& table) {
    table.acrossWindows = AcrossWindows;
    table.acrossHalves = AcrossHalves;
    table.down[StoreThreeOfFour] = DownThreeOfFour;
    table.down[StoreThrice] = DownThrice;
    table.colour24 = Colour24;
    table.levelsBySums = LevelsBySums;
    table.levels4 = Levels4;
}

} // namespace dibprep

// The row stages with SSSE3: 16 slots at a time.
#define DIBPREP_TIER __attribute__((target("ssse3")))
#include "bilinear/x86/slots.h"

#include <cstring>
#include <immintrin.h>

namespace dibprep {
namespace {

// The slots of a window.
struct Four {
    using Place = Window;
    static constexpr int Places = 1;
    static const Place* First(const MixPlan& plan) { return plan.windows; }
    static std::int32_t Offset(const Place* place) { return place->base[0]; }
    DIBPREP_TIER explicit Four(const Place* place)
        : base(place->base[0]), picks(Load(place->picks)), weights(Load(place->weights)) {}
    DIBPREP_TIER __m128i Across(const unsigned char* row) const {
        return _mm_maddubs_epi16(_mm_shuffle_epi8(Load(row + base), picks), weights);
    }

    std::int32_t base;
    __m128i picks;
    __m128i weights;
};

// The next pixels are stored over the four empty bytes.
struct ThreeOfFour {
    static constexpr std::ptrdiff_t Bytes = 12;
    static constexpr std::ptrdiff_t Written = 16;
    DIBPREP_TIER static void Put(unsigned char* out, __m128i bytes) {
        Store(out, _mm_shuffle_epi8(bytes, _mm_setr_epi8(0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, -1, -1, -1, -1)));
    }
};

// 16 gray values as 48 bytes.
struct Thrice {
    static constexpr std::ptrdiff_t Bytes = 48;
    static constexpr std::ptrdiff_t Written = 48;
    DIBPREP_TIER static void Put(unsigned char* out, __m128i gray) {
        Store(out, _mm_shuffle_epi8(gray, _mm_setr_epi8(0, 0, 0, 1, 1, 1, 2, 2, 2, 3, 3, 3, 4, 4, 4, 5)));
        Store(out + 16, _mm_shuffle_epi8(gray, _mm_setr_epi8(5, 5, 6, 6, 6, 7, 7, 7, 8, 8, 8, 9, 9, 9, 10, 10)));
        Store(out + 32,
              _mm_shuffle_epi8(gray, _mm_setr_epi8(10, 11, 11, 11, 12, 12, 12, 13, 13, 13, 14, 14, 14, 15, 15, 15)));
    }
};

// ---- feeding -----------------------------------------------------------------

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

void AddSsse3Rows(RowTable& table) {
    table.windowsPerRegister = 1;
    table.mix[StoreAll] = Mix<Four, All>;
    table.mix[StoreThreeOfFour] = Mix<Four, ThreeOfFour>;
    table.mix[StoreThrice] = Mix<Four, Thrice>;
    table.levelsBySums = LevelsBySums;
    table.levels4 = Levels4;
}

} // namespace dibprep

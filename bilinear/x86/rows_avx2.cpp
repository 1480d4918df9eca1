// The row stages with AVX2: 32 slots at a time.
#include "bilinear/row_table.h"
#include "memory/unaligned.h"
#include "memory/x86/four_colors_avx2.h"

#include <cstring>
#include <immintrin.h>

#define DIBPREP_AVX2 __attribute__((target("avx2")))

namespace dibprep {
namespace {

DIBPREP_AVX2 inline __m256i Load(const void* at) { return _mm256_loadu_si256(static_cast<const __m256i*>(at)); }
DIBPREP_AVX2 inline void Store(void* at, __m256i value) { _mm256_storeu_si256(static_cast<__m256i*>(at), value); }
DIBPREP_AVX2 inline __m128i LoadHalf(const void* at) { return _mm_loadu_si128(static_cast<const __m128i*>(at)); }
DIBPREP_AVX2 inline void StoreHalf(void* at, __m128i value) { _mm_storeu_si128(static_cast<__m128i*>(at), value); }

// The weights (w, 16 * w) of q and p.
struct Weights {
    __m256i upper;
    __m256i lower;
};

DIBPREP_AVX2 inline Weights WeightsOf(int fy) {
    return {_mm256_set1_epi32((1024 - fy) * (1 + (16 << 16))), _mm256_set1_epi32(fy * (1 + (16 << 16)))};
}

// A register of slots from one source row.
template <bool OneWindow>
DIBPREP_AVX2 inline __m256i Across(const unsigned char* row, const Window& window, __m256i picks, __m256i weights) {
    const __m128i first = LoadHalf(row + window.base[0]);
    const __m256i bytes =
        OneWindow ? _mm256_broadcastsi128_si256(first)
                  : _mm256_inserti128_si256(_mm256_castsi128_si256(first), LoadHalf(row + window.base[1]), 1);
    return _mm256_maddubs_epi16(_mm256_shuffle_epi8(bytes, picks), weights);
}

DIBPREP_AVX2 inline __m256i Down(__m256i upper, __m256i lower, const Weights& weights) {
    return _mm256_srli_epi32(
        _mm256_add_epi32(_mm256_madd_epi16(upper, weights.upper), _mm256_madd_epi16(lower, weights.lower)), 20);
}

// Slots of two output rows; of one, the second stays as it is.
struct Outcome {
    __m256i rows[2];
};

template <Group Rows, bool OneWindow>
DIBPREP_AVX2 inline Outcome Mixed(const Sources& sources, const Window& window, const Weights& first,
                                  const Weights& second) {
    constexpr int Second = SecondUpperOf(Rows);
    const __m256i picks = Load(window.picks);
    const __m256i weights = Load(window.weights);
    const __m256i row0 = Across<OneWindow>(sources.rows[0], window, picks, weights);
    const __m256i row1 = Across<OneWindow>(sources.rows[1], window, picks, weights);
    Outcome outcome;
    outcome.rows[0] = outcome.rows[1] = Down(row0, row1, first);
    if (Rows == Group::Same) {
        outcome.rows[1] = Down(row0, row1, second);
    } else if (Rows != Group::One) {
        const __m256i upper =
            Rows == Group::Chain ? row1 : Across<OneWindow>(sources.rows[Second], window, picks, weights);
        outcome.rows[1] = Down(upper, Across<OneWindow>(sources.rows[Second + 1], window, picks, weights), second);
    }
    return outcome;
}

// 32 bytes of each output row, from the four registers of a step.
template <Group Rows, bool OneWindow>
DIBPREP_AVX2 inline Outcome Step(const Sources& sources, const Window* windows, const Weights& first,
                                 const Weights& second) {
    const Outcome a = Mixed<Rows, OneWindow>(sources, windows[0], first, second);
    const Outcome b = Mixed<Rows, OneWindow>(sources, windows[1], first, second);
    const Outcome ab = {{_mm256_packs_epi32(a.rows[0], b.rows[0]), _mm256_packs_epi32(a.rows[1], b.rows[1])}};
    const Outcome c = Mixed<Rows, OneWindow>(sources, windows[2], first, second);
    const Outcome d = Mixed<Rows, OneWindow>(sources, windows[3], first, second);
    Outcome bytes;
    for (int i = 0; i < OutputRowsOf(Rows); ++i) {
        bytes.rows[i] = _mm256_packus_epi16(ab.rows[i], _mm256_packs_epi32(c.rows[i], d.rows[i]));
        if (OneWindow)
            bytes.rows[i] = _mm256_permutevar8x32_epi32(bytes.rows[i], _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7));
    }
    return bytes;
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

// Four pixels of four bytes as twelve bytes, in each half. The second half is stored over the four empty
// bytes of the first, and has four itself.
DIBPREP_AVX2 inline void StoreThree(unsigned char* out, __m256i fours) {
    const __m256i three = _mm256_setr_epi8(0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, -1, -1, -1, -1, //
                                           0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, -1, -1, -1, -1);
    const __m256i pixels = _mm256_shuffle_epi8(fours, three);
    StoreHalf(out, _mm256_castsi256_si128(pixels));
    StoreHalf(out + 12, _mm256_extracti128_si256(pixels, 1));
}

template <Storing Form>
DIBPREP_AVX2 inline void StoreStep(unsigned char* out, __m256i bytes) {
    if (Form == StoreThrice)
        StoreGray(out, bytes);
    else if (Form == StoreThreeOfFour)
        StoreThree(out, bytes);
    else
        Store(out, bytes);
}

template <Group Rows, bool OneWindow, Storing Form>
DIBPREP_AVX2 void MixRows(const MixPlan& plan, const MixTask& task) {
    constexpr std::ptrdiff_t Bytes = Form == StoreThrice ? 96 : Form == StoreThreeOfFour ? 24 : 32;
    constexpr std::ptrdiff_t Written = Form == StoreThreeOfFour ? 28 : Bytes;
    const Sources sources = task.sources;
    const Weights first = WeightsOf(task.fy[0]);
    const Weights second = WeightsOf(task.fy[1]);
    unsigned char* out[] = {task.out[0], task.out[1]};
    const Window* windows = plan.windows;
    for (std::ptrdiff_t left = task.bytes; left > 0; left -= Bytes, windows += RegistersPerStep) {
        for (int i = 0; i < SourceRowsOf(Rows); ++i)
            _mm_prefetch(
                reinterpret_cast<const char*>(sources.ahead[i] + static_cast<std::uintptr_t>(windows->base[0])),
                _MM_HINT_T1);
        const Outcome bytes = Step<Rows, OneWindow>(sources, windows, first, second);
        for (int i = 0; i < OutputRowsOf(Rows); ++i) {
            unsigned char rest[Written];
            StoreStep<Form>(left < Written ? rest : out[i], bytes.rows[i]);
            if (left < Written)
                std::memcpy(out[i], rest, static_cast<std::size_t>(left < Bytes ? left : Bytes));
            out[i] += Bytes;
        }
    }
}

template <bool OneWindow, Storing Form>
void MixGroup(const MixPlan& plan, const MixTask& task) {
    switch (task.group) {
    case Group::One:
        return MixRows<Group::One, OneWindow, Form>(plan, task);
    case Group::Same:
        return MixRows<Group::Same, OneWindow, Form>(plan, task);
    case Group::Chain:
        return MixRows<Group::Chain, OneWindow, Form>(plan, task);
    case Group::Apart:
        return MixRows<Group::Apart, OneWindow, Form>(plan, task);
    }
}

template <Storing Form>
void Mix(const MixPlan& plan, const MixTask& task) {
    (plan.oneWindow ? MixGroup<true, Form> : MixGroup<false, Form>)(plan, task);
}

// ---- feeding -----------------------------------------------------------------

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

DIBPREP_AVX2 void Colour(const unsigned char* row, int count, const std::uint32_t* colours, unsigned char* out) {
    int x = 0;
    for (; x + 16 <= count; x += 16, out += 64) {
        IndexWord word = 0;
        for (int i = 0; i < 16; i += 4) {
            if (static_cast<std::size_t>(i) % sizeof word == 0)
                word = LoadIndices(row + x + i);
            StoreHalf(out + 4 * i, FourColors(colours, word));
        }
    }
    for (; x < count; ++x, out += 4)
        StoreU32(out, colours[row[x]]);
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
        _mm_prefetch(reinterpret_cast<const char*>(ahead + static_cast<std::uintptr_t>(i)), _MM_HINT_T1);
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
    table.colour = Colour;
    table.levels = Levels;
    table.levelsBySums = LevelsBySums;
    table.changes = Changes;
    table.windowsPerRegister = 2;
    table.mix[StoreAll] = Mix<StoreAll>;
    table.mix[StoreThreeOfFour] = MixGroup<false, StoreThreeOfFour>;
    table.mix[StoreThrice] = Mix<StoreThrice>;
}

} // namespace dibprep

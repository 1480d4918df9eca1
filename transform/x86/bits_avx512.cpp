// The kernels of 1-bit rows with AVX-512: 64 pixels to a window, masks in place of gathered signs, and
// outcomes chosen by three-way logic.
#include "transform/row_kernels.h"
#include "transform/x86/vectors_avx512.h"

namespace dibprep {
namespace {

// `table`: the bytes in the window, then the bits. A wanted bit is one bit, so that its pixel is set
// when anything of it is found. Where no pixel is, no bit is wanted, and none set. The rows of bits
// begin at multiples of eight; a copy of the mask would take two steps more in 32 bits.
DIBPREP_AVX512 inline void TestBits(__m512i window, const std::uint8_t* table, std::uint8_t* to) {
    const __m512i found = _mm512_permutexvar_epi8(Load(table), window);
    _store_mask64(reinterpret_cast<__mmask64*>(to), _mm512_test_epi8_mask(found, Load(table + 64)));
}

DIBPREP_AVX512 void ShuffleBits(const BitPlan& columns, const std::uint8_t* row, std::uint8_t* first,
                                std::uint8_t* second) {
    const BitPlan plan = columns; // no store can change a copy
    const std::uint8_t* table = plan.windows;
    for (std::size_t group = 0; group < plan.pixels / 64; ++group, table += 256) {
        const __m512i window = Load(row + plan.offsets[group]);
        TestBits(window, table, first + group * 8);
        TestBits(window, table + 128, second + group * 8);
    }
}

// Where `which` is set `ofSet`, elsewhere `ofClear`.
DIBPREP_AVX512 inline __m512i Select(__m512i which, __m512i ofSet, __m512i ofClear) {
    return _mm512_ternarylogic_epi64(which, ofSet, ofClear, 0xCA);
}

struct FourSamples {
    __m512i left0;
    __m512i right0;
    __m512i left1;
    __m512i right1;
};

DIBPREP_AVX512 inline FourSamples LoadSamples(const std::uint8_t* const samples[4], std::size_t at) {
    return {Load(samples[0] + at), Load(samples[1] + at), Load(samples[2] + at), Load(samples[3] + at)};
}

// The outcomes of four combinations of the first row's samples, from neither to both.
DIBPREP_AVX512 inline __m512i SelectAbove(const FourSamples& four, __m512i neither, __m512i left, __m512i right,
                                          __m512i both) {
    return Select(four.right0, Select(four.left0, both, right), Select(four.left0, left, neither));
}

DIBPREP_AVX512 inline __m512i SelectBelow(const FourSamples& four, const __m512i above[4]) {
    return Select(four.right1, Select(four.left1, above[3], above[2]), Select(four.left1, above[1], above[0]));
}

DIBPREP_AVX512 void PickOutcomes(const std::uint8_t* const samples[4], const std::uint8_t* outcomes, std::size_t bytes,
                                 std::uint8_t* to) {
    for (std::size_t i = 0; i < bytes; i += 64) {
        const FourSamples four = LoadSamples(samples, i);
        __m512i above[4];
        const std::uint8_t* row = outcomes + i;
        for (__m512i& picked : above) {
            picked = SelectAbove(four, Load(row), Load(row + bytes), Load(row + bytes * 2), Load(row + bytes * 3));
            row += bytes * 4;
        }
        Store(to + i, SelectBelow(four, above));
    }
}

// All samples clear, or all set: one combination for 512 pixels.
DIBPREP_AVX512 inline bool PickUniform(const FourSamples& four, const BitChoice choices[16], std::size_t at,
                                       std::uint8_t* to, std::uint8_t* open) {
    const __m512i any =
        _mm512_or_si512(_mm512_ternarylogic_epi64(four.left0, four.right0, four.left1, 0xFE), four.right1);
    const __m512i all =
        _mm512_and_si512(_mm512_ternarylogic_epi64(four.left0, four.right0, four.left1, 0x80), four.right1);
    const bool clear = _mm512_test_epi8_mask(any, any) == 0;
    const bool set = _mm512_cmpeq_epi8_mask(all, _mm512_set1_epi8(-1)) == ~__mmask64{0};
    const BitChoice& choice = choices[clear ? 0 : 15];
    if ((!clear && !set) || choice.low != choice.high)
        return false;
    Store(to + at, _mm512_xor_si512(Load(choice.low + at), _mm512_set1_epi32(static_cast<int>(choice.flip))));
    Store(open + at, _mm512_setzero_si512());
    return true;
}

struct Choice {
    __m512i outcome;
    __m512i unsure;
};

DIBPREP_AVX512 inline Choice LoadChoice(const BitChoice& choice, std::size_t at) {
    const __m512i low = Load(choice.low + at);
    return {_mm512_xor_si512(low, _mm512_set1_epi32(static_cast<int>(choice.flip))),
            _mm512_xor_si512(low, Load(choice.high + at))};
}

DIBPREP_AVX512 bool PickChoices(const std::uint8_t* const samples[4], const BitChoice choices[16], std::size_t bytes,
                                std::uint8_t* to, std::uint8_t* open) {
    __m512i anyOpen = _mm512_setzero_si512();
    for (std::size_t i = 0; i < bytes; i += 64) {
        const FourSamples four = LoadSamples(samples, i);
        if (PickUniform(four, choices, i, to, open))
            continue;
        __m512i outcomes[4];
        __m512i unsure[4];
        const BitChoice* choice = choices;
        for (std::size_t below = 0; below < 4; ++below, choice += 4) {
            const Choice neither = LoadChoice(choice[0], i);
            const Choice left = LoadChoice(choice[1], i);
            const Choice right = LoadChoice(choice[2], i);
            const Choice both = LoadChoice(choice[3], i);
            outcomes[below] = SelectAbove(four, neither.outcome, left.outcome, right.outcome, both.outcome);
            unsure[below] = SelectAbove(four, neither.unsure, left.unsure, right.unsure, both.unsure);
        }
        const __m512i left = SelectBelow(four, unsure);
        Store(to + i, SelectBelow(four, outcomes));
        Store(open + i, left);
        anyOpen = _mm512_or_si512(anyOpen, left);
    }
    return _mm512_test_epi8_mask(anyOpen, anyOpen) != 0;
}

} // namespace

void AddAvx512BitKernels(RowKernels& kernels) {
    kernels.shuffleBits = ShuffleBits;
    kernels.pickOutcomes = PickOutcomes;
    kernels.pickChoices = PickChoices;
}

} // namespace dibprep

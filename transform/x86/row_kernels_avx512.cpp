// The row kernels with AVX-512: 32 channels at a time from one window of 64 bytes, which a single byte
// permutation brings into pairs, and masks for what is left at the end of a row.
//
// A step reads and writes 32 elements of scratch, the room that its rows have; of the output it stores
// what the row has. Shifts by a vector take one step where those by a number take two. Pairs, products
// and sums are those of the AVX2 forms, in registers of twice the width.
#include "transform/x86/vectors_avx512.h"

#define DIBPREP_TIER DIBPREP_AVX512
#include "transform/x86/groups.h"

namespace dibprep {
namespace {

// The samples of 32 channels: indices are below 64.
DIBPREP_AVX512 inline __m512i PairsOfGroup(const ColumnPlan& plan, const std::uint8_t* bytes, std::size_t table) {
    return _mm512_permutexvar_epi8(Load(plan.shuffles + table * 64), Load(bytes + plan.offsets[table]));
}

// The weights are at most 64, so that the sum of a pair, at most 255 * 64, does not saturate.
DIBPREP_AVX512 inline __m512i WeighGroup(const ColumnPlan& plan, const std::uint8_t* bytes, std::size_t table) {
    return _mm512_maddubs_epi16(PairsOfGroup(plan, bytes, table), Load(plan.weights + table * 64));
}

DIBPREP_AVX512 inline void StoreGroup(const ColumnPlan& plan, const std::uint8_t* bytes, std::size_t table,
                                      std::size_t /*channel*/, std::uint16_t* to) {
    Store(to, WeighGroup(plan, bytes, table));
}

DIBPREP_AVX512 void Weigh(const ColumnPlan& plan, const std::uint8_t* bytes, std::uint16_t* to) {
    WalkGroups<std::uint16_t, StoreGroup, 1, 32>(plan, bytes, to);
}

// Differences of samples are whole numbers, exact in words as in doubles.
DIBPREP_AVX512 inline void GroupToDoubles(const ColumnPlan& plan, const std::uint8_t* bytes, std::size_t table,
                                          std::size_t channel, double* to) {
    const __m512i pairs = PairsOfGroup(plan, bytes, table);
    const __m512i firsts = _mm512_and_si512(pairs, _mm512_set1_epi16(0xFF));
    const __m512i differences = _mm512_sub_epi16(_mm512_srli_epi16(pairs, 8), firsts);
    std::int16_t words[2][32];
    Store(words[0], firsts);
    Store(words[1], differences);
    for (std::size_t i = 0; i < 32; i += 8) {
        const __m512d first = _mm512_cvtepi32_pd(_mm256_cvtepi16_epi32(LoadHalf(words[0] + i)));
        const __m512d difference = _mm512_cvtepi32_pd(_mm256_cvtepi16_epi32(LoadHalf(words[1] + i)));
        const __m512d product = _mm512_mul_pd(difference, _mm512_loadu_pd(plan.fractions + channel + i));
        _mm512_storeu_pd(to + i, _mm512_add_pd(first, product));
    }
}

DIBPREP_AVX512 void ToDoubles(const ColumnPlan& plan, const std::uint8_t* bytes, double* to) {
    WalkGroups<double, GroupToDoubles, 1, 32>(plan, bytes, to);
}

// The table lies in four registers. A permutation of two takes an index of seven bits; the eighth, the
// sign, says which two.
DIBPREP_AVX512 void MapLevels(const std::uint8_t* levels, const std::uint8_t* from, std::size_t count,
                              std::uint8_t* to) {
    const __m512i quarters[] = {Load(levels), Load(levels + 64), Load(levels + 128), Load(levels + 192)};
    for (std::size_t i = 0; i < count; i += 64) {
        const __mmask64 lanes = Lanes64(count - i);
        const __m512i indices = _mm512_maskz_loadu_epi8(lanes, from + i);
        const __m512i low = _mm512_permutex2var_epi8(quarters[0], indices, quarters[1]);
        const __m512i high = _mm512_permutex2var_epi8(quarters[2], indices, quarters[3]);
        _mm512_mask_storeu_epi8(to + i, lanes, _mm512_mask_blend_epi8(_mm512_movepi8_mask(indices), low, high));
    }
}

// Words of at most 255 after the shift.
DIBPREP_AVX512 void Narrow(const std::uint16_t* from, unsigned int shift, std::uint8_t* out, std::size_t count) {
    const __m512i bits = _mm512_set1_epi16(static_cast<short>(shift));
    for (std::size_t i = 0; i < count; i += 32)
        StoreWords(out + i, _mm512_srlv_epi16(Load(from + i), bits), count - i);
}

DIBPREP_AVX512 void MixEvenly(const std::uint16_t* row0, const std::uint16_t* row1, __m512i shift, std::uint8_t* out,
                              std::size_t count) {
    for (std::size_t i = 0; i < count; i += 32) {
        const __m512i sum = _mm512_add_epi16(Load(row0 + i), Load(row1 + i));
        StoreWords(out + i, _mm512_srlv_epi16(sum, shift), count - i);
    }
}

// All bits together are at most 8: the sum is at most 255 * 256, and words hold it.
DIBPREP_AVX512 void MixInWords(const std::uint16_t* row0, const std::uint16_t* row1, const RowWeights& weights,
                               __m512i shift, std::uint8_t* out, std::size_t count) {
    const __m512i weight0 = _mm512_set1_epi16(static_cast<short>(weights.first));
    const __m512i weight1 = _mm512_set1_epi16(static_cast<short>(weights.second));
    for (std::size_t i = 0; i < count; i += 32) {
        const __m512i sum =
            _mm512_add_epi16(_mm512_mullo_epi16(Load(row0 + i), weight0), _mm512_mullo_epi16(Load(row1 + i), weight1));
        StoreWords(out + i, _mm512_srlv_epi16(sum, shift), count - i);
    }
}

// With more bits doublewords hold the sum: rows of at most 255 * 2^6 and weights of at most 2^14
// stay below 2^28, and both factors are positive as signed words. Unpacking and packing keep to the
// lanes, so that the channels come out in their order.
DIBPREP_AVX512 void MixWords(const std::uint16_t* row0, const std::uint16_t* row1, const RowWeights& weights,
                             unsigned int fractionBits, std::uint8_t* out, std::size_t count) {
    const unsigned int bits = fractionBits + weights.bits;
    const __m512i wordShift = _mm512_set1_epi16(static_cast<short>(bits));
    if (weights.first == 1 && weights.second == 1) {
        MixEvenly(row0, row1, wordShift, out, count);
        return;
    }
    if (bits <= 8) {
        MixInWords(row0, row1, weights, wordShift, out, count);
        return;
    }
    const __m512i shift = _mm512_set1_epi32(static_cast<int>(bits));
    const __m512i both = _mm512_set1_epi32(static_cast<int>(weights.first | weights.second << 16));
    for (std::size_t i = 0; i < count; i += 32) {
        const __m512i top = Load(row0 + i);
        const __m512i bottom = Load(row1 + i);
        const __m512i low = _mm512_srlv_epi32(_mm512_madd_epi16(_mm512_unpacklo_epi16(top, bottom), both), shift);
        const __m512i high = _mm512_srlv_epi32(_mm512_madd_epi16(_mm512_unpackhi_epi16(top, bottom), both), shift);
        StoreWords(out + i, _mm512_packs_epi32(low, high), count - i);
    }
}

// How two rows become one.
enum class Rows { Alone, Even, Weighted };

struct DirectMix {
    ColumnPlan plan;
    __m512i weight0;
    __m512i weight1;
    __m512i shift;
};

// 32 channels straight from their bytes. All bits together are at most 8, as above.
template <Rows rows>
DIBPREP_AVX512 inline __m256i MixGroup(const DirectMix& mix, const std::uint8_t* bytes0, const std::uint8_t* bytes1,
                                       std::size_t table) {
    __m512i sum = WeighGroup(mix.plan, bytes0, table);
    if (rows != Rows::Alone) {
        __m512i bottom = WeighGroup(mix.plan, bytes1, table);
        if (rows == Rows::Weighted) {
            sum = _mm512_mullo_epi16(sum, mix.weight0);
            bottom = _mm512_mullo_epi16(bottom, mix.weight1);
        }
        sum = _mm512_add_epi16(sum, bottom);
    }
    return LowBytes(_mm512_srlv_epi16(sum, mix.shift));
}

template <Rows rows>
DIBPREP_AVX512 void MixDirectly(const DirectMix& mix, const std::uint8_t* bytes0, const std::uint8_t* bytes1,
                                std::uint8_t* out) {
    const DirectMix copy = mix;
    const ColumnPlan& plan = copy.plan;
    const std::uint8_t* window0 = bytes0;
    const std::uint8_t* window1 = bytes1;
    std::uint8_t* to = out; // whole periods are whole groups
    for (std::size_t round = 0; round < plan.repeats; ++round, window0 += plan.step, window1 += plan.step) {
        for (std::size_t table = 0; table < plan.period; ++table, to += 32)
            _mm256_storeu_si256(reinterpret_cast<__m256i*>(to), MixGroup<rows>(copy, window0, window1, table));
    }
    for (std::size_t table = plan.period * plan.repeats; table < plan.groups; ++table)
        StorePart(out + table * 32, MixGroup<rows>(copy, bytes0, bytes1, table), plan.channels - table * 32);
}

DIBPREP_AVX512 void WeighAndMix(const ColumnPlan& plan, const std::uint8_t* bytes0, const std::uint8_t* bytes1,
                                const RowWeights& weights, std::uint8_t* out) {
    const DirectMix mix{plan, _mm512_set1_epi16(static_cast<short>(weights.first)),
                        _mm512_set1_epi16(static_cast<short>(weights.second)),
                        _mm512_set1_epi16(static_cast<short>(plan.fractionBits + weights.bits))};
    if (weights.second == 0)
        MixDirectly<Rows::Alone>(mix, bytes0, bytes1, out);
    else if (weights.first == weights.second)
        MixDirectly<Rows::Even>(mix, bytes0, bytes1, out);
    else
        MixDirectly<Rows::Weighted>(mix, bytes0, bytes1, out);
}

DIBPREP_AVX512 inline __m512d WidenEight(const std::uint16_t* from) {
    return _mm512_cvtepi32_pd(_mm256_cvtepu16_epi32(LoadHalf(from)));
}

DIBPREP_AVX512 inline __m512i MixSixteenWords(const std::uint16_t* row0, const std::uint16_t* row1, __m512d fraction,
                                              __m512i shift) {
    const __m256i low = MixEight(WidenEight(row0), WidenEight(row1), fraction);
    const __m256i high = MixEight(WidenEight(row0 + 8), WidenEight(row1 + 8), fraction);
    return _mm512_srlv_epi32(Join(low, high), shift);
}

// The rows are the results times a power of two, so that the sum rounds as it would without it.
DIBPREP_AVX512 void MixWordsInDoubles(const std::uint16_t* row0, const std::uint16_t* row1, double fraction,
                                      unsigned int fractionBits, std::uint8_t* out, std::size_t count) {
    const __m512d weight = _mm512_set1_pd(fraction);
    const __m512i shift = _mm512_set1_epi32(static_cast<int>(fractionBits));
    for (std::size_t i = 0; i < count; i += 32)
        StorePart(out + i,
                  BytesOf(MixSixteenWords(row0 + i, row1 + i, weight, shift),
                          MixSixteenWords(row0 + i + 16, row1 + i + 16, weight, shift)),
                  count - i);
}

DIBPREP_AVX512 inline __m512i MixSixteenDoubles(const double* row0, const double* row1, __m512d fraction) {
    return Join(MixEight(_mm512_loadu_pd(row0), _mm512_loadu_pd(row1), fraction),
                MixEight(_mm512_loadu_pd(row0 + 8), _mm512_loadu_pd(row1 + 8), fraction));
}

DIBPREP_AVX512 void MixDoubles(const double* row0, const double* row1, double fraction, std::uint8_t* out,
                               std::size_t count) {
    const __m512d weight = _mm512_set1_pd(fraction);
    for (std::size_t i = 0; i < count; i += 32)
        StorePart(out + i,
                  BytesOf(MixSixteenDoubles(row0 + i, row1 + i, weight),
                          MixSixteenDoubles(row0 + i + 16, row1 + i + 16, weight)),
                  count - i);
}

} // namespace

void AddAvx512RowKernels(RowKernels& kernels) {
    kernels.tier = Tier::Avx512;
    kernels.windowBytes = 64;
    kernels.weigh = Weigh;
    kernels.toDoubles = ToDoubles;
    kernels.mapLevels = MapLevels;
    kernels.narrow = Narrow;
    kernels.mixWords = MixWords;
    kernels.weighAndMix = WeighAndMix;
    kernels.mixWordsInDoubles = MixWordsInDoubles;
    kernels.mixDoubles = MixDoubles;
}

} // namespace dibprep

// The row kernels for AVX2: two groups of channels in a register.
#include "transform/x86/vectors_avx2.h"

namespace dibprep {

namespace {

// The words of two registers, at most 255, as bytes in their order.
DIBPREP_TIER inline __m256i PackWords(__m256i low, __m256i high) {
    return _mm256_permute4x64_epi64(_mm256_packus_epi16(low, high), 0xD8);
}

DIBPREP_TIER inline __m256i PairsOfTwoGroups(const ColumnPlan& plan, const std::uint8_t* bytes, std::size_t table) {
    return _mm256_shuffle_epi8(LoadTwo(bytes + plan.offsets[table], bytes + plan.offsets[table + 1]),
                               Load(plan.shuffles + table * 16));
}

// The weights are at most 64, so that the sum of a pair, at most 255 * 64, does not saturate.
DIBPREP_TIER inline void WeighTwoGroups(const ColumnPlan& plan, const std::uint8_t* bytes, std::size_t table,
                                        std::size_t /*channel*/, std::uint16_t* to) {
    Store(to, _mm256_maddubs_epi16(PairsOfTwoGroups(plan, bytes, table), Load(plan.weights + table * 16)));
}

// The tables of a short period, of so many pairs of groups: they stay in registers.
template <std::size_t Pairs>
struct PeriodTables {
    __m256i shuffles[Pairs];
    __m256i weights[Pairs];
    std::uint32_t offsets[Pairs * 2];

    DIBPREP_TIER explicit PeriodTables(const ColumnPlan& plan) {
        for (std::size_t i = 0; i < Pairs; ++i) {
            shuffles[i] = Load(plan.shuffles + i * 32);
            weights[i] = Load(plan.weights + i * 32);
            offsets[i * 2] = plan.offsets[i * 2];
            offsets[i * 2 + 1] = plan.offsets[i * 2 + 1];
        }
    }

    DIBPREP_TIER __m256i Weighed(const std::uint8_t* bytes, std::size_t i) const {
        const __m256i windows = LoadTwo(bytes + offsets[i * 2], bytes + offsets[i * 2 + 1]);
        return _mm256_maddubs_epi16(_mm256_shuffle_epi8(windows, shuffles[i]), weights[i]);
    }
};

template <std::size_t Pairs>
DIBPREP_TIER inline void WeighPeriods(const ColumnPlan& plan, const std::uint8_t* bytes, std::uint16_t* to) {
    const PeriodTables<Pairs> tables(plan);
    const std::size_t step = plan.step;
    for (std::size_t round = plan.repeats; round > 0; --round, bytes += step, to += Pairs * 16) {
        for (std::size_t i = 0; i < Pairs; ++i)
            Store(to + i * 16, tables.Weighed(bytes, i));
    }
}

DIBPREP_TIER void Weigh(const ColumnPlan& plan, const std::uint8_t* bytes, std::uint16_t* to) {
    if (plan.period != 4 && plan.period != 6) {
        WalkGroups<std::uint16_t, WeighTwoGroups, 2>(plan, bytes, to);
        return;
    }
    if (plan.period == 4)
        WeighPeriods<2>(plan, bytes, to);
    else
        WeighPeriods<3>(plan, bytes, to);
    for (std::size_t table = plan.period * plan.repeats; table < plan.groups; table += 2)
        WeighTwoGroups(plan, bytes, table, 0, to + table * 8);
}

// Four channels: first + difference * fraction.
DIBPREP_TIER inline void StoreFour(double* to, __m128i first, __m128i difference, const double* fractions) {
    const __m256d product = _mm256_mul_pd(_mm256_cvtepi32_pd(difference), _mm256_loadu_pd(fractions));
    _mm256_storeu_pd(to, _mm256_add_pd(_mm256_cvtepi32_pd(first), product));
}

DIBPREP_TIER inline void GroupToDoubles(const ColumnPlan& plan, const std::uint8_t* bytes, std::size_t table,
                                        std::size_t channel, double* to) {
    const __m128i window = LoadHalf(bytes + plan.offsets[table]);
    const __m128i pairs = _mm_shuffle_epi8(window, LoadHalf(plan.shuffles + table * 16));
    const __m128i first = _mm_and_si128(pairs, _mm_set1_epi16(0xFF));
    const __m128i difference = _mm_sub_epi16(_mm_srli_epi16(pairs, 8), first);
    const __m256i firsts = _mm256_cvtepi16_epi32(first);
    const __m256i differences = _mm256_cvtepi16_epi32(difference);
    StoreFour(to, _mm256_castsi256_si128(firsts), _mm256_castsi256_si128(differences), plan.fractions + channel);
    StoreFour(to + 4, _mm256_extracti128_si256(firsts, 1), _mm256_extracti128_si256(differences, 1),
              plan.fractions + channel + 4);
}

DIBPREP_TIER void ToDoubles(const ColumnPlan& plan, const std::uint8_t* bytes, double* to) {
    WalkGroups<double, GroupToDoubles, 1>(plan, bytes, to);
}

DIBPREP_TIER void Narrow(const std::uint16_t* from, unsigned int shift, std::uint8_t* out, std::size_t count) {
    const __m128i bits = _mm_cvtsi32_si128(static_cast<int>(shift));
    for (std::size_t i = 0; i < count; i += 32)
        StorePart(out + i,
                  PackWords(_mm256_srl_epi16(Load(from + i), bits), _mm256_srl_epi16(Load(from + i + 16), bits)),
                  count - i);
}

DIBPREP_TIER void MixEvenly(const std::uint16_t* row0, const std::uint16_t* row1, __m128i shift, std::uint8_t* out,
                            std::size_t count) {
    for (std::size_t i = 0; i < count; i += 32) {
        const __m256i low = _mm256_add_epi16(Load(row0 + i), Load(row1 + i));
        const __m256i high = _mm256_add_epi16(Load(row0 + i + 16), Load(row1 + i + 16));
        StorePart(out + i, PackWords(_mm256_srl_epi16(low, shift), _mm256_srl_epi16(high, shift)), count - i);
    }
}

// All bits together are at most 8: the sum is at most 255 * 256, and words hold it.
DIBPREP_TIER void MixInWords(const std::uint16_t* row0, const std::uint16_t* row1, const RowWeights& weights,
                             __m128i shift, std::uint8_t* out, std::size_t count) {
    const __m256i weight0 = _mm256_set1_epi16(static_cast<short>(weights.first));
    const __m256i weight1 = _mm256_set1_epi16(static_cast<short>(weights.second));
    for (std::size_t i = 0; i < count; i += 32) {
        const __m256i low =
            _mm256_add_epi16(_mm256_mullo_epi16(Load(row0 + i), weight0), _mm256_mullo_epi16(Load(row1 + i), weight1));
        const __m256i high = _mm256_add_epi16(_mm256_mullo_epi16(Load(row0 + i + 16), weight0),
                                              _mm256_mullo_epi16(Load(row1 + i + 16), weight1));
        StorePart(out + i, PackWords(_mm256_srl_epi16(low, shift), _mm256_srl_epi16(high, shift)), count - i);
    }
}

// Sixteen channels as words 0 to 255.
DIBPREP_TIER inline __m256i MixSixteen(const std::uint16_t* row0, const std::uint16_t* row1, __m256i weights,
                                       __m128i shift) {
    const __m256i top = Load(row0);
    const __m256i bottom = Load(row1);
    const __m256i low = _mm256_madd_epi16(_mm256_unpacklo_epi16(top, bottom), weights);
    const __m256i high = _mm256_madd_epi16(_mm256_unpackhi_epi16(top, bottom), weights);
    return _mm256_packs_epi32(_mm256_srl_epi32(low, shift), _mm256_srl_epi32(high, shift));
}

// With more bits doublewords hold the sum: rows of at most 255 * 2^6 and weights of at most 2^14
// stay below 2^28, and both factors are positive as signed words.
DIBPREP_TIER void MixWords(const std::uint16_t* row0, const std::uint16_t* row1, const RowWeights& weights,
                           unsigned int fractionBits, std::uint8_t* out, std::size_t count) {
    const __m128i shift = _mm_cvtsi32_si128(static_cast<int>(fractionBits + weights.bits));
    if (weights.first == 1 && weights.second == 1) {
        MixEvenly(row0, row1, shift, out, count);
        return;
    }
    if (fractionBits + weights.bits <= 8) {
        MixInWords(row0, row1, weights, shift, out, count);
        return;
    }
    const __m256i both = _mm256_set1_epi32(static_cast<int>(weights.first | weights.second << 16));
    for (std::size_t i = 0; i < count; i += 32)
        StorePart(out + i,
                  PackWords(MixSixteen(row0 + i, row1 + i, both, shift),
                            MixSixteen(row0 + i + 16, row1 + i + 16, both, shift)),
                  count - i);
}

// What turns weighed channels of one or two rows into levels.
enum class Rows { Alone, Even, Weighted }; // the second has no weight, the same, another

template <Rows Form>
struct DirectMix {
    __m256i weight0;
    __m256i weight1;
    __m128i shift;

    DIBPREP_TIER DirectMix(const RowWeights& weights, unsigned int fractionBits)
        : weight0(_mm256_set1_epi16(static_cast<short>(weights.first))),
          weight1(_mm256_set1_epi16(static_cast<short>(weights.second))),
          shift(_mm_cvtsi32_si128(static_cast<int>(fractionBits + weights.bits))) {}

    // Sixteen words, 0 to 255.
    DIBPREP_TIER __m256i Levels(__m256i top, __m256i bottom) const {
        if (Form == Rows::Weighted)
            top = _mm256_add_epi16(_mm256_mullo_epi16(top, weight0), _mm256_mullo_epi16(bottom, weight1));
        else if (Form == Rows::Even)
            top = _mm256_add_epi16(top, bottom);
        return _mm256_srl_epi16(top, shift);
    }
};

DIBPREP_TIER inline __m128i PackHalf(__m256i words) {
    return _mm_packus_epi16(_mm256_castsi256_si128(words), _mm256_extracti128_si256(words, 1));
}

template <Rows Form, std::size_t Pairs>
DIBPREP_TIER inline void MixPeriods(const ColumnPlan& plan, const std::uint8_t* bytes0, const std::uint8_t* bytes1,
                                    const DirectMix<Form>& mix, std::uint8_t* out) {
    const PeriodTables<Pairs> tables(plan);
    const std::size_t step = plan.step;
    for (std::size_t round = plan.repeats; round > 0; --round, bytes0 += step, bytes1 += step, out += Pairs * 16) {
        __m256i words[Pairs];
        for (std::size_t i = 0; i < Pairs; ++i) {
            const __m256i top = tables.Weighed(bytes0, i);
            words[i] = mix.Levels(top, Form == Rows::Alone ? top : tables.Weighed(bytes1, i));
        }
        for (std::size_t i = 0; i + 1 < Pairs; i += 2)
            Store(out + i * 16, PackWords(words[i], words[i + 1]));
        if (Pairs % 2 != 0)
            StoreHalf(out + (Pairs - 1) * 16, PackHalf(words[Pairs - 1]));
    }
}

template <Rows Form>
DIBPREP_TIER inline __m128i MixTwoGroups(const ColumnPlan& plan, const std::uint8_t* bytes0, const std::uint8_t* bytes1,
                                         std::size_t table, const DirectMix<Form>& mix) {
    const __m256i weights = Load(plan.weights + table * 16);
    const __m256i top = _mm256_maddubs_epi16(PairsOfTwoGroups(plan, bytes0, table), weights);
    if (Form == Rows::Alone)
        return PackHalf(mix.Levels(top, top));
    return PackHalf(mix.Levels(top, _mm256_maddubs_epi16(PairsOfTwoGroups(plan, bytes1, table), weights)));
}

template <Rows Form>
DIBPREP_TIER inline void WeighAndMixRows(const ColumnPlan& columns, const std::uint8_t* bytes0,
                                         const std::uint8_t* bytes1, const RowWeights& weights, std::uint8_t* out) {
    const ColumnPlan plan = columns; // no store can change a copy
    const DirectMix<Form> mix(weights, plan.fractionBits);
    std::size_t at = plan.period * plan.repeats * 8; // channel; whole periods never reach the last group
    if (plan.period == 4) {
        MixPeriods<Form, 2>(plan, bytes0, bytes1, mix, out);
    } else if (plan.period == 6) {
        MixPeriods<Form, 3>(plan, bytes0, bytes1, mix, out);
    } else {
        std::uint8_t* to = out;
        for (std::size_t round = 0; round < plan.repeats; ++round) {
            const std::size_t begin = round * plan.step;
            for (std::size_t table = 0; table < plan.period; table += 2, to += 16)
                StoreHalf(to, MixTwoGroups(plan, bytes0 + begin, bytes1 + begin, table, mix));
        }
    }
    for (std::size_t table = plan.period * plan.repeats; table < plan.groups; table += 2, at += 16)
        StoreHalfPart(out + at, MixTwoGroups(plan, bytes0, bytes1, table, mix), plan.channels - at);
}

DIBPREP_TIER void WeighAndMix(const ColumnPlan& plan, const std::uint8_t* bytes0, const std::uint8_t* bytes1,
                              const RowWeights& weights, std::uint8_t* out) {
    if (weights.second == 0)
        WeighAndMixRows<Rows::Alone>(plan, bytes0, bytes1, weights, out);
    else if (weights.first == weights.second)
        WeighAndMixRows<Rows::Even>(plan, bytes0, bytes1, weights, out);
    else
        WeighAndMixRows<Rows::Weighted>(plan, bytes0, bytes1, weights, out);
}

DIBPREP_TIER inline __m128i MixFour(__m256d top, __m256d bottom, __m256d fraction) {
    return _mm256_cvttpd_epi32(_mm256_add_pd(top, _mm256_mul_pd(_mm256_sub_pd(bottom, top), fraction)));
}

DIBPREP_TIER inline __m256i WidenEight(const std::uint16_t* from) { return _mm256_cvtepu16_epi32(LoadHalf(from)); }

// Eight channels as words.
DIBPREP_TIER inline __m128i MixEightWords(const std::uint16_t* row0, const std::uint16_t* row1, __m256d fraction,
                                          __m128i shift) {
    const __m256i top = WidenEight(row0);
    const __m256i bottom = WidenEight(row1);
    const __m128i low = MixFour(_mm256_cvtepi32_pd(_mm256_castsi256_si128(top)),
                                _mm256_cvtepi32_pd(_mm256_castsi256_si128(bottom)), fraction);
    const __m128i high = MixFour(_mm256_cvtepi32_pd(_mm256_extracti128_si256(top, 1)),
                                 _mm256_cvtepi32_pd(_mm256_extracti128_si256(bottom, 1)), fraction);
    return _mm_packs_epi32(_mm_srl_epi32(low, shift), _mm_srl_epi32(high, shift));
}

// The rows are the results times a power of two, so that the sum rounds as it would without it.
DIBPREP_TIER void MixWordsInDoubles(const std::uint16_t* row0, const std::uint16_t* row1, double fraction,
                                    unsigned int fractionBits, std::uint8_t* out, std::size_t count) {
    const __m256d weight = _mm256_set1_pd(fraction);
    const __m128i shift = _mm_cvtsi32_si128(static_cast<int>(fractionBits));
    for (std::size_t i = 0; i < count; i += 32) {
        __m128i bytes[2];
        for (std::size_t half = 0; half < 2; ++half) {
            const std::size_t at = i + half * 16;
            bytes[half] = _mm_packus_epi16(MixEightWords(row0 + at, row1 + at, weight, shift),
                                           MixEightWords(row0 + at + 8, row1 + at + 8, weight, shift));
        }
        StorePart(out + i, Join(bytes[0], bytes[1]), count - i);
    }
}

DIBPREP_TIER inline __m128i MixEightDoubles(const double* row0, const double* row1, __m256d fraction) {
    return _mm_packs_epi32(MixFour(_mm256_loadu_pd(row0), _mm256_loadu_pd(row1), fraction),
                           MixFour(_mm256_loadu_pd(row0 + 4), _mm256_loadu_pd(row1 + 4), fraction));
}

DIBPREP_TIER void MixDoubles(const double* row0, const double* row1, double fraction, std::uint8_t* out,
                             std::size_t count) {
    const __m256d weight = _mm256_set1_pd(fraction);
    for (std::size_t i = 0; i < count; i += 32) {
        __m128i bytes[2];
        for (std::size_t half = 0; half < 2; ++half) {
            const std::size_t at = i + half * 16;
            bytes[half] = _mm_packus_epi16(MixEightDoubles(row0 + at, row1 + at, weight),
                                           MixEightDoubles(row0 + at + 8, row1 + at + 8, weight));
        }
        StorePart(out + i, Join(bytes[0], bytes[1]), count - i);
    }
}

} // namespace

void AddAvx2RowKernels(RowKernels& kernels) {
    kernels.tier = Tier::Avx2;
    kernels.weigh = Weigh;
    kernels.toDoubles = ToDoubles;
    kernels.narrow = Narrow;
    kernels.mixWords = MixWords;
    kernels.weighAndMix = WeighAndMix;
    kernels.mixWordsInDoubles = MixWordsInDoubles;
    kernels.mixDoubles = MixDoubles;
}

} // namespace dibprep

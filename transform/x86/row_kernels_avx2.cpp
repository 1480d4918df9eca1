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

DIBPREP_TIER void Weigh(const ColumnPlan& plan, const std::uint8_t* bytes, std::uint16_t* to) {
    WalkGroups<std::uint16_t, WeighTwoGroups, 2>(plan, bytes, to);
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

// What turns the bytes of one or two rows into sixteen channels at once.
struct DirectMix {
    ColumnPlan plan;
    __m256i weight0;
    __m256i weight1;
    __m128i shift;
    bool alone; // the second row has no weight
    bool even;  // both have the same

    DIBPREP_TIER __m128i Channels(const std::uint8_t* bytes0, const std::uint8_t* bytes1, std::size_t table) const {
        const __m256i weights = Load(plan.weights + table * 16);
        __m256i sum = _mm256_maddubs_epi16(PairsOfTwoGroups(plan, bytes0, table), weights);
        if (!alone) {
            __m256i bottom = _mm256_maddubs_epi16(PairsOfTwoGroups(plan, bytes1, table), weights);
            if (!even) {
                sum = _mm256_mullo_epi16(sum, weight0);
                bottom = _mm256_mullo_epi16(bottom, weight1);
            }
            sum = _mm256_add_epi16(sum, bottom);
        }
        const __m256i words = _mm256_srl_epi16(sum, shift);
        return _mm_packus_epi16(_mm256_castsi256_si128(words), _mm256_extracti128_si256(words, 1));
    }
};

DIBPREP_TIER void WeighAndMix(const ColumnPlan& plan, const std::uint8_t* bytes0, const std::uint8_t* bytes1,
                              const RowWeights& weights, std::uint8_t* out) {
    const DirectMix mix{plan,
                        _mm256_set1_epi16(static_cast<short>(weights.first)),
                        _mm256_set1_epi16(static_cast<short>(weights.second)),
                        _mm_cvtsi32_si128(static_cast<int>(plan.fractionBits + weights.bits)),
                        weights.second == 0,
                        weights.first == weights.second};
    std::size_t at = 0; // channel; a body of whole periods never reaches the last group
    for (std::size_t round = 0; round < plan.repeats; ++round) {
        const std::uint8_t* const window0 = bytes0 + round * plan.step;
        const std::uint8_t* const window1 = bytes1 + round * plan.step;
        for (std::size_t table = 0; table < plan.period; table += 2, at += 16)
            StoreHalf(out + at, mix.Channels(window0, window1, table));
    }
    for (std::size_t table = plan.period * plan.repeats; table < plan.groups; table += 2, at += 16) {
        StoreHalfPart(out + at, mix.Channels(bytes0, bytes1, table), plan.channels - at);
    }
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

// The estimate kernels for AVX2: eight channels in a register. What the estimates are and why they
// decide is told in estimate.h.
#include "transform/x86/vectors_avx2.h"

#include "transform/estimate.h"

namespace dibprep {

namespace {

// The difference right - left of sample pairs that lie in doublewords.
DIBPREP_TIER inline __m256i DifferenceOf(__m256i pairs) {
    return _mm256_madd_epi16(pairs, _mm256_set1_epi32(0x0001FFFF));
}

// The samples of eight channels.
DIBPREP_TIER inline __m256i PairsOfEight(const std::uint8_t* bytes, const std::uint32_t* offsets,
                                         const std::uint8_t* shuffles) {
    return _mm256_shuffle_epi8(LoadTwo(bytes + offsets[0], bytes + offsets[1]), Load(shuffles));
}

DIBPREP_TIER inline __m256i EstimateEight(const std::uint8_t* bytes, const std::uint32_t* offsets,
                                          const std::uint8_t* shuffles, const std::int32_t* weights) {
    const __m256i pairs = PairsOfEight(bytes, offsets, shuffles);
    const __m256i products = _mm256_mullo_epi32(DifferenceOf(pairs), Load(weights));
    // The shift leaves the left sample alone.
    return _mm256_add_epi32(_mm256_slli_epi32(pairs, EstimateBits), products);
}

DIBPREP_TIER void Estimate(const EstimatePlan& plan, const std::uint8_t* bytes, Strip strip, std::int32_t* to) {
    const std::uint32_t* offsets = plan.offsets + strip.begin / 4;
    const std::uint8_t* shuffles = plan.shuffles + strip.begin * 4;
    const std::int32_t* weights = plan.weights + strip.begin;
    std::int32_t* const end = to + strip.end;
    for (to += strip.begin; to < end; to += 16, offsets += 4, shuffles += 64, weights += 16) {
        const __m256i low = EstimateEight(bytes, offsets, shuffles, weights);
        const __m256i high = EstimateEight(bytes, offsets + 2, shuffles + 32, weights + 8);
        Store(to, low);
        Store(to + 8, high);
    }
}

// Below this, 2^9 times what a raised estimate has above a level, the true value may lie below that
// level: the channel is open.
constexpr unsigned int OpenBelow = 2u * EstimateMargin << (32 - EstimateBits);

struct RaisedEstimates {
    __m256i values; // EstimateMargin too high
    __m256i above;  // 2^9 times what they have above a level; the highest number for four equal samples
};

// Eight channels.
DIBPREP_TIER inline RaisedEstimates MixEight(const std::int32_t* row0, const std::int32_t* row1, __m256 fraction) {
    const __m256i top = Load(row0);
    const __m256i difference = _mm256_sub_epi32(Load(row1), top);
    const __m256i product = _mm256_cvtps_epi32(_mm256_mul_ps(_mm256_cvtepi32_ps(difference), fraction));
    const __m256i values = _mm256_add_epi32(_mm256_add_epi32(product, _mm256_set1_epi32(EstimateMargin)), top);
    const __m256i above = _mm256_slli_epi32(values, 32 - EstimateBits);
    const __m256i equal =
        _mm256_and_si256(_mm256_cmpeq_epi32(difference, _mm256_setzero_si256()),
                         _mm256_cmpeq_epi32(above, _mm256_set1_epi32(EstimateMargin << (32 - EstimateBits))));
    return {values, _mm256_or_si256(above, equal)};
}

DIBPREP_TIER inline bool AnyOpen(__m256i above) {
    const __m256i highest = _mm256_set1_epi32(static_cast<int>(OpenBelow - 1));
    const __m256i open = _mm256_cmpeq_epi32(_mm256_min_epu32(above, highest), above);
    return !_mm256_testz_si256(open, open);
}

// Which groups among 32 channels have open ones.
DIBPREP_TIER __attribute__((noinline)) unsigned int OpenGroups(const std::int32_t* row0, const std::int32_t* row1,
                                                               float fraction) {
    unsigned int groups = 0;
    for (unsigned int group = 0; group < 4; ++group, row0 += 8, row1 += 8)
        groups |= static_cast<unsigned int>(AnyOpen(MixEight(row0, row1, _mm256_set1_ps(fraction)).above)) << group;
    return groups;
}

// The upper half of 2^52 as a double. With a small number as its lower half it is 2^52 and that number.
// Differences of such doubles are exact, and all this is faster than the conversion.
constexpr int UpperOfBase = 0x43300000;
constexpr double Base = 4503599627370496.0;

DIBPREP_TIER inline __m256d AcrossFour(__m256i left, __m256i right, const double* fractions) {
    const __m256d difference = _mm256_sub_pd(_mm256_castsi256_pd(right), _mm256_castsi256_pd(left));
    const __m256d first = _mm256_sub_pd(_mm256_castsi256_pd(left), _mm256_set1_pd(Base));
    return _mm256_add_pd(first, _mm256_mul_pd(difference, _mm256_loadu_pd(fractions)));
}

// The horizontal results of eight channels of one row, in doubles.
DIBPREP_TIER inline void AcrossEight(const std::uint8_t* bytes, const std::uint32_t* offsets,
                                     const std::uint8_t* shuffles, const double* fractions, __m256d fours[2]) {
    // In the order that brings channels 0 to 3 out of the lower halves and 4 to 7 out of the upper ones.
    const __m256i pairs = _mm256_permute4x64_epi64(PairsOfEight(bytes, offsets, shuffles), 0xD8);
    const __m256i upper = _mm256_set1_epi32(UpperOfBase);
    const __m256i left = _mm256_and_si256(pairs, _mm256_set1_epi32(0xFF));
    const __m256i right = _mm256_srli_epi32(pairs, 16);
    fours[0] = AcrossFour(_mm256_unpacklo_epi32(left, upper), _mm256_unpacklo_epi32(right, upper), fractions);
    fours[1] = AcrossFour(_mm256_unpackhi_epi32(left, upper), _mm256_unpackhi_epi32(right, upper), fractions + 4);
}

DIBPREP_TIER void Across(const EstimatePlan& plan, const std::uint8_t* bytes, Strip strip, double* to) {
    const std::uint32_t* offsets = plan.offsets + strip.begin / 4;
    const std::uint8_t* shuffles = plan.shuffles + strip.begin * 4;
    const double* fractions = plan.fractions + strip.begin;
    double* const end = to + strip.end;
    for (to += strip.begin; to < end; to += 8, offsets += 2, shuffles += 32, fractions += 8) {
        __m256d fours[2];
        AcrossEight(bytes, offsets, shuffles, fractions, fours);
        _mm256_storeu_pd(to, fours[0]);
        _mm256_storeu_pd(to + 4, fours[1]);
    }
}

// Eight channels in the line builders' arithmetic.
DIBPREP_TIER void MixExactly(const EstimatePlan& plan, const std::uint8_t* bytes0, const std::uint8_t* bytes1,
                             std::size_t channel, double fraction, std::uint8_t* to) {
    const std::uint32_t* const offsets = plan.offsets + channel / 4;
    const std::uint8_t* const shuffles = plan.shuffles + channel * 4;
    __m256d top[2];
    __m256d bottom[2];
    AcrossEight(bytes0, offsets, shuffles, plan.fractions + channel, top);
    AcrossEight(bytes1, offsets, shuffles, plan.fractions + channel, bottom);
    __m128i fours[2];
    for (std::size_t half = 0; half < 2; ++half) {
        const __m256d product = _mm256_mul_pd(_mm256_sub_pd(bottom[half], top[half]), _mm256_set1_pd(fraction));
        fours[half] = _mm256_cvttpd_epi32(_mm256_add_pd(top[half], product));
    }
    const __m128i words = _mm_packs_epi32(fours[0], fours[1]);
    _mm_storel_epi64(reinterpret_cast<__m128i*>(to), _mm_packus_epi16(words, words));
}

// 32 channels; what they have above levels, the lowest of each four.
DIBPREP_TIER inline __m256i MixAll(const std::int32_t* row0, const std::int32_t* row1, __m256 fraction,
                                   __m256i* lowest) {
    __m256i words[2];
    *lowest = _mm256_set1_epi32(-1);
    for (std::size_t half = 0; half < 2; ++half) {
        const RaisedEstimates low = MixEight(row0 + half * 16, row1 + half * 16, fraction);
        const RaisedEstimates high = MixEight(row0 + half * 16 + 8, row1 + half * 16 + 8, fraction);
        *lowest = _mm256_min_epu32(*lowest, _mm256_min_epu32(low.above, high.above));
        words[half] = _mm256_packs_epi32(_mm256_srli_epi32(low.values, EstimateBits),
                                         _mm256_srli_epi32(high.values, EstimateBits));
    }
    return _mm256_permutevar8x32_epi32(_mm256_packus_epi16(words[0], words[1]),
                                       _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7));
}

// Stores the levels of `count` channels, those of the open groups computed exactly.
DIBPREP_TIER __attribute__((noinline)) void StoreMended(const EstimatePlan& plan, const EstimatedRow& row0,
                                                        const EstimatedRow& row1, double fraction, __m256i levels,
                                                        std::size_t channel, unsigned int openGroups, std::uint8_t* out,
                                                        std::size_t count) {
    std::uint8_t whole[32];
    Store(whole, levels);
    for (; openGroups != 0; openGroups &= openGroups - 1) {
        const auto part = static_cast<unsigned int>(__builtin_ctz(openGroups)) * 8;
        MixExactly(plan, row0.bytes, row1.bytes, channel + part, fraction, whole + part);
    }
    std::memcpy(out, whole, count);
}

DIBPREP_TIER std::size_t MixEstimates(const EstimatePlan& plan, const EstimatedRow& row0, const EstimatedRow& row1,
                                      double fraction, Strip strip, std::uint8_t* out) {
    const std::int32_t* const top = row0.estimates;
    const std::int32_t* const bottom = row1.estimates;
    const __m256 weight = _mm256_set1_ps(static_cast<float>(fraction));
    std::size_t exact = 0;
    for (std::size_t i = strip.begin; i < strip.end; i += 32) {
        __m256i above;
        const __m256i levels = MixAll(top + i, bottom + i, weight, &above);
        unsigned int openGroups = 0;
        if (AnyOpen(above))
            openGroups = OpenGroups(top + i, bottom + i, static_cast<float>(fraction));
        const std::size_t count = strip.end - i;
        if (openGroups == 0 && count >= 32) {
            Store(out + i, levels);
            continue;
        }
        StoreMended(plan, row0, row1, fraction, levels, i, openGroups, out + i, count < 32 ? count : 32);
        exact += static_cast<std::size_t>(__builtin_popcount(openGroups));
    }
    return exact;
}

} // namespace

void AddAvx2EstimateKernels(RowKernels& kernels) {
    kernels.estimates = true;
    kernels.estimate = Estimate;
    kernels.mixEstimates = MixEstimates;
    kernels.across = Across;
}

} // namespace dibprep

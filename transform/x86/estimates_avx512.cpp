// The estimate kernels with AVX-512: sixteen channels from one window of 64 bytes. What the estimates
// are and why they decide is told in estimate.h; the integers here are the same as in the AVX2 forms.
#include "transform/estimate.h"
#include "transform/row_kernels.h"
#include "transform/x86/vectors_avx512.h"

#include <cstring>

namespace dibprep {
namespace {

// The samples of sixteen channels in doublewords: the left one in the low byte, the right one in the
// third. A place without samples (EmptyByte) takes the window's first byte for both, and equals itself.
DIBPREP_AVX512 inline __m512i PairsOfSixteen(const EstimatePlan& plan, const std::uint8_t* bytes, std::size_t channel) {
    return _mm512_maskz_permutexvar_epi8(0x5555555555555555, Load(plan.shuffles + channel * 4),
                                         Load(bytes + plan.offsets[channel / 16]));
}

DIBPREP_AVX512 void Estimate(const EstimatePlan& row, const std::uint8_t* bytes, Strip strip, std::int32_t* to) {
    const EstimatePlan plan = row; // no store can change a copy
    const __m512i rightMinusLeft = _mm512_set1_epi32(0x0001FFFF);
    for (std::size_t i = strip.begin; i < strip.end; i += 16) {
        const __m512i pairs = PairsOfSixteen(plan, bytes, i);
        const __m512i products = _mm512_mullo_epi32(_mm512_madd_epi16(pairs, rightMinusLeft), Load(plan.weights + i));
        // The shift leaves the left sample alone.
        Store(to + i, _mm512_add_epi32(_mm512_slli_epi32(pairs, EstimateBits), products));
    }
}

// Below this, 2^9 times what a raised estimate has above a level, the true value may lie below that
// level: the channel is open.
constexpr unsigned int OpenBelow = 2u * EstimateMargin << (32 - EstimateBits);

// Sixteen channels: the levels of estimates that are EstimateMargin too high, and which of them are open.
struct Levels {
    __m512i levels;
    __mmask16 open;
};

DIBPREP_AVX512 inline Levels MixSixteen(const std::int32_t* row0, const std::int32_t* row1, __m512 fraction) {
    const __m512i top = Load(row0);
    const __m512i difference = _mm512_sub_epi32(Load(row1), top);
    const __m512i product = _mm512_cvtps_epi32(_mm512_mul_ps(_mm512_cvtepi32_ps(difference), fraction));
    const __m512i values = _mm512_add_epi32(_mm512_add_epi32(product, _mm512_set1_epi32(EstimateMargin)), top);
    const __m512i above = _mm512_slli_epi32(values, 32 - EstimateBits);
    // Four equal samples are decided: no difference, and above a level nothing but the margin. Any
    // other channel has a bit of one of the two left.
    const __m512i exactly = _mm512_set1_epi32(EstimateMargin << (32 - EstimateBits));
    const __m512i unequal = _mm512_ternarylogic_epi32(difference, above, exactly, 0xF6); // a | (b ^ c)
    const __mmask16 open = _mm512_mask_cmplt_epu32_mask(_mm512_test_epi32_mask(unequal, unequal), above,
                                                        _mm512_set1_epi32(static_cast<int>(OpenBelow)));
    return {_mm512_srli_epi32(values, EstimateBits), open};
}

// The horizontal results of eight channels of one row, in the line builders' doubles.
DIBPREP_AVX512 inline __m512d AcrossEight(__m256i pairs, const double* fractions) {
    const __m256i left = _mm256_and_si256(pairs, _mm256_set1_epi32(0xFF));
    const __m256i difference = _mm256_sub_epi32(_mm256_srli_epi32(pairs, 16), left);
    const __m512d product = _mm512_mul_pd(_mm512_cvtepi32_pd(difference), _mm512_loadu_pd(fractions));
    return _mm512_add_pd(_mm512_cvtepi32_pd(left), product);
}

DIBPREP_AVX512 void Across(const EstimatePlan& row, const std::uint8_t* bytes, Strip strip, double* to) {
    const EstimatePlan plan = row;
    for (std::size_t i = strip.begin; i < strip.end; i += 16) {
        const __m512i pairs = PairsOfSixteen(plan, bytes, i);
        _mm512_storeu_pd(to + i, AcrossEight(_mm512_castsi512_si256(pairs), plan.fractions + i));
        _mm512_storeu_pd(to + i + 8, AcrossEight(_mm512_extracti64x4_epi64(pairs, 1), plan.fractions + i + 8));
    }
}

// Which groups of eight among 32 channels have open ones.
inline unsigned int OpenGroups(std::uint32_t open) {
    unsigned int groups = 0;
    for (unsigned int group = 0; group < 4; ++group)
        groups |= static_cast<unsigned int>((open >> group * 8 & 0xFF) != 0) << group;
    return groups;
}

// Stores the levels of `count` channels, those of the open groups computed in doubles.
DIBPREP_AVX512 __attribute__((noinline)) void StoreMended(const EstimatePlan& plan, const EstimatedRow& row0,
                                                          const EstimatedRow& row1, double fraction, __m256i levels,
                                                          std::size_t channel, unsigned int openGroups,
                                                          std::uint8_t* out, std::size_t count) {
    std::uint8_t whole[32];
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(whole), levels);
    for (; openGroups != 0; openGroups &= openGroups - 1) {
        const auto part = static_cast<unsigned int>(__builtin_ctz(openGroups)) * 8;
        const std::size_t at = channel + part;
        const __m512i upper = PairsOfSixteen(plan, row0.bytes, at & ~std::size_t{15});
        const __m512i lower = PairsOfSixteen(plan, row1.bytes, at & ~std::size_t{15});
        const bool second = at % 16 != 0;
        const __m256i top = second ? _mm512_extracti64x4_epi64(upper, 1) : _mm512_castsi512_si256(upper);
        const __m256i bottom = second ? _mm512_extracti64x4_epi64(lower, 1) : _mm512_castsi512_si256(lower);
        const __m256i mixed = MixEight(AcrossEight(top, plan.fractions + at), AcrossEight(bottom, plan.fractions + at),
                                       _mm512_set1_pd(fraction));
        _mm_storel_epi64(reinterpret_cast<__m128i*>(whole + part), _mm256_cvtepi32_epi8(mixed));
    }
    std::memcpy(out, whole, count);
}

DIBPREP_AVX512 std::size_t MixEstimates(const EstimatePlan& plan, const EstimatedRow& row0, const EstimatedRow& row1,
                                        double fraction, Strip strip, std::uint8_t* out) {
    const std::int32_t* const top = row0.estimates;
    const std::int32_t* const bottom = row1.estimates;
    const __m512 weight = _mm512_set1_ps(static_cast<float>(fraction));
    std::size_t exact = 0;
    for (std::size_t i = strip.begin; i < strip.end; i += 32) {
        const Levels low = MixSixteen(top + i, bottom + i, weight);
        const Levels high = MixSixteen(top + i + 16, bottom + i + 16, weight);
        const __m256i levels = BytesOf(low.levels, high.levels);
        const std::size_t count = strip.end - i;
        if (_mm512_kortestz(low.open, high.open)) {
            StorePart(out + i, levels, count);
            continue;
        }
        const unsigned int openGroups = OpenGroups(static_cast<std::uint32_t>(high.open) << 16 | low.open);
        StoreMended(plan, row0, row1, fraction, levels, i, openGroups, out + i, count < 32 ? count : 32);
        exact += static_cast<std::size_t>(__builtin_popcount(openGroups));
    }
    return exact;
}

} // namespace

void AddAvx512EstimateKernels(RowKernels& kernels) {
    kernels.estimates = true;
    kernels.estimate = Estimate;
    kernels.mixEstimates = MixEstimates;
    kernels.across = Across;
}

} // namespace dibprep

// The row kernels for SSE2, which every processor that the library runs on has.
#define DIBPREP_TIER __attribute__((target("sse2")))
#include "transform/x86/groups.h"

#include "memory/unaligned.h"

namespace dibprep {

namespace {

// first * 2^bits + (second - first) * weight modulo 2^16, which the result fits.
DIBPREP_TIER void Weigh(const ColumnPlan& columns, const std::uint8_t* pairs, std::uint16_t* to) {
    const ColumnPlan plan = columns; // no store can change a copy
    const __m128i low = _mm_set1_epi16(0xFF);
    const __m128i bits = _mm_cvtsi32_si128(static_cast<int>(plan.fractionBits));
    for (std::size_t group = 0; group < plan.groups; ++group) {
        const __m128i pair = LoadHalf(pairs + group * 16);
        const __m128i first = _mm_and_si128(pair, low);
        const __m128i difference = _mm_sub_epi16(_mm_srli_epi16(pair, 8), first);
        const __m128i weight = _mm_srli_epi16(LoadHalf(plan.weights + group * 16), 8);
        StoreHalf(to + group * 8, _mm_add_epi16(_mm_sll_epi16(first, bits), _mm_mullo_epi16(difference, weight)));
    }
}

DIBPREP_TIER void ToDoubles(const ColumnPlan& columns, const std::uint8_t* pairs, double* to) {
    const ColumnPlan plan = columns;
    for (std::size_t group = 0; group < plan.groups; ++group)
        PairsToDoubles(LoadHalf(pairs + group * 16), plan.fractions + group * 8, to + group * 8);
}

// Six of the eight bytes that each step writes are the pixel's pairs; the next pixel's cover the rest.
DIBPREP_TIER void PairColours(const std::uint8_t* row, const std::uint32_t* firsts, const std::uint32_t* seconds,
                              std::size_t pixels, std::uint8_t* pairs) {
    for (std::size_t x = 0; x < pixels; ++x) {
        const __m128i first = _mm_cvtsi32_si128(LoadI32(row + firsts[x]));
        const __m128i second = _mm_cvtsi32_si128(LoadI32(row + seconds[x]));
        _mm_storel_epi64(reinterpret_cast<__m128i*>(pairs + x * 6), _mm_unpacklo_epi8(first, second));
    }
}

DIBPREP_TIER void Narrow(const std::uint16_t* from, unsigned int shift, std::uint8_t* out, std::size_t count) {
    const __m128i bits = _mm_cvtsi32_si128(static_cast<int>(shift));
    for (std::size_t i = 0; i < count; i += 16)
        StoreHalfPart(
            out + i,
            _mm_packus_epi16(_mm_srl_epi16(LoadHalf(from + i), bits), _mm_srl_epi16(LoadHalf(from + i + 8), bits)),
            count - i);
}

// Eight channels as words 0 to 255.
DIBPREP_TIER inline __m128i MixEight(const std::uint16_t* row0, const std::uint16_t* row1, __m128i weights,
                                     __m128i shift) {
    const __m128i top = LoadHalf(row0);
    const __m128i bottom = LoadHalf(row1);
    const __m128i low = _mm_madd_epi16(_mm_unpacklo_epi16(top, bottom), weights);
    const __m128i high = _mm_madd_epi16(_mm_unpackhi_epi16(top, bottom), weights);
    return _mm_packs_epi32(_mm_srl_epi32(low, shift), _mm_srl_epi32(high, shift));
}

// While all bits together are at most 8 the sum is at most 255 * 256 and words hold it. Otherwise
// doublewords do: rows of at most 255 * 2^6 and weights of at most 2^14 stay below 2^28, and both
// factors are positive as signed words.
DIBPREP_TIER void MixWords(const std::uint16_t* row0, const std::uint16_t* row1, const RowWeights& weights,
                           unsigned int fractionBits, std::uint8_t* out, std::size_t count) {
    const __m128i shift = _mm_cvtsi32_si128(static_cast<int>(fractionBits + weights.bits));
    if (fractionBits + weights.bits <= 8) {
        const __m128i weight0 = _mm_set1_epi16(static_cast<short>(weights.first));
        const __m128i weight1 = _mm_set1_epi16(static_cast<short>(weights.second));
        for (std::size_t i = 0; i < count; i += 16) {
            __m128i sums[2];
            for (std::size_t half = 0; half < 2; ++half) {
                const __m128i top = _mm_mullo_epi16(LoadHalf(row0 + i + half * 8), weight0);
                const __m128i bottom = _mm_mullo_epi16(LoadHalf(row1 + i + half * 8), weight1);
                sums[half] = _mm_srl_epi16(_mm_add_epi16(top, bottom), shift);
            }
            StoreHalfPart(out + i, _mm_packus_epi16(sums[0], sums[1]), count - i);
        }
        return;
    }
    const __m128i both = _mm_set1_epi32(static_cast<int>(weights.first | weights.second << 16));
    for (std::size_t i = 0; i < count; i += 16)
        StoreHalfPart(out + i,
                      _mm_packus_epi16(MixEight(row0 + i, row1 + i, both, shift),
                                       MixEight(row0 + i + 8, row1 + i + 8, both, shift)),
                      count - i);
}

// The integer part of two mixed pairs, as four doublewords.
DIBPREP_TIER inline __m128i MixFour(__m128d top0, __m128d top1, __m128d bottom0, __m128d bottom1, __m128d fraction) {
    const __m128d mixed0 = _mm_add_pd(top0, _mm_mul_pd(_mm_sub_pd(bottom0, top0), fraction));
    const __m128d mixed1 = _mm_add_pd(top1, _mm_mul_pd(_mm_sub_pd(bottom1, top1), fraction));
    return _mm_unpacklo_epi64(_mm_cvttpd_epi32(mixed0), _mm_cvttpd_epi32(mixed1));
}

DIBPREP_TIER inline __m128i MixFourWords(__m128i top, __m128i bottom, __m128d fraction) {
    return MixFour(_mm_cvtepi32_pd(top), _mm_cvtepi32_pd(_mm_unpackhi_epi64(top, top)), _mm_cvtepi32_pd(bottom),
                   _mm_cvtepi32_pd(_mm_unpackhi_epi64(bottom, bottom)), fraction);
}

// The rows are the results times a power of two, so that the sum rounds as it would without it.
DIBPREP_TIER void MixWordsInDoubles(const std::uint16_t* row0, const std::uint16_t* row1, double fraction,
                                    unsigned int fractionBits, std::uint8_t* out, std::size_t count) {
    const __m128d weight = _mm_set1_pd(fraction);
    const __m128i shift = _mm_cvtsi32_si128(static_cast<int>(fractionBits));
    const __m128i zero = _mm_setzero_si128();
    for (std::size_t i = 0; i < count; i += 16) {
        __m128i words[2];
        for (std::size_t half = 0; half < 2; ++half) {
            const __m128i top = LoadHalf(row0 + i + half * 8);
            const __m128i bottom = LoadHalf(row1 + i + half * 8);
            const __m128i low = MixFourWords(_mm_unpacklo_epi16(top, zero), _mm_unpacklo_epi16(bottom, zero), weight);
            const __m128i high = MixFourWords(_mm_unpackhi_epi16(top, zero), _mm_unpackhi_epi16(bottom, zero), weight);
            words[half] = _mm_packs_epi32(_mm_srl_epi32(low, shift), _mm_srl_epi32(high, shift));
        }
        StoreHalfPart(out + i, _mm_packus_epi16(words[0], words[1]), count - i);
    }
}

DIBPREP_TIER void MixDoubles(const double* row0, const double* row1, double fraction, std::uint8_t* out,
                             std::size_t count) {
    const __m128d weight = _mm_set1_pd(fraction);
    for (std::size_t i = 0; i < count; i += 16) {
        __m128i fours[4];
        for (std::size_t part = 0; part < 4; ++part) {
            const double* const top = row0 + i + part * 4;
            const double* const bottom = row1 + i + part * 4;
            fours[part] = MixFour(_mm_loadu_pd(top), _mm_loadu_pd(top + 2), _mm_loadu_pd(bottom),
                                  _mm_loadu_pd(bottom + 2), weight);
        }
        StoreHalfPart(out + i,
                      _mm_packus_epi16(_mm_packs_epi32(fours[0], fours[1]), _mm_packs_epi32(fours[2], fours[3])),
                      count - i);
    }
}

DIBPREP_TIER inline __m128i GatherEight(const std::uint8_t* row, const std::uint16_t* bytes) {
    __m128i words = _mm_cvtsi32_si128(LoadU16(row + bytes[0]));
    words = _mm_insert_epi16(words, LoadU16(row + bytes[1]), 1);
    words = _mm_insert_epi16(words, LoadU16(row + bytes[2]), 2);
    words = _mm_insert_epi16(words, LoadU16(row + bytes[3]), 3);
    words = _mm_insert_epi16(words, LoadU16(row + bytes[4]), 4);
    words = _mm_insert_epi16(words, LoadU16(row + bytes[5]), 5);
    words = _mm_insert_epi16(words, LoadU16(row + bytes[6]), 6);
    return _mm_insert_epi16(words, LoadU16(row + bytes[7]), 7);
}

// Sixteen pixels: which of the masked bits are set.
DIBPREP_TIER inline std::uint16_t TestBits(__m128i low, __m128i high, const std::uint16_t* masks) {
    const __m128i lowMask = LoadHalf(masks);
    const __m128i highMask = LoadHalf(masks + 8);
    const __m128i set = _mm_packs_epi16(_mm_cmpeq_epi16(_mm_and_si128(low, lowMask), lowMask),
                                        _mm_cmpeq_epi16(_mm_and_si128(high, highMask), highMask));
    return static_cast<std::uint16_t>(_mm_movemask_epi8(set));
}

DIBPREP_TIER void GatherRow(const BitPlan& columns, const std::uint8_t* row, std::uint8_t* to) {
    const BitPlan plan = columns;
    for (std::size_t x = 0; x < plan.pixels; x += 16) {
        const __m128i low = GatherEight(row, plan.bytes + x);
        const __m128i high = GatherEight(row, plan.bytes + x + 8);
        std::uint8_t* const at = to + x / BitUnitPixels * BitRowsUnit + x % BitUnitPixels / 8;
        StoreU16(at, TestBits(low, high, plan.firstMasks + x));
        StoreU16(at + BitRightSamples, TestBits(low, high, plan.secondMasks + x));
    }
}

DIBPREP_TIER void GatherBits(const BitPlan& plan, const std::uint8_t* row0, const std::uint8_t* row1,
                             std::uint8_t* to) {
    GatherRow(plan, row0, to);
    if (row1)
        GatherRow(plan, row1, to + BitSecondRow);
}

using BitVector = __m128i;

DIBPREP_TIER inline BitVector LoadBits(const std::uint8_t* from) { return LoadHalf(from); }
DIBPREP_TIER inline BitVector And(BitVector a, BitVector b) { return _mm_and_si128(a, b); }
DIBPREP_TIER inline BitVector Or(BitVector a, BitVector b) { return _mm_or_si128(a, b); }
DIBPREP_TIER inline BitVector Without(BitVector a, BitVector b) { return _mm_andnot_si128(b, a); }
DIBPREP_TIER inline BitVector Turn(BitVector a, BitVector flip) { return _mm_xor_si128(a, flip); }
DIBPREP_TIER inline BitVector AllBits(std::uint32_t value) { return _mm_set1_epi32(static_cast<int>(value)); }
DIBPREP_TIER inline void SetBits(std::uint8_t* out, BitVector bits) { StoreHalf(out, Or(LoadHalf(out), bits)); }
DIBPREP_TIER inline void SetSomeBits(std::uint8_t* out, BitVector bits, std::size_t count) {
    std::uint8_t whole[16];
    StoreHalf(whole, bits);
    SetFirstBits(out, whole, count);
}

} // namespace
} // namespace dibprep

#include "transform/x86/bit_picks.h"

namespace dibprep {

void AddSse2RowKernels(RowKernels& kernels) {
    kernels.tier = Tier::Sse2;
    kernels.weigh = Weigh;
    kernels.toDoubles = ToDoubles;
    kernels.pairColours = PairColours;
    kernels.narrow = Narrow;
    kernels.mixWords = MixWords;
    kernels.mixWordsInDoubles = MixWordsInDoubles;
    kernels.mixDoubles = MixDoubles;
    kernels.gatherBits = GatherBits;
    kernels.pickBits = PickRow;
}

} // namespace dibprep

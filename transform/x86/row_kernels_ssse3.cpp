// What SSSE3 adds to the row kernels: byte shuffles, which bring the samples of eight channels out
// of one load, and the product of byte pairs.
#include "transform/row_kernels.h"

#include <cstring>
#include <tmmintrin.h>

namespace dibprep {

namespace {

#define DIBPREP_SSSE3 __attribute__((target("ssse3")))

DIBPREP_SSSE3 inline __m128i Load(const void* from) { return _mm_loadu_si128(static_cast<const __m128i*>(from)); }

DIBPREP_SSSE3 inline void WeighGroup(const ColumnPlan& plan, const std::uint8_t* bytes, std::size_t table,
                                     std::uint16_t* to) {
    const __m128i pairs = _mm_shuffle_epi8(Load(bytes + plan.offsets[table]), Load(plan.shuffles + table * 16));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(to), _mm_maddubs_epi16(pairs, Load(plan.weights + table * 16)));
}

// The weights are at most 64, so that the sum of a pair, at most 255 * 64, does not saturate.
DIBPREP_SSSE3 void Weigh(const ColumnPlan& columns, const std::uint8_t* bytes, std::uint16_t* to) {
    const ColumnPlan plan = columns; // no store can change a copy
    const std::uint8_t* window = bytes;
    for (std::size_t round = 0; round < plan.repeats; ++round, window += plan.step) {
        for (std::size_t table = 0; table < plan.period; ++table, to += 8)
            WeighGroup(plan, window, table, to);
    }
    for (std::size_t table = plan.period * plan.repeats; table < plan.groups; ++table, to += 8)
        WeighGroup(plan, bytes, table, to);
}

// Two channels: first + difference * fraction.
DIBPREP_SSSE3 inline void StoreTwo(double* to, __m128i first, __m128i difference, const double* fractions) {
    const __m128d product = _mm_mul_pd(_mm_cvtepi32_pd(difference), _mm_loadu_pd(fractions));
    _mm_storeu_pd(to, _mm_add_pd(_mm_cvtepi32_pd(first), product));
}

DIBPREP_SSSE3 inline void GroupToDoubles(const ColumnPlan& plan, const std::uint8_t* bytes, std::size_t table,
                                         std::size_t channel, double* to) {
    const __m128i zero = _mm_setzero_si128();
    const __m128i pairs = _mm_shuffle_epi8(Load(bytes + plan.offsets[table]), Load(plan.shuffles + table * 16));
    const __m128i first = _mm_and_si128(pairs, _mm_set1_epi16(0xFF));
    const __m128i difference = _mm_sub_epi16(_mm_srli_epi16(pairs, 8), first);
    const __m128i sign = _mm_cmpgt_epi16(zero, difference);
    const __m128i firsts[] = {_mm_unpacklo_epi16(first, zero), _mm_unpackhi_epi16(first, zero)};
    const __m128i differences[] = {_mm_unpacklo_epi16(difference, sign), _mm_unpackhi_epi16(difference, sign)};
    for (std::size_t half = 0; half < 2; ++half) {
        const std::size_t at = channel + half * 4;
        StoreTwo(to + at, firsts[half], differences[half], plan.fractions + at);
        StoreTwo(to + at + 2, _mm_unpackhi_epi64(firsts[half], firsts[half]),
                 _mm_unpackhi_epi64(differences[half], differences[half]), plan.fractions + at + 2);
    }
}

DIBPREP_SSSE3 void ToDoubles(const ColumnPlan& columns, const std::uint8_t* bytes, double* to) {
    const ColumnPlan plan = columns;
    const std::uint8_t* window = bytes;
    std::size_t channel = 0;
    for (std::size_t round = 0; round < plan.repeats; ++round, window += plan.step) {
        for (std::size_t table = 0; table < plan.period; ++table, channel += 8)
            GroupToDoubles(plan, window, table, channel, to);
    }
    for (std::size_t table = plan.period * plan.repeats; table < plan.groups; ++table, channel += 8)
        GroupToDoubles(plan, bytes, table, channel, to);
}

// `table`: the bytes in the window, and 32 bytes later the bits.
DIBPREP_SSSE3 inline void TestBits(__m128i window, const std::uint8_t* table, std::uint8_t* to) {
    const __m128i wanted = Load(table + 32);
    const __m128i found = _mm_and_si128(_mm_shuffle_epi8(window, Load(table)), wanted);
    const auto bits = static_cast<std::uint16_t>(_mm_movemask_epi8(_mm_cmpeq_epi8(found, wanted)));
    std::memcpy(to, &bits, sizeof bits);
}

DIBPREP_SSSE3 void ShuffleBits(const BitPlan& columns, const std::uint8_t* row, std::uint8_t* first,
                               std::uint8_t* second) {
    const BitPlan plan = columns; // no store can change a copy
    for (std::size_t group = 0; group < plan.groups; ++group) {
        const __m128i window = Load(row + plan.offsets[group]);
        const std::uint8_t* const table = plan.windows + group / 2 * 128 + group % 2 * 16;
        TestBits(window, table, first + group * 2);
        TestBits(window, table + 64, second + group * 2);
    }
}

} // namespace

void AddSsse3RowKernels(RowKernels& kernels) {
    kernels.tier = Tier::Ssse3;
    kernels.shuffles = true;
    kernels.weigh = Weigh;
    kernels.toDoubles = ToDoubles;
    kernels.shuffleBits = ShuffleBits;
}

} // namespace dibprep

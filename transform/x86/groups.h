// What the row kernels of several tiers share: access to 128-bit registers, exact stores, the walk over
// the groups of a plan, the step from pairs to doubles. Each file that includes this gets the functions
// for its own tier, DIBPREP_TIER: in 32-bit builds the compiler takes none across tiers.
#pragma once

#include "transform/row_kernels.h"

#include <cstring>
#include <emmintrin.h>

namespace dibprep {
namespace {

DIBPREP_TIER inline __m128i LoadHalf(const void* from) { return _mm_loadu_si128(static_cast<const __m128i*>(from)); }

DIBPREP_TIER inline void StoreHalf(void* to, __m128i value) { _mm_storeu_si128(static_cast<__m128i*>(to), value); }

// Stores the first `count` of 16 bytes.
DIBPREP_TIER inline void StoreHalfPart(std::uint8_t* to, __m128i value, std::size_t count) {
    if (count >= 16) {
        StoreHalf(to, value);
        return;
    }
    std::uint8_t whole[16];
    StoreHalf(whole, value);
    std::memcpy(to, whole, count);
}

// Sets the first `count` of bits in a row, fewer than a register holds, and clears none.
DIBPREP_TIER inline void SetFirstBits(std::uint8_t* out, const std::uint8_t* bits, std::size_t count) {
    std::size_t at = 0;
    for (; (at + 4) * 8 <= count; at += 4) {
        std::uint32_t four;
        std::uint32_t more;
        std::memcpy(&four, out + at, sizeof four);
        std::memcpy(&more, bits + at, sizeof more);
        four |= more;
        std::memcpy(out + at, &four, sizeof four);
    }
    for (; at * 8 < count; ++at) {
        const unsigned int mask = count - at * 8 < 8 ? 0xFF00u >> (count - at * 8) : 0xFF;
        out[at] = static_cast<std::uint8_t>(out[at] | (bits[at] & mask));
    }
}

// Two channels: first + difference * fraction.
DIBPREP_TIER inline void StoreTwo(double* to, __m128i first, __m128i difference, const double* fractions) {
    const __m128d product = _mm_mul_pd(_mm_cvtepi32_pd(difference), _mm_loadu_pd(fractions));
    _mm_storeu_pd(to, _mm_add_pd(_mm_cvtepi32_pd(first), product));
}

// The pairs of eight channels in the line builders' arithmetic.
DIBPREP_TIER inline void PairsToDoubles(__m128i pairs, const double* fractions, double* to) {
    const __m128i zero = _mm_setzero_si128();
    const __m128i first = _mm_and_si128(pairs, _mm_set1_epi16(0xFF));
    const __m128i difference = _mm_sub_epi16(_mm_srli_epi16(pairs, 8), first);
    const __m128i sign = _mm_cmpgt_epi16(zero, difference);
    const __m128i firsts[] = {_mm_unpacklo_epi16(first, zero), _mm_unpackhi_epi16(first, zero)};
    const __m128i differences[] = {_mm_unpacklo_epi16(difference, sign), _mm_unpackhi_epi16(difference, sign)};
    for (std::size_t half = 0; half < 2; ++half) {
        const std::size_t at = half * 4;
        StoreTwo(to + at, firsts[half], differences[half], fractions + at);
        StoreTwo(to + at + 2, _mm_unpackhi_epi64(firsts[half], firsts[half]),
                 _mm_unpackhi_epi64(differences[half], differences[half]), fractions + at + 2);
    }
}

// Runs a step for the groups of a plan, `AtOnce` at a time: the row that its windows lie in, its number in
// the tables, its first channel, and where that one's result goes. Periods hold a multiple of `AtOnce`
// groups; behind the last group tables and scratch rows have room for more.
template <typename Out>
using GroupStep = void (*)(const ColumnPlan& plan, const std::uint8_t* bytes, std::size_t table, std::size_t channel,
                           Out* to);

template <typename Out, GroupStep<Out> Step, std::size_t AtOnce, std::size_t GroupChannels = 8>
DIBPREP_TIER inline void WalkGroups(const ColumnPlan& columns, const std::uint8_t* bytes, Out* to) {
    constexpr std::size_t Channels = AtOnce * GroupChannels;
    const ColumnPlan plan = columns; // no store can change a copy
    const std::uint8_t* window = bytes;
    std::size_t channel = 0;
    for (std::size_t round = 0; round < plan.repeats; ++round, window += plan.step) {
        for (std::size_t table = 0; table < plan.period; table += AtOnce, channel += Channels, to += Channels)
            Step(plan, window, table, channel, to);
    }
    for (std::size_t table = plan.period * plan.repeats; table < plan.groups;
         table += AtOnce, channel += Channels, to += Channels)
        Step(plan, bytes, table, channel, to);
}

} // namespace
} // namespace dibprep

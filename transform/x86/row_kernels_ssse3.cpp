// What SSSE3 adds to the row kernels: byte shuffles, which bring the samples of eight channels out
// of one load, and the product of byte pairs.
#define DIBPREP_TIER __attribute__((target("ssse3")))
#include "transform/x86/groups.h"

#include <tmmintrin.h>

namespace dibprep {

namespace {

DIBPREP_TIER inline __m128i PairsOfGroup(const ColumnPlan& plan, const std::uint8_t* bytes, std::size_t table) {
    return _mm_shuffle_epi8(LoadHalf(bytes + plan.offsets[table]), LoadHalf(plan.shuffles + table * 16));
}

// The weights are at most 64, so that the sum of a pair, at most 255 * 64, does not saturate.
DIBPREP_TIER inline void WeighGroup(const ColumnPlan& plan, const std::uint8_t* bytes, std::size_t table,
                                    std::size_t /*channel*/, std::uint16_t* to) {
    const __m128i weights = LoadHalf(plan.weights + table * 16);
    StoreHalf(to, _mm_maddubs_epi16(PairsOfGroup(plan, bytes, table), weights));
}

DIBPREP_TIER void Weigh(const ColumnPlan& plan, const std::uint8_t* bytes, std::uint16_t* to) {
    WalkGroups<std::uint16_t, WeighGroup, 1>(plan, bytes, to);
}

DIBPREP_TIER inline void GroupToDoubles(const ColumnPlan& plan, const std::uint8_t* bytes, std::size_t table,
                                        std::size_t channel, double* to) {
    PairsToDoubles(PairsOfGroup(plan, bytes, table), plan.fractions + channel, to);
}

DIBPREP_TIER void ToDoubles(const ColumnPlan& plan, const std::uint8_t* bytes, double* to) {
    WalkGroups<double, GroupToDoubles, 1>(plan, bytes, to);
}

// `table`: the bytes in the window, and 32 bytes later the bits.
DIBPREP_TIER inline void TestBits(__m128i window, const std::uint8_t* table, std::uint8_t* to) {
    const __m128i wanted = LoadHalf(table + 32);
    const __m128i found = _mm_and_si128(_mm_shuffle_epi8(window, LoadHalf(table)), wanted);
    const auto bits = static_cast<std::uint16_t>(_mm_movemask_epi8(_mm_cmpeq_epi8(found, wanted)));
    std::memcpy(to, &bits, sizeof bits);
}

DIBPREP_TIER void ShuffleBits(const BitPlan& columns, const std::uint8_t* row, std::uint8_t* first,
                              std::uint8_t* second) {
    const BitPlan plan = columns; // no store can change a copy
    for (std::size_t group = 0; group < plan.pixels / 16; ++group) {
        const __m128i window = LoadHalf(row + plan.offsets[group]);
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

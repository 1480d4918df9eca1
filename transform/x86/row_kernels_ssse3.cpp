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

// The 32 pixels of a record.
DIBPREP_TIER inline void ShuffleRecord(const std::uint8_t* record, const std::uint8_t* row, std::uint8_t* to) {
    std::uint32_t offsets[2];
    std::memcpy(offsets, record + 128, sizeof offsets);
    for (std::size_t half = 0; half < 2; ++half) {
        const __m128i window = LoadHalf(row + offsets[half]);
        TestBits(window, record + half * 16, to + half * 2);
        TestBits(window, record + 64 + half * 16, to + BitRightSamples + half * 2);
    }
}

DIBPREP_TIER void ShuffleBits(const BitPlan& plan, const std::uint8_t* row0, const std::uint8_t* row1,
                              std::uint8_t* to) {
    const std::uint8_t* record = plan.windows;
    std::size_t pixels = plan.pixels;
    while (pixels > 0) {
        const std::size_t bytes = (pixels < BitUnitPixels ? pixels : BitUnitPixels) / 8;
        pixels -= bytes * 8;
        for (std::size_t at = 0; at < bytes; at += 4, record += BitRecord(16)) {
            ShuffleRecord(record, row0, to + at);
            if (row1)
                ShuffleRecord(record, row1, to + BitSecondRow + at);
        }
        to += BitRowsUnit;
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

// The kernels of 1-bit rows for AVX2: two windows in a register, and two source rows that share the tables.
#include "transform/x86/vectors_avx2.h"

namespace dibprep {
namespace {

using BitVector = __m256i;

DIBPREP_TIER inline BitVector LoadBits(const std::uint8_t* from) { return Load(from); }
DIBPREP_TIER inline BitVector And(BitVector a, BitVector b) { return _mm256_and_si256(a, b); }
DIBPREP_TIER inline BitVector Or(BitVector a, BitVector b) { return _mm256_or_si256(a, b); }
DIBPREP_TIER inline BitVector Without(BitVector a, BitVector b) { return _mm256_andnot_si256(b, a); }
DIBPREP_TIER inline BitVector Turn(BitVector a, BitVector flip) { return _mm256_xor_si256(a, flip); }
DIBPREP_TIER inline BitVector AllBits(std::uint32_t value) { return _mm256_set1_epi32(static_cast<int>(value)); }
DIBPREP_TIER inline void SetBits(std::uint8_t* out, BitVector bits) { Store(out, Or(Load(out), bits)); }
DIBPREP_TIER inline void SetSomeBits(std::uint8_t* out, BitVector bits, std::size_t count) {
    std::uint8_t whole[32];
    Store(whole, bits);
    SetFirstBits(out, whole, count);
}

} // namespace
} // namespace dibprep

#include "transform/x86/bit_picks.h"

namespace dibprep {
namespace {

constexpr std::size_t Record = BitRecord(16);

// The compiler takes this kind of load once. Of an ordinary one it would make one for every use where
// registers are few, and the loads are what takes the time.
DIBPREP_TIER inline __m256i LoadOnce(const std::uint8_t* from) {
    return _mm256_lddqu_si256(reinterpret_cast<const __m256i*>(from));
}

DIBPREP_TIER inline void TestBits(__m256i windows, __m256i places, __m256i wanted, std::uint8_t* to) {
    const __m256i found = _mm256_and_si256(_mm256_shuffle_epi8(windows, places), wanted);
    const int bits = _mm256_movemask_epi8(_mm256_cmpeq_epi8(found, wanted));
    std::memcpy(to, &bits, sizeof bits);
}

template <bool TwoRows, bool LeftOnly>
DIBPREP_TIER inline void ShuffleRows(const BitPlan& plan, const std::uint8_t* row0, const std::uint8_t* row1,
                                     std::uint8_t* to) {
    const std::uint8_t* record = plan.windows;
    std::size_t pixels = plan.pixels;
    while (pixels > 0) {
        const std::size_t here = pixels < BitUnitPixels ? pixels : BitUnitPixels;
        pixels -= here;
        const std::uint8_t* const end = to + here / 8;
        for (; to != end; to += 4, record += Record) {
            std::uint32_t offset0; // not an array, which would be copied
            std::uint32_t offset1;
            std::memcpy(&offset0, record + 128, sizeof offset0);
            std::memcpy(&offset1, record + 132, sizeof offset1);
            const __m256i windows0 = LoadTwo(row0 + offset0, row0 + offset1);
            __m256i windows1{};
            if (TwoRows)
                windows1 = LoadTwo(row1 + offset0, row1 + offset1);
            const __m256i left = LoadOnce(record);
            const __m256i leftBits = LoadOnce(record + 32);
            TestBits(windows0, left, leftBits, to);
            if (TwoRows)
                TestBits(windows1, left, leftBits, to + BitSecondRow);
            if (LeftOnly) {
                std::memcpy(to + BitRightSamples, to, 4);
                if (TwoRows)
                    std::memcpy(to + BitSecondRow + BitRightSamples, to + BitSecondRow, 4);
                continue;
            }
            const __m256i right = LoadOnce(record + 64);
            const __m256i rightBits = LoadOnce(record + 96);
            TestBits(windows0, right, rightBits, to + BitRightSamples);
            if (TwoRows)
                TestBits(windows1, right, rightBits, to + BitSecondRow + BitRightSamples);
        }
        to += BitRowsUnit - here / 8;
    }
}

DIBPREP_TIER void ShuffleBits(const BitPlan& plan, const std::uint8_t* row0, const std::uint8_t* row1,
                              std::uint8_t* to) {
    if (plan.leftOnly) {
        if (row1)
            ShuffleRows<true, true>(plan, row0, row1, to);
        else
            ShuffleRows<false, true>(plan, row0, row1, to);
    } else if (row1) {
        ShuffleRows<true, false>(plan, row0, row1, to);
    } else {
        ShuffleRows<false, false>(plan, row0, row1, to);
    }
}

} // namespace

void AddAvx2BitKernels(RowKernels& kernels) {
    kernels.shuffleBits = ShuffleBits;
    kernels.pickBits = PickRow;
}

} // namespace dibprep

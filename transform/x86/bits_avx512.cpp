// The kernels of 1-bit rows with AVX-512: 64 pixels to a window, and masks in place of gathered signs.
#define DIBPREP_TIER DIBPREP_AVX512
#include "transform/row_kernels.h"
#include "transform/x86/vectors_avx512.h"

#include <cstring>

namespace dibprep {
namespace {

using BitVector = __m512i;

DIBPREP_AVX512 inline BitVector LoadBits(const std::uint8_t* from) { return Load(from); }
DIBPREP_AVX512 inline BitVector And(BitVector a, BitVector b) { return _mm512_and_si512(a, b); }
DIBPREP_AVX512 inline BitVector Or(BitVector a, BitVector b) { return _mm512_or_si512(a, b); }
DIBPREP_AVX512 inline BitVector Without(BitVector a, BitVector b) { return _mm512_andnot_si512(b, a); }
DIBPREP_AVX512 inline BitVector Turn(BitVector a, BitVector flip) { return _mm512_xor_si512(a, flip); }
DIBPREP_AVX512 inline BitVector AllBits(std::uint32_t value) { return _mm512_set1_epi32(static_cast<int>(value)); }
DIBPREP_AVX512 inline void SetBits(std::uint8_t* out, BitVector bits) { Store(out, Or(Load(out), bits)); }
DIBPREP_AVX512 inline void SetSomeBits(std::uint8_t* out, BitVector bits, std::size_t count) {
    const __mmask64 bytes = Lanes64((count + 7) / 8);
    const __mmask64 last = count % 8 == 0 ? 0 : __mmask64{1} << count / 8;
    const __m512i mask =
        _mm512_mask_blend_epi8(last, _mm512_set1_epi8(-1), _mm512_set1_epi8(static_cast<char>(0xFF00u >> count % 8)));
    _mm512_mask_storeu_epi8(out, bytes, Or(_mm512_maskz_loadu_epi8(bytes, out), And(bits, mask)));
}

} // namespace
} // namespace dibprep

#include "transform/x86/bit_picks.h"

namespace dibprep {
namespace {

// `table`: the bytes in the window, then the bits. A wanted bit is one bit, so that its pixel is set
// when anything of it is found. Where no pixel is, no bit is wanted, and none set. The rows of bits
// begin at multiples of eight; a copy of the mask would take two steps more in 32 bits.
DIBPREP_AVX512 inline void TestBits(__m512i window, const std::uint8_t* table, std::uint8_t* to) {
    const __m512i found = _mm512_permutexvar_epi8(Load(table), window);
    _store_mask64(reinterpret_cast<__mmask64*>(to), _mm512_test_epi8_mask(found, Load(table + 64)));
}

DIBPREP_AVX512 inline void ShuffleRecord(const std::uint8_t* record, const std::uint8_t* row, std::uint8_t* to) {
    std::uint32_t offset;
    std::memcpy(&offset, record + 256, sizeof offset);
    const __m512i window = Load(row + offset);
    TestBits(window, record, to);
    TestBits(window, record + 128, to + BitRightSamples);
}

DIBPREP_AVX512 void ShuffleBits(const BitPlan& plan, const std::uint8_t* row0, const std::uint8_t* row1,
                                std::uint8_t* to) {
    const std::uint8_t* record = plan.windows;
    std::size_t pixels = plan.pixels;
    while (pixels > 0) {
        const std::size_t bytes = (pixels < BitUnitPixels ? pixels : BitUnitPixels) / 8;
        pixels -= bytes * 8;
        for (std::size_t at = 0; at < bytes; at += 8, record += BitRecord(64)) {
            ShuffleRecord(record, row0, to + at);
            if (row1)
                ShuffleRecord(record, row1, to + BitSecondRow + at);
        }
        to += BitRowsUnit;
    }
}

} // namespace

void AddAvx512BitKernels(RowKernels& kernels) {
    kernels.shuffleBits = ShuffleBits;
    kernels.pickBits = PickRow;
}

} // namespace dibprep

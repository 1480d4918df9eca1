// Tables of 256 bytes in registers of the AVX-512 tier: 64 bytes are looked up at a time.
#pragma once

#include "memory/x86/avx512.h"

namespace dibprep {
namespace {

struct Bytes256 {
    __m512i quarters[4];
};

DIBPREP_AVX512 inline Bytes256 LoadBytes256(const unsigned char* table) {
    return {{_mm512_loadu_si512(table), _mm512_loadu_si512(table + 64), _mm512_loadu_si512(table + 128),
             _mm512_loadu_si512(table + 192)}};
}

// The entries of 64 indices. A permutation chooses from two registers by the low seven bits; the top bit
// chooses between two such choices.
DIBPREP_AVX512 inline __m512i Lookup256(const Bytes256& table, __m512i indices) {
    const __m512i low = _mm512_permutex2var_epi8(table.quarters[0], indices, table.quarters[1]);
    const __m512i high = _mm512_permutex2var_epi8(table.quarters[2], indices, table.quarters[3]);
    return _mm512_mask_mov_epi8(low, _mm512_movepi8_mask(indices), high);
}

} // namespace
} // namespace dibprep

// Runs and long literals in registers of 16 bytes, for SSE2 and SSSE3. Compiled for the tier of the
// file that includes it, DIBPREP_TIER.
#pragma once

#include <cstddef>
#include <emmintrin.h>

namespace dibprep {
namespace {

constexpr std::ptrdiff_t StoreBytes = 16;

// The 16 bytes from 16 - n on keep n bytes of a register.
alignas(16) constexpr unsigned char KeepBytes[32] = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF,
                                                     0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};

DIBPREP_TIER inline __m128i Load(const void* at) { return _mm_loadu_si128(static_cast<const __m128i*>(at)); }
DIBPREP_TIER inline void Store(void* at, __m128i value) { _mm_storeu_si128(static_cast<__m128i*>(at), value); }

// Whole registers, the last one up to the end: it may repeat bytes of the one before.
DIBPREP_TIER inline void PutRun(unsigned char* to, unsigned count, unsigned value) {
    const __m128i bytes = _mm_set1_epi8(static_cast<char>(value));
    if (count <= 16) {
        Store(to, _mm_and_si128(bytes, Load(KeepBytes + 16 - count)));
        return;
    }
    for (unsigned i = 0; i + 16 < count; i += 16)
        Store(to + i, bytes);
    Store(to + count - 16, bytes);
}

DIBPREP_TIER inline void PutLong(unsigned char* to, const unsigned char* from, unsigned count) {
    for (unsigned i = 0; i + 16 < count; i += 16)
        Store(to + i, Load(from + i));
    Store(to + count - 16, Load(from + count - 16));
}

} // namespace
} // namespace dibprep

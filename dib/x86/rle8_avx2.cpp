// Plain 8-bit run-length codes in AVX2.
#include "dib/rle8.h"

#include <cstddef>
#include <immintrin.h>

#define DIBPREP_TIER __attribute__((target("avx2")))

#include "dib/x86/short_literals.h"

namespace dibprep {
namespace {

constexpr std::ptrdiff_t StoreBytes = 32;

struct alignas(32) Window {
    unsigned char bytes[64];
};

constexpr Window MakeKeepBytes() {
    Window window = {};
    for (unsigned i = 0; i < 32; ++i)
        window.bytes[i] = 0xFF;
    return window;
}

// The 32 bytes from 32 - n on keep n bytes of a register.
constexpr Window KeepBytes = MakeKeepBytes();

DIBPREP_TIER inline __m256i Load(const void* at) { return _mm256_loadu_si256(static_cast<const __m256i*>(at)); }
DIBPREP_TIER inline void Store(void* at, __m256i value) { _mm256_storeu_si256(static_cast<__m256i*>(at), value); }

// Whole registers, the last one up to the end: it may repeat bytes of the one before.
DIBPREP_TIER inline void PutRun(unsigned char* to, unsigned count, unsigned value) {
    const __m256i bytes = _mm256_set1_epi8(static_cast<char>(value));
    if (count <= 32) {
        Store(to, _mm256_and_si256(bytes, Load(KeepBytes.bytes + 32 - count)));
        return;
    }
    for (unsigned i = 0; i + 32 < count; i += 32)
        Store(to + i, bytes);
    Store(to + count - 32, bytes);
}

DIBPREP_TIER inline void PutLiteral(unsigned char* to, const unsigned char* from, unsigned count) {
    if (count <= 32) {
        PutShort(to, from, count);
        return;
    }
    for (unsigned i = 0; i + 32 < count; i += 32)
        Store(to + i, Load(from + i));
    Store(to + count - 32, Load(from + count - 32));
}

} // namespace
} // namespace dibprep

#include "dib/x86/rle8_loop.h"

namespace dibprep {

DIBPREP_TIER void DrawPlainRle8Avx2(Canvas& canvas, RunLengthStream& stream) { DrawPlainCodes(canvas, stream); }

} // namespace dibprep

// Plain 8-bit run-length codes in SSE2.
#include "dib/rle8.h"

#include <cstring>
#include <emmintrin.h>

#define DIBPREP_TIER __attribute__((target("sse2")))

#include "dib/x86/runs_128.h"

namespace dibprep {
namespace {

// Short ones as two pieces that overlap: no vector is needed.
template <class Piece>
DIBPREP_TIER inline void PutTwo(unsigned char* to, const unsigned char* from, unsigned count) {
    Piece first;
    Piece last;
    std::memcpy(&first, from, sizeof first);
    std::memcpy(&last, from + count - sizeof last, sizeof last);
    std::memcpy(to, &first, sizeof first);
    std::memcpy(to + count - sizeof last, &last, sizeof last);
}

DIBPREP_TIER inline void PutLiteral(unsigned char* to, const unsigned char* from, unsigned count) {
    if (count >= 16)
        PutLong(to, from, count);
    else if (count >= 8)
        PutTwo<std::uint64_t>(to, from, count);
    else if (count >= 4)
        PutTwo<std::uint32_t>(to, from, count);
    else
        PutTwo<std::uint16_t>(to, from, count);
}

} // namespace
} // namespace dibprep

#include "dib/x86/rle8_loop.h"

namespace dibprep {

DIBPREP_TIER void DrawPlainRle8Sse2(Canvas& canvas, RunLengthStream& stream) { DrawPlainCodes(canvas, stream); }

} // namespace dibprep

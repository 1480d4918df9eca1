// Plain 8-bit run-length codes in SSSE3.
#include "dib/rle8.h"

#include <tmmintrin.h>

#define DIBPREP_TIER __attribute__((target("ssse3")))

#include "dib/x86/runs_128.h"
#include "dib/x86/short_literals.h"

namespace dibprep {
namespace {

DIBPREP_TIER inline void PutLiteral(unsigned char* to, const unsigned char* from, unsigned count) {
    if (count <= 32)
        PutShort(to, from, count);
    else
        PutLong(to, from, count);
}

} // namespace
} // namespace dibprep

#include "dib/x86/rle8_loop.h"

namespace dibprep {

DIBPREP_TIER void DrawPlainRle8Ssse3(Canvas& canvas, RunLengthStream& stream) { DrawPlainCodes(canvas, stream); }

} // namespace dibprep

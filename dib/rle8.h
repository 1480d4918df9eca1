// Drawing 8-bit run-length codes ahead of the general decoder.
#pragma once

#include "memory/x86/cpu_tier.h"

#include <cstdint>

namespace dibprep {

// Second bytes of the codes that begin with 0; larger ones count literal pixels.
constexpr unsigned EndOfLine = 0;
constexpr unsigned EndOfBitmap = 1;
constexpr unsigned Delta = 2;

// Where the next pixel goes. The first stored row is row 0.
struct Canvas {
    unsigned char* pixels;
    std::int64_t width;
    std::int64_t height;
    std::int64_t stride;
    std::int64_t x;
    std::int64_t y;

    Canvas(unsigned char* rows, std::int64_t w, std::int64_t h, std::int64_t rowBytes, std::int64_t column = 0,
           std::int64_t row = 0)
        : pixels(rows), width(w), height(h), stride(rowBytes), x(column), y(row) {}
};

// Where the next code is read, and how many of the counted bytes are left. At least 16 bytes in front
// of it are readable.
struct RunLengthStream {
    const unsigned char* at;
    std::int64_t left;
};

// Draws codes that stay in their row, and ends of lines, up to the first code that is anything else or
// comes near the end of the pixels; both arguments then stand at it. Column and row are in the canvas,
// and everything from there on is still 0.
using DrawPlainRle8 = void (*)(Canvas& canvas, RunLengthStream& stream);

// The form of a tier, which the processor must have; null for Scalar: the general decoder does it all.
DrawPlainRle8 PlainRle8For(Tier tier);

void DrawPlainRle8Sse2(Canvas& canvas, RunLengthStream& stream);
void DrawPlainRle8Ssse3(Canvas& canvas, RunLengthStream& stream);
void DrawPlainRle8Avx2(Canvas& canvas, RunLengthStream& stream);

} // namespace dibprep

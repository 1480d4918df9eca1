// The loop over plain 8-bit run-length codes. A file that includes this has defined its tier,
// DIBPREP_TIER, before, and below it
//
//     StoreBytes                   the most bytes that the two store behind `to`
//     PutRun(to, count, value)     count bytes of this value
//     PutLiteral(to, from, count)  count bytes, at least 3; may read 13 bytes in front of `from`
//
// Both write `count` bytes, and behind them zeros only: positions never go back, so that whatever
// stands there is 0 and a later code draws over it, or none does.
#pragma once

#include "dib/rle8.h"

#include <cstddef>

namespace dibprep {
namespace {

DIBPREP_TIER inline void DrawPlainCodes(Canvas& canvas, RunLengthStream& stream) {
    const std::int64_t bytes = canvas.stride * canvas.height;
    if (canvas.x > canvas.width || bytes < StoreBytes)
        return;
    const auto stride = static_cast<std::ptrdiff_t>(canvas.stride);
    const auto width = static_cast<std::ptrdiff_t>(canvas.width);
    const unsigned char* const lastStore = canvas.pixels + static_cast<std::size_t>(bytes - StoreBytes);
    std::ptrdiff_t rowsBelow = static_cast<std::ptrdiff_t>(canvas.height - canvas.y) - 1;
    unsigned char* rowEnd = canvas.pixels + static_cast<std::size_t>(canvas.y * canvas.stride + canvas.width);
    unsigned char* to = rowEnd - width + static_cast<std::ptrdiff_t>(canvas.x);
    const unsigned char* at = stream.at;
    std::int64_t left = stream.left;
    while (left > 0) {
        const unsigned first = at[0];
        const unsigned second = at[1];
        if (first != 0) {
            if (rowEnd - to < static_cast<std::ptrdiff_t>(first) || to > lastStore)
                break;
            PutRun(to, first, second);
            to += first;
            at += 2;
            left -= 2;
        } else if (second > Delta) {
            if (rowEnd - to < static_cast<std::ptrdiff_t>(second) || to > lastStore)
                break;
            PutLiteral(to, at + 2, second);
            to += second;
            const unsigned taken = 2 + second + second % 2;
            at += taken;
            left -= taken;
        } else if (second == EndOfLine && rowsBelow > 0) {
            --rowsBelow;
            rowEnd += stride;
            to = rowEnd - width;
            at += 2;
            left -= 2;
        } else {
            break;
        }
    }
    stream = {at, left};
    canvas.x = width - (rowEnd - to);
    canvas.y = canvas.height - 1 - rowsBelow;
}

} // namespace
} // namespace dibprep

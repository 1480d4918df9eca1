// The bilinear resampler once more, slowly: every output value is worked out on its own, in 64 bits,
// from the position of its pixel. DIBs are byte vectors; nothing of the library is used.
#pragma once

#include "tests/support/dib_builder.h"

#include <cstdint>
#include <functional>
#include <utility>
#include <vector>

namespace oracle {

using testdib::Bytes;

struct Rectangle {
    int left, top, right, bottom;
};

// The six limits. The progress callback may change them while rows are made.
struct Limits {
    int colour8 = 255, white8 = 255, black8 = 0;
    int colour16 = 32767, white16 = 16383, black16 = 0;
};

// What describes a DIB, without the three addresses; bitsAt counts from the header.
struct DibParameters {
    std::int32_t width, height, bitCount, lineBytes, bytesPerPixel, channels, colours;
    std::uint32_t compression;
    std::int32_t bitsOffset, imageSize;
    std::uint8_t mask;
    std::int32_t pixelsPerByte;
};

struct Coordinate {
    std::int32_t offset0, offset1, fraction;
};

struct Steps {
    std::int32_t x, y;
};

// A call of the progress callback and its answer decide how the work goes on.
using Progress = std::function<int(int, int)>;

struct Resampled {
    bool made = false;
    int error = 0;       // last error of a fresh object
    Bytes dib;           // the whole block, when made
    int allocations = 0; // blocks asked for
};

struct Converted {
    enum class Road { Nothing, Copy, Resampled };
    Road road = Road::Nothing;
    int status = -1; // -1: the status word is left alone
    Bytes block;     // the result's bytes, unless the road is Nothing
};

// What the host refuses: blocks above this size.
constexpr std::uint64_t LargestBlock = std::uint64_t{192} << 10;

std::uint32_t ResamplerPaletteSize(const Bytes& header);
DibParameters ParametersOf(const Bytes& header);
Steps StepsFor(std::int32_t width, std::int32_t height, std::int32_t targetWidth, std::int32_t targetHeight);
std::vector<Coordinate> CoordinatesFor(std::int32_t width, std::int32_t bitCount, std::int32_t start, std::int32_t step,
                                       int count);

// `dib` has the readable bytes and no more.
Resampled Resample(const Bytes& dib, const Rectangle* frame, const Rectangle* output, const Limits& limits,
                   const Progress& progress);
Converted ConvertedTo(const Bytes& block, std::uint32_t xRes, std::uint32_t yRes, const Limits& limits);

} // namespace oracle

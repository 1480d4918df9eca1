// The image buffers, the gray levels, the pen collection and the static palette with its cube, once
// more from their description. Nothing of the library is used.
#pragma once

#include "tests/support/dib_builder.h"

#include <array>
#include <cstdint>
#include <vector>

namespace oracle {

using testdib::Bytes;

// Packed gray of a packed colour.
struct GrayLevels {
    std::uint32_t easy16, minMax16, weighted16, easy256, minMax256, weighted256;
};
GrayLevels GraysOf(std::uint32_t colour);

std::uint32_t GrayResultSize(std::int32_t width, std::int32_t height);
std::uint32_t ColourResultSize(std::int32_t width, std::int32_t height);

struct Pen {
    std::uint32_t style, colour;
};
struct PenAnswers {
    std::vector<int> answers; // one per pen
    int count = 0;
    std::vector<std::uint32_t> colours; // as many as counted, with an array
};
PenAnswers CollectedPens(const std::vector<Pen>& pens, bool withArray);

struct StaticColour {
    int red, green, blue, number;
};
std::vector<StaticColour> StaticPalette();
// Cell (i * 16 + j) * 16 + k: its list, in order.
std::vector<std::vector<StaticColour>> StaticCells();

} // namespace oracle

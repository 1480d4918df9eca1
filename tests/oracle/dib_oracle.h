// The DIB utilities once more, as slow sentences over byte vectors: header arithmetic, construction,
// colour tables, pixels, masks, orientation and depth. A result that is no block is an empty optional.
// Nothing of the library is used.
#pragma once

#include "tests/support/dib_builder.h"

#include <cstdint>
#include <optional>

namespace oracle {

using testdib::Bytes;
using MaybeDib = std::optional<Bytes>;

constexpr std::uint32_t NoColour = 0xFF000000;

// What the host refuses: blocks above this size.
constexpr std::uint64_t LargestDibBlock = std::uint64_t{1} << 20;

struct Masks {
    bool found = false;
    std::uint32_t red = 0, green = 0, blue = 0;
};

struct Shifts {
    unsigned left = 0, right = 0;
};

bool HasInfoHeader(const Bytes& dib);
std::int32_t Width(const Bytes& dib);
std::int32_t Height(const Bytes& dib);
unsigned BitCount(const Bytes& dib);
unsigned ColourCount(const Bytes& dib);
unsigned TableBytes(const Bytes& dib);
std::uint64_t BitsOffset(const Bytes& dib);
std::uint32_t WholeSize(const Bytes& dib);

MaybeDib NewDib(std::uint32_t width, std::uint32_t height, unsigned bitCount);
void FillHeader(Bytes& dib, std::uint32_t width, std::uint32_t height, unsigned bitCount);
// Copies into what there is of the target.
void CopyColours(const Bytes& source, Bytes& target);

std::uint32_t ColourOf(const Bytes& dib, std::int32_t index);
void SetColour(Bytes& dib, std::int32_t index, std::uint32_t colour);
std::int32_t IndexOf(const Bytes& dib, std::uint32_t colour);
std::int32_t PixelIndex(const Bytes& dib, int x, int y);
void SetPixelIndex(Bytes& dib, int x, int y, unsigned index);
Masks MasksOf(const Bytes& dib);
Shifts ShiftsOf(std::uint32_t mask);

MaybeDib Turned(const Bytes& dib);
MaybeDib Normalised(const Bytes& dib);
// bits: 24 or 16
MaybeDib ToDepth(const Bytes& dib, int bits);

} // namespace oracle

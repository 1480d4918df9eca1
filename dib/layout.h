// Where things stand in a packed DIB, with the arithmetic that the folder's files share. Exported
// functions keep to the 32-bit arithmetic that their callers know; whatever decides about touching
// memory is computed here, in 64 bits.
#pragma once

#include "dibprep/dib.h"
#include "memory/header_fields.h"
#include "memory/unaligned.h"

#include <cstdint>

namespace dibprep {

// The three channel masks of a bit-field DIB.
constexpr std::uint64_t MaskBytes = 12;

// Only a size word of exactly 40 makes an info header; every other one is read as a core header.
inline bool HasInfoHeader(const unsigned char* dib) { return LoadU32(dib) == InfoHeaderSize; }

// A core header has no compression field and is always plain.
inline std::uint32_t Compression(const unsigned char* dib) {
    return HasInfoHeader(dib) ? LoadU32(dib + AtCompression) : std::uint32_t{BI_RGB};
}

inline bool IsRunLength(std::uint32_t compression) { return compression == BI_RLE8 || compression == BI_RLE4; }

// Bytes of a row, whole 32-bit words. Negative or 0 for a negative width.
inline std::int64_t RowStride(std::int64_t width, unsigned bitCount) { return (width * bitCount + 31) / 32 * 4; }

// The same in 32-bit arithmetic that wraps, as DIBSize and the pixel functions have it.
inline std::int32_t RowStride32(int width, unsigned bitCount) {
    const std::uint32_t bits = static_cast<std::uint32_t>(width) * bitCount + 31;
    return static_cast<std::int32_t>(bits) / 32 * 4;
}

// What DIBBits adds to the address of the DIB.
inline std::uint64_t BitsOffset(unsigned char* dib) { return std::uint64_t{LoadU32(dib)} + PaletteSize(dib); }

// Bytes of a colour-table entry, and where entry `index` stands.
inline std::uint64_t EntryBytes(bool infoHeader) { return infoHeader ? sizeof(tagRGBQUAD) : sizeof(tagRGBTRIPLE); }
inline std::uint64_t EntryOffset(bool infoHeader, std::uint32_t index) {
    return (infoHeader ? InfoHeaderSize : CoreHeaderSize) + EntryBytes(infoHeader) * index;
}

// Bytes of the block that CreateDIB makes; 0 where it refuses. Such a block can be shorter than its
// colour table when the height is negative: whoever fills it stays below this size.
std::uint64_t NewDibSize(std::uint32_t width, std::uint32_t height, unsigned bitCount);

} // namespace dibprep

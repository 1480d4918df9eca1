// Single pixels, single colours and channel masks of packed DIBs.
#include "dib/layout.h"

#include "dibprep/dib.h"
#include "dibprep/host.h"

#include <cstddef>

using namespace dibprep;

namespace {

// No entry yields it: the top byte of a packed colour is 0.
constexpr unsigned int OutsideTheTable = 0xFF000000;

unsigned char* Entry(unsigned char* dib, unsigned int index) {
    return dib + static_cast<std::size_t>(EntryOffset(HasInfoHeader(dib), index));
}

unsigned int EntryColor(unsigned char* dib, unsigned int index) {
    const unsigned char* const entry = Entry(dib, index);
    return RGB(entry[offsetof(tagRGBQUAD, rgbRed)], entry[offsetof(tagRGBQUAD, rgbGreen)],
               entry[offsetof(tagRGBQUAD, rgbBlue)]);
}

// The byte that holds pixel (x, y). Rows count as stored; x is not checked against the width.
unsigned char* PixelByte(unsigned char* dib, unsigned bitCount, int x, int y) {
    const std::int64_t row = std::int64_t{y} * RowStride32(DIBWidth(dib), bitCount);
    std::int64_t column = x;
    if (bitCount == 4)
        column = x / 2;
    else if (bitCount == 1)
        column = static_cast<unsigned int>(x) / 8;
    return DIBBits(dib) + static_cast<std::ptrdiff_t>(row + column);
}

bool HasIndexedPixels(unsigned bitCount) { return bitCount == 1 || bitCount == 4 || bitCount == 8; }

} // namespace

int CompareRGBQUAD(tagRGBQUAD q, unsigned char r, unsigned char g, unsigned char b) {
    return q.rgbRed == r && q.rgbGreen == g && q.rgbBlue == b;
}

int CompareRGBTRIPLE(tagRGBTRIPLE t, unsigned char r, unsigned char g, unsigned char b) {
    return t.rgbtRed == r && t.rgbtGreen == g && t.rgbtBlue == b;
}

int CompareRGB(tagRGBQUAD q, unsigned int colour) {
    return CompareRGBQUAD(q, GetRValue(colour), GetGValue(colour), GetBValue(colour));
}

int CompareRGBT(tagRGBTRIPLE t, unsigned int colour) {
    return CompareRGBTRIPLE(t, GetRValue(colour), GetGValue(colour), GetBValue(colour));
}

void CopyRGB(tagRGBQUAD* q, unsigned int colour) {
    q->rgbRed = GetRValue(colour);
    q->rgbGreen = GetGValue(colour);
    q->rgbBlue = GetBValue(colour);
}

void CopyRGBT(tagRGBTRIPLE* t, unsigned int colour) {
    t->rgbtRed = GetRValue(colour);
    t->rgbtGreen = GetGValue(colour);
    t->rgbtBlue = GetBValue(colour);
}

unsigned int GetIndexColor(unsigned char* dib, int index) {
    const unsigned int entry = static_cast<unsigned int>(index);
    return entry < DIBNumColors(dib) ? EntryColor(dib, entry) : OutsideTheTable;
}

void SetIndexColor(unsigned char* dib, int index, unsigned int colour) {
    const unsigned int entry = static_cast<unsigned int>(index);
    if (entry >= DIBNumColors(dib))
        return;
    // Both records are made of bytes alone and may stand at any address.
    if (HasInfoHeader(dib))
        CopyRGB(reinterpret_cast<tagRGBQUAD*>(Entry(dib, entry)), colour);
    else
        CopyRGBT(reinterpret_cast<tagRGBTRIPLE*>(Entry(dib, entry)), colour);
}

int GetColorIndex(unsigned char* dib, unsigned int colour) {
    const unsigned int count = DIBNumColors(dib);
    for (unsigned int i = 0; i < count; ++i)
        if (EntryColor(dib, i) == colour)
            return static_cast<int>(i);
    return -1;
}

int GetBitIndex(unsigned char* dib, int x, int y) {
    const unsigned bitCount = DIBBitCount(dib);
    if (!HasIndexedPixels(bitCount))
        return -1;
    const unsigned value = *PixelByte(dib, bitCount, x, y);
    const unsigned column = static_cast<unsigned int>(x);
    if (bitCount == 8)
        return static_cast<int>(value);
    if (bitCount == 4)
        return static_cast<int>(column % 2 ? value & 0x0F : value >> 4);
    return static_cast<int>(value >> (7 - column % 8) & 1);
}

void SetBitIndex(unsigned char* dib, int x, int y, unsigned short index) {
    const unsigned bitCount = DIBBitCount(dib);
    if (!HasIndexedPixels(bitCount))
        return;
    unsigned char* const at = PixelByte(dib, bitCount, x, y);
    const unsigned column = static_cast<unsigned int>(x);
    unsigned value = *at;
    if (bitCount == 8) {
        value = index;
    } else if (bitCount == 4) {
        // The old nibble is not cleared: rows are written once, into zeroed memory.
        value |= index % 16u * (column % 2 ? 1 : 16);
    } else {
        // One write covers the rest of a half byte, up to three pixels further right. Rows are
        // written from left to right, so that every later pixel puts its own bit right.
        const unsigned mask = 0xF0u >> column % 8;
        value = index % 2 ? value | mask : value & ~mask;
    }
    *at = static_cast<unsigned char>(value);
}

int DIBMask(unsigned char* dib, unsigned int& red, unsigned int& green, unsigned int& blue) {
    red = green = blue = 0;
    // Read at the info header's places whatever the size word says: only such a header can have
    // masks, and larger headers keep these fields where they are.
    if (LoadU32(dib + AtCompression) != BI_BITFIELDS)
        return 0;
    const unsigned bitCount = LoadU16(dib + AtBitCount);
    if (bitCount != 16 && bitCount != 32)
        return 0;
    red = LoadU32(dib + InfoHeaderSize);
    green = LoadU32(dib + InfoHeaderSize + 4);
    blue = LoadU32(dib + InfoHeaderSize + 8);
    return 1;
}

void GetShifts(unsigned int mask, unsigned short& left, unsigned short& right) {
    left = 0;
    right = 0;
    unsigned lowest = 0;
    while (lowest < 32 && !(mask >> lowest & 1))
        ++lowest;
    unsigned length = 0;
    while (lowest + length < 32 && mask >> (lowest + length) & 1)
        ++length;
    // A mask of 0 comes out as right 32, left 8; whoever shifts takes 32 as "nothing is left".
    right = static_cast<unsigned short>(lowest);
    if (length <= 8)
        left = static_cast<unsigned short>(8 - length);
    else
        right = static_cast<unsigned short>(lowest + length - 8);
}

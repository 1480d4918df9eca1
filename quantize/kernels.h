// The vector kernels of the quantiser and what they work on.
//
// A colour key holds a 24-bit colour with its bits in another order, so that both the histogram and
// the tables of nearest colours find their place by a shift: bits 9 to 23 the top five bits of red,
// green and blue (the number of a cell of 8 x 8 x 8 colours), bits 0 to 8 the low three bits of each
// (the place in the cell).
#pragma once

#include "dibprep/quantize.h"
#include "memory/x86/cpu_tier.h"

#include <cstdint>

namespace dibprep {

constexpr int LowBits = 9;
constexpr std::uint32_t LowMask = (1u << LowBits) - 1;
constexpr int CellColours = 1 << LowBits;
constexpr int ColourCells = 1 << 15;

// Of a pixel with blue in bits 0 to 7, green in 8 to 15 and red in 16 to 23.
constexpr std::uint32_t KeyOf(std::uint32_t bgr) {
    return (bgr & 0xF80007) | (bgr & 0xF800) << 3 | (bgr & 0xF8) << 6 | (bgr & 0x070000) >> 10 | (bgr & 0x0700) >> 5;
}

// The other way round: the channels of a key.
constexpr unsigned char RedOf(std::uint32_t key) {
    return static_cast<unsigned char>((key >> 16 & 0xF8) | (key >> 6 & 7));
}
constexpr unsigned char GreenOf(std::uint32_t key) {
    return static_cast<unsigned char>((key >> 11 & 0xF8) | (key >> 3 & 7));
}
constexpr unsigned char BlueOf(std::uint32_t key) { return static_cast<unsigned char>((key >> 6 & 0xF8) | (key & 7)); }

// Pixels whose keys are made at a time: they stay in the first cache.
constexpr int ChunkPixels = 1024;

// Pixels that are looked at together for being of one colour. Paper and lines are then known by their
// bytes alone, and no keys are made for them.
constexpr int BlockPixels = 16;
constexpr int BlockBytes = 3 * BlockPixels;

// The palette entries that can be nearest to a colour of one cell. Entry i scores red[i][x] +
// green[i][y] + blue[i][z] for the colour at (x, y, z) of the cell. From the top bit: the squared
// distance (18 bits), the entry's place in the order that decides ties (6), its index (8). The top
// bit is turned over, so that the smallest signed number is the nearest entry, and its low byte the
// answer.
struct CellScores {
    static constexpr int Most = 64;
    static constexpr int DistanceShift = 14;
    static constexpr int PlaceShift = 8;
    int count;
    std::uint32_t red[Most][8];
    std::uint32_t green[Most][8];
    std::uint32_t blue[Most][8];
};

// Longer lists of records, which only a host can have made, are searched colour by colour.
constexpr int MostListed = 1024;

// A palette in order of blue, as the list search goes through it, padded to whole vectors.
struct ListedColours {
    int count;
    std::uint32_t blueRed[256]; // blue in the low word, red in the high one
    std::uint32_t green[256];
    unsigned char start[256]; // where the search starts for a blue
};

// Words that are sorted at once.
constexpr int FewWords = 16;

struct QuantizeKernels {
    Tier tier;
    // The keys of `count` pixels of 24 bits; reads these 3 * count bytes and no others.
    void (*keys)(const unsigned char* pixels, int count, std::uint32_t* keys);
    // How many of the first `blocks` blocks hold nothing but the colour of the first pixel, up to the
    // first that does not; reads these blocks only.
    int (*sameBlocks)(const unsigned char* pixels, int blocks);
    // The keys of blocks up to the first that is of one colour; how many blocks these are.
    int (*mixedBlocks)(const unsigned char* pixels, int blocks, std::uint32_t* keys);
    // The numbers of the records that can be nearest to a colour of a cell, in their order: those not
    // farther from the cell's nearest corner than every record is from its farthest. Answers how many;
    // CellScores::Most + 1 where there are more than Most. At most MostListed records.
    int (*pick)(const CColorTrans2* records, int count, std::uint32_t cell, std::uint16_t* picked);
    // Sorts `count` words, 16 at most and each less than 2^31, if no two of them are equal but for their
    // low byte; leaves them and answers false otherwise. Reads and rewrites 16 words; those behind the
    // last stay as they are.
    bool (*sortFew)(std::uint32_t* words, int count);
    // The place of the nearest colour to a pixel in such a list: among equals the start, then those
    // before it backwards, then those behind it.
    int (*search)(const ListedColours& list, const unsigned char* pixel);
    // The nearest entry's index for all 512 colours of a cell, in the order of their keys.
    void (*nearest)(const CellScores& scores, unsigned char* indices);
};

// The kernels of a tier, which the processor must have.
const QuantizeKernels& KernelsOf(Tier tier);

// Also what SSE2 and SSSE3 take.
int PickScalar(const CColorTrans2* records, int count, std::uint32_t cell, std::uint16_t* picked);
int SearchScalar(const ListedColours& list, const unsigned char* pixel);
bool SortFewScalar(std::uint32_t* words, int count);

extern const QuantizeKernels ScalarQuantizeKernels;
extern const QuantizeKernels Sse2QuantizeKernels;
extern const QuantizeKernels Ssse3QuantizeKernels;
extern const QuantizeKernels Avx2QuantizeKernels;

} // namespace dibprep

// One picture as the tool holds it: a packed DIB in a block of the host layer, in the form that the
// library takes, and what such a DIB cannot say.
#pragma once

#include "dibprep/types.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace dibprep::tool {

// A memory block, locked for as long as it is held here, freed at the end.
class Block {
public:
    Block() = default;
    // A zeroed block. Leaves with ExitLimit when the memory is not there.
    explicit Block(std::uint64_t bytes);
    // Takes over a block that the library made; its own lock, if any, stays.
    static Block Adopt(void* handle);
    ~Block();
    Block(Block&& other) noexcept;
    Block& operator=(Block&& other) noexcept;

    explicit operator bool() const { return m_handle != nullptr; }
    void* handle() const { return m_handle; }
    unsigned char* data() const { return m_data; }
    std::size_t size() const;

private:
    void* m_handle = nullptr;
    unsigned char* m_data = nullptr;
};

// Where the channels of a 16- or 32-bit pixel stand. All 0: the plain layout of the depth.
struct ChannelMasks {
    std::uint32_t red = 0;
    std::uint32_t green = 0;
    std::uint32_t blue = 0;
    std::uint32_t alpha = 0;

    bool operator==(const ChannelMasks& o) const {
        return red == o.red && green == o.green && blue == o.blue && alpha == o.alpha;
    }
};

constexpr ChannelMasks Plain555 = {0x7C00, 0x03E0, 0x001F, 0};
constexpr ChannelMasks Plain888 = {0xFF0000, 0x00FF00, 0x0000FF, 0};
constexpr ChannelMasks Plain8888 = {0xFF0000, 0x00FF00, 0x0000FF, 0xFF000000};

// Bytes of a row, and colour-table entries of a depth, in a packed DIB.
std::uint64_t RowBytes(std::uint64_t width, int bits);
unsigned FullTable(int bits);

/*
 * The DIB: a 40-byte header without compression, a colour table of 2, 16 or 256 entries for 1, 4
 * and 8 bits (always all of them: the library reads that many), rows from the bottom up. Depths: 1,
 * 4, 8, 16, 24, 32, 48, 64.
 */
class Page {
public:
    // A picture of zeros with a black table. Sizes and depth must have been checked.
    Page(std::uint64_t width, std::uint64_t height, int bits);
    // The picture in a block that the library returned. Its table is completed to the full length.
    static Page Adopt(void* handle);

    int Width() const;
    int Height() const;
    int Bits() const;
    std::size_t RowSize() const { return m_rowSize; }
    // Row y counted from the top, and in stored order, from the bottom.
    unsigned char* Row(int y) const { return StoredRow(Height() - 1 - y); }
    unsigned char* StoredRow(int y) const { return m_rows + static_cast<std::size_t>(y) * m_rowSize; }
    // Index of a pixel in a row of 1, 4 or 8 bits.
    unsigned IndexAt(const unsigned char* row, int x) const;

    tagRGBQUAD Colour(unsigned index) const;
    void SetColour(unsigned index, tagRGBQUAD colour);
    // Entries that mean something; those behind them are black. 0 above 8 bits.
    unsigned Colours() const { return m_colours; }
    void SetColours(unsigned count) { m_colours = count; }
    // Counts as far as the highest index that a pixel uses.
    void TrimColours();
    // Every entry has blue = green = red.
    bool IsGray() const;

    std::int32_t PixelsPerMetreX() const;
    std::int32_t PixelsPerMetreY() const;
    void SetResolution(std::int32_t x, std::int32_t y);

    const ChannelMasks& Masks() const { return m_masks; }
    void SetMasks(const ChannelMasks& masks) { m_masks = masks; }

    /*
     * 48 and 64 bits: whether the words are samples of 0 to 65535, each held less 32768, and not a BMP
     * file's own words. The resampler mixes signed words, so that it mixes all 16 bits of these exactly.
     */
    bool FullRange() const { return m_fullRange; }
    void SetFullRange(bool fullRange) { m_fullRange = fullRange; }
    // Whether the picture has a channel of its own for alpha.
    bool HasAlpha() const { return Bits() == 64 || (Bits() == 32 && m_masks.alpha != 0); }

    // The packed DIB, for the library.
    void* handle() const { return m_block.handle(); }
    unsigned char* dib() const { return m_block.data(); }

private:
    Page() = default;

    Block m_block;
    std::size_t m_rowSize = 0;
    unsigned char* m_rows = nullptr;
    unsigned m_colours = 0;
    ChannelMasks m_masks;
    bool m_fullRange = false;
};

// Whether every one has blue = green = red.
bool IsGray(const std::vector<tagRGBQUAD>& colours);

// Writes the 40 bytes of a plain header. A negative height is stored as it is.
void WriteHeader(unsigned char* header, std::int32_t width, std::int32_t height, int bits);

} // namespace dibprep::tool

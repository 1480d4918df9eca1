// How often the colours of a large picture occur, by cells of 8 x 8 x 8 colours, with the sums of their
// low bits in packed words. Runs of one colour are counted at once.
#pragma once

#include "dibprep/quantize.h"
#include "quantize/kernels.h"
#include "quantize/scratch.h"

#include <cstddef>
#include <cstdint>

namespace dibprep {

// Pixels of a cell. The sums are those of the low three bits of each channel.
struct CellCount {
    std::uint32_t pixels;
    std::uint32_t red;
    std::uint32_t green;
    std::uint32_t blue;
};

// A packed word: pixels in bits 51 to 63, then the sums of red, green and blue in 17 bits each. A word
// is set aside and emptied soon after its sign bit tells 4096 pixels, before it holds 8192: the sums,
// of at most 7 each, then fit with room to spare.
struct CellWord {
    static constexpr int PixelsAt = 51;
    static constexpr int RedAt = 34;
    static constexpr int GreenAt = 17;
    static constexpr std::uint32_t SumMask = (1u << 17) - 1;
    static constexpr std::uint32_t FullAt = 4096;

    // Of one pixel, by the low bits of its key.
    static constexpr std::uint64_t Of(std::uint32_t low) {
        return std::uint64_t{1} << PixelsAt | std::uint64_t{low >> 6} << RedAt |
               std::uint64_t{low >> 3 & 7} << GreenAt | (low & 7);
    }

    static CellCount Unpacked(std::uint64_t word) {
        return {static_cast<std::uint32_t>(word >> PixelsAt), static_cast<std::uint32_t>(word >> RedAt) & SumMask,
                static_cast<std::uint32_t>(word >> GreenAt) & SumMask, static_cast<std::uint32_t>(word) & SumMask};
    }
};

class Histogram {
public:
    // For at most so many pixels.
    explicit Histogram(std::uint64_t pixels);

    // False without memory.
    explicit operator bool() const { return m_words && m_full; }

    // Whether this is a picture whose pixels can be counted: plain rows of 24 or 16 bits.
    static bool Counts(const CNiGoRo2& quantiser);
    void CountPicture(const CNiGoRo2& quantiser, const QuantizeKernels& kernels);

    // Calls apply(cell, count) for all pixels, cell by cell; for some cells several times.
    template <typename Apply>
    void ForEachPart(Apply apply) const {
        for (std::uint32_t cell = 0; cell < ColourCells; ++cell) {
            if (m_words[cell])
                apply(cell, Even(cell));
            if (m_words[ColourCells + cell])
                apply(cell, Odd(cell));
        }
        ForEachFull(apply);
    }

    // The parts by themselves: what is counted last in two words, and what was set aside before. A cell
    // that occurs has pixels in one of its words.
    CellCount Even(std::uint32_t cell) const { return CellWord::Unpacked(m_words[cell]); }
    CellCount Odd(std::uint32_t cell) const { return CellWord::Unpacked(m_words[ColourCells + cell]); }
    template <typename Apply>
    void ForEachFull(Apply apply) const {
        for (std::size_t i = 0; i < m_fullCount; ++i)
            apply(m_full[i].cell, CellWord::Unpacked(m_full[i].word));
    }

private:
    struct FullWord {
        std::uint64_t word;
        std::uint32_t cell;
    };

    void CountChunk(const std::uint32_t* keys);
    void CountRun(std::uint32_t key, std::uint32_t count);
    void SetAside(std::uint32_t cell, std::uint64_t& word);
    __attribute__((noinline)) void SetFullOnesAside(const std::uint32_t* keys);

    Scratch<std::uint64_t> m_words; // two for each cell
    Scratch<FullWord> m_full;       // words set aside
    std::size_t m_fullCount = 0;
};

} // namespace dibprep

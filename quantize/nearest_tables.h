// The nearest palette entries of all colours that a picture has, remembered for the length of one
// call (after S. W. Thomas, "Efficient Inverse Color Map Computation", Graphics Gems II, 1991, with
// cells split finer and tables made only where the picture has colours).
//
// Space is cut into 32768 cells of 8 x 8 x 8 colours. When a colour of a cell comes up, the few entries
// that can be nearest to a colour inside the cell are picked out, and the answers for all its 512
// colours are worked out at once. An entry can be nearest only if it is not farther from the nearest
// corner of the cell than every entry is from its farthest corner; that keeps all entries of equal
// distance too, in their order, so that ties fall as in the searches of the object itself.
#pragma once

#include "dibprep/quantize.h"
#include "quantize/kernels.h"
#include "quantize/list_starts.h"
#include "quantize/scratch.h"

#include <cstdint>

namespace dibprep {

class NearestTables {
public:
    // For the search that m_wLinear tells, and at most so many colours. The object must stay as it is
    // meanwhile.
    NearestTables(CNiGoRo2& quantiser, const QuantizeKernels& kernels, std::uint64_t colours);
    ~NearestTables() { std::free(m_tables); }
    NearestTables(const NearestTables&) = delete;
    NearestTables& operator=(const NearestTables&) = delete;

    // False without memory, and for a list search over a palette that is not sorted by blue.
    explicit operator bool() const { return m_usable; }

    // The indices of `count` colours.
    void Map(const std::uint32_t* keys, int count, unsigned char* target);
    // The index of a colour that occurs `count` times in a row.
    void MapRun(std::uint32_t key, int count, unsigned char* target);

private:
    __attribute__((noinline)) unsigned char Answer(std::uint32_t key);
    bool Build(std::uint32_t cell);
    void SetScores(std::uint32_t cell, const CColorTrans2* records, const std::uint16_t* picked, int count);

    // A cell's offset, with the key of one of its colours added, is where the answer stands, counted
    // from this far before the first table. So no offset is 0, which means that there is no table.
    static constexpr std::uint32_t Origin = static_cast<std::uint32_t>(ColourCells) * CellColours;

    CNiGoRo2& m_quantiser;
    const QuantizeKernels& m_kernels;
    Scratch<std::uint32_t> m_offsets;
    Scratch<CellScores> m_scores;
    unsigned char* m_tables = nullptr;
    std::uint32_t m_room = 0; // tables that there is memory for
    std::uint32_t m_made = 0;
    std::uint32_t m_uniform[256] = {}; // the table that answers an index throughout, plus 1
    std::uint64_t m_mapped = 0;        // colours so far
    bool m_usable = false;
    unsigned char m_start[256]; // where the list search starts for a blue
};

} // namespace dibprep

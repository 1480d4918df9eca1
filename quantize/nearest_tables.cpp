// How the tables of nearest entries are made and used; see the header.
#include "quantize/nearest_tables.h"

#include "quantize/axis.h"
#include "quantize/limits.h"
#include "quantize/x86/key_steps.h"

#include <algorithm>
#include <cstring>

namespace dibprep {

namespace {

// A table costs about as much as this many searches. So one is made only after so many colours for
// each made before: noise, with its many cells, then never costs much more than the searches alone.
constexpr std::uint64_t ColoursPerTable = 8;
constexpr std::uint32_t FreeTables = 64;

// The squares of the distances -255 to 262, where the scores have them.
struct ScoredSquares {
    std::uint32_t of[255 + 263];

    constexpr ScoredSquares() : of() {
        for (int distance = -255; distance < 263; ++distance)
            of[distance + 255] = static_cast<std::uint32_t>(Square(distance)) << CellScores::DistanceShift;
    }
};

constexpr ScoredSquares Squares;

} // namespace

// Memory for tables is asked for once, for all that may be made, and touched as they are made. Where
// there is less of it, fewer must do.
NearestTables::NearestTables(CNiGoRo2& quantiser, const QuantizeKernels& kernels, std::uint64_t colours)
    : m_quantiser(quantiser), m_kernels(kernels), m_offsets(ColourCells, Scratch<std::uint32_t>::Fill::Zeros),
      m_scores(1, Scratch<CellScores>::Fill::None) {
    m_room = static_cast<std::uint32_t>(std::min<std::uint64_t>(colours / ColoursPerTable + FreeTables, ColourCells));
    for (; m_room >= FreeTables && !m_tables; m_room = m_tables ? m_room : m_room / 2)
        m_tables = static_cast<unsigned char*>(std::malloc(std::size_t{m_room} * CellColours));
    m_usable = m_offsets && m_scores && m_tables && (!quantiser.m_wLinear || FindListStarts(quantiser, m_start));
}

void NearestTables::Map(const std::uint32_t* keys, int count, unsigned char* target) {
    m_mapped += static_cast<unsigned int>(count);
    const std::uint32_t* const offsets = m_offsets.get();
    const unsigned char* const tables = m_tables;
    const auto answer = [this, offsets, tables](std::uint32_t key) {
        const std::uint32_t offset = offsets[key >> LowBits];
        return offset ? tables[static_cast<std::size_t>(offset) + key - Origin] : Answer(key);
    };
    int i = 0;
    for (; i + 8 <= count; i += 8) {
        if (AllEqual8(keys + i)) {
            std::memset(target + i, answer(keys[i]), 8);
            continue;
        }
        target[i] = answer(keys[i]);
        target[i + 1] = answer(keys[i + 1]);
        target[i + 2] = answer(keys[i + 2]);
        target[i + 3] = answer(keys[i + 3]);
        target[i + 4] = answer(keys[i + 4]);
        target[i + 5] = answer(keys[i + 5]);
        target[i + 6] = answer(keys[i + 6]);
        target[i + 7] = answer(keys[i + 7]);
    }
    for (; i < count; ++i)
        target[i] = answer(keys[i]);
}

void NearestTables::MapRun(std::uint32_t key, int count, unsigned char* target) {
    m_mapped += static_cast<unsigned int>(count);
    const std::uint32_t offset = m_offsets[key >> LowBits];
    const unsigned char index = offset ? m_tables[static_cast<std::size_t>(offset) + key - Origin] : Answer(key);
    std::memset(target, index, static_cast<std::size_t>(count));
}

// The answer for a colour whose cell has no table yet.
unsigned char NearestTables::Answer(std::uint32_t key) {
    if (m_made < m_room && m_made * ColoursPerTable < m_mapped + FreeTables * ColoursPerTable && Build(key >> LowBits))
        return m_tables[m_offsets[key >> LowBits] + key - Origin];
    return m_quantiser.m_wLinear ? m_quantiser.GetNearestColorIndexL(RedOf(key), GreenOf(key), BlueOf(key))
                                 : m_quantiser.GetNearestColorIndexC(RedOf(key), GreenOf(key), BlueOf(key));
}

// What decides among equal distances goes into the scores by blue: the place in the list of a cell of
// the cube, or the place in the order in which the list search comes by, which depends on the blue it
// looks for.
void NearestTables::SetScores(std::uint32_t cell, const CColorTrans2* records, const std::uint16_t* picked, int count) {
    CellScores& scores = m_scores[0];
    const std::uint32_t key = cell << LowBits;
    // Of the distances from a channel's value to the eight of the cell.
    const auto squares = [](int first, int value, std::uint32_t add, std::uint32_t* of) {
        const std::uint32_t* const square = Squares.of + (first - value + 255);
        for (int i = 0; i < 8; ++i)
            of[i] = square[i] + add;
    };
    scores.count = count;
    for (int i = 0; i < count; ++i) {
        const CColorTrans2& record = records[picked[i]];
        squares(RedOf(key), record.m_rgb.rgbRed, 0x80000000u, scores.red[i]);
        squares(GreenOf(key), record.m_rgb.rgbGreen, 0, scores.green[i]);
        const std::uint32_t place = m_quantiser.m_wLinear ? 0 : static_cast<std::uint32_t>(i) << CellScores::PlaceShift;
        squares(BlueOf(key), record.m_rgb.rgbBlue, place + record.m_byIndex, scores.blue[i]);
    }
    if (!m_quantiser.m_wLinear)
        return;
    for (int z = 0; z < 8; ++z) {
        int before = 0; // candidates that the list search meets on its way down
        while (before < count && picked[before] <= m_start[BlueOf(key) + z])
            ++before;
        for (int i = 0; i < count; ++i)
            scores.blue[i][z] += static_cast<std::uint32_t>(i < before ? before - 1 - i : i) << CellScores::PlaceShift;
    }
}

bool NearestTables::Build(std::uint32_t cell) {
    const CColorTrans2* records = m_quantiser.m_Palette;
    int listed = UsedRecords(m_quantiser);
    if (!m_quantiser.m_wLinear) {
        const CCubeCell& list = m_quantiser.m_SearchCube[cell >> 12][cell >> 7 & 7][cell >> 2 & 7];
        if (list.m_nCount > MostListed)
            return false;
        records = list.m_pList;
        listed = list.m_nCount;
    }
    std::uint16_t picked[CellScores::Most];
    const int count = m_kernels.pick(records, listed, cell, picked);
    if (count > CellScores::Most)
        return false;
    std::uint32_t number = m_made;
    unsigned char* const table = m_tables + std::size_t{number} * CellColours;
    if (count > 1) {
        SetScores(cell, records, picked, count);
        m_kernels.nearest(m_scores[0], table);
        ++m_made;
    } else {
        // Cells with one entry share its table. A cell of the cube that lists nothing answers the first.
        const unsigned char index = count == 1 ? records[picked[0]].m_byIndex : 0;
        std::uint32_t& uniform = m_uniform[index];
        if (uniform == 0) {
            std::memset(table, index, CellColours);
            uniform = ++m_made;
        }
        number = uniform - 1;
    }
    m_offsets[cell] = Origin + (number - cell) * CellColours;
    return true;
}

} // namespace dibprep

// Finds where rows of a picture with a colour table show one colour only. Pages are mostly paper:
// what two rows of one colour give needs no arithmetic.
#pragma once

#include "bilinear/row.h"
#include "bilinear/row_table.h"

#include <cstddef>
#include <memory>

namespace dibprep {

constexpr int PixelsPerBlock = SlotsPerStep / 4;

class FlatBlocks {
public:
    // What a block of a row is: the byte of which all its pixels are made, or
    static constexpr std::int16_t Mixed = -1;

    // Plans the blocks of eight output pixels each. False where nothing can be found: rows too short,
    // columns too far apart, no memory.
    bool Plan(const RowTask& task);

    int Count() const { return m_count; }
    // The first source column of a block, and the one behind its last.
    int Begin(int block) const { return m_blocks[block].begin; }
    int End(int block) const { return m_blocks[block].end; }

    // Looks at a row; its state is kept in one of two places.
    void Look(FlatKernel kernel, const unsigned char* row, int place, std::uintptr_t ahead);
    std::int16_t* Kinds(int place) { return m_kinds.get() + static_cast<std::size_t>(place) * Size(); }

private:
    std::size_t Size() const { return static_cast<std::size_t>(m_count); }

    int m_count = 0;
    int m_bits = 0;
    std::unique_ptr<FlatBlock[]> m_blocks;
    std::unique_ptr<std::int16_t[]> m_kinds;
};

} // namespace dibprep

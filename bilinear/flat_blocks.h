// Finds where rows of a picture with a colour table show one colour only. Pages are mostly paper:
// what two rows of one colour give needs no arithmetic.
#pragma once

#include "bilinear/row.h"
#include "bilinear/row_table.h"

#include <cstddef>
#include <cstring>
#include <memory>

namespace dibprep {

// A row is divided into blocks of as many output pixels as stages make in whole steps, or, where steps begin
// at any register, in whole registers.
class FlatBlocks {
public:
    // Neighbouring blocks of one kind: the byte of which all their pixels are made, or
    static constexpr int Mixed = -1;
    struct Run {
        int end; // the first block behind it
        int kind;
    };

    // Plans the blocks. False where nothing can be found: rows too short, no memory.
    bool Plan(const RowTask& task, int pixelsPerBlock);

    int Count() const { return m_count; }
    int PixelsPerBlock() const { return m_pixels; }
    // The first source column of a block, and the one behind its last.
    int Begin(int block) const { return m_blocks[block].begin; }
    int End(int block) const { return m_blocks[block].end; }

    // Looks at a row; what it finds is kept in one of a few places, and nothing of it is fed yet.
    static constexpr int Places = MostSourceRows;
    void Look(ChangeKernel kernel, const unsigned char* row, int place, std::uintptr_t ahead);
    const Run* Runs(int place) const { return m_runs.get() + static_cast<std::size_t>(place) * Size(); }

    // Whether a row as a whole is left to the mixing stage.
    bool IsMixed(int place) const { return Runs(place)->kind == Mixed && Runs(place)->end == m_count; }

    // The blocks whose colours have been fed to the mixing stage. Answers the first from `begin` to
    // before `end` that is not (or is), or `end`.
    int NextFed(int place, int begin, int end, bool fed) const {
        const unsigned char* const from = m_fed.get() + static_cast<std::size_t>(place) * Size() + begin;
        const void* const at = std::memchr(from, fed ? 1 : 0, static_cast<std::size_t>(end - begin));
        return at ? begin + static_cast<int>(static_cast<const unsigned char*>(at) - from) : end;
    }
    void SetFed(int place, int begin, int end, bool fed) {
        std::memset(m_fed.get() + static_cast<std::size_t>(place) * Size() + begin, fed ? 1 : 0,
                    static_cast<std::size_t>(end - begin));
    }

private:
    struct Block {
        std::int32_t begin; // its source columns
        std::int32_t end;
        std::int32_t firstByte; // ... and their bytes
        std::int32_t lastByte;
    };

    std::size_t Size() const { return static_cast<std::size_t>(m_count); }
    int NextChange(int byte) const;
    Run* Append(Run* runs, Run* last, int end, int kind);

    int m_count = 0;
    int m_pixels = 0;
    int m_bits = 0;
    int m_bytes = 0; // of a row that are looked at
    std::unique_ptr<Block[]> m_blocks;
    std::unique_ptr<Run[]> m_runs;
    std::unique_ptr<unsigned char[]> m_fed;
    std::unique_ptr<std::uint32_t[]> m_changes;
};

} // namespace dibprep

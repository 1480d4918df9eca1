// The fast road of 8-bit gray and 24-bit rows: horizontal results of the source rows are kept while
// output rows need them, columns are mapped once per image.
#pragma once

#include "dibprep/transform.h"
#include "transform/columns.h"
#include "transform/sample_columns.h"
#include "transform/sampling.h"

namespace dibprep {

class ColourRows {
public:
    // For usable columns. False when this image is the line builders' work: too narrow, no memory.
    bool Prepare(const CLinearTransformMem& engine, const ColumnFacts& columns, const RowKernels& kernels);

    // Builds one output row from the source rows of `rows`, the first of which begins at `source`.
    // The fraction of `rows` is at least 0 and below 1. `nextFirst` is the first source row that the
    // next output row needs, the highest number if there is none.
    void Build(const std::uint8_t* source, const SamplePair& rows, std::uint32_t nextFirst, std::uint8_t* out);

    // Drops what is kept of source rows: their bytes may have changed.
    void Forget() { m_kept[0].row = m_kept[1].row = NoRow; }

private:
    static constexpr std::uint32_t NoRow = ~0u;

    // The horizontal results of one source row: words with short fractions, else doubles.
    struct KeptRow {
        std::uint32_t row = NoRow;
        std::uint16_t* words = nullptr;
        double* doubles = nullptr;
    };

    void TakeScratch();
    void FillTables(const CLinearTransformMem& engine);
    bool PutWindow(std::size_t group, std::uint32_t* offset, std::uint8_t* shuffle) const;
    bool PutWindows();
    void PutPairTables();
    void FindPeriod();
    const std::uint8_t* PairsOf(const std::uint8_t* row);
    bool IsKept(std::uint32_t row) const { return m_kept[0].row == row || m_kept[1].row == row; }
    bool BuildDirectly(const std::uint8_t* source, std::uint32_t first, std::uint32_t second, double fraction,
                       std::uint8_t* out);
    const KeptRow& Keep(const std::uint8_t* source, std::uint32_t row, std::uint32_t needed);

    RowKernels m_kernels;
    ScratchParts m_scratch;
    SampleColumns m_columns;
    ColumnPlan m_plan;
    KeptRow m_kept[2];
    std::size_t m_windowBytes = 0;
    std::size_t m_groupChannels = 0;
    bool m_copies = false;  // a row without a second one is its source row
    bool m_short = false;   // all column fractions are short
    bool m_windows = false; // groups come from the row itself, not from pairs

    std::uint32_t* m_offsets = nullptr;
    std::uint8_t* m_shuffles = nullptr;
    std::uint8_t* m_weights = nullptr;
    double* m_fractions = nullptr;
    std::uint8_t* m_pairs = nullptr;
    std::uint8_t* m_levels = nullptr; // the row after the gray table
};

} // namespace dibprep

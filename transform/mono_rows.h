// The fast road of 1-bit rows: whole rows of bits at a time.
#pragma once

#include "dibprep/transform.h"
#include "transform/bit_buckets.h"
#include "transform/row_kernels.h"
#include "transform/sampling.h"
#include "transform/scratch.h"

namespace dibprep {

class MonoRows {
public:
    // For usable columns. False when there is no memory.
    bool Prepare(const CLinearTransformMem& engine, const RowKernels& kernels);

    // Sets the white bits of one output row from the source rows of `rows`, the first of which
    // begins at `source`.
    void Build(const std::uint8_t* source, const SamplePair& rows, std::uint8_t* out);

    // Drops what is kept of source rows: their bytes may have changed.
    void Forget();

private:
    static constexpr std::uint32_t NoRow = ~0u;
    static constexpr std::size_t KeptRules = 4;

    // The samples of all output columns in one source row.
    struct KeptRow {
        std::uint32_t row = NoRow;
        std::uint8_t* samples = nullptr;
        int everywhere = -1; // the sample, if all of the row are the same: `samples` need not be there
        bool sampled = false;
    };

    void TakeScratch();
    void PutGatherTables();
    bool PutWindows();
    bool PutWindow(std::size_t begin, std::size_t end, std::uint8_t* record);
    KeptRow* Find(std::uint32_t row);
    void Keep(const std::uint8_t* source, std::uint32_t first, std::uint32_t second, const KeptRow* needed);
    void Sample(const std::uint8_t* source, KeptRow* pair, std::size_t count);
    const std::uint8_t* Readable(const std::uint8_t* source, std::uint32_t row, std::size_t which);
    const std::uint8_t* SamplesOf(KeptRow& kept);
    int UniformSample(const std::uint8_t* row) const;
    const BitRules& RulesFor(double fy);
    void Pick(const std::uint8_t* upper, const std::uint8_t* lower, double fy, std::uint8_t* out);
    void SetAll(std::uint8_t* out) const;
    bool Outcome(unsigned int combination, double fx, double fy) const;
    std::uint32_t DecideOpen(std::uint32_t open, const std::uint8_t* upper, const std::uint8_t* lower,
                             const CPosition* columns, double fy) const;
    void Settle(const std::uint8_t* upper, const std::uint8_t* lower, double fy);

    RowKernels m_kernels;
    ScratchParts m_scratch;
    BitPlan m_plan;
    BitBuckets m_buckets;
    const CPosition* m_positions = nullptr;
    int m_threshold = 0;
    bool m_setIsBlack = false;
    bool m_windows = false;
    bool m_allRows = false;      // whether every source row is needed
    std::uint32_t m_lastRow = 0; // that is read
    std::size_t m_unit = 0;      // pixels of a group and bytes of its window
    std::size_t m_pixels = 0;
    std::size_t m_stride = 0;
    std::size_t m_sourcePixels = 0;
    std::size_t m_sourceBytes = 0; // of pixels in a source row

    // Two pairs of rows. Rows are sampled in pairs where two are needed, as they share the tables then.
    KeptRow m_kept[4];
    double m_ruleFractions[KeptRules];
    BitRules m_rules[KeptRules];
    std::size_t m_ruleCount = 0; // ever made

    std::uint16_t* m_bytes = nullptr;
    std::uint16_t* m_masks[2] = {};
    std::uint8_t* m_records = nullptr;
    std::uint8_t* m_source[2] = {}; // source rows with room behind them
    std::uint8_t* m_sure = nullptr;
    std::uint8_t* m_possible = nullptr;
};

} // namespace dibprep

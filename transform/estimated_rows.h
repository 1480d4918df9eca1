// The fast road of 8-bit gray and 24-bit rows whose fractions are no short binary ones: estimates
// in fixed point, and the line builders' arithmetic where those leave a level open.
#pragma once

#include "dibprep/transform.h"
#include "transform/sample_columns.h"
#include "transform/sampling.h"

namespace dibprep {

class EstimatedRows {
public:
    // For usable columns. False when this image is somebody else's work: too narrow, no kernels, no
    // memory.
    bool Prepare(const CLinearTransformMem& engine, const RowKernels& kernels);

    // Builds one output row from the source rows of `rows`, the first of which begins at `source`.
    // The fraction of `rows` is at least 0 and below 1.
    void Build(const std::uint8_t* source, const SamplePair& rows, std::uint8_t* out);

    // Drops what is kept of source rows: their bytes may have changed.
    void Forget() { m_kept[0].row = m_kept[1].row = NoRow; }

    // For tests: groups of eight channels that estimates decided, that they left open, and that were
    // given to the doubles from the start; and rows between two rows of one level, and strips of others
    // that were filled instead of given to the doubles.
    struct Counts {
        std::size_t estimated = 0;
        std::size_t open = 0;
        std::size_t inDoubles = 0;
        std::size_t filledRows = 0;
        std::size_t filledStrips = 0;
    };
    const Counts& Made() const { return m_made; }

private:
    static constexpr std::uint32_t NoRow = ~0u;

    // What rows in doubles know of a strip.
    struct KeptStrip {
        std::int16_t level; // of all its samples, if they have one
        bool hasDoubles;
    };
    static constexpr std::int16_t UnknownLevel = -1;
    static constexpr std::int16_t SeveralLevels = -2;

    struct KeptRow {
        std::uint32_t row = NoRow;
        const std::uint8_t* bytes = nullptr; // the source row, or what was made of it
        std::uint8_t* levels = nullptr;      // room for gray levels
        std::uint8_t* pairs = nullptr;       // room for pairs
        std::int32_t* estimates = nullptr;
        double* doubles = nullptr;
        KeptStrip* strips = nullptr;
        int everywhere = -1; // the level, if all channels of the source row are the same
        bool hasEstimates = false;
    };

    void TakeScratch();
    void FillTables(const CLinearTransformMem& engine);
    bool PutWindow(std::size_t window);
    void PutPairTables();
    KeptRow& Keep(const std::uint8_t* source, std::uint32_t row, std::uint32_t needed);
    void BuildByEstimates(KeptRow& top, KeptRow& bottom, double fraction, std::uint8_t* out);
    std::int16_t LevelOf(const KeptRow& row, Strip strip) const;
    void BuildInDoubles(KeptRow& top, KeptRow& bottom, double fraction, std::uint8_t* out);

    RowKernels m_kernels;
    ScratchParts m_scratch;
    SampleColumns m_columns;
    EstimatePlan m_plan;
    KeptRow m_kept[2];
    Counts m_made;
    unsigned int m_rowsInDoubles = 0; // how many come before estimates are tried again
    unsigned int m_pause = 0;         // how many there were the last time
    std::size_t m_windowBytes = 0;
    std::size_t m_strips = 0;
    bool m_far = false; // samples too far apart for windows: pairs are laid side by side

    std::uint32_t* m_offsets = nullptr;
    std::uint8_t* m_shuffles = nullptr;
    std::int32_t* m_weights = nullptr;
    double* m_fractions = nullptr;
};

} // namespace dibprep

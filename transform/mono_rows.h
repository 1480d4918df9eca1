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
    void Forget() { m_kept[0].row = m_kept[1].row = NoRow; }

private:
    static constexpr std::uint32_t NoRow = ~0u;
    static constexpr std::size_t MostClasses = 4;
    static constexpr std::size_t MostTables = 32;

    // The left and right samples of all output columns in one source row.
    struct KeptRow {
        std::uint32_t row = NoRow;
        std::uint8_t* first = nullptr;
        std::uint8_t* second = nullptr;
        int everywhere = -1; // the sample, if all of the row are the same
    };

    void ListClasses(const CLinearTransformMem& engine);
    void TakeScratch();
    void FillTables();
    bool PutWindow(std::size_t group);
    const KeptRow& Keep(const std::uint8_t* source, std::uint32_t row, std::uint32_t needed);
    bool Outcome(unsigned int combination, double fx, double fy) const;
    const std::uint8_t* TableFor(double fy);
    const BitChoice* ChoicesFor(double fy);
    void Pick(const std::uint8_t* const samples[4], double fy);
    void Fill(bool white);
    void DecideOpen(const std::uint8_t* const samples[4], double fy, const std::uint8_t* open);
    void DecideSingly(const std::uint8_t* const samples[4], double fy);
    void ClearBehind();
    int UniformSample(const std::uint8_t* row) const;

    RowKernels m_kernels;
    ScratchParts m_scratch;
    BitPlan m_plan;
    KeptRow m_kept[2];
    const CPosition* m_positions = nullptr;
    int m_threshold = 0;
    bool m_setIsBlack = false;
    bool m_windows = false;
    std::size_t m_unit = 0; // pixels of a group and bytes of its window
    std::size_t m_pixels = 0;
    std::size_t m_stride = 0;
    std::size_t m_sourcePixels = 0;
    std::size_t m_sourceBytes = 0; // of pixels in a source row
    std::size_t m_planeBytes = 0;  // of a row of bits in scratch

    // Columns of the same fraction form a class; with few classes the outcomes of a row fraction
    // are tabled for all columns, and row fractions usually repeat.
    std::size_t m_classes = 0; // 0: too many
    double m_classFractions[MostClasses] = {};
    std::uint8_t* m_classMasks = nullptr;
    std::size_t m_tables = 0;
    std::size_t m_tableRoom = 0;
    double m_tableFractions[MostTables] = {};
    std::uint8_t* m_outcomes = nullptr;

    // With more of them there are buckets, and the choices of so many row fractions.
    BitBuckets m_buckets;
    std::size_t m_chosen = 0;
    double m_chosenFractions[MostTables];
    BitChoice m_choices[MostTables][16];

    std::uint16_t* m_bytes = nullptr;
    std::uint16_t* m_masks[2] = {};
    std::uint32_t* m_offsets = nullptr;
    std::uint8_t* m_windowTables = nullptr;
    std::uint8_t* m_source = nullptr; // a source row with room behind it
    std::uint8_t* m_picked = nullptr;
    std::uint8_t* m_open = nullptr; // pixels whose outcome the buckets leave open
};

} // namespace dibprep

// Makes the output rows of one call by the stages of row_table.h, byte for byte as the scalar row
// kernels would. Holds nothing beyond the call.
#pragma once

#include "bilinear/flat_blocks.h"
#include "bilinear/row.h"
#include "bilinear/row_table.h"

#include <cstddef>
#include <memory>

namespace dibprep {

class FastRows {
public:
    // From the members of a task that all rows share. `keep` tells whether nobody can change the
    // source between two rows: then a row mixed once is used again. `stream` asks for rows that go to
    // memory past the caches: that pays for results larger than these.
    //
    // Without scratch memory, for deeper formats, or for columns that no source has, rows are left
    // to the scalar kernel.
    FastRows(const RowTable& table, const RowTask& task, bool keep, bool stream);

    ~FastRows();
    FastRows(const FastRows&) = delete;
    FastRows& operator=(const FastRows&) = delete;

    // Makes a row; or does nothing and answers false, and the scalar kernel makes it.
    bool Make(const RowTask& task);

    bool Active() const { return m_active; }

private:
    // What the across stage reads: the source row itself, or a row made from it.
    enum class Feed { Source, Levels, LevelSums, Colours, Widened };

    // One source column per output column, and what it is in the row that the across stage reads.
    struct Layout {
        int slotsPerPixel; // 1, 3 or 4
        int pixelBytes;    // of a pixel in that row
        bool halves;       // windows have two halves of four slots, one pixel each
        bool sampled;      // the row holds both samples of each output pixel, one after the other
        std::int64_t rowBytes;
        Storing storing;
    };

    bool ColumnsAreInside(const RowTask& task) const;
    void ReadTable(const RowTask& task);
    void FillGroups();
    bool Prepare(const RowTask& task);
    bool PrepareTable(const RowTask& task);
    bool ArrangeLevels(const RowTask& task);
    bool ArrangeColours(const RowTask& task);
    bool Arrange(const RowTask& task, const Layout& wanted);
    bool FillWindows(const RowTask& task, const Layout& layout);
    void FillPixels(const RowTask& task, const Layout& layout);
    std::int64_t OffsetOf(const _tagCOORDENTRY& column, int k, const Layout& layout) const;

    std::uint32_t ColourOf(int flatByte) const;
    bool ShowsGraysOnly(const unsigned char* row) const;
    void MakeByStages(const RowTask& task, const unsigned char* lower, unsigned char* out);
    void MakeByBlocks(const RowTask& task, const unsigned char* lower, unsigned char* out);
    int BlocksOf(const unsigned char* row, const unsigned char* other);
    void MixBlocks(const unsigned char* row, int place, int begin, int end);
    void MixMissing(int place, int begin, int end);

    std::uintptr_t Ahead(const unsigned char* row) const;
    const std::int32_t* Mixed(const unsigned char* row, const unsigned char* other);
    const unsigned char* FeedRow(const unsigned char* row);
    void FeedColours(const unsigned char* row, int begin, int end);
    void FeedWhole(const unsigned char* row);
    void FeedPacked(const unsigned char* row, int begin, int end);
    void FeedSampled(const unsigned char* row, int begin, int end);

    // What rows of scratch memory start at: a line of the caches.
    static constexpr std::int64_t ScratchAlignment = 64;

    struct MixedRow {
        const unsigned char* row;
        std::int32_t* mixed;
    };

    const RowTable& m_table;
    const _tagDIBPARAM& m_source;
    const _tagCOORDENTRY* const m_columns;
    const int m_count;
    const bool m_keep;
    bool m_stream;
    bool m_active = false;
    Feed m_feed = Feed::Source;
    Layout m_layout = {};
    AcrossKernel m_across = nullptr;
    AcrossPlan m_plan = {};
    MixedRow m_mixed[2] = {};
    unsigned char* m_fed = nullptr;
    unsigned char* m_finished = nullptr; // an output row on its way to memory
    bool m_byBlocks = false;
    FlatBlocks m_blocks;
    std::unique_ptr<unsigned char[]> m_scratch;
    std::uint32_t m_colours[256];
    int m_grays = 256;           // the first entries of the table that are gray
    unsigned char m_levels[256]; // the lowest channel of the colours
    unsigned char m_sums[32];    // the same as sums, where they are
    // Where a byte holds two or eight pixels: what all of them, or the four of half a byte, become.
    unsigned char m_groups[256 * 8];
    int m_groupBytes = 0;
};

} // namespace dibprep

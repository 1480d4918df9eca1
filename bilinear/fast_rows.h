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
    // source between two rows: then a row looked at once is used again.
    //
    // Without scratch memory, for deeper formats, or for columns that no source has, rows are left
    // to the scalar kernel.
    FastRows(const RowTable& table, const RowTask& task, bool keep);

    FastRows(const FastRows&) = delete;
    FastRows& operator=(const FastRows&) = delete;

    // Makes a row, and the one after it too where one is given and both are made faster at once.
    // Answers how many it has made; none are left to the scalar kernel.
    int Make(const RowTask& task, const RowTask* next = nullptr);

    bool Active() const { return m_active; }

private:
    // What the mixing stage reads: the source row itself, or a row made from it.
    enum class Feed { Source, Levels, LevelSums, Colours, Widened };

    // One source column per output column, and what it is in the row that the mixing stage reads.
    struct Layout {
        int slotsPerPixel; // 1, 3 or 4
        int pixelBytes;    // of a pixel in that row
        bool sampled;      // the row holds both samples of each output pixel, one after the other
        std::int64_t rowBytes;
        Storing storing;
    };

    // What a register takes its samples from: a wide window, one for both halves, one for each, or pixels.
    enum class Form { Wide, Shared, Halves, Pixels };

    // What is planned for a register of slots.
    struct PlannedRegister {
        WindowPicks* window;
        std::int8_t* weights;
    };

    // How registers are made up of windows.
    struct Shape {
        int slots;       // of a register
        int windowSlots; // that have the same window
        int windowBytes;

        // The slot of the row at a place of register r. Registers are narrowed to bytes half by half: where
        // each half has a window of its own, the first halves of a step become its first bytes.
        std::int64_t SlotOf(std::int64_t r, int place) const {
            if (windowSlots == slots)
                return r * slots + place;
            const std::int64_t within = r % RegistersPerStep;
            return (r - within) * slots + (place / windowSlots * RegistersPerStep + within) * windowSlots +
                   place % windowSlots;
        }
    };

    bool ColumnsAreInside(const RowTask& task) const;
    void ReadTable(const RowTask& task);
    void FillGroups();
    bool Prepare(const RowTask& task);
    bool PrepareTable(const RowTask& task);
    bool ArrangeLevels(const RowTask& task);
    bool ArrangeColours(const RowTask& task);
    bool Arrange(const RowTask& task, const Layout& wanted);
    bool Fits(const RowTask& task, const Layout& layout, Form form);
    template <class RegisterAt>
    bool FillWindows(RegisterAt registerAt, std::int64_t registers, const RowTask& task, const Shape& shape);
    const std::uint8_t* KeptPicks(const std::uint8_t* picks, int bytes);
    void FillPixels(const RowTask& task, const Layout& layout);
    std::int64_t OffsetOf(const _tagCOORDENTRY& column, int k, const Layout& layout) const;

    MixTask GroupOf(const RowTask& task, const RowTask* next) const;
    bool ShowsGraysOnly(const unsigned char* row) const;
    void Bring(const MixTask& mix, int* places);
    std::uintptr_t Ahead(const unsigned char* row) const;
    void NoteAdvance(const unsigned char* upper);
    bool ReadsInPlace() const;
    void AskAhead(MixTask& mix);
    void MakeByBlocks(const MixTask& mix, const int* places);
    void MakeRowByBlocks(const MixTask& mix, const int* places);
    std::uint32_t ColourOf(int flatByte) const;
    void MixBlocks(const MixTask& mix, const int* places, int begin, int end);
    void FeedBlocks(int place, int begin, int end);
    MixPlan PlanFrom(int pixel) const;
    void Mix(const MixPlan& plan, const MixTask& mix) const;

    void FeedRow(const unsigned char* row, unsigned char* to);
    void FeedColours(const unsigned char* row, int begin, int end, unsigned char* to);
    void FeedPacked(const unsigned char* row, int begin, int end, unsigned char* to);
    void FeedSampled(const unsigned char* row, unsigned char* to);

    // What rows of scratch memory start at: a line of the caches.
    static constexpr std::int64_t ScratchAlignment = 64;

    // A source row of which something is kept, by blocks or fed.
    struct KeptRow {
        const unsigned char* row;
        unsigned char* fed;
    };

    const RowTable& m_table;
    const _tagDIBPARAM& m_source;
    const _tagCOORDENTRY* const m_columns;
    const int m_count;
    const bool m_keep;
    bool m_active = false;
    Feed m_feed = Feed::Source;
    Layout m_layout = {};
    MixPlan m_plan = {};
    unsigned char* m_planned = nullptr; // the windows or columns that the plan points to
    std::uint8_t* m_picks = nullptr;    // few registers differ in theirs: they stay in the first cache
    int m_pickBytes = 0;
    KeptRow m_kept[MostSourceRows] = {};
    std::uintptr_t m_upper = 0;                    // the upper row of the last call
    std::uintptr_t m_advances[2] = {};             // from the one before, and from that of the call before
    std::uintptr_t m_fetched = ~std::uintptr_t{0}; // the lowest of the rows that were asked for
    bool m_byBlocks = false;
    FlatBlocks m_blocks;
    std::unique_ptr<unsigned char[]> m_scratch;
    std::uint32_t m_colours[256];
    int m_grays = 256;               // the first entries of the table that are gray
    unsigned char m_levels[3 * 256]; // the lowest channel of the colours; behind it the others, where they are used
    unsigned char m_sums[32];        // the lowest as sums, where it is
    // Where a byte holds two or eight pixels: what all of them, or the four of half a byte, become.
    unsigned char m_groups[256 * 8];
    int m_groupBytes = 0;
};

} // namespace dibprep

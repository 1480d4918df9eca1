// The walk of rows with 16-bit channels through the stages, and the table of these.
#include "bilinear/deep_rows.h"

#include "memory/scratch_limit.h"

#include <algorithm>
#include <array>
#include <limits>
#include <new>

namespace dibprep {
namespace {

DeepTable TableFor(Tier tier) {
    DeepTable table = {};
    if (tier >= Tier::Sse2)
        AddSse2DeepRows(table);
    if (tier >= Tier::Avx2)
        AddAvx2DeepRows(table);
    return table;
}

constexpr int Lowest = std::numeric_limits<std::int16_t>::min();
constexpr int Highest = std::numeric_limits<std::int16_t>::max();

// The limits as words; false where they are none, or stand in the wrong order, which the scalar kernel
// knows to treat.
bool ReadLimits(DeepLimits& limits, bool fourth) {
    if (COLOR_MAX_VALUE16 < Lowest)
        return false;
    if (fourth && (WHITE_POINT_VALUE16 < Lowest || BLACK_POINT_VALUE16 > std::min(WHITE_POINT_VALUE16, Highest)))
        return false;
    for (int i = 0; i < 4; ++i) {
        const bool point = i == 3 && fourth;
        limits.lowest[i] = static_cast<std::int16_t>(point ? std::max(BLACK_POINT_VALUE16, Lowest) : Lowest);
        limits.highest[i] =
            static_cast<std::int16_t>(std::min(point ? WHITE_POINT_VALUE16 : COLOR_MAX_VALUE16, Highest));
    }
    return true;
}

} // namespace

const DeepTable& DeepRowsFor(Tier tier) {
    static const auto tables = TablesFor(TableFor);
    return tables[static_cast<std::size_t>(tier)];
}

DeepRows::DeepRows(const DeepTable& table, const RowTask& task, bool keep)
    : m_table(table), m_source(*task.source), m_count(task.count), m_keep(keep),
      m_kind(task.source->nBitCount == 64 ? 1 : 0) {
    const int unit = m_source.nBitCount / 8;
    // Both samples are read at once: there have to be two columns.
    if ((m_source.nBitCount != 48 && m_source.nBitCount != 64) || !table.across[m_kind] || m_count < 1 ||
        task.outStep != unit || m_source.nWidth < 2 || m_source.nLineBytes < std::int64_t{m_source.nWidth} * unit)
        return;
    const std::size_t pixels = (static_cast<std::size_t>(m_count) + 3) / 4 * 4;
    constexpr std::size_t perPixel = sizeof(DeepColumn) + 2 * 4 * sizeof(std::uint32_t);
    if (pixels > MostScratchBytes / perPixel - 64)
        return;
    std::unique_ptr<unsigned char[]> scratch(new (std::nothrow) unsigned char[pixels * perPixel + 64]);
    if (!scratch)
        return;
    unsigned char* at = scratch.get() + (-reinterpret_cast<std::uintptr_t>(scratch.get()) & 63);
    for (MixedRow& row : m_mixed) {
        row.mixed = reinterpret_cast<std::uint32_t*>(at);
        at += pixels * 4 * sizeof(std::uint32_t);
    }
    m_columns = reinterpret_cast<DeepColumn*>(at);
    const std::int64_t last = std::int64_t{m_source.nWidth - 1} * unit;
    for (std::size_t k = 0; k < pixels; ++k) {
        m_columns[k] = {};
        if (k >= static_cast<std::size_t>(m_count))
            continue;
        const _tagCOORDENTRY& column = task.columns[k];
        // A caller of the kernels may have given columns that no source has.
        if (column.nOffset0 < 0 || column.nOffset0 > last || column.nOffset0 % unit != 0)
            return;
        if (column.nOffset1 == column.nOffset0 + unit && column.nOffset1 <= last)
            m_columns[k] = {
                column.nOffset0,
                {static_cast<std::int16_t>(1024 - column.nFraction), static_cast<std::int16_t>(column.nFraction)}};
        else if (column.nOffset1 != column.nOffset0)
            return;
        else if (column.nOffset0 == 0)
            m_columns[k] = {0, {1024, 0}};
        else // all the weight on the right one of two
            m_columns[k] = {column.nOffset0 - unit, {0, 1024}};
    }
    m_scratch = std::move(scratch);
}

const std::uint32_t* DeepRows::Mixed(const unsigned char* row, const unsigned char* other) {
    for (const MixedRow& kept : m_mixed)
        if (kept.row == row)
            return kept.mixed;
    MixedRow& place = m_mixed[0].row == other ? m_mixed[1] : m_mixed[0];
    place.row = row;
    // Rows are read at falling addresses.
    const std::uintptr_t ahead =
        reinterpret_cast<std::uintptr_t>(row) - 2 * static_cast<std::uintptr_t>(m_source.nLineBytes);
    m_table.across[m_kind](m_columns, (m_count + 3) / 4 * 4, row, place.mixed, ahead);
    return place.mixed;
}

bool DeepRows::Make(const RowTask& task) {
    DeepLimits limits;
    if (!Active() || !ReadLimits(limits, m_kind == 1))
        return false;
    if (!m_keep)
        m_mixed[0].row = m_mixed[1].row = nullptr;
    const unsigned char* const lower = task.fy != 0 ? task.lower : task.upper;
    const std::uint32_t* const mixedUpper = Mixed(task.upper, lower);
    const std::uint32_t* const mixedLower = Mixed(lower, task.upper);
    m_table.down[m_kind](mixedUpper, mixedLower, task.fy, limits, task.out, m_count);
    return true;
}

} // namespace dibprep

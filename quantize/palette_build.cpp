// BuildPalette with its two sorts on words instead of whole records: the same order.
#include "memory/x86/cpu_tier.h"
#include "quantize/forms.h"
#include "quantize/limits.h"
#include "quantize/record_sort.h"

#include <algorithm>

namespace dibprep {

namespace {

// Larger numbers do not fit into words that hold a record's number, too. CompareDenom takes differences
// as signed; between smaller ones it is the order of numbers.
constexpr unsigned int MostPixels = (1u << (31 - NumberBits)) - 1;

template <typename Key>
void Sort(CColorTrans2* records, int count, RecordOrder& order, Key key) {
    CColorTrans2 before[MostRecords];
    for (int i = 0; i < count; ++i) {
        before[i] = records[i];
        order[i] = static_cast<std::uint32_t>(key(records[i])) << NumberBits | static_cast<std::uint32_t>(i);
    }
    order.Sort(count);
    for (int i = 0; i < count; ++i)
        records[i] = before[order.Number(i)];
}

} // namespace

bool FastBuildPalette(CNiGoRo2& quantiser, tagRGBQUAD* table) {
    const int count = UsedRecords(quantiser);
    CColorTrans2* const records = quantiser.m_Palette;
    const Tier tier = CurrentTier();
    if (tier == Tier::Scalar ||
        std::any_of(records, records + count, [](const CColorTrans2& record) { return record.m_dwCount > MostPixels; }))
        return false;
    RecordOrder order(KernelsOf(tier));
    // The colour table lists the colours from the least to the most used.
    Sort(records, count, order, [](const CColorTrans2& record) { return record.m_dwCount; });
    for (int i = 0; i < count; ++i) {
        table[i] = records[i].m_rgb;
        records[i].m_byIndex = static_cast<unsigned char>(i);
    }
    Sort(records, count, order, [](const CColorTrans2& record) { return record.m_rgb.rgbBlue; });
    return true;
}

} // namespace dibprep

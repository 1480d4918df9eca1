// ConvertResolution: pre-conversion, size query, transform and, for colour tables, the reduction back
// to a palette.
#include "dibprep/entries.h"
#include "dibprep/quantize.h"
#include "dibprep/transform.h"
#include "memory/locked_block.h"
#include "quantize/forms.h"
#include "transform/pre_conversion.h"
#include "transform/size_rules.h"

#include <memory>
#include <new>

using namespace dibprep;

namespace {

constexpr unsigned short MemoryToMemory = TRANSFER_SOURCE_MEMORY | TRANSFER_DESTINATION_MEMORY;

// What a colour-table page is reduced to.
constexpr unsigned short MostColours = 256;
constexpr unsigned short OctreeDepth = 5;

// Replaces the 24-bit block in *result by its reduction, or by 0 when there is none; a status.
// Lists that cannot grow leave as std::bad_alloc, with the locked 24-bit block still in *result.
unsigned int ReduceColours(void** result) {
    unsigned char* const dib = *result ? static_cast<unsigned char*>(GlobalLock(*result)) : nullptr;
    void* reduced = nullptr;
    bool outOfMemory = *result && !dib;
    if (!outOfMemory) {
        // An aborted transform left no block: the quantiser makes nothing of no picture.
        const std::unique_ptr<CNiGoRo2> quantiser(new (std::nothrow) CNiGoRo2(dib, MostColours, OctreeDepth, 0));
        if (quantiser)
            reduced = QuantizeUnseen(*quantiser);
        else
            outOfMemory = true;
    }
    if (dib)
        GlobalUnlock(*result);
    if (*result)
        GlobalFree(*result);
    *result = reduced;
    // A reduction that made nothing does not change the status, by decision.
    return outOfMemory ? DIBPREP_NO_MEMORY : DIBPREP_OK;
}

} // namespace

int ConvertResolution(void* source, void** result, int (*progress)(unsigned short), unsigned short dpi, int threshold) {
    if (!result)
        return DIBPREP_NO_MEMORY;
    *result = nullptr;
    void* current = source;

    // The 24-bit intermediate is not freed on any road, by decision: it is the host's to release, who
    // finds it among the blocks made during the call. It is never 4-bit gray, so that the second
    // pre-conversion need not look at it.
    const PreConversion colour = ExpandColourTable(source);
    if (colour.status != DIBPREP_OK)
        return static_cast<int>(colour.status);
    PreConversion gray{DIBPREP_OK, nullptr};
    if (colour.block) {
        current = colour.block;
    } else {
        gray = WidenGray(source);
        if (gray.status != DIBPREP_OK)
            return static_cast<int>(gray.status);
        if (gray.block)
            current = gray.block;
    }

    unsigned int size = 0;
    unsigned int status = GetTransformImageMemorySize(MemoryToMemory, &current, dpi, &size);
    if (status != DIBPREP_OK)
        return static_cast<int>(status);
    *result = size == BeyondAnyBlock ? nullptr : GlobalAlloc(NewBlockFlags, size);
    if (!*result)
        return DIBPREP_NO_MEMORY;

    status = LinearTransformMain(MemoryToMemory, &current, result, progress, dpi, threshold);
    if (status != DIBPREP_OK) {
        GlobalFree(*result);
        *result = nullptr;
    }
    if (colour.block) {
        const unsigned int reduction = ReduceColours(result);
        if (status == DIBPREP_OK)
            status = reduction;
    }
    if (gray.block)
        GlobalFree(gray.block);
    return static_cast<int>(status);
}

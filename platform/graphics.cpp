// Rectangles, packed colours, palettes and device contexts.
#include "platform/token_table.h"

#include "memory/unaligned.h"

#include "dibprep/host.h"
#include "dibprep/hostlayer.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <new>
#include <vector>

namespace {

using dibhost::None;

struct Palette {
    tagLOGPALETTE* record = nullptr;
};

struct DeviceContext {
    std::vector<tagLOGPEN>* pens = nullptr;
};

dibhost::TokenTable<Palette, dibhost::PaletteKind, 12, 1024> palettes;
dibhost::TokenTable<DeviceContext, dibhost::DeviceContextKind, 12, 1024> contexts;
std::mutex mutex;

constexpr unsigned int PaletteVersion = 768;
constexpr std::size_t AtPaletteEntries = offsetof(tagLOGPALETTE, palPalEntry);
constexpr int Pens = 1;
constexpr int CannotEnumerate = -1;

} // namespace

extern "C" {

int SetRect(tagRECT* rect, int left, int top, int right, int bottom) {
    if (!rect)
        return 0;
    *rect = {left, top, right, bottom};
    return 1;
}

unsigned int RGB(unsigned char red, unsigned char green, unsigned char blue) {
    return red | static_cast<unsigned int>(green) << 8 | static_cast<unsigned int>(blue) << 16;
}

unsigned char GetRValue(unsigned int colour) { return static_cast<unsigned char>(colour); }
unsigned char GetGValue(unsigned int colour) { return static_cast<unsigned char>(colour >> 8); }
unsigned char GetBValue(unsigned int colour) { return static_cast<unsigned char>(colour >> 16); }

// Keeps a copy of the record; null when it is of another version, has no entries, or memory is short.
void* CreatePalette(const void* logicalPalette) {
    if (!logicalPalette || dibprep::LoadU16(logicalPalette) != PaletteVersion)
        return nullptr;
    const std::size_t entries =
        dibprep::LoadU16(static_cast<const char*>(logicalPalette) + offsetof(tagLOGPALETTE, palNumEntries));
    if (entries == 0)
        return nullptr;
    const std::size_t bytes = AtPaletteEntries + entries * sizeof(tagPALETTEENTRY);
    auto* const record = static_cast<tagLOGPALETTE*>(std::malloc(bytes));
    if (!record)
        return nullptr;
    std::memcpy(record, logicalPalette, bytes);

    const std::lock_guard<std::mutex> guard(mutex);
    const std::uint32_t index = palettes.Add();
    if (index == None) {
        std::free(record);
        return nullptr;
    }
    palettes[index].record = record;
    return palettes.TokenOf(index);
}

const tagLOGPALETTE* dibhost_palette(void* palette) {
    const std::lock_guard<std::mutex> guard(mutex);
    const std::uint32_t index = palettes.Find(palette);
    return index == None ? nullptr : palettes[index].record;
}

int dibhost_palette_delete(void* palette) {
    const std::lock_guard<std::mutex> guard(mutex);
    const std::uint32_t index = palettes.Find(palette);
    if (index == None)
        return 0;
    std::free(palettes[index].record);
    palettes.Remove(index);
    return 1;
}

void* dibhost_dc_create(void) {
    auto* const pens = new (std::nothrow) std::vector<tagLOGPEN>;
    if (!pens)
        return nullptr;
    const std::lock_guard<std::mutex> guard(mutex);
    const std::uint32_t index = contexts.Add();
    if (index == None) {
        delete pens;
        return nullptr;
    }
    contexts[index].pens = pens;
    return contexts.TokenOf(index);
}

int dibhost_dc_add_pen(void* dc, const tagLOGPEN* pen) {
    const std::lock_guard<std::mutex> guard(mutex);
    const std::uint32_t index = contexts.Find(dc);
    if (index == None || !pen)
        return 0;
    try {
        contexts[index].pens->push_back(*pen);
    } catch (const std::bad_alloc&) {
        return 0;
    }
    return 1;
}

int dibhost_dc_destroy(void* dc) {
    const std::lock_guard<std::mutex> guard(mutex);
    const std::uint32_t index = contexts.Find(dc);
    if (index == None)
        return 0;
    delete contexts[index].pens;
    contexts.Remove(index);
    return 1;
}

// 1 for a context without pens. An exception of the callback passes to the caller.
int EnumObjects(void* deviceContext, int objectType, int (*callback)(void*, intptr_t), intptr_t state) {
    if (objectType != Pens || !callback)
        return CannotEnumerate;
    std::vector<tagLOGPEN> pens;
    {
        const std::lock_guard<std::mutex> guard(mutex);
        const std::uint32_t index = contexts.Find(deviceContext);
        if (index == None)
            return CannotEnumerate;
        try {
            pens = *contexts[index].pens;
        } catch (const std::bad_alloc&) {
            return CannotEnumerate;
        }
    }
    int answer = 1;
    for (tagLOGPEN& pen : pens) {
        answer = callback(&pen, state);
        if (answer == 0)
            break;
    }
    return answer;
}

} // extern "C"

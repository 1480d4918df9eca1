// Header arithmetic of packed DIBs, and the making of new ones, of headers and of palettes.
#include "dib/layout.h"

#include "dibprep/dib.h"
#include "dibprep/host.h"
#include "dibprep/memory.h"
#include "memory/locked_block.h"

#include <algorithm>

namespace dibprep {
namespace {

constexpr std::uint64_t LargestBlock = 0xFFFFFFFF;

// 25 to 31 bits are kept as they are: only a caller that means them asks for them.
unsigned StoredBitCount(unsigned bitCount) {
    if (bitCount <= 1)
        return 1;
    if (bitCount <= 4)
        return 4;
    if (bitCount <= 8)
        return 8;
    if (bitCount <= 16)
        return 16;
    return bitCount >= 25 && bitCount <= 32 ? bitCount : 24;
}

unsigned DefaultColors(unsigned bitCount) {
    switch (bitCount) {
    case 1:
        return 2;
    case 4:
        return 16;
    case 8:
        return 256;
    default:
        return 0;
    }
}

tagBITMAPINFOHEADER PlainHeader(std::uint32_t width, std::uint32_t height, unsigned bitCount) {
    tagBITMAPINFOHEADER header{};
    header.biSize = InfoHeaderSize;
    header.biWidth = static_cast<int>(width);
    header.biHeight = static_cast<int>(height);
    header.biPlanes = 1;
    header.biBitCount = static_cast<unsigned short>(bitCount);
    header.biCompression = BI_RGB;
    return header;
}

} // namespace

std::uint64_t NewDibSize(std::uint32_t width, std::uint32_t height, unsigned bitCount) {
    if (width == 0 || height == 0)
        return 0;
    const unsigned stored = StoredBitCount(bitCount);
    const std::uint32_t head = static_cast<std::uint32_t>(InfoHeaderSize + DefaultColors(stored) * sizeof(tagRGBQUAD));
    if (static_cast<std::int32_t>(height) < 0) {
        // Callers that pass a top-down height get what 32-bit arithmetic makes of it, but never a
        // block without room for its header.
        const std::uint32_t stride = (width * stored + 31) / 32 * 4;
        const std::uint32_t size = stride * height + head;
        return size < InfoHeaderSize ? 0 : size;
    }
    const std::uint64_t stride = (std::uint64_t{width} * stored + 31) / 32 * 4;
    if (stride > LargestBlock)
        return 0;
    const std::uint64_t size = stride * height + head;
    return size > LargestBlock ? 0 : size;
}

} // namespace dibprep

using namespace dibprep;

int DIBWidth(unsigned char* dib) { return HasInfoHeader(dib) ? LoadI32(dib + AtWidth) : LoadU16(dib + 4); }

int DIBHeight(unsigned char* dib) { return HasInfoHeader(dib) ? LoadI32(dib + AtHeight) : LoadU16(dib + 6); }

unsigned short DIBBitCount(unsigned char* dib) { return LoadU16(dib + (HasInfoHeader(dib) ? AtBitCount : 10)); }

unsigned short DIBNumColors(unsigned char* dib) {
    if (HasInfoHeader(dib)) {
        // The test is on all 32 bits, the result keeps 16: 65536 colours used are none.
        const std::uint32_t used = LoadU32(dib + AtClrUsed);
        if (used != 0)
            return static_cast<unsigned short>(used);
    }
    return static_cast<unsigned short>(DefaultColors(DIBBitCount(dib)));
}

unsigned short PaletteSize(unsigned char* dib) {
    return static_cast<unsigned short>(DIBNumColors(dib) * EntryBytes(HasInfoHeader(dib)));
}

unsigned char* DIBBits(unsigned char* dib) {
    // The size word is not checked, so the sum may be any address.
    return reinterpret_cast<unsigned char*>(reinterpret_cast<std::uintptr_t>(dib) +
                                            static_cast<std::uintptr_t>(BitsOffset(dib)));
}

unsigned int DIBSize(unsigned char* dib) {
    const std::uint32_t stride = static_cast<std::uint32_t>(RowStride32(DIBWidth(dib), DIBBitCount(dib)));
    return LoadU32(dib) + PaletteSize(dib) + static_cast<std::uint32_t>(DIBHeight(dib)) * stride;
}

void* CreateDIB(unsigned int width, unsigned int height, unsigned short bitCount) {
    const std::uint64_t size = NewDibSize(width, height, bitCount);
    if (size == 0)
        return nullptr;
    const tagBITMAPINFOHEADER header = PlainHeader(width, height, StoredBitCount(bitCount));
    void* const handle = GlobalAlloc(NewBlockFlags, static_cast<std::size_t>(size));
    if (!handle)
        return nullptr;
    LockedBlock block(handle);
    if (!block) {
        GlobalFree(handle);
        return nullptr;
    }
    CopyMemory(block.data(), &header, sizeof header);
    block.Unlock();
    return handle;
}

void SetDIB(unsigned char* header, unsigned int width, unsigned int height, unsigned short bitCount) {
    // Coarser than CreateDIB on purpose: a caller that fills a header in place gets one of the
    // depths that every reader knows, and 16 bits become 24.
    unsigned stored = 4;
    if (bitCount <= 1)
        stored = 1;
    else if (bitCount > 4 && bitCount <= 8)
        stored = 8;
    else if (bitCount > 8 && bitCount <= 24)
        stored = 24;
    const tagBITMAPINFOHEADER fields = PlainHeader(width, height, stored);
    CopyMemory(header, &fields, sizeof fields);
}

void CopyColorTable(unsigned char* src, unsigned char* dst) {
    const std::uint32_t count = std::min(DIBNumColors(src), DIBNumColors(dst));
    if (count == 0)
        return;
    const bool fromInfo = HasInfoHeader(src);
    const bool toInfo = HasInfoHeader(dst);
    if (fromInfo == toInfo) {
        const std::uint64_t at = EntryOffset(fromInfo, 0);
        CopyMemory(dst + at, src + at, static_cast<std::size_t>(count * EntryBytes(fromInfo)));
        return;
    }
    // Both kinds of entries begin with blue, green, red; a reserved byte is left alone.
    for (std::uint32_t i = 0; i < count; ++i)
        CopyMemory(dst + EntryOffset(toInfo, i), src + EntryOffset(fromInfo, i), sizeof(tagRGBTRIPLE));
}

void* CreateDIBPalette(unsigned char* dib) {
    const std::uint32_t count = DIBNumColors(dib);
    if (count == 0)
        return nullptr;
    CHandle block(GlobalAlloc(NewBlockFlags, count * sizeof(tagPALETTEENTRY) + sizeof(tagLOGPALETTE)));
    if (block.IsEmpty())
        return nullptr;
    unsigned char* const palette = block;
    if (!palette)
        return nullptr;
    constexpr std::uint16_t PaletteVersion = 0x300;
    StoreU16(palette + offsetof(tagLOGPALETTE, palVersion), PaletteVersion);
    StoreU16(palette + offsetof(tagLOGPALETTE, palNumEntries), static_cast<std::uint16_t>(count));
    const bool infoHeader = HasInfoHeader(dib);
    unsigned char* to = palette + offsetof(tagLOGPALETTE, palPalEntry);
    for (std::uint32_t i = 0; i < count; ++i, to += sizeof(tagPALETTEENTRY)) {
        const unsigned char* const from = dib + EntryOffset(infoHeader, i);
        to[offsetof(tagPALETTEENTRY, peRed)] = from[offsetof(tagRGBQUAD, rgbRed)];
        to[offsetof(tagPALETTEENTRY, peGreen)] = from[offsetof(tagRGBQUAD, rgbGreen)];
        to[offsetof(tagPALETTEENTRY, peBlue)] = from[offsetof(tagRGBQUAD, rgbBlue)];
        to[offsetof(tagPALETTEENTRY, peFlags)] = 0;
    }
    return CreatePalette(palette);
}

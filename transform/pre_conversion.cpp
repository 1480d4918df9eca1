// Brings colour-table pages into a form that can be interpolated: colour indices cannot be averaged,
// so they become 24-bit colours; 4-bit gray becomes 8-bit gray.
#include "transform/pre_conversion.h"

#include "dib/depth_rows.h"
#include "dibprep/entries.h"
#include "dibprep/transform.h"
#include "memory/header_fields.h"
#include "memory/locked_block.h"
#include "memory/unaligned.h"
#include "transform/kinds.h"

#include <cstdint>
#include <cstring>

namespace dibprep {

namespace {

constexpr std::uint32_t EntryBytes = sizeof(tagRGBQUAD);
constexpr std::uint32_t FullTableBytes = 256 * EntryBytes;

// Row lengths are kept to 16 bits here, by decision: pages too wide for it are declined below.
std::uint32_t MaskedRowBytes(std::uint32_t bytes) { return (bytes + 3) & 0xFFFC; }

// The source as the pre-conversions see it. Two to the bit count entries, whatever the header says
// of the colours in use; the rows follow.
struct IndexedSource {
    LockedBlock block;
    unsigned int status; // 5 when header or table lie outside the block
    std::uint16_t bitCount = 0;
    std::uint16_t width = 0;
    std::uint16_t height = 0;
    std::uint32_t stride = 0;
    const unsigned char* table = nullptr;
    const unsigned char* rows = nullptr;
    bool gray = true;

    explicit IndexedSource(void* handle) : block(handle), status(DIBPREP_OK) {
        if (!block || !block.Holds(InfoHeaderSize)) {
            status = DIBPREP_BAD_SOURCE;
            return;
        }
        const unsigned char* const header = block.data();
        bitCount = LoadU16(header + AtBitCount);
        if (!HasTable())
            return;
        const std::uint32_t entries = 1u << bitCount;
        if (!block.Holds(InfoHeaderSize + entries * EntryBytes)) {
            status = DIBPREP_BAD_SOURCE;
            return;
        }
        width = LoadU16(header + AtWidth);
        height = LoadU16(header + AtHeight);
        stride = MaskedRowBytes(UsedRowBytes());
        table = header + InfoHeaderSize;
        rows = table + entries * EntryBytes;
        const auto* const colours = reinterpret_cast<const tagRGBQUAD*>(table);
        gray = OnlyGrays(colours, entries);
    }

    bool HasTable() const { return bitCount == 4 || bitCount == 8; }
    std::uint32_t UsedRowBytes() const { return (static_cast<std::uint32_t>(width) * bitCount + 7) >> 3; }

    // Whether the pixels can be read, and written as rows of `wanted` bytes masked to `masked`.
    unsigned int CheckRows(std::uint32_t wanted, std::uint32_t masked) const {
        if (height == 0)
            return DIBPREP_OK;
        // A row never becomes shorter: where the new rows keep all their bytes, so do the source's.
        if (masked < wanted)
            return DIBPREP_NO_MEMORY;
        const auto before = static_cast<std::uint64_t>(rows - block.data());
        const std::uint64_t end = before + (height - std::uint64_t{1}) * stride + UsedRowBytes();
        return block.Holds(end) ? DIBPREP_OK : DIBPREP_BAD_SOURCE;
    }
};

// Copies what describes the picture. The image size is the source's and no longer true, by
// decision: nothing reads it.
void PutHeader(unsigned char* to, const unsigned char* from, std::uint16_t bitCount, std::uint32_t colours) {
    std::memcpy(to, from, InfoHeaderSize);
    StoreU16(to + AtBitCount, bitCount);
    StoreU32(to + AtClrUsed, colours);
    StoreU32(to + AtClrImportant, colours);
}

} // namespace

PreConversion ExpandColourTable(void* handle) {
    const IndexedSource source(handle);
    if (source.status != DIBPREP_OK || !source.HasTable() || source.gray)
        return {source.status, nullptr};
    const std::uint32_t wanted = source.width * 3u;
    const std::uint32_t stride = MaskedRowBytes(wanted);
    if (const unsigned int status = source.CheckRows(wanted, stride))
        return {status, nullptr};

    void* const result = GlobalAlloc(NewBlockFlags, static_cast<std::size_t>(stride) * source.height + InfoHeaderSize);
    const LockedBlock block(result);
    if (!block) {
        if (result)
            GlobalFree(result);
        return {DIBPREP_NO_MEMORY, nullptr};
    }
    PutHeader(block.data(), source.block.data(), 24, 0);
    std::uint32_t colours[256];
    for (std::uint32_t i = 0; i < 1u << source.bitCount; ++i)
        colours[i] = LoadU32(source.table + i * EntryBytes) & 0xFFFFFF;
    const DepthRows& rows = DepthRowsFor(CurrentTier());
    const auto expand = source.bitCount == 8 ? rows.from8To24 : rows.from4To24;
    for (std::uint32_t y = 0; y < source.height; ++y)
        expand(block.data() + InfoHeaderSize + std::size_t{y} * stride, source.rows + std::size_t{y} * source.stride,
               source.width, colours);
    return {DIBPREP_OK, result};
}

PreConversion WidenGray(void* handle) {
    const IndexedSource source(handle);
    if (source.status != DIBPREP_OK || source.bitCount != 4 || !source.gray)
        return {source.status, nullptr};
    const std::uint32_t wanted = source.width;
    const std::uint32_t stride = MaskedRowBytes(wanted);
    if (const unsigned int status = source.CheckRows(wanted, stride))
        return {status, nullptr};

    constexpr std::uint32_t RowsAt = InfoHeaderSize + FullTableBytes;
    void* const result = GlobalAlloc(NewBlockFlags, static_cast<std::size_t>(stride) * source.height + RowsAt);
    const LockedBlock block(result);
    if (!block) {
        if (result)
            GlobalFree(result);
        return {DIBPREP_NO_MEMORY, nullptr};
    }
    // The header declares 8 colours although 256 follow: the transform reads two to the bit count.
    PutHeader(block.data(), source.block.data(), 8, 8);
    for (int level = 0; level < 256; ++level)
        std::memset(block.data() + InfoHeaderSize + level * EntryBytes, level, 3);
    for (std::uint32_t y = 0; y < source.height; ++y) {
        unsigned char* out = block.data() + RowsAt + std::size_t{y} * stride;
        const unsigned char* const row = source.rows + std::size_t{y} * source.stride;
        for (std::uint32_t x = 0; x < source.width; ++x) {
            // The high nibble holds the even column.
            const unsigned int index = x & 1 ? row[x >> 1] & 15u : row[x >> 1] >> 4;
            *out++ = source.table[index * EntryBytes];
        }
    }
    return {DIBPREP_OK, result};
}

} // namespace dibprep

namespace {

unsigned int Answer(const dibprep::PreConversion& conversion, void** result) {
    *result = conversion.block;
    return conversion.block ? 1 : 0;
}

} // namespace

unsigned int ConvertImage(void* source, void** result) {
    return result ? Answer(dibprep::ExpandColourTable(source), result) : 0;
}

unsigned int ConvertImage2(void* source, void** result) {
    return result ? Answer(dibprep::WidenGray(source), result) : 0;
}

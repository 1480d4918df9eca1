// One picture as the tool holds it.
#include "tools/page.h"

#include "dibprep/host.h"
#include "memory/header_fields.h"
#include "memory/locked_block.h"
#include "memory/unaligned.h"
#include "tools/tool_error.h"

#include <algorithm>
#include <utility>

namespace dibprep::tool {

namespace {

// Blocks of the library are named by 32-bit sizes.
constexpr std::uint64_t LargestBlock = 0xFFFFFFFFu;

std::string MegaBytes(std::uint64_t bytes) { return std::to_string((bytes + 999999) / 1000000) + " MB"; }

} // namespace

Block::Block(std::uint64_t bytes) {
    if (bytes > LargestBlock)
        throw ToolError(ExitLimit, "The picture needs " + MegaBytes(bytes) +
                                       " in one block of memory; the limit is 4294 MB. Cut it into parts.");
    m_handle = GlobalAlloc(NewBlockFlags, static_cast<std::size_t>(bytes));
    m_data = m_handle ? static_cast<unsigned char*>(GlobalLock(m_handle)) : nullptr;
    if (m_data)
        return;
    if (m_handle)
        GlobalFree(m_handle);
    throw ToolError(ExitLimit, "Out of memory: a block of " + MegaBytes(bytes) + " is not to be had.");
}

Block Block::Adopt(void* handle) {
    Block block;
    block.m_handle = handle;
    block.m_data = handle ? static_cast<unsigned char*>(GlobalLock(handle)) : nullptr;
    if (!block.m_data)
        throw ToolError(ExitLimit, "Out of memory: a block of memory could not be locked.");
    return block;
}

Block::~Block() {
    if (m_data)
        GlobalUnlock(m_handle);
    if (m_handle)
        GlobalFree(m_handle);
}

Block::Block(Block&& other) noexcept
    : m_handle(std::exchange(other.m_handle, nullptr)), m_data(std::exchange(other.m_data, nullptr)) {}

Block& Block::operator=(Block&& other) noexcept {
    std::swap(m_handle, other.m_handle);
    std::swap(m_data, other.m_data);
    return *this;
}

std::size_t Block::size() const { return m_handle ? GlobalSize(m_handle) : 0; }

std::uint64_t RowBytes(std::uint64_t width, int bits) { return (width * static_cast<unsigned>(bits) + 31) / 32 * 4; }

unsigned FullTable(int bits) { return bits <= 8 ? 1u << bits : 0; }

void WriteHeader(unsigned char* header, std::int32_t width, std::int32_t height, int bits) {
    std::fill_n(header, InfoHeaderSize, static_cast<unsigned char>(0));
    StoreU32(header + AtSize, InfoHeaderSize);
    StoreU32(header + AtWidth, static_cast<std::uint32_t>(width));
    StoreU32(header + AtHeight, static_cast<std::uint32_t>(height));
    StoreU16(header + AtPlanes, 1);
    StoreU16(header + AtBitCount, static_cast<std::uint16_t>(bits));
}

Page::Page(std::uint64_t width, std::uint64_t height, int bits)
    : m_block(InfoHeaderSize + 4 * FullTable(bits) + RowBytes(width, bits) * height),
      m_rowSize(static_cast<std::size_t>(RowBytes(width, bits))),
      m_rows(m_block.data() + InfoHeaderSize + 4 * FullTable(bits)), m_colours(FullTable(bits)) {
    WriteHeader(m_block.data(), static_cast<std::int32_t>(width), static_cast<std::int32_t>(height), bits);
}

Page Page::Adopt(void* handle) {
    Page page;
    page.m_block = Block::Adopt(handle);
    const unsigned char* header = page.dib();
    const std::size_t size = page.m_block.size();
    const int bits = size >= InfoHeaderSize ? LoadU16(header + AtBitCount) : 0;
    const std::uint64_t table = 4 * FullTable(bits);
    if (size >= InfoHeaderSize && page.Width() > 0 && page.Height() > 0) {
        const auto width = static_cast<std::uint64_t>(page.Width());
        const auto height = static_cast<std::uint64_t>(page.Height());
        page.m_rowSize = static_cast<std::size_t>(RowBytes(width, bits));
        if (InfoHeaderSize + table + RowBytes(width, bits) * height <= size) {
            page.m_rows = page.m_block.data() + InfoHeaderSize + table;
            page.m_colours = FullTable(bits);
            return page;
        }
    }
    throw ToolError(ExitLimit, "The library returned a picture that does not fit into its block.");
}

int Page::Width() const { return LoadI32(dib() + AtWidth); }
int Page::Height() const { return LoadI32(dib() + AtHeight); }
int Page::Bits() const { return LoadU16(dib() + AtBitCount); }

unsigned Page::IndexAt(const unsigned char* row, int x) const {
    const int bits = Bits();
    const int perByte = 8 / bits;
    const int shift = (perByte - 1 - x % perByte) * bits;
    return static_cast<unsigned>(row[x / perByte]) >> shift & ((1u << bits) - 1);
}

tagRGBQUAD Page::Colour(unsigned index) const {
    const unsigned char* entry = dib() + InfoHeaderSize + 4 * index;
    return {entry[0], entry[1], entry[2], 0};
}

void Page::SetColour(unsigned index, tagRGBQUAD colour) {
    unsigned char* entry = dib() + InfoHeaderSize + 4 * index;
    entry[0] = colour.rgbBlue;
    entry[1] = colour.rgbGreen;
    entry[2] = colour.rgbRed;
    entry[3] = 0;
}

void Page::TrimColours() {
    if (Bits() > 8)
        return;
    unsigned highest = 0;
    for (int y = 0; y < Height() && highest + 1 < FullTable(Bits()); ++y) {
        const unsigned char* row = StoredRow(y);
        for (int x = 0; x < Width(); ++x)
            highest = std::max(highest, IndexAt(row, x));
    }
    m_colours = highest + 1;
}

bool Page::IsGray() const {
    for (unsigned i = 0; i < FullTable(Bits()); ++i) {
        const tagRGBQUAD c = Colour(i);
        if (c.rgbBlue != c.rgbGreen || c.rgbGreen != c.rgbRed)
            return false;
    }
    return true;
}

bool IsGray(const std::vector<tagRGBQUAD>& colours) {
    return std::all_of(colours.begin(), colours.end(),
                       [](const tagRGBQUAD& c) { return c.rgbBlue == c.rgbGreen && c.rgbGreen == c.rgbRed; });
}

std::int32_t Page::PixelsPerMetreX() const { return LoadI32(dib() + AtXPelsPerMeter); }
std::int32_t Page::PixelsPerMetreY() const { return LoadI32(dib() + AtYPelsPerMeter); }

void Page::SetResolution(std::int32_t x, std::int32_t y) {
    StoreU32(dib() + AtXPelsPerMeter, static_cast<std::uint32_t>(x));
    StoreU32(dib() + AtYPelsPerMeter, static_cast<std::uint32_t>(y));
}

} // namespace dibprep::tool

// Where the blocks lie in a row, and which bytes stand for one colour.
#include "bilinear/flat_blocks.h"

#include <algorithm>
#include <new>

namespace dibprep {
namespace {

// A kernel compares the bytes of a block with their neighbours: 16 pairs, 17 bytes.
constexpr int LookedAt = 17;

// Whether all pixels in a byte are the same.
bool IsFlat(int byte, int bits) {
    return bits == 8 || (bits == 4 ? byte >> 4 == (byte & 0xF) : byte == 0 || byte == 0xFF);
}

} // namespace

bool FlatBlocks::Plan(const RowTask& task) {
    const _tagDIBPARAM& source = *task.source;
    if (source.nLineBytes < LookedAt)
        return false;
    m_bits = source.nBitCount;
    m_count = task.count / PixelsPerBlock + (task.count % PixelsPerBlock != 0);
    m_blocks.reset(new (std::nothrow) FlatBlock[Size()]);
    m_kinds.reset(new (std::nothrow) std::int16_t[Size() * 2]);
    if (!m_blocks || !m_kinds)
        return false;
    for (int i = 0; i < m_count; ++i) {
        const int first = i * PixelsPerBlock;
        const int last = std::min(first + PixelsPerBlock, task.count) - 1;
        FlatBlock& block = m_blocks[static_cast<std::size_t>(i)];
        block.begin = task.columns[first].nOffset0;
        const int lastColumn = std::max(task.columns[last].nOffset0, task.columns[last].nOffset1);
        block.end = lastColumn + 1;
        // Whole bytes: a neighbour of the block's pixels in its first or last byte is looked at too.
        const int firstByte = block.begin / source.nPixelsPerByte;
        const int pairs = lastColumn / source.nPixelsPerByte - firstByte;
        if (pairs >= LookedAt)
            return false;
        block.start = std::min(firstByte, source.nLineBytes - LookedAt);
        block.first = firstByte;
        block.pairs = ((1u << pairs) - 1) << (firstByte - block.start);
    }
    return true;
}

void FlatBlocks::Look(FlatKernel kernel, const unsigned char* row, int place, std::uintptr_t ahead) {
    std::int16_t* const kinds = Kinds(place);
    kernel(row, m_blocks.get(), m_count, kinds, ahead);
    if (m_bits == 8)
        return;
    for (int i = 0; i < m_count; ++i)
        if (kinds[i] != Mixed && !IsFlat(kinds[i], m_bits))
            kinds[i] = Mixed;
}

} // namespace dibprep

// Where the blocks lie in a row, and which stretches of them have one colour.
#include "bilinear/flat_blocks.h"

#include <algorithm>
#include <new>

namespace dibprep {
namespace {

// A row in which more than one byte of these differs from the next one is taken as a whole: its blocks
// of one colour, if any, are too few to look for.
constexpr int BytesPerChange = 8;

// Shorter stretches of one colour, in output pixels, cost more to set apart than to mix.
constexpr int LeastStretch = 16;

// Whether all pixels in a byte are the same.
bool IsFlat(int byte, int bits) {
    return bits == 8 || (bits == 4 ? byte >> 4 == (byte & 0xF) : byte == 0 || byte == 0xFF);
}

int LowestBit(std::uint32_t word) { return __builtin_ctz(word); }

} // namespace

bool FlatBlocks::Plan(const RowTask& task, int pixelsPerBlock) {
    const _tagDIBPARAM& source = *task.source;
    m_bits = source.nBitCount;
    m_pixels = pixelsPerBlock;
    m_count = task.count / m_pixels + (task.count % m_pixels != 0);
    m_blocks.reset(new (std::nothrow) Block[Size()]);
    m_runs.reset(new (std::nothrow) Run[Size() * Places]);
    m_fed.reset(new (std::nothrow) unsigned char[Size() * Places]);
    m_changes.reset(new (std::nothrow) std::uint32_t[static_cast<std::size_t>(source.nLineBytes / 32 + 2)]);
    if (!m_blocks || !m_runs || !m_fed || !m_changes)
        return false;
    for (int i = 0; i < m_count; ++i) {
        const int first = i * m_pixels;
        const int last = std::min(first + m_pixels, task.count) - 1;
        Block& block = m_blocks[static_cast<std::size_t>(i)];
        block.begin = task.columns[first].nOffset0;
        const int lastColumn = std::max(task.columns[last].nOffset0, task.columns[last].nOffset1);
        block.end = lastColumn + 1;
        // Whole bytes: a neighbour of the block's pixels in its first or last byte is looked at too.
        block.firstByte = block.begin / source.nPixelsPerByte;
        block.lastByte = lastColumn / source.nPixelsPerByte;
    }
    m_bytes = m_blocks[Size() - 1].lastByte + 1;
    return m_bytes >= LeastCompared;
}

// The first byte from this one on that differs from the next; the last byte of the row does.
int FlatBlocks::NextChange(int byte) const {
    std::size_t word = static_cast<std::size_t>(byte) / 32;
    std::uint32_t changes = m_changes[word] >> byte % 32;
    if (changes != 0)
        return byte + LowestBit(changes);
    do
        changes = m_changes[++word];
    while (changes == 0);
    return static_cast<int>(word) * 32 + LowestBit(changes);
}

// Blocks up to `end` of a kind: a run of their own, or the end of the last one.
FlatBlocks::Run* FlatBlocks::Append(Run* runs, Run* last, int end, int kind) {
    if (last == runs || last[-1].kind != kind)
        (last++)->kind = kind;
    last[-1].end = end;
    return last;
}

void FlatBlocks::Look(ChangeKernel kernel, const unsigned char* row, int place, std::uintptr_t ahead) {
    Run* const runs = m_runs.get() + static_cast<std::size_t>(place) * Size();
    SetFed(place, 0, m_count, false);
    const int changes = kernel(row, m_bytes, m_changes.get(), ahead);
    if (changes > m_bytes / BytesPerChange) {
        runs[0] = {m_count, Mixed};
        return;
    }
    // Behind the last pair.
    m_changes[static_cast<std::size_t>(m_bytes + 30) / 32] = ~0u;
    Run* last = runs;
    for (int begin = 0, end; begin < m_count; begin = end) {
        const int change = NextChange(m_blocks[static_cast<std::size_t>(begin)].firstByte);
        end = begin;
        if (change >= m_bytes - 1)
            end = m_count;
        else
            while (m_blocks[static_cast<std::size_t>(end)].lastByte <= change)
                ++end;
        const int kind = row[m_blocks[static_cast<std::size_t>(begin)].firstByte];
        if ((end - begin) * m_pixels >= LeastStretch && IsFlat(kind, m_bits)) {
            last = Append(runs, last, end, kind);
        } else {
            end = std::max(end, begin + 1);
            last = Append(runs, last, end, Mixed);
        }
    }
}

} // namespace dibprep

// The kernels: one walk over the output rows, shared by all formats, around the row kernel of the
// format and its fast form.
#include "bilinear/deep_rows.h"
#include "bilinear/fast_rows.h"
#include "bilinear/layout.h"
#include "bilinear/row.h"
#include "dibprep/bilinear.h"

#include <algorithm>
#include <memory>

using namespace dibprep;

namespace {

// Results from this size on are written past the caches: the first rows would have left them anyway
// before the last are made.
constexpr std::int64_t StreamedBytes = 4 << 20;

// What a member gets, and how its format differs from the others.
struct Job {
    CConvertResolution& object;
    const _tagDIBPARAM& source;
    const tagRECT& frame;
    const tagRECT& clip;
    const _tagDIBPARAM& destination;
    int (*progress)(int, int);
    RowKernel makeRow;
    int lowerRowBack; // bytes from the upper row back to the lower one
};

// The table of a DIB ends with the DIB, behind its last row. One that stands elsewhere is taken to
// be complete: only a record that was not filled from a DIB has such.
ColourTable TableOf(const _tagDIBPARAM& source) {
    const auto* const table = reinterpret_cast<const unsigned char*>(source.pColorTable);
    if (!source.pHeader || table != reinterpret_cast<const unsigned char*>(source.pHeader) + InfoHeaderSize)
        return {table, 256};
    const std::uint64_t end = std::uint64_t{reinterpret_cast<std::uintptr_t>(source.pBits)} +
                              static_cast<std::uint64_t>(std::int64_t{source.nLineBytes} * source.nHeight);
    const std::uint64_t start = reinterpret_cast<std::uintptr_t>(table);
    const std::uint64_t entries = end > start ? (end - start) / sizeof(tagRGBQUAD) : 0;
    return {table, static_cast<std::uint32_t>(std::min<std::uint64_t>(entries, 256))};
}

// Row `r` counted from the top of bottom-up rows.
unsigned char* RowFromTop(const _tagDIBPARAM& dib, int r) {
    return dib.pBits + static_cast<std::size_t>(dib.nHeight - 1 - r) * static_cast<std::size_t>(dib.nLineBytes);
}

int Run(const Job& job) {
    const _tagDIBPARAM& source = job.source;
    // The frame fixes the scale, whatever part of it is made.
    const tagSIZE target = {WrapSubtract(job.frame.right, job.frame.left),
                            WrapSubtract(job.frame.bottom, job.frame.top)};
    const tagSIZE step = job.object.GetCoordUnit(source, target);
    if (target.cx == 0 || target.cy == 0)
        return 0; // no scale; recorded

    const int count = WrapSubtract(job.clip.right, job.clip.left);
    const std::unique_ptr<_tagCOORDENTRY[]> columns(
        job.object.GetCoordTable(source, WrapSubtract(job.clip.left, job.frame.left), step.cx, count));
    if (!columns) {
        job.object.m_nLastError = ErrorMemory;
        return 0;
    }

    const int rows = WrapSubtract(job.clip.bottom, job.clip.top);
    RowTask task = {};
    task.columns = columns.get();
    task.count = count;
    task.outStep = job.destination.nBytesPerPixel;
    task.source = &source;
    task.table = TableOf(source);
    // A callback may read the rows, best from a cache.
    const bool stream = !job.progress && std::int64_t{count} * task.outStep * rows >= StreamedBytes;
    FastRows fast(RowsFor(CurrentTier()), task, !job.progress, stream);
    DeepRows deep(DeepRowsFor(CurrentTier()), task, !job.progress);

    std::int32_t y = WrapMultiply(WrapSubtract(job.clip.top, job.frame.top), step.cy);
    for (int i = 0; i < rows; ++i, y = WrapAdd(y, step.cy)) {
        // A clip without columns needs no row of either picture, yet counts its rows.
        if (count > 0) {
            const int r = y >> 15;
            task.fy = (y >> 5) & 0x3FF;
            task.upper = RowFromTop(source, r);
            task.lower = r < source.nHeight - 1 ? task.upper - job.lowerRowBack : task.upper;
            task.out = RowFromTop(job.destination, i);
            if (!fast.Make(task) && !deep.Make(task))
                job.makeRow(task);
        }
        // Exactly the rows reported are written: nothing works ahead of the callback.
        if (job.progress && job.progress(i + 1, rows) == 0) {
            job.object.m_nLastError = ErrorCancelled;
            return 0;
        }
    }
    return 1;
}

} // namespace

int CConvertResolution::BiLinearSmallBits(const _tagDIBPARAM& source, const tagRECT* frame, const tagRECT* clip,
                                          _tagDIBPARAM& destination, int (*progress)(int, int)) {
    return Run({*this, source, *frame, *clip, destination, progress, ScalarRowSmallBits, source.nLineBytes});
}

int CConvertResolution::BiLinear8(const _tagDIBPARAM& source, const tagRECT* frame, const tagRECT* clip,
                                  _tagDIBPARAM& destination, int (*progress)(int, int)) {
    return Run({*this, source, *frame, *clip, destination, progress, ScalarRow8, source.nLineBytes});
}

// The lower samples of 16-bit pictures are deliberately not those of the next row but the left
// neighbours in the same row: two bytes back. For the first column these are the last two bytes of
// the row before in memory, its padding included. Kept by decision.
int CConvertResolution::BiLinear16(const _tagDIBPARAM& source, const tagRECT* frame, const tagRECT* clip,
                                   _tagDIBPARAM& destination, int (*progress)(int, int)) {
    return Run({*this, source, *frame, *clip, destination, progress, ScalarRow16, source.nBytesPerPixel});
}

int CConvertResolution::BiLinear24(const _tagDIBPARAM& source, const tagRECT* frame, const tagRECT* clip,
                                   _tagDIBPARAM& destination, int (*progress)(int, int)) {
    return Run({*this, source, *frame, *clip, destination, progress, ScalarRow24, source.nLineBytes});
}

int CConvertResolution::BiLinear32(const _tagDIBPARAM& source, const tagRECT* frame, const tagRECT* clip,
                                   _tagDIBPARAM& destination, int (*progress)(int, int)) {
    return Run({*this, source, *frame, *clip, destination, progress, ScalarRow32, source.nLineBytes});
}

int CConvertResolution::BiLinear48(const _tagDIBPARAM& source, const tagRECT* frame, const tagRECT* clip,
                                   _tagDIBPARAM& destination, int (*progress)(int, int)) {
    return Run({*this, source, *frame, *clip, destination, progress, ScalarRow48, source.nLineBytes});
}

int CConvertResolution::BiLinear64(const _tagDIBPARAM& source, const tagRECT* frame, const tagRECT* clip,
                                   _tagDIBPARAM& destination, int (*progress)(int, int)) {
    return Run({*this, source, *frame, *clip, destination, progress, ScalarRow64, source.nLineBytes});
}

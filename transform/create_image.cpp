// The row loop of the transform: scratch rows, column map, dispatch to the line builders, progress.
#include "dibprep/entries.h"
#include "memory/locked_block.h"
#include "transform/kinds.h"
#include "transform/row_road.h"
#include "transform/sampling.h"
#include "transform/transfer_io.h"

#include <algorithm>
#include <cstring>
#include <new>

using namespace dibprep;

namespace {

constexpr int LastPercent = 99;
constexpr int NoPercentYet = 1000;

// Makes and locks one scratch block. An empty one need not have an address.
bool OpenScratch(std::uint32_t bytes, void*& block, unsigned char*& address) {
    block = GlobalAlloc(NewBlockFlags, bytes);
    if (!block)
        return false;
    address = static_cast<unsigned char*>(GlobalLock(block));
    return address || bytes == 0;
}

void CloseScratch(void*& block, unsigned char*& address) {
    if (!block)
        return;
    if (address)
        GlobalUnlock(block);
    GlobalFree(block);
    block = nullptr;
    address = nullptr;
}

void BuildRow(CLinearTransformMem& engine, double fy, unsigned char* row0, unsigned char* row1, unsigned char* out) {
    switch (engine.kind) {
    case KindBlackWhite:
        engine.MakeBWImageLine(fy, row0, row1, out);
        break;
    case KindGray8:
        engine.Make8bitGrayImageLine(fy, row0, row1, out);
        break;
    case KindColourTable8:
        engine.Make8bitPaletteColorImageLine(fy, row0, row1, out);
        break;
    default: // KindTrueColour, the last of the kinds that have rows
        engine.MakeRGBColorImageLine(fy, row0, row1, out);
        break;
    }
}

// Builds and stores output row y; a status.
int ProduceRow(CLinearTransformMem& engine, unsigned int y) {
    const bool toFile = IsFile(*engine.destination);
    const std::uint64_t outOffset = engine.outBitsOffset + std::uint64_t{y} * engine.outStride;
    if (BuildsRows(engine.kind) && engine.outWidth > 0) {
        const SamplePair rows = PairAt(y, engine.ratioY, engine.srcHeight);
        unsigned char* row0 = engine.line0;
        unsigned char* row1 = engine.line1;
        if (IsFile(*engine.source)) {
            if (!engine.GetImageLine(rows.first, row0) || !engine.GetImageLine(rows.second, row1))
                return DIBPREP_BAD_SOURCE;
        } else {
            unsigned char* const first = engine.source->data + engine.srcBitsOffset;
            row0 = first + std::size_t{rows.first} * engine.srcStride;
            row1 = first + std::size_t{rows.second} * engine.srcStride;
        }
        // The 1-bit builder only sets bits; a memory destination is zero already.
        if (toFile)
            std::memset(engine.outLine, 0, engine.outStride);
        BuildRow(engine, rows.fraction, row0, row1,
                 toFile ? engine.outLine : engine.destination->data + static_cast<std::size_t>(outOffset));
    }
    // A file gets every row, zeros where the kind builds none, so that it has its full length.
    if (toFile && engine.outStride > 0 &&
        (!SeekFile(*engine.destination, outOffset) || !Write(*engine.destination, engine.outLine, engine.outStride)))
        return DIBPREP_BAD_OUTPUT;
    return DIBPREP_OK;
}

bool MapColumns(CLinearTransformMem& engine) {
    try {
        engine.positions.resize(engine.outWidth);
        const double ratio = engine.ratioX;
        const unsigned short extent = engine.srcWidth;
        unsigned int x = 0;
        for (CPosition& at : engine.positions) {
            const SamplePair columns = PairAt(x++, ratio, extent);
            at = {columns.fraction, columns.first, columns.second, static_cast<unsigned short>(columns.first >> 3),
                  static_cast<unsigned short>(columns.second >> 3)};
        }
    } catch (const std::bad_alloc&) {
        return false;
    }
    return true;
}

} // namespace

unsigned int CLinearTransformMem::OpenImage(unsigned short) {
    // What was made before a failure stays recorded: CloseImage frees it.
    if (!OpenScratch(srcStride * 2, lineBlock, line0))
        return DIBPREP_NO_MEMORY;
    line1 = line0 ? line0 + srcStride : nullptr;
    return OpenScratch(outStride, outLineBlock, outLine) ? DIBPREP_OK : DIBPREP_NO_MEMORY;
}

void CLinearTransformMem::CloseImage(unsigned short) {
    CloseScratch(lineBlock, line0);
    line1 = nullptr;
    CloseScratch(outLineBlock, outLine);
}

int CLinearTransformMem::CreateImage(unsigned short transferMode, int blackWhiteThreshold) {
    return BuildImage(*this, transferMode, blackWhiteThreshold, RowRoad::LineBuilders);
}

int dibprep::BuildImage(CLinearTransformMem& engine, unsigned short transferMode, int blackWhiteThreshold,
                        RowRoad road) {
    engine.threshold = blackWhiteThreshold;
    if (!engine.source || !engine.destination)
        return engine.source ? DIBPREP_BAD_OUTPUT : DIBPREP_BAD_SOURCE;
    int status = static_cast<int>(engine.OpenImage(transferMode));
    if (status == DIBPREP_OK && !MapColumns(engine))
        status = DIBPREP_NO_MEMORY;
    PipelineRows rows;
    const bool fast = road == RowRoad::Fast && status == DIBPREP_OK && rows.Prepare(engine);
    int reported = NoPercentYet;
    for (unsigned int y = 0; y < engine.outHeight && status == DIBPREP_OK; ++y) {
        if (!fast || !rows.Build(engine, y))
            status = ProduceRow(engine, y);
        if (status != DIBPREP_OK)
            break;
        const int percent = std::min(static_cast<int>(y * 100 / engine.outHeight), LastPercent);
        if (percent != reported) {
            reported = percent;
            if (engine.progress) {
                if (engine.progress(static_cast<unsigned short>(percent)) == 0)
                    status = DIBPREP_ABORTED;
                rows.Forget();
            }
        }
    }
    engine.CloseImage(transferMode);
    return status;
}

int CLinearTransformMem::GetImageLine(unsigned short line, unsigned char* buffer) {
    if (!source)
        return 0;
    const std::uint64_t offset = srcBitsOffset + std::uint64_t{line} * srcStride;
    if (IsFile(*source)) {
        if (!SeekFile(*source, offset))
            return 0;
    } else {
        // The cursor has 32 bits, whatever lies behind a plain address.
        if (!Holds(*source, offset + srcStride) || offset + srcStride > 0xFFFFFFFFu)
            return 0;
        source->position = static_cast<unsigned int>(offset);
    }
    return Read(*source, buffer, srcStride) ? 1 : 0;
}

// The transform from the source header to the decision to build rows: LinearTransformMain and the
// members of CLinearTransformMem that read and classify the source.
#include "dibprep/entries.h"
#include "memory/header_fields.h"
#include "memory/unaligned.h"
#include "transform/kinds.h"
#include "transform/row_road.h"
#include "transform/sampling.h"
#include "transform/size_rules.h"
#include "transform/transfer_io.h"

#include <algorithm>
#include <cstring>

using namespace dibprep;

namespace {

constexpr std::uint32_t StoredEntries = 256;
constexpr std::uint32_t EntryBytes = sizeof(tagRGBQUAD);

// Whether every row that the builders will read lies inside the source block. The rows grow with
// the output row, so the second neighbour of the last output row is the farthest.
bool SourceRowsLieInside(const CLinearTransformMem& engine) {
    if (IsFile(*engine.source) || engine.outWidth == 0 || engine.outHeight == 0)
        return true;
    const SamplePair last = PairAt(engine.outHeight - 1u, engine.ratioY, engine.srcHeight);
    const std::uint64_t firstRow = InfoHeaderSize + std::uint64_t{TableEntries(engine.srcBitCount)} * EntryBytes;
    return Holds(*engine.source, firstRow + (last.second + std::uint64_t{1}) * engine.srcStride);
}

// Steps over the table entries that the transform has no place for (bit counts 9 to 15).
bool SkipEntries(CBufTransfer& source, std::uint32_t entries) {
    unsigned char discarded[StoredEntries * EntryBytes];
    while (entries > 0) {
        const std::uint32_t part = std::min(entries, StoredEntries);
        if (!Read(source, discarded, part * EntryBytes))
            return false;
        entries -= part;
    }
    return true;
}

} // namespace

CLinearTransformMem::CLinearTransformMem()
    : mode(0), threshold(0), sourcePalette(), grayHistogram(), ratioX(0), ratioY(0), progress(nullptr),
      lineBlock(nullptr), outLineBlock(nullptr), line0(nullptr), line1(nullptr), outLine(nullptr), source(nullptr),
      srcBitsOffset(0), srcDpiX(0), srcDpiY(0), srcStride(0), srcWidth(0), srcHeight(0), srcBitCount(0), kind(KindNone),
      destination(nullptr), outBitsOffset(0), outDpiX(0), outDpiY(0), outStride(0), outWidth(0), outHeight(0),
      outBitCount(0), outKind(KindNone) {}

// A callback that throws passes CreateImage by: the scratch rows go here.
CLinearTransformMem::~CLinearTransformMem() { CloseImage(mode); }

unsigned int LinearTransformMain(unsigned short mode, const void* source, void* destination,
                                 int (*progress)(unsigned short), unsigned short dpi, int threshold) {
    // Released in the opposite order: destination, source, engine.
    CLinearTransformMem engine;
    CBufTransfer from(const_cast<void*>(source), SourceType(mode), 0);
    CBufTransfer to(destination, DestinationType(mode), 1);
    engine.source = &from;
    engine.destination = &to;
    return static_cast<unsigned int>(RunTransform(engine, mode, progress, dpi, threshold, RowRoad::Fast));
}

int CLinearTransformMem::LinearTransform(unsigned short transferMode, int (*callback)(unsigned short),
                                         unsigned short dpi, int blackWhiteThreshold) {
    // Hosts see this object: its rows come from its own builders, with all their traces.
    return RunTransform(*this, transferMode, callback, dpi, blackWhiteThreshold, RowRoad::LineBuilders);
}

int dibprep::RunTransform(CLinearTransformMem& engine, unsigned short mode, int (*progress)(unsigned short),
                          unsigned short dpi, int threshold, RowRoad road) {
    engine.progress = progress;
    engine.mode = mode;
    engine.threshold = threshold;
    if (const int status = engine.GetSourceImageInfo())
        return status;
    if (engine.srcDpiX == 0 || engine.srcDpiY == 0)
        return DIBPREP_NO_RESOLUTION;

    engine.outDpiX = engine.outDpiY = dpi;
    engine.ratioX = static_cast<double>(dpi) / engine.srcDpiX;
    engine.ratioY = static_cast<double>(dpi) / engine.srcDpiY;
    engine.outWidth = OutputExtent(dpi, engine.srcWidth, engine.srcDpiX);
    engine.outHeight = OutputExtent(dpi, engine.srcHeight, engine.srcDpiY);
    engine.outBitCount = engine.srcBitCount;
    engine.outKind = engine.kind;
    engine.outStride = RowBytes(engine.outBitCount, engine.outWidth);
    if (BuildsRows(engine.kind) && !SourceRowsLieInside(engine))
        return DIBPREP_BAD_SOURCE;

    if (const int status = engine.CreateOutputData())
        return status;
    return BuildImage(engine, engine.mode, engine.threshold, road);
}

int CLinearTransformMem::GetSourceImageInfo() {
    if (!source)
        return DIBPREP_BAD_SOURCE;
    unsigned char fileHeader[sizeof(tagBITMAPFILEHEADER)];
    unsigned char header[InfoHeaderSize];
    if (IsFile(*source)) {
        // Neither the file's mark nor its offset of the pixels is looked at: the pixels are taken to
        // follow the table, by decision.
        if (!Read(*source, fileHeader, sizeof fileHeader))
            return DIBPREP_BAD_SOURCE;
    } else {
        source->position = 0;
    }
    if (!Read(*source, header, sizeof header))
        return DIBPREP_BAD_SOURCE;
    srcWidth = LoadU16(header + AtWidth);
    srcHeight = LoadU16(header + AtHeight);
    srcBitCount = LoadU16(header + AtBitCount);
    srcDpiX = DotsPerInch(LoadI32(header + AtXPelsPerMeter));
    srcDpiY = DotsPerInch(LoadI32(header + AtYPelsPerMeter));
    srcStride = RowBytes(srcBitCount, srcWidth);

    const std::uint32_t entries = TableEntries(srcBitCount);
    const std::uint32_t kept = std::min(entries, StoredEntries);
    unsigned char table[StoredEntries * EntryBytes];
    if ((kept > 0 && !Read(*source, table, kept * EntryBytes)) || !SkipEntries(*source, entries - kept))
        return DIBPREP_BAD_SOURCE;
    for (std::uint32_t i = 0; i < kept; ++i) // the reserved byte is always 0
        StoreU32(sourcePalette + i, LoadU32(table + i * EntryBytes) & 0xFFFFFF);
    srcBitsOffset = static_cast<unsigned short>(source->position);

    switch (srcBitCount) {
    case 1:
        kind = KindBlackWhite;
        break;
    case 4:
        kind = IsGrayImage() ? KindGray4 : KindNone;
        break;
    case 8:
        kind = IsGrayImage() ? KindGray8 : KindColourTable8;
        break;
    case 24:
        kind = KindTrueColour;
        break;
    default:
        kind = KindNone;
        break;
    }
    return DIBPREP_OK;
}

int CLinearTransformMem::IsGrayImage() { return OnlyGrays(sourcePalette, StoredEntries) ? 1 : 0; }

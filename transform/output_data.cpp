// What stands in front of the output rows: headers and the colour table of the kind.
#include "dibprep/entries.h"
#include "memory/header_fields.h"
#include "memory/unaligned.h"
#include "transform/kinds.h"
#include "transform/size_rules.h"
#include "transform/transfer_io.h"

#include <cstring>

using namespace dibprep;

namespace {

constexpr std::uint16_t BitmapFileMark = 0x4D42; // "BM"
constexpr std::uint32_t FileHeaderSize = sizeof(tagBITMAPFILEHEADER);
constexpr std::uint32_t BothHeaders = FileHeaderSize + InfoHeaderSize;
constexpr std::uint32_t EntryBytes = sizeof(tagRGBQUAD);

// Colours that the header declares; the table that is written can be shorter (see WrittenEntries).
std::uint32_t DeclaredColours(std::uint16_t bitCount) {
    return bitCount == 1 || bitCount == 4 || bitCount == 8 ? 1u << bitCount : 0;
}

// Gray levels 0, step, 2 * step and so on.
void PutGrays(unsigned char* table, int count, int step) {
    for (int i = 0; i < count; ++i, table += EntryBytes)
        table[0] = table[1] = table[2] = static_cast<unsigned char>(i * step);
}

// Six levels of blue, six of green, seven of red: entry blue * 42 + green * 7 + red.
void PutColourCube(unsigned char* table) {
    static constexpr unsigned char SixLevels[] = {0, 51, 102, 153, 204, 255};
    static constexpr unsigned char SevenLevels[] = {0, 42, 84, 126, 168, 210, 255};
    for (const unsigned char blue : SixLevels) {
        for (const unsigned char green : SixLevels) {
            for (const unsigned char red : SevenLevels) {
                table[0] = blue;
                table[1] = green;
                table[2] = red;
                table += EntryBytes;
            }
        }
    }
}

// Whether the destination has room for the header, the table and, where rows will be built, the
// rows. Files grow.
bool HasRoom(const CLinearTransformMem& engine) {
    if (IsFile(*engine.destination))
        return true;
    std::uint64_t bytes = InfoHeaderSize + WrittenEntries(engine.outKind) * EntryBytes;
    if (BuildsRows(engine.outKind))
        bytes += std::uint64_t{engine.outHeight} * engine.outStride;
    return Holds(*engine.destination, bytes);
}

} // namespace

void CLinearTransformMem::SetOutputBitmapInfoHeader(void* buffer, int withFileHeader) {
    auto* bytes = static_cast<unsigned char*>(buffer);
    const std::uint32_t colours = DeclaredColours(outBitCount);
    if (withFileHeader == 1) {
        std::memset(bytes, 0, FileHeaderSize);
        StoreU16(bytes + offsetof(tagBITMAPFILEHEADER, bfType), BitmapFileMark);
        // The file size counts colours instead of bytes of colours and keeps the picture to 16 bits,
        // by decision: readers go by the other fields.
        const auto imageBytes = static_cast<std::uint16_t>(outHeight * outStride);
        StoreU32(bytes + offsetof(tagBITMAPFILEHEADER, bfSize), BothHeaders + colours + imageBytes);
        StoreU32(bytes + offsetof(tagBITMAPFILEHEADER, bfOffBits), BothHeaders + EntryBytes * colours);
        bytes += FileHeaderSize;
    }
    std::memset(bytes, 0, InfoHeaderSize);
    StoreU32(bytes + AtSize, InfoHeaderSize);
    StoreU32(bytes + AtWidth, outWidth);
    StoreU32(bytes + AtHeight, outHeight);
    StoreU16(bytes + AtPlanes, 1);
    StoreU16(bytes + AtBitCount, outBitCount);
    StoreU32(bytes + AtXPelsPerMeter, PelsPerMeter(outDpiX));
    StoreU32(bytes + AtYPelsPerMeter, PelsPerMeter(outDpiY));
    StoreU32(bytes + AtClrUsed, colours);
    StoreU32(bytes + AtClrImportant, colours);
}

int CLinearTransformMem::CreateOutputData() {
    if (!destination || !HasRoom(*this))
        return DIBPREP_BAD_OUTPUT;
    if (!IsFile(*destination))
        destination->position = 0;
    unsigned char headers[BothHeaders];
    const bool withFileHeader = IsFile(*destination);
    SetOutputBitmapInfoHeader(headers, withFileHeader ? 1 : 0);
    if (!Write(*destination, headers, withFileHeader ? BothHeaders : InfoHeaderSize))
        return DIBPREP_BAD_OUTPUT;

    unsigned char table[256 * EntryBytes] = {};
    switch (outKind) {
    case KindBlackWhite:
        PutGrays(table, 2, 255);
        break;
    case KindGray4:
        PutGrays(table, 16, 16);
        break;
    case KindGray8:
        PutGrays(table, 256, 1);
        break;
    case KindColourTable8:
        PutColourCube(table);
        break;
    default:
        break;
    }
    const std::uint32_t tableBytes = WrittenEntries(outKind) * EntryBytes;
    if (tableBytes > 0 && !Write(*destination, table, tableBytes))
        return DIBPREP_BAD_OUTPUT;
    outBitsOffset = static_cast<unsigned short>(destination->position);
    return DIBPREP_OK;
}

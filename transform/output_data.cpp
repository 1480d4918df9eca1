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

// Entries as they stand in a file: blue in the low byte, then green, red and 0.
template <std::size_t Count>
struct OutputTable {
    std::uint32_t entries[Count] = {};
};

// Gray levels 0, step, 2 * step and so on.
template <std::size_t Count>
constexpr OutputTable<Count> Grays(std::uint32_t step) {
    OutputTable<Count> table;
    for (std::uint32_t i = 0; i < Count; ++i)
        table.entries[i] = i * step * 0x010101;
    return table;
}

// Six levels of blue, six of green, seven of red: entry blue * 42 + green * 7 + red. What is left is 0.
constexpr OutputTable<254> ColourCube() {
    constexpr std::uint32_t SixLevels[] = {0, 51, 102, 153, 204, 255};
    constexpr std::uint32_t SevenLevels[] = {0, 42, 84, 126, 168, 210, 255};
    OutputTable<254> table;
    std::size_t i = 0;
    for (const std::uint32_t blue : SixLevels) {
        for (const std::uint32_t green : SixLevels) {
            for (const std::uint32_t red : SevenLevels)
                table.entries[i++] = blue | green << 8 | red << 16;
        }
    }
    return table;
}

constexpr OutputTable<2> BlackAndWhite = Grays<2>(255);
constexpr OutputTable<16> SixteenGrays = Grays<16>(16);
constexpr OutputTable<256> AllGrays = Grays<256>(1);
constexpr OutputTable<254> Cube = ColourCube();

// Null for kinds without a table.
const std::uint32_t* TableOf(unsigned short kind) {
    switch (kind) {
    case KindBlackWhite:
        return BlackAndWhite.entries;
    case KindGray4:
        return SixteenGrays.entries;
    case KindGray8:
        return AllGrays.entries;
    case KindColourTable8:
        return Cube.entries;
    default:
        return nullptr;
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

    const std::uint32_t* const table = TableOf(outKind);
    if (table && !Write(*destination, table, WrittenEntries(outKind) * EntryBytes))
        return DIBPREP_BAD_OUTPUT;
    outBitsOffset = static_cast<unsigned short>(destination->position);
    return DIBPREP_OK;
}

// The two size queries: how many bytes the result of a conversion needs, from the header alone.
#include "dibprep/entries.h"
#include "memory/header_fields.h"
#include "memory/unaligned.h"
#include "transform/size_rules.h"
#include "transform/transfer_io.h"

#include <algorithm>

using namespace dibprep;

namespace {

// A file header, an info header and a full colour table, whatever the depth.
constexpr std::uint32_t HeadersAndFullTable = sizeof(tagBITMAPFILEHEADER) + InfoHeaderSize + 256 * sizeof(tagRGBQUAD);

std::uint32_t ResultBytes(const unsigned char* header, std::uint16_t dpi, std::uint16_t bitCount) {
    const auto extent = [&](std::size_t atExtent, std::size_t atResolution) {
        return OutputExtent(dpi, LoadU16(header + atExtent), DotsPerInch(LoadI32(header + atResolution)));
    };
    const std::uint16_t width = extent(AtWidth, AtXPelsPerMeter);
    const std::uint16_t height = extent(AtHeight, AtYPelsPerMeter);
    const std::uint64_t bytes = static_cast<std::uint64_t>(height) * RowBytes(bitCount, width) + HeadersAndFullTable;
    return static_cast<std::uint32_t>(std::min<std::uint64_t>(bytes, BeyondAnyBlock));
}

} // namespace

unsigned int GetTransformImageMemorySize(unsigned short mode, const void* source, unsigned short dpi,
                                         unsigned int* size) {
    if (!size)
        return DIBPREP_BAD_SOURCE;
    *size = 0;
    const TransferType type = SourceType(mode);
    if (type == InertTransfer)
        return DIBPREP_NO_RESOLUTION;
    CBufTransfer transfer(const_cast<void*>(source), type, 0);
    unsigned char fileHeader[sizeof(tagBITMAPFILEHEADER)];
    unsigned char header[InfoHeaderSize];
    // The file header is stepped over, not believed.
    if (type == FileTransfer && !Read(transfer, fileHeader, sizeof fileHeader))
        return DIBPREP_BAD_SOURCE;
    if (!Read(transfer, header, sizeof header))
        return DIBPREP_BAD_SOURCE;
    *size = ResultBytes(header, dpi, LoadU16(header + AtBitCount));
    return DIBPREP_OK;
}

unsigned int GetBufferSize(void* handle, unsigned short dpi, unsigned int* size) {
    if (!size)
        return DIBPREP_LOCK_FAILED;
    CBufTransfer transfer(&handle, HandleTransfer, 0);
    unsigned char header[InfoHeaderSize];
    // On failure *size stays untouched, unlike the other query's: both are kept as hosts know them.
    if (!Read(transfer, header, sizeof header))
        return DIBPREP_LOCK_FAILED;
    // A 4-bit page may be expanded to 24 bits on the way.
    const std::uint16_t bitCount = LoadU16(header + AtBitCount);
    *size = ResultBytes(header, dpi, bitCount == 4 ? 24 : bitCount);
    return DIBPREP_OK;
}

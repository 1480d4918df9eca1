// The headers of a BMP file: what it declares, checked against what the file holds.
#pragma once

#include "dibprep/types.h"
#include "tools/input_file.h"
#include "tools/page.h"

#include <cstdint>
#include <string>
#include <vector>

namespace dibprep::tool {

struct BmpHeader {
    bool bare = false;            // a DIB without the 14 bytes before it that a BMP file has
    std::uint32_t headerSize = 0; // 12, 16, 40, 52, 56, 64, 108 or 124
    std::uint64_t width = 0;
    std::uint64_t height = 0;
    bool topDown = false;
    int bits = 0; // 1, 2, 4, 8, 16, 24, 32, 48, 64
    std::uint32_t compression = BI_RGB;
    std::int32_t xPixelsPerMetre = 0; // as stored
    std::int32_t yPixelsPerMetre = 0;
    ChannelMasks masks;              // given by bit fields; all 0 otherwise
    std::vector<tagRGBQUAD> palette; // what the file holds, at most as much as the depth can use
    std::uint64_t pixelOffset = 0;   // from the start of the file
    std::uint64_t pixelBytes = 0;    // uncompressed: all rows; run lengths: the stream

    bool IsRunLength() const { return compression == BI_RLE8 || compression == BI_RLE4; }
};

bool LooksLikeBmp(const std::vector<std::uint8_t>& head);
// A bare DIB has no magic number: a header of a known size, one plane and a known depth make one.
bool LooksLikeDib(const std::vector<std::uint8_t>& head);

/*
 * Reads and checks the headers and the colour table. Leaves with ExitBadInput for what is damaged
 * or unknown, and with ExitLimit where more than maxPixels pixels are declared. All of it stands
 * before any memory of the declared size is asked for.
 */
BmpHeader ReadBmpHeader(const InputFile& file, std::uint64_t maxPixels);

// "no compression", "RLE8", ...
std::string CompressionText(const BmpHeader& header);

} // namespace dibprep::tool

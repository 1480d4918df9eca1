// One page of a TIFF file: what its directory declares, and its pixels.
#pragma once

#include "tools/page.h"
#include "tools/tiff_handle.h"

#include <cstdint>
#include <string>
#include <vector>

namespace dibprep::tool {

// How the pixels become a page.
enum class TiffRoad {
    Indexes, // 1 to 8 bits: a table, or grays that are not complete bytes
    Samples, // 8 or 16 bits a channel: gray or colours, with or without alpha
    Mixed    // by the library's own conversion to 8 bits of red, green, blue and alpha
};

struct TiffHeader {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::uint16_t bits = 1; // of a sample
    std::uint16_t samples = 1;
    std::uint16_t photometric = PHOTOMETRIC_MINISBLACK;
    std::uint16_t compression = COMPRESSION_NONE;
    std::uint16_t orientation = ORIENTATION_TOPLEFT;
    std::uint16_t fillOrder = FILLORDER_MSB2LSB;
    bool tiled = false;
    bool separate = false; // a plane for each channel
    bool alpha = false;
    bool multiplied = false; // colours are stored multiplied by alpha
    std::vector<tagRGBQUAD> palette;
    double x = 0; // as stored; 0: none
    double y = 0;
    bool perCentimetre = false;
    TiffRoad road = TiffRoad::Mixed;

    bool IsGray() const { return photometric == PHOTOMETRIC_MINISBLACK || photometric == PHOTOMETRIC_MINISWHITE; }
    int Colours() const { return IsGray() ? 1 : 3; }
    int PageBits() const;
};

// Reads and checks the current directory. Leaves with ExitBadInput for kinds that cannot be read.
TiffHeader ReadTiffHeader(TiffInput& input, const std::string& name);

// The pixels of the current directory, not turned yet.
Page ReadTiffPixels(TiffInput& tiff, const std::string& name, const TiffHeader& header);

// "G4 compression"
std::string TiffCompressionText(std::uint16_t compression);

} // namespace dibprep::tool

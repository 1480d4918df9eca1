// Where the fields of the 40-byte DIB header stand, for reading a header in place, and when an entry
// of the colour table behind it is gray.
#pragma once

#include "dibprep/types.h"

#include <cstddef>

namespace dibprep {

constexpr std::size_t InfoHeaderSize = sizeof(tagBITMAPINFOHEADER);
constexpr std::size_t CoreHeaderSize = sizeof(tagBITMAPCOREHEADER);

constexpr std::size_t AtSize = offsetof(tagBITMAPINFOHEADER, biSize);
constexpr std::size_t AtWidth = offsetof(tagBITMAPINFOHEADER, biWidth);
constexpr std::size_t AtHeight = offsetof(tagBITMAPINFOHEADER, biHeight);
constexpr std::size_t AtPlanes = offsetof(tagBITMAPINFOHEADER, biPlanes);
constexpr std::size_t AtBitCount = offsetof(tagBITMAPINFOHEADER, biBitCount);
constexpr std::size_t AtCompression = offsetof(tagBITMAPINFOHEADER, biCompression);
constexpr std::size_t AtSizeImage = offsetof(tagBITMAPINFOHEADER, biSizeImage);
constexpr std::size_t AtXPelsPerMeter = offsetof(tagBITMAPINFOHEADER, biXPelsPerMeter);
constexpr std::size_t AtYPelsPerMeter = offsetof(tagBITMAPINFOHEADER, biYPelsPerMeter);
constexpr std::size_t AtClrUsed = offsetof(tagBITMAPINFOHEADER, biClrUsed);
constexpr std::size_t AtClrImportant = offsetof(tagBITMAPINFOHEADER, biClrImportant);

// A colour table is gray when every entry is. An object and no function: the algorithms that take it
// then hold its code, and not a call for each entry.
inline constexpr auto IsGray = [](const tagRGBQUAD& entry) {
    return entry.rgbBlue == entry.rgbGreen && entry.rgbGreen == entry.rgbRed;
};

} // namespace dibprep

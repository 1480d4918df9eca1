// Drawing a rectangle of an image buffer, and where a pixel of it stands.
#pragma once

#include "dibprep/image.h"

#include <cstddef>
#include <cstdint>

namespace dibprep {

// Calls the image's virtual Draw(x, y, value) for every pixel of the rectangle, row by row, so that
// a host's override of the pixel operation is honoured. A range whose last value is below its first
// draws nothing. The counters are wider than the 16-bit ranges: one that ends at 65535 ends.
template <class Image, class Value>
void DrawRectangle(Image& image, const CImgRect& rect, Value value) {
    for (std::uint32_t y = rect.firstRow; y <= rect.lastRow; ++y)
        for (std::uint32_t x = rect.firstColumn; x <= rect.lastColumn; ++x)
            image.Draw(static_cast<unsigned short>(x), static_cast<unsigned short>(y), value);
}

// Bytes from the first pixel to row y. Unsigned: 65535 rows of 65535 bytes do not fit an int.
inline std::size_t RowOffset(const CImgParameter& parameter, unsigned short y) {
    return std::size_t{parameter.stride} * y;
}

} // namespace dibprep

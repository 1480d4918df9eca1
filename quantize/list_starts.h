// Where the list search starts in a palette in order of blue.
#pragma once

#include "dibprep/quantize.h"
#include "quantize/limits.h"

#include <algorithm>
#include <cstdint>

namespace dibprep {

// For each blue; false where there is no palette, or one that is not in order. The list search finds the
// nearest entry of an ordered one; among equals the start, then those before it backwards, then those
// behind it.
inline bool FindListStarts(const CNiGoRo2& quantiser, unsigned char* starts) {
    const CColorTrans2* const palette = quantiser.m_Palette;
    const int count = UsedRecords(quantiser);
    if (count == 0)
        return false;
    for (int i = 1; i < count; ++i) {
        if (palette[i].m_rgb.rgbBlue < palette[i - 1].m_rgb.rgbBlue)
            return false;
    }
    // The first entry whose blue is not less, or the last one if there is none.
    std::uint16_t ofBlue[256] = {};
    for (int i = 0; i < count; ++i)
        ++ofBlue[palette[i].m_rgb.rgbBlue];
    int less = 0;
    for (int blue = 0; blue < 256; ++blue) {
        starts[blue] = static_cast<unsigned char>(std::min(less, count - 1));
        less += ofBlue[blue];
    }
    return true;
}

} // namespace dibprep

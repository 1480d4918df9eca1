// The levels that a gray table gives the indices of an 8-bit picture.
#pragma once

#include "dibprep/transform.h"

#include <cstdint>

namespace dibprep {

struct GrayTable {
    std::uint8_t levels[256];
    bool own = false; // whether any level is not its index
};

inline GrayTable ReadGrayTable(const tagRGBQUAD* palette) {
    GrayTable table;
    for (int index = 0; index < 256; ++index) {
        table.levels[index] = palette[index].rgbBlue;
        table.own |= table.levels[index] != index;
    }
    return table;
}

} // namespace dibprep

// Numbers that the octree, the search and the mapping share.
#pragma once

#include "dibprep/quantize.h"

#include <algorithm>

namespace dibprep {

// Palette records of an object, and entries of an 8-bit colour table: never more are written.
constexpr unsigned int MostRecords = 256;

// Records in use, inside the array whatever a host put into the field.
inline int UsedRecords(const CNiGoRo2& quantiser) {
    return std::clamp(quantiser.m_nColors, 0, static_cast<int>(MostRecords));
}

} // namespace dibprep

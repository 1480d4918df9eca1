// What the fast road needs to know of an image's columns, read once.
#pragma once

#include "dibprep/transform.h"
#include "transform/short_fraction.h"

namespace dibprep {

struct ColumnFacts {
    bool usable = false;           // all samples lie in the row, fractions are at least 0 and below 1
    bool copies = false;           // column x is source column x
    unsigned int fractionBits = 0; // of the longest fraction that counts; NotShort beyond 6
};

constexpr unsigned int ColumnBits = 6; // weights stay positive as signed bytes

// Whether the right sample has no weight.
inline bool Weightless(const CPosition& at) { return at.x0 == at.x1 || at.fraction == 0; }

ColumnFacts ReadColumns(const CLinearTransformMem& engine);

} // namespace dibprep

// The conversion entry once more, slow and literal: pre-conversion, size queries, transform,
// reduction, and which blocks are left when it returns.
#pragma once

#include "transform_oracle.h"

namespace oracle {

// 32 bits; 4294967295 where the size needs more.
struct SizeAnswer {
    unsigned status = 0;
    std::uint32_t size = 0;
};
SizeAnswer TransformSize(const Store& source, std::uint16_t dpi);
SizeAnswer BufferSize(const Store& source, std::uint16_t dpi);

// Why a pre-conversion made no block: it has nothing to do, or it could not.
enum class Expansion { Made, NothingToDo, NoMemory, RowsCutShort, BlockTooSmall };
struct Expanded {
    Expansion outcome = Expansion::NothingToDo;
    Bytes dib;
};
Expanded ExpandColours(const Bytes& source, Memory& memory);
Expanded WidenGray(const Bytes& source, Memory& memory);

struct Conversion {
    unsigned status = 0;
    bool hasResult = false;
    Bytes result;
    std::vector<int> percents;
    int blocksLeft = 0;  // besides the source: the result and whatever stays allocated
    int blocksAsked = 0; // calls of GlobalAlloc
};
// stopAtCall as in TransformJob; refusedBlock: the n-th GlobalAlloc gives no block.
Conversion ConvertResolution(const Store& source, std::uint16_t dpi, int threshold, int stopAtCall, int refusedBlock);

} // namespace oracle

// What a row kernel gets: two source rows, the column table, and the place of one output row. The
// scalar row kernels are the definition of the output; any other row kernel gives the same bytes.
#pragma once

#include "dibprep/bilinear.h"

#include <cstdint>

namespace dibprep {

// The colour table of a source of up to 8 bits. Entries are read where they stand, whatever the
// colour count says: those from `readable` on lie beyond the end of the DIB and are black.
struct ColourTable {
    const unsigned char* entries;
    std::uint32_t readable;
};

struct RowTask {
    const unsigned char* upper;    // source row of the weight 1024 - fy
    const unsigned char* lower;    // source row of the weight fy
    const _tagCOORDENTRY* columns; // one entry per output pixel
    int count;                     // output pixels
    int fy;                        // weight of the lower row, 0 to 1023
    unsigned char* out;            // first output pixel
    int outStep;                   // bytes from one output pixel to the next
    const _tagDIBPARAM* source;
    ColourTable table;
};

// Makes one output row. Reads the limit globals as they are when it starts: only the callback
// between two rows can change them.
using RowKernel = void (*)(const RowTask& task);

// The scalar row kernels, one per member of CConvertResolution.
void ScalarRowSmallBits(const RowTask& task);
void ScalarRow8(const RowTask& task);
void ScalarRow16(const RowTask& task);
void ScalarRow24(const RowTask& task);
void ScalarRow32(const RowTask& task);
void ScalarRow48(const RowTask& task);
void ScalarRow64(const RowTask& task);

} // namespace dibprep

// The pre-conversions with the reason why one could not be done, which the exported forms drop.
#pragma once

namespace dibprep {

struct PreConversion {
    unsigned int status; // 0; 2 memory, or rows that the row masks cut short; 5 block unreadable
    void* block;         // the new block, 0 when there is nothing to convert or the status is not 0
};

// 4- and 8-bit colour tables to 24 bits.
PreConversion ExpandColourTable(void* handle);

// 4-bit gray to 8-bit gray.
PreConversion WidenGray(void* handle);

} // namespace dibprep

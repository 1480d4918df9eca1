// The bytes behind memory blocks: zeroed, large ones without their pages being touched.
#pragma once

#include <cstddef>

namespace dibhost {

struct BlockMemory {
    unsigned char* data = nullptr;
    // Bytes mapped for this block alone; 0: data comes from the C heap.
    std::size_t mapped = 0;
    // Of these, beyond what was asked for, where the mapping had served a larger block before.
    std::size_t spare = 0;
};

// Memory for `bytes` zero bytes, at a valid address even for none; data is null when there is none
// to be had.
BlockMemory TakeMemory(std::size_t bytes);
void ReleaseMemory(const BlockMemory& memory);

} // namespace dibhost

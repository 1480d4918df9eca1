// The benchmark's own memory blocks, in front of libdibhost's. While TouchedBlocks are in use, every
// block is one that was written before and is not zeroed again, and probes of memory take nothing:
// what remains is the library's own time. (A work repeats the same call, so that the bytes which a
// conversion leaves alone are those of the call before.) Otherwise all calls go to libdibhost.
#pragma once

#include <cstddef>

namespace bench {

class TouchedBlocks {
public:
    TouchedBlocks();
    ~TouchedBlocks(); // takes back what was not freed
    TouchedBlocks(const TouchedBlocks&) = delete;
    TouchedBlocks& operator=(const TouchedBlocks&) = delete;
};

// Frees all of these blocks but one; their memory stays for the next call.
void FreeTouchedBlocks(const void* except);

// Returns their memory.
void ReleaseTouchedBlocks();

// Calls of the layer's functions since the last call of this.
int TakeHostCalls();

} // namespace bench

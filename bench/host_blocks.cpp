// Blocks that were touched before, or libdibhost's (see host_blocks.h).
#include "bench/host_blocks.h"

#include "dibprep/host.h"

#include <cstdlib>
#include <cstring>
#include <dlfcn.h>

namespace {

struct Block {
    unsigned char* bytes = nullptr;
    std::size_t size = 0;
    unsigned int locks = 0;
    bool inUse = false;
};

constexpr std::size_t MostBlocks = 16;
Block blocks[MostBlocks];
bool touchedInUse = false;
int hostCalls = 0;

// A block of the benchmark's own, or null.
Block* Own(void* handle) {
    auto* const block = static_cast<Block*>(handle);
    return block >= blocks && block < blocks + MostBlocks ? block : nullptr;
}

Block* Free(std::size_t bytes) {
    Block* empty = nullptr;
    for (Block& block : blocks) {
        if (block.inUse)
            continue;
        if (block.bytes && block.size == bytes)
            return &block;
        if (!block.bytes && !empty)
            empty = &block;
    }
    if (!empty)
        return nullptr;
    empty->bytes = static_cast<unsigned char*>(std::malloc(bytes + 64));
    if (!empty->bytes)
        return nullptr;
    std::memset(empty->bytes, 0, bytes + 64);
    empty->size = bytes;
    return empty;
}

// The function that this program's own stands in front of.
template <class Function>
Function Behind(Function, const char* name) {
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

#define DIBPREP_HOST(function)                                                                                         \
    static const auto behind = Behind(&function, #function);                                                           \
    ++hostCalls

} // namespace

namespace bench {

TouchedBlocks::TouchedBlocks() { touchedInUse = true; }

TouchedBlocks::~TouchedBlocks() {
    touchedInUse = false;
    FreeTouchedBlocks(nullptr);
}

void FreeTouchedBlocks(const void* except) {
    for (Block& block : blocks)
        block.inUse = &block == except;
}

void ReleaseTouchedBlocks() {
    for (Block& block : blocks) {
        std::free(block.bytes);
        block = Block();
    }
}

int TakeHostCalls() {
    const int calls = hostCalls;
    hostCalls = 0;
    return calls;
}

} // namespace bench

extern "C" {

void* GlobalAlloc(unsigned int flags, size_t bytes) {
    DIBPREP_HOST(GlobalAlloc);
    if (!touchedInUse)
        return behind(flags, bytes);
    Block* const block = Free(bytes);
    if (block) {
        block->inUse = true;
        block->locks = 0;
    }
    return block;
}

void* GlobalLock(void* handle) {
    DIBPREP_HOST(GlobalLock);
    Block* const block = Own(handle);
    if (!block)
        return behind(handle);
    ++block->locks;
    return block->bytes;
}

int GlobalUnlock(void* handle) {
    DIBPREP_HOST(GlobalUnlock);
    Block* const block = Own(handle);
    if (!block)
        return behind(handle);
    return --block->locks != 0;
}

void* GlobalFree(void* handle) {
    DIBPREP_HOST(GlobalFree);
    Block* const block = Own(handle);
    if (!block)
        return behind(handle);
    block->inUse = false;
    return nullptr;
}

size_t GlobalSize(void* handle) {
    DIBPREP_HOST(GlobalSize);
    const Block* const block = Own(handle);
    return block ? block->size : behind(handle);
}

unsigned int GlobalFlags(void* handle) {
    DIBPREP_HOST(GlobalFlags);
    const Block* const block = Own(handle);
    return block ? block->locks : behind(handle);
}

int IsBadReadPtr(const void* address, size_t bytes) {
    DIBPREP_HOST(IsBadReadPtr);
    return touchedInUse ? 0 : behind(address, bytes);
}

} // extern "C"

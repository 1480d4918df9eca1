// Zeroed memory for blocks (see block_memory.h).
#include "platform/block_memory.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>

namespace dibhost {
namespace {

// From here on a block has a mapping of its own, in large pages where the system has them. Fresh
// anonymous pages are zero without being written, but the first writing of each costs a page fault:
// several milliseconds for a page image in small pages, well below one in large ones. Smaller blocks
// come from the C heap, whose recycled memory is quicker to clear than fresh memory is to touch.
constexpr std::size_t MappedFrom = std::size_t{1} << 20;
constexpr std::size_t LargePage = std::size_t{2} << 20;

// An end of this many bytes and more is worth a large page of its own; clearing one costs as much as
// some fifty page faults.
constexpr std::size_t WorthALargePage = std::size_t{256} << 10;

// Behind the address of a block of no bytes. Its size, 0, is also what a layer answers that cannot
// tell a size, so that a reader trusts the header there: it finds zeros.
constexpr std::size_t SmallestMemory = 64;

std::size_t RoundUp(std::size_t value, std::size_t unit) { return (value + unit - 1) / unit * unit; }

unsigned char* Map(std::size_t bytes) {
    void* const map = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    return map == MAP_FAILED ? nullptr : static_cast<unsigned char*>(map);
}

// A mapping that starts at a large-page boundary: mapped too long, then cut at both ends.
BlockMemory MapLargePages(std::size_t bytes) {
    unsigned char* const map = Map(bytes + LargePage);
    if (!map)
        return {};
    const auto start = reinterpret_cast<std::uintptr_t>(map);
    const std::size_t before = static_cast<std::size_t>(RoundUp(start, LargePage) - start);
    if (before != 0)
        munmap(map, before);
    munmap(map + before + bytes, LargePage - before);
    // Advice only: where large pages are switched off the block has small ones.
    (void)madvise(map + before, bytes, MADV_HUGEPAGE);
    return {map + before, bytes};
}

} // namespace

BlockMemory TakeMemory(std::size_t bytes) {
    // Beyond this, differences of addresses inside the block would not fit.
    if (bytes > PTRDIFF_MAX - 2 * LargePage)
        return {};
    if (bytes < MappedFrom)
        return {static_cast<unsigned char*>(std::calloc(std::max(bytes, SmallestMemory), 1)), 0};

    const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    const std::size_t unit = bytes % LargePage >= WorthALargePage ? LargePage : page;
    const BlockMemory memory = MapLargePages(RoundUp(bytes, unit));
    if (memory.data)
        return memory;
    // Address space may be short for the alignment.
    const std::size_t whole = RoundUp(bytes, page);
    return {Map(whole), whole};
}

void ReleaseMemory(const BlockMemory& memory) {
    if (memory.mapped != 0)
        munmap(memory.data, memory.mapped);
    else
        std::free(memory.data);
}

} // namespace dibhost

// Zeroed memory for blocks (see block_memory.h).
#include "platform/block_memory.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <mutex>

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

// Mappings of freed blocks are kept for the next ones, which hosts ask for page by page: clearing memory that
// is there takes a third of what fresh memory takes, in large pages or not. So many, and so much in all:
constexpr std::size_t MostKept = 4;
constexpr std::size_t MostKeptBytes = std::size_t{64} << 20;

// A kept mapping serves blocks of this part of it and more. What such blocks leave unused is no more in all
// than what may be kept: in 32 bits address space is short.
constexpr std::size_t LeastUse = 4;

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
    return {map + before, bytes, 0};
}

// The kept mappings, the oldest first.
class KeptMemory {
public:
    // The smallest that has `bytes` bytes, with whatever was written there.
    BlockMemory Take(std::size_t bytes) {
        const std::lock_guard<std::mutex> lock(m_mutex);
        std::size_t best = m_count;
        for (std::size_t i = 0; i < m_count; ++i)
            if (m_kept[i].mapped >= bytes && m_kept[i].mapped / LeastUse <= bytes &&
                m_spare + (m_kept[i].mapped - bytes) <= MostKeptBytes &&
                (best == m_count || m_kept[i].mapped < m_kept[best].mapped))
                best = i;
        if (best == m_count)
            return {};
        BlockMemory taken = Remove(best);
        taken.spare = taken.mapped - bytes;
        m_spare += taken.spare;
        return taken;
    }

    // False if the memory is not to be kept.
    bool Put(const BlockMemory& memory) {
        if (memory.mapped > MostKeptBytes)
            return false;
        BlockMemory oldest[MostKept];
        std::size_t given = 0;
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            m_spare -= memory.spare;
            if (m_closed)
                return false;
            while (m_count == MostKept || m_bytes + memory.mapped > MostKeptBytes)
                oldest[given++] = Remove(0);
            m_kept[m_count++] = {memory.data, memory.mapped, 0};
            m_bytes += memory.mapped;
        }
        while (given > 0)
            Unmap(oldest[--given]);
        return true;
    }

    // Gives everything back.
    void Clear() {
        const std::lock_guard<std::mutex> lock(m_mutex);
        while (m_count > 0)
            Unmap(Remove(m_count - 1));
    }

    // From now on nothing is kept.
    void Close() {
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            m_closed = true;
        }
        Clear();
    }

private:
    static void Unmap(const BlockMemory& memory) { munmap(memory.data, memory.mapped); }

    BlockMemory Remove(std::size_t index) {
        const BlockMemory removed = m_kept[index];
        std::copy(m_kept + index + 1, m_kept + m_count, m_kept + index);
        --m_count;
        m_bytes -= removed.mapped;
        return removed;
    }

    std::mutex m_mutex;
    BlockMemory m_kept[MostKept];
    std::size_t m_count = 0;
    std::size_t m_bytes = 0;
    std::size_t m_spare = 0; // of the blocks that took kept mappings
    bool m_closed = false;
};

// Never destroyed, as blocks may be freed while the process ends; but a library that is unloaded leaves no
// memory behind.
KeptMemory keptMemory;
__attribute__((destructor)) void CloseKeptMemory() { keptMemory.Close(); }

BlockMemory MapFresh(std::size_t bytes) {
    const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    const std::size_t unit = bytes % LargePage >= WorthALargePage ? LargePage : page;
    const BlockMemory memory = MapLargePages(RoundUp(bytes, unit));
    if (memory.data)
        return memory;
    // Address space may be short for the alignment.
    const std::size_t whole = RoundUp(bytes, page);
    return {Map(whole), whole, 0};
}

BlockMemory Fresh(std::size_t bytes) {
    if (bytes < MappedFrom)
        return {static_cast<unsigned char*>(std::calloc(std::max(bytes, SmallestMemory), 1)), 0, 0};
    return MapFresh(bytes);
}

} // namespace

BlockMemory TakeMemory(std::size_t bytes) {
    // Beyond this, differences of addresses inside the block would not fit.
    if (bytes > PTRDIFF_MAX - 2 * LargePage)
        return {};
    if (bytes >= MappedFrom) {
        const BlockMemory kept = keptMemory.Take(bytes);
        if (kept.data) {
            std::memset(kept.data, 0, bytes);
            return kept;
        }
    }
    const BlockMemory fresh = Fresh(bytes);
    if (fresh.data)
        return fresh;
    // Small blocks may lack what is kept, too. Once more even if nothing was: another thread may have given it
    // back just now.
    keptMemory.Clear();
    return Fresh(bytes);
}

void ReleaseMemory(const BlockMemory& memory) {
    if (memory.mapped == 0)
        std::free(memory.data);
    else if (!keptMemory.Put(memory))
        munmap(memory.data, memory.mapped);
}

} // namespace dibhost

// The memory layer of the tests (see test_host.h). Every block has its own mapping between two
// unreadable pages and ends at the second or starts at the first; the bytes that fill up the other
// side are a known pattern.
#include "tests/support/test_host.h"

#include "dibprep/host.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

namespace {

constexpr int IndexBits = 14;
constexpr std::size_t SlotCount = std::size_t{1} << IndexBits;
constexpr unsigned int ZeroFilledMovable = 66;
constexpr unsigned int InvalidHandle = 32768;
constexpr std::uint8_t Filling = 0xA5;
constexpr std::size_t DefaultLargest = std::size_t{1} << 30;

struct Slot {
    std::uint8_t* map;
    std::size_t mapSize;
    std::uint8_t* data;
    std::size_t size; // asked for
    std::size_t room; // really there, up to the unreadable page
    unsigned int generation;
    int locks;
    bool live;
    testhost::Side guarded;
};

// Static storage without constructor or destructor: making a block never allocates, and a library
// that is unloaded at exit can still free.
Slot slots[SlotCount];
std::size_t nextSlot;
int liveBlocks; // blocks and, all together, their locks: counted as they change, asked for often
int heldLocks;

int failAllocation, failLock;
int allocations, locks, badCalls, nullCalls, lockedFrees, calls;
std::size_t lastSize;
std::size_t liveBytes, peakBytes;
std::size_t largestBlock = DefaultLargest;
testhost::SizeAnswer sizeAnswer = testhost::SizeAnswer::Exact;
bool movingBlocks;
testhost::Side guardedSide = testhost::Side::End;

std::atomic<int> failNew, news;

[[noreturn]] void Die(const char* what) {
    std::fprintf(stderr, "test host: %s\n", what);
    std::abort();
}

// Counts down a plan; true when this call is the one to fail.
bool Fails(int& plan) { return plan > 0 && --plan == 0; }

std::size_t PageSize() {
    static const auto size = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    return size;
}

// Pages for `bytes` bytes between two unreadable pages; null when there is no room for them.
std::uint8_t* MapGuarded(std::size_t bytes, std::size_t& mapSize) {
    const std::size_t page = PageSize();
    if (bytes > SIZE_MAX - 4 * page)
        return nullptr;
    const std::size_t inner = (bytes + page - 1) / page * page;
    mapSize = inner + 2 * page;
    void* map = mmap(nullptr, mapSize, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (map == MAP_FAILED)
        return nullptr;
    auto* const bytesMap = static_cast<std::uint8_t*>(map);
    if (inner != 0 && mprotect(bytesMap + page, inner, PROT_READ | PROT_WRITE) != 0) {
        munmap(map, mapSize);
        return nullptr;
    }
    return bytesMap;
}

void* HandleOf(const Slot& slot) {
    const auto index = static_cast<std::uintptr_t>(&slot - slots);
    // Odd, so that a handle taken for an address stands out, and never 0.
    return reinterpret_cast<void*>((static_cast<std::uintptr_t>(slot.generation) << (IndexBits + 1)) | index << 1 | 1);
}

Slot* Find(void* handle) {
    const auto value = reinterpret_cast<std::uintptr_t>(handle);
    Slot& slot = slots[value >> 1 & (SlotCount - 1)];
    return slot.live && HandleOf(slot) == handle ? &slot : nullptr;
}

// As Find, for the calls whose handle must be one.
Slot* FindOrBlame(void* handle) {
    ++calls;
    if (!handle) {
        ++nullCalls;
        return nullptr;
    }
    Slot* const slot = Find(handle);
    if (!slot)
        ++badCalls;
    return slot;
}

Slot& FindOrDie(void* handle) {
    Slot* const slot = Find(handle);
    if (!slot)
        Die("a test asked about a block that is none");
    return *slot;
}

// The bytes that fill the block up to whole pages, and where they stand.
std::size_t FillingOf(const Slot& slot) { return slot.mapSize - 2 * PageSize() - slot.room; }
std::uint8_t* FillingAt(const Slot& slot) {
    return slot.guarded == testhost::Side::End ? slot.map + PageSize() : slot.data + slot.room;
}

// Gives the slot a mapping for its size and room.
bool Place(Slot& slot) {
    slot.map = MapGuarded(slot.room, slot.mapSize);
    if (!slot.map)
        return false;
    const std::size_t spare = FillingOf(slot);
    slot.data = slot.map + PageSize() + (slot.guarded == testhost::Side::End ? spare : 0);
    if (spare != 0)
        std::memset(FillingAt(slot), Filling, spare);
    return true;
}

void Unmap(Slot& slot) {
    const std::uint8_t* const filling = FillingAt(slot);
    if (!std::all_of(filling, filling + FillingOf(slot), [](std::uint8_t byte) { return byte == Filling; }))
        Die("something wrote beside a block");
    munmap(slot.map, slot.mapSize);
}

Slot* NewSlot(std::size_t bytes) {
    std::size_t tried = 0;
    while (slots[nextSlot].live) {
        nextSlot = (nextSlot + 1) % SlotCount;
        if (++tried == SlotCount)
            Die("too many live blocks; call Reset between cases");
    }
    Slot& slot = slots[nextSlot];
    nextSlot = (nextSlot + 1) % SlotCount;
    slot.size = bytes;
    slot.room = sizeAnswer == testhost::SizeAnswer::RoundedUp ? (bytes + 15) / 16 * 16 : bytes;
    slot.guarded = guardedSide;
    if (!Place(slot))
        return nullptr;
    ++slot.generation;
    slot.locks = 0;
    slot.live = true;
    liveBytes += bytes;
    peakBytes = std::max(peakBytes, liveBytes);
    ++liveBlocks;
    return &slot;
}

void FreeSlot(Slot& slot) {
    Unmap(slot);
    heldLocks -= slot.locks;
    slot.live = false;
    liveBytes -= slot.size;
    --liveBlocks;
}

bool Move(Slot& slot) {
    Slot moved = slot;
    if (!Place(moved))
        return false;
    if (slot.room != 0)
        std::memcpy(moved.data, slot.data, slot.room);
    Unmap(slot);
    slot = moved;
    return true;
}

} // namespace

extern "C" {

void* GlobalAlloc(unsigned int flags, std::size_t bytes) {
    ++calls;
    ++allocations;
    lastSize = bytes;
    if (flags != ZeroFilledMovable)
        ++badCalls;
    if (Fails(failAllocation) || bytes > largestBlock)
        return nullptr;
    Slot* const slot = NewSlot(bytes);
    return slot ? HandleOf(*slot) : nullptr;
}

void* GlobalLock(void* handle) {
    ++locks;
    Slot* const slot = FindOrBlame(handle);
    if (Fails(failLock) || !slot)
        return nullptr;
    if (movingBlocks && slot->locks == 0 && !Move(*slot))
        return nullptr;
    ++slot->locks;
    ++heldLocks;
    return slot->data;
}

int GlobalUnlock(void* handle) {
    Slot* const slot = FindOrBlame(handle);
    if (!slot)
        return 0;
    if (slot->locks == 0) {
        ++badCalls;
        return 0;
    }
    --heldLocks;
    return --slot->locks != 0;
}

void* GlobalFree(void* handle) {
    Slot* const slot = FindOrBlame(handle);
    if (!slot)
        return handle;
    lockedFrees += slot->locks != 0;
    FreeSlot(*slot);
    return nullptr;
}

std::size_t GlobalSize(void* handle) {
    const Slot* const slot = FindOrBlame(handle);
    return !slot || sizeAnswer == testhost::SizeAnswer::Unknown ? 0 : slot->room;
}

unsigned int GlobalFlags(void* handle) {
    ++calls;
    if (!handle)
        ++nullCalls;
    const Slot* const slot = Find(handle);
    return slot ? static_cast<unsigned int>(std::min(slot->locks, 255)) : InvalidHandle;
}

} // extern "C"

namespace testhost {

void Reset() {
    for (std::size_t i = 0; liveBlocks > 0; ++i)
        if (slots[i].live)
            FreeSlot(slots[i]);
    ResetCounters();
    failAllocation = failLock = 0;
    failNew = 0;
    largestBlock = DefaultLargest;
    sizeAnswer = SizeAnswer::Exact;
    movingBlocks = false;
    guardedSide = Side::End;
    lastSize = 0;
}

void FailAllocation(int n) { failAllocation = n; }
void FailLock(int n) { failLock = n; }
void FailNew(int n) { failNew = n; }

// Found out by trying: the sanitizers and memcheck bring an operator new of their own.
bool CanFailNew() {
    const int plan = failNew.exchange(1);
    const int count = news;
    void* const block = ::operator new(1, std::nothrow);
    ::operator delete(block);
    failNew = plan;
    news = count;
    return block == nullptr;
}

int Allocations() { return allocations; }
int Locks() { return locks; }
int News() { return news; }
void ResetCounters() {
    allocations = locks = badCalls = nullCalls = lockedFrees = calls = 0;
    news = 0;
    peakBytes = liveBytes;
}

int LiveBlocks() { return liveBlocks; }
int OutstandingLocks() { return heldLocks; }
int BadCalls() { return badCalls; }
int LockedFrees() { return lockedFrees; }
int NullCalls() { return nullCalls; }
int Calls() { return calls; }
std::size_t LastAllocationSize() { return lastSize; }
std::size_t LiveBytes() { return liveBytes; }
std::size_t PeakBytes() { return peakBytes; }
void SetLargestBlock(std::size_t bytes) { largestBlock = bytes; }
void SetSizeAnswer(SizeAnswer answer) { sizeAnswer = answer; }
void SetMovingBlocks(bool moving) { movingBlocks = moving; }
void SetGuardedSide(Side side) { guardedSide = side; }

void* MakeBlock(const std::vector<std::uint8_t>& bytes) {
    Slot* const slot = NewSlot(bytes.size());
    if (!slot)
        Die("no room for a block that a test makes");
    std::copy(bytes.begin(), bytes.end(), slot->data);
    return HandleOf(*slot);
}

std::vector<std::uint8_t> Bytes(void* handle) {
    const Slot& slot = FindOrDie(handle);
    return std::vector<std::uint8_t>(slot.data, slot.data + slot.size);
}

std::uint8_t* Address(void* handle) { return FindOrDie(handle).data; }
std::size_t Size(void* handle) { return FindOrDie(handle).size; }
int LockCount(void* handle) { return FindOrDie(handle).locks; }
bool IsLive(void* handle) { return Find(handle) != nullptr; }

GuardedBuffer::GuardedBuffer(std::size_t bytes, Side side)
    : m_data(nullptr), m_size(bytes), m_map(nullptr), m_mapSize(0) {
    auto* const map = MapGuarded(bytes, m_mapSize);
    if (!map)
        Die("no room for a guarded buffer");
    const std::size_t page = PageSize();
    m_map = map;
    m_data = side == Side::Start ? map + page : map + (m_mapSize - page) - bytes;
}

GuardedBuffer::~GuardedBuffer() { munmap(m_map, m_mapSize); }

} // namespace testhost

// The C++ heap, counted and failed on demand. Address sanitizer builds keep the sanitizer's own,
// which finds overruns there.
#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define TESTHOST_KEEPS_OPERATOR_NEW
#endif
#endif
#if defined(__SANITIZE_ADDRESS__)
#define TESTHOST_KEEPS_OPERATOR_NEW
#endif

#if !defined(TESTHOST_KEEPS_OPERATOR_NEW)
namespace {

void* CountedNew(std::size_t bytes, std::size_t alignment) noexcept {
    news.fetch_add(1, std::memory_order_relaxed);
    if (failNew.load(std::memory_order_relaxed) > 0 && failNew.fetch_sub(1) == 1)
        return nullptr;
    if (alignment <= alignof(std::max_align_t))
        return std::malloc(bytes ? bytes : 1);
    void* block = nullptr;
    return posix_memalign(&block, alignment, bytes) == 0 ? block : nullptr;
}

void* CountedNewOrThrow(std::size_t bytes, std::size_t alignment) {
    void* const block = CountedNew(bytes, alignment);
    if (!block)
        throw std::bad_alloc();
    return block;
}

} // namespace

void* operator new(std::size_t bytes) { return CountedNewOrThrow(bytes, 1); }
void* operator new[](std::size_t bytes) { return CountedNewOrThrow(bytes, 1); }
void* operator new(std::size_t bytes, const std::nothrow_t&) noexcept { return CountedNew(bytes, 1); }
void* operator new[](std::size_t bytes, const std::nothrow_t&) noexcept { return CountedNew(bytes, 1); }
void* operator new(std::size_t bytes, std::align_val_t to) {
    return CountedNewOrThrow(bytes, static_cast<std::size_t>(to));
}
void* operator new[](std::size_t bytes, std::align_val_t to) {
    return CountedNewOrThrow(bytes, static_cast<std::size_t>(to));
}
void* operator new(std::size_t bytes, std::align_val_t to, const std::nothrow_t&) noexcept {
    return CountedNew(bytes, static_cast<std::size_t>(to));
}
void* operator new[](std::size_t bytes, std::align_val_t to, const std::nothrow_t&) noexcept {
    return CountedNew(bytes, static_cast<std::size_t>(to));
}
void operator delete(void* block) noexcept { std::free(block); }
void operator delete[](void* block) noexcept { std::free(block); }
void operator delete(void* block, std::size_t) noexcept { std::free(block); }
void operator delete[](void* block, std::size_t) noexcept { std::free(block); }
void operator delete(void* block, const std::nothrow_t&) noexcept { std::free(block); }
void operator delete[](void* block, const std::nothrow_t&) noexcept { std::free(block); }
void operator delete(void* block, std::align_val_t) noexcept { std::free(block); }
void operator delete[](void* block, std::align_val_t) noexcept { std::free(block); }
void operator delete(void* block, std::size_t, std::align_val_t) noexcept { std::free(block); }
void operator delete[](void* block, std::size_t, std::align_val_t) noexcept { std::free(block); }
void operator delete(void* block, std::align_val_t, const std::nothrow_t&) noexcept { std::free(block); }
void operator delete[](void* block, std::align_val_t, const std::nothrow_t&) noexcept { std::free(block); }
#endif
